#pragma once

#include "ImageToolBase.h"

// "Median": cv::medianBlur. Parameter "size" (odd integer, 3 to 255, default 3). OpenCV's limits
// decide the types: uint8 with 1, 3 or 4 channels takes every size; uint16 and float32 only 3
// and 5, which TestParameters and Run refuse otherwise.
// The tool is a CImageTool (ImageToolBase.h), whose contract it follows.
namespace ImageTools
{
struct SMedian
{
    static constexpr const char* kszName = "Median";
    static constexpr const char* kszLabel = "Median";
    long m_lSize = 3;
};
} // namespace ImageTools

extern template class CImageTool<ImageTools::SMedian>;
using CMedianTool = CImageTool<ImageTools::SMedian>;
