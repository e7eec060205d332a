// The image view and its widget: description, thumbnail, rendering, zoom, pan, selection,
// settings and destruction.

#include "ImageRenderer.h"
#include "ImageViewPlugin.h"
#include "ImageViewTestSupport.h"
#include "ImageViewWidget.h"
#include "MessageRecorder.h"
#include "TestHost.h"

#include <Zarn/Image/TekaHeaderTools.h>
#include <Zarn/Log/Logger.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/TypeInfo.h>

#include <QAction>
#include <QElapsedTimer>
#include <QFile>
#include <QMenu>
#include <QPixmap>
#include <QPointer>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <memory>
#include <set>
#include <sstream>
#include <vector>

using namespace ImageViewTest;

namespace
{

// A view of its own document, its widget shown at a fixed size; thumbnails go to a temporary
// cache folder.
class ImageViewFixture : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_cacheDir.isValid());
        setenv("XDG_CACHE_HOME", m_cacheDir.path().toUtf8().constData(), 1);
    }

    void TearDown() override
    {
        if (m_pView != nullptr)
        {
            m_pView->DeleteData();
            m_pView.reset();
        }
        unsetenv("XDG_CACHE_HOME");
    }

    // Shows `image` (owned by the document) in a new view.
    CImageViewWidget* Show(Zarn::CImage* image, const char* label = "cells.png", long index = 2)
    {
        m_pDocument.reset(MakeDocument(image, label, index));
        m_pView = std::make_unique<CImageViewPlugin>();
        m_pView->Init(nullptr, Zarn::CValueMap());
        m_pView->UpdateParameters(DocumentParameters(m_pDocument.get()));
        CImageViewWidget* pWidget = m_pView->Widget();
        pWidget->resize(240, 200);
        pWidget->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(pWidget));
        return pWidget;
    }

    Zarn::CValueMap Describe()
    {
        Zarn::CValueMap description;
        m_pView->Run(description);
        return description;
    }

    QTemporaryDir m_cacheDir;
    std::unique_ptr<Zarn::CValueMap> m_pDocument;
    std::unique_ptr<CImageViewPlugin> m_pView;
};

std::string StringOf(const Zarn::CValueMap& map, const char* key)
{
    return map.EntryString(Zarn::CValue_Key(key)).StdString();
}

const Zarn::CValueMap* MapOf(const Zarn::CValueMap& map, const char* key)
{
    const Zarn::CValue* pValue = map.Entry(Zarn::CValue_Key(key), false);
    return pValue != nullptr ? pValue->Map() : nullptr;
}

// 0 at (0, 0), 1000 at (1, 0), 500 elsewhere, offset by `base`.
Zarn::CImage* Ramp16(std::uint32_t width, std::uint32_t height, std::uint16_t base = 1000)
{
    return MakeImage16(width, height,
                       [base](std::uint32_t x, std::uint32_t y) -> std::uint16_t
                       {
                           if (y == 0 && x == 0)
                           {
                               return base;
                           }
                           if (y == 0 && x == 1)
                           {
                               return static_cast<std::uint16_t>(base + 1000);
                           }
                           return static_cast<std::uint16_t>(base + 500);
                       });
}

} // namespace

TEST_F(ImageViewFixture, SetupNamesAQtWidgetViewAndLendsItsWidget)
{
    Show(Ramp16(8, 8));
    Zarn::CValueMap setup;
    m_pView->GetPluginSetup(setup);
    EXPECT_EQ(StringOf(setup, "PluginType"), "QtWidget");
    EXPECT_EQ(StringOf(setup, "PluginSubType"), "ImageView");
    EXPECT_EQ(StringOf(setup, "PluginName"), "CImageViewPlugin");
    EXPECT_FALSE(StringOf(setup, "Version").empty());
    const Zarn::CValue* pWidget = setup.Entry(Zarn::CValue_Key("WidgetPtr"), true);
    EXPECT_EQ(Zarn::UnwrapPointer<QWidget>(pWidget), m_pView->Widget());
}

TEST_F(ImageViewFixture, DescriptionNamesLabelIndexSizeTypeAndChannels)
{
    Show(Ramp16(512, 512), "cells.png", 2);
    const Zarn::CValueMap description = Describe();
    EXPECT_EQ(StringOf(description, "caption"), "cells.png [2]");
    EXPECT_EQ(StringOf(description, "description"), "512 x 512, uint16, 1 channel");
    EXPECT_EQ(StringOf(description, "PluginType"), "QtWidget");
    EXPECT_EQ(StringOf(description, "PluginSubType"), "ImageView");
    EXPECT_EQ(
        Zarn::UnwrapPointer<Zarn::CValueMap>(description.Entry(Zarn::CValue_Key("document"), true)),
        m_pDocument.get());
    const Zarn::CValueMap* pSettings = MapOf(description, "settings");
    ASSERT_NE(pSettings, nullptr);
    EXPECT_TRUE(pSettings->EntryBool(Zarn::CValue_Key("fit")));
    EXPECT_GT(pSettings->EntryDouble(Zarn::CValue_Key("zoom"), 0.0), 0.0);
    const Zarn::CValueMap* pContrast = MapOf(*pSettings, "contrast");
    ASSERT_NE(pContrast, nullptr);
    EXPECT_TRUE(pContrast->EntryBool(Zarn::CValue_Key("auto"), false));
    EXPECT_EQ(pContrast->EntryDouble(Zarn::CValue_Key("low"), -1.0), 1000.0);
    EXPECT_EQ(pContrast->EntryDouble(Zarn::CValue_Key("high"), -1.0), 2000.0);
    EXPECT_FALSE(description.HasEntry(Zarn::CValue_Key("selection")));
}

