#pragma once

#include "TestHost.h"

#include <Zarn/Log/Logger.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/ValuePointer.h>

#include <gtest/gtest.h>

// Real host objects lent through the process registry, as the host leaves them before it
// initialises any plug-in. The entries are removed again after each test, before the objects die.
class CHostRegistryFixture : public DocViewTest::CHostFixture
{
protected:
    static constexpr const char* kCommThreadKey = "tmp/commthread";
    static constexpr const char* kMessageIdFactoryKey = "tmp/messageidfactory";
    static constexpr const char* kLoggerKey = "tmp/logger";

    // Stores (again) all three entries, replacing whatever a test left under their keys.
    void PutHostEntries()
    {
        Zarn::RegisterHostObjects(m_pThread.get(), m_pIds.get(), m_pLogger.get());
    }

    // The host's objects under the names the tests compare with.
    Zarn::CMessageThread& m_commThread = *m_pThread;
    Zarn::CMessageIdFactory& m_messageIdFactory = *m_pIds;
    Zarn::CLogger& m_logger = *m_pLogger;
};
