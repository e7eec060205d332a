#pragma once

#include <Zarn/Image/Image.h>

namespace Zarn
{

// Copies and clones of images: Clone hands the new image to the caller, Copy writes into the
// target it is lent. Free of state, any thread, one image at a time; throws std::bad_alloc. No
// messages.
class ZARN_IMAGE_API CImageExtraction
{
public:
    // A deep copy of pixels and header, owned by the caller.
    static CImage* Clone(const CImage& source);
    // Makes the target a copy of the source: its size and type adapt, pixels and header are
    // copied. The target's pixel memory is reused when it is large enough.
    static void Copy(CImage& target, const CImage& source);
};

} // namespace Zarn
