#include "ApplicationConfig.h"

#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <QTemporaryDir>

#include <fstream>

namespace
{

class ApplicationConfig : public testing::Test
{
protected:
    // Writes the text as a configuration file and loads it; the error text when it fails.
    std::string LoadError(const std::string& text)
    {
        const QString strPath = m_folder.filePath("app.json");
        std::ofstream(strPath.toStdString()) << text;
        try
        {
            m_pConfig = CApplicationConfig::Load(strPath, "/opt/docview/bin");
        }
        catch (const CConfigError& error)
        {
            const std::string strWhat = error.what();
            // Relative to the file, so that the tests read the position only.
            const std::string strPrefix = strPath.toStdString();
            return strWhat.compare(0, strPrefix.size(), strPrefix) == 0
                       ? strWhat.substr(strPrefix.size())
                       : strWhat;
        }
        return std::string();
    }

    QTemporaryDir m_folder;
    std::unique_ptr<CApplicationConfig> m_pConfig;
};

const char* const kMinimal = R"({"plugins": [{"id": "area", "plugin": "Workspace"}],
 "window": {"central": "area"}})";

TEST_F(ApplicationConfig, ShippedDefaultConfigurationIsValid)
{
    std::unique_ptr<CApplicationConfig> pConfig = CApplicationConfig::Load(DEFAULT_CONFIG, "/app");
    EXPECT_EQ(pConfig->Central(), "workspace");
    ASSERT_EQ(pConfig->Plugins().size(), 5u);
    EXPECT_EQ(pConfig->Plugins().back().m_strPlugin, "Repository")
        << "the repository is subscribed last";
    EXPECT_EQ(pConfig->PluginPath(), std::vector<std::string>{"/app/../modules"});
    ASSERT_NE(pConfig->GlobalSettings(), nullptr);
    EXPECT_TRUE(pConfig->GlobalSettings()->Entry("repository/inheritateSettings", true)->Bool());
    EXPECT_FALSE(pConfig->Menus().empty());
}

TEST_F(ApplicationConfig, MinimalConfigurationGetsDefaults)
{
    ASSERT_EQ(LoadError(kMinimal), "");
    EXPECT_EQ(m_pConfig->Title(), "docview");
    EXPECT_EQ(m_pConfig->Plugins()[0].m_strId, "area");
    EXPECT_EQ(m_pConfig->Plugins()[0].m_pParameters->Size(), 0u);
    EXPECT_TRUE(m_pConfig->Menus().empty());
    EXPECT_FALSE(m_pConfig->MessageJournal());
}

TEST_F(ApplicationConfig, AppDirIsReplacedInEveryText)
{
    ASSERT_EQ(LoadError(R"({"plugin path": ["${APPDIR}/../modules"],
        "plugins": [{"id": "area", "plugin": "Workspace",
                     "parameters": {"animation": "${APPDIR}/busy.gif", "list": ["${APPDIR}"]}}],
        "window": {"central": "area"}})"),
              "");
    EXPECT_EQ(m_pConfig->PluginPath()[0], "/opt/docview/bin/../modules");
    const Zarn::CValueMap& parameters = *m_pConfig->Plugins()[0].m_pParameters;
    EXPECT_EQ(parameters.EntryString(Zarn::CValue_Key("animation")).StdString(),
              "/opt/docview/bin/busy.gif");
    EXPECT_EQ(parameters.Entry("list/0", true)->String().StdString(), "/opt/docview/bin");
}

TEST_F(ApplicationConfig, PluginIdDefaultsToThePluginName)
{
    ASSERT_EQ(
        LoadError(R"({"plugins": [{"plugin": "Workspace"}], "window": {"central": "Workspace"}})"),
        "");
    EXPECT_EQ(m_pConfig->Plugins()[0].m_strId, "Workspace");
}

TEST_F(ApplicationConfig, SyntaxErrorNamesLineAndColumn)
{
    EXPECT_EQ(LoadError("{\n  \"plugins\": [\n    {\"plugin\": Workspace}\n  ]\n}\n"),
              ":3:16: syntax error while parsing value - invalid literal");
}

TEST_F(ApplicationConfig, CentralNamingNoPluginPointsAtIt)
{
    EXPECT_EQ(LoadError("{\"plugins\": [{\"id\": \"area\", \"plugin\": \"Workspace\"}],\n"
                        " \"window\": {\"central\": \"stack\"}}"),
              ":2:24: \"stack\" names no entry of \"plugins\" (ids: area)");
}

TEST_F(ApplicationConfig, MissingPluginsAndWindowAreNamed)
{
    EXPECT_EQ(LoadError("{\"window\": {\"central\": \"area\"}}"),
              ":1:1: \"plugins\" must be an array");
    EXPECT_EQ(LoadError("{\"plugins\": []}"), ":1:1: \"window\" must be an object");
}

TEST_F(ApplicationConfig, WrongTypesPointAtTheValue)
{
    EXPECT_EQ(LoadError("{\"plugins\": [{\"plugin\": 7}], \"window\": {\"central\": \"x\"}}"),
              ":1:25: \"plugin\" must be a text");
    EXPECT_EQ(LoadError("{\"message journal\": \"yes\", \"plugins\": [], \"window\": {}}"),
              ":1:21: \"message journal\" must be true or false");
    EXPECT_EQ(
        LoadError(
            R"({"plugins": [{"id": "a", "plugin": "W", "parameters": []}], "window": {"central": "a"}})"),
        ":1:55: \"parameters\" must be an object");
}

TEST_F(ApplicationConfig, TheSameIdTwiceIsRejected)
{
    EXPECT_EQ(
        LoadError(R"({"plugins": [{"plugin": "W"}, {"plugin": "W"}], "window": {"central": "W"}})"),
        ":1:31: the id \"W\" is used twice");
}

