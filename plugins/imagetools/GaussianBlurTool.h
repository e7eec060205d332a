#pragma once

#include "ImageToolBase.h"

// "GaussianBlur": cv::GaussianBlur with the same sigma along x and y, the kernel size derived from
// sigma, reflected borders. Parameter "sigma" (double > 0, default 1). Takes every type OpenCV
// filters: uint8, uint16, int16, float32, float64, 1 to 4 channels.
// The tool is a CImageTool (ImageToolBase.h), whose contract it follows.
namespace ImageTools
{
struct SGaussianBlur
{
    static constexpr const char* kszName = "GaussianBlur";
    static constexpr const char* kszLabel = "Gaussian blur";
    double m_dSigma = 1.0;
};
} // namespace ImageTools

extern template class CImageTool<ImageTools::SGaussianBlur>;
using CGaussianBlurTool = CImageTool<ImageTools::SGaussianBlur>;
