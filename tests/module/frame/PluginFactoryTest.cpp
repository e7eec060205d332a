#include "ModuleEntry.h"
#include "ModulePluginLoop.h"
#include "activity/ActivityDialogPlugin.h"
#include "batch/ImageProcessPlugin.h"
#include "repository/RepositoryPlugin.h"
#include "toolbox/ToolboxPlugin.h"
#include "views/NavigatorPlugin.h"
#include "views/ViewFactoryPlugin.h"
#include "views/ViewStackPlugin.h"
#include "views/WorkspacePlugin.h"

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>

#include <QListWidget>
#include <QMdiArea>
#include <QPointer>
#include <QStackedWidget>
#include <QWidget>

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace
{

using DocViewTest::PluginPtr;

const auto Create = DocViewTest::CreateModulePlugin;

// The widget that the plug-in reports as "WidgetPtr".
QWidget* ReportedWidget(Zarn::CPluginBase& plugin)
{
    Zarn::CValueMap setup;
    plugin.GetPluginSetup(setup);
    return Zarn::UnwrapPointer<QWidget>(setup.Entry(Zarn::CValue_Key("WidgetPtr"), true));
}

// Whether the factory's answer is the plug-in of class TPlugin, and where it points: the widget
// plug-ins (QObject first) answer with their CPluginBase sub-object, the others with the object.
template <class TPlugin> void ExpectCreates(const char* szName, bool bBaseIsSubObject)
{
    SCOPED_TRACE(szName);
    PluginPtr pPlugin = Create(szName);
    ASSERT_NE(pPlugin, nullptr);
    EXPECT_NE(dynamic_cast<TPlugin*>(pPlugin.get()), nullptr);
    void* pObject = dynamic_cast<void*>(pPlugin.get());
    if (bBaseIsSubObject)
    {
        EXPECT_NE(pObject, static_cast<void*>(pPlugin.get()));
    }
    else
    {
        EXPECT_EQ(pObject, static_cast<void*>(pPlugin.get()));
    }
}

// The widget plug-in's answer reaches its own setup record, whose widget is of class TWidget and
// dies with the plug-in deleted through the answer.
template <class TWidget> void ExpectWidgetPlugin(const char* szName)
{
    SCOPED_TRACE(szName);
    PluginPtr pPlugin = Create(szName);
    ASSERT_NE(pPlugin, nullptr);
    QPointer<QWidget> pWidget = ReportedWidget(*pPlugin);
    ASSERT_FALSE(pWidget.isNull());
    EXPECT_NE(qobject_cast<TWidget*>(pWidget.data()), nullptr);
    EXPECT_EQ(pWidget->parentWidget(), nullptr);
    QPointer<QObject> pPluginObject = dynamic_cast<QObject*>(pPlugin.get());
    ASSERT_FALSE(pPluginObject.isNull());
    pPlugin.reset();
    EXPECT_TRUE(pWidget.isNull());
    EXPECT_TRUE(pPluginObject.isNull());
}

} // namespace

TEST(PluginFactory, EachNameCreatesItsClassAndAnswersWithTheCPluginBasePart)
{
    ExpectCreates<CRepositoryPlugin>("Repository", false);
    ExpectCreates<CNavigatorPlugin>("Navigator", true);
    ExpectCreates<CViewStackPlugin>("ViewStack", true);
    ExpectCreates<CWorkspacePlugin>("Workspace", true);
    ExpectCreates<CToolboxPlugin>("Toolbox", false);
    ExpectCreates<CActivityDialogPlugin>("ActivityDialog", false);
    ExpectCreates<CViewFactoryPlugin>("ViewFactory", false);
    ExpectCreates<CImageProcessPlugin>("ImageProcess", false);
}

TEST(PluginFactory, WrongCaseTrailingBlankUnknownEmptyAndNullNamesYieldNull)
{
    EXPECT_EQ(CreatePluginInstanceEx("repository"), nullptr);
    EXPECT_EQ(CreatePluginInstanceEx("Repository "), nullptr);
    EXPECT_EQ(CreatePluginInstanceEx(" Navigator"), nullptr);
    EXPECT_EQ(CreatePluginInstanceEx("ViewStackPlugin"), nullptr);
    EXPECT_EQ(CreatePluginInstanceEx("View"), nullptr);
    EXPECT_EQ(CreatePluginInstanceEx("Unknown"), nullptr);
    EXPECT_EQ(CreatePluginInstanceEx(""), nullptr);
    EXPECT_EQ(CreatePluginInstanceEx(nullptr), nullptr);
}

TEST(PluginFactory, EachCallCreatesANewObject)
{
    PluginPtr pFirst = Create("Toolbox");
    PluginPtr pSecond = Create("Toolbox");
    ASSERT_NE(pFirst, nullptr);
    EXPECT_NE(pFirst.get(), pSecond.get());
}

TEST(PluginFactory, NavigatorAnswerReachesItsListWidgetAndDeletingItDestroysThePlugin)
{
    ExpectWidgetPlugin<QListWidget>("Navigator");
}

TEST(PluginFactory, ViewStackAnswerReachesItsStackedWidgetAndDeletingItDestroysThePlugin)
{
    ExpectWidgetPlugin<QStackedWidget>("ViewStack");
}

TEST(PluginFactory, WorkspaceAnswerReachesItsMdiAreaAndDeletingItDestroysThePlugin)
{
    ExpectWidgetPlugin<QMdiArea>("Workspace");
}

TEST(PluginFactory, WidgetPluginsReportTheSameWidgetEveryTime)
{
    DocViewTest::ForEachModulePlugin(
        {"Navigator", "ViewStack", "Workspace"}, [&](DocViewTest::PluginPtr& pPlugin)
        { EXPECT_EQ(ReportedWidget(*pPlugin), ReportedWidget(*pPlugin)); });
}

// A widget that its toolkit owner already deleted is not deleted a second time by the plug-in.
TEST(PluginFactory, WidgetPluginSurvivesItsWidgetBeingDeletedFirst)
{
    DocViewTest::ForEachModulePlugin({"Navigator", "ViewStack", "Workspace"},
                                     [&](DocViewTest::PluginPtr& pPlugin)
                                     {
                                         delete ReportedWidget(*pPlugin);
                                         EXPECT_EQ(ReportedWidget(*pPlugin), nullptr);
                                         pPlugin.reset();
                                     });
}
