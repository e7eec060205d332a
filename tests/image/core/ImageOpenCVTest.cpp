#include "ImageTestTools.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/ImageExtraction.h>
#include <Zarn/Image/ImageOpenCV.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

using namespace Zarn;
using namespace ZarnTest;

namespace
{

// The OpenCV depth that stores each element type; uint32 has none.
int ExpectedDepth(IImage::EnElementType type)
{
    constexpr std::pair<IImage::EnElementType, int> kDepths[] = {
        {IImage::etUInt8, CV_8U},   {IImage::etInt8, CV_8S},   {IImage::etUInt16, CV_16U},
        {IImage::etInt16, CV_16S},  {IImage::etInt32, CV_32S}, {IImage::etFloat32, CV_32F},
        {IImage::etFloat64, CV_64F}};
    for (const auto& [enType, nDepth] : kDepths)
    {
        if (enType == type)
        {
            return nDepth;
        }
    }
    return -1;
}

std::vector<IImage::EnElementType> OpenCVElementTypes()
{
    std::vector<IImage::EnElementType> lstTypes;
    for (const SElementCase& element : kElementCases)
    {
        if (element.m_enType != IImage::etUInt32)
        {
            lstTypes.push_back(element.m_enType);
        }
    }
    return lstTypes;
}

// An odd width and three planes: views of padded rows in the middle of the buffer.
const CSize kPlanes(29, 7, 3);

class ImageOpenCV : public ::testing::TestWithParam<TypeCase>
{
protected:
    IImage::CType Type() const
    {
        return IImage::CType(std::get<0>(GetParam()), std::get<1>(GetParam()));
    }
    int ExpectedMatType() const
    {
        return CV_MAKETYPE(ExpectedDepth(std::get<0>(GetParam())), int(std::get<1>(GetParam())));
    }
};

} // namespace

TEST_P(ImageOpenCV, OpenCVTypeHasTheElementDepth)
{
    EXPECT_EQ(CV_MAT_DEPTH(OpenCVType(Type())), ExpectedDepth(std::get<0>(GetParam())));
}

TEST_P(ImageOpenCV, PlaneViewOfEachPlaneSharesImageMemoryWithRightGeometry)
{
    CImage image(kPlanes, Type());
    const size_t uPixelSize = Type().PixelSize();
    for (std::uint32_t z = 0; z < kPlanes.Z(); ++z)
    {
        SCOPED_TRACE(z);
        cv::Mat view = PlaneView(image, z);
        EXPECT_EQ(view.type(), ExpectedMatType());
        EXPECT_EQ(view.rows, int(kPlanes.Y()));
        EXPECT_EQ(view.cols, int(kPlanes.X()));
        EXPECT_EQ(view.step[0], image.RowStride());
        EXPECT_EQ(view.elemSize(), uPixelSize);
        EXPECT_EQ(view.data, image.Data() + z * image.PlaneStride());
        EXPECT_EQ(view.ptr(kPlanes.Y() - 1), PixelAddress(image, 0, kPlanes.Y() - 1, z));

        // Through the view into the image: the pixel's last byte, per plane a different value.
        view.ptr(3)[5 * uPixelSize + uPixelSize - 1] = static_cast<std::uint8_t>(0x40 + z);
        EXPECT_EQ(PixelAddress(image, 5, 3, z)[uPixelSize - 1], 0x40 + z);

        // Through the image into the view.
        PixelAddress(image, kPlanes.X() - 1, kPlanes.Y() - 1, z)[0] =
            static_cast<std::uint8_t>(0x20 + z);
        EXPECT_EQ(view.ptr(kPlanes.Y() - 1)[(kPlanes.X() - 1) * uPixelSize], 0x20 + z);
    }
    // Writing plane 1 did not touch the others.
    for (std::uint32_t z = 0; z < kPlanes.Z(); ++z)
    {
        EXPECT_EQ(PixelAddress(image, 5, 3, z)[uPixelSize - 1], 0x40 + z);
    }
    EXPECT_EQ(NonZeroPixels(image), 2u * kPlanes.Z());
}

