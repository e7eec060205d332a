#pragma once

#include <Zarn/Value/Value.h>

#include <list>
#include <map>
#include <memory>
#include <vector>

namespace Zarn
{

// Operations that maps and vectors share: access by path and typed getters by key.
//
// Ownership: SetEntry takes the value (also when it throws); Entry lends; RemoveEntry deletes.
// A text path part names a map key, or a vector index when it is made of decimal digits.
//
// Contract: owns its children (std::unique_ptr inside), lends them through Entry; thread and
// errors as CValue. No messages.
class ZARN_CORE_API CValueContainerBase : public CValue
{
public:
    // The child at the path, lent. Missing: throws CExBadParam naming the path when bRequired,
    // else returns null.
    CValue* Entry(const CValue_Path& path, bool bRequired);
    const CValue* Entry(const CValue_Path& path, bool bRequired) const;
    // A text names a path; `0` or another integer stays a key (an index), never a null text.
    template <PathText TText> CValue* Entry(TText path, bool bRequired)
    {
        return Entry(CValue_Path(path), bRequired);
    }
    template <PathText TText> const CValue* Entry(TText path, bool bRequired) const
    {
        return Entry(CValue_Path(path), bRequired);
    }

    // Stores the value at the path, replacing and deleting an existing child. Missing maps on
    // the way are made when bCreatePath. A failure is reported in *error when error is not
    // null (the value is then deleted), else thrown as CExBadParam.
    void SetEntry(const CValue_Path& path, CValue* value, bool bCreatePath = true,
                  EnErrType* error = nullptr);
    template <PathText TText>
    void SetEntry(TText path, CValue* value, bool bCreatePath = true, EnErrType* error = nullptr)
    {
        SetEntry(CValue_Path(path), value, bCreatePath, error);
    }

    bool HasEntry(const CValue_Path& path) const;
    template <PathText TText> bool HasEntry(TText path) const
    {
        return HasEntry(CValue_Path(path));
    }
    bool RemoveEntry(const CValue_Path& path);
    template <PathText TText> bool RemoveEntry(TText path)
    {
        return RemoveEntry(CValue_Path(path));
    }

    // Typed getters. Without a default a missing key throws CExBadParam; with one it yields the
    // default. A present entry of another kind always throws CExBadType.
    CString& EntryString(const CValue_Key& key);
    const CString& EntryString(const CValue_Key& key) const;
    const CString& EntryString(const CValue_Key& key, const CString& defaultValue) const;
    long EntryLong(const CValue_Key& key) const;
    long EntryLong(const CValue_Key& key, long defaultValue) const;
    double EntryDouble(const CValue_Key& key, double defaultValue) const;
    bool EntryBool(const CValue_Key& key) const;
    bool EntryBool(const CValue_Key& key, bool defaultValue) const;

    // Present and of that kind, or of that value class.
    virtual bool HasEntry(const CValue_Key& key, EnValType kind) const;
    virtual bool HasEntry(const CValue_Key& key, const std::type_info& valueClass) const;
    // The key of the first child after `after` (from the start when `after` is invalid) whose
    // text equals `text`; an invalid key when there is none.
    virtual CValue_Key Find(const char* text, const CValue_Key& after);

    // Access to one level, implemented by the map and the vector.
    virtual CValue* ChildAt(const CValue_Key& key) const = 0;
    virtual void StoreChild(const CValue_Key& key, std::unique_ptr<CValue> value) = 0;
    virtual bool EraseChild(const CValue_Key& key) = 0;
    virtual std::vector<CValue_Key> ChildKeys() const = 0;

protected:
    // Walks all but the last key of the path; null when a part is missing or not a container.
    CValueContainerBase* ParentOf(const CValue_Path& path, bool bCreatePath, EnErrType* error);
};

// Keyed children, ordered by key.
class ZARN_CORE_API CValueMap : public CValueContainerBase
{
    using Children = std::map<CValue_Key, std::unique_ptr<CValue>>;

public:
    class ZARN_CORE_API const_iterator
    {
    public:
        const CValue_Key& Key() const { return m_it->first; }
        const CValue* Value() const { return m_it->second.get(); }
        const_iterator& operator++()
        {
            m_pMap->_IncDec(*this, true);
            return *this;
        }
        friend bool operator==(const const_iterator& left, const const_iterator& right)
        {
            return left.m_it == right.m_it;
        }

    private:
        friend class CValueMap;
        const_iterator(const CValueMap* pMap, Children::const_iterator it) : m_pMap(pMap), m_it(it)
        {
        }
        const CValueMap* m_pMap;
        Children::const_iterator m_it;
    };

    CValueMap();
    // Deep copies; owning pointer values among the children are shared, not owned, by the copy.
    CValueMap(const CValueMap& other);
    // From a value that must be a map (CExBadType otherwise).
    explicit CValueMap(const CValue& other);
    CValueMap& operator=(const CValueMap& other);
    ~CValueMap() override;

