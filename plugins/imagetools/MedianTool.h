#pragma once

#include "ImageToolBase.h"

// "Median": cv::medianBlur. Parameter "size" (odd integer, 3 to 255, default 3). OpenCV's limits
// decide the types: uint8 with 1, 3 or 4 channels takes every size; uint16 and float32 only 3
// and 5, which TestParameters and Run refuse otherwise.
class CMedianTool : public CImageToolBase
{
public:
    CMedianTool();

protected:
    void TakeParameters(const Zarn::CValueMap& parameters) override;
    ParameterList Parameters() const override;
    bool Accepts(const Zarn::IImage::CType& type) const override;
    std::optional<SParameterMisfit> Misfit(const Zarn::IImage::CType& type) const override;
    Zarn::CImage* Process(const Zarn::CImage& input) override;

private:
    long m_lSize;
};
