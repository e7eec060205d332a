// docview-batch: runs a process description over image files and folders, without a window.

#include "BatchInputs.h"
#include "BatchJournal.h"
#include "BatchProgress.h"
#include "BatchRunner.h"
#include "BatchSignals.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/ImageSizeGuard.h>
#include <Zarn/Serial/JsonValueFile.h>

#include <algorithm>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

const char* const kUsage =
    "usage: docview-batch --process FILE [--output DIR] [-j N] [--shard I/N] [--csv FILE]\n"
    "                     [--max-pixels N] [--resume] [--plugin-path DIR] [--verbose]\n"
    "                     INPUT...\n"
    "       docview-batch --help | --version\n"
    "\n"
    "Runs the process description FILE on every image INPUT names: image files, or folders with\n"
    "all the images below them. Results are written as TIFF (with their header history) into DIR\n"
    "(default: ./results), keeping the folder structure, and a summary into DIR/summary.csv.\n"
    "A result is named after its input: a.png gives a.tif; a.png and a.tif in one folder give\n"
    "a.png.tif and a.tif.tif; a name still taken gets -2, -3, ... No result is written twice.\n"
    "\n"
    "  -j N         N images at a time (default: the number of cores)\n"
    "  --shard I/N  only every N-th input, starting at the I-th (I from 0 to N-1): N jobs with\n"
    "               I = 0..N-1 (for instance a Slurm job array) share the inputs between them\n"
    "  --csv FILE   the summary goes to FILE instead\n"
    "  --max-pixels N\n"
    "               refuse an image whose header claims more than N pixels (all planes\n"
    "               together), before it is decoded (default: 268435456 = 2^28); never more\n"
    "               than the memory available at the start, shared by the workers, holds\n"
    "               three times at the image's bytes per pixel\n"
    "  --resume     skip the inputs an earlier run of the same process into DIR finished\n"
    "               (its journal DIR/.docview-batch.journal records each one), do the rest\n"
    "               and write the summary of all; temporary files of a killed run are removed\n"
    "  --verbose    also the plug-ins' progress messages\n"
    "  --help       this text\n"
    "  --version    the program's version\n"
    "\n"
    "SIGINT (Ctrl+C) or SIGTERM: the images in progress are finished, no new one is started,\n"
    "the summary lists what was done; a second signal stops at once.\n"
    "\n"
    "Exit status: 0 when every image was processed, 1 when some failed, 2 for a wrong call,\n"
    "130 or 143 when SIGINT or SIGTERM stopped the run.\n";

// Errors a user must see go to standard error with the program's name: there is no window, and
// the log shows only what the plug-ins say.
void ReportError(const std::string& text)
{
    std::cerr << "docview-batch: " << text << "\n";
}

int Usage(const std::string& problem)
{
    ReportError(problem);
    std::cerr << "\n" << kUsage;
    return 2;
}

// The modules beside the program, as the build and an installation place them.
std::string DefaultModuleFolder()
{
    std::error_code error;
    const fs::path executable = fs::read_symlink("/proc/self/exe", error);
    return error ? std::string()
                 : (executable.parent_path() / ".." / "modules").lexically_normal().string();
}

// What the command line asks for.
struct SBatchOptions
{
    std::string m_strProcess;
    fs::path m_outputFolder = "results";
    fs::path m_summaryPath; // empty: summary.csv in the output folder
    unsigned int m_uWorkers = std::max(1u, std::thread::hardware_concurrency());
    unsigned int m_uShard = 0;
    unsigned int m_uShards = 1;
    std::uint64_t m_uMaxPixels = Zarn::SImageSizeLimit::kDefaultMaxPixels;
    bool m_bVerbose = false;
    bool m_bResume = false;
    std::vector<std::string> m_lstPluginFolders = {DefaultModuleFolder()};
    std::vector<std::string> m_lstInputs;
    // Set by --help and --version, which answer at once and end the program.
    const char* m_szAnswer = nullptr;
};

// A call the program cannot follow; the text says why.
class CUsageError : public std::invalid_argument
{
public:
    using std::invalid_argument::invalid_argument;
};

void SetWorkers(SBatchOptions& options, const std::string& value)
{
    const long nCount = std::strtol(value.c_str(), nullptr, 10);
    if (nCount < 1 || nCount > 1024)
    {
        throw CUsageError("-j needs a number from 1 to 1024, not '" + value + "'");
    }
    options.m_uWorkers = static_cast<unsigned int>(nCount);
}

