#include <Zarn/Exception/Exception.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

using namespace Zarn;

namespace
{
struct SCounted
{
    static inline int s_nDestroyed = 0;
    ~SCounted() { ++s_nDestroyed; }
};

std::vector<std::string> KeyTexts(const CValueMap& map)
{
    std::vector<std::string> texts;
    for (auto it = map.begin(); it != map.end(); ++it)
    {
        texts.emplace_back(it.Key().ToString());
    }
    return texts;
}
} // namespace

TEST(ValueKey, TextIndexAndFixedKeysAreDistinctAndOrdered)
{
    EXPECT_EQ(CValue_Key("a"), CValue_Key(std::string("a")));
    EXPECT_NE(CValue_Key(1), CValue_Key("1"));
    EXPECT_EQ(CValue_Key(2), CValue_Key(2u));
    EXPECT_LT(CValue_Key(2), CValue_Key(10));
    EXPECT_LT(CValue_Key("b"), CValue_Key("c"));
    EXPECT_FALSE(CValue_Key().IsValid());
    EXPECT_STREQ(CValue_Key(12).ToString(), "12");
    EXPECT_TRUE(CValue_Key(CValue_Key::fkMeta).IsFixed());
    EXPECT_EQ(CValue_Key("42").AsIndex(), 42);
    EXPECT_EQ(CValue_Key("4a").AsIndex(), -1);
}

TEST(ValuePath, SlashSeparatesKeysAndEmptyPartsAreSkipped)
{
    const CValue_Path path("data//message/");
    ASSERT_EQ(path.Size(), 2u);
    EXPECT_EQ(path.Keys()[0], CValue_Key("data"));
    EXPECT_EQ(path.ToString(), "data/message");
}

TEST(ValuePath, SetStopsAtFirstKeyLeftAtDefault)
{
    CValue_Path path;
    path.Set("a", "b", 3);
    EXPECT_EQ(path.ToString(), "a/b/3");
    path.Set("a", "b", "c", "d", "e", "f");
    EXPECT_EQ(path.Size(), 6u);
}

TEST(ValueMap, SetEntryTakesOwnershipAndReplacesOldChild)
{
    SCounted::s_nDestroyed = 0;
    CValueMap map;
    map.SetEntry(CValue_Key("x"), new CValueOwnedPointer<SCounted>(new SCounted));
    map.SetEntry(CValue_Key("x"), new CValueLong(5));
    EXPECT_EQ(SCounted::s_nDestroyed, 1);
    EXPECT_EQ(map.EntryLong("x"), 5);
    EXPECT_EQ(map.Size(), 1u);
}

TEST(ValueMap, ChildrenAreOrderedByKey)
{
    CValueMap map;
    map.SetEntry(CValue_Key("zeta"), new CValueLong(1));
    map.SetEntry(CValue_Key("alpha"), new CValueLong(2));
    map.SetEntry(CValue_Key("map position"), new CValueLong(3));
    EXPECT_EQ(KeyTexts(map), (std::vector<std::string>{"alpha", "map position", "zeta"}));
    EXPECT_EQ(map.Keys().size(), 3u);
}

TEST(ValueMap, PathAccessCreatesIntermediateMaps)
{
    CValueMap map;
    map.SetEntry("output/documents/add", new CValueVector);
    ASSERT_TRUE(map.HasEntry("output/documents/add"));
    EXPECT_NE(map.Entry("output/documents", true)->Map(), nullptr);
    map.Entry("output/documents/add", true)->Vector()->PushBack(new CValueString("first"));
    EXPECT_EQ(map.Entry("output/documents/add/0", true)->String(), CString("first"));
    EXPECT_TRUE(map.RemoveEntry("output/documents/add"));
    EXPECT_FALSE(map.HasEntry("output/documents/add"));
}

TEST(ValueMap, PathSetWithoutCreationReportsMissingPart)
{
    CValueMap map;
    CValue::EnErrType enError = CValue::errNone;
    map.SetEntry("a/b", new CValueLong(1), false, &enError);
    EXPECT_EQ(enError, CValue::errNotFound);
    EXPECT_THROW(map.SetEntry("a/b", new CValueLong(1), false), CExBadParam);
    map.SetEntry(CValue_Key("a"), new CValueLong(1));
    map.SetEntry("a/b", new CValueLong(1), true, &enError);
    EXPECT_EQ(enError, CValue::errWrongType);
}

TEST(ValueMap, RequiredEntryMissingThrowsNamingThePath)
{
    CValueMap map;
    EXPECT_EQ(map.Entry("a/b", false), nullptr);
    try
    {
        map.Entry("a/b", true);
        FAIL() << "no exception";
    }
    catch (const CExBadParam& e)
    {
        EXPECT_STREQ(e.what(), "Entry 'a/b' not found");
    }
}

