// The toolbox's two hot paths, each against a baseline measured in the same run.
//
// 1. One pass of asking every tool (UpdatePlugins) with 100 tools and 1,000 documents, started
//    by a CHANGED_DOCUMENT message delivered by the real communication thread. Every tool looks
//    at every document of its input (unwraps each pointer), as a tool that needs an image would.
//    Baseline: the same tool test called 100 times on a ready-made input of 1,000 documents,
//    i.e. the tools' own work without the toolbox (copying the picture, the calls, the message).
// 2. The round trip of a threaded tool that does nothing: ON_ACTION posted until its
//    ACTIVITY_STOP has been handled (thread started, run, stop posted, delivered, joined and
//    deleted, tools asked again). Baseline: a std::thread started and joined plus one message
//    posted from it and delivered by the communication thread. The goal is below 1 ms.
//
// The toolbox's clean-up lines on the standard log stream go to a null buffer while measuring.

#include <Zarn/Log/Logger.h>
#include <Zarn/Message/Message.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include "ModuleEntry.h"
#include "RatioReporter.h"
#include "TestHost.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <iostream>
#include <memory>
#include <streambuf>
#include <string>
#include <thread>
#include <vector>

namespace
{

constexpr int kTools = 100;
constexpr int kDocuments = 1000;

class CNullBuffer : public std::streambuf
{
protected:
    int_type overflow(int_type character) override { return character; }
    std::streamsize xsputn(const char* /*text*/, std::streamsize count) override { return count; }
};

// What every benchmark tool does when asked: looks at each available document.
bool TestDocuments(const Zarn::CValueMap& input)
{
    const Zarn::CValue* pAvailable = input.Entry("input/documents/available", false);
    if (pAvailable == nullptr || pAvailable->Vector() == nullptr)
    {
        return false;
    }
    const Zarn::CValueVector* pDocuments = pAvailable->Vector();
    unsigned int nFound = 0;
    for (unsigned int i = 0; i < pDocuments->Size(); ++i)
    {
        nFound += Zarn::UnwrapPointer<Zarn::CValueMap>(
                      pDocuments->Entry(Zarn::CValue_Key(i), true)) != nullptr
                      ? 1
                      : 0;
    }
    return nFound != 0;
}

class CBenchTool : public Zarn::CPluginBase
{
public:
    bool TestParameters(const Zarn::CValueMap& parameters) override
    {
        return TestDocuments(parameters);
    }
    void UpdateParameters(const Zarn::CValueMap& /*message*/) override {}
};

// Counts the ACTIVITY_STOP messages delivered after the toolbox handled them.
class CStopCounter : public Zarn::CPluginBase
{
public:
    explicit CStopCounter(Zarn::CMessageIdFactory* ids) : m_pIds(ids) {}
    void UpdateParameters(const Zarn::CValueMap& message) override
    {
        if (message.EntryLong(Zarn::CValue_Key("id"), 0) == m_pIds->GetMessageId("ACTIVITY_STOP"))
        {
            ++m_nStops;
        }
    }
    long m_nStops = 0;

private:
    Zarn::CMessageIdFactory* m_pIds;
};

// The host objects in the registry, a toolbox with the given tools and a stop counter.
class CBenchHost : public DocViewTest::CTestHost
{
public:
    explicit CBenchHost(Zarn::CValueMap* toolboxParameters)
        : DocViewTest::CTestHost(false), m_pPreviousLog(std::clog.rdbuf(&m_nullBuffer)),
          m_thread(*m_pThread)
    {
        m_pToolbox.reset(static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("Toolbox")));
        m_thread.Subscribe(m_pToolbox.get());
        m_thread.Subscribe(&m_counter);
        std::streambuf* pPreviousErr = std::cerr.rdbuf(&m_nullBuffer);
        m_pToolbox->Init(nullptr, *toolboxParameters);
        std::cerr.rdbuf(pPreviousErr);
        delete toolboxParameters;
        m_thread.DeliverUntilIdle();
    }

    ~CBenchHost() override
    {
        m_thread.DeliverUntilIdle();
        m_thread.Unsubscribe(m_pToolbox.get());
        m_thread.Unsubscribe(&m_counter);
        m_pToolbox->DeleteData();
        m_pToolbox.reset();
        Stop();
        std::clog.rdbuf(m_pPreviousLog);
    }

    // Delivers until `count` ACTIVITY_STOP messages have been handled in all.
    void DeliverUntilStops(long count)
    {
        while (m_counter.m_nStops < count)
        {
            if (m_thread.DeliverUntilIdle() == 0)
            {
                m_thread.WaitForMessage(std::chrono::milliseconds(100));
            }
        }
    }

    CNullBuffer m_nullBuffer;
    std::streambuf* m_pPreviousLog;
    Zarn::CMessageThread& m_thread;
    CStopCounter m_counter{m_pIds.get()};
    std::unique_ptr<Zarn::CPluginBase> m_pToolbox;
};

