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
// failed: nothing the tool throws leaves the body. When that message cannot be built or posted
// (no memory, the registry no longer names the host objects), the body records the failure and
// posts a stop of its own that holds only "toolthread", through the host objects the creator
// handed over, so that the busy display always ends. The GUI thread reads the outcome from the
// message (Failed, Error), waits for the thread and deletes it.
//
// The tool is lent by its CToolEntry and must outlive the run. The creator sets the name before
// Create() and keeps no pointer: the object lives until the handler of its "ACTIVITY_STOP"
// deletes it.
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
