#include "AutomationChannel.h"

#include "ConsoleStreams.h"
#include "MainWindow.h"
#include "MessageJournalDock.h"

#include <Zarn/Image/ImageDocument.h>

#include <nlohmann/json.hpp>

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QCoreApplication>
#include <QListWidget>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPixmap>
#include <QScreen>
#include <QSocketNotifier>
#include <QStackedWidget>
#include <QTimer>

#include <unistd.h>

namespace
{

std::string Ok(const nlohmann::json& extra = nlohmann::json::object())
{
    nlohmann::json reply = extra;
    reply["ok"] = true;
    return reply.dump();
}

std::string Failed(const std::string& error)
{
    return nlohmann::json{{"ok", false}, {"error", error}}.dump();
}

std::string Saved(const QPixmap& pixmap, const QString& path)
{
    return pixmap.save(path, "PNG") ? Ok({{"width", pixmap.width()}, {"height", pixmap.height()}})
                                    : Failed("cannot write " + path.toStdString());
}

// A left click at `position`, delivered as the window system delivers a user's click.
void Click(QWidget* pWidget, const QPoint& position)
{
    const QPointF local(position);
    const QPointF global(pWidget->mapToGlobal(position));
    QMouseEvent press(QEvent::MouseButtonPress, local, global, Qt::LeftButton, Qt::LeftButton,
                      Qt::NoModifier);
    QCoreApplication::sendEvent(pWidget, &press);
    QMouseEvent release(QEvent::MouseButtonRelease, local, global, Qt::LeftButton, Qt::NoButton,
                        Qt::NoModifier);
    QCoreApplication::sendEvent(pWidget, &release);
}

nlohmann::json DocumentsState(const CMainWindow& window)
{
    nlohmann::json documents = nlohmann::json::array();
    for (const Zarn::CValueMap* pDocument : window.Documents().Documents())
    {
        documents.push_back({{"label", Zarn::ImageDocument::Label(*pDocument)},
                             {"file", Zarn::ImageDocument::FileName(*pDocument)},
                             {"saved", Zarn::ImageDocument::IsSaved(*pDocument)}});
    }
    return documents;
}

void AddNavigatorState(const CMainWindow& window, nlohmann::json& state)
{
    nlohmann::json navigator = nlohmann::json::array();
    if (auto* pList = window.findChild<QListWidget*>())
    {
        for (int i = 0; i < pList->count(); ++i)
        {
            navigator.push_back(pList->item(i)->text().toStdString());
        }
        state["navigator_current"] = pList->currentRow();
    }
    state["navigator"] = navigator;
}

void AddWindowsState(const CMainWindow& window, nlohmann::json& state)
{
    nlohmann::json windows = nlohmann::json::array();
    if (auto* pArea = window.findChild<QMdiArea*>())
    {
        for (QMdiSubWindow* pWindow : pArea->subWindowList())
        {
            windows.push_back(pWindow->windowTitle().toStdString());
        }
        QMdiSubWindow* pActive = pArea->activeSubWindow();
        state["active_window"] = pActive != nullptr ? pActive->windowTitle().toStdString() : "";
    }
    state["windows"] = windows;
    if (auto* pStack = qobject_cast<QStackedWidget*>(window.centralWidget()))
    {
        state["stack_pages"] = pStack->count();
        state["stack_current"] = pStack->currentWidget() != nullptr
                                     ? pStack->currentWidget()->windowTitle().toStdString()
                                     : "";
    }
}

void AddRecordingState(const CMainWindow& window, nlohmann::json& state)
{
    state["recording"] = window.IsRecording();
    nlohmann::json recorded = nlohmann::json::array();
    for (const CMainWindow::SRecordedDocument& document : window.RecordedDocuments())
    {
        recorded.push_back(document.m_strLabel);
    }
    state["recorded_documents"] = recorded;
    state["recorded_steps"] = window.RecordingSteps().Size(); // of the document offered first
}

nlohmann::json ActionsState(const CMainWindow& window)
{
    nlohmann::json actions = nlohmann::json::object();
    for (QAction* pAction : window.findChildren<QAction*>())
    {
        if (!pAction->objectName().isEmpty())
        {
            actions[pAction->objectName().toStdString()] = pAction->isEnabled();
        }
    }
    return actions;
}

void AddModalState(nlohmann::json& state)
{
    if (QWidget* pModal = QApplication::activeModalWidget())
    {
        state["modal"] = pModal->windowTitle().toStdString();
    }
    if (auto* pBox = qobject_cast<QMessageBox*>(QApplication::activeModalWidget()))
    {
        nlohmann::json buttons = nlohmann::json::array();
        for (QAbstractButton* pButton : pBox->buttons())
        {
            buttons.push_back(pButton->text().remove('&').toStdString());
        }
        state["question"] = {{"title", pBox->windowTitle().toStdString()},
                             {"text", pBox->text().toStdString()},
                             {"buttons", buttons}};
    }
}

} // namespace

