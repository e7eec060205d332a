#include "toolbox/ToolboxPlugin.h"

#include "frame/HostObjects.h"
#include "frame/MessageBoxes.h"
#include "frame/MessageCatalogue.h"
#include "frame/Messages.h"
#include "frame/Parameters.h"
#include "frame/PluginSetup.h"
#include "toolbox/CurrentContext.h"
#include "toolbox/SystemExceptionTranslator.h"
#include "toolbox/TekaDebuggableZarnException.h"
#include "toolbox/ToolEntry.h"
#include "toolbox/ToolThread.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Log/Logger.h>
#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/String/String.h>
#include <Zarn/System/SystemException.h>
#include <Zarn/Value/TypeInfo.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QString>

#include <algorithm>
#include <exception>
#include <iostream>
#include <memory>
#include <new>

namespace
{

const Zarn::CValue_Key kDocuments("documents");
const Zarn::CValue_Key kViews("views");
const Zarn::CValue_Key kAvailable("available");
const Zarn::CValue_Key kAction("action");
const Zarn::CValue_Key kAdd("add");
const Zarn::CValue_Key kRemove("remove");
const Zarn::CValue_Key kUpdate("update");
const Zarn::CValue_Key kCreate("create");

// The texts of one guarded step: a host exception (what, "Function"), another std::exception
// (what) and anything else.
struct SStepTexts
{
    const char* m_szHostError;
    const char* m_szStdError;
    const char* m_szUnknownError;
};

const SStepTexts kConfigureTexts = {
    "An error occurred during plugin configuration.\nThe error message was:\n\"%s\".\nThe "
    "exception origin is:\n%s",
    "An internal error occurred during plugin configuration.\nThe error message was:\n\"%s\".",
    // "An fatal" is the text users and scripts know; keep it.
    "An fatal error occurred during plugin configuration."};

const SStepTexts kRunTexts = {
    "An error occurred while running the plugin.\nThe error message was:\n\"%s\".\nThe "
    "exception origin is:\n%s",
    "An internal error occurred while running the plugin.\nThe error message was:\n\"%s\".",
    "An fatal error occurred while running the plugin."};

std::string FunctionOf(const Zarn::CException& exception)
{
    const Zarn::CValue* pFunction = exception.Entry(Zarn::CValue_Key("Function"));
    return pFunction != nullptr && pFunction->GenericType() == Zarn::CValue::vtString
               ? pFunction->String().StdString()
               : std::string();
}

std::string HostErrorText(const SStepTexts& texts, const Zarn::CException& exception)
{
    return Zarn::CStringTools::Printf(texts.m_szHostError, exception.what(),
                                      FunctionOf(exception).c_str());
}

// Runs one step; an empty result means it succeeded, otherwise the text tells the user why not.
template <class TStep> std::string RunGuardedStep(const SStepTexts& texts, TStep&& step)
{
    try
    {
        step();
    }
    catch (const TekaDebuggableZarnException& exception)
    {
        return HostErrorText(texts, exception);
    }
    catch (const Zarn::CException& exception)
    {
        return HostErrorText(texts, exception);
    }
    catch (const std::bad_alloc&)
    {
        return "Out of memory.";
    }
    catch (const std::exception& exception)
    {
        return Zarn::CStringTools::Printf(texts.m_szStdError, exception.what());
    }
    catch (...)
    {
        return texts.m_szUnknownError;
    }
    return std::string();
}

// A string entry, or the default when it is missing or of another kind.
std::string StringEntry(const Zarn::CValueMap& map, const Zarn::CValue_Key& key,
                        const std::string& defaultValue = std::string())
{
    return map.HasEntry(key, Zarn::CValue::vtString) ? map.EntryString(key).StdString()
                                                     : defaultValue;
}

// The part of a plug-in name after its last backslash.
std::string ShortName(const std::string& name)
{
    const size_t nSlash = name.rfind('\\');
    return nSlash == std::string::npos ? name : name.substr(nSlash + 1);
}

// Every call into a tool, a configuration plug-in or a view goes through here: a native fault
// inside becomes the exception of the thread's translator and leaves like a thrown error.
template <class TCall> void CallPlugin(TCall&& call)
{
    Zarn::RunWithSystemExceptionGuard(call);
}

// An error that the translator made of a native fault: the plug-in it came from may be broken.
bool IsNativeFault(const Zarn::CException& exception)
{
    const auto* pDebuggable = dynamic_cast<const TekaDebuggableZarnException*>(&exception);
    return pDebuggable != nullptr && pDebuggable->ExceptionInformation() != nullptr;
}

// Deletes a plug-in that faulted.
void DestroyFaultedPlugin(Zarn::CPluginBase* plugin)
{
    try
    {
        CallPlugin([plugin] { delete plugin; });
    }
    catch (...)
    {
        // A second fault on its way out leaves what is left of the plug-in behind: it was
        // already reported, and loading goes on with the next tool.
    }
}

// Runs a loading call into `plugin`. A native fault inside is handed to `report` (its what
// text), destroys the plug-in and answers false; what the plug-in throws otherwise reaches the
// caller.
template <class TCall, class TReport>
bool SurvivesLoadingCall(std::unique_ptr<Zarn::CPluginBase>& plugin, TCall&& call, TReport&& report)
{
    try
    {
        CallPlugin(call);
    }
    catch (const Zarn::CException& exception)
    {
        if (!IsNativeFault(exception))
        {
            throw;
        }
        report(exception.what());
        DestroyFaultedPlugin(plugin.release());
        return false;
    }
    return true;
}

// The tool's "PluginName", or "<unnamed>"; never throws.
std::string PluginNameOf(CToolEntry* entry)
{
    try
    {
        if (entry != nullptr && entry->Tool() != nullptr)
        {
            Zarn::CValueMap setup;
            CallPlugin([&] { entry->Tool()->GetPluginSetup(setup); });
            if (setup.HasEntry(Zarn::CValue_Key("PluginName"), Zarn::CValue::vtString))
            {
                return setup.EntryString(Zarn::CValue_Key("PluginName")).StdString();
            }
        }
    }
    catch (...)
    {
        // The name only labels an error being reported already; a tool that cannot even say
        // its name is "<unnamed>".
    }
    return "<unnamed>";
}

QString ToQString(const std::string& text)
{
    return QString::fromStdString(text);
}

// A log line ends at a line break: an error text of several lines is logged as one.
std::string OneLine(std::string text)
{
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

// Native view creation by tools is on its way out; every output that still uses it says so.
void WriteDeprecationBanner()
{
    const char* const szStars =
        "************************************************************************************";
    const char* const szBlank =
        "*                                                                                  *";
    std::cerr << "\n"
              << szStars << "\n"
              << szBlank << "\n"
              << "* WARNING ! Native view creation by tools is deprecated and will be removed soon "
                 "! *\n"
              << szBlank << "\n"
              << "*           Please use the create vector instead. See documentation for "
                 "details.   *\n"
              << szBlank << "\n"
              << szStars << std::endl;
}

} // namespace

// The constructor's name and Init's default differ in one letter ("Toolbox", "ToolBox") on
// purpose: hosts see both in setup records and rely on them.
CToolboxPlugin::CToolboxPlugin()
    : m_pMessageIdFactory(nullptr), m_pCommThread(nullptr), m_pLogger(nullptr),
      m_strName("CToolboxPlugin"), m_pFocusedDocument(nullptr), m_pActiveView(nullptr),
      m_messages(BuildMessageTable())
{
}

// The tools are released by DeleteData, not here; but no tool thread may outlive the toolbox.
CToolboxPlugin::~CToolboxPlugin()
{
    WaitForRuns();
}

// A handler that runs one step of the workspace picture and then asks the tools again.
template <class TArg> auto CToolboxPlugin::ThenUpdatePlugins(void (CToolboxPlugin::*step)(TArg))
{
    return [this, step](TArg argument)
    {
        (this->*step)(argument);
        UpdatePlugins();
    };
}

// The names in the order they are tested. ON_CONFIGURE stands last: since one id matches one
// name only, that is the same as testing it on its own after the others.
DocView::CMessageTable CToolboxPlugin::BuildMessageTable()
{
    using CDocument = Zarn::CValueMap;
    using CView = Zarn::CPluginBase;
    DocView::CMessageTable table;
    table.OnData("ACTIVE_VIEW", ThenUpdatePlugins(&CToolboxPlugin::SetActiveView))
        .OnPointer<CDocument>("NEW_DOCUMENT", ThenUpdatePlugins(&CToolboxPlugin::AddNewDocument))
        .OnPointer<CDocument>("INVALID_DOCUMENT",
                              ThenUpdatePlugins(&CToolboxPlugin::InvalidateDocument))
        .OnPointer<CView>("NEW_VIEW", ThenUpdatePlugins(&CToolboxPlugin::NewView))
        .OnPointer<CView>("INVALID_VIEW", ThenUpdatePlugins(&CToolboxPlugin::InvalidateView))
        .On("CHANGED_DOCUMENT", [this] { UpdatePlugins(); })
        .On("CHANGED_VIEW", [this] { UpdatePlugins(); })
        // A copy as a map: data of another kind throws the copy's Zarn::CExBadType.
        .OnData("UPDATE_CONTEXT",
                [this](const Zarn::CValue* data)
                {
                    UpdateContext(Zarn::CValueMap(*data));
                    UpdatePlugins();
                })
        .OnData("ON_ACTION", [this](const Zarn::CValue* data) { OnAction(data); })
        .OnMessage("ACTIVITY_STOP",
                   [this](const Zarn::CValueMap& message) { OnActivityStop(message); })
        .OnData("ON_CONFIGURE", [this](const Zarn::CValue* data) { OnConfigure(data); });
    return table;
}

void CToolboxPlugin::GetPluginSetup(Zarn::CValueMap& setup)
{
    DocView::SetCurrentContext("CToolboxPlugin::GetPluginSetup()");
    // The toolbox names itself but has no type of its own.
    DocView::WritePluginSetup(setup, nullptr, nullptr, m_strName.c_str());
}

void CToolboxPlugin::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    DocView::SetCurrentContext("CToolboxPlugin::Init()");
    // Loading calls the tools' Init: a native fault there is reported, not fatal.
    Zarn::SetSystemExceptionTranslator(&DocView::TranslateSystemException);
    m_pCommThread = DocView::BorrowCommThread();
    m_pMessageIdFactory = DocView::BorrowMessageIdFactory();
    m_pLogger = DocView::BorrowLogger();
    m_strName = parameters.EntryString(Zarn::CValue_Key("name"), Zarn::CString("CToolBoxPlugin"));

