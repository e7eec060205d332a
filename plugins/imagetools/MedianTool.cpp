#include "MedianTool.h"

#include "PluginCatalogue.h"

#include <Zarn/Image/ImageOpenCV.h>
#include <Zarn/Value/ValueScalar.h>

#include <opencv2/imgproc.hpp>

DOCVIEW_REGISTER_PLUGIN("Median", CMedianTool);

namespace
{
constexpr long kMaxSize = 255;

bool IsSupportedChannelCount(unsigned int uChannels)
{
    return uChannels == 1 || uChannels == 3 || uChannels == 4;
}
} // namespace

namespace ImageTools
{

void ReadParameters(SMedian& values, const CImageToolBase& tool, const Zarn::CValueMap& parameters)
{
    const long lSize = tool.ReadLong(parameters, "size", values.m_lSize);
    if (lSize < 3 || lSize > kMaxSize || lSize % 2 == 0)
    {
        tool.ThrowBadParameter("parameter \"size\" must be an odd integer from 3 to 255.");
    }
    values.m_lSize = lSize;
}

CImageToolBase::ParameterList ListParameters(const SMedian& values)
{
    CImageToolBase::ParameterList parameters;
    parameters.emplace_back("size", std::make_unique<Zarn::CValueLong>(values.m_lSize));
    return parameters;
}

bool AcceptsType(const SMedian& /*values*/, const Zarn::IImage::CType& type)
{
    if (!IsSupportedChannelCount(type.Channels()))
    {
        return false;
    }
    return CImageToolBase::IsOneOf(
        type.ElementType(),
        {Zarn::IImage::etUInt8, Zarn::IImage::etUInt16, Zarn::IImage::etFloat32});
}

std::optional<CImageToolBase::SParameterMisfit> FindMisfit(const SMedian& values,
                                                           const Zarn::IImage::CType& type)
{
    // OpenCV's median takes sizes above 5 only for 8-bit images.
    if (values.m_lSize > 5 && type.ElementType() != Zarn::IImage::etUInt8)
    {
        return CImageToolBase::SParameterMisfit{"size", "only 8-bit images take sizes above 5"};
    }
    return std::nullopt;
}

Zarn::CImage* ProcessImage(SMedian& values, const Zarn::CImage& input)
{
    const int nSize = static_cast<int>(values.m_lSize);
    return CImageToolBase::ForEachPlane(input, input.Type(),
                                        [nSize](const cv::Mat& source, cv::Mat& result)
                                        { cv::medianBlur(source, result, nSize); });
}

} // namespace ImageTools

template class CImageTool<ImageTools::SMedian>;
