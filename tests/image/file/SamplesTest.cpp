#include "ImageFileTestTools.h"

#include <Zarn/Image/ImageOpenCV.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

using namespace Zarn;
using namespace ZarnTest;

namespace
{

// The committed samples are what share/samples/README.md says they are.

std::string SamplePath(const std::string& name)
{
    return std::string(SAMPLES_DIR) + "/" + name;
}

TEST(Samples, CellsIsGreyWithTwelveSeparateBlobs)
{
    const std::unique_ptr<CImage> pImage(CImageFile::Read(SamplePath("cells.png")));
    ASSERT_EQ(pImage->Size(), CSize(256, 256));
    ASSERT_EQ(pImage->Type(), IImage::CType(IImage::etUInt8, 1));
    EXPECT_EQ(pImage->Attributes().EntryString(CValue_Key(CTekaHeaderTools::kSourceFile)),
              CString(SamplePath("cells.png")));

    const cv::Mat pixels = PlaneView(*pImage);
    double dMin = 0.0;
    double dMax = 0.0;
    cv::minMaxLoc(pixels, &dMin, &dMax);
    EXPECT_GE(dMin, 30.0);
    EXPECT_EQ(dMax, 200.0);
    cv::Mat binary;
    cv::threshold(pixels, binary, 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU);
    cv::Mat labels;
    EXPECT_EQ(cv::connectedComponents(binary, labels, 8), 13) << "twelve blobs and the ground";
}

TEST(Samples, Gradient16IsASixteenBitRampWithAHeader)
{
    const std::unique_ptr<CImage> pImage(CImageFile::Read(SamplePath("gradient16.tif")));
    ASSERT_EQ(pImage->Size(), CSize(256, 256));
    ASSERT_EQ(pImage->Type(), IImage::CType(IImage::etUInt16, 1));
    const cv::Mat pixels = PlaneView(*pImage);
    for (int y : {0, 17, 128, 255})
    {
        for (int x : {0, 3, 200, 255})
        {
            EXPECT_EQ(pixels.at<std::uint16_t>(y, x), (x + y) * 65535 / 510) << x << "," << y;
        }
    }
    const CValue* pHistory =
        pImage->Attributes().Entry(CValue_Key(CTekaHeaderTools::kHistory), false);
    ASSERT_NE(pHistory, nullptr);
    ASSERT_NE(pHistory->Vector(), nullptr);
    ASSERT_EQ(pHistory->Vector()->Size(), 1u);
    EXPECT_EQ(pHistory->Vector()->EntryString(CValue_Key(0)), CString("make-samples: gradient16"));
}

TEST(Samples, ColourHasRgbQuadrants)
{
    const std::unique_ptr<CImage> pImage(CImageFile::Read(SamplePath("colour.png")));
    ASSERT_EQ(pImage->Size(), CSize(128, 128));
    ASSERT_EQ(pImage->Type(), IImage::CType(IImage::etUInt8, 3));
    const cv::Mat pixels = PlaneView(*pImage);
    EXPECT_EQ(pixels.at<cv::Vec3b>(10, 10), cv::Vec3b(255, 0, 0));
    EXPECT_EQ(pixels.at<cv::Vec3b>(10, 100), cv::Vec3b(0, 255, 0));
    EXPECT_EQ(pixels.at<cv::Vec3b>(100, 10), cv::Vec3b(0, 0, 255));
    EXPECT_EQ(pixels.at<cv::Vec3b>(100, 100), cv::Vec3b(255, 255, 255));
    for (int y : {32, 96})
    {
        for (int x : {0, 64, 127})
        {
            EXPECT_EQ(pixels.at<cv::Vec3b>(y, x), cv::Vec3b(0, 0, 0)) << x << "," << y;
        }
    }
}

} // namespace
