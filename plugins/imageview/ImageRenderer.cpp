#include "ImageRenderer.h"

#include <Zarn/Image/ImageOpenCV.h>
#include <Zarn/Image/TekaHeaderTools.h>

#include <QColor>

#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace
{

// OpenCV has no unsigned 32-bit type: such planes are read into doubles, which hold them exactly.
cv::Mat PlaneAsDouble(const Zarn::CImage& image, std::uint32_t z)
{
    const Zarn::CSize& size = image.Size();
    const unsigned int nChannels = image.Type().Channels();
    cv::Mat matPlane(static_cast<int>(size.Y()), static_cast<int>(size.X()), CV_64FC1);
    const std::uint8_t* pPlane = image.Data() + z * image.PlaneStride();
    for (std::uint32_t y = 0; y < size.Y(); ++y)
    {
        const std::uint8_t* pRow = pPlane + y * image.RowStride();
        double* pOut = matPlane.ptr<double>(static_cast<int>(y));
        for (std::uint32_t x = 0; x < size.X(); ++x)
        {
            std::uint32_t uValue = 0;
            std::memcpy(&uValue, pRow + size_t(x) * nChannels * sizeof(std::uint32_t),
                        sizeof(uValue));
            pOut[x] = static_cast<double>(uValue);
        }
    }
    return matPlane;
}

// Non-zero where the plane holds a number; for integer planes everywhere.
cv::Mat NumberMask(const cv::Mat& plane)
{
    cv::Mat matMask;
    cv::compare(plane, plane, matMask, cv::CMP_EQ);
    return matMask;
}

bool IsFloatDepth(int depth)
{
    return depth == CV_32F || depth == CV_64F;
}

// A label value of any integer plane; negative values and NaN count as background.
std::uint64_t LabelAt(const cv::Mat& plane, int y, int x)
{
    switch (plane.depth())
    {
    case CV_8U:
        return plane.at<std::uint8_t>(y, x);
    case CV_8S:
        return static_cast<std::uint64_t>(std::max<int>(0, plane.at<std::int8_t>(y, x)));
    case CV_16U:
        return plane.at<std::uint16_t>(y, x);
    case CV_16S:
        return static_cast<std::uint64_t>(std::max<int>(0, plane.at<std::int16_t>(y, x)));
    case CV_32S:
        return static_cast<std::uint64_t>(std::max<int>(0, plane.at<std::int32_t>(y, x)));
    default:
    {
        const double dValue =
            plane.depth() == CV_32F ? plane.at<float>(y, x) : plane.at<double>(y, x);
        return dValue >= 1.0 && dValue < 1.8e19 ? static_cast<std::uint64_t>(dValue) : 0;
    }
    }
}

} // namespace

CImageRenderer::CImageRenderer() = default;
CImageRenderer::~CImageRenderer() = default;

void CImageRenderer::SetImage(const Zarn::CImage* image)
{
    m_pImage.reset();
    m_matPlane.release();
    m_uPlane = 0;
    m_uPlaneCount = 0;
    m_bColour = false;
    m_bLabels = false;
    m_dDataLow = 0.0;
    m_dDataHigh = 0.0;
    if (image == nullptr || image->Size().IsEmpty())
    {
        return;
    }
    m_pImage = std::make_unique<Zarn::CImage>(*image);
    m_uPlaneCount = image->Size().Z();
    std::uint64_t uLabels = 0;
    m_bLabels =
        !image->Type().IsFloat() && Zarn::CTekaHeaderTools::GetNumberOfLabels(*image, uLabels);
    m_bColour = !m_bLabels && image->Type().ElementType() == Zarn::IImage::etUInt8 &&
                image->Type().Channels() >= 3;
    ExtractPlane();
    if (m_uPlaneCount == 1)
    {
        m_pImage.reset();
    }
}

bool CImageRenderer::SetPlane(std::uint32_t plane)
{
    if (m_pImage == nullptr)
    {
        return false;
    }
    const std::uint32_t uPlane = std::min(plane, m_uPlaneCount - 1);
    if (uPlane == m_uPlane)
    {
        return false;
    }
    m_uPlane = uPlane;
    ExtractPlane();
    return true;
}

QSize CImageRenderer::Size() const
{
    return IsEmpty() ? QSize() : QSize(m_matPlane.cols, m_matPlane.rows);
}

