#pragma once

#include <Zarn/Exception/Exception.h>
#include <Zarn/System/SystemException.h>

// The error a tool run records: a host exception that may also carry what the host learnt about
// the native fault behind it (code, signal, faulting address). The fault record handed to the
// translator is lent for that call only, so the exception keeps its own copy: copies of the
// exception copy the record, and ExceptionInformation() stays valid as long as the exception
// lives. Null when the error was not a native fault. Made on the thread that faulted or failed
// (a tool thread, or the GUI thread), thrown or recorded there and read on the GUI thread; each
// object is used by one thread at a time. Construction throws only std::bad_alloc. Sends and
// handles no message.
class TekaDebuggableZarnException : public Zarn::CException
{
public:
    TekaDebuggableZarnException(const char* function, const char* what, const char* instance,
                                const Zarn::SSystemExceptionInfo* information = nullptr);
    // Keeps the texts and entries of any host exception; a TekaDebuggableZarnException's fault
    // record comes along.
    explicit TekaDebuggableZarnException(const Zarn::CException& other);
    TekaDebuggableZarnException(const TekaDebuggableZarnException& other);
    TekaDebuggableZarnException& operator=(const TekaDebuggableZarnException& other);
    ~TekaDebuggableZarnException() override;

    const Zarn::SSystemExceptionInfo* ExceptionInformation() const
    {
        return m_pExceptionInformation;
    }

private:
    Zarn::SSystemExceptionInfo* m_pExceptionInformation; // owned copy, or null
};
