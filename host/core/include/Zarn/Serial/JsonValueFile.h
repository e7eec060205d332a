#pragma once

#include <Zarn/Export.h>

#include <map>
#include <string>
#include <utility>

namespace Zarn
{

class CValue;

// Where the values of a JSON text start, so that a reader of the tree can point at the place of a
// value it rejects. Paths join keys and array indices with "/": "plugins/0/name"; the root is "".
//
// Contract: a value type that owns its positions; one thread at a time. No messages.
class ZARN_CORE_API CJsonPositions
{
public:
    void SetSource(std::string sourceName) { m_strSource = std::move(sourceName); }
    const std::string& Source() const { return m_strSource; }
    void Add(const std::string& path, size_t line, size_t column);

    // False when the path names no value of the text.
    bool Find(const std::string& path, size_t& line, size_t& column) const;
    // "source:LINE:COLUMN" of the value at the path or, when it is missing, of the nearest value
    // above it; the source alone when there is none.
    std::string Describe(const std::string& path) const;

private:
    std::string m_strSource;
    std::map<std::string, std::pair<size_t, size_t>> m_mapPositions;
};

// Value trees in JSON text. Object → CValueMap, array → CValueVector, string → CValueString,
// integer → CValueLong, real → CValueDouble, true/false → CValueBool.
//
// Reading fails with CExBadParam whose what is "source:LINE:COLUMN: message" for the text's
// errors (syntax, null, an integer beyond long, a duplicate key, an empty document) and names the
// path and the system's reason when the file cannot be read. Writing fails with CExBadType for a
// pointer value and CExBadParam for what JSON cannot hold (non-finite reals, text that is not
// UTF-8); meta maps are not written.
//
// Contract: hands every tree it reads to the caller; keeps no state, so any thread may call it.
// No messages.
class ZARN_CORE_API CJsonValueFile
{
public:
    // The tree of the file, owned by the caller.
    static CValue* ReadFile(const std::string& path);
    // The same, recording where each value starts (the positions' source is the path).
    static CValue* ReadFile(const std::string& path, CJsonPositions& positions);
    // The tree of the text, owned by the caller; sourceName stands for the file in errors.
    static CValue* ReadString(const std::string& text, const std::string& sourceName = "<string>");
    static CValue* ReadString(const std::string& text, const std::string& sourceName,
                              CJsonPositions& positions);
    // Replaces the file as a whole: the text goes to a temporary file in the same folder that is
    // then renamed over path, so a failed write leaves the old file (or none) and no partial one.
    // An existing file keeps its permissions.
    static void WriteFile(const std::string& path, const CValue& value);
    // Pretty: indented by four spaces, one entry a line; otherwise on one line without spaces.
    static std::string WriteString(const CValue& value, bool bPretty = true);

private:
    static CValue* ReadFileImpl(const std::string& path, CJsonPositions* positions);
};

} // namespace Zarn
