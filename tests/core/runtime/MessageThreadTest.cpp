#include "../TextLines.h"
#include "TextPattern.h"
#include "TrackedObject.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Log/Logger.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace Zarn;

namespace
{

// A plug-in that notes every message it gets ("name:id" into a shared call log) and runs an
// optional action on it.
class CRecordingReceiver : public CPluginBase
{
public:
    CRecordingReceiver(const char* name, std::vector<std::string>* callLog)
        : m_strName(name), m_pCallLog(callLog)
    {
        SetInstance(name);
    }

    void UpdateParameters(const CValueMap& message) override
    {
        const long lId = message.EntryLong(CValue_Key("id"));
        m_lstIds.push_back(lId);
        m_lstData.push_back(message.Entry(CValue_Key("data"), false));
        m_lstMapSizes.push_back(message.Size());
        if (m_pCallLog != nullptr)
        {
            m_pCallLog->push_back(m_strName + ":" + std::to_string(lId));
        }
        if (m_fnAction)
        {
            m_fnAction(message);
        }
    }

    std::string m_strName;
    std::vector<std::string>* m_pCallLog;
    std::vector<long> m_lstIds;
    std::vector<const CValue*> m_lstData;
    std::vector<unsigned int> m_lstMapSizes;
    std::function<void(const CValueMap&)> m_fnAction;
};

// A plug-in without an instance name: the journal names it by its class.
class CUnnamedReceiver : public CPluginBase
{
public:
    void UpdateParameters(const CValueMap& /*message*/) override { ++m_nCalls; }
    int m_nCalls = 0;
};

CMessage* NewMessage(int id, CValue* data = nullptr)
{
    return new CMessage(id, data, CMessage::priNormal);
}

// Receivers named "first", "second" and "third" that note their calls into one log; tests take
// them apart with a structured binding.
struct SThreeReceivers
{
    std::vector<std::string> m_lstCalls;
    CRecordingReceiver m_first{"first", &m_lstCalls};
    CRecordingReceiver m_second{"second", &m_lstCalls};
    CRecordingReceiver m_third{"third", &m_lstCalls};
};

// Makes the receiver run `fnAction` when it gets the message with the id given, and only then.
void OnMessage(CRecordingReceiver& receiver, long lId, std::function<void()> fnAction)
{
    receiver.m_fnAction = [lId, fnAction](const CValueMap& message)
    {
        if (message.EntryLong(CValue_Key("id")) == lId)
        {
            fnAction();
        }
    };
}

// Subscribes the receivers in the order given, queues messages without data with the ids given
// and delivers them: the number delivered.
size_t SubscribeAndDeliver(CMessageThread& thread, std::initializer_list<CPluginBase*> lstReceivers,
                           std::initializer_list<int> lstIds)
{
    for (CPluginBase* pReceiver : lstReceivers)
    {
        thread.Subscribe(pReceiver);
    }
    for (int nId : lstIds)
    {
        thread.TakeMessage(NewMessage(nId), CMessage::mmQueued);
    }
    return thread.DeliverPending();
}

} // namespace

TEST(MessageThread, DeliversIdAndDataMapToEverySubscriberInSubscriptionOrder)
{
    SThreeReceivers receivers;
    auto& [lstCalls, first, second, third] = receivers;
    CMessageThread thread;
    thread.Subscribe(&second);
    thread.Subscribe(&first);
    thread.Subscribe(&third);

    auto* pData = new CValueString("payload");
    thread.TakeMessage(NewMessage(3, pData), CMessage::mmQueued);
    thread.TakeMessage(NewMessage(4, new CValueLong(8)), CMessage::mmQueued);
    EXPECT_EQ(thread.PendingCount(), 2u);
    EXPECT_TRUE(lstCalls.empty()) << "TakeMessage must not deliver";

    EXPECT_EQ(thread.DeliverPending(), 2u);
    EXPECT_EQ(thread.PendingCount(), 0u);
    const std::vector<std::string> lstExpected = {"second:3", "first:3", "third:3",
                                                  "second:4", "first:4", "third:4"};
    EXPECT_EQ(lstCalls, lstExpected);
    // The receivers saw the very value that was posted: moved into the map, not copied.
    ASSERT_EQ(first.m_lstData.size(), 2u);
    EXPECT_EQ(first.m_lstData[0], pData);
    EXPECT_EQ(first.m_lstMapSizes[0], 2u);
    thread.Unsubscribe(&first);
    thread.Unsubscribe(&second);
    thread.Unsubscribe(&third);
}

