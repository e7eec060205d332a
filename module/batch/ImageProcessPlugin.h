#pragma once

#include <Zarn/Plugin/PluginBase.h>

namespace Zarn
{
class CLogger;
class CMessageIdFactory;
class CMessageThread;
} // namespace Zarn

// Runs a process description against one image and behaves towards the rest of the system like a
// single image tool. Created by the module entry as "ImageProcess". Runs in its caller's thread.
// The host objects borrowed in Init are never deleted. Nothing is wrapped: what Init and the
// other operations throw reaches the caller unchanged.
class CImageProcessPlugin : public Zarn::CPluginBase
{
public:
    CImageProcessPlugin();
    ~CImageProcessPlugin() override;

    using Zarn::CPluginBase::Init;
    // Writes nothing: the setup map is left as it is.
    void GetPluginSetup(Zarn::CValueMap& setup) override;
    // Borrows "tmp/logger", "tmp/commthread" and "tmp/messageidfactory".
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    void DeleteData() override;
    void Run(Zarn::CValueMap& data) override;
    void UpdateParameters(const Zarn::CValueMap& message) override;

private:
    Zarn::CMessageIdFactory* m_pMessageIdFactory;
    Zarn::CMessageThread* m_pCommThread;
    Zarn::CLogger* m_pLogger;
};
