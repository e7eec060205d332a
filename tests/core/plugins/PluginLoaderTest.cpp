#include "../TextLines.h"
#include "EchoRecord.h"
#include "RecordingPlugin.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Log/Logger.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/System/SystemException.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <typeinfo>
#include <vector>

using namespace Zarn;

namespace
{

// The process's loader reads the environment once, on its first use: set the variable before
// any test runs. Empty entries must be skipped.
const bool g_bSearchPathSet = []
{
    const std::string searchPath = std::string("::") + GOOD_MODULE_DIR + ":";
    return setenv(CPluginLoader::kSearchPathVariable, searchPath.c_str(), 1) == 0;
}();

std::string ModulePath(const char* directory, const char* file)
{
    return (std::filesystem::path(directory) / file).string();
}

// The lines of the log that contain `text`.
std::vector<std::string> LinesWith(const std::string& log, const std::string& text)
{
    std::vector<std::string> found;
    for (const std::string& line : Lines(log))
    {
        if (line.find(text) != std::string::npos)
        {
            found.push_back(line);
        }
    }
    return found;
}

// What the echo plug-in's Run reports.
std::unique_ptr<CValueMap> RunPlugin(CPluginBase& plugin)
{
    auto pData = std::make_unique<CValueMap>();
    plugin.Run(*pData);
    return pData;
}

std::string ModuleTagOf(CPluginBase& plugin)
{
    return RunPlugin(plugin)->EntryString("Module").StdString();
}

// A loader whose log goes to a string; only error lines are kept, so that every line the tests
// see was written at the error level.
class PluginLoaderWithLog : public ::testing::Test
{
protected:
    PluginLoaderWithLog() : m_logger(&m_logStream)
    {
        m_logger.SetThreshold(CLogger::levelError);
        m_loader.SetLogger(&m_logger);
    }

    std::string Log() const { return m_logStream.str(); }

    // Asks the loader for the plug-in of that name and checks which module made it; null
    // (after a failure) when none did.
    std::unique_ptr<CPluginBase> CreateFromModule(const char* szName, const char* szModuleTag)
    {
        std::unique_ptr<CPluginBase> pPlugin(m_loader.CreatePlugin(szName));
        if (pPlugin == nullptr)
        {
            ADD_FAILURE() << "no plug-in named " << szName;
            return nullptr;
        }
        EXPECT_EQ(ModuleTagOf(*pPlugin), szModuleTag);
        return pPlugin;
    }

    // The log line that names `text`, after checking that exactly one does; empty when not.
    std::string OneLogLineWith(const std::string& text) const
    {
        const std::vector<std::string> lstLines = LinesWith(Log(), text);
        EXPECT_EQ(lstLines.size(), 1u) << Log();
        return lstLines.size() == 1 ? lstLines[0] : std::string();
    }

    std::ostringstream m_logStream;
    CLogger m_logger;
    CPluginLoader m_loader;
};

// Like PluginLoaderWithLog, but keeping every level.
class PluginLoaderWithFullLog : public PluginLoaderWithLog
{
protected:
    PluginLoaderWithFullLog() { m_logger.SetThreshold(0); }
};

} // namespace

TEST_F(PluginLoaderWithFullLog, UnknownNameReturnsNullAndLogsNothing)
{
    m_loader.AddSearchDirectory(GOOD_MODULE_DIR);
    EXPECT_EQ(m_loader.CreatePlugin("NoSuchPlugin"), nullptr);
    EXPECT_EQ(m_loader.LoadedModules().size(), 2u); // the search itself did happen
    EXPECT_EQ(Log(), "");
    EXPECT_EQ(m_logger.LineCount(), 0u);
}

TEST(PluginLoader, NullOrEmptyNameReturnsNull)
{
    CPluginLoader loader;
    loader.RegisterPlugin("", [] { return new CRecordingPlugin(); });
    EXPECT_EQ(loader.CreatePlugin(nullptr), nullptr);
    EXPECT_EQ(loader.CreatePlugin(""), nullptr);
    EXPECT_EQ(loader.CreatePlugin("some/dir/"), nullptr);
    EXPECT_EQ(GetNewPluginInstance(nullptr), nullptr);
}

