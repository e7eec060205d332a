#pragma once

#include <QFont>
#include <QListWidgetItem>
#include <QPixmap>
#include <QSize>
#include <QString>

class QPainter;
class QPoint;

// One view's entry of the navigator: icon, caption in bold and a description two points smaller.
// The list box's delegate asks it for its size and lets it paint itself; its geometry is fixed
// by the fonts and the icon (see Width, Height, Paint). Owned by the list it is in (or by whoever
// took it out); owns copies of its texts, icon and fonts. GUI thread only. Throws nothing of its
// own; no messages.
class CViewListBoxItem : public QListWidgetItem
{
public:
    // The type that tells the delegate an entry is one of these.
    static constexpr int kItemType = QListWidgetItem::UserType + 1;

    // Both fonts start as the application's default font, read now.
    CViewListBoxItem(const QString& caption, const QString& description, const QPixmap& icon);

    // The larger text width (caption in its font, description in its font) + icon width + 30.
    int Width() const;
    // The larger of (caption height + description height + 2) and the icon height, + 10.
    int Height() const;
    QSize SizeHint() const { return QSize(Width(), Height()); }

    // Icon at (10, centred), caption at (icon width + 20, 7), description below it, relative to
    // `origin`. The text rectangles reach past the item's right edge on purpose: the list clips.
    void Paint(QPainter* painter, const QPoint& origin) const;

    // The rectangles that Paint uses, relative to the item's top left corner.
    QRect CaptionRect() const;
    QRect DescriptionRect() const;
    QPoint IconPosition() const;

    const QString& Caption() const { return m_strCaption; }
    const QString& Description() const { return m_strDescription; }
    const QPixmap& Icon() const { return m_pixIcon; }
    const QFont& CaptionFont() const { return m_fntCaption; }
    const QFont& DescriptionFont() const { return m_fntDescription; }

private:
    QString m_strCaption;
    QString m_strDescription;
    QPixmap m_pixIcon;
    QFont m_fntCaption;
    QFont m_fntDescription;
};
