// Loading the configured view factories, the orphanage, the set-up record and releasing.

#include "HostException.h"
#include "PluginSetupCheck.h"
#include "ViewFactoryHarness.h"

#include "views/ViewFactoryPlugin.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QApplication>
#include <QLabel>
#include <QPointer>

#include <string>
#include <vector>

namespace ViewFactoryTest
{
namespace
{

using Lines = std::vector<std::string>;

std::string StringAt(const Zarn::CValueMap& map, const char* key)
{
    return map.EntryString(Zarn::CValue_Key(key)).StdString();
}

QLabel* ParentGiven(const SFactoryBehaviour& behaviour, size_t nCall = 0)
{
    const Zarn::CValue* pParent =
        behaviour.m_lstInitParameters.at(nCall).Entry(Zarn::CValue_Key("parent"), true);
    return qobject_cast<QLabel*>(const_cast<QWidget*>(Zarn::UnwrapPointer<QWidget>(pParent)));
}

QList<QWidget*> OrphanageWidgets()
{
    QList<QWidget*> lstFound;
    for (QWidget* pWidget : QApplication::allWidgets())
    {
        if (pWidget->objectName() == QStringLiteral("Orphanage"))
        {
            lstFound.push_back(pWidget);
        }
    }
    return lstFound;
}

class CViewFactoryLoad : public CViewFactoryFixture
{
protected:
    // Parameters naming FactoryA, whose entry brings a "parent" of its own.
    static Zarn::CValueMap* ViewsWithOwnParent()
    {
        Zarn::CValueMap* pEntry = FactoryEntry("FactoryA");
        pEntry->SetEntry(Zarn::CValue_Key("parent"), new Zarn::CValueString("own parent"));
        auto* pViews = new Zarn::CValueVector;
        pViews->PushBack(pEntry);
        auto* pParameters = new Zarn::CValueMap;
        pParameters->SetEntry(Zarn::CValue_Key("views"), pViews);
        return pParameters;
    }
};

TEST_F(CViewFactoryLoad, SetupRecordHasTypeAndSubTypeButNoNameAndNoWidget)
{
    StartViewFactory(nullptr);
    DocViewTest::ExpectSetupWithoutNameOrWidget(*m_pPlugin, "version 1.0.0", "DeamonPlugin",
                                                "ViewFactory");
}

TEST_F(CViewFactoryLoad, InitWithoutViewsLoadsNothingAndPrintsNothing)
{
    StartViewFactory(nullptr);
    EXPECT_EQ(TakeOutputLines(), Lines{});
    EXPECT_EQ(TakeErrorText(), "");
    EXPECT_EQ(m_journal.m_lstEvents, Lines{});
}

TEST_F(CViewFactoryLoad, FactoriesAreLoadedInConfigurationOrderWithTheirOwnEntryMaps)
{
    SFactoryBehaviour& first = RegisterFactory("FactoryA");
    SFactoryBehaviour& second = RegisterFactory("FactoryB");
    StartViewFactory(ViewsParameters({"FactoryB", "FactoryA"}, false));

    EXPECT_EQ(TakeOutputLines(),
              (Lines{"CViewFactoryPlugin::Init: Viewfactory plugin FactoryB loaded.",
                     "CViewFactoryPlugin::Init: Viewfactory plugin FactoryA loaded."}));
    EXPECT_EQ(TakeErrorText(), "");
    EXPECT_EQ(m_journal.m_lstEvents, (Lines{"Init FactoryB", "Init FactoryA"}));
    ASSERT_EQ(first.m_lstInitParameters.size(), 1u);
    ASSERT_EQ(second.m_lstInitParameters.size(), 1u);
    // The whole entry map is the factory's own parameter map; no "parent" was asked for.
    EXPECT_EQ(StringAt(first.m_lstInitParameters[0], "factory"), "FactoryA");
    EXPECT_EQ(StringAt(first.m_lstInitParameters[0], "tag"), "FactoryA");
    EXPECT_EQ(first.m_lstInitParameters[0].Size(), 2u);
    EXPECT_EQ(StringAt(second.m_lstInitParameters[0], "tag"), "FactoryB");
}

TEST_F(CViewFactoryLoad, ParentParameterGivesEachFactoryTheHiddenOrphanageAsParent)
{
    SFactoryBehaviour& first = RegisterFactory("FactoryA");
    SFactoryBehaviour& second = RegisterFactory("FactoryB");
    StartViewFactory(ViewsParameters({"FactoryA", "FactoryB"}, true));

    QLabel* pOrphanage = ParentGiven(first);
    ASSERT_NE(pOrphanage, nullptr);
    EXPECT_EQ(ParentGiven(second), pOrphanage);
    EXPECT_EQ(pOrphanage->text(),
              QStringLiteral("Orphanage - If you can see this, something's wrong!"));
    EXPECT_EQ(pOrphanage->objectName(), QStringLiteral("Orphanage"));
    EXPECT_EQ(pOrphanage->parentWidget(), nullptr);
    EXPECT_TRUE(pOrphanage->isHidden());
    EXPECT_FALSE(pOrphanage->isVisible());
    EXPECT_EQ(pOrphanage->windowFlags(), QLabel().windowFlags());
}

TEST_F(CViewFactoryLoad, OrphanageReplacesAParentThatTheEntryBrought)
{
    SFactoryBehaviour& behaviour = RegisterFactory("FactoryA");
    Zarn::CValueMap* pParameters = ViewsWithOwnParent();
    pParameters->SetEntry(Zarn::CValue_Key("parent"), new Zarn::CValueLong(0));
    StartViewFactory(pParameters);

    QLabel* pOrphanage = ParentGiven(behaviour);
    ASSERT_NE(pOrphanage, nullptr);
    EXPECT_EQ(pOrphanage->objectName(), QStringLiteral("Orphanage"));
}

TEST_F(CViewFactoryLoad, WithoutParentParameterTheEntryKeepsItsOwnParent)
{
    SFactoryBehaviour& behaviour = RegisterFactory("FactoryA");
    Zarn::CValueMap* pParameters = ViewsWithOwnParent();
    StartViewFactory(pParameters);

    ASSERT_EQ(behaviour.m_lstInitParameters.size(), 1u);
    EXPECT_EQ(StringAt(behaviour.m_lstInitParameters[0], "parent"), "own parent");
}

TEST_F(CViewFactoryLoad, OrphanageExistsAfterInitEvenWithoutFactoriesAndGoesWithDeleteData)
{
    const qsizetype nBefore = OrphanageWidgets().size();
    StartViewFactory(nullptr);
    const QList<QWidget*> lstAfter = OrphanageWidgets();
    ASSERT_EQ(lstAfter.size(), nBefore + 1);
    QPointer<QWidget> pOrphanage = lstAfter.back();
    EXPECT_FALSE(pOrphanage->isVisible());
    m_pPlugin->DeleteData();
    m_bPluginDataDeleted = true;
    EXPECT_TRUE(pOrphanage.isNull());
}

TEST_F(CViewFactoryLoad, BrokenFactoriesArePrintedAndTheOthersStillLoad)
{
    RegisterFactory("Good1");
    RegisterFactory("ZarnThrower").m_enInitThrows = SFactoryBehaviour::throwZarn;
    RegisterFactory("StdThrower").m_enInitThrows = SFactoryBehaviour::throwStd;
    RegisterFactory("IntThrower").m_enInitThrows = SFactoryBehaviour::throwUnknown;
    RegisterFactory("Good2");
    StartViewFactory(
        ViewsParameters({"Good1", "ZarnThrower", "StdThrower", "IntThrower", "Good2"}, true));

    EXPECT_EQ(TakeOutputLines(),
              (Lines{"CViewFactoryPlugin::Init: Viewfactory plugin Good1 loaded.",
                     "CViewFactoryPlugin::Init: Caught Zarn exception!(factory refused to start)",
                     "CViewFactoryPlugin::Init: Caught stl-exception!(factory refused to start)",
                     "CViewFactoryPlugin::Init: Caught unknwon exception!",
                     "CViewFactoryPlugin::Init: Viewfactory plugin Good2 loaded."}));
    EXPECT_EQ(TakeErrorText(), "");
}

TEST_F(CViewFactoryLoad, FactoryThatFailedItsInitStaysAndIsReleasedInOrder)
{
    RegisterFactory("Good1");
    RegisterFactory("Broken").m_enInitThrows = SFactoryBehaviour::throwStd;
    RegisterFactory("Good2");
    StartViewFactory(ViewsParameters({"Good1", "Broken", "Good2"}, false));
    m_journal.m_lstEvents.clear();

    m_pPlugin->DeleteData();
    m_bPluginDataDeleted = true;
    EXPECT_EQ(m_journal.m_lstEvents,
              (Lines{"DeleteData Good1", "destroyed Good1", "DeleteData Broken", "destroyed Broken",
                     "DeleteData Good2", "destroyed Good2"}));
}

TEST_F(CViewFactoryLoad, BrokenFactoryStaysInTheListAndIsAskedForDocuments)
{
    SFactoryBehaviour& broken = RegisterFactory("Broken");
    broken.m_enInitThrows = SFactoryBehaviour::throwZarn;
    broken.m_bAccepts = false;
    RegisterFactory("Good");
    StartViewFactory(ViewsParameters({"Broken", "Good"}, false));
    TakeOutputLines();

    Zarn::CValueMap doc;
    PostDocument("NEW_DOCUMENT", &doc);
    Deliver();
    EXPECT_EQ(broken.m_lstTestedDocuments.size(), 1u);
    EXPECT_EQ(Delivered("ADD_VIEW").size(), 1u);
}

TEST_F(CViewFactoryLoad, UnknownFactoryNameIsPrintedAndTheNextOneStillLoads)
{
    RegisterFactory("Good");
    StartViewFactory(ViewsParameters({"NoSuchFactory", "Good"}, false));
    const Lines lstLines = TakeOutputLines();
    ASSERT_EQ(lstLines.size(), 2u);
    EXPECT_EQ(lstLines[0].rfind("CViewFactoryPlugin::Init: Caught Zarn exception!(", 0), 0u)
        << lstLines[0];
    EXPECT_NE(lstLines[0].find("NoSuchFactory"), std::string::npos);
    EXPECT_EQ(lstLines[0].back(), ')');
    EXPECT_EQ(lstLines[1], "CViewFactoryPlugin::Init: Viewfactory plugin Good loaded.");
}

TEST_F(CViewFactoryLoad, EntryWithoutFactoryNameIsPrintedAndTheNextOneStillLoads)
{
    RegisterFactory("Good");
    auto* pViews = new Zarn::CValueVector;
    pViews->PushBack(new Zarn::CValueMap);
    pViews->PushBack(FactoryEntry("Good"));
    auto* pParameters = new Zarn::CValueMap;
    pParameters->SetEntry(Zarn::CValue_Key("views"), pViews);
    StartViewFactory(pParameters);

    const Lines lstLines = TakeOutputLines();
    ASSERT_EQ(lstLines.size(), 2u);
    EXPECT_EQ(lstLines[0].rfind("CViewFactoryPlugin::Init: Caught Zarn exception!(", 0), 0u)
        << lstLines[0];
    EXPECT_EQ(lstLines[1], "CViewFactoryPlugin::Init: Viewfactory plugin Good loaded.");
}

TEST_F(CViewFactoryLoad, DestructorWithoutDeleteDataLeavesTheFactoriesAlone)
{
    SFactoryBehaviour& behaviour = RegisterFactory("FactoryA");
    StartViewFactory(ViewsParameters({"FactoryA"}, true));
    QPointer<QLabel> pOrphanage = ParentGiven(behaviour);
    ASSERT_FALSE(pOrphanage.isNull());

    m_pThread->Unsubscribe(m_pPlugin);
    delete m_pPlugin;
    m_pPlugin = nullptr;
    EXPECT_TRUE(pOrphanage.isNull());
    EXPECT_EQ(m_journal.Count("destroyed FactoryA"), 0);
    EXPECT_EQ(m_journal.Count("DeleteData FactoryA"), 0);
    ASSERT_EQ(behaviour.m_lstInstances.size(), 1u);
    delete behaviour.m_lstInstances[0];
}

TEST_F(CViewFactoryLoad, MissingCommThreadFailsInitAsWrappedHostException)
{
    Zarn::CRegistry::Obj().RemoveEntry(Zarn::CValue_Key("tmp/commthread"));
    m_pPlugin = new CViewFactoryPlugin;
    DocViewTest::ExpectHostExceptionFrom([&] { m_pPlugin->Init(nullptr, Zarn::CValueMap()); },
                                         "CViewFactoryPlugin::Init - ");
}

TEST_F(CViewFactoryLoad, ViewsThatIsNoVectorFailsInitAsWrappedHostException)
{
    RegisterFactory("FactoryA");
    Zarn::CValueMap parameters;
    parameters.SetEntry(Zarn::CValue_Key("views"), new Zarn::CValueString("FactoryA"));
    m_pPlugin = new CViewFactoryPlugin;
    DocViewTest::ExpectHostExceptionFrom([&] { m_pPlugin->Init(nullptr, parameters); },
                                         "CViewFactoryPlugin::Init - ");
    EXPECT_EQ(m_journal.m_lstEvents, Lines{});
}

} // namespace
} // namespace ViewFactoryTest
