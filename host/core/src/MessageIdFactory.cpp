#include <Zarn/Message/MessageIdFactory.h>

#include <Zarn/Exception/Exception.h>

namespace Zarn
{

CMessageIdFactory::CMessageIdFactory() = default;

CMessageIdFactory::~CMessageIdFactory() = default;

int CMessageIdFactory::GetMessageId(const char* name)
{
    if (name == nullptr || *name == '\0')
    {
        throw CExBadParam(ZARN_LOCATION, "A message needs a non-empty name");
    }
    const std::string_view strName(name);
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto it = m_mapIds.find(strName);
    if (it != m_mapIds.end())
    {
        return it->second;
    }
    m_lstNames.emplace_back(strName);
    const int nId = static_cast<int>(m_lstNames.size());
    try
    {
        m_mapIds.emplace(m_lstNames.back(), nId);
    }
    catch (...)
    {
        m_lstNames.pop_back();
        throw;
    }
    return nId;
}

const char* CMessageIdFactory::GetMessageName(int id) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (id < 1 || static_cast<size_t>(id) > m_lstNames.size())
    {
        return "";
    }
    return m_lstNames[static_cast<size_t>(id) - 1].c_str();
}

} // namespace Zarn
