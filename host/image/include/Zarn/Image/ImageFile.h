#pragma once

#include <Zarn/Image/Image.h>

#include <cstdint>
#include <string>

namespace Zarn
{

// Image files with their header. The format follows the extension of the file name, in any
// case: .png, .tif/.tiff, .jpg/.jpeg, .bmp. Colour images are RGB(A) in memory whatever order
// the codec uses.
//
// The header travels with the pixels: in a TIFF file as JSON text in the image description of
// the first page, for the other formats in a JSON side file "<file name>.json" next to the image.
// "source file" describes where an image in memory came from, so it is not saved; reading sets
// it to the path read.
//
// Every failure is a CExBadParam whose text starts with the file's path and says why (cannot
// open, cannot decode, cannot write, a type the format cannot store). A header holding pointer
// values cannot be saved: CExBadType, before any file is touched. The functions keep no state and
// may be called from several threads at once.
//
// Contract: Read hands the new image to the caller; Write only reads the image it is lent. No
// messages.
class ZARN_IMAGE_API CImageFile
{
public:
    // The image in the file, owned by the caller. A TIFF file's pages become the planes (z). The
    // header comes from the TIFF description or the side file; a missing side file gives an
    // empty header, a broken one fails naming the side file, line and column.
    static CImage* Read(const std::string& path);

    // Replaces the file as a whole: the pixels go to a temporary file beside it that is renamed
    // over path, so a failed write leaves the old file. Then the side file is written, or an old
    // one removed when the header is empty. The image is not changed.
    static void Write(const std::string& path, const CImage& image);

    // The extension names a format these functions know.
    static bool IsSupportedPath(const std::string& path);

    // The format of path can store an image of that type with that many planes.
    static bool CanStore(const std::string& path, const IImage::CType& type,
                         std::uint32_t planes = 1);
};

} // namespace Zarn
