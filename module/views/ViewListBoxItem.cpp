#include "views/ViewListBoxItem.h"

#include <QApplication>
#include <QFontMetrics>
#include <QPainter>
#include <QPoint>
#include <QRect>

#include <algorithm>

CViewListBoxItem::CViewListBoxItem(const QString& caption, const QString& description,
                                   const QPixmap& icon)
    : QListWidgetItem(nullptr, kItemType), m_strCaption(caption), m_strDescription(description),
      m_pixIcon(icon), m_fntCaption(QApplication::font()), m_fntDescription(QApplication::font())
{
    m_fntCaption.setWeight(QFont::Bold);
    if (m_fntDescription.pointSizeF() > 0)
    {
        m_fntDescription.setPointSizeF(m_fntDescription.pointSizeF() - 2);
    }
    else
    {
        // A font given in pixels has no point size: shrink it by the same amount in pixels.
        m_fntDescription.setPixelSize(std::max(1, m_fntDescription.pixelSize() - 2));
    }
    // Keyboard search and accessibility see the caption; painting is the delegate's.
    setText(caption);
}

int CViewListBoxItem::Width() const
{
    const int nCaption = QFontMetrics(m_fntCaption).horizontalAdvance(m_strCaption);
    const int nDescription = QFontMetrics(m_fntDescription).horizontalAdvance(m_strDescription);
    return std::max(nCaption, nDescription) + m_pixIcon.width() + 30;
}

int CViewListBoxItem::Height() const
{
    const int nText =
        QFontMetrics(m_fntCaption).height() + QFontMetrics(m_fntDescription).height() + 2;
    return std::max(nText, m_pixIcon.height()) + 10;
}

QPoint CViewListBoxItem::IconPosition() const
{
    return QPoint(10, (Height() - m_pixIcon.height()) / 2);
}

QRect CViewListBoxItem::CaptionRect() const
{
    const int nIcon = m_pixIcon.width();
    const int nCaptionHeight = QFontMetrics(m_fntCaption).height();
    return QRect(QPoint(nIcon + 20, 7), QPoint(nIcon + 20 + Width() - 11, nCaptionHeight + 11));
}

QRect CViewListBoxItem::DescriptionRect() const
{
    const int nIcon = m_pixIcon.width();
    const int nCaptionHeight = QFontMetrics(m_fntCaption).height();
    const int nDescriptionHeight = QFontMetrics(m_fntDescription).height();
    return QRect(
        QPoint(nIcon + 20, nCaptionHeight + 5),
        QPoint(nIcon + 20 + Width() - 11, nDescriptionHeight + 2 * (nCaptionHeight + 5) - 1));
}

void CViewListBoxItem::Paint(QPainter* painter, const QPoint& origin) const
{
    painter->save();
    painter->drawPixmap(origin + IconPosition(), m_pixIcon);
    painter->setFont(m_fntCaption);
    painter->drawText(CaptionRect().translated(origin), Qt::AlignLeft | Qt::AlignTop, m_strCaption);
    painter->setFont(m_fntDescription);
    painter->drawText(DescriptionRect().translated(origin), Qt::AlignLeft | Qt::AlignTop,
                      m_strDescription);
    painter->restore();
}
