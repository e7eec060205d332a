#include <Zarn/Exception/Exception.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <memory>

using namespace Zarn;

namespace
{
// Exposes the serialised form for the round-trip test.
class CInspectableException : public CException
{
public:
    using CException::CException;
    using CException::Devectorize;
    using CException::Vectorize;
};
} // namespace

TEST(Exception, ThreeTextsAreKeptAsEntries)
{
    const CException e("CNavigatorPlugin::Init", "bad parameter", "navigator 1");
    EXPECT_STREQ(e.what(), "bad parameter");
    EXPECT_STREQ(e.instance(), "navigator 1");
    EXPECT_EQ(e.Entry("Function")->String(), CString("CNavigatorPlugin::Init"));
    EXPECT_STREQ(e.FormattedWhat(), "CNavigatorPlugin::Init: bad parameter [navigator 1]");
    EXPECT_STREQ(e.formattedWhat(), e.FormattedWhat());
}

TEST(Exception, NullTextsBecomeEmpty)
{
    const CException e("f", nullptr, nullptr);
    EXPECT_STREQ(e.what(), "");
    EXPECT_STREQ(e.instance(), "");
    EXPECT_STREQ(e.FormattedWhat(), "f: ");
}

TEST(Exception, CopyAndAssignmentAreDeep)
{
    CException original("f", "w", "i");
    CException copy(original);
    original.Entry("Function")->String() = CString("changed");
    EXPECT_EQ(copy.Entry("Function")->String(), CString("f"));
    CException assigned("x", "y", "z");
    assigned = copy;
    EXPECT_STREQ(assigned.what(), "w");
    EXPECT_STREQ(assigned.function(), "f");
}

TEST(Exception, CaughtAsStdException)
{
    try
    {
        throw CException("f", "as std", nullptr);
    }
    catch (const std::exception& e)
    {
        EXPECT_STREQ(e.what(), "as std");
    }
}

TEST(Exception, BadParamCarriesLocation)
{
    const CExBadParam e({"date", "Value/ValuePointer", "Zarn::UnwrapPointer", 676, 0}, "msg");
    EXPECT_STREQ(e.function(), "Zarn::UnwrapPointer");
    EXPECT_STREQ(e.what(), "msg");
    EXPECT_EQ(e.Entry("Line")->Long(), 676);
    EXPECT_EQ(e.Entry("File")->String(), CString("Value/ValuePointer"));
}

TEST(Exception, BadTypeNamesOffendingValueClass)
{
    CValueLong number(1);
    const CExBadType e(ZARN_LOCATION, &number);
    EXPECT_STREQ(e.what(), "Bad value type: 'Zarn::CValueLong'");
    EXPECT_EQ(e.Entry("OffendingType")->String(), CString("Zarn::CValueLong"));
}

TEST(Exception, VectorizeRoundTripRestoresEntries)
{
    const CInspectableException original("f", "w", "i");
    std::unique_ptr<CValueVector> pVector(original.Vectorize());
    ASSERT_EQ(pVector->Size(), 2u);
    EXPECT_EQ(pVector->Entry(0, true)->String(), CString("Zarn::CException"));
    CInspectableException restored("", "", "");
    restored.Devectorize(pVector.get());
    EXPECT_STREQ(restored.FormattedWhat(), "f: w [i]");
    CValueVector malformed;
    EXPECT_THROW(restored.Devectorize(&malformed), CExBadParam);
}
