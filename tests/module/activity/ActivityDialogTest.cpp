// The busy dialog shown, updated and hidden by the ACTIVITY_ messages.

#include "activity/ActivityDialog.h"
#include "HostException.h"
#include "ModuleEntry.h"
#include "PluginSetupCheck.h"
#include "activity/ActivityDialogPlugin.h"
#include "frame/MessageBoxes.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Log/Logger.h>
#include <Zarn/Message/Message.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QBoxLayout>
#include <QFileInfo>
#include <QFrame>
#include <QImage>
#include <QLabel>
#include <QMainWindow>
#include <QMovie>
#include <QPixmap>
#include <QPointer>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace
{

using Boxes = std::vector<std::pair<std::string, std::string>>;

class CActivityDialogTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_pThreadLogger = std::make_unique<Zarn::CLogger>(&m_threadLogText);
        m_pIds = std::make_unique<Zarn::CMessageIdFactory>();
        m_pThread = std::make_unique<Zarn::CMessageThread>();
        m_pThread->SetLogger(m_pThreadLogger.get());
        m_pThread->SetMessageIdFactory(m_pIds.get());
        Zarn::CRegistry::Obj().SetEntry(
            Zarn::CValue_Key("tmp/messageidfactory"),
            new Zarn::CValuePointer<Zarn::CMessageIdFactory>(m_pIds.get()));
        DocView::SetCriticalMessagePresenter(
            [this](const QString& caption, const QString& text)
            { m_lstBoxes.emplace_back(caption.toStdString(), text.toStdString()); });
    }

    void TearDown() override
    {
        if (m_pPlugin != nullptr)
        {
            m_pThread->Unsubscribe(m_pPlugin.get());
            m_pPlugin.reset();
        }
        m_pThread.reset();
        DocView::SetCriticalMessagePresenter({});
        Zarn::CRegistry::Obj().RemoveEntry(Zarn::CValue_Key("tmp/messageidfactory"));
    }

    // Creates the plug-in by name, runs Init with `parameters` (taken) and subscribes it.
    void Start(Zarn::CValueMap* parameters = nullptr)
    {
        std::unique_ptr<Zarn::CValueMap> pParameters(parameters ? parameters : new Zarn::CValueMap);
        auto* pBase = static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("ActivityDialog"));
        ASSERT_NE(pBase, nullptr);
        m_pPlugin.reset(pBase);
        ASSERT_NE(Plugin(), nullptr);
        m_pPlugin->Init(nullptr, *pParameters);
        m_pThread->Subscribe(m_pPlugin.get());
    }

    CActivityDialogPlugin* Plugin() const
    {
        return dynamic_cast<CActivityDialogPlugin*>(m_pPlugin.get());
    }
    CActivityDialog* Dialog() const { return Plugin()->Dialog(); }
    std::string LabelText() const { return Dialog()->MessageLabel()->text().toStdString(); }

    // Posts `name` with `data` (taken; may be null) and delivers everything queued.
    void Send(const char* name, Zarn::CValue* data = nullptr)
    {
        m_pThread->TakeMessage(
            new Zarn::CMessage(m_pIds->GetMessageId(name), data, Zarn::CMessage::priNormal),
            Zarn::CMessage::mmQueued);
        m_pThread->DeliverUntilIdle();
    }

    void SendUpdate(const char* text)
    {
        auto* pData = new Zarn::CValueMap;
        pData->SetEntry(Zarn::CValue_Key("message"), new Zarn::CValueString(text));
        Send("ACTIVITY_UPDATE", pData);
    }

    // The dialog is visible and its label says `text`.
    void ExpectShownSaying(const char* text)
    {
        EXPECT_TRUE(Dialog()->isVisible());
        EXPECT_EQ(LabelText(), text);
    }

    // What SendUpdate writes to standard output.
    std::string StdoutOfUpdate(const char* text)
    {
        ::testing::internal::CaptureStdout();
        SendUpdate(text);
        return ::testing::internal::GetCapturedStdout();
    }

    void SendAction(const char* action) { Send("ON_ACTION", new Zarn::CValueString(action)); }

    static Zarn::CValueMap* Parameters(const char* message, const char* animation)
    {
        auto* pParameters = new Zarn::CValueMap;
        if (message != nullptr)
        {
            pParameters->SetEntry(Zarn::CValue_Key("message"), new Zarn::CValueString(message));
        }
        if (animation != nullptr)
        {
            pParameters->SetEntry(Zarn::CValue_Key("animation"), new Zarn::CValueString(animation));
        }
        return pParameters;
    }

    std::ostringstream m_threadLogText;
    std::unique_ptr<Zarn::CLogger> m_pThreadLogger;
    std::unique_ptr<Zarn::CMessageIdFactory> m_pIds;
    std::unique_ptr<Zarn::CMessageThread> m_pThread;
    std::unique_ptr<Zarn::CPluginBase> m_pPlugin;
    Boxes m_lstBoxes;
};

} // namespace

