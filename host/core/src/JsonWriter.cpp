#include "JsonWriter.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Value/TypeInfo.h>
#include <Zarn/Value/ValueContainer.h>

#include <charconv>
#include <cmath>
#include <cstring>

namespace Zarn::Impl
{

namespace
{
const int kIndent = 4;

void AppendUtf8(unsigned int uCodePoint, std::string& out)
{
    if (uCodePoint < 0x80)
    {
        out += static_cast<char>(uCodePoint);
    }
    else if (uCodePoint < 0x800)
    {
        out += static_cast<char>(0xC0 | (uCodePoint >> 6));
        out += static_cast<char>(0x80 | (uCodePoint & 0x3F));
    }
    else
    {
        out += static_cast<char>(0xE0 | (uCodePoint >> 12));
        out += static_cast<char>(0x80 | ((uCodePoint >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (uCodePoint & 0x3F));
    }
}

// The length of the well-formed UTF-8 sequence at pos (no overlong forms, no surrogates, nothing
// above U+10FFFF, as the reader demands); 0 when the bytes there are not one.
size_t Utf8SequenceLength(const std::string& text, size_t pos)
{
    const auto byteAt = [&text](size_t index) { return static_cast<unsigned char>(text[index]); };
    const unsigned char uLead = byteAt(pos);
    size_t uLength = 0;
    unsigned char uMin = 0x80;
    unsigned char uMax = 0xBF;
    if (uLead >= 0xC2 && uLead <= 0xDF)
    {
        uLength = 2;
    }
    else if (uLead >= 0xE0 && uLead <= 0xEF)
    {
        uLength = 3;
        uMin = uLead == 0xE0 ? 0xA0 : 0x80;
        uMax = uLead == 0xED ? 0x9F : 0xBF;
    }
    else if (uLead >= 0xF0 && uLead <= 0xF4)
    {
        uLength = 4;
        uMin = uLead == 0xF0 ? 0x90 : 0x80;
        uMax = uLead == 0xF4 ? 0x8F : 0xBF;
    }
    else
    {
        return 0;
    }
    if (pos + uLength > text.size() || byteAt(pos + 1) < uMin || byteAt(pos + 1) > uMax)
    {
        return 0;
    }
    for (size_t i = 2; i < uLength; ++i)
    {
        if (byteAt(pos + i) < 0x80 || byteAt(pos + i) > 0xBF)
        {
            return 0;
        }
    }
    return uLength;
}

// One character below 0x80 as JSON writes it: the short escapes, \u00XX for other controls.
void AppendEscapedAscii(unsigned char uByte, std::string& out)
{
    static const char* const s_szHex = "0123456789abcdef";
    switch (uByte)
    {
    case '"':
        out += "\\\"";
        break;
    case '\\':
        out += "\\\\";
        break;
    case '\b':
        out += "\\b";
        break;
    case '\f':
        out += "\\f";
        break;
    case '\n':
        out += "\\n";
        break;
    case '\r':
        out += "\\r";
        break;
    case '\t':
        out += "\\t";
        break;
    default:
        if (uByte < 0x20)
        {
            out += "\\u00";
            out += s_szHex[uByte >> 4];
            out += s_szHex[uByte & 0xF];
        }
        else
        {
            out += static_cast<char>(uByte);
        }
        break;
    }
}

} // namespace

CJsonWriter::CJsonWriter(EnMode mode, bool bPretty, bool bWithMeta)
    : m_enMode(mode), m_bPretty(bPretty), m_bWithMeta(bWithMeta && mode == modeDiagnostic)
{
}

void CJsonWriter::Write(const CValue* value, std::string& out) const
{
    WriteValue(value, 0, out);
}

void CJsonWriter::WriteValue(const CValue* value, int depth, std::string& out) const
{
    if (value == nullptr)
    {
        if (m_enMode == modeFile)
        {
            throw CExBadParam(ZARN_LOCATION, "An empty entry cannot be written to a file");
        }
        out += "null";
        return;
    }
    if (!m_bWithMeta || !value->HasMeta() || value->Meta().IsEmpty())
    {
        WriteData(*value, depth, out);
        return;
    }
    out += '{';
    WriteKey("value", depth + 1, out);
    WriteData(*value, depth + 1, out);
    out += ',';
    WriteKey("meta", depth + 1, out);
    WriteMap(value->Meta(), depth + 1, out);
    BeginEntry(depth, out);
    out += '}';
}

void CJsonWriter::WriteData(const CValue& value, int depth, std::string& out) const
{
    switch (value.GenericType())
    {
    case CValue::vtBool:
        out += value.Bool() ? "true" : "false";
        return;
    case CValue::vtLong:
    {
        char szNumber[24];
        const auto result = std::to_chars(szNumber, szNumber + sizeof(szNumber), value.Long());
        out.append(szNumber, result.ptr);
        return;
    }
    case CValue::vtDouble:
        WriteDouble(value.Double(), out);
        return;
    case CValue::vtString:
        WriteText(value.String().StdString(), value.String().Encoding(), out);
        return;
    case CValue::vtMap:
        WriteMap(*value.Map(), depth, out);
        return;
    case CValue::vtVector:
        WriteVector(*value.Vector(), depth, out);
        return;
    case CValue::vtPointer:
    case CValue::vtInvalid:
        break;
    }
    if (m_enMode == modeFile)
    {
        throw CExBadType(ZARN_LOCATION, &value);
    }
    std::string strName = value.GenericType() == CValue::vtPointer ? "<pointer " : "<";
    strName += ReadableTypeName(value.GenericType() == CValue::vtPointer ? value.ElementType()
                                                                         : value.Type());
    strName += '>';
    WriteText(strName, CString::encUtf8, out);
}

void CJsonWriter::WriteMap(const CValueMap& map, int depth, std::string& out) const
{
    out += '{';
    bool bFirst = true;
    for (auto it = map.begin(); !(it == map.end()); ++it)
    {
        if (!bFirst)
        {
            out += ',';
        }
        bFirst = false;
        WriteKey(it.Key().ToString(), depth + 1, out);
        WriteValue(it.Value(), depth + 1, out);
    }
    if (!bFirst)
    {
        BeginEntry(depth, out);
    }
    out += '}';
}

void CJsonWriter::WriteVector(const CValueVector& vector, int depth, std::string& out) const
{
    out += '[';
    const unsigned int uSize = vector.Size();
    for (unsigned int i = 0; i < uSize; ++i)
    {
        if (i != 0)
        {
            out += ',';
        }
        BeginEntry(depth + 1, out);
        WriteValue(vector.Entry(CValue_Key(i), false), depth + 1, out);
    }
    if (uSize != 0)
    {
        BeginEntry(depth, out);
    }
    out += ']';
}

void CJsonWriter::WriteDouble(double dValue, std::string& out) const
{
    if (!std::isfinite(dValue))
    {
        if (m_enMode == modeFile)
        {
            throw CExBadParam(ZARN_LOCATION,
                              "A real that is not finite (nan or infinity) cannot be written");
        }
        out += std::isnan(dValue) ? "\"nan\"" : (dValue > 0 ? "\"inf\"" : "\"-inf\"");
        return;
    }
    // The shortest text that reads back as the same double; one without a fraction or exponent
    // gets ".0" so that it reads back as a real, not as an integer.
    char szNumber[32];
    const auto result = std::to_chars(szNumber, szNumber + sizeof(szNumber), dValue);
    const std::string_view number(szNumber, static_cast<size_t>(result.ptr - szNumber));
    out += number;
    if (number.find_first_of(".e") == std::string_view::npos)
    {
        out += ".0";
    }
}

void CJsonWriter::WriteText(const std::string& text, CString::EnEncoding encoding,
                            std::string& out) const
{
    out += '"';
    size_t pos = 0;
    while (pos < text.size())
    {
        const auto uByte = static_cast<unsigned char>(text[pos]);
        if (uByte >= 0x80)
        {
            const size_t uLength = encoding == CString::encUtf8 ? Utf8SequenceLength(text, pos) : 0;
            if (uLength != 0)
            {
                out.append(text, pos, uLength);
                pos += uLength;
                continue;
            }
            if (encoding == CString::encUtf8 && m_enMode == modeFile)
            {
                throw CExBadParam(ZARN_LOCATION,
                                  "A text that is not valid UTF-8 cannot be written");
            }
            // Latin-1 text, or stray bytes in a diagnostic: each byte as its Latin-1 character.
            AppendUtf8(uByte, out);
            ++pos;
            continue;
        }
        AppendEscapedAscii(uByte, out);
        ++pos;
    }
    out += '"';
}

void CJsonWriter::BeginEntry(int depth, std::string& out) const
{
    if (m_bPretty)
    {
        out += '\n';
        out.append(static_cast<size_t>(depth * kIndent), ' ');
    }
}

void CJsonWriter::WriteKey(const char* key, int depth, std::string& out) const
{
    BeginEntry(depth, out);
    WriteText(std::string(key), CString::encUtf8, out);
    out += m_bPretty ? ": " : ":";
}

} // namespace Zarn::Impl
