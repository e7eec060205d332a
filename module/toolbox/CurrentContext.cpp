#include "toolbox/CurrentContext.h"

#include <mutex>

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

} // namespace

void SetCurrentContext(const std::string& context)
{
    SCurrentContext& current = Context();
    const std::lock_guard<std::mutex> lock(current.m_mutex);
    current.m_strText = context;
}

std::string CurrentContext()
{
    SCurrentContext& current = Context();
    const std::lock_guard<std::mutex> lock(current.m_mutex);
    return current.m_strText;
}

} // namespace DocView