TEST(MessageThread, MessageWithoutDataDeliversOnlyTheId)
{
    CRecordingReceiver receiver("receiver", nullptr);
    CMessageThread thread;
    thread.Subscribe(&receiver);
    thread.TakeMessage(NewMessage(9), CMessage::mmQueued);
    thread.TakeMessage(NewMessage(10, new CValueLong(1)), CMessage::mmQueued);
    thread.TakeMessage(NewMessage(11), CMessage::mmQueued);
    EXPECT_EQ(thread.DeliverPending(), 3u);
    ASSERT_EQ(receiver.m_lstIds, (std::vector<long>{9, 10, 11}));
    EXPECT_EQ(receiver.m_lstMapSizes, (std::vector<unsigned int>{1, 2, 1}));
    EXPECT_EQ(receiver.m_lstData[0], nullptr);
    EXPECT_EQ(receiver.m_lstData[2], nullptr);
}

TEST(MessageThread, DeliveredMapBehavesLikeAnOrdinaryMap)
{
    CRecordingReceiver receiver("receiver", nullptr);
    std::vector<std::unique_ptr<CValue>> lstClones;
    std::vector<std::string> lstKeys;
    std::vector<bool> lstHasData;
    std::vector<bool> lstOtherMissing;
    receiver.m_fnAction = [&](const CValueMap& message)
    {
        lstClones.emplace_back(message.Clone(CValue::tfShare));
        std::string strKeys;
        for (auto it = message.begin(); it != message.end(); ++it)
        {
            strKeys += std::string(it.Key().ToString()) + ";";
        }
        lstKeys.push_back(strKeys);
        lstHasData.push_back(message.HasEntry(CValue_Key("data")));
        lstOtherMissing.push_back(message.Entry(CValue_Key("other"), false) == nullptr &&
                                  message.ChildAt(CValue_Key("ids")) == nullptr &&
                                  message.ChildAt(CValue_Key("dat")) == nullptr);
    };
    CMessageThread thread;
    thread.Subscribe(&receiver);
    thread.TakeMessage(NewMessage(5, new CValueString("x")), CMessage::mmQueued);
    thread.TakeMessage(NewMessage(6), CMessage::mmQueued);
    EXPECT_EQ(thread.DeliverPending(), 2u);

    CValueMap expected;
    expected.SetEntry(CValue_Key("id"), new CValueLong(5));
    expected.SetEntry(CValue_Key("data"), new CValueString("x"));
    ASSERT_EQ(lstClones.size(), 2u);
    EXPECT_TRUE(lstClones[0]->Equal(expected));
    EXPECT_EQ(lstClones[1]->Map()->Size(), 1u);
    EXPECT_EQ(lstClones[1]->Map()->EntryLong(CValue_Key("id")), 6);
    EXPECT_EQ(lstKeys, (std::vector<std::string>{"data;id;", "id;"}));
    EXPECT_EQ(lstHasData, (std::vector<bool>{true, false}));
    EXPECT_EQ(lstOtherMissing, (std::vector<bool>{true, true}));
    EXPECT_EQ(receiver.m_lstData[1], nullptr);
}

