#include "AppProcess.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace
{

std::vector<std::string> ChildEnvironment(const CAppProcess::SOptions& options)
{
    std::vector<std::string> lstEnvironment;
    for (char** ppEntry = environ; *ppEntry != nullptr; ++ppEntry)
    {
        const std::string strEntry = *ppEntry;
        // The test runner's settings are for the test program, not for the application.
        if (strEntry.rfind("QT_QPA_PLATFORM=", 0) == 0 || strEntry.rfind("HOME=", 0) == 0 ||
            strEntry.rfind("XDG_", 0) == 0 || strEntry.rfind("DISPLAY=", 0) == 0 ||
            strEntry.rfind("LSAN_OPTIONS=", 0) == 0)
        {
            continue;
        }
        lstEnvironment.push_back(strEntry);
    }
    if (options.m_bNoDisplay)
    {
        std::erase_if(lstEnvironment, [](const std::string& entry)
                      { return entry.rfind("WAYLAND_DISPLAY=", 0) == 0; });
    }
    else
    {
        lstEnvironment.push_back("QT_QPA_PLATFORM=" +
                                 std::string(options.m_bOffscreen ? "offscreen" : "xcb"));
    }
    lstEnvironment.push_back("HOME=" + options.m_strHome);
    lstEnvironment.push_back("XDG_CONFIG_HOME=" + options.m_strHome + "/config");
    lstEnvironment.push_back("XDG_CACHE_HOME=" + options.m_strHome + "/cache");
    lstEnvironment.push_back("XDG_RUNTIME_DIR=" + options.m_strHome + "/runtime");
    // Read only by sanitizer builds.
    lstEnvironment.push_back("LSAN_OPTIONS=suppressions=" LSAN_SUPPRESSIONS);
    return lstEnvironment;
}

// The command line: under xvfb-run unless the program draws off screen or needs no display.
std::vector<std::string> ChildArguments(const CAppProcess::SOptions& options)
{
    std::vector<std::string> lstArguments;
    if (!options.m_bOffscreen && !options.m_bNoDisplay)
    {
        // A screen large enough for the whole window and its dialogs, in true colour.
        lstArguments = {"xvfb-run", "-a", "-s", "-screen 0 1400x900x24"};
    }
    lstArguments.push_back(DOCVIEW_APP);
    if (options.m_bAutomation)
    {
        lstArguments.push_back("--automation");
    }
    if (!options.m_strConfig.empty())
    {
        lstArguments.push_back("--config");
        lstArguments.push_back(options.m_strConfig);
    }
    lstArguments.insert(lstArguments.end(), options.m_lstOptions.begin(),
                        options.m_lstOptions.end());
    for (const std::string& strFile : options.m_lstFiles)
    {
        lstArguments.push_back(strFile);
    }
    return lstArguments;
}

// In the forked child: the pipes as standard streams, then the program; never returns.
[[noreturn]] void ExecChild(const std::vector<std::string>& lstArguments,
                            const std::vector<std::string>& lstEnvironment, const int aInput[2],
                            const int aOutput[2])
{
    ::setpgid(0, 0); // one group: a failed test ends the X server and the program together
    ::dup2(aInput[0], STDIN_FILENO);
    ::dup2(aOutput[1], STDOUT_FILENO);
    ::dup2(aOutput[1], STDERR_FILENO);
    std::vector<char*> lstArgv;
    for (const std::string& strArgument : lstArguments)
    {
        lstArgv.push_back(const_cast<char*>(strArgument.c_str()));
    }
    lstArgv.push_back(nullptr);
    std::vector<char*> lstEnvp;
    for (const std::string& strEntry : lstEnvironment)
    {
        lstEnvp.push_back(const_cast<char*>(strEntry.c_str()));
    }
    lstEnvp.push_back(nullptr);
    ::execvpe(lstArgv[0], lstArgv.data(), lstEnvp.data());
    ::_exit(127);
}

} // namespace

CAppProcess::CAppProcess(const SOptions& options)
{
    const std::vector<std::string> lstArguments = ChildArguments(options);
    const std::vector<std::string> lstEnvironment = ChildEnvironment(options);
    ::mkdir((options.m_strHome + "/runtime").c_str(), 0700);

    int aInput[2];
    int aOutput[2];
    if (::pipe2(aInput, O_CLOEXEC) != 0 || ::pipe2(aOutput, O_CLOEXEC) != 0)
    {
        throw std::runtime_error("pipe failed");
    }
    m_started = std::chrono::steady_clock::now();
    m_pid = ::fork();
    if (m_pid == 0)
    {
        ExecChild(lstArguments, lstEnvironment, aInput, aOutput);
    }
    ::close(aInput[0]);
    ::close(aOutput[1]);
    m_nInput = aInput[1];
    m_nOutput = aOutput[0];
    if (m_pid < 0)
    {
        throw std::runtime_error("fork failed");
    }
}

