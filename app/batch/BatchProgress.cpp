#include "BatchProgress.h"

#include <cstdio>

CBatchProgress::CBatchProgress(std::ostream& stream, size_t total, bool bTerminal)
    : m_stream(stream), m_uTotal(total), m_bTerminal(bTerminal),
      m_start(std::chrono::steady_clock::now())
{
}

std::string CBatchProgress::Duration(double seconds)
{
    const long nSeconds = static_cast<long>(seconds + 0.5);
    char buffer[32];
    if (nSeconds >= 3600)
    {
        std::snprintf(buffer, sizeof(buffer), "%ld:%02ld:%02ld", nSeconds / 3600,
                      nSeconds / 60 % 60, nSeconds % 60);
    }
    else
    {
        std::snprintf(buffer, sizeof(buffer), "%ld:%02ld", nSeconds / 60, nSeconds % 60);
    }
    return buffer;
}

void CBatchProgress::Update(const std::string& file, bool bDone, size_t done, size_t failed)
{
    const auto now = std::chrono::steady_clock::now();
    const double dElapsed = std::chrono::duration<double>(now - m_start).count();
    const double dRate = dElapsed > 0 ? static_cast<double>(done) / dElapsed : 0;
    const double dLeft = dRate > 0 ? static_cast<double>(m_uTotal - done) / dRate : 0;
    if (!m_bTerminal)
    {
        m_stream << done << "/" << m_uTotal << " " << (bDone ? "done" : "FAILED") << " " << file
                 << "\n";
        m_stream.flush();
        return;
    }
    // A terminal is redrawn at most ten times a second, and always for the last image.
    if (done != m_uTotal && now - m_lastDrawn < std::chrono::milliseconds(100))
    {
        return;
    }
    m_lastDrawn = now;
    const int nWidth = 30;
    const int nFilled = m_uTotal == 0 ? nWidth : static_cast<int>(nWidth * done / m_uTotal);
    char buffer[160];
    std::snprintf(buffer, sizeof(buffer), "\r[%s%s] %zu/%zu  %zu failed  %.1f images/s  %s left ",
                  std::string(static_cast<size_t>(nFilled), '#').c_str(),
                  std::string(static_cast<size_t>(nWidth - nFilled), '.').c_str(), done, m_uTotal,
                  failed, dRate, Duration(dLeft).c_str());
    m_stream << buffer;
    m_stream.flush();
}

void CBatchProgress::Finish()
{
    if (m_bTerminal)
    {
        m_stream << "\n";
        m_stream.flush();
    }
}