void SetMaxPixels(SBatchOptions& options, const std::string& value)
{
    char* pEnd = nullptr;
    const unsigned long long uCount = std::strtoull(value.c_str(), &pEnd, 10);
    if (value.empty() || *pEnd != '\0' || value[0] == '-' || uCount < 1 || uCount == ULLONG_MAX)
    {
        throw CUsageError("--max-pixels needs a number of pixels from 1 up, not '" + value + "'");
    }
    options.m_uMaxPixels = uCount;
}

void SetShard(SBatchOptions& options, const std::string& value)
{
    if (!ParseShard(value, options.m_uShard, options.m_uShards))
    {
        throw CUsageError("--shard needs I/N with 0 <= I < N, not '" + value + "'");
    }
}

// One option: its names (the first one is named in errors), whether it takes a value, and what it
// sets.
struct SOption
{
    std::vector<std::string> m_lstNames;
    bool m_bTakesValue;
    void (*m_fnApply)(SBatchOptions& options, const std::string& value);
};

const SOption kOptions[] = {
    {{"--help", "-h"},
     false,
     [](SBatchOptions& options, const std::string&) { options.m_szAnswer = kUsage; }},
    {{"--version"},
     false,
     [](SBatchOptions& options, const std::string&)
     { options.m_szAnswer = "docview-batch " DOCVIEW_VERSION "\n"; }},
    {{"--process"},
     true,
     [](SBatchOptions& options, const std::string& value) { options.m_strProcess = value; }},
    {{"--output", "-o"},
     true,
     [](SBatchOptions& options, const std::string& value) { options.m_outputFolder = value; }},
    {{"--csv"},
     true,
     [](SBatchOptions& options, const std::string& value) { options.m_summaryPath = value; }},
    {{"--plugin-path"},
     true,
     [](SBatchOptions& options, const std::string& value)
     { options.m_lstPluginFolders.push_back(value); }},
    {{"--resume"},
     false,
     [](SBatchOptions& options, const std::string&) { options.m_bResume = true; }},
    {{"--verbose", "-v"},
     false,
     [](SBatchOptions& options, const std::string&) { options.m_bVerbose = true; }},
    {{"-j", "--jobs"}, true, SetWorkers},
    {{"--shard"}, true, SetShard},
    {{"--max-pixels"}, true, SetMaxPixels},
};

const SOption* FindOption(const std::string& argument)
{
    for (const SOption& option : kOptions)
    {
        if (std::find(option.m_lstNames.begin(), option.m_lstNames.end(), argument) !=
            option.m_lstNames.end())
        {
            return &option;
        }
    }
    return nullptr;
}

// The options in command-line order, up to --help or --version; throws CUsageError for a wrong
// call.
SBatchOptions ParseArguments(int argc, char* argv[])
{
    SBatchOptions options;
    for (int i = 1; i < argc; ++i)
    {
        const std::string strArgument = argv[i];
        const SOption* pOption = FindOption(strArgument);
        if (pOption == nullptr && strArgument.size() > 1 && strArgument[0] == '-')
        {
            throw CUsageError("unknown option " + strArgument);
        }
        if (pOption == nullptr)
        {
            options.m_lstInputs.push_back(strArgument);
            continue;
        }
        if (pOption->m_bTakesValue && i + 1 >= argc)
        {
            throw CUsageError(pOption->m_lstNames.front() + " needs a value");
        }
        pOption->m_fnApply(options, pOption->m_bTakesValue ? argv[++i] : std::string());
        if (options.m_szAnswer != nullptr)
        {
            return options;
        }
    }
    if (options.m_strProcess.empty())
    {
        throw CUsageError("--process is required");
    }
    if (options.m_lstInputs.empty())
    {
        throw CUsageError("no input given");
    }
    if (options.m_summaryPath.empty())
    {
        options.m_summaryPath = options.m_outputFolder / "summary.csv";
    }
    return options;
}

// The process description and this shard's inputs; throws what is wrong with them.
std::unique_ptr<Zarn::CValue> ReadProcess(const std::string& path)
{
    std::unique_ptr<Zarn::CValue> pProcess(Zarn::CJsonValueFile::ReadFile(path));
    if (pProcess->GenericType() != Zarn::CValue::vtMap ||
        !pProcess->Map()->HasEntry(Zarn::CValue_Key("process")))
    {
        throw std::runtime_error(path + ": a process file is an object with \"process\"");
    }
    return pProcess;
}

// Plug-ins talk on standard output while they work; only --verbose shows that. The program's own
// lines go to standard error, which stays.
void SilencePlugins()
{
    std::fflush(stdout);
    const int nNull = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nNull >= 0)
    {
        ::dup2(nNull, STDOUT_FILENO);
        ::close(nNull);
    }
}

