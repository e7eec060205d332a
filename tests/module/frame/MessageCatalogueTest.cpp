#include "frame/MessageCatalogue.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace
{

// Capitals in string literals that are not message names: the names of native faults, the
// environment variables the programs read, and texts the programs print. A new all-capitals
// literal in the sources is either a message (then the catalogue lists it) or goes here.
const std::set<std::string> kOtherCapitalTexts = {
    "DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR",
    "UNKNWON", "UNKNOWN",         "FAILED",          "HOME",           "TMPDIR",
    "SIGINT",  "SIGTERM",
};

std::string ReadFile(const std::filesystem::path& path)
{
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

bool IsCapitalName(std::string_view text)
{
    if (text.size() < 4 || text[0] < 'A' || text[0] > 'Z')
    {
        return false;
    }
    return std::all_of(text.begin(), text.end(),
                       [](char c)
                       { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_'; });
}

// The texts between pairs of double quotes on each line that are all capitals, digits and
// underscores, four or more long.
std::vector<std::string> CapitalLiterals(const std::string& text)
{
    std::vector<std::string> lstFound;
    std::istringstream lines(text);
    std::string strLine;
    while (std::getline(lines, strLine))
    {
        for (size_t nOpen = strLine.find('"'); nOpen != std::string::npos;)
        {
            const size_t nClose = strLine.find('"', nOpen + 1);
            if (nClose == std::string::npos)
            {
                break;
            }
            const std::string_view literal(strLine.data() + nOpen + 1, nClose - nOpen - 1);
            if (IsCapitalName(literal))
            {
                lstFound.emplace_back(literal);
            }
            nOpen = strLine.find('"', nClose + 1);
        }
    }
    return lstFound;
}

// Every all-capitals string literal of four or more letters in the sources of the module, the
// image plug-ins and the programs, with the file it stands in.
std::vector<std::pair<std::string, std::string>> CapitalLiteralsInSources()
{
    std::vector<std::pair<std::string, std::string>> lstFound;
    for (const char* szFolder : {"module", "plugins", "app"})
    {
        const std::filesystem::path root = std::filesystem::path(DOCVIEW_SOURCE_DIR) / szFolder;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root))
        {
            const std::string strExtension = entry.path().extension().string();
            if (strExtension != ".cpp" && strExtension != ".h")
            {
                continue;
            }
            for (std::string& strName : CapitalLiterals(ReadFile(entry.path())))
            {
                lstFound.emplace_back(std::move(strName), entry.path().string());
            }
        }
    }
    return lstFound;
}

Zarn::CValueMap Message(Zarn::CMessageIdFactory& ids, const char* name, Zarn::CValue* data)
{
    Zarn::CValueMap message;
    message.SetEntry(Zarn::CValue_Key("id"), new Zarn::CValueLong(ids.GetMessageId(name)));
    if (data != nullptr)
    {
        message.SetEntry(Zarn::CValue_Key("data"), data);
    }
    return message;
}

} // namespace

// Every row says what the message carries, who sends it, who handles it and what it means.
TEST(MessageCatalogue, EveryMessageIsListedOnceWithSendersHandlersAndMeaning)
{
    std::set<std::string> setNames;
    for (const DocView::SMessageInfo& info : DocView::MessageCatalogue())
    {
        EXPECT_TRUE(setNames.insert(info.szName).second) << info.szName << " is listed twice";
        EXPECT_NE(std::string(info.szSenders), "") << info.szName;
        EXPECT_NE(std::string(info.szHandlers), "") << info.szName;
        EXPECT_NE(std::string(info.szMeaning), "") << info.szName;
        EXPECT_EQ(std::string(info.szPointee) != "",
                  info.ePayload == DocView::EMessagePayload::Pointer)
            << info.szName << ": a pointer names its pointee, nothing else does";
        EXPECT_EQ(DocView::FindMessage(info.szName), &info);
    }
    EXPECT_EQ(DocView::FindMessage("NO_SUCH_MESSAGE"), nullptr);
}

// A message name in the code that the catalogue does not list fails here: this is how a
// handler for a message nobody sends, or a misspelt name, is caught.
TEST(MessageCatalogue, EveryMessageNameInTheSourcesIsInTheCatalogue)
{
    const auto lstLiterals = CapitalLiteralsInSources();
    ASSERT_FALSE(lstLiterals.empty()) << "no sources found under " << DOCVIEW_SOURCE_DIR;
    for (const auto& [strName, strFile] : lstLiterals)
    {
        if (strName.starts_with("EXCEPTION_") || kOtherCapitalTexts.count(strName) != 0)
        {
            continue;
        }
        EXPECT_NE(DocView::FindMessage(strName), nullptr)
            << "\"" << strName << "\" in " << strFile << " is not in the message catalogue";
    }
}

// Every message the system uses is named somewhere in the code, so the catalogue lists no
// message that has gone.
TEST(MessageCatalogue, EveryCatalogueMessageIsUsedInTheSources)
{
    std::set<std::string> setUsed;
    for (const auto& literal : CapitalLiteralsInSources())
    {
        setUsed.insert(literal.first);
    }
    for (const DocView::SMessageInfo& info : DocView::MessageCatalogue())
    {
        EXPECT_EQ(setUsed.count(info.szName), 1U) << info.szName << " is named nowhere";
    }
}

// The architecture document shows the catalogue; a message it leaves out is a stale document.
TEST(MessageCatalogue, ArchitectureDocumentShowsEveryMessage)
{
    const std::string strDoc =
        ReadFile(std::filesystem::path(DOCVIEW_SOURCE_DIR) / "docs" / "architecture.md");
    for (const DocView::SMessageInfo& info : DocView::MessageCatalogue())
    {
        const std::string strRow =
            std::string("| `") + info.szName + "` | " + DocView::PayloadName(info.ePayload);
        EXPECT_NE(strDoc.find(strRow), std::string::npos)
            << "docs/architecture.md has no row starting " << strRow;
    }
}

TEST(MessageTable, NameOutsideTheCatalogueIsRefused)
{
    DocView::CMessageTable table;
    EXPECT_THROW(table.On("NO_SUCH_MESSAGE", [] {}), std::logic_error);
    EXPECT_TRUE(table.Names().empty());
}

TEST(MessageTable, UnwrappingThatDoesNotFitTheCatalogueIsRefused)
{
    DocView::CMessageTable table;
    EXPECT_THROW(table.OnText("NEW_VIEW", [](const std::string&) {}), std::logic_error);
    EXPECT_THROW(table.OnMap("ON_ACTION", [](const Zarn::CValueMap&) {}), std::logic_error);
    EXPECT_THROW(table.OnPointer<Zarn::CPluginBase>("ADD_VIEW", [](Zarn::CPluginBase*) {}),
                 std::logic_error);
    EXPECT_NO_THROW(table.OnData("ADD_VIEW", [](const Zarn::CValue*) {}));
}

TEST(MessageTable, NameHandledTwiceIsRefused)
{
    DocView::CMessageTable table;
    table.On("SHUTDOWN", [] {});
    EXPECT_THROW(table.On("SHUTDOWN", [] {}), std::logic_error);
}

TEST(MessageTable, DispatchRunsTheMatchingHandlerWithItsUnwrappedData)
{
    Zarn::CMessageIdFactory ids;
    Zarn::CValueMap document;
    std::vector<std::string> lstSeen;
    DocView::CMessageTable table;
    table
        .OnPointer<Zarn::CValueMap>("NEW_DOCUMENT", [&](Zarn::CValueMap* pDoc)
                                    { lstSeen.push_back(pDoc == &document ? "doc" : "other"); })
        .OnText("ON_ACTION", [&](const std::string& strAction) { lstSeen.push_back(strAction); })
        .OnMap("UPDATE_CONTROLS", [&](const Zarn::CValueMap& controls)
               { lstSeen.push_back(controls.HasEntry(Zarn::CValue_Key("blur")) ? "map" : "?"); })
        .On("SHUTDOWN", [&] { lstSeen.push_back("shutdown"); });

    auto* pControls = new Zarn::CValueMap;
    pControls->SetEntry(Zarn::CValue_Key("blur"), new Zarn::CValueBool(true));
    EXPECT_TRUE(table.Dispatch(
        &ids, Message(ids, "NEW_DOCUMENT", new Zarn::CValuePointer<Zarn::CValueMap>(&document))));
    EXPECT_TRUE(table.Dispatch(&ids, Message(ids, "ON_ACTION", new Zarn::CValueString("blur"))));
    EXPECT_TRUE(table.Dispatch(&ids, Message(ids, "UPDATE_CONTROLS", pControls)));
    EXPECT_TRUE(table.Dispatch(&ids, Message(ids, "SHUTDOWN", nullptr)));
    EXPECT_FALSE(table.Dispatch(&ids, Message(ids, "NEW_VIEW", nullptr)));
    EXPECT_EQ(lstSeen, (std::vector<std::string>{"doc", "blur", "map", "shutdown"}));
}

TEST(MessageTable, DispatchWithDataIgnoresMessagesWithoutIdOrData)
{
    Zarn::CMessageIdFactory ids;
    int nRuns = 0;
    DocView::CMessageTable table;
    table.On("SHUTDOWN", [&] { ++nRuns; });

    Zarn::CValueMap withoutId;
    withoutId.SetEntry(Zarn::CValue_Key("data"), new Zarn::CValueString("x"));
    EXPECT_FALSE(table.DispatchWithData(&ids, Message(ids, "SHUTDOWN", nullptr)));
    EXPECT_FALSE(table.DispatchWithData(&ids, withoutId));
    EXPECT_EQ(nRuns, 0);
    EXPECT_TRUE(table.DispatchWithData(
        &ids, Message(ids, "SHUTDOWN", new Zarn::CValueString("with data"))));
    EXPECT_EQ(nRuns, 1);
}

TEST(MessageTable, DataOfTheWrongKindThrowsTheHostsTypeErrors)
{
    Zarn::CMessageIdFactory ids;
    Zarn::CValueMap document;
    DocView::CMessageTable table;
    table.OnPointer<Zarn::CPluginBase>("NEW_VIEW", [](Zarn::CPluginBase*) {})
        .OnMap("CREATE_VIEW", [](const Zarn::CValueMap&) {});
    EXPECT_THROW(table.Dispatch(&ids, Message(ids, "NEW_VIEW",
                                              new Zarn::CValuePointer<Zarn::CValueMap>(&document))),
                 Zarn::CExBadParam);
    EXPECT_THROW(table.Dispatch(&ids, Message(ids, "CREATE_VIEW", new Zarn::CValueString("x"))),
                 Zarn::CExBadType);
}
