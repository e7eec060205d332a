#include "FaultingFunctions.h"

#include <Zarn/System/SystemException.h>
#include <Zarn/Thread/Thread.h>

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <numeric>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

using Zarn::RunWithSystemExceptionGuard;
using Zarn::SetSystemExceptionTranslator;
using Zarn::SSystemExceptionInfo;

namespace
{

using namespace Zarn::SystemExceptionCode;

// What the test translator throws: everything it was told.
struct SFaultCaught
{
    std::uint32_t code;
    SSystemExceptionInfo info;
};

std::atomic<int> g_nInterrupts{0};

void ThrowingTranslator(std::uint32_t code, SSystemExceptionInfo* info)
{
    if (code == kControlC)
    {
        g_nInterrupts.fetch_add(1);
        return;
    }
    throw SFaultCaught{code, *info};
}

std::atomic<int> g_nQuietCalls{0};

// Returns without throwing: the guard then returns normally.
void QuietTranslator(std::uint32_t, SSystemExceptionInfo*)
{
    g_nQuietCalls.fetch_add(1);
}

// Runs `body` under a guard and returns what the translator threw; code 0 when nothing faulted.
SFaultCaught CatchFault(const std::function<void()>& body)
{
    try
    {
        RunWithSystemExceptionGuard(body);
    }
    catch (const SFaultCaught& caught)
    {
        return caught;
    }
    return SFaultCaught{0, {0, 0, 0, nullptr}};
}

// A computation with allocations, to see that the process is still in order.
long HealthyComputation()
{
    std::vector<long> values(10000);
    std::iota(values.begin(), values.end(), 1L);
    std::string text(1000, 'x');
    text += "end";
    return std::accumulate(values.begin(), values.end(), 0L) + static_cast<long>(text.size());
}

constexpr long kHealthyResult = 10000L * 10001L / 2 + 1003L;

// Every fault kind once, checking its code; returns how many were translated as expected.
int TranslateEachFaultOnce()
{
    int nTranslated = 0;
    nTranslated +=
        CatchFault([] { FaultingFunctions::ReadThroughNullPointer(); }).code == kAccessViolation;
    nTranslated +=
        CatchFault([] { FaultingFunctions::DivideIntegerByZero(); }).code == kIntDivideByZero;
    nTranslated +=
        CatchFault([] { FaultingFunctions::ExecuteTrapInstruction(); }).code == kIllegalInstruction;
    nTranslated +=
        CatchFault([] { FaultingFunctions::DivideFloatByZeroWithTrapsEnabled(); }).code ==
        kFloatDivideByZero;
    return nTranslated;
}

// Checks the translated code and the signal details the translator was handed with it.
void ExpectFault(const SFaultCaught& caught, std::uint32_t code, int nSignal, int nSignalCode)
{
    EXPECT_EQ(caught.code, code);
    EXPECT_EQ(caught.info.signal, nSignal);
    EXPECT_EQ(caught.info.signalCode, nSignalCode);
}

class FaultTranslation : public ::testing::Test
{
protected:
    void SetUp() override { m_previous = SetSystemExceptionTranslator(ThrowingTranslator); }
    void TearDown() override { SetSystemExceptionTranslator(m_previous); }

    Zarn::SystemExceptionTranslator m_previous = nullptr;
};

} // namespace

TEST_F(FaultTranslation, NullDereferenceBecomesAccessViolationWithItsSignalDetails)
{
    const SFaultCaught caught = CatchFault([] { FaultingFunctions::ReadThroughNullPointer(); });
    ExpectFault(caught, kAccessViolation, SIGSEGV, SEGV_MAPERR);
    EXPECT_EQ(caught.info.code, kAccessViolation);
    EXPECT_EQ(caught.info.faultAddress, nullptr);
}