TEST_F(CActivityDialogTest, SetupRecordNamesVersionTypeAndSubTypeOnly)
{
    CActivityDialogPlugin plugin;
    DocViewTest::ExpectSetupWithoutNameOrWidget(plugin, "version 1.0.0", "DaemonPlugin",
                                                "ActivityDialog");
}

TEST_F(CActivityDialogTest, NoDialogBeforeInit)
{
    CActivityDialogPlugin plugin;
    EXPECT_EQ(plugin.Dialog(), nullptr);
    EXPECT_EQ(plugin.Message().toStdString(), "Please wait");
}

TEST_F(CActivityDialogTest, InitBuildsAHiddenModalDialogCaptionedWorking)
{
    Start();
    ASSERT_NE(Dialog(), nullptr);
    EXPECT_FALSE(Dialog()->isVisible());
    EXPECT_TRUE(Dialog()->isModal());
    EXPECT_EQ(Dialog()->windowTitle().toStdString(), "Working...");
    EXPECT_TRUE(Dialog()->objectName().isEmpty());
    EXPECT_EQ(LabelText(), "Please wait");
}

TEST_F(CActivityDialogTest, DialogHasTitleAndSystemMenuButNoContextHelp)
{
    Start();
    const Qt::WindowFlags flags = Dialog()->windowFlags();
    EXPECT_EQ(flags & Qt::WindowType_Mask, Qt::Dialog);
    EXPECT_TRUE(flags.testFlag(Qt::WindowTitleHint));
    EXPECT_TRUE(flags.testFlag(Qt::WindowSystemMenuHint));
    EXPECT_FALSE(flags.testFlag(Qt::WindowContextHelpButtonHint));
}

TEST_F(CActivityDialogTest, LayoutIsNamedBaselayoutWithMarginAndSpacingTen)
{
    Start();
    QLayout* pLayout = Dialog()->layout();
    ASSERT_NE(qobject_cast<QVBoxLayout*>(pLayout), nullptr);
    EXPECT_EQ(pLayout->objectName().toStdString(), "baselayout");
    EXPECT_EQ(pLayout->contentsMargins(), QMargins(10, 10, 10, 10));
    EXPECT_EQ(pLayout->spacing(), 10);
}

TEST_F(CActivityDialogTest, ContentsboxHoldsMessageLabelThenAnimationLabelTwentyApart)
{
    Start();
    auto* pBox = Dialog()->findChild<QWidget*>(QStringLiteral("contentsbox"));
    ASSERT_NE(pBox, nullptr);
    EXPECT_EQ(Dialog()->layout()->indexOf(pBox), 0);
    auto* pBoxLayout = qobject_cast<QHBoxLayout*>(pBox->layout());
    ASSERT_NE(pBoxLayout, nullptr);
    EXPECT_EQ(pBoxLayout->spacing(), 20);
    ASSERT_EQ(pBoxLayout->count(), 2);
    EXPECT_EQ(pBoxLayout->itemAt(0)->widget(), Dialog()->MessageLabel());
    EXPECT_EQ(pBoxLayout->itemAt(1)->widget(), Dialog()->AnimationLabel());
}

TEST_F(CActivityDialogTest, DialogSizeIsFixedAtItsSizeHint)
{
    Start(Parameters("Loading", BUSY_ANIMATION_FILE));
    EXPECT_EQ(Dialog()->minimumSize(), Dialog()->sizeHint());
    EXPECT_EQ(Dialog()->maximumSize(), Dialog()->sizeHint());
}

TEST_F(CActivityDialogTest, DialogIsOwnedByTheApplicationMainWindow)
{
    QMainWindow mainWindow;
    mainWindow.show();
    Start();
    EXPECT_EQ(Dialog()->parentWidget(), &mainWindow);
    // The plug-in still owns it: Run destroys it before the window goes.
    Zarn::CValueMap data;
    m_pPlugin->Run(data);
}

TEST_F(CActivityDialogTest, StartShowsTheDialogWithTheMessageGivenToInit)
{
    Start(Parameters("Loading images", nullptr));
    EXPECT_EQ(LabelText(), "Loading images");
    Send("ACTIVITY_START");
    ExpectShownSaying("Loading images");
}

