#include <Zarn/Exception/Exception.h>

#include <Zarn/Value/TypeInfo.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointerBase.h>
#include <Zarn/Value/ValueScalar.h>

#include <string>

namespace Zarn
{

namespace
{
const char* const kFunction = "Function";
const char* const kWhat = "What";
const char* const kInstance = "Instance";

// Stores the location entries of a raised exception.
void SetLocation(CValueMap& entries, const Impl::StExLocation& where)
{
    entries.SetEntry(CValue_Key("File"), new CValueString(where.m_szFile));
    entries.SetEntry(CValue_Key("Line"), new CValueLong(where.m_nLine));
    entries.SetEntry(CValue_Key("BuildDate"), new CValueString(where.m_szBuildDate));
}

std::string DescribeOffending(const CValue* offending)
{
    if (offending == nullptr)
    {
        return "Bad value type: no value";
    }
    std::string strText = "Bad value type: '" + ReadableTypeName(offending->Type()) + "'";
    if (offending->GenericType() == CValue::vtPointer)
    {
        strText += " pointing to '" + ReadableTypeName(offending->ElementType()) + "'";
    }
    return strText;
}
} // namespace

CException::CException(const char* function, const char* what, const char* instance)
    : m_pEntries(std::make_unique<CValueMap>())
{
    m_pEntries->SetEntry(CValue_Key(kFunction), new CValueString(function));
    m_pEntries->SetEntry(CValue_Key(kWhat), new CValueString(what));
    m_pEntries->SetEntry(CValue_Key(kInstance), new CValueString(instance));
    UpdateFormatted();
}

CException::CException(const CException& other)
    : std::exception(other), m_pEntries(std::make_unique<CValueMap>(*other.m_pEntries)),
      m_strFormatted(other.m_strFormatted)
{
}

CException& CException::operator=(const CException& other)
{
    if (this != &other)
    {
        *m_pEntries = *other.m_pEntries;
        m_strFormatted = other.m_strFormatted;
    }
    return *this;
}

CException::~CException() = default;

const char* CException::what() const noexcept
{
    return m_pEntries->EntryString(CValue_Key(kWhat), CString()).c_str();
}

const char* CException::FormattedWhat() const
{
    return m_strFormatted.c_str();
}

const char* CException::formattedWhat() const
{
    return FormattedWhat();
}

const char* CException::instance() const
{
    return m_pEntries->EntryString(CValue_Key(kInstance), CString()).c_str();
}

const char* CException::function() const
{
    return m_pEntries->EntryString(CValue_Key(kFunction), CString()).c_str();
}

const CValue* CException::Entry(const CValue_Key& key) const
{
    return m_pEntries->Entry(key, false);
}

CValue* CException::Entry(const CValue_Key& key)
{
    return m_pEntries->Entry(key, false);
}

const char* CException::Type() const
{
    return "Zarn::CException";
}

CValueVector* CException::Vectorize() const
{
    auto pVector = std::make_unique<CValueVector>();
    pVector->PushBack(new CValueString(Type()));
    pVector->PushBack(m_pEntries->Clone(CValue::tfShare));
    return pVector.release();
}

void CException::Devectorize(const CValueVector* vector)
{
    const CValue* pEntries =
        (vector && vector->Size() == 2) ? vector->Entry(CValue_Key(1), false) : nullptr;
    if (pEntries == nullptr || pEntries->Map() == nullptr)
    {
        throw CExBadParam(ZARN_LOCATION, "Serialised exception must be [type, entries map]");
    }
    *m_pEntries = *pEntries->Map();
    UpdateFormatted();
}

void CException::UpdateFormatted()
{
    m_strFormatted = std::string(function()) + ": " + what();
    const std::string strInstance = instance();
    if (!strInstance.empty())
    {
        m_strFormatted += " [" + strInstance + "]";
    }
}

CExBadParam::CExBadParam(const Impl::StExLocation& where, const char* message)
    : CException(where.m_szFunction, message, nullptr)
{
    SetLocation(Entries(), where);
}

const char* CExBadParam::Type() const
{
    return "Zarn::CExBadParam";
}

CExBadType::CExBadType(const Impl::StExLocation& where, const CValue* offending)
    : CException(where.m_szFunction, DescribeOffending(offending).c_str(), nullptr)
{
    SetLocation(Entries(), where);
    if (offending != nullptr)
    {
        Entries().SetEntry(CValue_Key("OffendingType"),
                           new CValueString(ReadableTypeName(offending->Type()).c_str()));
    }
}

const char* CExBadType::Type() const
{
    return "Zarn::CExBadType";
}

void RethrowWithOperation(const char* szOperation)
{
    try
    {
        throw;
    }
    catch (const CException& caught)
    {
        std::string strFunction = std::string(szOperation) + " - ";
        if (const CValue* pFunction = caught.Entry(CValue_Key("Function")))
        {
            strFunction += pFunction->String().c_str();
        }
        throw CException(strFunction.c_str(), caught.what(), caught.instance());
    }
    catch (const std::exception& caught)
    {
        throw CException(szOperation, caught.what(), nullptr);
    }
    catch (...)
    {
        throw CException(szOperation, "UNKNWON EXCEPTION!", nullptr);
    }
}

} // namespace Zarn
