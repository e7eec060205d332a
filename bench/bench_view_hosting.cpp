// Cost of hosting views: per iteration N views are added (NEW_VIEW), each is made active once
// (ACTIVE_VIEW) and each is removed again (INVALID_VIEW, then the view is deleted and its widget
// with it), all through messages delivered by the real communication thread. Each message is
// delivered (deferred deletions included) before the next is posted; Qt's other events, painting
// among them, are handled once at the end of each phase. The figure is the time per view with up
// to N views held; the goal is under 1 ms per view at N = 1,000. The containers are made through
// the module's entry and shown in an offscreen top-level window. The baseline does the same
// window work on a plain QMdiArea, without plug-in and messages: QMdiArea itself visits every
// window on each activation and focus change, so its own cost per view grows with N. The
// workspace holds every window in its area as well; it keeps Qt's per-window work down (windows
// on top, covered windows left maximised, one activation per burst of ACTIVE_VIEW), which is why
// it can be faster than the baseline.

#include <Zarn/Log/Logger.h>
#include <Zarn/Message/Message.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include "ModuleEntry.h"
#include "RatioReporter.h"
#include "TestHost.h"
#include "WidgetBenchmarks.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QCoreApplication>
#include <QEvent>
#include <QHBoxLayout>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QWidget>

#include <cstdlib>
#include <memory>
#include <vector>

namespace
{

// A view of another module: owns one widget and describes itself as the containers ask.
class CBenchView : public Zarn::CPluginBase
{
public:
    CBenchView() : m_pWidget(new QWidget) {}
    ~CBenchView() override { delete m_pWidget; }

    void GetPluginSetup(Zarn::CValueMap& setup) override
    {
        setup.SetEntry(m_keyWidget, new Zarn::CValuePointer<QWidget>(m_pWidget));
    }

