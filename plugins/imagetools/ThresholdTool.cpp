#include "ThresholdTool.h"

#include "PluginCatalogue.h"

#include <Zarn/Image/ImageOpenCV.h>
#include <Zarn/Value/ValueScalar.h>

#include <opencv2/imgproc.hpp>

DOCVIEW_REGISTER_PLUGIN("Threshold", CThresholdTool);

namespace
{

double ForegroundValue(Zarn::IImage::EnElementType enType)
{
    switch (enType)
    {
    case Zarn::IImage::etUInt8:
        return 255.0;
    case Zarn::IImage::etUInt16:
        return 65535.0;
    case Zarn::IImage::etInt16:
        return 32767.0;
    default:
        return 1.0;
    }
}

} // namespace

CThresholdTool::CThresholdTool()
    : CImageToolBase("Threshold", "Threshold"), m_strMethod("fixed"), m_dLevel(128.0),
      m_dEffectiveLevel(128.0)
{
}

void CThresholdTool::TakeParameters(const Zarn::CValueMap& parameters)
{
    const std::string strMethod = ReadChoice(parameters, "method", m_strMethod, {"fixed", "otsu"});
    const double dLevel = ReadDouble(parameters, "level", m_dLevel);
    m_strMethod = strMethod;
    m_dLevel = dLevel;
    m_dEffectiveLevel = dLevel;
}

CImageToolBase::ParameterList CThresholdTool::Parameters() const
{
    ParameterList parameters;
    parameters.emplace_back("method", std::make_unique<Zarn::CValueString>(m_strMethod));
    parameters.emplace_back("level", std::make_unique<Zarn::CValueDouble>(m_dEffectiveLevel));
    return parameters;
}

bool CThresholdTool::Accepts(const Zarn::IImage::CType& type) const
{
    // A fixed level works on every filter type.
    return IsFilterType(type.ElementType());
}

std::optional<CImageToolBase::SParameterMisfit>
CThresholdTool::Misfit(const Zarn::IImage::CType& type) const
{
    if (m_strMethod == "otsu" &&
        (type.Channels() != 1 || (type.ElementType() != Zarn::IImage::etUInt8 &&
                                  type.ElementType() != Zarn::IImage::etUInt16)))
    {
        return SParameterMisfit{"method",
                                "Otsu's method works only on one-channel 8- and 16-bit images"};
    }
    return std::nullopt;
}

Zarn::CImage* CThresholdTool::Process(const Zarn::CImage& input)
{
    const double dForeground = ForegroundValue(input.Type().ElementType());
    const bool bOtsu = m_strMethod == "otsu";
    const double dLevel = m_dLevel;
    double dFound = m_dLevel;
    std::unique_ptr<Zarn::CImage> pResult(ForEachPlane(
        input, input.Type(),
        [&](const cv::Mat& source, cv::Mat& result)
        {
            dFound = cv::threshold(source, result, dLevel, dForeground,
                                   bOtsu ? cv::THRESH_BINARY | cv::THRESH_OTSU : cv::THRESH_BINARY);
        }));
    m_dEffectiveLevel = bOtsu ? dFound : m_dLevel;
    return pResult.release();
}
