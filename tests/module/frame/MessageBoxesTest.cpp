// The module's dialogs (the busy dialog, the error boxes) are shown over the application's main
// window, never over whichever window happens to be active.

#include "frame/MessageBoxes.h"
#include "ModuleEntry.h"
#include "activity/ActivityDialog.h"
#include "activity/ActivityDialogPlugin.h"

#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QApplication>
#include <QMainWindow>
#include <QMessageBox>
#include <QPointer>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

#include <memory>

namespace
{

class MessageBoxes : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_pIds = std::make_unique<Zarn::CMessageIdFactory>();
        Zarn::CRegistry::Obj().SetEntry(
            Zarn::CValue_Key("tmp/messageidfactory"),
            new Zarn::CValuePointer<Zarn::CMessageIdFactory>(m_pIds.get()));
    }

    void TearDown() override
    {
        Zarn::CRegistry::Obj().RemoveEntry(Zarn::CValue_Key("tmp/messageidfactory"));
    }

    // An activity dialog plug-in after its Init.
    std::unique_ptr<Zarn::CPluginBase> StartActivityDialog()
    {
        std::unique_ptr<Zarn::CPluginBase> pPlugin(
            static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("ActivityDialog")));
        pPlugin->Init(nullptr, Zarn::CValueMap());
        return pPlugin;
    }

    static CActivityDialog* DialogOf(const std::unique_ptr<Zarn::CPluginBase>& plugin)
    {
        return dynamic_cast<CActivityDialogPlugin*>(plugin.get())->Dialog();
    }

    void Send(Zarn::CPluginBase* plugin, const char* name)
    {
        Zarn::CValueMap message;
        message.SetEntry(Zarn::CValue_Key("id"), new Zarn::CValueLong(m_pIds->GetMessageId(name)));
        plugin->UpdateParameters(message);
    }

    // Shows a real critical box and answers it as soon as it is up; the box's parent.
    static QWidget* ParentOfShownBox()
    {
        QPointer<QWidget> pParent;
        bool bFound = false;
        QTimer timer;
        QObject::connect(&timer, &QTimer::timeout,
                         [&]
                         {
                             for (QWidget* pWidget : QApplication::topLevelWidgets())
                             {
                                 auto* pBox = qobject_cast<QMessageBox*>(pWidget);
                                 if (pBox != nullptr && pBox->isVisible())
                                 {
                                     pParent = pBox->parentWidget();
                                     bFound = true;
                                     pBox->done(QMessageBox::Ok);
                                     timer.stop();
                                 }
                             }
                         });
        timer.start(10);
        DocView::ShowCriticalMessage(QStringLiteral("Plugin Error"), QStringLiteral("broken"));
        EXPECT_TRUE(bFound);
        return pParent.data();
    }

    std::unique_ptr<Zarn::CMessageIdFactory> m_pIds;
};

} // namespace

// The plug-ins are set up while the main window is being built, before it shows: the busy dialog
// becomes the main window's child all the same.
TEST_F(MessageBoxes, BusyDialogMadeBeforeTheMainWindowShowsIsTheMainWindowsChild)
{
    QMainWindow window;
    std::unique_ptr<Zarn::CPluginBase> pActivity = StartActivityDialog();
    ASSERT_NE(DialogOf(pActivity), nullptr);
    EXPECT_EQ(DialogOf(pActivity)->parentWidget(), &window);
    EXPECT_EQ(DocView::ApplicationMainWidget(), &window);
}

// While the busy dialog is up and is the active window, an error box and a busy dialog made then
// are children of the main window, not of the busy dialog.
TEST_F(MessageBoxes, ErrorBoxShownWhileTheBusyDialogIsActiveIsAChildOfTheMainWindow)
{
    QMainWindow window;
    window.resize(400, 300);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    std::unique_ptr<Zarn::CPluginBase> pActivity = StartActivityDialog();
    CActivityDialog* pDialog = DialogOf(pActivity);
    ASSERT_NE(pDialog, nullptr);
    EXPECT_EQ(pDialog->parentWidget(), &window);

    Send(pActivity.get(), "ACTIVITY_START");
    ASSERT_TRUE(pDialog->isVisible());
    pDialog->activateWindow();
    ASSERT_TRUE(QTest::qWaitFor([pDialog] { return QApplication::activeWindow() == pDialog; }));

    EXPECT_EQ(ParentOfShownBox(), &window);
    std::unique_ptr<Zarn::CPluginBase> pSecond = StartActivityDialog();
    EXPECT_EQ(DialogOf(pSecond)->parentWidget(), &window);
    Send(pActivity.get(), "ACTIVITY_STOP");
}

// Without any main window the first visible plain window is the parent, never a dialog.
TEST_F(MessageBoxes, WithoutMainWindowAVisibleDialogIsNeverTheParent)
{
    QWidget plain;
    plain.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&plain));
    QDialog dialog;
    dialog.show();
    dialog.activateWindow();
    ASSERT_TRUE(QTest::qWaitFor([&dialog] { return QApplication::activeWindow() == &dialog; }));
    EXPECT_EQ(DocView::ApplicationMainWidget(), &plain);
    EXPECT_EQ(ParentOfShownBox(), &plain);
}
