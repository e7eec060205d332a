#pragma once

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/String/String.h>

#include <QMetaObject>
#include <QObject>
#include <QAction>
#include <QKeySequence>
#include <QList>
#include <QPointer>
#include <QRect>

#include <map>
#include <optional>
#include <utility>
#include <vector>

class QEvent;
class QMdiArea;
class QMdiSubWindow;
class QShortcut;
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
// ACTIVE_VIEW without echo. Reports the user's actions only: activating a window posts FOCUS_VIEW,
// closing one posts REMOVE_VIEW and leaves it open until the repository removes the view.
//
// While a maximised window fills the area, the windows it covers are set aside: taken out of the
// area, hidden and kept by the workspace, and put back when they are activated or when no
// maximised window is left (the user restored it, or its view went). The area then holds only
// what the user can see, which keeps every operation cheap with a thousand views: QMdiArea visits
// all of its windows, some of them twice over, on each activation.
//
// Owns its QMdiArea (parentless unless Init's "parent" names one) and the windows set aside: the
// destructor deletes them unless Qt already did. Views and their widgets are lent; a widget lives
// in a sub-window until the view destroys it, which takes the sub-window away. The host objects
// borrowed in Init are never deleted.
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
    // entry changes nothing.
    void AddView(Zarn::CPluginBase* view);
    // Forgets the view; its window stays until the view destroys the widget.
    void RemoveView(Zarn::CPluginBase* view);
    // Makes the view's window the active one without posting FOCUS_VIEW. Unknown or null views
    // change nothing.
    void ActivateView(Zarn::CPluginBase* view);

    // The view's window, in the area or set aside; null for views without one.
    QMdiSubWindow* WindowOfView(Zarn::CPluginBase* view) const;
    // Whether the window is set aside behind a maximised one.
    bool IsSetAside(const QMdiSubWindow* window) const;

    // Turns a close of a view's widget into REMOVE_VIEW and keeps the window open.
    bool eventFilter(QObject* watched, QEvent* event) override;

public slots:
    // The user activated the window of `widget`: posts FOCUS_VIEW for its view. Widgets of no
    // view (and null) are ignored.
    void SlotWidgetActivated(QWidget* widget);

private:
    // Drops a destroyed widget from both maps; only the address is used. A maximised window
    // losing its widget hands the area to the window set aside last, as QMdiArea would activate
    // the next window.
    void ForgetWidget(QWidget* widget, QWidget* frameWidget);
    // The area; null once it is gone or while it is being destroyed.
    QMdiArea* Area() const;
    // The first visible maximised window of the area, the active one preferred; null if none.
    QMdiSubWindow* CoveringWindow() const;
    // Sets aside every window of the area that a maximised one covers.
    void SetAsideCoveredWindows();
    void SetAside(QMdiSubWindow* window);
    // Drops the windows set aside that are gone.
    void PruneSetAside();
    // Puts a window set aside back into the area and shows it, maximised or as it was.
    void BringBack(QMdiSubWindow* window, bool maximized);
    // Puts every window set aside back, oldest first, once no maximised window covers them.
    void BringBackAll();
    void SlotWindowStateChanged(Qt::WindowStates oldState, Qt::WindowStates newState);
    // Ctrl+Tab (forward) and Ctrl+Shift+Tab while windows are set aside: the area can only cycle
    // through what it holds, so the workspace swaps the maximised window itself. Forward takes the
    // window active most recently before, back the one set aside longest ago.
    void SlotCycleWindows(bool forward);
    // The cycling keys are the workspace's only while windows are set aside.
    void UpdateCycleKeys();
    void ConnectActivation();
    void DisconnectActivation();
    void PostView(const char* szName, Zarn::CPluginBase* view);

    Zarn::CMessageIdFactory* m_pMessageIdFactory;
    Zarn::CMessageThread* m_pCommThread;
    Zarn::CLogger* m_pLogger; // this plug-in borrows no logger: stays null
    Zarn::CString m_strName;
    Zarn::CString m_strWidgetPath;
    // Held as a widget: while Qt destroys the area, signals of its windows still arrive, and only
    // a checked cast (Area) tells that it is no QMdiArea any more.
    QPointer<QWidget> m_pWorkspace;
    std::map<Zarn::CPluginBase*, QWidget*> m_mapViewToWidget;
    std::map<QWidget*, Zarn::CPluginBase*> m_mapWidgetToView;
    QMetaObject::Connection m_connActivated;
    // A window set aside and what it is given back when it returns.
    struct SSetAside
    {
        QPointer<QMdiSubWindow> pWindow;
        std::optional<QRect> geometry; // its place in the area, unless it was maximised
        std::vector<std::pair<QPointer<QAction>, QList<QKeySequence>>> lstShortcuts;
    };
    // In the order they were set aside: the last one was active most recently.
    std::vector<SSetAside> m_lstSetAside;
    // Set while the workspace moves windows itself, so that the state changes it causes are not
    // taken for the user's.
    bool m_bArranging = false;
    QPointer<QShortcut> m_pNextWindowKey;
    QPointer<QShortcut> m_pPreviousWindowKey;
};
