#include <Zarn/Image/ImageOpenCV.h>

#include <Zarn/Exception/Exception.h>

#include <opencv2/core.hpp>

#include <array>
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

// Element types and the OpenCV depths they map onto, both ways; unsigned 32-bit has none.
struct SDepthPair
{
    IImage::EnElementType m_enType;
    int m_nDepth;
};

constexpr std::array<SDepthPair, 7> kDepths = {{{IImage::etUInt8, CV_8U},
                                                {IImage::etInt8, CV_8S},
                                                {IImage::etUInt16, CV_16U},
                                                {IImage::etInt16, CV_16S},
                                                {IImage::etInt32, CV_32S},
                                                {IImage::etFloat32, CV_32F},
                                                {IImage::etFloat64, CV_64F}}};

IImage::EnElementType ElementTypeOfDepth(int depth)
{
    for (const SDepthPair& pair : kDepths)
    {
        if (pair.m_nDepth == depth)
        {
            return pair.m_enType;
        }
    }
    std::string strMessage = "OpenCV depth ";
    strMessage += std::to_string(depth);
    strMessage += " has no image element type";
    throw CExBadParam(ZARN_LOCATION, strMessage.c_str());
}

} // namespace

int OpenCVType(const IImage::CType& type)
{
    if (type.ElementType() == IImage::etUInt32)
    {
        throw CExBadParam(ZARN_LOCATION, "OpenCV has no unsigned 32-bit element type");
    }
    int nDepth = CV_8U;
    for (const SDepthPair& pair : kDepths)
    {
        if (pair.m_enType == type.ElementType())
        {
            nDepth = pair.m_nDepth;
        }
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
