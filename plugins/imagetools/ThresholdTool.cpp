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

namespace ImageTools
{

void ReadParameters(SThreshold& values, const CImageToolBase& tool,
                    const Zarn::CValueMap& parameters)
{
    const std::string strMethod =
        tool.ReadChoice(parameters, "method", values.m_strMethod, {"fixed", "otsu"});
    const double dLevel = tool.ReadDouble(parameters, "level", values.m_dLevel);
    values.m_strMethod = strMethod;
    values.m_dLevel = dLevel;
    values.m_dEffectiveLevel = dLevel;
}

CImageToolBase::ParameterList ListParameters(const SThreshold& values)
{
    CImageToolBase::ParameterList parameters;
    parameters.emplace_back("method", std::make_unique<Zarn::CValueString>(values.m_strMethod));
    parameters.emplace_back("level",
                            std::make_unique<Zarn::CValueDouble>(values.m_dEffectiveLevel));
    return parameters;
}

bool AcceptsType(const SThreshold& /*values*/, const Zarn::IImage::CType& type)
{
    // A fixed level works on every filter type.
    return CImageToolBase::IsFilterType(type.ElementType());
}

std::optional<CImageToolBase::SParameterMisfit> FindMisfit(const SThreshold& values,
                                                           const Zarn::IImage::CType& type)
{
    if (values.m_strMethod == "otsu" &&
        (type.Channels() != 1 || (type.ElementType() != Zarn::IImage::etUInt8 &&
                                  type.ElementType() != Zarn::IImage::etUInt16)))
    {
        return CImageToolBase::SParameterMisfit{
            "method", "Otsu's method works only on one-channel 8- and 16-bit images"};
    }
    return std::nullopt;
}

Zarn::CImage* ProcessImage(SThreshold& values, const Zarn::CImage& input)
{
    const double dForeground = ForegroundValue(input.Type().ElementType());
    const bool bOtsu = values.m_strMethod == "otsu";
    const double dLevel = values.m_dLevel;
    double dFound = values.m_dLevel;
    std::unique_ptr<Zarn::CImage> pResult(CImageToolBase::ForEachPlane(
        input, input.Type(),
        [&](const cv::Mat& source, cv::Mat& result)
        {
            dFound = cv::threshold(source, result, dLevel, dForeground,
                                   bOtsu ? cv::THRESH_BINARY | cv::THRESH_OTSU : cv::THRESH_BINARY);
        }));
    values.m_dEffectiveLevel = bOtsu ? dFound : values.m_dLevel;
    return pResult.release();
}

} // namespace ImageTools

template class CImageTool<ImageTools::SThreshold>;
