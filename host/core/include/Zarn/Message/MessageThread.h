#pragma once

#include <Zarn/Export.h>
#include <Zarn/Message/Message.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

namespace Zarn
{

class CLogger;
class CMessageIdFactory;
class CPluginBase;
class CValue;

// The communication thread: takes messages from any thread and delivers them, on the one
// delivering thread (the GUI thread in the application, the test thread in tests), to every
// subscribed plug-in as a map {"id": CValueLong, "data": the message's value}.
//
// Producers only queue: TakeMessage never runs a receiver. The wake-up hook tells the delivering
// thread that the queue went from empty to non-empty; one DeliverPending then drains the whole
// batch. Messages are delivered in arrival order (the priority travels with the message but does
// not reorder), each to all subscribers in subscription order, the sender included. Whatever a
// receiver throws is logged at CLogger::levelError and delivery goes on with the next receiver.
//
// Thread use: TakeMessage, PendingCount and WaitForMessage from any thread; everything else from
// the delivering thread only.
//
// Contract: owns the queued messages and the delivery map; the subscribers, the id factory and
// the logger are lent and must outlive their use. Sends no messages of its own and handles none:
// it carries every plug-in's messages. Receivers' exceptions are logged, never passed on;
// TakeMessage and Subscribe throw CExBadParam for a null message or receiver.
class ZARN_CORE_API CMessageThread
{
public:
    // Switches the journal on when DOCVIEW_MESSAGE_JOURNAL names a file (or "-" for standard
    // error).
    CMessageThread();
    CMessageThread(const CMessageThread&) = delete;
    CMessageThread& operator=(const CMessageThread&) = delete;
    // Deletes the messages still queued; nobody may be delivering or posting any more.
    ~CMessageThread();

    // Takes the message (a null one throws CExBadParam) and returns at once; the wake-up hook
    // is called, on the caller's thread and without a lock held, when the queue was empty.
    void TakeMessage(CMessage* message, CMessage::EnMsgMode mode);

    // A receiver subscribed during a delivery gets only the messages after the current one; one
    // unsubscribed during a delivery is not called any more. Subscribing twice has no effect.
    // The receivers are lent and must be unsubscribed before they are destroyed.
    void Subscribe(CPluginBase* receiver);
    void Unsubscribe(CPluginBase* receiver);

    // Called from the posting thread whenever the queue goes from empty to non-empty; must be
    // cheap and must not deliver itself. May be empty.
    void SetWakeUpHook(std::function<void()> hook);

    // Delivers the messages queued at the time of the call; messages posted meanwhile wait for
    // the next call. A call from inside a delivery delivers nothing and returns 0. Returns the
    // number of messages delivered.
    size_t DeliverPending();
    // DeliverPending until the queue is empty; the total delivered.
    size_t DeliverUntilIdle();
    // Blocks until a message is queued or the timeout passed; true when one is queued.
    bool WaitForMessage(std::chrono::milliseconds timeout);
    size_t PendingCount() const;

    // Lent; null restores DefaultLogger().
    void SetLogger(CLogger* logger);
    // Lent; gives the names in the journal and in error reports ("#id" without it).
    void SetMessageIdFactory(CMessageIdFactory* factory);

    // One line per delivered message: time, name, data summary, receivers with the
    // microseconds spent in each. The stream is lent; null switches the journal off.
    void EnableJournal(std::ostream* stream);
    // Appends to the file at the path, "-" meaning standard error; false when it cannot be
    // opened (the journal is then off).
    bool EnableJournal(const std::string& path);
    void DisableJournal();

private:
    using MessageList = std::vector<std::unique_ptr<CMessage>>;

    void DeliverOne(CMessage& message);
    void CallReceivers(const CMessage& message, const CValue* data);
    // Hands the delivery map to one receiver; what it throws is logged, never passed on.
    void CallReceiver(const CMessage& message, size_t nIndex, CPluginBase* receiver);
    void ReportReceiverFailure(const CMessage& message, size_t nIndex, CPluginBase* receiver,
                               const std::string& failure);
    // Moves the messages of the batch not delivered yet back to the front of the queue.
    void RequeueUndelivered(size_t nFirst);
    void RemoveUnsubscribed();
    std::string MessageName(int id) const;
    static std::string ReceiverName(CPluginBase* receiver);

    // Shared with the posting threads, under m_mutex.
    mutable std::mutex m_mutex;
    std::condition_variable m_cvQueued;
    MessageList m_lstQueue;
    std::shared_ptr<const std::function<void()>> m_pWakeUpHook;
    unsigned int m_uWaiters = 0;

    // The delivering thread's own.
    MessageList m_lstBatch; // swapped with the queue, so both keep their capacity
    // Lent by the subscribers, which their owners delete; null: unsubscribed during a delivery.
    std::vector<CPluginBase*> m_lstSubscribers;
    bool m_bDelivering = false;
    bool m_bHasGaps = false;
    // The map handed to the receivers, reused for every message: only the id and the data
    // change. Its data stays until the next message or the end of the batch replaces it.
    class CDeliveryMap;
    std::unique_ptr<CDeliveryMap> m_pDeliveryMap;
    CLogger* m_pLogger;
    CMessageIdFactory* m_pIdFactory = nullptr;
    std::ostream* m_pJournal = nullptr;
    std::unique_ptr<std::ofstream> m_pJournalFile;
};

} // namespace Zarn
