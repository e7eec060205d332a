#pragma once

#include <Zarn/Export.h>

#include <cstddef>
#include <iosfwd>
#include <string>

namespace Zarn
{

// A framework text. The bytes are kept as given; the encoding only tells how they were meant.
//
// Contract: a value type owning its bytes; one thread at a time per object. Throws only
// std::bad_alloc. No messages.
class ZARN_CORE_API CString
{
public:
    enum EnEncoding
    {
        encLatin1 = 0,
        encUtf8 = 1,
    };

    static const size_t NPOS = static_cast<size_t>(-1);

    CString() = default;
    CString(const char* text, EnEncoding encoding = encUtf8);
    CString(const char* text, size_t length, EnEncoding encoding = encUtf8);
    CString(std::string text, EnEncoding encoding = encUtf8);
    CString(const CString&) = default;
    CString(CString&&) noexcept = default;
    CString& operator=(const CString&) = default;
    CString& operator=(CString&&) noexcept = default;

    // Replaces every occurrence of the lowest-numbered placeholder "%1".."%99" still in the text,
    // so the first call fills "%1", the second "%2" and so on.
    CString& Arg(const CString& argument);

    const char* c_str() const { return m_strText.c_str(); }
    const std::string& StdString() const { return m_strText; }
    size_t Length() const { return m_strText.size(); }
    bool IsEmpty() const { return m_strText.empty(); }
    EnEncoding Encoding() const { return m_enEncoding; }

    CString& operator+=(const CString& other);
    friend CString operator+(CString left, const CString& right) { return left += right; }
    friend bool operator==(const CString& left, const CString& right)
    {
        return left.m_strText == right.m_strText;
    }
    friend auto operator<=>(const CString& left, const CString& right)
    {
        return left.m_strText <=> right.m_strText;
    }

private:
    std::string m_strText;
    EnEncoding m_enEncoding = encUtf8;
};

ZARN_CORE_API std::ostream& operator<<(std::ostream& stream, const CString& text);

// Contract: free of state; any thread. Throws only std::bad_alloc. No messages.
class ZARN_CORE_API CStringTools
{
public:
    // printf into a std::string of whatever length the result needs.
    static std::string Printf(const char* format, ...) __attribute__((format(printf, 1, 2)));
    static std::string toString(unsigned int number);
};

} // namespace Zarn
