#include "RecordingPlugin.h"

#include <utility>

CRecordingPlugin::CRecordingPlugin(std::string tag, bool* destroyed)
    : m_strTag(std::move(tag)), m_pbDestroyed(destroyed)
{
}

CRecordingPlugin::~CRecordingPlugin()
{
    if (m_pbDestroyed != nullptr)
    {
        *m_pbDestroyed = true;
    }
}

void CRecordingPlugin::Init(void* context, const Zarn::CValueMap& parameters)
{
    ++m_nInitCount;
    m_pLastContext = context;
    m_mapLastParameters = parameters;
}
