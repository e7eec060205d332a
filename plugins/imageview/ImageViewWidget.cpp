#include "ImageViewWidget.h"

#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QScrollBar>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

CImageViewWidget::CImageViewWidget(QWidget* parent) : QAbstractScrollArea(parent)
{
    setFocusPolicy(Qt::StrongFocus);
    setMinimumSize(64, 64);
    horizontalScrollBar()->setSingleStep(20);
    verticalScrollBar()->setSingleStep(20);
}

CImageViewWidget::~CImageViewWidget() = default;

void CImageViewWidget::SetImage(const Zarn::CImage* image)
{
    const QSize oldSize = m_renderer.Size();
    const std::uint32_t uOldPlane = m_renderer.Plane();
    m_renderer.SetImage(image);
    const bool bSameSize = !oldSize.isEmpty() && oldSize == m_renderer.Size();
    const bool bDropsSelection = !bSameSize && !m_rectSelection.isNull();
    if (bSameSize)
    {
        m_renderer.SetPlane(uOldPlane);
    }
    else
    {
        m_rectSelection = QRect();
        m_bFit = true;
    }
    Rerender();
    if (m_bFit)
    {
        UpdateFitZoom();
    }
    UpdateScrollBars();
    viewport()->update();
    if (bDropsSelection)
    {
        emit SelectionChanged();
    }
}

void CImageViewWidget::SetAutoContrast()
{
    m_bAutoContrast = true;
    Rerender();
    viewport()->update();
}

void CImageViewWidget::SetContrast(double low, double high)
{
    m_bAutoContrast = false;
    m_dLow = low;
    m_dHigh = high;
    Rerender();
    viewport()->update();
}

void CImageViewWidget::SetZoom(double zoom, const QPointF& anchor)
{
    if (!std::isfinite(zoom) || zoom <= 0.0)
    {
        return;
    }
    const QPointF imagePoint = ViewToImage(anchor);
    m_bFit = false;
    m_dZoom = std::clamp(zoom, kMinZoom, kMaxZoom);
    UpdateScrollBars();
    // Scroll so that the image point lands under the anchor again; the bars clamp.
    horizontalScrollBar()->setValue(
        static_cast<int>(std::lround(imagePoint.x() * m_dZoom - anchor.x())));
    verticalScrollBar()->setValue(
        static_cast<int>(std::lround(imagePoint.y() * m_dZoom - anchor.y())));
    viewport()->update();
}

void CImageViewWidget::SetZoom(double zoom)
{
    SetZoom(zoom, QRectF(viewport()->rect()).center());
}

void CImageViewWidget::ZoomBy(double factor, const QPointF& anchor)
{
    SetZoom(m_dZoom * factor, anchor);
}

void CImageViewWidget::FitToWindow()
{
    m_bFit = true;
    UpdateFitZoom();
    UpdateScrollBars();
    viewport()->update();
}

void CImageViewWidget::ActualSize()
{
    SetZoom(1.0);
}

void CImageViewWidget::SetPlane(std::uint32_t plane)
{
    if (m_renderer.SetPlane(plane))
    {
        Rerender();
        viewport()->update();
    }
}

void CImageViewWidget::ClearSelection()
{
    if (m_rectSelection.isNull())
    {
        return;
    }
    m_rectSelection = QRect();
    viewport()->update();
    emit SelectionChanged();
}

QPointF CImageViewWidget::ImageToView(const QPointF& imagePoint) const
{
    return Origin() + imagePoint * m_dZoom;
}

QPointF CImageViewWidget::ViewToImage(const QPointF& viewPoint) const
{
    return (viewPoint - Origin()) / m_dZoom;
}

QMenu* CImageViewWidget::CreateContextMenu()
{
    auto* pMenu = new QMenu(this);
    pMenu->addAction(tr("Fit to window"), this, [this]() { FitToWindow(); });
    pMenu->addAction(tr("Actual size"), this, [this]() { ActualSize(); });
    QAction* pClear = pMenu->addAction(tr("Clear selection"), this, [this]() { ClearSelection(); });
    pClear->setEnabled(!m_rectSelection.isNull());
    return pMenu;
}