TEST_F(PluginLoaderWithLog, ModulePluginIsFoundByName)
{
    m_loader.AddSearchDirectory(GOOD_MODULE_DIR);
    std::unique_ptr<CPluginBase> pPlugin(m_loader.CreatePlugin("EchoPlugin"));
    ASSERT_NE(pPlugin, nullptr);
    EXPECT_EQ(ModuleTagOf(*pPlugin), "echo_a");
    EXPECT_TRUE(pPlugin->TestInterface("IEcho"));

    std::unique_ptr<CPluginBase> pSecond(m_loader.CreatePlugin("EchoPluginB"));
    ASSERT_NE(pSecond, nullptr);
    EXPECT_EQ(ModuleTagOf(*pSecond), "echo_b");
    EXPECT_EQ(Log(), "");
}

TEST_F(PluginLoaderWithLog, NameWithDirectoryPartIsFound)
{
    m_loader.AddSearchDirectory(GOOD_MODULE_DIR);
    for (const char* name : {"some/dir/EchoPlugin", "C:\\plugins\\EchoPlugin", "/EchoPlugin",
                             "mixed\\dirs/EchoPlugin", "EchoPluginB/EchoPlugin"})
    {
        std::unique_ptr<CPluginBase> pPlugin(m_loader.CreatePlugin(name));
        ASSERT_NE(pPlugin, nullptr) << name;
        EXPECT_EQ(ModuleTagOf(*pPlugin), "echo_a") << name;
    }
    // Only the part after the last separator counts.
    EXPECT_EQ(m_loader.CreatePlugin("EchoPlugin/elsewhere"), nullptr);
}

TEST_F(PluginLoaderWithLog, NameInOtherCaseReturnsNull)
{
    m_loader.AddSearchDirectory(GOOD_MODULE_DIR);
    m_loader.RegisterPlugin("Recorder", [] { return new CRecordingPlugin(); });
    EXPECT_EQ(m_loader.CreatePlugin("echoplugin"), nullptr);
    EXPECT_EQ(m_loader.CreatePlugin("ECHOPLUGIN"), nullptr);
    EXPECT_EQ(m_loader.CreatePlugin("recorder"), nullptr);
    std::unique_ptr<CPluginBase> pPlugin(m_loader.CreatePlugin("Recorder"));
    EXPECT_NE(pPlugin, nullptr);
}

TEST_F(PluginLoaderWithLog, InProcessRegistrationIsFoundBeforeModuleOfSameName)
{
    m_loader.AddSearchDirectory(GOOD_MODULE_DIR);
    m_loader.RegisterPlugin("EchoPlugin", [] { return new CRecordingPlugin("registered"); });

    std::unique_ptr<CPluginBase> pPlugin(m_loader.CreatePlugin("dir/EchoPlugin"));
    auto* pRecording = dynamic_cast<CRecordingPlugin*>(pPlugin.get());
    ASSERT_NE(pRecording, nullptr);
    EXPECT_EQ(pRecording->Tag(), "registered");

    // Other names still come from the modules.
    std::unique_ptr<CPluginBase> pModulePlugin(m_loader.CreatePlugin("EchoPluginB"));
    ASSERT_NE(pModulePlugin, nullptr);
    EXPECT_EQ(ModuleTagOf(*pModulePlugin), "echo_b");

    m_loader.UnregisterPlugin("EchoPlugin");
    std::unique_ptr<CPluginBase> pAfter(m_loader.CreatePlugin("EchoPlugin"));
    ASSERT_NE(pAfter, nullptr);
    EXPECT_EQ(dynamic_cast<CRecordingPlugin*>(pAfter.get()), nullptr);
    EXPECT_EQ(ModuleTagOf(*pAfter), "echo_a");
}

