#include <Zarn/Image/ImageSizeGuard.h>

#include <Zarn/Exception/Exception.h>

#include <tiffio.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Zarn
{

namespace
{

// The header of a JPEG file may follow large metadata (Exif, ICC profiles); beyond this the
// guard gives up and the decoder judges alone.
constexpr size_t kHeaderBytes = 256 * 1024;

[[noreturn]] void Refuse(const Impl::StExLocation& where, const std::string& path,
                         const std::string& reason)
{
    throw CExBadParam(where, (path + ": " + reason).c_str());
}

// What a file that is no regular file is, in the user's words; null for a regular file.
const char* OddKind(mode_t mode)
{
    if (S_ISDIR(mode))
    {
        return "is a folder, not an image file";
    }
    if (S_ISFIFO(mode))
    {
        return "is a named pipe (FIFO), not an image file";
    }
    if (S_ISSOCK(mode))
    {
        return "is a socket, not an image file";
    }
    if (S_ISCHR(mode) || S_ISBLK(mode))
    {
        return "is a device, not an image file";
    }
    return S_ISREG(mode) ? nullptr : "is not a regular file";
}

std::string OpenReason(int error)
{
    if (error == ELOOP)
    {
        return "cannot open: the symbolic link loops (" + std::string(std::strerror(error)) + ")";
    }
    return "cannot open: " + std::string(std::strerror(error));
}

// The first bytes of a regular file. Opened without blocking and checked on the open descriptor,
// so a named pipe or a device put in the file's place is refused rather than waited on.
std::vector<unsigned char> ReadHeaderBytes(const std::string& path)
{
    struct stat status
    {
    };
    if (::stat(path.c_str(), &status) != 0)
    {
        Refuse(ZARN_LOCATION, path, OpenReason(errno));
    }
    if (const char* szOdd = OddKind(status.st_mode))
    {
        Refuse(ZARN_LOCATION, path, szOdd);
    }
    const int nDescriptor = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (nDescriptor < 0)
    {
        Refuse(ZARN_LOCATION, path, OpenReason(errno));
    }
    std::vector<unsigned char> bytes;
    const char* szOdd = ::fstat(nDescriptor, &status) == 0 ? OddKind(status.st_mode) : nullptr;
    if (szOdd == nullptr)
    {
        bytes.resize(std::min<size_t>(kHeaderBytes, static_cast<size_t>(status.st_size)));
        const ssize_t nRead = ::pread(nDescriptor, bytes.data(), bytes.size(), 0);
        bytes.resize(nRead > 0 ? static_cast<size_t>(nRead) : 0);
    }
    ::close(nDescriptor);
    if (szOdd != nullptr)
    {
        Refuse(ZARN_LOCATION, path, szOdd);
    }
    return bytes;
}

bool StartsWith(const std::vector<unsigned char>& bytes, std::initializer_list<unsigned char> start)
{
    return bytes.size() >= start.size() && std::equal(start.begin(), start.end(), bytes.begin());
}

std::uint64_t BigEndian(const std::vector<unsigned char>& bytes, size_t offset, size_t count)
{
    std::uint64_t uValue = 0;
    for (size_t i = 0; i < count; ++i)
    {
        uValue = uValue << 8 | bytes[offset + i];
    }
    return uValue;
}

std::uint64_t LittleEndian(const std::vector<unsigned char>& bytes, size_t offset, size_t count)
{
    std::uint64_t uValue = 0;
    for (size_t i = count; i > 0; --i)
    {
        uValue = uValue << 8 | bytes[offset + i - 1];
    }
    return uValue;
}

SImageExtent Flat(std::uint64_t width, std::uint64_t height, std::uint32_t bytesPerPixel)
{
    SImageExtent extent;
    extent.m_uWidth = width;
    extent.m_uHeight = height;
    extent.m_uPlanes = 1;
    extent.m_uPixels = width * height;
    extent.m_uBytesPerPixel = std::max<std::uint32_t>(1, bytesPerPixel);
    return extent;
}

// The IHDR chunk comes first: width, height, bit depth, colour type.
SImageExtent PngExtent(const std::vector<unsigned char>& bytes)
{
    if (bytes.size() < 26)
    {
        return {};
    }
    static const std::uint32_t s_auChannels[] = {1, 4, 3, 4, 2, 4, 4}; // palettes decode to RGB(A)
    const unsigned int uColour = std::min<unsigned int>(bytes[25], 6);
    return Flat(BigEndian(bytes, 16, 4), BigEndian(bytes, 20, 4),
                s_auChannels[uColour] * (bytes[24] == 16 ? 2 : 1));
}

// The first start-of-frame segment holds the size; the segments before it are skipped by their
// lengths.
SImageExtent JpegExtent(const std::vector<unsigned char>& bytes)
{
    size_t uAt = 2;
    while (uAt + 10 <= bytes.size() && bytes[uAt] == 0xff)
    {
        const unsigned char uMarker = bytes[uAt + 1];
        const bool bFrame = uMarker >= 0xc0 && uMarker <= 0xcf && uMarker != 0xc4 &&
                            uMarker != 0xc8 && uMarker != 0xcc;
        if (bFrame)
        {
            return Flat(BigEndian(bytes, uAt + 7, 2), BigEndian(bytes, uAt + 5, 2),
                        bytes[uAt + 9] == 1 ? 1 : 3);
        }
        uAt += 2 + BigEndian(bytes, uAt + 2, 2);
    }
    return {};
}

SImageExtent BmpExtent(const std::vector<unsigned char>& bytes)
{
    if (bytes.size() < 30)
    {
        return {};
    }
    const auto nHeight = static_cast<std::int32_t>(LittleEndian(bytes, 22, 4));
    const std::uint64_t uBits = LittleEndian(bytes, 28, 2);
    return Flat(LittleEndian(bytes, 18, 4),
                static_cast<std::uint64_t>(std::abs(static_cast<std::int64_t>(nHeight))),
                uBits == 32 ? 4 : (uBits == 8 ? 1 : 3));
}

// libtiff's complaints about a file are kept for the error text rather than printed.
int KeepTiffMessage(TIFF*, void* pUserData, const char*, const char* format, va_list args)
{
    auto* pText = static_cast<std::string*>(pUserData);
    if (pText->empty())
    {
        char buffer[512];
        std::vsnprintf(buffer, sizeof(buffer), format, args);
        *pText = buffer;
    }
    return 1;
}

// Every page: the first one's size, the number of pages and all their pixels together.
SImageExtent TiffExtent(const std::string& path)
{
    std::string strError;
    TIFFOpenOptions* pOptions = TIFFOpenOptionsAlloc();
    TIFFOpenOptionsSetErrorHandlerExtR(pOptions, &KeepTiffMessage, &strError);
    TIFFOpenOptionsSetWarningHandlerExtR(
        pOptions, [](TIFF*, void*, const char*, const char*, va_list) { return 1; }, nullptr);
    TIFF* pTiff = TIFFOpenExt(path.c_str(), "r", pOptions);
    TIFFOpenOptionsFree(pOptions);
    if (pTiff == nullptr)
    {
        Refuse(ZARN_LOCATION, path, "cannot decode: damaged TIFF data (" + strError + ")");
    }
    SImageExtent extent;
    do
    {
        std::uint32_t uWidth = 0;
        std::uint32_t uHeight = 0;
        std::uint16_t uSamples = 1;
        std::uint16_t uBits = 8;
        TIFFGetField(pTiff, TIFFTAG_IMAGEWIDTH, &uWidth);
        TIFFGetField(pTiff, TIFFTAG_IMAGELENGTH, &uHeight);
        TIFFGetFieldDefaulted(pTiff, TIFFTAG_SAMPLESPERPIXEL, &uSamples);
        TIFFGetFieldDefaulted(pTiff, TIFFTAG_BITSPERSAMPLE, &uBits);
        if (extent.m_uPlanes == 0)
        {
            extent = Flat(uWidth, uHeight, uSamples * std::max(1, (uBits + 7) / 8));
        }
        else
        {
            ++extent.m_uPlanes;
            extent.m_uPixels += std::uint64_t(uWidth) * uHeight;
        }
    } while (TIFFReadDirectory(pTiff) == 1);
    TIFFClose(pTiff);
    return extent;
}

} // namespace

std::string SImageExtent::ToString() const
{
    std::string strText = std::to_string(m_uWidth) + " × " + std::to_string(m_uHeight);
    return m_uPlanes > 1 ? strText + " × " + std::to_string(m_uPlanes) : strText;
}

SImageSizeLimit SImageSizeLimit::ForReaders(std::uint64_t maxPixels, unsigned int readers)
{
    SImageSizeLimit limit;
    limit.m_uMaxPixels = maxPixels;
    const std::uint64_t uAvailable = AvailableMemory();
    limit.m_uMemoryBytes =
        uAvailable == UINT64_MAX ? uAvailable : uAvailable / std::max(1u, readers);
    return limit;
}

std::uint64_t SImageSizeLimit::AvailableMemory()
{
    std::ifstream meminfo("/proc/meminfo");
    std::string strKey;
    std::uint64_t uKiB = 0;
    std::string strUnit;
    while (meminfo >> strKey >> uKiB >> strUnit)
    {
        if (strKey == "MemAvailable:")
        {
            return uKiB * 1024;
        }
    }
    const long nPages = ::sysconf(_SC_AVPHYS_PAGES);
    const long nPageSize = ::sysconf(_SC_PAGESIZE);
    return nPages > 0 && nPageSize > 0
               ? static_cast<std::uint64_t>(nPages) * static_cast<std::uint64_t>(nPageSize)
               : UINT64_MAX;
}

std::uint64_t SImageSizeLimit::PixelsFor(const SImageExtent& extent) const
{
    const std::uint64_t uPerPixel =
        kCopiesInMemory * std::max<std::uint32_t>(1, extent.m_uBytesPerPixel);
    return std::min(m_uMaxPixels, m_uMemoryBytes / uPerPixel);
}

SImageExtent CImageSizeGuard::Probe(const std::string& path)
{
    const std::vector<unsigned char> bytes = ReadHeaderBytes(path);
    if (StartsWith(bytes, {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'}))
    {
        return PngExtent(bytes);
    }
    if (StartsWith(bytes, {'I', 'I'}) || StartsWith(bytes, {'M', 'M'}))
    {
        return TiffExtent(path);
    }
    if (StartsWith(bytes, {0xff, 0xd8, 0xff}))
    {
        return JpegExtent(bytes);
    }
    if (StartsWith(bytes, {'B', 'M'}))
    {
        return BmpExtent(bytes);
    }
    return {};
}

std::string CImageSizeGuard::Refusal(const SImageExtent& extent, const SImageSizeLimit& limit)
{
    const std::uint64_t uLimit = limit.PixelsFor(extent);
    if (!extent.IsKnown() || extent.m_uPixels <= uLimit)
    {
        return {};
    }
    return "image too large: " + extent.ToString() + " pixels, the limit is " +
           std::to_string(uLimit) + " pixels" +
           (uLimit < limit.m_uMaxPixels ? " (what the free memory allows)" : "");
}

SImageExtent CImageSizeGuard::Check(const std::string& path, const SImageSizeLimit& limit)
{
    const SImageExtent extent = Probe(path);
    const std::string strRefusal = Refusal(extent, limit);
    if (!strRefusal.empty())
    {
        Refuse(ZARN_LOCATION, path, strRefusal);
    }
    return extent;
}

} // namespace Zarn