TEST(MessageThread, SenderReceivesItsOwnMessage)
{
    std::vector<std::string> lstCalls;
    CRecordingReceiver sender("sender", &lstCalls);
    CRecordingReceiver other("other", &lstCalls);
    CMessageThread thread;
    thread.Subscribe(&sender);
    thread.Subscribe(&other);
    sender.m_fnAction = [&thread](const CValueMap& message)
    {
        if (message.EntryLong(CValue_Key("id")) == 1)
        {
            thread.TakeMessage(NewMessage(2), CMessage::mmQueued);
        }
    };
    thread.TakeMessage(NewMessage(1), CMessage::mmQueued);
    EXPECT_EQ(thread.DeliverUntilIdle(), 2u);
    EXPECT_EQ(lstCalls, (std::vector<std::string>{"sender:1", "other:1", "sender:2", "other:2"}));
}

TEST(MessageThread, EmptyQueueOrNullMessage)
{
    CMessageThread thread;
    EXPECT_EQ(thread.DeliverPending(), 0u);
    EXPECT_EQ(thread.DeliverUntilIdle(), 0u);
    EXPECT_THROW(thread.TakeMessage(nullptr, CMessage::mmQueued), CExBadParam);
    EXPECT_EQ(thread.PendingCount(), 0u);
}

TEST(MessageThread, MessagesFromSeveralProducersKeepEachProducersOrderAndNoneIsLost)
{
    constexpr int kProducers = 6;
    constexpr int kMessagesEach = 5000;
    CMessageThread thread;
    CRecordingReceiver receiver("receiver", nullptr);
    std::vector<std::vector<long>> lstSeen(kProducers);
    receiver.m_fnAction = [&lstSeen](const CValueMap& message)
    {
        const CValueVector* pData = message.Entry(CValue_Key("data"), true)->Vector();
        const long lProducer = pData->EntryLong(CValue_Key(0));
        lstSeen[static_cast<size_t>(lProducer)].push_back(pData->EntryLong(CValue_Key(1)));
    };
    thread.Subscribe(&receiver);

    std::vector<std::thread> lstProducers;
    for (int nProducer = 0; nProducer < kProducers; ++nProducer)
    {
        lstProducers.emplace_back(
            [&thread, nProducer]
            {
                for (int nMessage = 0; nMessage < kMessagesEach; ++nMessage)
                {
                    auto* pData = new CValueVector;
                    pData->PushBack(new CValueLong(nProducer));
                    pData->PushBack(new CValueLong(nMessage));
                    thread.TakeMessage(NewMessage(100 + nProducer, pData), CMessage::mmQueued);
                }
            });
    }
    size_t nDelivered = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (nDelivered < static_cast<size_t>(kProducers * kMessagesEach) &&
           std::chrono::steady_clock::now() < deadline)
    {
        thread.WaitForMessage(std::chrono::milliseconds(100));
        nDelivered += thread.DeliverPending();
    }
    for (std::thread& producer : lstProducers)
    {
        producer.join();
    }
    EXPECT_EQ(nDelivered, static_cast<size_t>(kProducers * kMessagesEach));
    EXPECT_EQ(receiver.m_lstIds.size(), static_cast<size_t>(kProducers * kMessagesEach));
    for (int nProducer = 0; nProducer < kProducers; ++nProducer)
    {
        const std::vector<long>& lstSequence = lstSeen[static_cast<size_t>(nProducer)];
        ASSERT_EQ(lstSequence.size(), static_cast<size_t>(kMessagesEach));
        for (int nMessage = 0; nMessage < kMessagesEach; ++nMessage)
        {
            ASSERT_EQ(lstSequence[static_cast<size_t>(nMessage)], nMessage)
                << "producer " << nProducer;
        }
    }
}

