#include <Zarn/Exception/Exception.h>
#include <Zarn/Serial/JsonValueFile.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

using namespace Zarn;
namespace fs = std::filesystem;

namespace
{

std::string FixturePath(const std::string& name)
{
    return std::string(JSON_DATA_DIR) + "/" + name;
}

std::string ReadWholeFile(const fs::path& path)
{
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

std::vector<std::string> FolderEntries(const fs::path& folder)
{
    std::vector<std::string> entries;
    for (const auto& entry : fs::directory_iterator(folder))
    {
        entries.push_back(entry.path().filename().string());
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

// The what text of the CExBadParam that reading the file throws; fails the test otherwise.
std::string ReadFileError(const std::string& path)
{
    try
    {
        std::unique_ptr<CValue> pValue(CJsonValueFile::ReadFile(path));
        ADD_FAILURE() << path << " was read without an error";
    }
    catch (const CExBadParam& ex)
    {
        return ex.what();
    }
    return {};
}

std::string ReadStringError(const std::string& text, const std::string& sourceName = "<string>")
{
    try
    {
        std::unique_ptr<CValue> pValue(CJsonValueFile::ReadString(text, sourceName));
        ADD_FAILURE() << "'" << text << "' was read without an error";
    }
    catch (const CExBadParam& ex)
    {
        return ex.what();
    }
    return {};
}

std::unique_ptr<CValue> ReadBack(const CValue& value)
{
    return std::unique_ptr<CValue>(CJsonValueFile::ReadString(CJsonValueFile::WriteString(value)));
}

// A tree with every kind the file holds, nested.
std::unique_ptr<CValueMap> MakeEveryKind()
{
    auto pRoot = std::make_unique<CValueMap>();
    pRoot->SetEntry(CValue_Key("yes"), new CValueBool(true));
    pRoot->SetEntry(CValue_Key("no"), new CValueBool(false));
    pRoot->SetEntry(CValue_Key("long"), new CValueLong(-42));
    pRoot->SetEntry(CValue_Key("long max"), new CValueLong(LONG_MAX));
    pRoot->SetEntry(CValue_Key("long min"), new CValueLong(LONG_MIN));
    pRoot->SetEntry(CValue_Key("tenth"), new CValueDouble(0.1));
    pRoot->SetEntry(CValue_Key("huge"), new CValueDouble(1e300));
    pRoot->SetEntry(CValue_Key("minus two"), new CValueDouble(-2.0));
    pRoot->SetEntry(CValue_Key("two"), new CValueDouble(2.0));
    pRoot->SetEntry(CValue_Key("text"), new CValueString("plain"));
    pRoot->SetEntry(CValue_Key("empty map"), new CValueMap());
    pRoot->SetEntry(CValue_Key("empty vector"), new CValueVector());
    auto* pVector = new CValueVector();
    pVector->PushBack(new CValueLong(1));
    pVector->PushBack(new CValueString("two"));
    auto* pInner = new CValueMap();
    pInner->SetEntry(CValue_Key("deep"), new CValueVector());
    pInner->SetEntry(CValue_Key("flag"), new CValueBool(true));
    pVector->PushBack(pInner);
    pVector->PushBack(new CValueVector());
    pRoot->SetEntry(CValue_Key("list"), pVector);
    return pRoot;
}

class JsonValueFileTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        const auto* pInfo = ::testing::UnitTest::GetInstance()->current_test_info();
        m_pathFolder = fs::temp_directory_path() /
                       ("core_serial_" + std::to_string(::getpid()) + "_" + pInfo->name());
        fs::remove_all(m_pathFolder);
        fs::create_directories(m_pathFolder);
    }
    void TearDown() override
    {
        std::error_code error;
        fs::permissions(m_pathFolder, fs::perms::owner_all, fs::perm_options::add, error);
        fs::remove_all(m_pathFolder, error);
    }

    fs::path m_pathFolder;
};

} // namespace

TEST_F(JsonValueFileTest, RoundTripThroughFileKeepsEveryKind)
{
    const std::unique_ptr<CValueMap> pOriginal = MakeEveryKind();
    const std::string strPath = (m_pathFolder / "tree.json").string();
    CJsonValueFile::WriteFile(strPath, *pOriginal);

    std::unique_ptr<CValue> pRead(CJsonValueFile::ReadFile(strPath));
    ASSERT_NE(pRead, nullptr);
    EXPECT_TRUE(pRead->Equal(*pOriginal));
    EXPECT_TRUE(pOriginal->Equal(*pRead));
}

TEST(JsonValueFileString, RoundTripCompactAndPretty)
{
    const std::unique_ptr<CValueMap> pOriginal = MakeEveryKind();
    for (const bool bPretty : {true, false})
    {
        const std::string strText = CJsonValueFile::WriteString(*pOriginal, bPretty);
        std::unique_ptr<CValue> pRead(CJsonValueFile::ReadString(strText));
        EXPECT_TRUE(pRead->Equal(*pOriginal)) << strText;
        EXPECT_EQ(strText.find('\n') != std::string::npos, bPretty) << strText;
    }
}

TEST(JsonValueFileString, ReadMapsEachJsonKindToItsValueClass)
{
    std::unique_ptr<CValue> pRead(CJsonValueFile::ReadString(
        R"({"o": {}, "a": [], "s": "x", "i": 7, "r": 7.5, "e": 1E2, "t": true, "f": false})"));
    const CValueMap* pMap = pRead->Map();
    ASSERT_NE(pMap, nullptr);
    EXPECT_EQ(pMap->Entry(CValue_Key("o"), true)->GenericType(), CValue::vtMap);
    EXPECT_EQ(pMap->Entry(CValue_Key("a"), true)->GenericType(), CValue::vtVector);
    EXPECT_EQ(pMap->Entry(CValue_Key("s"), true)->GenericType(), CValue::vtString);
    EXPECT_EQ(pMap->Entry(CValue_Key("i"), true)->GenericType(), CValue::vtLong);
    EXPECT_EQ(pMap->Entry(CValue_Key("i"), true)->Long(), 7);
    EXPECT_EQ(pMap->Entry(CValue_Key("r"), true)->GenericType(), CValue::vtDouble);
    EXPECT_EQ(pMap->Entry(CValue_Key("r"), true)->Double(), 7.5);
    EXPECT_EQ(pMap->Entry(CValue_Key("e"), true)->GenericType(), CValue::vtDouble);
    EXPECT_EQ(pMap->Entry(CValue_Key("e"), true)->Double(), 100.0);
    EXPECT_EQ(pMap->Entry(CValue_Key("t"), true)->GenericType(), CValue::vtBool);
    EXPECT_TRUE(pMap->Entry(CValue_Key("t"), true)->Bool());
    EXPECT_FALSE(pMap->Entry(CValue_Key("f"), true)->Bool());
}

TEST(JsonValueFileString, TopLevelScalarsAreRead)
{
    std::unique_ptr<CValue> pLong(CJsonValueFile::ReadString(" 42 "));
    EXPECT_EQ(pLong->GenericType(), CValue::vtLong);
    EXPECT_EQ(pLong->Long(), 42);
    std::unique_ptr<CValue> pText(CJsonValueFile::ReadString("\"x\""));
    EXPECT_EQ(pText->String(), CString("x"));
    std::unique_ptr<CValue> pBool(CJsonValueFile::ReadString("false"));
    EXPECT_EQ(pBool->GenericType(), CValue::vtBool);
}

TEST(JsonValueFileString, WholeRealsStayReals)
{
    for (const double dValue : {2.0, -2.0, 0.0, 1e15, 1e300, -1e300})
    {
        CValueDouble value(dValue);
        const std::string strText = CJsonValueFile::WriteString(value);
        std::unique_ptr<CValue> pRead(CJsonValueFile::ReadString(strText));
        EXPECT_EQ(pRead->GenericType(), CValue::vtDouble) << strText;
        EXPECT_EQ(pRead->Double(), dValue) << strText;
    }
    EXPECT_EQ(CJsonValueFile::WriteString(CValueDouble(2.0)), "2.0");
    EXPECT_EQ(CJsonValueFile::WriteString(CValueDouble(-2.0)), "-2.0");
}

TEST(JsonValueFileString, RealsReadBackBitForBit)
{
    const double values[] = {0.1,    1.0 / 3.0,  1e300, -2.0, 5e-324, 1.7976931348623157e308,
                             2.5e-8, 123456.789, -0.0};
    for (const double dValue : values)
    {
        std::unique_ptr<CValue> pRead = ReadBack(CValueDouble(dValue));
        ASSERT_EQ(pRead->GenericType(), CValue::vtDouble);
        EXPECT_EQ(std::memcmp(&pRead->Double(), &dValue, sizeof(double)), 0)
            << CJsonValueFile::WriteString(CValueDouble(dValue));
    }
}

TEST(JsonValueFileString, LongsKeepSignAndRange)
{
    for (const long lValue : {0L, -1L, 1L, -9007199254740993L, LONG_MAX, LONG_MIN})
    {
        std::unique_ptr<CValue> pRead = ReadBack(CValueLong(lValue));
        ASSERT_EQ(pRead->GenericType(), CValue::vtLong);
        EXPECT_EQ(pRead->Long(), lValue);
    }
    EXPECT_EQ(CJsonValueFile::WriteString(CValueLong(LONG_MIN)), "-9223372036854775808");
}

TEST(JsonValueFileString, StringsWithEscapesControlCharactersAndUtf8RoundTrip)
{
    const std::string strTricky = std::string("quote \" backslash \\ slash / tab \t newline \n "
                                              "bell \x07 unit \x1f nul ") +
                                  std::string(1, '\0') + " end \x7f";
    const std::string strUtf8 = "größe 日本語 \xF0\x9F\x98\x80";
    for (const std::string& strText : {strTricky, strUtf8})
    {
        CValueString value(strText.data(), strText.size());
        std::unique_ptr<CValue> pRead = ReadBack(value);
        ASSERT_EQ(pRead->GenericType(), CValue::vtString);
        EXPECT_EQ(pRead->String().StdString(), strText);
    }
    EXPECT_EQ(CJsonValueFile::WriteString(CValueString(strUtf8.c_str())), "\"" + strUtf8 + "\"");
    EXPECT_EQ(CJsonValueFile::WriteString(CValueString("a\"b\\c\x01\n")),
              "\"a\\\"b\\\\c\\u0001\\n\"");
}

TEST(JsonValueFileString, KeysAreEscapedAndRead)
{
    CValueMap map;
    map.SetEntry(CValue_Key("key \"with\" quotes"), new CValueLong(1));
    map.SetEntry(CValue_Key("schlüssel"), new CValueLong(2));
    std::unique_ptr<CValue> pRead = ReadBack(map);
    EXPECT_TRUE(pRead->Equal(map));
    EXPECT_EQ(pRead->Map()->Entry(CValue_Key("schlüssel"), true)->Long(), 2);
}

TEST(JsonValueFileString, LatinOneTextIsWrittenAsUtf8)
{
    CValueString value(CString("caf\xE9", CString::encLatin1));
    EXPECT_EQ(CJsonValueFile::WriteString(value), "\"café\"");
}

TEST(JsonValueFileString, TextThatIsNotUtf8CannotBeWritten)
{
    EXPECT_THROW(CJsonValueFile::WriteString(CValueString("bad \xFF byte")), CExBadParam);
    EXPECT_THROW(CJsonValueFile::WriteString(CValueString("overlong \xC0\xAF")), CExBadParam);
    EXPECT_THROW(CJsonValueFile::WriteString(CValueString("surrogate \xED\xA0\x80")), CExBadParam);
    EXPECT_THROW(CJsonValueFile::WriteString(CValueString("cut \xE6\x97")), CExBadParam);
}

TEST(JsonValueFileString, NonFiniteRealsCannotBeWritten)
{
    EXPECT_THROW(CJsonValueFile::WriteString(CValueDouble(std::nan(""))), CExBadParam);
    EXPECT_THROW(CJsonValueFile::WriteString(CValueDouble(INFINITY)), CExBadParam);
}

TEST(JsonValueFileString, PrettyAndCompactLayout)
{
    CValueMap map;
    map.SetEntry(CValue_Key("b"), new CValueVector());
    map.Entry(CValue_Key("b"), true)->Vector()->PushBack(new CValueBool(true));
    map.Entry(CValue_Key("b"), true)->Vector()->PushBack(new CValueLong(2));
    map.SetEntry(CValue_Key("a"), new CValueMap());
    map.SetEntry(CValue_Key("c"), new CValueString("x"));
    EXPECT_EQ(CJsonValueFile::WriteString(map, false), R"({"a":{},"b":[true,2],"c":"x"})");
    EXPECT_EQ(CJsonValueFile::WriteString(map, true), "{\n"
                                                      "    \"a\": {},\n"
                                                      "    \"b\": [\n"
                                                      "        true,\n"
                                                      "        2\n"
                                                      "    ],\n"
                                                      "    \"c\": \"x\"\n"
                                                      "}");
}

TEST(JsonValueFileString, MetaEntriesAreNotWritten)
{
    CValueMap map;
    auto* pLong = new CValueLong(5);
    pLong->Meta().SetEntry(CValue_Key("unit"), new CValueString("px"));
    map.SetEntry(CValue_Key("width"), pLong);
    map.Meta().SetEntry(CValue_Key("origin"), new CValueString("test"));
    EXPECT_EQ(CJsonValueFile::WriteString(map, false), R"({"width":5})");
}

TEST(JsonValueFileString, PointerValueCannotBeWritten)
{
    int nTarget = 3;
    CValuePointer<int> pointer(&nTarget);
    EXPECT_THROW(CJsonValueFile::WriteString(pointer), CExBadType);

    CValueMap map;
    map.SetEntry(CValue_Key("ok"), new CValueLong(1));
    map.SetEntry(CValue_Key("target"), new CValuePointer<int>(&nTarget));
    try
    {
        CJsonValueFile::WriteString(map);
        FAIL() << "a pointer value was written";
    }
    catch (const CExBadType& ex)
    {
        EXPECT_NE(std::string(ex.what()).find("CValuePointer<int>"), std::string::npos)
            << ex.what();
    }
}

TEST_F(JsonValueFileTest, PointerValueLeavesTheFolderUntouched)
{
    const std::string strPath = (m_pathFolder / "settings.json").string();
    CValueMap good;
    good.SetEntry(CValue_Key("version"), new CValueLong(1));
    CJsonValueFile::WriteFile(strPath, good);
    const std::string strBefore = ReadWholeFile(strPath);

    int nTarget = 0;
    CValueMap bad;
    bad.SetEntry(CValue_Key("target"), new CValuePointer<int>(&nTarget));
    EXPECT_THROW(CJsonValueFile::WriteFile(strPath, bad), CExBadType);

    EXPECT_EQ(ReadWholeFile(strPath), strBefore);
    EXPECT_EQ(FolderEntries(m_pathFolder), std::vector<std::string>{"settings.json"});
}

TEST_F(JsonValueFileTest, WriteLeavesNoTemporaryFileBehind)
{
    const std::string strPath = (m_pathFolder / "out.json").string();
    CValueMap first;
    first.SetEntry(CValue_Key("round"), new CValueLong(1));
    CJsonValueFile::WriteFile(strPath, first);
    CValueMap second;
    second.SetEntry(CValue_Key("round"), new CValueLong(2));
    CJsonValueFile::WriteFile(strPath, second);

    EXPECT_EQ(FolderEntries(m_pathFolder), std::vector<std::string>{"out.json"});
    EXPECT_EQ(ReadWholeFile(strPath), "{\n    \"round\": 2\n}\n");
}

TEST_F(JsonValueFileTest, OverwriteKeepsPermissions)
{
    const fs::path path = m_pathFolder / "private.json";
    CJsonValueFile::WriteFile(path.string(), CValueLong(1));
    fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write);
    CJsonValueFile::WriteFile(path.string(), CValueLong(2));
    EXPECT_EQ(fs::status(path).permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write);
    std::unique_ptr<CValue> pRead(CJsonValueFile::ReadFile(path.string()));
    EXPECT_EQ(pRead->Long(), 2);
}