TEST_F(CActivityDialogTest, StopHidesTheDialog)
{
    Start();
    Send("ACTIVITY_START");
    ASSERT_TRUE(Dialog()->isVisible());
    Send("ACTIVITY_STOP");
    EXPECT_FALSE(Dialog()->isVisible());
}

TEST_F(CActivityDialogTest, UpdateWhileHiddenChangesTheTextOfTheNextStart)
{
    Start();
    EXPECT_EQ(StdoutOfUpdate("Counting cells"), "receiving message: Counting cells\n");
    EXPECT_FALSE(Dialog()->isVisible());
    Send("ACTIVITY_START");
    ExpectShownSaying("Counting cells");
}

TEST_F(CActivityDialogTest, UpdateWhileShownChangesTheLabelAtOnce)
{
    Start();
    Send("ACTIVITY_START");
    EXPECT_EQ(StdoutOfUpdate("Step 2 of 3"), "receiving message: Step 2 of 3\n");
    ExpectShownSaying("Step 2 of 3");
}

TEST_F(CActivityDialogTest, StopResetsTheTextToPleaseWaitEvenWhenInitGaveAnother)
{
    Start(Parameters("Loading images", nullptr));
    Send("ACTIVITY_START");
    Send("ACTIVITY_STOP");
    EXPECT_EQ(LabelText(), "Please wait");
    EXPECT_EQ(Plugin()->Message().toStdString(), "Please wait");
    Send("ACTIVITY_START");
    EXPECT_EQ(LabelText(), "Please wait");
}

TEST_F(CActivityDialogTest, StopWhileHiddenAlsoResetsTheText)
{
    Start();
    SendUpdate("Waiting for the camera");
    Send("ACTIVITY_STOP");
    EXPECT_FALSE(Dialog()->isVisible());
    Send("ACTIVITY_START");
    EXPECT_EQ(LabelText(), "Please wait");
}

TEST_F(CActivityDialogTest, TwoStartsAndOneStopLeaveTheDialogHidden)
{
    Start();
    Send("ACTIVITY_START");
    Send("ACTIVITY_START");
    EXPECT_TRUE(Dialog()->isVisible());
    Send("ACTIVITY_STOP");
    EXPECT_FALSE(Dialog()->isVisible());
}

TEST_F(CActivityDialogTest, PopupActivityActionShowsTheDialogWithoutChangingItsText)
{
    Start(Parameters("Loading images", nullptr));
    SendAction("popup_activity");
    ExpectShownSaying("Loading images");
    EXPECT_EQ(Plugin()->Message().toStdString(), "Loading images");
}

TEST_F(CActivityDialogTest, OtherActionsAreIgnored)
{
    Start();
    SendAction("popup_activity ");
    SendAction("Popup_activity");
    SendAction("threshold");
    EXPECT_FALSE(Dialog()->isVisible());
    // The action name must stand directly as the data.
    auto* pData = new Zarn::CValueMap;
    pData->SetEntry(Zarn::CValue_Key("action"), new Zarn::CValueString("popup_activity"));
    Send("ON_ACTION", pData);
    Send("ON_ACTION");
    EXPECT_FALSE(Dialog()->isVisible());
    EXPECT_EQ(m_threadLogText.str(), "");
}

TEST_F(CActivityDialogTest, UpdateWithoutDataOrMessageIsIgnored)
{
    Start(Parameters("Loading images", nullptr));
    ::testing::internal::CaptureStdout();
    Send("ACTIVITY_UPDATE");
    auto* pData = new Zarn::CValueMap;
    pData->SetEntry(Zarn::CValue_Key("text"), new Zarn::CValueString("not the key"));
    Send("ACTIVITY_UPDATE", pData);
    Send("ACTIVITY_UPDATE", new Zarn::CValueString("not a map"));
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(LabelText(), "Loading images");
    EXPECT_EQ(Plugin()->Message().toStdString(), "Loading images");
    EXPECT_EQ(m_threadLogText.str(), "");
}

TEST_F(CActivityDialogTest, OtherMessagesLeaveTheDialogAlone)
{
    Start();
    Send("ACTIVITY_START");
    Send("ADD_DOCUMENT", new Zarn::CValueMap);
    Send("UPDATE_CONTROLS");
    ExpectShownSaying("Please wait");
}

TEST_F(CActivityDialogTest, MapWithoutIdIsIgnored)
{
    Start();
    Zarn::CValueMap message;
    message.SetEntry(Zarn::CValue_Key("data"), new Zarn::CValueString("popup_activity"));
    m_pPlugin->UpdateParameters(message);
    EXPECT_FALSE(Dialog()->isVisible());
}