TEST(ValueMap, TypedGettersUseDefaultsOnlyForMissingKeys)
{
    CValueMap map;
    map.SetEntry(CValue_Key("name"), new CValueString("viewer"));
    map.SetEntry(CValue_Key("showmaximized"), new CValueBool(true));
    map.SetEntry(CValue_Key("count"), new CValueLong(4));
    EXPECT_EQ(map.EntryString("name"), CString("viewer"));
    EXPECT_EQ(map.EntryString("missing", CString("unknown")), CString("unknown"));
    EXPECT_TRUE(map.EntryBool("showmaximized", false));
    EXPECT_FALSE(map.EntryBool("missing", false));
    EXPECT_EQ(map.EntryLong("count", 0), 4);
    EXPECT_EQ(map.EntryLong("missing", 9), 9);
    EXPECT_DOUBLE_EQ(map.EntryDouble("count", 0.0), 4.0);
    EXPECT_THROW(map.EntryString("missing"), CExBadParam);
    EXPECT_THROW(map.EntryBool("missing"), CExBadParam);
    EXPECT_THROW(map.EntryLong("name", 0), CExBadType);
    EXPECT_THROW(map.EntryString("count", CString("x")), CExBadType);
}

TEST(ValueMap, WrongKindAccessorsThrowOrReturnNull)
{
    CValueString text("abc");
    EXPECT_EQ(text.Map(), nullptr);
    EXPECT_EQ(text.Vector(), nullptr);
    EXPECT_EQ(text.Pointer(), nullptr);
    EXPECT_THROW(text.Long(), CExBadType);
    EXPECT_THROW(text.Bool(), CExBadType);
    CValueLong number(3);
    EXPECT_DOUBLE_EQ(number.Double(), 3.0);
    static_cast<CValue&>(number).Double() = 1.0;
    EXPECT_EQ(number.Long(), 3);
    EXPECT_THROW(text.Double(), CExBadType);
    EXPECT_THROW(number.SetString("x", CString::NPOS), CExBadType);
}

TEST(ValueMap, HasEntryByKindAndByClass)
{
    CValueMap map;
    map.SetEntry(CValue_Key("widget"), new CValuePointer<CValueMap>(nullptr));
    map.SetEntry(CValue_Key("label"), new CValueString("a"));
    EXPECT_TRUE(map.HasEntry(CValue_Key("widget"), CValue::vtPointer));
    EXPECT_FALSE(map.HasEntry(CValue_Key("label"), CValue::vtPointer));
    EXPECT_TRUE(map.HasEntry(CValue_Key("widget"), typeid(CValuePointer<CValueMap>)));
    EXPECT_FALSE(map.HasEntry(CValue_Key("widget"), typeid(CValuePointer<int>)));
    EXPECT_FALSE(map.HasEntry(CValue_Key("none"), CValue::vtString));
}

TEST(ValueMap, DetachHandsChildToCaller)
{
    CValueMap map;
    map.SetEntry(CValue_Key("a"), new CValueLong(1));
    std::unique_ptr<CValue> pChild(map.Detach("a"));
    ASSERT_NE(pChild, nullptr);
    EXPECT_EQ(pChild->Long(), 1);
    EXPECT_TRUE(map.IsEmpty());
    EXPECT_EQ(map.Detach("a"), nullptr);
}

TEST(ValueMap, FindReturnsKeysOfMatchingChildrenInOrder)
{
    CValueMap map;
    map.SetEntry(CValue_Key("a"), new CValueString("x"));
    map.SetEntry(CValue_Key("b"), new CValueString("y"));
    map.SetEntry(CValue_Key("c"), new CValueString("x"));
    const CValue_Key first = map.Find("x", CValue_Key());
    EXPECT_EQ(first, CValue_Key("a"));
    EXPECT_EQ(map.Find("x", first), CValue_Key("c"));
    EXPECT_FALSE(map.Find("x", CValue_Key("c")).IsValid());
    EXPECT_EQ(map.Find(CValueString("y"), CValue_Key()), CValue_Key("b"));
}

TEST(ValueMap, SubsetAndCopyNewEntries)
{
    CValueMap small;
    small.SetEntry(CValue_Key("a"), new CValueLong(1));
    CValueMap large;
    large.SetEntry(CValue_Key("a"), new CValueLong(1));
    large.SetEntry(CValue_Key("b"), new CValueLong(2));
    EXPECT_TRUE(small.IsSubset(large));
    EXPECT_FALSE(large.IsSubset(small));
    small.SetEntry(CValue_Key("a"), new CValueLong(5));
    small.CopyNewEntries(large, CValue::tfShare);
    EXPECT_EQ(small.EntryLong("a"), 5);
    EXPECT_EQ(small.EntryLong("b"), 2);
}

TEST(ValueMap, CloneIsDeepAndEqual)
{
    CValueMap map;
    map.SetEntry("a/b", new CValueString("text"));
    map.SetEntry(CValue_Key("n"), new CValueDouble(2.5));
    std::unique_ptr<CValue> pClone(map.Clone(CValue::tfNone));
    EXPECT_TRUE(pClone->Equal(map));
    pClone->Map()->Entry("a/b", true)->String() = CString("changed");
    EXPECT_EQ(map.Entry("a/b", true)->String(), CString("text"));
    EXPECT_FALSE(pClone->Equal(map));
}

