#include <Zarn/String/String.h>
#include <Zarn/Value/TypeInfo.h>
#include <Zarn/Value/ValueContainer.h>

#include <gtest/gtest.h>

#include <sstream>

using namespace Zarn;

TEST(String, ArgFillsPlaceholdersInCallOrder)
{
    CString text("Requested '%1', got '%2', again '%1'", CString::encUtf8);
    text.Arg(CString("a")).Arg(CString("b"));
    EXPECT_EQ(text.StdString(), "Requested 'a', got 'b', again 'a'");
}

TEST(String, ArgDoesNotTouchLongerPlaceholders)
{
    CString text("%1 %12 %2");
    text.Arg(CString("x"));
    EXPECT_EQ(text.StdString(), "x %12 %2");
    text.Arg(CString("y"));
    EXPECT_EQ(text.StdString(), "x %12 y");
}

TEST(String, ArgWithoutPlaceholderLeavesText)
{
    CString text("plain");
    text.Arg(CString("x"));
    EXPECT_EQ(text.StdString(), "plain");
}

TEST(String, NullTextIsEmptyAndStreamsAsText)
{
    CString empty(static_cast<const char*>(nullptr));
    EXPECT_TRUE(empty.IsEmpty());
    std::ostringstream stream;
    stream << CString("abc", CString::encUtf8);
    EXPECT_EQ(stream.str(), "abc");
}

TEST(StringTools, PrintfFormatsLongTexts)
{
    const std::string longText(500, 'x');
    EXPECT_EQ(CStringTools::Printf("%s-%d", longText.c_str(), 42), longText + "-42");
    EXPECT_EQ(CStringTools::toString(4294967295u), "4294967295");
}

TEST(TypeInfo, TypesCompareByNameAndReadableNamesAreDemangled)
{
    EXPECT_TRUE(AreTypesEqual(typeid(CValueMap), typeid(CValueMap)));
    EXPECT_FALSE(AreTypesEqual(typeid(CValueMap), typeid(CValueVector)));
    EXPECT_EQ(ReadableTypeName(typeid(CValueMap)), "Zarn::CValueMap");
}