CAppProcess::~CAppProcess()
{
    if (!m_bEnded)
    {
        Kill();
    }
    if (m_nInput >= 0)
    {
        ::close(m_nInput);
    }
    if (m_nOutput >= 0)
    {
        ::close(m_nOutput);
    }
}

void CAppProcess::Kill()
{
    ::kill(-m_pid, SIGTERM);
    ::kill(m_pid, SIGTERM);
    int nStatus = 0;
    ::waitpid(m_pid, &nStatus, 0);
    m_bEnded = true;
}

bool CAppProcess::ReadLine(nlohmann::json& line, std::chrono::steady_clock::time_point deadline)
{
    for (;;)
    {
        const size_t uEnd = m_strBuffer.find('\n');
        if (uEnd != std::string::npos)
        {
            const std::string strLine = m_strBuffer.substr(0, uEnd);
            m_strBuffer.erase(0, uEnd + 1);
            if (!strLine.empty() && strLine.front() == '{')
            {
                try
                {
                    line = nlohmann::json::parse(strLine);
                    return true;
                }
                catch (const nlohmann::json::exception&)
                {
                }
            }
            m_strTranscript += strLine + "\n";
            continue;
        }
        const auto remaining = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (remaining.count() <= 0)
        {
            return false;
        }
        pollfd descriptor{m_nOutput, POLLIN, 0};
        const int nReady = ::poll(&descriptor, 1, static_cast<int>(remaining.count()));
        if (nReady <= 0)
        {
            continue;
        }
        char buffer[4096];
        const ssize_t nRead = ::read(m_nOutput, buffer, sizeof(buffer));
        if (nRead <= 0)
        {
            return false; // the program closed its output: it has ended
        }
        m_strBuffer.append(buffer, static_cast<size_t>(nRead));
    }
}

nlohmann::json CAppProcess::Command(const std::string& command, std::chrono::milliseconds timeout)
{
    const std::string strLine = command + "\n";
    if (::write(m_nInput, strLine.data(), strLine.size()) != static_cast<ssize_t>(strLine.size()))
    {
        throw std::runtime_error("cannot send '" + command + "': " + std::strerror(errno));
    }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    nlohmann::json line;
    while (ReadLine(line, deadline))
    {
        if (line.contains("event"))
        {
            m_lstEvents.push_back(line);
            continue;
        }
        return line;
    }
    throw std::runtime_error("no reply to '" + command + "'; output so far:\n" + m_strTranscript);
}

nlohmann::json CAppProcess::WaitEvent(const std::string& name, std::chrono::milliseconds timeout)
{
    for (auto it = m_lstEvents.begin(); it != m_lstEvents.end(); ++it)
    {
        if ((*it)["event"] == name)
        {
            nlohmann::json event = *it;
            m_lstEvents.erase(it);
            return event;
        }
    }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    nlohmann::json line;
    while (ReadLine(line, deadline))
    {
        if (line.value("event", "") == name)
        {
            return line;
        }
        if (line.contains("event"))
        {
            m_lstEvents.push_back(line);
        }
    }
    throw std::runtime_error("no event '" + name + "'; output so far:\n" + m_strTranscript);
}

nlohmann::json CAppProcess::WaitState(const std::function<bool(const nlohmann::json&)>& predicate,
                                      const std::string& what, std::chrono::milliseconds timeout)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    nlohmann::json state;
    while (std::chrono::steady_clock::now() < deadline)
    {
        state = Command("state");
        if (predicate(state))
        {
            return state;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    throw std::runtime_error("the application never reached: " + what + "; last state:\n" +
                             state.dump(2) + "\noutput so far:\n" + m_strTranscript);
}

int CAppProcess::WaitExit(std::chrono::milliseconds timeout)
{
    if (m_bEnded)
    {
        return m_nExitCode;
    }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < deadline)
    {
        // Keep reading, so that the program never blocks on a full pipe.
        nlohmann::json line;
        ReadLine(line, std::chrono::steady_clock::now() + std::chrono::milliseconds(20));
        int nStatus = 0;
        if (::waitpid(m_pid, &nStatus, WNOHANG) == m_pid)
        {
            m_bEnded = true;
            nlohmann::json rest;
            while (
                ReadLine(rest, std::chrono::steady_clock::now() + std::chrono::milliseconds(100)))
            {
            }
            m_nExitCode = WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 128 + WTERMSIG(nStatus);
            return m_nExitCode;
        }
    }
    Kill();
    return -1;
}