TEST_F(ImageViewFixture, DescriptionOfAColourImageCountsItsChannels)
{
    auto* pImage =
        new Zarn::CImage(Zarn::CSize(6, 4), Zarn::IImage::CType(Zarn::IImage::etUInt8, 3));
    Show(pImage, "photo.jpg", 1);
    EXPECT_EQ(StringOf(Describe(), "description"), "6 x 4, uint8, 3 channels");
}

TEST_F(ImageViewFixture, ThumbnailIsASmallPngInTheCacheFolder)
{
    Show(Ramp16(300, 120));
    const std::string strIcon = StringOf(Describe(), "icon");
    ASSERT_FALSE(strIcon.empty());
    EXPECT_EQ(QString::fromStdString(strIcon).left(m_cacheDir.path().size()), m_cacheDir.path());
    EXPECT_TRUE(QString::fromStdString(strIcon).contains("/docview/thumbnails/"));
    QPixmap thumbnail;
    ASSERT_TRUE(thumbnail.load(QString::fromStdString(strIcon)));
    EXPECT_LE(thumbnail.width(), 32);
    EXPECT_LE(thumbnail.height(), 32);
    EXPECT_EQ(thumbnail.width(), 32) << "the longer side fills the icon";
}

TEST_F(ImageViewFixture, ThumbnailIsWrittenOnlyWhenTheImageChanged)
{
    Show(Ramp16(40, 40));
    const QString strFirst = QString::fromStdString(StringOf(Describe(), "icon"));
    ASSERT_TRUE(QFile::exists(strFirst));
    // Gone from the cache: a second description must not write it again.
    QFile::remove(strFirst);
    EXPECT_EQ(QString::fromStdString(StringOf(Describe(), "icon")), strFirst);
    EXPECT_FALSE(QFile::exists(strFirst));

    m_pView->UpdateParameters(DocumentParameters(m_pDocument.get()));
    const QString strSecond = QString::fromStdString(StringOf(Describe(), "icon"));
    EXPECT_NE(strSecond, strFirst);
    EXPECT_TRUE(QFile::exists(strSecond));
}

TEST_F(ImageViewFixture, ThumbnailIsRemovedWithTheView)
{
    Show(Ramp16(40, 40));
    const QString strIcon = QString::fromStdString(StringOf(Describe(), "icon"));
    ASSERT_TRUE(QFile::exists(strIcon));
    m_pView->DeleteData();
    m_pView.reset();
    EXPECT_FALSE(QFile::exists(strIcon));
}

TEST_F(ImageViewFixture, SixteenBitAutoContrastMapsMinimumToBlackAndMaximumToWhite)
{
    CImageViewWidget* pWidget = Show(Ramp16(64, 32));
    EXPECT_TRUE(pWidget->IsAutoContrast());
    EXPECT_EQ(pWidget->ContrastLow(), 1000.0);
    EXPECT_EQ(pWidget->ContrastHigh(), 2000.0);
    const QImage& display = pWidget->DisplayImage();
    EXPECT_EQ(qGray(display.pixel(0, 0)), 0);
    EXPECT_EQ(qGray(display.pixel(1, 0)), 255);
    EXPECT_NEAR(qGray(display.pixel(5, 5)), 128, 1);

    // What the user sees at 1:1.
    pWidget->ActualSize();
    const QImage grabbed = pWidget->viewport()->grab().toImage();
    const QPoint black = pWidget->ImageToView(QPointF(0.25, 0.25)).toPoint();
    const QPoint white = pWidget->ImageToView(QPointF(1.25, 0.25)).toPoint();
    EXPECT_EQ(qGray(grabbed.pixel(black)), 0);
    EXPECT_EQ(qGray(grabbed.pixel(white)), 255);
}

TEST_F(ImageViewFixture, FixedContrastSaturatesOutsideItsRange)
{
    CImageViewWidget* pWidget = Show(Ramp16(8, 8));
    pWidget->SetContrast(1400.0, 1600.0);
    const QImage& display = pWidget->DisplayImage();
    EXPECT_EQ(qGray(display.pixel(0, 0)), 0);
    EXPECT_EQ(qGray(display.pixel(1, 0)), 255);
    EXPECT_NEAR(qGray(display.pixel(3, 3)), 128, 1);
    pWidget->SetAutoContrast();
    EXPECT_EQ(pWidget->ContrastLow(), 1000.0);
}

