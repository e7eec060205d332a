#include "repository/RepositoryPlugin.h"

#include "frame/HostObjects.h"
#include "frame/Messages.h"
#include "frame/Parameters.h"
#include "frame/PluginSetup.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Log/Logger.h>
#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/String/String.h>
#include <Zarn/Value/TypeInfo.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QLabel>
#include <QWidget>

#include <iostream>
#include <memory>
#include <optional>
#include <unordered_set>
#include <vector>

namespace
{

using ViewList = std::list<Zarn::CPluginBase*>;

const Zarn::CValue_Key kLabel("label");
const Zarn::CValue_Key kIndex("index");
const Zarn::CValue_Key kViewList("view_list");
const Zarn::CValue_Key kActiveView("active_view");
const Zarn::CValue_Key kDocument("document");
const Zarn::CValue_Key kCaption("caption");
const Zarn::CValue_Key kSettings("settings");
const Zarn::CValue_Key kUpdate("update");
const Zarn::CValue_Key kFactory("factory");
const char* const kUnnamed = "Unnamed";
const char* const kInheritSettings = "main/globalsettings/repository/inheritateSettings";

std::string StringEntry(const Zarn::CValueMap& map, const Zarn::CValue_Key& key,
                        const char* defaultValue)
{
    return map.EntryString(key, Zarn::CString(defaultValue)).StdString();
}

std::string LabelOf(const Zarn::CValueMap* doc)
{
    return StringEntry(*doc, kLabel, kUnnamed);
}

// A bool several levels down ("update/label"); a present entry of another kind throws.
bool BoolAt(const Zarn::CValueMap& map, const char* path, bool bDefault)
{
    const Zarn::CValue* pValue = map.Entry(path, false);
    return pValue != nullptr ? pValue->Bool() : bDefault;
}

const char* OnOff(bool bValue)
{
    return bValue ? "on" : "off";
}

// The document's own list of its views, or null before its first view.
ViewList* ViewListOf(Zarn::CValueMap* doc)
{
    return DocView::PointerOf<ViewList>(doc->Entry(kViewList, false));
}

// The map a factory is asked with: only "document".
void SetDocumentProbe(Zarn::CValueMap& probe, Zarn::CValueMap* doc)
{
    probe.SetEntry(kDocument, new Zarn::CValuePointer<Zarn::CValueMap>(doc));
}

// A view's description: what it writes into a fresh map through its run operation.
void Describe(Zarn::CPluginBase* view, Zarn::CValueMap& description)
{
    view->Run(description);
}

bool IsPluginPointer(const Zarn::CValue* value)
{
    return value != nullptr && value->GenericType() == Zarn::CValue::vtPointer &&
           Zarn::AreTypesEqual(value->ElementType(), typeid(Zarn::CPluginBase));
}

void ReleasePlugin(Zarn::CPluginBase* plugin)
{
    plugin->DeleteData();
    delete plugin;
}

// The "factory" text of a "views" entry for the error lines; "UNKNWON" (deliberate spelling: log
// readers match on it) when the entry has none.
std::string FactoryNameOf(const Zarn::CValue* entry)
{
    try
    {
        if (entry != nullptr && entry->Map() != nullptr && entry->Map()->HasEntry(kFactory))
        {
            return StringEntry(*entry->Map(), kFactory, "UNKNWON");
        }
    }
    catch (...)
    {
        // A "factory" of another kind fails again in the load itself, which reports it under the
        // default name: nothing to report here.
    }
    return "UNKNWON";
}

} // namespace

CRepositoryPlugin::CRepositoryPlugin()
    : m_pMessageIdFactory(nullptr), m_pCommThread(nullptr), m_pLogger(nullptr),
      m_pActiveDocument(nullptr), m_pActiveView(nullptr), m_pOrphanage(nullptr),
      m_bAutoRemoveDoc(false), m_bAutoSelectDoc(false), m_bAutoSelectView(false)
{
    m_messageTable = MakeMessageTable();
}

// Deletes none of the documents, views and factories: DeleteData() does that.
CRepositoryPlugin::~CRepositoryPlugin() = default;

void CRepositoryPlugin::GetPluginSetup(Zarn::CValueMap& setup)
{
    DocView::WritePluginSetup(setup, "janitor", "docview repository", m_strName.c_str());
}

