#include "MorphologyTool.h"

#include "PluginCatalogue.h"

#include <Zarn/Image/ImageOpenCV.h>
#include <Zarn/Value/ValueScalar.h>

#include <opencv2/imgproc.hpp>

DOCVIEW_REGISTER_PLUGIN("Morphology", CMorphologyTool);

namespace
{

constexpr long kMaxSize = 255;

int OperationCode(const std::string& operation)
{
    if (operation == "dilate")
    {
        return cv::MORPH_DILATE;
    }
    if (operation == "open")
    {
        return cv::MORPH_OPEN;
    }
    if (operation == "close")
    {
        return cv::MORPH_CLOSE;
    }
    return cv::MORPH_ERODE;
}

int ShapeCode(const std::string& shape)
{
    if (shape == "ellipse")
    {
        return cv::MORPH_ELLIPSE;
    }
    if (shape == "cross")
    {
        return cv::MORPH_CROSS;
    }
    return cv::MORPH_RECT;
}

} // namespace

CMorphologyTool::CMorphologyTool()
    : CImageToolBase("Morphology", "Morphology"), m_strOperation("erode"), m_strShape("rect"),
      m_lSize(3)
{
}

void CMorphologyTool::TakeParameters(const Zarn::CValueMap& parameters)
{
    const std::string strOperation =
        ReadChoice(parameters, "operation", m_strOperation, {"erode", "dilate", "open", "close"});
    const std::string strShape =
        ReadChoice(parameters, "shape", m_strShape, {"rect", "ellipse", "cross"});
    const long lSize = ReadLong(parameters, "size", m_lSize);
    if (lSize < 3 || lSize > kMaxSize || lSize % 2 == 0)
    {
        ThrowBadParameter("parameter \"size\" must be an odd integer from 3 to 255.");
    }
    m_strOperation = strOperation;
    m_strShape = strShape;
    m_lSize = lSize;
}

CImageToolBase::ParameterList CMorphologyTool::Parameters() const
{
    ParameterList parameters;
    parameters.emplace_back("operation", std::make_unique<Zarn::CValueString>(m_strOperation));
    parameters.emplace_back("shape", std::make_unique<Zarn::CValueString>(m_strShape));
    parameters.emplace_back("size", std::make_unique<Zarn::CValueLong>(m_lSize));
    return parameters;
}

bool CMorphologyTool::Accepts(const Zarn::IImage::CType& type) const
{
    return IsFilterType(type.ElementType());
}

Zarn::CImage* CMorphologyTool::Process(const Zarn::CImage& input)
{
    const int nSize = static_cast<int>(m_lSize);
    const cv::Mat element =
        cv::getStructuringElement(ShapeCode(m_strShape), cv::Size(nSize, nSize));
    const int nOperation = OperationCode(m_strOperation);
    return ForEachPlane(input, input.Type(),
                        [&](const cv::Mat& source, cv::Mat& result)
                        { cv::morphologyEx(source, result, nOperation, element); });
}