    void Run(Zarn::CValueMap& data) override
    {
        data.SetEntry(m_keyCaption, new Zarn::CValueString("view"));
        data.SetEntry(m_keyDescription, new Zarn::CValueString("bench view"));
        data.SetEntry(m_keyDocument, new Zarn::CValuePointer<Zarn::CValueMap>(nullptr));
        data.SetEntry(m_keyType, new Zarn::CValueString("BenchView"));
        data.SetEntry(m_keySubType, new Zarn::CValueString("Plain"));
    }

private:
    const Zarn::CValue_Key m_keyWidget{"WidgetPtr"};
    const Zarn::CValue_Key m_keyCaption{"caption"};
    const Zarn::CValue_Key m_keyDescription{"description"};
    const Zarn::CValue_Key m_keyDocument{"document"};
    const Zarn::CValue_Key m_keyType{"PluginType"};
    const Zarn::CValue_Key m_keySubType{"PluginSubType"};
    QWidget* m_pWidget;
};

using DocViewTest::PluginPtr;

// Delivers what is queued, then the deferred deletions (a window emptied by its widget's
// destruction) and what they posted in turn. Painting and the rest of Qt's events are left to
// the end of each phase, as when a batch of messages arrives between two turns of the event loop.
void Deliver(Zarn::CMessageThread& thread)
{
    thread.DeliverUntilIdle();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    thread.DeliverUntilIdle();
}

void EndPhase(Zarn::CMessageThread* thread)
{
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    if (thread != nullptr)
    {
        thread->DeliverUntilIdle();
    }
}

// Items are views; "time_per_view" is the run's real time over the views handled.
void SetPerViewCounters(benchmark::State& state, size_t nViews)
{
    const double dViews = static_cast<double>(state.iterations()) * static_cast<double>(nViews);
    state.SetItemsProcessed(static_cast<int64_t>(dViews));
    state.counters["time_per_view"] =
        benchmark::Counter(dViews, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// The container made by the module under that name, its widget placed by `layout` in the
// layout's window; null when the module does not make it.
PluginPtr StartContainer(const char* name, QHBoxLayout* layout)
{
    PluginPtr pContainer = DocViewTest::CreateModulePlugin(name);
    if (!pContainer)
    {
        return pContainer;
    }
    Zarn::CValueMap parameters;
    parameters.SetEntry(Zarn::CValue_Key("parent"),
                        new Zarn::CValuePointer<QWidget>(layout->parentWidget()));
    pContainer->Init(nullptr, parameters);
    Zarn::CValueMap setup;
    pContainer->GetPluginSetup(setup);
    layout->addWidget(
        Zarn::UnwrapPointer<QWidget>(setup.Entry(Zarn::CValue_Key("WidgetPtr"), true)));
    return pContainer;
}

// Adds, activates and removes state.range(0) views in the containers named, all subscribed to one
// communication thread.
void RunHosting(benchmark::State& state, const std::vector<const char*>& containers)
{
    DocViewTest::CTestHost host(false);
    Zarn::CMessageThread& thread = *host.m_pThread;

    auto pWindow = std::make_unique<QWidget>();
    pWindow->resize(1024, 768);
    auto* pLayout = new QHBoxLayout(pWindow.get());
    std::vector<PluginPtr> lstContainers;
    for (const char* szName : containers)
    {
        PluginPtr pContainer = StartContainer(szName, pLayout);
        if (!pContainer)
        {
            state.SkipWithError("the module does not make the container");
            return;
        }
        thread.Subscribe(pContainer.get());
        lstContainers.push_back(std::move(pContainer));
    }
    pWindow->show();
    Deliver(thread);
    EndPhase(&thread);

    const auto nViews = static_cast<size_t>(state.range(0));
    std::vector<std::unique_ptr<CBenchView>> lstViews(nViews);
    for (auto _ : state)
    {
        for (std::unique_ptr<CBenchView>& pView : lstViews)
        {
            pView = std::make_unique<CBenchView>();
            host.PostView("NEW_VIEW", pView.get());
            Deliver(thread);
        }
        EndPhase(&thread);
        for (std::unique_ptr<CBenchView>& pView : lstViews)
        {
            host.PostView("ACTIVE_VIEW", pView.get());
            Deliver(thread);
        }
        EndPhase(&thread);
        for (std::unique_ptr<CBenchView>& pView : lstViews)
        {
            host.PostView("INVALID_VIEW", pView.get());
            Deliver(thread);
            pView.reset();
            Deliver(thread);
        }
        EndPhase(&thread);
    }
    SetPerViewCounters(state, nViews);

    for (PluginPtr& pContainer : lstContainers)
    {
        thread.Unsubscribe(pContainer.get());
    }
    lstContainers.clear();
    pWindow.reset();
}

void BM_WorkspaceHosting(benchmark::State& state)
{
    RunHosting(state, {"Workspace"});
}

// The workspace and the navigator subscribed to the same thread, as in an application that
// shows both.
void BM_WorkspaceAndNavigatorHosting(benchmark::State& state)
{
    RunHosting(state, {"Workspace", "Navigator"});
}

// The baseline: the same widgets through the same windows of a plain QMdiArea, maximised on
// adding, activated one by one and gone with their widgets, Qt's events handled after each step.
void BM_PlainMdiArea(benchmark::State& state)
{
    auto pWindow = std::make_unique<QWidget>();
    pWindow->resize(1024, 768);
    auto* pLayout = new QHBoxLayout(pWindow.get());
    auto* pArea = new QMdiArea;
    pLayout->addWidget(pArea);
    pWindow->show();
    EndPhase(nullptr);

    const auto nViews = static_cast<size_t>(state.range(0));
    std::vector<QWidget*> lstWidgets(nViews);
    for (auto _ : state)
    {
        for (QWidget*& pWidget : lstWidgets)
        {
            pWidget = new QWidget;
            QMdiSubWindow* pSubWindow = pArea->addSubWindow(pWidget, Qt::WindowFlags());
            QObject::connect(pWidget, &QObject::destroyed, pSubWindow, &QObject::deleteLater);
            pSubWindow->show();
            pSubWindow->showMaximized();
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        }
        EndPhase(nullptr);
        for (QWidget* pWidget : lstWidgets)
        {
            pArea->setActiveSubWindow(qobject_cast<QMdiSubWindow*>(pWidget->parentWidget()));
            pWidget->setFocus();
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        }
        EndPhase(nullptr);
        for (QWidget* pWidget : lstWidgets)
        {
            delete pWidget;
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        }
        EndPhase(nullptr);
    }
    SetPerViewCounters(state, nViews);
}

BENCHMARK(BM_WorkspaceHosting)->Arg(100)->Arg(1000)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WorkspaceAndNavigatorHosting)
    ->Arg(100)
    ->Arg(1000)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlainMdiArea)->Arg(100)->Arg(1000)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    return RunWidgetBenchmarks(argc, argv,
                               {{"BM_WorkspaceHosting/1000", "BM_PlainMdiArea/1000",
                                 "Workspace add, activate and remove per view through messages, "
                                 "against the plain QMdiArea, 1,000 views"}});
}
