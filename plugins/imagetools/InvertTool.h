#pragma once

#include "ImageToolBase.h"

// "Invert": uint8 and uint16 become max - v (cv::bitwise_not, which is exactly that for unsigned
// types); float32 and float64 become 1 - v (cv::subtract), so that the usual 0..1 range maps onto
// itself. Signed integer types are refused: they have no agreed maximum. No parameters.
// The tool is a CImageTool (ImageToolBase.h), whose contract it follows.
namespace ImageTools
{
struct SInvert
{
    static constexpr const char* kszName = "Invert";
    static constexpr const char* kszLabel = "Inverted";
};
} // namespace ImageTools

extern template class CImageTool<ImageTools::SInvert>;
using CInvertTool = CImageTool<ImageTools::SInvert>;
