#pragma once

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/String/String.h>

#include <QObject>
#include <QPointer>

class QListWidget;

namespace Zarn
{
class CMessageIdFactory;
class CMessageThread;
} // namespace Zarn

// Lists every open view and asks for the one the user highlights to be focused. Created by the
// module entry as "Navigator"; the host holds its Zarn::CPluginBase part. GUI thread only.
//
// Owns its list widget (parentless until a later owner reparents it): the destructor deletes it
// unless Qt already did. The host objects borrowed in Init are never deleted.
class CNavigatorPlugin : public QObject, public Zarn::CPluginBase
{
    Q_OBJECT

public:
    CNavigatorPlugin();
    ~CNavigatorPlugin() override;

    using Zarn::CPluginBase::Init;
    // "Version", "WidgetPtr" (the list widget, not owned by the record), "PluginType",
    // "PluginSubType"; no "PluginName".
    void GetPluginSetup(Zarn::CValueMap& setup) override;
    // Reads "name" (a string, else "unknown") and borrows "tmp/commthread" and
    // "tmp/messageidfactory". Throws Zarn::CException naming "CNavigatorPlugin::Init".
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    // Throws Zarn::CException naming "CNavigatorPlugin::UpdateParameters".
    void UpdateParameters(const Zarn::CValueMap& message) override;

private:
    Zarn::CMessageIdFactory* m_pMessageIdFactory;
    Zarn::CMessageThread* m_pCommThread;
    Zarn::CString m_strName;
    QPointer<QListWidget> m_pListBox;
};
