#pragma once

// One check run on a new plug-in of the docview module for each of several names.

#include "ModuleEntry.h"

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>

namespace DocViewTest
{

// Makes a plug-in of each name through the module's entry and hands it to `check`, with the name
// in the trace of every failure. A name the module makes nothing for, or a fatal failure inside
// `check`, ends the loop as an ASSERT in a loop body ends the test. Called on the test's thread.
inline void ForEachModulePlugin(std::initializer_list<const char*> names,
                                const std::function<void(PluginPtr&)>& check)
{
    for (const char* szName : names)
    {
        SCOPED_TRACE(szName);
        PluginPtr pPlugin = CreateModulePlugin(szName);
        ASSERT_NE(pPlugin, nullptr);
        check(pPlugin);
        if (::testing::Test::HasFatalFailure())
        {
            return;
        }
    }
}

} // namespace DocViewTest
