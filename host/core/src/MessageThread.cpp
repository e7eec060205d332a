#include <Zarn/Message/MessageThread.h>

#include <Zarn/Exception/Exception.h>
#include <Zarn/Log/Logger.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/TypeInfo.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointerBase.h>
#include <Zarn/Value/ValueScalar.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <iterator>
#include <typeinfo>

namespace Zarn
{

namespace
{

constexpr size_t kSummaryTextLength = 40;

// "14:02:11.123456" in local time.
std::string JournalTime()
{
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto micros =
        std::chrono::duration_cast<std::chrono::microseconds>(now.time_since_epoch()).count() %
        1000000;
    std::tm local{};
    localtime_r(&seconds, &local);
    char buffer[64];
    std::snprintf(buffer, sizeof(buffer), "%02d:%02d:%02d.%06ld", local.tm_hour, local.tm_min,
                  local.tm_sec, static_cast<long>(micros));
    return buffer;
}

// The kind and size of a message's data, short enough for one journal line.
std::string SummarizeData(const CValue* data)
{
    if (data == nullptr)
    {
        return "none";
    }
    switch (data->GenericType())
    {
    case CValue::vtBool:
        return data->Bool() ? "bool true" : "bool false";
    case CValue::vtLong:
        return std::string("long ").append(std::to_string(data->Long()));
    case CValue::vtDouble:
    {
        char buffer[40];
        std::snprintf(buffer, sizeof(buffer), "double %g", data->Double());
        return buffer;
    }
    case CValue::vtString:
    {
        const std::string& strText = data->String().StdString();
        if (strText.size() <= kSummaryTextLength)
        {
            return "string \"" + strText + "\"";
        }
        return "string \"" + strText.substr(0, kSummaryTextLength) + "\"...";
    }
    case CValue::vtPointer:
    {
        const CValuePointerBase* pPointer = data->Pointer();
        std::string strSummary = "pointer<" + ReadableTypeName(data->ElementType()) + ">";
        if (pPointer->Void() == nullptr)
        {
            strSummary += " null";
        }
        else if (pPointer->Count() > 1)
        {
            strSummary.append("[").append(std::to_string(pPointer->Count())).append("]");
        }
        return strSummary;
    }
    case CValue::vtMap:
        return std::string("map{").append(std::to_string(data->Map()->Size())).append("}");
    case CValue::vtVector:
        return std::string("vector[").append(std::to_string(data->Vector()->Size())).append("]");
    default:
        return "invalid";
    }
}

// One receiver's part of a journal line: ", name 12us" (without the comma for the first).
void AppendJournalCall(std::string& journal, bool bFirst, const std::string& receiver,
                       std::chrono::steady_clock::time_point start)
{
    const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(
                            std::chrono::steady_clock::now() - start)
                            .count();
    journal.append(bFirst ? " " : ", ")
        .append(receiver)
        .append(" ")
        .append(std::to_string(micros))
        .append("us");
}

} // namespace

// The map handed to the receivers, reused for every message: only the id changes and the data
// takes the place of the previous message's data, so a batch reuses one map.
class CMessageThread::CDeliveryMap : public CValueMap
{
public:
    CDeliveryMap() : m_keyId("id"), m_keyData("data"), m_pId(new CValueLong(0))
    {
        StoreChild(m_keyId, std::unique_ptr<CValue>(m_pId));
    }

    // Takes the data; the previous message's data is deleted.
    void SetMessage(int id, CValue* data)
    {
        m_pId->Long() = id;
        if (data == nullptr)
        {
            ReleaseData();
            return;
        }
        StoreChild(m_keyData, std::unique_ptr<CValue>(data));
        m_pData = data;
    }

    void ReleaseData()
    {
        if (m_pData != nullptr)
        {
            m_pData = nullptr;
            EraseChild(m_keyData);
        }
    }

private:
    const CValue_Key m_keyId;
    const CValue_Key m_keyData;
    CValueLong* m_pId;         // lent by the map
    CValue* m_pData = nullptr; // lent by the map
};

CMessageThread::CMessageThread()
    : m_pDeliveryMap(std::make_unique<CDeliveryMap>()), m_pLogger(&DefaultLogger())
{
    const char* szJournal = std::getenv("DOCVIEW_MESSAGE_JOURNAL");
    if (szJournal != nullptr && *szJournal != '\0' && !EnableJournal(std::string(szJournal)))
    {
        m_pLogger->SetLevel(CLogger::levelWarning)
            << "Cannot open the message journal '" << szJournal << "'\n";
    }
}

CMessageThread::~CMessageThread() = default;

void CMessageThread::TakeMessage(CMessage* message, CMessage::EnMsgMode /*mode*/)
{
    // Queued is the only mode there is.
    std::unique_ptr<CMessage> pMessage(message);
    if (pMessage == nullptr)
    {
        throw CExBadParam(ZARN_LOCATION, "No message to take");
    }
    bool bWasEmpty = false;
    bool bWaiters = false;
    std::shared_ptr<const std::function<void()>> pHook;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        bWasEmpty = m_lstQueue.empty();
        m_lstQueue.push_back(std::move(pMessage));
        if (bWasEmpty)
        {
            bWaiters = m_uWaiters != 0;
            pHook = m_pWakeUpHook;
        }
    }
    // A waiter only waits on an empty queue, so only the first message of a batch wakes it.
    if (bWaiters)
    {
        m_cvQueued.notify_all();
    }
    if (pHook != nullptr && *pHook)
    {
        (*pHook)();
    }
}