    // CValue
    const CValueMap* Map() const override { return this; }
    CValueMap* Map() override { return this; }
    CValue* Clone(EnTfOwnership strategy) const override;
    CValue& Copy(const CValue& source, EnTfOwnership strategy, bool bReplaceMeta) override;
    CValue& Move(CValue& source) override;
    bool Equal(const CValue& other) const override;
    bool EqualData(const CValue& other) const override;
    EnValType GenericType() const override { return vtMap; }

    // Map operations in the host's slot order.
    using CValueContainerBase::Entry;
    using CValueContainerBase::HasEntry;
    using CValueContainerBase::RemoveEntry;
    using CValueContainerBase::SetEntry;
    virtual const CValue* Entry(const CValue_Key& key, bool bRequired) const;
    virtual CValue* Entry(const CValue_Key& key, bool bRequired);
    // Takes the value; an existing child of that key is deleted.
    virtual void SetEntry(const CValue_Key& key, CValue* value);
    bool HasEntry(const CValue_Key& key, EnValType kind) const override;
    bool HasEntry(const CValue_Key& key, const std::type_info& valueClass) const override;
    virtual bool HasEntry(const CValue_Key& key) const;
    virtual bool RemoveEntry(const CValue_Key& key);
    // Removes the child without deleting it; the caller owns it. Null when there is none.
    virtual CValue* Detach(const CValue_Key& key);
    virtual unsigned int Size() const;
    CValue_Key Find(const char* text, const CValue_Key& after) override;
    // The key of the first child after `after` that is Equal to the value.
    virtual CValue_Key Find(const CValue& value, const CValue_Key& after);
    virtual bool IsEmpty() const;
    virtual void Clear();
    virtual std::list<CValue_Key> Keys();
    // Every child of this map is in the other, Equal.
    virtual bool IsSubset(const CValueMap& other) const;
    virtual const_iterator begin() const;
    virtual const_iterator end() const;

    // Copies the source's children whose keys this map does not have yet; the source must be a map.
    CValue& CopyNewEntries(const CValue& source, EnTfOwnership strategy);

    // CValueContainerBase
    CValue* ChildAt(const CValue_Key& key) const override;
    void StoreChild(const CValue_Key& key, std::unique_ptr<CValue> value) override;
    bool EraseChild(const CValue_Key& key) override;
    std::vector<CValue_Key> ChildKeys() const override;

protected:
    virtual CValueMap* NewObject() const;
    virtual const CValue_Key& _Deref(const const_iterator& it) const;
    virtual const CValue* _Deref(const const_iterator& it, int) const;
    virtual void _IncDec(const_iterator& it, bool bForward) const;

private:
    Children m_mapChildren;
};

// Indexed children 0 .. Size()-1.
class ZARN_CORE_API CValueVector : public CValueContainerBase
{
public:
    CValueVector();
    CValueVector(const CValueVector& other);
    CValueVector& operator=(const CValueVector& other);
    ~CValueVector() override;

    // CValue
    const CValueVector* Vector() const override { return this; }
    CValueVector* Vector() override { return this; }
    CValue* Clone(EnTfOwnership strategy) const override;
    CValue& Copy(const CValue& source, EnTfOwnership strategy, bool bReplaceMeta) override;
    CValue& Move(CValue& source) override;
    bool Equal(const CValue& other) const override;
    bool EqualData(const CValue& other) const override;
    EnValType GenericType() const override { return vtVector; }

    using CValueContainerBase::Entry;
    using CValueContainerBase::HasEntry;
    using CValueContainerBase::RemoveEntry;
    using CValueContainerBase::SetEntry;
    virtual const CValue* Entry(const CValue_Key& key, bool bRequired) const;
    virtual CValue* Entry(const CValue_Key& key, bool bRequired);
    // Replaces the element at an index below Size(), or appends at index Size().
    virtual void SetEntry(const CValue_Key& key, CValue* value);
    virtual bool HasEntry(const CValue_Key& key) const;
    // Removes the element; later elements move down by one.
    virtual bool RemoveEntry(const CValue_Key& key);
    virtual CValue* Detach(const CValue_Key& key);
    virtual unsigned int Size() const;
    CValue_Key Find(const char* text, const CValue_Key& after) override;
    // Appends; the vector takes the value.
    virtual void PushBack(CValue* value);

    // CValueContainerBase
    CValue* ChildAt(const CValue_Key& key) const override;
    void StoreChild(const CValue_Key& key, std::unique_ptr<CValue> value) override;
    bool EraseChild(const CValue_Key& key) override;
    std::vector<CValue_Key> ChildKeys() const override;

private:
    std::vector<std::unique_ptr<CValue>> m_lstChildren;
};

} // namespace Zarn
