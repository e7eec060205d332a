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

namespace ImageTools
{

void ReadParameters(SMorphology& values, const CImageToolBase& tool,
                    const Zarn::CValueMap& parameters)
{
    const std::string strOperation = tool.ReadChoice(parameters, "operation", values.m_strOperation,
                                                     {"erode", "dilate", "open", "close"});
    const std::string strShape =
        tool.ReadChoice(parameters, "shape", values.m_strShape, {"rect", "ellipse", "cross"});
    const long lSize = tool.ReadLong(parameters, "size", values.m_lSize);
    if (lSize < 3 || lSize > kMaxSize || lSize % 2 == 0)
    {
        tool.ThrowBadParameter("parameter \"size\" must be an odd integer from 3 to 255.");
    }
    values.m_strOperation = strOperation;
    values.m_strShape = strShape;
    values.m_lSize = lSize;
}

CImageToolBase::ParameterList ListParameters(const SMorphology& values)
{
    CImageToolBase::ParameterList parameters;
    parameters.emplace_back("operation",
                            std::make_unique<Zarn::CValueString>(values.m_strOperation));
    parameters.emplace_back("shape", std::make_unique<Zarn::CValueString>(values.m_strShape));
    parameters.emplace_back("size", std::make_unique<Zarn::CValueLong>(values.m_lSize));
    return parameters;
}

bool AcceptsType(const SMorphology& /*values*/, const Zarn::IImage::CType& type)
{
    return CImageToolBase::IsFilterType(type.ElementType());
}

Zarn::CImage* ProcessImage(SMorphology& values, const Zarn::CImage& input)
{
    const int nSize = static_cast<int>(values.m_lSize);
    const cv::Mat element =
        cv::getStructuringElement(ShapeCode(values.m_strShape), cv::Size(nSize, nSize));
    const int nOperation = OperationCode(values.m_strOperation);
    return CImageToolBase::ForEachPlane(input, input.Type(),
                                        [&](const cv::Mat& source, cv::Mat& result)
                                        { cv::morphologyEx(source, result, nOperation, element); });
}

} // namespace ImageTools

template class CImageTool<ImageTools::SMorphology>;
