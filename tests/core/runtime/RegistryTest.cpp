#include "TrackedObject.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Log/Logger.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

using namespace Zarn;

namespace
{

// The registry is the process's one: every test starts and ends with it empty.
class RegistryTest : public ::testing::Test
{
protected:
    void SetUp() override { CRegistry::Obj().Clear(); }
    void TearDown() override { CRegistry::Obj().Clear(); }
};

} // namespace

TEST_F(RegistryTest, ObjIsOneRegistryForTheProcess)
{
    EXPECT_EQ(&CRegistry::Obj(), &CRegistry::Obj());
}

TEST_F(RegistryTest, SlashKeyStoresInNestedMapsAndEntryLendsTheSameValue)
{
    CRegistry& registry = CRegistry::Obj();
    auto* pValue = new CValueLong(7);
    registry.SetEntry("tmp/commthread", pValue);

    EXPECT_TRUE(registry.HasEntry("tmp/commthread"));
    EXPECT_EQ(registry.Entry("tmp/commthread"), pValue);
    CValue* pTmp = registry.Entry("tmp");
    ASSERT_NE(pTmp->Map(), nullptr);
    EXPECT_EQ(pTmp->Map()->Size(), 1u);
    EXPECT_EQ(pTmp->Map()->Entry(CValue_Key("commthread"), true), pValue);
}

TEST_F(RegistryTest, MissingEntryThrowsBadParamNamingTheKey)
{
    CRegistry& registry = CRegistry::Obj();
    registry.SetEntry("tmp/commthread", new CValueLong(1));
    EXPECT_FALSE(registry.HasEntry("tmp/logger"));
    try
    {
        registry.Entry("tmp/logger");
        FAIL() << "no exception";
    }
    catch (const CExBadParam& exception)
    {
        EXPECT_STREQ(exception.what(), "Registry entry 'tmp/logger' not found");
    }
    EXPECT_THROW(registry.Entry("tmp/commthread/deeper"), CExBadParam);
    EXPECT_THROW(registry.Entry(""), CExBadParam);
}

TEST_F(RegistryTest, SetEntryReplacesAndDeletesTheOldValue)
{
    CRegistry& registry = CRegistry::Obj();
    const int nAliveBefore = CTrackedObject::Alive();
    registry.SetEntry("tmp/object", new CValueOwnedPointer<CTrackedObject>(new CTrackedObject));
    EXPECT_EQ(CTrackedObject::Alive(), nAliveBefore + 1);

    auto* pReplacement = new CValueString("replacement");
    registry.SetEntry("tmp/object", pReplacement);
    EXPECT_EQ(CTrackedObject::Alive(), nAliveBefore);
    EXPECT_EQ(registry.Entry("tmp/object"), pReplacement);
    EXPECT_EQ(registry.Entry("tmp/object")->String(), CString("replacement"));
}

TEST_F(RegistryTest, RemoveEntryDeletesAndReportsWhetherThereWasOne)
{
    CRegistry& registry = CRegistry::Obj();
    const int nAliveBefore = CTrackedObject::Alive();
    registry.SetEntry("tmp/object", new CValueOwnedPointer<CTrackedObject>(new CTrackedObject));
    EXPECT_TRUE(registry.RemoveEntry("tmp/object"));
    EXPECT_EQ(CTrackedObject::Alive(), nAliveBefore);
    EXPECT_FALSE(registry.HasEntry("tmp/object"));
    EXPECT_FALSE(registry.RemoveEntry("tmp/object"));
    EXPECT_FALSE(registry.RemoveEntry(""));
    EXPECT_TRUE(registry.HasEntry("tmp"));
}

