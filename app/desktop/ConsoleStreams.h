#pragma once

#include "LineStreamBuffer.h"

#include <memory>
#include <ostream>
#include <streambuf>
#include <string>

// Decides, for one run of the program, where the standard streams go. Plug-ins talk while they
// work: on std::cout ("FIRST PLUGIN: ..." as a process starts), std::clog (threads cleaned up)
// and std::cerr (every tool a toolbox loads). A normal run keeps the terminal for what a user
// must see, so there std::cout and std::clog go nowhere and std::cerr loses the toolbox's load
// confirmations; with bVerbose the streams stay as they are. The program's own output that must
// be seen (automation replies, results) goes to Output(), the original standard output.
//
// Owns the replacement buffers and puts the original ones back when destroyed. Made and
// destroyed on the main thread, before and after every plug-in; the buffers it installs may be
// written from any thread. Throws nothing beyond std::bad_alloc; sends and handles no messages.
class CConsoleStreams
{
public:
    explicit CConsoleStreams(bool bVerbose);
    ~CConsoleStreams();
    CConsoleStreams(const CConsoleStreams&) = delete;
    CConsoleStreams& operator=(const CConsoleStreams&) = delete;

    // The standard output as the process got it, whatever std::cout shows now.
    static std::ostream& Output();

private:
    // Swallows everything.
    class CNullBuffer : public std::streambuf
    {
    protected:
        int_type overflow(int_type character) override;
        std::streamsize xsputn(const char* text, std::streamsize count) override;
    };

    // Passes whole lines on to the original buffer, except the load confirmations.
    class CChatterFilter : public CLineStreamBuffer
    {
    public:
        explicit CChatterFilter(std::streambuf* target) : m_pTarget(target) {}
        ~CChatterFilter() override;

    protected:
        void WriteLine(const std::string& line) override;
        int sync() override;

    private:
        static bool IsChatter(const std::string& line);

        std::streambuf* m_pTarget; // lent: the stream's original buffer
    };

    bool m_bVerbose;
    std::unique_ptr<CNullBuffer> m_pNull;
    std::unique_ptr<CChatterFilter> m_pErrorFilter;
    std::streambuf* m_pOutput = nullptr; // the originals, lent by the streams
    std::streambuf* m_pLog = nullptr;
    std::streambuf* m_pErrors = nullptr;
};
