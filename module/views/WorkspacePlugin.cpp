#include "views/WorkspacePlugin.h"

#include "views/ContainerWidget.h"

#include "frame/Messages.h"
#include "frame/PluginErrors.h"

#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QAction>
#include <QCoreApplication>
#include <QEvent>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QRect>
#include <QScopedValueRollback>
#include <QString>
#include <QWidget>

#include <functional>

namespace
{

// The sub-window of `workspace` that holds `widget`, or null.
QMdiSubWindow* SubWindowOf(QMdiArea* workspace, QWidget* widget)
{
    auto* pSubWindow = qobject_cast<QMdiSubWindow*>(widget->parentWidget());
    if (pSubWindow == nullptr || pSubWindow->mdiArea() != workspace)
    {
        return nullptr;
    }
    return pSubWindow;
}

// The usual frame, kept on top: QMdiArea raises a window that is not on top by walking its whole
// stacking order and looking each window up in its list, which costs the square of the number of
// windows on every activation. Windows that are all on top keep their order among each other.
constexpr Qt::WindowFlags kWindowFlags = Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                                         Qt::WindowMinMaxButtonsHint | Qt::WindowCloseButtonHint |
                                         Qt::WindowStaysOnTopHint;

// Every window is kept on top for speed (kWindowFlags); the menu's "Stay on Top" entry, its only
// checkable one, would show that detail ticked and, unticked, make that window's raises slow.
void HideStayOnTopEntry(const QMdiSubWindow* window)
{
    if (const QMenu* pMenu = window->systemMenu())
    {
        for (QAction* pAction : pMenu->actions())
        {
            if (pAction->isCheckable())
            {
                pAction->setVisible(false);
            }
        }
    }
}

using CWorkspaceArea = CContainerWidget<QMdiArea>;

} // namespace

// Tells whether the application is handling the user's input: the last event the window system
// delivered was a click, a key or the like. Qt's own activations (a window shown, the area
// restoring its window when the application is activated, focus coming back after a dialog)
// follow other events.
class CWorkspacePlugin::CUserInputWatch : public QObject
{
public:
    CUserInputWatch()
    {
        if (QCoreApplication* pApplication = QCoreApplication::instance())
        {
            pApplication->installEventFilter(this);
        }
    }

    ~CUserInputWatch() override
    {
        if (QCoreApplication* pApplication = QCoreApplication::instance())
        {
            pApplication->removeEventFilter(this);
        }
    }

    bool IsUserInput() const { return m_bUserInput; }

    bool eventFilter(QObject* /*watched*/, QEvent* event) override
    {
        if (!event->spontaneous())
        {
            return false;
        }
        switch (event->type())
        {
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonRelease:
        case QEvent::MouseButtonDblClick:
        case QEvent::KeyPress:
        case QEvent::KeyRelease:
        case QEvent::Shortcut:
        case QEvent::Wheel:
        case QEvent::ContextMenu:
        case QEvent::TouchBegin:
        case QEvent::TouchEnd:
        case QEvent::TabletPress:
        case QEvent::TabletRelease:
            m_bUserInput = true;
            break;
        // The pointer passing by decides nothing.
        case QEvent::MouseMove:
        case QEvent::HoverMove:
        case QEvent::HoverEnter:
        case QEvent::HoverLeave:
        case QEvent::Enter:
        case QEvent::Leave:
        case QEvent::Paint:
        case QEvent::UpdateRequest:
            break;
        default:
            m_bUserInput = false;
            break;
        }
        return false;
    }

private:
    bool m_bUserInput = false;
};

CWorkspacePlugin::CWorkspacePlugin()
    : m_host("CWorkspacePlugin"), m_messageTable(CViewContainerHost::MakeViewTable(
                                      [this](Zarn::CPluginBase* view) { AddView(view); },
                                      [this](Zarn::CPluginBase* view) { RemoveView(view); },
                                      [this](Zarn::CPluginBase* view) { ActivateView(view); }))
{
    auto* pArea = new CWorkspaceArea;
    pArea->m_fnBeforeDestruction = [this]
    {
        ReleaseWidgets();
        m_bAreaGone = true;
    };
    // A maximised window stays maximised under the one activated after it (the workspace
    // maximises that one itself): restoring it would relayout it and, with the area's updates
    // switched off meanwhile, touch every widget in the area.
    pArea->setOption(QMdiArea::DontMaximizeSubWindowOnActivation, true);
    m_pWorkspace = pArea;
}