void CRepositoryPlugin::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    m_pCommThread = DocView::BorrowCommThread();
    m_pMessageIdFactory = DocView::BorrowMessageIdFactory();
    m_pLogger = DocView::BorrowLogger();

    LogLine(Zarn::CLogger::levelProgress, "CRepositoryPlugin:");
    m_strName = StringEntry(parameters, Zarn::CValue_Key("name"), "CRepositoryPlugin");
    LogLine(Zarn::CLogger::levelProgress, "  plugin name = " + m_strName);

    m_pOrphanage =
        new QLabel(QString::fromUtf8("Orphanage - If you can see this, something's wrong!"));
    m_pOrphanage->setObjectName(QString::fromUtf8("Orphanage"));
    m_pOrphanage->hide();

    m_bAutoRemoveDoc = parameters.EntryBool(Zarn::CValue_Key("autoremove doc"), true);
    m_bAutoSelectDoc = parameters.EntryBool(Zarn::CValue_Key("autoselect doc"), true);
    m_bAutoSelectView = parameters.EntryBool(Zarn::CValue_Key("autoselect view"), true);
    LogLine(Zarn::CLogger::levelProgress,
            std::string("  autoremove document = ") + OnOff(m_bAutoRemoveDoc));
    LogLine(Zarn::CLogger::levelProgress,
            std::string("  autoselect document = ") + OnOff(m_bAutoSelectDoc));
    // Deliberate: the "autoselect view" line shows the document flag; log readers rely on it.
    LogLine(Zarn::CLogger::levelProgress,
            std::string("  autoselect view = ") + OnOff(m_bAutoSelectDoc));

    DocView::ForEachListEntry(parameters, "views",
                              [this](const Zarn::CValue* entry) { LoadViewFactory(entry); });

    UpdateControls();
}

// One "views" entry; every failure is logged here and Init goes on with the next entry.
void CRepositoryPlugin::LoadViewFactory(const Zarn::CValue* entry)
{
    const std::string strFactory = FactoryNameOf(entry);
    try
    {
        InitViewFactory(entry);
    }
    catch (const Zarn::CException& exception)
    {
        const Zarn::CValue* pFunction = exception.Entry(Zarn::CValue_Key("Function"));
        const std::string strFunction =
            pFunction != nullptr && pFunction->GenericType() == Zarn::CValue::vtString
                ? pFunction->String().StdString()
                : std::string();
        LogLine(Zarn::CLogger::levelError,
                "Error while loading view factory plugin " + strFactory + "!");
        LogLine(Zarn::CLogger::levelError, std::string("     What : ") + exception.what());
        LogLine(Zarn::CLogger::levelError, "   Origin : " + strFunction);
        LogLine(Zarn::CLogger::levelError, std::string("  Instance: ") + exception.instance());
    }
    catch (...)
    {
        // "login" is deliberate: log readers match on this line as it stands.
        LogLine(Zarn::CLogger::levelError,
                "FATAL ERROR while login view factory plugin " + strFactory + "!");
    }
}

// Creates the factory of one "views" entry, lends it the Orphanage as parent, keeps it from
// before its Init on (a factory whose Init throws is released with the others) and registers it.
void CRepositoryPlugin::InitViewFactory(const Zarn::CValue* entry)
{
    Zarn::CValueMap parameters(*entry);
    const std::string strName = parameters.EntryString(kFactory).StdString();
    std::unique_ptr<Zarn::CPluginBase> pFactory(Zarn::GetNewPluginInstance(strName.c_str()));
    if (pFactory == nullptr)
    {
        LogLine(Zarn::CLogger::levelError, "Can't load view factory plugin " + strName);
        return;
    }
    QWidget* pParent = m_pOrphanage;
    parameters.SetEntry(Zarn::CValue_Key("parent"), new Zarn::CValuePointer<QWidget>(pParent));
    Zarn::CPluginBase* pLoaded = pFactory.release();
    m_setFactories.insert(pLoaded);
    pLoaded->Init(nullptr, parameters);
    LogLine(Zarn::CLogger::levelProgress,
            "CRepositoryPlugin::Init Viewfactory plugin " + strName + " loaded.");
    RegisterViewFactory(parameters, pLoaded);
}

