#pragma once

namespace Zarn
{
class CLogger;
class CMessageIdFactory;
class CMessageThread;
} // namespace Zarn

namespace DocView
{

// The host objects that the host leaves in Zarn::CRegistry::Obj() before any plug-in's Init
// ("tmp/commthread", "tmp/messageidfactory", "tmp/logger"). Each call looks the entry up
// unconditionally and unwraps it as a typed pointer: a missing entry throws the registry's
// Zarn::CExBadParam, an entry of another type throws the unwrapping's Zarn::CExBadParam. The
// objects are lent by the host: never delete them. Safe from any thread. No messages: the
// thread and the id factory lent here are what messages travel through.
Zarn::CMessageThread* BorrowCommThread();
Zarn::CMessageIdFactory* BorrowMessageIdFactory();
Zarn::CLogger* BorrowLogger();

} // namespace DocView
