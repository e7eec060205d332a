// docview-batch on inputs that are no ordinary images: files whose header claims more pixels than
// the run can hold, and things in the file system that are no files. Each fails alone, in one
// line naming it, and the others go on.

#include "BatchProgramTools.h"
#include "BatchTempFolder.h"

#include <opencv2/imgcodecs.hpp>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace batch_test;

namespace
{

// The lines of the output that name `file` ("file: ...") and hold `text`.
std::size_t LinesWith(const std::string& output, const std::string& file, const std::string& text)
{
    return CountLinesWith(output, file + ": ", text);
}

class BatchBadInput : public CBatchFolderTest
{
protected:
    BatchBadInput() : CBatchFolderTest("docview-batch-bad-XXXXXX") {}

    void SetUp() override
    {
        CBatchFolderTest::SetUp();
        ASSERT_TRUE(cv::imwrite((m_root / "good.png").string(), cv::Mat(120, 160, CV_8UC1, 90)));
    }

    // A run of the smoothing process; a bomb must not take the machine down with it, so the
    // program gets 4 GB of address space and two minutes. The address sanitizer reserves far more
    // address space for its shadow memory than any limit would allow, so there the time limit
    // alone guards the machine.
    SRun Run(const std::string& arguments) const
    {
#ifdef __SANITIZE_ADDRESS__
        const char* const szLimits = "timeout 120";
#else
        const char* const szLimits = "ulimit -v 4000000; timeout 120";
#endif
        return RunProgram("--process " SHARE_DIR "/processes/smooth.json --output '" +
                              (m_root / "out").string() + "' " + arguments,
                          szLimits);
    }

