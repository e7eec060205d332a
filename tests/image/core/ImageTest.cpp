#include "ImageTestTools.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/ImageExtraction.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <type_traits>
#include <utility>

using namespace Zarn;
using namespace ZarnTest;

namespace
{

// An odd width, so that rows need padding to reach the 64-byte stride for most types.
const CSize kSize(37, 5, 1);
const CSize kPlanes(13, 6, 3);

bool IsAligned64(const void* pAddress)
{
    return reinterpret_cast<std::uintptr_t>(pAddress) % 64 == 0;
}

// Checks every pixel of the resized image against the old image seen from `origin` on: pixels
// that come from inside the old image are equal to it, all others are zero.
void ExpectShowsOldFromOrigin(const CImage& resized, const CImage& old, const CSize& origin)
{
    const size_t uPixelSize = old.Type().PixelSize();
    std::uint64_t uKeptWrong = 0;
    std::uint64_t uNewNotZero = 0;
    std::uint64_t uKept = 0;
    for (std::uint32_t z = 0; z < resized.Size().Z(); ++z)
    {
        for (std::uint32_t y = 0; y < resized.Size().Y(); ++y)
        {
            for (std::uint32_t x = 0; x < resized.Size().X(); ++x)
            {
                const std::uint64_t uOldX = std::uint64_t(x) + origin.X();
                const std::uint64_t uOldY = std::uint64_t(y) + origin.Y();
                const std::uint64_t uOldZ = std::uint64_t(z) + origin.Z();
                if (uOldX < old.Size().X() && uOldY < old.Size().Y() && uOldZ < old.Size().Z())
                {
                    ++uKept;
                    const std::uint8_t* pOld = PixelAddress(
                        old, std::uint32_t(uOldX), std::uint32_t(uOldY), std::uint32_t(uOldZ));
                    if (std::memcmp(PixelAddress(resized, x, y, z), pOld, uPixelSize) != 0)
                    {
                        ++uKeptWrong;
                    }
                }
                else if (!IsPixelZero(resized, x, y, z))
                {
                    ++uNewNotZero;
                }
            }
        }
    }
    EXPECT_GT(uKept, 0u) << "the test geometry must overlap";
    EXPECT_EQ(uKeptWrong, 0u) << "overlapping pixels not at their shifted place";
    EXPECT_EQ(uNewNotZero, 0u) << "pixels outside the old image are not zero";
}

// Opens an access to the image and checks that it is as writable as asked; null when the image
// gave none.
std::unique_ptr<IImage::IAccess> OpenAccess(CImage& image, bool bWritable)
{
    std::unique_ptr<IImage::IAccess> pAccess(image.CreateAccess(bWritable));
    if (pAccess != nullptr)
    {
        EXPECT_EQ(pAccess->IsWritable(), bWritable);
    }
    return pAccess;
}

// Checks the size and pixel type of an image or of an access to one.
template <class TImage>
void ExpectSizeAndType(const TImage& image, const CSize& size, const IImage::CType& type)
{
    EXPECT_EQ(image.Size(), size);
    EXPECT_EQ(image.Type(), type);
}

// Resizes the image to `size` from `origin`: a copy of the image as it was before.
CImage ResizeKeepingOld(CImage& image, const CSize& size, const CSize& origin)
{
    CImage old(image);
    image.Resize(size, origin);
    return old;
}

class ImageOfEveryType : public ::testing::TestWithParam<TypeCase>
{
protected:
    IImage::CType Type() const
    {
        return IImage::CType(std::get<0>(GetParam()), std::get<1>(GetParam()));
    }
    size_t ExpectedPixelSize() const
    {
        return ElementCase(std::get<0>(GetParam())).m_uSize * std::get<1>(GetParam());
    }
    // An image of the test's type filled with pattern `nSeed`, with one text entry in its
    // header.
    CImage PatternImage(const CSize& size, int nSeed, const char* szKey, const char* szText) const
    {
        CImage image(size, Type());
        FillPattern(image, nSeed);
        image.Attributes().SetEntry(szKey, new CValueString(szText));
        return image;
    }
};

} // namespace

