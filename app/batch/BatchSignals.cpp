#include "BatchSignals.h"

#include <unistd.h>

namespace
{

// Lock-free, so the handler may touch it.
std::atomic<int> g_nStopSignal{0};
static_assert(std::atomic<int>::is_always_lock_free);

extern "C" void OnStopSignal(int signal)
{
    if (g_nStopSignal.exchange(signal) != 0)
    {
        ::_exit(128 + signal);
    }
    static const char kText[] = "\ndocview-batch: stopping: the images in progress are finished, "
                                "no new one is started (once more to stop at once)\n";
    [[maybe_unused]] const ssize_t nWritten = ::write(STDERR_FILENO, kText, sizeof(kText) - 1);
}

} // namespace

CBatchStopSignals::CBatchStopSignals()
{
    g_nStopSignal = 0;
    struct sigaction action
    {
    };
    action.sa_handler = OnStopSignal;
    sigemptyset(&action.sa_mask);
    // Calls the plug-ins make go on after the handler: only the workers' loop looks at the flag.
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGINT, &action, &m_previousInterrupt);
    ::sigaction(SIGTERM, &action, &m_previousTerminate);
}

CBatchStopSignals::~CBatchStopSignals()
{
    ::sigaction(SIGINT, &m_previousInterrupt, nullptr);
    ::sigaction(SIGTERM, &m_previousTerminate, nullptr);
}

const std::atomic<int>& CBatchStopSignals::Received()
{
    return g_nStopSignal;
}
