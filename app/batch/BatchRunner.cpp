#include "BatchRunner.h"

#include "BatchFiles.h"
#include "BatchJournal.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/ImageDocument.h>
#include <Zarn/Image/ImageFile.h>
#include <Zarn/Image/TekaHeaderTools.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/ValuePointer.h>

#include <atomic>
#include <mutex>
#include <thread>

namespace fs = std::filesystem;

namespace
{

// What went wrong, for the user: the host's exceptions also name the function that raised them,
// which tells a user nothing, so only their text and the instance they concern are taken.
std::string ErrorText(const std::exception& error)
{
    const auto* pZarn = dynamic_cast<const Zarn::CException*>(&error);
    const std::string strInstance = pZarn != nullptr ? pZarn->instance() : "";
    return strInstance.empty() ? std::string(error.what())
                               : std::string(error.what()) + " (" + strInstance + ")";
}

// An "ImageProcess" plug-in for one worker, ended with DeleteData.
struct SProcessPlugin
{
    explicit SProcessPlugin(const Zarn::CValueMap& process)
        : m_pPlugin(Zarn::GetNewPluginInstance("ImageProcess"))
    {
        if (!m_pPlugin)
        {
            throw std::runtime_error("no module offers the plug-in \"ImageProcess\"");
        }
        m_pPlugin->Init(nullptr, process);
    }
    ~SProcessPlugin() { m_pPlugin->DeleteData(); }
    SProcessPlugin(const SProcessPlugin&) = delete;
    SProcessPlugin& operator=(const SProcessPlugin&) = delete;

    std::unique_ptr<Zarn::CPluginBase> m_pPlugin;
};

// Runs the process on one file and writes the result; throws what went wrong. The file is looked
// at before it is decoded: what is no file, or claims more pixels than the limit, goes no further.
void ProcessOne(Zarn::CPluginBase& plugin, const fs::path& outputFolder,
                const Zarn::SImageSizeLimit& limit, SBatchResult& result)
{
    Zarn::CImageSizeGuard::Check(result.m_input.m_path.string(), limit);
    std::unique_ptr<Zarn::CValueMap> pDocument(
        Zarn::ImageDocument::Read(result.m_input.m_path.string()));
    Zarn::CValueMap data;
    data.SetEntry("input/documents/focused",
                  new Zarn::CValuePointer<Zarn::CValueMap>(pDocument.get()));
    if (!plugin.TestParameters(data))
    {
        const Zarn::CImage* pImage = Zarn::ImageDocument::Image(*pDocument);
        throw std::runtime_error("the process does not accept this image (" +
                                 pImage->Type().ToString() + ")");
    }
    plugin.UpdateParameters(data);
    plugin.Run(data);

    // The documents the run lists are ours now.
    std::vector<std::unique_ptr<Zarn::CValueMap>> lstOutput;
    if (const Zarn::CValue* pAdded = data.Entry("output/documents/add", false))
    {
        const Zarn::CValueVector* pVector = pAdded->Vector();
        for (unsigned int i = 0; pVector != nullptr && i < pVector->Size(); ++i)
        {
            lstOutput.emplace_back(Zarn::UnwrapPointer<Zarn::CValueMap>(
                const_cast<Zarn::CValue*>(pVector->Entry(Zarn::CValue_Key(i), true))));
        }
    }
    if (lstOutput.empty() || Zarn::ImageDocument::Image(*lstOutput.front()) == nullptr)
    {
        throw std::runtime_error("the process gave no result (a step was cancelled)");
    }
    const Zarn::CImage& resultImage = *Zarn::ImageDocument::Image(*lstOutput.front());
    const fs::path path = outputFolder / result.m_input.m_result;
    fs::create_directories(path.parent_path());
    Zarn::CImageFile::Write(path.string(), resultImage);
    result.m_resultPath = path;
    std::uint64_t uLabels = 0;
    if (Zarn::CTekaHeaderTools::GetNumberOfLabels(resultImage, uLabels))
    {
        result.m_nLabels = uLabels;
    }
}

} // namespace

CBatchHost::CBatchHost(std::ostream* logConsole, int logThreshold,
                       const std::vector<std::string>& pluginFolders)
    : m_logger(logConsole)
{
    m_logger.SetThreshold(logThreshold);
    m_thread.SetLogger(&m_logger);
    m_thread.SetMessageIdFactory(&m_ids);
    Zarn::RegisterHostObjects(&m_thread, &m_ids, &m_logger);
    Zarn::CPluginLoader::Obj().SetLogger(&m_logger);
    for (const std::string& strFolder : pluginFolders)
    {
        Zarn::CPluginLoader::Obj().AddSearchDirectory(strFolder);
    }
}