TEST_P(ImageOfEveryType, ConstructionGivesSizeTypeAlignedRowsAndZeroPixels)
{
    const CImage image(kSize, Type());
    ExpectSizeAndType(image, kSize, Type());
    EXPECT_EQ(image.Type().PixelSize(), ExpectedPixelSize());
    EXPECT_EQ(image.RowStride() % 64, 0u);
    EXPECT_GE(image.RowStride(), kSize.X() * ExpectedPixelSize());
    // No more padding than needed to reach the next multiple of 64.
    EXPECT_LT(image.RowStride(), kSize.X() * ExpectedPixelSize() + 64);
    EXPECT_EQ(image.PlaneStride(), image.RowStride() * kSize.Y());
    EXPECT_EQ(image.ByteCount(), image.PlaneStride() * kSize.Z());
    ASSERT_NE(image.Data(), nullptr);
    EXPECT_TRUE(IsAligned64(image.Data()));
    EXPECT_EQ(NonZeroPixels(image), 0u);
    EXPECT_TRUE(image.Attributes().IsEmpty());
}

TEST_P(ImageOfEveryType, WritableAccessWritesPatternThatReadOnlyAccessReadsBack)
{
    CImage image(kPlanes, Type());
    {
        const std::unique_ptr<IImage::IAccess> pAccess = OpenAccess(image, true);
        ASSERT_NE(pAccess, nullptr);
        ExpectSizeAndType(*pAccess, kPlanes, Type());
        EXPECT_EQ(pAccess->RowStride(), image.RowStride());
        EXPECT_EQ(pAccess->PlaneStride(), image.PlaneStride());
        EXPECT_EQ(pAccess->WritableData(), image.Data());
        // Write byte by byte through the access only; the pattern comes from a scratch image.
        CImage pattern(kPlanes, Type());
        FillPattern(pattern, 4);
        const size_t uRowBytes = kPlanes.X() * ExpectedPixelSize();
        for (std::uint32_t z = 0; z < kPlanes.Z(); ++z)
        {
            for (std::uint32_t y = 0; y < kPlanes.Y(); ++y)
            {
                std::memcpy(pAccess->WritableRow(y, z), PixelAddress(pattern, 0, y, z), uRowBytes);
            }
        }
    }
    EXPECT_EQ(PatternMismatches(image, 4), 0u);

    const CImage& constImage = image;
    std::unique_ptr<const IImage::IAccess> pRead(constImage.CreateAccess(false));
    ASSERT_NE(pRead, nullptr);
    EXPECT_FALSE(pRead->IsWritable());
    EXPECT_EQ(pRead->Data(), image.Data());
    for (std::uint32_t z = 0; z < kPlanes.Z(); ++z)
    {
        for (std::uint32_t y = 0; y < kPlanes.Y(); ++y)
        {
            EXPECT_EQ(pRead->Row(y, z),
                      image.Data() + z * image.PlaneStride() + y * image.RowStride());
        }
    }
    // Read the pattern back through the access into a fresh image and compare there.
    CImage readBack(kPlanes, Type());
    for (std::uint32_t z = 0; z < kPlanes.Z(); ++z)
    {
        for (std::uint32_t y = 0; y < kPlanes.Y(); ++y)
        {
            std::memcpy(PixelAddress(readBack, 0, y, z), pRead->Row(y, z),
                        kPlanes.X() * ExpectedPixelSize());
        }
    }
    EXPECT_EQ(PatternMismatches(readBack, 4), 0u);
}

TEST_P(ImageOfEveryType, ReadOnlyAccessRefusesWritableDataAndWritableRow)
{
    CImage image(kSize, Type());
    const std::unique_ptr<IImage::IAccess> pAccess = OpenAccess(image, false);
    ASSERT_NE(pAccess, nullptr);
    EXPECT_THROW(pAccess->WritableData(), CExBadParam);
    EXPECT_THROW(pAccess->WritableRow(1), CExBadParam);
    EXPECT_EQ(pAccess->Row(2), image.Data() + 2 * image.RowStride());
}

