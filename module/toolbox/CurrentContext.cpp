#include "toolbox/CurrentContext.h"

#include <mutex>
#include <optional>

namespace DocView
{

namespace
{

struct SCurrentContext
{
    std::mutex m_mutex;
    std::string m_strText;
};

SCurrentContext& Context()
{
    static SCurrentContext context;
    return context;
}

// What this thread wrote last; empty until it writes.
thread_local std::optional<std::string> t_strOwnText;

} // namespace

void SetCurrentContext(const std::string& context)
{
    t_strOwnText = context;
    SCurrentContext& current = Context();
    const std::lock_guard<std::mutex> lock(current.m_mutex);
    current.m_strText = context;
}

std::string CurrentContext()
{
    if (t_strOwnText)
    {
        return *t_strOwnText;
    }
    SCurrentContext& current = Context();
    const std::lock_guard<std::mutex> lock(current.m_mutex);
    return current.m_strText;
}

} // namespace DocView