TEST_F(JsonValueFileTest, WriteIntoMissingFolderNamesThePath)
{
    const std::string strPath = (m_pathFolder / "missing" / "out.json").string();
    try
    {
        CJsonValueFile::WriteFile(strPath, CValueLong(1));
        FAIL() << "wrote into a missing folder";
    }
    catch (const CExBadParam& ex)
    {
        const std::string strWhat = ex.what();
        EXPECT_NE(strWhat.find(strPath), std::string::npos) << strWhat;
        EXPECT_NE(strWhat.find(std::strerror(ENOENT)), std::string::npos) << strWhat;
    }
    EXPECT_TRUE(FolderEntries(m_pathFolder).empty());
}

TEST_F(JsonValueFileTest, MissingFileNamesPathAndReason)
{
    const std::string strPath = (m_pathFolder / "absent.json").string();
    const std::string strWhat = ReadFileError(strPath);
    EXPECT_EQ(strWhat.rfind(strPath + ": ", 0), 0u) << strWhat;
    EXPECT_NE(strWhat.find(std::strerror(ENOENT)), std::string::npos) << strWhat;
}

TEST_F(JsonValueFileTest, DirectoryIsNotAFile)
{
    const std::string strPath = m_pathFolder.string();
    const std::string strWhat = ReadFileError(strPath);
    EXPECT_EQ(strWhat.rfind(strPath + ": ", 0), 0u) << strWhat;
    EXPECT_NE(strWhat.find(std::strerror(EISDIR)), std::string::npos) << strWhat;
}

