#pragma once

#include <atomic>
#include <csignal>

// SIGINT (Ctrl+C) and SIGTERM (kill, a job scheduler's end of time) ask a run to stop: the first
// one lets the images in progress finish and no new one start, so that the run can write the
// summary of what it did and end with 128 + the signal's number; a second one ends the program at
// once with that status (the temporary files of the images in progress stay behind for --resume
// to remove).
//
// Installs its handlers for as long as it lives and puts the previous ones back after; one at a
// time. Made and destroyed on the main thread; Received may be read from any thread. Throws
// nothing; sends and handles no messages.
class CBatchStopSignals
{
public:
    CBatchStopSignals();
    ~CBatchStopSignals();
    CBatchStopSignals(const CBatchStopSignals&) = delete;
    CBatchStopSignals& operator=(const CBatchStopSignals&) = delete;

    // The signal that asked to stop, 0 while none did.
    static const std::atomic<int>& Received();

private:
    struct sigaction m_previousInterrupt
    {
    };
    struct sigaction m_previousTerminate
    {
    };
};
