#pragma once

#include <QObject>
#include <QString>

#include <string>

class CMainWindow;
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
    void Run(const QString& line);
    std::string State() const;
    static void Reply(const std::string& json);

    CMainWindow& m_window;
    QSocketNotifier* m_pNotifier;
    std::string m_strPending;
};