TEST(MessageThread, ThrowingReceiverDoesNotStopLaterReceivers)
{
    std::ostringstream log;
    CLogger logger(&log);
    CMessageIdFactory factory;
    const int nId = factory.GetMessageId("ADD_DOCUMENT");
    std::vector<std::string> lstCalls;
    CRecordingReceiver hostError("HostError", &lstCalls);
    CRecordingReceiver stdError("StdError", &lstCalls);
    CRecordingReceiver intError("IntError", &lstCalls);
    CRecordingReceiver healthy("Healthy", &lstCalls);
    hostError.m_fnAction = [](const CValueMap&)
    { throw CException("CRepositoryPlugin::UpdateParameters", "document missing", "repo-1"); };
    stdError.m_fnAction = [](const CValueMap&) { throw std::runtime_error("disk on fire"); };
    intError.m_fnAction = [](const CValueMap&) { throw 17; };

    CMessageThread thread;
    thread.SetLogger(&logger);
    thread.SetMessageIdFactory(&factory);
    thread.Subscribe(&hostError);
    thread.Subscribe(&stdError);
    thread.Subscribe(&intError);
    thread.Subscribe(&healthy);
    thread.TakeMessage(NewMessage(nId), CMessage::mmQueued);
    thread.TakeMessage(NewMessage(nId), CMessage::mmQueued);
    EXPECT_EQ(thread.DeliverPending(), 2u);

    const std::string strId = std::to_string(nId);
    EXPECT_EQ(lstCalls, (std::vector<std::string>{"HostError:" + strId, "StdError:" + strId,
                                                  "IntError:" + strId, "Healthy:" + strId,
                                                  "HostError:" + strId, "StdError:" + strId,
                                                  "IntError:" + strId, "Healthy:" + strId}));
    const std::vector<std::string> lstLines = Lines(log.str());
    ASSERT_EQ(lstLines.size(), 6u) << log.str();
    const std::string strPrefix =
        "{d}{d}{d}{d}-{d}{d}-{d}{d} {d}{d}:{d}{d}:{d}{d}.{d}{d}{d} error Message ADD_DOCUMENT: ";
    EXPECT_TRUE(MatchesPattern(lstLines[0], strPrefix +
                                                "receiver HostError threw Zarn::CException: "
                                                "CRepositoryPlugin::UpdateParameters: document "
                                                "missing [repo-1]"))
        << lstLines[0];
    EXPECT_TRUE(MatchesPattern(lstLines[1], strPrefix + "receiver StdError threw "
                                                        "std::runtime_error: disk on fire"))
        << lstLines[1];
    EXPECT_TRUE(MatchesPattern(lstLines[2], strPrefix + "receiver IntError threw an exception "
                                                        "of unknown type"))
        << lstLines[2];
    EXPECT_EQ(lstLines[3].substr(24), lstLines[0].substr(24));
}

TEST(MessageThread, MessagePostedDuringDeliveryComesAfterTheCurrentOneAndNotReentrantly)
{
    std::vector<std::string> lstCalls;
    CRecordingReceiver poster("poster", &lstCalls);
    CRecordingReceiver watcher("watcher", &lstCalls);
    CMessageThread thread;
    int nDepth = 0;
    int nMaxDepth = 0;
    size_t nNestedResult = 99;
    poster.m_fnAction = [&](const CValueMap& message)
    {
        ++nDepth;
        nMaxDepth = std::max(nMaxDepth, nDepth);
        if (message.EntryLong(CValue_Key("id")) == 1)
        {
            thread.TakeMessage(NewMessage(2), CMessage::mmQueued);
            nNestedResult = thread.DeliverPending();
        }
        --nDepth;
    };
    thread.Subscribe(&poster);
    thread.Subscribe(&watcher);
    thread.TakeMessage(NewMessage(1), CMessage::mmQueued);
    thread.TakeMessage(NewMessage(3), CMessage::mmQueued);

    EXPECT_EQ(thread.DeliverPending(), 2u);
    EXPECT_EQ(nNestedResult, 0u);
    EXPECT_EQ(nMaxDepth, 1);
    EXPECT_EQ(lstCalls,
              (std::vector<std::string>{"poster:1", "watcher:1", "poster:3", "watcher:3"}));
    EXPECT_EQ(thread.PendingCount(), 1u);
    EXPECT_EQ(thread.DeliverPending(), 1u);
    EXPECT_EQ(lstCalls.back(), "watcher:2");
}