TEST_F(ImageViewFixture, FloatAutoContrastIgnoresNaN)
{
    const float fNaN = std::numeric_limits<float>::quiet_NaN();
    CImageViewWidget* pWidget =
        Show(MakeImage<float>(4, 2, Zarn::IImage::etFloat32,
                              [fNaN](std::uint32_t x, std::uint32_t y) -> float
                              {
                                  if (y == 1)
                                  {
                                      return 2.0f;
                                  }
                                  const float afRow[] = {fNaN, -2.0f, 6.0f, fNaN};
                                  return afRow[x];
                              }));
    EXPECT_EQ(pWidget->ContrastLow(), -2.0);
    EXPECT_EQ(pWidget->ContrastHigh(), 6.0);
    const QImage& display = pWidget->DisplayImage();
    EXPECT_EQ(qGray(display.pixel(0, 0)), 0) << "NaN shows black";
    EXPECT_EQ(qGray(display.pixel(3, 0)), 0) << "NaN shows black";
    EXPECT_EQ(qGray(display.pixel(1, 0)), 0);
    EXPECT_EQ(qGray(display.pixel(2, 0)), 255);
    EXPECT_NEAR(qGray(display.pixel(0, 1)), 128, 1);
}

TEST_F(ImageViewFixture, DoubleAndSignedImagesUseTheirDataRange)
{
    CImageViewWidget* pWidget = Show(MakeImage<double>(
        3, 1, Zarn::IImage::etFloat64,
        [](std::uint32_t x, std::uint32_t) { return x == 0 ? -1e6 : (x == 1 ? 0.0 : 1e6); }));
    EXPECT_EQ(qGray(pWidget->DisplayImage().pixel(0, 0)), 0);
    EXPECT_EQ(qGray(pWidget->DisplayImage().pixel(2, 0)), 255);

    pWidget = Show(MakeImage<std::int32_t>(3, 1, Zarn::IImage::etInt32,
                                           [](std::uint32_t x, std::uint32_t)
                                           { return x == 0 ? -70000 : (x == 1 ? 0 : 70000); }));
    EXPECT_EQ(qGray(pWidget->DisplayImage().pixel(0, 0)), 0);
    EXPECT_NEAR(qGray(pWidget->DisplayImage().pixel(1, 0)), 128, 1);
    EXPECT_EQ(qGray(pWidget->DisplayImage().pixel(2, 0)), 255);

    pWidget = Show(MakeImage<std::uint32_t>(2, 1, Zarn::IImage::etUInt32,
                                            [](std::uint32_t x, std::uint32_t)
                                            { return x == 0 ? 5u : 4000000000u; }));
    EXPECT_EQ(pWidget->ContrastHigh(), 4000000000.0);
    EXPECT_EQ(qGray(pWidget->DisplayImage().pixel(0, 0)), 0);
    EXPECT_EQ(qGray(pWidget->DisplayImage().pixel(1, 0)), 255);
}

TEST_F(ImageViewFixture, LabelImageShowsBackgroundBlackAndEachLabelInItsOwnColour)
{
    const std::uint32_t uLabels = 40;
    Zarn::CImage* pImage =
        MakeImage16(uLabels + 1, 1,
                    [](std::uint32_t x, std::uint32_t) { return static_cast<std::uint16_t>(x); });
    Zarn::CTekaHeaderTools::SetNumberOfLabels(*pImage, uLabels);
    CImageViewWidget* pWidget = Show(pImage);
    EXPECT_TRUE(pWidget->Renderer().IsLabelImage());
    const QImage& display = pWidget->DisplayImage();
    EXPECT_EQ(display.pixel(0, 0) & 0xffffffu, 0u);
    std::set<QRgb> setColours;
    for (std::uint32_t x = 1; x <= uLabels; ++x)
    {
        const QRgb rgb = display.pixel(static_cast<int>(x), 0) & 0xffffffu;
        EXPECT_NE(rgb, 0u) << "label " << x << " shows black";
        EXPECT_EQ(rgb, CImageRenderer::LabelColour(x) & 0xffffffu) << "label " << x;
        setColours.insert(rgb);
    }
    EXPECT_EQ(setColours.size(), uLabels);
}

TEST_F(ImageViewFixture, EightBitColourImageShowsInColour)
{
    auto* pImage =
        new Zarn::CImage(Zarn::CSize(2, 1), Zarn::IImage::CType(Zarn::IImage::etUInt8, 3));
    const std::uint8_t aPixels[] = {200, 10, 20, 5, 6, 250};
    std::memcpy(pImage->Data(), aPixels, sizeof(aPixels));
    CImageViewWidget* pWidget = Show(pImage);
    EXPECT_EQ(pWidget->DisplayImage().pixel(0, 0) & 0xffffffu, qRgb(200, 10, 20) & 0xffffffu);
    EXPECT_EQ(pWidget->DisplayImage().pixel(1, 0) & 0xffffffu, qRgb(5, 6, 250) & 0xffffffu);
}

