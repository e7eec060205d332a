#pragma once

#include <Zarn/Plugin/PluginBase.h>

#include <initializer_list>
#include <utility>

namespace DocViewTest
{

// Checks the setup record of a plug-in without widget and without name: exactly "Version",
// "PluginType" and "PluginSubType", with the texts given. Adds GoogleTest failures; throws
// nothing of its own. Call on the test's thread.
void ExpectSetupWithoutNameOrWidget(Zarn::CPluginBase& plugin, const char* version,
                                    const char* type, const char* subType);

// Checks that the plug-in's setup record holds these entries with these texts (others may stand
// beside them). Adds GoogleTest failures; throws nothing of its own.
void ExpectSetupTexts(Zarn::CPluginBase& plugin,
                      std::initializer_list<std::pair<const char*, const char*>> texts);

} // namespace DocViewTest
