#include "toolbox/TekaDebuggableZarnException.h"

namespace
{

Zarn::SSystemExceptionInfo* CopyOf(const Zarn::SSystemExceptionInfo* information)
{
    return information != nullptr ? new Zarn::SSystemExceptionInfo(*information) : nullptr;
}

} // namespace

TekaDebuggableZarnException::TekaDebuggableZarnException(
    const char* function, const char* what, const char* instance,
    const Zarn::SSystemExceptionInfo* information)
    : Zarn::CException(function, what, instance), m_pExceptionInformation(CopyOf(information))
{
}

TekaDebuggableZarnException::TekaDebuggableZarnException(const Zarn::CException& other)
    : Zarn::CException(other), m_pExceptionInformation(nullptr)
{
    const auto* pDebuggable = dynamic_cast<const TekaDebuggableZarnException*>(&other);
    if (pDebuggable != nullptr)
    {
        m_pExceptionInformation = CopyOf(pDebuggable->m_pExceptionInformation);
    }
}

TekaDebuggableZarnException::TekaDebuggableZarnException(const TekaDebuggableZarnException& other)
    : Zarn::CException(other), m_pExceptionInformation(CopyOf(other.m_pExceptionInformation))
{
}

TekaDebuggableZarnException&
TekaDebuggableZarnException::operator=(const TekaDebuggableZarnException& other)
{
    if (this != &other)
    {
        Zarn::SSystemExceptionInfo* pCopy = CopyOf(other.m_pExceptionInformation);
        Zarn::CException::operator=(other);
        delete m_pExceptionInformation;
        m_pExceptionInformation = pCopy;
    }
    return *this;
}

TekaDebuggableZarnException::~TekaDebuggableZarnException()
{
    delete m_pExceptionInformation;
}
