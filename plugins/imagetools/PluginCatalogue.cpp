#include "PluginCatalogue.h"

#include <map>

namespace
{

// A function-local map: registrations run during static initialisation, in any order.
std::map<std::string, CPluginCatalogue::Creator>& Creators()
{
    static std::map<std::string, CPluginCatalogue::Creator> s_mapCreators;
    return s_mapCreators;
}

} // namespace

void CPluginCatalogue::Register(const std::string& name, Creator creator)
{
    Creators().emplace(name, std::move(creator));
}

Zarn::CPluginBase* CPluginCatalogue::Create(const std::string& name)
{
    const auto it = Creators().find(name);
    return it == Creators().end() ? nullptr : it->second();
}

bool CPluginCatalogue::Knows(const std::string& name)
{
    return Creators().count(name) != 0;
}
