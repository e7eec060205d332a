#pragma once

// The pointer values for images are instantiated once, in teklib2image; every module uses these.

#include <Zarn/Image/Image.h>
#include <Zarn/Value/ValuePointer.h>

namespace Zarn
{
extern template class ZARN_IMAGE_API CValuePointer<CImage>;
extern template class ZARN_IMAGE_API CValueOwnedPointer<CImage>;
} // namespace Zarn