    if (parameters.HasEntry(Zarn::CValue_Key("tool plugins")))
    {
        DocView::ForEachListEntry(parameters, "tool plugins",
                                  [this](const Zarn::CValue* pDescription)
                                  {
                                      if (pDescription != nullptr &&
                                          pDescription->GenericType() == Zarn::CValue::vtMap)
                                      {
                                          LoadToolPlugin(*pDescription->Map(), true);
                                      }
                                  });
        UpdatePlugins();
    }

    m_state.SetEntry(kDocuments, new Zarn::CValueMap);
    m_state.SetEntry(kViews, new Zarn::CValueMap);
}

// ---------------------------------------------------------------------------------------------
// Loading tools

void CToolboxPlugin::LoadToolPlugin(const Zarn::CValueMap& description, bool bRegister)
{
    const std::string strPlugin = StringEntry(description, Zarn::CValue_Key("plugin"));
    DocView::SetCurrentContext(strPlugin);
    std::unique_ptr<Zarn::CPluginBase> pTool = CreatePlugin("Tool plugin ", strPlugin, true);
    if (pTool == nullptr)
    {
        return;
    }
    if (!description.HasEntry(Zarn::CValue_Key("callaction"), Zarn::CValue::vtString))
    {
        return;
    }
    std::cerr << "Tool plugin " << strPlugin << " loaded." << std::endl;

    // A native fault skips the tool like a failed creation; what the tool throws reaches the
    // caller.
    if (!SurvivesLoadingCall(
            pTool,
            [&]
            {
                pTool->Init(nullptr, description);
                pTool->UpdateParameters(description);
            },
            [&](const char* what) { ReportNotLoaded("Tool plugin ", strPlugin, what); }))
    {
        return;
    }

    auto pEntry = std::make_unique<CToolEntry>(pTool.release());
    const Zarn::CValue_Key threadedKey("threaded");
    if (description.HasEntry(threadedKey, Zarn::CValue::vtBool))
    {
        pEntry->SetThreaded(description.EntryBool(threadedKey));
    }
    std::string strConfigAction;
    if (description.HasEntry(Zarn::CValue_Key("configplugin")) &&
        !AttachConfigPlugin(description, *pEntry, strConfigAction))
    {
        // The whole tool goes with its configuration plug-in.
        return;
    }
    RegisterEntry(description, bRegister, ShortName(strPlugin), strConfigAction, std::move(pEntry));
}