TEST_F(ImageViewFixture, MultiChannelImageShowsChannelZeroAndPlanesStepWithPageKeys)
{
    auto* pImage =
        new Zarn::CImage(Zarn::CSize(2, 1, 3), Zarn::IImage::CType(Zarn::IImage::etUInt16, 2));
    for (std::uint32_t z = 0; z < 3; ++z)
    {
        auto* pPlane = reinterpret_cast<std::uint16_t*>(pImage->Data() + z * pImage->PlaneStride());
        // Channel 0 rises to the right on plane 0 and falls on the others; channel 1 the reverse.
        pPlane[0] = z == 0 ? 0 : 100;
        pPlane[1] = 7;
        pPlane[2] = z == 0 ? 100 : 0;
        pPlane[3] = 7;
    }
    CImageViewWidget* pWidget = Show(pImage);
    EXPECT_EQ(qGray(pWidget->DisplayImage().pixel(0, 0)), 0);
    EXPECT_EQ(qGray(pWidget->DisplayImage().pixel(1, 0)), 255);
    QTest::keyClick(pWidget, Qt::Key_PageDown);
    EXPECT_EQ(pWidget->Plane(), 1u);
    EXPECT_EQ(qGray(pWidget->DisplayImage().pixel(0, 0)), 255);
    QTest::keyClick(pWidget, Qt::Key_PageDown);
    QTest::keyClick(pWidget, Qt::Key_PageDown);
    EXPECT_EQ(pWidget->Plane(), 2u) << "stops at the last plane";
    QTest::keyClick(pWidget, Qt::Key_PageUp);
    QTest::keyClick(pWidget, Qt::Key_PageUp);
    QTest::keyClick(pWidget, Qt::Key_PageUp);
    EXPECT_EQ(pWidget->Plane(), 0u);
}

TEST_F(ImageViewFixture, NewViewFitsTheImageIntoTheWindow)
{
    CImageViewWidget* pWidget = Show(Ramp16(960, 400));
    const QSize area = pWidget->viewport()->size();
    EXPECT_TRUE(pWidget->IsFit());
    EXPECT_DOUBLE_EQ(pWidget->Zoom(), std::min(area.width() / 960.0, area.height() / 400.0));
    // Fit follows the window.
    pWidget->resize(480, 400);
    QCoreApplication::processEvents();
    const QSize larger = pWidget->viewport()->size();
    EXPECT_DOUBLE_EQ(pWidget->Zoom(), std::min(larger.width() / 960.0, larger.height() / 400.0));
}

TEST_F(ImageViewFixture, KeysSwitchBetweenFitAndActualSize)
{
    CImageViewWidget* pWidget = Show(Ramp16(960, 400));
    const double dFit = pWidget->Zoom();
    QTest::keyClick(pWidget, Qt::Key_1, Qt::ControlModifier);
    EXPECT_EQ(pWidget->Zoom(), 1.0);
    EXPECT_FALSE(pWidget->IsFit());
    QTest::keyClick(pWidget, Qt::Key_0, Qt::ControlModifier);
    EXPECT_TRUE(pWidget->IsFit());
    EXPECT_EQ(pWidget->Zoom(), dFit);
    QTest::keyClick(pWidget, Qt::Key_1);
    EXPECT_EQ(pWidget->Zoom(), 1.0);
    QTest::keyClick(pWidget, Qt::Key_Plus);
    EXPECT_DOUBLE_EQ(pWidget->Zoom(), 1.25);
    QTest::keyClick(pWidget, Qt::Key_Minus);
    QTest::keyClick(pWidget, Qt::Key_Minus);
    EXPECT_DOUBLE_EQ(pWidget->Zoom(), 0.8);
    QTest::keyClick(pWidget, Qt::Key_F);
    EXPECT_TRUE(pWidget->IsFit());
}

TEST_F(ImageViewFixture, WheelZoomsByAQuarterPerStepAboutTheCursor)
{
    CImageViewWidget* pWidget = Show(Ramp16(960, 400));
    pWidget->ActualSize();
    const QPoint cursor(70, 50);
    const QPointF imagePoint = pWidget->ViewToImage(cursor);
    Wheel(pWidget->viewport(), cursor, 1);
    EXPECT_DOUBLE_EQ(pWidget->Zoom(), 1.25);
    EXPECT_FALSE(pWidget->IsFit());
    const QPointF after = pWidget->ImageToView(imagePoint);
    EXPECT_NEAR(after.x(), cursor.x(), 1.0);
    EXPECT_NEAR(after.y(), cursor.y(), 1.0);
    Wheel(pWidget->viewport(), cursor, -2);
    EXPECT_DOUBLE_EQ(pWidget->Zoom(), 0.8);
}

TEST_F(ImageViewFixture, ZoomStaysWithinItsLimits)
{
    CImageViewWidget* pWidget = Show(Ramp16(100, 100));
    for (int i = 0; i < 40; ++i)
    {
        Wheel(pWidget->viewport(), QPoint(10, 10), 1);
    }
    EXPECT_DOUBLE_EQ(pWidget->Zoom(), CImageViewWidget::kMaxZoom);
    for (int i = 0; i < 80; ++i)
    {
        Wheel(pWidget->viewport(), QPoint(10, 10), -1);
    }
    EXPECT_DOUBLE_EQ(pWidget->Zoom(), CImageViewWidget::kMinZoom);
}