TEST_P(ImageOfEveryType, CopyConstructorCopiesDeeply)
{
    CImage original = PatternImage(kSize, 1, "note", "original");

    CImage copy(original);
    EXPECT_TRUE(copy.Equal(original));
    EXPECT_NE(copy.Data(), original.Data());
    EXPECT_TRUE(IsAligned64(copy.Data()));

    FillPattern(copy, 2);
    copy.Attributes().SetEntry("note", new CValueString("copy"));
    EXPECT_EQ(PatternMismatches(original, 1), 0u);
    EXPECT_STREQ(original.Attributes().EntryString("note").c_str(), "original");
    EXPECT_FALSE(copy.Equal(original));
}

TEST_P(ImageOfEveryType, AssignmentCopiesDeeplyOverOtherSizeAndType)
{
    CImage original = PatternImage(kSize, 1, "note", "original");

    CImage target(CSize(3, 2, 2), IImage::CType(IImage::etFloat64, 4));
    target.Attributes().SetEntry("stale", new CValueLong(1));
    target = original;
    ExpectSizeAndType(target, kSize, Type());
    EXPECT_TRUE(target.Equal(original));
    EXPECT_FALSE(target.Attributes().HasEntry("stale"));
    EXPECT_NE(target.Data(), original.Data());

    FillPattern(target, 3);
    target.Attributes().SetEntry("note", new CValueString("target"));
    EXPECT_EQ(PatternMismatches(original, 1), 0u);
    EXPECT_STREQ(original.Attributes().EntryString("note").c_str(), "original");
}

TEST_P(ImageOfEveryType, CloneHasEqualPixelsAndHeaderInOwnMemory)
{
    CImage original = PatternImage(kPlanes, 5, "source file", "a.tif");

    std::unique_ptr<CImage> pClone(CImageExtraction::Clone(original));
    ASSERT_NE(pClone, nullptr);
    EXPECT_TRUE(pClone->Equal(original));
    EXPECT_TRUE(pClone->EqualPixels(original));
    ExpectSizeAndType(*pClone, kPlanes, Type());
    EXPECT_NE(pClone->Data(), original.Data());
    EXPECT_TRUE(IsAligned64(pClone->Data()));

    FillPattern(*pClone, 6);
    pClone->Attributes().SetEntry("source file", new CValueString("b.tif"));
    EXPECT_EQ(PatternMismatches(original, 5), 0u);
    EXPECT_STREQ(original.Attributes().EntryString("source file").c_str(), "a.tif");
}

TEST_P(ImageOfEveryType, CopyMakesTargetOfOtherSizeAndTypeEqualToSource)
{
    CImage source = PatternImage(kSize, 7, "history", "made");

    CImage target(CSize(2, 3, 4), IImage::CType(IImage::etInt8, 1));
    target.Attributes().SetEntry("stale", new CValueLong(1));
    CImageExtraction::Copy(target, source);
    ExpectSizeAndType(target, kSize, Type());
    EXPECT_EQ(target.RowStride() % 64, 0u);
    EXPECT_TRUE(IsAligned64(target.Data()));
    EXPECT_EQ(PatternMismatches(target, 7), 0u);
    EXPECT_TRUE(target.Equal(source));
    EXPECT_FALSE(target.Attributes().HasEntry("stale"));
    EXPECT_NE(target.Data(), source.Data());

    FillPattern(target, 8);
    EXPECT_EQ(PatternMismatches(source, 7), 0u);
}

TEST_P(ImageOfEveryType, CopyIntoTargetOfSameSizeKeepsTargetMemory)
{
    CImage source(kPlanes, Type());
    FillPattern(source, 9);
    source.Attributes().SetEntry("note", new CValueLong(9));

    CImage target(kPlanes, Type());
    FillPattern(target, 10);
    const std::uint8_t* pBefore = target.Data();
    CImageExtraction::Copy(target, source);
    EXPECT_EQ(target.Data(), pBefore);
    EXPECT_TRUE(target.Equal(source));
}