void CMessageThread::Subscribe(CPluginBase* receiver)
{
    if (receiver == nullptr)
    {
        throw CExBadParam(ZARN_LOCATION, "No receiver to subscribe");
    }
    if (std::find(m_lstSubscribers.begin(), m_lstSubscribers.end(), receiver) ==
        m_lstSubscribers.end())
    {
        // Appended: a delivery running now only calls the receivers that were there before.
        m_lstSubscribers.push_back(receiver);
    }
}

void CMessageThread::Unsubscribe(CPluginBase* receiver)
{
    const auto it = std::find(m_lstSubscribers.begin(), m_lstSubscribers.end(), receiver);
    if (it == m_lstSubscribers.end() || receiver == nullptr)
    {
        return;
    }
    if (m_bDelivering)
    {
        // The delivery walks the list by index: leave a gap, closed after the message.
        *it = nullptr;
        m_bHasGaps = true;
    }
    else
    {
        m_lstSubscribers.erase(it);
    }
}

void CMessageThread::SetWakeUpHook(std::function<void()> hook)
{
    auto pHook = std::make_shared<const std::function<void()>>(std::move(hook));
    std::lock_guard<std::mutex> lock(m_mutex);
    m_pWakeUpHook = std::move(pHook);
}

size_t CMessageThread::DeliverPending()
{
    if (m_bDelivering)
    {
        return 0;
    }
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_lstQueue.empty())
        {
            return 0;
        }
        m_lstQueue.swap(m_lstBatch);
    }
    m_bDelivering = true;
    size_t nDelivered = 0;
    try
    {
        while (nDelivered < m_lstBatch.size())
        {
            const std::unique_ptr<CMessage> pMessage = std::move(m_lstBatch[nDelivered]);
            ++nDelivered;
            DeliverOne(*pMessage);
        }
    }
    catch (...)
    {
        // Only the host's own work (journal, allocation) gets here; receivers' failures do not.
        m_bDelivering = false;
        m_pDeliveryMap->ReleaseData();
        RemoveUnsubscribed();
        RequeueUndelivered(nDelivered);
        throw;
    }
    m_lstBatch.clear();
    m_pDeliveryMap->ReleaseData();
    m_bDelivering = false;
    return nDelivered;
}

size_t CMessageThread::DeliverUntilIdle()
{
    size_t nTotal = 0;
    for (size_t nDelivered = DeliverPending(); nDelivered != 0; nDelivered = DeliverPending())
    {
        nTotal += nDelivered;
    }
    return nTotal;
}

bool CMessageThread::WaitForMessage(std::chrono::milliseconds timeout)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    ++m_uWaiters;
    const bool bQueued = m_cvQueued.wait_for(lock, timeout, [this] { return !m_lstQueue.empty(); });
    --m_uWaiters;
    return bQueued;
}

size_t CMessageThread::PendingCount() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_lstQueue.size();
}

void CMessageThread::SetLogger(CLogger* logger)
{
    m_pLogger = logger != nullptr ? logger : &DefaultLogger();
}

void CMessageThread::SetMessageIdFactory(CMessageIdFactory* factory)
{
    m_pIdFactory = factory;
}

void CMessageThread::EnableJournal(std::ostream* stream)
{
    m_pJournal = stream;
    m_pJournalFile.reset();
}

bool CMessageThread::EnableJournal(const std::string& path)
{
    if (path == "-")
    {
        EnableJournal(&std::cerr);
        return true;
    }
    auto pFile = std::make_unique<std::ofstream>(path, std::ios::out | std::ios::app);
    if (!pFile->is_open())
    {
        DisableJournal();
        return false;
    }
    m_pJournal = pFile.get();
    m_pJournalFile = std::move(pFile);
    return true;
}

void CMessageThread::DisableJournal()
{
    EnableJournal(static_cast<std::ostream*>(nullptr));
}

