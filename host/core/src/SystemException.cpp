#include <Zarn/System/SystemException.h>

#include <array>
#include <cerrno>
#include <csetjmp>
#include <cstdlib>
#include <mutex>

#include <pthread.h>
#include <signal.h>
#include <ucontext.h>
#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#endif

// How it works: one process-wide handler catches the synchronous fault signals. On a thread
// with a translator and an active guard it copies what it learnt into the innermost guard and
// jumps back to it; the guard then calls the translator in ordinary code, so the translator may
// throw. Throwing from the handler itself would need every tool built with
// -fnon-call-exceptions. Everywhere else the handler steps aside and the signal has the effect it
// would have without us.

namespace Zarn
{

namespace
{

constexpr std::array<int, 6> kHandledSignals = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGTRAP, SIGINT};

// 64 KiB hold the handler comfortably, also in the sanitizer build.
constexpr std::size_t kAltStackSize = 64 * 1024;

// Below the lowest stack address there is the guard area; a fault that far below still counts
// as running out of stack.
constexpr std::uintptr_t kStackGuardSlack = 1024 * 1024;

using namespace SystemExceptionCode;

// One active RunWithSystemExceptionGuard call; lives in its frame.
struct SGuard
{
    sigjmp_buf jump;
    SGuard* pOuter;
    SSystemExceptionInfo info;
};

// What the handler reads of the faulting thread. Plain data, so that the handler touches no
// lazily constructed thread-local object.
struct SThreadFaults
{
    SystemExceptionTranslator translator;
    SGuard* pInnermost;
    std::uintptr_t stackLow; // lowest address of the thread's stack, 0 if unknown
};

constinit thread_local SThreadFaults t_faults = {nullptr, nullptr, 0};

// The alternate signal stack of a thread that installed a translator. Gives the previous one
// back (sanitizers keep their own and free it themselves) before the memory goes.
class CAltStack
{
public:
    CAltStack() = default;
    CAltStack(const CAltStack&) = delete;
    CAltStack& operator=(const CAltStack&) = delete;

    ~CAltStack()
    {
        if (m_pMemory == nullptr)
        {
            return;
        }
        stack_t current{};
        if (sigaltstack(nullptr, &current) == 0 && current.ss_sp == m_pMemory)
        {
            stack_t restore = m_previous;
            if ((restore.ss_flags & SS_DISABLE) != 0 || restore.ss_sp == nullptr)
            {
                restore = stack_t{};
                restore.ss_flags = SS_DISABLE;
            }
            else
            {
                restore.ss_flags = 0;
            }
            sigaltstack(&restore, nullptr);
        }
        std::free(m_pMemory);
    }

    void Ensure()
    {
        if (m_pMemory != nullptr)
        {
            return;
        }
        m_pMemory = std::malloc(kAltStackSize);
        if (m_pMemory == nullptr)
        {
            return;
        }
        stack_t stack{};
        stack.ss_sp = m_pMemory;
        stack.ss_size = kAltStackSize;
        stack.ss_flags = 0;
        if (sigaltstack(&stack, &m_previous) != 0)
        {
            std::free(m_pMemory);
            m_pMemory = nullptr;
        }
    }

private:
    void* m_pMemory = nullptr;
    stack_t m_previous{};
};

thread_local CAltStack t_altStack;

std::once_flag g_installOnce;
std::array<struct sigaction, NSIG> g_previousActions{};

std::uintptr_t LowestStackAddress()
{
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0)
    {
        return 0;
    }
    void* pStack = nullptr;
    std::size_t nSize = 0;
    const int nResult = pthread_attr_getstack(&attributes, &pStack, &nSize);
    pthread_attr_destroy(&attributes);
    return nResult == 0 ? reinterpret_cast<std::uintptr_t>(pStack) : 0;
}

std::uintptr_t StackPointer(void* pContext)
{
#if defined(__x86_64__)
    const auto* pUserContext = static_cast<const ucontext_t*>(pContext);
    return static_cast<std::uintptr_t>(pUserContext->uc_mcontext.gregs[REG_RSP]);
#elif defined(__aarch64__)
    const auto* pUserContext = static_cast<const ucontext_t*>(pContext);
    return static_cast<std::uintptr_t>(pUserContext->uc_mcontext.sp);
#else
    (void)pContext;
    return 0;
#endif
}

bool IsNearStackEnd(std::uintptr_t address, std::uintptr_t stackLow)
{
    const std::uintptr_t nPage = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const std::uintptr_t nFrom = stackLow > kStackGuardSlack ? stackLow - kStackGuardSlack : 0;
    return address >= nFrom && address < stackLow + nPage;
}

std::uint32_t FaultCode(int signal, const siginfo_t* pInfo, void* pContext, std::uintptr_t stackLow)
{
    switch (signal)
    {
    case SIGSEGV:
        if (stackLow != 0 &&
            (IsNearStackEnd(StackPointer(pContext), stackLow) ||
             IsNearStackEnd(reinterpret_cast<std::uintptr_t>(pInfo->si_addr), stackLow)))
        {
            return kStackOverflow;
        }
        return kAccessViolation;
    case SIGFPE:
        switch (pInfo->si_code)
        {
        case FPE_INTDIV:
            return kIntDivideByZero;
        case FPE_INTOVF:
            return kIntOverflow;
        case FPE_FLTDIV:
            return kFloatDivideByZero;
        case FPE_FLTOVF:
            return kFloatOverflow;
        case FPE_FLTUND:
            return kFloatUnderflow;
        case FPE_FLTRES:
            return kFloatInexactResult;
        default:
            return kFloatInvalidOperation;
        }
    case SIGILL:
        return pInfo->si_code == ILL_PRVOPC ? kPrivilegedInstruction : kIllegalInstruction;
    case SIGBUS:
        return pInfo->si_code == BUS_ADRALN ? kDatatypeMisalignment : kInPageError;
    case SIGTRAP:
        return kBreakpoint;
    default:
        return kControlC;
    }
}