std::unique_ptr<Zarn::CPluginBase>
CToolboxPlugin::CreatePlugin(const char* kind, const std::string& name, bool bStdExceptionText)
{
    std::unique_ptr<Zarn::CPluginBase> pPlugin;
    try
    {
        pPlugin.reset(Zarn::GetNewPluginInstance(name.c_str()));
    }
    catch (const Zarn::CException& exception)
    {
        ReportNotLoaded(kind, name, exception.what());
        return nullptr;
    }
    catch (const std::exception& exception)
    {
        ReportNotLoaded(kind, name, bStdExceptionText ? exception.what() : nullptr);
        return nullptr;
    }
    catch (...)
    {
        ReportNotLoaded(kind, name, nullptr);
        return nullptr;
    }
    if (pPlugin == nullptr)
    {
        ReportNotLoaded(kind, name, nullptr);
    }
    return pPlugin;
}

bool CToolboxPlugin::AttachConfigPlugin(const Zarn::CValueMap& description, CToolEntry& entry,
                                        std::string& strConfigAction)
{
    const std::string strConfig = StringEntry(description, Zarn::CValue_Key("configplugin"));
    std::unique_ptr<Zarn::CPluginBase> pConfig =
        CreatePlugin("Tool's config plugin ", strConfig, false);
    if (pConfig == nullptr)
    {
        return false;
    }
    if (!SurvivesLoadingCall(
            pConfig, [&] { pConfig->Init(nullptr, description); },
            [&](const char* what) { ReportNotLoaded("Tool's config plugin ", strConfig, what); }))
    {
        return false;
    }
    entry.SetConfig(pConfig.release());
    std::clog << "Tool's config plugin " << strConfig << " loaded." << std::endl;
    strConfigAction = StringEntry(description, Zarn::CValue_Key("configaction"));
    return true;
}

void CToolboxPlugin::RegisterEntry(const Zarn::CValueMap& description, bool bRegister,
                                   const std::string& shortName, const std::string& configAction,
                                   std::unique_ptr<CToolEntry> entry)
{
    const std::string strCallAction =
        description.EntryString(Zarn::CValue_Key("callaction")).StdString();
    if (bRegister)
    {
        Zarn::CValueMap& saved = m_actionParameters[strCallAction];
        saved.Clear();
        saved = description;
    }
    m_actionNames[strCallAction] = shortName;

    // A second description with the same call action takes the slot. The entry it replaces stays
    // alive until the toolbox ends: a configuration action of its own may still name it.
    const auto itOld = m_actions.find(strCallAction);
    if (itOld != m_actions.end() && itOld->second != nullptr)
    {
        m_replacedEntries.push_back(std::move(itOld->second));
    }
    if (!configAction.empty())
    {
        m_configActions[configAction] = entry.get();
    }
    m_actions[strCallAction] = std::move(entry);
}

