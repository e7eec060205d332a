// Message throughput: one producer thread posts, the benchmark thread delivers to 10
// subscribers. CMessageThread against a plain mutex + condition variable queue doing the same
// work in the same run; the ratio is printed at the end.

#include <Zarn/Message/Message.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValueScalar.h>

#include "RatioReporter.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace
{

constexpr int kSubscribers = 10;
constexpr int kMessagesPerIteration = 20000;

// Sums what it gets, so that the payload is really read, through the lookups a plug-in makes.
class CSummingReceiver : public Zarn::CPluginBase
{
public:
    void UpdateParameters(const Zarn::CValueMap& message) override
    {
        const Zarn::CValue* pData = message.Entry(m_keyData, false);
        m_lSum += message.EntryLong(m_keyId) + (pData != nullptr ? pData->Long() : 0);
    }

    long m_lSum = 0;

private:
    const Zarn::CValue_Key m_keyId{"id"};
    const Zarn::CValue_Key m_keyData{"data"};
};

void BM_MessageThread(benchmark::State& state)
{
    Zarn::CMessageThread thread;
    std::array<CSummingReceiver, kSubscribers> receivers;
    for (CSummingReceiver& receiver : receivers)
    {
        thread.Subscribe(&receiver);
    }
    for (auto _ : state)
    {
        std::thread producer(
            [&thread]
            {
                for (int nMessage = 0; nMessage < kMessagesPerIteration; ++nMessage)
                {
                    thread.TakeMessage(new Zarn::CMessage(1, new Zarn::CValueLong(nMessage),
                                                          Zarn::CMessage::priNormal),
                                       Zarn::CMessage::mmQueued);
                }
            });
        size_t nDelivered = 0;
        while (nDelivered < static_cast<size_t>(kMessagesPerIteration))
        {
            thread.WaitForMessage(std::chrono::milliseconds(100));
            nDelivered += thread.DeliverPending();
        }
        producer.join();
    }
    for (CSummingReceiver& receiver : receivers)
    {
        benchmark::DoNotOptimize(receiver.m_lSum);
        thread.Unsubscribe(&receiver);
    }
    state.SetItemsProcessed(state.iterations() * kMessagesPerIteration);
}

// The textbook queue: push under the lock and notify; the consumer pops one message at a time
// and calls every subscriber with it.
class CPlainQueue
{
public:
    void Push(int id, std::unique_ptr<Zarn::CValue> payload)
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_lstQueue.emplace_back(id, std::move(payload));
        }
        m_cvQueued.notify_one();
    }

    std::pair<int, std::unique_ptr<Zarn::CValue>> Pop()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_cvQueued.wait(lock, [this] { return !m_lstQueue.empty(); });
        auto entry = std::move(m_lstQueue.front());
        m_lstQueue.pop_front();
        return entry;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_cvQueued;
    std::deque<std::pair<int, std::unique_ptr<Zarn::CValue>>> m_lstQueue;
};

void BM_PlainQueue(benchmark::State& state)
{
    CPlainQueue queue;
    std::array<long, kSubscribers> lstSums{};
    std::vector<std::function<void(int, const Zarn::CValue&)>> lstSubscribers;
    for (long& lSum : lstSums)
    {
        lstSubscribers.emplace_back([&lSum](int id, const Zarn::CValue& payload)
                                    { lSum += id + payload.Long(); });
    }
    for (auto _ : state)
    {
        std::thread producer(
            [&queue]
            {
                for (int nMessage = 0; nMessage < kMessagesPerIteration; ++nMessage)
                {
                    queue.Push(1, std::make_unique<Zarn::CValueLong>(nMessage));
                }
            });
        for (int nMessage = 0; nMessage < kMessagesPerIteration; ++nMessage)
        {
            const auto [nId, pPayload] = queue.Pop();
            for (const auto& fnSubscriber : lstSubscribers)
            {
                fnSubscriber(nId, *pPayload);
            }
        }
        producer.join();
    }
    for (long& lSum : lstSums)
    {
        benchmark::DoNotOptimize(lSum);
    }
    state.SetItemsProcessed(state.iterations() * kMessagesPerIteration);
}

DOCVIEW_COMPARE_BENCHMARKS(
    BM_MessageThread, BM_PlainQueue, benchmark::kMillisecond,
    "CMessageThread to 10 subscribers against a mutex and condition variable queue");

} // namespace
