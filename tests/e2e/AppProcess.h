#pragma once

#include <nlohmann/json.hpp>

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

// docview-app running under its own X server (xvfb-run), driven through its automation channel:
// one command a line on its standard input, one JSON reply a line on its standard output. Lines
// that are no JSON object (the log, which xvfb-run mixes into the output) are kept as the
// transcript.
class CAppProcess
{
public:
    struct SOptions
    {
        std::string m_strConfig; // empty: the built-in configuration
        std::vector<std::string> m_lstFiles;
        bool m_bOffscreen = false; // no X server: for runs that never show a window
        std::string m_strHome;     // HOME and the XDG folders of the run
        bool m_bAutomation = true; // false: started as a user starts it, without the channel
        bool m_bNoDisplay = false; // no X server, no platform chosen: a terminal without a desktop
        std::vector<std::string> m_lstOptions; // more options, before the files
    };

    explicit CAppProcess(const SOptions& options);
    ~CAppProcess();
    CAppProcess(const CAppProcess&) = delete;
    CAppProcess& operator=(const CAppProcess&) = delete;

    // The reply to the command; throws when none comes in time or the program ended.
    nlohmann::json Command(const std::string& command,
                           std::chrono::milliseconds timeout = std::chrono::seconds(20));
    // The next event line of that name ({"event": name, ...}).
    nlohmann::json WaitEvent(const std::string& name,
                             std::chrono::milliseconds timeout = std::chrono::seconds(30));
    // Asks "state" until the predicate holds; the last state, or throws naming it.
    nlohmann::json WaitState(const std::function<bool(const nlohmann::json&)>& predicate,
                             const std::string& what,
                             std::chrono::milliseconds timeout = std::chrono::seconds(20));
    // The exit code once the program ended; -1 when it did not end in time (it is then killed).
    int WaitExit(std::chrono::milliseconds timeout = std::chrono::seconds(20));

    // Everything the program wrote that was not a reply.
    const std::string& Transcript() const { return m_strTranscript; }
    std::chrono::steady_clock::time_point Started() const { return m_started; }

private:
    // The next JSON line; false on timeout or end of output.
    bool ReadLine(nlohmann::json& line, std::chrono::steady_clock::time_point deadline);
    void Kill();

    pid_t m_pid = -1;
    int m_nInput = -1;
    int m_nOutput = -1;
    std::string m_strBuffer;
    std::string m_strTranscript;
    std::vector<nlohmann::json> m_lstEvents; // events seen while waiting for something else
    std::chrono::steady_clock::time_point m_started;
    bool m_bEnded = false;
    int m_nExitCode = -1;
};