CWorkspacePlugin::~CWorkspacePlugin()
{
    ReleaseWidgets();
    if (auto* pArea = static_cast<CWorkspaceArea*>(m_pWorkspace.data());
        pArea != nullptr && !m_bAreaGone)
    {
        pArea->m_fnBeforeDestruction = nullptr;
        // An area with a parent goes with its parent.
        if (pArea->parentWidget() == nullptr)
        {
            delete pArea;
        }
    }
}

void CWorkspacePlugin::GetPluginSetup(Zarn::CValueMap& setup)
{
    m_host.WriteSetup(setup, Area(), "Workspace");
}

void CWorkspacePlugin::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    DocView::RunWrapped("CWorkspacePlugin::Init",
                        [&]
                        {
                            QWidget* pParent = m_host.ReadInit(parameters);
                            if (Area() == nullptr)
                            {
                                return;
                            }
                            if (pParent != nullptr)
                            {
                                Area()->setParent(pParent);
                            }
                            Area()->setObjectName(QString::fromUtf8(m_host.Name().c_str()));
                            if (!m_pInputWatch)
                            {
                                m_pInputWatch = std::make_unique<CUserInputWatch>();
                            }
                            ConnectActivation();
                        });
}

void CWorkspacePlugin::UpdateParameters(const Zarn::CValueMap& message)
{
    DocView::RunWrapped("CWorkspacePlugin::UpdateParameters",
                        [&] { m_host.Dispatch(m_messageTable, message); });
}

void CWorkspacePlugin::AddView(Zarn::CPluginBase* view)
{
    if (view == nullptr || Area() == nullptr)
    {
        return;
    }
    Zarn::CValueMap setup;
    view->GetPluginSetup(setup);
    const Zarn::CValue* pEntry = m_host.WidgetEntry(setup);
    if (pEntry == nullptr)
    {
        return; // no widget, no window: unlike the view stack there is no placeholder
    }
    QWidget* pWidget = DocView::PointerOf<QWidget>(pEntry);
    if (pWidget == nullptr)
    {
        return;
    }
    const bool bShowMaximized = setup.EntryBool(Zarn::CValue_Key("showmaximized"), true);

    m_views.Enter(view, pWidget);
    pWidget->installEventFilter(this);

    // The window keeps the widget's own position and size, frame added around it. Shown while a
    // maximised window covers the area, it comes up maximised in its place, as the area's own
    // activation would have it (its own size stays for when it is restored).
    const QRect rectWidget = pWidget->geometry();
    const QMdiSubWindow* pCover = Area()->activeSubWindow();
    const bool bCovered = pCover != nullptr && pCover->isMaximized();
    // Showing a window activates it: Qt's doing, not the user's.
    const QScopedValueRollback<bool> arranging(m_bArranging, true);
    QMdiSubWindow* pSubWindow = SubWindowOf(Area(), pWidget);
    if (pSubWindow == nullptr)
    {
        pSubWindow = NewSubWindow(pWidget);
    }
    pSubWindow->setGeometry(
        QRect(rectWidget.topLeft(), rectWidget.size().grownBy(pSubWindow->contentsMargins())));
    pWidget->show();
    pSubWindow->show();
    if (bShowMaximized || bCovered)
    {
        pSubWindow->showMaximized();
    }
    SetCloseKeys(Area()->activeSubWindow(), true);
}

QMdiSubWindow* CWorkspacePlugin::NewSubWindow(QWidget* widget)
{
    QMdiSubWindow* pSubWindow = Area()->addSubWindow(widget, kWindowFlags);
    SetCloseKeys(pSubWindow, false);
    HideStayOnTopEntry(pSubWindow);
    // A destroyed widget is forgotten and its emptied window leaves the area at once.
    QObject::connect(widget, &QObject::destroyed, this,
                     [this, widget, pFrame = QPointer<QWidget>(pSubWindow)]
                     {
                         // When the window itself is being destroyed (its children go in its
                         // QWidget destructor), it is no longer a sub-window: null.
                         ForgetWidget(widget, qobject_cast<QMdiSubWindow*>(pFrame.data()));
                     });
    QObject::connect(pSubWindow, &QMdiSubWindow::windowStateChanged, this,
                     [this, pFrame = QPointer<QMdiSubWindow>(pSubWindow)](Qt::WindowStates oldState,
                                                                          Qt::WindowStates newState)
                     { SlotWindowStateChanged(pFrame.data(), oldState, newState); });
    return pSubWindow;
}

