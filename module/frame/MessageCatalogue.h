#pragma once

#include <Zarn/Value/ValueContainer.h>

#include "frame/Messages.h"

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Zarn
{
class CMessageIdFactory;
} // namespace Zarn

namespace DocView
{

// Every message the system sends or handles, in one table. The plug-ins of this module, the image
// plug-ins and the programs name messages only through this catalogue: a handler table refuses a
// name it does not list, and a test reads the sources for names it does not list.

// What a message carries as its "data".
enum class EMessagePayload
{
    None,    // no data at all: a null value
    Text,    // a Zarn::CValueString standing directly as the data
    Map,     // a Zarn::CValueMap
    Pointer, // a typed pointer value; SMessageInfo::szPointee names the object
    Bracket, // ACTIVITY_START / ACTIVITY_STOP: handlers read the whole message, data optional
};

struct SMessageInfo
{
    const char* szName;
    EMessagePayload ePayload;
    const char* szPointee; // for Pointer: what the pointer points to; empty otherwise
    const char* szSenders;
    const char* szHandlers;
    const char* szMeaning;
};

// The whole catalogue, in a fixed order (documents, views, controls, activity, host).
std::span<const SMessageInfo> MessageCatalogue();

// The entry for `name`; null when the catalogue does not list it.
const SMessageInfo* FindMessage(std::string_view name);

// The readable name of a payload kind, as docs/architecture.md shows it ("none", "text", ...).
const char* PayloadName(EMessagePayload payload);

// A plug-in's messages as a table from message to handler. Each On... call names a catalogue
// message and unwraps its data by the catalogue's payload kind before the handler sees it:
//   OnPointer<T> - the pointee (null for a null pointer); data of another type throws the
//                  type-mismatch Zarn::CExBadParam of Zarn::UnwrapPointer;
//   OnText       - the text; data that is not text throws what Zarn::CValue::String throws;
//   OnMap        - the map; data that is not a map throws Zarn::CExBadType;
//   OnData       - the data value as it is (lent, may be null), for handlers that read it
//                  themselves;
//   OnMessage    - the whole message map, for the activity bracket;
//   On           - nothing, for messages whose arrival is all that matters.
// Registering a name the catalogue does not list, or with an unwrapping that does not fit the
// catalogue's kind, throws std::logic_error: a programming error, caught by the plug-in's own
// construction in every test.
//
// Dispatch asks the id factory for each listed name in the order of registration, every time (ids
// are never cached), and runs the handler of the first name whose id is the message's "id".
// Handlers run on the caller's thread; what they throw passes out of Dispatch. The table owns its
// handlers; they usually capture the plug-in that owns the table.
class CMessageTable
{
public:
    using FMessageHandler = std::function<void(const Zarn::CValueMap& message)>;

    CMessageTable& On(const char* name, std::function<void()> handler);
    CMessageTable& OnMessage(const char* name, FMessageHandler handler);
    CMessageTable& OnData(const char* name, std::function<void(const Zarn::CValue* data)> handler);
    CMessageTable& OnText(const char* name, std::function<void(const std::string& text)> handler);
    CMessageTable& OnMap(const char* name,
                         std::function<void(const Zarn::CValueMap& data)> handler);

    template <class T>
    CMessageTable& OnPointer(const char* name, std::function<void(T* pointee)> handler)
    {
        return Add(name, EMessagePayload::Pointer,
                   [fnHandler = std::move(handler)](const Zarn::CValueMap& message)
                   { fnHandler(MessagePointer<T>(message)); });
    }

    // True when a handler ran; false for a message that names none of the table's entries.
    bool Dispatch(Zarn::CMessageIdFactory* idFactory, const Zarn::CValueMap& message) const;
    // Dispatch for the plug-ins that handle only messages with data: a map without both "id" and
    // "data" is ignored (false) before any id is asked for.
    bool DispatchWithData(Zarn::CMessageIdFactory* idFactory, const Zarn::CValueMap& message) const;

    // The names the table handles, in order.
    std::vector<std::string> Names() const;

private:
    struct SEntry
    {
        const char* szName;
        FMessageHandler fnHandler;
    };

    CMessageTable& Add(const char* name, EMessagePayload expected, FMessageHandler handler);

    std::vector<SEntry> m_lstEntries;
};

} // namespace DocView
