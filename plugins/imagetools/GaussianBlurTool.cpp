#include "GaussianBlurTool.h"

#include "PluginCatalogue.h"

#include <Zarn/Image/ImageOpenCV.h>
#include <Zarn/Value/ValueScalar.h>

#include <opencv2/imgproc.hpp>

DOCVIEW_REGISTER_PLUGIN("GaussianBlur", CGaussianBlurTool);

namespace
{
// Beyond this the kernel outgrows any sensible image.
constexpr double kMaxSigma = 1000.0;
} // namespace

namespace ImageTools
{

void ReadParameters(SGaussianBlur& values, const CImageToolBase& tool,
                    const Zarn::CValueMap& parameters)
{
    const double dSigma = tool.ReadDouble(parameters, "sigma", values.m_dSigma);
    if (!(dSigma > 0.0) || dSigma > kMaxSigma)
    {
        tool.ThrowBadParameter("parameter \"sigma\" must be greater than 0 and at most 1000.");
    }
    values.m_dSigma = dSigma;
}

CImageToolBase::ParameterList ListParameters(const SGaussianBlur& values)
{
    CImageToolBase::ParameterList parameters;
    parameters.emplace_back("sigma", std::make_unique<Zarn::CValueDouble>(values.m_dSigma));
    return parameters;
}

bool AcceptsType(const SGaussianBlur& /*values*/, const Zarn::IImage::CType& type)
{
    return CImageToolBase::IsFilterType(type.ElementType());
}

Zarn::CImage* ProcessImage(SGaussianBlur& values, const Zarn::CImage& input)
{
    const double dSigma = values.m_dSigma;
    return CImageToolBase::ForEachPlane(
        input, input.Type(),
        [dSigma](const cv::Mat& source, cv::Mat& result)
        { cv::GaussianBlur(source, result, cv::Size(), dSigma, dSigma); });
}

} // namespace ImageTools

template class CImageTool<ImageTools::SGaussianBlur>;
