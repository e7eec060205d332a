#include <Zarn/Image/ImageExtraction.h>

namespace Zarn
{

CImage* CImageExtraction::Clone(const CImage& source)
{
    return new CImage(source);
}

void CImageExtraction::Copy(CImage& target, const CImage& source)
{
    target = source;
}

} // namespace Zarn