TEST(MessageThread, WakeUpHookRunsOncePerEmptyToNonEmptyTransition)
{
    CMessageThread thread;
    int nWakeUps = 0;
    thread.SetWakeUpHook([&nWakeUps] { ++nWakeUps; });
    thread.TakeMessage(NewMessage(1), CMessage::mmQueued);
    thread.TakeMessage(NewMessage(2), CMessage::mmQueued);
    thread.TakeMessage(NewMessage(3), CMessage::mmQueued);
    EXPECT_EQ(nWakeUps, 1);
    EXPECT_EQ(thread.DeliverPending(), 3u);
    thread.TakeMessage(NewMessage(4), CMessage::mmQueued);
    EXPECT_EQ(nWakeUps, 2);
    thread.TakeMessage(NewMessage(5), CMessage::mmQueued);
    EXPECT_EQ(nWakeUps, 2);

    // Posted during a delivery: the queue is empty again once the batch was taken out.
    CRecordingReceiver receiver("receiver", nullptr);
    OnMessage(receiver, 4,
              [&thread]
              {
                  thread.TakeMessage(NewMessage(6), CMessage::mmQueued);
                  thread.TakeMessage(NewMessage(7), CMessage::mmQueued);
              });
    thread.Subscribe(&receiver);
    EXPECT_EQ(thread.DeliverPending(), 2u);
    EXPECT_EQ(nWakeUps, 3);
    thread.SetWakeUpHook(nullptr);
    EXPECT_EQ(thread.DeliverPending(), 2u);
    thread.TakeMessage(NewMessage(8), CMessage::mmQueued);
    EXPECT_EQ(nWakeUps, 3);
}

TEST(MessageThread, ReceiverUnsubscribedDuringDeliveryIsNotCalledAnyMore)
{
    SThreeReceivers receivers;
    auto& [lstCalls, first, second, third] = receivers;
    CMessageThread thread;
    OnMessage(first, 1,
              [&thread, &first, &second]
              {
                  thread.Unsubscribe(&second);
                  thread.Unsubscribe(&first);
              });
    EXPECT_EQ(SubscribeAndDeliver(thread, {&first, &second, &third}, {1, 2}), 2u);
    EXPECT_EQ(lstCalls, (std::vector<std::string>{"first:1", "third:1", "third:2"}));
}

TEST(MessageThread, UnsubscribeAndResubscribeDuringDeliveryMovesTheReceiverToTheEnd)
{
    std::vector<std::string> lstCalls;
    CRecordingReceiver first("first", &lstCalls);
    CRecordingReceiver second("second", &lstCalls);
    CMessageThread thread;
    OnMessage(second, 1,
              [&thread, &first]
              {
                  thread.Unsubscribe(&first);
                  thread.Subscribe(&first);
              });
    EXPECT_EQ(SubscribeAndDeliver(thread, {&first, &second, &second}, {1, 2}), 2u);
    EXPECT_EQ(lstCalls, (std::vector<std::string>{"first:1", "second:1", "second:2", "first:2"}));
}

TEST(MessageThread, ReceiverSubscribedDuringDeliveryGetsOnlyLaterMessages)
{
    std::vector<std::string> lstCalls;
    CRecordingReceiver first("first", &lstCalls);
    CRecordingReceiver late("late", &lstCalls);
    CMessageThread thread;
    OnMessage(first, 1, [&thread, &late] { thread.Subscribe(&late); });
    EXPECT_EQ(SubscribeAndDeliver(thread, {&first}, {1, 2}), 2u);
    EXPECT_EQ(lstCalls, (std::vector<std::string>{"first:1", "first:2", "late:2"}));
}

