#include "InvertTool.h"

#include "PluginCatalogue.h"

#include <Zarn/Image/ImageOpenCV.h>

#include <opencv2/core.hpp>

DOCVIEW_REGISTER_PLUGIN("Invert", CInvertTool);

namespace ImageTools
{

void ReadParameters(SInvert& /*values*/, const CImageToolBase& /*tool*/,
                    const Zarn::CValueMap& /*parameters*/)
{
}

CImageToolBase::ParameterList ListParameters(const SInvert& /*values*/)
{
    return CImageToolBase::ParameterList();
}

bool AcceptsType(const SInvert& /*values*/, const Zarn::IImage::CType& type)
{
    return CImageToolBase::IsOneOf(type.ElementType(),
                                   {Zarn::IImage::etUInt8, Zarn::IImage::etUInt16,
                                    Zarn::IImage::etFloat32, Zarn::IImage::etFloat64});
}

Zarn::CImage* ProcessImage(SInvert& /*values*/, const Zarn::CImage& input)
{
    const bool bFloat = input.Type().IsFloat();
    return CImageToolBase::ForEachPlane(input, input.Type(),
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

} // namespace ImageTools

template class CImageTool<ImageTools::SInvert>;