TEST_F(ImageViewFixture, LeftDragPansAndTheScrollBarsMoveTheImage)
{
    CImageViewWidget* pWidget = Show(Ramp16(960, 800));
    pWidget->ActualSize();
    pWidget->horizontalScrollBar()->setValue(100);
    pWidget->verticalScrollBar()->setValue(100);
    const QPointF before = pWidget->ImageToView(QPointF(300, 300));
    Drag(pWidget->viewport(), QPoint(100, 100), QPoint(60, 70));
    EXPECT_EQ(pWidget->horizontalScrollBar()->value(), 140);
    EXPECT_EQ(pWidget->verticalScrollBar()->value(), 130);
    const QPointF after = pWidget->ImageToView(QPointF(300, 300));
    EXPECT_DOUBLE_EQ(after.x() - before.x(), -40.0);
    EXPECT_DOUBLE_EQ(after.y() - before.y(), -30.0);
    EXPECT_TRUE(pWidget->Selection().isNull()) << "a plain drag selects nothing";

    pWidget->horizontalScrollBar()->setValue(0);
    EXPECT_DOUBLE_EQ(pWidget->ImageToView(QPointF(0, 0)).x(), 0.0);
}

TEST_F(ImageViewFixture, ShiftDragSelectsInImagePixelsAndEscapeClears)
{
    CImageViewWidget* pWidget = Show(Ramp16(400, 300));
    pWidget->SetZoom(2.0);
    pWidget->horizontalScrollBar()->setValue(0);
    pWidget->verticalScrollBar()->setValue(0);
    const QPoint from = pWidget->ImageToView(QPointF(10.5, 20.5)).toPoint();
    const QPoint to = pWidget->ImageToView(QPointF(40.5, 60.5)).toPoint();
    Drag(pWidget->viewport(), to, from, Qt::ShiftModifier);

    const Zarn::CValueMap description = Describe();
    const Zarn::CValueMap* pSelection = MapOf(description, "selection");
    ASSERT_NE(pSelection, nullptr);
    EXPECT_EQ(pSelection->EntryLong(Zarn::CValue_Key("x")), 10);
    EXPECT_EQ(pSelection->EntryLong(Zarn::CValue_Key("y")), 20);
    EXPECT_EQ(pSelection->EntryLong(Zarn::CValue_Key("width")), 31);
    EXPECT_EQ(pSelection->EntryLong(Zarn::CValue_Key("height")), 41);

    QTest::keyClick(pWidget, Qt::Key_Escape);
    EXPECT_TRUE(pWidget->Selection().isNull());
    EXPECT_FALSE(Describe().HasEntry(Zarn::CValue_Key("selection")));
}

TEST_F(ImageViewFixture, SelectionIsClampedToTheImage)
{
    CImageViewWidget* pWidget = Show(Ramp16(50, 40));
    pWidget->ActualSize();
    const QPoint inside = pWidget->ImageToView(QPointF(45.25, 35.25)).toPoint();
    Drag(pWidget->viewport(), inside, inside + QPoint(500, 500), Qt::ShiftModifier);
    EXPECT_EQ(pWidget->Selection(), QRect(45, 35, 5, 5));
}

TEST_F(ImageViewFixture, ContextMenuFitsShowsActualSizeAndClearsSelection)
{
    CImageViewWidget* pWidget = Show(Ramp16(400, 300));
    pWidget->ActualSize();
    Drag(pWidget->viewport(), QPoint(20, 20), QPoint(40, 40), Qt::ShiftModifier);
    ASSERT_FALSE(pWidget->Selection().isNull());
    std::unique_ptr<QMenu> pMenu(pWidget->CreateContextMenu());
    const QList<QAction*> lstActions = pMenu->actions();
    ASSERT_EQ(lstActions.size(), 3);
    EXPECT_EQ(lstActions[0]->text(), "Fit to window");
    EXPECT_EQ(lstActions[1]->text(), "Actual size");
    EXPECT_EQ(lstActions[2]->text(), "Clear selection");
    lstActions[0]->trigger();
    EXPECT_TRUE(pWidget->IsFit());
    lstActions[1]->trigger();
    EXPECT_EQ(pWidget->Zoom(), 1.0);
    lstActions[2]->trigger();
    EXPECT_TRUE(pWidget->Selection().isNull());
}

TEST_F(ImageViewFixture, SettingsSetZoomAndContrast)
{
    CImageViewWidget* pWidget = Show(Ramp16(100, 100));
    Zarn::CValueMap parameters;
    parameters.SetEntry("settings/zoom", new Zarn::CValueDouble(2.0));
    parameters.SetEntry("settings/fit", new Zarn::CValueBool(false));
    parameters.SetEntry("settings/contrast/auto", new Zarn::CValueBool(false));
    parameters.SetEntry("settings/contrast/low", new Zarn::CValueDouble(1200.0));
    parameters.SetEntry("settings/contrast/high", new Zarn::CValueDouble(1800.0));
    m_pView->UpdateParameters(parameters);
    EXPECT_EQ(pWidget->Zoom(), 2.0);
    EXPECT_FALSE(pWidget->IsFit());
    EXPECT_FALSE(pWidget->IsAutoContrast());
    EXPECT_EQ(pWidget->ContrastLow(), 1200.0);

    const Zarn::CValueMap description = Describe();
    const Zarn::CValueMap* pSettings = MapOf(description, "settings");
    ASSERT_NE(pSettings, nullptr);
    EXPECT_EQ(pSettings->EntryDouble(Zarn::CValue_Key("zoom"), 0.0), 2.0);
    EXPECT_FALSE(pSettings->EntryBool(Zarn::CValue_Key("fit")));
    const Zarn::CValueMap* pContrast = MapOf(*pSettings, "contrast");
    ASSERT_NE(pContrast, nullptr);
    EXPECT_FALSE(pContrast->EntryBool(Zarn::CValue_Key("auto"), true));
    EXPECT_EQ(pContrast->EntryDouble(Zarn::CValue_Key("low"), 0.0), 1200.0);
    EXPECT_EQ(pContrast->EntryDouble(Zarn::CValue_Key("high"), 0.0), 1800.0);
}

