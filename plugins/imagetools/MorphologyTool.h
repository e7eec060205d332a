#pragma once

#include "ImageToolBase.h"

#include <string>

// "Morphology": cv::morphologyEx with a structuring element from cv::getStructuringElement.
// Parameters "operation" (erode, dilate, open, close; default erode), "shape" (rect, ellipse,
// cross; default rect) and "size" (odd integer, 3 to 255, default 3). Takes uint8, uint16,
// int16, float32 and float64 with any channel count.
// The tool is a CImageTool (ImageToolBase.h), whose contract it follows.
namespace ImageTools
{
struct SMorphology
{
    static constexpr const char* kszName = "Morphology";
    static constexpr const char* kszLabel = "Morphology";
    std::string m_strOperation = "erode";
    std::string m_strShape = "rect";
    long m_lSize = 3;
};
} // namespace ImageTools

extern template class CImageTool<ImageTools::SMorphology>;
using CMorphologyTool = CImageTool<ImageTools::SMorphology>;