CAutomationChannel::CAutomationChannel(CMainWindow& window) : QObject(&window), m_window(window)
{
    m_pNotifier = new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, this);
    connect(m_pNotifier, &QSocketNotifier::activated, this, &CAutomationChannel::SlotReadable);
}

void CAutomationChannel::Announce(const std::string& event, const std::string& extraJson)
{
    nlohmann::json line =
        extraJson.empty() ? nlohmann::json::object() : nlohmann::json::parse(extraJson);
    line["event"] = event;
    Reply(line.dump());
}

void CAutomationChannel::Reply(const std::string& json)
{
    CConsoleStreams::Output() << json << std::endl;
}

void CAutomationChannel::SlotReadable()
{
    char buffer[4096];
    const ssize_t nRead = ::read(STDIN_FILENO, buffer, sizeof(buffer));
    if (nRead <= 0)
    {
        // The driver has gone: nobody will answer a question any more.
        m_pNotifier->setEnabled(false);
        QCoreApplication::exit(3);
        return;
    }
    m_strPending.append(buffer, static_cast<size_t>(nRead));
    for (size_t uEnd = m_strPending.find('\n'); uEnd != std::string::npos;
         uEnd = m_strPending.find('\n'))
    {
        const QString strLine = QString::fromStdString(m_strPending.substr(0, uEnd)).trimmed();
        m_strPending.erase(0, uEnd + 1);
        if (!strLine.isEmpty())
        {
            Run(strLine);
        }
    }
}

const CAutomationChannel::SCommand CAutomationChannel::kCommands[] = {
    {"state", &CAutomationChannel::State},
    {"trigger", &CAutomationChannel::Trigger},
    {"configure", &CAutomationChannel::Configure},
    {"open", &CAutomationChannel::Open},
    {"click-navigator", &CAutomationChannel::ClickNavigator},
    {"close-window", &CAutomationChannel::CloseWindow},
    {"screenshot", &CAutomationChannel::Screenshot},
    {"window-screenshot", &CAutomationChannel::WindowScreenshot},
    {"messages", &CAutomationChannel::Messages},
    {"answer", &CAutomationChannel::Answer},
    {"record", &CAutomationChannel::Record},
    {"save-recording", &CAutomationChannel::SaveRecording},
    {"quit", &CAutomationChannel::Quit},
};

void CAutomationChannel::Run(const QString& line)
{
    const QString strCommand = line.section(' ', 0, 0);
    const QString strArgument = line.section(' ', 1).trimmed();
    for (const SCommand& command : kCommands)
    {
        if (strCommand == command.m_szName)
        {
            (this->*command.m_fnHandler)(strArgument);
            return;
        }
    }
    Reply(Failed("unknown command " + strCommand.toStdString()));
}

void CAutomationChannel::State(const QString&)
{
    nlohmann::json state = nlohmann::json::object();
    state["documents"] = DocumentsState(m_window);
    AddNavigatorState(m_window, state);
    AddWindowsState(m_window, state);
    state["title"] = m_window.windowTitle().toStdString();
    state["status"] = m_window.StatusText().toStdString();
    state["journal_lines"] = m_window.JournalDock()->LineCount();
    AddRecordingState(m_window, state);
    state["actions"] = ActionsState(m_window);
    AddModalState(state);
    Reply(Ok(state));
}

