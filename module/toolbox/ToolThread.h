#pragma once

#include <Zarn/String/String.h>
#include <Zarn/Thread/Thread.h>

namespace Zarn
{
class CException;
class CPluginBase;
} // namespace Zarn

// Runs one threaded tool once. The body installs the system-exception translator, calls the
// tool's run operation with a fresh output map that holds "toolthread" (a non-owning pointer to
// this object) and posts that map as the data of "ACTIVITY_STOP", whether the tool succeeded or
// failed: nothing the tool throws leaves the body. The GUI thread reads the outcome from the
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
    const Zarn::CString& ToolName() const { return m_strName; }

    // Valid once the "ACTIVITY_STOP" of the run was posted.
    bool Failed() const { return m_bFailed; }
    // The recorded error (a TekaDebuggableZarnException); "No exception" while none.
    const Zarn::CException& Error() const { return *m_pError; }

protected:
    bool Run() override;

private:
    void RecordError(Zarn::CException* error);

    bool m_bFailed;
    Zarn::CPluginBase* m_pTool; // lent
    Zarn::CException* m_pError; // owned
    Zarn::CString m_strName;
};