TEST_F(JsonValueFileTest, UnreadableFileNamesPathAndReason)
{
    if (::geteuid() == 0)
    {
        GTEST_SKIP() << "root reads files without read permission";
    }
    const fs::path path = m_pathFolder / "locked.json";
    CJsonValueFile::WriteFile(path.string(), CValueLong(1));
    fs::permissions(path, fs::perms::none);
    const std::string strWhat = ReadFileError(path.string());
    EXPECT_EQ(strWhat.rfind(path.string() + ": ", 0), 0u) << strWhat;
    EXPECT_NE(strWhat.find(std::strerror(EACCES)), std::string::npos) << strWhat;
}

namespace
{
struct StBadFixture
{
    const char* m_szFile;
    int m_nLine;
    int m_nColumn;
    const char* m_szMessage; // a part of the message after the position
};

void PrintTo(const StBadFixture& fixture, std::ostream* stream)
{
    *stream << fixture.m_szFile;
}

class BadFixtureTest : public ::testing::TestWithParam<StBadFixture>
{
};
} // namespace

TEST_P(BadFixtureTest, ErrorNamesFileLineAndColumn)
{
    const StBadFixture& fixture = GetParam();
    const std::string strPath = FixturePath(fixture.m_szFile);
    ASSERT_TRUE(fs::exists(strPath)) << strPath;
    const std::string strWhat = ReadFileError(strPath);
    const std::string strPrefix = strPath + ":" + std::to_string(fixture.m_nLine) + ":" +
                                  std::to_string(fixture.m_nColumn) + ": ";
    EXPECT_EQ(strWhat.substr(0, strPrefix.size()), strPrefix) << strWhat;
    EXPECT_NE(strWhat.find(fixture.m_szMessage, strPrefix.size()), std::string::npos) << strWhat;
}

