// A real tool module, built with the project's ordinary flags and loaded by the plug-in loader,
// whose run operation fails the way broken tools do. Its description's "crash" entry chooses:
//   "null"      writes through a null pointer (an access violation)
//   "divide"    divides an integer by zero
//   "recurse"   recurses until the stack is exhausted
//   "throw"     throws std::runtime_error("bad size")
//   "bad_alloc" throws std::bad_alloc
//   "interrupt" raises SIGINT on its own thread, then goes on
// anything else returns normally with "output/done" = true.
// "crash at" moves the failure out of the run (which then returns normally):
//   "Init"           the tool's Init
//   "load"           the tool's UpdateParameters with its description, while it is loaded
//   "TestParameters" TestParameters, when the toolbox's context says "fault" = true
//   "input"          UpdateParameters with the toolbox's input, when the context says "fault"
//   "config Init"    the configuration plug-in's Init
//   "config input"   the configuration plug-in's UpdateParameters, when the context says "fault"
// "CrashDialog" is a configuration plug-in whose run writes through a null pointer unless
// "crash at" names another of its operations.
// "CrashView" is a view whose run (its description) writes through a null pointer.
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValueScalar.h>

#include <csignal>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>

namespace
{

// Read through volatile so that the compiler can neither fold nor trap the faults at build time.
int* volatile g_pNothing = nullptr;
volatile int g_nZero = 0;
volatile bool g_bStop = false;

int Recurse(int depth)
{
    volatile char frame[512];
    frame[0] = static_cast<char>(depth);
    if (g_bStop)
    {
        return frame[0];
    }
    // Used after the call, so the call is no tail call and every level keeps its frame.
    return Recurse(depth + 1) + frame[0];
}

// Fails the way `crash` says; returns only for a kind that does not fail.
void Crash(const std::string& crash)
{
    if (crash == "null")
    {
        *g_pNothing = 1;
    }
    else if (crash == "divide")
    {
        volatile int nOne = 1;
        volatile int nResult = nOne / g_nZero;
        (void)nResult;
    }
    else if (crash == "throw")
    {
        throw std::runtime_error("bad size");
    }
}

std::string CrashAt(const Zarn::CValueMap& parameters)
{
    return parameters.EntryString(Zarn::CValue_Key("crash at"), Zarn::CString("")).StdString();
}

// The toolbox hands its picture as "input"; the test asks for the fault through the context.
bool FaultAsked(const Zarn::CValueMap& message)
{
    const Zarn::CValue* pFault = message.Entry("input/context/context/fault", false);
    return pFault != nullptr && pFault->GenericType() == Zarn::CValue::vtBool && pFault->Bool();
}

// A plug-in that faults where its Init parameters say: "crash" names the fault, "crash at" the
// place; `initPlace` is the "crash at" that faults in Init itself.
class CCrashingPlugin : public Zarn::CPluginBase
{
public:
    using Zarn::CPluginBase::Init;
    void Init(void* /*context*/, const Zarn::CValueMap& parameters) override
    {
        m_strCrash =
            parameters.EntryString(Zarn::CValue_Key("crash"), Zarn::CString("")).StdString();
        m_strCrashAt = CrashAt(parameters);
        if (m_strCrashAt == m_szInitPlace)
        {
            Crash(m_strCrash);
        }
    }

protected:
    explicit CCrashingPlugin(const char* initPlace) : m_szInitPlace(initPlace) {}

    std::string m_strCrash;
    std::string m_strCrashAt;

private:
    const char* m_szInitPlace;
};

class CCrashTool : public CCrashingPlugin
{
public:
    CCrashTool() : CCrashingPlugin("Init") {}

    void UpdateParameters(const Zarn::CValueMap& message) override
    {
        if ((m_strCrashAt == "load" && message.HasEntry(Zarn::CValue_Key("callaction"))) ||
            (m_strCrashAt == "input" && FaultAsked(message)))
        {
            Crash(m_strCrash);
        }
    }

    bool TestParameters(const Zarn::CValueMap& parameters) override
    {
        if (m_strCrashAt == "TestParameters" && FaultAsked(parameters))
        {
            Crash(m_strCrash);
        }
        return true;
    }

    void Run(Zarn::CValueMap& data) override
    {
        if (!m_strCrashAt.empty())
        {
            // Fails elsewhere; the run itself works.
            data.SetEntry(Zarn::CValue_Path("output/done"), new Zarn::CValueBool(true));
            return;
        }
        if (m_strCrash == "recurse")
        {
            // Nothing may be allocated before the recursion: the jump out would leak it.
            const int nDepth = Recurse(0);
            data.SetEntry(Zarn::CValue_Key("depth"), new Zarn::CValueLong(nDepth));
        }
        else if (m_strCrash == "bad_alloc")
        {
            throw std::bad_alloc();
        }
        else if (m_strCrash == "interrupt")
        {
            std::raise(SIGINT);
        }
        else
        {
            Crash(m_strCrash); // the null write, the division and the thrown bad size
        }
        data.SetEntry(Zarn::CValue_Path("output/done"), new Zarn::CValueBool(true));
    }
};

class CCrashDialog : public CCrashingPlugin
{
public:
    CCrashDialog() : CCrashingPlugin("config Init") {}

    void UpdateParameters(const Zarn::CValueMap& message) override
    {
        if (m_strCrashAt == "config input" && FaultAsked(message))
        {
            Crash(m_strCrash);
        }
    }

    void Run(Zarn::CValueMap& data) override
    {
        if (m_strCrashAt.rfind("config ", 0) != 0)
        {
            *g_pNothing = 2;
        }
        // Configured silently: the tool gets new parameters.
        data.SetEntry(Zarn::CValue_Key("parameters"), new Zarn::CValueMap);
    }
};

class CCrashView : public Zarn::CPluginBase
{
public:
    void Run(Zarn::CValueMap& /*data*/) override { *g_pNothing = 3; }
};

} // namespace

extern "C" __attribute__((visibility("default"))) void* CreatePluginInstanceEx(const char* name)
{
    if (name == nullptr)
    {
        return nullptr;
    }
    Zarn::CPluginBase* pPlugin = nullptr;
    if (std::string_view(name) == "CrashTool")
    {
        pPlugin = new CCrashTool;
    }
    else if (std::string_view(name) == "CrashDialog")
    {
        pPlugin = new CCrashDialog;
    }
    else if (std::string_view(name) == "CrashView")
    {
        pPlugin = new CCrashView;
    }
    return pPlugin;
}