TEST_F(RegistryTest, ClearDeletesEveryEntry)
{
    CRegistry& registry = CRegistry::Obj();
    const int nAliveBefore = CTrackedObject::Alive();
    registry.SetEntry("a", new CValueOwnedPointer<CTrackedObject>(new CTrackedObject));
    registry.SetEntry("b/c", new CValueOwnedPointer<CTrackedObject>(new CTrackedObject));
    EXPECT_EQ(CTrackedObject::Alive(), nAliveBefore + 2);
    registry.Clear();
    EXPECT_EQ(CTrackedObject::Alive(), nAliveBefore);
    EXPECT_FALSE(registry.HasEntry("a"));
    EXPECT_FALSE(registry.HasEntry("b"));
}

TEST_F(RegistryTest, EmptyKeyOrPathThroughAScalarThrowsAndDeletesTheValue)
{
    CRegistry& registry = CRegistry::Obj();
    const int nAliveBefore = CTrackedObject::Alive();
    EXPECT_THROW(registry.SetEntry("", new CValueOwnedPointer<CTrackedObject>(new CTrackedObject)),
                 CExBadParam);
    EXPECT_EQ(CTrackedObject::Alive(), nAliveBefore);
    registry.SetEntry("scalar", new CValueLong(3));
    EXPECT_THROW(registry.SetEntry("scalar/child",
                                   new CValueOwnedPointer<CTrackedObject>(new CTrackedObject)),
                 CExBadParam);
    EXPECT_EQ(CTrackedObject::Alive(), nAliveBefore);
    EXPECT_EQ(registry.Entry("scalar")->Long(), 3);
}

TEST_F(RegistryTest, ThreadsSettingAndReadingTheirOwnKeysAtOnceAllSucceed)
{
    constexpr int kThreads = 8;
    constexpr int kRounds = 300;
    CRegistry& registry = CRegistry::Obj();
    std::vector<std::thread> lstThreads;
    std::vector<int> lstFailures(kThreads, 0);
    for (int nThread = 0; nThread < kThreads; ++nThread)
    {
        lstThreads.emplace_back(
            [&, nThread]
            {
                const std::string strKey = "threads/t" + std::to_string(nThread);
                for (int nRound = 0; nRound < kRounds; ++nRound)
                {
                    registry.SetEntry(strKey, new CValueLong(nRound));
                    if (registry.Entry(strKey)->Long() != nRound)
                    {
                        ++lstFailures[static_cast<size_t>(nThread)];
                    }
                }
            });
    }
    for (std::thread& thread : lstThreads)
    {
        thread.join();
    }
    for (int nThread = 0; nThread < kThreads; ++nThread)
    {
        EXPECT_EQ(lstFailures[static_cast<size_t>(nThread)], 0);
        EXPECT_EQ(registry.Entry("threads/t" + std::to_string(nThread))->Long(), kRounds - 1);
    }
}

namespace
{

TEST(HostObjects, ThePluginsFindThemUnderTheirKeysUntilTheyAreRemoved)
{
    Zarn::CMessageThread thread;
    Zarn::CMessageIdFactory ids;
    Zarn::CLogger logger(nullptr);
    Zarn::RegisterHostObjects(&thread, &ids, &logger);
    Zarn::CRegistry& registry = Zarn::CRegistry::Obj();
    EXPECT_EQ(Zarn::UnwrapPointer<Zarn::CMessageThread>(
                  registry.Entry(Zarn::CValue_Key("tmp/commthread"))),
              &thread);
    EXPECT_EQ(Zarn::UnwrapPointer<Zarn::CMessageIdFactory>(
                  registry.Entry(Zarn::CValue_Key("tmp/messageidfactory"))),
              &ids);
    EXPECT_EQ(Zarn::UnwrapPointer<Zarn::CLogger>(registry.Entry(Zarn::CValue_Key("tmp/logger"))),
              &logger);
    Zarn::UnregisterHostObjects();
    for (const char* szKey : {"tmp/commthread", "tmp/messageidfactory", "tmp/logger"})
    {
        EXPECT_FALSE(registry.HasEntry(Zarn::CValue_Key(szKey))) << szKey;
    }
    Zarn::UnregisterHostObjects(); // nothing left to remove: no error
}

} // namespace
