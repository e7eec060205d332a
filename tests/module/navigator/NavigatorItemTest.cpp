// Geometry and painting of the navigator's entries, for a known font.

#include "NavigatorHarness.h"

#include "views/DefaultViewIcon.h"
#include "views/ViewListBox.h"
#include "views/ViewListBoxItem.h"

#include <QApplication>
#include <QEvent>
#include <QFont>
#include <QFontMetrics>
#include <QImage>
#include <QObject>
#include <QPainter>
#include <QPixmap>
#include <QStyleOptionViewItem>
#include <QWidget>

#include <algorithm>

namespace NavigatorTest
{

namespace
{

// Sets the application's default font for one test.
class CNavigatorItem : public CNavigatorFixture
{
protected:
    void SetUp() override
    {
        CNavigatorFixture::SetUp();
        m_fntSaved = QApplication::font();
        QFont font("DejaVu Sans");
        font.setPointSize(11);
        QApplication::setFont(font);
    }
    void TearDown() override
    {
        QApplication::setFont(m_fntSaved);
        CNavigatorFixture::TearDown();
    }

    static QFont CaptionFont()
    {
        QFont font("DejaVu Sans");
        font.setPointSize(11);
        font.setWeight(QFont::Bold);
        return font;
    }
    static QFont DescriptionFont()
    {
        QFont font("DejaVu Sans");
        font.setPointSize(9);
        return font;
    }