TEST_F(FaultTranslation, IntegerDivisionByZeroBecomesIntDivideByZero)
{
    const SFaultCaught caught = CatchFault([] { FaultingFunctions::DivideIntegerByZero(); });
    ExpectFault(caught, kIntDivideByZero, SIGFPE, FPE_INTDIV);
    // For arithmetic faults the address is that of the faulting instruction.
    EXPECT_NE(caught.info.faultAddress, nullptr);
}

TEST_F(FaultTranslation, TrappedFloatDivisionByZeroBecomesFloatDivideByZero)
{
    const SFaultCaught caught =
        CatchFault([] { FaultingFunctions::DivideFloatByZeroWithTrapsEnabled(); });
    ExpectFault(caught, kFloatDivideByZero, SIGFPE, FPE_FLTDIV);
}

TEST_F(FaultTranslation, ReadBeyondTheEndOfAMappedFileBecomesInPageError)
{
    // A page mapped from a file that was then cut to nothing has no data behind it any more.
    FILE* pFile = std::tmpfile();
    ASSERT_NE(pFile, nullptr);
    const int nDescriptor = fileno(pFile);
    const long nPage = sysconf(_SC_PAGESIZE);
    ASSERT_EQ(ftruncate(nDescriptor, nPage), 0);
    void* pMapping =
        mmap(nullptr, static_cast<size_t>(nPage), PROT_READ, MAP_SHARED, nDescriptor, 0);
    ASSERT_NE(pMapping, MAP_FAILED);
    ASSERT_EQ(ftruncate(nDescriptor, 0), 0);

    const auto* pAddress = static_cast<const volatile int*>(pMapping);
    const SFaultCaught caught = CatchFault([pAddress] { FaultingFunctions::ReadAt(pAddress); });
    ExpectFault(caught, kInPageError, SIGBUS, BUS_ADRERR);
    EXPECT_EQ(caught.info.faultAddress, pMapping);

    munmap(pMapping, static_cast<size_t>(nPage));
    std::fclose(pFile);
}

TEST_F(FaultTranslation, TrapInstructionBecomesIllegalInstruction)
{
    const SFaultCaught caught = CatchFault([] { FaultingFunctions::ExecuteTrapInstruction(); });
    ExpectFault(caught, kIllegalInstruction, SIGILL, ILL_ILLOPN);
}

#if defined(__x86_64__) || defined(__i386__)
TEST_F(FaultTranslation, BreakpointBecomesBreakpointCode)
{
    const SFaultCaught caught = CatchFault([] { FaultingFunctions::ExecuteBreakpoint(); });
    EXPECT_EQ(caught.code, kBreakpoint);
    EXPECT_EQ(caught.info.signal, SIGTRAP);
}
#endif

TEST_F(FaultTranslation, EndlessRecursionBecomesStackOverflow)
{
    const SFaultCaught caught = CatchFault([] { FaultingFunctions::RecurseWithoutEnd(0); });
    EXPECT_EQ(caught.code, kStackOverflow);
    EXPECT_EQ(caught.info.signal, SIGSEGV);
    EXPECT_EQ(HealthyComputation(), kHealthyResult);
}

TEST_F(FaultTranslation, OwnInterruptIsNotedAndExecutionContinues)
{
    const int nBefore = g_nInterrupts.load();
    int nResult = 0;
    const SFaultCaught caught =
        CatchFault([&nResult] { nResult = FaultingFunctions::RaiseInterruptAndContinue(41); });
    EXPECT_EQ(caught.code, 0u);
    EXPECT_EQ(nResult, 42);
    // Outside any guard as well.
    EXPECT_EQ(FaultingFunctions::RaiseInterruptAndContinue(1), 2);
    EXPECT_EQ(g_nInterrupts.load(), nBefore + 2);
}