void CToolboxPlugin::ReportNotLoaded(const char* kind, const std::string& plugin, const char* what)
{
    if (what != nullptr)
    {
        std::cerr << kind << plugin << " not loaded... '"
                  << "\n\t" << what << "'" << std::endl;
        LogLine(Zarn::CLogger::levelError,
                std::string(kind) + plugin + " not loaded: " + OneLine(what));
        return;
    }
    std::cerr << kind << plugin << " not loaded." << std::endl;
    LogLine(Zarn::CLogger::levelError, std::string(kind) + plugin + " not loaded.");
}

void CToolboxPlugin::DeleteData()
{
    DocView::SetCurrentContext("CToolboxPlugin::DeleteData()");
    // The tools' clean-up runs under the guard too.
    Zarn::SetSystemExceptionTranslator(&DocView::TranslateSystemException);
    // No tool may go while a thread still runs it.
    WaitForRuns();
    m_configActions.clear();
    // In key order, one tool after the other.
    for (auto& [strAction, pEntry] : m_actions)
    {
        pEntry.reset();
    }
    m_actions.clear();
    m_replacedEntries.clear();
    m_retiredEntries.clear();
}

void CToolboxPlugin::UpdateParameters(const Zarn::CValueMap& message)
{
    // A native fault in a tool run on this thread is reported like a thrown error.
    Zarn::SetSystemExceptionTranslator(&DocView::TranslateSystemException);
    m_messages.DispatchWithData(m_pMessageIdFactory, message);
}

// ---------------------------------------------------------------------------------------------
// The workspace picture

void CToolboxPlugin::AddNewDocument(Zarn::CValueMap* document)
{
    DocView::SetCurrentContext("CToolboxPlugin::AddNewDocument()");
    if (document == nullptr)
    {
        return;
    }
    // No duplicate check: a document announced twice is listed twice.
    m_documents.push_back(document);
    RebuildAvailableDocuments();
}

void CToolboxPlugin::InvalidateDocument(Zarn::CValueMap* document)
{
    DocView::SetCurrentContext("CToolboxPlugin::InvalidateDocument()");
    if (document == nullptr)
    {
        return;
    }
    const auto it = std::find(m_documents.begin(), m_documents.end(), document);
    if (it != m_documents.end())
    {
        m_documents.erase(it);
    }
    ForgetRemoved(document, m_pFocusedDocument, "documents/focused", m_documents.empty(),
                  "documents/available", &CToolboxPlugin::RebuildAvailableDocuments);
}

void CToolboxPlugin::NewView(Zarn::CPluginBase* view)
{
    DocView::SetCurrentContext("CToolboxPlugin::NewView()");
    if (view == nullptr)
    {
        return;
    }
    m_views.insert(view);
    RebuildAvailableViews();
}

void CToolboxPlugin::InvalidateView(Zarn::CPluginBase* view)
{
    DocView::SetCurrentContext("CToolboxPlugin::InvalidateView()");
    if (view == nullptr)
    {
        return;
    }
    m_views.erase(view);
    ForgetRemoved(view, m_pActiveView, "views/active", m_views.empty(), "views/available",
                  &CToolboxPlugin::RebuildAvailableViews);
}

template <class TObject>
void CToolboxPlugin::ForgetRemoved(TObject* object, TObject*& current, const char* currentPath,
                                   bool bNoneLeft, const char* availablePath,
                                   void (CToolboxPlugin::*rebuild)())
{
    if (object == current)
    {
        current = nullptr;
        m_state.RemoveEntry(Zarn::CValue_Path(currentPath));
    }
    if (bNoneLeft)
    {
        m_state.RemoveEntry(Zarn::CValue_Path(availablePath));
        return;
    }
    (this->*rebuild)();
}

void CToolboxPlugin::SetActiveView(const Zarn::CValue* data)
{
    m_pActiveView = DocView::PointerOf<Zarn::CPluginBase>(data);
    if (m_pActiveView == nullptr)
    {
        m_state.RemoveEntry(Zarn::CValue_Path("views/active"));
        return;
    }

    Zarn::CValueMap description;
    CallPlugin([&] { m_pActiveView->Run(description); });
    const Zarn::CValue_Key documentKey("document");
    Zarn::CValueMap* pDocument =
        description.HasEntry(documentKey)
            ? DocView::PointerOf<Zarn::CValueMap>(description.Entry(documentKey, true))
            : nullptr;
    if (pDocument != nullptr)
    {
        // Only the view its document names as active takes the focus to that document.
        const Zarn::CValue* pActive = pDocument->Entry(Zarn::CValue_Key("active_view"), false);
        const bool bSameView =
            pActive != nullptr && pActive->GenericType() == Zarn::CValue::vtPointer &&
            Zarn::AreTypesEqual(pActive->ElementType(), typeid(Zarn::CPluginBase)) &&
            DocView::PointerOf<Zarn::CPluginBase>(pActive) == m_pActiveView;
        if (bSameView && pDocument != m_pFocusedDocument)
        {
            m_pFocusedDocument = pDocument;
            m_state.SetEntry(Zarn::CValue_Path("documents/focused"),
                             new Zarn::CValuePointer<Zarn::CValueMap>(pDocument));
        }
    }
    m_state.SetEntry(Zarn::CValue_Path("views/active"), data->Clone(Zarn::CValue::tfShare));
}

void CToolboxPlugin::UpdateContext(const Zarn::CValueMap& context)
{
    m_state.SetEntry(Zarn::CValue_Path("context/context"), context.Clone(Zarn::CValue::tfShare));
}

