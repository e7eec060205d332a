#pragma once

#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>

namespace Zarn
{
class CMessageIdFactory;
class CMessageThread;
} // namespace Zarn

namespace DocView
{

// How every plug-in of the module sends and recognises messages. Ids are never cached: each call
// asks the id factory for the name again, so a new id for a name takes effect at once.

// Posts the message `name` with `data` (may be null: a message without data) to the
// communication thread, priority 1, mode 0, and returns at once. Takes `data`, also when it
// throws. What the id factory or the thread throws (a null or empty name, a null thread)
// reaches the caller. Both host objects are lent. Callable from any thread.
void SendMessage(Zarn::CMessageThread* commThread, Zarn::CMessageIdFactory* idFactory,
                 const char* name, Zarn::CValue* data);

// True when the delivered map has an "id" entry.
bool HasMessageId(const Zarn::CValueMap& message);
// True when the delivered map has both "id" and "data"; receivers that read the data ignore any
// other message.
bool HasMessageIdAndData(const Zarn::CValueMap& message);

// True when the map's "id" (a long, 0 when absent), compared as a 32-bit unsigned number, is the
// id that the factory gives `name` now.
bool IsMessage(Zarn::CMessageIdFactory* idFactory, const Zarn::CValueMap& message,
               const char* name);

// The map's "data" entry, lent; null when there is none.
const Zarn::CValue* MessageData(const Zarn::CValueMap& message);

// The object that a typed pointer value carries. A pointer value lends its pointee, so the
// constness of the map that carries the value does not reach the object. Null for a null value
// or a null pointer; any other kind of value, or a pointer to another type, throws the
// type-mismatch Zarn::CExBadParam of Zarn::UnwrapPointer.
template <class T> T* PointerOf(const Zarn::CValue* value)
{
    return Zarn::UnwrapPointer<T>(const_cast<Zarn::CValue*>(value));
}

// PointerOf the message's "data" (null when the message has none).
template <class T> T* MessagePointer(const Zarn::CValueMap& message)
{
    return PointerOf<T>(MessageData(message));
}

} // namespace DocView