void AnnounceRun(const SBatchOptions& options, size_t images, size_t kept)
{
    std::cerr << "docview-batch: " << images << " image" << (images == 1 ? "" : "s")
              << (options.m_uShards > 1 ? " (shard " + std::to_string(options.m_uShard) + "/" +
                                              std::to_string(options.m_uShards) + ")"
                                        : "")
              << (kept > 0 ? " (" + std::to_string(kept) + " done before)" : "") << ", "
              << options.m_uWorkers << " worker" << (options.m_uWorkers == 1 ? "" : "s")
              << ", results in " << options.m_outputFolder.string() << "\n";
}

// What this run does: everything, or with --resume what an earlier run of the same process did
// not finish; the temporary files that killed runs left are removed then. Throws
// std::runtime_error when the journal is of another process.
SBatchResumePlan PlanRun(const SBatchOptions& options, const std::vector<SBatchInput>& inputs,
                         const std::string& process)
{
    if (!options.m_bResume)
    {
        return {{}, inputs};
    }
    const fs::path journal = options.m_outputFolder / CBatchJournal::kFileName;
    const std::string strRecorded = CBatchJournal::ReadProcess(journal);
    if (!strRecorded.empty() && strRecorded != process)
    {
        throw std::runtime_error("--resume: " + journal.string() +
                                 " is the journal of another process description; run the same "
                                 "one, or start over without --resume");
    }
    size_t uRemoved = RemoveStaleTemporaryFiles(options.m_outputFolder, true);
    const fs::path summaryFolder = options.m_summaryPath.parent_path();
    if (summaryFolder.lexically_normal() != options.m_outputFolder.lexically_normal())
    {
        uRemoved += RemoveStaleTemporaryFiles(summaryFolder.empty() ? "." : summaryFolder, false);
    }
    if (uRemoved > 0)
    {
        std::cerr << "docview-batch: removed " << uRemoved << " temporary file"
                  << (uRemoved == 1 ? "" : "s") << " of an earlier run\n";
    }
    return PlanBatchResume(inputs, CBatchJournal::Read(journal), options.m_outputFolder);
}

// The journal of this run, holding what an earlier one finished; without one the run goes on,
// but --resume will do everything again.
std::unique_ptr<CBatchJournal> StartJournal(const SBatchOptions& options,
                                            const std::vector<SBatchResult>& kept,
                                            const std::string& process)
{
    try
    {
        fs::create_directories(options.m_outputFolder);
        return std::make_unique<CBatchJournal>(options.m_outputFolder / CBatchJournal::kFileName,
                                               kept, process);
    }
    catch (const std::exception& error)
    {
        ReportError(std::string(error.what()) + "; --resume will not know what this run did");
        return nullptr;
    }
}

// Called under the runner's lock; a journal that fails is named once and then left alone.
void Record(CBatchJournal* journal, const SBatchResult& result, bool& failed)
{
    if (journal == nullptr || failed)
    {
        return;
    }
    const std::string strReason = journal->Append(result);
    if (!strReason.empty())
    {
        failed = true;
        ReportError("cannot write the journal " + journal->Path().string() + ": " + strReason +
                    "; --resume will do again what it misses");
    }
}

// Runs the inputs with a progress display, recording each finished one; the results and the
// seconds the run took. SIGINT and SIGTERM stop it early.
std::vector<SBatchResult> RunAll(const SBatchOptions& options, const Zarn::CValueMap& process,
                                 const std::vector<SBatchInput>& inputs, CBatchJournal* journal,
                                 double& seconds)
{
    CBatchProgress progress(std::cerr, inputs.size(), ::isatty(STDERR_FILENO) != 0);
    const auto start = std::chrono::steady_clock::now();
    CBatchRunner runner(process, options.m_outputFolder, options.m_uWorkers);
    runner.SetImageLimit(
        Zarn::SImageSizeLimit::ForReaders(options.m_uMaxPixels, options.m_uWorkers));
    runner.StopWhen(CBatchStopSignals::Received());
    bool bJournalFailed = false;
    std::vector<SBatchResult> lstResults = runner.Run(
        inputs,
        [&](const SBatchResult& result, size_t done, size_t failed)
        {
            progress.Update(result.m_input.m_path.string(), result.m_bDone, done, failed);
            Record(journal, result, bJournalFailed);
        });
    progress.Finish();
    seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return lstResults;
}