TEST_F(FaultTranslation, EachFaultIsTranslatedHundredTimesInARowAndTheProcessStaysHealthy)
{
    int nTranslated = 0;
    int nOverflows = 0;
    for (int nRound = 0; nRound < 100; ++nRound)
    {
        nTranslated += TranslateEachFaultOnce();
        nOverflows +=
            CatchFault([] { FaultingFunctions::RecurseWithoutEnd(0); }).code == kStackOverflow;
        EXPECT_EQ(FaultingFunctions::RaiseInterruptAndContinue(nRound), nRound + 1);
    }
    EXPECT_EQ(nTranslated, 400);
    EXPECT_EQ(nOverflows, 100);
    EXPECT_EQ(HealthyComputation(), kHealthyResult);
}

TEST_F(FaultTranslation, FaultsAreTranslatedHundredTimesOnAWorkerThread)
{
    int nTranslated = 0;
    int nOverflows = 0;
    long nHealthy = 0;
    std::thread worker(
        [&]
        {
            SetSystemExceptionTranslator(ThrowingTranslator);
            for (int nRound = 0; nRound < 100; ++nRound)
            {
                nTranslated += TranslateEachFaultOnce();
                nOverflows += CatchFault([] { FaultingFunctions::RecurseWithoutEnd(0); }).code ==
                              kStackOverflow;
            }
            nHealthy = HealthyComputation();
        });
    worker.join();
    EXPECT_EQ(nTranslated, 400);
    EXPECT_EQ(nOverflows, 100);
    EXPECT_EQ(nHealthy, kHealthyResult);
    EXPECT_EQ(HealthyComputation(), kHealthyResult);
}

namespace
{

// A host worker thread whose body faults under a guard.
class CFaultingThread : public Zarn::CThread
{
public:
    CFaultingThread() : Zarn::CThread(priNormal, "faulting") {}

    std::uint32_t m_nCode = 0;

protected:
    bool Run() override
    {
        SetSystemExceptionTranslator(ThrowingTranslator);
        m_nCode = CatchFault([] { FaultingFunctions::DivideIntegerByZero(); }).code;
        return true;
    }
};

} // namespace

TEST_F(FaultTranslation, HostThreadTranslatesItsOwnFault)
{
    CFaultingThread thread;
    ASSERT_TRUE(thread.Create());
    ASSERT_TRUE(thread.Wait());
    EXPECT_TRUE(thread.Result());
    EXPECT_EQ(thread.m_nCode, kIntDivideByZero);
}

TEST_F(FaultTranslation, FaultsOnSeveralThreadsAtOnceReachTheirOwnGuards)
{
    std::vector<std::thread> workers;
    std::vector<int> translated(4, 0);
    for (size_t nWorker = 0; nWorker < translated.size(); ++nWorker)
    {
        workers.emplace_back(
            [&translated, nWorker]
            {
                SetSystemExceptionTranslator(ThrowingTranslator);
                for (int nRound = 0; nRound < 50; ++nRound)
                {
                    translated[nWorker] += TranslateEachFaultOnce();
                }
            });
    }
    for (std::thread& worker : workers)
    {
        worker.join();
    }
    EXPECT_EQ(translated, std::vector<int>(4, 200));
}

TEST_F(FaultTranslation, InnermostGuardCatchesAndOuterGuardStillWorksAfterwards)
{
    std::uint32_t nInnerCode = 0;
    bool bOuterWentOn = false;
    const SFaultCaught outer = CatchFault(
        [&]
        {
            nInnerCode = CatchFault([] { FaultingFunctions::DivideIntegerByZero(); }).code;
            bOuterWentOn = true;
            FaultingFunctions::ReadThroughNullPointer();
        });
    EXPECT_EQ(nInnerCode, kIntDivideByZero);
    EXPECT_TRUE(bOuterWentOn);
    EXPECT_EQ(outer.code, kAccessViolation);
}

TEST_F(FaultTranslation, FaultInsideDeeplyNestedGuardsUnwindsToTheCatchingGuard)
{
    // The translator's exception leaves the innermost guard and passes through the two around
    // it like any exception; the outermost one no longer counts as active afterwards.
    const SFaultCaught caught = CatchFault(
        []
        {
            RunWithSystemExceptionGuard(
                []
                { RunWithSystemExceptionGuard([] { FaultingFunctions::DivideIntegerByZero(); }); });
        });
    EXPECT_EQ(caught.code, kIntDivideByZero);
    EXPECT_EQ(CatchFault([] { FaultingFunctions::ReadThroughNullPointer(); }).code,
              kAccessViolation);
}

