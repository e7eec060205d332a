#include "ConvertTypeTool.h"

#include "PluginCatalogue.h"

#include <Zarn/Image/ImageOpenCV.h>
#include <Zarn/Value/ValueScalar.h>

#include <opencv2/core.hpp>

#include <array>
#include <limits>
#include <string_view>
#include <utility>

DOCVIEW_REGISTER_PLUGIN("ConvertType", CConvertTypeTool);

namespace
{

// The "target" names and their element types; anything else was refused when read.
constexpr std::array<std::pair<std::string_view, Zarn::IImage::EnElementType>, 7> kTargets = {
    {{"uint8", Zarn::IImage::etUInt8},
     {"int8", Zarn::IImage::etInt8},
     {"uint16", Zarn::IImage::etUInt16},
     {"int16", Zarn::IImage::etInt16},
     {"int32", Zarn::IImage::etInt32},
     {"float32", Zarn::IImage::etFloat32},
     {"float64", Zarn::IImage::etFloat64}}};

Zarn::IImage::EnElementType ElementTypeOf(const std::string& target)
{
    for (const auto& [strName, enType] : kTargets)
    {
        if (strName == target)
        {
            return enType;
        }
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

namespace ImageTools
{

void ReadParameters(SConvertType& values, const CImageToolBase& tool,
                    const Zarn::CValueMap& parameters)
{
    const std::string strTarget =
        tool.ReadChoice(parameters, "target", values.m_strTarget,
                        {"uint8", "int8", "uint16", "int16", "int32", "float32", "float64"});
    const std::string strScaling =
        tool.ReadChoice(parameters, "scaling", values.m_strScaling, {"none", "min-max", "factor"});
    const double dFactor = tool.ReadDouble(parameters, "factor", values.m_dFactor);
    values.m_strTarget = strTarget;
    values.m_strScaling = strScaling;
    values.m_dFactor = dFactor;
}

CImageToolBase::ParameterList ListParameters(const SConvertType& values)
{
    CImageToolBase::ParameterList parameters;
    parameters.emplace_back("target", std::make_unique<Zarn::CValueString>(values.m_strTarget));
    parameters.emplace_back("scaling", std::make_unique<Zarn::CValueString>(values.m_strScaling));
    parameters.emplace_back("factor", std::make_unique<Zarn::CValueDouble>(values.m_dFactor));
    return parameters;
}

bool AcceptsType(const SConvertType& /*values*/, const Zarn::IImage::CType& type)
{
    return type.ElementType() != Zarn::IImage::etUInt32;
}

Zarn::CImage* ProcessImage(SConvertType& values, const Zarn::CImage& input)
{
    const Zarn::IImage::CType targetType(ElementTypeOf(values.m_strTarget),
                                         input.Type().Channels());
    const int nTarget = Zarn::OpenCVType(targetType);
    const std::string strScaling = values.m_strScaling;
    const double dFactor = values.m_dFactor;
    const auto [dLow, dHigh] = TargetRange(targetType.ElementType());
    return CImageToolBase::ForEachPlane(
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

} // namespace ImageTools

template class CImageTool<ImageTools::SConvertType>;
