#include "frame/Messages.h"

#include <Zarn/Message/Message.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>

#include <cstdint>
#include <memory>

namespace DocView
{

namespace
{
const Zarn::CValue_Key kIdKey("id");
const Zarn::CValue_Key kDataKey("data");
} // namespace

void SendMessage(Zarn::CMessageThread* commThread, Zarn::CMessageIdFactory* idFactory,
                 const char* name, Zarn::CValue* data)
{
    std::unique_ptr<Zarn::CValue> pData(data);
    const int id = idFactory->GetMessageId(name);
    auto* pMessage = new Zarn::CMessage(id, pData.release(), Zarn::CMessage::priNormal);
    // TakeMessage owns the message from the call on, also when it throws.
    commThread->TakeMessage(pMessage, Zarn::CMessage::mmQueued);
}

bool HasMessageId(const Zarn::CValueMap& message)
{
    return message.HasEntry(kIdKey);
}

bool HasMessageIdAndData(const Zarn::CValueMap& message)
{
    return message.HasEntry(kIdKey) && message.HasEntry(kDataKey);
}

bool IsMessage(Zarn::CMessageIdFactory* idFactory, const Zarn::CValueMap& message, const char* name)
{
    const auto uId = static_cast<std::uint32_t>(message.EntryLong(kIdKey, 0));
    return uId == static_cast<std::uint32_t>(idFactory->GetMessageId(name));
}

const Zarn::CValue* MessageData(const Zarn::CValueMap& message)
{
    return message.Entry(kDataKey, false);
}

} // namespace DocView