TEST_F(FaultTranslation, OrdinaryExceptionLeavesTheGuardUnchanged)
{
    try
    {
        RunWithSystemExceptionGuard([] { FaultingFunctions::ThrowRuntimeError("bad size"); });
        FAIL() << "the exception did not leave the guard";
    }
    catch (const std::runtime_error& error)
    {
        EXPECT_STREQ(error.what(), "bad size");
    }
}

TEST_F(FaultTranslation, GuardLeftByAnExceptionNoLongerCatchesFaults)
{
    // Were the inner guard still registered, the fault below would jump into its dead frame.
    const SFaultCaught outer = CatchFault(
        []
        {
            try
            {
                RunWithSystemExceptionGuard(
                    [] { FaultingFunctions::ThrowRuntimeError("left the inner guard"); });
            }
            catch (const std::runtime_error&)
            {
            }
            FaultingFunctions::DivideIntegerByZero();
        });
    EXPECT_EQ(outer.code, kIntDivideByZero);
}

TEST_F(FaultTranslation, GuardReturnsNormallyWhenTheTranslatorDoesNotThrow)
{
    SetSystemExceptionTranslator(QuietTranslator);
    const int nBefore = g_nQuietCalls.load();
    bool bAfterFault = false;
    RunWithSystemExceptionGuard(
        [&bAfterFault]
        {
            FaultingFunctions::ReadThroughNullPointer();
            bAfterFault = true;
        });
    EXPECT_FALSE(bAfterFault);
    EXPECT_EQ(g_nQuietCalls.load(), nBefore + 1);
}

TEST_F(FaultTranslation, SettingTheTranslatorReturnsThePreviousOne)
{
    EXPECT_EQ(SetSystemExceptionTranslator(QuietTranslator), &ThrowingTranslator);
    EXPECT_EQ(SetSystemExceptionTranslator(nullptr), &QuietTranslator);
    EXPECT_EQ(SetSystemExceptionTranslator(ThrowingTranslator), nullptr);
}

TEST_F(FaultTranslation, TranslatorIsPerThread)
{
    Zarn::SystemExceptionTranslator seenOnWorker = &QuietTranslator;
    std::thread worker([&seenOnWorker] { seenOnWorker = SetSystemExceptionTranslator(nullptr); });
    worker.join();
    EXPECT_EQ(seenOnWorker, nullptr);
}

TEST_F(FaultTranslation, EachThreadWithATranslatorHasItsOwnAlternateSignalStack)
{
    stack_t mainStack{};
    ASSERT_EQ(sigaltstack(nullptr, &mainStack), 0);
    stack_t workerStack{};
    std::thread worker(
        [&workerStack]
        {
            SetSystemExceptionTranslator(ThrowingTranslator);
            sigaltstack(nullptr, &workerStack);
        });
    worker.join();
    EXPECT_EQ(mainStack.ss_flags & SS_DISABLE, 0);
    EXPECT_EQ(workerStack.ss_flags & SS_DISABLE, 0);
    EXPECT_GE(workerStack.ss_size, 64u * 1024u);
    EXPECT_NE(workerStack.ss_sp, mainStack.ss_sp);
}

TEST_F(FaultTranslation, StackOverflowOnAWorkerThreadIsReported)
{
    std::uint32_t nCode = 0;
    std::thread worker(
        [&nCode]
        {
            SetSystemExceptionTranslator(ThrowingTranslator);
            nCode = CatchFault([] { FaultingFunctions::RecurseWithoutEnd(0); }).code;
        });
    worker.join();
    EXPECT_EQ(nCode, kStackOverflow);
}
