// The image view inside the real repository: both plug-ins are loaded by name from the built
// modules, documents and actions travel through the real communication thread, and the views are
// seen only through the plug-in contract and their widgets, as the containers see them.

#include "ImageViewTestSupport.h"
#include "MessageRecorder.h"
#include "TestHost.h"
#include "ValueReading.h"

#include <Zarn/Log/Logger.h>
#include <Zarn/Message/Message.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/TypeInfo.h>

#include <QAbstractScrollArea>
#include <QCoreApplication>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

using namespace ImageViewTest;

namespace
{

const char* const kInheritSettings = "main/globalsettings/repository/inheritateSettings";

// Left half `left`, right half `right`.
Zarn::CImage* Halves(std::uint16_t left, std::uint16_t right)
{
    return MakeImage16(
        64, 64, [left, right](std::uint32_t x, std::uint32_t) { return x < 32 ? left : right; });
}

class ImageViewFlow : public DocViewTest::CHostFixture
{
protected:
    static void SetUpTestSuite()
    {
        // Read by the loader when it is first used.
        setenv(Zarn::CPluginLoader::kSearchPathVariable, MODULE_DIR, 1);
    }

    void SetUp() override
    {
        ASSERT_TRUE(m_cacheDir.isValid());
        setenv("XDG_CACHE_HOME", m_cacheDir.path().toUtf8().constData(), 1);

        m_pRepository.reset(Zarn::GetNewPluginInstance("Repository"));
        ASSERT_NE(m_pRepository, nullptr) << "no Repository in " << MODULE_DIR;
        auto* pViews = new Zarn::CValueVector;
        pViews->PushBack(
            DocViewTest::MapOf({{"factory", new Zarn::CValueString("ImageViewFactory")},
                                {"autocreate", new Zarn::CValueBool(true)},
                                {"action", new Zarn::CValueString("new_view")}}));
        Zarn::CValueMap parameters;
        parameters.SetEntry(Zarn::CValue_Key("name"), new Zarn::CValueString("ImageRepository"));
        parameters.SetEntry(Zarn::CValue_Key("views"), pViews);
        m_pRepository->Init(nullptr, parameters);
        ASSERT_NE(m_logText.str().find("ImageViewFactory loaded."), std::string::npos)
            << m_logText.str();

        m_pRecorder = std::make_unique<DocViewTest::CMessageRecorder>(m_pIds.get());
        m_pThread->Subscribe(m_pRecorder.get());
        m_pThread->Subscribe(m_pRepository.get());
    }

    void TearDown() override
    {
        EXPECT_EQ(m_threadLogText.str(), "") << "a plug-in threw while a message was delivered";
        if (m_pToolbox != nullptr)
        {
            m_pThread->Unsubscribe(m_pToolbox.get());
            m_pToolbox->DeleteData();
            m_pToolbox.reset();
        }
        if (m_pRepository != nullptr)
        {
            m_pThread->Unsubscribe(m_pRepository.get());
            m_pRepository->DeleteData();
            m_pRepository.reset();
        }
        if (m_pRecorder != nullptr)
        {
            m_pThread->Unsubscribe(m_pRecorder.get());
        }
        QCoreApplication::processEvents();
        Zarn::CRegistry::Obj().RemoveEntry(Zarn::CValue_Key(kInheritSettings));
        DocViewTest::CHostFixture::TearDown();
        unsetenv("XDG_CACHE_HOME");
    }

    // Posts and delivers.
    void Post(const char* name, Zarn::CValue* data)
    {
        DocViewTest::CTestHost::Post(name, data);
        Deliver();
    }

    void Deliver()
    {
        for (int nRound = 0; nRound < 10 && m_pThread->DeliverUntilIdle() != 0; ++nRound)
        {
            QCoreApplication::processEvents();
        }
    }

