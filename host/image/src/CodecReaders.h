#pragma once

#include <opencv2/core.hpp>

#include <cstdint>
#include <string>
#include <vector>

// Readers of our own for the formats whose libraries print their messages on standard error when
// OpenCV drives them. Each decodes as OpenCV's reader does with IMREAD_UNCHANGED and keeps the
// library's messages instead. `maxPixels` is checked from the header before any pixel memory is
// taken; above it, or on an error, the matrix is empty and `messages` or `pixels` tell why.
//
// Contract: free of state, any thread; throw only std::bad_alloc. No messages.
namespace Zarn::Impl
{

// What a codec library said while reading one file: the error that ended it (empty when none)
// and the warnings about parts it read past.
struct SCodecMessages
{
    std::string m_strError;
    std::vector<std::string> m_lstWarnings;
};

// PNG: 8 or 16 bits, grey, BGR or BGRA; palettes, low bit depths and transparency expanded.
cv::Mat ReadPng(const std::vector<unsigned char>& bytes, std::uint64_t maxPixels,
                std::uint64_t& pixels, SCodecMessages& messages);

// Grey or colour JPEG: 8-bit grey or BGR. `bHandled` is false for what is left to OpenCV (CMYK
// and other four-component files).
cv::Mat ReadJpeg(const std::vector<unsigned char>& bytes, std::uint64_t maxPixels,
                 std::uint64_t& pixels, bool& bHandled, SCodecMessages& messages);

} // namespace Zarn::Impl