TEST_F(ImageViewFixture, MessagesAndUnknownMapsAreIgnored)
{
    CImageViewWidget* pWidget = Show(Ramp16(100, 100));
    pWidget->SetZoom(3.0);
    auto pOther = std::unique_ptr<Zarn::CValueMap>(MakeDocument(Ramp16(7, 7), "other.png"));
    Zarn::CValueMap message = DocumentParameters(pOther.get());
    message.SetEntry(Zarn::CValue_Key("id"), new Zarn::CValueLong(1));
    m_pView->UpdateParameters(message);
    Zarn::CValueMap unknown;
    unknown.SetEntry(Zarn::CValue_Key("something"), new Zarn::CValueLong(1));
    m_pView->UpdateParameters(unknown);
    EXPECT_EQ(m_pView->Document(), m_pDocument.get());
    EXPECT_EQ(pWidget->ImageSize(), QSize(100, 100));
    EXPECT_EQ(pWidget->Zoom(), 3.0);
}

TEST_F(ImageViewFixture, NewContentOfTheSameSizeKeepsZoomAndPan)
{
    CImageViewWidget* pWidget = Show(Ramp16(960, 800));
    pWidget->SetZoom(2.0);
    pWidget->horizontalScrollBar()->setValue(300);
    pWidget->verticalScrollBar()->setValue(200);
    ReplaceImage(*m_pDocument, Ramp16(960, 800, 20000));
    m_pView->UpdateParameters(DocumentParameters(m_pDocument.get()));
    EXPECT_EQ(pWidget->Zoom(), 2.0);
    EXPECT_EQ(pWidget->horizontalScrollBar()->value(), 300);
    EXPECT_EQ(pWidget->verticalScrollBar()->value(), 200);
    EXPECT_EQ(pWidget->ContrastLow(), 20000.0) << "auto contrast follows the new data";

    ReplaceImage(*m_pDocument, Ramp16(30, 20));
    m_pView->UpdateParameters(DocumentParameters(m_pDocument.get()));
    EXPECT_TRUE(pWidget->IsFit()) << "an image of another size is fitted";
    EXPECT_EQ(pWidget->ImageSize(), QSize(30, 20));
}

TEST_F(ImageViewFixture, DeleteDataDestroysTheWidget)
{
    Show(Ramp16(10, 10));
    QPointer<QWidget> pWidget = m_pView->Widget();
    ASSERT_FALSE(pWidget.isNull());
    m_pView->DeleteData();
    EXPECT_TRUE(pWidget.isNull());
    EXPECT_EQ(m_pView->Widget(), nullptr);
    // A description without a widget still names the document.
    EXPECT_EQ(StringOf(Describe(), "caption"), "cells.png [2]");
}

TEST_F(ImageViewFixture, DeleteDataAfterTheParentDestroyedTheWidgetIsHarmless)
{
    Show(Ramp16(10, 10));
    auto* pParent = new QWidget;
    m_pView->Widget()->setParent(pParent);
    delete pParent;
    EXPECT_EQ(m_pView->Widget(), nullptr);
    m_pView->DeleteData();
    m_pView.reset();
}

// Not a timed check: the time is logged so that a slow conversion shows in the test output.
TEST_F(ImageViewFixture, LargeSixteenBitImageIsConvertedOnce)
{
    CImageViewWidget* pWidget = Show(Ramp16(16, 16));
    std::unique_ptr<Zarn::CImage> pLarge(
        MakeImage16(4096, 4096,
                    [](std::uint32_t x, std::uint32_t y)
                    { return static_cast<std::uint16_t>((x * 7 + y * 13) & 0xffff); }));
    QElapsedTimer timer;
    timer.start();
    pWidget->SetImage(pLarge.get());
    const qint64 nConversion = timer.elapsed();
    timer.restart();
    pWidget->viewport()->repaint();
    const qint64 nPaint = timer.elapsed();
    std::cout << "4096 x 4096 uint16: conversion " << nConversion << " ms, fitted paint " << nPaint
              << " ms" << std::endl;
    RecordProperty("conversion_ms", static_cast<int>(nConversion));
    RecordProperty("paint_ms", static_cast<int>(nPaint));
    EXPECT_EQ(pWidget->DisplayImage().size(), QSize(4096, 4096));
    EXPECT_EQ(pWidget->ContrastLow(), 0.0);
    EXPECT_EQ(pWidget->ContrastHigh(), 65535.0);
}

