#pragma once

#include <Zarn/Export.h>
#include <Zarn/String/String.h>

#include <cstdint>
#include <fstream>
#include <functional>
#include <iostream>
#include <mutex>
#include <ostream>
#include <sstream>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <vector>

namespace Zarn
{

// The host's log. A line is built with SetLevel, streamed texts and values, the notype
// manipulator and an end of line (std::endl or "\n" at the end of a text); it is written whole,
// never interleaved with another thread's line, to standard error and, when opened, to a file.
// Every thread builds its own line, so the logger may be used from any thread.
//
// A line without SetLevel goes out at the level the logger last had.
//
// Contract: owns its log file; the console stream is lent by the creator and must outlive the
// logger. Writing never throws (a failed write is dropped); opening a file reports failure by
// its result. Sends and handles no messages: plug-ins reach it through the registry entry
// "tmp/logger".
class ZARN_CORE_API CLogger
{
public:
    enum EnLevel
    {
        levelProgress = 1, // progress and settings
        levelWarning = 3,
        levelError = 4,
    };

    // Writes to `console` (standard error by default; null for none).
    explicit CLogger(std::ostream* console = &std::cerr);
    CLogger(const CLogger&) = delete;
    CLogger& operator=(const CLogger&) = delete;
    virtual ~CLogger();

    // Selects the level of the line being built (and of later lines without a level).
    virtual CLogger& SetLevel(int level);
    // The text output: appends the text to this thread's line; a "\n" ends the line.
    virtual CLogger& operator<<(const char* text);
    // Manipulators: Zarn::notype, and std::endl for the end of line.
    CLogger& operator<<(CLogger& (*manipulator)(CLogger&));
    CLogger& operator<<(std::ostream& (*manipulator)(std::ostream&));
    CLogger& operator<<(const CString& text) { return *this << text.c_str(); }
    CLogger& operator<<(const std::string& text) { return *this << text.c_str(); }
    template <class TNumber>
    requires std::is_arithmetic_v<TNumber> CLogger& operator<<(TNumber number)
    {
        std::ostringstream text;
        text << number;
        return *this << text.str();
    }

    // Also writes every line to this file (appending); false when it cannot be opened.
    bool OpenFile(const std::string& path);
    // Lines below this level are dropped; the default 0 keeps everything.
    void SetThreshold(int level);
    // Lines below this level stay off the console but still go to the file and the listener, so
    // a quiet terminal keeps a complete log file; the default 0 writes every kept line.
    void SetConsoleThreshold(int level);
    // Writes this thread's unfinished line now, if it has text.
    void EndLine();

    // The level a new line without SetLevel gets.
    int Level() const;
    // Called with the level and the text (without time and level prefix) of every line written,
    // on the thread that wrote it and under the logger's lock: it must be quick and must not log.
    // bLevelSelected is false for a line written without SetLevel: its level is only the one the
    // logger last had (notype alone does not select one), so it says nothing about the line
    // itself. An empty function removes the listener.
    using LineListener =
        std::function<void(int level, const std::string& text, bool bLevelSelected)>;
    void SetLineListener(LineListener listener);

    // Number of lines written since construction.
    std::uint64_t LineCount() const;

private:
    friend CLogger& notype(CLogger& logger);

    struct SLine;
    using LineTable = std::unordered_map<std::uint64_t, SLine>;
    // This thread's lines, one per logger id; null while the thread's storage is torn down
    // (logging from thread-exit code), when every text becomes a line of its own.
    static LineTable* ThreadLines();
    // This thread's line of this logger; ThreadLines() must not be null.
    SLine& ThreadLine();
    // level < 0: the logger's current level; bSelected: SetLevel was called for this line.
    void WriteLine(int level, const std::string& text, bool bSelected);

    const std::uint64_t m_uId; // tells this logger's lines apart in each thread's line table
    std::ostream* m_pConsole;
    std::ofstream m_fileStream;
    mutable std::mutex m_mutex;
    int m_nLevel = levelProgress;
    int m_nThreshold = 0;
    int m_nConsoleThreshold = 0;
    std::uint64_t m_uLineCount = 0;
    LineListener m_fnListener;
};

// Ends the typed part of a log line: its level is fixed (a later SetLevel applies to the next
// line), and what follows until the end of line still belongs to it.
ZARN_CORE_API CLogger& notype(CLogger& logger);

// The process's default logger (standard error), used by the host where no other is given.
ZARN_CORE_API CLogger& DefaultLogger();

} // namespace Zarn
