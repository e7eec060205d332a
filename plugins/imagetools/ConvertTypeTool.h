#pragma once

#include "ImageToolBase.h"

#include <string>

// "ConvertType": cv::Mat::convertTo (rounding and saturating) into another element type with the
// same channel count. Parameters "target" (uint8, int8, uint16, int16, int32, float32, float64;
// default uint8), "scaling" ("none", "min-max": cv::normalize onto the target's range, 0..1 for
// floats; "factor": every value times "factor"; default "none") and "factor" (a number, default
// 1). Takes every type that OpenCV has (not uint32).
// The tool is a CImageTool (ImageToolBase.h), whose contract it follows.
namespace ImageTools
{
struct SConvertType
{
    static constexpr const char* kszName = "ConvertType";
    static constexpr const char* kszLabel = "Converted";
    std::string m_strTarget = "uint8";
    std::string m_strScaling = "none";
    double m_dFactor = 1.0;
};
} // namespace ImageTools

extern template class CImageTool<ImageTools::SConvertType>;
using CConvertTypeTool = CImageTool<ImageTools::SConvertType>;