TEST_P(ImageOpenCV, PlaneViewOfConstImageSharesMemory)
{
    CImage image(kPlanes, Type());
    FillPattern(image, 3);
    const CImage& constImage = image;
    for (std::uint32_t z = 0; z < kPlanes.Z(); ++z)
    {
        const cv::Mat view = PlaneView(constImage, z);
        EXPECT_EQ(view.type(), ExpectedMatType());
        EXPECT_EQ(view.data, image.Data() + z * image.PlaneStride());
        EXPECT_EQ(view.step[0], image.RowStride());
        EXPECT_EQ(view.size(), cv::Size(int(kPlanes.X()), int(kPlanes.Y())));
    }
}

TEST_P(ImageOpenCV, ImageFromMatCopiesPixelsAndMapsTypeBack)
{
    // A view into a larger matrix: its rows are not contiguous.
    cv::Mat big(20, 40, ExpectedMatType());
    CImage pattern(CSize(40, 20), Type());
    FillPattern(pattern, 6);
    for (int y = 0; y < big.rows; ++y)
    {
        std::memcpy(big.ptr(y), PixelAddress(pattern, 0, std::uint32_t(y), 0),
                    size_t(big.cols) * big.elemSize());
    }
    const cv::Mat matrix = big(cv::Rect(3, 2, 31, 11));
    ASSERT_FALSE(matrix.isContinuous());

    std::unique_ptr<CImage> pImage(ImageFromMat(matrix));
    ASSERT_NE(pImage, nullptr);
    EXPECT_EQ(pImage->Size(), CSize(31, 11, 1));
    EXPECT_EQ(pImage->Type(), Type());
    EXPECT_TRUE(pImage->Attributes().IsEmpty());
    EXPECT_EQ(pImage->RowStride() % 64, 0u);
    for (int y = 0; y < matrix.rows; ++y)
    {
        ASSERT_EQ(std::memcmp(PixelAddress(*pImage, 0, std::uint32_t(y), 0), matrix.ptr(y),
                              size_t(matrix.cols) * matrix.elemSize()),
                  0)
            << "row " << y;
    }
    EXPECT_NE(static_cast<const void*>(pImage->Data()), static_cast<const void*>(matrix.data));

    // Changing the matrix afterwards leaves the image as it was.
    std::unique_ptr<CImage> pBefore(CImageExtraction::Clone(*pImage));
    big.setTo(cv::Scalar::all(0));
    EXPECT_TRUE(pImage->EqualPixels(*pBefore));
    EXPECT_GT(NonZeroPixels(*pImage), 0u);
}

TEST_P(ImageOpenCV, PlaneViewAndImageFromMatRoundTrip)
{
    CImage image(kPlanes, Type());
    FillPattern(image, 8);
    std::unique_ptr<CImage> pPlane(ImageFromMat(PlaneView(image, 2)));
    ASSERT_NE(pPlane, nullptr);
    ASSERT_EQ(pPlane->Size(), CSize(kPlanes.X(), kPlanes.Y(), 1));
    for (std::uint32_t y = 0; y < kPlanes.Y(); ++y)
    {
        ASSERT_EQ(std::memcmp(PixelAddress(*pPlane, 0, y, 0), PixelAddress(image, 0, y, 2),
                              kPlanes.X() * Type().PixelSize()),
                  0);
    }
}

INSTANTIATE_TEST_SUITE_P(OpenCVTypes, ImageOpenCV,
                         ::testing::Combine(::testing::ValuesIn(OpenCVElementTypes()),
                                            ::testing::Range(1u, 5u)),
                         TypeCaseName);

TEST(ImageOpenCVErrors, UInt32HasNoOpenCVTypeAndNoPlaneView)
{
    for (unsigned int uChannels = 1; uChannels <= 4; ++uChannels)
    {
        const IImage::CType type(IImage::etUInt32, uChannels);
        EXPECT_THROW(OpenCVType(type), CExBadParam);
        CImage image(CSize(4, 4), type);
        EXPECT_THROW(PlaneView(image), CExBadParam);
        const CImage& constImage = image;
        EXPECT_THROW(PlaneView(constImage), CExBadParam);
    }
}