CBatchHost::~CBatchHost()
{
    Zarn::CPluginLoader::Obj().SetLogger(nullptr);
    Zarn::UnregisterHostObjects();
}

void CBatchHost::DropMessages()
{
    m_thread.DeliverUntilIdle();
}

CBatchRunner::CBatchRunner(const Zarn::CValueMap& process, fs::path outputFolder,
                           unsigned int workers)
    : m_process(process), m_outputFolder(std::move(outputFolder)), m_uWorkers(std::max(1u, workers))
{
}

namespace
{

// The inputs the workers share: each takes the next one not yet taken, and reports each result
// under one lock.
class CWorkQueue
{
public:
    CWorkQueue(std::vector<SBatchResult>& results, const CBatchRunner::Progress& progress,
               const std::atomic<int>* stop)
        : m_results(results), m_progress(progress), m_pStop(stop)
    {
    }

    // The next result to fill, or null when every input is taken or the run is to stop.
    SBatchResult* Next()
    {
        if (m_pStop != nullptr && m_pStop->load() != 0)
        {
            return nullptr;
        }
        const size_t uIndex = m_uNext++;
        if (uIndex >= m_results.size())
        {
            return nullptr;
        }
        m_results[uIndex].m_bStarted = true;
        return &m_results[uIndex];
    }

    void Finished(const SBatchResult& result)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_uDone;
        m_uFailed += result.m_bDone ? 0 : 1;
        if (m_progress)
        {
            m_progress(result, m_uDone, m_uFailed);
        }
    }

private:
    std::vector<SBatchResult>& m_results;
    const CBatchRunner::Progress& m_progress;
    const std::atomic<int>* m_pStop;
    std::atomic<size_t> m_uNext{0};
    std::mutex m_mutex;
    size_t m_uDone = 0;
    size_t m_uFailed = 0;
};

// Fills one result: done, or the reason it failed, and the time it took. A worker whose plug-in
// could not start fails every image with that reason.
void ProcessTimed(SProcessPlugin* plugin, const std::string& startError,
                  const fs::path& outputFolder, const Zarn::SImageSizeLimit& limit,
                  SBatchResult& result)
{
    const auto start = std::chrono::steady_clock::now();
    try
    {
        if (plugin == nullptr)
        {
            throw std::runtime_error(startError);
        }
        ProcessOne(*plugin->m_pPlugin, outputFolder, limit, result);
        result.m_bDone = true;
    }
    catch (const std::exception& error)
    {
        result.m_strError = ErrorText(error);
    }
    catch (...)
    {
        result.m_strError = "unknown failure";
    }
    result.m_dSeconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// One worker: its own process plug-in, then inputs until none is left.
void Work(const Zarn::CValueMap& process, const fs::path& outputFolder,
          const Zarn::SImageSizeLimit& limit, CWorkQueue& queue)
{
    std::unique_ptr<SProcessPlugin> pPlugin;
    std::string strStartError;
    try
    {
        pPlugin = std::make_unique<SProcessPlugin>(process);
    }
    catch (const std::exception& error)
    {
        strStartError = ErrorText(error);
    }
    while (SBatchResult* pResult = queue.Next())
    {
        ProcessTimed(pPlugin.get(), strStartError, outputFolder, limit, *pResult);
        queue.Finished(*pResult);
    }
}

} // namespace

std::vector<SBatchResult> CBatchRunner::Run(const std::vector<SBatchInput>& inputs,
                                            const Progress& progress)
{
    std::vector<SBatchResult> lstResults(inputs.size());
    for (size_t i = 0; i < inputs.size(); ++i)
    {
        lstResults[i].m_input = inputs[i];
    }
    CWorkQueue queue(lstResults, progress, m_pStop);
    const auto WorkOnQueue = [this, &queue]()
    { Work(m_process, m_outputFolder, m_imageLimit, queue); };
    std::vector<std::thread> lstWorkers;
    const unsigned int uWorkers =
        static_cast<unsigned int>(std::min<size_t>(m_uWorkers, std::max<size_t>(1, inputs.size())));
    for (unsigned int i = 1; i < uWorkers; ++i)
    {
        lstWorkers.emplace_back(WorkOnQueue);
    }
    WorkOnQueue(); // the calling thread is a worker too
    for (std::thread& worker : lstWorkers)
    {
        worker.join();
    }
    return lstResults;
}

void WriteBatchSummary(const fs::path& path, const std::vector<SBatchResult>& results)
{
    std::string strText = "file,result,labels,seconds,error\n";
    for (const SBatchResult& result : results)
    {
        strText += BatchSummaryLine(result) + "\n";
    }
    if (path.has_parent_path())
    {
        fs::create_directories(path.parent_path());
    }
    WriteFileAtomically(path, strText, "the summary");
}
