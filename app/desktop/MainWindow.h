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
class CMainWindow : public QMainWindow
{
    Q_OBJECT
public:
    // Creates the plug-ins of the configuration (CConfigError when one cannot be made; nothing of
    // the window is left then) and builds the window around them.
    CMainWindow(const CApplicationConfig& config, CHostSession& session);
    ~CMainWindow() override;

    // Reads the files and adds each as a document; files that cannot be read are listed in one
    // warning. Returns the number of documents added.
    int OpenFiles(const QStringList& files);

    // The action posting ON_ACTION (or, with bConfigure, ON_CONFIGURE) with that name, or null.
    QAction* Action(const std::string& name, bool bConfigure = false) const;
    const CWindowPlugin& Documents() const { return *m_pWindowPlugin; }
    CMessageJournalDock* JournalDock() const { return m_pJournalDock; }
    QString StatusText() const;
    // Recording: while on, the process step of every document a tool makes is kept, in order.
    void SetRecording(bool bOn);
    bool IsRecording() const { return m_bRecording; }
    const Zarn::CValueVector& Recording() const { return m_recording; }
    // Writes the recording as a process description {"process": [...]}; false (after telling the
    // user) when it cannot be written.
    bool SaveRecording(const QString& path);

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
    QAction* MakeAction(const SMenuItem& item);
    void FillMenu(QMenu* menu, const std::vector<SMenuItem>& items);
    void FillDockEntries(QMenu* menu);
    void SetControl(const std::string& name, bool bEnabled);
    void ShowActivityState(bool bRunning);
    void ShowActiveView(const std::string& caption);
    void Record(const Zarn::CValueMap& document);
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
    Zarn::CValueVector m_recording;
    QAction* m_pRecordAction = nullptr;
    QAction* m_pSaveRecordingAction = nullptr;
    QLabel* m_pRecordingLabel = nullptr;
};