// What the factory serves: new documents ("autocreate"), an "action", a document "type".
void CRepositoryPlugin::RegisterViewFactory(const Zarn::CValueMap& parameters,
                                            Zarn::CPluginBase* factory)
{
    if (parameters.EntryBool(Zarn::CValue_Key("autocreate")))
    {
        m_lstAutoCreate.push_back(factory);
        LogLine(Zarn::CLogger::levelProgress, "  autocreate = on");
    }
    else
    {
        LogLine(Zarn::CLogger::levelProgress, "  autocreate = off");
    }

    const Zarn::CValue_Key actionKey("action");
    if (parameters.HasEntry(actionKey))
    {
        const std::string strAction = parameters.EntryString(actionKey).StdString();
        // The first factory keeps an action; a later one is logged but not registered.
        m_mapActionFactory.emplace(strAction, factory);
        m_mapActionEnabled.emplace(strAction, false);
        LogLine(Zarn::CLogger::levelProgress, "  action = " + strAction);
    }
    const Zarn::CValue_Key typeKey("type");
    if (parameters.HasEntry(typeKey))
    {
        const std::string strType = parameters.EntryString(typeKey).StdString();
        m_mapTypeFactory.emplace(strType, factory);
        LogLine(Zarn::CLogger::levelProgress, "  type = " + strType);
    }
}

void CRepositoryPlugin::DeleteData()
{
    for (Zarn::CValueMap* pDoc : m_lstDocuments)
    {
        delete pDoc;
    }
    m_lstDocuments.clear();
    m_mapDocumentPositions.clear();
    for (Zarn::CValueMap* pDoc : m_setDeadDocuments)
    {
        delete pDoc;
    }
    m_setDeadDocuments.clear();

    for (Zarn::CPluginBase* pView : m_lstViews)
    {
        ReleasePlugin(pView);
    }
    m_lstViews.clear();
    m_mapViewPositions.clear();
    for (Zarn::CPluginBase* pView : m_setDeadViews)
    {
        ReleasePlugin(pView);
    }
    m_setDeadViews.clear();
    for (Zarn::CPluginBase* pFactory : m_setFactories)
    {
        ReleasePlugin(pFactory);
    }
    m_setFactories.clear();

    if (m_pOrphanage != nullptr)
    {
        m_pOrphanage->close();
        delete m_pOrphanage;
        m_pOrphanage = nullptr;
    }
    // The active pointers and the factory maps keep their stale values: nothing may use the
    // repository after this but its destructor.
}

void CRepositoryPlugin::UpdateParameters(const Zarn::CValueMap& message)
{
    m_messageTable.DispatchWithData(m_pMessageIdFactory, message);
}

// The requests, in the order their ids are compared.
DocView::CMessageTable CRepositoryPlugin::MakeMessageTable()
{
    using Zarn::CPluginBase;
    using Zarn::CValueMap;
    DocView::CMessageTable table;
    table.OnPointer<CValueMap>("ADD_DOCUMENT", [this](CValueMap* doc) { AddDocument(doc); })
        .OnPointer<CValueMap>("REMOVE_DOCUMENT", [this](CValueMap* doc) { RemoveDocument(doc); })
        .OnPointer<CValueMap>("INVALID_DOCUMENT", [this](CValueMap* doc) { DeleteDocument(doc); })
        .OnPointer<CValueMap>("UPDATE_DOCUMENT", [this](CValueMap* doc) { UpdateDocument(doc); })
        .OnPointer<CValueMap>("CHANGED_DOCUMENT",
                              [this](CValueMap* doc) { ClearDocumentUpdate(doc); })
        .OnPointer<CValueMap>("FOCUS_DOCUMENT", [this](CValueMap* doc) { FocusDocument(doc); })
        .OnMap("ADD_VIEW", [this](const CValueMap& request) { AddViewOnRequest(request); })
        .OnPointer<CPluginBase>("REMOVE_VIEW",
                                [this](CPluginBase* view) { RemoveView(view, m_bAutoRemoveDoc); })
        .OnPointer<CPluginBase>("INVALID_VIEW", [this](CPluginBase* view) { KillView(view); })
        .OnPointer<CPluginBase>("UPDATE_VIEW",
                                [this](CPluginBase* view) { UpdateView(view, true); })
        .OnPointer<CPluginBase>("FOCUS_VIEW", [this](CPluginBase* view) { FocusView(view); })
        .OnMap("CREATE_VIEW", [this](const CValueMap& request) { CreateViewOnRequest(request); })
        .OnText("ON_ACTION", [this](const std::string& action) { CreateViewOnAction(action); });
    return table;
}

// ADD_VIEW: "settings" only if present (then a map), "view" and "document" always. A non-map
// "settings" throws Zarn::CExBadType before anything changed.
void CRepositoryPlugin::AddViewOnRequest(const Zarn::CValueMap& request)
{
    const Zarn::CValueMap* pSettings = nullptr;
    if (request.HasEntry(kSettings))
    {
        const Zarn::CValue* pValue = request.Entry(kSettings, true);
        pSettings = pValue->Map();
        if (pSettings == nullptr)
        {
            throw Zarn::CExBadType(ZARN_LOCATION, pValue);
        }
    }
    Zarn::CPluginBase* pView =
        DocView::PointerOf<Zarn::CPluginBase>(request.Entry(Zarn::CValue_Key("view"), true));
    Zarn::CValueMap* pDoc = DocView::PointerOf<Zarn::CValueMap>(request.Entry(kDocument, true));
    AddView(pDoc, pView, pSettings);
}