void CMessageThread::DeliverOne(CMessage& message)
{
    CValue* pData = message.DetachData();
    m_pDeliveryMap->SetMessage(message.Id(), pData);
    CallReceivers(message, pData);
    if (m_bHasGaps)
    {
        RemoveUnsubscribed();
    }
}

void CMessageThread::CallReceivers(const CMessage& message, const CValue* data)
{
    // The journal reads no clock and builds no text unless it is on.
    const bool bJournal = m_pJournal != nullptr;
    std::string strJournal;
    if (bJournal)
    {
        strJournal =
            JournalTime() + " " + MessageName(message.Id()) + " " + SummarizeData(data) + " ->";
    }
    size_t nCalled = 0;
    // Receivers subscribed during this message sit after nCount and wait for the next one.
    const size_t nCount = m_lstSubscribers.size();
    for (size_t nIndex = 0; nIndex < nCount; ++nIndex)
    {
        CPluginBase* pReceiver = m_lstSubscribers[nIndex];
        if (pReceiver == nullptr)
        {
            continue;
        }
        if (bJournal)
        {
            // Named before the call: a receiver may unsubscribe and destroy itself in there.
            const std::string strReceiver = ReceiverName(pReceiver);
            const auto start = std::chrono::steady_clock::now();
            CallReceiver(message, nIndex, pReceiver);
            AppendJournalCall(strJournal, nCalled == 0, strReceiver, start);
        }
        else
        {
            CallReceiver(message, nIndex, pReceiver);
        }
        ++nCalled;
    }
    // A receiver may have switched the journal off or to another stream meanwhile.
    if (bJournal && m_pJournal != nullptr)
    {
        if (nCalled == 0)
        {
            strJournal += " nobody";
        }
        strJournal += '\n';
        m_pJournal->write(strJournal.data(), static_cast<std::streamsize>(strJournal.size()));
        m_pJournal->flush();
    }
}

void CMessageThread::CallReceiver(const CMessage& message, size_t nIndex, CPluginBase* receiver)
{
    try
    {
        receiver->UpdateParameters(*m_pDeliveryMap);
    }
    catch (const CException& exception)
    {
        ReportReceiverFailure(message, nIndex, receiver,
                              ReadableTypeName(typeid(exception)) + ": " +
                                  exception.FormattedWhat());
    }
    catch (const std::exception& exception)
    {
        ReportReceiverFailure(message, nIndex, receiver,
                              ReadableTypeName(typeid(exception)) + ": " + exception.what());
    }
    catch (...)
    {
        ReportReceiverFailure(message, nIndex, receiver, "an exception of unknown type");
    }
}

void CMessageThread::ReportReceiverFailure(const CMessage& message, size_t nIndex,
                                           CPluginBase* receiver, const std::string& failure)
{
    // Reporting must not stop the delivery either.
    try
    {
        const std::string strReceiver = m_lstSubscribers[nIndex] == receiver
                                            ? ReceiverName(receiver)
                                            : std::string("(unsubscribed receiver)");
        const std::string strLine = "Message " + MessageName(message.Id()) + ": receiver " +
                                    strReceiver + " threw " + failure + "\n";
        m_pLogger->SetLevel(CLogger::levelError) << strLine;
    }
    catch (...)
    {
        // A logger that fails has no one left to tell; the next receiver still gets the message.
    }
}

void CMessageThread::RequeueUndelivered(size_t nFirst)
{
    MessageList lstUndelivered;
    if (nFirst < m_lstBatch.size())
    {
        lstUndelivered.assign(std::make_move_iterator(m_lstBatch.begin() + nFirst),
                              std::make_move_iterator(m_lstBatch.end()));
    }
    m_lstBatch.clear();
    if (lstUndelivered.empty())
    {
        return;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    m_lstQueue.insert(m_lstQueue.begin(), std::make_move_iterator(lstUndelivered.begin()),
                      std::make_move_iterator(lstUndelivered.end()));
}

void CMessageThread::RemoveUnsubscribed()
{
    m_lstSubscribers.erase(std::remove(m_lstSubscribers.begin(), m_lstSubscribers.end(), nullptr),
                           m_lstSubscribers.end());
    m_bHasGaps = false;
}

std::string CMessageThread::MessageName(int id) const
{
    const char* szName = m_pIdFactory != nullptr ? m_pIdFactory->GetMessageName(id) : "";
    if (szName == nullptr || *szName == '\0')
    {
        return std::string("#").append(std::to_string(id));
    }
    return szName;
}

std::string CMessageThread::ReceiverName(CPluginBase* receiver)
{
    if (!receiver->Instance().IsEmpty())
    {
        return receiver->Instance().StdString();
    }
    return ReadableTypeName(typeid(*receiver));
}

} // namespace Zarn
