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

CMedianTool::CMedianTool() : CImageToolBase("Median", "Median"), m_lSize(3) {}

void CMedianTool::TakeParameters(const Zarn::CValueMap& parameters)
{
    const long lSize = ReadLong(parameters, "size", m_lSize);
    if (lSize < 3 || lSize > kMaxSize || lSize % 2 == 0)
    {
        ThrowBadParameter("parameter \"size\" must be an odd integer from 3 to 255.");
    }
    m_lSize = lSize;
}

CImageToolBase::ParameterList CMedianTool::Parameters() const
{
    ParameterList parameters;
    parameters.emplace_back("size", std::make_unique<Zarn::CValueLong>(m_lSize));
    return parameters;
}

bool CMedianTool::Accepts(const Zarn::IImage::CType& type) const
{
    if (!IsSupportedChannelCount(type.Channels()))
    {
        return false;
    }
    switch (type.ElementType())
    {
    case Zarn::IImage::etUInt8:
    case Zarn::IImage::etUInt16:
    case Zarn::IImage::etFloat32:
        return true;
    default:
        return false;
    }
}

std::optional<CImageToolBase::SParameterMisfit>
CMedianTool::Misfit(const Zarn::IImage::CType& type) const
{
    // OpenCV's median takes sizes above 5 only for 8-bit images.
    if (m_lSize > 5 && type.ElementType() != Zarn::IImage::etUInt8)
    {
        return SParameterMisfit{"size", "only 8-bit images take sizes above 5"};
    }
    return std::nullopt;
}

Zarn::CImage* CMedianTool::Process(const Zarn::CImage& input)
{
    const int nSize = static_cast<int>(m_lSize);
    return ForEachPlane(input, input.Type(),
                        [nSize](const cv::Mat& source, cv::Mat& result)
                        { cv::medianBlur(source, result, nSize); });
}
