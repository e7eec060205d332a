#pragma once

#include <filesystem>
#include <string>
#include <vector>

// Free functions over values: they own what they return, keep nothing and may be called from any
// thread. Only CollectBatchInputs throws (std::invalid_argument, and std::filesystem errors of
// folders that cannot be read). No messages.

// One image to process and where its result goes, relative to the output folder.
struct SBatchInput
{
    std::filesystem::path m_path;
    std::filesystem::path m_result; // relative, e.g. "plate 1/well A1.tif"
};

// The images named on the command line: files as given (a link that loops too), folders with
// everything below them that has an image's extension and is no folder (sorted by path). Results
// keep the folder structure below a named folder and are unique, also ignoring case: a.png gives
// a.tif, but a.png and a.tif in one folder give a.png.tif and a.tif.tif; a name still taken (a file
// named twice, equal names from two folders) gets "-2", "-3", ... appended, never a name another
// input has by itself. Throws std::invalid_argument naming every input that does not exist.
std::vector<SBatchInput> CollectBatchInputs(const std::vector<std::string>& arguments);

// Shard `index` of `count`: every count-th input starting at index (counting from 0), so that
// count runs with the indices 0 to count-1 together take every input exactly once.
std::vector<SBatchInput> SelectShard(const std::vector<SBatchInput>& inputs, unsigned int index,
                                     unsigned int count);

// "I/N" with 0 <= I < N; false for anything else.
bool ParseShard(const std::string& text, unsigned int& index, unsigned int& count);
