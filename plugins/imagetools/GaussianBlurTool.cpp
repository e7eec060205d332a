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

CGaussianBlurTool::CGaussianBlurTool()
    : CImageToolBase("GaussianBlur", "Gaussian blur"), m_dSigma(1.0)
{
}

void CGaussianBlurTool::TakeParameters(const Zarn::CValueMap& parameters)
{
    const double dSigma = ReadDouble(parameters, "sigma", m_dSigma);
    if (!(dSigma > 0.0) || dSigma > kMaxSigma)
    {
        ThrowBadParameter("parameter \"sigma\" must be greater than 0 and at most 1000.");
    }
    m_dSigma = dSigma;
}

CImageToolBase::ParameterList CGaussianBlurTool::Parameters() const
{
    ParameterList parameters;
    parameters.emplace_back("sigma", std::make_unique<Zarn::CValueDouble>(m_dSigma));
    return parameters;
}

bool CGaussianBlurTool::Accepts(const Zarn::IImage::CType& type) const
{
    return IsFilterType(type.ElementType());
}

Zarn::CImage* CGaussianBlurTool::Process(const Zarn::CImage& input)
{
    const double dSigma = m_dSigma;
    return ForEachPlane(input, input.Type(),
                        [dSigma](const cv::Mat& source, cv::Mat& result)
                        { cv::GaussianBlur(source, result, cv::Size(), dSigma, dSigma); });
}