INSTANTIATE_TEST_SUITE_P(
    Fixtures, BadFixtureTest,
    ::testing::Values(StBadFixture{"syntax_missing_brace.json", 4, 1,
                                   "unexpected end of input; expected '}'"},
                      StBadFixture{"syntax_trailing_comma.json", 3, 16, "unexpected ']'"},
                      StBadFixture{"null_value.json", 3, 17, "null is not supported"},
                      StBadFixture{"integer_overflow.json", 2, 14, "integer out of range"},
                      StBadFixture{"real_overflow.json", 2, 5, "number out of range"},
                      StBadFixture{"empty.json", 1, 1, "empty document"},
                      StBadFixture{"whitespace_only.json", 4, 1, "empty document"},
                      StBadFixture{"truncated_string.json", 2, 25, "missing closing quote"},
                      StBadFixture{"duplicate_key.json", 4, 5, "duplicate key \"tool\""},
                      StBadFixture{"invalid_literal.json", 2, 19, "invalid literal"},
                      StBadFixture{"syntax_missing_colon_utf8.json", 3, 12, "expected ':'"},
                      StBadFixture{"control_character.json", 2, 18, "control character U+0009"}),
    [](const ::testing::TestParamInfo<StBadFixture>& param)
    {
        std::string strName = param.param.m_szFile;
        strName = strName.substr(0, strName.find('.'));
        return strName;
    });