void CToolboxPlugin::RebuildAvailableDocuments()
{
    auto* pAvailable = new Zarn::CValueVector;
    m_state.SetEntry(Zarn::CValue_Path("documents/available"), pAvailable);
    for (Zarn::CValueMap* pDocument : m_documents)
    {
        pAvailable->PushBack(new Zarn::CValuePointer<Zarn::CValueMap>(pDocument));
    }
}

void CToolboxPlugin::RebuildAvailableViews()
{
    auto* pAvailable = new Zarn::CValueVector;
    m_state.SetEntry(Zarn::CValue_Path("views/available"), pAvailable);
    for (Zarn::CPluginBase* pView : m_views)
    {
        pAvailable->PushBack(new Zarn::CValuePointer<Zarn::CPluginBase>(pView));
    }
}

void CToolboxPlugin::UpdatePlugins()
{
    Zarn::CValueMap input;
    input.SetEntry(Zarn::CValue_Key("input"), m_state.Clone(Zarn::CValue::tfShare));
    Zarn::CValueMap controls;
    // Configuration actions are always enabled.
    for (const auto& [strAction, pEntry] : m_configActions)
    {
        controls.SetEntry(Zarn::CValue_Key(strAction.c_str()), new Zarn::CValueBool(true));
    }

    SAskedTool asked;
    bool bChanged = false;
    // While a tool is asked, its action is the origin of a fault; the caller's label comes back
    // afterwards.
    const std::string strContext = DocView::CurrentContext();
    try
    {
        bChanged = AskTools(input, controls, asked);
    }
    catch (...)
    {
        RethrowToolError(asked, strContext);
    }
    DocView::SetCurrentContext(strContext);

    if (bChanged)
    {
        Send("UPDATE_CONTROLS", controls.Clone(Zarn::CValue::tfShare));
    }
}

bool CToolboxPlugin::AskTools(const Zarn::CValueMap& input, Zarn::CValueMap& controls,
                              SAskedTool& asked)
{
    for (const auto& [strAction, pEntry] : m_actions)
    {
        if (pEntry != nullptr && pEntry->HasConfig() && pEntry->Config() != nullptr)
        {
            asked = SAskedTool{pEntry.get(), strAction};
            DocView::SetCurrentContext(strAction);
            CallPlugin([&] { pEntry->Config()->UpdateParameters(input); });
        }
    }
    bool bChanged = false;
    for (const auto& [strAction, pEntry] : m_actions)
    {
        asked = SAskedTool{pEntry.get(), strAction};
        DocView::SetCurrentContext(strAction);
        bool bEnabled = false;
        if (pEntry != nullptr)
        {
            CallPlugin([&] { bEnabled = pEntry->Tool()->TestParameters(input); });
        }
        if (pEntry != nullptr && bEnabled != pEntry->IsEnabled())
        {
            controls.SetEntry(Zarn::CValue_Key(strAction.c_str()), new Zarn::CValueBool(bEnabled));
            pEntry->SetEnabled(bEnabled);
            bChanged = true;
        }
        // A disabled tool is not told about the new input.
        if (bEnabled)
        {
            CallPlugin([&] { pEntry->Tool()->UpdateParameters(input); });
        }
    }
    return bChanged;
}

void CToolboxPlugin::RethrowToolError(const SAskedTool& asked, const std::string& context)
{
    try
    {
        throw;
    }
    catch (const Zarn::CException& exception)
    {
        const std::string strInstance = exception.instance();
        const Zarn::CException error(
            Zarn::CStringTools::Printf("CToolboxPlugin::UpdatePlugins -> %s",
                                       FunctionOf(exception).c_str())
                .c_str(),
            exception.what(),
            Zarn::CStringTools::Printf("GUICommunicationThread -> %s",
                                       strInstance.empty() ? PluginNameOf(asked.m_pEntry).c_str()
                                                           : strInstance.c_str())
                .c_str());
        // A tool that faulted natively may be broken: it starts afresh before anything else
        // reaches it.
        if (IsNativeFault(exception))
        {
            ReloadFaultedTool(asked.m_strAction);
        }
        DocView::SetCurrentContext(context);
        throw error;
    }
    catch (const std::exception& exception)
    {
        DocView::SetCurrentContext(context);
        throw Zarn::CException(
            "CToolboxPlugin::UpdatePlugins",
            Zarn::CStringTools::Printf("STL-EXCEPTION %s", exception.what()).c_str(),
            PluginNameOf(asked.m_pEntry).c_str());
    }
    catch (...)
    {
        DocView::SetCurrentContext(context);
        throw Zarn::CException("CToolboxPlugin::UpdatePlugins",
                               "UNKNOWN EXCEPTION! Someone has done mischief!",
                               PluginNameOf(asked.m_pEntry).c_str());
    }
}

// ---------------------------------------------------------------------------------------------
// Running and configuring tools

