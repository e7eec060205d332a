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
    bool bResult = true;

    std::unique_ptr<Zarn::CValueMap> pOutput(new Zarn::CValueMap);
    pOutput->SetEntry(Zarn::CValue_Key("toolthread"), new Zarn::CValuePointer<CToolThread>(this));

    // Prepared before the run: storing it later needs no allocation.
    std::unique_ptr<Zarn::CException> pOutOfMemory(
        new TekaDebuggableZarnException(m_strName.c_str(), "Out of Memory", nullptr));
    std::unique_ptr<Zarn::CBuffer> pReserve;

    try
    {
        try
        {
            pReserve = std::make_unique<Zarn::CBuffer>(kReserveSize);
            Zarn::RunWithSystemExceptionGuard([&] { m_pTool->Run(*pOutput); });
        }
        catch (const Zarn::CException& exception)
        {
            RecordError(new TekaDebuggableZarnException(exception));
            bResult = false;
        }
        catch (const std::bad_alloc&)
        {
            pReserve.reset();
            RecordError(pOutOfMemory.release());
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
        if (pOutOfMemory != nullptr)
        {
            RecordError(pOutOfMemory.release());
        }
        m_bFailed = true;
        bResult = false;
    }
    pReserve.reset();

    // Looked up afresh: the thread does not use the toolbox's members.
    DocView::SendMessage(DocView::BorrowCommThread(), DocView::BorrowMessageIdFactory(),
                         "ACTIVITY_STOP", pOutput.release());
    return bResult;
}
