#pragma once

#include <QObject>
#include <QString>

#include <string>

class CMainWindow;
class QAction;
class QSocketNotifier;

// Lets a test drive the running application through its standard input, one command a line,
// and answers each with one JSON line on standard output. The commands act through the same
// widgets a user would use (a click on the navigator, the close of a window, a button of a
// question), so the whole application is tested as it is shipped. Started with --automation.
//
//   state                     documents, navigator entries, windows, title, status, the title of
//                             the modal window that blocks the others ("modal"), open question
//   trigger NAME | configure NAME   the menu action (or window command, as "save_recording") of
//                             that name
//   open FILE...              as if the files were dropped on the window
//   click-navigator N         a click on the N-th navigator entry
//   close-window N            the close button of the N-th workspace window
//   screenshot FILE           the whole screen as PNG
//   window-screenshot FILE    the main window alone as PNG
//   messages on|off           shows or hides the "Messages" dock
//   answer BUTTON             a click on that button of the open question or modal dialog
//                             ("Discard", "OK", ...)
//   record on|off             Tools > Record
//   save-recording FILE       Tools > Save Recording, with FILE chosen for the document offered
//                             first (the active one when recorded); the reply names it
//   quit                      the window's close, as from the menu
//
// The widgets are driven with plain Qt calls (mouse events sent to the widget, QAction::trigger,
// QAbstractButton::click), as a user's input would reach them; the program needs no test library.
// Replies and events go to the program's own standard output (CConsoleStreams::Output), which a
// normal run keeps while the plug-ins' talk on std::cout is dropped.
//
// A child of the window, which owns it; lends nothing. Lives on the GUI thread: standard input is
// read there, and every command acts there. Throws nothing (a command that cannot be carried out
// is answered with {"ok": false, "error": ...}). Sends and handles no host messages; what it
// triggers may make plug-ins post theirs.
class CAutomationChannel : public QObject
{
    Q_OBJECT
public:
    explicit CAutomationChannel(CMainWindow& window);

    // An event line without a command: {"event": name, ...extra}.
    static void Announce(const std::string& event, const std::string& extraJson = std::string());

private slots:
    void SlotReadable();

private:
    // One command: its name and what carries it out with the rest of the line.
    using Handler = void (CAutomationChannel::*)(const QString& argument);
    struct SCommand
    {
        const char* m_szName;
        Handler m_fnHandler;
    };
    static const SCommand kCommands[];

    void Run(const QString& line);
    static void Reply(const std::string& json);

    void State(const QString& argument);
    void Trigger(const QString& argument);
    void Configure(const QString& argument);
    void TriggerAction(QAction* pAction);
    void Open(const QString& argument);
    void ClickNavigator(const QString& argument);
    void CloseWindow(const QString& argument);
    void Screenshot(const QString& argument);
    void WindowScreenshot(const QString& argument);
    void Messages(const QString& argument);
    void Answer(const QString& argument);
    void Record(const QString& argument);
    void SaveRecording(const QString& argument);
    void Quit(const QString& argument);

    CMainWindow& m_window;
    QSocketNotifier* m_pNotifier;
    std::string m_strPending;
};
