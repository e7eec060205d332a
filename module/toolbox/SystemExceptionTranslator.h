#pragma once

#include <Zarn/System/SystemException.h>

#include <cstdint>

namespace DocView
{

// The translator that the toolbox installs on the GUI thread and every tool thread installs on
// itself (Zarn::SetSystemExceptionTranslator); it runs on the faulting thread. Owns and lends
// nothing; sends and handles no message. Ctrl+C (0x40010005) writes "CTRL+C detected" and a
// line end straight to file descriptor 2 and returns: it is called inside the signal handler, so
// that path uses nothing but write(2) (no streams, no allocation, no locks). Any other code writes
// the formatted error to standard error and throws a TekaDebuggableZarnException whose function is
// "Plugin '" + CurrentContext() + "'" and whose what is "Windows system exception" (no fault
// record) or "Windows system exception: " + the code's name ("Unknown id '<code>'." for a code
// without one). The exception keeps a copy of the fault record.
void TranslateSystemException(std::uint32_t code, Zarn::SSystemExceptionInfo* information);

// The Windows name of a fault code ("EXCEPTION_ACCESS_VIOLATION"); null for a code without one.
// Any thread; never throws.
const char* SystemExceptionName(std::uint32_t code);

} // namespace DocView
