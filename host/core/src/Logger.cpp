#include <Zarn/Log/Logger.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>

namespace Zarn
{

// One thread's line under construction for one logger.
struct CLogger::SLine
{
    std::string strText;
    int nLevel = 0;
    bool bHasLevel = false;    // the line's level is fixed (SetLevel or notype)
    bool bSelected = false;    // SetLevel was called for this line
    bool bLevelLocked = false; // notype: the line's level no longer changes

    // Keeps the text's buffer, so a thread's lines cost no allocation once it has written one.
    void Reset()
    {
        strText.clear();
        bHasLevel = false;
        bSelected = false;
        bLevelLocked = false;
    }
};

namespace
{

std::atomic<std::uint64_t> g_uNextLoggerId{1};

// Trivially destructible, so it can still be read while the thread's other thread_locals go.
thread_local bool t_bLinesGone = false;

std::string LevelName(int level)
{
    switch (level)
    {
    case CLogger::levelProgress:
        return "progress";
    case CLogger::levelWarning:
        return "warning";
    case CLogger::levelError:
        return "error";
    default:
        return std::string("level ").append(std::to_string(level));
    }
}

// "YYYY-MM-DD hh:mm:ss.mmm " in local time.
std::string TimePrefix()
{
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto millis =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() %
        1000;
    std::tm local{};
    localtime_r(&seconds, &local);
    char buffer[96];
    std::snprintf(buffer, sizeof(buffer), "%04d-%02d-%02d %02d:%02d:%02d.%03d ",
                  local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                  local.tm_min, local.tm_sec, static_cast<int>(millis));
    return buffer;
}

} // namespace

CLogger::CLogger(std::ostream* console)
    : m_uId(g_uNextLoggerId.fetch_add(1, std::memory_order_relaxed)), m_pConsole(console)
{
}

CLogger::~CLogger()
{
    // Other threads' unfinished lines of this logger stay in their tables until they exit; the
    // id is never handed out again, so nobody picks them up.
    LineTable* pLines = ThreadLines();
    if (pLines == nullptr)
    {
        return;
    }
    const auto it = pLines->find(m_uId);
    if (it == pLines->end())
    {
        return;
    }
    if (!it->second.strText.empty())
    {
        WriteLine(it->second.bHasLevel ? it->second.nLevel : -1, it->second.strText,
                  it->second.bSelected);
    }
    pLines->erase(it);
}

CLogger::LineTable* CLogger::ThreadLines()
{
    struct SThreadLines
    {
        LineTable mapLines;
        ~SThreadLines() { t_bLinesGone = true; }
    };
    if (t_bLinesGone)
    {
        return nullptr;
    }
    thread_local SThreadLines t_lines;
    return &t_lines.mapLines;
}

CLogger::SLine& CLogger::ThreadLine()
{
    return (*ThreadLines())[m_uId];
}

CLogger& CLogger::SetLevel(int level)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_nLevel = level;
    }
    if (ThreadLines() != nullptr)
    {
        SLine& line = ThreadLine();
        if (!line.bLevelLocked)
        {
            line.nLevel = level;
            line.bHasLevel = true;
            line.bSelected = true;
        }
    }
    return *this;
}

CLogger& CLogger::operator<<(const char* text)
{
    if (text == nullptr)
    {
        return *this;
    }
    if (ThreadLines() == nullptr)
    {
        // Thread teardown: no line to build on, every text is a line of its own.
        std::string strText(text);
        if (!strText.empty() && strText.back() == '\n')
        {
            strText.pop_back();
        }
        WriteLine(-1, strText, false);
        return *this;
    }
    SLine& line = ThreadLine();
    const char* pStart = text;
    for (const char* pChar = text; *pChar != '\0'; ++pChar)
    {
        if (*pChar == '\n')
        {
            line.strText.append(pStart, pChar);
            WriteLine(line.bHasLevel ? line.nLevel : -1, line.strText, line.bSelected);
            line.Reset();
            pStart = pChar + 1;
        }
    }
    line.strText.append(pStart);
    return *this;
}

CLogger& CLogger::operator<<(CLogger& (*manipulator)(CLogger&))
{
    return manipulator(*this);
}

CLogger& CLogger::operator<<(std::ostream& (*manipulator)(std::ostream&))
{
    // Let the manipulator show what it means: std::endl writes "\n", std::flush nothing.
    std::ostringstream effect;
    manipulator(effect);
    return *this << effect.str();
}

bool CLogger::OpenFile(const std::string& path)
{
    std::ofstream file(path, std::ios::out | std::ios::app);
    if (!file.is_open())
    {
        return false;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    m_fileStream = std::move(file);
    return true;
}

void CLogger::SetThreshold(int level)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_nThreshold = level;
}

void CLogger::SetConsoleThreshold(int level)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_nConsoleThreshold = level;
}

void CLogger::EndLine()
{
    if (ThreadLines() == nullptr)
    {
        return;
    }
    SLine& line = ThreadLine();
    if (line.strText.empty())
    {
        return;
    }
    WriteLine(line.bHasLevel ? line.nLevel : -1, line.strText, line.bSelected);
    line.Reset();
}

int CLogger::Level() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_nLevel;
}

std::uint64_t CLogger::LineCount() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_uLineCount;
}

void CLogger::WriteLine(int level, const std::string& text, bool bSelected)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const int nLevel = level < 0 ? m_nLevel : level;
    if (nLevel < m_nThreshold)
    {
        return;
    }
    // The time is taken under the lock, so the lines of all threads stay in time order.
    std::string strLine = TimePrefix();
    strLine += LevelName(nLevel);
    strLine += ' ';
    strLine += text;
    strLine += '\n';
    if (m_pConsole != nullptr && nLevel >= m_nConsoleThreshold)
    {
        m_pConsole->write(strLine.data(), static_cast<std::streamsize>(strLine.size()));
        m_pConsole->flush();
    }
    if (m_fileStream.is_open())
    {
        m_fileStream.write(strLine.data(), static_cast<std::streamsize>(strLine.size()));
        m_fileStream.flush();
    }
    ++m_uLineCount;
    if (m_fnListener)
    {
        m_fnListener(nLevel, text, bSelected);
    }
}

void CLogger::SetLineListener(LineListener listener)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_fnListener = std::move(listener);
}

CLogger& notype(CLogger& logger)
{
    if (CLogger::ThreadLines() != nullptr)
    {
        CLogger::SLine& line = logger.ThreadLine();
        if (!line.bHasLevel)
        {
            line.nLevel = logger.Level();
            line.bHasLevel = true;
        }
        line.bLevelLocked = true;
    }
    return logger;
}

CLogger& DefaultLogger()
{
    static CLogger s_logger(&std::cerr);
    return s_logger;
}

} // namespace Zarn
