#pragma once

#include "frame/MessageCatalogue.h"
#include "views/ViewListBox.h"

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/String/String.h>

#include <QObject>
#include <QPointer>

#include <functional>
#include <map>

class QListWidgetItem;

namespace Zarn
{
class CMessageIdFactory;
class CMessageThread;
} // namespace Zarn

// Lists every open view (caption, description, icon) and posts FOCUS_VIEW when the user
// highlights an entry. Created by the module entry as "Navigator"; the host holds its
// Zarn::CPluginBase part.
//
// Thread: the GUI thread only (messages and the list's signal alike); no locks.
// Handles: NEW_VIEW, INVALID_VIEW, VIEW_CHANGED, ACTIVE_VIEW (in this order; ACTIVE_VIEW only
// with a view pointer as its data); sends: FOCUS_VIEW. The list's changes made on a message never
// post FOCUS_VIEW.
// Throws: Init and UpdateParameters wrap every failure as one Zarn::CException naming
// "CNavigatorPlugin::Init" / "CNavigatorPlugin::UpdateParameters". Writes no log lines; a null
// view on NEW_VIEW is reported on standard output.
//
// The list box exists from construction so that the setup record can name it; Init gives it its
// parent. The destructor deletes it only while it has no parent (else the parent's owner does)
// and never twice. The entries are the list box's. Views are lent: the navigator only asks them
// for their description. The host objects borrowed in Init are never deleted.
class CNavigatorPlugin : public QObject, public Zarn::CPluginBase
{
    Q_OBJECT

public:
    CNavigatorPlugin();
    ~CNavigatorPlugin() override;

    // "Version", "WidgetPtr" (the list box, not owned by the record), "PluginType",
    // "PluginSubType"; no "PluginName".
    void GetPluginSetup(Zarn::CValueMap& setup) override;
    // Reads "parent" (a QWidget pointer, optional) and "name" (a string, else "unknown"), borrows
    // "tmp/commthread" and "tmp/messageidfactory", shows the list and follows its highlight.
    // Throws Zarn::CException naming "CNavigatorPlugin::Init".
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    // A map without both "id" and "data" is ignored.
    void UpdateParameters(const Zarn::CValueMap& message) override;

    CViewListBox* ListBox() const { return m_pListBox.data(); }
    Zarn::CPluginBase* CurrentView() const { return m_pCurrentView; }
    // Both directions of the entry/view pairing, read-only.
    const std::map<QListWidgetItem*, Zarn::CPluginBase*>& ItemToView() const
    {
        return m_mapItemToView;
    }
    const std::map<Zarn::CPluginBase*, QListWidgetItem*>& ViewToItem() const
    {
        return m_mapViewToItem;
    }

public slots:
    // The user highlighted entry `index`: posts FOCUS_VIEW for its view unless it is current.
    void SlotHighlighted(int index);
    // A null view is reported on standard output and ignored.
    void AddNewView(Zarn::CPluginBase* view);
    void RemoveView(Zarn::CPluginBase* view);
    // An unknown (or null) view clears the list's current entry and the current view.
    void SetCurrent(Zarn::CPluginBase* view);
    void UpdateView(Zarn::CPluginBase* view);
    // A new entry, owned by the caller, from the view's description (its Run): caption,
    // description and "icon" (a file) or the default icon; "** oops **" when the description
    // lacks caption or description, or for a null view. What the view throws reaches the caller.
    QListWidgetItem* CreateListItem(Zarn::CPluginBase* pView);

private:
    DocView::CMessageTable MakeMessageTable();
    // Runs a change of the list with the highlight connection taken down (and put back after,
    // also when the change throws).
    void RunPaused(const std::function<void()>& change);
    void Connect();
    bool Disconnect();
    // Enters the pair into both maps; a key already present keeps its old partner.
    void EnterPair(QListWidgetItem* item, Zarn::CPluginBase* view);
    QListWidgetItem* ItemOf(Zarn::CPluginBase* view) const;

    Zarn::CMessageIdFactory* m_pMessageIdFactory;
    Zarn::CMessageThread* m_pCommThread;
    QPointer<CViewListBox> m_pListBox;
    std::map<QListWidgetItem*, Zarn::CPluginBase*> m_mapItemToView;
    std::map<Zarn::CPluginBase*, QListWidgetItem*> m_mapViewToItem;
    Zarn::CPluginBase* m_pCurrentView;
    Zarn::CString m_strName;
    DocView::CMessageTable m_messageTable; // built once by the constructor
};
