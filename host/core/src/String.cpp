#include <Zarn/String/String.h>

#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <ostream>

namespace Zarn
{

CString::CString(const char* text, EnEncoding encoding)
    : m_strText(text ? text : ""), m_enEncoding(encoding)
{
}

CString::CString(const char* text, size_t length, EnEncoding encoding)
    : m_strText(text == nullptr  ? std::string()
                : length == NPOS ? std::string(text)
                                 : std::string(text, length)),
      m_enEncoding(encoding)
{
}

CString::CString(std::string text, EnEncoding encoding)
    : m_strText(std::move(text)), m_enEncoding(encoding)
{
}

CString& CString::Arg(const CString& argument)
{
    // Find the lowest placeholder number still present, then replace all of its occurrences.
    int nLowest = 100;
    for (size_t i = 0; i + 1 < m_strText.size(); ++i)
    {
        if (m_strText[i] != '%' || !std::isdigit(static_cast<unsigned char>(m_strText[i + 1])))
        {
            continue;
        }
        int nNumber = m_strText[i + 1] - '0';
        if (i + 2 < m_strText.size() && std::isdigit(static_cast<unsigned char>(m_strText[i + 2])))
        {
            nNumber = nNumber * 10 + (m_strText[i + 2] - '0');
        }
        if (nNumber > 0 && nNumber < nLowest)
        {
            nLowest = nNumber;
        }
    }
    if (nLowest == 100)
    {
        return *this;
    }
    // Built with += : GCC 12 reports a false -Wrestrict for "%" + std::to_string() at -O3.
    std::string strPlaceholder = "%";
    strPlaceholder += std::to_string(nLowest);
    std::string strResult;
    size_t nPos = 0;
    while (true)
    {
        const size_t nFound = m_strText.find(strPlaceholder, nPos);
        if (nFound == std::string::npos)
        {
            break;
        }
        // "%1" must not match the start of "%12".
        const size_t nEnd = nFound + strPlaceholder.size();
        const bool bLonger = nLowest < 10 && nEnd < m_strText.size() &&
                             std::isdigit(static_cast<unsigned char>(m_strText[nEnd]));
        strResult.append(m_strText, nPos, nFound - nPos);
        strResult += bLonger ? strPlaceholder : argument.m_strText;
        nPos = nEnd;
    }
    strResult.append(m_strText, nPos, std::string::npos);
    m_strText = std::move(strResult);
    return *this;
}

CString& CString::operator+=(const CString& other)
{
    m_strText += other.m_strText;
    return *this;
}

std::ostream& operator<<(std::ostream& stream, const CString& text)
{
    return stream << text.StdString();
}

std::string CStringTools::Printf(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    va_list argsCopy;
    va_copy(argsCopy, args);
    const int nLength = std::vsnprintf(nullptr, 0, format, args);
    va_end(args);
    std::string strResult;
    if (nLength > 0)
    {
        strResult.resize(static_cast<size_t>(nLength));
        std::vsnprintf(strResult.data(), strResult.size() + 1, format, argsCopy);
    }
    va_end(argsCopy);
    return strResult;
}

std::string CStringTools::toString(unsigned int number)
{
    return std::to_string(number);
}

} // namespace Zarn
