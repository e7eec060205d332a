// docview-batch: runs a process description over image files and folders, without a window.

#include "BatchInputs.h"
#include "BatchProgress.h"
#include "BatchRunner.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Serial/JsonValueFile.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

const char* const kUsage =
    "usage: docview-batch --process FILE [--output DIR] [-j N] [--shard I/N] [--csv FILE]\n"
    "                     [--plugin-path DIR] [--verbose] INPUT...\n"
    "\n"
    "Runs the process description FILE on every image INPUT names: image files, or folders with\n"
    "all the images below them. Results are written as TIFF (with their header history) into DIR\n"
    "(default: ./results), keeping the folder structure, and a summary into DIR/summary.csv.\n"
    "\n"
    "  -j N         N images at a time (default: the number of cores)\n"
    "  --shard I/N  only every N-th input, starting at the I-th (I from 0 to N-1): N jobs with\n"
    "               I = 0..N-1 (for instance a Slurm job array) share the inputs between them\n"
    "  --csv FILE   the summary goes to FILE instead\n"
    "  --verbose    also the plug-ins' progress messages\n"
    "\n"
    "Exit status: 0 when every image was processed, 1 when some failed, 2 for a wrong call.\n";

int Usage(const std::string& problem)
{
    std::cerr << "docview-batch: " << problem << "\n\n" << kUsage;
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

} // namespace

int main(int argc, char* argv[])
{
    std::string strProcess;
    fs::path outputFolder = "results";
    fs::path summaryPath;
    unsigned int uWorkers = std::max(1u, std::thread::hardware_concurrency());
    unsigned int uShard = 0;
    unsigned int uShards = 1;
    bool bVerbose = false;
    std::vector<std::string> lstPluginFolders = {DefaultModuleFolder()};
    std::vector<std::string> lstArguments;

    for (int i = 1; i < argc; ++i)
    {
        const std::string strArgument = argv[i];
        const auto Value = [&](const char* option) -> std::string
        {
            if (i + 1 >= argc)
            {
                throw std::invalid_argument(std::string(option) + " needs a value");
            }
            return argv[++i];
        };
        try
        {
            if (strArgument == "--help" || strArgument == "-h")
            {
                std::cout << kUsage;
                return 0;
            }
            else if (strArgument == "--process")
                strProcess = Value("--process");
            else if (strArgument == "--output" || strArgument == "-o")
                outputFolder = Value("--output");
            else if (strArgument == "--csv")
                summaryPath = Value("--csv");
            else if (strArgument == "--plugin-path")
                lstPluginFolders.push_back(Value("--plugin-path"));
            else if (strArgument == "--verbose" || strArgument == "-v")
                bVerbose = true;
            else if (strArgument == "-j" || strArgument == "--jobs")
            {
                const std::string strCount = Value("-j");
                const long nCount = std::strtol(strCount.c_str(), nullptr, 10);
                if (nCount < 1 || nCount > 1024)
                {
                    return Usage("-j needs a number from 1 to 1024, not '" + strCount + "'");
                }
                uWorkers = static_cast<unsigned int>(nCount);
            }
            else if (strArgument == "--shard")
            {
                const std::string strShard = Value("--shard");
                if (!ParseShard(strShard, uShard, uShards))
                {
                    return Usage("--shard needs I/N with 0 <= I < N, not '" + strShard + "'");
                }
            }
            else if (strArgument.size() > 1 && strArgument[0] == '-')
                return Usage("unknown option " + strArgument);
            else
                lstArguments.push_back(strArgument);
        }
        catch (const std::invalid_argument& error)
        {
            return Usage(error.what());
        }
    }
    if (strProcess.empty())
    {
        return Usage("--process is required");
    }
    if (lstArguments.empty())
    {
        return Usage("no input given");
    }
    if (summaryPath.empty())
    {
        summaryPath = outputFolder / "summary.csv";
    }

    std::unique_ptr<Zarn::CValue> pProcess;
    std::vector<SBatchInput> lstInputs;
    try
    {
        pProcess.reset(Zarn::CJsonValueFile::ReadFile(strProcess));
        if (pProcess->GenericType() != Zarn::CValue::vtMap ||
            !pProcess->Map()->HasEntry(Zarn::CValue_Key("process")))
        {
            std::cerr << "docview-batch: " << strProcess
                      << ": a process file is an object with \"process\"\n";
            return 2;
        }
        lstInputs = SelectShard(CollectBatchInputs(lstArguments), uShard, uShards);
    }
    catch (const std::exception& error)
    {
        std::cerr << "docview-batch: " << error.what() << "\n";
        return 2;
    }

    // Plug-ins talk on standard output while they work; only --verbose shows that.
    if (!bVerbose)
    {
        std::fflush(stdout);
        const int nNull = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (nNull >= 0)
        {
            ::dup2(nNull, STDOUT_FILENO);
            ::close(nNull);
        }
    }
    CBatchHost host(&std::cerr, bVerbose ? 0 : Zarn::CLogger::levelWarning, lstPluginFolders);
    std::cerr << "docview-batch: " << lstInputs.size() << " image"
              << (lstInputs.size() == 1 ? "" : "s")
              << (uShards > 1
                      ? " (shard " + std::to_string(uShard) + "/" + std::to_string(uShards) + ")"
                      : "")
              << ", " << uWorkers << " worker" << (uWorkers == 1 ? "" : "s") << ", results in "
              << outputFolder.string() << "\n";

    CBatchProgress progress(std::cerr, lstInputs.size(), ::isatty(STDERR_FILENO) != 0);
    const auto start = std::chrono::steady_clock::now();
    CBatchRunner runner(*pProcess->Map(), outputFolder, uWorkers);
    const std::vector<SBatchResult> lstResults = runner.Run(
        lstInputs, [&](const SBatchResult& result, size_t done, size_t failed)
        { progress.Update(result.m_input.m_path.string(), result.m_bDone, done, failed); });
    progress.Finish();
    host.DropMessages();
    const double dSeconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

    try
    {
        WriteBatchSummary(summaryPath, lstResults);
    }
    catch (const std::exception& error)
    {
        std::cerr << "docview-batch: " << error.what() << "\n";
        return 1;
    }

    size_t uFailed = 0;
    for (const SBatchResult& result : lstResults)
    {
        if (!result.m_bDone)
        {
            if (uFailed++ == 0)
            {
                std::cerr << "Failed:\n";
            }
            std::cerr << "  " << result.m_input.m_path.string() << ": " << result.m_strError
                      << "\n";
        }
    }
    char szRate[32];
    std::snprintf(szRate, sizeof(szRate), "%.1f",
                  dSeconds > 0 ? static_cast<double>(lstResults.size()) / dSeconds : 0.0);
    std::cerr << "docview-batch: " << (lstResults.size() - uFailed) << " of " << lstResults.size()
              << " done in " << CBatchProgress::Duration(dSeconds) << " (" << szRate
              << " images/s); summary in " << summaryPath.string() << "\n";
    return uFailed == 0 ? 0 : 1;
}
