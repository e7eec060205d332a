#pragma once

#include <Zarn/Image/Image.h>

namespace Zarn
{

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
