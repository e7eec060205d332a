#pragma once

#include <chrono>
#include <cstddef>
#include <ostream>
#include <string>

// Shows how far a batch run is: on a terminal one line redrawn in place with a bar, the counts,
// images per second and the time left; elsewhere (a log file, a cluster job's output) one plain
// line per image.
//
// Borrows the stream, which must outlive it; owns nothing else. Update is called by the runner's
// workers under the runner's lock, one at a time; Finish on the main thread after the run.
// Throws nothing beyond what the stream throws; sends and handles no messages.
class CBatchProgress
{
public:
    CBatchProgress(std::ostream& stream, size_t total, bool bTerminal);

    void Update(const std::string& file, bool bDone, size_t done, size_t failed);
    // Ends the redrawn line.
    void Finish();

    // "1:05" for 65 seconds, "1:02:03" beyond an hour.
    static std::string Duration(double seconds);

private:
    std::ostream& m_stream;
    size_t m_uTotal;
    bool m_bTerminal;
    std::chrono::steady_clock::time_point m_start;
    std::chrono::steady_clock::time_point m_lastDrawn;
};
