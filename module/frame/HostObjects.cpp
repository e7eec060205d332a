#include "frame/HostObjects.h"

#include <Zarn/Log/Logger.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/ValueKey.h>
#include <Zarn/Value/ValuePointer.h>

namespace DocView
{

Zarn::CMessageThread* BorrowCommThread()
{
    return Zarn::UnwrapPointer<Zarn::CMessageThread>(
        Zarn::CRegistry::Obj().Entry(Zarn::CValue_Key("tmp/commthread")));
}

Zarn::CMessageIdFactory* BorrowMessageIdFactory()
{
    return Zarn::UnwrapPointer<Zarn::CMessageIdFactory>(
        Zarn::CRegistry::Obj().Entry(Zarn::CValue_Key("tmp/messageidfactory")));
}

Zarn::CLogger* BorrowLogger()
{
    return Zarn::UnwrapPointer<Zarn::CLogger>(
        Zarn::CRegistry::Obj().Entry(Zarn::CValue_Key("tmp/logger")));
}

} // namespace DocView
