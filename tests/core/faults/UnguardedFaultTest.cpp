#include "FaultingFunctions.h"

#include <Zarn/System/SystemException.h>

#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <functional>
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

    // Runs `fnBody` in a child process and expects the child to end by `nSignal`; a child that
    // gets through the body exits normally, which fails the check.
    static void ExpectKilledBySignal(const std::function<void()>& fnBody, int nSignal)
    {
        EXPECT_EXIT(
            {
                fnBody();
                std::exit(0);
            },
            ::testing::KilledBySignal(nSignal), "");
    }
};

} // namespace

TEST_F(UnguardedFault, FaultOutsideAnyGuardKillsTheProcessBySegv)
{
    ExpectKilledBySignal(
        []
        {
            Zarn::SetSystemExceptionTranslator(ThrowingTranslator);
            FaultingFunctions::ReadThroughNullPointer();
        },
        SIGSEGV);
}

TEST_F(UnguardedFault, GuardWithoutTranslatorDoesNotCatch)
{
    ExpectKilledBySignal(
        []
        {
            Zarn::SetSystemExceptionTranslator(ThrowingTranslator);
            Zarn::SetSystemExceptionTranslator(nullptr);
            Zarn::RunWithSystemExceptionGuard([] { FaultingFunctions::DivideIntegerByZero(); });
        },
        SIGFPE);
}

TEST_F(UnguardedFault, GuardOnAnotherThreadDoesNotProtectThisOne)
{
    // The main thread waits inside its guard while a thread without one divides by zero.
    ExpectKilledBySignal(
        []
        {
            Zarn::SetSystemExceptionTranslator(ThrowingTranslator);
            Zarn::RunWithSystemExceptionGuard(
                []
                {
                    std::thread worker([] { FaultingFunctions::DivideIntegerByZero(); });
                    worker.join();
                });
        },
        SIGFPE);
}

TEST_F(UnguardedFault, TranslatorOnAnotherThreadDoesNotProtectThisOne)
{
    // The worker has a translator and a guard; the main thread has neither.
    ExpectKilledBySignal(
        []
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
                        // The worker's own fault, translated as it should be.
                    }
                });
            worker.join();
            FaultingFunctions::ReadThroughNullPointer();
        },
        SIGSEGV);
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
