#pragma once

#include <Zarn/Image/Image.h>
#include <Zarn/Value/ValueScalar.h>

#include <cstdint>

namespace Zarn
{

// The header entries tools agree on. Keys are lower-case words, as everywhere in the value tree.
//
// Contract: free of state; reads and writes the header of the image it is lent; any thread, one
// image at a time. Throws CExBadParam for a number of labels the header cannot hold. No messages.
class ZARN_IMAGE_API CTekaHeaderTools
{
public:
    static constexpr const char* kHistory = "history";                 // vector of strings
    static constexpr const char* kNumberOfLabels = "number of labels"; // long
    static constexpr const char* kSourceFile = "source file";          // string

    // Appends one entry to the processing history, in order.
    static void AddToHistory(IImage& image, const CValueString& entry);
    // Stored as a long: a count above LONG_MAX throws CExBadParam and leaves the header.
    static void SetNumberOfLabels(IImage& image, std::uint64_t count);
    // False, and `count` untouched, when the header has no number of labels (or not a long).
    static bool GetNumberOfLabels(const IImage& image, std::uint64_t& count);
    // Merges the map into the header: entries of the same key are replaced.
    static void SetAttributes(IImage& image, const CValueMap& attributes);
};

} // namespace Zarn
