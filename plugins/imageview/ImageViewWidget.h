#pragma once

#include "ImageRenderer.h"

#include <QAbstractScrollArea>
#include <QImage>
#include <QPoint>
#include <QPointF>
#include <QRect>

class QMenu;

// The widget of an image view: shows one plane of an image at a zoom factor, pans with the scroll
// bars and a left drag, draws a rectangular selection with Shift and a left drag. GUI thread only.
//
// The display picture is rendered once per image, plane or contrast change, and once per zoom
// below 1:1 (smoothly scaled); a paint draws only the visible part of it, nearest neighbour
// when zoomed in. A new widget fits the image into the window until the user zooms.
//
// Keys: Ctrl+0 or F fit, Ctrl+1 or 1 actual size, + and - zoom about the centre, Esc clears the
// selection, Page Up / Page Down step through the planes. The wheel zooms about the cursor.
//
// Signals SelectionChanged once the selection differs from before: at the end of a Shift+drag
// (not at every move), when it is cleared, and when an image of another size drops it.
//
// Owns its renderer (and through it a copy of the pixels); the image given to SetImage is only
// read during the call. Its Qt parent (the view plug-in's container) owns the widget. Throws
// nothing of its own; sends and handles no host messages (the view plug-in turns the signal into
// CHANGED_VIEW).
class CImageViewWidget : public QAbstractScrollArea
{
    Q_OBJECT
    // Readable by name, also for code that does not know this class.
    Q_PROPERTY(double zoom READ Zoom)
    Q_PROPERTY(bool fit READ IsFit)
    Q_PROPERTY(QRect selection READ Selection)

public:
    static constexpr double kMinZoom = 1.0 / 64.0;
    static constexpr double kMaxZoom = 64.0;
    static constexpr double kZoomStep = 1.25;

    explicit CImageViewWidget(QWidget* parent = nullptr);
    ~CImageViewWidget() override;

    // Copies and shows the image (null: nothing). An image of the size shown before keeps zoom,
    // pan, plane and selection; another size clears the selection and fits the image.
    void SetImage(const Zarn::CImage* image);
    bool HasImage() const { return !m_renderer.IsEmpty(); }
    QSize ImageSize() const { return m_renderer.Size(); }
    const CImageRenderer& Renderer() const { return m_renderer; }
    // The picture of the current plane at 1:1, as painted.
    const QImage& DisplayImage() const { return m_imgDisplay; }

    // Automatic contrast follows the data range of every new image or plane; a fixed one keeps
    // low and high.
    void SetAutoContrast();
    void SetContrast(double low, double high);
    bool IsAutoContrast() const { return m_bAutoContrast; }
    double ContrastLow() const { return m_dLow; }
    double ContrastHigh() const { return m_dHigh; }

    double Zoom() const { return m_dZoom; }
    bool IsFit() const { return m_bFit; }
    // Zooms keeping the image point under `anchor` (viewport coordinates) in place; clamped to
    // kMinZoom..kMaxZoom. Leaves fit mode.
    void SetZoom(double zoom, const QPointF& anchor);
    void SetZoom(double zoom);
    void ZoomBy(double factor, const QPointF& anchor);
    void FitToWindow();
    void ActualSize();

    // Page Up / Page Down step through the planes of a multi-plane image.
    std::uint32_t Plane() const { return m_renderer.Plane(); }
    void SetPlane(std::uint32_t plane);

    // The selection in image pixels; null when there is none.
    QRect Selection() const { return m_rectSelection; }
    void ClearSelection();

    // Viewport position of an image point, and back.
    QPointF ImageToView(const QPointF& imagePoint) const;
    QPointF ViewToImage(const QPointF& viewPoint) const;

    // The context menu (Fit to window, Actual size, Clear selection), owned by the caller.
    QMenu* CreateContextMenu();

signals:
    void SelectionChanged();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    enum EnDrag
    {
        dragNone,
        dragPan,
        dragSelect,
    };

    void Rerender();
    void UpdateFitZoom();
    void UpdateScrollBars();
    // Top-left corner of the image in the viewport: centred when smaller than the viewport,
    // else given by the scroll bars.
    QPointF Origin() const;
    QSizeF ScaledSize() const;
    // The image pixel under a viewport point, clamped into the image.
    QPoint PixelAt(const QPointF& viewPoint) const;
    void UpdateSelection(const QPointF& viewPoint);
    const QImage& ScaledDisplay();

    CImageRenderer m_renderer;
    QImage m_imgDisplay;
    // The display picture scaled down for zooms below 1:1, made on demand.
    QImage m_imgScaled;
    double m_dScaledZoom = 0.0;
    bool m_bAutoContrast = true;
    double m_dLow = 0.0;
    double m_dHigh = 0.0;
    double m_dZoom = 1.0;
    bool m_bFit = true;
    QRect m_rectSelection;
    EnDrag m_enDrag = dragNone;
    QPoint m_ptDragStart;
    QPoint m_ptScrollAtDragStart;
    QPoint m_ptSelectionAnchor;
    // The selection when the current drag began, to tell whether the drag changed it.
    QRect m_rectBeforeDrag;
};
