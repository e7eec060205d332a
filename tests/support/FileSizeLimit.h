#pragma once

#include <csignal>

#include <sys/resource.h>

namespace DocViewTest
{

// Runs `action` as on a disk that is full after `bytes`: with the process's file size limit at
// `bytes` and SIGXFSZ ignored, so a write beyond it fails with EFBIG ("File too large"). Both
// are put back after. The limit holds for the whole process: call it where no other thread
// writes. Returns false when the limit could not be set (then `action` did not run); throws what
// `action` throws, after putting the limit back.
template <typename Action> bool WithFileSizeLimit(rlim_t bytes, Action action)
{
    rlimit saved{};
    if (::getrlimit(RLIMIT_FSIZE, &saved) != 0)
    {
        return false;
    }
    rlimit limited = saved;
    limited.rlim_cur = bytes;
    void (*pPrevious)(int) = std::signal(SIGXFSZ, SIG_IGN);
    if (::setrlimit(RLIMIT_FSIZE, &limited) != 0)
    {
        std::signal(SIGXFSZ, pPrevious);
        return false;
    }
    struct SRestore
    {
        const rlimit& m_saved;
        void (*m_pPrevious)(int);
        ~SRestore()
        {
            ::setrlimit(RLIMIT_FSIZE, &m_saved);
            std::signal(SIGXFSZ, m_pPrevious);
        }
    } restore{saved, pPrevious};
    action();
    return true;
}

} // namespace DocViewTest
