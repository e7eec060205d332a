#pragma once

// Images, documents and user input for the image view tests.

#include <Zarn/Image/Image.h>
#include <Zarn/Image/ImageDocument.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QApplication>
#include <QMouseEvent>
#include <QWheelEvent>
#include <QWidget>

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>

namespace ImageViewTest
{

// A one-plane, one-channel image whose pixel (x, y) is value(x, y).
template <class T>
Zarn::CImage* MakeImage(std::uint32_t width, std::uint32_t height, Zarn::IImage::EnElementType type,
                        const std::function<T(std::uint32_t, std::uint32_t)>& value)
{
    auto* pImage = new Zarn::CImage(Zarn::CSize(width, height), Zarn::IImage::CType(type, 1));
    for (std::uint32_t y = 0; y < height; ++y)
    {
        auto* pRow = reinterpret_cast<T*>(pImage->Data() + y * pImage->RowStride());
        for (std::uint32_t x = 0; x < width; ++x)
        {
            pRow[x] = value(x, y);
        }
    }
    return pImage;
}

inline Zarn::CImage*
MakeImage16(std::uint32_t width, std::uint32_t height,
            const std::function<std::uint16_t(std::uint32_t, std::uint32_t)>& value)
{
    return MakeImage<std::uint16_t>(width, height, Zarn::IImage::etUInt16, value);
}

// A document owning the image, labelled and indexed as the repository would.
inline Zarn::CValueMap* MakeDocument(Zarn::CImage* image, const char* label, long index = 1)
{
    Zarn::CValueMap* pDocument = Zarn::ImageDocument::Create(image, label);
    pDocument->SetEntry(Zarn::CValue_Key("index"), new Zarn::CValueLong(index));
    return pDocument;
}

inline void ReplaceImage(Zarn::CValueMap& document, Zarn::CImage* image)
{
    document.SetEntry(Zarn::CValue_Key("content"),
                      new Zarn::CValueOwnedPointer<Zarn::CImage>(image));
}

inline Zarn::CValueMap DocumentParameters(Zarn::CValueMap* document)
{
    Zarn::CValueMap parameters;
    parameters.SetEntry(Zarn::CValue_Key("document"),
                        new Zarn::CValuePointer<Zarn::CValueMap>(document));
    return parameters;
}

inline void SendMouse(QWidget* widget, QEvent::Type type, const QPoint& position,
                      Qt::MouseButton button, Qt::MouseButtons buttons,
                      Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    QMouseEvent event(type, QPointF(position), widget->mapToGlobal(QPointF(position)), button,
                      buttons, modifiers);
    QApplication::sendEvent(widget, &event);
}

// A left drag from `from` to `to` in two moves.
inline void Drag(QWidget* widget, const QPoint& from, const QPoint& to,
                 Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    SendMouse(widget, QEvent::MouseButtonPress, from, Qt::LeftButton, Qt::LeftButton, modifiers);
    SendMouse(widget, QEvent::MouseMove, (from + to) / 2, Qt::NoButton, Qt::LeftButton, modifiers);
    SendMouse(widget, QEvent::MouseMove, to, Qt::NoButton, Qt::LeftButton, modifiers);
    SendMouse(widget, QEvent::MouseButtonRelease, to, Qt::LeftButton, Qt::NoButton, modifiers);
}

// Wheel steps (positive: away from the user) at a position.
inline void Wheel(QWidget* widget, const QPoint& position, int steps)
{
    QWheelEvent event(QPointF(position), widget->mapToGlobal(QPointF(position)), QPoint(),
                      QPoint(0, 120 * steps), Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase,
                      false);
    QApplication::sendEvent(widget, &event);
}

} // namespace ImageViewTest
