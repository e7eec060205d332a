#include "HostSession.h"
#include "AppTestPlugins.h"

#include <Zarn/Message/MessageThread.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <fstream>

namespace
{

// A failure text names `strPart` somewhere; the whole text is shown when it does not.
void ExpectMentions(const std::string& strWhat, const std::string& strPart)
{
    EXPECT_NE(strWhat.find(strPart), std::string::npos) << strWhat;
}

class HostSession : public testing::Test
{
protected:
    void SetUp() override
    {
        AppTest::RegisterTestPlugins();
        AppTest::Journal() = {};
    }

    std::unique_ptr<CApplicationConfig> Config(const std::string& text)
    {
        const QString strPath = m_folder.filePath("app.json");
        std::ofstream(strPath.toStdString()) << text;
        return CApplicationConfig::Load(strPath, "/app");
    }

    // What CreatePlugins rejected the configuration with; a failure when it did not.
    static std::string CreateError(CHostSession& session)
    {
        try
        {
            session.CreatePlugins(nullptr);
        }
        catch (const CConfigError& error)
        {
            return error.what();
        }
        ADD_FAILURE() << "no error";
        return std::string();
    }

    QTemporaryDir m_folder;
};

// Records the names of the messages it receives.
class CRecorder : public Zarn::CPluginBase
{
public:
    explicit CRecorder(Zarn::CMessageIdFactory& ids) : m_ids(ids) {}
    void UpdateParameters(const Zarn::CValueMap& message) override
    {
        const long nId = message.EntryLong(Zarn::CValue_Key("id"), -1);
        m_lstNames.push_back(nId == m_ids.GetMessageId("HELLO") ? "HELLO" : "other");
    }
    Zarn::CMessageIdFactory& m_ids;
    std::vector<std::string> m_lstNames;
};

const char* const kTwoPanels = R"({"plugins": [
    {"id": "left", "plugin": "TestPanel", "parameters": {"name": "left"}},
    {"id": "right", "plugin": "TestPanel", "parameters": {"name": "right"}}],
  "globalsettings": {"repository": {"inheritateSettings": true}},
  "window": {"central": "left"}})";

TEST_F(HostSession, HostObjectsAndGlobalSettingsAreInTheRegistry)
{
    std::unique_ptr<CApplicationConfig> pConfig = Config(kTwoPanels);
    {
        CHostSession session(*pConfig);
        Zarn::CRegistry& registry = Zarn::CRegistry::Obj();
        EXPECT_EQ(Zarn::UnwrapPointer<Zarn::CMessageThread>(
                      registry.Entry(Zarn::CValue_Key("tmp/commthread"))),
                  &session.Thread());
        EXPECT_EQ(
            Zarn::UnwrapPointer<Zarn::CLogger>(registry.Entry(Zarn::CValue_Key("tmp/logger"))),
            &session.Logger());
        const Zarn::CValue* pInherit =
            registry.Entry(Zarn::CValue_Key("main/globalsettings/repository/inheritateSettings"));
        ASSERT_NE(pInherit, nullptr);
        EXPECT_TRUE(pInherit->Bool());
    }
    EXPECT_FALSE(Zarn::CRegistry::Obj().HasEntry(Zarn::CValue_Key("tmp/commthread")))
        << "the session takes its objects out again";
}

TEST_F(HostSession, PluginsStartInOrderAndEndInReverse)
{
    std::unique_ptr<CApplicationConfig> pConfig = Config(kTwoPanels);
    CHostSession session(*pConfig);
    session.CreatePlugins(nullptr);
    ASSERT_NE(session.WidgetOf("left"), nullptr);
    EXPECT_EQ(session.WidgetOf("left")->objectName(), "left");
    EXPECT_EQ(session.WidgetOf("nothing"), nullptr);
    session.ShutDown();
    EXPECT_EQ(AppTest::Journal().m_lstEvents,
              (std::vector<std::string>{"init left", "init right", "end right", "end left"}));
    EXPECT_EQ(AppTest::Journal().m_nAlive, 0);
}

TEST_F(HostSession, FailingPluginTakesDownTheOnesBeforeAndNamesItsEntry)
{
    std::unique_ptr<CApplicationConfig> pConfig = Config(R"({"plugins": [
    {"id": "left", "plugin": "TestPanel", "parameters": {"name": "left"}},
    {"id": "bad", "plugin": "TestFailing"},
    {"id": "right", "plugin": "TestPanel", "parameters": {"name": "right"}}],
  "window": {"central": "left"}})");
    CHostSession session(*pConfig);
    const std::string strWhat = CreateError(session);
    ExpectMentions(strWhat, "app.json:3:5: the plug-in \"TestFailing\" failed to start:");
    ExpectMentions(strWhat, "disk not found");
    EXPECT_EQ(AppTest::Journal().m_lstEvents, (std::vector<std::string>{"init left", "end left"}));
    EXPECT_EQ(AppTest::Journal().m_nAlive, 0);
    EXPECT_EQ(session.Plugin("left"), nullptr);
}

TEST_F(HostSession, UnknownPluginNamesTheEntryAndTheFolders)
{
    std::unique_ptr<CApplicationConfig> pConfig = Config(R"({"plugin path": ["/nowhere/modules"],
  "plugins": [{"id": "x", "plugin": "NoSuchThing"}], "window": {"central": "x"}})");
    CHostSession session(*pConfig);
    const std::string strWhat = CreateError(session);
    ExpectMentions(strWhat, "app.json:2:15: no module offers a plug-in named \"NoSuchThing\"");
    ExpectMentions(strWhat, "/nowhere/modules");
}

TEST_F(HostSession, PostedMessageIsDeliveredByTheEventLoopToTheFirstReceiverToo)
{
    std::unique_ptr<CApplicationConfig> pConfig = Config(kTwoPanels);
    CHostSession session(*pConfig);
    CRecorder recorder(session.Ids());
    session.CreatePlugins(&recorder);
    session.Post("HELLO", new Zarn::CValueString("there"));
    EXPECT_TRUE(recorder.m_lstNames.empty()) << "posting never delivers by itself";
    QElapsedTimer clock;
    clock.start();
    while (recorder.m_lstNames.empty() && clock.elapsed() < 5000)
    {
        QCoreApplication::processEvents();
    }
    EXPECT_EQ(recorder.m_lstNames, std::vector<std::string>{"HELLO"});
    session.ShutDown();
}

} // namespace