TEST_F(CActivityDialogTest, MissingAnimationFileIsReportedAndTheDialogStillWorks)
{
    Start(Parameters("Loading images", "/nonexistent/busy.gif"));
    EXPECT_EQ(m_lstBoxes, (Boxes{{"Error...", "Can't find animation file!"}}));
    EXPECT_EQ(Dialog()->Animation(), nullptr);
    EXPECT_EQ(Dialog()->AnimationLabel()->movie(), nullptr);
    Send("ACTIVITY_START");
    ExpectShownSaying("Loading images");
    Send("ACTIVITY_STOP");
    EXPECT_FALSE(Dialog()->isVisible());
}

TEST_F(CActivityDialogTest, EmptyAnimationPathIsReportedAsMissing)
{
    Start(Parameters(nullptr, ""));
    EXPECT_EQ(m_lstBoxes, (Boxes{{"Error...", "Can't find animation file!"}}));
    EXPECT_EQ(Dialog()->Animation(), nullptr);
}

TEST_F(CActivityDialogTest, NoAnimationGivenMeansNoBoxAndNoAnimation)
{
    Start();
    EXPECT_TRUE(m_lstBoxes.empty());
    EXPECT_EQ(Dialog()->Animation(), nullptr);
}

TEST_F(CActivityDialogTest, AnimationLabelIsASunkenBlackPanelSizedFromTheMovie)
{
    Start(Parameters(nullptr, BUSY_ANIMATION_FILE));
    EXPECT_TRUE(m_lstBoxes.empty());
    QMovie* pMovie = Dialog()->Animation();
    ASSERT_NE(pMovie, nullptr);
    EXPECT_TRUE(pMovie->isValid());
    QLabel* pLabel = Dialog()->AnimationLabel();
    EXPECT_EQ(pLabel->movie(), pMovie);
    EXPECT_TRUE(pLabel->hasScaledContents());
    EXPECT_EQ(pLabel->frameStyle(), 51);
    EXPECT_EQ(pLabel->frameShape(), QFrame::WinPanel);
    EXPECT_EQ(pLabel->frameShadow(), QFrame::Sunken);
    EXPECT_EQ(pLabel->size(), pMovie->frameRect().size());
    EXPECT_EQ(pLabel->size(), QSize(32, 32));
    EXPECT_TRUE(pLabel->autoFillBackground());
    EXPECT_EQ(pLabel->palette().color(QPalette::Window), QColor(Qt::black));
}

TEST_F(CActivityDialogTest, AnimationPlaysOnlyWhileTheDialogIsShown)
{
    Start(Parameters(nullptr, BUSY_ANIMATION_FILE));
    QMovie* pMovie = Dialog()->Animation();
    ASSERT_NE(pMovie, nullptr);
    EXPECT_NE(pMovie->state(), QMovie::Running);
    Send("ACTIVITY_START");
    EXPECT_EQ(pMovie->state(), QMovie::Running);
    Send("ACTIVITY_STOP");
    EXPECT_EQ(pMovie->state(), QMovie::NotRunning);
}

TEST(BusyAnimation, IsAnEndlessGifOfEightSpinningFrames)
{
    QMovie movie(QStringLiteral(BUSY_ANIMATION_FILE));
    ASSERT_TRUE(movie.isValid());
    EXPECT_EQ(movie.format(), QByteArray("gif"));
    EXPECT_EQ(movie.frameCount(), 8);
    EXPECT_EQ(movie.loopCount(), -1);
    std::vector<QImage> frames;
    for (int nFrame = 0; nFrame < movie.frameCount(); ++nFrame)
    {
        ASSERT_TRUE(movie.jumpToFrame(nFrame));
        frames.push_back(movie.currentImage());
        EXPECT_EQ(frames.back().size(), QSize(32, 32));
        EXPECT_GE(movie.nextFrameDelay(), 100);
    }
    // The middle stays black; the bright dot starts at the top and moves on clockwise.
    EXPECT_EQ(frames[0].pixelColor(15, 15), QColor(Qt::black));
    EXPECT_EQ(frames[0].pixelColor(15, 5), QColor(Qt::white));
    EXPECT_EQ(frames[2].pixelColor(26, 15), QColor(Qt::white));
    EXPECT_LT(frames[2].pixelColor(15, 5).lightness(), 255);
    EXPECT_LT(frames[0].pixelColor(26, 15).lightness(), frames[2].pixelColor(26, 15).lightness());
}

