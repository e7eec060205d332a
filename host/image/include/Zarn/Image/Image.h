#pragma once

#include <Zarn/Image/ImageExport.h>
#include <Zarn/Value/ValueContainer.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace Zarn
{

// The extent of an image in pixels along x, y and z (planes); z is 1 for a plain picture.
class ZARN_IMAGE_API CSize
{
public:
    CSize() = default;
    CSize(std::uint32_t x, std::uint32_t y, std::uint32_t z = 1) : m_uX(x), m_uY(y), m_uZ(z) {}

    std::uint32_t X() const { return m_uX; }
    std::uint32_t Y() const { return m_uY; }
    std::uint32_t Z() const { return m_uZ; }
    // Number of pixels; 0 when any extent is 0.
    std::uint64_t PixelCount() const { return std::uint64_t(m_uX) * m_uY * m_uZ; }
    bool IsEmpty() const { return PixelCount() == 0; }
    std::string ToString() const; // "640x480x1"

    friend bool operator==(const CSize&, const CSize&) = default;

private:
    std::uint32_t m_uX = 0;
    std::uint32_t m_uY = 0;
    std::uint32_t m_uZ = 0;
};

// A dense image: pixels of one element type with 1 to 4 interleaved channels, and a header of
// attributes (processing history, number of labels, source file, anything a tool adds).
class ZARN_IMAGE_API IImage
{
public:
    enum EnElementType
    {
        etUInt8,
        etInt8,
        etUInt16,
        etInt16,
        etUInt32,
        etInt32,
        etFloat32,
        etFloat64,
    };

    // Element type and channel count of the pixels.
    class ZARN_IMAGE_API CType
    {
    public:
        // Throws CExBadParam for a channel count outside 1..4.
        explicit CType(EnElementType elementType = etUInt8, unsigned int channels = 1);

        EnElementType ElementType() const { return m_enElementType; }
        unsigned int Channels() const { return m_uChannels; }
        // Bytes of one channel value, and of one whole pixel.
        size_t ElementSize() const;
        size_t PixelSize() const { return ElementSize() * m_uChannels; }
        bool IsFloat() const
        {
            return m_enElementType == etFloat32 || m_enElementType == etFloat64;
        }
        bool IsSigned() const;
        std::string ToString() const; // "uint16x3"

        friend bool operator==(const CType&, const CType&) = default;

    private:
        EnElementType m_enElementType;
        unsigned int m_uChannels;
    };

    // Raw access to the pixels. Row y of plane z starts at Data() + z * PlaneStride() + y *
    // RowStride(); rows are 64-byte aligned. The access is valid until the image is resized,
    // reallocated or destroyed; the caller owns the access object, not the pixels.
    class ZARN_IMAGE_API IAccess
    {
    public:
        virtual ~IAccess();
        virtual const void* Data() const = 0;
        // Throws CExBadParam for an access created read-only.
        virtual void* WritableData() = 0;
        virtual bool IsWritable() const = 0;
        virtual size_t RowStride() const = 0;
        virtual size_t PlaneStride() const = 0;
        virtual const CSize& Size() const = 0;
        virtual const CType& Type() const = 0;

        const void* Row(std::uint32_t y, std::uint32_t z = 0) const;
        void* WritableRow(std::uint32_t y, std::uint32_t z = 0);
    };

    virtual ~IImage();
    virtual const CType& Type() const = 0;
    virtual const CSize& Size() const = 0;
    // A new access object, owned by the caller.
    virtual IAccess* CreateAccess(bool bWritable) = 0;
    virtual const IAccess* CreateAccess(bool bWritable) const = 0;
    // The header; its entries travel with the image through clones, copies and files.
    virtual CValueMap& Attributes() = 0;
    virtual const CValueMap& Attributes() const = 0;
};

class CPixelBuffer;

// The host's image. New pixels are zero. Copying copies pixels and header.
//
// Contract: owns its pixels and header; views (OpenCV matrices, Data) lend them while the image
// keeps size and type. One thread at a time per image. Throws CExBadParam for sizes and types it
// cannot hold, std::bad_alloc for memory. No messages.
class ZARN_IMAGE_API CImage : public IImage
{
public:
    CImage();
    CImage(const CSize& size, const CType& type);
    CImage(const CImage& other);
    CImage& operator=(const CImage& other);
    CImage(CImage&& other) noexcept;
    CImage& operator=(CImage&& other) noexcept;
    ~CImage() override;

    const CType& Type() const override { return m_type; }
    const CSize& Size() const override { return m_size; }
    IAccess* CreateAccess(bool bWritable) override;
    const IAccess* CreateAccess(bool bWritable) const override;
    CValueMap& Attributes() override { return m_mapAttributes; }
    const CValueMap& Attributes() const override { return m_mapAttributes; }

    // Changes the extent. The new image shows the old one from `origin` on: pixels inside both
    // keep their values, the others are zero. The type and the header stay.
    CImage& Resize(const CSize& size, const CSize& origin);
    // Makes the image `size` pixels of `type`, all zero; the header stays.
    CImage& Reset(const CSize& size, const CType& type);

    // The pixels directly, for the library's own tools and tests.
    const std::uint8_t* Data() const;
    std::uint8_t* Data();
    size_t RowStride() const { return m_uRowStride; }
    size_t PlaneStride() const { return m_uRowStride * m_size.Y(); }
    // Bytes of pixel data including row padding.
    size_t ByteCount() const { return PlaneStride() * m_size.Z(); }

    // Same size, type, pixels (row padding ignored) and header.
    bool Equal(const CImage& other) const;
    bool EqualPixels(const CImage& other) const;

private:
    CSize m_size;
    CType m_type;
    size_t m_uRowStride = 0;
    std::unique_ptr<CPixelBuffer> m_pPixels;
    CValueMap m_mapAttributes;
};

} // namespace Zarn
