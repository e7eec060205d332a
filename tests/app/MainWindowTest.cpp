#include "MainWindow.h"
#include "AppTestPlugins.h"
#include "MessageJournalDock.h"

#include <Zarn/Image/ImageDocument.h>
#include <Zarn/Image/ImageFile.h>
#include <Zarn/Serial/JsonValueFile.h>

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QDropEvent>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QFileInfo>
#include <QInputDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QMimeData>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTimer>
#include <QUrl>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>

namespace
{

const char* const kConfig = R"({"plugins": [
    {"id": "panel", "plugin": "TestPanel", "parameters": {"name": "panel"}},
    {"id": "side", "plugin": "TestPanel", "parameters": {"name": "side"}}],
  "window": {"title": "test window", "central": "panel",
    "docks": [{"plugin": "side", "title": "Side"}],
    "menus": [{"title": "&File", "items": [
        {"action": "open", "text": "&Open"},
        {"configure": "blur", "text": "Blur settings"},
        {"command": "quit", "text": "&Quit"}]},
        {"title": "&Tools", "items": [
        {"action": "popup_activity", "text": "Show &Activity", "enabled": true},
        {"command": "record", "text": "&Record"},
        {"command": "save_recording", "text": "Save Recording"}]}],
    "toolbars": [{"title": "Main", "items": [{"action": "open"}]}]}})";

