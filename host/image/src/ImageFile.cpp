#include <Zarn/Image/ImageFile.h>

#include "CodecReaders.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/ImageOpenCV.h>
#include <Zarn/Image/ImageSizeGuard.h>
#include <Zarn/Image/TekaHeaderTools.h>
#include <Zarn/Log/Logger.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Serial/JsonValueFile.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <tiffio.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <iostream>
#include <limits>
#include <memory>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Zarn
{

namespace
{

enum EnFormat
{
    fmtUnknown,
    fmtPng,
    fmtTiff,
    fmtJpeg,
    fmtBmp,
};

// A foreign TIFF description that is not our JSON header is kept under this key.
constexpr const char* kImageDescription = "image description";

[[noreturn]] void Fail(const Impl::StExLocation& where, const std::string& path,
                       const std::string& reason)
{
    std::string strMessage = path;
    strMessage += ": ";
    strMessage += reason;
    throw CExBadParam(where, strMessage.c_str());
}

std::string SystemReason(const char* operation, int error)
{
    std::string strReason = operation;
    strReason += ": ";
    strReason += std::strerror(error);
    return strReason;
}

EnFormat FormatOf(const std::string& path)
{
    const size_t uDot = path.rfind('.');
    const size_t uSlash = path.rfind('/');
    if (uDot == std::string::npos || (uSlash != std::string::npos && uDot < uSlash))
    {
        return fmtUnknown;
    }
    std::string strExtension = path.substr(uDot + 1);
    for (char& c : strExtension)
    {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    if (strExtension == "png")
    {
        return fmtPng;
    }
    if (strExtension == "tif" || strExtension == "tiff")
    {
        return fmtTiff;
    }
    if (strExtension == "jpg" || strExtension == "jpeg")
    {
        return fmtJpeg;
    }
    if (strExtension == "bmp")
    {
        return fmtBmp;
    }
    return fmtUnknown;
}

// Display name and the extension OpenCV chooses the encoder by, so temporary files carry one it
// knows.
struct SFormatNames
{
    EnFormat m_enFormat;
    const char* m_pszName;
    const char* m_pszCodecExtension;
};

constexpr std::array<SFormatNames, 4> kFormatNames = {{{fmtPng, "PNG", "png"},
                                                       {fmtTiff, "TIFF", "tif"},
                                                       {fmtJpeg, "JPEG", "jpg"},
                                                       {fmtBmp, "BMP", "bmp"}}};

const SFormatNames* NamesOf(EnFormat format)
{
    for (const SFormatNames& names : kFormatNames)
    {
        if (names.m_enFormat == format)
        {
            return &names;
        }
    }
    return nullptr;
}

const char* FormatName(EnFormat format)
{
    const SFormatNames* pNames = NamesOf(format);
    return pNames != nullptr ? pNames->m_pszName : "unknown";
}

const char* CodecExtension(EnFormat format)
{
    const SFormatNames* pNames = NamesOf(format);
    return pNames != nullptr ? pNames->m_pszCodecExtension : "";
}

EnFormat RequireFormat(const std::string& path, EnFormat format)
{
    if (format == fmtUnknown)
    {
        Fail(ZARN_LOCATION, path,
             "unsupported file type (known: .png, .tif, .tiff, .jpg, .jpeg, .bmp)");
    }
    return format;
}

// What OpenCV 4.6's codecs write and read back unchanged. Two channels no codec takes; JPEG and
// BMP read four channels back as three; TIFF converts the colour order of 8U, 16U and 32F only.
bool CanStoreType(EnFormat format, const IImage::CType& type)
{
    const IImage::EnElementType enElement = type.ElementType();
    const unsigned int uChannels = type.Channels();
    const bool bColourOrGrey = uChannels == 1 || uChannels == 3 || uChannels == 4;
    switch (format)
    {
    case fmtPng:
        return bColourOrGrey && (enElement == IImage::etUInt8 || enElement == IImage::etUInt16);
    case fmtTiff:
        if (enElement == IImage::etUInt8 || enElement == IImage::etUInt16 ||
            enElement == IImage::etFloat32)
        {
            return bColourOrGrey;
        }
        return uChannels == 1 && (enElement == IImage::etInt8 || enElement == IImage::etInt16 ||
                                  enElement == IImage::etInt32 || enElement == IImage::etFloat64);
    case fmtJpeg:
    case fmtBmp:
        return enElement == IImage::etUInt8 && (uChannels == 1 || uChannels == 3);
    case fmtUnknown:
        break;
    }
    return false;
}

bool HasSignature(EnFormat format, const std::vector<unsigned char>& bytes)
{
    auto startsWith = [&bytes](std::initializer_list<unsigned char> signature)
    {
        return bytes.size() >= signature.size() &&
               std::equal(signature.begin(), signature.end(), bytes.begin());
    };
    switch (format)
    {
    case fmtPng:
        return startsWith({0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'});
    case fmtTiff:
        return startsWith({'I', 'I', 42, 0}) || startsWith({'M', 'M', 0, 42}) ||
               startsWith({'I', 'I', 43, 0}) || startsWith({'M', 'M', 0, 43});
    case fmtJpeg:
        return startsWith({0xff, 0xd8, 0xff});
    case fmtBmp:
        return startsWith({'B', 'M'});
    case fmtUnknown:
        break;
    }
    return false;
}

// libjpeg decodes a cut-off file with a warning and fills the rest grey, so the end is checked
// here. Entropy-coded data never holds the markers EOI (FF D9) or SOS (FF DA): seen from the end,
// a complete file shows its EOI before any SOS, a cut one shows the SOS of the scan it lost.
bool HasJpegEnd(const std::vector<unsigned char>& bytes)
{
    for (size_t u = bytes.size(); u >= 2; --u)
    {
        if (bytes[u - 2] == 0xff)
        {
            if (bytes[u - 1] == 0xd9)
            {
                return true;
            }
            if (bytes[u - 1] == 0xda)
            {
                return false;
            }
        }
    }
    return false;
}

class CDescriptor
{
public:
    explicit CDescriptor(int descriptor) : m_nDescriptor(descriptor) {}
    CDescriptor(const CDescriptor&) = delete;
    CDescriptor& operator=(const CDescriptor&) = delete;
    ~CDescriptor() { ::close(m_nDescriptor); }
    int Get() const { return m_nDescriptor; }

private:
    int m_nDescriptor;
};

// The file's first `limit` bytes (all of it for SIZE_MAX). The errors name what the system says,
// a folder, and an empty file.
std::vector<unsigned char> ReadBytes(const std::string& path, size_t limit)
{
    const int nDescriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (nDescriptor < 0)
    {
        Fail(ZARN_LOCATION, path, SystemReason("cannot open", errno));
    }
    const CDescriptor descriptor(nDescriptor);
    struct stat status
    {
    };
    if (::fstat(nDescriptor, &status) != 0)
    {
        Fail(ZARN_LOCATION, path, SystemReason("cannot open", errno));
    }
    if (S_ISDIR(status.st_mode))
    {
        Fail(ZARN_LOCATION, path, SystemReason("cannot open", EISDIR));
    }
    std::vector<unsigned char> bytes;
    const size_t uExpected = S_ISREG(status.st_mode) ? static_cast<size_t>(status.st_size) : 0;
    bytes.resize(std::min(limit, std::max<size_t>(uExpected + 1, 4096)));
    size_t uRead = 0;
    while (uRead < limit)
    {
        if (uRead == bytes.size())
        {
            bytes.resize(std::min(limit, bytes.size() * 2));
        }
        const ssize_t nCount = ::read(nDescriptor, bytes.data() + uRead, bytes.size() - uRead);
        if (nCount < 0)
        {
            if (errno == EINTR)
            {
                continue;
            }
            Fail(ZARN_LOCATION, path, SystemReason("cannot read", errno));
        }
        if (nCount == 0)
        {
            break;
        }
        uRead += static_cast<size_t>(nCount);
    }
    if (uRead == 0)
    {
        Fail(ZARN_LOCATION, path, "empty file");
    }
    bytes.resize(uRead);
    return bytes;
}

// Swaps the first and third channel (BGR(A) and RGB(A) both ways) into a matrix of the same size
// and type, which must exist already: for a view into an image, no new memory may be made.
void SwapRedBlue(const cv::Mat& source, cv::Mat& target)
{
    static const int s_anFromTo[] = {0, 2, 1, 1, 2, 0, 3, 3};
    cv::mixChannels(&source, 1, &target, 1, s_anFromTo, static_cast<size_t>(source.channels()));
}

std::unique_ptr<CImage> ImageFromPages(const std::string& path, const std::vector<cv::Mat>& pages)
{
    const cv::Mat& first = pages.front();
    if (first.dims != 2 || first.channels() > 4 || first.channels() == 2)
    {
        Fail(ZARN_LOCATION, path, "cannot decode: its channels have no image type");
    }
    IImage::CType type;
    try
    {
        type = ImageType(first.type());
    }
    catch (const CExBadParam&)
    {
        Fail(ZARN_LOCATION, path, "cannot decode: its element type has no image type");
    }
    for (const cv::Mat& page : pages)
    {
        if (page.size() != first.size() || page.type() != first.type())
        {
            Fail(ZARN_LOCATION, path, "cannot decode: its pages differ in size or type");
        }
    }
    auto pImage = std::make_unique<CImage>(CSize(static_cast<std::uint32_t>(first.cols),
                                                 static_cast<std::uint32_t>(first.rows),
                                                 static_cast<std::uint32_t>(pages.size())),
                                           type);
    for (size_t z = 0; z < pages.size(); ++z)
    {
        cv::Mat view = PlaneView(*pImage, static_cast<std::uint32_t>(z));
        const void* pPlane = view.data;
        if (type.Channels() >= 3)
        {
            SwapRedBlue(pages[z], view);
        }
        else
        {
            pages[z].copyTo(view);
        }
        if (view.data != pPlane)
        {
            Fail(ZARN_LOCATION, path, "cannot decode: the pixels did not fit the image");
        }
    }
    return pImage;
}

std::string DamagedReason(EnFormat format)
{
    std::string strReason = "cannot decode: damaged or unsupported ";
    strReason += FormatName(format);
    strReason += " data";
    return strReason;
}

// OpenCV's decoders refuse images above a size of their own (OPENCV_IO_MAX_IMAGE_PIXELS, 2^30
// unless set); the PNG reader keeps the same limit.
std::uint64_t DecoderLimit()
{
    const char* szLimit = std::getenv("OPENCV_IO_MAX_IMAGE_PIXELS");
    return szLimit != nullptr ? std::strtoull(szLimit, nullptr, 10) : std::uint64_t(1) << 30;
}

// A decoder's refusal: the image is above its limit, or else its data are damaged.
std::string DecoderRefusal(const std::string& path, EnFormat format)
{
    const std::uint64_t uLimit = DecoderLimit();
    SImageExtent extent;
    try
    {
        extent = CImageSizeGuard::Probe(path);
    }
    catch (const CException&)
    {
        // The file was read a moment ago; if it is gone now, the decoder's failure stands alone.
    }
    if (!extent.IsKnown() || extent.m_uPixels / extent.m_uPlanes <= uLimit)
    {
        return DamagedReason(format);
    }
    return "image too large: " + extent.ToString() + " pixels, the decoder takes at most " +
           std::to_string(uLimit) + " pixels";
}

// Warnings of a codec about a file it read all the same go to the host's log, naming the file;
// without a host (a program that registered none), to standard error.
void ReportWarnings(const std::string& path, const char* codec,
                    const std::vector<std::string>& warnings)
{
    CLogger* pLogger = nullptr;
    if (!warnings.empty() && CRegistry::Obj().HasEntry(CValue_Key("tmp/logger")))
    {
        pLogger = UnwrapPointer<CLogger>(CRegistry::Obj().Entry(CValue_Key("tmp/logger")));
    }
    for (const std::string& strWarning : warnings)
    {
        const std::string strLine = path + ": " + codec + " warning: " + strWarning + "\n";
        if (pLogger != nullptr)
        {
            pLogger->SetLevel(CLogger::levelWarning) << strLine;
        }
        else
        {
            std::cerr << strLine;
        }
    }
}

// What a reader of our own decoded: refused above the decoder's limit, damaged when empty (with
// the library's reason).
cv::Mat Decoded(const std::string& path, EnFormat format, const cv::Mat& matrix,
                std::uint64_t pixels, const std::string& error)
{
    if (pixels > DecoderLimit())
    {
        Fail(ZARN_LOCATION, path, DecoderRefusal(path, format));
    }
    if (matrix.empty())
    {
        Fail(ZARN_LOCATION, path,
             DamagedReason(format) + (error.empty() ? "" : " (" + error + ")"));
    }
    return matrix;
}

// PNG and JPEG go through libpng and libjpeg themselves rather than OpenCV, whose readers let the
// libraries print their messages on standard error, where nobody can tell which file they
// concern. Four-component (CMYK) JPEG is left to OpenCV, which converts it: false.
bool DecodeOwn(const std::string& path, EnFormat format, const std::vector<unsigned char>& bytes,
               std::vector<cv::Mat>& pages)
{
    if (format != fmtPng && format != fmtJpeg)
    {
        return false;
    }
    Impl::SCodecMessages messages;
    std::uint64_t uPixels = 0;
    bool bHandled = true;
    const cv::Mat matrix = format == fmtPng
                               ? Impl::ReadPng(bytes, DecoderLimit(), uPixels, messages)
                               : Impl::ReadJpeg(bytes, DecoderLimit(), uPixels, bHandled, messages);
    ReportWarnings(path, FormatName(format), messages.m_lstWarnings);
    if (bHandled)
    {
        pages.push_back(Decoded(path, format, matrix, uPixels, messages.m_strError));
    }
    return bHandled;
}

// TIFF is decoded from the file, for its pages; the others from memory. No pages: not decoded.
void DecodeWithOpenCV(const std::string& path, EnFormat format,
                      const std::vector<unsigned char>& bytes, std::vector<cv::Mat>& pages)
{
    if (format == fmtTiff)
    {
        if (!cv::imreadmulti(path, pages, cv::IMREAD_UNCHANGED))
        {
            pages.clear();
        }
        return;
    }
    cv::Mat matrix = cv::imdecode(bytes, cv::IMREAD_UNCHANGED);
    if (!matrix.empty())
    {
        pages.push_back(std::move(matrix));
    }
}

std::vector<cv::Mat> Decode(const std::string& path, EnFormat format,
                            const std::vector<unsigned char>& bytes)
{
    std::vector<cv::Mat> lstPages;
    try
    {
        if (!DecodeOwn(path, format, bytes, lstPages))
        {
            DecodeWithOpenCV(path, format, bytes, lstPages);
        }
    }
    catch (const cv::Exception&)
    {
        // OpenCV's text is an assertion ("pixels <= CV_IO_MAX_IMAGE_PIXELS"); the user is told
        // what it means instead.
        Fail(ZARN_LOCATION, path, DecoderRefusal(path, format));
    }
    if (lstPages.empty())
    {
        Fail(ZARN_LOCATION, path, DamagedReason(format));
    }
    return lstPages;
}

// A libtiff handle whose errors are kept for our message instead of going to stderr.
class CTiff
{
public:
    CTiff(const std::string& path, const char* mode)
    {
        TIFFOpenOptions* pOptions = TIFFOpenOptionsAlloc();
        TIFFOpenOptionsSetErrorHandlerExtR(pOptions, &CTiff::KeepError, &m_strError);
        TIFFOpenOptionsSetWarningHandlerExtR(pOptions, &CTiff::IgnoreWarning, nullptr);
        m_pTiff = TIFFOpenExt(path.c_str(), mode, pOptions);
        TIFFOpenOptionsFree(pOptions);
    }
    CTiff(const CTiff&) = delete;
    CTiff& operator=(const CTiff&) = delete;
    ~CTiff()
    {
        if (m_pTiff != nullptr)
        {
            TIFFClose(m_pTiff);
        }
    }
    TIFF* Get() const { return m_pTiff; }
    std::string Error() const { return m_strError.empty() ? "libtiff failed" : m_strError; }

private:
    static int KeepError(TIFF*, void* pUserData, const char*, const char* format, va_list args)
    {
        auto* pError = static_cast<std::string*>(pUserData);
        if (pError->empty())
        {
            char buffer[512];
            std::vsnprintf(buffer, sizeof(buffer), format, args);
            *pError = buffer;
        }
        return 1; // handled: the global handler stays quiet
    }
    static int IgnoreWarning(TIFF*, void*, const char*, const char*, va_list) { return 1; }

    std::string m_strError; // before m_pTiff: the handlers write to it while the handle lives
    TIFF* m_pTiff = nullptr;
};

void ReadTiffHeader(const std::string& path, CValueMap& header)
{
    std::string strText;
    {
        const CTiff tiff(path, "r");
        if (tiff.Get() == nullptr)
        {
            Fail(ZARN_LOCATION, path, "cannot read the header: " + tiff.Error());
        }
        const char* szDescription = nullptr;
        if (TIFFGetField(tiff.Get(), TIFFTAG_IMAGEDESCRIPTION, &szDescription) != 1 ||
            szDescription == nullptr)
        {
            return;
        }
        strText = szDescription;
    }
    const size_t uStart = strText.find_first_not_of(" \t\r\n");
    if (uStart == std::string::npos)
    {
        return;
    }
    if (strText[uStart] != '{')
    {
        header.SetEntry(CValue_Key(kImageDescription), new CValueString(CString(strText)));
        return;
    }
    const std::unique_ptr<CValue> pValue(
        CJsonValueFile::ReadString(strText, path + ": image description"));
    header.Move(*pValue);
}

std::string SideFilePath(const std::string& path)
{
    return path + ".json";
}

void ReadSideHeader(const std::string& path, CValueMap& header)
{
    const std::string strSide = SideFilePath(path);
    struct stat status
    {
    };
    if (::stat(strSide.c_str(), &status) != 0 && errno == ENOENT)
    {
        return;
    }
    // Names the side file, line and column when its text is broken.
    const std::unique_ptr<CValue> pValue(CJsonValueFile::ReadFile(strSide));
    if (pValue->Map() == nullptr)
    {
        Fail(ZARN_LOCATION, strSide, "the header is not a JSON object");
    }
    header.Move(*pValue);
}

// A file made beside the target, removed again unless it was renamed over the target.
class CTemporaryFile
{
public:
    CTemporaryFile(const std::string& target, EnFormat format)
    {
        static std::atomic<unsigned long> s_uCounter{0};
        const size_t uSlash = target.rfind('/');
        const std::string strFolder =
            uSlash == std::string::npos ? std::string() : target.substr(0, uSlash + 1);
        const std::string strName =
            uSlash == std::string::npos ? target : target.substr(uSlash + 1);
        for (;;)
        {
            m_strPath = strFolder;
            m_strPath += '.';
            m_strPath += strName;
            m_strPath += ".tmp.";
            m_strPath += std::to_string(::getpid());
            m_strPath += '.';
            m_strPath += std::to_string(s_uCounter++);
            m_strPath += '.';
            m_strPath += CodecExtension(format);
            const int nDescriptor =
                ::open(m_strPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            if (nDescriptor >= 0)
            {
                const CDescriptor descriptor(nDescriptor);
                struct stat status
                {
                };
                if (::stat(target.c_str(), &status) == 0 && S_ISREG(status.st_mode))
                {
                    ::fchmod(nDescriptor, status.st_mode & 07777);
                }
                break;
            }
            if (errno != EEXIST)
            {
                m_strPath.clear();
                Fail(ZARN_LOCATION, target, SystemReason("cannot write", errno));
            }
        }
    }
    CTemporaryFile(const CTemporaryFile&) = delete;
    CTemporaryFile& operator=(const CTemporaryFile&) = delete;
    ~CTemporaryFile()
    {
        if (!m_strPath.empty())
        {
            ::unlink(m_strPath.c_str());
        }
    }
    const std::string& Path() const { return m_strPath; }
    void RenameTo(const std::string& target)
    {
        if (::rename(m_strPath.c_str(), target.c_str()) != 0)
        {
            Fail(ZARN_LOCATION, target, SystemReason("cannot write", errno));
        }
        m_strPath.clear();
    }

private:
    std::string m_strPath;
};

// The planes as the codecs want them: grey ones are views of the image, colour ones copies in
// OpenCV's channel order.
std::vector<cv::Mat> CodecPlanes(const CImage& image)
{
    std::vector<cv::Mat> lstPlanes;
    for (std::uint32_t z = 0; z < image.Size().Z(); ++z)
    {
        const cv::Mat view = PlaneView(image, z);
        if (image.Type().Channels() >= 3)
        {
            cv::Mat swapped(view.size(), view.type());
            SwapRedBlue(view, swapped);
            lstPlanes.push_back(std::move(swapped));
        }
        else
        {
            lstPlanes.push_back(view);
        }
    }
    return lstPlanes;
}

// Errors of the storage, as opposed to what a library may leave in errno on its way.
bool IsStorageError(int error)
{
    return error == ENOSPC || error == EFBIG || error == EDQUOT || error == EIO || error == EROFS ||
           error == EACCES || error == EPERM;
}

void Encode(const std::string& target, const std::string& path, EnFormat format,
            const std::vector<cv::Mat>& planes)
{
    std::vector<int> lstParameters;
    if (format == fmtTiff)
    {
        // Without an explicit choice OpenCV stores float RGB with SGILOG, which is lossy.
        lstParameters = {cv::IMWRITE_TIFF_COMPRESSION, COMPRESSION_LZW};
    }
    bool bWritten = false;
    errno = 0;
    try
    {
        bWritten = planes.size() == 1 ? cv::imwrite(target, planes.front(), lstParameters)
                                      : cv::imwritemulti(target, planes, lstParameters);
    }
    catch (const cv::Exception&)
    {
        // Not OpenCV's assertion text: the failure below says the same in the user's words.
        bWritten = false;
    }
    // The codecs say only that they failed; the system's reason is still in errno when the disk
    // refused the data, and is what the user can act on.
    const int nError = errno;
    if (!bWritten && IsStorageError(nError))
    {
        Fail(ZARN_LOCATION, path, SystemReason("cannot write", nError));
    }
    if (!bWritten)
    {
        std::string strReason = "cannot write: the ";
        strReason += FormatName(format);
        strReason += " encoder failed";
        Fail(ZARN_LOCATION, path, strReason);
    }
}

void WriteTiffHeader(const std::string& target, const std::string& path, const std::string& text)
{
    const CTiff tiff(target, "r+");
    if (tiff.Get() == nullptr ||
        TIFFSetField(tiff.Get(), TIFFTAG_IMAGEDESCRIPTION, text.c_str()) != 1 ||
        TIFFRewriteDirectory(tiff.Get()) != 1)
    {
        Fail(ZARN_LOCATION, path, "cannot write the header: " + tiff.Error());
    }
}

void RemoveSideFile(const std::string& path)
{
    const std::string strSide = SideFilePath(path);
    if (::unlink(strSide.c_str()) != 0 && errno != ENOENT)
    {
        Fail(ZARN_LOCATION, strSide, SystemReason("cannot remove the old header", errno));
    }
}

} // namespace

CImage* CImageFile::Read(const std::string& path)
{
    const EnFormat enFormat = RequireFormat(path, FormatOf(path));
    // TIFF is decoded from the file, for its pages; the others from memory, read once.
    std::vector<unsigned char> bytes =
        ReadBytes(path, enFormat == fmtTiff ? 4 : std::numeric_limits<size_t>::max());
    if (!HasSignature(enFormat, bytes))
    {
        std::string strReason = "cannot decode: not a ";
        strReason += FormatName(enFormat);
        strReason += " file";
        Fail(ZARN_LOCATION, path, strReason);
    }
    if (enFormat == fmtJpeg && !HasJpegEnd(bytes))
    {
        Fail(ZARN_LOCATION, path, "cannot decode: the JPEG data are cut off");
    }
    std::vector<cv::Mat> lstPages = Decode(path, enFormat, bytes);
    std::vector<unsigned char>().swap(bytes);
    std::unique_ptr<CImage> pImage = ImageFromPages(path, lstPages);
    lstPages.clear();

    if (enFormat == fmtTiff)
    {
        ReadTiffHeader(path, pImage->Attributes());
    }
    else
    {
        ReadSideHeader(path, pImage->Attributes());
    }
    pImage->Attributes().SetEntry(CValue_Key(CTekaHeaderTools::kSourceFile),
                                  new CValueString(CString(path)));
    return pImage.release();
}

void CImageFile::Write(const std::string& path, const CImage& image)
{
    const EnFormat enFormat = RequireFormat(path, FormatOf(path));
    if (image.Size().IsEmpty())
    {
        std::string strReason = "cannot store an empty image (";
        strReason += image.Size().ToString();
        strReason += ")";
        Fail(ZARN_LOCATION, path, strReason);
    }
    if (image.Size().Z() > 1 && enFormat != fmtTiff)
    {
        std::string strReason = FormatName(enFormat);
        strReason += " stores one plane, the image has ";
        strReason += std::to_string(image.Size().Z());
        Fail(ZARN_LOCATION, path, strReason);
    }
    if (!CanStoreType(enFormat, image.Type()))
    {
        std::string strReason = FormatName(enFormat);
        strReason += " cannot store ";
        strReason += image.Type().ToString();
        strReason += " images";
        Fail(ZARN_LOCATION, path, strReason);
    }

    // The header text is made before any file is touched: a header that cannot be saved
    // (pointer values) leaves the folder as it was.
    CValueMap header(image.Attributes());
    header.RemoveEntry(CValue_Key(CTekaHeaderTools::kSourceFile));
    std::string strHeader;
    if (!header.IsEmpty())
    {
        strHeader = CJsonValueFile::WriteString(header, true);
    }

    CTemporaryFile temporary(path, enFormat);
    Encode(temporary.Path(), path, enFormat, CodecPlanes(image));
    if (enFormat == fmtTiff && !strHeader.empty())
    {
        WriteTiffHeader(temporary.Path(), path, strHeader);
    }
    temporary.RenameTo(path);

    if (enFormat != fmtTiff)
    {
        if (header.IsEmpty())
        {
            RemoveSideFile(path);
        }
        else
        {
            CJsonValueFile::WriteFile(SideFilePath(path), header);
        }
    }
}

bool CImageFile::IsSupportedPath(const std::string& path)
{
    return FormatOf(path) != fmtUnknown;
}

bool CImageFile::CanStore(const std::string& path, const IImage::CType& type, std::uint32_t planes)
{
    const EnFormat enFormat = FormatOf(path);
    return enFormat != fmtUnknown && planes >= 1 && (planes == 1 || enFormat == fmtTiff) &&
           CanStoreType(enFormat, type);
}

} // namespace Zarn