TEST(ImageViewWithoutImage, DescriptionLeavesTheIconOutSoTheNavigatorShowsItsDefault)
{
    Zarn::CValueMap document;
    document.SetEntry(Zarn::CValue_Key("label"), new Zarn::CValueString("empty"));
    CImageViewPlugin view;
    view.Init(nullptr, DocumentParameters(&document));
    Zarn::CValueMap description;
    view.Run(description);
    EXPECT_FALSE(description.HasEntry(Zarn::CValue_Key("icon")));
    EXPECT_EQ(StringOf(description, "caption"), "empty");
    EXPECT_EQ(StringOf(description, "description"), "");
    EXPECT_FALSE(view.Widget()->HasImage());
    view.DeleteData();
}

// ---------------------------------------------------------------------------------------------
// Colour images of every depth

namespace
{

// Two pixels of a colour image: strong red at (0, 0), strong blue at (1, 0), green weak in both.
template <class T>
Zarn::CImage* RedAndBlue(Zarn::IImage::EnElementType type, unsigned int channels, T low, T high)
{
    auto* pImage = new Zarn::CImage(Zarn::CSize(2, 1), Zarn::IImage::CType(type, channels));
    auto* pPixels = reinterpret_cast<T*>(pImage->Data());
    const T aRed[] = {high, low, low, high};
    const T aBlue[] = {low, low, high, high};
    for (unsigned int c = 0; c < channels; ++c)
    {
        pPixels[c] = aRed[c];
        pPixels[channels + c] = aBlue[c];
    }
    return pImage;
}

void ExpectRedThenBlue(const QImage& display)
{
    const QRgb red = display.pixel(0, 0);
    const QRgb blue = display.pixel(1, 0);
    EXPECT_GT(qRed(red), 200) << std::hex << red;
    EXPECT_LT(qGreen(red), 50) << std::hex << red;
    EXPECT_LT(qBlue(red), 50) << std::hex << red;
    EXPECT_LT(qRed(blue), 50) << std::hex << blue;
    EXPECT_LT(qGreen(blue), 50) << std::hex << blue;
    EXPECT_GT(qBlue(blue), 200) << std::hex << blue;
}

} // namespace

// A 16-bit RGB image was shown grey from its red channel.
TEST_F(ImageViewFixture, SixteenBitRgbImageShowsItsHues)
{
    CImageViewWidget* pWidget =
        Show(RedAndBlue<std::uint16_t>(Zarn::IImage::etUInt16, 3, 1000, 60000));
    ExpectRedThenBlue(pWidget->DisplayImage());
    EXPECT_TRUE(pWidget->Renderer().IsColour());
}

// Every depth and both colour layouts show in colour, scaled by the contrast range.
TEST_F(ImageViewFixture, ColourImagesOfEveryDepthShowInColour)
{
    {
        SCOPED_TRACE("uint16x4");
        ExpectRedThenBlue(
            Show(RedAndBlue<std::uint16_t>(Zarn::IImage::etUInt16, 4, 0, 4095))->DisplayImage());
    }
    {
        SCOPED_TRACE("float32x3");
        ExpectRedThenBlue(
            Show(RedAndBlue<float>(Zarn::IImage::etFloat32, 3, 0.1f, 0.9f))->DisplayImage());
    }
    {
        SCOPED_TRACE("float64x4");
        ExpectRedThenBlue(
            Show(RedAndBlue<double>(Zarn::IImage::etFloat64, 4, -5.0, 5.0))->DisplayImage());
    }
    {
        SCOPED_TRACE("int16x3");
        ExpectRedThenBlue(
            Show(RedAndBlue<std::int16_t>(Zarn::IImage::etInt16, 3, -300, 300))->DisplayImage());
    }
}

// Auto contrast of a deep colour image spans its colour channels together, so that hues keep
// their balance; a fixed range scales every channel alike.
TEST_F(ImageViewFixture, DeepColourAutoContrastSpansAllColourChannelsAndFixedContrastScalesThem)
{
    CImageViewWidget* pWidget =
        Show(RedAndBlue<std::uint16_t>(Zarn::IImage::etUInt16, 3, 1000, 3000));
    EXPECT_EQ(pWidget->ContrastLow(), 1000.0);
    EXPECT_EQ(pWidget->ContrastHigh(), 3000.0);
    EXPECT_EQ(pWidget->DisplayImage().pixel(0, 0) & 0xffffffu, qRgb(255, 0, 0) & 0xffffffu);

    pWidget->SetContrast(0.0, 6000.0);
    const QRgb red = pWidget->DisplayImage().pixel(0, 0);
    EXPECT_NEAR(qRed(red), 128, 1);
    EXPECT_NEAR(qGreen(red), 43, 1);
    EXPECT_NEAR(qBlue(red), 43, 1);
}

// ---------------------------------------------------------------------------------------------
// Selection changes reach the toolbox

namespace
{

// The host objects of a program, registered for the view to borrow; records the CHANGED_VIEW
// messages delivered and the view each names.
class CChangedViewRecorder : public DocViewTest::CMessageRecorder
{
public:
    CChangedViewRecorder() : DocViewTest::CMessageRecorder(nullptr)
    {
        m_pIds = m_host.m_pIds.get();
        m_host.m_pThread->Subscribe(this);
    }
    ~CChangedViewRecorder() override { m_host.m_pThread->Unsubscribe(this); }