TEST_F(ApplicationConfig, MenuEntriesAreReadWithTheirKinds)
{
    ASSERT_EQ(LoadError(R"({"plugins": [{"id": "area", "plugin": "Workspace"}],
        "window": {"central": "area", "menus": [{"title": "&File", "items": [
            {"action": "open", "text": "&Open", "shortcut": "Ctrl+O", "icon": "document-open"},
            {"configure": "blur", "text": "Blur settings"},
            {"separator": true},
            {"title": "More", "text": "More", "items": [{"command": "about"}]},
            {"command": "quit", "text": "&Quit"}]}]}})"),
              "");
    ASSERT_EQ(m_pConfig->Menus().size(), 1u);
    const std::vector<SMenuItem>& items = m_pConfig->Menus()[0].m_lstItems;
    ASSERT_EQ(items.size(), 5u);
    EXPECT_EQ(items[0].m_enKind, SMenuItem::kAction);
    EXPECT_EQ(items[0].m_strShortcut, "Ctrl+O");
    EXPECT_FALSE(items[0].m_bEnabled) << "actions wait for UPDATE_CONTROLS";
    EXPECT_EQ(items[1].m_enKind, SMenuItem::kConfigure);
    EXPECT_EQ(items[2].m_enKind, SMenuItem::kSeparator);
    EXPECT_EQ(items[3].m_enKind, SMenuItem::kSubmenu);
    EXPECT_EQ(items[3].m_lstItems[0].m_strName, "about");
    EXPECT_EQ(items[4].m_enKind, SMenuItem::kCommand);
    EXPECT_TRUE(items[4].m_bEnabled) << "the window's own commands work at once";
}

TEST_F(ApplicationConfig, UnknownCommandAndAmbiguousEntryAreRejected)
{
    EXPECT_EQ(
        LoadError(R"({"plugins": [{"id": "a", "plugin": "W"}], "window": {"central": "a",
"menus": [{"title": "F", "items": [{"command": "explode"}]}]}})"),
        ":2:48: unknown command \"explode\" (known: quit, about, docks, record, save_recording)");
    EXPECT_EQ(LoadError(R"({"plugins": [{"id": "a", "plugin": "W"}], "window": {"central": "a",
"menus": [{"title": "F", "items": [{"action": "open", "command": "quit"}]}]}})"),
              ":2:36: a menu entry needs exactly one of \"action\", \"configure\", \"command\", "
              "\"separator\" or \"items\"");
}

TEST_F(ApplicationConfig, DockAreaMustBeKnown)
{
    EXPECT_EQ(LoadError(R"({"plugins": [{"id": "a", "plugin": "W"}], "window": {"central": "a",
"docks": [{"plugin": "a", "area": "middle"}]}})"),
              ":2:35: \"area\" must be left, right, top or bottom");
}

TEST_F(ApplicationConfig, MissingFileNamesItsPathAndReason)
{
    try
    {
        CApplicationConfig::Load("/nonexistent/app.json", "/app");
        FAIL() << "no error";
    }
    catch (const CConfigError& error)
    {
        EXPECT_EQ(std::string(error.what()).rfind("/nonexistent/app.json: cannot open", 0), 0u)
            << error.what();
    }
}

} // namespace

namespace
{

TEST_F(ApplicationConfig, IncludedFileAddsItsMembersAndOwnMembersWin)
{
    std::ofstream(m_folder.filePath("count.json").toStdString())
        << R"({"process": [{"type": "plugin", "plugin": "Label"}], "threaded": false, "home": "${APPDIR}"})";
    ASSERT_EQ(
        LoadError(
            R"({"plugins": [{"id": "tools", "plugin": "Toolbox", "parameters": {"tool plugins": [
        {"plugin": "ImageProcess", "callaction": "count", "threaded": true, "$include": "count.json"}]}}],
        "window": {"central": "tools"}})"),
        "");
    const Zarn::CValueMap& parameters = *m_pConfig->Plugins()[0].m_pParameters;
    const Zarn::CValue* pTool = parameters.Entry("tool plugins/0", true);
    EXPECT_FALSE(pTool->Map()->HasEntry(Zarn::CValue_Key("$include")));
    EXPECT_EQ(pTool->Map()->Entry("process/0/plugin", true)->String().StdString(), "Label");
    EXPECT_TRUE(pTool->Map()->Entry(Zarn::CValue_Key("threaded"), true)->Bool())
        << "the own member wins";
    EXPECT_EQ(pTool->Map()->Entry(Zarn::CValue_Key("home"), true)->String().StdString(),
              "/opt/docview/bin");
}

TEST_F(ApplicationConfig, BrokenIncludeNamesTheIncludeAndTheFile)
{
    std::ofstream(m_folder.filePath("bad.json").toStdString()) << "{\"process\": [}";
    const std::string strError = LoadError(R"({"plugins": [{"id": "t", "plugin": "Toolbox",
 "parameters": {"$include": "bad.json"}}], "window": {"central": "t"}})");
    EXPECT_EQ(
        strError.rfind(
            ":2:29: cannot include: " + m_folder.filePath("bad.json").toStdString() + ":1:14:", 0),
        0u)
        << strError;
    EXPECT_EQ(LoadError(R"({"plugins": [{"id": "t", "plugin": "Toolbox",
 "parameters": {"$include": "missing.json"}}], "window": {"central": "t"}})")
                  .rfind(":2:29: cannot include: " +
                             m_folder.filePath("missing.json").toStdString() + ": cannot open",
                         0),
              0u);
}

} // namespace
