#include <Zarn/Value/ValueKey.h>

namespace Zarn
{

namespace
{
const char* FixedKeyText(CValue_Key::EnFixedKey fixedKey)
{
    switch (fixedKey)
    {
    case CValue_Key::fkMeta:
        return "@meta";
    case CValue_Key::fkInvalid:
        break;
    }
    return "";
}
} // namespace

CValue_Key::CValue_Key(const char* text) : m_enKind(kindText), m_strText(text ? text : "") {}

CValue_Key::CValue_Key(const std::string& text) : m_enKind(kindText), m_strText(text) {}

CValue_Key::CValue_Key(const CString& text) : m_enKind(kindText), m_strText(text.StdString()) {}

CValue_Key::CValue_Key(int index)
    : m_enKind(index >= 0 ? kindIndex : kindInvalid),
      m_ulNumber(index >= 0 ? static_cast<unsigned long>(index) : 0),
      m_strText(index >= 0 ? std::to_string(index) : std::string())
{
}

CValue_Key::CValue_Key(unsigned int index)
    : m_enKind(kindIndex), m_ulNumber(index), m_strText(std::to_string(index))
{
}

CValue_Key::CValue_Key(EnFixedKey fixedKey)
    : m_enKind(fixedKey == fkInvalid ? kindInvalid : kindFixed),
      m_ulNumber(static_cast<unsigned long>(fixedKey)), m_strText(FixedKeyText(fixedKey))
{
}

long CValue_Key::AsIndex() const
{
    if (m_enKind == kindIndex)
    {
        return static_cast<long>(m_ulNumber);
    }
    if (m_enKind != kindText || m_strText.empty() || m_strText.size() > 9)
    {
        return -1;
    }
    long lIndex = 0;
    for (char c : m_strText)
    {
        if (c < '0' || c > '9')
        {
            return -1;
        }
        lIndex = lIndex * 10 + (c - '0');
    }
    return lIndex;
}

CValue_Path::CValue_Path(const std::string& path)
{
    size_t nStart = 0;
    while (nStart <= path.size())
    {
        size_t nEnd = path.find('/', nStart);
        if (nEnd == std::string::npos)
        {
            nEnd = path.size();
        }
        if (nEnd > nStart)
        {
            m_lstKeys.emplace_back(path.substr(nStart, nEnd - nStart));
        }
        nStart = nEnd + 1;
    }
}

CValue_Path::CValue_Path(const CValue_Key& key)
{
    if (key.IsValid())
    {
        m_lstKeys.push_back(key);
    }
}

void CValue_Path::Set(const CValue_Key& key0, const CValue_Key& key1, const CValue_Key& key2,
                      const CValue_Key& key3, const CValue_Key& key4, const CValue_Key& key5)
{
    m_lstKeys.clear();
    for (const CValue_Key* pKey : {&key0, &key1, &key2, &key3, &key4, &key5})
    {
        if (!pKey->IsValid())
        {
            break;
        }
        m_lstKeys.push_back(*pKey);
    }
}

std::string CValue_Path::ToString() const
{
    std::string strPath;
    for (const CValue_Key& key : m_lstKeys)
    {
        if (!strPath.empty())
        {
            strPath += '/';
        }
        strPath += key.ToString();
    }
    return strPath;
}

} // namespace Zarn
