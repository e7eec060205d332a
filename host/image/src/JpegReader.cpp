#include "CodecReaders.h"

#include <csetjmp>
#include <cstdio>

#include <jpeglib.h>

namespace Zarn::Impl
{

namespace
{

// libjpeg's error manager with a way back to ReadJpeg and a place for the messages.
struct SJpegErrors
{
    jpeg_error_mgr m_manager;
    std::jmp_buf m_jump;
    SCodecMessages* m_pMessages;
};

std::string MessageText(j_common_ptr info)
{
    char szText[JMSG_LENGTH_MAX];
    (*info->err->format_message)(info, szText);
    return szText;
}

// Must not return: libjpeg cannot go on after an error.
[[noreturn]] void KeepError(j_common_ptr info)
{
    auto* pErrors = reinterpret_cast<SJpegErrors*>(info->err);
    if (pErrors->m_pMessages->m_strError.empty())
    {
        pErrors->m_pMessages->m_strError = MessageText(info);
    }
    std::longjmp(pErrors->m_jump, 1);
}

// Warnings (level -1) are kept; trace messages (levels above 0) are not wanted.
void KeepWarning(j_common_ptr info, int level)
{
    if (level < 0)
    {
        reinterpret_cast<SJpegErrors*>(info->err)->m_pMessages->m_lstWarnings.push_back(
            MessageText(info));
    }
}

// The steps that may jump back: no object with a destructor is made between setjmp and the
// jumps, so none is skipped.
bool Decode(jpeg_decompress_struct& info, SJpegErrors& errors,
            const std::vector<unsigned char>& bytes, std::uint64_t maxPixels, std::uint64_t& pixels,
            bool& bHandled, cv::Mat& matrix)
{
    if (setjmp(errors.m_jump) != 0)
    {
        return false;
    }
    jpeg_create_decompress(&info);
    jpeg_mem_src(&info, bytes.data(), static_cast<unsigned long>(bytes.size()));
    jpeg_read_header(&info, TRUE);
    bHandled = info.num_components != 4;
    pixels = std::uint64_t(info.image_width) * info.image_height;
    if (!bHandled || pixels > maxPixels)
    {
        return false;
    }
    const bool bColour = info.num_components > 1;
    info.out_color_space = bColour ? JCS_EXT_BGR : JCS_GRAYSCALE;
    info.out_color_components = bColour ? 3 : 1;
    jpeg_start_decompress(&info);
    matrix.create(static_cast<int>(info.output_height), static_cast<int>(info.output_width),
                  bColour ? CV_8UC3 : CV_8UC1);
    for (int y = 0; y < matrix.rows; ++y)
    {
        JSAMPROW pRow = matrix.ptr(y);
        jpeg_read_scanlines(&info, &pRow, 1);
    }
    jpeg_finish_decompress(&info);
    return true;
}

} // namespace

cv::Mat ReadJpeg(const std::vector<unsigned char>& bytes, std::uint64_t maxPixels,
                 std::uint64_t& pixels, bool& bHandled, SCodecMessages& messages)
{
    jpeg_decompress_struct info{};
    SJpegErrors errors{};
    errors.m_pMessages = &messages;
    info.err = jpeg_std_error(&errors.m_manager);
    errors.m_manager.error_exit = &KeepError;
    errors.m_manager.emit_message = &KeepWarning;
    cv::Mat matrix;
    pixels = 0;
    bHandled = true;
    const bool bDone = Decode(info, errors, bytes, maxPixels, pixels, bHandled, matrix);
    jpeg_destroy_decompress(&info);
    return bDone ? matrix : cv::Mat();
}

} // namespace Zarn::Impl
