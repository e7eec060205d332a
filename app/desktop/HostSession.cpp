#include "HostSession.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Message/Message.h>
#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/ValuePointer.h>

#include <QMetaObject>
#include <QWidget>

namespace
{

std::string Describe(const std::exception& error)
{
    if (const auto* pZarn = dynamic_cast<const Zarn::CException*>(&error))
    {
        return pZarn->formattedWhat();
    }
    return error.what();
}

} // namespace

CMessagePump::CMessagePump(Zarn::CMessageThread& thread) : m_thread(thread)
{
    m_thread.SetWakeUpHook(
        [this]() { QMetaObject::invokeMethod(this, "SlotDeliver", Qt::QueuedConnection); });
    if (m_thread.PendingCount() > 0)
    {
        QMetaObject::invokeMethod(this, "SlotDeliver", Qt::QueuedConnection);
    }
}

CMessagePump::~CMessagePump()
{
    m_thread.SetWakeUpHook({});
}

void CMessagePump::SlotDeliver()
{
    m_thread.DeliverPending();
}

CHostSession::CHostSession(const CApplicationConfig& config) : m_config(config)
{
    m_pLogger = std::make_unique<Zarn::CLogger>();
    if (!config.LogFile().empty() && !m_pLogger->OpenFile(config.LogFile()))
    {
        m_pLogger->SetLevel(Zarn::CLogger::levelWarning)
            << "cannot open the log file " << config.LogFile() << "\n";
    }
    m_pIds = std::make_unique<Zarn::CMessageIdFactory>();
    m_pThread = std::make_unique<Zarn::CMessageThread>();
    m_pThread->SetLogger(m_pLogger.get());
    m_pThread->SetMessageIdFactory(m_pIds.get());
    if (config.MessageJournal())
    {
        m_pThread->EnableJournal("-");
    }
    m_pPump = std::make_unique<CMessagePump>(*m_pThread);

    Zarn::RegisterHostObjects(m_pThread.get(), m_pIds.get(), m_pLogger.get());
    if (config.GlobalSettings() != nullptr)
    {
        Zarn::CRegistry::Obj().SetEntry(Zarn::CValue_Key("main/globalsettings"),
                                        config.GlobalSettings()->Clone(Zarn::CValue::tfShare));
    }

    Zarn::CPluginLoader& loader = Zarn::CPluginLoader::Obj();
    loader.SetLogger(m_pLogger.get());
    for (const std::string& strFolder : config.PluginPath())
    {
        loader.AddSearchDirectory(strFolder);
    }
}

CHostSession::~CHostSession()
{
    ShutDown();
    Zarn::CPluginLoader::Obj().SetLogger(nullptr);
    Zarn::UnregisterHostObjects();
    Zarn::CRegistry::Obj().RemoveEntry(Zarn::CValue_Key("main/globalsettings"));
    m_pPump.reset();
}

void CHostSession::CreatePlugins(Zarn::CPluginBase* first)
{
    m_pFirst = first;
    if (first != nullptr)
    {
        m_pThread->Subscribe(first);
    }
    for (const SPluginEntry& entry : m_config.Plugins())
    {
        try
        {
            std::unique_ptr<Zarn::CPluginBase> pPlugin(
                Zarn::GetNewPluginInstance(entry.m_strPlugin.c_str()));
            if (!pPlugin)
            {
                std::string strFolders;
                for (const std::string& strFolder : Zarn::CPluginLoader::Obj().SearchDirectories())
                {
                    strFolders += (strFolders.empty() ? "" : ", ") + strFolder;
                }
                throw CConfigError(entry.m_strWhere + ": no module offers a plug-in named \"" +
                                   entry.m_strPlugin + "\" (modules are searched in: " +
                                   (strFolders.empty() ? "no folder" : strFolders) + ")");
            }
            // Listed before Init: a plug-in that fails half-way is ended with the others.
            m_lstPlugins.push_back({entry.m_strId, std::move(pPlugin)});
            m_lstPlugins.back().m_pPlugin->Init(nullptr, *entry.m_pParameters);
        }
        catch (const CConfigError&)
        {
            ShutDown();
            throw;
        }
        catch (const std::exception& error)
        {
            ShutDown();
            throw CConfigError(entry.m_strWhere + ": the plug-in \"" + entry.m_strPlugin +
                               "\" failed to start: " + Describe(error));
        }
        catch (...)
        {
            // Not an exception of ours: still the plug-in's failure to start, named by entry.
            ShutDown();
            throw CConfigError(entry.m_strWhere + ": the plug-in \"" + entry.m_strPlugin +
                               "\" failed to start");
        }
    }
    for (const SPlugin& plugin : m_lstPlugins)
    {
        m_pThread->Subscribe(plugin.m_pPlugin.get());
    }
}

void CHostSession::ShutDown()
{
    if (m_pFirst != nullptr)
    {
        m_pThread->Unsubscribe(m_pFirst);
        m_pFirst = nullptr;
    }
    for (const SPlugin& plugin : m_lstPlugins)
    {
        m_pThread->Unsubscribe(plugin.m_pPlugin.get());
    }
    // The last created goes first: the repository, listed last, takes its views down while
    // the containers that show them still exist.
    while (!m_lstPlugins.empty())
    {
        std::unique_ptr<Zarn::CPluginBase> pPlugin = std::move(m_lstPlugins.back().m_pPlugin);
        m_lstPlugins.pop_back();
        try
        {
            pPlugin->DeleteData();
        }
        catch (const std::exception& error)
        {
            m_pLogger->SetLevel(Zarn::CLogger::levelError)
                << "ending a plug-in failed: " << Describe(error) << "\n";
        }
    }
}

Zarn::CPluginBase* CHostSession::Plugin(const std::string& id) const
{
    for (const SPlugin& plugin : m_lstPlugins)
    {
        if (plugin.m_strId == id)
        {
            return plugin.m_pPlugin.get();
        }
    }
    return nullptr;
}

QWidget* CHostSession::WidgetOf(const std::string& id) const
{
    Zarn::CPluginBase* pPlugin = Plugin(id);
    if (pPlugin == nullptr)
    {
        return nullptr;
    }
    Zarn::CValueMap setup;
    pPlugin->GetPluginSetup(setup);
    Zarn::CValue* pWidget = setup.Entry(Zarn::CValue_Key("WidgetPtr"), false);
    if (pWidget == nullptr || pWidget->GenericType() != Zarn::CValue::vtPointer ||
        !Zarn::AreTypesEqual(pWidget->ElementType(), typeid(QWidget)))
    {
        return nullptr;
    }
    return Zarn::UnwrapPointer<QWidget>(pWidget);
}

void CHostSession::Post(const char* name, Zarn::CValue* data)
{
    m_pThread->TakeMessage(
        new Zarn::CMessage(m_pIds->GetMessageId(name), data, Zarn::CMessage::priNormal),
        Zarn::CMessage::mmQueued);
}
