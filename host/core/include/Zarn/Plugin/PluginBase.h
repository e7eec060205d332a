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
//
// Threads: every operation runs on the thread that created the plug-in (the GUI thread in the
// desktop program, the caller's thread in the batch runner), except Run, which the toolbox calls
// on a tool thread of its own for a threaded tool.
//
// Ownership: whoever creates a plug-in (GetNewPluginInstance) owns it and ends it by calling
// DeleteData and then the virtual destructor; the destructor alone releases nothing the plug-in
// lends to others. Maps passed in are lent for the call; what a plug-in writes into `setup` or
// `data` belongs to the caller's map.
//
// Throwing: any operation may throw; a plug-in of this system throws Zarn::CException (or a
// class derived from it), and the module's plug-ins wrap Init and UpdateParameters so that one
// CException naming the operation leaves them. What the callers do with a throw:
//   - the module entry (CreatePluginInstanceEx, with the constructor) runs under the loader's
//     native-fault guard: a fault there is logged once at level 4 and the module is not asked
//     again; the look-up answers null;
//   - Init: the desktop program's host session ends every plug-in made so far (DeleteData,
//     destructor, last made first) and refuses to start, naming the configuration entry and the
//     exception; the batch runner's plug-in executor releases the plug-in and ends the process
//     with the exception;
//   - UpdateParameters as a message handler: the communication thread catches everything, logs
//     it at level 4 with the message and the receiver, and goes on with the next receiver; the
//     plug-in executor turns a throw into "Plugin did not accept parameter set
//     (UpdateParameters returned an error).";
//   - Run: the plug-in executor releases the plug-in and passes the exception on; on a tool
//     thread (also a native fault there) the error is recorded in the tool's output, which comes
//     back with ACTIVITY_STOP and is shown to the user by the toolbox;
//   - TestParameters: the toolbox stops checking its tools and rethrows one CException naming
//     the tool (a natively faulted tool is loaded afresh); the executor passes it on;
//   - DeleteData at shut-down: the host session logs a std::exception at level 4 and still
//     destroys the plug-in.
// The destructor must not throw.
//
// The base owns only the instance name; its default operations throw nothing and send no
// messages. A plug-in receives every delivered message through UpdateParameters.
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
    // Default: nothing.
    virtual void Run(CValueMap& data);
    // Whether the plug-in can work with these parameters. Default: true.
    virtual bool TestParameters(const CValueMap& parameters);
    // The message handler: a map with "id" (CValueLong) and "data" (the message's value), or a
    // parameter map when an owner drives the plug-in directly. Default: nothing.
    virtual void UpdateParameters(const CValueMap& message);
};

} // namespace Zarn
