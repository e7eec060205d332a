#include <Zarn/Thread/Thread.h>

#include <Zarn/Exception/Exception.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace Zarn;

namespace
{

// Runs the given body; exposes the protected method dispatcher.
class CFunctionThread : public CThread
{
public:
    CFunctionThread(std::function<bool()> body, const char* name = "worker",
                    EnPriority priority = priNormal)
        : CThread(priority, name), m_fnBody(std::move(body))
    {
    }
    ~CFunctionThread() override { Wait(); }

    using CThread::DispatchMethodCall;

protected:
    bool Run() override { return m_fnBody(); }

private:
    std::function<bool()> m_fnBody;
};

std::string CurrentThreadName()
{
    char buffer[32] = {};
    pthread_getname_np(pthread_self(), buffer, sizeof(buffer));
    return buffer;
}

} // namespace

TEST(Thread, CreateRunsTheBodyOnAnotherThreadAndWaitGivesItsResult)
{
    std::thread::id runId;
    CFunctionThread thread(
        [&runId]
        {
            runId = std::this_thread::get_id();
            return true;
        });
    EXPECT_FALSE(thread.Result());
    ASSERT_TRUE(thread.Create());
    ASSERT_TRUE(thread.Wait());
    EXPECT_TRUE(thread.Result());
    EXPECT_FALSE(thread.IsRunning());
    EXPECT_NE(runId, std::thread::id());
    EXPECT_NE(runId, std::this_thread::get_id());
}

TEST(Thread, FalseFromRunIsTheResult)
{
    CFunctionThread thread([] { return false; });
    ASSERT_TRUE(thread.Create());
    ASSERT_TRUE(thread.Wait());
    EXPECT_FALSE(thread.Result());
}

TEST(Thread, CreateWhileRunningFailsAndWaitWithoutThreadFails)
{
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    std::atomic<int> nRuns{0};
    CFunctionThread thread(
        [&]
        {
            ++nRuns;
            released.wait();
            return true;
        });
    EXPECT_FALSE(thread.Wait());
    ASSERT_TRUE(thread.Create());
    EXPECT_TRUE(thread.IsRunning());
    EXPECT_FALSE(thread.Create());
    release.set_value();
    EXPECT_TRUE(thread.Wait());
    EXPECT_FALSE(thread.Wait());
    EXPECT_EQ(nRuns.load(), 1);

    // Once waited for, it can run again.
    ASSERT_TRUE(thread.Create());
    EXPECT_TRUE(thread.Wait());
    EXPECT_EQ(nRuns.load(), 2);
}

TEST(Thread, NameIsKeptAndGivenToTheSystemThreadCutTo15Characters)
{
    std::string strSeen;
    CFunctionThread thread(
        [&strSeen]
        {
            strSeen = CurrentThreadName();
            return true;
        },
        "image-process-worker-7");
    EXPECT_EQ(thread.Name(), CString("image-process-worker-7"));
    ASSERT_TRUE(thread.Create());
    ASSERT_TRUE(thread.Wait());
    EXPECT_EQ(strSeen, "image-process-w");

    CFunctionThread unnamed([] { return true; }, nullptr);
    EXPECT_TRUE(unnamed.Name().IsEmpty());
    ASSERT_TRUE(unnamed.Create());
    EXPECT_TRUE(unnamed.Wait());
}

TEST(Thread, LowestPriorityRaisesTheNiceValueOfTheThreadOnly)
{
    errno = 0;
    const int nOwnNice = getpriority(PRIO_PROCESS, static_cast<id_t>(gettid()));
    ASSERT_EQ(errno, 0);
    int nSeen = -100;
    CFunctionThread thread(
        [&nSeen]
        {
            nSeen = getpriority(PRIO_PROCESS, static_cast<id_t>(gettid()));
            return true;
        },
        "low", CThread::priLowest);
    EXPECT_EQ(thread.Priority(), CThread::priLowest);
    ASSERT_TRUE(thread.Create());
    ASSERT_TRUE(thread.Wait());
    EXPECT_EQ(nSeen, std::min(nOwnNice + 10, 19));
    EXPECT_EQ(getpriority(PRIO_PROCESS, static_cast<id_t>(gettid())), nOwnNice);
}

