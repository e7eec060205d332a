#include "CodecReaders.h"

#include <png.h>

#include <cstring>

namespace Zarn::Impl
{

namespace
{

// The bytes libpng reads from, and where its messages go.
struct SPngSource
{
    const std::vector<unsigned char>& m_bytes;
    size_t m_uAt;
    SCodecMessages& m_messages;
};

void ReadFromMemory(png_structp png, png_bytep target, size_t count)
{
    auto* pSource = static_cast<SPngSource*>(png_get_io_ptr(png));
    if (count > pSource->m_bytes.size() - pSource->m_uAt)
    {
        png_error(png, "the file ends too early");
    }
    std::memcpy(target, pSource->m_bytes.data() + pSource->m_uAt, count);
    pSource->m_uAt += count;
}

// libpng's error handler must not return: it jumps back to the setjmp of ReadPng.
[[noreturn]] void KeepError(png_structp png, png_const_charp message)
{
    auto* pSource = static_cast<SPngSource*>(png_get_error_ptr(png));
    if (pSource->m_messages.m_strError.empty())
    {
        pSource->m_messages.m_strError = message;
    }
    png_longjmp(png, 1);
}

void KeepWarning(png_structp png, png_const_charp message)
{
    static_cast<SPngSource*>(png_get_error_ptr(png))
        ->m_messages.m_lstWarnings.emplace_back(message);
}

// The matrix type OpenCV chooses: colour and palettes as BGR, BGRA with transparency; grey
// with alpha as BGRA.
int MatrixType(png_structp png, png_infop info)
{
    const int nColour = png_get_color_type(png, info);
    int nChannels = 1;
    if (nColour == PNG_COLOR_TYPE_RGB || nColour == PNG_COLOR_TYPE_PALETTE)
    {
        png_bytep pTrans = nullptr;
        int nTrans = 0;
        png_color_16p pValues = nullptr;
        png_get_tRNS(png, info, &pTrans, &nTrans, &pValues);
        nChannels = nTrans > 0 ? 4 : 3;
    }
    else if (nColour == PNG_COLOR_TYPE_GRAY_ALPHA || nColour == PNG_COLOR_TYPE_RGB_ALPHA)
    {
        nChannels = 4;
    }
    return CV_MAKETYPE(png_get_bit_depth(png, info) == 16 ? CV_16U : CV_8U, nChannels);
}

void SetTransforms(png_structp png, png_infop info, int type)
{
    const int nColour = png_get_color_type(png, info);
    const int nBits = png_get_bit_depth(png, info);
    png_set_swap(png); // 16-bit samples in the machine's (little-endian) order
    if (CV_MAT_CN(type) < 4)
    {
        png_set_strip_alpha(png);
    }
    else
    {
        png_set_tRNS_to_alpha(png);
    }
    if (nColour == PNG_COLOR_TYPE_PALETTE)
    {
        png_set_palette_to_rgb(png);
    }
    if ((nColour & PNG_COLOR_MASK_COLOR) == 0 && nBits < 8)
    {
        png_set_expand_gray_1_2_4_to_8(png);
    }
    if ((nColour & PNG_COLOR_MASK_COLOR) != 0 && CV_MAT_CN(type) > 1)
    {
        png_set_bgr(png);
    }
    else if (CV_MAT_CN(type) > 1)
    {
        png_set_gray_to_rgb(png);
    }
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
}

// The steps that may jump back: no object with a destructor is made between setjmp and the
// jumps, so none is skipped.
bool Decode(png_structp png, png_infop info, std::uint64_t maxPixels, std::uint64_t& pixels,
            cv::Mat& matrix, std::vector<png_bytep>& rows)
{
    if (setjmp(png_jmpbuf(png)) != 0)
    {
        return false;
    }
    png_read_info(png, info);
    pixels = std::uint64_t(png_get_image_width(png, info)) * png_get_image_height(png, info);
    if (pixels > maxPixels)
    {
        return false;
    }
    const int nType = MatrixType(png, info);
    matrix.create(static_cast<int>(png_get_image_height(png, info)),
                  static_cast<int>(png_get_image_width(png, info)), nType);
    rows.resize(static_cast<size_t>(matrix.rows));
    for (int y = 0; y < matrix.rows; ++y)
    {
        rows[static_cast<size_t>(y)] = matrix.ptr(y);
    }
    SetTransforms(png, info, nType);
    png_read_image(png, rows.data());
    png_read_end(png, nullptr);
    return true;
}

} // namespace

cv::Mat ReadPng(const std::vector<unsigned char>& bytes, std::uint64_t maxPixels,
                std::uint64_t& pixels, SCodecMessages& messages)
{
    SPngSource source{bytes, 0, messages};
    png_structp png =
        png_create_read_struct(PNG_LIBPNG_VER_STRING, &source, &KeepError, &KeepWarning);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    cv::Mat matrix;
    std::vector<png_bytep> rows;
    pixels = 0;
    bool bDone = false;
    if (info != nullptr)
    {
        png_set_read_fn(png, &source, &ReadFromMemory);
        bDone = Decode(png, info, maxPixels, pixels, matrix, rows);
    }
    png_destroy_read_struct(&png, info != nullptr ? &info : nullptr, nullptr);
    return bDone ? matrix : cv::Mat();
}

} // namespace Zarn::Impl
