#pragma once

#include "BatchRunner.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

// The journal of a run, ".docview-batch.journal" in the output folder: two header lines (the
// first names the process description's fingerprint), then one
// line per finished input, appended and flushed to the disk as each one finishes. A run that is
// killed (or a power cut) leaves every input it finished recorded, so --resume can skip them and
// the summary can be rebuilt.
//
// A line is the summary's line of that input followed by the size of its result in bytes, which
// tells on resume whether the result on the disk is the one recorded.
//
// Owns the journal's file descriptor. Made and destroyed on the main thread; Append is called by
// the runner's workers under the runner's lock, one at a time. The constructor throws
// std::runtime_error "cannot write the journal PATH: <reason>"; Append throws nothing. Sends and
// handles no messages.
// A line of the journal: the result as the summary shows it, and its result's size in bytes.
struct SBatchRecord : SBatchResult
{
    std::uintmax_t m_uResultBytes = 0;
};

class CBatchJournal
{
public:
    static constexpr const char* kFileName = ".docview-batch.journal";

    // A new journal at `path` for the process with the fingerprint `process`, holding `kept`
    // (results of an earlier run that stay valid), in place of what was there, open for
    // appending.
    CBatchJournal(std::filesystem::path path, const std::vector<SBatchResult>& kept,
                  const std::string& process);
    ~CBatchJournal();
    CBatchJournal(const CBatchJournal&) = delete;
    CBatchJournal& operator=(const CBatchJournal&) = delete;

    const std::filesystem::path& Path() const { return m_path; }

    // Records a finished input; the system's reason when that failed, empty otherwise.
    std::string Append(const SBatchResult& result);

    // The records of the journal at `path`, in its order; none when there is none or it is not a
    // journal. A last line that was cut short (a run killed while writing it) is left out.
    static std::vector<SBatchRecord> Read(const std::filesystem::path& path);

    // The fingerprint of the process the journal at `path` was written for; empty when there is
    // no journal.
    static std::string ReadProcess(const std::filesystem::path& path);

    // A process description's fingerprint: results of another process must not be kept.
    static std::string Fingerprint(const Zarn::CValueMap& process);

private:
    std::filesystem::path m_path;
    int m_nDescriptor = -1;
};

// One line of the summary (without its end): file,result,labels,seconds,error. A line break in
// the error becomes a space, so each input is one line.
std::string BatchSummaryLine(const SBatchResult& result);

// What --resume finds: the inputs whose result an earlier run finished and recorded, and the
// rest, to do again.
struct SBatchResumePlan
{
    std::vector<SBatchResult> m_lstKept;
    std::vector<SBatchInput> m_lstToDo;
};

// Keeps an input when `records` hold it as done, with the result it would get now in
// `outputFolder`, and that file is still there with the size recorded.
SBatchResumePlan PlanBatchResume(const std::vector<SBatchInput>& inputs,
                                 const std::vector<SBatchRecord>& records,
                                 const std::filesystem::path& outputFolder);

// The summary's results in input order: the kept ones and those this run started; inputs this
// run did not get to (it was stopped) are left out.
std::vector<SBatchResult> MergeBatchResults(const std::vector<SBatchInput>& inputs,
                                            const std::vector<SBatchResult>& kept,
                                            const std::vector<SBatchResult>& run);

// Removes the temporary files (".NAME.tmp.PID.N.EXT") that processes no longer running left in
// `folder` (and below it when `recursive`); the number removed.
size_t RemoveStaleTemporaryFiles(const std::filesystem::path& folder, bool recursive);