TEST(Thread, ExceptionLeavingRunGivesFalseAndKeepsTheProcess)
{
    CFunctionThread hostError([]() -> bool
                              { throw CException("Run", "broken tool", "thread test"); });
    CFunctionThread stdError([]() -> bool { throw std::runtime_error("broken"); });
    CFunctionThread otherError([]() -> bool { throw 5; });
    for (CFunctionThread* pThread : {&hostError, &stdError, &otherError})
    {
        ASSERT_TRUE(pThread->Create());
        ASSERT_TRUE(pThread->Wait());
        EXPECT_FALSE(pThread->Result());
    }
}

TEST(Thread, TestInterfaceKnowsThreadAndPluginObjectNames)
{
    CFunctionThread thread([] { return true; });
    for (const char* szName : {"CThread", "Zarn::CThread", "IObject", "Zarn::IObject",
                               "IPluginObject", "Zarn::IPluginObject"})
    {
        EXPECT_TRUE(thread.TestInterface(szName)) << szName;
    }
    for (const char* szName : {"CPluginBase", "Zarn::CPluginBase", "Thread", "Zarn::", ""})
    {
        EXPECT_FALSE(thread.TestInterface(szName)) << szName;
    }
}

TEST(Thread, DispatchMethodCallRunsCreateAndWaitAndRejectsOtherMethods)
{
    std::atomic<int> nRuns{0};
    CFunctionThread thread(
        [&nRuns]
        {
            ++nRuns;
            return true;
        });
    CValueVector arguments;
    CValueVector results;
    ASSERT_TRUE(thread.DispatchMethodCall("Create", &arguments, &results));
    ASSERT_TRUE(thread.DispatchMethodCall("Wait", &arguments, &results));
    ASSERT_TRUE(thread.DispatchMethodCall("Wait", &arguments, &results));
    ASSERT_EQ(results.Size(), 3u);
    EXPECT_EQ(results.Entry(CValue_Key(0), true)->GenericType(), CValue::vtBool);
    EXPECT_TRUE(results.Entry(CValue_Key(0), true)->Bool());
    EXPECT_TRUE(results.Entry(CValue_Key(1), true)->Bool());
    EXPECT_FALSE(results.Entry(CValue_Key(2), true)->Bool());
    EXPECT_EQ(nRuns.load(), 1);

    EXPECT_FALSE(thread.DispatchMethodCall("Run", &arguments, &results));
    EXPECT_FALSE(thread.DispatchMethodCall(nullptr, &arguments, &results));
    EXPECT_EQ(results.Size(), 3u);
    // Results are optional.
    EXPECT_TRUE(thread.DispatchMethodCall("Create", nullptr, nullptr));
    EXPECT_TRUE(thread.DispatchMethodCall("Wait", nullptr, nullptr));
    EXPECT_EQ(nRuns.load(), 2);
}

namespace
{

// Touches only state outside the object, so the base destructor may join it safely.
class CForgottenThread : public CThread
{
public:
    CForgottenThread(std::atomic<bool>& started, std::atomic<bool>& finished)
        : CThread(priNormal, "forgotten"), m_pStarted(&started), m_pFinished(&finished)
    {
    }

protected:
    bool Run() override
    {
        std::atomic<bool>* pFinished = m_pFinished;
        m_pStarted->store(true);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        pFinished->store(true);
        return true;
    }

private:
    std::atomic<bool>* m_pStarted;
    std::atomic<bool>* m_pFinished;
};

} // namespace

TEST(Thread, DestructorJoinsAThreadTheOwnerForgotToWaitFor)
{
    std::atomic<bool> bStarted{false};
    std::atomic<bool> bFinished{false};
    {
        CForgottenThread thread(bStarted, bFinished);
        ASSERT_TRUE(thread.Create());
        while (!bStarted.load())
        {
            std::this_thread::yield();
        }
    }
    EXPECT_TRUE(bFinished.load());
}
