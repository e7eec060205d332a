#pragma once

#include "views/ViewContainerHost.h"

#include <Zarn/Plugin/PluginBase.h>

#include <QMetaObject>
#include <QObject>
#include <QPointer>

#include <set>

class QStackedWidget;
class QWidget;

// A stack of view widgets, showing one at a time. Created by the module entry as "ViewStack"; the
// host holds its Zarn::CPluginBase part.
//
// Thread: the GUI thread only (messages and the stack's signal alike); no locks.
// Handles: NEW_VIEW, INVALID_VIEW, ACTIVE_VIEW (in this order); sends: FOCUS_VIEW. The repository
// decides which view is current: the stack raises a page only for ACTIVE_VIEW (or when the
// current view goes) and reports a page the user brings up with FOCUS_VIEW, never one it raised.
// Throws: Init wraps every failure as one Zarn::CException naming "CViewStackPlugin::Init";
// UpdateParameters is not wrapped: data of the wrong type throws the unwrapping's
// Zarn::CExBadParam to the host unchanged, before anything changed. Writes no log lines.
//
// Owns its QStackedWidget only while it has no parent: the destructor deletes a parentless stack
// and leaves one with a parent to it. It never owns the views; their pages are lent by the views
// and never deleted here: a removed view's page leaves the stack (hidden, without parent), and
// when the plug-in or the stack goes first, the pages still on it leave it the same way. The
// "dummy widget" pages made for views without a widget are the stack's and go with it. The host
// objects borrowed in Init are never deleted.
class CViewStackPlugin : public QObject, public Zarn::CPluginBase
{
    Q_OBJECT

public:
    CViewStackPlugin();
    ~CViewStackPlugin() override;

    // The setup record of CViewContainerHost::WriteSetup with the QStackedWidget, "ViewStack".
    void GetPluginSetup(Zarn::CValueMap& setup) override;
    // CViewContainerHost::ReadInit (the parent is the stack's), then the empty page.
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    void UpdateParameters(const Zarn::CValueMap& message) override;

    // Gives the view a page (its widget, or a placeholder) without bringing it to the front.
    void AddView(Zarn::CPluginBase* view);
    // Takes the view's page off the stack; the empty page comes up first if it was current. The
    // page is not deleted; a view's own page leaves the stack's widget tree.
    void RemoveView(Zarn::CPluginBase* view);
    // Raises the view's page, or the empty page for a null or unknown view; sends nothing back.
    void ActivateView(Zarn::CPluginBase* view);

public slots:
    // The stack is showing `widget`: a view's page becomes current and FOCUS_VIEW is posted.
    void SlotWidgetActivated(QWidget* widget);

private:
    // A new stack whose destruction first releases the views' pages.
    QStackedWidget* NewStack();
    // The "empty" page, shown while no view is active.
    void AddEmptyPage();
    // Takes every view's page off the stack (hidden, without parent) and forgets all views.
    void ReleasePages();
    // Takes one page off the stack and out of its widget tree.
    void Release(QWidget* widget);
    void ConnectStack();
    void DisconnectStack();
    // Makes `widget` current and raises it.
    void Raise(QWidget* widget);

    CViewContainerHost m_host;
    DocView::CMessageTable m_messageTable;
    // The stack is deleted by hand (see above) rather than held by a unique_ptr: with a parent,
    // Qt's widget tree owns it.
    QPointer<QStackedWidget> m_pWidgetStack;
    QWidget* m_pEmptyWidget;   // child of the stack
    QWidget* m_pCurrentWidget; // not owned
    CViewWidgetMap m_views;
    std::set<QWidget*> m_setDummies;      // the placeholders made here, children of the stack
    QMetaObject::Connection m_connection; // currentChanged -> SlotWidgetActivated
};