TEST(PluginLoader, RegistrationWorksWithoutSearchDirectories)
{
    CPluginLoader loader;
    loader.RegisterPlugin("Recorder", [] { return new CRecordingPlugin("first"); });
    loader.RegisterPlugin("Recorder", [] { return new CRecordingPlugin("second"); });
    std::unique_ptr<CPluginBase> pPlugin(loader.CreatePlugin("Recorder"));
    auto* pRecording = dynamic_cast<CRecordingPlugin*>(pPlugin.get());
    ASSERT_NE(pRecording, nullptr);
    EXPECT_EQ(pRecording->Tag(), "second");
    EXPECT_TRUE(loader.LoadedModules().empty());
}

TEST_F(PluginLoaderWithLog, RegistrationAnsweringNullFallsBackToModules)
{
    m_loader.AddSearchDirectory(GOOD_MODULE_DIR);
    int nCalls = 0;
    m_loader.RegisterPlugin("EchoPlugin",
                            [&nCalls]() -> CPluginBase*
                            {
                                ++nCalls;
                                return nullptr;
                            });
    std::unique_ptr<CPluginBase> pPlugin(m_loader.CreatePlugin("EchoPlugin"));
    EXPECT_EQ(nCalls, 1);
    ASSERT_NE(pPlugin, nullptr);
    EXPECT_EQ(ModuleTagOf(*pPlugin), "echo_a");
}

TEST_F(PluginLoaderWithLog, ModulesAreLoadedAndAskedInFileNameOrder)
{
    m_loader.AddSearchDirectory(GOOD_MODULE_DIR);
    const std::unique_ptr<CPluginBase> pPlugin = CreateFromModule("SharedPlugin", "echo_a");

    const std::vector<std::string> expected = {ModulePath(GOOD_MODULE_DIR, "echo_a.so"),
                                               ModulePath(GOOD_MODULE_DIR, "echo_b.so")};
    EXPECT_EQ(m_loader.LoadedModules(), expected);
}

TEST_F(PluginLoaderWithLog, NothingIsLoadedBeforeTheFirstLookup)
{
    m_loader.AddSearchDirectory(GOOD_MODULE_DIR);
    EXPECT_TRUE(m_loader.LoadedModules().empty());
    delete m_loader.CreatePlugin("NoSuchPlugin");
    EXPECT_EQ(m_loader.LoadedModules().size(), 2u);
}

TEST_F(PluginLoaderWithLog, BrokenModulesAreLoggedOnceAndGoodModuleInSameDirectoryWorks)
{
    m_loader.AddSearchDirectory(MIXED_MODULE_DIR);
    const std::unique_ptr<CPluginBase> pPlugin = CreateFromModule("MixedEchoPlugin", "echo_mixed");

    const std::string log = Log();
    EXPECT_EQ(m_logger.LineCount(), 3u) << log;

    const std::string broken = OneLogLineWith("broken_module.so");
    EXPECT_NE(broken.find("undefined symbol"), std::string::npos) << broken;
    EXPECT_NE(broken.find("DocviewTestFunctionNobodyDefines"), std::string::npos) << broken;

    const std::string noEntry = OneLogLineWith("no_entry_module.so");
    EXPECT_NE(noEntry.find("CreatePluginInstanceEx"), std::string::npos) << noEntry;

    EXPECT_EQ(LinesWith(log, "notalibrary.so").size(), 1u) << log;
    // A directory whose name ends in ".so" is not a module.
    EXPECT_TRUE(LinesWith(log, "folder.so").empty()) << log;

    const std::vector<std::string> expected = {ModulePath(MIXED_MODULE_DIR, "echo_mixed.so")};
    EXPECT_EQ(m_loader.LoadedModules(), expected);
}

