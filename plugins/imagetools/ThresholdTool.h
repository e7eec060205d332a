#pragma once

#include "ImageToolBase.h"

#include <string>

// "Threshold": cv::threshold with THRESH_BINARY; pixels above the level become the type's
// foreground value (255, 65535, 32767 for int16, 1 for float), the others 0. Parameters "method"
// ("fixed" or "otsu", default "fixed") and "level" (a number, default 128; used by "fixed").
// "fixed" takes uint8, uint16, int16, float32 and float64 with any channel count; "otsu" takes
// single-channel uint8 and uint16 (OpenCV's Otsu histograms the full 16-bit range) and reports
// the level it found as "level" of the effective parameters.
// The tool is a CImageTool (ImageToolBase.h), whose contract it follows.
namespace ImageTools
{
struct SThreshold
{
    static constexpr const char* kszName = "Threshold";
    static constexpr const char* kszLabel = "Threshold";
    std::string m_strMethod = "fixed";
    double m_dLevel = 128.0;
    // The level Otsu found in the last run (of the last plane); the configured level otherwise.
    double m_dEffectiveLevel = 128.0;
};
} // namespace ImageTools

extern template class CImageTool<ImageTools::SThreshold>;
using CThresholdTool = CImageTool<ImageTools::SThreshold>;
