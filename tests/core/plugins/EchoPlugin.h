#pragma once

#include <Zarn/Plugin/PluginBase.h>

#include <string>

// The plug-in of the test modules. Run reports what the plug-in saw, so that the tests can check
// calls made across the module boundary:
//   "Module" (the module's tag), "Instance", "InitCount", "ContextWasNull", "ParameterCount",
//   "Result" (an owned pointer to a CValueMap holding "Module"), "Record" (an owned SEchoRecord).
// Init takes an optional "DestroyedFlag" (a pointer value to a bool) that the destructor sets.
class CEchoPlugin : public Zarn::CPluginBase
{
public:
    explicit CEchoPlugin(std::string tag);
    ~CEchoPlugin() override;

    using Zarn::CPluginBase::Init;
    bool TestInterface(const Zarn::CString& interfaceName) override;
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    void Run(Zarn::CValueMap& data) override;

private:
    std::string m_strTag;
    long m_nInitCount = 0;
    bool m_bContextWasNull = false;
    long m_nParameterCount = -1;
    bool* m_pbDestroyed = nullptr; // lent by the test
};
