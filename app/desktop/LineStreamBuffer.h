#pragma once

#include <map>
#include <mutex>
#include <streambuf>
#include <string>
#include <thread>

// A stream buffer that hands on whole lines: each thread's characters are collected until its
// end of line, so that lines of two threads never mix, and each line (without its "\n") goes to
// WriteLine.
//
// Owns the unfinished lines; lends nothing. Any thread may write; WriteLine is called on the
// writing thread under the buffer's lock, one line at a time. Throws what WriteLine throws;
// sends and handles no messages.
class CLineStreamBuffer : public std::streambuf
{
protected:
    virtual void WriteLine(const std::string& line) = 0;
    // What the threads wrote after their last end of line; the buffer forgets it.
    std::string TakeUnfinished();

    int_type overflow(int_type character) override;
    std::streamsize xsputn(const char* text, std::streamsize count) override;

private:
    std::mutex m_mutex;
    std::map<std::thread::id, std::string> m_mapLines;
};