void CToolboxPlugin::OnAction(const Zarn::CValue* data)
{
    if (data == nullptr || data->GenericType() != Zarn::CValue::vtString)
    {
        throw Zarn::CException("ON_ACTION", "Invalid message data!", nullptr);
    }
    const std::string strAction = data->String().StdString();
    DocView::SetCurrentContext(strAction);

    const auto it = m_actions.find(strAction);
    if (it != m_actions.end() && it->second != nullptr && it->second->HasConfig())
    {
        CToolEntry* pEntry = it->second.get();
        bool bConfigured = false;
        // The dialog may deliver messages meanwhile; none of them may delete the entry.
        pEntry->BeginRun();
        const std::string strError =
            RunGuardedStep(kConfigureTexts, [&] { bConfigured = pEntry->Configure(0); });
        FinishRun(pEntry);
        if (!strError.empty())
        {
            LogLine(Zarn::CLogger::levelError,
                    "Configuration of " + strAction + " failed: " + OneLine(strError));
            DocView::ShowCriticalMessage(QStringLiteral("Error During Configuration"),
                                         ToQString(strError));
            ReloadTool(strAction, false);
            UpdatePlugins();
            return;
        }
        if (!bConfigured)
        {
            // Cancelled: the tool is not run.
            return;
        }
    }

    const std::string strError = RunGuardedStep(kRunTexts, [&] { ExecuteAction(strAction); });
    if (!strError.empty())
    {
        LogLine(Zarn::CLogger::levelError, "Run of " + strAction + " failed: " + OneLine(strError));
        DocView::ShowCriticalMessage(QStringLiteral("Plugin Error"), ToQString(strError));
        ReloadTool(strAction, false);
    }
    UpdatePlugins();
}

void CToolboxPlugin::ExecuteAction(const std::string& action)
{
    DocView::SetCurrentContext(action);
    const auto it = m_actions.find(action);
    if (it != m_actions.end() && it->second != nullptr)
    {
        if (it->second->IsThreaded())
        {
            StartToolThread(action, it->second.get());
        }
        else
        {
            RunOnThisThread(action, it->second.get());
        }
        return;
    }

    const auto itConfig = m_configActions.find(action);
    if (itConfig != m_configActions.end() && itConfig->second != nullptr)
    {
        CToolEntry* pEntry = itConfig->second;
        WhileRunning(pEntry, [pEntry] { pEntry->Configure(0); });
    }
}

void CToolboxPlugin::StartToolThread(const std::string& action, CToolEntry* entry)
{
    auto* pStart = new Zarn::CValueMap;
    pStart->SetEntry(kAction, new Zarn::CValueString(action.c_str()));
    Send("ACTIVITY_START", pStart);

    auto pThread = std::make_unique<CToolThread>(entry->Tool());
    const auto itName = m_actionNames.find(action);
    pThread->SetName(Zarn::CString(itName != m_actionNames.end() ? itName->second : ""));
    pThread->SetHandOver(m_pCommThread, m_pMessageIdFactory);
    // The entry stays until the run's "ACTIVITY_STOP" is collected.
    CToolThread* pStarted = pThread.get();
    m_runs[pStarted] = SRun{std::move(pThread), entry};
    entry->BeginRun();
    if (!pStarted->Create())
    {
        m_runs.erase(pStarted);
        FinishRun(entry);
        // The activity display waits for a stop that no thread will send.
        auto* pStop = new Zarn::CValueMap;
        pStop->SetEntry(kAction, new Zarn::CValueString(action.c_str()));
        Send("ACTIVITY_STOP", pStop);
        throw Zarn::CException("CToolboxPlugin::ExecuteAction",
                               "The tool thread could not be started.", action.c_str());
    }
}

void CToolboxPlugin::RunOnThisThread(const std::string& action, CToolEntry* entry)
{
    std::unique_ptr<Zarn::CValueMap> pData(new Zarn::CValueMap);
    pData->SetEntry(kAction, new Zarn::CValueString(action.c_str()));
    // A tool may run an event loop (a dialog of its own); no message may delete it meanwhile.
    entry->BeginRun();
    try
    {
        CallPlugin([&] { entry->Tool()->Run(*pData); });
    }
    catch (...)
    {
        FinishRun(entry);
        try
        {
            SendActivityStop(action, pData.release());
        }
        catch (...)
        {
            // The tool's error is the one to report; the stop's own failure would hide it.
        }
        throw;
    }
    FinishRun(entry);
    SendActivityStop(action, pData.release());
}

template <class TCall> void CToolboxPlugin::WhileRunning(CToolEntry* entry, TCall&& call)
{
    entry->BeginRun();
    try
    {
        call();
    }
    catch (...)
    {
        FinishRun(entry);
        throw;
    }
    FinishRun(entry);
}

void CToolboxPlugin::SendActivityStop(const std::string& action, Zarn::CValueMap* output)
{
    try
    {
        Send("ACTIVITY_STOP", output);
    }
    catch (...)
    {
        // The output is lost; a stop that names only the action still closes the run, and the
        // failure is reported as the run's.
        const std::exception_ptr pFailure = std::current_exception();
        try
        {
            std::unique_ptr<Zarn::CValueMap> pStop(new Zarn::CValueMap);
            pStop->SetEntry(kAction, new Zarn::CValueString(action.c_str()));
            Send("ACTIVITY_STOP", pStop.release());
        }
        catch (...)
        {
            // Nothing is left to post with; the first failure is the one to report.
        }
        std::rethrow_exception(pFailure);
    }
}

