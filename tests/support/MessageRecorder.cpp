#include "MessageRecorder.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Value/TypeInfo.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

namespace DocViewTest
{

CMessageRecorder::CMessageRecorder(Zarn::CMessageIdFactory* ids) : m_pIds(ids)
{
    SetInstance("Recorder");
}

void CMessageRecorder::UpdateParameters(const Zarn::CValueMap& message)
{
    SRecordedMessage record;
    record.m_nId = static_cast<int>(message.EntryLong(Zarn::CValue_Key("id"), 0));
    record.m_strName = m_pIds->GetMessageName(record.m_nId);
    const Zarn::CValue* pData = message.Entry(Zarn::CValue_Key("data"), false);
    record.m_bHasData = pData != nullptr;
    if (pData != nullptr && pData->GenericType() == Zarn::CValue::vtPointer)
    {
        record.m_pPointee = pData->Pointer()->Void();
        record.m_pElementType = &pData->ElementType();
    }
    else if (pData != nullptr && pData->GenericType() == Zarn::CValue::vtString)
    {
        record.m_strText = pData->String().StdString();
    }
    else if (pData != nullptr && pData->Map() != nullptr)
    {
        record.m_bDataIsMap = true;
        record.m_data = *pData->Map();
    }
    m_lstRecorded.push_back(record);
    OnMessage(m_lstRecorded.back(), pData);
}

void CMessageRecorder::OnMessage(const SRecordedMessage& /*record*/, const Zarn::CValue* /*data*/)
{
}

std::vector<std::string> CMessageRecorder::Names() const
{
    std::vector<std::string> lstNames;
    for (const SRecordedMessage& record : m_lstRecorded)
    {
        lstNames.push_back(record.m_strName);
    }
    return lstNames;
}

std::vector<SRecordedMessage> CMessageRecorder::Named(const std::string& name) const
{
    std::vector<SRecordedMessage> lstFound;
    for (const SRecordedMessage& record : m_lstRecorded)
    {
        if (record.m_strName == name)
        {
            lstFound.push_back(record);
        }
    }
    return lstFound;
}

const void* ViewPointee(const SRecordedMessage& record)
{
    const bool bView = record.m_pElementType != nullptr &&
                       Zarn::AreTypesEqual(*record.m_pElementType, typeid(Zarn::CPluginBase));
    return bView ? record.m_pPointee : nullptr;
}

size_t CountStartingWith(const std::vector<std::string>& texts, const std::string& prefix)
{
    size_t nCount = 0;
    for (const std::string& strText : texts)
    {
        if (strText.compare(0, prefix.size(), prefix) == 0)
        {
            ++nCount;
        }
    }
    return nCount;
}

CPluginProxy::CPluginProxy(Zarn::CPluginBase* plugin, Zarn::CMessageIdFactory* ids,
                           const char* instance)
    : m_pPlugin(plugin), m_pIds(ids)
{
    SetInstance(instance);
}

void CPluginProxy::UpdateParameters(const Zarn::CValueMap& message)
{
    try
    {
        m_pPlugin->UpdateParameters(message);
    }
    catch (const Zarn::CException& exception)
    {
        const int id = static_cast<int>(message.EntryLong(Zarn::CValue_Key("id"), 0));
        SCaught caught;
        caught.m_strMessage = m_pIds != nullptr ? m_pIds->GetMessageName(id) : std::string();
        caught.m_strType = Zarn::ReadableTypeName(typeid(exception));
        caught.m_strFunction = exception.function();
        caught.m_strWhat = exception.what();
        caught.m_strInstance = exception.instance();
        m_lstCaught.push_back(caught);
        throw;
    }
}

} // namespace DocViewTest
