#pragma once

#include "ImageToolBase.h"

// "Morphology": cv::morphologyEx with a structuring element from cv::getStructuringElement.
// Parameters "operation" (erode, dilate, open, close; default erode), "shape" (rect, ellipse,
// cross; default rect) and "size" (odd integer, 3 to 255, default 3). Takes uint8, uint16,
// int16, float32 and float64 with any channel count.
class CMorphologyTool : public CImageToolBase
{
public:
    CMorphologyTool();

protected:
    void TakeParameters(const Zarn::CValueMap& parameters) override;
    ParameterList Parameters() const override;
    bool Accepts(const Zarn::IImage::CType& type) const override;
    Zarn::CImage* Process(const Zarn::CImage& input) override;

private:
    std::string m_strOperation;
    std::string m_strShape;
    long m_lSize;
};
