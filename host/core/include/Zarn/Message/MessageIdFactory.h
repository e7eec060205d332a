#pragma once

#include <Zarn/Export.h>

#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

namespace Zarn
{

// Hands out the numbers of message names: the same name gets the same id for the life of the
// factory, the first name 1, the next 2 and so on. Thread-safe.
//
// Contract: owns the names; GetMessageName lends a text valid for the factory's life. Throws
// CExBadParam for a null or empty name. Sends and handles no messages itself: it only numbers
// them.
class ZARN_CORE_API CMessageIdFactory
{
public:
    CMessageIdFactory();
    CMessageIdFactory(const CMessageIdFactory&) = delete;
    CMessageIdFactory& operator=(const CMessageIdFactory&) = delete;
    ~CMessageIdFactory();

    // A null or empty name throws CExBadParam.
    int GetMessageId(const char* name);
    // The name of an id handed out, "" for any other; valid as long as the factory lives.
    const char* GetMessageName(int id) const;

private:
    struct SNameHash
    {
        using is_transparent = void;
        size_t operator()(std::string_view name) const noexcept
        {
            return std::hash<std::string_view>{}(name);
        }
    };

    mutable std::mutex m_mutex;
    std::deque<std::string> m_lstNames; // id - 1 → name; a deque never moves its strings
    std::unordered_map<std::string, int, SNameHash, std::equal_to<>> m_mapIds;
};

} // namespace Zarn
