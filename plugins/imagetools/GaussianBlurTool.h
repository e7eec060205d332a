#pragma once

#include "ImageToolBase.h"

// "GaussianBlur": cv::GaussianBlur with the same sigma along x and y, the kernel size derived from
// sigma, reflected borders. Parameter "sigma" (double > 0, default 1). Takes every type OpenCV
// filters: uint8, uint16, int16, float32, float64, 1 to 4 channels.
class CGaussianBlurTool : public CImageToolBase
{
public:
    CGaussianBlurTool();

protected:
    void TakeParameters(const Zarn::CValueMap& parameters) override;
    ParameterList Parameters() const override;
    bool Accepts(const Zarn::IImage::CType& type) const override;
    Zarn::CImage* Process(const Zarn::CImage& input) override;

private:
    double m_dSigma;
};
