#include "views/ViewListBox.h"

#include "views/ViewListBoxItem.h"

#include <QApplication>
#include <QCoreApplication>
#include <QEvent>
#include <QPainter>
#include <QStyle>
#include <QStyleOptionViewItem>
#include <QStyledItemDelegate>

namespace
{

// Asks a CViewListBoxItem for its size and painting; every other entry is drawn as usual.
class CViewListBoxDelegate : public QStyledItemDelegate
{
public:
    CViewListBoxDelegate(CViewListBox* listBox) : QStyledItemDelegate(listBox), m_pListBox(listBox)
    {
    }

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        if (const CViewListBoxItem* pItem = ItemAt(index))
        {
            return pItem->SizeHint();
        }
        return QStyledItemDelegate::sizeHint(option, index);
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override
    {
        const CViewListBoxItem* pItem = ItemAt(index);
        if (pItem == nullptr)
        {
            QStyledItemDelegate::paint(painter, option, index);
            return;
        }
        QStyleOptionViewItem background(option);
        initStyleOption(&background, index);
        background.text.clear();
        background.icon = QIcon();
        const QWidget* pWidget = option.widget;
        QStyle* pStyle = pWidget != nullptr ? pWidget->style() : QApplication::style();
        pStyle->drawPrimitive(QStyle::PE_PanelItemViewItem, &background, painter, pWidget);

        painter->save();
        painter->setClipRect(option.rect);
        const bool bSelected = (option.state & QStyle::State_Selected) != 0;
        painter->setPen(
            option.palette.color(bSelected ? QPalette::HighlightedText : QPalette::Text));
        pItem->Paint(painter, option.rect.topLeft());
        painter->restore();
    }

private:
    const CViewListBoxItem* ItemAt(const QModelIndex& index) const
    {
        const QListWidgetItem* pItem = m_pListBox->item(index.row());
        if (pItem == nullptr || pItem->type() != CViewListBoxItem::kItemType)
        {
            return nullptr;
        }
        return static_cast<const CViewListBoxItem*>(pItem);
    }

    CViewListBox* m_pListBox;
};

} // namespace

CViewListBox::CViewListBox(QWidget* parent, const char* name) : QListWidget(parent)
{
    setObjectName(QString::fromUtf8(name != nullptr ? name : ""));
    setItemDelegate(new CViewListBoxDelegate(this));
}

CViewListBox::~CViewListBox() = default;

bool CViewListBox::eventFilter(QObject* watched, QEvent* event)
{
    QEvent fresh(event->type());
    QListWidget::eventFilter(watched, event);
    QCoreApplication* pApplication = QCoreApplication::instance();
    if (pApplication == nullptr)
    {
        return false;
    }
    return pApplication->eventFilter(watched, &fresh);
}
