#include "InvertTool.h"

#include "PluginCatalogue.h"

#include <Zarn/Image/ImageOpenCV.h>

#include <opencv2/core.hpp>

DOCVIEW_REGISTER_PLUGIN("Invert", CInvertTool);

CInvertTool::CInvertTool() : CImageToolBase("Invert", "Inverted") {}

void CInvertTool::TakeParameters(const Zarn::CValueMap& /*parameters*/) {}

CImageToolBase::ParameterList CInvertTool::Parameters() const
{
    return ParameterList();
}

bool CInvertTool::Accepts(const Zarn::IImage::CType& type) const
{
    switch (type.ElementType())
    {
    case Zarn::IImage::etUInt8:
    case Zarn::IImage::etUInt16:
    case Zarn::IImage::etFloat32:
    case Zarn::IImage::etFloat64:
        return true;
    default:
        return false;
    }
}

Zarn::CImage* CInvertTool::Process(const Zarn::CImage& input)
{
    const bool bFloat = input.Type().IsFloat();
    return ForEachPlane(input, input.Type(),
                        [bFloat](const cv::Mat& source, cv::Mat& result)
                        {
                            if (bFloat)
                            {
                                cv::subtract(cv::Scalar::all(1.0), source, result);
                            }
                            else
                            {
                                cv::bitwise_not(source, result);
                            }
                        });
}