    // The real toolbox with the image tools' Crop, subscribed after the repository.
    void StartToolboxWithCrop()
    {
        m_pToolbox.reset(Zarn::GetNewPluginInstance("Toolbox"));
        ASSERT_NE(m_pToolbox, nullptr) << "no Toolbox in " << MODULE_DIR;
        auto* pTools = new Zarn::CValueVector;
        pTools->PushBack(DocViewTest::MapOf({{"plugin", new Zarn::CValueString("Crop")},
                                             {"callaction", new Zarn::CValueString("crop")},
                                             {"threaded", new Zarn::CValueBool(false)}}));
        Zarn::CValueMap parameters;
        parameters.SetEntry(Zarn::CValue_Key("tool plugins"), pTools);
        m_pToolbox->Init(nullptr, parameters);
        m_pThread->Subscribe(m_pToolbox.get());
    }

    // Hands the document to the repository, which owns it from then on.
    Zarn::CValueMap* AddDocument(Zarn::CImage* image, const char* label)
    {
        Zarn::CValueMap* pDocument = Zarn::ImageDocument::Create(image, label);
        Post("ADD_DOCUMENT", new Zarn::CValuePointer<Zarn::CValueMap>(pDocument));
        return pDocument;
    }

    // With the inherit setting as given, adds the halves image as "cells.png" and zooms its one
    // view to 100 % (key 1) and then `nZoomIns` steps in (key +): that view's widget, shown.
    void ShowZoomedHalves(bool bInherit, int nZoomIns, QWidget*& pWidget)
    {
        SetInheritSettings(bInherit);
        AddDocument(Halves(0, 1000), "cells.png");
        ASSERT_EQ(Views().size(), 1u);
        pWidget = ShownWidget(Views()[0]);
        QTest::keyClick(pWidget, Qt::Key_1);
        for (int i = 0; i < nZoomIns; ++i)
        {
            QTest::keyClick(pWidget, Qt::Key_Plus);
        }
    }

    // File > New View on the one document: the widget of its second view, shown.
    void ShowSecondView(QWidget*& pWidget)
    {
        Post("ON_ACTION", new Zarn::CValueString("new_view"));
        ASSERT_EQ(Views().size(), 2u);
        pWidget = ShownWidget(Views()[1]);
    }

    void SetInheritSettings(bool bInherit)
    {
        Zarn::CRegistry::Obj().SetEntry(Zarn::CValue_Key(kInheritSettings),
                                        new Zarn::CValueBool(bInherit));
    }

    // Every view that NEW_VIEW announced, in order.
    std::vector<Zarn::CPluginBase*> Views() const
    {
        std::vector<Zarn::CPluginBase*> lstViews;
        for (const DocViewTest::SRecordedMessage& record : m_pRecorder->Named("NEW_VIEW"))
        {
            lstViews.push_back(
                static_cast<Zarn::CPluginBase*>(const_cast<void*>(record.m_pPointee)));
        }
        return lstViews;
    }

    // The "crop" entry of every UPDATE_CONTROLS that names it, in order.
    std::vector<bool> CropStates() const
    {
        std::vector<bool> lstCrop;
        for (const DocViewTest::SRecordedMessage& record : m_pRecorder->Named("UPDATE_CONTROLS"))
        {
            if (record.m_data.HasEntry(Zarn::CValue_Key("crop")))
            {
                lstCrop.push_back(record.m_data.EntryBool(Zarn::CValue_Key("crop")));
            }
        }
        return lstCrop;
    }

    static Zarn::CValueMap Describe(Zarn::CPluginBase* view)
    {
        Zarn::CValueMap description;
        view->Run(description);
        return description;
    }

    // The view's widget, shown at a fixed size as a container would show it.
    static QWidget* ShownWidget(Zarn::CPluginBase* view)
    {
        Zarn::CValueMap setup;
        view->GetPluginSetup(setup);
        auto* pWidget = const_cast<QWidget*>(
            Zarn::UnwrapPointer<QWidget>(setup.Entry(Zarn::CValue_Key("WidgetPtr"), true)));
        if (pWidget != nullptr && !pWidget->isVisible())
        {
            pWidget->setParent(nullptr);
            pWidget->resize(200, 200);
            pWidget->show();
            EXPECT_TRUE(QTest::qWaitForWindowExposed(pWidget));
        }
        return pWidget;
    }

