#include "RecordingPlugin.h"

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <memory>

using namespace Zarn;

TEST(PluginBase, SetInstanceStoresTheText)
{
    CPluginBase plugin;
    EXPECT_TRUE(plugin.Instance().IsEmpty());
    plugin.SetInstance("Viewer #2");
    EXPECT_EQ(plugin.Instance(), CString("Viewer #2"));
}

TEST(PluginBase, SetInstanceWithNullStoresEmptyText)
{
    CPluginBase plugin;
    plugin.SetInstance("named");
    plugin.SetInstance(nullptr);
    EXPECT_TRUE(plugin.Instance().IsEmpty());
}

TEST(PluginBase, TestInterfaceAcceptsOwnInterfacesWithAndWithoutNamespace)
{
    CPluginBase plugin;
    for (const char* name : {"IObject", "IPluginObject", "CPluginBase", "Zarn::IObject",
                             "Zarn::IPluginObject", "Zarn::CPluginBase"})
    {
        EXPECT_TRUE(plugin.TestInterface(name)) << name;
    }
}

TEST(PluginBase, TestInterfaceRejectsOtherNames)
{
    CPluginBase plugin;
    for (const char* name : {"", "Zarn::", "iobject", "zarn::IObject", "IObject ", " IObject",
                             "Zarn::Zarn::IObject", "Other::IObject", "IObjectX", "CValueMap"})
    {
        EXPECT_FALSE(plugin.TestInterface(name)) << '"' << name << '"';
    }
}

TEST(PluginBase, TestParametersIsTrueByDefault)
{
    CPluginBase plugin;
    CValueMap parameters;
    EXPECT_TRUE(plugin.TestParameters(parameters));
    parameters.SetEntry("Anything", new CValueLong(-1));
    EXPECT_TRUE(plugin.TestParameters(parameters));
}

TEST(PluginBase, DefaultOperationsLeaveTheirMapsUntouched)
{
    CPluginBase plugin;
    CValueMap data;
    data.SetEntry("Input", new CValueLong(7));
    const CValueMap before(data);

    plugin.Run(data);
    plugin.UpdateParameters(data);
    plugin.Init(nullptr, data);
    plugin.Init(&data);
    plugin.DeleteData();
    EXPECT_TRUE(data.Equal(before));

    CValueMap setup;
    plugin.GetPluginSetup(setup);
    EXPECT_TRUE(setup.IsEmpty());
}

TEST(PluginBase, PluginObjectInitForwardsToOwnInitWithNullContext)
{
    CRecordingPlugin plugin;
    CValueMap parameters;
    parameters.SetEntry("Size", new CValueLong(3));
    parameters.SetEntry("Name", new CValueString("gauss"));

    IPluginObject& object = plugin;
    object.Init(&parameters);

    EXPECT_EQ(plugin.InitCount(), 1);
    EXPECT_EQ(plugin.LastContext(), nullptr);
    EXPECT_TRUE(plugin.LastParameters().Equal(parameters));
}

TEST(PluginBase, PluginObjectInitWithNullMapForwardsEmptyMap)
{
    CRecordingPlugin plugin;
    int context = 0;
    CValueMap parameters;
    parameters.SetEntry("Old", new CValueLong(1));
    plugin.Init(&context, parameters); // leaves a non-null context and a non-empty map behind

    IPluginObject& object = plugin;
    object.Init(nullptr);

    EXPECT_EQ(plugin.InitCount(), 2);
    EXPECT_EQ(plugin.LastContext(), nullptr);
    EXPECT_TRUE(plugin.LastParameters().IsEmpty());
}

TEST(PluginBase, DeletingThroughBasePointerRunsDerivedDestructor)
{
    bool bDestroyed = false;
    std::unique_ptr<CPluginBase> pPlugin = std::make_unique<CRecordingPlugin>("x", &bDestroyed);
    EXPECT_FALSE(bDestroyed);
    pPlugin.reset();
    EXPECT_TRUE(bDestroyed);
}

TEST(PluginBase, DeletingThroughObjectInterfaceRunsDerivedDestructor)
{
    bool bDestroyed = false;
    IObject* pObject = new CRecordingPlugin("x", &bDestroyed);
    delete pObject;
    EXPECT_TRUE(bDestroyed);
}
