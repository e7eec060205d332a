#pragma once

#include "ImageToolBase.h"

// "ConvertType": cv::Mat::convertTo (rounding and saturating) into another element type with the
// same channel count. Parameters "target" (uint8, int8, uint16, int16, int32, float32, float64;
// default uint8), "scaling" ("none", "min-max": cv::normalize onto the target's range, 0..1 for
// floats; "factor": every value times "factor"; default "none") and "factor" (a number, default
// 1). Takes every type that OpenCV has (not uint32).
class CConvertTypeTool : public CImageToolBase
{
public:
    CConvertTypeTool();

protected:
    void TakeParameters(const Zarn::CValueMap& parameters) override;
    ParameterList Parameters() const override;
    bool Accepts(const Zarn::IImage::CType& type) const override;
    Zarn::CImage* Process(const Zarn::CImage& input) override;

private:
    std::string m_strTarget;
    std::string m_strScaling;
    double m_dFactor;
};