TEST(JsonValueFileString, ErrorsUseTheSourceName)
{
    EXPECT_EQ(ReadStringError("[1, nul]", "settings"),
              "settings:1:8: syntax error while parsing value - invalid literal");
    EXPECT_EQ(ReadStringError("[true, null]"), "<string>:1:8: null is not supported");
    EXPECT_EQ(ReadStringError("[\"ab"), "<string>:1:5: syntax error while parsing value - invalid "
                                        "string: missing closing quote");
    EXPECT_EQ(ReadStringError("[1]x"), "<string>:1:4: syntax error while parsing value - invalid "
                                       "literal; expected end of input");
}

TEST(JsonValueFileString, IntegersBeyondLongAreRejectedAtTheirStart)
{
    EXPECT_EQ(ReadStringError("[1, 9223372036854775808]"), "<string>:1:5: integer out of range");
    EXPECT_EQ(ReadStringError("[-9223372036854775809]"), "<string>:1:2: integer out of range");
    EXPECT_EQ(ReadStringError("{\"a\":\n  123456789012345678901234567890}"),
              "<string>:2:3: integer out of range");
    std::unique_ptr<CValue> pMax(CJsonValueFile::ReadString("9223372036854775807"));
    EXPECT_EQ(pMax->Long(), LONG_MAX);
}