void CImageViewWidget::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(viewport());
    painter.fillRect(viewport()->rect(), QColor(48, 48, 48));
    if (m_imgDisplay.isNull())
    {
        return;
    }
    const QPointF origin = Origin();
    const QRectF visible = QRectF(origin, ScaledSize()).intersected(QRectF(viewport()->rect()));
    if (visible.isEmpty())
    {
        return;
    }
    if (m_dZoom < 1.0)
    {
        // The scaled picture is drawn 1:1; only its visible part.
        const QImage& scaled = ScaledDisplay();
        const QRect source = visible.translated(-origin).toAlignedRect().intersected(scaled.rect());
        painter.drawImage(source.topLeft() + origin, scaled, source);
    }
    else
    {
        // Whole source pixels around the visible part, blown up without smoothing.
        const QPointF topLeft = ViewToImage(visible.topLeft());
        const QPointF bottomRight = ViewToImage(visible.bottomRight());
        const int nX0 = std::max(0, static_cast<int>(std::floor(topLeft.x())));
        const int nY0 = std::max(0, static_cast<int>(std::floor(topLeft.y())));
        const int nX1 =
            std::min(m_imgDisplay.width(), static_cast<int>(std::ceil(bottomRight.x())));
        const int nY1 =
            std::min(m_imgDisplay.height(), static_cast<int>(std::ceil(bottomRight.y())));
        const QRect source(nX0, nY0, nX1 - nX0, nY1 - nY0);
        const QRectF target(ImageToView(QPointF(nX0, nY0)), QSizeF(source.size()) * m_dZoom);
        painter.setRenderHint(QPainter::SmoothPixmapTransform, false);
        painter.drawImage(target, m_imgDisplay, source);
    }
    if (!m_rectSelection.isNull())
    {
        const QRectF selection(ImageToView(m_rectSelection.topLeft()),
                               QSizeF(m_rectSelection.size()) * m_dZoom);
        painter.setPen(QPen(Qt::yellow, 1, Qt::DashLine));
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(selection.adjusted(0, 0, -1, -1));
    }
}

void CImageViewWidget::resizeEvent(QResizeEvent* event)
{
    QAbstractScrollArea::resizeEvent(event);
    if (m_bFit)
    {
        UpdateFitZoom();
    }
    UpdateScrollBars();
}

void CImageViewWidget::scrollContentsBy(int /*dx*/, int /*dy*/)
{
    viewport()->update();
}

void CImageViewWidget::wheelEvent(QWheelEvent* event)
{
    const double dSteps = event->angleDelta().y() / 120.0;
    if (dSteps == 0.0 || !HasImage())
    {
        event->ignore();
        return;
    }
    ZoomBy(std::pow(kZoomStep, dSteps), event->position());
    event->accept();
}

void CImageViewWidget::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !HasImage())
    {
        QAbstractScrollArea::mousePressEvent(event);
        return;
    }
    m_ptDragStart = event->position().toPoint();
    if (event->modifiers() & Qt::ShiftModifier)
    {
        m_enDrag = dragSelect;
        m_rectBeforeDrag = m_rectSelection;
        m_ptSelectionAnchor = PixelAt(event->position());
        UpdateSelection(event->position());
    }
    else
    {
        m_enDrag = dragPan;
        m_ptScrollAtDragStart =
            QPoint(horizontalScrollBar()->value(), verticalScrollBar()->value());
        viewport()->setCursor(Qt::ClosedHandCursor);
    }
    event->accept();
}

void CImageViewWidget::mouseMoveEvent(QMouseEvent* event)
{
    if (m_enDrag == dragPan)
    {
        const QPoint delta = event->position().toPoint() - m_ptDragStart;
        horizontalScrollBar()->setValue(m_ptScrollAtDragStart.x() - delta.x());
        verticalScrollBar()->setValue(m_ptScrollAtDragStart.y() - delta.y());
    }
    else if (m_enDrag == dragSelect)
    {
        UpdateSelection(event->position());
    }
    event->accept();
}

void CImageViewWidget::mouseReleaseEvent(QMouseEvent* event)
{
    const bool bSelecting = m_enDrag == dragSelect;
    if (bSelecting)
    {
        UpdateSelection(event->position());
    }
    if (m_enDrag != dragNone)
    {
        m_enDrag = dragNone;
        viewport()->unsetCursor();
        event->accept();
        // Told once per drag: every listener asks the tools again.
        if (bSelecting && m_rectSelection != m_rectBeforeDrag)
        {
            emit SelectionChanged();
        }
        return;
    }
    QAbstractScrollArea::mouseReleaseEvent(event);
}

