#pragma once

#include "ApplicationConfig.h"
#include "HostSession.h"
#include "WindowPlugin.h"

#include <QMainWindow>
#include <QStringList>

#include <Zarn/Value/ValueContainer.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

class CMessageJournalDock;
class QAction;
class QLabel;
class QMenu;

// The application's window, built from the configuration: the central plug-in widget, the docks,
// the menus and tool bars whose actions post ON_ACTION and ON_CONFIGURE, a status bar with the
// latest warning or error of the log, and the "Messages" dock with the live message journal.
//
// Owns its window plug-in, its actions, docks and labels (as Qt children) and the recording;
// borrows the configuration and the host session, which must outlive it, and shows the plug-ins'
// widgets without owning them (ShutDown hands them back). GUI thread only; the log's line
// listener it installs may be called from any thread and only queues a call. The constructor
// throws CConfigError (nothing of the window is left then); nothing else throws. Posts ON_ACTION
// and ON_CONFIGURE from its actions and ADD_DOCUMENT for opened files; the messages it follows
// are the ones CWindowPlugin handles.
class CMainWindow : public QMainWindow
{
    Q_OBJECT
public:
    // Creates the plug-ins of the configuration (CConfigError when one cannot be made; nothing of
    // the window is left then) and builds the window around them.
    CMainWindow(const CApplicationConfig& config, CHostSession& session);
    ~CMainWindow() override;

    // Reads the files and adds each as a document; files that cannot be read are listed in one
    // warning. A file whose header claims more pixels than this computer should decode is read
    // only when the user answers Open. Returns the number of documents added.
    int OpenFiles(const QStringList& files);

    // The action posting ON_ACTION (or, with bConfigure, ON_CONFIGURE) with that name, or null.
    QAction* Action(const std::string& name, bool bConfigure = false) const;
    const CWindowPlugin& Documents() const { return *m_pWindowPlugin; }
    CMessageJournalDock* JournalDock() const { return m_pJournalDock; }
    QString StatusText() const;
    // Recording: while on, every document a tool makes is kept, in order, with the chain of steps
    // that made it (ImageDocument::ProcessChain: back to the file, also through steps made before
    // the recording began, and only through the documents it came from, however the session
    // branched). The chain is copied, so a closed document can still be saved.
    struct SRecordedDocument
    {
        const Zarn::CValueMap* m_pDocument = nullptr; // null once the document is gone
        std::string m_strLabel;
        long m_nIndex = 0; // the repository's number among equal labels; 0 when none
        std::shared_ptr<const Zarn::CValueVector> m_pChain;
        std::string m_strOrigin; // the file the chain starts from; empty when none is known
        // "label [index]", as the views name it.
        QString Caption() const;
    };
    void SetRecording(bool bOn);
    bool IsRecording() const { return m_bRecording; }
    const std::vector<SRecordedDocument>& RecordedDocuments() const { return m_lstRecorded; }
    // The document Save Recording offers first: the active one when it was recorded, else the
    // latest; -1 when nothing was recorded.
    int RecordingChoice() const;
    // The steps of a recorded document (-1: RecordingChoice()); empty when there is none.
    Zarn::CValueVector RecordingSteps(int nDocument = -1) const;
    // Writes the chain of a recorded document (-1: RecordingChoice()) as a process description
    // {"process": [...]}, which docview-batch replays on the file the chain starts from; false
    // (after telling the user) when it cannot be written, nothing was recorded, or the chain
    // starts at an image that no file holds (it would replay to something else).
    bool SaveRecording(const QString& path, int nDocument = -1);

    // Ends the plug-ins; the window stays until it is destroyed. Called when the application quits.
    void ShutDown();

    // The question asked when unsaved documents would be lost: the test driver answers it.
    static constexpr const char* kUnsavedTitle = "Unsaved documents";
    // The action that shows the activity dialog: enabled only while a tool run is in flight
    // (between ACTIVITY_START and its ACTIVITY_STOP, nested runs counted), whatever the
    // configuration or UPDATE_CONTROLS say.
    static constexpr const char* kActivityAction = "popup_activity";

signals:
    // The first view has been painted: the program is ready for work.
    void FirstViewShown();

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private slots:
    void SlotLogLine(int level, const QString& text);
    void SlotJournalVisibility(bool bVisible);
    void SlotAbout();
    void SlotSaveRecording();

private:
    // The steps of the constructor, in their order.
    CWindowPlugin::SHandlers WindowHandlers();
    void BuildStatusBar();
    void FollowLog();
    void CreatePlugins();
    void PlaceWidgets();
    [[noreturn]] void AbandonWithoutWidget(const std::string& id, const char* role);
    void AddJournalDock();
    void AddToolBar(const SMenu& bar);

    QAction* MakeAction(const SMenuItem& item);
    void PostWhenTriggered(QAction* pAction, const SMenuItem& item);
    // The window's own commands: "quit", "about", "record", "save_recording".
    void ConnectCommand(QAction* pAction, const std::string& name);
    void FillMenu(QMenu* menu, const std::vector<SMenuItem>& items);
    void FillDockEntries(QMenu* menu);
    void SetControl(const std::string& name, bool bEnabled);
    void ShowActivityState(bool bRunning);
    void ShowActiveView(const std::string& caption, const Zarn::CValueMap* pDocument);
    void Record(const Zarn::CValueMap& document);
    void ForgetDocument(const Zarn::CValueMap* pDocument);
    void ShowRecordingState();
    // Asks what to do with unsaved documents; false when the user chose to stay.
    bool MayClose();
    bool SaveAll(const std::vector<Zarn::CValueMap*>& documents);

    const CApplicationConfig& m_config;
    CHostSession& m_session;
    std::unique_ptr<CWindowPlugin> m_pWindowPlugin;
    std::map<std::string, QAction*> m_mapActions;
    std::map<std::string, QAction*> m_mapConfigureActions;
    std::vector<QAction*> m_lstDockToggles;
    CMessageJournalDock* m_pJournalDock = nullptr;
    QLabel* m_pStatusLabel = nullptr;
    bool m_bShutDown = false;
    bool m_bViewShown = false;
    bool m_bRecording = false;
    std::vector<SRecordedDocument> m_lstRecorded;
    const Zarn::CValueMap* m_pActiveDocument = nullptr;
    QAction* m_pRecordAction = nullptr;
    QAction* m_pSaveRecordingAction = nullptr;
    QLabel* m_pRecordingLabel = nullptr;
};