// Runs the event loop until the condition holds (or 5 s passed).
bool Until(const std::function<bool()>& condition)
{
    QElapsedTimer clock;
    clock.start();
    while (!condition() && clock.elapsed() < 5000)
    {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return condition();
}

// Lets the messages posted so far reach the window.
void Settle()
{
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < 100)
    {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
}

// The data of ACTIVITY_START, or of the ACTIVITY_STOP of a run on the GUI thread or of a thread
// that could not start: {"action": name}.
Zarn::CValueMap* ActionData(const char* action)
{
    auto* pData = new Zarn::CValueMap;
    pData->SetEntry(Zarn::CValue_Key("action"), new Zarn::CValueString(action));
    return pData;
}

// The data of the ACTIVITY_STOP a tool thread posts: its output with "toolthread".
Zarn::CValueMap* ThreadStopData()
{
    auto* pData = new Zarn::CValueMap;
    pData->SetEntry(Zarn::CValue_Key("toolthread"),
                    new Zarn::CValuePointer<Zarn::CValueMap>(nullptr));
    return pData;
}

// A view as the repository announces it: its description names its document.
class CDocumentView : public Zarn::CPluginBase
{
public:
    CDocumentView(Zarn::CValueMap& document, const char* caption)
        : m_document(document), m_szCaption(caption)
    {
    }
    void Run(Zarn::CValueMap& data) override
    {
        data.SetEntry(Zarn::CValue_Key("caption"), new Zarn::CValueString(m_szCaption));
        data.SetEntry(Zarn::CValue_Key("document"),
                      new Zarn::CValuePointer<Zarn::CValueMap>(&m_document));
    }

private:
    Zarn::CValueMap& m_document;
    const char* m_szCaption;
};

// Clicks a button of the next question box as soon as it is open, and keeps its texts.
struct SAnswer
{
    QString m_strTitle;
    QString m_strText;
    QString m_strInformative;

    void Click(QMessageBox::StandardButton button)
    {
        QTimer::singleShot(20, [this, button]() { Poll(button); });
    }

private:
    void Poll(QMessageBox::StandardButton button)
    {
        auto* pBox = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (pBox == nullptr)
        {
            QTimer::singleShot(20, [this, button]() { Poll(button); });
            return;
        }
        m_strTitle = pBox->windowTitle();
        m_strText = pBox->text();
        m_strInformative = pBox->informativeText();
        pBox->button(button)->click();
    }
};

class MainWindow : public testing::Test
{
protected:
    void SetUp() override
    {
        AppTest::RegisterTestPlugins();
        AppTest::Journal() = {};
        const QString strPath = m_folder.filePath("app.json");
        std::ofstream(strPath.toStdString()) << kConfig;
        m_pConfig = CApplicationConfig::Load(strPath, "/app");
        m_pSession = std::make_unique<CHostSession>(*m_pConfig);
        m_pWindow = std::make_unique<CMainWindow>(*m_pConfig, *m_pSession);
        m_pWindow->show();
    }

    void TearDown() override
    {
        m_pWindow.reset();
        m_pSession.reset();
        EXPECT_EQ(AppTest::Journal().m_nAlive, 0);
    }

    // An unsaved image document announced to the window; the test owns it.
    Zarn::CValueMap* AnnounceDocument(const std::string& label,
                                      const std::string& path = std::string())
    {
        auto* pImage =
            new Zarn::CImage(Zarn::CSize(8, 6), Zarn::IImage::CType(Zarn::IImage::etUInt8));
        m_lstDocuments.emplace_back(Zarn::ImageDocument::Create(pImage, label, path));
        Zarn::CValueMap* pDocument = m_lstDocuments.back().get();
        if (!path.empty())
        {
            pDocument->RemoveEntry("is_saved/image"); // a file, but changed since
        }
        m_pSession->Post("NEW_DOCUMENT", new Zarn::CValuePointer<Zarn::CValueMap>(pDocument));
        EXPECT_TRUE(Until(
            [&]() { return m_pWindow->Documents().Documents().size() == m_lstDocuments.size(); }));
        return pDocument;
    }

    // A document a tool made from the source (its step and chain as the image tools write them),
    // announced to the window; the test owns it.
    Zarn::CValueMap* AnnounceStep(const std::string& label, const std::string& plugin,
                                  const Zarn::CValueMap* pSource)
    {
        Zarn::CValueMap parameters;
        parameters.SetEntry(Zarn::CValue_Key("sigma"), new Zarn::CValueDouble(2.0));
        auto* pImage =
            new Zarn::CImage(Zarn::CSize(4, 4), Zarn::IImage::CType(Zarn::IImage::etUInt8));
        m_lstDocuments.emplace_back(Zarn::ImageDocument::Create(pImage, label));
        Zarn::ImageDocument::SetProcessStep(*m_lstDocuments.back(), plugin, parameters, pSource);
        m_pSession->Post("NEW_DOCUMENT",
                         new Zarn::CValuePointer<Zarn::CValueMap>(m_lstDocuments.back().get()));
        const size_t uCount = m_lstDocuments.size();
        EXPECT_TRUE(Until([&]() { return m_pWindow->Documents().Documents().size() == uCount; }));
        return m_lstDocuments.back().get();
    }

    // The "plugin" of every step of a saved process description.
    static std::vector<std::string> SavedPlugins(const QString& path)
    {
        std::vector<std::string> lstPlugins;
        std::unique_ptr<Zarn::CValue> pSaved(Zarn::CJsonValueFile::ReadFile(path.toStdString()));
        const Zarn::CValueVector* pProcess =
            pSaved->Map()->Entry(Zarn::CValue_Key("process"), true)->Vector();
        for (unsigned int i = 0; i < pProcess->Size(); ++i)
        {
            lstPlugins.push_back(pProcess->Entry(Zarn::CValue_Key(i), true)
                                     ->Map()
                                     ->EntryString(Zarn::CValue_Key("plugin"))
                                     .StdString());
        }
        return lstPlugins;
    }

    QTemporaryDir m_folder;
    std::unique_ptr<CApplicationConfig> m_pConfig;
    std::unique_ptr<CHostSession> m_pSession;
    std::unique_ptr<CMainWindow> m_pWindow;
    std::vector<std::unique_ptr<Zarn::CValueMap>> m_lstDocuments;
};

TEST_F(MainWindow, PluginWidgetsAreTheCentralWidgetAndTheDock)
{
    ASSERT_NE(m_pWindow->centralWidget(), nullptr);
    EXPECT_EQ(m_pWindow->centralWidget()->objectName(), "panel");
    EXPECT_NE(m_pWindow->findChild<QWidget*>("side"), nullptr);
    EXPECT_EQ(m_pWindow->windowTitle(), "test window[*]"); // [*] marks unsaved documents
}

TEST_F(MainWindow, ActionsStartDisabledAndFollowUpdateControls)
{
    QAction* pOpen = m_pWindow->Action("open");
    QAction* pBlur = m_pWindow->Action("blur", true);
    ASSERT_NE(pOpen, nullptr);
    ASSERT_NE(pBlur, nullptr);
    EXPECT_FALSE(pOpen->isEnabled());
    EXPECT_FALSE(pBlur->isEnabled());

    auto* pControls = new Zarn::CValueMap;
    pControls->SetEntry(Zarn::CValue_Key("open"), new Zarn::CValueBool(true));
    m_pSession->Post("UPDATE_CONTROLS", pControls);
    EXPECT_TRUE(Until([&]() { return pOpen->isEnabled(); }));
    EXPECT_FALSE(pBlur->isEnabled()) << "only the named action changes";
}

TEST_F(MainWindow, TriggeredActionsPostOnActionAndOnConfigure)
{
    auto* pControls = new Zarn::CValueMap;
    pControls->SetEntry(Zarn::CValue_Key("open"), new Zarn::CValueBool(true));
    pControls->SetEntry(Zarn::CValue_Key("blur"), new Zarn::CValueBool(true));
    m_pSession->Post("UPDATE_CONTROLS", pControls);
    ASSERT_TRUE(Until([&]() { return m_pWindow->Action("open")->isEnabled(); }));

    m_pWindow->Action("open")->trigger();
    m_pWindow->Action("blur", true)->trigger();
    EXPECT_TRUE(Until([]() { return AppTest::Journal().m_lstActions.size() == 2; }));
    EXPECT_EQ(AppTest::Journal().m_lstActions,
              (std::vector<std::string>{"open", "configure blur"}));
}

TEST_F(MainWindow, ShutdownMessageClosesTheWindow)
{
    m_pSession->Post("SHUTDOWN", nullptr);
    EXPECT_TRUE(Until([&]() { return !m_pWindow->isVisible(); }));
}

TEST_F(MainWindow, LatestWarningOrErrorOfTheLogShowsInTheStatusBar)
{
    m_pSession->Logger().SetLevel(Zarn::CLogger::levelWarning) << "disk almost full\n";
    EXPECT_TRUE(Until([&]() { return m_pWindow->StatusText() == "Warning: disk almost full"; }))
        << m_pWindow->StatusText().toStdString();
    m_pSession->Logger().SetLevel(Zarn::CLogger::levelProgress) << "just progress\n";
    m_pSession->Logger().SetLevel(Zarn::CLogger::levelError) << "write failed\n";
    EXPECT_TRUE(Until([&]() { return m_pWindow->StatusText() == "Error: write failed"; }))
        << m_pWindow->StatusText().toStdString();
}

// After a file that cannot be opened, the repository's plain lines (written at the logger's
// sticky error level) must not show as errors in the status bar.
TEST_F(MainWindow, LinesWithoutTheirOwnLevelAreNotShownAsErrors)
{
    m_pSession->Logger().SetLevel(Zarn::CLogger::levelError)
        << "broken.png: cannot decode" << Zarn::notype << "\n";
    ASSERT_TRUE(
        Until([&]() { return m_pWindow->StatusText() == "Error: broken.png: cannot decode"; }))
        << m_pWindow->StatusText().toStdString();
    m_pSession->Logger() << "CRepositoryPlugin::CreateView - View plugin created for ok2.png."
                         << std::endl;
    ASSERT_EQ(m_pSession->Logger().Level(), Zarn::CLogger::levelError)
        << "the log keeps its sticky level";
    // The listener hands lines over with queued calls: let them arrive.
    for (int i = 0; i < 5; ++i)
    {
        QCoreApplication::processEvents();
    }
    EXPECT_EQ(m_pWindow->StatusText().toStdString(), "Error: broken.png: cannot decode");

    m_pSession->Logger().SetLevel(Zarn::CLogger::levelWarning) << "disk almost full\n";
    m_pSession->Logger() << "an ordinary line after the warning\n";
    EXPECT_TRUE(Until([&]() { return m_pWindow->StatusText() == "Warning: disk almost full"; }));
    for (int i = 0; i < 5; ++i)
    {
        QCoreApplication::processEvents();
    }
    EXPECT_EQ(m_pWindow->StatusText().toStdString(), "Warning: disk almost full");
}

// Show Activity with nothing running opened a modal busy dialog that no ACTIVITY_STOP would close.
TEST_F(MainWindow, ShowActivityIsOfferedOnlyWhileAToolRuns)
{
    QAction* pShow = m_pWindow->Action("popup_activity");
    ASSERT_NE(pShow, nullptr);
    EXPECT_FALSE(pShow->isEnabled()) << "nothing runs yet, although the configuration enables it";

    // A tool on the GUI thread: a stop without a start.
    m_pSession->Post("ACTIVITY_STOP", ActionData("save"));
    Settle();
    EXPECT_FALSE(pShow->isEnabled());

    // Two threaded runs overlap: offered until the second has stopped.
    m_pSession->Post("ACTIVITY_START", ActionData("blur"));
    EXPECT_TRUE(Until([&]() { return pShow->isEnabled(); }));
    m_pSession->Post("ACTIVITY_START", ActionData("invert"));
    m_pSession->Post("ACTIVITY_STOP", ThreadStopData());
    Settle();
    EXPECT_TRUE(pShow->isEnabled()) << "one run is still going";
    m_pSession->Post("ACTIVITY_STOP", ActionData("close")); // a GUI-thread tool in between
    Settle();
    EXPECT_TRUE(pShow->isEnabled()) << "the stop of a run on the GUI thread ends no threaded run";
    m_pSession->Post("ACTIVITY_STOP", ThreadStopData());
    EXPECT_TRUE(Until([&]() { return !pShow->isEnabled(); }));

    // A thread that could not start: its stop names the action of the start.
    m_pSession->Post("ACTIVITY_START", ActionData("blur"));
    EXPECT_TRUE(Until([&]() { return pShow->isEnabled(); }));
    m_pSession->Post("ACTIVITY_STOP", ActionData("blur"));
    EXPECT_TRUE(Until([&]() { return !pShow->isEnabled(); }));

    // The toolbox and the repository never name it, so nothing else may switch it on.
    auto* pControls = new Zarn::CValueMap;
    pControls->SetEntry(Zarn::CValue_Key("popup_activity"), new Zarn::CValueBool(true));
    m_pSession->Post("UPDATE_CONTROLS", pControls);
    Settle();
    EXPECT_FALSE(pShow->isEnabled());
}

TEST_F(MainWindow, MessagesDockShowsTheJournalOnlyWhileVisible)
{
    CMessageJournalDock* pDock = m_pWindow->JournalDock();
    EXPECT_FALSE(pDock->isVisible());
    m_pSession->Post("BEFORE_SHOWN", new Zarn::CValueString("x"));
    Until([]() { return false; });
    EXPECT_EQ(pDock->LineCount(), 0);

    pDock->show();
    ASSERT_TRUE(Until([&]() { return pDock->isVisible(); }));
    m_pSession->Post("SHOWN_NOW", new Zarn::CValueString("hello"));
    EXPECT_TRUE(Until([&]() { return pDock->LineCount() == 1; }));
    EXPECT_NE(pDock->Text().indexOf("SHOWN_NOW"), -1) << pDock->Text().toStdString();
    EXPECT_EQ(pDock->Text().indexOf("BEFORE_SHOWN"), -1);
}

TEST_F(MainWindow, ClosingWithUnsavedDocumentAsksAndCancelKeepsTheWindow)
{
    EXPECT_FALSE(m_pWindow->isWindowModified());
    AnnounceDocument("result");
    EXPECT_TRUE(m_pWindow->isWindowModified()) << "the title marks unsaved work";
    SAnswer answer;
    answer.Click(QMessageBox::Cancel);
    EXPECT_FALSE(m_pWindow->close());
    EXPECT_TRUE(m_pWindow->isVisible());
    EXPECT_EQ(answer.m_strTitle, "Unsaved documents");
    EXPECT_EQ(answer.m_strText, "The document \"result\" has unsaved changes.");

    answer.Click(QMessageBox::Discard);
    EXPECT_TRUE(m_pWindow->close());
}

TEST_F(MainWindow, ClosingWithOnlySavedDocumentsAsksNothing)
{
    auto* pImage = new Zarn::CImage(Zarn::CSize(4, 4), Zarn::IImage::CType(Zarn::IImage::etUInt8));
    m_lstDocuments.emplace_back(Zarn::ImageDocument::Create(pImage, "kept.png", "/tmp/kept.png"));
    m_pSession->Post("NEW_DOCUMENT",
                     new Zarn::CValuePointer<Zarn::CValueMap>(m_lstDocuments.back().get()));
    ASSERT_TRUE(Until([&]() { return m_pWindow->Documents().Documents().size() == 1; }));
    EXPECT_TRUE(m_pWindow->close());
}

TEST_F(MainWindow, SaveAllWritesTheDocumentsBeforeClosing)
{
    const std::string strPath = m_folder.filePath("changed.tif").toStdString();
    AnnounceDocument("changed.tif", strPath);
    AnnounceDocument("other.png", m_folder.filePath("other.png").toStdString());
    SAnswer answer;
    answer.Click(QMessageBox::SaveAll);
    EXPECT_TRUE(m_pWindow->close());
    EXPECT_EQ(answer.m_strText, "2 documents have unsaved changes.");
    EXPECT_TRUE(std::filesystem::exists(strPath));
    EXPECT_TRUE(std::filesystem::exists(m_folder.filePath("other.png").toStdString()));
}

TEST_F(MainWindow, FailedSaveKeepsTheWindowOpen)
{
    AnnounceDocument("locked.tif", "/nonexistent/folder/locked.tif");
    SAnswer question;
    question.Click(QMessageBox::SaveAll);
    SAnswer failure;
    QTimer::singleShot(100, [&failure]() { failure.Click(QMessageBox::Ok); });
    EXPECT_FALSE(m_pWindow->close());
    EXPECT_TRUE(m_pWindow->isVisible());
    EXPECT_EQ(failure.m_strTitle, "Cannot save");
    // Leave without the question.
    m_lstDocuments.back()->SetEntry("is_saved/image", new Zarn::CValueBool(true));
}

TEST_F(MainWindow, DocumentGoneIsNoLongerAskedFor)
{
    Zarn::CValueMap* pDocument = AnnounceDocument("result");
    m_pSession->Post("INVALID_DOCUMENT", new Zarn::CValuePointer<Zarn::CValueMap>(pDocument));
    ASSERT_TRUE(Until([&]() { return m_pWindow->Documents().Documents().empty(); }));
    EXPECT_TRUE(m_pWindow->close());
}

TEST_F(MainWindow, RecordingKeepsTheResultsMadeWhileOnAndSavesTheStepsOfOneAsAProcess)
{
    QAction* pRecord = m_pWindow->findChild<QAction*>("record");
    QAction* pSave = m_pWindow->findChild<QAction*>("save_recording");
    ASSERT_NE(pRecord, nullptr);
    ASSERT_NE(pSave, nullptr);
    EXPECT_TRUE(pRecord->isCheckable());
    EXPECT_FALSE(pSave->isEnabled()) << "nothing recorded yet";

    Zarn::CValueMap* pFile = AnnounceDocument("cells.png", "/data/cells.png");
    AnnounceStep("not recorded", "Median", pFile);
    EXPECT_TRUE(m_pWindow->RecordedDocuments().empty());

    pRecord->trigger();
    EXPECT_TRUE(m_pWindow->IsRecording());
    Zarn::CValueMap* pBlurred = AnnounceStep("blurred", "GaussianBlur", pFile);
    AnnounceDocument("no tool made this");
    AnnounceStep("thresholded", "Threshold", pBlurred);
    pRecord->trigger();
    EXPECT_FALSE(m_pWindow->IsRecording());
    AnnounceStep("after", "Invert", pFile);
    ASSERT_EQ(m_pWindow->RecordedDocuments().size(), 2u);
    EXPECT_EQ(m_pWindow->RecordedDocuments()[0].m_strLabel, "blurred");
    EXPECT_EQ(m_pWindow->RecordedDocuments()[1].m_strLabel, "thresholded");
    EXPECT_TRUE(pSave->isEnabled());

    // Without an active document the latest result is offered.
    EXPECT_EQ(m_pWindow->RecordingChoice(), 1);
    const QString strPath = m_folder.filePath("recorded.json");
    ASSERT_TRUE(m_pWindow->SaveRecording(strPath));
    EXPECT_EQ(SavedPlugins(strPath), (std::vector<std::string>{"GaussianBlur", "Threshold"}));
    std::unique_ptr<Zarn::CValue> pSaved(Zarn::CJsonValueFile::ReadFile(strPath.toStdString()));
    EXPECT_EQ(pSaved->Map()->Entry("process/1/parameters/sigma", true)->Double(), 2.0);

    // A new recording starts empty.
    pRecord->trigger();
    EXPECT_TRUE(m_pWindow->RecordedDocuments().empty());
    EXPECT_FALSE(pSave->isEnabled());
}

// A recording of a session that branched (two tools on the same image) was saved as one flat list
// of every step, which replays to another image than any of the results.
TEST_F(MainWindow, RecordingOfABranchedSessionSavesOnlyTheChainOfTheChosenDocument)
{
    m_pWindow->SetRecording(true);
    Zarn::CValueMap* pA = AnnounceDocument("a.png", "/data/a.png");
    Zarn::CValueMap* pB = AnnounceStep("b", "GaussianBlur", pA);
    Zarn::CValueMap* pC = AnnounceStep("c", "Invert", pA);
    Zarn::CValueMap* pD = AnnounceStep("d", "Threshold", pB);
    ASSERT_EQ(m_pWindow->RecordedDocuments().size(), 3u);

    // The active document is offered first.
    CDocumentView view(*pC, "c [1]");
    m_pSession->Post("ACTIVE_VIEW", new Zarn::CValuePointer<Zarn::CPluginBase>(&view));
    ASSERT_TRUE(Until([&]() { return m_pWindow->RecordingChoice() == 1; }));
    const QString strPath = m_folder.filePath("branched.json");
    ASSERT_TRUE(m_pWindow->SaveRecording(strPath));
    EXPECT_EQ(SavedPlugins(strPath), std::vector<std::string>{"Invert"});

    ASSERT_TRUE(m_pWindow->SaveRecording(strPath, 2));
    EXPECT_EQ(SavedPlugins(strPath), (std::vector<std::string>{"GaussianBlur", "Threshold"}));
    EXPECT_NE(m_pWindow->statusBar()->currentMessage().indexOf("the 2 steps that made \"d\""), -1)
        << m_pWindow->statusBar()->currentMessage().toStdString();

    // A closed result can still be saved; it is no longer the active one.
    m_pSession->Post("INVALID_DOCUMENT", new Zarn::CValuePointer<Zarn::CValueMap>(pC));
    ASSERT_TRUE(Until([&]() { return m_pWindow->RecordingChoice() == 2; }));
    ASSERT_TRUE(m_pWindow->SaveRecording(strPath, 1));
    EXPECT_EQ(SavedPlugins(strPath), std::vector<std::string>{"Invert"});
    (void)pD;
}

// A process's result carries no steps: a chain that starts there would run on the original file
// and quietly give another image, so saving it is refused with the reason.
TEST_F(MainWindow, RecordingWhoseChainStartsAtAnImageNoFileHoldsIsRefusedWithTheReason)
{
    m_pWindow->SetRecording(true);
    Zarn::CValueMap* pFile = AnnounceDocument("a.png", "/data/a.png");
    Zarn::CValueMap* pProcessed = AnnounceDocument("a.png - smooth"); // neither file nor steps
    AnnounceStep("b", "Threshold", pProcessed);
    Zarn::CValueMap* pC = AnnounceStep("c", "Invert", pFile);
    AnnounceStep("d", "Median", pC);
    ASSERT_EQ(m_pWindow->RecordedDocuments().size(), 3u);
    EXPECT_EQ(m_pWindow->RecordedDocuments()[0].m_strOrigin, "");
    EXPECT_EQ(m_pWindow->RecordedDocuments()[2].m_strOrigin, "/data/a.png");

    const QString strPath = m_folder.filePath("refused.json");
    SAnswer answer;
    answer.Click(QMessageBox::Ok);
    EXPECT_FALSE(m_pWindow->SaveRecording(strPath, 0));
    EXPECT_EQ(answer.m_strTitle, "Cannot save the recording");
    EXPECT_NE(answer.m_strText.indexOf("\"b\" would not replay"), -1)
        << answer.m_strText.toStdString();
    EXPECT_FALSE(QFileInfo::exists(strPath));

    // A chain that starts at a file is still saved.
    ASSERT_TRUE(m_pWindow->SaveRecording(strPath, 2));
    EXPECT_EQ(SavedPlugins(strPath), (std::vector<std::string>{"Invert", "Median"}));
}

// Save Recording must say whose steps it writes: the user picks the result, and the file dialog
// names it.
TEST_F(MainWindow, SaveRecordingAsksForTheDocumentAndNamesItInTheFileDialog)
{
    m_pWindow->SetRecording(true);
    Zarn::CValueMap* pA = AnnounceDocument("a.png", "/data/a.png");
    Zarn::CValueMap* pB = AnnounceStep("b", "GaussianBlur", pA);
    AnnounceStep("c", "Invert", pA);
    AnnounceStep("d", "Threshold", pB);

    const QString strPath = m_folder.filePath("chosen.json");
    QStringList lstChoices;
    QString strFileDialogTitle;
    std::function<void()> fnPoll;
    fnPoll = [&]()
    {
        QWidget* pModal = QApplication::activeModalWidget();
        if (auto* pChoice = qobject_cast<QInputDialog*>(pModal))
        {
            lstChoices = pChoice->comboBoxItems();
            pChoice->setTextValue(lstChoices.value(2));
            pChoice->accept();
        }
        else if (auto* pFiles = qobject_cast<QFileDialog*>(pModal))
        {
            strFileDialogTitle = pFiles->windowTitle();
            pFiles->setOption(QFileDialog::DontConfirmOverwrite);
            auto* pName = pFiles->findChild<QLineEdit*>("fileNameEdit");
            ASSERT_NE(pName, nullptr);
            pName->setText(strPath);
            static_cast<QDialog*>(pFiles)->accept(); // QFileDialog::accept is protected
            return;
        }
        QTimer::singleShot(20, fnPoll);
    };
    QTimer::singleShot(20, fnPoll);
    m_pWindow->findChild<QAction*>("save_recording")->trigger();

    EXPECT_EQ(lstChoices, (QStringList{"b (1 step)", "c (1 step)", "d (2 steps)"}));
    EXPECT_EQ(strFileDialogTitle.toStdString(), "Save the steps that made \"d\"");
    EXPECT_EQ(SavedPlugins(strPath), (std::vector<std::string>{"GaussianBlur", "Threshold"}));
}

TEST_F(MainWindow, DroppedFilesBecomeDocuments)
{
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(QString(SAMPLES_DIR) + "/cells.png"),
                  QUrl::fromLocalFile(QString(SAMPLES_DIR) + "/gradient16.tif")});
    QDragEnterEvent enter(QPoint(50, 50), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(m_pWindow.get(), &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(QPointF(50, 50), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(m_pWindow.get(), &drop);
    EXPECT_TRUE(Until([]() { return AppTest::Journal().m_lstAdded.size() == 2; }));
    EXPECT_EQ(AppTest::Journal().m_lstAdded,
              (std::vector<std::string>{"cells.png", "gradient16.tif"}));
}

TEST_F(MainWindow, DragOfSomethingElseIsRefused)
{
    QMimeData data;
    data.setText("just text");
    QDragEnterEvent enter(QPoint(50, 50), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    enter.setAccepted(false);
    QApplication::sendEvent(m_pWindow.get(), &enter);
    EXPECT_FALSE(enter.isAccepted());
}

TEST_F(MainWindow, UnreadableFilesAreListedInOneWarningAndTheOthersOpen)
{
    SAnswer answer;
    answer.Click(QMessageBox::Ok);
    const int nOpened =
        m_pWindow->OpenFiles({"/nonexistent/a.png", QString(SAMPLES_DIR) + "/cells.png"});
    EXPECT_EQ(nOpened, 1);
    EXPECT_EQ(answer.m_strTitle, "Cannot open");
    EXPECT_NE(answer.m_strInformative.indexOf("/nonexistent/a.png"), -1)
        << answer.m_strInformative.toStdString();
    EXPECT_TRUE(Until([]() { return AppTest::Journal().m_lstAdded.size() == 1; }));
    EXPECT_EQ(AppTest::Journal().m_lstAdded, std::vector<std::string>{"cells.png"});
}

} // namespace

namespace
{

// A file whose header claims a billion pixels could take all the memory while it is decoded.
TEST_F(MainWindow, HugeImageIsOpenedOnlyAfterAsking)
{
    const QString strBomb = QString(BATCH_INPUTS) + "/bomb-32000x32000.png";
    SAnswer answer;
    answer.Click(QMessageBox::Cancel);
    EXPECT_EQ(m_pWindow->OpenFiles({strBomb, QString(SAMPLES_DIR) + "/cells.png"}), 1);
    EXPECT_EQ(answer.m_strTitle, "Open a large image?");
    EXPECT_NE(answer.m_strText.indexOf(strBomb + ": image too large: 32000 × 32000 pixels"), -1)
        << answer.m_strText.toStdString();
    EXPECT_TRUE(Until([]() { return AppTest::Journal().m_lstAdded.size() == 1; }));
    EXPECT_EQ(AppTest::Journal().m_lstAdded, std::vector<std::string>{"cells.png"});
}

} // namespace
