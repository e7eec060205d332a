#pragma once

#include <Zarn/Export.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/String/String.h>

#include <atomic>
#include <thread>

namespace Zarn
{

class CValueVector;

// A worker thread whose body is the derived class's Run. The owner starts it with Create and
// must Wait for it before destroying the object: the destructor joins a thread still running,
// but by then the derived part, which Run uses, is already gone.
//
// Create, Wait and the destructor belong to the owning thread; Result and IsRunning may be
// asked from anywhere. An exception that leaves Run is logged at CLogger::levelError and counts
// as a false result.
//
// Contract: owns its std::thread; what Run works on belongs to the derived class. Create reports
// a failed start by its result. Sends and handles no messages (a tool thread hands its result
// back through the communication thread itself).
class ZARN_CORE_API CThread : public IPluginObject
{
public:
    enum EnPriority
    {
        priLowest = 0,
        priLow = 1,
        priNormal = 2,
        priHigh = 3,
        priHighest = 4,
    };

    // The name (may be null) also names the system thread, cut to 15 characters. Priorities
    // below normal lower the thread's scheduling priority; higher ones need privileges the
    // process usually lacks and are then left at normal.
    CThread(EnPriority priority, const char* name);
    CThread(const CThread&) = delete;
    CThread& operator=(const CThread&) = delete;
    ~CThread() override;

    // True for "CThread", "IPluginObject" and "IObject", with or without "Zarn::".
    virtual bool TestInterface(const CString& interfaceName);

    // Starts the thread; false when it is still running or not yet waited for, or the start
    // failed.
    bool Create();
    // Joins the thread; false when there is none to join (or when called from the thread).
    bool Wait();
    // What Run returned, once the thread has ended.
    bool Result() const { return m_bResult.load(std::memory_order_acquire); }
    bool IsRunning() const { return m_bRunning.load(std::memory_order_acquire); }
    const CString& Name() const { return m_strName; }
    EnPriority Priority() const { return m_enPriority; }

protected:
    // The thread body.
    virtual bool Run() = 0;
    // Calls a method by name for scripted hosts: "Create" and "Wait" push their CValueBool
    // result onto `results` (when given). False for an unknown method.
    virtual bool DispatchMethodCall(const char* method, CValueVector* arguments,
                                    CValueVector* results);

private:
    void Body();

    const EnPriority m_enPriority;
    const CString m_strName;
    std::thread m_thread;
    std::atomic<bool> m_bResult{false};
    std::atomic<bool> m_bRunning{false};
};

} // namespace Zarn