void CImageRenderer::ExtractPlane()
{
    const Zarn::CImage& image = *m_pImage;
    if (image.Type().ElementType() == Zarn::IImage::etUInt32)
    {
        m_matPlane = PlaneAsDouble(image, m_uPlane);
    }
    else
    {
        const cv::Mat matView = Zarn::PlaneView(image, m_uPlane);
        if (m_bColour || matView.channels() == 1)
        {
            m_matPlane = matView.clone();
        }
        else
        {
            cv::extractChannel(matView, m_matPlane, 0);
        }
    }
    m_dDataLow = 0.0;
    m_dDataHigh = 0.0;
    if (!m_bColour)
    {
        const cv::Mat matMask =
            IsFloatDepth(m_matPlane.depth()) ? NumberMask(m_matPlane) : cv::Mat();
        if (matMask.empty() || cv::countNonZero(matMask) > 0)
        {
            cv::minMaxLoc(m_matPlane, &m_dDataLow, &m_dDataHigh, nullptr, nullptr, matMask);
        }
    }
}

QImage CImageRenderer::Render(double low, double high) const
{
    if (IsEmpty())
    {
        return QImage();
    }
    if (m_bColour)
    {
        return RenderColour();
    }
    if (m_bLabels)
    {
        return RenderLabels();
    }
    return RenderGrey(low, high);
}

QImage CImageRenderer::RenderGrey(double low, double high) const
{
    // One linear pass through OpenCV: value * scale + shift, saturated to 0..255.
    double dScale = 0.0;
    double dShift = 0.0;
    if (high > low && std::isfinite(high - low))
    {
        dScale = 255.0 / (high - low);
        dShift = -low * dScale;
    }
    cv::Mat matGrey;
    if (dScale != 0.0)
    {
        m_matPlane.convertTo(matGrey, CV_8U, dScale, dShift);
    }
    else
    {
        // A flat range: a threshold at low.
        cv::compare(m_matPlane, low, matGrey, cv::CMP_GT);
    }
    if (IsFloatDepth(m_matPlane.depth()))
    {
        cv::Mat matNaN;
        cv::compare(m_matPlane, m_matPlane, matNaN, cv::CMP_NE);
        matGrey.setTo(0, matNaN);
    }
    QImage image(matGrey.cols, matGrey.rows, QImage::Format_Grayscale8);
    for (int y = 0; y < matGrey.rows; ++y)
    {
        std::memcpy(image.scanLine(y), matGrey.ptr(y), static_cast<size_t>(matGrey.cols));
    }
    return image;
}

QImage CImageRenderer::RenderColour() const
{
    const bool bAlpha = m_matPlane.channels() == 4;
    QImage image(m_matPlane.cols, m_matPlane.rows,
                 bAlpha ? QImage::Format_RGBA8888 : QImage::Format_RGB888);
    const size_t uRowBytes = static_cast<size_t>(m_matPlane.cols) * m_matPlane.channels();
    for (int y = 0; y < m_matPlane.rows; ++y)
    {
        std::memcpy(image.scanLine(y), m_matPlane.ptr(y), uRowBytes);
    }
    return image.convertToFormat(QImage::Format_RGB32);
}

QImage CImageRenderer::RenderLabels() const
{
    QImage image(m_matPlane.cols, m_matPlane.rows, QImage::Format_RGB32);
    // Labels repeat along a row: the last colour is reused.
    std::uint64_t uLast = 0;
    QRgb rgbLast = LabelColour(0);
    for (int y = 0; y < m_matPlane.rows; ++y)
    {
        auto* pOut = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < m_matPlane.cols; ++x)
        {
            const std::uint64_t uLabel = LabelAt(m_matPlane, y, x);
            if (uLabel != uLast)
            {
                uLast = uLabel;
                rgbLast = LabelColour(uLabel);
            }
            pOut[x] = rgbLast;
        }
    }
    return image;
}

QRgb CImageRenderer::LabelColour(std::uint64_t label)
{
    if (label == 0)
    {
        return qRgb(0, 0, 0);
    }
    // Hues a golden angle apart keep neighbouring labels far apart; saturation and value vary
    // with the label too, so that labels a full turn apart differ as well.
    const double dHue = std::fmod(static_cast<double>(label) * 0.618033988749895, 1.0);
    const double dSaturation = 0.55 + 0.15 * static_cast<double>(label % 4);
    const double dValue = 1.0 - 0.12 * static_cast<double>((label / 4) % 3);
    return QColor::fromHsvF(static_cast<float>(dHue), static_cast<float>(dSaturation),
                            static_cast<float>(dValue))
        .rgb();
}
