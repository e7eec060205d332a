#include "TestHost.h"

#include <Zarn/Message/Message.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

namespace DocViewTest
{

CTestHost::CTestHost(bool bKeepLog)
    : m_pLogger(std::make_unique<Zarn::CLogger>(bKeepLog ? &m_logText : nullptr)),
      m_pThreadLogger(std::make_unique<Zarn::CLogger>(&m_threadLogText)),
      m_pIds(std::make_unique<Zarn::CMessageIdFactory>()),
      m_pThread(std::make_unique<Zarn::CMessageThread>())
{
    m_pThread->SetLogger(m_pThreadLogger.get());
    m_pThread->SetMessageIdFactory(m_pIds.get());
    Zarn::RegisterHostObjects(m_pThread.get(), m_pIds.get(), m_pLogger.get());
}

CTestHost::~CTestHost()
{
    Stop();
}

void CTestHost::Stop()
{
    if (m_pThread == nullptr)
    {
        return;
    }
    Zarn::UnregisterHostObjects();
    m_pThread.reset();
}

void CTestHost::Post(const char* name, Zarn::CValue* data)
{
    m_pThread->TakeMessage(
        new Zarn::CMessage(m_pIds->GetMessageId(name), data, Zarn::CMessage::priNormal),
        Zarn::CMessage::mmQueued);
}

void CTestHost::PostText(const char* name, const char* text)
{
    Post(name, new Zarn::CValueString(text));
}

void CTestHost::PostDocument(const char* name, Zarn::CValueMap* document)
{
    Post(name, new Zarn::CValuePointer<Zarn::CValueMap>(document));
}

void CTestHost::PostView(const char* name, Zarn::CPluginBase* view)
{
    Post(name, new Zarn::CValuePointer<Zarn::CPluginBase>(view));
}

size_t CTestHost::Deliver()
{
    return m_pThread->DeliverUntilIdle();
}

void CTestHost::EndPlugin(Zarn::CPluginBase*& plugin, Zarn::CPluginBase* subscriber,
                          bool bDeleteData)
{
    if (plugin == nullptr)
    {
        return;
    }
    m_pThread->Unsubscribe(subscriber);
    if (bDeleteData)
    {
        plugin->DeleteData();
    }
    delete plugin;
    plugin = nullptr;
}

std::vector<std::string> CTestHost::LogLines(size_t first) const
{
    // "YYYY-MM-DD hh:mm:ss.mmm " comes first on every line.
    const size_t nPrefix = 24;
    std::vector<std::string> lstLines;
    std::istringstream text(m_logText.str());
    std::string strLine;
    for (size_t nLine = 0; std::getline(text, strLine); ++nLine)
    {
        if (nLine >= first)
        {
            lstLines.push_back(strLine.size() >= nPrefix ? strLine.substr(nPrefix) : strLine);
        }
    }
    return lstLines;
}

} // namespace DocViewTest
