#pragma once

#include "frame/MessageCatalogue.h"

#include <Zarn/Plugin/PluginBase.h>

#include <QPointer>
#include <QString>

#include <functional>

class CActivityDialog;

namespace Zarn
{
class CMessageIdFactory;
} // namespace Zarn

// Shows a modal busy dialog while other parts of the application work, on request by message.
// Created by the module entry as "ActivityDialog".
//
// Thread: the GUI thread only; no locks.
// Handles: ACTIVITY_START, ACTIVITY_STOP, ACTIVITY_UPDATE, ON_ACTION (compared in this order):
// ACTIVITY_START and the action "popup_activity" show the dialog, ACTIVITY_UPDATE changes its
// text, ACTIVITY_STOP hides it (no counting: every start shows, every stop hides). Sends nothing.
// Throws: Init and UpdateParameters wrap every failure as one Zarn::CException naming
// "CActivityDialogPlugin::Init" / "CActivityDialogPlugin::UpdateParameters". Borrows no logger:
// a new text is echoed on standard output ("receiving message: ...") for watchers of the output.
//
// Owns the dialog; the message id factory borrowed in Init is lent by the host, never deleted.
class CActivityDialogPlugin : public Zarn::CPluginBase
{
public:
    CActivityDialogPlugin();
    ~CActivityDialogPlugin() override;

    // "Version", "PluginType", "PluginSubType"; no "PluginName", no "WidgetPtr".
    void GetPluginSetup(Zarn::CValueMap& setup) override;
    // Borrows "tmp/messageidfactory" and builds the (hidden) dialog over the application's main
    // widget from "message" (default "Please wait") and "animation" (a file, optional).
    // Throws Zarn::CException naming "CActivityDialogPlugin::Init".
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    // Destroys the dialog; the map is not used. No message may be delivered afterwards.
    void Run(Zarn::CValueMap& data) override;
    // Throws Zarn::CException naming "CActivityDialogPlugin::UpdateParameters".
    void UpdateParameters(const Zarn::CValueMap& message) override;

    // Null before Init and after Run.
    CActivityDialog* Dialog() const;
    const QString& Message() const { return m_strMessage; }

private:
    void HandleMessage(const Zarn::CValueMap& message);
    void StartActivity();
    void StopActivity();
    void UpdateActivity(const Zarn::CValueMap& message);
    void OnAction(const Zarn::CValue* action);
    void ShowDialog();

    Zarn::CMessageIdFactory* m_pMessageIdFactory; // lent by the host
    DocView::CMessageTable m_messageTable;        // built once by the constructor
    // Owned; a QPointer as well so that a parent that goes first does not leave it dangling.
    QPointer<CActivityDialog> m_pDialog;
    QString m_strMessage;
};

// The error wrapping of CActivityDialogPlugin::UpdateParameters: like the other plug-ins', but
// an unknown exception reads "UNKNOWN EXCEPTION!" (spelt right, unlike Init's; both are kept).
void RunWrappedActivityUpdate(const std::function<void()>& body);