void CWorkspacePlugin::RemoveView(Zarn::CPluginBase* view)
{
    if (QWidget* pWidget = m_views.Take(view); pWidget != nullptr)
    {
        pWidget->removeEventFilter(this);
    }
}

void CWorkspacePlugin::ActivateView(Zarn::CPluginBase* view)
{
    m_pActiveView = view;
    if (!m_views.HoldsView(view) || Area() == nullptr || m_bActivationPending)
    {
        return;
    }
    // Every activation walks all windows of the area: a burst of ACTIVE_VIEW between two turns of
    // the event loop activates only the view active at its end.
    m_bActivationPending = true;
    QMetaObject::invokeMethod(
        this, [this] { ApplyActiveView(); }, Qt::QueuedConnection);
}

void CWorkspacePlugin::ApplyActiveView()
{
    m_bActivationPending = false;
    QWidget* pWidget = m_views.WidgetOf(m_pActiveView);
    if (pWidget == nullptr || Area() == nullptr)
    {
        return;
    }
    DisconnectActivation();
    ActivateWindow(SubWindowOf(Area(), pWidget));
    pWidget->setFocus();
    Area()->update();
    ConnectActivation();
}

void CWorkspacePlugin::ActivateWindow(QMdiSubWindow* window)
{
    if (Area() == nullptr || window == nullptr || window->mdiArea() != Area())
    {
        return;
    }
    const QScopedValueRollback<bool> arranging(m_bArranging, true);
    // A maximised window covers the area: the one brought up in its place covers it as well.
    QMdiSubWindow* pActive = Area()->activeSubWindow();
    if (pActive != nullptr && pActive != window && pActive->isMaximized() && !window->isMaximized())
    {
        window->showMaximized();
    }
    // Focus alone activates a window only while the top-level window is active; the explicit
    // activation makes it the area's active window in every case.
    Area()->setActiveSubWindow(window);
    SetCloseKeys(window, true);
}

bool CWorkspacePlugin::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() != QEvent::Close)
    {
        return false;
    }
    Zarn::CPluginBase* pView = m_views.ViewOf(qobject_cast<QWidget*>(watched));
    if (pView == nullptr)
    {
        return false;
    }
    m_host.PostView("REMOVE_VIEW", pView);
    // Ignored and filtered: the widget and its window stay open until the repository removes the
    // view (INVALID_VIEW) and the view destroys the widget.
    event->ignore();
    return true;
}

void CWorkspacePlugin::SlotWidgetActivated(QWidget* widget)
{
    if (Zarn::CPluginBase* pView = m_views.ViewOf(widget); pView != nullptr)
    {
        m_host.PostView("FOCUS_VIEW", pView);
    }
}

void CWorkspacePlugin::SlotSubWindowActivated(QMdiSubWindow* window)
{
    if (window == nullptr)
    {
        return;
    }
    SetCloseKeys(window, true);
    if (m_bArranging)
    {
        return; // the workspace's own moves are no choice of the user's
    }
    Zarn::CPluginBase* pView = m_views.ViewOf(window->widget());
    if (pView == nullptr)
    {
        return;
    }
    if (m_pInputWatch && m_pInputWatch->IsUserInput())
    {
        SlotWidgetActivated(window->widget());
        return;
    }
    // Qt activated a window by itself, typically the one it remembers from before the
    // repository's last ACTIVE_VIEW: the repository's choice stands. Once the area has finished
    // this activation: a nested one would leave both windows marked active.
    if (pView != m_pActiveView)
    {
        QMetaObject::invokeMethod(
            this, [this] { ReactivateActiveViewWindow(); }, Qt::QueuedConnection);
    }
}

QMdiSubWindow* CWorkspacePlugin::ActiveViewWindow() const
{
    return WindowOfView(m_pActiveView);
}

void CWorkspacePlugin::ReactivateActiveViewWindow()
{
    QMdiSubWindow* pActive = ActiveViewWindow();
    if (pActive != nullptr && pActive != Area()->activeSubWindow())
    {
        ActivateWindow(pActive);
    }
}

