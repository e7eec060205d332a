#include "frame/PluginErrors.h"

#include <Zarn/Exception/Exception.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace
{

// Runs the body wrapped and returns what reaches the caller; fails the test when nothing does.
template <class TBody> Zarn::CException CatchWrapped(const char* szOperation, TBody body)
{
    try
    {
        DocView::RunWrapped(szOperation, body);
    }
    catch (const Zarn::CException& caught)
    {
        return caught;
    }
    catch (...)
    {
        ADD_FAILURE() << "something other than Zarn::CException left RunWrapped";
        return Zarn::CException("", "", "");
    }
    ADD_FAILURE() << "nothing left RunWrapped";
    return Zarn::CException("", "", "");
}

} // namespace

TEST(PluginErrors, BodyThatDoesNotThrowRunsOnceAndNothingLeaves)
{
    int nCalls = 0;
    EXPECT_NO_THROW(DocView::RunWrapped("CNavigatorPlugin::Init", [&] { ++nCalls; }));
    EXPECT_EQ(nCalls, 1);
}

TEST(PluginErrors, HostExceptionIsRethrownWithOperationPrefixedToItsFunction)
{
    const Zarn::CException caught = CatchWrapped(
        "CNavigatorPlugin::Init",
        [] { throw Zarn::CException("CInner::Load", "file is broken", "inner instance"); });
    EXPECT_STREQ(caught.function(), "CNavigatorPlugin::Init - CInner::Load");
    EXPECT_STREQ(caught.what(), "file is broken");
    EXPECT_STREQ(caught.instance(), "inner instance");
}

TEST(PluginErrors, DerivedHostExceptionIsRethrownAsPlainHostExceptionKeepingItsTexts)
{
    const Zarn::CException caught = CatchWrapped(
        "CWorkspacePlugin::UpdateParameters",
        [] {
            throw Zarn::CExBadParam({"today", "File.cpp", "Fn", 12, 0}, "bad parameter text");
        });
    EXPECT_STREQ(caught.function(), "CWorkspacePlugin::UpdateParameters - Fn");
    EXPECT_STREQ(caught.what(), "bad parameter text");
}

TEST(PluginErrors, HostExceptionsAreWrappedAgainAtEachLevel)
{
    const Zarn::CException caught =
        CatchWrapped("COuter::Init",
                     [] {
                         DocView::RunWrapped("CInner::Init",
                                             [] { throw Zarn::CException("CCore::Do", "w", "i"); });
                     });
    EXPECT_STREQ(caught.function(), "COuter::Init - CInner::Init - CCore::Do");
    EXPECT_STREQ(caught.what(), "w");
    EXPECT_STREQ(caught.instance(), "i");
}

TEST(PluginErrors, StdExceptionBecomesHostExceptionWithBareWhatAndNoPrefix)
{
    const Zarn::CException caught =
        CatchWrapped("CNavigatorPlugin::Init", [] { throw std::runtime_error("vector too long"); });
    EXPECT_STREQ(caught.function(), "CNavigatorPlugin::Init");
    EXPECT_STREQ(caught.what(), "vector too long");
    EXPECT_EQ(std::string(caught.what()).find("STL Exception"), std::string::npos);
    // A null instance is kept as an empty text by the host.
    EXPECT_STREQ(caught.instance(), "");
}

TEST(PluginErrors, ForeignExceptionBecomesHostExceptionWithMisspeltUnknownText)
{
    const Zarn::CException caught = CatchWrapped("CActivityDialogPlugin::Init", [] { throw 42; });
    EXPECT_STREQ(caught.function(), "CActivityDialogPlugin::Init");
    EXPECT_STREQ(caught.what(), "UNKNWON EXCEPTION!");
    EXPECT_STREQ(caught.instance(), "");
}

TEST(PluginErrors, StateChangedBeforeTheThrowStaysChanged)
{
    int nValue = 0;
    EXPECT_THROW(DocView::RunWrapped("CViewFactoryPlugin::Init",
                                     [&]
                                     {
                                         nValue = 5;
                                         throw std::logic_error("late");
                                     }),
                 Zarn::CException);
    EXPECT_EQ(nValue, 5);
}
