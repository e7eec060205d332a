#include "AutomationChannel.h"

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
#include <QPixmap>
#include <QScreen>
#include <QSocketNotifier>
#include <QStackedWidget>
#include <QTest>
#include <QTimer>

#include <iostream>

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
    std::cout << json << std::endl;
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

void CAutomationChannel::Run(const QString& line)
{
    const QString strCommand = line.section(' ', 0, 0);
    const QString strArgument = line.section(' ', 1).trimmed();
    auto* pArea = m_window.findChild<QMdiArea*>();
    auto* pList = m_window.findChild<QListWidget*>();

    if (strCommand == "state")
    {
        Reply(State());
    }
    else if (strCommand == "trigger" || strCommand == "configure")
    {
        QAction* pAction = m_window.Action(strArgument.toStdString(), strCommand == "configure");
        if (pAction == nullptr && strCommand == "trigger")
        {
            pAction = m_window.findChild<QAction*>(strArgument); // a command of the window
        }
        if (pAction == nullptr || !pAction->isEnabled())
        {
            Reply(Failed(pAction == nullptr ? "no such action" : "the action is disabled"));
            return;
        }
        Reply(Ok());
        // After the answer: the action may open a dialog that waits for the next command.
        QTimer::singleShot(0, pAction, &QAction::trigger);
    }
    else if (strCommand == "open")
    {
        Reply(Ok());
        const QStringList lstFiles = strArgument.split(' ', Qt::SkipEmptyParts);
        QTimer::singleShot(0, &m_window, [this, lstFiles]() { m_window.OpenFiles(lstFiles); });
    }
    else if (strCommand == "click-navigator")
    {
        const int nRow = strArgument.toInt();
        if (pList == nullptr || nRow < 0 || nRow >= pList->count())
        {
            Reply(Failed("no such navigator entry"));
            return;
        }
        const QRect rect = pList->visualItemRect(pList->item(nRow));
        QTest::mouseClick(pList->viewport(), Qt::LeftButton, Qt::NoModifier, rect.center());
        // A click also brings the main window back to the front, as a window manager does
        // (after a dialog nothing else may have).
        pList->window()->activateWindow();
        Reply(Ok());
    }
    else if (strCommand == "close-window")
    {
        const QList<QMdiSubWindow*> lstWindows =
            pArea == nullptr ? QList<QMdiSubWindow*>() : pArea->subWindowList();
        const int nIndex = strArgument.toInt();
        if (nIndex < 0 || nIndex >= lstWindows.size())
        {
            Reply(Failed("no such window"));
            return;
        }
        Reply(Ok());
        QTimer::singleShot(0, lstWindows[nIndex], &QMdiSubWindow::close);
    }
    else if (strCommand == "screenshot")
    {
        QScreen* pScreen = QGuiApplication::primaryScreen();
        const QPixmap pixmap = pScreen->grabWindow(0);
        Reply(pixmap.save(strArgument, "PNG")
                  ? Ok({{"width", pixmap.width()}, {"height", pixmap.height()}})
                  : Failed("cannot write " + strArgument.toStdString()));
    }
    else if (strCommand == "window-screenshot")
    {
        const QPixmap pixmap = m_window.grab();
        Reply(pixmap.save(strArgument, "PNG")
                  ? Ok({{"width", pixmap.width()}, {"height", pixmap.height()}})
                  : Failed("cannot write " + strArgument.toStdString()));
    }
    else if (strCommand == "messages")
    {
        m_window.JournalDock()->setVisible(strArgument != "off");
        Reply(Ok());
    }
    else if (strCommand == "answer")
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
            if (pButton->text().remove('&') == strArgument)
            {
                Reply(Ok());
                QTimer::singleShot(0, pButton, &QAbstractButton::click);
                return;
            }
        }
        Reply(Failed("the question has no button " + strArgument.toStdString()));
    }
    else if (strCommand == "record")
    {
        m_window.SetRecording(strArgument != "off");
        Reply(Ok());
    }
    else if (strCommand == "save-recording")
    {
        const int nChoice = m_window.RecordingChoice();
        if (!m_window.SaveRecording(strArgument))
        {
            Reply(Failed("cannot write " + strArgument.toStdString()));
            return;
        }
        const CMainWindow::SRecordedDocument& document =
            m_window.RecordedDocuments()[static_cast<size_t>(nChoice)];
        Reply(Ok({{"document", document.m_strLabel}, {"steps", document.m_pChain->Size()}}));
    }
    else if (strCommand == "quit")
    {
        Reply(Ok());
        QTimer::singleShot(0, &m_window, &QWidget::close);
    }
    else
    {
        Reply(Failed("unknown command " + strCommand.toStdString()));
    }
}

std::string CAutomationChannel::State() const
{
    nlohmann::json state = nlohmann::json::object();
    nlohmann::json documents = nlohmann::json::array();
    for (const Zarn::CValueMap* pDocument : m_window.Documents().Documents())
    {
        documents.push_back({{"label", Zarn::ImageDocument::Label(*pDocument)},
                             {"file", Zarn::ImageDocument::FileName(*pDocument)},
                             {"saved", Zarn::ImageDocument::IsSaved(*pDocument)}});
    }
    state["documents"] = documents;

    nlohmann::json navigator = nlohmann::json::array();
    if (auto* pList = m_window.findChild<QListWidget*>())
    {
        for (int i = 0; i < pList->count(); ++i)
        {
            navigator.push_back(pList->item(i)->text().toStdString());
        }
        state["navigator_current"] = pList->currentRow();
    }
    state["navigator"] = navigator;

    nlohmann::json windows = nlohmann::json::array();
    if (auto* pArea = m_window.findChild<QMdiArea*>())
    {
        for (QMdiSubWindow* pWindow : pArea->subWindowList())
        {
            windows.push_back(pWindow->windowTitle().toStdString());
        }
        QMdiSubWindow* pActive = pArea->activeSubWindow();
        state["active_window"] = pActive != nullptr ? pActive->windowTitle().toStdString() : "";
    }
    state["windows"] = windows;
    if (auto* pStack = qobject_cast<QStackedWidget*>(m_window.centralWidget()))
    {
        state["stack_pages"] = pStack->count();
        state["stack_current"] = pStack->currentWidget() != nullptr
                                     ? pStack->currentWidget()->windowTitle().toStdString()
                                     : "";
    }
    state["title"] = m_window.windowTitle().toStdString();
    state["status"] = m_window.StatusText().toStdString();
    state["journal_lines"] = m_window.JournalDock()->LineCount();
    state["recording"] = m_window.IsRecording();
    nlohmann::json recorded = nlohmann::json::array();
    for (const CMainWindow::SRecordedDocument& document : m_window.RecordedDocuments())
    {
        recorded.push_back(document.m_strLabel);
    }
    state["recorded_documents"] = recorded;
    state["recorded_steps"] = m_window.RecordingSteps().Size(); // of the document offered first

    nlohmann::json actions = nlohmann::json::object();
    for (QAction* pAction : m_window.findChildren<QAction*>())
    {
        if (!pAction->objectName().isEmpty())
        {
            actions[pAction->objectName().toStdString()] = pAction->isEnabled();
        }
    }
    state["actions"] = actions;

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
    return Ok(state);
}
