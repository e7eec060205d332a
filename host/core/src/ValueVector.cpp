#include <Zarn/Value/ValueContainer.h>

#include <Zarn/Exception/Exception.h>

#include <algorithm>
#include <string>

namespace Zarn
{

CValueVector::CValueVector() = default;

CValueVector::CValueVector(const CValueVector& other) : CValueContainerBase()
{
    Copy(other, tfShare, true);
}

CValueVector& CValueVector::operator=(const CValueVector& other)
{
    Copy(other, tfShare, true);
    return *this;
}

CValueVector::~CValueVector() = default;

CValue* CValueVector::Clone(EnTfOwnership strategy) const
{
    auto pClone = std::make_unique<CValueVector>();
    pClone->m_lstChildren.reserve(m_lstChildren.size());
    for (const auto& pChild : m_lstChildren)
    {
        pClone->m_lstChildren.emplace_back(pChild->Clone(strategy));
    }
    pClone->CopyMeta(*this, strategy, true);
    return pClone.release();
}

CValue& CValueVector::Copy(const CValue& source, EnTfOwnership strategy, bool bReplaceMeta)
{
    RequireSameKind(source, "Zarn::CValueVector::Copy");
    if (&source == this)
    {
        return *this;
    }
    std::vector<std::unique_ptr<CValue>> children;
    children.reserve(source.Vector()->m_lstChildren.size());
    for (const auto& pChild : source.Vector()->m_lstChildren)
    {
        children.emplace_back(pChild->Clone(strategy));
    }
    m_lstChildren.swap(children);
    CopyMeta(source, strategy, bReplaceMeta);
    return *this;
}

CValue& CValueVector::Move(CValue& source)
{
    RequireSameKind(source, "Zarn::CValueVector::Move");
    if (&source != this)
    {
        m_lstChildren = std::move(source.Vector()->m_lstChildren);
        source.Vector()->m_lstChildren.clear();
        MoveMeta(source);
    }
    return *this;
}

bool CValueVector::Equal(const CValue& other) const
{
    const CValueVector* pOther = other.Vector();
    return pOther != nullptr && pOther->m_lstChildren.size() == m_lstChildren.size() &&
           EqualMeta(other) &&
           std::equal(m_lstChildren.begin(), m_lstChildren.end(), pOther->m_lstChildren.begin(),
                      [](const auto& pMine, const auto& pTheirs)
                      { return pMine->Equal(*pTheirs); });
}

bool CValueVector::EqualData(const CValue& other) const
{
    const CValueVector* pOther = other.Vector();
    return pOther != nullptr && pOther->m_lstChildren.size() == m_lstChildren.size() &&
           std::equal(m_lstChildren.begin(), m_lstChildren.end(), pOther->m_lstChildren.begin(),
                      [](const auto& pMine, const auto& pTheirs)
                      { return pMine->EqualData(*pTheirs); });
}

const CValue* CValueVector::Entry(const CValue_Key& key, bool bRequired) const
{
    return const_cast<CValueVector*>(this)->Entry(key, bRequired);
}

// One level: looked up directly, without building a path, since every receiver calls it.
CValue* CValueVector::Entry(const CValue_Key& key, bool bRequired)
{
    CValue* pChild = ChildAt(key);
    if (pChild == nullptr && bRequired)
    {
        return CValueContainerBase::Entry(CValue_Path(key), true); // throws naming the key
    }
    return pChild;
}

void CValueVector::SetEntry(const CValue_Key& key, CValue* value)
{
    StoreChild(key, std::unique_ptr<CValue>(value));
}

bool CValueVector::HasEntry(const CValue_Key& key) const
{
    return ChildAt(key) != nullptr;
}

bool CValueVector::RemoveEntry(const CValue_Key& key)
{
    return EraseChild(key);
}

CValue* CValueVector::Detach(const CValue_Key& key)
{
    const long lIndex = key.AsIndex();
    if (lIndex < 0 || static_cast<size_t>(lIndex) >= m_lstChildren.size())
    {
        return nullptr;
    }
    CValue* pChild = m_lstChildren[static_cast<size_t>(lIndex)].release();
    m_lstChildren.erase(m_lstChildren.begin() + lIndex);
    return pChild;
}

unsigned int CValueVector::Size() const
{
    return static_cast<unsigned int>(m_lstChildren.size());
}

CValue_Key CValueVector::Find(const char* text, const CValue_Key& after)
{
    return CValueContainerBase::Find(text, after);
}

void CValueVector::PushBack(CValue* value)
{
    m_lstChildren.emplace_back(value);
}

CValue* CValueVector::ChildAt(const CValue_Key& key) const
{
    const long lIndex = key.AsIndex();
    if (lIndex < 0 || static_cast<size_t>(lIndex) >= m_lstChildren.size())
    {
        return nullptr;
    }
    return m_lstChildren[static_cast<size_t>(lIndex)].get();
}

void CValueVector::StoreChild(const CValue_Key& key, std::unique_ptr<CValue> value)
{
    const long lIndex = key.AsIndex();
    if (lIndex < 0 || static_cast<size_t>(lIndex) > m_lstChildren.size())
    {
        const std::string strMessage = "Index '" + std::string(key.ToString()) +
                                       "' is out of range for a vector of " +
                                       std::to_string(m_lstChildren.size()) + " elements";
        throw CExBadParam(ZARN_LOCATION, strMessage.c_str());
    }
    if (static_cast<size_t>(lIndex) == m_lstChildren.size())
    {
        m_lstChildren.push_back(std::move(value));
        return;
    }
    std::unique_ptr<CValue> pOld = std::move(m_lstChildren[static_cast<size_t>(lIndex)]);
    m_lstChildren[static_cast<size_t>(lIndex)] = std::move(value);
}

bool CValueVector::EraseChild(const CValue_Key& key)
{
    std::unique_ptr<CValue> pOld(Detach(key));
    return pOld != nullptr;
}

std::vector<CValue_Key> CValueVector::ChildKeys() const
{
    std::vector<CValue_Key> keys;
    keys.reserve(m_lstChildren.size());
    for (unsigned int i = 0; i < m_lstChildren.size(); ++i)
    {
        keys.emplace_back(i);
    }
    return keys;
}

} // namespace Zarn
