#include "toolbox/ToolThread.h"

#include "frame/HostObjects.h"
#include "frame/Messages.h"
#include "toolbox/CurrentContext.h"
#include "toolbox/SystemExceptionTranslator.h"
#include "toolbox/TekaDebuggableZarnException.h"

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/System/SystemException.h>
#include <Zarn/Util/Buffer.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>

#include <memory>
#include <new>

namespace
{
// Given back when the tool runs out of memory, so that the error can still be reported.
constexpr size_t kReserveSize = 0x100000;
} // namespace

CToolThread::CToolThread(Zarn::CPluginBase* tool)
    : Zarn::CThread(Zarn::CThread::priNormal, nullptr), m_bFailed(false), m_pTool(tool),
      m_pError(new TekaDebuggableZarnException("CToolThread", "No exception", nullptr))
{
}

CToolThread::~CToolThread()
{
    delete m_pError;
}

void CToolThread::RecordError(Zarn::CException* error)
{
    delete m_pError;
    m_pError = error;
    m_bFailed = true;
}

bool CToolThread::Run()
{
    Zarn::SetSystemExceptionTranslator(&DocView::TranslateSystemException);
    DocView::SetCurrentContext(m_strName.StdString());

    std::unique_ptr<Zarn::CValueMap> pOutput(new Zarn::CValueMap);
    pOutput->SetEntry(Zarn::CValue_Key("toolthread"), new Zarn::CValuePointer<CToolThread>(this));

    // Prepared before the run: storing it later needs no allocation.
    std::unique_ptr<Zarn::CException> pOutOfMemory(
        new TekaDebuggableZarnException(m_strName.c_str(), "Out of Memory", nullptr));
    // Prepared before the run as well: the stop that ends the busy display when the output
    // cannot be handed back.
    std::unique_ptr<Zarn::CValueMap> pMinimalStop(new Zarn::CValueMap);
    pMinimalStop->SetEntry(Zarn::CValue_Key("toolthread"),
                           new Zarn::CValuePointer<CToolThread>(this));

    bool bResult = RunTool(*pOutput, pOutOfMemory);
    if (!PostOutput(pOutput.release(), pOutOfMemory))
    {
        bResult = false;
        PostMinimalStop(pMinimalStop.release());
    }
    return bResult;
}

bool CToolThread::RunTool(Zarn::CValueMap& output, std::unique_ptr<Zarn::CException>& outOfMemory)
{
    std::unique_ptr<Zarn::CBuffer> pReserve;
    bool bResult = true;
    try
    {
        try
        {
            pReserve = std::make_unique<Zarn::CBuffer>(kReserveSize);
            Zarn::RunWithSystemExceptionGuard([&] { m_pTool->Run(output); });
        }
        catch (const Zarn::CException& exception)
        {
            RecordError(new TekaDebuggableZarnException(exception));
            bResult = false;
        }
        catch (const std::bad_alloc&)
        {
            pReserve.reset();
            RecordError(outOfMemory.release());
            bResult = false;
        }
        catch (const std::exception& exception)
        {
            RecordError(
                new TekaDebuggableZarnException(m_strName.c_str(), exception.what(), nullptr));
            bResult = false;
        }
        catch (...)
        {
            RecordError(
                new TekaDebuggableZarnException(m_strName.c_str(), "Unknown exception", nullptr));
            bResult = false;
        }
    }
    catch (const std::bad_alloc&)
    {
        // Building the error itself ran out of memory.
        pReserve.reset();
        if (outOfMemory != nullptr)
        {
            RecordError(outOfMemory.release());
        }
        m_bFailed = true;
        bResult = false;
    }
    return bResult;
}

bool CToolThread::PostOutput(Zarn::CValueMap* output,
                             std::unique_ptr<Zarn::CException>& outOfMemory)
{
    std::unique_ptr<Zarn::CValueMap> pOutput(output);
    try
    {
        // Looked up afresh: the thread does not use the toolbox's members.
        Zarn::CMessageThread* pCommThread = DocView::BorrowCommThread();
        Zarn::CMessageIdFactory* pIds = DocView::BorrowMessageIdFactory();
        DocView::SendMessage(pCommThread, pIds, "ACTIVITY_STOP", pOutput.release());
        return true;
    }
    // An error of the tool itself is the more useful one to show; otherwise the user learns why
    // the results are missing.
    catch (const std::bad_alloc&)
    {
        if (!m_bFailed && outOfMemory != nullptr)
        {
            RecordError(outOfMemory.release());
        }
    }
    catch (const Zarn::CException& exception)
    {
        if (!m_bFailed)
        {
            try
            {
                RecordError(new TekaDebuggableZarnException(exception));
            }
            catch (...)
            {
                // No memory left for the text: the run is still marked failed below.
            }
        }
    }
    catch (...)
    {
        if (!m_bFailed)
        {
            try
            {
                RecordError(new TekaDebuggableZarnException(m_strName.c_str(), "Unknown exception",
                                                            nullptr));
            }
            catch (...)
            {
                // No memory left for the text: the run is still marked failed below.
            }
        }
    }
    m_bFailed = true;
    return false;
}

void CToolThread::PostMinimalStop(Zarn::CValueMap* stop)
{
    std::unique_ptr<Zarn::CValueMap> pStop(stop);
    Zarn::CMessageThread* pCommThread = m_pHandOverThread;
    Zarn::CMessageIdFactory* pIds = m_pHandOverIds;
    try
    {
        if (pCommThread == nullptr || pIds == nullptr)
        {
            pCommThread = DocView::BorrowCommThread();
            pIds = DocView::BorrowMessageIdFactory();
        }
        DocView::SendMessage(pCommThread, pIds, "ACTIVITY_STOP", pStop.release());
    }
    catch (...)
    {
        // Nothing is left to tell anybody with; the owner still waits for the thread when it
        // closes.
    }
}
