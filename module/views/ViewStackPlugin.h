#pragma once

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/String/String.h>

#include <QObject>
#include <QPointer>

class QStackedWidget;

namespace Zarn
{
class CLogger;
class CMessageIdFactory;
class CMessageThread;
} // namespace Zarn

// A stack of view widgets, showing one at a time. Created by the module entry as "ViewStack"; the
// host holds its Zarn::CPluginBase part. GUI thread only.
//
// Owns its QStackedWidget (parentless until a later owner reparents it): the destructor deletes it
// unless Qt already did. The host objects borrowed in Init are never deleted.
class CViewStackPlugin : public QObject, public Zarn::CPluginBase
{
    Q_OBJECT

public:
    CViewStackPlugin();
    ~CViewStackPlugin() override;

    using Zarn::CPluginBase::Init;
    // "Version", "WidgetPtr" (the QStackedWidget, not owned by the record), "PluginType",
    // "PluginSubType", "PluginName" (empty before Init).
    void GetPluginSetup(Zarn::CValueMap& setup) override;
    // Reads "name" (default "CViewStackPlugin") and borrows "tmp/commthread" and
    // "tmp/messageidfactory". Throws Zarn::CException naming "CViewStackPlugin::Init".
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    // Not wrapped: what a handler throws reaches the host unchanged.
    void UpdateParameters(const Zarn::CValueMap& message) override;

private:
    Zarn::CMessageIdFactory* m_pMessageIdFactory;
    Zarn::CMessageThread* m_pCommThread;
    Zarn::CLogger* m_pLogger; // this plug-in borrows no logger: stays null
    Zarn::CString m_strName;
    QPointer<QStackedWidget> m_pWidgetStack;
};
