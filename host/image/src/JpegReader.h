#pragma once

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace Zarn::Impl
{

// What libjpeg said while reading one file: the error that ended it (empty when none) and the
// warnings about data it read past ("Corrupt JPEG data: ...").
struct SJpegMessages
{
    std::string m_strError;
    std::vector<std::string> m_lstWarnings;
};

// A grey or colour JPEG decoded as OpenCV's own reader does with IMREAD_UNCHANGED (8-bit grey or
// BGR), with libjpeg's messages kept in `messages` instead of printed. Sets `bHandled` false for
// what it leaves to OpenCV (CMYK and other four-component files); `maxPixels` is checked from
// the header before any pixel memory is taken. Above it, or on an error, the matrix is empty and
// `messages` or `pixels` tell why.
//
// Contract: free of state, any thread; throws only std::bad_alloc. No messages.
cv::Mat ReadJpeg(const std::vector<unsigned char>& bytes, std::uint64_t maxPixels,
                 std::uint64_t& pixels, bool& bHandled, SJpegMessages& messages);

} // namespace Zarn::Impl
