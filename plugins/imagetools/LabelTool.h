#pragma once

#include "ImageToolBase.h"

// "Label": connected components of the non-zero pixels of a single-channel uint8 image
// (cv::connectedComponents), each plane on its own. The result is int32 with 0 for the background
// and 1..n for the components; the header's "number of labels" holds n (the background is not
// counted; for several planes, the largest n of any plane). Parameter "connectivity" (4 or 8,
// default 8).
class CLabelTool : public CImageToolBase
{
public:
    CLabelTool();

protected:
    void TakeParameters(const Zarn::CValueMap& parameters) override;
    ParameterList Parameters() const override;
    bool Accepts(const Zarn::IImage::CType& type) const override;
    Zarn::CImage* Process(const Zarn::CImage& input) override;

private:
    long m_lConnectivity;
};