TEST_P(ImageOfEveryType, CopyIntoLargerTargetKeepsTargetMemory)
{
    CImage source(kSize, Type());
    FillPattern(source, 11);

    CImage target(CSize(kSize.X() * 2, kSize.Y() * 3, 2), Type());
    const std::uint8_t* pBefore = target.Data();
    CImageExtraction::Copy(target, source);
    EXPECT_EQ(target.Data(), pBefore);
    EXPECT_EQ(target.Size(), kSize);
    EXPECT_TRUE(target.Equal(source));
}

TEST_P(ImageOfEveryType, ResizeGrowingKeepsOverlapShiftedByOriginAndZeroesNewPixels)
{
    CImage image = PatternImage(CSize(9, 7, 1), 12, "note", "kept");

    const CSize origin(2, 3, 0);
    const CImage old = ResizeKeepingOld(image, CSize(12, 10, 1), origin);
    ExpectSizeAndType(image, CSize(12, 10, 1), Type());
    EXPECT_EQ(image.RowStride() % 64, 0u);
    EXPECT_GE(image.RowStride(), 12 * ExpectedPixelSize());
    EXPECT_TRUE(IsAligned64(image.Data()));
    ExpectShowsOldFromOrigin(image, old, origin);
    EXPECT_STREQ(image.Attributes().EntryString("note").c_str(), "kept");
}

TEST_P(ImageOfEveryType, ResizeShrinkingKeepsPixelsFromOrigin)
{
    CImage image = PatternImage(CSize(9, 7, 1), 13, "note", "kept");

    const CSize origin(3, 2, 0);
    const CImage old = ResizeKeepingOld(image, CSize(5, 4, 1), origin);
    ExpectSizeAndType(image, CSize(5, 4, 1), Type());
    ExpectShowsOldFromOrigin(image, old, origin);
    EXPECT_STREQ(image.Attributes().EntryString("note").c_str(), "kept");
}

TEST_P(ImageOfEveryType, ResizeWithOriginInBothDirectionsAcrossPlanes)
{
    // Wider but lower, and fewer planes from plane 1 on.
    CImage image(kPlanes, Type());
    FillPattern(image, 14);

    const CSize origin(4, 1, 1);
    const CImage old = ResizeKeepingOld(image, CSize(20, 3, 2), origin);
    EXPECT_EQ(image.Size(), CSize(20, 3, 2));
    EXPECT_EQ(image.PlaneStride(), image.RowStride() * 3);
    ExpectShowsOldFromOrigin(image, old, origin);
}

TEST_P(ImageOfEveryType, ResetGivesZeroPixelsOfNewSizeAndTypeAndKeepsHeader)
{
    CImage image = PatternImage(kSize, 15, "note", "kept");

    const IImage::CType other(IImage::etUInt16, 3);
    image.Reset(kPlanes, other);
    ExpectSizeAndType(image, kPlanes, other);
    EXPECT_EQ(image.RowStride() % 64, 0u);
    EXPECT_GE(image.RowStride(), kPlanes.X() * other.PixelSize());
    EXPECT_EQ(NonZeroPixels(image), 0u);
    EXPECT_STREQ(image.Attributes().EntryString("note").c_str(), "kept");

    // Back to the same size and type: the pattern must be gone too.
    FillPattern(image, 16);
    image.Reset(kPlanes, other);
    EXPECT_EQ(NonZeroPixels(image), 0u);
    image.Reset(kSize, Type());
    EXPECT_EQ(image.Type(), Type());
    EXPECT_EQ(NonZeroPixels(image), 0u);
}