void CAutomationChannel::Trigger(const QString& argument)
{
    QAction* pAction = m_window.Action(argument.toStdString(), false);
    if (pAction == nullptr)
    {
        pAction = m_window.findChild<QAction*>(argument); // a command of the window
    }
    TriggerAction(pAction);
}

void CAutomationChannel::Configure(const QString& argument)
{
    TriggerAction(m_window.Action(argument.toStdString(), true));
}

void CAutomationChannel::TriggerAction(QAction* pAction)
{
    if (pAction == nullptr || !pAction->isEnabled())
    {
        Reply(Failed(pAction == nullptr ? "no such action" : "the action is disabled"));
        return;
    }
    Reply(Ok());
    // After the answer: the action may open a dialog that waits for the next command.
    QTimer::singleShot(0, pAction, &QAction::trigger);
}

void CAutomationChannel::Open(const QString& argument)
{
    Reply(Ok());
    const QStringList lstFiles = argument.split(' ', Qt::SkipEmptyParts);
    QTimer::singleShot(0, &m_window, [this, lstFiles]() { m_window.OpenFiles(lstFiles); });
}

void CAutomationChannel::ClickNavigator(const QString& argument)
{
    auto* pList = m_window.findChild<QListWidget*>();
    const int nRow = argument.toInt();
    if (pList == nullptr || nRow < 0 || nRow >= pList->count())
    {
        Reply(Failed("no such navigator entry"));
        return;
    }
    Click(pList->viewport(), pList->visualItemRect(pList->item(nRow)).center());
    // A click also brings the main window back to the front, as a window manager does
    // (after a dialog nothing else may have).
    pList->window()->activateWindow();
    Reply(Ok());
}

void CAutomationChannel::CloseWindow(const QString& argument)
{
    auto* pArea = m_window.findChild<QMdiArea*>();
    const QList<QMdiSubWindow*> lstWindows =
        pArea == nullptr ? QList<QMdiSubWindow*>() : pArea->subWindowList();
    const int nIndex = argument.toInt();
    if (nIndex < 0 || nIndex >= lstWindows.size())
    {
        Reply(Failed("no such window"));
        return;
    }
    Reply(Ok());
    QTimer::singleShot(0, lstWindows[nIndex], &QMdiSubWindow::close);
}

void CAutomationChannel::Screenshot(const QString& argument)
{
    Reply(Saved(QGuiApplication::primaryScreen()->grabWindow(0), argument));
}

void CAutomationChannel::WindowScreenshot(const QString& argument)
{
    Reply(Saved(m_window.grab(), argument));
}

void CAutomationChannel::Messages(const QString& argument)
{
    m_window.JournalDock()->setVisible(argument != "off");
    Reply(Ok());
}

void CAutomationChannel::Answer(const QString& argument)
{
    // A question box, or any other modal dialog (a tool's parameters) by its buttons.
    QWidget* pModal = QApplication::activeModalWidget();
    if (pModal == nullptr)
    {
        Reply(Failed("no question is open"));
        return;
    }
    auto* pBox = qobject_cast<QMessageBox*>(pModal);
    for (QAbstractButton* pButton :
         pBox != nullptr ? pBox->buttons() : pModal->findChildren<QAbstractButton*>())
    {
        if (pButton->text().remove('&') == argument)
        {
            Reply(Ok());
            QTimer::singleShot(0, pButton, &QAbstractButton::click);
            return;
        }
    }
    Reply(Failed("the question has no button " + argument.toStdString()));
}

void CAutomationChannel::Record(const QString& argument)
{
    m_window.SetRecording(argument != "off");
    Reply(Ok());
}

void CAutomationChannel::SaveRecording(const QString& argument)
{
    const int nChoice = m_window.RecordingChoice();
    if (!m_window.SaveRecording(argument))
    {
        Reply(Failed("cannot write " + argument.toStdString()));
        return;
    }
    const CMainWindow::SRecordedDocument& document =
        m_window.RecordedDocuments()[static_cast<size_t>(nChoice)];
    Reply(Ok({{"document", document.m_strLabel}, {"steps", document.m_pChain->Size()}}));
}

void CAutomationChannel::Quit(const QString&)
{
    Reply(Ok());
    QTimer::singleShot(0, &m_window, &QWidget::close);
}
