#pragma once

#include "views/ViewContainerHost.h"

#include <Zarn/Plugin/PluginBase.h>

#include <QKeySequence>
#include <QList>
#include <QMetaObject>
#include <QObject>
#include <QPointer>

#include <memory>
#include <utility>
#include <vector>

class QEvent;
class QMdiArea;
class QMdiSubWindow;
class QWidget;

// A multi-window area holding every view's widget. Created by the module entry as "Workspace"; the
// host holds its Zarn::CPluginBase part.
//
// Thread: the GUI thread only (messages, the area's signals and the event filters); no locks.
// Handles: NEW_VIEW, INVALID_VIEW, ACTIVE_VIEW (in this order); sends: FOCUS_VIEW, REMOVE_VIEW.
// Throws: Init and UpdateParameters wrap every failure as one Zarn::CException naming
// "CWorkspacePlugin::Init" / "CWorkspacePlugin::UpdateParameters". Writes no log lines.
//
// Mirrors the repository: a window per view on NEW_VIEW, dropped on INVALID_VIEW, activated on
// ACTIVE_VIEW without echo. Every view's window is a sub-window of the area (also those a
// maximised window covers), so the area's own tiling, cascading and closing see all of them.
// Reports the user's actions only: activating a window (a click, Ctrl+Tab) posts FOCUS_VIEW,
// closing one posts REMOVE_VIEW and leaves it open until the repository removes the view. What
// Qt activates by itself (a window shown, the area restoring its window when the application is
// activated again, focus coming back after a dialog) is not the user's choice: it posts nothing,
// and the window of the repository's active view is made active again.
//
// Cost with a thousand windows: QMdiArea visits all of its windows on each activation, raise and
// focus change. The windows stay on top (so raising one does not walk the whole stacking order
// against the window list), a covered window keeps its maximised state instead of being restored
// under the new one, only the active window's menu keeps its close shortcut, and ACTIVE_VIEW is
// applied on the next turn of the event loop, so that a burst of them activates one window.
//
// Owns its QMdiArea only while it has no parent: the destructor deletes a parentless area and
// leaves one with a parent to it. Views and their widgets are lent: a widget lives in a
// sub-window until the view destroys it, which takes the sub-window away; when the plug-in or the
// area goes first, the widgets are taken out of the area (hidden, without parent), never deleted.
// The host objects borrowed in Init are never deleted.
class CWorkspacePlugin : public QObject, public Zarn::CPluginBase
{
    Q_OBJECT

public:
    CWorkspacePlugin();
    ~CWorkspacePlugin() override;

    // The setup record of CViewContainerHost::WriteSetup with the QMdiArea, "Workspace".
    void GetPluginSetup(Zarn::CValueMap& setup) override;
    // CViewContainerHost::ReadInit (the parent is the area's); then watches the user's input.
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    void UpdateParameters(const Zarn::CValueMap& message) override;

    // A window for the view's widget (the entry at the widget path of its setup record), shown
    // maximised unless the record's "showmaximized" is false. A null view or one without a widget
    // entry changes nothing. Posts nothing.
    void AddView(Zarn::CPluginBase* view);
    // Forgets the view; its window stays until the view destroys the widget.
    void RemoveView(Zarn::CPluginBase* view);
    // Makes the view's window the active one (maximised if the active one was) on the next turn of
    // the event loop, without posting FOCUS_VIEW. Unknown or null views change no window.
    void ActivateView(Zarn::CPluginBase* view);

    // The view's window; null for views without one.
    QMdiSubWindow* WindowOfView(Zarn::CPluginBase* view) const;

    // Turns a close of a view's widget into REMOVE_VIEW and keeps the window open.
    bool eventFilter(QObject* watched, QEvent* event) override;

public slots:
    // The user activated the window of `widget`: posts FOCUS_VIEW for its view. Widgets of no
    // view (and null) are ignored.
    void SlotWidgetActivated(QWidget* widget);

private:
    class CUserInputWatch;

    // The window of a view's widget, new in the area, with its bookkeeping connected.
    QMdiSubWindow* NewSubWindow(QWidget* widget);
    // Drops a destroyed widget from both maps and takes its emptied window out of the area;
    // only the address is used.
    void ForgetWidget(QWidget* widget, QMdiSubWindow* window);
    // The area; null once it is gone or while it is being destroyed.
    QMdiArea* Area() const;
    // Takes every view's widget out of the area (hidden, without parent) and forgets all views:
    // run before the area goes, with the plug-in or with its parent.
    void ReleaseWidgets();
    // Any activation of the area's: keeps the close shortcut on the active window only, and
    // reports the user's activations (SlotWidgetActivated). Others are undone in favour of the
    // repository's active view.
    void SlotSubWindowActivated(QMdiSubWindow* window);
    // The user restored the maximised active window: the others come back at their places.
    void SlotWindowStateChanged(QMdiSubWindow* window, Qt::WindowStates oldState,
                                Qt::WindowStates newState);
    // Activates the window of the repository's active view, without posting FOCUS_VIEW.
    void ApplyActiveView();
    // The window of the repository's active view; null if it has none here.
    QMdiSubWindow* ActiveViewWindow() const;
    // Activates the active view's window again when Qt activated another one by itself.
    void ReactivateActiveViewWindow();
    // Activates `window` (null: none) as the workspace's own move, posting nothing.
    void ActivateWindow(QMdiSubWindow* window);
    void SetCloseKeys(QMdiSubWindow* window, bool enabled);
    void ConnectActivation();
    void DisconnectActivation();

    CViewContainerHost m_host;
    DocView::CMessageTable m_messageTable;
    // Deleted by hand (see above) rather than held by a unique_ptr: with a parent, Qt's widget
    // tree owns the area.
    QPointer<QMdiArea> m_pWorkspace;
    bool m_bAreaGone = false; // set when the area starts its destruction
    CViewWidgetMap m_views;
    // The view the repository last announced as active (ACTIVE_VIEW); may be unknown here.
    Zarn::CPluginBase* m_pActiveView = nullptr;
    // FOCUS_VIEW reporting; taken down while the workspace moves windows itself.
    QMetaObject::Connection m_connActivated;
    bool m_bArranging = false;
    bool m_bActivationPending = false; // ApplyActiveView is queued
    // The window that holds the close shortcut of the windows' menus, and that shortcut.
    QPointer<QMdiSubWindow> m_pKeyHolder;
    std::vector<std::pair<int, QList<QKeySequence>>> m_lstMenuKeys; // action index, keys
    bool m_bMenuKeysKnown = false;
    std::unique_ptr<CUserInputWatch> m_pInputWatch;
};
