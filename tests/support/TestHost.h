#pragma once

#include <Zarn/Log/Logger.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace DocViewTest
{

// The host objects a plug-in borrows in Init, made and lent as the host does: a communication
// thread (with a logger of its own for what receivers throw), a message id factory and a logger
// writing into m_logText. Owns all of them and lends them through the process registry
// ("tmp/commthread", "tmp/messageidfactory", "tmp/logger") from construction until Stop or
// destruction. Used on the test's (GUI) thread; throws nothing of its own. Sends what the test
// posts (Post...) and handles no message.
class CTestHost
{
public:
    // With bKeepLog false the logger writes nowhere (for measurements).
    explicit CTestHost(bool bKeepLog = true);
    CTestHost(const CTestHost&) = delete;
    CTestHost& operator=(const CTestHost&) = delete;
    virtual ~CTestHost();

    // Removes the registry entries and ends the thread; safe to call twice.
    void Stop();

    // Posts as any plug-in would (queued, normal priority); the thread takes `data`.
    void Post(const char* name, Zarn::CValue* data);
    void PostText(const char* name, const char* text);
    void PostDocument(const char* name, Zarn::CValueMap* document);
    void PostView(const char* name, Zarn::CPluginBase* view);
    size_t Deliver();

    // Unsubscribes `subscriber` (the plug-in or its proxy), ends the plug-in (DeleteData when
    // asked) and deletes it; nothing when it is null.
    void EndPlugin(Zarn::CPluginBase*& plugin, Zarn::CPluginBase* subscriber, bool bDeleteData);

    // The lines of m_logText without their time stamp, from line `first` on.
    std::vector<std::string> LogLines(size_t first = 0) const;

    std::ostringstream m_logText;
    std::ostringstream m_threadLogText;
    std::unique_ptr<Zarn::CLogger> m_pLogger;
    std::unique_ptr<Zarn::CLogger> m_pThreadLogger;
    std::unique_ptr<Zarn::CMessageIdFactory> m_pIds;
    std::unique_ptr<Zarn::CMessageThread> m_pThread;
};

// A GoogleTest fixture whose test runs inside CTestHost. Derived fixtures stop what they
// started in their TearDown and call CHostFixture::TearDown last.
class CHostFixture : public ::testing::Test, public CTestHost
{
protected:
    void TearDown() override { Stop(); }
};

// The entries of `all` from `taken` on; `taken` becomes all.size(). Lets a fixture hand out what
// was recorded since the last call.
template <class T> std::vector<T> TakeSince(const std::vector<T>& all, size_t& taken)
{
    std::vector<T> lstNew(all.begin() + static_cast<std::ptrdiff_t>(taken), all.end());
    taken = all.size();
    return lstNew;
}

} // namespace DocViewTest
