#include "JsonValueReader.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValueScalar.h>

#include <algorithm>
#include <climits>
#include <iterator>

namespace Zarn::Impl
{

namespace
{
// Walks the text for the parser and records how far it has read, so that a value's position is
// known when the parser reports the value.
class CCountingIterator
{
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CCountingIterator(const char* pCurrent, const char** ppFurthest)
        : m_pCurrent(pCurrent), m_ppFurthest(ppFurthest)
    {
    }
    reference operator*() const { return *m_pCurrent; }
    CCountingIterator& operator++()
    {
        *m_ppFurthest = ++m_pCurrent;
        return *this;
    }
    CCountingIterator operator++(int)
    {
        CCountingIterator previous = *this;
        ++*this;
        return previous;
    }
    friend bool operator==(const CCountingIterator& left, const CCountingIterator& right)
    {
        return left.m_pCurrent == right.m_pCurrent;
    }

private:
    const char* m_pCurrent;
    const char** m_ppFurthest;
};

bool IsJsonWhitespace(char cByte)
{
    return cByte == ' ' || cByte == '\t' || cByte == '\n' || cByte == '\r';
}

// nlohmann's message without its "[json.exception...] parse error at line L, column C: " prefix:
// the position is ours to report.
std::string ParserMessage(const nlohmann::json::exception& ex)
{
    std::string strMessage = ex.what();
    const size_t uBracket = strMessage.find("] ");
    if (strMessage.compare(0, 1, "[") == 0 && uBracket != std::string::npos)
    {
        strMessage.erase(0, uBracket + 2);
    }
    if (strMessage.compare(0, 11, "parse error") == 0)
    {
        const size_t uColon = strMessage.find(": ");
        if (uColon != std::string::npos)
        {
            strMessage.erase(0, uColon + 2);
        }
    }
    // "; last read: '...'" quotes what the parser has gathered since it last restarted its token,
    // often more than the token; the position says where the error is.
    const size_t uLastRead = strMessage.find("; last read: '");
    if (uLastRead != std::string::npos)
    {
        const size_t uExpected = strMessage.find("'; expected ", uLastRead);
        if (uExpected != std::string::npos)
        {
            strMessage.erase(uLastRead, uExpected + 1 - uLastRead);
        }
        else if (strMessage.back() == '\'')
        {
            strMessage.erase(uLastRead);
        }
    }
    return strMessage;
}

bool IsIntegerToken(const std::string& token)
{
    return token.find_first_of(".eE") == std::string::npos;
}
} // namespace

CJsonValueReader::CJsonValueReader(const std::string& text, const std::string& sourceName)
    : m_strText(text), m_strSourceName(sourceName), m_pFurthest(text.data())
{
}

std::unique_ptr<CValue> CJsonValueReader::Read()
{
    size_t uFirst = 0;
    if (m_strText.compare(0, 3, "\xEF\xBB\xBF") == 0)
    {
        uFirst = 3;
    }
    while (uFirst < m_strText.size() && IsJsonWhitespace(m_strText[uFirst]))
    {
        ++uFirst;
    }
    if (uFirst == m_strText.size())
    {
        Fail(m_strText.size(), "empty document");
    }
    else
    {
        const char* pBegin = m_strText.data();
        const bool bParsed = nlohmann::json::sax_parse(
            CCountingIterator(pBegin, &m_pFurthest),
            CCountingIterator(pBegin + m_strText.size(), &m_pFurthest), this);
        if (!bParsed && !m_bFailed)
        {
            Fail(Consumed(), "the parser stopped without naming an error");
        }
    }
    if (!m_bFailed)
    {
        if (m_pPositions != nullptr)
        {
            size_t uOffset = 0;
            size_t uLine = 1;
            size_t uColumn = 1;
            for (const auto& [strPath, uStart] : m_lstOffsets)
            {
                Advance(uStart, uOffset, uLine, uColumn);
                m_pPositions->emplace_back(strPath, std::make_pair(uLine, uColumn));
            }
        }
        return std::move(m_pRoot);
    }

    size_t uOffset = 0;
    size_t uLine = 1;
    size_t uColumn = 1;
    Advance(m_uErrorOffset, uOffset, uLine, uColumn);
    const std::string strWhat = m_strSourceName + ":" + std::to_string(uLine) + ":" +
                                std::to_string(uColumn) + ": " + m_strError;
    m_pRoot.reset();
    throw CExBadParam(ZARN_LOCATION, strWhat.c_str());
}

bool CJsonValueReader::null()
{
    return Fail(Consumed() - 4, "null is not supported");
}

bool CJsonValueReader::boolean(bool bValue)
{
    return Add(std::make_unique<CValueBool>(bValue), Consumed() - (bValue ? 4 : 5));
}

bool CJsonValueReader::number_integer(std::int64_t nValue)
{
    if constexpr (sizeof(long) < sizeof(std::int64_t))
    {
        if (nValue < LONG_MIN || nValue > LONG_MAX)
        {
            return Fail(NumberStart(std::to_string(nValue)), "integer out of range");
        }
    }
    return Add(std::make_unique<CValueLong>(static_cast<long>(nValue)),
               m_pPositions != nullptr ? NumberStart(std::to_string(nValue)) : 0);
}

bool CJsonValueReader::number_unsigned(std::uint64_t uValue)
{
    if (uValue > static_cast<std::uint64_t>(LONG_MAX))
    {
        return Fail(NumberStart(std::to_string(uValue)), "integer out of range");
    }
    return Add(std::make_unique<CValueLong>(static_cast<long>(uValue)),
               m_pPositions != nullptr ? NumberStart(std::to_string(uValue)) : 0);
}

bool CJsonValueReader::number_float(double dValue, const std::string& token)
{
    // An integer too large for 64 bits reaches us as a real.
    if (IsIntegerToken(token))
    {
        return Fail(NumberStart(token), "integer out of range");
    }
    return Add(std::make_unique<CValueDouble>(dValue),
               m_pPositions != nullptr ? NumberStart(token) : 0);
}

bool CJsonValueReader::string(std::string& text)
{
    return Add(std::make_unique<CValueString>(text.data(), text.size()),
               m_pPositions != nullptr ? StringStart() : 0);
}

bool CJsonValueReader::binary(nlohmann::json::binary_t&)
{
    // JSON text has no binary values; only the binary formats report them.
    return Fail(Consumed(), "binary data is not supported");
}

bool CJsonValueReader::start_object(std::size_t)
{
    return OpenContainer(std::make_unique<CValueMap>(), true);
}

bool CJsonValueReader::key(std::string& text)
{
    StFrame& frame = m_lstOpen.back();
    if (frame.m_pContainer->Map()->HasEntry(CValue_Key(text)))
    {
        return Fail(StringStart(), "duplicate key \"" + text + "\"");
    }
    frame.m_strKey = text;
    return true;
}

bool CJsonValueReader::end_object()
{
    m_lstOpen.pop_back();
    return true;
}

bool CJsonValueReader::start_array(std::size_t)
{
    return OpenContainer(std::make_unique<CValueVector>(), false);
}

bool CJsonValueReader::end_array()
{
    m_lstOpen.pop_back();
    return true;
}

bool CJsonValueReader::parse_error(std::size_t position, const std::string& lastToken,
                                   const nlohmann::json::exception& ex)
{
    // position counts the bytes the parser has read, end of input included. A whole token that is
    // out of place, or a number out of range, ends at position and the error is at its start;
    // otherwise the byte that broke the token is the last one read. lastToken is the token's text
    // for numbers and strings only: the parser does not restart it for the other tokens.
    const size_t uEnd = std::min(position, m_strText.size());
    if (dynamic_cast<const nlohmann::json::out_of_range*>(&ex) != nullptr)
    {
        return Fail(uEnd - std::min(uEnd, lastToken.size()),
                    IsIntegerToken(lastToken) ? "integer out of range" : "number out of range");
    }
    const std::string strMessage = ParserMessage(ex);
    const size_t uUnexpected = strMessage.find("- unexpected ");
    if (uUnexpected == std::string::npos)
    {
        return Fail(position > 0 ? std::min(position - 1, m_strText.size()) : 0, strMessage);
    }
    const std::string strToken = strMessage.substr(uUnexpected + 13);
    size_t uLength = 1; // a structural character
    if (strToken.starts_with("end of input"))
    {
        uLength = 0;
    }
    else if (strToken.starts_with("number literal") || strToken.starts_with("string literal"))
    {
        uLength = lastToken.size();
    }
    else if (strToken.starts_with("true literal") || strToken.starts_with("null literal"))
    {
        uLength = 4;
    }
    else if (strToken.starts_with("false literal"))
    {
        uLength = 5;
    }
    return Fail(uEnd - std::min(uEnd, uLength), strMessage);
}

bool CJsonValueReader::Add(std::unique_ptr<CValue> value, size_t uStart)
{
    if (m_pPositions != nullptr)
    {
        m_lstOffsets.emplace_back(ChildPath(), uStart);
    }
    if (m_lstOpen.empty())
    {
        m_pRoot = std::move(value);
        return true;
    }
    StFrame& frame = m_lstOpen.back();
    if (frame.m_bMap)
    {
        static_cast<CValueMap*>(frame.m_pContainer)
            ->SetEntry(CValue_Key(frame.m_strKey), value.release());
    }
    else
    {
        static_cast<CValueVector*>(frame.m_pContainer)->PushBack(value.release());
    }
    return true;
}

bool CJsonValueReader::OpenContainer(std::unique_ptr<CValue> container, bool bMap)
{
    if (m_lstOpen.size() >= kMaxDepth)
    {
        return Fail(Consumed() - 1, "nesting deeper than " + std::to_string(kMaxDepth) + " levels");
    }
    auto* pContainer = static_cast<CValueContainerBase*>(container.get());
    std::string strPath = m_pPositions != nullptr ? ChildPath() : std::string();
    Add(std::move(container), Consumed() - 1);
    m_lstOpen.push_back({pContainer, bMap, std::string(), std::move(strPath)});
    return true;
}

std::string CJsonValueReader::ChildPath() const
{
    if (m_lstOpen.empty())
    {
        return std::string();
    }
    const StFrame& frame = m_lstOpen.back();
    const std::string strChild =
        frame.m_bMap ? frame.m_strKey
                     : std::to_string(static_cast<const CValueVector*>(frame.m_pContainer)->Size());
    return frame.m_strPath.empty() ? strChild : frame.m_strPath + "/" + strChild;
}

void CJsonValueReader::Advance(size_t uToOffset, size_t& uFromOffset, size_t& uLine,
                               size_t& uColumn) const
{
    for (; uFromOffset < uToOffset && uFromOffset < m_strText.size(); ++uFromOffset)
    {
        if (m_strText[uFromOffset] == '\n')
        {
            ++uLine;
            uColumn = 1;
        }
        else if ((static_cast<unsigned char>(m_strText[uFromOffset]) & 0xC0) != 0x80)
        {
            ++uColumn; // a UTF-8 continuation byte belongs to the character before it
        }
    }
}

bool CJsonValueReader::Fail(size_t offset, const std::string& message)
{
    if (!m_bFailed)
    {
        m_bFailed = true;
        m_uErrorOffset = offset;
        m_strError = message;
    }
    return false;
}

size_t CJsonValueReader::Consumed() const
{
    return static_cast<size_t>(m_pFurthest - m_strText.data());
}

size_t CJsonValueReader::NumberStart(const std::string& token) const
{
    // The parser may have read one byte past the number; a number never ends in that byte.
    size_t uEnd = Consumed();
    if (uEnd >= token.size() && m_strText.compare(uEnd - token.size(), token.size(), token) != 0)
    {
        --uEnd;
    }
    return uEnd >= token.size() ? uEnd - token.size() : 0;
}

size_t CJsonValueReader::StringStart() const
{
    // Back from the closing quote to the first quote not escaped by an odd run of backslashes.
    const size_t uClose = Consumed() - 1;
    for (size_t i = uClose; i-- > 0;)
    {
        if (m_strText[i] != '"')
        {
            continue;
        }
        size_t uBackslashes = 0;
        while (uBackslashes < i && m_strText[i - 1 - uBackslashes] == '\\')
        {
            ++uBackslashes;
        }
        if (uBackslashes % 2 == 0)
        {
            return i;
        }
    }
    return uClose;
}

} // namespace Zarn::Impl
