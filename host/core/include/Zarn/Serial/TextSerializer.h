#pragma once

#include <Zarn/Export.h>

#include <iosfwd>
#include <string>

namespace Zarn
{

class CValue;

// Writes value trees as JSON text for logs, journals and people. It never fails on a value: a null
// value is `null`, a pointer value the string "<pointer ElementType>", a non-finite real the string
// "nan", "inf" or "-inf", bytes that are not UTF-8 their Latin-1 characters.
//
// Contract: owns nothing, reads the values it is given; const and free of state, so any thread
// may use it. Throws only std::bad_alloc. No messages.
class ZARN_CORE_API CTextSerializer
{
public:
    // bCompact: one line without spaces, else indented by four spaces. bWithMeta: a value with
    // meta entries is written as {"value": ..., "meta": {...}}. name (may be null): when given,
    // the output is "name=" followed by the value.
    CTextSerializer(bool bCompact, bool bWithMeta, const char* name);

    // Writes the value (lent, may be null) to the stream, without a line end.
    void Serialize(const CValue* value, std::ostream& stream) const;
    // The same as a string.
    std::string ToString(const CValue* value) const;

private:
    bool m_bCompact;
    bool m_bWithMeta;
    bool m_bNamed;
    std::string m_strName;
};

} // namespace Zarn