// CREATE_VIEW: "type" and "document".
void CRepositoryPlugin::CreateViewOnRequest(const Zarn::CValueMap& request)
{
    const std::string strType = request.EntryString(Zarn::CValue_Key("type")).StdString();
    Zarn::CValueMap* pDoc = DocView::PointerOf<Zarn::CValueMap>(request.Entry(kDocument, true));
    CreateViewOnType(pDoc, strType);
}

// ---------------------------------------------------------------------------------------------
// Documents

std::uint32_t CRepositoryPlugin::NextLabelIndex(const std::string& label)
{
    // Counts never go down: a label used again after a removal gets the next number.
    const auto [it, bInserted] = m_mapLabelCount.emplace(label, 1U);
    if (!bInserted)
    {
        ++it->second;
    }
    return it->second;
}

void CRepositoryPlugin::AddDocument(Zarn::CValueMap* doc)
{
    if (doc == nullptr)
    {
        throw Zarn::CException("CRepositoryPlugin::AddDocument", "Invalid document pointer!",
                               nullptr);
    }
    if (IsLiveDocument(doc))
    {
        throw Zarn::CException("CRepositoryPlugin::AddDocument", "Document already in repository.",
                               nullptr);
    }
    // Read before taking the document, so that a label of the wrong kind changes nothing.
    const std::string strLabel = LabelOf(doc);
    m_lstDocuments.push_back(doc);
    m_mapDocumentPositions.emplace(doc, std::prev(m_lstDocuments.end()));

    doc->SetEntry(kLabel, new Zarn::CValueString(strLabel.c_str()));
    doc->SetEntry(kIndex, new Zarn::CValueLong(static_cast<long>(NextLabelIndex(strLabel))));
    Send("NEW_DOCUMENT", new Zarn::CValuePointer<Zarn::CValueMap>(doc));

    CreateStandardView(doc);
    if (m_bAutoSelectDoc)
    {
        FocusDocument(doc);
    }
    UpdateControls();
}

void CRepositoryPlugin::RemoveDocument(Zarn::CValueMap* doc)
{
    LogPlain("CRepositoryPlugin::RemoveDocument");
    if (!IsLiveDocument(doc))
    {
        return;
    }

    ViewList* pDocViews = ViewListOf(doc);
    Zarn::CPluginBase* pSuccessor = nullptr;
    if (pDocViews != nullptr)
    {
        const std::unordered_set<const Zarn::CPluginBase*> setOwn(pDocViews->begin(),
                                                                  pDocViews->end());
        for (auto it = m_lstViews.rbegin(); it != m_lstViews.rend(); ++it)
        {
            if (setOwn.count(*it) == 0)
            {
                pSuccessor = *it;
                break;
            }
        }
    }
    if (pSuccessor != nullptr)
    {
        FocusView(pSuccessor);
    }
    else
    {
        FocusView(nullptr);
        m_pActiveDocument = nullptr;
    }

    m_setDeadDocuments.insert(doc);
    const auto itPosition = m_mapDocumentPositions.find(doc);
    m_lstDocuments.erase(itPosition->second);
    m_mapDocumentPositions.erase(itPosition);

    if (pDocViews != nullptr)
    {
        for (Zarn::CPluginBase* pView : *pDocViews)
        {
            DropView(pView);
        }
        pDocViews->clear();
    }
    Send("INVALID_DOCUMENT", new Zarn::CValuePointer<Zarn::CValueMap>(doc));
    UpdateControls();
}

void CRepositoryPlugin::DeleteDocument(Zarn::CValueMap* doc)
{
    // Only the repository's own removals are deleted; another plug-in's "INVALID_DOCUMENT" for a
    // live document changes nothing.
    const auto it = m_setDeadDocuments.find(doc);
    if (it == m_setDeadDocuments.end())
    {
        return;
    }
    m_setDeadDocuments.erase(it);
    if (m_pActiveDocument == doc)
    {
        m_pActiveDocument = nullptr; // never keep a pointer to a deleted document
    }
    delete doc;
}

