#pragma once

#include "BatchInputs.h"

#include <Zarn/Image/ImageSizeGuard.h>
#include <Zarn/Log/Logger.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Value/ValueContainer.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// The host objects the plug-ins borrow from the registry, for a program without a window:
// messages that plug-ins post are dropped, since nobody here listens.
//
// Owns the logger, the id factory and the communication thread, and lends them through the
// registry for as long as it lives. Made and destroyed on the main thread; the logger may be used
// from any thread. Throws nothing beyond std::bad_alloc. Handles no message: DropMessages
// delivers what plug-ins posted to nobody.
class CBatchHost
{
public:
    CBatchHost(std::ostream* logConsole, int logThreshold,
               const std::vector<std::string>& pluginFolders);
    ~CBatchHost();
    CBatchHost(const CBatchHost&) = delete;
    CBatchHost& operator=(const CBatchHost&) = delete;

    // Drops what plug-ins posted meanwhile.
    void DropMessages();
    Zarn::CLogger& Logger() { return m_logger; }

private:
    Zarn::CLogger m_logger;
    Zarn::CMessageIdFactory m_ids;
    Zarn::CMessageThread m_thread;
};

// What became of one input.
struct SBatchResult
{
    SBatchInput m_input;
    bool m_bStarted = false; // false for an input the run was stopped before
    bool m_bDone = false;
    std::filesystem::path m_resultPath;     // absolute; empty when nothing was written
    std::optional<std::uint64_t> m_nLabels; // the result's "number of labels", when it has one
    double m_dSeconds = 0;
    std::string m_strError;
};

// Runs one process description over many images with a number of workers. Each worker has its
// own "ImageProcess" plug-in, and through it its own tool plug-ins, so no plug-in is shared
// between threads. A failed image is recorded and the others go on.
//
// Borrows the process description, which must outlive it; each worker owns its plug-ins for the
// run. Run is called on one thread, which becomes a worker too; the progress callback runs on the
// workers' threads. Run throws nothing of the images (each failure is in its result); sends and
// handles no messages of its own (the process plug-ins post theirs to the host).
class CBatchRunner
{
public:
    // The process description: a map with "process" (as a process file holds it).
    CBatchRunner(const Zarn::CValueMap& process, std::filesystem::path outputFolder,
                 unsigned int workers);

    // Called on the worker's thread after each image, under a lock: done and failed so far.
    using Progress = std::function<void(const SBatchResult&, size_t done, size_t failed)>;

    // Images larger than this fail from their header, before they are decoded (default: the
    // default pixel count, whatever the memory).
    void SetImageLimit(const Zarn::SImageSizeLimit& limit) { m_imageLimit = limit; }

    // Once `stop` is not 0 (a signal handler sets it), no worker starts another image; those in
    // progress are finished. `stop` must outlive the run.
    void StopWhen(const std::atomic<int>& stop) { m_pStop = &stop; }

    // Results in input order.
    std::vector<SBatchResult> Run(const std::vector<SBatchInput>& inputs, const Progress& progress);

private:
    const Zarn::CValueMap& m_process;
    std::filesystem::path m_outputFolder;
    unsigned int m_uWorkers;
    Zarn::SImageSizeLimit m_imageLimit;
    const std::atomic<int>* m_pStop = nullptr;
};

// The summary: file, result, labels, seconds, error; one line per input. Written whole or not at
// all (WriteFileAtomically): a failed write leaves the old summary and throws
// std::runtime_error "cannot write the summary PATH: <reason>".
void WriteBatchSummary(const std::filesystem::path& path, const std::vector<SBatchResult>& results);
