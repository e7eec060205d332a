#include "FileSizeLimit.h"
#include "ImageFileTestTools.h"

#include <Zarn/Image/ImageOpenCV.h>

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <unistd.h>

using namespace Zarn;
using namespace ZarnTest;

namespace
{

bool StartsWith(const std::string& text, const std::string& start)
{
    return text.compare(0, start.size(), start) == 0;
}

// Checks that reading `strPath` fails with an error text that starts with `strStart`.
void ExpectReadErrorStartsWith(const std::string& strPath, const std::string& strStart)
{
    const std::string strError = ReadError(strPath);
    EXPECT_TRUE(StartsWith(strError, strStart)) << strError;
}

// The error text of writing a small image to `strPath`.
std::string WriteError(const std::string& strPath)
{
    return BadParamText([&] { CImageFile::Write(strPath, CImage(CSize(2, 2), IImage::CType())); });
}

// Appends `uCount` bytes of the sequence to `strBytes`.
void AppendNoise(CXorShift& random, size_t uCount, std::string& strBytes)
{
    for (size_t i = 0; i < uCount; ++i)
    {
        strBytes += static_cast<char>(random.Next() & 0xff);
    }
}

// A complete file of the format, written by OpenCV, with varied pixels.
std::vector<char> CompleteFile(const CTempFolder& folder, const std::string& extension)
{
    cv::Mat pixels(64, 80, CV_8UC3);
    cv::randu(pixels, cv::Scalar::all(0), cv::Scalar::all(256));
    const std::string strPath = folder.File("complete." + extension);
    EXPECT_TRUE(cv::imwrite(strPath, pixels));
    std::vector<char> lstBytes = FileBytes(strPath);
    std::filesystem::remove(strPath);
    return lstBytes;
}

class ImageFileTruncated : public testing::TestWithParam<std::string>
{
};

TEST_P(ImageFileTruncated, CutFileCannotBeDecoded)
{
    CTempFolder folder;
    const std::vector<char> lstBytes = CompleteFile(folder, GetParam());
    for (size_t uKept : {lstBytes.size() / 2, lstBytes.size() - 1, size_t(20)})
    {
        SCOPED_TRACE(uKept);
        const std::string strPath = folder.File("cut." + GetParam());
        WriteBytes(strPath, lstBytes.data(), uKept);
        ExpectReadErrorStartsWith(strPath, strPath + ": cannot decode");
    }
}

INSTANTIATE_TEST_SUITE_P(EveryFormat, ImageFileTruncated,
                         testing::Values("png", "tif", "jpg", "bmp"),
                         [](const testing::TestParamInfo<std::string>& param)
                         { return param.param; });

TEST(ImageFileDamaged, JpegWithBytesAfterItsEndStillReads)
{
    CTempFolder folder;
    std::vector<char> lstBytes = CompleteFile(folder, "jpg");
    for (char c : std::string("trailing bytes of a camera"))
    {
        lstBytes.push_back(c);
    }
    const std::string strPath = folder.File("trailer.jpg");
    WriteBytes(strPath, lstBytes.data(), lstBytes.size());
    const std::unique_ptr<CImage> pRead(CImageFile::Read(strPath));
    EXPECT_EQ(pRead->Size(), CSize(80, 64));
}

TEST(ImageFileDamaged, EmptyFile)
{
    CTempFolder folder;
    for (const char* szName : {"empty.png", "empty.tif"})
    {
        const std::string strPath = folder.File(szName);
        WriteBytes(strPath, "", 0);
        EXPECT_EQ(ReadError(strPath), strPath + ": empty file");
    }
}

TEST(ImageFileDamaged, RandomBytesAreNotAnImage)
{
    CTempFolder folder;
    CXorShift random(99);
    std::string strBytes;
    AppendNoise(random, 4096, strBytes);
    for (const char* szName : {"noise.png", "noise.tif", "noise.jpg", "noise.bmp"})
    {
        const std::string strPath = folder.File(szName);
        WriteBytes(strPath, strBytes.data(), strBytes.size());
        ExpectReadErrorStartsWith(strPath, strPath + ": cannot decode: not a ");
    }
}

// The right signature with nonsense behind it gets past the first check and must still fail.
TEST(ImageFileDamaged, SignatureFollowedByNoise)
{
    CTempFolder folder;
    CXorShift random(7);
    const std::pair<const char*, std::string> aCases[] = {
        {"sig.png", std::string("\x89PNG\r\n\x1a\n", 8)},
        {"sig.tif", std::string("II*\0", 4)},
        {"sig.bmp", std::string("BM")},
    };
    for (const auto& [szName, strSignature] : aCases)
    {
        std::string strBytes = strSignature;
        AppendNoise(random, 2000, strBytes);
        const std::string strPath = folder.File(szName);
        WriteBytes(strPath, strBytes.data(), strBytes.size());
        ExpectReadErrorStartsWith(strPath, strPath + ": cannot decode");
    }
}

TEST(ImageFileDamaged, PngContentUnderATiffName)
{
    CTempFolder folder;
    const std::vector<char> lstBytes = CompleteFile(folder, "png");
    const std::string strPath = folder.File("renamed.tif");
    WriteBytes(strPath, lstBytes.data(), lstBytes.size());
    EXPECT_EQ(ReadError(strPath), strPath + ": cannot decode: not a TIFF file");
}

// The tests of opening and writing files each get a private folder.
class ImageFileInFolder : public testing::Test
{
protected:
    // Makes a folder of that name in the test's folder: its path.
    std::string NewFolder(const char* szName) const
    {
        const std::string strPath = m_folder.File(szName);
        std::filesystem::create_directory(strPath);
        return strPath;
    }