TEST(ImageOpenCVErrors, PlaneViewBeyondLastPlaneThrows)
{
    CImage image(CSize(4, 4, 2), IImage::CType(IImage::etUInt8, 1));
    EXPECT_THROW(PlaneView(image, 2), CExBadParam);
}

TEST(ImageOpenCVErrors, ImageFromHalfFloatMatrixThrows)
{
    const cv::Mat half(4, 5, CV_16FC1, cv::Scalar::all(0));
    EXPECT_THROW(std::unique_ptr<CImage>(ImageFromMat(half)), CExBadParam);
    const cv::Mat half3(4, 5, CV_16FC3, cv::Scalar::all(0));
    EXPECT_THROW(std::unique_ptr<CImage>(ImageFromMat(half3)), CExBadParam);
}

TEST(ImageOpenCVErrors, ImageFromMatrixWithFiveChannelsThrows)
{
    const cv::Mat five(4, 5, CV_8UC(5), cv::Scalar::all(0));
    EXPECT_THROW(std::unique_ptr<CImage>(ImageFromMat(five)), CExBadParam);
}

TEST(ImageOpenCVOperations, GaussianBlurOnPlaneViewsMatchesPlainMatrices)
{
    const struct
    {
        IImage::EnElementType m_enType;
        unsigned int m_uChannels;
    } lstCases[] = {{IImage::etUInt8, 3},
                    {IImage::etUInt16, 1},
                    {IImage::etFloat32, 1},
                    {IImage::etFloat64, 4}};
    for (const auto& testCase : lstCases)
    {
        const IImage::CType type(testCase.m_enType, testCase.m_uChannels);
        SCOPED_TRACE(ElementCase(testCase.m_enType).m_szName);
        CImage source(CSize(53, 31, 3), type);
        FillPattern(source, 9);
        CImage target(source.Size(), type);

        // Plane 1: the view starts in the middle of the buffer.
        const CImage& constSource = source;
        cv::Mat targetView = PlaneView(target, 1);
        const std::uint8_t* pTargetData = targetView.data;
        cv::GaussianBlur(PlaneView(constSource, 1), targetView, cv::Size(5, 5), 1.5);
        EXPECT_EQ(targetView.data, pTargetData) << "the view must not be reallocated";

        const cv::Mat plain = PlaneView(constSource, 1).clone();
        ASSERT_TRUE(plain.isContinuous());
        cv::Mat expected;
        cv::GaussianBlur(plain, expected, cv::Size(5, 5), 1.5);
        EXPECT_EQ(cv::norm(PlaneView(target, 1), expected, cv::NORM_INF), 0.0);
        // The blur changed something, and only plane 1 of the target.
        EXPECT_GT(cv::norm(PlaneView(target, 1), plain, cv::NORM_INF), 0.0);
        EXPECT_EQ(cv::countNonZero(PlaneView(target, 0).reshape(1)), 0);
        EXPECT_EQ(cv::countNonZero(PlaneView(target, 2).reshape(1)), 0);
    }
}

TEST(ImageOpenCVOperations, ThresholdOnPlaneViewsMatchesPlainMatrices)
{
    CImage source(CSize(45, 17, 1), IImage::CType(IImage::etFloat32, 1));
    FillPattern(source, 4);
    CImage target(source.Size(), source.Type());

    cv::Mat targetView = PlaneView(target);
    cv::threshold(PlaneView(source), targetView, 50.0, 255.0, cv::THRESH_BINARY);
    EXPECT_EQ(targetView.data, target.Data());

    const cv::Mat plain = PlaneView(source).clone();
    cv::Mat expected;
    cv::threshold(plain, expected, 50.0, 255.0, cv::THRESH_BINARY);
    EXPECT_EQ(cv::norm(PlaneView(target), expected, cv::NORM_INF), 0.0);
    EXPECT_GT(cv::countNonZero(PlaneView(target)), 0);
    EXPECT_LT(cv::countNonZero(PlaneView(target)), int(source.Size().PixelCount()));
}