TEST_F(PluginLoaderWithLog, RepeatedLookupsDoNotLogAgain)
{
    m_loader.AddSearchDirectory(MIXED_MODULE_DIR);
    delete m_loader.CreatePlugin("NoSuchPlugin");
    const std::string firstLog = Log();
    ASSERT_EQ(m_logger.LineCount(), 3u) << firstLog;

    for (int i = 0; i < 5; ++i)
    {
        EXPECT_EQ(m_loader.CreatePlugin("NoSuchPlugin"), nullptr);
        std::unique_ptr<CPluginBase> pPlugin(m_loader.CreatePlugin("MixedEchoPlugin"));
        EXPECT_NE(pPlugin, nullptr);
    }
    // Adding the same directory again does not retry its modules either.
    m_loader.AddSearchDirectory(MIXED_MODULE_DIR);
    m_loader.AddSearchDirectory(std::string(MIXED_MODULE_DIR) + "/.");
    delete m_loader.CreatePlugin("NoSuchPlugin");

    EXPECT_EQ(m_logger.LineCount(), 3u);
    EXPECT_EQ(Log(), firstLog);
    EXPECT_EQ(m_loader.LoadedModules().size(), 1u);
}

TEST_F(PluginLoaderWithLog, DirectoryAddedLaterIsSearchedOnNextLookup)
{
    m_loader.AddSearchDirectory(GOOD_MODULE_DIR);
    EXPECT_EQ(m_loader.CreatePlugin("MixedEchoPlugin"), nullptr);
    EXPECT_EQ(m_loader.LoadedModules().size(), 2u);

    m_loader.AddSearchDirectory(MIXED_MODULE_DIR);
    const std::unique_ptr<CPluginBase> pPlugin = CreateFromModule("MixedEchoPlugin", "echo_mixed");

    const std::vector<std::string> expected = {ModulePath(GOOD_MODULE_DIR, "echo_a.so"),
                                               ModulePath(GOOD_MODULE_DIR, "echo_b.so"),
                                               ModulePath(MIXED_MODULE_DIR, "echo_mixed.so")};
    EXPECT_EQ(m_loader.LoadedModules(), expected);
    // Earlier modules keep their place in the order.
    const std::unique_ptr<CPluginBase> pShared = CreateFromModule("SharedPlugin", "echo_a");
}

TEST_F(PluginLoaderWithLog, SameDirectoryUnderAnotherNameLoadsModulesOnce)
{
    m_loader.AddSearchDirectory(GOOD_MODULE_DIR);
    m_loader.AddSearchDirectory(GOOD_MODULE_DIR);
    m_loader.AddSearchDirectory(std::string(GOOD_MODULE_DIR) + "/../modules-good");
    EXPECT_EQ(m_loader.SearchDirectories().size(), 2u);
    delete m_loader.CreatePlugin("NoSuchPlugin");
    EXPECT_EQ(m_loader.LoadedModules().size(), 2u);
    EXPECT_EQ(Log(), "");
}

TEST_F(PluginLoaderWithFullLog, EmptyDirectoryNamesAreIgnoredAndCurrentDirectoryIsNotSearched)
{
    const std::filesystem::path previous = std::filesystem::current_path();
    std::filesystem::current_path(MIXED_MODULE_DIR);

    m_loader.AddSearchPath("::");
    m_loader.AddSearchPath("");
    m_loader.AddSearchDirectory("");
    EXPECT_TRUE(m_loader.SearchDirectories().empty());
    CPluginBase* pPlugin = m_loader.CreatePlugin("MixedEchoPlugin");
    const std::vector<std::string> loaded = m_loader.LoadedModules();

    std::filesystem::current_path(previous);
    EXPECT_EQ(pPlugin, nullptr);
    delete pPlugin;
    EXPECT_TRUE(loaded.empty());
    EXPECT_EQ(Log(), "");
}

TEST(PluginLoader, SearchPathListIsSplitAtColons)
{
    CPluginLoader loader;
    loader.AddSearchPath("/first::/second:");
    loader.AddSearchPath("/third");
    const std::vector<std::string> expected = {"/first", "/second", "/third"};
    EXPECT_EQ(loader.SearchDirectories(), expected);
}

