// A real tool module, built with the project's ordinary flags and loaded by the plug-in loader,
// whose run operation fails the way broken tools do. Its description's "crash" entry chooses:
//   "null"      writes through a null pointer (an access violation)
//   "divide"    divides an integer by zero
//   "recurse"   recurses until the stack is exhausted
//   "throw"     throws std::runtime_error("bad size")
//   "bad_alloc" throws std::bad_alloc
//   "interrupt" raises SIGINT on its own thread, then goes on
// anything else returns normally with "output/done" = true.
// "CrashDialog" is a configuration plug-in that writes through a null pointer when asked.
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

class CCrashTool : public Zarn::CPluginBase
{
public:
    using Zarn::CPluginBase::Init;
    void Init(void* /*context*/, const Zarn::CValueMap& parameters) override
    {
        m_strCrash =
            parameters.EntryString(Zarn::CValue_Key("crash"), Zarn::CString("")).StdString();
    }

    void Run(Zarn::CValueMap& data) override
    {
        if (m_strCrash == "null")
        {
            *g_pNothing = 1;
        }
        else if (m_strCrash == "divide")
        {
            volatile int nOne = 1;
            volatile int nResult = nOne / g_nZero;
            (void)nResult;
        }
        else if (m_strCrash == "recurse")
        {
            // Nothing may be allocated before the recursion: the jump out would leak it.
            const int nDepth = Recurse(0);
            data.SetEntry(Zarn::CValue_Key("depth"), new Zarn::CValueLong(nDepth));
        }
        else if (m_strCrash == "throw")
        {
            throw std::runtime_error("bad size");
        }
        else if (m_strCrash == "bad_alloc")
        {
            throw std::bad_alloc();
        }
        else if (m_strCrash == "interrupt")
        {
            std::raise(SIGINT);
        }
        data.SetEntry(Zarn::CValue_Path("output/done"), new Zarn::CValueBool(true));
    }

private:
    std::string m_strCrash;
};

class CCrashDialog : public Zarn::CPluginBase
{
public:
    void Run(Zarn::CValueMap& /*data*/) override { *g_pNothing = 2; }
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
    return pPlugin;
}
