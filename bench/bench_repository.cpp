// Scaling of the document repository: per iteration N documents are added (each gets one view
// from a view factory), every view is focused once and every document is removed again, all
// through messages delivered by the real communication thread, deletions included. Each request
// is delivered before the next is posted, as when a user works, so the queue stays short and the
// measurement shows the repository's own cost with N documents held. The time per
// document at N = 10,000 is compared with that at N = 100 in the same run; the goal is a ratio
// within 2.

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
#include "ValueReading.h"
#include "WidgetBenchmarks.h"

#include <benchmark/benchmark.h>

#include <QApplication>

#include <cstdlib>
#include <memory>
#include <vector>

namespace
{

// A view of another module, as small as the repository allows: it describes itself with its
// caption and document.
class CBenchView : public Zarn::CPluginBase
{
public:
    void Run(Zarn::CValueMap& data) override
    {
        data.SetEntry(m_keyCaption, new Zarn::CValueString("view"));
        data.SetEntry(m_keyDocument, new Zarn::CValuePointer<Zarn::CValueMap>(m_pDocument));
    }

    void UpdateParameters(const Zarn::CValueMap& message) override
    {
        m_pDocument = const_cast<Zarn::CValueMap*>(
            Zarn::UnwrapPointer<Zarn::CValueMap>(message.Entry(m_keyDocument, true)));
    }

private:
    const Zarn::CValue_Key m_keyCaption{"caption"};
    const Zarn::CValue_Key m_keyDocument{"document"};
    Zarn::CValueMap* m_pDocument = nullptr;
};

// Makes a view for every document and notes it, so that the benchmark can focus it.
class CBenchViewFactory : public Zarn::CPluginBase
{
public:
    explicit CBenchViewFactory(std::vector<Zarn::CPluginBase*>* views) : m_pViews(views) {}

    void Run(Zarn::CValueMap& data) override
    {
        auto* pView = new CBenchView;
        m_pViews->push_back(pView);
        data.SetEntry(Zarn::CValue_Key("view plugin"),
                      new Zarn::CValuePointer<Zarn::CPluginBase>(pView));
    }

private:
    std::vector<Zarn::CPluginBase*>* m_pViews;
};

std::vector<Zarn::CPluginBase*> g_lstViews;

void BM_AddFocusRemove(benchmark::State& state)
{
    const auto nDocuments = static_cast<size_t>(state.range(0));
    DocViewTest::CTestHost host(false);
    Zarn::CMessageThread& thread = *host.m_pThread;
    Zarn::CPluginLoader::Obj().RegisterPlugin("BenchViewFactory",
                                              []() { return new CBenchViewFactory(&g_lstViews); });

    // One autocreate factory that also serves an action, so every focus asks for the controls.
    Zarn::CValueMap parameters;
    auto* pViews = new Zarn::CValueVector;
    pViews->PushBack(DocViewTest::MapOf({{"factory", new Zarn::CValueString("BenchViewFactory")},
                                         {"autocreate", new Zarn::CValueBool(true)},
                                         {"action", new Zarn::CValueString("show")}}));
    parameters.SetEntry(Zarn::CValue_Key("views"), pViews);
    auto* pRepository = static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("Repository"));
    thread.Subscribe(pRepository);
    pRepository->Init(nullptr, parameters);
    thread.DeliverUntilIdle();

    std::vector<Zarn::CValueMap*> lstDocuments(nDocuments);
    for (auto _ : state)
    {
        g_lstViews.clear();
        for (Zarn::CValueMap*& pDoc : lstDocuments)
        {
            pDoc = new Zarn::CValueMap;
            pDoc->SetEntry(Zarn::CValue_Key("label"), new Zarn::CValueString("bench"));
            host.PostDocument("ADD_DOCUMENT", pDoc);
            thread.DeliverUntilIdle();
        }
        for (Zarn::CPluginBase* pView : g_lstViews)
        {
            host.PostView("FOCUS_VIEW", pView);
            thread.DeliverUntilIdle();
        }
        for (Zarn::CValueMap* pDoc : lstDocuments)
        {
            host.PostDocument("REMOVE_DOCUMENT", pDoc);
            thread.DeliverUntilIdle();
        }
    }
    if (g_lstViews.size() != nDocuments)
    {
        state.SkipWithError("the factory did not make one view per document");
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * nDocuments));

    thread.Unsubscribe(pRepository);
    pRepository->DeleteData();
    delete pRepository;
    Zarn::CPluginLoader::Obj().UnregisterPlugin("BenchViewFactory");
}

BENCHMARK(BM_AddFocusRemove)
    ->Arg(100)
    ->Arg(1000)
    ->Arg(10000)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    return RunWidgetBenchmarks(
        argc, argv,
        {{"BM_AddFocusRemove/10000", "BM_AddFocusRemove/100",
          "Repository add, focus and remove per document, 10,000 against 100 "
          "documents"}});
}
