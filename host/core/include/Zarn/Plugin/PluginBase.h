#pragma once

#include <Zarn/Export.h>
#include <Zarn/String/String.h>

namespace Zarn
{

class CValueMap;

// Something with an instance name, given by its creator for logs and diagnostics.
class ZARN_CORE_API IObject
{
public:
    virtual ~IObject();
    virtual void SetInstance(const char* instance);

    const CString& Instance() const { return m_strInstance; }

private:
    CString m_strInstance;
};

// Something the host sets up from a parameter map and asks for its setup record.
class ZARN_CORE_API IPluginObject : public IObject
{
public:
    // Adds the object's setup record ("Version", "PluginType", ...) to the map; default: nothing.
    virtual void GetPluginSetup(CValueMap& setup);
    // Default: the plug-in's own Init with a null context, when the object is a plug-in.
    virtual void Init(const CValueMap* parameters);
};

// The plug-in contract. The virtual operations keep the host's slot order:
//   0 destructor, 1 SetInstance, 2 GetPluginSetup, 3 Init(const CValueMap*), 4 TestInterface,
//   5 Init(context, parameters), 6 DeleteData, 7 Run, 8 TestParameters, 9 UpdateParameters.
// Every operation runs on the GUI thread except Run, which a tool thread may call.
//
// Contract: what a plug-in owns and lends is its own (see each plug-in); the base owns only the
// instance name. The base's default operations throw nothing and send no messages; a plug-in
// receives every delivered message through UpdateParameters.
class ZARN_CORE_API CPluginBase : public IPluginObject
{
public:
    CPluginBase() = default;
    CPluginBase(const CPluginBase&) = delete;
    CPluginBase& operator=(const CPluginBase&) = delete;
    ~CPluginBase() override;

    using IPluginObject::Init;
    // True for the interfaces this object implements ("IObject", "IPluginObject", "CPluginBase",
    // with or without "Zarn::").
    virtual bool TestInterface(const CString& interfaceName);
    // The plug-in's own set-up from its parameter map; `context` belongs to the host and is null
    // whenever a plug-in creates another one. Default: nothing.
    virtual void Init(void* context, const CValueMap& parameters);
    // Releases what the plug-in holds for the host, before its destruction. Default: nothing.
    virtual void DeleteData();
    // Does the plug-in's work and writes its results (or a view's description) into `data`.
    virtual void Run(CValueMap& data);
    // Whether the plug-in can work with these parameters. Default: true.
    virtual bool TestParameters(const CValueMap& parameters);
    // The message handler: a map with "id" (CValueLong) and "data" (the message's value).
    virtual void UpdateParameters(const CValueMap& message);
};

} // namespace Zarn