    CTempFolder m_folder;
};

class ImageFileOpen : public ImageFileInFolder
{
};

class ImageFileWriteErrors : public ImageFileInFolder
{
};

TEST_F(ImageFileOpen, MissingFile)
{
    const std::string strPath = m_folder.File("missing.png");
    EXPECT_EQ(ReadError(strPath), strPath + ": cannot open: No such file or directory");
}

TEST_F(ImageFileOpen, FolderInsteadOfFile)
{
    const std::string strPath = NewFolder("folder.png");
    EXPECT_EQ(ReadError(strPath), strPath + ": cannot open: Is a directory");
}

TEST_F(ImageFileOpen, NoReadPermission)
{
    if (::geteuid() == 0)
    {
        GTEST_SKIP() << "running as root, which reads files whatever their permissions say";
    }
    const std::string strPath = m_folder.File("secret.png");
    CImageFile::Write(strPath, CImage(CSize(4, 4), IImage::CType()));
    std::filesystem::permissions(strPath, std::filesystem::perms::none);
    EXPECT_EQ(ReadError(strPath), strPath + ": cannot open: Permission denied");
}

TEST_F(ImageFileOpen, UnknownExtension)
{
    const std::string strPath = m_folder.File("picture.gif");
    WriteBytes(strPath, "GIF89a", 6);
    const std::string strExpected =
        strPath + ": unsupported file type (known: .png, .tif, .tiff, .jpg, .jpeg, .bmp)";
    EXPECT_EQ(ReadError(strPath), strExpected);
    EXPECT_EQ(WriteError(strPath), strExpected);
}

TEST(ImageFileSideFileErrors, BrokenSideFileNamesItsLineAndColumn)
{
    CTempFolder folder;
    const std::string strPath = folder.File("a.png");
    CImageFile::Write(strPath, CImage(CSize(4, 4), IImage::CType()));
    const std::string strSide = strPath + ".json";
    const std::string strText = "{\n    \"history\": [\"blur\",\n}\n";
    WriteBytes(strSide, strText.data(), strText.size());
    ExpectReadErrorStartsWith(strPath, strSide + ":3:1");
}

TEST(ImageFileSideFileErrors, SideFileThatIsNoObject)
{
    CTempFolder folder;
    const std::string strPath = folder.File("a.bmp");
    CImageFile::Write(strPath, CImage(CSize(4, 4), IImage::CType()));
    WriteBytes(strPath + ".json", "[1, 2]", 6);
    EXPECT_EQ(ReadError(strPath), strPath + ".json: the header is not a JSON object");
}

TEST(ImageFileSideFileErrors, BrokenJsonInATiffDescription)
{
    CTempFolder folder;
    const std::string strPath = folder.File("a.tif");
    CImage image(CSize(4, 4), IImage::CType());
    image.Attributes().SetEntry(CValue_Key("operator"), new CValueString("Ada"));
    CImageFile::Write(strPath, image);
    // Spoil the JSON inside the file without changing its length or layout.
    std::vector<char> lstBytes = FileBytes(strPath);
    const std::string strNeedle = "\"operator\"";
    auto it = std::search(lstBytes.begin(), lstBytes.end(), strNeedle.begin(), strNeedle.end());
    ASSERT_NE(it, lstBytes.end());
    *it = '?';
    WriteBytes(strPath, lstBytes.data(), lstBytes.size());
    ExpectReadErrorStartsWith(strPath, strPath + ": image description:2:");
}

TEST_F(ImageFileWriteErrors, MissingFolder)
{
    const std::string strPath = m_folder.File("not-there/a.png");
    EXPECT_EQ(WriteError(strPath), strPath + ": cannot write: No such file or directory");
}

TEST_F(ImageFileWriteErrors, FileInPlaceOfAFolder)
{
    WriteBytes(m_folder.File("plain"), "x", 1);
    const std::string strPath = m_folder.File("plain/a.tif");
    EXPECT_EQ(WriteError(strPath), strPath + ": cannot write: Not a directory");
}

TEST_F(ImageFileWriteErrors, FolderInPlaceOfTheFile)
{
    const std::string strPath = NewFolder("taken.png");
    EXPECT_EQ(WriteError(strPath), strPath + ": cannot write: Is a directory");
    EXPECT_EQ(m_folder.Entries(), std::vector<std::string>{"taken.png"});
}

TEST_F(ImageFileWriteErrors, ReadOnlyFolder)
{
    if (::geteuid() == 0)
    {
        GTEST_SKIP() << "running as root, which writes into folders whatever their permissions say";
    }
    const std::filesystem::path locked = NewFolder("locked");
    std::filesystem::permissions(locked, std::filesystem::perms::owner_read |
                                             std::filesystem::perms::owner_exec);
    const std::string strPath = (locked / "a.png").string();
    EXPECT_EQ(WriteError(strPath), strPath + ": cannot write: Permission denied");
}

// /proc refuses new files for every user, root included.
TEST_F(ImageFileWriteErrors, PlaceNobodyMayWrite)
{
    const std::string strPath = "/proc/docview-image-file-test.png";
    const std::string strError = WriteError(strPath);
    EXPECT_TRUE(StartsWith(strError, strPath + ": cannot write: ")) << strError;
    EXPECT_FALSE(std::filesystem::exists(strPath));
}

// A file size limit stands in for a full disk: the codecs only fail, the reason is the system's.
TEST_F(ImageFileWriteErrors, DiskThatRefusesTheDataGivesTheSystemsReason)
{
    cv::Mat pixels(200, 200, CV_8UC1);
    cv::randu(pixels, cv::Scalar(0), cv::Scalar(256));
    CImage image(CSize(200, 200), IImage::CType());
    pixels.copyTo(PlaneView(image, 0));
    for (const char* szName : {"a.tif", "a.png"})
    {
        const std::string strPath = m_folder.File(szName);
        std::string strError;
        ASSERT_TRUE(DocViewTest::WithFileSizeLimit(
            2048, [&] { strError = BadParamText([&] { CImageFile::Write(strPath, image); }); }));
        EXPECT_EQ(strError, strPath + ": cannot write: File too large");
        EXPECT_EQ(m_folder.Entries(), std::vector<std::string>{}) << "left behind";
    }
}

} // namespace