    // The views named since the last call.
    std::vector<const Zarn::CPluginBase*> Take()
    {
        m_host.Deliver();
        return std::exchange(m_lstViews, {});
    }

protected:
    void OnMessage(const DocViewTest::SRecordedMessage& record, const Zarn::CValue* pData) override
    {
        if (record.m_strName != "CHANGED_VIEW")
        {
            return;
        }
        EXPECT_TRUE(Zarn::AreTypesEqual(pData->ElementType(), typeid(Zarn::CPluginBase)));
        m_lstViews.push_back(Zarn::UnwrapPointer<Zarn::CPluginBase>(pData));
    }

private:
    DocViewTest::CTestHost m_host;
    std::vector<const Zarn::CPluginBase*> m_lstViews;
};

} // namespace

// Crop stayed greyed after a Shift+drag: the toolbox was not told that the selection changed.
TEST_F(ImageViewFixture, SelectionMadeOrClearedPostsChangedViewNamingTheView)
{
    CChangedViewRecorder recorder;
    CImageViewWidget* pWidget = Show(Ramp16(400, 300));
    recorder.Take();
    const Zarn::CPluginBase* pView = m_pView.get();
    pWidget->ActualSize();
    const QPoint from = pWidget->ImageToView(QPointF(10.5, 20.5)).toPoint();
    const QPoint to = pWidget->ImageToView(QPointF(40.5, 60.5)).toPoint();

    Drag(pWidget->viewport(), from, to, Qt::ShiftModifier);
    EXPECT_EQ(recorder.Take(), std::vector<const Zarn::CPluginBase*>{pView})
        << "one message for the whole drag";

    Drag(pWidget->viewport(), from, to);
    EXPECT_TRUE(recorder.Take().empty()) << "panning changes no selection";

    QTest::keyClick(pWidget, Qt::Key_Escape);
    EXPECT_EQ(recorder.Take(), std::vector<const Zarn::CPluginBase*>{pView});
    QTest::keyClick(pWidget, Qt::Key_Escape);
    EXPECT_TRUE(recorder.Take().empty()) << "nothing to clear";

    Drag(pWidget->viewport(), from, to, Qt::ShiftModifier);
    recorder.Take();
    ReplaceImage(*m_pDocument, Ramp16(30, 20));
    m_pView->UpdateParameters(DocumentParameters(m_pDocument.get()));
    EXPECT_EQ(recorder.Take(), std::vector<const Zarn::CPluginBase*>{pView})
        << "an image of another size drops the selection";
}

// ---------------------------------------------------------------------------------------------
// Several views of one document

// Two views of one document were both captioned "own16.tif [1]".
TEST_F(ImageViewFixture, SecondViewOfADocumentIsNumberedInCaptionAndTitle)
{
    CImageViewWidget* pFirst = Show(Ramp16(10, 10), "own16.tif", 1);
    CImageViewPlugin second;
    second.Init(nullptr, DocumentParameters(m_pDocument.get()));
    Zarn::CValueMap secondDescription;
    second.Run(secondDescription);

    EXPECT_EQ(StringOf(Describe(), "caption"), "own16.tif [1]");
    EXPECT_EQ(pFirst->windowTitle(), "own16.tif [1]");
    EXPECT_EQ(StringOf(secondDescription, "caption"), "own16.tif [1] (2)");
    EXPECT_EQ(second.Widget()->windowTitle(), "own16.tif [1] (2)");
    EXPECT_EQ(Zarn::ImageDocument::Label(*m_pDocument), "own16.tif") << "the label stays";
    second.DeleteData();
}

// A number stays with its view while it lives; a view made later takes the lowest free one.
TEST_F(ImageViewFixture, ViewNumbersAreKeptWhileTheirViewsLiveAndTheLowestFreeOneIsTaken)
{
    Show(Ramp16(10, 10), "own16.tif", 1);
    auto Caption = [](CImageViewPlugin& view)
    {
        Zarn::CValueMap description;
        view.Run(description);
        return StringOf(description, "caption");
    };
    auto pSecond = std::make_unique<CImageViewPlugin>();
    pSecond->Init(nullptr, DocumentParameters(m_pDocument.get()));
    CImageViewPlugin third;
    third.Init(nullptr, DocumentParameters(m_pDocument.get()));
    EXPECT_EQ(Caption(third), "own16.tif [1] (3)");

    // A new content of the document keeps every view's number.
    ReplaceImage(*m_pDocument, Ramp16(10, 10, 5));
    third.UpdateParameters(DocumentParameters(m_pDocument.get()));
    EXPECT_EQ(Caption(third), "own16.tif [1] (3)");

    pSecond->DeleteData();
    pSecond.reset();
    EXPECT_EQ(Caption(third), "own16.tif [1] (3)");
    CImageViewPlugin fourth;
    fourth.Init(nullptr, DocumentParameters(m_pDocument.get()));
    EXPECT_EQ(Caption(fourth), "own16.tif [1] (2)");

    // Views of another document count on their own.
    std::unique_ptr<Zarn::CValueMap> pOther(MakeDocument(Ramp16(10, 10), "other.tif", 1));
    CImageViewPlugin otherView;
    otherView.Init(nullptr, DocumentParameters(pOther.get()));
    EXPECT_EQ(Caption(otherView), "other.tif [1]");
    otherView.DeleteData();
    fourth.DeleteData();
    third.DeleteData();
}