TEST(MessageThread, DeliveredDataIsDeletedAfterItsMessageAndQueuedMessagesAtDestruction)
{
    const int nAliveBefore = CTrackedObject::Alive();
    std::vector<int> lstAliveDuringDelivery;
    CRecordingReceiver receiver("receiver", nullptr);
    receiver.m_fnAction = [&](const CValueMap&)
    { lstAliveDuringDelivery.push_back(CTrackedObject::Alive() - nAliveBefore); };
    {
        CMessageThread thread;
        thread.Subscribe(&receiver);
        for (int nMessage = 0; nMessage < 3; ++nMessage)
        {
            thread.TakeMessage(
                NewMessage(1, new CValueOwnedPointer<CTrackedObject>(new CTrackedObject)),
                CMessage::mmQueued);
        }
        EXPECT_EQ(thread.DeliverPending(), 3u);
        // Each message's data went right after it was delivered.
        EXPECT_EQ(lstAliveDuringDelivery, (std::vector<int>{3, 2, 1}));
        EXPECT_EQ(CTrackedObject::Alive(), nAliveBefore);

        for (int nMessage = 0; nMessage < 4; ++nMessage)
        {
            thread.TakeMessage(
                NewMessage(1, new CValueOwnedPointer<CTrackedObject>(new CTrackedObject)),
                CMessage::mmQueued);
        }
        EXPECT_EQ(CTrackedObject::Alive(), nAliveBefore + 4);
    }
    EXPECT_EQ(CTrackedObject::Alive(), nAliveBefore);
}

TEST(MessageThread, WaitForMessageTimesOutOnAnEmptyQueueAndWakesForAPost)
{
    CMessageThread thread;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(thread.WaitForMessage(std::chrono::milliseconds(30)));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));

    std::thread producer(
        [&thread]
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            thread.TakeMessage(NewMessage(1), CMessage::mmQueued);
        });
    EXPECT_TRUE(thread.WaitForMessage(std::chrono::seconds(30)));
    producer.join();
    EXPECT_TRUE(thread.WaitForMessage(std::chrono::milliseconds(0)));
    EXPECT_EQ(thread.DeliverPending(), 1u);
}

TEST(MessageThread, DeliverUntilIdleFollowsChainsOfMessages)
{
    CMessageThread thread;
    CRecordingReceiver chain("chain", nullptr);
    chain.m_fnAction = [&thread](const CValueMap& message)
    {
        const long lId = message.EntryLong(CValue_Key("id"));
        if (lId < 5)
        {
            thread.TakeMessage(NewMessage(static_cast<int>(lId) + 1), CMessage::mmQueued);
        }
    };
    thread.Subscribe(&chain);
    thread.TakeMessage(NewMessage(1), CMessage::mmQueued);
    EXPECT_EQ(thread.DeliverUntilIdle(), 5u);
    EXPECT_EQ(chain.m_lstIds, (std::vector<long>{1, 2, 3, 4, 5}));
    EXPECT_EQ(thread.PendingCount(), 0u);
}