void CRepositoryPlugin::UpdateDocument(Zarn::CValueMap* doc)
{
    if (!IsLiveDocument(doc))
    {
        return;
    }
    // "update/label" defaults to true, so an update without it stamps the label anew: the index
    // always names the label's latest use.
    if (BoolAt(*doc, "update/label", true))
    {
        const std::string strLabel = LabelOf(doc);
        doc->SetEntry(kLabel, new Zarn::CValueString(strLabel.c_str()));
        doc->SetEntry(kIndex, new Zarn::CValueLong(static_cast<long>(NextLabelIndex(strLabel))));
    }
    if (BoolAt(*doc, "update/content", true) && doc->HasEntry("is_saved/image"))
    {
        doc->RemoveEntry("is_saved/image");
    }
    const Zarn::CValue* pSaved = doc->Entry("update/is_saved", false);
    if (pSaved != nullptr && pSaved->Map() != nullptr)
    {
        // Copied first: writing "is_saved/..." must not disturb the map being walked.
        std::vector<std::pair<std::string, std::unique_ptr<Zarn::CValue>>> lstFlags;
        for (auto it = pSaved->Map()->begin(); it != pSaved->Map()->end(); ++it)
        {
            if (it.Value()->GenericType() == Zarn::CValue::vtBool)
            {
                lstFlags.emplace_back(it.Key().ToString(),
                                      it.Value()->Clone(Zarn::CValue::tfShare));
            }
        }
        for (auto& [strKey, pFlag] : lstFlags)
        {
            Zarn::CString strPath("is_saved/%1");
            strPath.Arg(Zarn::CString(strKey));
            doc->SetEntry(strPath.c_str(), pFlag.release());
        }
    }
    Send("DOCUMENT_CHANGED", new Zarn::CValuePointer<Zarn::CValueMap>(doc));
    LogPlain("CRepositoryPlugin::UpdateDocument: Document " + LabelOf(doc) + " changed.");

    if (ViewList* pDocViews = ViewListOf(doc))
    {
        // UpdateView does not change the list; a copy keeps the walk safe all the same.
        const ViewList lstViews = *pDocViews;
        for (Zarn::CPluginBase* pView : lstViews)
        {
            UpdateView(pView, true);
        }
    }
    UpdateControls();
}

void CRepositoryPlugin::ClearDocumentUpdate(Zarn::CValueMap* doc)
{
    if (IsLiveDocument(doc) && doc->HasEntry(kUpdate))
    {
        doc->RemoveEntry(kUpdate);
    }
}

// ---------------------------------------------------------------------------------------------
// View creation

void CRepositoryPlugin::CreateView(Zarn::CValueMap* doc, Zarn::CPluginBase* factory)
{
    if (factory == nullptr)
    {
        throw Zarn::CException("CRepositoryPlugin::CreateView", "Invalid factory!",
                               m_strName.c_str());
    }
    if (doc == nullptr)
    {
        // "Documnet" is deliberate: other modules match on this text.
        throw Zarn::CException("CRepositoryPlugin::CreateView", "Invalid Documnet!",
                               m_strName.c_str());
    }
    Zarn::CPluginBase* pView = MakeViewWith(factory, doc);
    if (pView == nullptr)
    {
        return;
    }
    std::optional<Zarn::CValueMap> settings;
    try
    {
        settings = ActiveViewSettings();
    }
    catch (...)
    {
        ReleasePlugin(pView);
        throw;
    }
    AddView(doc, pView, settings ? &*settings : nullptr);
}

// The factory's new view, owned by the caller from here on; null when the factory made none
// (the user cancelled).
Zarn::CPluginBase* CRepositoryPlugin::MakeViewWith(Zarn::CPluginBase* factory, Zarn::CValueMap* doc)
{
    const std::string strLabel = LabelOf(doc);
    Zarn::CValueMap probe;
    SetDocumentProbe(probe, doc);
    if (!factory->TestParameters(probe))
    {
        const std::string strWhat = Zarn::CStringTools::Printf(
            "Factory plugin can not handle document %s.", strLabel.c_str());
        throw Zarn::CException("CRepositoryPlugin::CreateView", strWhat.c_str(), m_strName.c_str());
    }
    factory->UpdateParameters(probe);
    Zarn::CValueMap result;
    factory->Run(result);

    Zarn::CValue* pViewValue = result.Entry(Zarn::CValue_Key("view plugin"), false);
    if (!IsPluginPointer(pViewValue))
    {
        // A normal outcome (the user cancelled), reported on standard output, not in the log.
        std::cout << "CRepositoryPlugin::CreateView - View plugin not created, user aborted?"
                  << std::endl;
        return nullptr;
    }
    Zarn::CPluginBase* pView = DocView::PointerOf<Zarn::CPluginBase>(pViewValue);
    if (pView == nullptr)
    {
        // The format has two placeholders but only the label to fill them; the second stays
        // empty.
        const std::string strWhat = Zarn::CStringTools::Printf(
            "View plugin for %s document %s not loaded.", strLabel.c_str(), "");
        throw Zarn::CException("CRepositoryPlugin::CreateView", strWhat.c_str(), m_strName.c_str());
    }
    // The repository owns the view from here on, whatever the factory's value said.
    pViewValue->Pointer()->Release();
    LogPlain("CRepositoryPlugin::CreateView - View plugin created for " + strLabel + ".");
    return pView;
}

