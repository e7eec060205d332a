#pragma once

#include <Zarn/Export.h>
#include <Zarn/String/String.h>

#include <compare>
#include <string>
#include <type_traits>
#include <vector>

namespace Zarn
{

// A C text used where a key or a path is expected.
template <class T>
concept PathText = std::is_same_v < std::decay_t<T>,
const char* > || std::is_same_v<std::decay_t<T>, char*>;

// Names one child of a container: a text key of a map, an index of a vector, or a fixed key of
// the framework's own. A default-constructed key is invalid; Find returns it for "not found".
//
// Contract: a value type owning its text; one thread at a time. No messages.
class ZARN_CORE_API CValue_Key
{
public:
    enum EnFixedKey
    {
        fkInvalid = 0,
        fkMeta = 1,
    };

    CValue_Key() = default;
    CValue_Key(const char* text);
    CValue_Key(const std::string& text);
    CValue_Key(const CString& text);
    CValue_Key(int index);
    CValue_Key(unsigned int index);
    CValue_Key(EnFixedKey fixedKey);

    bool IsValid() const { return m_enKind != kindInvalid; }
    bool IsIndex() const { return m_enKind == kindIndex; }
    bool IsText() const { return m_enKind == kindText; }
    bool IsFixed() const { return m_enKind == kindFixed; }

    // A vector index: the index itself, or a text key made only of decimal digits. -1 otherwise.
    long AsIndex() const;
    const char* ToString() const { return m_strText.c_str(); }

    friend bool operator==(const CValue_Key&, const CValue_Key&) = default;
    // Inline: every map lookup compares keys, and message receivers look up keys constantly.
    friend std::strong_ordering operator<=>(const CValue_Key& left, const CValue_Key& right)
    {
        if (left.m_enKind != right.m_enKind)
        {
            return left.m_enKind <=> right.m_enKind;
        }
        if (left.m_enKind == kindText)
        {
            return left.m_strText.compare(right.m_strText) <=> 0;
        }
        return left.m_ulNumber <=> right.m_ulNumber;
    }

private:
    enum EnKind
    {
        kindInvalid,
        kindIndex,
        kindText,
        kindFixed,
    };

    EnKind m_enKind = kindInvalid;
    unsigned long m_ulNumber = 0; // index or fixed key
    std::string m_strText;        // the key's text, also for indices ("3") and fixed keys
};

// Names a child several levels down: keys joined by "/" ("data/message" is the child "message"
// of the child "data"). Empty parts are skipped.
class ZARN_CORE_API CValue_Path
{
public:
    CValue_Path() = default;
    // Only real texts: a literal 0 must stay an index key, never become a null path text.
    template <PathText TText> CValue_Path(TText path) : CValue_Path(std::string(path ? path : ""))
    {
    }
    explicit CValue_Path(const std::string& path);
    CValue_Path(const CValue_Key& key);

    // Up to six keys; trailing keys left invalid are not part of the path.
    void Set(const CValue_Key& key0, const CValue_Key& key1 = {}, const CValue_Key& key2 = {},
             const CValue_Key& key3 = {}, const CValue_Key& key4 = {}, const CValue_Key& key5 = {});

    const std::vector<CValue_Key>& Keys() const { return m_lstKeys; }
    size_t Size() const { return m_lstKeys.size(); }
    bool IsEmpty() const { return m_lstKeys.empty(); }
    std::string ToString() const;

private:
    std::vector<CValue_Key> m_lstKeys;
};

} // namespace Zarn
