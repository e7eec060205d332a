#pragma once

#include <Zarn/Export.h>

#include <cstdint>
#include <type_traits>

namespace Zarn
{

// Native faults (a null dereference, an integer division by zero, a stack overflow...) raised
// inside guarded code are turned into calls of the calling thread's translator, which usually
// throws a host exception; the fault then leaves the guard like an ordinary exception. Fault
// codes are the Windows exception codes that error texts name (0xC0000005 for an access
// violation, 0xC0000094 for an integer division by zero, 0xC00000FD for a stack overflow,
// 0x40010005 for Ctrl+C), so that texts read the same on every platform.

// The fault codes that translators are given, named.
namespace SystemExceptionCode
{
inline constexpr std::uint32_t kAccessViolation = 0xC0000005;
inline constexpr std::uint32_t kInPageError = 0xC0000006;
inline constexpr std::uint32_t kDatatypeMisalignment = 0x80000002;
inline constexpr std::uint32_t kBreakpoint = 0x80000003;
inline constexpr std::uint32_t kIllegalInstruction = 0xC000001D;
inline constexpr std::uint32_t kPrivilegedInstruction = 0xC0000096;
inline constexpr std::uint32_t kFloatDivideByZero = 0xC000008E;
inline constexpr std::uint32_t kFloatInexactResult = 0xC000008F;
inline constexpr std::uint32_t kFloatInvalidOperation = 0xC0000090;
inline constexpr std::uint32_t kFloatOverflow = 0xC0000091;
inline constexpr std::uint32_t kFloatUnderflow = 0xC0000093;
inline constexpr std::uint32_t kIntDivideByZero = 0xC0000094;
inline constexpr std::uint32_t kIntOverflow = 0xC0000095;
inline constexpr std::uint32_t kStackOverflow = 0xC00000FD;
inline constexpr std::uint32_t kControlC = 0x40010005;
} // namespace SystemExceptionCode

// What the translator learns about a fault, besides its code. Lent for the translator's call only.
//
// Contract: the guard and translator own nothing of the guarded code; the alternate signal stack
// belongs to the thread and is freed with it. What the translator throws is what the guard
// throws. No messages.
struct SSystemExceptionInfo
{
    std::uint32_t code; // the Windows exception code
    int signal;         // the signal that reported the fault (SIGSEGV, SIGFPE...)
    int signalCode;     // si_code of the signal (FPE_INTDIV, SEGV_MAPERR...)
    void* faultAddress; // si_addr: the faulting address or instruction
};

// Called on the faulting thread after it has left the faulting code and returned to the
// innermost guard. It may throw (the exception leaves the guard) or return: then the guard
// returns normally. For 0x40010005 (SIGINT raised by the thread itself) it is called from the
// signal handler without leaving the code, must not throw, and execution continues; on that path
// it may use async-signal-safe calls only (write(2), no streams, no allocation, no locks), since
// the thread may have been interrupted inside any of them.
using SystemExceptionTranslator = void (*)(std::uint32_t code, SSystemExceptionInfo* info);

// Installs `translator` (null: none) for the calling thread and returns the previous one. The first
// installation on a thread gives it an alternate signal stack (freed when the thread ends) so
// that a stack overflow can be reported as well.
ZARN_CORE_API SystemExceptionTranslator
SetSystemExceptionTranslator(SystemExceptionTranslator translator);

// Runs `body(context)` under a guard: a native fault inside it jumps back here and is handed to
// the thread's translator. Guards nest; the innermost one catches. Without a translator on the
// thread, or outside any guard, a fault keeps its default effect (the process dies by its
// signal). Destructors of the frames between the fault and the guard do not run, and locks held
// there stay held. A signal sent by another process is never translated.
ZARN_CORE_API void RunWithSystemExceptionGuard(void (*body)(void*), void* context);

// The same for any callable.
template <class Body> void RunWithSystemExceptionGuard(Body&& body)
{
    using BodyType = std::remove_reference_t<Body>;
    RunWithSystemExceptionGuard([](void* context) { (*static_cast<BodyType*>(context))(); },
                                const_cast<void*>(static_cast<const void*>(&body)));
}

} // namespace Zarn
