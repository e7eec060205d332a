#include <Zarn/Value/ValueContainer.h>

#include <Zarn/Exception/Exception.h>

#include <algorithm>

namespace Zarn
{

CValueMap::CValueMap() = default;

CValueMap::CValueMap(const CValueMap& other) : CValueContainerBase()
{
    Copy(other, tfShare, true);
}

CValueMap::CValueMap(const CValue& other)
{
    if (other.Map() == nullptr)
    {
        throw CExBadType(ZARN_LOCATION, &other);
    }
    Copy(other, tfShare, true);
}

CValueMap& CValueMap::operator=(const CValueMap& other)
{
    Copy(other, tfShare, true);
    return *this;
}

CValueMap::~CValueMap() = default;

CValue* CValueMap::Clone(EnTfOwnership strategy) const
{
    std::unique_ptr<CValueMap> pClone(NewObject());
    for (const auto& [key, pChild] : m_mapChildren)
    {
        pClone->m_mapChildren.emplace_hint(pClone->m_mapChildren.end(), key,
                                           std::unique_ptr<CValue>(pChild->Clone(strategy)));
    }
    pClone->CopyMeta(*this, strategy, true);
    return pClone.release();
}

CValue& CValueMap::Copy(const CValue& source, EnTfOwnership strategy, bool bReplaceMeta)
{
    RequireSameKind(source, "Zarn::CValueMap::Copy");
    if (&source == this)
    {
        return *this;
    }
    // Clone everything first, so that a failing child leaves this map unchanged.
    Children children;
    for (const auto& [key, pChild] : static_cast<const CValueMap&>(*source.Map()).m_mapChildren)
    {
        children.emplace_hint(children.end(), key,
                              std::unique_ptr<CValue>(pChild->Clone(strategy)));
    }
    m_mapChildren.swap(children);
    CopyMeta(source, strategy, bReplaceMeta);
    return *this;
}

CValue& CValueMap::Move(CValue& source)
{
    RequireSameKind(source, "Zarn::CValueMap::Move");
    if (&source != this)
    {
        m_mapChildren = std::move(source.Map()->m_mapChildren);
        source.Map()->m_mapChildren.clear();
        MoveMeta(source);
    }
    return *this;
}

// Children compare in key order; both maps keep their keys sorted the same way.
bool CValueMap::Equal(const CValue& other) const
{
    const CValueMap* pOther = other.Map();
    return pOther != nullptr && pOther->m_mapChildren.size() == m_mapChildren.size() &&
           EqualMeta(other) &&
           std::equal(m_mapChildren.begin(), m_mapChildren.end(), pOther->m_mapChildren.begin(),
                      [](const auto& mine, const auto& theirs)
                      { return mine.first == theirs.first && mine.second->Equal(*theirs.second); });
}

bool CValueMap::EqualData(const CValue& other) const
{
    const CValueMap* pOther = other.Map();
    return pOther != nullptr && pOther->m_mapChildren.size() == m_mapChildren.size() &&
           std::equal(m_mapChildren.begin(), m_mapChildren.end(), pOther->m_mapChildren.begin(),
                      [](const auto& mine, const auto& theirs) {
                          return mine.first == theirs.first &&
                                 mine.second->EqualData(*theirs.second);
                      });
}

const CValue* CValueMap::Entry(const CValue_Key& key, bool bRequired) const
{
    return const_cast<CValueMap*>(this)->Entry(key, bRequired);
}

// One level: looked up directly, without building a path, since every receiver calls it.
CValue* CValueMap::Entry(const CValue_Key& key, bool bRequired)
{
    CValue* pChild = ChildAt(key);
    if (pChild == nullptr && bRequired)
    {
        return CValueContainerBase::Entry(CValue_Path(key), true); // throws naming the key
    }
    return pChild;
}

void CValueMap::SetEntry(const CValue_Key& key, CValue* value)
{
    std::unique_ptr<CValue> pValue(value);
    if (!key.IsValid())
    {
        throw CExBadParam(ZARN_LOCATION, "A map entry needs a valid key");
    }
    StoreChild(key, std::move(pValue));
}

bool CValueMap::HasEntry(const CValue_Key& key, EnValType kind) const
{
    return CValueContainerBase::HasEntry(key, kind);
}

bool CValueMap::HasEntry(const CValue_Key& key, const std::type_info& valueClass) const
{
    return CValueContainerBase::HasEntry(key, valueClass);
}

bool CValueMap::HasEntry(const CValue_Key& key) const
{
    return m_mapChildren.count(key) != 0;
}

bool CValueMap::RemoveEntry(const CValue_Key& key)
{
    return EraseChild(key);
}

CValue* CValueMap::Detach(const CValue_Key& key)
{
    auto it = m_mapChildren.find(key);
    if (it == m_mapChildren.end())
    {
        return nullptr;
    }
    CValue* pChild = it->second.release();
    m_mapChildren.erase(it);
    return pChild;
}

unsigned int CValueMap::Size() const
{
    return static_cast<unsigned int>(m_mapChildren.size());
}

CValue_Key CValueMap::Find(const char* text, const CValue_Key& after)
{
    return CValueContainerBase::Find(text, after);
}

CValue_Key CValueMap::Find(const CValue& value, const CValue_Key& after)
{
    auto it = after.IsValid() ? m_mapChildren.upper_bound(after) : m_mapChildren.begin();
    for (; it != m_mapChildren.end(); ++it)
    {
        if (it->second->Equal(value))
        {
            return it->first;
        }
    }
    return CValue_Key();
}

bool CValueMap::IsEmpty() const
{
    return m_mapChildren.empty();
}

void CValueMap::Clear()
{
    m_mapChildren.clear();
}

std::list<CValue_Key> CValueMap::Keys()
{
    std::list<CValue_Key> keys;
    for (const auto& entry : m_mapChildren)
    {
        keys.push_back(entry.first);
    }
    return keys;
}

bool CValueMap::IsSubset(const CValueMap& other) const
{
    for (const auto& [key, pChild] : m_mapChildren)
    {
        auto it = other.m_mapChildren.find(key);
        if (it == other.m_mapChildren.end() || !pChild->Equal(*it->second))
        {
            return false;
        }
    }
    return true;
}

CValueMap::const_iterator CValueMap::begin() const
{
    return const_iterator(this, m_mapChildren.begin());
}

CValueMap::const_iterator CValueMap::end() const
{
    return const_iterator(this, m_mapChildren.end());
}

CValue& CValueMap::CopyNewEntries(const CValue& source, EnTfOwnership strategy)
{
    RequireSameKind(source, "Zarn::CValueMap::CopyNewEntries");
    if (&source == this)
    {
        return *this;
    }
    for (const auto& [key, pChild] : source.Map()->m_mapChildren)
    {
        if (m_mapChildren.count(key) == 0)
        {
            m_mapChildren.emplace(key, std::unique_ptr<CValue>(pChild->Clone(strategy)));
        }
    }
    return *this;
}

CValue* CValueMap::ChildAt(const CValue_Key& key) const
{
    auto it = m_mapChildren.find(key);
    return it == m_mapChildren.end() ? nullptr : it->second.get();
}

void CValueMap::StoreChild(const CValue_Key& key, std::unique_ptr<CValue> value)
{
    // The old child goes only after the new one is in: it may own the new value's pointee.
    std::unique_ptr<CValue>& slot = m_mapChildren[key];
    std::unique_ptr<CValue> pOld = std::move(slot);
    slot = std::move(value);
}

bool CValueMap::EraseChild(const CValue_Key& key)
{
    auto it = m_mapChildren.find(key);
    if (it == m_mapChildren.end())
    {
        return false;
    }
    std::unique_ptr<CValue> pOld = std::move(it->second);
    m_mapChildren.erase(it);
    return true;
}

std::vector<CValue_Key> CValueMap::ChildKeys() const
{
    std::vector<CValue_Key> keys;
    keys.reserve(m_mapChildren.size());
    for (const auto& entry : m_mapChildren)
    {
        keys.push_back(entry.first);
    }
    return keys;
}

CValueMap* CValueMap::NewObject() const
{
    return new CValueMap();
}

const CValue_Key& CValueMap::_Deref(const const_iterator& it) const
{
    return it.m_it->first;
}

const CValue* CValueMap::_Deref(const const_iterator& it, int) const
{
    return it.m_it->second.get();
}

void CValueMap::_IncDec(const_iterator& it, bool bForward) const
{
    if (bForward)
    {
        ++it.m_it;
    }
    else
    {
        --it.m_it;
    }
}

} // namespace Zarn