TEST_F(PluginLoaderWithFullLog, UnreadableDirectoryIsReportedOnceAsWarning)
{
    const std::string missing = std::string(MIXED_MODULE_DIR) + "-does-not-exist";
    m_loader.AddSearchDirectory(missing);
    m_loader.AddSearchDirectory(GOOD_MODULE_DIR);
    std::unique_ptr<CPluginBase> pPlugin(m_loader.CreatePlugin("EchoPlugin"));
    EXPECT_NE(pPlugin, nullptr);
    delete m_loader.CreatePlugin("NoSuchPlugin");

    EXPECT_EQ(m_logger.LineCount(), 1u) << Log();
    EXPECT_EQ(LinesWith(Log(), missing).size(), 1u) << Log();
}

TEST_F(PluginLoaderWithLog, PointerValuesMadeInModuleUnwrapInHost)
{
    m_loader.AddSearchDirectory(GOOD_MODULE_DIR);
    std::unique_ptr<CPluginBase> pPlugin(m_loader.CreatePlugin("EchoPlugin"));
    ASSERT_NE(pPlugin, nullptr);
    const std::unique_ptr<CValueMap> pData = RunPlugin(*pPlugin);

    const CValueMap* pResult = UnwrapPointer<CValueMap>(pData->Entry("Result", true));
    ASSERT_NE(pResult, nullptr);
    EXPECT_EQ(pResult->EntryString("Module"), CString("echo_a"));

    // The module has its own type_info for SEchoRecord (not exported), so only the comparison
    // by name can match it.
    const CValue* pRecordValue = pData->Entry("Record", true);
    EXPECT_NE(&pRecordValue->ElementType(), &typeid(SEchoRecord));
    const SEchoRecord* pRecord = UnwrapPointer<SEchoRecord>(pRecordValue);
    ASSERT_NE(pRecord, nullptr);
    EXPECT_EQ(pRecord->m_strTag, "echo_a");

    // Still no conversion to another type.
    EXPECT_THROW(UnwrapPointer<CValueVector>(pData->Entry("Result", true)), CExBadParam);
    EXPECT_THROW(UnwrapPointer<CValueMap>(pData->Entry("Record", true)), CExBadParam);
}

TEST_F(PluginLoaderWithLog, ModulePluginDefaultsWorkAcrossModuleBoundary)
{
    m_loader.AddSearchDirectory(GOOD_MODULE_DIR);
    std::unique_ptr<CPluginBase> pPlugin(m_loader.CreatePlugin("EchoPlugin"));
    ASSERT_NE(pPlugin, nullptr);

    EXPECT_TRUE(pPlugin->TestInterface("Zarn::CPluginBase"));
    EXPECT_TRUE(pPlugin->TestInterface("IPluginObject"));
    EXPECT_FALSE(pPlugin->TestInterface("IOther"));
    EXPECT_TRUE(pPlugin->TestParameters(CValueMap()));

    pPlugin->SetInstance("echo #1");
    CValueMap parameters;
    parameters.SetEntry("A", new CValueLong(1));
    parameters.SetEntry("B", new CValueLong(2));
    pPlugin->Init(&parameters); // IPluginObject's default, in the host library

    std::unique_ptr<CValueMap> pData = RunPlugin(*pPlugin);
    EXPECT_EQ(pData->EntryString("Instance"), CString("echo #1"));
    EXPECT_EQ(pData->EntryLong("InitCount"), 1);
    EXPECT_TRUE(pData->EntryBool("ContextWasNull"));
    EXPECT_EQ(pData->EntryLong("ParameterCount"), 2);

    pPlugin->Init(nullptr);
    pData = RunPlugin(*pPlugin);
    EXPECT_EQ(pData->EntryLong("InitCount"), 2);
    EXPECT_EQ(pData->EntryLong("ParameterCount"), 0);
}

TEST_F(PluginLoaderWithLog, DeletingModulePluginThroughBasePointerRunsItsDestructor)
{
    m_loader.AddSearchDirectory(GOOD_MODULE_DIR);
    CPluginBase* pPlugin = m_loader.CreatePlugin("EchoPlugin");
    ASSERT_NE(pPlugin, nullptr);

    bool bDestroyed = false;
    CValueMap parameters;
    parameters.SetEntry("DestroyedFlag", new CValuePointer<bool>(&bDestroyed));
    int context = 0;
    pPlugin->Init(&context, parameters);
    EXPECT_FALSE(RunPlugin(*pPlugin)->EntryBool("ContextWasNull"));
    EXPECT_FALSE(bDestroyed);

    delete pPlugin;
    EXPECT_TRUE(bDestroyed);
}

