#include <Zarn/Value/Value.h>

#include <Zarn/Exception/Exception.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValueScalar.h>

#include <string>

namespace Zarn
{

CValue::CValue() = default;

CValue::~CValue() = default;

void CValue::ThrowWrongKind(const char* function) const
{
    throw CExBadType({__DATE__ " " __TIME__, __FILE__, function, __LINE__, 0}, this);
}

void CValue::RequireSameKind(const CValue& other, const char* function) const
{
    if (other.GenericType() != GenericType())
    {
        throw CExBadType({__DATE__ " " __TIME__, __FILE__, function, __LINE__, 0}, &other);
    }
}

bool& CValue::Bool()
{
    ThrowWrongKind("Zarn::CValue::Bool");
}

bool CValue::Bool() const
{
    ThrowWrongKind("Zarn::CValue::Bool");
}

long CValue::Long() const
{
    ThrowWrongKind("Zarn::CValue::Long");
}

long& CValue::Long()
{
    ThrowWrongKind("Zarn::CValue::Long");
}

double CValue::Double() const
{
    ThrowWrongKind("Zarn::CValue::Double");
}

double& CValue::Double()
{
    ThrowWrongKind("Zarn::CValue::Double");
}

const CString& CValue::String() const
{
    ThrowWrongKind("Zarn::CValue::String");
}

CString& CValue::String()
{
    ThrowWrongKind("Zarn::CValue::String");
}

const CValueMap* CValue::Map() const
{
    return nullptr;
}

CValueMap* CValue::Map()
{
    return nullptr;
}

const CValueVector* CValue::Vector() const
{
    return nullptr;
}

CValueVector* CValue::Vector()
{
    return nullptr;
}

const CValuePointerBase* CValue::Pointer() const
{
    return nullptr;
}

CValuePointerBase* CValue::Pointer()
{
    return nullptr;
}

const std::type_info& CValue::Type() const
{
    return typeid(*this);
}

const std::type_info& CValue::ElementType() const
{
    return typeid(void);
}

bool CValue::IsLink() const
{
    return false;
}

bool CValue::IsValid() const
{
    return true;
}

const CValueMap& CValue::Meta() const
{
    static const CValueMap s_emptyMeta;
    return m_pMeta ? *m_pMeta : s_emptyMeta;
}

CValueMap& CValue::Meta()
{
    if (!m_pMeta)
    {
        m_pMeta = std::make_unique<CValueMap>();
    }
    return *m_pMeta;
}

void CValue::SetString(const char*, size_t)
{
    ThrowWrongKind("Zarn::CValue::SetString");
}

const void* CValue::VoidPointer() const
{
    return nullptr;
}

void* CValue::VoidPointer()
{
    return nullptr;
}

CValue& CValue::CopyMeta(const CValue& source, EnTfOwnership strategy, bool bReplace)
{
    if (&source == this)
    {
        return *this;
    }
    if (bReplace)
    {
        if (!source.HasMeta() || source.Meta().IsEmpty())
        {
            m_pMeta.reset();
            return *this;
        }
        Meta().Copy(source.Meta(), strategy, true);
    }
    else if (source.HasMeta())
    {
        Meta().CopyNewEntries(source.Meta(), strategy);
    }
    return *this;
}

bool CValue::EqualMeta(const CValue& other) const
{
    const bool bMine = HasMeta() && !Meta().IsEmpty();
    const bool bOther = other.HasMeta() && !other.Meta().IsEmpty();
    if (!bMine || !bOther)
    {
        return bMine == bOther;
    }
    return Meta().EqualData(other.Meta());
}

void CValue::MoveMeta(CValue& source)
{
    m_pMeta = std::move(source.m_pMeta);
}

CValueString::CValueString(const char* text, size_t length) : CValueScalar(CString(text, length)) {}

void CValueString::SetString(const char* text, size_t length)
{
    m_data = CString(text, length, m_data.Encoding());
}

} // namespace Zarn
