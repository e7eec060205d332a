#pragma once

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/String/String.h>

#include <QMetaObject>
#include <QObject>
#include <QPointer>

#include <map>

class QEvent;
class QMdiArea;
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
// Owns its QMdiArea (parentless unless Init's "parent" names one): the destructor deletes it
// unless Qt already did. Views and their widgets are lent; a widget lives in a sub-window of the
// area until the view destroys it, which takes the sub-window away. The host objects borrowed in
// Init are never deleted.
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

    // Turns a close of a view's widget into REMOVE_VIEW and keeps the window open.
    bool eventFilter(QObject* watched, QEvent* event) override;

public slots:
    // The user activated the window of `widget`: posts FOCUS_VIEW for its view. Widgets of no
    // view (and null) are ignored.
    void SlotWidgetActivated(QWidget* widget);

private:
    // Drops a destroyed widget from both maps; only the address is used.
    void ForgetWidget(QWidget* widget);
    void ConnectActivation();
    void DisconnectActivation();
    void PostView(const char* szName, Zarn::CPluginBase* view);

    Zarn::CMessageIdFactory* m_pMessageIdFactory;
    Zarn::CMessageThread* m_pCommThread;
    Zarn::CLogger* m_pLogger; // this plug-in borrows no logger: stays null
    Zarn::CString m_strName;
    Zarn::CString m_strWidgetPath;
    QPointer<QMdiArea> m_pWorkspace;
    std::map<Zarn::CPluginBase*, QWidget*> m_mapViewToWidget;
    std::map<QWidget*, Zarn::CPluginBase*> m_mapWidgetToView;
    QMetaObject::Connection m_connActivated;
};
