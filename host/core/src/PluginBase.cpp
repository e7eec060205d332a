#include <Zarn/Plugin/PluginBase.h>

#include "InterfaceName.h"

#include <Zarn/Value/ValueContainer.h>

#include <array>
#include <string_view>

namespace Zarn
{

IObject::~IObject() = default;

void IObject::SetInstance(const char* instance)
{
    m_strInstance = CString(instance != nullptr ? instance : "");
}

void IPluginObject::GetPluginSetup(CValueMap& /*setup*/) {}

void IPluginObject::Init(const CValueMap* parameters)
{
    // Objects that are not plug-ins have nothing to set up; a plug-in never sees a null map.
    auto* pPlugin = dynamic_cast<CPluginBase*>(this);
    if (pPlugin == nullptr)
    {
        return;
    }
    if (parameters == nullptr)
    {
        const CValueMap emptyParameters;
        pPlugin->Init(nullptr, emptyParameters);
        return;
    }
    pPlugin->Init(nullptr, *parameters);
}

CPluginBase::~CPluginBase() = default;

bool CPluginBase::TestInterface(const CString& interfaceName)
{
    return Impl::IsInterfaceName(interfaceName, {"IObject", "IPluginObject", "CPluginBase"});
}

void CPluginBase::Init(void* /*context*/, const CValueMap& /*parameters*/) {}

void CPluginBase::DeleteData() {}

void CPluginBase::Run(CValueMap& /*data*/) {}

bool CPluginBase::TestParameters(const CValueMap& /*parameters*/)
{
    return true;
}

void CPluginBase::UpdateParameters(const CValueMap& /*message*/) {}

} // namespace Zarn
