#include <Zarn/Serial/TextSerializer.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>

using namespace Zarn;

namespace
{

std::string Serialized(const CValue* value, bool bCompact = true, bool bWithMeta = false,
                       const char* name = nullptr)
{
    std::ostringstream stream;
    CTextSerializer(bCompact, bWithMeta, name).Serialize(value, stream);
    return stream.str();
}

// {"a": 1, "b": [true, "x"], "c": {}}
CValueMap MakeSmallTree()
{
    CValueMap map;
    map.SetEntry(CValue_Key("a"), new CValueLong(1));
    auto* pVector = new CValueVector();
    pVector->PushBack(new CValueBool(true));
    pVector->PushBack(new CValueString("x"));
    map.SetEntry(CValue_Key("b"), pVector);
    map.SetEntry(CValue_Key("c"), new CValueMap());
    return map;
}

} // namespace

TEST(TextSerializer, ScalarsCompact)
{
    const CValueBool yes(true);
    const CValueBool no(false);
    const CValueLong negative(-17);
    const CValueDouble whole(2.0);
    const CValueDouble tenth(0.1);
    const CValueString text("say \"hi\"\\\n");
    EXPECT_EQ(Serialized(&yes), "true");
    EXPECT_EQ(Serialized(&no), "false");
    EXPECT_EQ(Serialized(&negative), "-17");
    EXPECT_EQ(Serialized(&whole), "2.0");
    EXPECT_EQ(Serialized(&tenth), "0.1");
    EXPECT_EQ(Serialized(&text), R"("say \"hi\"\\\n")");
}

TEST(TextSerializer, ScalarsAreTheSameWhenNotCompact)
{
    const CValueLong number(5);
    const CValueString text("x");
    EXPECT_EQ(Serialized(&number, false), "5");
    EXPECT_EQ(Serialized(&text, false), "\"x\"");
}

TEST(TextSerializer, ContainersCompact)
{
    const CValueMap map = MakeSmallTree();
    const CValueMap emptyMap;
    const CValueVector emptyVector;
    EXPECT_EQ(Serialized(&map), R"({"a":1,"b":[true,"x"],"c":{}})");
    EXPECT_EQ(Serialized(&emptyMap), "{}");
    EXPECT_EQ(Serialized(&emptyVector), "[]");
}

TEST(TextSerializer, ContainersIndented)
{
    const CValueMap map = MakeSmallTree();
    const CValueVector emptyVector;
    EXPECT_EQ(Serialized(&map, false), "{\n"
                                       "    \"a\": 1,\n"
                                       "    \"b\": [\n"
                                       "        true,\n"
                                       "        \"x\"\n"
                                       "    ],\n"
                                       "    \"c\": {}\n"
                                       "}");
    EXPECT_EQ(Serialized(&emptyVector, false), "[]");
}

TEST(TextSerializer, NullValue)
{
    EXPECT_EQ(Serialized(nullptr), "null");
    EXPECT_EQ(Serialized(nullptr, true, false, "data"), "data=null");
}

TEST(TextSerializer, NamePrefixesTheValue)
{
    const CValueMap map = MakeSmallTree();
    const CValueLong number(3);
    EXPECT_EQ(Serialized(&number, true, false, "count"), "count=3");
    EXPECT_EQ(Serialized(&map, true, false, "data"), R"(data={"a":1,"b":[true,"x"],"c":{}})");
    EXPECT_EQ(Serialized(&map, false, false, "data").rfind("data={\n    \"a\": 1,", 0), 0u);
}

TEST(TextSerializer, MetaOnlyWhenAsked)
{
    CValueMap map;
    auto* pWidth = new CValueLong(640);
    pWidth->Meta().SetEntry(CValue_Key("unit"), new CValueString("px"));
    map.SetEntry(CValue_Key("width"), pWidth);
    map.SetEntry(CValue_Key("plain"), new CValueBool(false));

    EXPECT_EQ(Serialized(&map, true, false), R"({"plain":false,"width":640})");
    EXPECT_EQ(Serialized(&map, true, true),
              R"({"plain":false,"width":{"value":640,"meta":{"unit":"px"}}})");
    EXPECT_EQ(Serialized(pWidth, false, true), "{\n"
                                               "    \"value\": 640,\n"
                                               "    \"meta\": {\n"
                                               "        \"unit\": \"px\"\n"
                                               "    }\n"
                                               "}");
}

TEST(TextSerializer, EmptiedMetaMapIsNotWritten)
{
    CValueLong number(1);
    number.Meta().SetEntry(CValue_Key("gone"), new CValueLong(2));
    number.Meta().RemoveEntry(CValue_Key("gone"));
    EXPECT_EQ(Serialized(&number, true, true), "1");
}

TEST(TextSerializer, PointerValuesNameTheirType)
{
    CValueMap target;
    int nNumber = 4;
    const CValuePointer<CValueMap> pointer(&target);
    const CValuePointer<int> nullPointer(nullptr);
    EXPECT_EQ(Serialized(&pointer), "\"<pointer Zarn::CValueMap>\"");
    EXPECT_EQ(Serialized(&nullPointer), "\"<pointer int>\"");

    CValueVector vector;
    vector.PushBack(new CValuePointer<int>(&nNumber));
    vector.PushBack(new CValueLong(1));
    EXPECT_EQ(Serialized(&vector), R"(["<pointer int>",1])");
}

TEST(TextSerializer, WhatAFileCannotHoldIsStillWritten)
{
    const CValueDouble notANumber(std::nan(""));
    const CValueDouble infinity(-INFINITY);
    const CValueString badText("a\xFF");
    EXPECT_EQ(Serialized(&notANumber), "\"nan\"");
    EXPECT_EQ(Serialized(&infinity), "\"-inf\"");
    EXPECT_EQ(Serialized(&badText), "\"aÿ\"");
}

TEST(TextSerializer, Utf8PassesThrough)
{
    const CValueString text("grüße 日本");
    EXPECT_EQ(Serialized(&text), "\"grüße 日本\"");
}

TEST(TextSerializer, ToStringMatchesTheStream)
{
    const CValueMap map = MakeSmallTree();
    const CTextSerializer serializer(false, true, "tree");
    std::ostringstream stream;
    serializer.Serialize(&map, stream);
    EXPECT_EQ(serializer.ToString(&map), stream.str());
}
