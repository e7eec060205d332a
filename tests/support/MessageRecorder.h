#pragma once

#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>

#include <cstddef>
#include <string>
#include <vector>

namespace DocViewTest
{

// One delivered message as the recorder saw it at delivery.
struct SRecordedMessage
{
    std::string m_strName;
    int m_nId = 0;
    bool m_bHasData = false;
    bool m_bDataIsMap = false;
    Zarn::CValueMap m_data;                         // a copy of map data; empty for other data
    const void* m_pPointee = nullptr;               // the pointee of pointer data, else null
    const std::type_info* m_pElementType = nullptr; // the element type of pointer data
    std::string m_strText;                          // string data, else empty
};

// A subscriber of the communication thread that records every message delivered to it: its name
// and id, and what its data was at delivery. Owns its records; lends the id factory it reads names
// from. Called on the thread that delivers (the test's). Throws nothing of its own; handles every
// message, sends none. Derived recorders add what their plug-in needs in OnMessage.
class CMessageRecorder : public Zarn::CPluginBase
{
public:
    explicit CMessageRecorder(Zarn::CMessageIdFactory* ids);
    void UpdateParameters(const Zarn::CValueMap& message) override;

    // Names of the records, in order.
    std::vector<std::string> Names() const;
    // Records named `name`.
    std::vector<SRecordedMessage> Named(const std::string& name) const;

    std::vector<SRecordedMessage> m_lstRecorded;

protected:
    // Called after the message was recorded; `data` is the message's data (null for none), alive
    // only during the call.
    virtual void OnMessage(const SRecordedMessage& record, const Zarn::CValue* data);

    Zarn::CMessageIdFactory* m_pIds;
};

// The view a message carries as its data (a pointer to a plug-in), null for any other data.
const void* ViewPointee(const SRecordedMessage& record);

// How many of `texts` start with `prefix`.
size_t CountStartingWith(const std::vector<std::string>& texts, const std::string& prefix);

// What a plug-in threw while a message was delivered to it.
struct SCaught
{
    std::string m_strMessage; // the message's name
    std::string m_strType;    // "CException", "CExBadParam", ...
    std::string m_strFunction;
    std::string m_strWhat;
    std::string m_strInstance;
};

// Stands for a plug-in among the thread's subscribers: passes each message on and notes what
// the plug-in throws (a Zarn::CException), then rethrows it to the thread, which logs it. Lends
// the plug-in and the id factory (may be null: no message names then). Called on the delivering
// thread.
class CPluginProxy : public Zarn::CPluginBase
{
public:
    CPluginProxy(Zarn::CPluginBase* plugin, Zarn::CMessageIdFactory* ids,
                 const char* instance = "Proxy");
    void UpdateParameters(const Zarn::CValueMap& message) override;

    std::vector<SCaught> m_lstCaught;

private:
    Zarn::CPluginBase* m_pPlugin;
    Zarn::CMessageIdFactory* m_pIds;
};

} // namespace DocViewTest