    // Grey level of the widget a third of the way across, half way down: inside the left half of
    // a square image fitted into the square widget.
    static int GreyLeftOfCentre(QWidget* widget)
    {
        const QImage grabbed = widget->grab().toImage();
        return qGray(grabbed.pixel(grabbed.width() / 3, grabbed.height() / 2));
    }

    QTemporaryDir m_cacheDir;
    std::unique_ptr<Zarn::CPluginBase> m_pRepository;
    // Subscribed before the repository.
    std::unique_ptr<DocViewTest::CMessageRecorder> m_pRecorder;
    std::unique_ptr<Zarn::CPluginBase> m_pToolbox;
};

} // namespace

TEST_F(ImageViewFlow, AddedDocumentGetsOneImageViewAndTheActionASecond)
{
    Zarn::CValueMap* pDocument = AddDocument(Halves(0, 1000), "cells.png");
    ASSERT_EQ(Views().size(), 1u);
    Zarn::CValueMap setup;
    Views()[0]->GetPluginSetup(setup);
    EXPECT_EQ(setup.EntryString(Zarn::CValue_Key("PluginSubType")).StdString(), "ImageView");
    const Zarn::CValueMap first = Describe(Views()[0]);
    EXPECT_EQ(first.EntryString(Zarn::CValue_Key("caption")).StdString(), "cells.png [1]");
    EXPECT_EQ(first.EntryString(Zarn::CValue_Key("description")).StdString(),
              "64 x 64, uint16, 1 channel");
    EXPECT_EQ(Zarn::UnwrapPointer<Zarn::CValueMap>(first.Entry(Zarn::CValue_Key("document"), true)),
              pDocument);

    Post("ON_ACTION", new Zarn::CValueString("new_view"));
    ASSERT_EQ(Views().size(), 2u);
    EXPECT_NE(Views()[0], Views()[1]);
    const Zarn::CValueMap second = Describe(Views()[1]);
    EXPECT_EQ(
        Zarn::UnwrapPointer<Zarn::CValueMap>(second.Entry(Zarn::CValue_Key("document"), true)),
        pDocument);
    EXPECT_NE(second.EntryString(Zarn::CValue_Key("icon")).StdString(),
              first.EntryString(Zarn::CValue_Key("icon")).StdString())
        << "each view writes its own thumbnail";
}

TEST_F(ImageViewFlow, NewViewInheritsZoomOfTheActiveViewWhenTheSettingIsOn)
{
    QWidget* pFirst = nullptr;
    ASSERT_NO_FATAL_FAILURE(ShowZoomedHalves(true, 2, pFirst));
    ASSERT_DOUBLE_EQ(pFirst->property("zoom").toDouble(), 1.5625);

    QWidget* pSecond = nullptr;
    ASSERT_NO_FATAL_FAILURE(ShowSecondView(pSecond));
    EXPECT_DOUBLE_EQ(pSecond->property("zoom").toDouble(), 1.5625);
    EXPECT_FALSE(pSecond->property("fit").toBool());
}

TEST_F(ImageViewFlow, NewViewStartsFittedWhenTheSettingIsOff)
{
    QWidget* pFirst = nullptr;
    ASSERT_NO_FATAL_FAILURE(ShowZoomedHalves(false, 1, pFirst));

    QWidget* pSecond = nullptr;
    ASSERT_NO_FATAL_FAILURE(ShowSecondView(pSecond));
    EXPECT_TRUE(pSecond->property("fit").toBool());
    EXPECT_NE(pSecond->property("zoom").toDouble(), 1.25);
}

