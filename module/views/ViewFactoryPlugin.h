#pragma once

#include <Zarn/Plugin/PluginBase.h>

#include <list>

class QLabel;

namespace Zarn
{
class CMessageIdFactory;
class CMessageThread;
class CValue;
} // namespace Zarn

// Turns each new document into a view through the configured view factory plug-ins. Created by
// the module entry as "ViewFactory". GUI thread only. The host objects borrowed in Init are never
// deleted. Progress and error lines go to standard output, one flushed line each.
class CViewFactoryPlugin : public Zarn::CPluginBase
{
public:
    CViewFactoryPlugin();
    // Deletes the orphanage if DeleteData has not; never deletes the factories.
    ~CViewFactoryPlugin() override;

    using Zarn::CPluginBase::Init;
    // "Version", "PluginType", "PluginSubType"; no "PluginName", no "WidgetPtr".
    void GetPluginSetup(Zarn::CValueMap& setup) override;
    // Makes the orphanage, borrows "tmp/commthread" and "tmp/messageidfactory" and loads one
    // factory per "views" entry (a broken entry is printed and skipped). Throws Zarn::CException
    // naming "CViewFactoryPlugin::Init".
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    // Runs DeleteData of each factory and deletes it, then deletes the orphanage (never the view
    // widgets still on it).
    void DeleteData() override;
    // Handles NEW_DOCUMENT. Throws Zarn::CException naming "CViewFactoryPlugin::UpdateParameters".
    void UpdateParameters(const Zarn::CValueMap& message) override;

    // Lets the first factory that accepts `document` make a view and posts ADD_VIEW for it. The
    // document is lent; the new view goes to the repository with ADD_VIEW.
    void AddCreateView(Zarn::CValueMap* document);

private:
    void LoadFactory(const Zarn::CValue* entry, bool bHasParent);
    // Deletes the orphanage; the view widgets still on it are taken off first (hidden, without
    // parent), since their views own them.
    void DeleteOrphanage();

    Zarn::CMessageIdFactory* m_pMessageIdFactory;
    Zarn::CMessageThread* m_pCommThread;
    std::list<Zarn::CPluginBase*> m_lstFactories; // owned, in configuration order
    QLabel* m_pOrphanage; // owned; hidden provisional parent of the factories' widgets
};