TEST(PluginLoader, ProcessLoaderSearchesEnvironmentDirectories)
{
    ASSERT_TRUE(g_bSearchPathSet);
    const std::vector<std::string> expected = {GOOD_MODULE_DIR};
    EXPECT_EQ(CPluginLoader::Obj().SearchDirectories(), expected);
    EXPECT_EQ(&CPluginLoader::Obj(), &CPluginLoader::Obj());

    std::unique_ptr<CPluginBase> pPlugin(GetNewPluginInstance("plugins/EchoPlugin"));
    ASSERT_NE(pPlugin, nullptr);
    EXPECT_EQ(ModuleTagOf(*pPlugin), "echo_a");
    EXPECT_EQ(GetNewPluginInstance("MixedEchoPlugin"), nullptr);

    // A directory added to the process's loader is searched on its next look-up, with the
    // loader's own logger.
    std::ostringstream logStream;
    CLogger logger(&logStream);
    CPluginLoader::Obj().SetLogger(&logger);
    CPluginLoader::Obj().AddSearchDirectory(MIXED_MODULE_DIR);
    std::unique_ptr<CPluginBase> pMixed(GetNewPluginInstance("MixedEchoPlugin"));
    CPluginLoader::Obj().SetLogger(nullptr);
    ASSERT_NE(pMixed, nullptr);
    EXPECT_EQ(ModuleTagOf(*pMixed), "echo_mixed");
    EXPECT_EQ(logger.LineCount(), 3u) << logStream.str();
    EXPECT_EQ(LinesWith(logStream.str(), "broken_module.so").size(), 1u) << logStream.str();
}