    QFont m_fntSaved;
};

QPixmap FilledPixmap(int width, int height, Qt::GlobalColor colour)
{
    QPixmap pixmap(width, height);
    pixmap.fill(colour);
    return pixmap;
}

} // namespace

TEST_F(CNavigatorItem, CaptionIsBoldAndTheDescriptionTwoPointsSmaller)
{
    const CViewListBoxItem item("Caption", "Description", FilledPixmap(32, 32, Qt::blue));
    EXPECT_EQ(item.CaptionFont().weight(), QFont::Bold);
    EXPECT_EQ(item.CaptionFont().pointSize(), 11);
    EXPECT_EQ(item.CaptionFont().family(), QString("DejaVu Sans"));
    EXPECT_EQ(item.DescriptionFont().weight(), QFont::Normal);
    EXPECT_EQ(item.DescriptionFont().pointSize(), 9);
}

TEST_F(CNavigatorItem, WidthIsTheWiderTextPlusIconPlus30)
{
    const QFontMetrics caption(CaptionFont());
    const QFontMetrics description(DescriptionFont());

    const CViewListBoxItem longCaption("A rather long caption", "short",
                                       FilledPixmap(32, 32, Qt::blue));
    EXPECT_EQ(longCaption.Width(), caption.horizontalAdvance("A rather long caption") + 32 + 30);

    const CViewListBoxItem longDescription("Cap", "a description that is much longer",
                                           FilledPixmap(20, 12, Qt::blue));
    EXPECT_EQ(longDescription.Width(),
              description.horizontalAdvance("a description that is much longer") + 20 + 30);
    ASSERT_GT(description.horizontalAdvance("a description that is much longer"),
              caption.horizontalAdvance("Cap"));
}

TEST_F(CNavigatorItem, HeightIsTheTallerOfTextAndIconPlus10)
{
    const QFontMetrics caption(CaptionFont());
    const QFontMetrics description(DescriptionFont());
    const int nText = caption.height() + description.height() + 2;

    const CViewListBoxItem flat("Cap", "desc", FilledPixmap(32, 8, Qt::blue));
    EXPECT_EQ(flat.Height(), nText + 10);

    const CViewListBoxItem tall("Cap", "desc", FilledPixmap(16, nText + 25, Qt::blue));
    EXPECT_EQ(tall.Height(), nText + 25 + 10);
}

TEST_F(CNavigatorItem, IconAndTextRectanglesFollowTheFonts)
{
    const QFontMetrics caption(CaptionFont());
    const QFontMetrics description(DescriptionFont());
    const int nCaption = caption.height();
    const int nDescription = description.height();
    const CViewListBoxItem item("Caption", "Description", FilledPixmap(32, 32, Qt::blue));
    const int nWidth = item.Width();
    const int nHeight = item.Height();

    EXPECT_EQ(item.IconPosition(), QPoint(10, (nHeight - 32) / 2));
    EXPECT_EQ(item.CaptionRect(), QRect(QPoint(52, 7), QPoint(52 + nWidth - 11, nCaption + 11)));
    EXPECT_EQ(item.DescriptionRect(),
              QRect(QPoint(52, nCaption + 5),
                    QPoint(52 + nWidth - 11, nDescription + 2 * (nCaption + 5) - 1)));

    const CViewListBoxItem tall("Cap", "desc", FilledPixmap(20, 61, Qt::blue));
    EXPECT_EQ(tall.IconPosition(), QPoint(10, (tall.Height() - 61) / 2));
    EXPECT_EQ(tall.IconPosition().y(), 5);
    EXPECT_EQ(tall.CaptionRect().left(), 40);
}

TEST_F(CNavigatorItem, TheListSizesEachEntryByItsItem)
{
    StartNavigator();
    CFakeView* pView = NewView("Measured caption", "and its description");
    PostView("NEW_VIEW", pView);
    PostView("NEW_VIEW", NewView("x", "y"));
    CViewListBox* pList = m_pNavigator->ListBox();
    pList->resize(400, 300);

    const QFontMetrics caption(CaptionFont());
    const QFontMetrics description(DescriptionFont());
    const int nWidth = std::max(caption.horizontalAdvance("Measured caption"),
                                description.horizontalAdvance("and its description")) +
                       32 + 30;
    const int nHeight = std::max(caption.height() + description.height() + 2, 32) + 10;

    QStyleOptionViewItem option;
    option.initFrom(pList);
    const QModelIndex index = pList->model()->index(0, 0);
    EXPECT_EQ(pList->itemDelegate()->sizeHint(option, index), QSize(nWidth, nHeight));
    EXPECT_EQ(pList->visualItemRect(ItemAt(0)).height(), nHeight);
    EXPECT_EQ(pList->visualItemRect(ItemAt(1)).top(),
              pList->visualItemRect(ItemAt(0)).top() + nHeight);
}

TEST_F(CNavigatorItem, PaintingPutsTheIconAtItsPlaceAndTheCaptionBesideIt)
{
    const CViewListBoxItem item("Wide caption text", "description", FilledPixmap(32, 32, Qt::blue));
    QImage image(item.Width(), item.Height(), QImage::Format_RGB32);
    image.fill(Qt::white);
    {
        QPainter painter(&image);
        painter.setPen(Qt::black);
        item.Paint(&painter, QPoint(0, 0));
    }
    const QPoint icon = item.IconPosition();
    EXPECT_EQ(image.pixelColor(icon + QPoint(0, 0)), QColor(Qt::blue));
    EXPECT_EQ(image.pixelColor(icon + QPoint(31, 31)), QColor(Qt::blue));
    EXPECT_EQ(image.pixelColor(icon + QPoint(-1, 0)), QColor(Qt::white));
    EXPECT_EQ(image.pixelColor(icon + QPoint(32, 31)), QColor(Qt::white));

    // Ink in the caption's band and in the description's band, none left of the text column.
    auto fnInk = [&](int left, int top, int right, int bottom)
    {
        int nInk = 0;
        for (int y = top; y <= bottom; ++y)
        {
            for (int x = left; x <= right; ++x)
            {
                nInk += image.pixelColor(x, y) != QColor(Qt::white) ? 1 : 0;
            }
        }
        return nInk;
    };
    const QFontMetrics caption(CaptionFont());
    EXPECT_GT(fnInk(52, 7, item.Width() - 1, 7 + caption.height() - 3), 0);
    EXPECT_GT(fnInk(52, caption.height() + 7, item.Width() - 1, item.Height() - 1), 0);
    EXPECT_EQ(fnInk(43, 0, 51, item.Height() - 1), 0);
    // The text keeps a margin to the item's right edge.
    EXPECT_EQ(fnInk(item.Width() - 8, 0, item.Width() - 1, item.Height() - 1), 0);
}

TEST_F(CNavigatorItem, EventFilterAnswersWhatTheApplicationsFilterAnswers)
{
    CViewListBox list(nullptr, "list");
    QObject watched;
    QEvent event(QEvent::User);
    EXPECT_FALSE(list.eventFilter(&watched, &event));
    EXPECT_EQ(list.objectName(), QString("list"));

    // Installed on a widget, the list lets a close through: the application does not filter it.
    QWidget widget;
    widget.show();
    widget.installEventFilter(&list);
    EXPECT_TRUE(widget.close());
    EXPECT_TRUE(widget.isHidden());
}

} // namespace NavigatorTest
