#include "ConvertTypeTool.h"

#include "PluginCatalogue.h"

#include <Zarn/Image/ImageOpenCV.h>
#include <Zarn/Value/ValueScalar.h>

#include <opencv2/core.hpp>

#include <limits>
#include <utility>

DOCVIEW_REGISTER_PLUGIN("ConvertType", CConvertTypeTool);

namespace
{

Zarn::IImage::EnElementType ElementTypeOf(const std::string& target)
{
    if (target == "int8")
    {
        return Zarn::IImage::etInt8;
    }
    if (target == "uint16")
    {
        return Zarn::IImage::etUInt16;
    }
    if (target == "int16")
    {
        return Zarn::IImage::etInt16;
    }
    if (target == "int32")
    {
        return Zarn::IImage::etInt32;
    }
    if (target == "float32")
    {
        return Zarn::IImage::etFloat32;
    }
    if (target == "float64")
    {
        return Zarn::IImage::etFloat64;
    }
    return Zarn::IImage::etUInt8;
}

// The range that "min-max" scales onto: low, high.
std::pair<double, double> TargetRange(Zarn::IImage::EnElementType enType)
{
    switch (enType)
    {
    case Zarn::IImage::etUInt8:
        return {0.0, 255.0};
    case Zarn::IImage::etInt8:
        return {-128.0, 127.0};
    case Zarn::IImage::etUInt16:
        return {0.0, 65535.0};
    case Zarn::IImage::etInt16:
        return {-32768.0, 32767.0};
    case Zarn::IImage::etInt32:
        return {std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()};
    default:
        return {0.0, 1.0};
    }
}

} // namespace

CConvertTypeTool::CConvertTypeTool()
    : CImageToolBase("ConvertType", "Converted"), m_strTarget("uint8"), m_strScaling("none"),
      m_dFactor(1.0)
{
}

void CConvertTypeTool::TakeParameters(const Zarn::CValueMap& parameters)
{
    const std::string strTarget =
        ReadChoice(parameters, "target", m_strTarget,
                   {"uint8", "int8", "uint16", "int16", "int32", "float32", "float64"});
    const std::string strScaling =
        ReadChoice(parameters, "scaling", m_strScaling, {"none", "min-max", "factor"});
    const double dFactor = ReadDouble(parameters, "factor", m_dFactor);
    m_strTarget = strTarget;
    m_strScaling = strScaling;
    m_dFactor = dFactor;
}

CImageToolBase::ParameterList CConvertTypeTool::Parameters() const
{
    ParameterList parameters;
    parameters.emplace_back("target", std::make_unique<Zarn::CValueString>(m_strTarget));
    parameters.emplace_back("scaling", std::make_unique<Zarn::CValueString>(m_strScaling));
    parameters.emplace_back("factor", std::make_unique<Zarn::CValueDouble>(m_dFactor));
    return parameters;
}

bool CConvertTypeTool::Accepts(const Zarn::IImage::CType& type) const
{
    return type.ElementType() != Zarn::IImage::etUInt32;
}

Zarn::CImage* CConvertTypeTool::Process(const Zarn::CImage& input)
{
    const Zarn::IImage::CType targetType(ElementTypeOf(m_strTarget), input.Type().Channels());
    const int nTarget = Zarn::OpenCVType(targetType);
    const std::string strScaling = m_strScaling;
    const double dFactor = m_dFactor;
    const auto [dLow, dHigh] = TargetRange(targetType.ElementType());
    return ForEachPlane(
        input, targetType,
        [&](const cv::Mat& source, cv::Mat& result)
        {
            if (strScaling == "min-max")
            {
                cv::normalize(source, result, dLow, dHigh, cv::NORM_MINMAX, CV_MAT_DEPTH(nTarget));
            }
            else
            {
                source.convertTo(result, nTarget, strScaling == "factor" ? dFactor : 1.0);
            }
        });
}