// A copy of the active view's "settings" map, for a new view to inherit; none without an active
// view or such a map. What the active view's description throws passes out.
std::optional<Zarn::CValueMap> CRepositoryPlugin::ActiveViewSettings()
{
    if (m_pActiveView == nullptr)
    {
        return std::nullopt;
    }
    Zarn::CValueMap active;
    Describe(m_pActiveView, active);
    const Zarn::CValue* pSettings = active.Entry(kSettings, false);
    if (pSettings == nullptr || pSettings->Map() == nullptr)
    {
        return std::nullopt;
    }
    return Zarn::CValueMap(*pSettings->Map());
}

void CRepositoryPlugin::CreateStandardView(Zarn::CValueMap* doc)
{
    Zarn::CValueMap probe;
    SetDocumentProbe(probe, doc);
    for (Zarn::CPluginBase* pFactory : m_lstAutoCreate)
    {
        if (pFactory->TestParameters(probe))
        {
            CreateView(doc, pFactory);
            return;
        }
    }
    LogLine(Zarn::CLogger::levelWarning,
            "CRepositoryPlugin::CreateStandardView - No view factory for " + LabelOf(doc) +
                " found.");
}

void CRepositoryPlugin::CreateViewOnAction(const std::string& action)
{
    // "ON_ACTION" reaches every plug-in and most actions belong to others: no trace of them here.
    const auto it = m_mapActionFactory.find(action);
    if (it == m_mapActionFactory.end())
    {
        return;
    }
    LogPlain("CRepositoryPlugin::CreateViewOnAction - View factory for action " + action +
             " found.");
    CreateView(m_pActiveDocument, it->second);
}

void CRepositoryPlugin::CreateViewOnType(Zarn::CValueMap* doc, const std::string& type)
{
    const auto it = m_mapTypeFactory.find(type);
    if (it != m_mapTypeFactory.end())
    {
        LogPlain("CRepositoryPlugin::CreateViewOnType - View factory for type " + type + " found.");
        CreateView(doc, it->second);
        return;
    }
    // Deliberate: the text names the active document, the one the user looks at, not `doc`.
    const std::string strActiveLabel =
        m_pActiveDocument != nullptr ? LabelOf(m_pActiveDocument) : std::string();
    const std::string strWhat =
        Zarn::CStringTools::Printf("Viewplugin factory for type %s document %s not loaded.",
                                   type.c_str(), strActiveLabel.c_str());
    throw Zarn::CException("CRepositoryPlugin::CreateViewOnType", strWhat.c_str(),
                           m_strName.c_str());
}

// ---------------------------------------------------------------------------------------------
// Views, focus and removal

void CRepositoryPlugin::AddView(Zarn::CValueMap* doc, Zarn::CPluginBase* view,
                                const Zarn::CValueMap* settings)
{
    if (doc == nullptr)
    {
        throw Zarn::CException("CRepositoryPlugin::AddView", "Invalid document pointer!", nullptr);
    }
    if (view == nullptr)
    {
        throw Zarn::CException("CRepositoryPlugin::AddView", "Invalid view pointer!", nullptr);
    }
    AppendView(view);

    ViewList* pDocViews = ViewListOf(doc);
    if (pDocViews == nullptr)
    {
        pDocViews = new ViewList;
        doc->SetEntry(kViewList, new Zarn::CValueOwnedPointer<ViewList>(pDocViews));
    }
    pDocViews->push_back(view);

    Zarn::CValueMap viewParameters;
    viewParameters.SetEntry(kDocument, new Zarn::CValuePointer<Zarn::CValueMap>(doc));
    // Read anew on every call; missing or not a bool counts as false.
    bool bInherit = false;
    Zarn::CRegistry& registry = Zarn::CRegistry::Obj();
    if (registry.HasEntry(Zarn::CValue_Key(kInheritSettings)))
    {
        const Zarn::CValue* pInherit = registry.Entry(Zarn::CValue_Key(kInheritSettings));
        bInherit = pInherit->GenericType() == Zarn::CValue::vtBool && pInherit->Bool();
    }
    if (bInherit && settings != nullptr)
    {
        viewParameters.SetEntry(kSettings, new Zarn::CValueMap(*settings));
    }
    view->UpdateParameters(viewParameters);

    Send("NEW_VIEW", new Zarn::CValuePointer<Zarn::CPluginBase>(view));
    if (!doc->HasEntry(kActiveView))
    {
        doc->SetEntry(kActiveView, new Zarn::CValuePointer<Zarn::CPluginBase>(view));
    }
    if (m_bAutoSelectView)
    {
        FocusView(view);
    }
}

