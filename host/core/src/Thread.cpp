#include <Zarn/Thread/Thread.h>

#include "InterfaceName.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Log/Logger.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValueScalar.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <system_error>

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

namespace Zarn
{

namespace
{

// Linux keeps 15 characters of a thread name.
constexpr size_t kSystemNameLength = 15;

// Only lowering is open to everybody; a failure leaves the thread at normal priority.
void ApplyPriority(CThread::EnPriority priority)
{
    static constexpr std::array<int, 5> kNiceSteps = {10, 5, 0, -5, -10};
    const int nStep = kNiceSteps[static_cast<size_t>(priority)];
    if (nStep == 0)
    {
        return;
    }
    const id_t tid = static_cast<id_t>(gettid());
    errno = 0;
    const int nNice = getpriority(PRIO_PROCESS, tid);
    if (errno == 0)
    {
        setpriority(PRIO_PROCESS, tid, nNice + nStep);
    }
}

} // namespace

CThread::CThread(EnPriority priority, const char* name)
    : m_enPriority(priority), m_strName(name != nullptr ? name : "")
{
}

CThread::~CThread()
{
    if (m_thread.joinable())
    {
        if (m_thread.get_id() == std::this_thread::get_id())
        {
            // Destroyed from its own body: nobody can join it any more.
            m_thread.detach();
        }
        else
        {
            m_thread.join();
        }
    }
}

bool CThread::TestInterface(const CString& interfaceName)
{
    return Impl::IsInterfaceName(interfaceName, {"IObject", "IPluginObject", "CThread"});
}

bool CThread::Create()
{
    if (m_thread.joinable())
    {
        return false;
    }
    m_bResult.store(false, std::memory_order_release);
    m_bRunning.store(true, std::memory_order_release);
    try
    {
        m_thread = std::thread(&CThread::Body, this);
    }
    catch (const std::system_error&)
    {
        m_bRunning.store(false, std::memory_order_release);
        return false;
    }
    return true;
}

bool CThread::Wait()
{
    if (!m_thread.joinable() || m_thread.get_id() == std::this_thread::get_id())
    {
        return false;
    }
    m_thread.join();
    return true;
}

bool CThread::DispatchMethodCall(const char* method, CValueVector* /*arguments*/,
                                 CValueVector* results)
{
    if (method == nullptr)
    {
        return false;
    }
    bool bResult = false;
    if (std::strcmp(method, "Create") == 0)
    {
        bResult = Create();
    }
    else if (std::strcmp(method, "Wait") == 0)
    {
        bResult = Wait();
    }
    else
    {
        return false;
    }
    if (results != nullptr)
    {
        results->PushBack(new CValueBool(bResult));
    }
    return true;
}

void CThread::Body()
{
    if (!m_strName.IsEmpty())
    {
        const std::string strSystemName = m_strName.StdString().substr(0, kSystemNameLength);
        pthread_setname_np(pthread_self(), strSystemName.c_str());
    }
    ApplyPriority(m_enPriority);
    bool bResult = false;
    try
    {
        bResult = Run();
    }
    catch (const CException& exception)
    {
        DefaultLogger().SetLevel(CLogger::levelError)
            << "Thread '" << m_strName << "' ended by " << exception.FormattedWhat() << "\n";
    }
    catch (const std::exception& exception)
    {
        DefaultLogger().SetLevel(CLogger::levelError)
            << "Thread '" << m_strName << "' ended by " << exception.what() << "\n";
    }
    catch (...)
    {
        DefaultLogger().SetLevel(CLogger::levelError)
            << "Thread '" << m_strName << "' ended by an exception of unknown type\n";
    }
    m_bResult.store(bResult, std::memory_order_release);
    m_bRunning.store(false, std::memory_order_release);
}

} // namespace Zarn
