#pragma once

#include "ApplicationConfig.h"

#include <Zarn/Log/Logger.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Plugin/PluginBase.h>

#include <QObject>

#include <memory>
#include <string>
#include <vector>

class QWidget;

// Delivers the communication thread's messages on the GUI thread: the thread's wake-up hook
// posts one queued call, which drains the whole batch.
//
// Borrows the thread, which must outlive it; owns nothing. Made and destroyed on the GUI thread;
// the hook it installs may be called from any thread and only posts. Throws nothing; delivers
// every message but handles none itself.
class CMessagePump : public QObject
{
    Q_OBJECT
public:
    explicit CMessagePump(Zarn::CMessageThread& thread);
    ~CMessagePump() override;

private slots:
    void SlotDeliver();

private:
    Zarn::CMessageThread& m_thread;
};

// The host around the plug-ins: the logger, the message id factory and the communication thread
// in the registry, the global settings, the plug-in path, and the plug-ins of the configuration,
// created, initialised and subscribed in its order.
//
// Owns the host objects and the plug-ins; lends them (Plugin, WidgetOf, Logger, Thread, Ids)
// for as long as it lives, the plug-ins until ShutDown. Borrows the configuration, which must
// outlive it. Used from the GUI thread only. CreatePlugins throws CConfigError; nothing else
// throws (a plug-in failing to end is logged at level 4). Posts what the application asks it to
// (Post); handles no message itself.
class CHostSession
{
public:
    explicit CHostSession(const CApplicationConfig& config);
    ~CHostSession();
    CHostSession(const CHostSession&) = delete;
    CHostSession& operator=(const CHostSession&) = delete;

    // Creates and initialises every plug-in of the configuration; on the first failure the
    // plug-ins made so far are taken down again and CConfigError says which entry failed.
    // `first` (lent, may be null) is subscribed before all of them: the window sees every
    // message before any plug-in acts on it.
    void CreatePlugins(Zarn::CPluginBase* first);
    // Unsubscribes everything and ends the plug-ins in reverse order. Called by the destructor
    // when not called before.
    void ShutDown();

    Zarn::CPluginBase* Plugin(const std::string& id) const;
    // The widget a plug-in reports as "WidgetPtr", or null.
    QWidget* WidgetOf(const std::string& id) const;

    // Posts a message from the application (priority 1, queued).
    void Post(const char* name, Zarn::CValue* data);

    Zarn::CLogger& Logger() { return *m_pLogger; }
    Zarn::CMessageThread& Thread() { return *m_pThread; }
    Zarn::CMessageIdFactory& Ids() { return *m_pIds; }

private:
    struct SPlugin
    {
        std::string m_strId;
        std::unique_ptr<Zarn::CPluginBase> m_pPlugin;
    };

    const CApplicationConfig& m_config;
    std::unique_ptr<Zarn::CLogger> m_pLogger;
    std::unique_ptr<Zarn::CMessageIdFactory> m_pIds;
    std::unique_ptr<Zarn::CMessageThread> m_pThread;
    std::unique_ptr<CMessagePump> m_pPump;
    std::vector<SPlugin> m_lstPlugins;
    Zarn::CPluginBase* m_pFirst = nullptr; // lent by CreatePlugins' caller
};