void CRepositoryPlugin::FocusView(Zarn::CPluginBase* view)
{
    if (view == nullptr || !IsLiveView(view))
    {
        m_pActiveView = nullptr;
        m_pActiveDocument = nullptr;
        Send("ACTIVE_VIEW", new Zarn::CValuePointer<Zarn::CPluginBase>(nullptr));
    }
    else
    {
        Zarn::CValueMap description;
        Describe(view, description);
        if (view != m_pActiveView)
        {
            m_pActiveView = view;
            LogPlain("CRepositoryPlugin::FocusView: Changed active view to " +
                     StringEntry(description, kCaption, "") + ".");
            // A null document pointer counts as none.
            Zarn::CValueMap* pDoc =
                DocView::PointerOf<Zarn::CValueMap>(description.Entry(kDocument, false));
            if (pDoc == nullptr)
            {
                const std::string strWhat = Zarn::CStringTools::Printf(
                    "View [%s::%s] does not provide document pointer!",
                    StringEntry(description, Zarn::CValue_Key("PluginType"), "").c_str(),
                    StringEntry(description, Zarn::CValue_Key("PluginSubType"), "").c_str());
                // "FocousView" is deliberate: other modules match on this function text. The
                // active view has already changed and stays so.
                throw Zarn::CException("CRepositoryPlugin::FocousView", strWhat.c_str(),
                                       m_strName.c_str());
            }
            pDoc->SetEntry(kActiveView, new Zarn::CValuePointer<Zarn::CPluginBase>(view));
            m_pActiveDocument = pDoc;
            MoveViewToEnd(view);
            Send("ACTIVE_VIEW", new Zarn::CValuePointer<Zarn::CPluginBase>(view));
        }
    }
    UpdateControls();
}

void CRepositoryPlugin::FocusDocument(Zarn::CValueMap* doc)
{
    if (!IsLiveDocument(doc))
    {
        FocusView(nullptr);
        m_pActiveDocument = nullptr;
    }
    else if (doc != m_pActiveDocument)
    {
        // The active document follows the active view: a document without views ends up with
        // neither whenever some view was active before.
        m_pActiveDocument = doc;
        Zarn::CPluginBase* pView =
            DocView::PointerOf<Zarn::CPluginBase>(doc->Entry(kActiveView, false));
        if (pView != m_pActiveView)
        {
            FocusView(pView);
        }
    }
    UpdateControls();
}

void CRepositoryPlugin::UpdateView(Zarn::CPluginBase* view, bool notify)
{
    // Any view named in UPDATE_VIEW is asked, also one the repository does not hold: a sender
    // may refresh a view it made itself, and the refresh is the same for every view.
    if (view != nullptr)
    {
        Zarn::CValueMap description;
        Describe(view, description);
        const Zarn::CValue* pDoc = description.Entry(kDocument, false);
        if (pDoc != nullptr)
        {
            Zarn::CValueMap viewParameters;
            viewParameters.SetEntry(kDocument, pDoc->Clone(Zarn::CValue::tfShare));
            view->UpdateParameters(viewParameters);
            if (notify)
            {
                Send("VIEW_CHANGED", new Zarn::CValuePointer<Zarn::CPluginBase>(view));
            }
        }
    }
    UpdateControls();
}

