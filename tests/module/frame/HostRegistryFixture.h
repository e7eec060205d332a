#pragma once

#include <Zarn/Log/Logger.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/ValuePointer.h>

#include <gtest/gtest.h>

// Real host objects lent through the process registry, as the host leaves them before it
// initialises any plug-in. The entries are removed again after each test, before the objects die.
class CHostRegistryFixture : public ::testing::Test
{
protected:
    static constexpr const char* kCommThreadKey = "tmp/commthread";
    static constexpr const char* kMessageIdFactoryKey = "tmp/messageidfactory";
    static constexpr const char* kLoggerKey = "tmp/logger";

    void SetUp() override { PutHostEntries(); }

    // Stores (again) all three entries, replacing whatever a test left under their keys.
    void PutHostEntries()
    {
        Zarn::CRegistry& registry = Zarn::CRegistry::Obj();
        registry.SetEntry(kCommThreadKey,
                          new Zarn::CValuePointer<Zarn::CMessageThread>(&m_commThread));
        registry.SetEntry(kMessageIdFactoryKey,
                          new Zarn::CValuePointer<Zarn::CMessageIdFactory>(&m_messageIdFactory));
        registry.SetEntry(kLoggerKey, new Zarn::CValuePointer<Zarn::CLogger>(&m_logger));
    }

    void TearDown() override
    {
        Zarn::CRegistry& registry = Zarn::CRegistry::Obj();
        registry.RemoveEntry(kCommThreadKey);
        registry.RemoveEntry(kMessageIdFactoryKey);
        registry.RemoveEntry(kLoggerKey);
    }

    Zarn::CMessageThread m_commThread;
    Zarn::CMessageIdFactory m_messageIdFactory;
    Zarn::CLogger m_logger{nullptr}; // no console: the tests read nothing from it
};
