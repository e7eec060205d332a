#include "LabelTool.h"

#include "PluginCatalogue.h"

#include <Zarn/Image/ImageOpenCV.h>
#include <Zarn/Image/TekaHeaderTools.h>
#include <Zarn/Value/ValueScalar.h>

#include <opencv2/imgproc.hpp>

#include <algorithm>

DOCVIEW_REGISTER_PLUGIN("Label", CLabelTool);

CLabelTool::CLabelTool() : CImageToolBase("Label", "Labels"), m_lConnectivity(8) {}

void CLabelTool::TakeParameters(const Zarn::CValueMap& parameters)
{
    const long lConnectivity = ReadLong(parameters, "connectivity", m_lConnectivity);
    if (lConnectivity != 4 && lConnectivity != 8)
    {
        ThrowBadParameter("parameter \"connectivity\" must be 4 or 8.");
    }
    m_lConnectivity = lConnectivity;
}

CImageToolBase::ParameterList CLabelTool::Parameters() const
{
    ParameterList parameters;
    parameters.emplace_back("connectivity", std::make_unique<Zarn::CValueLong>(m_lConnectivity));
    return parameters;
}

bool CLabelTool::Accepts(const Zarn::IImage::CType& type) const
{
    return type.ElementType() == Zarn::IImage::etUInt8 && type.Channels() == 1;
}

Zarn::CImage* CLabelTool::Process(const Zarn::CImage& input)
{
    const int nConnectivity = static_cast<int>(m_lConnectivity);
    int nMostLabels = 0;
    std::unique_ptr<Zarn::CImage> pResult(ForEachPlane(
        input, Zarn::IImage::CType(Zarn::IImage::etInt32, 1),
        [&](const cv::Mat& source, cv::Mat& result)
        {
            // The count includes the background label 0.
            const int nCount = cv::connectedComponents(source, result, nConnectivity, CV_32S);
            nMostLabels = std::max(nMostLabels, nCount - 1);
        }));
    Zarn::CTekaHeaderTools::SetNumberOfLabels(*pResult, static_cast<std::uint64_t>(nMostLabels));
    return pResult.release();
}