    std::string Quoted(const fs::path& path) const
    {
        return "'" + path.string() + "' ";
    }
};

TEST_F(BatchBadInput, ABombIsRefusedByTheSizeItsHeaderClaims)
{
    const fs::path tiff = fs::path(BATCH_INPUTS) / "bomb-63090x16387.tif";
    const fs::path png = fs::path(BATCH_INPUTS) / "bomb-32000x32000.png";
    const SRun run = Run("-j 2 " + Quoted(tiff) + Quoted(png) + Quoted(m_root / "good.png"));
    EXPECT_EQ(run.m_nExit, 1) << run.m_strOutput;
    EXPECT_EQ(LinesWith(run.m_strOutput, tiff.string(),
                        "image too large: 63090 × 16387 pixels, the limit is "),
              1U)
        << run.m_strOutput;
    EXPECT_EQ(LinesWith(run.m_strOutput, png.string(),
                        "image too large: 32000 × 32000 pixels, the limit is "),
              1U)
        << run.m_strOutput;
    EXPECT_NE(run.m_strOutput.find("1 of 3 done"), std::string::npos) << run.m_strOutput;
}

TEST_F(BatchBadInput, MaxPixelsSetsTheLimit)
{
    const fs::path good = m_root / "good.png";
    SRun run = Run("-j 1 --max-pixels 19199 " + Quoted(good));
    EXPECT_EQ(run.m_nExit, 1) << run.m_strOutput;
    EXPECT_EQ(LinesWith(run.m_strOutput, good.string(),
                        "image too large: 160 × 120 pixels, the limit is 19199 pixels"),
              1U)
        << run.m_strOutput;
    run = Run("-j 1 --max-pixels 19200 " + Quoted(good));
    EXPECT_EQ(run.m_nExit, 0) << run.m_strOutput;
    run = Run("-j 1 --max-pixels 0 " + Quoted(good));
    EXPECT_EQ(run.m_nExit, 2) << run.m_strOutput;
    EXPECT_NE(run.m_strOutput.find("--max-pixels needs a number of pixels"), std::string::npos)
        << run.m_strOutput;
    run = RunProgram("--help");
    EXPECT_NE(run.m_strOutput.find("--max-pixels N"), std::string::npos) << run.m_strOutput;
}

// A socket file bound in the folder, closed again: the file stays.
void MakeSocketFile(const fs::path& path)
{
    const int nSocket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_GE(nSocket, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.string().size(), sizeof(address.sun_path));
    std::snprintf(address.sun_path, sizeof(address.sun_path), "%s", path.c_str());
    EXPECT_EQ(::bind(nSocket, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    ::close(nSocket);
}

// A looping link used to end the run before it started and a named pipe to hang it.
TEST_F(BatchBadInput, OddFilesFailOneByOneAndTheOthersGoOn)
{
    fs::create_symlink("loop.png", m_root / "loop.png");
    ASSERT_EQ(::mkfifo((m_root / "pipe.png").c_str(), 0600), 0);
    MakeSocketFile(m_root / "socket.png");
    fs::create_directories(m_root / "folder");
    fs::create_symlink("again.png", m_root / "folder" / "again.png");
    fs::copy_file(m_root / "good.png", m_root / "folder" / "good2.png");

    const SRun run = Run("-j 2 " + Quoted(m_root / "loop.png") + Quoted(m_root / "pipe.png") +
                         Quoted(m_root / "socket.png") + "/dev/null " + Quoted(m_root / "folder") +
                         Quoted(m_root / "good.png"));
    EXPECT_EQ(run.m_nExit, 1) << run.m_strOutput;
    EXPECT_EQ(LinesWith(run.m_strOutput, (m_root / "loop.png").string(), "the symbolic link loops"),
              1U)
        << run.m_strOutput;
    EXPECT_EQ(LinesWith(run.m_strOutput, (m_root / "folder" / "again.png").string(),
                        "the symbolic link loops"),
              1U)
        << run.m_strOutput;
    EXPECT_EQ(LinesWith(run.m_strOutput, (m_root / "pipe.png").string(), "is a named pipe"), 1U)
        << run.m_strOutput;
    EXPECT_EQ(LinesWith(run.m_strOutput, (m_root / "socket.png").string(), "is a socket"), 1U)
        << run.m_strOutput;
    EXPECT_EQ(LinesWith(run.m_strOutput, "/dev/null", "is a device"), 1U) << run.m_strOutput;
    EXPECT_NE(run.m_strOutput.find("2 of 7 done"), std::string::npos) << run.m_strOutput;
}

// libpng used to print "libpng warning: ..." and "libpng error: ..." on their own lines, and
// libjpeg "Corrupt JPEG data: ...", which said nothing of the file they were about.
TEST_F(BatchBadInput, ImageLibraryMessagesNameTheirFile)
{
    std::vector<unsigned char> bytes;
    ASSERT_TRUE(cv::imencode(".png", cv::Mat(120, 160, CV_8UC1, 90), bytes));
    // A text chunk with a wrong checksum after the header chunk: libpng warns and reads on.
    const std::string strText("\0\0\0\15tEXtComment\0hello\xde\xad\xbe\xef", 25);
    std::vector<unsigned char> damaged(bytes.begin(), bytes.begin() + 33);
    damaged.insert(damaged.end(), strText.begin(), strText.end());
    damaged.insert(damaged.end(), bytes.begin() + 33, bytes.end());
    std::ofstream(m_root / "text.png", std::ios::binary)
        .write(reinterpret_cast<const char*>(damaged.data()),
               static_cast<std::streamsize>(damaged.size()));

    // Bytes between the first segment and the next marker: libjpeg warns and reads on.
    ASSERT_TRUE(cv::imencode(".jpg", cv::Mat(120, 160, CV_8UC3, cv::Scalar(20, 90, 160)), bytes));
    const std::string strExtra("\1\2\3\4\5");
    bytes.insert(bytes.begin() + 4 + (bytes[4] << 8 | bytes[5]), strExtra.begin(), strExtra.end());
    std::ofstream(m_root / "extra.jpg", std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));

    const SRun run = Run("-j 1 " + Quoted(m_root / "text.png") + Quoted(m_root / "extra.jpg"));
    EXPECT_EQ(run.m_nExit, 0) << run.m_strOutput;
    EXPECT_EQ(run.m_strOutput.find("libpng"), std::string::npos) << run.m_strOutput;
    EXPECT_EQ(LinesWith(run.m_strOutput, (m_root / "extra.jpg").string(),
                        "JPEG warning: Corrupt JPEG data: 5 extraneous bytes before marker"),
              1U)
        << run.m_strOutput;
    EXPECT_EQ(CountLinesWith(run.m_strOutput, "Corrupt JPEG data", ""), 1U) << run.m_strOutput;
    EXPECT_EQ(
        LinesWith(run.m_strOutput, (m_root / "text.png").string(), "PNG warning: tEXt: CRC error"),
        1U)
        << run.m_strOutput;
}

} // namespace
