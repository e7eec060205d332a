#pragma once

#include <Zarn/Export.h>

#include <string>

namespace Zarn
{

class CValue;

// Value trees in JSON text. Object → CValueMap, array → CValueVector, string → CValueString,
// integer → CValueLong, real → CValueDouble, true/false → CValueBool.
//
// Reading fails with CExBadParam whose what is "source:LINE:COLUMN: message" for the text's
// errors (syntax, null, an integer beyond long, a duplicate key, an empty document) and names the
// path and the system's reason when the file cannot be read. Writing fails with CExBadType for a
// pointer value and CExBadParam for what JSON cannot hold (non-finite reals, text that is not
// UTF-8); meta maps are not written.
class ZARN_CORE_API CJsonValueFile
{
public:
    // The tree of the file, owned by the caller.
    static CValue* ReadFile(const std::string& path);
    // The tree of the text, owned by the caller; sourceName stands for the file in errors.
    static CValue* ReadString(const std::string& text, const std::string& sourceName = "<string>");
    // Replaces the file as a whole: the text goes to a temporary file in the same folder that is
    // then renamed over path, so a failed write leaves the old file (or none) and no partial one.
    // An existing file keeps its permissions.
    static void WriteFile(const std::string& path, const CValue& value);
    // Pretty: indented by four spaces, one entry a line; otherwise on one line without spaces.
    static std::string WriteString(const CValue& value, bool bPretty = true);
};

} // namespace Zarn
