// PNG files are read by libpng directly (to keep its messages); the pixels must be what OpenCV's
// own reader gives, for every colour type and bit depth.

#include "ImageFileTestTools.h"

#include <Zarn/Image/ImageOpenCV.h>

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

using namespace Zarn;
using namespace ZarnTest;

namespace
{

class PngRead : public testing::TestWithParam<std::string>
{
};

TEST_P(PngRead, PixelsEqualOpenCVsReader)
{
    const std::string strPath = std::string(PNG_VARIANTS) + "/" + GetParam();
    cv::Mat expected = cv::imread(strPath, cv::IMREAD_UNCHANGED);
    ASSERT_FALSE(expected.empty());
    if (expected.channels() >= 3)
    {
        cv::cvtColor(expected, expected,
                     expected.channels() == 3 ? cv::COLOR_BGR2RGB : cv::COLOR_BGRA2RGBA);
    }
    const std::unique_ptr<CImage> pImage(CImageFile::Read(strPath));
    const cv::Mat actual = PlaneView(*pImage, 0);
    ASSERT_EQ(actual.type(), expected.type());
    ASSERT_EQ(actual.size(), expected.size());
    EXPECT_EQ(cv::norm(actual, expected, cv::NORM_INF), 0.0);
}

INSTANTIATE_TEST_SUITE_P(ColourTypesAndDepths, PngRead,
                         testing::Values("palette4.png", "palette8-trns.png", "grey2.png",
                                         "grey8-trns.png", "grey-alpha8.png", "grey-alpha16.png",
                                         "rgb8-trns.png", "rgb16.png", "rgba16-interlaced.png",
                                         "grey8-interlaced.png"),
                         [](const testing::TestParamInfo<std::string>& param)
                         {
                             std::string strName = param.param.substr(0, param.param.size() - 4);
                             for (char& c : strName)
                             {
                                 c = c == '-' ? '_' : c;
                             }
                             return strName;
                         });

} // namespace

namespace
{

// JPEG too is read by libjpeg directly; grey and colour, baseline and progressive, must give
// what OpenCV's reader gives.
TEST(JpegRead, PixelsEqualOpenCVsReader)
{
    CTempFolder folder;
    cv::Mat colour(37, 53, CV_8UC3);
    cv::randu(colour, cv::Scalar::all(0), cv::Scalar::all(256));
    cv::GaussianBlur(colour, colour, cv::Size(5, 5), 1.5);
    cv::Mat grey;
    cv::cvtColor(colour, grey, cv::COLOR_BGR2GRAY);
    int nCase = 0;
    for (const cv::Mat& pixels : {colour, grey})
    {
        for (const std::vector<int>& lstOptions :
             {std::vector<int>{cv::IMWRITE_JPEG_QUALITY, 95},
              std::vector<int>{cv::IMWRITE_JPEG_QUALITY, 40, cv::IMWRITE_JPEG_PROGRESSIVE, 1},
              std::vector<int>{cv::IMWRITE_JPEG_QUALITY, 100, cv::IMWRITE_JPEG_RST_INTERVAL, 3}})
        {
            const std::string strPath = folder.File("case" + std::to_string(nCase++) + ".jpg");
            ASSERT_TRUE(cv::imwrite(strPath, pixels, lstOptions));
            cv::Mat expected = cv::imread(strPath, cv::IMREAD_UNCHANGED);
            if (expected.channels() == 3)
            {
                cv::cvtColor(expected, expected, cv::COLOR_BGR2RGB);
            }
            const std::unique_ptr<CImage> pImage(CImageFile::Read(strPath));
            const cv::Mat actual = PlaneView(*pImage, 0);
            ASSERT_EQ(actual.type(), expected.type()) << strPath;
            EXPECT_EQ(cv::norm(actual, expected, cv::NORM_INF), 0.0) << strPath;
        }
    }
}

} // namespace
