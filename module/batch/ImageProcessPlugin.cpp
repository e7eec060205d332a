#include "batch/ImageProcessPlugin.h"

#include "frame/HostObjects.h"

CImageProcessPlugin::CImageProcessPlugin()
    : m_pMessageIdFactory(nullptr), m_pCommThread(nullptr), m_pLogger(nullptr)
{
}

CImageProcessPlugin::~CImageProcessPlugin() = default;

void CImageProcessPlugin::GetPluginSetup(Zarn::CValueMap& /*setup*/) {}

void CImageProcessPlugin::Init(void* /*context*/, const Zarn::CValueMap& /*parameters*/)
{
    m_pLogger = DocView::BorrowLogger();
    m_pCommThread = DocView::BorrowCommThread();
    m_pMessageIdFactory = DocView::BorrowMessageIdFactory();
}

void CImageProcessPlugin::DeleteData()
{
    // Releases the batcher and the process's first plug-in created in Init.
}

void CImageProcessPlugin::Run(Zarn::CValueMap& /*data*/)
{
    // Runs the process on the input image and writes the results as new documents.
}

void CImageProcessPlugin::UpdateParameters(const Zarn::CValueMap& /*message*/)
{
    // Answers the process's own messages.
}
