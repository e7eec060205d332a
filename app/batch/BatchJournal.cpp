#include "BatchJournal.h"

#include "BatchFiles.h"

#include <Zarn/Serial/JsonValueFile.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

const char* const kProcessLine = "# docview-batch journal of the process ";
const char* const kJournalHeader = "file,result,labels,seconds,error,bytes";

std::string ReadText(const fs::path& path)
{
    std::ifstream stream(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
}

std::string CsvField(const std::string& text)
{
    if (text.find_first_of(",\"\n\r") == std::string::npos)
    {
        return text;
    }
    std::string strQuoted = "\"";
    for (char c : text)
    {
        strQuoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    }
    return strQuoted + "\"";
}

// The fields of one line as CsvField wrote them; false for a line that is not such.
bool SplitCsvLine(const std::string& line, std::vector<std::string>& fields)
{
    fields.assign(1, std::string());
    bool bQuoted = false;
    for (size_t i = 0; i < line.size(); ++i)
    {
        const char c = line[i];
        if (bQuoted && c == '"' && i + 1 < line.size() && line[i + 1] == '"')
        {
            fields.back() += '"';
            ++i;
        }
        else if (c == '"')
        {
            bQuoted = !bQuoted;
        }
        else if (c == ',' && !bQuoted)
        {
            fields.emplace_back();
        }
        else
        {
            fields.back() += c;
        }
    }
    return !bQuoted;
}

bool ParseRecord(const std::string& line, SBatchRecord& record)
{
    std::vector<std::string> lstFields;
    if (!SplitCsvLine(line, lstFields) || lstFields.size() != 6)
    {
        return false;
    }
    record.m_input.m_path = lstFields[0];
    record.m_resultPath = lstFields[1];
    if (!lstFields[2].empty())
    {
        record.m_nLabels = std::strtoull(lstFields[2].c_str(), nullptr, 10);
    }
    record.m_dSeconds = std::strtod(lstFields[3].c_str(), nullptr);
    record.m_strError = lstFields[4];
    record.m_uResultBytes = std::strtoull(lstFields[5].c_str(), nullptr, 10);
    record.m_bStarted = true;
    record.m_bDone = !lstFields[1].empty() && lstFields[4].empty();
    return true;
}

std::string JournalLine(const SBatchResult& result)
{
    std::error_code error;
    const std::uintmax_t uBytes =
        result.m_resultPath.empty() ? 0 : fs::file_size(result.m_resultPath, error);
    return BatchSummaryLine(result) + "," + (error ? std::string("0") : std::to_string(uBytes)) +
           "\n";
}

// The input and where its result goes: what a record and an input are matched by.
std::string ResultKey(const fs::path& input, const fs::path& result)
{
    return input.string() + '\n' + result.string();
}

// ".NAME.tmp.PID.N.EXT", as WriteFileAtomically and the image writer name their temporary
// files; the PID is the process that made it.
bool IsTemporaryFileName(const std::string& name, long& process)
{
    const size_t uTmp = name.rfind(".tmp.");
    if (name.empty() || name[0] != '.' || uTmp == std::string::npos || uTmp == 0)
    {
        return false;
    }
    const size_t uPidEnd = name.find('.', uTmp + 5);
    const size_t uCounterEnd = uPidEnd == std::string::npos ? uPidEnd : name.find('.', uPidEnd + 1);
    const auto IsDigits = [&name](size_t begin, size_t end)
    {
        return end != std::string::npos && end > begin && end - begin < 10 &&
               name.find_first_not_of("0123456789", begin) >= end;
    };
    if (!IsDigits(uTmp + 5, uPidEnd) || !IsDigits(uPidEnd + 1, uCounterEnd))
    {
        return false;
    }
    process = std::stol(name.substr(uTmp + 5, uPidEnd - uTmp - 5));
    return true;
}

bool IsStaleTemporaryFile(const fs::directory_entry& entry)
{
    long nProcess = 0;
    std::error_code error;
    return entry.is_regular_file(error) &&
           IsTemporaryFileName(entry.path().filename().string(), nProcess) &&
           nProcess != ::getpid() && ::kill(static_cast<pid_t>(nProcess), 0) != 0 && errno == ESRCH;
}

template <typename Iterator> std::vector<fs::path> StaleTemporaryFiles(const fs::path& folder)
{
    std::vector<fs::path> lstStale;
    std::error_code error;
    for (Iterator it(folder, fs::directory_options::skip_permission_denied, error);
         !error && it != Iterator(); it.increment(error))
    {
        if (IsStaleTemporaryFile(*it))
        {
            lstStale.push_back(it->path());
        }
    }
    return lstStale;
}

} // namespace

std::string BatchSummaryLine(const SBatchResult& result)
{
    std::string strError = result.m_strError;
    for (char& c : strError)
    {
        c = (c == '\n' || c == '\r') ? ' ' : c;
    }
    std::ostringstream line;
    line << CsvField(result.m_input.m_path.string()) << ','
         << CsvField(result.m_resultPath.string()) << ','
         << (result.m_nLabels ? std::to_string(*result.m_nLabels) : std::string()) << ','
         << std::fixed << std::setprecision(3) << result.m_dSeconds << ',' << CsvField(strError);
    return line.str();
}

