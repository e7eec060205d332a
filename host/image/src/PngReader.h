#pragma once

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace Zarn::Impl
{

// What libpng said while reading one file: the error that ended it (empty when none) and the
// warnings about parts it read past.
struct SPngMessages
{
    std::string m_strError;
    std::vector<std::string> m_lstWarnings;
};

// PNG decoded as OpenCV's own reader does with IMREAD_UNCHANGED (8 or 16 bits, grey, BGR or BGRA,
// palettes and low bit depths expanded), but with libpng's messages kept in `messages` instead of
// printed. `maxPixels` is checked from the header before any pixel memory is taken; above it, or
// on an error, the matrix is empty and `messages` or `pixels` tell why.
//
// Contract: free of state, any thread; throws only std::bad_alloc. No messages.
cv::Mat ReadPng(const std::vector<unsigned char>& bytes, std::uint64_t maxPixels,
                std::uint64_t& pixels, SPngMessages& messages);

} // namespace Zarn::Impl
