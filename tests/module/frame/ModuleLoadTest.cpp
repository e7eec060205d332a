// The built module as the host sees it: opened with dlopen, entered only through
// CreatePluginInstanceEx, its plug-ins used only as Zarn::CPluginBase.

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>

#include <QPointer>
#include <QWidget>

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstring>
#include <memory>
#include <string>

namespace
{

class CModuleLoadTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        // Never closed, as the host's loader does: plug-in code must outlive its objects.
        s_pModule = dlopen(DOCVIEW_MODULE_FILE, RTLD_NOW | RTLD_LOCAL);
        if (s_pModule != nullptr)
        {
            s_pfnCreate = reinterpret_cast<Zarn::PFN_CreatePluginInstanceEx>(
                dlsym(s_pModule, "CreatePluginInstanceEx"));
        }
    }

    void SetUp() override
    {
        ASSERT_NE(s_pModule, nullptr) << dlerror();
        ASSERT_NE(s_pfnCreate, nullptr);
    }

    static Zarn::CPluginBase* Create(const char* szName)
    {
        return static_cast<Zarn::CPluginBase*>(s_pfnCreate(szName));
    }

    static std::string SubType(Zarn::CPluginBase& plugin)
    {
        Zarn::CValueMap setup;
        plugin.GetPluginSetup(setup);
        if (!setup.HasEntry(Zarn::CValue_Key("PluginSubType")))
        {
            return "<none>";
        }
        return setup.EntryString(Zarn::CValue_Key("PluginSubType")).c_str();
    }

    // The plug-in of that name is a widget plug-in whose widget is of the class (or a subclass);
    // deleting the answer as CPluginBase deletes the widget too.
    static void ExpectWidgetPluginAnswer(const char* szName, const char* szWidgetClass)
    {
        SCOPED_TRACE(szName);
        Zarn::CPluginBase* pPlugin = Create(szName);
        ASSERT_NE(pPlugin, nullptr);
        EXPECT_NE(dynamic_cast<void*>(pPlugin), static_cast<void*>(pPlugin));
        Zarn::CValueMap setup;
        pPlugin->GetPluginSetup(setup);
        QPointer<QWidget> pWidget =
            Zarn::UnwrapPointer<QWidget>(setup.Entry(Zarn::CValue_Key("WidgetPtr"), true));
        ASSERT_FALSE(pWidget.isNull());
        // The plug-ins may use their own subclass (the navigator's CViewListBox).
        EXPECT_TRUE(pWidget->inherits(szWidgetClass)) << pWidget->metaObject()->className();
        delete pPlugin;
        EXPECT_TRUE(pWidget.isNull());
    }

    static inline void* s_pModule = nullptr;
    static inline Zarn::PFN_CreatePluginInstanceEx s_pfnCreate = nullptr;
};

} // namespace

TEST_F(CModuleLoadTest, EveryNameYieldsAPluginReportingItsOwnSubType)
{
    const std::pair<const char*, const char*> names[] = {
        {"Repository", "docview repository"},
        {"Navigator", "NavigatorPlugin"},
        {"ViewStack", "ViewStack"},
        {"Workspace", "Workspace"},
        {"Toolbox", "<none>"},
        {"ActivityDialog", "ActivityDialog"},
        {"ViewFactory", "ViewFactory"},
        {"ImageProcess", "<none>"},
    };
    for (const auto& [szName, szSubType] : names)
    {
        SCOPED_TRACE(szName);
        std::unique_ptr<Zarn::CPluginBase> pPlugin(Create(szName));
        ASSERT_NE(pPlugin, nullptr);
        EXPECT_EQ(SubType(*pPlugin), szSubType);
    }
}

TEST_F(CModuleLoadTest, NamesDifferingInCaseOrBlanksAndUnknownNamesYieldNull)
{
    for (const char* szName :
         {"repository", "Repository ", "NAVIGATOR", "Tool box", "EchoPlugin", ""})
    {
        EXPECT_EQ(Create(szName), nullptr) << '"' << szName << '"';
    }
}

// The answer for a widget plug-in is not the object's own address; used as CPluginBase it still
// reaches the plug-in's setup record, and deleting through it destroys the plug-in and its widget.
TEST_F(CModuleLoadTest, WidgetPluginsAnswerReachesTheirWidgetAndDeletingDestroysIt)
{
    ExpectWidgetPluginAnswer("Navigator", "QListWidget");
    ExpectWidgetPluginAnswer("ViewStack", "QStackedWidget");
    ExpectWidgetPluginAnswer("Workspace", "QMdiArea");
}
