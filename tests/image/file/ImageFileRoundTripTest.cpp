#include "ImageFileTestTools.h"

#include <Zarn/Image/ImageOpenCV.h>
#include <Zarn/Image/ImagePointer.h>

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <tiffio.h>

#include <ostream>

using namespace Zarn;
using namespace ZarnTest;

namespace
{

struct SCombination
{
    std::string m_strExtension;
    IImage::EnElementType m_enElement;
    unsigned int m_uChannels;
};

// Test names and messages show the combination, not the bytes of the struct.
void PrintTo(const SCombination& combination, std::ostream* pStream)
{
    *pStream << combination.m_strExtension << " "
             << IImage::CType(combination.m_enElement, combination.m_uChannels).ToString();
}

struct SStackType
{
    IImage::CType m_type;
};

void PrintTo(const SStackType& stackType, std::ostream* pStream)
{
    *pStream << stackType.m_type.ToString();
}

const IImage::EnElementType kAllElements[] = {
    IImage::etUInt8,  IImage::etInt8,  IImage::etUInt16,  IImage::etInt16,
    IImage::etUInt32, IImage::etInt32, IImage::etFloat32, IImage::etFloat64,
};

const char* FormatName(const std::string& extension)
{
    if (extension == "png")
    {
        return "PNG";
    }
    if (extension == "tif")
    {
        return "TIFF";
    }
    return extension == "jpg" ? "JPEG" : "BMP";
}

// The documented table: what each format keeps.
bool IsDocumentedStorable(const SCombination& combination)
{
    const IImage::EnElementType enElement = combination.m_enElement;
    const unsigned int uChannels = combination.m_uChannels;
    const bool bGreyOrColour = uChannels == 1 || uChannels == 3 || uChannels == 4;
    if (combination.m_strExtension == "png")
    {
        return bGreyOrColour && (enElement == IImage::etUInt8 || enElement == IImage::etUInt16);
    }
    if (combination.m_strExtension == "tif")
    {
        if (enElement == IImage::etUInt8 || enElement == IImage::etUInt16 ||
            enElement == IImage::etFloat32)
        {
            return bGreyOrColour;
        }
        return uChannels == 1 && enElement != IImage::etUInt32;
    }
    return enElement == IImage::etUInt8 && (uChannels == 1 || uChannels == 3);
}

std::vector<SCombination> AllCombinations()
{
    std::vector<SCombination> lstCombinations;
    for (const char* szExtension : {"png", "tif", "jpg", "bmp"})
    {
        for (IImage::EnElementType enElement : kAllElements)
        {
            for (unsigned int uChannels = 1; uChannels <= 4; ++uChannels)
            {
                lstCombinations.push_back({szExtension, enElement, uChannels});
            }
        }
    }
    return lstCombinations;
}

// The largest difference of two images of 8-bit pixels, and the mean one.
void CompareLossy(const CImage& expected, const CImage& actual, double& dMax, double& dMean)
{
    const cv::Mat expectedPlane = PlaneView(expected);
    const cv::Mat actualPlane = PlaneView(actual);
    dMax = cv::norm(expectedPlane, actualPlane, cv::NORM_INF);
    dMean = cv::norm(expectedPlane, actualPlane, cv::NORM_L1) /
            static_cast<double>(expected.Size().PixelCount() * expected.Type().Channels());
}

// Writes a small grey image that carries the test header to `strPath`: the image as written.
CImage WriteGreyImageWithHeader(const std::string& strPath)
{
    CImage image(CSize(8, 6), IImage::CType(IImage::etUInt8, 1));
    AddTestHeader(image);
    CImageFile::Write(strPath, image);
    return image;
}

// Writes OpenCV's BGR(A) pixels to `strPath`, as another program would, and reads the file back.
std::unique_ptr<CImage> WriteWithOpenCVAndRead(const std::string& strPath, const cv::Mat& pixels)
{
    EXPECT_TRUE(cv::imwrite(strPath, pixels)) << strPath;
    return std::unique_ptr<CImage>(CImageFile::Read(strPath));
}

class ImageFileCombination : public testing::TestWithParam<SCombination>
{
};

TEST_P(ImageFileCombination, SavesAndLoadsOrRefusesNamingFormatAndType)
{
    const SCombination& combination = GetParam();
    CTempFolder folder;
    const std::string strPath = folder.File("image." + combination.m_strExtension);
    // An odd width, so that rows are padded in memory.
    CImage image(CSize(37, 21), IImage::CType(combination.m_enElement, combination.m_uChannels));
    const bool bLossy = combination.m_strExtension == "jpg";
    if (bLossy)
    {
        FillSmooth(image);
    }
    else
    {
        FillVaried(image, 1234 + combination.m_uChannels);
    }
    AddTestHeader(image);
    const CImage before(image);

    if (!IsDocumentedStorable(combination))
    {
        EXPECT_FALSE(CImageFile::CanStore(strPath, image.Type()));
        const std::string strError = BadParamText([&] { CImageFile::Write(strPath, image); });
        EXPECT_EQ(strError, strPath + ": " + FormatName(combination.m_strExtension) +
                                " cannot store " + image.Type().ToString() + " images");
        EXPECT_TRUE(folder.Entries().empty()) << "a refused image left files behind";
        return;
    }

    EXPECT_TRUE(CImageFile::CanStore(strPath, image.Type()));
    CImageFile::Write(strPath, image);
    EXPECT_TRUE(image.Equal(before)) << "writing changed the caller's image";
    const std::unique_ptr<CImage> pRead(CImageFile::Read(strPath));
    ASSERT_TRUE(pRead);
    ASSERT_EQ(pRead->Size(), image.Size());
    ASSERT_EQ(pRead->Type(), image.Type());
    if (bLossy)
    {
        double dMax = 0.0;
        double dMean = 0.0;
        CompareLossy(image, *pRead, dMax, dMean);
        EXPECT_LE(dMax, 8.0);
        EXPECT_LE(dMean, 1.5);
    }
    else
    {
        EXPECT_TRUE(pRead->EqualPixels(image));
    }
    const CValueMap expected = ExpectedHeader(image, strPath);
    EXPECT_TRUE(pRead->Attributes().Equal(expected))
        << HeaderText(pRead->Attributes()) << " instead of " << HeaderText(expected);

    const std::vector<std::string> lstExpectedFiles =
        combination.m_strExtension == "tif"
            ? std::vector<std::string>{"image.tif"}
            : std::vector<std::string>{"image." + combination.m_strExtension,
                                       "image." + combination.m_strExtension + ".json"};
    EXPECT_EQ(folder.Entries(), lstExpectedFiles);
}

INSTANTIATE_TEST_SUITE_P(
    AllFormatsTypesAndChannels, ImageFileCombination, testing::ValuesIn(AllCombinations()),
    [](const testing::TestParamInfo<SCombination>& param)
    {
        return param.param.m_strExtension + "_" +
               IImage::CType(param.param.m_enElement, param.param.m_uChannels).ToString();
    });

// z = 3 planes become three TIFF pages and come back as three planes.
class ImageFileMultiPage : public testing::TestWithParam<SStackType>
{
};

TEST_P(ImageFileMultiPage, TiffPagesAreThePlanes)
{
    CTempFolder folder;
    const std::string strPath = folder.File("stack.tif");
    CImage image(CSize(19, 11, 3), GetParam().m_type);
    FillVaried(image, 77);
    AddTestHeader(image);
    CImageFile::Write(strPath, image);

    const std::unique_ptr<CImage> pRead(CImageFile::Read(strPath));
    EXPECT_EQ(pRead->Size(), CSize(19, 11, 3));
    EXPECT_TRUE(pRead->EqualPixels(image));
    EXPECT_TRUE(pRead->Attributes().Equal(ExpectedHeader(image, strPath)))
        << HeaderText(pRead->Attributes());

    // The file holds three intact pages for other readers too, after the header was added.
    std::vector<cv::Mat> lstPages;
    ASSERT_TRUE(cv::imreadmulti(strPath, lstPages, cv::IMREAD_UNCHANGED));
    ASSERT_EQ(lstPages.size(), 3u);
    for (std::uint32_t z = 0; z < 3; ++z)
    {
        cv::Mat expected = PlaneView(image, z);
        if (GetParam().m_type.Channels() >= 3)
        {
            const int anFromTo[] = {0, 2, 1, 1, 2, 0, 3, 3};
            cv::Mat swapped(expected.size(), expected.type());
            cv::mixChannels(&expected, 1, &swapped, 1, anFromTo, GetParam().m_type.Channels());
            expected = swapped;
        }
        ASSERT_EQ(lstPages[z].type(), expected.type());
        EXPECT_EQ(cv::norm(lstPages[z], expected, cv::NORM_INF), 0.0) << "page " << z;
    }
}

INSTANTIATE_TEST_SUITE_P(SeveralTypes, ImageFileMultiPage,
                         testing::Values(SStackType{IImage::CType(IImage::etUInt8, 1)},
                                         SStackType{IImage::CType(IImage::etUInt16, 1)},
                                         SStackType{IImage::CType(IImage::etUInt16, 3)},
                                         SStackType{IImage::CType(IImage::etFloat32, 3)},
                                         SStackType{IImage::CType(IImage::etUInt8, 4)},
                                         SStackType{IImage::CType(IImage::etInt16, 1)},
                                         SStackType{IImage::CType(IImage::etFloat64, 1)}),
                         [](const testing::TestParamInfo<SStackType>& param)
                         { return param.param.m_type.ToString(); });

std::string TiffDescription(const std::string& path, int nDirectory, int& nDirectories)
{
    TIFF* pTiff = TIFFOpen(path.c_str(), "r");
    if (pTiff == nullptr)
    {
        ADD_FAILURE() << "libtiff cannot open " << path;
        return {};
    }
    nDirectories = TIFFNumberOfDirectories(pTiff);
    std::string strText = "<none>";
    const char* szText = nullptr;
    if (TIFFSetDirectory(pTiff, static_cast<tdir_t>(nDirectory)) == 1 &&
        TIFFGetField(pTiff, TIFFTAG_IMAGEDESCRIPTION, &szText) == 1 && szText != nullptr)
    {
        strText = szText;
    }
    TIFFClose(pTiff);
    return strText;
}

TEST(ImageFileTiffHeader, HeaderIsJsonInTheFirstPageDescriptionAndNoSideFile)
{
    CTempFolder folder;
    const std::string strPath = folder.File("stack.tif");
    CImage image(CSize(8, 6, 3), IImage::CType(IImage::etUInt16, 1));
    FillVaried(image, 5);
    AddTestHeader(image);
    CImageFile::Write(strPath, image);

    int nDirectories = 0;
    const std::string strDescription = TiffDescription(strPath, 0, nDirectories);
    EXPECT_EQ(nDirectories, 3);
    const std::unique_ptr<CValue> pHeader(CJsonValueFile::ReadString(strDescription));
    EXPECT_TRUE(pHeader->Equal(image.Attributes())) << strDescription;
    EXPECT_EQ(TiffDescription(strPath, 1, nDirectories), "<none>");
    EXPECT_EQ(folder.Entries(), std::vector<std::string>{"stack.tif"});
}

TEST(ImageFileTiffHeader, EmptyHeaderWritesNoDescription)
{
    CTempFolder folder;
    const std::string strPath = folder.File("plain.tiff");
    CImage image(CSize(8, 6), IImage::CType(IImage::etUInt8, 1));
    CImageFile::Write(strPath, image);
    int nDirectories = 0;
    EXPECT_EQ(TiffDescription(strPath, 0, nDirectories), "<none>");
    const std::unique_ptr<CImage> pRead(CImageFile::Read(strPath));
    EXPECT_EQ(pRead->Attributes().Size(), 1u);
    EXPECT_EQ(pRead->Attributes().EntryString(CValue_Key(CTekaHeaderTools::kSourceFile)),
              CString(strPath));
}

// A description another program wrote is kept as text, not lost and not an error.
TEST(ImageFileTiffHeader, ForeignDescriptionIsKeptAsText)
{
    CTempFolder folder;
    const std::string strPath = folder.File("scanner.tif");
    ASSERT_TRUE(cv::imwrite(strPath, cv::Mat(4, 5, CV_8UC1, cv::Scalar(9))));
    TIFF* pTiff = TIFFOpen(strPath.c_str(), "r+");
    ASSERT_NE(pTiff, nullptr);
    TIFFSetField(pTiff, TIFFTAG_IMAGEDESCRIPTION, "made by a scanner");
    ASSERT_EQ(TIFFRewriteDirectory(pTiff), 1);
    TIFFClose(pTiff);

    const std::unique_ptr<CImage> pRead(CImageFile::Read(strPath));
    EXPECT_EQ(pRead->Attributes().EntryString(CValue_Key("image description")),
              CString("made by a scanner"));
}

TEST(ImageFileSideFile, PngJpegAndBmpWriteTheHeaderBesideTheImage)
{
    for (const char* szExtension : {"png", "jpg", "bmp", "PNG", "JPEG"})
    {
        SCOPED_TRACE(szExtension);
        CTempFolder folder;
        const std::string strName = std::string("a.") + szExtension;
        CImage image(CSize(8, 6), IImage::CType(IImage::etUInt8, 3));
        AddTestHeader(image);
        CImageFile::Write(folder.File(strName), image);
        EXPECT_EQ(folder.Entries(), (std::vector<std::string>{strName, strName + ".json"}));
        const std::unique_ptr<CValue> pSide(
            CJsonValueFile::ReadFile(folder.File(strName + ".json")));
        EXPECT_TRUE(pSide->Equal(image.Attributes())) << HeaderText(*pSide->Map());
    }
}

TEST(ImageFileSideFile, EmptyHeaderRemovesTheSideFileOfAnEarlierSave)
{
    CTempFolder folder;
    const std::string strPath = folder.File("a.png");
    CImage image = WriteGreyImageWithHeader(strPath);
    ASSERT_TRUE(fs::exists(strPath + ".json"));

    image.Attributes().Clear();
    CImageFile::Write(strPath, image);
    EXPECT_FALSE(fs::exists(strPath + ".json"));
    const std::unique_ptr<CImage> pRead(CImageFile::Read(strPath));
    EXPECT_EQ(HeaderText(pRead->Attributes()), HeaderText(ExpectedHeader(image, strPath)));
}

// "source file" says where the image in memory came from: not saved, replaced on reading.
TEST(ImageFileSideFile, SourceFileIsNotSavedAndReadingSetsIt)
{
    CTempFolder folder;
    const std::string strPath = folder.File("a.bmp");
    CImage image(CSize(8, 6), IImage::CType(IImage::etUInt8, 1));
    image.Attributes().SetEntry(CValue_Key(CTekaHeaderTools::kSourceFile),
                                new CValueString("/elsewhere/original.png"));
    CImageFile::Write(strPath, image);
    EXPECT_EQ(folder.Entries(), std::vector<std::string>{"a.bmp"});
    const std::unique_ptr<CImage> pRead(CImageFile::Read(strPath));
    EXPECT_EQ(pRead->Attributes().EntryString(CValue_Key(CTekaHeaderTools::kSourceFile)),
              CString(strPath));
}

TEST(ImageFileSideFile, MissingSideFileGivesAnEmptyHeader)
{
    CTempFolder folder;
    const std::string strPath = folder.File("a.png");
    WriteGreyImageWithHeader(strPath);
    fs::remove(strPath + ".json");
    const std::unique_ptr<CImage> pRead(CImageFile::Read(strPath));
    EXPECT_EQ(pRead->Attributes().Size(), 1u);
    EXPECT_TRUE(pRead->Attributes().HasEntry(CValue_Key(CTekaHeaderTools::kSourceFile)));
}

TEST(ImageFileHeader, PointerValuesCannotBeSavedAndNothingIsWritten)
{
    CTempFolder folder;
    const std::string strPath = folder.File("a.png");
    CImage other;
    for (const char* szName : {"a.png", "a.tif"})
    {
        CImage image(CSize(8, 6), IImage::CType(IImage::etUInt8, 1));
        image.Attributes().SetEntry(CValue_Key("mask"), new CValuePointer<CImage>(&other));
        EXPECT_THROW(CImageFile::Write(folder.File(szName), image), CExBadType);
    }
    EXPECT_TRUE(folder.Entries().empty());
}

// OpenCV keeps BGR(A); the files must hold the colours the image means.
TEST(ImageFileColourOrder, RgbInMemoryIsTheFileColourForOtherReaders)
{
    CTempFolder folder;
    for (const char* szName : {"c.png", "c.tif", "c.bmp"})
    {
        SCOPED_TRACE(szName);
        CImage image(CSize(3, 2), IImage::CType(IImage::etUInt8, 3));
        image.Data()[0] = 200; // red
        image.Data()[1] = 100; // green
        image.Data()[2] = 10;  // blue
        CImageFile::Write(folder.File(szName), image);
        const cv::Mat bgr = cv::imread(folder.File(szName), cv::IMREAD_UNCHANGED);
        ASSERT_EQ(bgr.type(), CV_8UC3);
        EXPECT_EQ(bgr.at<cv::Vec3b>(0, 0), cv::Vec3b(10, 100, 200));
    }
    CImage rgba(CSize(3, 2), IImage::CType(IImage::etUInt16, 4));
    auto* pPixel = reinterpret_cast<std::uint16_t*>(rgba.Data());
    pPixel[0] = 60000;
    pPixel[1] = 30000;
    pPixel[2] = 1000;
    pPixel[3] = 500;
    CImageFile::Write(folder.File("c16.png"), rgba);
    const cv::Mat bgra = cv::imread(folder.File("c16.png"), cv::IMREAD_UNCHANGED);
    ASSERT_EQ(bgra.type(), CV_16UC4);
    EXPECT_EQ(bgra.at<cv::Vec4w>(0, 0), cv::Vec4w(1000, 30000, 60000, 500));
}

TEST(ImageFileColourOrder, FilesOfOtherWritersReadAsRgb)
{
    CTempFolder folder;
    const std::unique_ptr<CImage> pRead = WriteWithOpenCVAndRead(
        folder.File("o.png"), cv::Mat(2, 3, CV_8UC3, cv::Scalar(10, 100, 200)));
    ASSERT_EQ(pRead->Type(), IImage::CType(IImage::etUInt8, 3));
    EXPECT_EQ(pRead->Data()[0], 200);
    EXPECT_EQ(pRead->Data()[1], 100);
    EXPECT_EQ(pRead->Data()[2], 10);
}

// A 16-bit colour PNG keeps its depth and reads in RGB(A) order, as the view expects.
TEST(ImageFileColourOrder, SixteenBitColourPngsOfOtherWritersReadAsRgbAtFullDepth)
{
    CTempFolder folder;
    const std::unique_ptr<CImage> pRgb = WriteWithOpenCVAndRead(
        folder.File("o16.png"), cv::Mat(2, 3, CV_16UC3, cv::Scalar(1000, 30000, 60000)));
    ASSERT_EQ(pRgb->Type(), IImage::CType(IImage::etUInt16, 3));
    const auto* pPixel = reinterpret_cast<const std::uint16_t*>(pRgb->Data());
    EXPECT_EQ(pPixel[0], 60000);
    EXPECT_EQ(pPixel[1], 30000);
    EXPECT_EQ(pPixel[2], 1000);

    const std::unique_ptr<CImage> pRgba = WriteWithOpenCVAndRead(
        folder.File("o16a.png"), cv::Mat(2, 3, CV_16UC4, cv::Scalar(1000, 30000, 60000, 500)));
    ASSERT_EQ(pRgba->Type(), IImage::CType(IImage::etUInt16, 4));
    pPixel = reinterpret_cast<const std::uint16_t*>(pRgba->Data());
    EXPECT_EQ(pPixel[0], 60000);
    EXPECT_EQ(pPixel[2], 1000);
    EXPECT_EQ(pPixel[3], 500);
}

TEST(ImageFileWrite, ReplacingAFileKeepsItsPermissionsAndLeavesNoTemporaryFile)
{
    CTempFolder folder;
    const std::string strPath = folder.File("a.tif");
    CImage image(CSize(8, 6), IImage::CType(IImage::etUInt8, 1));
    CImageFile::Write(strPath, image);
    fs::permissions(strPath,
                    fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    FillVaried(image, 3);
    CImageFile::Write(strPath, image);
    EXPECT_EQ(fs::status(strPath).permissions(),
              fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    EXPECT_EQ(folder.Entries(), std::vector<std::string>{"a.tif"});
    const std::unique_ptr<CImage> pRead(CImageFile::Read(strPath));
    EXPECT_TRUE(pRead->EqualPixels(image));
}

TEST(ImageFileWrite, RefusedWriteLeavesTheOldFile)
{
    CTempFolder folder;
    const std::string strPath = folder.File("a.png");
    CImage image(CSize(8, 6), IImage::CType(IImage::etUInt8, 1));
    FillVaried(image, 9);
    CImageFile::Write(strPath, image);
    const std::vector<char> lstBefore = FileBytes(strPath);

    CImage stack(CSize(8, 6, 2), IImage::CType(IImage::etUInt8, 1));
    EXPECT_EQ(BadParamText([&] { CImageFile::Write(strPath, stack); }),
              strPath + ": PNG stores one plane, the image has 2");
    CImage empty;
    EXPECT_EQ(BadParamText([&] { CImageFile::Write(strPath, empty); }),
              strPath + ": cannot store an empty image (0x0x0)");
    EXPECT_EQ(FileBytes(strPath), lstBefore);
    EXPECT_EQ(folder.Entries(), std::vector<std::string>{"a.png"});
}

TEST(ImageFilePaths, FormatFollowsTheExtensionInAnyCase)
{
    for (const char* szPath : {"a.png", "A.PNG", "b.tif", "b.TIFF", "c.jpg", "c.JpEg", "d.bmp",
                               "dir.png/e.Bmp", "/x/y.tiff"})
    {
        EXPECT_TRUE(CImageFile::IsSupportedPath(szPath)) << szPath;
    }
    for (const char* szPath : {"a.gif", "png", "a.png.json", "dir.png/file", "a.", "", "a.tifff"})
    {
        EXPECT_FALSE(CImageFile::IsSupportedPath(szPath)) << szPath;
    }
    EXPECT_TRUE(CImageFile::CanStore("a.tif", IImage::CType(IImage::etUInt16, 1), 3));
    EXPECT_FALSE(CImageFile::CanStore("a.png", IImage::CType(IImage::etUInt16, 1), 3));
    EXPECT_FALSE(CImageFile::CanStore("a.tif", IImage::CType(IImage::etUInt16, 1), 0));
    EXPECT_FALSE(CImageFile::CanStore("a.gif", IImage::CType(IImage::etUInt8, 1)));
}

TEST(ImageFilePaths, UpperCaseExtensionsRoundTrip)
{
    CTempFolder folder;
    CImage image(CSize(8, 6, 2), IImage::CType(IImage::etUInt16, 1));
    FillVaried(image, 11);
    CImageFile::Write(folder.File("S.TIFF"), image);
    const std::unique_ptr<CImage> pRead(CImageFile::Read(folder.File("S.TIFF")));
    EXPECT_TRUE(pRead->EqualPixels(image));
}

} // namespace
