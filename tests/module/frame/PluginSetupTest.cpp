#include "ModuleEntry.h"
#include "ModulePluginLoop.h"

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QWidget>

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

namespace
{

using DocViewTest::PluginPtr;
using Record = std::map<std::string, std::string>;

const auto Create = DocViewTest::CreateModulePlugin;

// The setup record as text: strings as they are, a QWidget pointer value as "<widget>", anything
// else as "<other>" (which no expected record contains).
Record Describe(const Zarn::CValueMap& setup)
{
    Record record;
    for (auto it = setup.begin(); it != setup.end(); ++it)
    {
        const Zarn::CValue* pValue = it.Value();
        std::string strText = "<other>";
        if (pValue->GenericType() == Zarn::CValue::vtString)
        {
            strText = pValue->String().c_str();
        }
        else if (pValue->GenericType() == Zarn::CValue::vtPointer &&
                 Zarn::UnwrapPointer<QWidget>(pValue) != nullptr && !pValue->Pointer()->IsOwned())
        {
            strText = "<widget>";
        }
        record[it.Key().ToString()] = strText;
    }
    return record;
}

Record SetupOf(const char* szName)
{
    PluginPtr pPlugin = Create(szName);
    if (!pPlugin)
    {
        ADD_FAILURE() << "no plug-in for " << szName;
        return {};
    }
    Zarn::CValueMap setup;
    pPlugin->GetPluginSetup(setup);
    return Describe(setup);
}

} // namespace

TEST(PluginSetup, RepositoryBeforeInitReportsJanitorWithEmptyName)
{
    EXPECT_EQ(SetupOf("Repository"), (Record{{"Version", "version 1.0.0"},
                                             {"PluginType", "janitor"},
                                             {"PluginSubType", "docview repository"},
                                             {"PluginName", ""}}));
}

TEST(PluginSetup, NavigatorReportsItsWidgetAndNoName)
{
    EXPECT_EQ(SetupOf("Navigator"), (Record{{"Version", "version 1.0.0"},
                                            {"WidgetPtr", "<widget>"},
                                            {"PluginType", "QtWidget"},
                                            {"PluginSubType", "NavigatorPlugin"}}));
}

TEST(PluginSetup, ViewStackBeforeInitReportsItsWidgetAndEmptyName)
{
    EXPECT_EQ(SetupOf("ViewStack"), (Record{{"Version", "version 1.0.0"},
                                            {"WidgetPtr", "<widget>"},
                                            {"PluginType", "QtWidget"},
                                            {"PluginSubType", "ViewStack"},
                                            {"PluginName", ""}}));
}

TEST(PluginSetup, WorkspaceBeforeInitReportsItsWidgetAndEmptyName)
{
    EXPECT_EQ(SetupOf("Workspace"), (Record{{"Version", "version 1.0.0"},
                                            {"WidgetPtr", "<widget>"},
                                            {"PluginType", "QtWidget"},
                                            {"PluginSubType", "Workspace"},
                                            {"PluginName", ""}}));
}

// The toolbox names itself in its constructor, with a lower-case b unlike Init's default.
TEST(PluginSetup, ToolboxBeforeInitReportsOnlyVersionAndItsConstructorsName)
{
    EXPECT_EQ(SetupOf("Toolbox"),
              (Record{{"Version", "version 1.0.0"}, {"PluginName", "CToolboxPlugin"}}));
}

TEST(PluginSetup, ActivityDialogReportsDaemonPluginSpelledCorrectly)
{
    EXPECT_EQ(SetupOf("ActivityDialog"), (Record{{"Version", "version 1.0.0"},
                                                 {"PluginType", "DaemonPlugin"},
                                                 {"PluginSubType", "ActivityDialog"}}));
}

TEST(PluginSetup, ViewFactoryReportsDeamonPluginMisspelled)
{
    EXPECT_EQ(SetupOf("ViewFactory"), (Record{{"Version", "version 1.0.0"},
                                              {"PluginType", "DeamonPlugin"},
                                              {"PluginSubType", "ViewFactory"}}));
}

TEST(PluginSetup, ImageProcessLeavesAnEmptyMapEmpty)
{
    PluginPtr pPlugin = Create("ImageProcess");
    ASSERT_NE(pPlugin, nullptr);
    Zarn::CValueMap setup;
    pPlugin->GetPluginSetup(setup);
    EXPECT_TRUE(setup.IsEmpty());
}

TEST(PluginSetup, ImageProcessLeavesAFilledMapUntouched)
{
    PluginPtr pPlugin = Create("ImageProcess");
    ASSERT_NE(pPlugin, nullptr);
    Zarn::CValueMap setup;
    setup.SetEntry(Zarn::CValue_Key("Version"), new Zarn::CValueLong(7));
    const Zarn::CValueMap before(setup);
    pPlugin->GetPluginSetup(setup);
    EXPECT_TRUE(setup.Equal(before));
}

TEST(PluginSetup, EntriesAlreadyPresentAreReplacedAndOthersKept)
{
    DocViewTest::ForEachModulePlugin(
        {"Repository", "Navigator", "ViewStack", "Workspace", "Toolbox", "ActivityDialog",
         "ViewFactory"},
        [&](DocViewTest::PluginPtr& pPlugin)
        {
            Zarn::CValueMap setup;
            setup.SetEntry(Zarn::CValue_Key("Version"), new Zarn::CValueLong(7));
            setup.SetEntry(Zarn::CValue_Key("host entry"), new Zarn::CValueString("kept"));
            pPlugin->GetPluginSetup(setup);
            const Record record = Describe(setup);
            EXPECT_EQ(record.at("Version"), "version 1.0.0");
            EXPECT_EQ(record.at("host entry"), "kept");
        });
}
