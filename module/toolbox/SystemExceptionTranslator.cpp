#include "toolbox/SystemExceptionTranslator.h"

#include "toolbox/CurrentContext.h"
#include "toolbox/TekaDebuggableZarnException.h"

#include <iostream>
#include <string>

#include <unistd.h>

namespace DocView
{

namespace
{

constexpr std::uint32_t kControlC = 0x40010005;

struct SCodeName
{
    std::uint32_t m_uCode;
    const char* m_szName;
};

const SCodeName kCodeNames[] = {
    {0x80000001, "EXCEPTION_GUARD_PAGE"},
    {0x80000002, "EXCEPTION_DATATYPE_MISALIGNMENT"},
    {0x80000003, "EXCEPTION_BREAKPOINT"},
    {0x80000004, "EXCEPTION_SINGLE_STEP"},
    {0xC0000005, "EXCEPTION_ACCESS_VIOLATION"},
    {0xC0000006, "EXCEPTION_IN_PAGE_ERROR"},
    {0xC0000008, "EXCEPTION_INVALID_HANDLE"},
    {0xC000001D, "EXCEPTION_ILLEGAL_INSTRUCTION"},
    {0xC0000025, "EXCEPTION_NONCONTINUABLE_EXCEPTION"},
    {0xC0000026, "EXCEPTION_INVALID_DISPOSITION"},
    {0xC000008C, "EXCEPTION_ARRAY_BOUNDS_EXCEEDED"},
    {0xC000008D, "EXCEPTION_FLT_DENORMAL_OPERAND"},
    {0xC000008E, "EXCEPTION_FLT_DIVIDE_BY_ZERO"},
    {0xC000008F, "EXCEPTION_FLT_INEXACT_RESULT"},
    {0xC0000090, "EXCEPTION_FLT_INVALID_OPERATION"},
    {0xC0000091, "EXCEPTION_FLT_OVERFLOW"},
    {0xC0000092, "EXCEPTION_FLT_STACK_CHECK"},
    {0xC0000093, "EXCEPTION_FLT_UNDERFLOW"},
    {0xC0000094, "EXCEPTION_INT_DIVIDE_BY_ZERO"},
    {0xC0000095, "EXCEPTION_INT_OVERFLOW"},
    {0xC0000096, "EXCEPTION_PRIV_INSTRUCTION"},
    {0xC00000FD, "EXCEPTION_STACK_OVERFLOW"},
};

} // namespace

const char* SystemExceptionName(std::uint32_t code)
{
    for (const SCodeName& entry : kCodeNames)
    {
        if (entry.m_uCode == code)
        {
            return entry.m_szName;
        }
    }
    return nullptr;
}

void TranslateSystemException(std::uint32_t code, Zarn::SSystemExceptionInfo* information)
{
    if (code == kControlC)
    {
        // Only noted: the thread goes on where it was interrupted. This runs inside the signal
        // handler, where streams, allocation and locks may deadlock or corrupt the state the
        // thread was interrupted in; write(2) is safe there.
        static constexpr char kNote[] = "CTRL+C detected\n";
        const ssize_t nWritten = write(STDERR_FILENO, kNote, sizeof(kNote) - 1);
        static_cast<void>(nWritten);
        return;
    }

    // Per thread: two tools may fault at the same time.
    thread_local std::string strOrigin;
    strOrigin = "Plugin '" + CurrentContext() + "'";

    std::string strWhat = "Windows system exception";
    if (information != nullptr)
    {
        const char* szName = SystemExceptionName(code);
        strWhat += ": ";
        strWhat +=
            szName != nullptr ? std::string(szName) : "Unknown id '" + std::to_string(code) + "'.";
    }
    const TekaDebuggableZarnException exception(strOrigin.c_str(), strWhat.c_str(), nullptr,
                                                information);
    std::cerr << exception.formattedWhat() << std::endl;
    throw TekaDebuggableZarnException(exception);
}

} // namespace DocView
