#pragma once

#include "ImageToolBase.h"

// "Invert": uint8 and uint16 become max - v (cv::bitwise_not, which is exactly that for unsigned
// types); float32 and float64 become 1 - v (cv::subtract), so that the usual 0..1 range maps onto
// itself. Signed integer types are refused: they have no agreed maximum. No parameters.
class CInvertTool : public CImageToolBase
{
public:
    CInvertTool();

protected:
    void TakeParameters(const Zarn::CValueMap& parameters) override;
    ParameterList Parameters() const override;
    bool Accepts(const Zarn::IImage::CType& type) const override;
    Zarn::CImage* Process(const Zarn::CImage& input) override;
};