CBatchJournal::CBatchJournal(fs::path path, const std::vector<SBatchResult>& kept,
                             const std::string& process)
    : m_path(std::move(path))
{
    std::string strText = kProcessLine + process + "\n" + kJournalHeader + "\n";
    for (const SBatchResult& result : kept)
    {
        strText += JournalLine(result);
    }
    WriteFileAtomically(m_path, strText, "the journal");
    m_nDescriptor = ::open(m_path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    if (m_nDescriptor < 0)
    {
        throw std::runtime_error("cannot write the journal " + m_path.string() + ": " +
                                 std::strerror(errno));
    }
}

CBatchJournal::~CBatchJournal()
{
    ::close(m_nDescriptor);
}

std::string CBatchJournal::Append(const SBatchResult& result)
{
    // One write per line, so that a run killed meanwhile leaves whole lines and at most one cut
    // last line, which Read leaves out.
    const std::string strLine = JournalLine(result);
    ssize_t nWritten = -1;
    do
    {
        nWritten = ::write(m_nDescriptor, strLine.data(), strLine.size());
    } while (nWritten < 0 && errno == EINTR);
    if (nWritten < 0 || ::fdatasync(m_nDescriptor) != 0)
    {
        return std::strerror(errno);
    }
    return nWritten == static_cast<ssize_t>(strLine.size()) ? std::string()
                                                            : "only part of a line was written";
}

std::string CBatchJournal::ReadProcess(const fs::path& path)
{
    const std::string strText = ReadText(path);
    const size_t uPrefix = std::strlen(kProcessLine);
    const size_t uEnd = strText.find('\n');
    return strText.compare(0, uPrefix, kProcessLine) == 0 && uEnd != std::string::npos
               ? strText.substr(uPrefix, uEnd - uPrefix)
               : std::string();
}

std::string CBatchJournal::Fingerprint(const Zarn::CValueMap& process)
{
    // FNV-1a over the description as JSON: the same on every machine and in every run.
    std::uint64_t uHash = 14695981039346656037ull;
    for (const char c : Zarn::CJsonValueFile::WriteString(process, false))
    {
        uHash = (uHash ^ static_cast<unsigned char>(c)) * 1099511628211ull;
    }
    char szHex[17];
    std::snprintf(szHex, sizeof(szHex), "%016llx", static_cast<unsigned long long>(uHash));
    return szHex;
}

std::vector<SBatchRecord> CBatchJournal::Read(const fs::path& path)
{
    const std::string strText = ReadText(path);
    std::vector<SBatchRecord> lstRecords;
    const size_t uProcessEnd = strText.find('\n');
    const size_t uHeaderEnd =
        uProcessEnd == std::string::npos ? uProcessEnd : strText.find('\n', uProcessEnd + 1);
    if (uHeaderEnd == std::string::npos ||
        strText.compare(uProcessEnd + 1, uHeaderEnd - uProcessEnd - 1, kJournalHeader) != 0)
    {
        return lstRecords;
    }
    // Only lines with their end count: the last one may have been cut short.
    for (size_t uStart = uHeaderEnd + 1, uEnd = strText.find('\n', uStart);
         uEnd != std::string::npos; uStart = uEnd + 1, uEnd = strText.find('\n', uStart))
    {
        SBatchRecord record;
        if (ParseRecord(strText.substr(uStart, uEnd - uStart), record))
        {
            lstRecords.push_back(std::move(record));
        }
    }
    return lstRecords;
}

SBatchResumePlan PlanBatchResume(const std::vector<SBatchInput>& inputs,
                                 const std::vector<SBatchRecord>& records,
                                 const fs::path& outputFolder)
{
    std::map<std::string, const SBatchRecord*> mapDone;
    for (const SBatchRecord& record : records)
    {
        if (record.m_bDone)
        {
            mapDone[ResultKey(record.m_input.m_path, record.m_resultPath)] = &record;
        }
    }
    SBatchResumePlan plan;
    for (const SBatchInput& input : inputs)
    {
        const fs::path result = outputFolder / input.m_result;
        const auto itRecord = mapDone.find(ResultKey(input.m_path, result));
        std::error_code error;
        if (itRecord == mapDone.end() ||
            fs::file_size(result, error) != itRecord->second->m_uResultBytes || error)
        {
            plan.m_lstToDo.push_back(input);
            continue;
        }
        SBatchResult kept = *itRecord->second;
        kept.m_input = input;
        plan.m_lstKept.push_back(std::move(kept));
    }
    return plan;
}

std::vector<SBatchResult> MergeBatchResults(const std::vector<SBatchInput>& inputs,
                                            const std::vector<SBatchResult>& kept,
                                            const std::vector<SBatchResult>& run)
{
    std::map<std::string, const SBatchResult*> mapResults;
    for (const std::vector<SBatchResult>* pResults : {&kept, &run})
    {
        for (const SBatchResult& result : *pResults)
        {
            if (result.m_bStarted)
            {
                mapResults[ResultKey(result.m_input.m_path, result.m_input.m_result)] = &result;
            }
        }
    }
    std::vector<SBatchResult> lstMerged;
    for (const SBatchInput& input : inputs)
    {
        const auto itResult = mapResults.find(ResultKey(input.m_path, input.m_result));
        if (itResult != mapResults.end())
        {
            lstMerged.push_back(*itResult->second);
        }
    }
    return lstMerged;
}

size_t RemoveStaleTemporaryFiles(const fs::path& folder, bool recursive)
{
    std::vector<fs::path> lstStale =
        recursive ? StaleTemporaryFiles<fs::recursive_directory_iterator>(folder)
                  : StaleTemporaryFiles<fs::directory_iterator>(folder);
    size_t uRemoved = 0;
    for (const fs::path& path : lstStale)
    {
        std::error_code error;
        uRemoved += fs::remove(path, error) ? 1 : 0;
    }
    return uRemoved;
}