// Lists the failures and the closing line (an empty summary path: none was written); the number
// of failures. `processed` of the results were made by this run, in `seconds`.
size_t ReportResults(const std::vector<SBatchResult>& results, size_t processed, double seconds,
                     const fs::path& summaryPath)
{
    size_t uFailed = 0;
    for (const SBatchResult& result : results)
    {
        if (!result.m_bDone)
        {
            if (uFailed++ == 0)
            {
                std::cerr << "Failed:\n";
            }
            // Most errors start with the file already; it is named once.
            const std::string strFile = result.m_input.m_path.string() + ": ";
            std::cerr << "  " << (result.m_strError.rfind(strFile, 0) == 0 ? "" : strFile)
                      << result.m_strError << "\n";
        }
    }
    char szRate[32];
    std::snprintf(szRate, sizeof(szRate), "%.1f",
                  seconds > 0 ? static_cast<double>(processed) / seconds : 0.0);
    std::cerr << "docview-batch: " << (results.size() - uFailed) << " of " << results.size()
              << " done in " << CBatchProgress::Duration(seconds) << " (" << szRate
              << " images/s); "
              << (summaryPath.empty() ? "no summary written" : "summary in " + summaryPath.string())
              << "\n";
    return uFailed;
}

// Writes the summary of `results` (of `inputs` inputs) and reports; the exit status.
int FinishRun(const SBatchOptions& options, const std::vector<SBatchResult>& results, size_t inputs,
              size_t processed, double seconds)
{
    bool bSummaryWritten = true;
    try
    {
        WriteBatchSummary(options.m_summaryPath, results);
    }
    catch (const std::exception& error)
    {
        // The failures are listed all the same: they may be all the user gets of this run.
        ReportError(error.what());
        bSummaryWritten = false;
    }
    const size_t uFailed = ReportResults(results, processed, seconds,
                                         bSummaryWritten ? options.m_summaryPath : fs::path());
    const int nSignal = CBatchStopSignals::Received().load();
    if (nSignal != 0)
    {
        ReportError(std::string("stopped by ") + (nSignal == SIGINT ? "SIGINT" : "SIGTERM") + ": " +
                    std::to_string(inputs - results.size()) + " of " + std::to_string(inputs) +
                    " inputs not started; --resume does them");
        return 128 + nSignal;
    }
    return uFailed == 0 && bSummaryWritten ? 0 : 1;
}

// The run after a good call: 0 when every image was processed, 1 when some failed, 2 when the
// process or the inputs cannot be used, 128 + the signal when SIGINT or SIGTERM stopped it.
int Run(const SBatchOptions& options)
{
    std::unique_ptr<Zarn::CValue> pProcess;
    std::vector<SBatchInput> lstInputs;
    std::string strFingerprint;
    SBatchResumePlan plan;
    try
    {
        pProcess = ReadProcess(options.m_strProcess);
        lstInputs = SelectShard(CollectBatchInputs(options.m_lstInputs), options.m_uShard,
                                options.m_uShards);
        strFingerprint = CBatchJournal::Fingerprint(*pProcess->Map());
        plan = PlanRun(options, lstInputs, strFingerprint);
    }
    catch (const std::exception& error)
    {
        ReportError(error.what());
        return 2;
    }
    if (!options.m_bVerbose)
    {
        SilencePlugins();
    }
    // Under a file size limit (ulimit -f) the write that crosses it fails with "File too large"
    // for that one file, instead of the signal ending the whole run.
    std::signal(SIGXFSZ, SIG_IGN);
    const std::unique_ptr<CBatchJournal> pJournal =
        StartJournal(options, plan.m_lstKept, strFingerprint);
    const CBatchStopSignals signals;
    CBatchHost host(&std::cerr, options.m_bVerbose ? 0 : Zarn::CLogger::levelWarning,
                    options.m_lstPluginFolders);
    AnnounceRun(options, plan.m_lstToDo.size(), plan.m_lstKept.size());
    double dSeconds = 0;
    const std::vector<SBatchResult> lstRun =
        RunAll(options, *pProcess->Map(), plan.m_lstToDo, pJournal.get(), dSeconds);
    host.DropMessages();
    const auto uStarted = static_cast<size_t>(std::count_if(lstRun.begin(), lstRun.end(),
                                                            [](const SBatchResult& result)
                                                            { return result.m_bStarted; }));
    return FinishRun(options, MergeBatchResults(lstInputs, plan.m_lstKept, lstRun),
                     lstInputs.size(), uStarted, dSeconds);
}

} // namespace

int main(int argc, char* argv[])
{
    SBatchOptions options;
    try
    {
        options = ParseArguments(argc, argv);
    }
    catch (const CUsageError& error)
    {
        return Usage(error.what());
    }
    if (options.m_szAnswer != nullptr)
    {
        std::cout << options.m_szAnswer;
        return 0;
    }
    return Run(options);
}