TEST(JsonValueFileString, OutOfPlaceTokensAreReportedAtTheirStart)
{
    EXPECT_EQ(ReadStringError("{true}"), "<string>:1:2: syntax error while parsing object key - "
                                         "unexpected true literal; expected string literal");
    EXPECT_EQ(ReadStringError("[1 234]"), "<string>:1:4: syntax error while parsing array - "
                                          "unexpected number literal; expected ']'");
    EXPECT_EQ(ReadStringError("{\"a\" \"b\"}"),
              "<string>:1:6: syntax error while parsing object separator - unexpected string "
              "literal; expected ':'");
    EXPECT_EQ(ReadStringError("{\"a\": 1}\n}"), "<string>:2:1: syntax error while parsing value - "
                                                "unexpected '}'; expected end of input");
    EXPECT_EQ(ReadStringError("{\"a\": 1"), "<string>:1:8: syntax error while parsing object - "
                                            "unexpected end of input; expected '}'");
}

TEST(JsonValueFileString, DuplicateKeyWithEscapesIsReportedAtTheKey)
{
    EXPECT_EQ(ReadStringError(R"({"a\"": 1, "a\"": 2})"), "<string>:1:12: duplicate key \"a\"\"");
}

TEST(JsonValueFileString, NestingHasALimit)
{
    const std::string strDeep(1000, '[');
    const std::string strTooDeep = strDeep + "[";
    std::unique_ptr<CValue> pDeep(CJsonValueFile::ReadString(strDeep + std::string(1000, ']')));
    EXPECT_EQ(pDeep->GenericType(), CValue::vtVector);
    EXPECT_EQ(ReadStringError(strTooDeep + std::string(1001, ']')),
              "<string>:1:1001: nesting deeper than 1000 levels");
}