TEST(MessageThread, JournalLineNamesMessageDataAndEachReceiverWithItsTime)
{
    std::ostringstream journal;
    CMessageIdFactory factory;
    const int nId = factory.GetMessageId("ADD_DOCUMENT");
    CRecordingReceiver repository("Repository", nullptr);
    CUnnamedReceiver unnamed;
    CMessageThread thread;
    thread.SetMessageIdFactory(&factory);
    thread.EnableJournal(&journal);
    thread.Subscribe(&repository);
    thread.Subscribe(&unnamed);

    auto* pMap = new CValueMap;
    pMap->SetEntry(CValue_Key("a"), new CValueLong(1));
    pMap->SetEntry(CValue_Key("b"), new CValueLong(2));
    pMap->SetEntry(CValue_Key("c"), new CValueLong(3));
    thread.TakeMessage(NewMessage(nId, pMap), CMessage::mmQueued);
    thread.TakeMessage(NewMessage(nId + 7, new CValueString(std::string(50, 'q'))),
                       CMessage::mmQueued);
    auto* pPointee = new CValueMap;
    thread.TakeMessage(NewMessage(nId, new CValueOwnedPointer<CValueMap>(pPointee)),
                       CMessage::mmQueued);
    thread.TakeMessage(NewMessage(nId, new CValueString("abc")), CMessage::mmQueued);
    auto* pVector = new CValueVector;
    pVector->PushBack(new CValueLong(1));
    pVector->PushBack(new CValueLong(2));
    thread.TakeMessage(NewMessage(nId, pVector), CMessage::mmQueued);
    thread.TakeMessage(NewMessage(nId), CMessage::mmQueued);
    EXPECT_EQ(thread.DeliverPending(), 6u);

    const std::vector<std::string> lstLines = Lines(journal.str());
    ASSERT_EQ(lstLines.size(), 6u) << journal.str();
    const std::string strReceivers =
        " -> Repository {n}us, (anonymous namespace)::CUnnamedReceiver {n}us";
    const std::string strTime = "{d}{d}:{d}{d}:{d}{d}.{d}{d}{d}{d}{d}{d} ";
    EXPECT_TRUE(MatchesPattern(lstLines[0], strTime + "ADD_DOCUMENT map{3}" + strReceivers))
        << lstLines[0];
    EXPECT_TRUE(MatchesPattern(lstLines[1], strTime + "#" + std::to_string(nId + 7) + " string \"" +
                                                std::string(40, 'q') + "\"..." + strReceivers))
        << lstLines[1];
    EXPECT_TRUE(MatchesPattern(lstLines[2],
                               strTime + "ADD_DOCUMENT pointer<Zarn::CValueMap>" + strReceivers))
        << lstLines[2];
    EXPECT_TRUE(MatchesPattern(lstLines[3], strTime + "ADD_DOCUMENT string \"abc\"" + strReceivers))
        << lstLines[3];
    EXPECT_TRUE(MatchesPattern(lstLines[4], strTime + "ADD_DOCUMENT vector[2]" + strReceivers))
        << lstLines[4];
    EXPECT_TRUE(MatchesPattern(lstLines[5], strTime + "ADD_DOCUMENT none" + strReceivers))
        << lstLines[5];
    EXPECT_EQ(unnamed.m_nCalls, 6);

    thread.DisableJournal();
    thread.TakeMessage(NewMessage(nId), CMessage::mmQueued);
    EXPECT_EQ(thread.DeliverPending(), 1u);
    EXPECT_EQ(Lines(journal.str()).size(), 6u);
}

TEST(MessageThread, JournalWithoutReceiversSaysNobody)
{
    std::ostringstream journal;
    CMessageThread thread;
    thread.EnableJournal(&journal);
    thread.TakeMessage(NewMessage(5, new CValueLong(12)), CMessage::mmQueued);
    EXPECT_EQ(thread.DeliverPending(), 1u);
    EXPECT_TRUE(MatchesPattern(journal.str(),
                               "{d}{d}:{d}{d}:{d}{d}.{d}{d}{d}{d}{d}{d} #5 long 12 -> nobody\n"))
        << journal.str();
}

TEST(MessageThread, JournalFileFromTheEnvironmentIsOpenedAtConstruction)
{
    const std::string strPath = (std::filesystem::temp_directory_path() /
                                 ("zarn-journal-" + std::to_string(getpid()) + ".txt"))
                                    .string();
    std::remove(strPath.c_str());
    ASSERT_EQ(setenv("DOCVIEW_MESSAGE_JOURNAL", strPath.c_str(), 1), 0);
    {
        CMessageThread thread;
        unsetenv("DOCVIEW_MESSAGE_JOURNAL");
        CRecordingReceiver receiver("Toolbox", nullptr);
        thread.Subscribe(&receiver);
        thread.TakeMessage(NewMessage(3, new CValueString("x")), CMessage::mmQueued);
        EXPECT_EQ(thread.DeliverPending(), 1u);
    }
    std::ifstream file(strPath);
    std::string strLine;
    ASSERT_TRUE(std::getline(file, strLine));
    EXPECT_TRUE(MatchesPattern(
        strLine, "{d}{d}:{d}{d}:{d}{d}.{d}{d}{d}{d}{d}{d} #3 string \"x\" -> Toolbox {n}us"))
        << strLine;
    std::remove(strPath.c_str());

    // Without the variable the journal stays off; an unopenable path is refused.
    CMessageThread quiet;
    EXPECT_FALSE(quiet.EnableJournal(std::string("/nonexistent-dir/zarn/journal.txt")));
}
