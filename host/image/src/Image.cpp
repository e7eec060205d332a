#include <Zarn/Image/Image.h>

#include "PixelBuffer.h"

#include <Zarn/Exception/Exception.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

namespace Zarn
{

namespace
{

constexpr size_t kRowAlignment = 64;

size_t AlignedRowStride(const CSize& size, const IImage::CType& type)
{
    const size_t uRowBytes = size_t(size.X()) * type.PixelSize();
    return (uRowBytes + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
}

// The access object handed out by CImage: a view of its pixel memory.
class CImageAccess : public IImage::IAccess
{
public:
    CImageAccess(std::uint8_t* pData, const CImage& image, bool bWritable)
        : m_pData(pData), m_image(image), m_bWritable(bWritable)
    {
    }

    const void* Data() const override { return m_pData; }
    void* WritableData() override
    {
        if (!m_bWritable)
        {
            throw CExBadParam(ZARN_LOCATION, "The image access was created read-only");
        }
        return m_pData;
    }
    bool IsWritable() const override { return m_bWritable; }
    size_t RowStride() const override { return m_image.RowStride(); }
    size_t PlaneStride() const override { return m_image.PlaneStride(); }
    const CSize& Size() const override { return m_image.Size(); }
    const IImage::CType& Type() const override { return m_image.Type(); }

private:
    std::uint8_t* m_pData;
    const CImage& m_image;
    bool m_bWritable;
};

} // namespace

std::string CSize::ToString() const
{
    std::string strText = std::to_string(m_uX);
    strText += 'x';
    strText += std::to_string(m_uY);
    strText += 'x';
    strText += std::to_string(m_uZ);
    return strText;
}

IImage::CType::CType(EnElementType elementType, unsigned int channels)
    : m_enElementType(elementType), m_uChannels(channels)
{
    if (channels < 1 || channels > 4)
    {
        std::string strMessage = "An image has 1 to 4 channels, not ";
        strMessage += std::to_string(channels);
        throw CExBadParam(ZARN_LOCATION, strMessage.c_str());
    }
}

size_t IImage::CType::ElementSize() const
{
    switch (m_enElementType)
    {
    case etUInt8:
    case etInt8:
        return 1;
    case etUInt16:
    case etInt16:
        return 2;
    case etUInt32:
    case etInt32:
    case etFloat32:
        return 4;
    case etFloat64:
        return 8;
    }
    return 0;
}

bool IImage::CType::IsSigned() const
{
    return m_enElementType == etInt8 || m_enElementType == etInt16 || m_enElementType == etInt32 ||
           IsFloat();
}

std::string IImage::CType::ToString() const
{
    static const char* const kNames[] = {"uint8",  "int8",  "uint16",  "int16",
                                         "uint32", "int32", "float32", "float64"};
    std::string strText = kNames[m_enElementType];
    strText += 'x';
    strText += std::to_string(m_uChannels);
    return strText;
}

IImage::IAccess::~IAccess() = default;

const void* IImage::IAccess::Row(std::uint32_t y, std::uint32_t z) const
{
    return static_cast<const std::uint8_t*>(Data()) + z * PlaneStride() + y * RowStride();
}

void* IImage::IAccess::WritableRow(std::uint32_t y, std::uint32_t z)
{
    return static_cast<std::uint8_t*>(WritableData()) + z * PlaneStride() + y * RowStride();
}

IImage::~IImage() = default;

CImage::CImage() = default;

CImage::CImage(const CSize& size, const CType& type) : m_type(type)
{
    Reset(size, type);
}

CImage::CImage(const CImage& other)
    : m_size(other.m_size), m_type(other.m_type), m_uRowStride(other.m_uRowStride),
      m_mapAttributes(other.m_mapAttributes)
{
    if (other.ByteCount() != 0)
    {
        m_pPixels = std::make_unique<CPixelBuffer>(other.ByteCount(), false);
        std::memcpy(m_pPixels->Data(), other.Data(), other.ByteCount());
    }
}

CImage& CImage::operator=(const CImage& other)
{
    if (this == &other)
    {
        return *this;
    }
    const size_t uBytes = other.ByteCount();
    if (uBytes != 0 && (m_pPixels == nullptr || m_pPixels->Capacity() < uBytes))
    {
        m_pPixels = std::make_unique<CPixelBuffer>(uBytes, false);
    }
    m_size = other.m_size;
    m_type = other.m_type;
    m_uRowStride = other.m_uRowStride;
    if (uBytes != 0)
    {
        std::memcpy(m_pPixels->Data(), other.Data(), uBytes);
    }
    m_mapAttributes = other.m_mapAttributes;
    return *this;
}

// A moved-from image is empty, never a size without pixels.
CImage::CImage(CImage&& other) noexcept
    : m_size(std::exchange(other.m_size, CSize())), m_type(other.m_type),
      m_uRowStride(std::exchange(other.m_uRowStride, 0)), m_pPixels(std::move(other.m_pPixels))
{
    m_mapAttributes.Move(other.m_mapAttributes);
}

CImage& CImage::operator=(CImage&& other) noexcept
{
    if (this != &other)
    {
        m_size = std::exchange(other.m_size, CSize());
        m_type = other.m_type;
        m_uRowStride = std::exchange(other.m_uRowStride, 0);
        m_pPixels = std::move(other.m_pPixels);
        m_mapAttributes.Move(other.m_mapAttributes);
    }
    return *this;
}
CImage::~CImage() = default;

IImage::IAccess* CImage::CreateAccess(bool bWritable)
{
    return new CImageAccess(Data(), *this, bWritable);
}

const IImage::IAccess* CImage::CreateAccess(bool /*bWritable*/) const
{
    // Through a const image only reading is possible, whatever was asked.
    return new CImageAccess(const_cast<std::uint8_t*>(Data()), *this, false);
}

CImage& CImage::Resize(const CSize& size, const CSize& origin)
{
    CImage resized(size, m_type);
    // Pixel (x, y, z) of the new image shows pixel (x, y, z) + origin of the old one.
    const auto overlap = [](std::uint32_t uOld, std::uint32_t uOffset, std::uint32_t uNew)
    { return uOffset >= uOld ? 0u : std::min(uNew, uOld - uOffset); };
    const std::uint32_t uX = overlap(m_size.X(), origin.X(), size.X());
    const std::uint32_t uY = overlap(m_size.Y(), origin.Y(), size.Y());
    const std::uint32_t uZ = overlap(m_size.Z(), origin.Z(), size.Z());
    const size_t uPixel = m_type.PixelSize();
    // An image without pixels has no memory to copy from, even when it has rows.
    const std::uint32_t uCopiedZ = (uX == 0 || ByteCount() == 0) ? 0 : uZ;
    for (std::uint32_t z = 0; z < uCopiedZ; ++z)
    {
        for (std::uint32_t y = 0; y < uY; ++y)
        {
            const std::uint8_t* pSource = Data() + (z + origin.Z()) * PlaneStride() +
                                          (y + origin.Y()) * m_uRowStride + origin.X() * uPixel;
            std::uint8_t* pTarget =
                resized.Data() + z * resized.PlaneStride() + y * resized.m_uRowStride;
            std::memcpy(pTarget, pSource, uX * uPixel);
        }
    }
    m_size = resized.m_size;
    m_uRowStride = resized.m_uRowStride;
    m_pPixels = std::move(resized.m_pPixels);
    return *this;
}

CImage& CImage::Reset(const CSize& size, const CType& type)
{
    m_size = size;
    m_type = type;
    m_uRowStride = AlignedRowStride(size, type);
    const size_t uBytes = ByteCount();
    if (uBytes == 0)
    {
        m_pPixels.reset();
    }
    else if (m_pPixels != nullptr && m_pPixels->Capacity() >= uBytes)
    {
        std::memset(m_pPixels->Data(), 0, uBytes);
    }
    else
    {
        m_pPixels.reset(); // give the old block back before asking for a new one
        m_pPixels = std::make_unique<CPixelBuffer>(uBytes, true);
    }
    return *this;
}

const std::uint8_t* CImage::Data() const
{
    return m_pPixels ? m_pPixels->Data() : nullptr;
}

std::uint8_t* CImage::Data()
{
    return m_pPixels ? m_pPixels->Data() : nullptr;
}

bool CImage::Equal(const CImage& other) const
{
    return EqualPixels(other) && m_mapAttributes.Equal(other.m_mapAttributes);
}

bool CImage::EqualPixels(const CImage& other) const
{
    if (!(m_size == other.m_size) || !(m_type == other.m_type))
    {
        return false;
    }
    const size_t uRowBytes = size_t(m_size.X()) * m_type.PixelSize();
    if (uRowBytes == 0)
    {
        return true; // same size without pixels; there is no memory to compare
    }
    for (std::uint32_t z = 0; z < m_size.Z(); ++z)
    {
        for (std::uint32_t y = 0; y < m_size.Y(); ++y)
        {
            const size_t uOffset = z * PlaneStride() + y * m_uRowStride;
            if (std::memcmp(Data() + uOffset, other.Data() + uOffset, uRowBytes) != 0)
            {
                return false;
            }
        }
    }
    return true;
}

} // namespace Zarn
