#include "HostException.h"
#include "HostRegistryFixture.h"
#include "ModuleEntry.h"
#include "ModulePluginLoop.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QString>
#include <QWidget>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <typeinfo>

namespace
{

using DocViewTest::PluginPtr;

const auto Create = DocViewTest::CreateModulePlugin;

// Which registry entries a plug-in's Init borrows, and whether it wraps its errors.
struct SInitCase
{
    const char* m_szName;
    const char* m_szClass;
    bool m_bWrapped;
    bool m_bCommThread;
    bool m_bMessageIdFactory;
    bool m_bLogger;
};

const SInitCase kInitCases[] = {
    {"Navigator", "CNavigatorPlugin", true, true, true, false},
    {"ViewStack", "CViewStackPlugin", true, true, true, false},
    {"Workspace", "CWorkspacePlugin", true, true, true, false},
    {"Toolbox", "CToolboxPlugin", false, true, true, true},
    {"ActivityDialog", "CActivityDialogPlugin", true, false, true, false},
    {"ViewFactory", "CViewFactoryPlugin", true, true, true, false},
    {"ImageProcess", "CImageProcessPlugin", false, true, true, true},
};

bool StartsWith(const std::string& strText, const std::string& strPrefix)
{
    return strText.compare(0, strPrefix.size(), strPrefix) == 0;
}

// Inits `plugin` with `parameters`; Init must throw, and `check` looks at what it threw.
void ExpectInitThrows(Zarn::CPluginBase& plugin, const Zarn::CValueMap& parameters,
                      const std::function<void(const Zarn::CException&)>& check)
{
    try
    {
        plugin.Init(nullptr, parameters);
        ADD_FAILURE() << "Init did not throw";
    }
    catch (const Zarn::CException& caught)
    {
        check(caught);
    }
}

std::string PluginName(Zarn::CPluginBase& plugin)
{
    Zarn::CValueMap setup;
    plugin.GetPluginSetup(setup);
    return setup.EntryString(Zarn::CValue_Key("PluginName")).c_str();
}

QString WidgetName(Zarn::CPluginBase& plugin)
{
    Zarn::CValueMap setup;
    plugin.GetPluginSetup(setup);
    QWidget* pWidget =
        Zarn::UnwrapPointer<QWidget>(setup.Entry(Zarn::CValue_Key("WidgetPtr"), true));
    return pWidget ? pWidget->objectName() : QString("<no widget>");
}

// A registry value whose every type test throws a standard exception, so that the unwrapping of
// an Init runs into a std::exception that is not a host exception.
class CThrowingValue : public Zarn::CValue
{
public:
    CValue* Clone(EnTfOwnership) const override { return new CThrowingValue; }
    CValue& Copy(const CValue&, EnTfOwnership, bool) override { return *this; }
    CValue& Move(CValue&) override { return *this; }
    bool Equal(const CValue& other) const override { return &other == this; }
    bool EqualData(const CValue& other) const override { return &other == this; }
    EnValType GenericType() const override { throw std::runtime_error("value is unreadable"); }
};

using CPluginInitTest = CHostRegistryFixture;

// Init parameters holding only "name" (takes the value).
Zarn::CValueMap NameParameters(Zarn::CValue* name)
{
    Zarn::CValueMap parameters;
    parameters.SetEntry(Zarn::CValue_Key("name"), name);
    return parameters;
}

} // namespace

TEST_F(CPluginInitTest, EveryPluginInitsWithTheHostEntriesPresent)
{
    for (const SInitCase& initCase : kInitCases)
    {
        SCOPED_TRACE(initCase.m_szName);
        PluginPtr pPlugin = Create(initCase.m_szName);
        ASSERT_NE(pPlugin, nullptr);
        EXPECT_NO_THROW(pPlugin->Init(nullptr, Zarn::CValueMap()));
    }
}

TEST_F(CPluginInitTest, EntriesAPluginDoesNotBorrowMayBeMissing)
{
    for (const SInitCase& initCase : kInitCases)
    {
        SCOPED_TRACE(initCase.m_szName);
        PutHostEntries();
        if (!initCase.m_bCommThread)
        {
            Zarn::CRegistry::Obj().RemoveEntry(kCommThreadKey);
        }
        if (!initCase.m_bMessageIdFactory)
        {
            Zarn::CRegistry::Obj().RemoveEntry(kMessageIdFactoryKey);
        }
        if (!initCase.m_bLogger)
        {
            Zarn::CRegistry::Obj().RemoveEntry(kLoggerKey);
        }
        PluginPtr pPlugin = Create(initCase.m_szName);
        ASSERT_NE(pPlugin, nullptr);
        EXPECT_NO_THROW(pPlugin->Init(nullptr, Zarn::CValueMap()));
    }
}