// Sent by the kernel for a fault, or by this very process (raise, kill on ourselves); a signal
// from elsewhere is not ours to translate.
bool IsOwnSignal(const siginfo_t* pInfo)
{
    if (pInfo->si_code > 0)
    {
        return true;
    }
    return (pInfo->si_code == SI_TKILL || pInfo->si_code == SI_USER) && pInfo->si_pid == getpid();
}

// Gives the signal the effect it would have had without us.
void PassOn(int signal, siginfo_t* pInfo, void* pContext)
{
    const struct sigaction& previous = g_previousActions[static_cast<std::size_t>(signal)];
    if ((previous.sa_flags & SA_SIGINFO) != 0)
    {
        if (previous.sa_sigaction != nullptr)
        {
            previous.sa_sigaction(signal, pInfo, pContext);
            return;
        }
    }
    else if (previous.sa_handler == SIG_IGN)
    {
        // A fault cannot be ignored: the kernel would end the process anyway.
        if (signal == SIGINT)
        {
            return;
        }
    }
    else if (previous.sa_handler != SIG_DFL)
    {
        previous.sa_handler(signal);
        return;
    }
    // The default action: the signal is blocked while we run, so it arrives as soon as we
    // return. A breakpoint trap would not come back by itself, hence the raise for all.
    struct sigaction defaultAction
    {
    };
    defaultAction.sa_handler = SIG_DFL;
    sigemptyset(&defaultAction.sa_mask);
    sigaction(signal, &defaultAction, nullptr);
    raise(signal);
}

void HandleSignal(int signal, siginfo_t* pInfo, void* pContext)
{
    const int nSavedErrno = errno;
    SThreadFaults& faults = t_faults;
    if (faults.translator == nullptr || !IsOwnSignal(pInfo))
    {
        PassOn(signal, pInfo, pContext);
        errno = nSavedErrno;
        return;
    }
    if (signal == SIGINT)
    {
        // Only noted: the translator writes a line and execution goes on where it was. It runs
        // in signal context here, so it must keep to async-signal-safe calls.
        SSystemExceptionInfo info{kControlC, signal, pInfo->si_code, pInfo->si_addr};
        faults.translator(kControlC, &info);
        errno = nSavedErrno;
        return;
    }
    SGuard* pGuard = faults.pInnermost;
    if (pGuard == nullptr)
    {
        PassOn(signal, pInfo, pContext);
        errno = nSavedErrno;
        return;
    }
    pGuard->info.code = FaultCode(signal, pInfo, pContext, faults.stackLow);
    pGuard->info.signal = signal;
    pGuard->info.signalCode = pInfo->si_code;
    pGuard->info.faultAddress = pInfo->si_addr;
    siglongjmp(pGuard->jump, 1);
}

void InstallHandler()
{
    struct sigaction action
    {
    };
    action.sa_sigaction = HandleSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (const int nSignal : kHandledSignals)
    {
        sigaction(nSignal, &action, &g_previousActions[static_cast<std::size_t>(nSignal)]);
    }
}

// The jump skipped the frames between the fault and the guard; the address sanitizer still
// holds their red zones as poisoned, which would be reported against the next calls that use
// that stack.
__attribute__((noinline)) void ForgetSkippedFrames(std::uintptr_t stackLow)
{
#if defined(__SANITIZE_ADDRESS__)
    const auto nHere = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
    if (stackLow != 0 && stackLow < nHere)
    {
        ASAN_UNPOISON_MEMORY_REGION(reinterpret_cast<void*>(stackLow), nHere - stackLow);
    }
#else
    (void)stackLow;
#endif
}

} // namespace

SystemExceptionTranslator SetSystemExceptionTranslator(SystemExceptionTranslator translator)
{
    SThreadFaults& faults = t_faults;
    const SystemExceptionTranslator previous = faults.translator;
    if (translator != nullptr)
    {
        std::call_once(g_installOnce, InstallHandler);
        t_altStack.Ensure();
        if (faults.stackLow == 0)
        {
            faults.stackLow = LowestStackAddress();
        }
    }
    faults.translator = translator;
    return previous;
}

void RunWithSystemExceptionGuard(void (*body)(void*), void* context)
{
    SThreadFaults& faults = t_faults;
    SGuard guard;
    guard.pOuter = faults.pInnermost;
    guard.info = SSystemExceptionInfo{0, 0, 0, nullptr};
    if (sigsetjmp(guard.jump, 1) == 0)
    {
        faults.pInnermost = &guard;
        try
        {
            body(context);
        }
        catch (...)
        {
            faults.pInnermost = guard.pOuter;
            throw;
        }
        faults.pInnermost = guard.pOuter;
        return;
    }
    // Back from a fault inside the body; guards nested in it are gone with their frames.
    faults.pInnermost = guard.pOuter;
    ForgetSkippedFrames(faults.stackLow);
    SSystemExceptionInfo info = guard.info;
    if (faults.translator != nullptr)
    {
        faults.translator(info.code, &info);
    }
}

} // namespace Zarn
