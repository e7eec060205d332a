#include "LabelTool.h"

#include "PluginCatalogue.h"

#include <Zarn/Image/ImageOpenCV.h>
#include <Zarn/Image/TekaHeaderTools.h>
#include <Zarn/Value/ValueScalar.h>

#include <opencv2/imgproc.hpp>

#include <algorithm>

DOCVIEW_REGISTER_PLUGIN("Label", CLabelTool);

namespace ImageTools
{

void ReadParameters(SLabel& values, const CImageToolBase& tool, const Zarn::CValueMap& parameters)
{
    const long lConnectivity = tool.ReadLong(parameters, "connectivity", values.m_lConnectivity);
    if (lConnectivity != 4 && lConnectivity != 8)
    {
        tool.ThrowBadParameter("parameter \"connectivity\" must be 4 or 8.");
    }
    values.m_lConnectivity = lConnectivity;
}

CImageToolBase::ParameterList ListParameters(const SLabel& values)
{
    CImageToolBase::ParameterList parameters;
    parameters.emplace_back("connectivity",
                            std::make_unique<Zarn::CValueLong>(values.m_lConnectivity));
    return parameters;
}

bool AcceptsType(const SLabel& /*values*/, const Zarn::IImage::CType& type)
{
    return type.ElementType() == Zarn::IImage::etUInt8 && type.Channels() == 1;
}

Zarn::CImage* ProcessImage(SLabel& values, const Zarn::CImage& input)
{
    const int nConnectivity = static_cast<int>(values.m_lConnectivity);
    int nMostLabels = 0;
    std::unique_ptr<Zarn::CImage> pResult(CImageToolBase::ForEachPlane(
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

} // namespace ImageTools

template class CImageTool<ImageTools::SLabel>;
