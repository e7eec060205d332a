#pragma once

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/String/String.h>

#include <QKeySequence>
#include <QList>
#include <QMetaObject>
#include <QObject>
#include <QPointer>

#include <map>
#include <memory>
#include <utility>
#include <vector>

class QEvent;
class QMdiArea;
class QMdiSubWindow;
class QWidget;

namespace Zarn
{
class CLogger;
class CMessageIdFactory;
class CMessageThread;
} // namespace Zarn

// A multi-window area holding every view's widget. Created by the module entry as "Workspace"; the
// host holds its Zarn::CPluginBase part. GUI thread only.
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

    using Zarn::CPluginBase::Init;
    // "Version", "WidgetPtr" (the QMdiArea, not owned by the record), "PluginType",
    // "PluginSubType", "PluginName" (empty before Init).
    void GetPluginSetup(Zarn::CValueMap& setup) override;
    // Reads "parent" (a QWidget pointer, optional), "name" (default "CWorkspacePlugin") and
    // "widgetpath" (default "WidgetPtr"), borrows "tmp/commthread" and "tmp/messageidfactory".
    // Throws Zarn::CException naming "CWorkspacePlugin::Init".
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    // NEW_VIEW, INVALID_VIEW, ACTIVE_VIEW; a map without both "id" and "data" and any other
    // message are ignored. Throws Zarn::CException naming "CWorkspacePlugin::UpdateParameters".
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
    void PostView(const char* szName, Zarn::CPluginBase* view);

    Zarn::CMessageIdFactory* m_pMessageIdFactory;
    Zarn::CMessageThread* m_pCommThread;
    Zarn::CLogger* m_pLogger; // this plug-in borrows no logger: stays null
    Zarn::CString m_strName;
    Zarn::CString m_strWidgetPath;
    QPointer<QMdiArea> m_pWorkspace;
    bool m_bAreaGone = false; // set when the area starts its destruction
    std::map<Zarn::CPluginBase*, QWidget*> m_mapViewToWidget;
    std::map<QWidget*, Zarn::CPluginBase*> m_mapWidgetToView;
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
