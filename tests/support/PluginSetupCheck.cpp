#include "PluginSetupCheck.h"

#include "ValueReading.h"

#include <Zarn/Value/ValueContainer.h>

#include <gtest/gtest.h>

namespace DocViewTest
{

void ExpectSetupWithoutNameOrWidget(Zarn::CPluginBase& plugin, const char* version,
                                    const char* type, const char* subType)
{
    Zarn::CValueMap setup;
    plugin.GetPluginSetup(setup);
    EXPECT_EQ(setup.Size(), 3u);
    EXPECT_EQ(StringAt(setup, "Version"), version);
    EXPECT_EQ(StringAt(setup, "PluginType"), type);
    EXPECT_EQ(StringAt(setup, "PluginSubType"), subType);
    EXPECT_FALSE(setup.HasEntry(Zarn::CValue_Key("PluginName")));
    EXPECT_FALSE(setup.HasEntry(Zarn::CValue_Key("WidgetPtr")));
}

void ExpectSetupTexts(Zarn::CPluginBase& plugin,
                      std::initializer_list<std::pair<const char*, const char*>> texts)
{
    Zarn::CValueMap setup;
    plugin.GetPluginSetup(setup);
    for (const auto& [szKey, szText] : texts)
    {
        EXPECT_EQ(StringAt(setup, szKey), szText) << szKey;
    }
}

} // namespace DocViewTest