void CToolboxPlugin::OnActivityStop(const Zarn::CValueMap& message)
{
    const std::string strError = RunGuardedStep(kRunTexts, [&] { HandleToolOutput(message); });
    if (strError.empty())
    {
        UpdatePlugins();
        return;
    }
    LogLine(Zarn::CLogger::levelError, "Tool run failed: " + OneLine(strError));
    DocView::ShowCriticalMessage(QStringLiteral("Plugin Error"), ToQString(strError));
    // Only a run on this thread names its action; a tool thread's run is not reloaded.
    const Zarn::CValue* pAction = message.Entry("data/action", false);
    if (pAction != nullptr && pAction->GenericType() == Zarn::CValue::vtString)
    {
        const std::string strAction = pAction->String().StdString();
        if (m_actions.count(strAction) != 0)
        {
            ReloadTool(strAction, true);
        }
    }
}

void CToolboxPlugin::OnConfigure(const Zarn::CValue* data)
{
    if (data == nullptr || data->GenericType() != Zarn::CValue::vtString)
    {
        throw Zarn::CException("ON_CONFIGURE", "Invalid message data!", nullptr);
    }
    const std::string strAction = data->String().StdString();
    const auto it = m_actions.find(strAction);
    if (it != m_actions.end() && it->second != nullptr)
    {
        DocView::SetCurrentContext(strAction);
        CToolEntry* pEntry = it->second.get();
        try
        {
            // Silent: the configuration plug-in delivers its parameters without a dialog.
            WhileRunning(pEntry, [pEntry] { pEntry->Configure(2); });
        }
        catch (const Zarn::CException& exception)
        {
            // The error goes to the host as it is; a plug-in broken by a fault starts afresh.
            if (IsNativeFault(exception))
            {
                ReloadFaultedTool(strAction);
            }
            throw;
        }
    }
    UpdatePlugins();
}

void CToolboxPlugin::HandleToolOutput(const Zarn::CValueMap& message)
{
    static const Zarn::CValueMap kNoData;
    const Zarn::CValue* pData = DocView::MessageData(message);
    const Zarn::CValueMap& data =
        pData != nullptr && pData->Map() != nullptr ? *pData->Map() : kNoData;

    CToolThread* pThread = nullptr;
    const Zarn::CValue_Key threadKey("toolthread");
    if (data.HasEntry(threadKey))
    {
        pThread = DocView::PointerOf<CToolThread>(data.Entry(threadKey, true));
        if (pThread != nullptr && m_runs.count(pThread) == 0)
        {
            // No run of ours: DeleteData already waited for it and deleted its thread.
            return;
        }
        if (pThread != nullptr && pThread->Failed())
        {
            // Nothing of the output is used. The thread is joined and deleted here, so that
            // failing runs do not pile up finished threads.
            const Zarn::CException error(pThread->Error());
            CollectRun(pThread);
            throw error;
        }
    }
    try
    {
        PostToolOutput(data);
    }
    catch (...)
    {
        if (pThread != nullptr)
        {
            CollectRun(pThread);
        }
        throw;
    }

    // An error box runs an event loop: a message handled meanwhile may have collected the run.
    if (pThread != nullptr && m_runs.count(pThread) != 0)
    {
        std::clog << "Calling Wait() to clean up toolbox thread ..." << std::endl;
        if (!pThread->Wait())
        {
            std::clog << "Toolbox thread already finished." << std::endl;
        }
        std::clog << "Deleting toolbox thread ..." << std::endl;
        CollectRun(pThread);
    }
}

void CToolboxPlugin::CollectRun(CToolThread* thread)
{
    const auto it = m_runs.find(thread);
    if (it == m_runs.end())
    {
        return;
    }
    CToolEntry* pEntry = it->second.m_pEntry;
    std::unique_ptr<CToolThread> pThread = std::move(it->second.m_pThread);
    m_runs.erase(it);
    // Joined before it goes: a thread object is never deleted while its thread may still run.
    pThread->Wait();
    pThread.reset();
    FinishRun(pEntry);
}

void CToolboxPlugin::PostToolOutput(const Zarn::CValueMap& data)
{
    const Zarn::CValue_Key outputKey("output");
    const Zarn::CValueMap* pOutput = data.HasEntry(outputKey, Zarn::CValue::vtMap)
                                         ? data.Entry(outputKey, true)->Map()
                                         : nullptr;
    if (pOutput != nullptr)
    {
        auto postEach =
            [this](const Zarn::CValueMap& group, const Zarn::CValue_Key& key, const char* name)
        {
            if (!group.HasEntry(key, Zarn::CValue::vtVector))
            {
                return;
            }
            const Zarn::CValueVector* pElements = group.Entry(key, true)->Vector();
            for (unsigned int i = 0; i < pElements->Size(); ++i)
            {
                Send(name,
                     pElements->Entry(Zarn::CValue_Key(i), true)->Clone(Zarn::CValue::tfShare));
            }
        };

        if (pOutput->HasEntry(kDocuments, Zarn::CValue::vtMap))
        {
            const Zarn::CValueMap& documents = *pOutput->Entry(kDocuments, true)->Map();
            postEach(documents, kAdd, "ADD_DOCUMENT");
            postEach(documents, kRemove, "REMOVE_DOCUMENT");
            postEach(documents, kUpdate, "UPDATE_DOCUMENT");
        }
        if (pOutput->HasEntry(kViews, Zarn::CValue::vtMap))
        {
            const Zarn::CValueMap& views = *pOutput->Entry(kViews, true)->Map();
            if (views.HasEntry(kAdd, Zarn::CValue::vtVector))
            {
                WriteDeprecationBanner();
                postEach(views, kAdd, "ADD_VIEW");
            }
            postEach(views, kCreate, "CREATE_VIEW");
            postEach(views, kRemove, "REMOVE_VIEW");
            postEach(views, kUpdate, "UPDATE_VIEW");
        }
        if (pOutput->HasEntry(Zarn::CValue_Key("error")))
        {
            ReportToolError(*pOutput);
        }
    }
}

