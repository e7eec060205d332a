#pragma once

#include <cstddef>
#include <ostream>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

namespace DocViewTest
{

// Sends everything written to a standard stream into a string while it lives. Owns the string,
// lends the stream (which must outlive it). Not thread-safe; throws nothing.
class CStreamCapture
{
public:
    explicit CStreamCapture(std::ostream& stream);
    CStreamCapture(const CStreamCapture&) = delete;
    CStreamCapture& operator=(const CStreamCapture&) = delete;
    ~CStreamCapture();

    // The text written so far; the next call returns only what follows.
    std::string Take();
    // The complete lines written since the last call; a partial line at the end comes back as
    // "<unterminated>" + its text, so that it stays visible.
    std::vector<std::string> TakeLines();
    // Everything written so far, taken or not.
    std::string Text() const { return m_text.str(); }

private:
    std::ostream& m_stream;
    std::ostringstream m_text; // before m_pPrevious: the constructor hands its buffer over
    std::streambuf* m_pPrevious;
    size_t m_nTaken = 0;
};

// Sends everything written to a file descriptor (2: standard error below the iostreams) into a
// temporary file while it lives. Owns the file and the saved descriptor; not thread-safe; throws
// nothing.
class CDescriptorCapture
{
public:
    explicit CDescriptorCapture(int descriptor);
    CDescriptorCapture(const CDescriptorCapture&) = delete;
    CDescriptorCapture& operator=(const CDescriptorCapture&) = delete;
    ~CDescriptorCapture();

    // The text written so far; the next call returns only what follows.
    std::string Take();

private:
    int m_nDescriptor;
    int m_nSaved;
    int m_nFile;
    size_t m_nTaken = 0;
};

} // namespace DocViewTest
