#pragma once

#include <Zarn/Image/ImageExport.h>

#include <cstdint>
#include <string>

namespace Zarn
{

// The size an image file's header claims, read without decoding a pixel. Zero sizes: a format
// the guard cannot read ahead, which the decoder judges alone.
struct ZARN_IMAGE_API SImageExtent
{
    std::uint64_t m_uWidth = 0;
    std::uint64_t m_uHeight = 0;
    std::uint64_t m_uPlanes = 0;
    std::uint64_t m_uPixels = 0;        // over every plane; pages of a TIFF may differ in size
    std::uint32_t m_uBytesPerPixel = 0; // as decoded in memory, an estimate for paletted files

    bool IsKnown() const { return m_uPixels > 0; }
    // "63090 × 16387" or, with planes, "512 × 512 × 300".
    std::string ToString() const;
};

// How large an image may be before it is decoded: a pixel count, and the memory one reader may
// take. Decoding holds an image about three times at its bytes per pixel (the codec's pages, the
// image, a result made from it), so a file may have at most memory / (3 × bytes per pixel)
// pixels, and never more than the pixel count.
struct ZARN_IMAGE_API SImageSizeLimit
{
    static constexpr std::uint64_t kDefaultMaxPixels = std::uint64_t(1) << 28;
    static constexpr std::uint64_t kCopiesInMemory = 3;

    std::uint64_t m_uMaxPixels = kDefaultMaxPixels;
    std::uint64_t m_uMemoryBytes = UINT64_MAX; // for one reader

    // The limit for `readers` images decoded at once on this machine: the memory the system
    // reports available now, shared between them.
    static SImageSizeLimit ForReaders(std::uint64_t maxPixels, unsigned int readers);
    // Physical memory the system could give without swapping (MemAvailable); UINT64_MAX when
    // it cannot be told.
    static std::uint64_t AvailableMemory();

    // The largest number of pixels a file like this one may have.
    std::uint64_t PixelsFor(const SImageExtent& extent) const;
};

// Looks at an image file before it is decoded: refuses what is no file (a named pipe, a device, a
// socket, a folder, a symbolic link that loops) without blocking on it, and reads the size its
// header claims (PNG, TIFF with every page, JPEG, BMP).
//
// Contract: free of state, any thread. Failures are CExBadParam whose text starts with the path
// and says what is wrong in the user's words. Messages of libtiff are kept, not printed. No
// Qt messages.
class ZARN_IMAGE_API CImageSizeGuard
{
public:
    // The claimed size; throws for what cannot be an image file or cannot be opened.
    static SImageExtent Probe(const std::string& path);

    // "image too large: W × H pixels, the limit is N pixels" when the extent exceeds the limit;
    // empty otherwise.
    static std::string Refusal(const SImageExtent& extent, const SImageSizeLimit& limit);

    // Probe and Refusal together: throws CExBadParam with the path and the refusal.
    static SImageExtent Check(const std::string& path, const SImageSizeLimit& limit);
};

} // namespace Zarn
