#pragma once

#include <Zarn/String/String.h>

#include <string>

namespace Zarn
{

class CValue;
class CValueMap;
class CValueVector;

namespace Impl
{

// Writes value trees as JSON text; CJsonValueFile and CTextSerializer both write through it.
//
// modeFile writes only what reads back as the same tree: a pointer value throws CExBadType, a real
// that is not finite, text that is not UTF-8 and an empty entry throw CExBadParam, and meta maps
// are left out. modeDiagnostic never fails: it writes such values as readable stand-ins and, with
// bWithMeta, a value with meta entries as {"value": ..., "meta": {...}}.
//
// Contract: owns nothing, appends to the caller's string; const, so any thread. No messages.
class CJsonWriter
{
public:
    enum EnMode
    {
        modeFile,
        modeDiagnostic,
    };

    CJsonWriter(EnMode mode, bool bPretty, bool bWithMeta);

    // Appends the text of the value (null: `null`, diagnostic mode only) to out.
    void Write(const CValue* value, std::string& out) const;

private:
    void WriteValue(const CValue* value, int depth, std::string& out) const;
    void WriteData(const CValue& value, int depth, std::string& out) const;
    void WriteMap(const CValueMap& map, int depth, std::string& out) const;
    void WriteVector(const CValueVector& vector, int depth, std::string& out) const;
    void WriteDouble(double dValue, std::string& out) const;
    void WriteText(const std::string& text, CString::EnEncoding encoding, std::string& out) const;
    // Before an entry of a container: a line break and indentation when pretty.
    void BeginEntry(int depth, std::string& out) const;
    void WriteKey(const char* key, int depth, std::string& out) const;

    EnMode m_enMode;
    bool m_bPretty;
    bool m_bWithMeta;
};

} // namespace Impl
} // namespace Zarn
