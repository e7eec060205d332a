#include "FaultingFunctions.h"

#include <cfenv>
#include <csignal>
#include <stdexcept>

namespace FaultingFunctions
{

namespace
{

// Never set; keeps the compiler from proving that the recursion cannot end.
volatile bool g_bStopRecursion = false;

} // namespace

int ReadThroughNullPointer()
{
    volatile int* pNothing = nullptr;
    return *pNothing;
}

int DivideIntegerByZero()
{
    volatile int nDividend = 7;
    volatile int nDivisor = 0;
    return nDividend / nDivisor;
}

double DivideFloatByZeroWithTrapsEnabled()
{
    feenableexcept(FE_DIVBYZERO);
    volatile double dDividend = 1.0;
    volatile double dDivisor = 0.0;
    const double dResult = dDividend / dDivisor;
    fedisableexcept(FE_DIVBYZERO);
    return dResult;
}

__attribute__((noinline)) int RecurseWithoutEnd(int depth)
{
    volatile char frame[512];
    frame[depth % 512] = static_cast<char>(depth);
    if (g_bStopRecursion)
    {
        return frame[0];
    }
    return RecurseWithoutEnd(depth + 1) + frame[depth % 512];
}

int ReadAt(const volatile int* address)
{
    return *address;
}

void ExecuteTrapInstruction()
{
    __builtin_trap();
}

void ExecuteBreakpoint()
{
#if defined(__x86_64__) || defined(__i386__)
    __asm__ volatile("int3");
#endif
}

int RaiseInterruptAndContinue(int value)
{
    std::raise(SIGINT);
    return value + 1;
}

void ThrowRuntimeError(const char* text)
{
    throw std::runtime_error(text);
}

} // namespace FaultingFunctions
