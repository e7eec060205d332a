#pragma once

#include <Zarn/Image/Image.h>

#include <QImage>
#include <QRgb>
#include <QSize>

#include <opencv2/core/mat.hpp>

#include <cstdint>
#include <memory>

// Turns one plane of a host image into the 8-bit picture a view shows. Keeps its own copy of the
// pixels, so the document may change or drop its image at any time; a multi-plane image is kept
// whole for switching planes, a single plane only as the displayed channel(s).
//
// What is shown: images with 3 or 4 channels of any element type in colour (RGB order, as the
// host keeps them; alpha is not shown); label images (a header "number of labels") through the
// colour table of LabelColour; every other image as its channel 0 in grey. Grey and colour alike
// are mapped linearly from [low, high] to 0..255, all colour channels by the same range so that
// hues keep their balance. NaN shows black and takes no part in the data range. No widget code:
// usable without a screen.
//
// Owns its copy of the pixels and lends nothing. Used by one thread at a time (the view's, the
// GUI thread). Throws only what copying the image throws (std::bad_alloc). No messages.
class CImageRenderer
{
public:
    CImageRenderer();
    ~CImageRenderer();
    CImageRenderer(const CImageRenderer&) = delete;
    CImageRenderer& operator=(const CImageRenderer&) = delete;

    // Copies the image (null: nothing to show) and selects plane 0.
    void SetImage(const Zarn::CImage* image);
    // Selects a plane; one past the last is clamped. False when nothing changed.
    bool SetPlane(std::uint32_t plane);

    bool IsEmpty() const { return m_matPlane.empty(); }
    // Pixels of one plane; empty without image.
    QSize Size() const;
    std::uint32_t Plane() const { return m_uPlane; }
    std::uint32_t PlaneCount() const { return m_uPlaneCount; }
    bool IsColour() const { return m_bColour; }
    bool IsLabelImage() const { return m_bLabels; }

    // Smallest and largest value of the displayed channel (of all three colour channels) of the
    // current plane, NaN ignored; 0 and 0 for an image without any number. 8-bit colour images
    // answer 0 and 255, so that automatic contrast shows them as they are stored.
    double DataLow() const { return m_dDataLow; }
    double DataHigh() const { return m_dDataHigh; }

    // The picture of the current plane for [low, high]: grey (Format_Grayscale8) or colour
    // (RGB32). A range with high <= low shows everything above low at full intensity.
    QImage Render(double low, double high) const;

    // The stable colour of a label: 0 is black, every other label a bright colour of its own.
    static QRgb LabelColour(std::uint64_t label);

private:
    void ExtractPlane();
    QImage RenderGrey(double low, double high) const;
    QImage RenderColour(double low, double high) const;
    QImage RenderLabels() const;

    // Kept only for images with more than one plane.
    std::unique_ptr<Zarn::CImage> m_pImage;
    // The displayed channel (grey) or the three colour channels of the current plane; uint32 data
    // is held as double.
    cv::Mat m_matPlane;
    std::uint32_t m_uPlane = 0;
    std::uint32_t m_uPlaneCount = 0;
    bool m_bColour = false;
    bool m_bLabels = false;
    double m_dDataLow = 0.0;
    double m_dDataHigh = 0.0;
};
