#pragma once

// Functions that fault the way a broken tool does. Each returns only where noted.

#define FAULTS_API __attribute__((visibility("default")))

namespace FaultingFunctions
{

FAULTS_API int ReadThroughNullPointer();
FAULTS_API int DivideIntegerByZero();
FAULTS_API double DivideFloatByZeroWithTrapsEnabled();
FAULTS_API int RecurseWithoutEnd(int depth);
// Reads one int at `address` (a page of a mapping whose file was cut short gives SIGBUS).
FAULTS_API int ReadAt(const volatile int* address);
FAULTS_API void ExecuteTrapInstruction();
// x86 only: an int3 breakpoint.
FAULTS_API void ExecuteBreakpoint();
// Returns `value` + 1 once the interrupt has been handled.
FAULTS_API int RaiseInterruptAndContinue(int value);
FAULTS_API void ThrowRuntimeError(const char* text);

} // namespace FaultingFunctions