TEST_F(CActivityDialogTest, RunDestroysTheDialog)
{
    Start();
    QPointer<CActivityDialog> pDialog = Dialog();
    ASSERT_FALSE(pDialog.isNull());
    Zarn::CValueMap data;
    data.SetEntry(Zarn::CValue_Key("unused"), new Zarn::CValueLong(1));
    m_pPlugin->Run(data);
    EXPECT_TRUE(pDialog.isNull());
    EXPECT_EQ(Plugin()->Dialog(), nullptr);
    EXPECT_EQ(data.Size(), 1u);
}

TEST_F(CActivityDialogTest, InitWithoutIdFactoryFailsNamingInit)
{
    Zarn::CRegistry::Obj().RemoveEntry(Zarn::CValue_Key("tmp/messageidfactory"));
    CActivityDialogPlugin plugin;
    Zarn::CValueMap parameters;
    DocViewTest::ExpectHostExceptionFrom([&] { plugin.Init(nullptr, parameters); },
                                         "CActivityDialogPlugin::Init - ");
    EXPECT_EQ(plugin.Dialog(), nullptr);
}

TEST_F(CActivityDialogTest, HostErrorInUpdateParametersIsRethrownNamingTheOperation)
{
    Start();
    // A map where the text belongs cannot be read as one.
    auto* pData = new Zarn::CValueMap;
    pData->SetEntry(Zarn::CValue_Key("message"), new Zarn::CValueMap);
    Zarn::CValueMap message;
    message.SetEntry(Zarn::CValue_Key("id"),
                     new Zarn::CValueLong(m_pIds->GetMessageId("ACTIVITY_UPDATE")));
    message.SetEntry(Zarn::CValue_Key("data"), pData);
    DocViewTest::ExpectHostExceptionFrom([&] { m_pPlugin->UpdateParameters(message); },
                                         "CActivityDialogPlugin::UpdateParameters - ");
    // Delivered by the thread, the same failure is logged and the dialog goes on working.
    auto* pBadData = new Zarn::CValueMap;
    pBadData->SetEntry(Zarn::CValue_Key("message"), new Zarn::CValueMap);
    Send("ACTIVITY_UPDATE", pBadData);
    EXPECT_NE(m_threadLogText.str().find("CActivityDialogPlugin::UpdateParameters - "),
              std::string::npos)
        << m_threadLogText.str();
    Send("ACTIVITY_START");
    EXPECT_TRUE(Dialog()->isVisible());
}

namespace
{
// Runs `body` through the update wrapper and checks the CException it turns the throw into:
// the function it names and its text.
void ExpectWrappedUpdateError(const std::function<void()>& body, const std::string& strFunction,
                              const char* pszWhat)
{
    try
    {
        RunWrappedActivityUpdate(body);
        FAIL() << "nothing thrown";
    }
    catch (const Zarn::CException& error)
    {
        EXPECT_EQ(error.Entry(Zarn::CValue_Key("Function"))->String().StdString(), strFunction);
        EXPECT_STREQ(error.what(), pszWhat);
    }
}
} // namespace

TEST(ActivityUpdateErrors, StandardExceptionKeepsItsBareText)
{
    ExpectWrappedUpdateError([] { throw std::runtime_error("bad size"); },
                             "CActivityDialogPlugin::UpdateParameters", "bad size");
}

TEST(ActivityUpdateErrors, UnknownExceptionReadsUnknownSpeltRight)
{
    ExpectWrappedUpdateError([] { throw 42; }, "CActivityDialogPlugin::UpdateParameters",
                             "UNKNOWN EXCEPTION!");
}

TEST_F(CActivityDialogTest, ShownDialogCanBeCapturedAsAPicture)
{
    Start(Parameters("Processing image stack", BUSY_ANIMATION_FILE));
    Send("ACTIVITY_START");
    ASSERT_TRUE(Dialog()->isVisible());
    Dialog()->Animation()->jumpToFrame(0);
    const QPixmap picture = Dialog()->grab();
    EXPECT_EQ(picture.size(), Dialog()->size());
    const QString strFile = QStringLiteral(SCREENSHOT_DIR "/activity-dialog.png");
    ASSERT_TRUE(picture.save(strFile, "PNG"));
    EXPECT_TRUE(QFileInfo::exists(strFile));
    // The animation's first frame shows its bright top dot inside the sunken panel.
    const QImage image = picture.toImage();
    const QPoint animationOrigin = Dialog()->AnimationLabel()->mapTo(Dialog(), QPoint(0, 0));
    EXPECT_GT(image.pixelColor(animationOrigin + QPoint(15, 5)).lightness(), 200);
    EXPECT_EQ(image.pixelColor(animationOrigin + QPoint(15, 15)), QColor(Qt::black));
}
