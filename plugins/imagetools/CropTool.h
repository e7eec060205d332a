#pragma once

#include "ImageToolBase.h"

#include <opencv2/core/types.hpp>

#include <optional>

// "Crop": copies a rectangle of every plane into a new image of the same type. The rectangle is
// the active view's "selection" {"x", "y", "width", "height"} (image pixels) when the view reports
// one; otherwise the parameters "x", "y", "width", "height" (integers; a width or height of 0, the
// default, means no rectangle), which is how a batch step crops. The rectangle is clipped to the
// image; without a non-empty rectangle the tool is disabled. Takes every image type.
//
// The view is asked for its description (its Run) only in TestParameters and UpdateParameters,
// which run on the GUI thread; Run uses the rectangle kept then. Otherwise the contract of
// CImageToolBase: the active view is lent for the call only, nothing of it is kept.
class CCropTool : public CImageToolBase
{
public:
    CCropTool();

protected:
    void TakeParameters(const Zarn::CValueMap& parameters) override;
    ParameterList Parameters() const override;
    bool Accepts(const Zarn::IImage::CType& type) const override;
    Zarn::CImage* Process(const Zarn::CImage& input) override;
    bool TestInput(const Zarn::CValueMap& input, const Zarn::CImage& image) override;
    void KeepInput(const Zarn::CValueMap& input, const Zarn::CImage* image) override;

private:
    // The active view's selection, if it has one.
    static std::optional<cv::Rect> ViewSelection(const Zarn::CValueMap& input);
    // The rectangle to crop to, clipped to the image; empty when there is none.
    cv::Rect RectangleFor(const std::optional<cv::Rect>& selection,
                          const Zarn::CImage& image) const;

    cv::Rect m_rectConfigured;
    std::optional<cv::Rect> m_viewSelection;
    cv::Rect m_rectEffective;
};
