// The size an image file claims, read before it is decoded, and the limits it is held to.

#include "ImageFileTestTools.h"

#include <Zarn/Image/ImageSizeGuard.h>

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <sys/stat.h>

using namespace Zarn;
using namespace ZarnTest;

namespace
{

std::string Fixture(const std::string& name)
{
    return std::string(BATCH_INPUTS) + "/" + name;
}

std::string ProbeError(const std::string& path)
{
    try
    {
        CImageSizeGuard::Probe(path);
    }
    catch (const CException& error)
    {
        return error.what();
    }
    return "no error";
}

TEST(ImageSizeGuard, ProbeReadsTheSizeEachFormatClaims)
{
    CTempFolder folder;
    const cv::Mat grey(30, 40, CV_16UC1, cv::Scalar(7));
    const cv::Mat colour(30, 40, CV_8UC3, cv::Scalar(1, 2, 3));
    ASSERT_TRUE(cv::imwrite(folder.File("g.png"), grey));
    ASSERT_TRUE(cv::imwrite(folder.File("c.jpg"), colour));
    ASSERT_TRUE(cv::imwrite(folder.File("c.bmp"), colour));
    ASSERT_TRUE(cv::imwritemulti(folder.File("s.tif"), std::vector<cv::Mat>{grey, grey, grey}));

    const SImageExtent png = CImageSizeGuard::Probe(folder.File("g.png"));
    EXPECT_EQ(png.ToString(), "40 × 30");
    EXPECT_EQ(png.m_uBytesPerPixel, 2u);
    EXPECT_EQ(CImageSizeGuard::Probe(folder.File("c.jpg")).ToString(), "40 × 30");
    EXPECT_EQ(CImageSizeGuard::Probe(folder.File("c.bmp")).m_uBytesPerPixel, 3u);
    const SImageExtent tiff = CImageSizeGuard::Probe(folder.File("s.tif"));
    EXPECT_EQ(tiff.ToString(), "40 × 30 × 3");
    EXPECT_EQ(tiff.m_uPixels, 3600u);
}

TEST(ImageSizeGuard, BombsClaimTheirSizeInAFewBytes)
{
    const SImageExtent tiff = CImageSizeGuard::Probe(Fixture("bomb-63090x16387.tif"));
    EXPECT_EQ(tiff.m_uPixels, 63090u * 16387u);
    EXPECT_EQ(CImageSizeGuard::Refusal(tiff, SImageSizeLimit()),
              "image too large: 63090 × 16387 pixels, the limit is 268435456 pixels");
    const SImageExtent png = CImageSizeGuard::Probe(Fixture("bomb-32000x32000.png"));
    EXPECT_EQ(png.ToString(), "32000 × 32000");
    EXPECT_EQ(CImageSizeGuard::Refusal(png, SImageSizeLimit()),
              "image too large: 32000 × 32000 pixels, the limit is 268435456 pixels");
}

TEST(ImageSizeGuard, MemoryLowersTheLimitByTheBytesOfThreeCopies)
{
    SImageSizeLimit limit;
    limit.m_uMaxPixels = 1000;
    limit.m_uMemoryBytes = 3 * 2 * 400; // three copies of 400 pixels of two bytes
    SImageExtent extent;
    extent.m_uWidth = 20;
    extent.m_uHeight = 21;
    extent.m_uPlanes = 1;
    extent.m_uPixels = 420;
    extent.m_uBytesPerPixel = 2;
    EXPECT_EQ(limit.PixelsFor(extent), 400u);
    EXPECT_EQ(CImageSizeGuard::Refusal(extent, limit),
              "image too large: 20 × 21 pixels, the limit is 400 pixels (what the free memory "
              "allows)");
    extent.m_uBytesPerPixel = 1;
    EXPECT_EQ(CImageSizeGuard::Refusal(extent, limit), "");
    EXPECT_EQ(SImageSizeLimit::ForReaders(1000, 4).m_uMemoryBytes,
              SImageSizeLimit::AvailableMemory() / 4);
}

TEST(ImageSizeGuard, WhatIsNoFileIsRefusedWithoutWaiting)
{
    CTempFolder folder;
    ASSERT_EQ(::mkfifo(folder.File("pipe.png").c_str(), 0600), 0);
    EXPECT_EQ(ProbeError(folder.File("pipe.png")),
              folder.File("pipe.png") + ": is a named pipe (FIFO), not an image file");
    EXPECT_EQ(ProbeError("/dev/null"), "/dev/null: is a device, not an image file");
    std::filesystem::create_symlink("loop.png", folder.File("loop.png"));
    EXPECT_EQ(ProbeError(folder.File("loop.png")),
              folder.File("loop.png") +
                  ": cannot open: the symbolic link loops (Too many levels of symbolic links)");
}

// OpenCV refuses such an image with its assertion text "pixels <= CV_IO_MAX_IMAGE_PIXELS".
TEST(ImageSizeGuard, TheDecodersOwnLimitIsToldInPlainWords)
{
    const std::string strPath = Fixture("bomb-100000x100000.png");
    EXPECT_EQ(ReadError(strPath), strPath + ": image too large: 100000 × 100000 pixels, the "
                                            "decoder takes at most 1073741824 pixels");
}

} // namespace