TEST_F(CPluginInitTest, MissingBorrowedEntryMakesInitThrowWrappedOrUnchanged)
{
    for (const SInitCase& initCase : kInitCases)
    {
        const std::pair<const char*, bool> entries[] = {
            {kCommThreadKey, initCase.m_bCommThread},
            {kMessageIdFactoryKey, initCase.m_bMessageIdFactory},
            {kLoggerKey, initCase.m_bLogger},
        };
        for (const auto& [szKey, bBorrowed] : entries)
        {
            if (!bBorrowed)
            {
                continue;
            }
            SCOPED_TRACE(std::string(initCase.m_szName) + " without " + szKey);
            PutHostEntries();
            Zarn::CRegistry::Obj().RemoveEntry(szKey);
            PluginPtr pPlugin = Create(initCase.m_szName);
            ASSERT_NE(pPlugin, nullptr);
            ExpectInitThrows(
                *pPlugin, Zarn::CValueMap(),
                [&](const Zarn::CException& caught)
                {
                    const std::string strPrefix = std::string(initCase.m_szClass) + "::Init - ";
                    EXPECT_NE(std::string(caught.what()).find(szKey), std::string::npos)
                        << caught.what();
                    if (initCase.m_bWrapped)
                    {
                        EXPECT_TRUE(typeid(caught) == typeid(Zarn::CException));
                        EXPECT_TRUE(StartsWith(caught.function(), strPrefix)) << caught.function();
                    }
                    else
                    {
                        // The registry's own exception, passed on unchanged.
                        EXPECT_NE(dynamic_cast<const Zarn::CExBadParam*>(&caught), nullptr);
                        EXPECT_FALSE(StartsWith(caught.function(), initCase.m_szClass))
                            << caught.function();
                    }
                });
        }
    }
}

TEST_F(CPluginInitTest, EntryOfTheWrongTypeMakesWrappedInitThrowTheMismatch)
{
    Zarn::CRegistry::Obj().SetEntry(kMessageIdFactoryKey, new Zarn::CValueString("no factory"));
    for (const SInitCase& initCase : kInitCases)
    {
        SCOPED_TRACE(initCase.m_szName);
        PluginPtr pPlugin = Create(initCase.m_szName);
        ASSERT_NE(pPlugin, nullptr);
        ExpectInitThrows(
            *pPlugin, Zarn::CValueMap(),
            [&](const Zarn::CException& caught)
            {
                EXPECT_NE(std::string(caught.what()).find("does not match"), std::string::npos)
                    << caught.what();
                const std::string strFunction = caught.function();
                EXPECT_EQ(StartsWith(strFunction, std::string(initCase.m_szClass) + "::Init - "),
                          initCase.m_bWrapped)
                    << strFunction;
            });
    }
}

TEST_F(CPluginInitTest, StdExceptionInNavigatorInitReachesCallerAsHostExceptionWithoutPrefix)
{
    Zarn::CRegistry::Obj().SetEntry(kCommThreadKey, new CThrowingValue);
    PluginPtr pPlugin = Create("Navigator");
    ASSERT_NE(pPlugin, nullptr);
    DocViewTest::ExpectHostException([&] { pPlugin->Init(nullptr, Zarn::CValueMap()); },
                                     {"CNavigatorPlugin::Init", "value is unreadable", ""});
}

TEST_F(CPluginInitTest, StdExceptionInToolboxInitPassesUnchanged)
{
    Zarn::CRegistry::Obj().SetEntry(kCommThreadKey, new CThrowingValue);
    PluginPtr pPlugin = Create("Toolbox");
    ASSERT_NE(pPlugin, nullptr);
    try
    {
        pPlugin->Init(nullptr, Zarn::CValueMap());
        FAIL() << "Init did not throw";
    }
    catch (const Zarn::CException& caught)
    {
        FAIL() << "wrapped as " << caught.function();
    }
    catch (const std::runtime_error& caught)
    {
        EXPECT_STREQ(caught.what(), "value is unreadable");
    }
}