TEST_F(PluginLoaderWithLog, ConcurrentLookupsLoadEachModuleOnce)
{
    m_loader.AddSearchDirectory(GOOD_MODULE_DIR);
    m_loader.AddSearchDirectory(MIXED_MODULE_DIR);
    constexpr int kThreads = 8;
    std::atomic<int> nFound{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
    {
        threads.emplace_back(
            [this, &nFound, i]
            {
                const char* name = i % 2 == 0 ? "EchoPlugin" : "MixedEchoPlugin";
                for (int j = 0; j < 20; ++j)
                {
                    std::unique_ptr<CPluginBase> pPlugin(m_loader.CreatePlugin(name));
                    if (pPlugin != nullptr)
                    {
                        ++nFound;
                    }
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(nFound.load(), kThreads * 20);
    EXPECT_EQ(m_loader.LoadedModules().size(), 3u);
    EXPECT_EQ(m_logger.LineCount(), 3u) << Log();
}

namespace
{

// A folder of its own under the system's temporary folder, removed with the object.
class CScratchDirectory
{
public:
    CScratchDirectory()
    {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "docview-loader-XXXXXX").string();
        m_path = mkdtemp(pattern.data());
    }
    CScratchDirectory(const CScratchDirectory&) = delete;
    CScratchDirectory& operator=(const CScratchDirectory&) = delete;
    ~CScratchDirectory()
    {
        std::error_code error;
        std::filesystem::remove_all(m_path, error);
    }
    std::string Path() const { return m_path.string(); }

private:
    std::filesystem::path m_path;
};

// Writes the first `nBytes` of `source` to `target`.
void CopyHead(const std::string& source, const std::string& target, std::size_t nBytes)
{
    std::ifstream in(source, std::ios::binary);
    std::string bytes(nBytes, '\0');
    in.read(bytes.data(), static_cast<std::streamsize>(nBytes));
    bytes.resize(static_cast<std::size_t>(in.gcount()));
    std::ofstream(target, std::ios::binary) << bytes;
}

} // namespace

// A module file cut short used to kill the process with SIGBUS inside dlopen.
TEST_F(PluginLoaderWithLog, ModuleFileCutShortIsReportedByPathAndOtherModulesStillLoad)
{
    const CScratchDirectory directory;
    const std::string cutModule = directory.Path() + "/cut.so";
    CopyHead(ModulePath(GOOD_MODULE_DIR, "echo_a.so"), cutModule, 3000);
    m_loader.AddSearchDirectory(directory.Path());
    m_loader.AddSearchDirectory(GOOD_MODULE_DIR);

    const std::unique_ptr<CPluginBase> pPlugin = CreateFromModule("EchoPlugin", "echo_a");

    EXPECT_EQ(m_logger.LineCount(), 1u) << Log();
    const std::string cut = OneLogLineWith(cutModule);
    EXPECT_NE(cut.find("cannot be loaded: the file is cut short"), std::string::npos) << cut;
    EXPECT_NE(cut.find("the file has 3000 bytes"), std::string::npos) << cut;
    const std::vector<std::string> expected = {ModulePath(GOOD_MODULE_DIR, "echo_a.so"),
                                               ModulePath(GOOD_MODULE_DIR, "echo_b.so")};
    EXPECT_EQ(m_loader.LoadedModules(), expected);
}

// A file that only carries the module suffix is refused before dlopen, in plain words.
TEST_F(PluginLoaderWithLog, TextFileNamedLikeModuleIsReportedAsNotAnElfFile)
{
    m_loader.AddSearchDirectory(MIXED_MODULE_DIR);
    delete m_loader.CreatePlugin("NoSuchPlugin");
    const std::string text = OneLogLineWith("notalibrary.so");
    EXPECT_NE(text.find("cannot be loaded: not an ELF file"), std::string::npos) << text;
}

// A module whose entry crashes used to end the program without naming the module.
TEST_F(PluginLoaderWithLog, ModuleWhoseEntryCrashesIsReportedOnceAndNotAskedAgain)
{
    m_loader.AddSearchDirectory(CRASHING_MODULE_DIR);
    const std::string crashing = ModulePath(CRASHING_MODULE_DIR, "a_crashing_entry.so");

    const std::unique_ptr<CPluginBase> pPlugin =
        CreateFromModule("AfterCrashEchoPlugin", "echo_after_crash");

    const std::string firstLog = Log();
    EXPECT_EQ(m_logger.LineCount(), 1u) << firstLog;
    const std::string crash = OneLogLineWith(crashing);
    EXPECT_NE(crash.find("crashed in CreatePluginInstanceEx when asked for "
                         "'AfterCrashEchoPlugin'"),
              std::string::npos)
        << crash;
    EXPECT_NE(crash.find("Segmentation fault, code 0xC0000005"), std::string::npos) << crash;

    for (int i = 0; i < 3; ++i)
    {
        std::unique_ptr<CPluginBase> pAgain(m_loader.CreatePlugin("AfterCrashEchoPlugin"));
        EXPECT_NE(pAgain, nullptr);
        EXPECT_EQ(m_loader.CreatePlugin("NoSuchPlugin"), nullptr);
    }
    EXPECT_EQ(Log(), firstLog);
    const std::vector<std::string> expected = {
        ModulePath(CRASHING_MODULE_DIR, "echo_after_crash.so")};
    EXPECT_EQ(m_loader.LoadedModules(), expected);
}

namespace
{
void RecordNothing(std::uint32_t, SSystemExceptionInfo*) {}
} // namespace

// The loader guards an entry with a translator of its own; the thread's translator comes back.
TEST_F(PluginLoaderWithLog, ThreadTranslatorIsRestoredAfterCrashingEntry)
{
    m_loader.AddSearchDirectory(CRASHING_MODULE_DIR);
    const SystemExceptionTranslator before = SetSystemExceptionTranslator(&RecordNothing);
    delete m_loader.CreatePlugin("AfterCrashEchoPlugin");
    EXPECT_EQ(SetSystemExceptionTranslator(before), &RecordNothing);
    EXPECT_EQ(m_logger.LineCount(), 1u) << Log();
}