void CRepositoryPlugin::RemoveView(Zarn::CPluginBase* view, bool autoRemove)
{
    if (view == nullptr || !IsLiveView(view))
    {
        return;
    }
    Zarn::CValueMap description;
    Describe(view, description);
    const std::string strCaption = StringEntry(description, kCaption, "");
    LogPlain("CRepositoryPlugin::RemoveView: Removing View " + strCaption + " ...");
    if (!description.HasEntry(kDocument))
    {
        const std::string strWhat =
            Zarn::CStringTools::Printf("Missing document entry of view '%s'!", strCaption.c_str());
        throw Zarn::CException("CRepositoryPlugin::RemoveView", strWhat.c_str(), nullptr);
    }
    Zarn::CValueMap* pDoc = DocView::PointerOf<Zarn::CValueMap>(description.Entry(kDocument, true));
    ViewList* pDocViews = pDoc != nullptr ? ViewListOf(pDoc) : nullptr;

    if ((pDocViews == nullptr || pDocViews->size() < 2) && autoRemove)
    {
        // The last view of a document takes the document with it, which drops the view.
        RemoveDocument(pDoc);
        return;
    }
    for (auto it = m_lstViews.rbegin(); it != m_lstViews.rend(); ++it)
    {
        if (*it != view)
        {
            FocusView(*it);
            break;
        }
    }
    // The document's "active_view" may still name this view; it is left so on purpose.
    if (pDocViews != nullptr)
    {
        pDocViews->remove(view);
    }
    DropView(view);
}

void CRepositoryPlugin::DropView(Zarn::CPluginBase* view)
{
    if (!IsLiveView(view))
    {
        return;
    }
    Zarn::CValueMap description;
    Describe(view, description); // asked for the contract's sake; the answer is not used
    m_setDeadViews.insert(view);
    EraseView(view);
    Send("INVALID_VIEW", new Zarn::CValuePointer<Zarn::CPluginBase>(view));
}

void CRepositoryPlugin::KillView(Zarn::CPluginBase* view)
{
    const auto it = m_setDeadViews.find(view);
    if (it == m_setDeadViews.end())
    {
        return;
    }
    m_setDeadViews.erase(it);
    if (m_pActiveView == view)
    {
        // A view made later at the same address must not pass for the active one.
        m_pActiveView = nullptr;
    }
    Zarn::CValueMap description;
    Describe(view, description);
    LogPlain("CRepositoryPlugin::KillView: View " + StringEntry(description, kCaption, "") +
             " is deleted!");
    ReleasePlugin(view);
}

// ---------------------------------------------------------------------------------------------
// Controls, messages and bookkeeping

void CRepositoryPlugin::UpdateControls()
{
    Zarn::CValueMap probe;
    SetDocumentProbe(probe, m_pActiveDocument);
    std::unique_ptr<Zarn::CValueMap> pChanged; // made on the first change
    for (const auto& [strAction, pFactory] : m_mapActionFactory)
    {
        const bool bEnabled = pFactory != nullptr && pFactory->TestParameters(probe);
        bool& bStored = m_mapActionEnabled[strAction];
        if (bStored == bEnabled)
        {
            continue;
        }
        if (pChanged == nullptr)
        {
            pChanged = std::make_unique<Zarn::CValueMap>();
        }
        pChanged->SetEntry(Zarn::CValue_Key(strAction), new Zarn::CValueBool(bEnabled));
        bStored = bEnabled;
    }
    if (pChanged != nullptr)
    {
        Send("UPDATE_CONTROLS", pChanged.release());
    }
}

void CRepositoryPlugin::Send(const char* name, Zarn::CValue* data)
{
    DocView::SendMessage(m_pCommThread, m_pMessageIdFactory, name, data);
}

void CRepositoryPlugin::LogLine(int level, const std::string& text)
{
    m_pLogger->SetLevel(level) << text << Zarn::notype << std::endl;
}

void CRepositoryPlugin::LogPlain(const std::string& text)
{
    *m_pLogger << text << std::endl;
}

bool CRepositoryPlugin::IsLiveDocument(const Zarn::CValueMap* doc) const
{
    return m_mapDocumentPositions.count(doc) != 0;
}

bool CRepositoryPlugin::IsLiveView(const Zarn::CPluginBase* view) const
{
    return m_mapViewPositions.count(view) != 0;
}

void CRepositoryPlugin::AppendView(Zarn::CPluginBase* view)
{
    m_lstViews.push_back(view);
    // A view added twice keeps its newest place in the index.
    m_mapViewPositions[view] = std::prev(m_lstViews.end());
}

void CRepositoryPlugin::MoveViewToEnd(Zarn::CPluginBase* view)
{
    m_lstViews.splice(m_lstViews.end(), m_lstViews, m_mapViewPositions.at(view));
}

void CRepositoryPlugin::EraseView(Zarn::CPluginBase* view)
{
    const auto it = m_mapViewPositions.find(view);
    m_lstViews.erase(it->second);
    m_mapViewPositions.erase(it);
}
