#pragma once

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/String/String.h>

#include <QObject>
#include <QPointer>

class QMdiArea;

namespace Zarn
{
class CLogger;
class CMessageIdFactory;
class CMessageThread;
} // namespace Zarn

// A multi-window area holding every view's widget. Created by the module entry as "Workspace"; the
// host holds its Zarn::CPluginBase part. GUI thread only.
//
// Owns its QMdiArea (parentless until a later owner reparents it): the destructor deletes it
// unless Qt already did. The host objects borrowed in Init are never deleted.
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
    // Reads "name" (default "CWorkspacePlugin") and borrows "tmp/commthread" and
    // "tmp/messageidfactory". Throws Zarn::CException naming "CWorkspacePlugin::Init".
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    // Throws Zarn::CException naming "CWorkspacePlugin::UpdateParameters".
    void UpdateParameters(const Zarn::CValueMap& message) override;

private:
    Zarn::CMessageIdFactory* m_pMessageIdFactory;
    Zarn::CMessageThread* m_pCommThread;
    Zarn::CLogger* m_pLogger; // this plug-in borrows no logger: stays null
    Zarn::CString m_strName;
    QPointer<QMdiArea> m_pWorkspace;
};
