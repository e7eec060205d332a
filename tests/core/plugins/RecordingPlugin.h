#pragma once

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>

#include <string>

// An in-process plug-in that records what reached its own Init and tells its destruction.
class CRecordingPlugin : public Zarn::CPluginBase
{
public:
    // `destroyed` (lent, may be null) is set by the destructor.
    explicit CRecordingPlugin(std::string tag = "in-process", bool* destroyed = nullptr);
    ~CRecordingPlugin() override;

    using Zarn::CPluginBase::Init;
    void Init(void* context, const Zarn::CValueMap& parameters) override;

    const std::string& Tag() const { return m_strTag; }
    int InitCount() const { return m_nInitCount; }
    const void* LastContext() const { return m_pLastContext; }
    const Zarn::CValueMap& LastParameters() const { return m_mapLastParameters; }

private:
    std::string m_strTag;
    bool* m_pbDestroyed;
    int m_nInitCount = 0;
    const void* m_pLastContext = nullptr;
    Zarn::CValueMap m_mapLastParameters;
};
