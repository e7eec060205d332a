#pragma once

#include "ImageToolBase.h"

// "Label": connected components of the non-zero pixels of a single-channel uint8 image
// (cv::connectedComponents), each plane on its own. The result is int32 with 0 for the background
// and 1..n for the components; the header's "number of labels" holds n (the background is not
// counted; for several planes, the largest n of any plane). Parameter "connectivity" (4 or 8,
// default 8).
// The tool is a CImageTool (ImageToolBase.h), whose contract it follows.
namespace ImageTools
{
struct SLabel
{
    static constexpr const char* kszName = "Label";
    static constexpr const char* kszLabel = "Labels";
    long m_lConnectivity = 8;
};
} // namespace ImageTools

extern template class CImageTool<ImageTools::SLabel>;
using CLabelTool = CImageTool<ImageTools::SLabel>;