Zarn::CValueMap* ToolDescription(const std::string& action, bool threaded)
{
    auto* pDescription = new Zarn::CValueMap;
    pDescription->SetEntry(Zarn::CValue_Key("plugin"), new Zarn::CValueString("BenchTool"));
    pDescription->SetEntry(Zarn::CValue_Key("callaction"), new Zarn::CValueString(action.c_str()));
    pDescription->SetEntry(Zarn::CValue_Key("threaded"), new Zarn::CValueBool(threaded));
    return pDescription;
}

Zarn::CValueMap* ToolboxParameters(int tools, bool threaded)
{
    auto* pTools = new Zarn::CValueVector;
    for (int i = 0; i < tools; ++i)
    {
        pTools->PushBack(ToolDescription("run_" + std::to_string(i), threaded));
    }
    auto* pParameters = new Zarn::CValueMap;
    pParameters->SetEntry(Zarn::CValue_Key("tool plugins"), pTools);
    return pParameters;
}

void RegisterBenchTool()
{
    Zarn::CPluginLoader::Obj().RegisterPlugin(
        "BenchTool", []() -> Zarn::CPluginBase* { return new CBenchTool; });
}

void BM_UpdatePlugins(benchmark::State& state)
{
    RegisterBenchTool();
    CBenchHost host(ToolboxParameters(kTools, false));
    std::vector<std::unique_ptr<Zarn::CValueMap>> lstDocuments;
    for (int i = 0; i < kDocuments; ++i)
    {
        lstDocuments.push_back(std::make_unique<Zarn::CValueMap>());
        host.Post("NEW_DOCUMENT",
                  new Zarn::CValuePointer<Zarn::CValueMap>(lstDocuments.back().get()));
    }
    host.m_thread.DeliverUntilIdle();

    for (auto _ : state)
    {
        host.Post("CHANGED_DOCUMENT", new Zarn::CValuePointer<Zarn::CValueMap>(nullptr));
        host.m_thread.DeliverUntilIdle();
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_UpdatePluginsBaseline(benchmark::State& state)
{
    Zarn::CValueMap input;
    auto* pAvailable = new Zarn::CValueVector;
    std::vector<std::unique_ptr<Zarn::CValueMap>> lstDocuments;
    for (int i = 0; i < kDocuments; ++i)
    {
        lstDocuments.push_back(std::make_unique<Zarn::CValueMap>());
        pAvailable->PushBack(new Zarn::CValuePointer<Zarn::CValueMap>(lstDocuments.back().get()));
    }
    input.SetEntry(Zarn::CValue_Path("input/documents/available"), pAvailable);
    CBenchTool tool;
    for (auto _ : state)
    {
        for (int i = 0; i < kTools; ++i)
        {
            benchmark::DoNotOptimize(tool.TestParameters(input));
        }
    }
    state.SetItemsProcessed(state.iterations());
}

DOCVIEW_COMPARE_BENCHMARKS(
    BM_UpdatePlugins, BM_UpdatePluginsBaseline, benchmark::kMicrosecond,
    "Asking 100 tools about 1,000 documents, toolbox pass against the tools' own tests");

void BM_ThreadedRoundTrip(benchmark::State& state)
{
    RegisterBenchTool();
    CBenchHost host(ToolboxParameters(1, true));
    long nStops = 0;
    for (auto _ : state)
    {
        host.Post("ON_ACTION", new Zarn::CValueString("run_0"));
        host.DeliverUntilStops(++nStops);
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_ThreadedRoundTripBaseline(benchmark::State& state)
{
    Zarn::CMessageThread thread;
    Zarn::CMessageIdFactory ids;
    CStopCounter counter(&ids);
    thread.Subscribe(&counter);
    const int nStop = ids.GetMessageId("ACTIVITY_STOP");
    for (auto _ : state)
    {
        const long nExpected = counter.m_nStops + 1;
        std::thread worker(
            [&thread, nStop]
            {
                thread.TakeMessage(
                    new Zarn::CMessage(nStop, new Zarn::CValueMap, Zarn::CMessage::priNormal),
                    Zarn::CMessage::mmQueued);
            });
        while (counter.m_nStops < nExpected)
        {
            if (thread.DeliverUntilIdle() == 0)
            {
                thread.WaitForMessage(std::chrono::milliseconds(100));
            }
        }
        worker.join();
    }
    thread.Unsubscribe(&counter);
    state.SetItemsProcessed(state.iterations());
}

DOCVIEW_COMPARE_BENCHMARKS(
    BM_ThreadedRoundTrip, BM_ThreadedRoundTripBaseline, benchmark::kMicrosecond,
    "Threaded no-op tool round trip against a thread start and join plus one message");

} // namespace
