#pragma once

#include "frame/MessageCatalogue.h"

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
// the module entry as "ViewFactory".
//
// Thread: the GUI thread only; no locks.
// Handles: NEW_DOCUMENT; sends: ADD_VIEW (the new view goes to the repository with it).
// Throws: Init and UpdateParameters wrap every failure as one Zarn::CException naming
// "CViewFactoryPlugin::Init" / "CViewFactoryPlugin::UpdateParameters"; a broken "views" entry ends
// only that entry. Borrows no logger: its progress and error lines go to standard output, one
// flushed line each, as readers of that output expect.
//
// Owns the factories and the orphanage label; never the views (lent to the repository at once)
// nor the host objects borrowed in Init.
class CViewFactoryPlugin : public Zarn::CPluginBase
{
public:
    CViewFactoryPlugin();
    // Deletes the orphanage if DeleteData has not; never deletes the factories.
    ~CViewFactoryPlugin() override;

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

    Zarn::CMessageIdFactory* m_pMessageIdFactory; // lent by the host
    Zarn::CMessageThread* m_pCommThread;          // lent by the host
    DocView::CMessageTable m_messageTable;        // built once by the constructor
    // Owned, in configuration order. Raw pointers: DeleteData() releases each through its own
    // DeleteData() first, and the destructor must not delete them again.
    std::list<Zarn::CPluginBase*> m_lstFactories;
    // Owned; hidden provisional parent of the factories' widgets. Deleted by DeleteOrphanage(),
    // which first takes the views' widgets off it, so no unique_ptr.
    QLabel* m_pOrphanage;
};