TEST_P(ImageOfEveryType, PlanesLieOnePlaneStrideApartAndStayDistinct)
{
    CImage image(kPlanes, Type());
    EXPECT_EQ(image.PlaneStride(), image.RowStride() * kPlanes.Y());
    EXPECT_EQ(image.ByteCount(), 3 * image.PlaneStride());

    // Write a different constant into each plane's first channel, through raw addresses.
    DispatchElement(std::get<0>(GetParam()),
                    [&](auto tag)
                    {
                        using T = decltype(tag);
                        for (std::uint32_t z = 0; z < 3; ++z)
                        {
                            std::uint8_t* pPlane = image.Data() + z * image.PlaneStride();
                            for (std::uint32_t y = 0; y < kPlanes.Y(); ++y)
                            {
                                T* pRow = reinterpret_cast<T*>(pPlane + y * image.RowStride());
                                for (std::uint32_t x = 0; x < kPlanes.X(); ++x)
                                {
                                    pRow[x * Type().Channels()] = static_cast<T>(z + 1);
                                }
                            }
                        }
                        std::unique_ptr<CImage> pClone(CImageExtraction::Clone(image));
                        for (std::uint32_t z = 0; z < 3; ++z)
                        {
                            for (std::uint32_t y = 0; y < kPlanes.Y(); ++y)
                            {
                                for (std::uint32_t x = 0; x < kPlanes.X(); ++x)
                                {
                                    const T* pPixel =
                                        reinterpret_cast<const T*>(PixelAddress(*pClone, x, y, z));
                                    ASSERT_EQ(pPixel[0], static_cast<T>(z + 1))
                                        << x << "," << y << "," << z;
                                }
                            }
                        }
                    });
}

TEST_P(ImageOfEveryType, EqualPixelsIgnoresHeaderButEqualDoesNot)
{
    CImage first(kSize, Type());
    FillPattern(first, 17);
    CImage second(first);
    second.Attributes().SetEntry("note", new CValueLong(1));
    EXPECT_TRUE(second.EqualPixels(first));
    EXPECT_FALSE(second.Equal(first));

    // One channel of one pixel differs.
    PixelAddress(second, 36, 4, 0)[ElementCase(std::get<0>(GetParam())).m_uSize - 1] ^= 0x01;
    EXPECT_FALSE(second.EqualPixels(first));
}

INSTANTIATE_TEST_SUITE_P(AllTypes, ImageOfEveryType, AllTypeCases(), TypeCaseName);

TEST(ImageType, ChannelCountOutsideOneToFourThrows)
{
    EXPECT_THROW(IImage::CType(IImage::etUInt8, 0), CExBadParam);
    EXPECT_THROW(IImage::CType(IImage::etFloat32, 5), CExBadParam);
    EXPECT_THROW(IImage::CType(IImage::etUInt16, 1000), CExBadParam);
    for (unsigned int uChannels = 1; uChannels <= 4; ++uChannels)
    {
        EXPECT_EQ(IImage::CType(IImage::etInt32, uChannels).Channels(), uChannels);
    }
}

TEST(ImageType, DefaultIsOneChannelUInt8)
{
    const IImage::CType type;
    EXPECT_EQ(type.ElementType(), IImage::etUInt8);
    EXPECT_EQ(type.Channels(), 1u);
    EXPECT_EQ(type.PixelSize(), 1u);
}

TEST(ImageType, ElementSizeSignAndFloatMatchEachElementType)
{
    for (const SElementCase& element : kElementCases)
    {
        SCOPED_TRACE(element.m_szName);
        const IImage::CType type(element.m_enType, 3);
        EXPECT_EQ(type.ElementSize(), element.m_uSize);
        EXPECT_EQ(type.PixelSize(), 3 * element.m_uSize);
        DispatchElement(element.m_enType,
                        [&](auto tag)
                        {
                            using T = decltype(tag);
                            EXPECT_EQ(type.ElementSize(), sizeof(T));
                            EXPECT_EQ(type.IsSigned(), std::is_signed_v<T>);
                            EXPECT_EQ(type.IsFloat(), std::is_floating_point_v<T>);
                        });
    }
}

TEST(ImageType, ToStringNamesElementTypeAndChannelsUniquely)
{
    EXPECT_EQ(IImage::CType(IImage::etUInt16, 3).ToString(), "uint16x3");
    EXPECT_EQ(IImage::CType(IImage::etUInt8, 1).ToString(), "uint8x1");
    std::set<std::string> lstNames;
    for (const SElementCase& element : kElementCases)
    {
        for (unsigned int uChannels = 1; uChannels <= 4; ++uChannels)
        {
            const std::string strName = IImage::CType(element.m_enType, uChannels).ToString();
            std::string strSuffix = "x";
            strSuffix += std::to_string(uChannels);
            EXPECT_TRUE(strName.ends_with(strSuffix)) << strName;
            lstNames.insert(strName);
        }
    }
    EXPECT_EQ(lstNames.size(), 32u);
}

