#include <Zarn/Image/ImagePointer.h>

namespace Zarn
{
template class CValuePointer<CImage>;
template class CValueOwnedPointer<CImage>;
} // namespace Zarn
