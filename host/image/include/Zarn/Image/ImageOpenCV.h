#pragma once

// Bridges to OpenCV, so that tools use its implementations on the image's own pixels.

#include <Zarn/Image/Image.h>

#include <opencv2/core/mat.hpp>

// Free of state, any thread; the matrices lend the image's pixels. No messages.
namespace Zarn
{

// The OpenCV matrix type of an image type (CV_16UC3 ...); throws CExBadParam for etUInt32, which
// OpenCV has no type for.
ZARN_IMAGE_API int OpenCVType(const IImage::CType& type);

// The image type of an OpenCV matrix type (CV_16UC3 ...); throws CExBadParam for a depth that
// has no element type (CV_16F) or a channel count outside 1..4.
ZARN_IMAGE_API IImage::CType ImageType(int openCVType);

// A cv::Mat that shows plane z of the image without copying: writing to it writes the image. It
// is valid as long as the image keeps its size, type and pixel memory. A plane past the last
// throws CExBadParam.
ZARN_IMAGE_API cv::Mat PlaneView(CImage& image, std::uint32_t z = 0);
ZARN_IMAGE_API cv::Mat PlaneView(const CImage& image, std::uint32_t z = 0);

// A new image (owned by the caller) with a copy of the matrix's pixels, one plane, empty header.
// Throws CExBadParam for a matrix OpenCV type that has no image type (CV_16F) or more than 4
// channels.
ZARN_IMAGE_API CImage* ImageFromMat(const cv::Mat& matrix);

} // namespace Zarn
