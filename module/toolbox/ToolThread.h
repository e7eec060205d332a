#pragma once

#include <Zarn/String/String.h>
#include <Zarn/Thread/Thread.h>

#include <memory>

namespace Zarn
{
class CException;
class CMessageIdFactory;
class CMessageThread;
class CPluginBase;
class CValueMap;
} // namespace Zarn

// Runs one threaded tool once. The body installs the system-exception translator, calls the
// tool's run operation with a fresh output map that holds "toolthread" (a non-owning pointer to
// this object) and posts that map as the data of "ACTIVITY_STOP", whether the tool succeeded or
// failed. When that message cannot be built or posted (no memory, the registry no longer names
// the host objects), the body records the failure and posts a stop of its own that holds only
// "toolthread", through the host objects the creator handed over, so that the busy display
// always ends. The GUI thread reads the outcome from the message (Failed, Error), waits for the
// thread and deletes it.
//
// Owns: the recorded error. Borrows: the tool (lent by its CToolEntry, which must outlive the
// run) and the hand-over host objects. Lends: itself, in the output map, to the GUI thread.
// Threads: the creator (the toolbox, on the GUI thread) sets the name and the hand-over before
// Create() and keeps the object until the handler of its "ACTIVITY_STOP" deletes it; the body
// runs on the new thread; Failed and Error are read on the GUI thread after the stop arrived.
// Throws: nothing leaves the body; what the tool throws is recorded as a
// TekaDebuggableZarnException. Sends: "ACTIVITY_STOP". Handles no message.
class CToolThread : public Zarn::CThread
{
public:
    explicit CToolThread(Zarn::CPluginBase* tool);
    CToolThread(const CToolThread&) = delete;
    CToolThread& operator=(const CToolThread&) = delete;
    ~CToolThread() override;

    // Names the thread in error texts and in the translator's origin; before Create() only.
    void SetName(const Zarn::CString& name) { m_strName = name; }
    // The host objects (lent) that post the stop when the registry cannot name them at the end
    // of the run; before Create() only. Without them the registry is the only way.
    void SetHandOver(Zarn::CMessageThread* commThread, Zarn::CMessageIdFactory* idFactory)
    {
        m_pHandOverThread = commThread;
        m_pHandOverIds = idFactory;
    }
    const Zarn::CString& ToolName() const { return m_strName; }

    // Valid once the "ACTIVITY_STOP" of the run was posted.
    bool Failed() const { return m_bFailed; }
    // The recorded error (a TekaDebuggableZarnException); "No exception" while none.
    const Zarn::CException& Error() const { return *m_pError; }

protected:
    bool Run() override;

private:
    void RecordError(Zarn::CException* error);
    // Calls the tool with the output map and records how the call ended; true when it ran
    // without error. Hands `outOfMemory` to the record when the tool runs out of memory.
    bool RunTool(Zarn::CValueMap& output, std::unique_ptr<Zarn::CException>& outOfMemory);
    // Posts the output as "ACTIVITY_STOP"; false when it could not, with the failure recorded.
    bool PostOutput(Zarn::CValueMap* output, std::unique_ptr<Zarn::CException>& outOfMemory);
    // The stop holding only "toolthread", posted when the output could not be.
    void PostMinimalStop(Zarn::CValueMap* stop);

    bool m_bFailed;
    Zarn::CPluginBase* m_pTool; // lent
    Zarn::CException* m_pError; // owned
    Zarn::CString m_strName;
    Zarn::CMessageThread* m_pHandOverThread = nullptr; // lent
    Zarn::CMessageIdFactory* m_pHandOverIds = nullptr; // lent
};