TEST(ValueMap, EqualComparesMetaButEqualDataDoesNot)
{
    CValueMap first;
    first.SetEntry(CValue_Key("a"), new CValueLong(1));
    CValueMap second(first);
    second.Meta().SetEntry(CValue_Key("note"), new CValueString("x"));
    EXPECT_FALSE(first.Equal(second));
    EXPECT_TRUE(first.EqualData(second));
    std::unique_ptr<CValue> pClone(second.Clone(CValue::tfShare));
    EXPECT_TRUE(pClone->Equal(second));
}

TEST(ValueMap, CopyFromOtherKindThrowsAndMoveEmptiesSource)
{
    CValueMap map;
    CValueVector vector;
    EXPECT_THROW(map.Copy(vector, CValue::tfShare, true), CExBadType);
    EXPECT_THROW(CValueMap{CValueLong(1)}, CExBadType);
    CValueMap source;
    source.SetEntry(CValue_Key("a"), new CValueLong(1));
    map.Move(source);
    EXPECT_TRUE(source.IsEmpty());
    EXPECT_EQ(map.EntryLong("a"), 1);
}

TEST(ValueMap, ConstructionFromValueCopiesAMap)
{
    CValueMap source;
    source.SetEntry(CValue_Key("a"), new CValueLong(1));
    const CValue& asValue = source;
    CValueMap copy(asValue);
    EXPECT_TRUE(copy.Equal(source));
}

TEST(ValueVector, IntegerKeysAddressElementsAndLiteralZeroIsAnIndex)
{
    CValueVector vector;
    vector.PushBack(new CValueString("first"));
    vector.SetEntry(1, new CValueString("second"));
    EXPECT_EQ(vector.Size(), 2u);
    EXPECT_EQ(vector.Entry(0, true)->String(), CString("first"));
    EXPECT_EQ(vector.Entry("1", true)->String(), CString("second"));
    EXPECT_TRUE(vector.HasEntry(0));
    EXPECT_FALSE(vector.HasEntry(2));
    EXPECT_THROW(vector.SetEntry(5, new CValueLong(1)), CExBadParam);
}

TEST(ValueVector, RemoveShiftsLaterElements)
{
    CValueVector vector;
    for (long i = 0; i < 3; ++i)
    {
        vector.PushBack(new CValueLong(i));
    }
    EXPECT_TRUE(vector.RemoveEntry(CValue_Key(0)));
    EXPECT_EQ(vector.Size(), 2u);
    EXPECT_EQ(vector.Entry(0, true)->Long(), 1);
    EXPECT_FALSE(vector.RemoveEntry(CValue_Key(7)));
}

TEST(ValueVector, AssignmentIsDeepAndCopyComparesEqual)
{
    CValueVector vector;
    vector.PushBack(new CValueBool(true));
    CValueVector copy;
    copy = vector;
    EXPECT_TRUE(copy.Equal(vector));
    copy.Entry(0, true)->Bool() = false;
    EXPECT_TRUE(vector.Entry(0, true)->Bool());
    EXPECT_FALSE(copy.EqualData(vector));
    std::unique_ptr<CValue> pClone(vector.Clone(CValue::tfNone));
    EXPECT_TRUE(pClone->Equal(vector));
}

TEST(ValueScalar, EachKindClonesCopiesAndComparesItsDatum)
{
    CValueString text("abc");
    CValueString other("xyz");
    other.Copy(text, CValue::tfNone, true);
    EXPECT_TRUE(other.Equal(text));
    CValueLong number(-7);
    std::unique_ptr<CValue> pClone(number.Clone(CValue::tfNone));
    EXPECT_EQ(pClone->Long(), -7);
    EXPECT_FALSE(number.EqualData(text));
    EXPECT_THROW(number.Copy(text, CValue::tfNone, true), CExBadType);
    CValueDouble real(1.5);
    EXPECT_DOUBLE_EQ(real.Double(), 1.5);
    CValueBool flag(true);
    CValueBool target;
    target.Move(flag);
    EXPECT_TRUE(target.Bool());
}

TEST(ValueScalar, StringLengthNposMeansUpToTerminatingZero)
{
    CValueString whole("hello", CString::NPOS);
    EXPECT_EQ(whole.String(), CString("hello"));
    CValueString part("hello", 3);
    EXPECT_EQ(part.String(), CString("hel"));
    part.SetString("world", CString::NPOS);
    EXPECT_EQ(part.String(), CString("world"));
}

TEST(ValueScalar, TypeIsTheValueClass)
{
    CValueLong number(1);
    EXPECT_TRUE(number.Type() == typeid(CValueLong));
    EXPECT_TRUE(number.ElementType() == typeid(void));
    EXPECT_EQ(number.GenericType(), CValue::vtLong);
}