TEST(ImageType, TypesCompareByElementTypeAndChannels)
{
    EXPECT_EQ(IImage::CType(IImage::etInt16, 2), IImage::CType(IImage::etInt16, 2));
    EXPECT_NE(IImage::CType(IImage::etInt16, 2), IImage::CType(IImage::etUInt16, 2));
    EXPECT_NE(IImage::CType(IImage::etInt16, 2), IImage::CType(IImage::etInt16, 3));
}

TEST(ImageSize, ToStringAndPixelCount)
{
    EXPECT_EQ(CSize(640, 480).ToString(), "640x480x1");
    EXPECT_EQ(CSize(640, 480).Z(), 1u);
    EXPECT_EQ(CSize(4, 5, 6).PixelCount(), 120u);
    EXPECT_TRUE(CSize(4, 0, 6).IsEmpty());
    EXPECT_TRUE(CSize().IsEmpty());
    // Extents multiply in 64 bits.
    EXPECT_EQ(CSize(100000, 100000, 2).PixelCount(), 20000000000ull);
}

TEST(EmptyImage, DefaultImageIsEmptyAndClonesAndCopiesWithoutError)
{
    const CImage empty;
    EXPECT_TRUE(empty.Size().IsEmpty());
    EXPECT_EQ(empty.ByteCount(), 0u);

    std::unique_ptr<CImage> pClone;
    ASSERT_NO_THROW(pClone.reset(CImageExtraction::Clone(empty)));
    ASSERT_NE(pClone, nullptr);
    EXPECT_TRUE(pClone->Size().IsEmpty());
    EXPECT_TRUE(pClone->Equal(empty));

    CImage target(CSize(4, 4), IImage::CType(IImage::etUInt8, 1));
    ASSERT_NO_THROW(CImageExtraction::Copy(target, empty));
    EXPECT_TRUE(target.Size().IsEmpty());
    EXPECT_TRUE(target.Equal(empty));
}

TEST(EmptyImage, ZeroByZeroImageWithTypeClonesCopiesAndAccessesWithoutError)
{
    CImage empty(CSize(0, 0), IImage::CType(IImage::etFloat32, 2));
    empty.Attributes().SetEntry("note", new CValueString("empty"));
    EXPECT_EQ(empty.Type(), IImage::CType(IImage::etFloat32, 2));
    EXPECT_EQ(empty.ByteCount(), 0u);

    std::unique_ptr<CImage> pClone(CImageExtraction::Clone(empty));
    ASSERT_NE(pClone, nullptr);
    EXPECT_TRUE(pClone->Equal(empty));
    EXPECT_STREQ(pClone->Attributes().EntryString("note").c_str(), "empty");

    CImage target(CSize(8, 8, 2), IImage::CType(IImage::etUInt16, 1));
    CImageExtraction::Copy(target, empty);
    EXPECT_TRUE(target.Equal(empty));

    CImage filled(CSize(3, 3), IImage::CType(IImage::etUInt8, 1));
    FillPattern(filled, 1);
    CImageExtraction::Copy(empty, filled);
    EXPECT_TRUE(empty.Equal(filled));

    CImage copy(target);
    EXPECT_TRUE(copy.Equal(target));
    std::unique_ptr<IImage::IAccess> pAccess(target.CreateAccess(true));
    EXPECT_EQ(pAccess->Size(), CSize(0, 0));
}

TEST(EmptyImage, ResizingEmptyImageGivesZeroPixels)
{
    CImage image(CSize(0, 0), IImage::CType(IImage::etInt16, 1));
    image.Resize(CSize(5, 4), CSize(0, 0, 0));
    EXPECT_EQ(image.Size(), CSize(5, 4));
    EXPECT_EQ(NonZeroPixels(image), 0u);
    image.Resize(CSize(0, 0), CSize(1, 1, 0));
    EXPECT_TRUE(image.Size().IsEmpty());
}

