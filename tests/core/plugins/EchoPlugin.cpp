#include "EchoPlugin.h"

#include "EchoRecord.h"

#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <utility>

CEchoPlugin::CEchoPlugin(std::string tag) : m_strTag(std::move(tag)) {}

CEchoPlugin::~CEchoPlugin()
{
    if (m_pbDestroyed != nullptr)
    {
        *m_pbDestroyed = true;
    }
}

bool CEchoPlugin::TestInterface(const Zarn::CString& interfaceName)
{
    return interfaceName == Zarn::CString("IEcho") || CPluginBase::TestInterface(interfaceName);
}

void CEchoPlugin::Init(void* context, const Zarn::CValueMap& parameters)
{
    ++m_nInitCount;
    m_bContextWasNull = context == nullptr;
    m_nParameterCount = static_cast<long>(parameters.Size());
    if (parameters.HasEntry("DestroyedFlag"))
    {
        m_pbDestroyed = Zarn::UnwrapPointer<bool>(
            const_cast<Zarn::CValue*>(parameters.Entry("DestroyedFlag", true)));
    }
}

void CEchoPlugin::Run(Zarn::CValueMap& data)
{
    data.SetEntry("Module", new Zarn::CValueString(m_strTag.c_str()));
    data.SetEntry("Instance", new Zarn::CValueString(Instance()));
    data.SetEntry("InitCount", new Zarn::CValueLong(m_nInitCount));
    data.SetEntry("ContextWasNull", new Zarn::CValueBool(m_bContextWasNull));
    data.SetEntry("ParameterCount", new Zarn::CValueLong(m_nParameterCount));

    auto pResult = std::make_unique<Zarn::CValueMap>();
    pResult->SetEntry("Module", new Zarn::CValueString(m_strTag.c_str()));
    data.SetEntry("Result", new Zarn::CValueOwnedPointer<Zarn::CValueMap>(pResult.release()));
    data.SetEntry("Record", new Zarn::CValueOwnedPointer<SEchoRecord>(
                                new SEchoRecord{m_strTag, m_nInitCount}));
}