TEST(JsonValueFileString, ByteOrderMarkIsSkipped)
{
    std::unique_ptr<CValue> pRead(CJsonValueFile::ReadString("\xEF\xBB\xBF[1]"));
    ASSERT_NE(pRead->Vector(), nullptr);
    EXPECT_EQ(pRead->Vector()->Size(), 1u);
}

namespace
{

TEST(JsonPositions, EveryValueIsFoundWhereItStarts)
{
    const std::string strText = "{\n"
                                "  \"title\": \"Zoë\",\n"
                                "  \"plugins\": [\n"
                                "    {\"name\": \"Repository\", \"size\": -12},\n"
                                "    [true, false, 2.5e3]\n"
                                "  ]\n"
                                "}\n";
    Zarn::CJsonPositions positions;
    std::unique_ptr<Zarn::CValue> pRoot(
        Zarn::CJsonValueFile::ReadString(strText, "app.json", positions));
    ASSERT_NE(pRoot, nullptr);
    const auto At = [&](const std::string& path)
    {
        size_t uLine = 0;
        size_t uColumn = 0;
        EXPECT_TRUE(positions.Find(path, uLine, uColumn)) << path;
        return std::to_string(uLine) + ":" + std::to_string(uColumn);
    };
    EXPECT_EQ(At(""), "1:1");
    EXPECT_EQ(At("title"), "2:12");
    EXPECT_EQ(At("plugins"), "3:14");
    EXPECT_EQ(At("plugins/0"), "4:5");
    EXPECT_EQ(At("plugins/0/name"), "4:14");
    EXPECT_EQ(At("plugins/0/size"), "4:36");
    EXPECT_EQ(At("plugins/1/0"), "5:6");
    EXPECT_EQ(At("plugins/1/1"), "5:12");
    EXPECT_EQ(At("plugins/1/2"), "5:19");
}

TEST(JsonPositions, DescribeFallsBackToTheNearestValueAbove)
{
    Zarn::CJsonPositions positions;
    std::unique_ptr<Zarn::CValue> pRoot(
        Zarn::CJsonValueFile::ReadString("{\"window\": {\"menus\": []}}", "app.json", positions));
    EXPECT_EQ(positions.Describe("window/menus"), "app.json:1:22");
    EXPECT_EQ(positions.Describe("window/central"), "app.json:1:12");
    EXPECT_EQ(positions.Describe("nothing/here"), "app.json:1:1");
}

TEST(JsonPositions, TitleWithMultibyteCharactersCountsCharacters)
{
    Zarn::CJsonPositions positions;
    std::unique_ptr<Zarn::CValue> pRoot(
        Zarn::CJsonValueFile::ReadString("{\"ä\": \"ö\", \"b\": 1}", "u.json", positions));
    EXPECT_EQ(positions.Describe("b"), "u.json:1:17");
}

} // namespace
