#include <Zarn/Image/ImageOpenCV.h>

#include <Zarn/Exception/Exception.h>

#include <opencv2/core.hpp>

#include <cstring>
#include <string>

namespace Zarn
{

namespace
{

cv::Mat PlaneMat(const CImage& image, std::uint32_t z)
{
    if (z >= image.Size().Z() && !image.Size().IsEmpty())
    {
        std::string strMessage = "The image has no plane ";
        strMessage += std::to_string(z);
        throw CExBadParam(ZARN_LOCATION, strMessage.c_str());
    }
    if (image.Size().IsEmpty())
    {
        return cv::Mat(0, 0, OpenCVType(image.Type()));
    }
    // OpenCV has no const matrix; the const overload promises not to write through it.
    auto* pPlane = const_cast<std::uint8_t*>(image.Data()) + z * image.PlaneStride();
    return cv::Mat(static_cast<int>(image.Size().Y()), static_cast<int>(image.Size().X()),
                   OpenCVType(image.Type()), pPlane, image.RowStride());
}

IImage::EnElementType ElementTypeOfDepth(int depth)
{
    switch (depth)
    {
    case CV_8U:
        return IImage::etUInt8;
    case CV_8S:
        return IImage::etInt8;
    case CV_16U:
        return IImage::etUInt16;
    case CV_16S:
        return IImage::etInt16;
    case CV_32S:
        return IImage::etInt32;
    case CV_32F:
        return IImage::etFloat32;
    case CV_64F:
        return IImage::etFloat64;
    default:
        break;
    }
    std::string strMessage = "OpenCV depth ";
    strMessage += std::to_string(depth);
    strMessage += " has no image element type";
    throw CExBadParam(ZARN_LOCATION, strMessage.c_str());
}

} // namespace

int OpenCVType(const IImage::CType& type)
{
    int nDepth = CV_8U;
    switch (type.ElementType())
    {
    case IImage::etUInt8:
        nDepth = CV_8U;
        break;
    case IImage::etInt8:
        nDepth = CV_8S;
        break;
    case IImage::etUInt16:
        nDepth = CV_16U;
        break;
    case IImage::etInt16:
        nDepth = CV_16S;
        break;
    case IImage::etUInt32:
        throw CExBadParam(ZARN_LOCATION, "OpenCV has no unsigned 32-bit element type");
    case IImage::etInt32:
        nDepth = CV_32S;
        break;
    case IImage::etFloat32:
        nDepth = CV_32F;
        break;
    case IImage::etFloat64:
        nDepth = CV_64F;
        break;
    }
    return CV_MAKETYPE(nDepth, static_cast<int>(type.Channels()));
}

cv::Mat PlaneView(CImage& image, std::uint32_t z)
{
    return PlaneMat(image, z);
}

cv::Mat PlaneView(const CImage& image, std::uint32_t z)
{
    return PlaneMat(image, z);
}

IImage::CType ImageType(int openCVType)
{
    const int nChannels = CV_MAT_CN(openCVType);
    if (nChannels > 4)
    {
        throw CExBadParam(ZARN_LOCATION, "An image has 1 to 4 channels");
    }
    return IImage::CType(ElementTypeOfDepth(CV_MAT_DEPTH(openCVType)),
                         static_cast<unsigned int>(nChannels));
}

CImage* ImageFromMat(const cv::Mat& matrix)
{
    if (matrix.dims > 2)
    {
        throw CExBadParam(ZARN_LOCATION, "Only two-dimensional matrices become images");
    }
    const IImage::CType type = ImageType(matrix.type());
    auto pImage = std::make_unique<CImage>(
        CSize(static_cast<std::uint32_t>(matrix.cols), static_cast<std::uint32_t>(matrix.rows)),
        type);
    const size_t uRowBytes = size_t(matrix.cols) * type.PixelSize();
    for (int y = 0; y < matrix.rows; ++y)
    {
        std::memcpy(pImage->Data() + size_t(y) * pImage->RowStride(), matrix.ptr(y), uRowBytes);
    }
    return pImage.release();
}

} // namespace Zarn