void CImageViewWidget::keyPressEvent(QKeyEvent* event)
{
    const bool bControl = event->modifiers() & Qt::ControlModifier;
    switch (event->key())
    {
    case Qt::Key_0:
        if (!bControl)
        {
            break;
        }
        FitToWindow();
        return;
    case Qt::Key_F:
        FitToWindow();
        return;
    case Qt::Key_1:
        ActualSize();
        return;
    case Qt::Key_Plus:
    case Qt::Key_Equal:
        SetZoom(m_dZoom * kZoomStep);
        return;
    case Qt::Key_Minus:
        SetZoom(m_dZoom / kZoomStep);
        return;
    case Qt::Key_Escape:
        ClearSelection();
        return;
    case Qt::Key_PageUp:
        if (Plane() > 0)
        {
            SetPlane(Plane() - 1);
        }
        return;
    case Qt::Key_PageDown:
        SetPlane(Plane() + 1);
        return;
    default:
        break;
    }
    QAbstractScrollArea::keyPressEvent(event);
}

void CImageViewWidget::contextMenuEvent(QContextMenuEvent* event)
{
    QMenu* pMenu = CreateContextMenu();
    pMenu->setAttribute(Qt::WA_DeleteOnClose);
    pMenu->popup(event->globalPos());
}

void CImageViewWidget::Rerender()
{
    if (m_bAutoContrast)
    {
        m_dLow = m_renderer.DataLow();
        m_dHigh = m_renderer.DataHigh();
    }
    m_imgDisplay = m_renderer.Render(m_dLow, m_dHigh);
    m_imgScaled = QImage();
    m_dScaledZoom = 0.0;
}

void CImageViewWidget::UpdateFitZoom()
{
    const QSize imageSize = m_renderer.Size();
    const QSize area = viewport()->size();
    if (imageSize.isEmpty() || area.isEmpty())
    {
        m_dZoom = 1.0;
        return;
    }
    const double dZoom = std::min(double(area.width()) / imageSize.width(),
                                  double(area.height()) / imageSize.height());
    m_dZoom = std::clamp(dZoom, kMinZoom, kMaxZoom);
}

void CImageViewWidget::UpdateScrollBars()
{
    const QSizeF scaled = ScaledSize();
    const QSize area = viewport()->size();
    const int nWidth = static_cast<int>(std::ceil(scaled.width()));
    const int nHeight = static_cast<int>(std::ceil(scaled.height()));
    horizontalScrollBar()->setPageStep(area.width());
    verticalScrollBar()->setPageStep(area.height());
    horizontalScrollBar()->setRange(0, std::max(0, nWidth - area.width()));
    verticalScrollBar()->setRange(0, std::max(0, nHeight - area.height()));
}

QPointF CImageViewWidget::Origin() const
{
    const QSizeF scaled = ScaledSize();
    const QSize area = viewport()->size();
    const double dX = scaled.width() <= area.width() ? (area.width() - scaled.width()) / 2.0
                                                     : -double(horizontalScrollBar()->value());
    const double dY = scaled.height() <= area.height() ? (area.height() - scaled.height()) / 2.0
                                                       : -double(verticalScrollBar()->value());
    // Whole pixels, so that image pixels map onto device pixels alike at every zoom.
    return QPointF(std::floor(dX), std::floor(dY));
}

QSizeF CImageViewWidget::ScaledSize() const
{
    return QSizeF(m_renderer.Size()) * m_dZoom;
}

QPoint CImageViewWidget::PixelAt(const QPointF& viewPoint) const
{
    const QPointF imagePoint = ViewToImage(viewPoint);
    const QSize size = m_renderer.Size();
    const int nX = std::clamp(static_cast<int>(std::floor(imagePoint.x())), 0, size.width() - 1);
    const int nY = std::clamp(static_cast<int>(std::floor(imagePoint.y())), 0, size.height() - 1);
    return QPoint(nX, nY);
}

void CImageViewWidget::UpdateSelection(const QPointF& viewPoint)
{
    const QPoint pixel = PixelAt(viewPoint);
    m_rectSelection = QRect(QPoint(std::min(pixel.x(), m_ptSelectionAnchor.x()),
                                   std::min(pixel.y(), m_ptSelectionAnchor.y())),
                            QPoint(std::max(pixel.x(), m_ptSelectionAnchor.x()),
                                   std::max(pixel.y(), m_ptSelectionAnchor.y())));
    viewport()->update();
}

const QImage& CImageViewWidget::ScaledDisplay()
{
    if (m_dScaledZoom != m_dZoom || m_imgScaled.isNull())
    {
        const int nWidth =
            std::max(1, static_cast<int>(std::lround(m_imgDisplay.width() * m_dZoom)));
        const int nHeight =
            std::max(1, static_cast<int>(std::lround(m_imgDisplay.height() * m_dZoom)));
        m_imgScaled =
            m_imgDisplay.scaled(nWidth, nHeight, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        m_dScaledZoom = m_dZoom;
    }
    return m_imgScaled;
}
