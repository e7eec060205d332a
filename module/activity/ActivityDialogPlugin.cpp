#include "activity/ActivityDialogPlugin.h"

#include "activity/ActivityDialog.h"
#include "frame/HostObjects.h"
#include "frame/MessageBoxes.h"
#include "frame/Messages.h"
#include "frame/PluginErrors.h"
#include "frame/PluginSetup.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValueScalar.h>

#include <exception>
#include <iostream>

namespace
{

const char* const kDefaultMessage = "Please wait";

} // namespace

CActivityDialogPlugin::CActivityDialogPlugin()
    : m_pMessageIdFactory(nullptr), m_strMessage(QString::fromLatin1(kDefaultMessage))
{
    m_messageTable.On("ACTIVITY_START", [this] { StartActivity(); })
        .On("ACTIVITY_STOP", [this] { StopActivity(); })
        .OnMessage("ACTIVITY_UPDATE",
                   [this](const Zarn::CValueMap& message) { UpdateActivity(message); })
        .OnData("ON_ACTION", [this](const Zarn::CValue* action) { OnAction(action); });
}

CActivityDialogPlugin::~CActivityDialogPlugin()
{
    delete m_pDialog.data();
}

void CActivityDialogPlugin::GetPluginSetup(Zarn::CValueMap& setup)
{
    DocView::WritePluginSetup(setup, "DaemonPlugin", "ActivityDialog");
}

void CActivityDialogPlugin::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    DocView::RunWrapped(
        "CActivityDialogPlugin::Init",
        [&]
        {
            m_pMessageIdFactory = DocView::BorrowMessageIdFactory();
            QString strAnimationFile;
            if (parameters.HasEntry(Zarn::CValue_Key("animation")))
            {
                strAnimationFile = QString::fromStdString(
                    parameters.EntryString(Zarn::CValue_Key("animation")).StdString());
                if (strAnimationFile.isNull())
                {
                    strAnimationFile = QString::fromLatin1("");
                }
            }
            m_strMessage = QString::fromStdString(
                parameters.EntryString(Zarn::CValue_Key("message"), Zarn::CString(kDefaultMessage))
                    .StdString());
            delete m_pDialog.data();
            m_pDialog = new CActivityDialog(DocView::ApplicationMainWidget(), nullptr, true,
                                            m_strMessage, strAnimationFile);
        });
}

void CActivityDialogPlugin::Run(Zarn::CValueMap& /*data*/)
{
    delete m_pDialog.data();
    m_pDialog = nullptr;
}

CActivityDialog* CActivityDialogPlugin::Dialog() const
{
    return m_pDialog.data();
}

void CActivityDialogPlugin::UpdateParameters(const Zarn::CValueMap& message)
{
    RunWrappedActivityUpdate([&] { HandleMessage(message); });
}

void CActivityDialogPlugin::HandleMessage(const Zarn::CValueMap& message)
{
    // Only the id matters: ACTIVITY_START and ACTIVITY_STOP come without data too.
    if (!DocView::HasMessageId(message))
    {
        return;
    }
    m_messageTable.Dispatch(m_pMessageIdFactory, message);
}

void CActivityDialogPlugin::StartActivity()
{
    if (m_pDialog)
    {
        m_pDialog->SetMessage(m_strMessage);
    }
    ShowDialog();
}

void CActivityDialogPlugin::StopActivity()
{
    m_strMessage = QString::fromLatin1(kDefaultMessage);
    if (m_pDialog)
    {
        m_pDialog->hide();
        m_pDialog->SetMessage(m_strMessage);
    }
}

// The text is read as "data/message"; a message without it changes nothing.
void CActivityDialogPlugin::UpdateActivity(const Zarn::CValueMap& message)
{
    const Zarn::CValue* pText = message.Entry("data/message", false);
    if (pText == nullptr)
    {
        return;
    }
    const std::string& strText = pText->String().StdString();
    m_strMessage = QString::fromStdString(strText);
    // Standard output, not the log: watchers of the program's output read this line.
    std::cout << "receiving message: " << strText << std::endl;
    if (m_pDialog)
    {
        m_pDialog->SetMessage(m_strMessage);
    }
}

// Only the text "popup_activity" shows the dialog; any other action or data is not ours.
void CActivityDialogPlugin::OnAction(const Zarn::CValue* action)
{
    if (action != nullptr && action->GenericType() == Zarn::CValue::vtString &&
        action->String().StdString() == "popup_activity")
    {
        ShowDialog();
    }
}

void CActivityDialogPlugin::ShowDialog()
{
    if (m_pDialog)
    {
        m_pDialog->show();
    }
}

void RunWrappedActivityUpdate(const std::function<void()>& body)
{
    const char* const szOperation = "CActivityDialogPlugin::UpdateParameters";
    try
    {
        body();
    }
    catch (const std::exception&)
    {
        DocView::RethrowWrapped(szOperation);
    }
    catch (...)
    {
        throw Zarn::CException(szOperation, "UNKNOWN EXCEPTION!", nullptr);
    }
}