TEST_F(CPluginInitTest, NamedPluginsReportTheirDefaultNameAfterInitWithoutName)
{
    const std::pair<const char*, const char*> defaults[] = {
        {"ViewStack", "CViewStackPlugin"},
        {"Workspace", "CWorkspacePlugin"},
        {"Toolbox", "CToolBoxPlugin"}, // capital B, unlike the class
    };
    for (const auto& [szName, szDefault] : defaults)
    {
        SCOPED_TRACE(szName);
        PluginPtr pPlugin = Create(szName);
        ASSERT_NE(pPlugin, nullptr);
        pPlugin->Init(nullptr, Zarn::CValueMap());
        EXPECT_EQ(PluginName(*pPlugin), szDefault);
    }
}

TEST_F(CPluginInitTest, NamedPluginsReportTheGivenName)
{
    DocViewTest::ForEachModulePlugin({"ViewStack", "Workspace", "Toolbox"},
                                     [&](DocViewTest::PluginPtr& pPlugin)
                                     {
                                         const Zarn::CValueMap parameters =
                                             NameParameters(new Zarn::CValueString("main views"));
                                         pPlugin->Init(nullptr, parameters);
                                         EXPECT_EQ(PluginName(*pPlugin), "main views");
                                     });
}

TEST_F(CPluginInitTest, WidgetPluginsNameTheirWidgetAfterThePluginName)
{
    const std::pair<const char*, const char*> defaults[] = {
        {"Navigator", "unknown"},
        {"ViewStack", "CViewStackPlugin"},
        {"Workspace", "CWorkspacePlugin"},
    };
    for (const auto& [szName, szDefault] : defaults)
    {
        SCOPED_TRACE(szName);
        PluginPtr pDefault = Create(szName);
        ASSERT_NE(pDefault, nullptr);
        pDefault->Init(nullptr, Zarn::CValueMap());
        EXPECT_EQ(WidgetName(*pDefault), QString(szDefault));

        PluginPtr pNamed = Create(szName);
        ASSERT_NE(pNamed, nullptr);
        const Zarn::CValueMap parameters = NameParameters(new Zarn::CValueString("left pane"));
        pNamed->Init(nullptr, parameters);
        EXPECT_EQ(WidgetName(*pNamed), QString("left pane"));
    }
}

TEST_F(CPluginInitTest, NavigatorTakesUnknownForANameThatIsNoText)
{
    PluginPtr pPlugin = Create("Navigator");
    ASSERT_NE(pPlugin, nullptr);
    const Zarn::CValueMap parameters = NameParameters(new Zarn::CValueLong(12));
    EXPECT_NO_THROW(pPlugin->Init(nullptr, parameters));
    EXPECT_EQ(WidgetName(*pPlugin), QString("unknown"));
}

TEST_F(CPluginInitTest, NameThatIsNoTextMakesViewStackInitThrowWrapped)
{
    PluginPtr pPlugin = Create("ViewStack");
    ASSERT_NE(pPlugin, nullptr);
    const Zarn::CValueMap parameters = NameParameters(new Zarn::CValueLong(12));
    ExpectInitThrows(*pPlugin, parameters,
                     [](const Zarn::CException& caught) {
                         EXPECT_TRUE(StartsWith(caught.function(), "CViewStackPlugin::Init - "))
                             << caught.function();
                     });
}

TEST_F(CPluginInitTest, UpdateParametersAfterInitIgnoresAMessageNoPluginHandles)
{
    DocViewTest::ForEachModulePlugin(
        {"Navigator", "ViewStack", "Workspace", "Toolbox", "ActivityDialog", "ViewFactory",
         "ImageProcess"},
        [&](DocViewTest::PluginPtr& pPlugin)
        {
            pPlugin->Init(nullptr, Zarn::CValueMap());
            Zarn::CValueMap message;
            message.SetEntry(Zarn::CValue_Key("id"),
                             new Zarn::CValueLong(m_messageIdFactory.GetMessageId("SOMETHING")));
            message.SetEntry(Zarn::CValue_Key("data"), new Zarn::CValueString("payload"));
            EXPECT_NO_THROW(pPlugin->UpdateParameters(message));
        });
}
