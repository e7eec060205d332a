#include <Zarn/Serial/TextSerializer.h>

#include "JsonWriter.h"

#include <ostream>

namespace Zarn
{

CTextSerializer::CTextSerializer(bool bCompact, bool bWithMeta, const char* name)
    : m_bCompact(bCompact), m_bWithMeta(bWithMeta), m_bNamed(name != nullptr),
      m_strName(name != nullptr ? name : "")
{
}

void CTextSerializer::Serialize(const CValue* value, std::ostream& stream) const
{
    stream << ToString(value);
}

std::string CTextSerializer::ToString(const CValue* value) const
{
    std::string strText;
    if (m_bNamed)
    {
        strText = m_strName + "=";
    }
    Impl::CJsonWriter(Impl::CJsonWriter::modeDiagnostic, !m_bCompact, m_bWithMeta)
        .Write(value, strText);
    return strText;
}

} // namespace Zarn
