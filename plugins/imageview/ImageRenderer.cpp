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
// Takes the first `channels` channels.
cv::Mat PlaneAsDouble(const Zarn::CImage& image, std::uint32_t z, int channels)
{
    const Zarn::CSize& size = image.Size();
    const unsigned int nChannels = image.Type().Channels();
    cv::Mat matPlane(static_cast<int>(size.Y()), static_cast<int>(size.X()),
                     CV_MAKETYPE(CV_64F, channels));
    const std::uint8_t* pPlane = image.Data() + z * image.PlaneStride();
    for (std::uint32_t y = 0; y < size.Y(); ++y)
    {
        const std::uint8_t* pRow = pPlane + y * image.RowStride();
        double* pOut = matPlane.ptr<double>(static_cast<int>(y));
        for (std::uint32_t x = 0; x < size.X(); ++x)
        {
            for (int c = 0; c < channels; ++c)
            {
                std::uint32_t uValue = 0;
                std::memcpy(&uValue,
                            pRow + (size_t(x) * nChannels + static_cast<size_t>(c)) *
                                       sizeof(std::uint32_t),
                            sizeof(uValue));
                pOut[size_t(x) * static_cast<size_t>(channels) + static_cast<size_t>(c)] =
                    static_cast<double>(uValue);
            }
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

// Every channel of the plane mapped linearly from [low, high] onto 0..255 (one pass of
// value * scale + shift, saturated); a flat range is a threshold at low. NaN becomes 0.
cv::Mat ToEightBit(const cv::Mat& plane, double low, double high)
{
    // One channel wide: the comparisons below take single-channel arrays only.
    const cv::Mat matValues = plane.reshape(1);
    double dScale = 0.0;
    double dShift = 0.0;
    if (high > low && std::isfinite(high - low))
    {
        dScale = 255.0 / (high - low);
        dShift = -low * dScale;
    }
    cv::Mat matEight;
    if (dScale != 0.0)
    {
        matValues.convertTo(matEight, CV_8U, dScale, dShift);
    }
    else
    {
        cv::compare(matValues, low, matEight, cv::CMP_GT);
    }
    if (IsFloatDepth(matValues.depth()))
    {
        cv::Mat matNaN;
        cv::compare(matValues, matValues, matNaN, cv::CMP_NE);
        matEight.setTo(0, matNaN);
    }
    return matEight.reshape(plane.channels());
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
    m_bColour = !m_bLabels && image->Type().Channels() >= 3;
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
    // Red, green and blue of a colour image; channel 0 of any other.
    const int nShown = m_bColour ? 3 : 1;
    if (image.Type().ElementType() == Zarn::IImage::etUInt32)
    {
        m_matPlane = PlaneAsDouble(image, m_uPlane, nShown);
    }
    else
    {
        const cv::Mat matView = Zarn::PlaneView(image, m_uPlane);
        if (matView.channels() == nShown)
        {
            m_matPlane = matView.clone();
        }
        else if (nShown == 1)
        {
            cv::extractChannel(matView, m_matPlane, 0);
        }
        else
        {
            // Alpha stays out of the picture and of the data range.
            m_matPlane.create(matView.size(), CV_MAKETYPE(matView.depth(), 3));
            static const int s_anFromTo[] = {0, 0, 1, 1, 2, 2};
            cv::mixChannels(&matView, 1, &m_matPlane, 1, s_anFromTo, 3);
        }
    }
    m_dDataLow = 0.0;
    m_dDataHigh = 0.0;
    if (m_bColour && m_matPlane.depth() == CV_8U)
    {
        m_dDataHigh = 255.0;
        return;
    }
    // All colour channels together: one range for the three keeps the hues.
    const cv::Mat matValues = m_matPlane.reshape(1);
    const cv::Mat matMask = IsFloatDepth(matValues.depth()) ? NumberMask(matValues) : cv::Mat();
    if (matMask.empty() || cv::countNonZero(matMask) > 0)
    {
        cv::minMaxLoc(matValues, &m_dDataLow, &m_dDataHigh, nullptr, nullptr, matMask);
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
        return RenderColour(low, high);
    }
    if (m_bLabels)
    {
        return RenderLabels();
    }
    return RenderGrey(low, high);
}

QImage CImageRenderer::RenderGrey(double low, double high) const
{
    const cv::Mat matGrey = ToEightBit(m_matPlane, low, high);
    QImage image(matGrey.cols, matGrey.rows, QImage::Format_Grayscale8);
    for (int y = 0; y < matGrey.rows; ++y)
    {
        std::memcpy(image.scanLine(y), matGrey.ptr(y), static_cast<size_t>(matGrey.cols));
    }
    return image;
}

QImage CImageRenderer::RenderColour(double low, double high) const
{
    // 8-bit colour at its full range is shown as stored, without a pass over the pixels.
    const bool bAsStored = m_matPlane.depth() == CV_8U && low == 0.0 && high == 255.0;
    const cv::Mat matRgb = bAsStored ? m_matPlane : ToEightBit(m_matPlane, low, high);
    QImage image(matRgb.cols, matRgb.rows, QImage::Format_RGB888);
    const size_t uRowBytes = static_cast<size_t>(matRgb.cols) * 3;
    for (int y = 0; y < matRgb.rows; ++y)
    {
        std::memcpy(image.scanLine(y), matRgb.ptr(y), uRowBytes);
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