TEST_F(ImageViewFlow, BothViewsOfADocumentShowItsNewContentAfterAnUpdate)
{
    Zarn::CValueMap* pDocument = AddDocument(Halves(0, 1000), "cells.png");
    Post("ON_ACTION", new Zarn::CValueString("new_view"));
    ASSERT_EQ(Views().size(), 2u);
    QWidget* pFirst = ShownWidget(Views()[0]);
    QWidget* pSecond = ShownWidget(Views()[1]);
    EXPECT_EQ(GreyLeftOfCentre(pFirst), 0);
    EXPECT_EQ(GreyLeftOfCentre(pSecond), 0);

    ReplaceImage(*pDocument, Halves(1000, 0));
    Post("UPDATE_DOCUMENT", new Zarn::CValuePointer<Zarn::CValueMap>(pDocument));
    EXPECT_EQ(GreyLeftOfCentre(pFirst), 255);
    EXPECT_EQ(GreyLeftOfCentre(pSecond), 255);
}

TEST_F(ImageViewFlow, ModuleCreatesBothPlugInsByName)
{
    std::unique_ptr<Zarn::CPluginBase> pFactory(Zarn::GetNewPluginInstance("ImageViewFactory"));
    ASSERT_NE(pFactory, nullptr);
    Zarn::CValueMap factorySetup;
    pFactory->GetPluginSetup(factorySetup);
    EXPECT_EQ(factorySetup.EntryString(Zarn::CValue_Key("PluginType")).StdString(), "ViewFactory");

    std::unique_ptr<Zarn::CPluginBase> pView(Zarn::GetNewPluginInstance("ImageView"));
    ASSERT_NE(pView, nullptr);
    Zarn::CValueMap viewSetup;
    pView->GetPluginSetup(viewSetup);
    EXPECT_EQ(viewSetup.EntryString(Zarn::CValue_Key("PluginType")).StdString(), "QtWidget");
    EXPECT_NE(Zarn::UnwrapPointer<QWidget>(viewSetup.Entry(Zarn::CValue_Key("WidgetPtr"), true)),
              nullptr);
    pView->DeleteData();
    EXPECT_EQ(Zarn::GetNewPluginInstance("ImageViewer"), nullptr);
}

// The Views list and the window titles could not tell two views of one document apart.
TEST_F(ImageViewFlow, SecondViewOfADocumentIsCaptionedWithItsNumber)
{
    Zarn::CValueMap* pDocument = AddDocument(Halves(0, 1000), "own16.tif");
    Post("ON_ACTION", new Zarn::CValueString("new_view"));
    ASSERT_EQ(Views().size(), 2u);
    EXPECT_EQ(Describe(Views()[0]).EntryString(Zarn::CValue_Key("caption")).StdString(),
              "own16.tif [1]");
    EXPECT_EQ(Describe(Views()[1]).EntryString(Zarn::CValue_Key("caption")).StdString(),
              "own16.tif [1] (2)");
    EXPECT_EQ(ShownWidget(Views()[0])->windowTitle(), "own16.tif [1]");
    EXPECT_EQ(ShownWidget(Views()[1])->windowTitle(), "own16.tif [1] (2)");
    EXPECT_EQ(Zarn::ImageDocument::Label(*pDocument), "own16.tif");
}

// Crop to Selection stayed greyed after a Shift+drag until the view was left and entered again.
TEST_F(ImageViewFlow, CropIsEnabledRightAfterASelectionIsMadeAndDisabledWhenItIsCleared)
{
    StartToolboxWithCrop();
    AddDocument(Halves(0, 1000), "cells.png");
    ASSERT_EQ(Views().size(), 1u);
    EXPECT_TRUE(CropStates().empty()) << "nothing to crop to yet";

    auto* pWidget = qobject_cast<QAbstractScrollArea*>(ShownWidget(Views()[0]));
    ASSERT_NE(pWidget, nullptr);
    const QPoint centre = pWidget->viewport()->rect().center();
    Drag(pWidget->viewport(), centre - QPoint(30, 30), centre + QPoint(30, 30), Qt::ShiftModifier);
    Deliver();
    EXPECT_EQ(CropStates(), std::vector<bool>{true});

    QTest::keyClick(pWidget, Qt::Key_Escape);
    Deliver();
    EXPECT_EQ(CropStates(), (std::vector<bool>{true, false}));
}
