// A console demonstration of the host: two plug-ins created by name talk through the
// communication thread while a worker thread posts documents to them. With the environment
// variable DOCVIEW_MESSAGE_JOURNAL=- every delivered message is written to standard error.

#include <Zarn/Log/Logger.h>
#include <Zarn/Message/Message.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Thread/Thread.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <chrono>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

using namespace Zarn;

namespace
{

const int kDocumentCount = 3;

// What both demo plug-ins borrow from the registry in Init, as every plug-in of the system does.
class CDemoPluginBase : public CPluginBase
{
public:
    void Init(void*, const CValueMap& parameters) override
    {
        m_pCommThread = UnwrapPointer<CMessageThread>(CRegistry::Obj().Entry("tmp/commthread"));
        m_pMessageIdFactory =
            UnwrapPointer<CMessageIdFactory>(CRegistry::Obj().Entry("tmp/messageidfactory"));
        m_pLogger = UnwrapPointer<CLogger>(CRegistry::Obj().Entry("tmp/logger"));
        m_strName = parameters.EntryString("name", CString("unnamed"));
        SetInstance(m_strName.c_str());
    }

protected:
    bool IsMessage(const CValueMap& message, const char* name) const
    {
        return message.EntryLong("id", -1) == m_pMessageIdFactory->GetMessageId(name);
    }

    void Post(const char* name, CValue* data)
    {
        m_pCommThread->TakeMessage(
            new CMessage(m_pMessageIdFactory->GetMessageId(name), data, CMessage::priNormal),
            CMessage::mmQueued);
    }

    CMessageThread* m_pCommThread = nullptr;
    CMessageIdFactory* m_pMessageIdFactory = nullptr;
    CLogger* m_pLogger = nullptr;
    CString m_strName;
};

// Keeps the documents it is given and announces each one.
class CDemoLibrarianPlugin : public CDemoPluginBase
{
public:
    void UpdateParameters(const CValueMap& message) override
    {
        if (!IsMessage(message, "ADD_DOCUMENT"))
        {
            return;
        }
        const CValueMap* pDocument = message.Entry("data", true)->Map();
        auto pStored = std::make_unique<CValueMap>(*pDocument);
        pStored->SetEntry(CValue_Key("index"),
                          new CValueLong(static_cast<long>(m_lstDocuments.size())));
        Post("NEW_DOCUMENT", new CValuePointer<CValueMap>(pStored.get()));
        m_lstDocuments.push_back(std::move(pStored));
    }

private:
    std::vector<std::unique_ptr<CValueMap>> m_lstDocuments;
};

// Logs every announced document and says when all have arrived.
class CDemoReporterPlugin : public CDemoPluginBase
{
public:
    void UpdateParameters(const CValueMap& message) override
    {
        if (!IsMessage(message, "NEW_DOCUMENT"))
        {
            return;
        }
        const CValueMap* pDocument = UnwrapPointer<CValueMap>(message.Entry("data", true));
        m_pLogger->SetLevel(CLogger::levelProgress)
            << m_strName << ": new document '" << pDocument->EntryString("label") << "' (index "
            << pDocument->EntryLong("index") << ")" << notype << std::endl;
        if (++m_nSeen == kDocumentCount)
        {
            Post("DEMO_DONE", nullptr);
        }
    }

private:
    int m_nSeen = 0;
};

// Posts documents from a thread of its own: messages may come from any thread.
class CDemoProducerThread : public CThread
{
public:
    CDemoProducerThread() : CThread(priNormal, "demo producer") {}

protected:
    bool Run() override
    {
        auto* pCommThread = UnwrapPointer<CMessageThread>(CRegistry::Obj().Entry("tmp/commthread"));
        auto* pIds =
            UnwrapPointer<CMessageIdFactory>(CRegistry::Obj().Entry("tmp/messageidfactory"));
        for (int i = 0; i < kDocumentCount; ++i)
        {
            auto* pDocument = new CValueMap;
            pDocument->SetEntry(CValue_Key("label"),
                                new CValueString(("sample " + std::to_string(i + 1)).c_str()));
            pCommThread->TakeMessage(
                new CMessage(pIds->GetMessageId("ADD_DOCUMENT"), pDocument, CMessage::priNormal),
                CMessage::mmQueued);
        }
        return true;
    }
};

// Listens for the end of the demonstration.
class CDoneListener : public CDemoPluginBase
{
public:
    void UpdateParameters(const CValueMap& message) override
    {
        m_bDone = m_bDone || IsMessage(message, "DEMO_DONE");
    }
    bool m_bDone = false;
};

} // namespace

int main()
{
    CLogger& logger = DefaultLogger();
    CMessageIdFactory idFactory;
    CMessageThread commThread;
    commThread.SetLogger(&logger);
    commThread.SetMessageIdFactory(&idFactory);

    CRegistry& registry = CRegistry::Obj();
    registry.SetEntry("tmp/commthread", new CValuePointer<CMessageThread>(&commThread));
    registry.SetEntry("tmp/messageidfactory", new CValuePointer<CMessageIdFactory>(&idFactory));
    registry.SetEntry("tmp/logger", new CValuePointer<CLogger>(&logger));

    CPluginLoader::Obj().RegisterPlugin("Librarian", [] { return new CDemoLibrarianPlugin; });
    CPluginLoader::Obj().RegisterPlugin("Reporter", [] { return new CDemoReporterPlugin; });

    std::vector<std::unique_ptr<CPluginBase>> plugins;
    for (const char* szName : {"Librarian", "Reporter"})
    {
        std::unique_ptr<CPluginBase> pPlugin(GetNewPluginInstance(szName));
        CValueMap parameters;
        parameters.SetEntry(CValue_Key("name"), new CValueString(szName));
        pPlugin->Init(nullptr, parameters);
        commThread.Subscribe(pPlugin.get());
        plugins.push_back(std::move(pPlugin));
    }
    CDoneListener listener;
    CValueMap listenerParameters;
    listenerParameters.SetEntry(CValue_Key("name"), new CValueString("DoneListener"));
    listener.Init(nullptr, listenerParameters);
    commThread.Subscribe(&listener);

    logger.SetLevel(CLogger::levelProgress)
        << "host demo: " << kDocumentCount << " documents posted from a worker thread" << notype
        << std::endl;
    CDemoProducerThread producer;
    producer.Create();

    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!listener.m_bDone && std::chrono::steady_clock::now() < deadline)
    {
        commThread.WaitForMessage(std::chrono::milliseconds(100));
        commThread.DeliverPending();
    }
    producer.Wait();

    commThread.Unsubscribe(&listener);
    for (auto& pPlugin : plugins)
    {
        commThread.Unsubscribe(pPlugin.get());
        pPlugin->DeleteData();
    }
    plugins.clear();
    registry.Clear();

    if (!listener.m_bDone)
    {
        std::cerr << "host demo: the documents did not all arrive within 10 seconds\n";
        return 1;
    }
    std::cout << "host demo: done. The desktop application replaces this demo once it exists.\n";
    return 0;
}