void CWorkspacePlugin::SlotWindowStateChanged(QMdiSubWindow* window, Qt::WindowStates oldState,
                                              Qt::WindowStates newState)
{
    if (m_bArranging || window == nullptr || Area() == nullptr ||
        !oldState.testFlag(Qt::WindowMaximized) || newState.testFlag(Qt::WindowMaximized) ||
        newState.testFlag(Qt::WindowMinimized) || window != Area()->activeSubWindow())
    {
        return;
    }
    // The user restored the window that covered the others: those it kept maximised under it
    // come back at their places, the restored one stays active and in front (restoring a window
    // activates it). Once the area has finished restoring this one.
    QMetaObject::invokeMethod(
        this,
        [this, pWindow = QPointer<QMdiSubWindow>(window)]
        {
            if (Area() == nullptr || pWindow.isNull() || pWindow->mdiArea() != Area() ||
                pWindow->isMaximized())
            {
                return;
            }
            const QScopedValueRollback<bool> arranging(m_bArranging, true);
            for (QMdiSubWindow* pOther : Area()->subWindowList())
            {
                if (pOther != pWindow && pOther->isMaximized())
                {
                    pOther->showNormal();
                }
            }
            Area()->setActiveSubWindow(pWindow);
            pWindow->raise();
            SetCloseKeys(pWindow, true);
        },
        Qt::QueuedConnection);
}

void CWorkspacePlugin::ForgetWidget(QWidget* widget, QMdiSubWindow* window)
{
    m_views.TakeWidget(widget);
    // The emptied window leaves the area now rather than at its deferred deletion, so that the
    // window the area activates in its place is not taken for the user's choice.
    if (window == nullptr || Area() == nullptr || window->mdiArea() != Area())
    {
        return;
    }
    {
        const QScopedValueRollback<bool> arranging(m_bArranging, true);
        Area()->removeSubWindow(window);
        window->hide();
    }
    window->deleteLater();
    ReactivateActiveViewWindow();
}

void CWorkspacePlugin::ReleaseWidgets()
{
    DisconnectActivation();
    const QScopedValueRollback<bool> arranging(m_bArranging, true);
    if (Area() != nullptr)
    {
        for (QMdiSubWindow* pSubWindow : Area()->subWindowList())
        {
            QWidget* pWidget = pSubWindow->widget();
            if (pWidget == nullptr)
            {
                continue;
            }
            pWidget->removeEventFilter(this);
            QObject::disconnect(pWidget, nullptr, this, nullptr);
            pSubWindow->setWidget(nullptr);
            pWidget->hide();
            pWidget->setParent(nullptr);
            pSubWindow->hide();
        }
    }
    m_views.Clear();
    m_pActiveView = nullptr;
}

QMdiArea* CWorkspacePlugin::Area() const
{
    return m_bAreaGone ? nullptr : m_pWorkspace.data();
}

QMdiSubWindow* CWorkspacePlugin::WindowOfView(Zarn::CPluginBase* view) const
{
    QWidget* pWidget = m_views.WidgetOf(view);
    if (pWidget == nullptr || Area() == nullptr)
    {
        return nullptr;
    }
    return SubWindowOf(Area(), pWidget);
}

void CWorkspacePlugin::SetCloseKeys(QMdiSubWindow* window, bool enabled)
{
    // Every window's menu has a close action with the platform's close keys, and every such key
    // is registered with the application, which walks all registered keys whenever an action
    // with keys changes. Only the active window, the one the keys would close, keeps them.
    if (window == nullptr || window->systemMenu() == nullptr)
    {
        return;
    }
    const QList<QAction*> lstActions = window->systemMenu()->actions();
    if (!m_bMenuKeysKnown)
    {
        for (int i = 0; i < lstActions.size(); ++i)
        {
            if (!lstActions[i]->shortcuts().isEmpty())
            {
                m_lstMenuKeys.emplace_back(i, lstActions[i]->shortcuts());
            }
        }
        m_bMenuKeysKnown = true;
    }
    if (enabled && m_pKeyHolder != window)
    {
        SetCloseKeys(m_pKeyHolder.data(), false);
        m_pKeyHolder = window;
    }
    for (const auto& [nIndex, lstKeys] : m_lstMenuKeys)
    {
        if (nIndex < lstActions.size())
        {
            lstActions[nIndex]->setShortcuts(enabled ? lstKeys : QList<QKeySequence>());
        }
    }
}

void CWorkspacePlugin::ConnectActivation()
{
    DisconnectActivation();
    if (Area() == nullptr)
    {
        return;
    }
    m_connActivated =
        QObject::connect(Area(), &QMdiArea::subWindowActivated, this,
                         [this](QMdiSubWindow* subWindow) { SlotSubWindowActivated(subWindow); });
}

void CWorkspacePlugin::DisconnectActivation()
{
    if (m_connActivated)
    {
        QObject::disconnect(m_connActivated);
        m_connActivated = QMetaObject::Connection();
    }
}
