#include "FaultingFunctions.h"

#include <Zarn/System/SystemException.h>

#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include <sys/resource.h>

// A fault that no guard of its own thread covers must end the process by its signal, exactly as
// it would without the translator. Each case runs in a child process (a death test).

namespace
{

void ThrowingTranslator(std::uint32_t code, Zarn::SSystemExceptionInfo*)
{
    throw std::runtime_error("translated " + std::to_string(code));
}

class UnguardedFault : public ::testing::Test
{
protected:
    void SetUp() override
    {
        // The child is started afresh, so it sees the default action of each signal and not
        // the address sanitizer's own report-and-exit handler; and it leaves no core file.
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        setenv("ASAN_OPTIONS", "handle_segv=0:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0", 1);
        rlimit noCore{0, 0};
        setrlimit(RLIMIT_CORE, &noCore);
    }
};

} // namespace

TEST_F(UnguardedFault, FaultOutsideAnyGuardKillsTheProcessBySegv)
{
    EXPECT_EXIT(
        {
            Zarn::SetSystemExceptionTranslator(ThrowingTranslator);
            FaultingFunctions::ReadThroughNullPointer();
            std::exit(0);
        },
        ::testing::KilledBySignal(SIGSEGV), "");
}

TEST_F(UnguardedFault, GuardWithoutTranslatorDoesNotCatch)
{
    EXPECT_EXIT(
        {
            Zarn::SetSystemExceptionTranslator(ThrowingTranslator);
            Zarn::SetSystemExceptionTranslator(nullptr);
            Zarn::RunWithSystemExceptionGuard([] { FaultingFunctions::DivideIntegerByZero(); });
            std::exit(0);
        },
        ::testing::KilledBySignal(SIGFPE), "");
}

TEST_F(UnguardedFault, GuardOnAnotherThreadDoesNotProtectThisOne)
{
    // The main thread waits inside its guard while a thread without one divides by zero.
    EXPECT_EXIT(
        {
            Zarn::SetSystemExceptionTranslator(ThrowingTranslator);
            Zarn::RunWithSystemExceptionGuard(
                []
                {
                    std::thread worker([] { FaultingFunctions::DivideIntegerByZero(); });
                    worker.join();
                });
            std::exit(0);
        },
        ::testing::KilledBySignal(SIGFPE), "");
}

TEST_F(UnguardedFault, TranslatorOnAnotherThreadDoesNotProtectThisOne)
{
    // The worker has a translator and a guard; the main thread has neither.
    EXPECT_EXIT(
        {
            std::thread worker(
                []
                {
                    Zarn::SetSystemExceptionTranslator(ThrowingTranslator);
                    try
                    {
                        Zarn::RunWithSystemExceptionGuard(
                            [] { FaultingFunctions::DivideIntegerByZero(); });
                    }
                    catch (const std::runtime_error&)
                    {
                    }
                });
            worker.join();
            FaultingFunctions::ReadThroughNullPointer();
            std::exit(0);
        },
        ::testing::KilledBySignal(SIGSEGV), "");
}

TEST_F(UnguardedFault, InterruptFromOutsideEndsTheProcessAsUsual)
{
    // Only an interrupt the thread raises itself is noted; one sent by another process is not.
    EXPECT_EXIT(
        {
            Zarn::SetSystemExceptionTranslator(ThrowingTranslator);
            const pid_t self = getpid();
            if (fork() == 0)
            {
                kill(self, SIGINT);
                _exit(0);
            }
            for (;;)
            {
                pause();
            }
        },
        ::testing::KilledBySignal(SIGINT), "");
}
