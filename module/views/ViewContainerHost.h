#pragma once

#include "frame/MessageCatalogue.h"

#include <Zarn/String/String.h>

#include <functional>
#include <map>

class QWidget;

namespace Zarn
{
class CMessageIdFactory;
class CMessageThread;
class CPluginBase;
class CValue;
class CValueMap;
} // namespace Zarn

// What the view containers (the view stack and the workspace) share: the host objects borrowed
// in Init, the plug-in's name and the widget path, the setup record, the message table that
// follows the repository's NEW_VIEW, INVALID_VIEW and ACTIVE_VIEW, and posting a view's
// FOCUS_VIEW or REMOVE_VIEW. A member of each container, not a base: the containers derive from
// QObject and Zarn::CPluginBase only, in that order.
//
// Owns nothing; the comm thread and the id factory are lent by the host and never deleted, and
// no logger is borrowed (the containers write no log lines). GUI thread only.
class CViewContainerHost
{
public:
    using FViewHandler = std::function<void(Zarn::CPluginBase* view)>;

    // `defaultName` (a literal) is the name until Init reads another.
    explicit CViewContainerHost(const char* defaultName);

    // Init's shared part, in this order: "parent" (a QWidget pointer, optional; returned, null
    // without), "name" (default: the default name), "tmp/commthread", "tmp/messageidfactory",
    // "widgetpath" (default "WidgetPtr"). What the registry or an unwrapping throws passes out;
    // what was read before stays read.
    QWidget* ReadInit(const Zarn::CValueMap& parameters);

    // "Version", "WidgetPtr" (`widget`, not owned by the record), "PluginType" ("QtWidget"),
    // "PluginSubType", "PluginName" (empty before Init).
    void WriteSetup(Zarn::CValueMap& setup, QWidget* widget, const char* subType) const;

    // The entry at the widget path of a view's setup record; null when there is none.
    const Zarn::CValue* WidgetEntry(const Zarn::CValueMap& setup) const;

    // NEW_VIEW, INVALID_VIEW and ACTIVE_VIEW, compared in this order, each handed its view (null
    // for a null pointer). Data of another type throws the unwrapping's Zarn::CExBadParam.
    static DocView::CMessageTable MakeViewTable(FViewHandler onNew, FViewHandler onInvalid,
                                                FViewHandler onActive);

    // Runs the handler of `message` from `table`. Ignored: any message before Init, and a map
    // without both "id" and "data". What the handler throws passes out.
    void Dispatch(const DocView::CMessageTable& table, const Zarn::CValueMap& message) const;

    // Posts `name` (FOCUS_VIEW, REMOVE_VIEW) with a non-owning pointer to `view` as the data.
    void PostView(const char* name, Zarn::CPluginBase* view) const;

    const Zarn::CString& Name() const { return m_strName; }

private:
    Zarn::CMessageIdFactory* m_pMessageIdFactory = nullptr; // lent by the host
    Zarn::CMessageThread* m_pCommThread = nullptr;          // lent by the host
    const char* m_szDefaultName;
    Zarn::CString m_strName;
    Zarn::CString m_strWidgetPath;
};

// Each view's widget and back, as a container holds them: both are lent (the views by the
// repository, the widgets by the views), never deleted here. A null view or widget is never
// entered. GUI thread only; throws nothing of its own.
class CViewWidgetMap
{
public:
    // Enters the pair in both directions; a key already present keeps its old partner.
    void Enter(Zarn::CPluginBase* view, QWidget* widget);
    // Takes the view and its widget out of both directions and returns the widget; null for a
    // view that is not held.
    QWidget* Take(Zarn::CPluginBase* view);
    // Takes a widget (perhaps a destroyed one: only its address is used) out of both directions;
    // its view is taken out only while that view still names this widget.
    void TakeWidget(QWidget* widget);
    void Clear();

    // Null when not held.
    QWidget* WidgetOf(Zarn::CPluginBase* view) const;
    Zarn::CPluginBase* ViewOf(QWidget* widget) const;
    bool HoldsView(Zarn::CPluginBase* view) const { return m_mapViewToWidget.count(view) != 0; }
    // In view address order.
    const std::map<Zarn::CPluginBase*, QWidget*>& Widgets() const { return m_mapViewToWidget; }

private:
    std::map<Zarn::CPluginBase*, QWidget*> m_mapViewToWidget;
    std::map<QWidget*, Zarn::CPluginBase*> m_mapWidgetToView;
};