void CToolboxPlugin::ReportToolError(const Zarn::CValueMap& output)
{
    const Zarn::CValue* pText = output.Entry("error/message", false);
    const std::string strText = pText != nullptr && pText->GenericType() == Zarn::CValue::vtString
                                    ? pText->String().StdString()
                                    : std::string();
    // The tool ran and says what went wrong itself: a warning, not an error of the toolbox.
    LogLine(Zarn::CLogger::levelWarning, "Tool reported an error: " + OneLine(strText));
    DocView::ShowCriticalMessage(QStringLiteral("Error while running plugin"), ToQString(strText));
    const Zarn::CValue* pExit = output.Entry("error/exit", false);
    if (pExit != nullptr && pExit->GenericType() == Zarn::CValue::vtBool && pExit->Bool())
    {
        Send("SHUTDOWN", nullptr);
    }
}

void CToolboxPlugin::ReloadTool(const std::string& action, bool bRegister)
{
    CToolEntry* pEntry = nullptr;
    std::string strCallAction;
    const auto it = m_actions.find(action);
    if (it != m_actions.end())
    {
        pEntry = it->second.get();
        strCallAction = action;
    }
    else
    {
        const auto itConfig = m_configActions.find(action);
        pEntry = itConfig != m_configActions.end() ? itConfig->second : nullptr;
        for (const auto& [strName, pCandidate] : m_actions)
        {
            if (pCandidate.get() == pEntry && pEntry != nullptr)
            {
                strCallAction = strName;
            }
        }
    }

    // No slot may name the entry once it is gone; a successful reload fills them again.
    ReleaseEntry(TakeEntry(pEntry));

    const auto itDescription = m_actionParameters.find(strCallAction);
    if (strCallAction.empty() || itDescription == m_actionParameters.end())
    {
        return;
    }
    // A copy: registering clears the saved description before it is filled again.
    const Zarn::CValueMap description(itDescription->second);
    LoadToolPlugin(description, bRegister);
}

void CToolboxPlugin::ReloadFaultedTool(const std::string& action)
{
    const auto itDescription = m_actionParameters.find(action);
    const std::string strPlugin =
        itDescription != m_actionParameters.end()
            ? StringEntry(itDescription->second, Zarn::CValue_Key("plugin"))
            : action;
    LogLine(Zarn::CLogger::levelError, "Tool plugin " + strPlugin + " faulted and is reloaded.");
    try
    {
        ReloadTool(action, false);
    }
    catch (const Zarn::CException& exception)
    {
        ReportNotLoaded("Tool plugin ", strPlugin, exception.what());
    }
    catch (const std::exception& exception)
    {
        ReportNotLoaded("Tool plugin ", strPlugin, exception.what());
    }
    catch (...)
    {
        ReportNotLoaded("Tool plugin ", strPlugin, nullptr);
    }
}

std::unique_ptr<CToolEntry> CToolboxPlugin::TakeEntry(CToolEntry* entry)
{
    std::unique_ptr<CToolEntry> pOwned;
    if (entry == nullptr)
    {
        return pOwned;
    }
    for (auto itSlot = m_actions.begin(); itSlot != m_actions.end();)
    {
        if (itSlot->second.get() != entry)
        {
            ++itSlot;
            continue;
        }
        // One entry stands under one call action; a second slot would only be a moved-out one.
        if (pOwned == nullptr)
        {
            pOwned = std::move(itSlot->second);
        }
        itSlot = m_actions.erase(itSlot);
    }
    for (auto itSlot = m_configActions.begin(); itSlot != m_configActions.end();)
    {
        itSlot = itSlot->second == entry ? m_configActions.erase(itSlot) : std::next(itSlot);
    }
    return pOwned;
}

void CToolboxPlugin::ReleaseEntry(std::unique_ptr<CToolEntry> entry)
{
    if (entry == nullptr)
    {
        return;
    }
    if (entry->RunsInFlight() > 0)
    {
        m_retiredEntries.push_back(std::move(entry));
    }
}

void CToolboxPlugin::FinishRun(CToolEntry* entry)
{
    entry->EndRun();
    if (entry->RunsInFlight() > 0)
    {
        return;
    }
    const auto it = std::find_if(m_retiredEntries.begin(), m_retiredEntries.end(),
                                 [entry](const std::unique_ptr<CToolEntry>& pRetired)
                                 { return pRetired.get() == entry; });
    if (it != m_retiredEntries.end())
    {
        m_retiredEntries.erase(it);
    }
}

void CToolboxPlugin::WaitForRuns()
{
    while (!m_runs.empty())
    {
        CollectRun(m_runs.begin()->first);
    }
}

void CToolboxPlugin::Send(const char* name, Zarn::CValue* data)
{
    DocView::SendMessage(m_pCommThread, m_pMessageIdFactory, name, data);
}

void CToolboxPlugin::LogLine(int level, const std::string& text)
{
    // LoadToolPlugin may be called before Init has borrowed the logger.
    if (m_pLogger != nullptr)
    {
        m_pLogger->SetLevel(level) << text << Zarn::notype << std::endl;
    }
}