TEST(ImageMemory, NewLargeImageIsZeroEvenWhereAFreedOneWasWritten)
{
    // Large buffers may be reused: a new image must still start at zero.
    const CSize size(4096, 2048);
    const IImage::CType type(IImage::etUInt16, 1);
    {
        CImage dirty(size, type);
        std::memset(dirty.Data(), 0xA5, dirty.ByteCount());
    }
    const CImage fresh(size, type);
    const std::uint8_t* pData = fresh.Data();
    size_t uNonZero = 0;
    for (size_t i = 0; i < fresh.ByteCount(); ++i)
    {
        uNonZero += pData[i] != 0 ? 1 : 0;
    }
    EXPECT_EQ(uNonZero, 0u);
}

TEST(ImageMemory, ResetOfLargeImageToSameSizeZeroesIt)
{
    CImage image(CSize(4096, 2048), IImage::CType(IImage::etUInt16, 1));
    std::memset(image.Data(), 0x5A, image.ByteCount());
    image.Reset(image.Size(), image.Type());
    EXPECT_EQ(NonZeroPixels(image), 0u);
}

TEST(ImageMemory, MoveKeepsPixelMemory)
{
    CImage source(CSize(33, 9), IImage::CType(IImage::etFloat32, 3));
    FillPattern(source, 2);
    source.Attributes().SetEntry("note", new CValueLong(2));
    const std::uint8_t* pPixels = source.Data();

    CImage moved(std::move(source));
    EXPECT_EQ(moved.Data(), pPixels);
    EXPECT_EQ(PatternMismatches(moved, 2), 0u);
    EXPECT_EQ(moved.Attributes().EntryLong("note"), 2);

    CImage assigned;
    assigned = std::move(moved);
    EXPECT_EQ(assigned.Data(), pPixels);
    EXPECT_EQ(assigned.Size(), CSize(33, 9));
    EXPECT_EQ(PatternMismatches(assigned, 2), 0u);
}

TEST(ImageMemory, SelfAssignmentAndSelfCopyKeepPixelsAndHeader)
{
    CImage image(CSize(21, 4, 2), IImage::CType(IImage::etInt32, 2));
    FillPattern(image, 3);
    image.Attributes().SetEntry("note", new CValueLong(3));

    CImage& alias = image;
    image = alias;
    EXPECT_EQ(PatternMismatches(image, 3), 0u);
    EXPECT_EQ(image.Attributes().EntryLong("note"), 3);

    CImageExtraction::Copy(image, alias);
    EXPECT_EQ(image.Size(), CSize(21, 4, 2));
    EXPECT_EQ(PatternMismatches(image, 3), 0u);
    EXPECT_EQ(image.Attributes().EntryLong("note"), 3);
}

TEST(EmptyImage, ZeroWidthImageWithRowsClonesCopiesAndCompares)
{
    // No pixel bytes although there are rows: nothing may touch the missing memory.
    CImage image(CSize(0, 4, 2), IImage::CType(IImage::etUInt8, 3));
    EXPECT_EQ(image.ByteCount(), 0u);
    std::unique_ptr<CImage> pClone(CImageExtraction::Clone(image));
    EXPECT_EQ(pClone->Size(), CSize(0, 4, 2));
    EXPECT_TRUE(pClone->Equal(image));
    CImage target(CSize(5, 5), IImage::CType(IImage::etUInt8, 3));
    CImageExtraction::Copy(target, image);
    EXPECT_EQ(target.Size(), CSize(0, 4, 2));
    EXPECT_TRUE(target.EqualPixels(image));
}

TEST(EmptyImage, ZeroWidthImageWithRowsResizes)
{
    CImage image(CSize(0, 4, 2), IImage::CType(IImage::etUInt8, 3));
    image.Resize(CSize(0, 3, 1), CSize(0, 1, 1));
    EXPECT_EQ(image.Size(), CSize(0, 3, 1));
    image.Resize(CSize(2, 2, 1), CSize(0, 0, 0));
    EXPECT_EQ(image.Size(), CSize(2, 2, 1));
    EXPECT_EQ(NonZeroPixels(image), 0u);
}
