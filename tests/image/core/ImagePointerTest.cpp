#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/Image.h>
#include <Zarn/Image/ImagePointer.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <memory>

using namespace Zarn;

namespace
{

// An image that counts its destructions, so that a test sees whether a pointer value deleted it.
class CCountedImage : public CImage
{
public:
    static inline int s_nDestroyed = 0;

    CCountedImage() : CImage(CSize(64, 32, 2), IImage::CType(IImage::etUInt16, 3))
    {
        // Header and pixels: a missed delete shows up as a leak in the sanitizer build.
        Attributes().SetEntry("source file", new CValueString("counted.tif"));
    }
    ~CCountedImage() override { ++s_nDestroyed; }
};

class ImagePointer : public ::testing::Test
{
protected:
    void SetUp() override { CCountedImage::s_nDestroyed = 0; }
};

} // namespace

TEST_F(ImagePointer, OwnedPointerValueDeletesImageWithHeader)
{
    {
        CValueOwnedPointer<CImage> owned(new CCountedImage);
        EXPECT_TRUE(owned.IsOwned());
        EXPECT_EQ(owned.Count(), 1u);
        EXPECT_EQ(CCountedImage::s_nDestroyed, 0);
    }
    EXPECT_EQ(CCountedImage::s_nDestroyed, 1);
}

TEST_F(ImagePointer, PlainPointerValueLeavesImageAlive)
{
    CCountedImage image;
    {
        CValuePointer<CImage> pointer(&image);
        EXPECT_FALSE(pointer.IsOwned());
    }
    EXPECT_EQ(CCountedImage::s_nDestroyed, 0);
    EXPECT_STREQ(image.Attributes().EntryString("source file").c_str(), "counted.tif");
}

TEST_F(ImagePointer, OwnedImageInMapIsDeletedOnceAlthoughSharedByMapClone)
{
    {
        CValueMap map;
        map.SetEntry("image", new CValueOwnedPointer<CImage>(new CCountedImage));
        std::unique_ptr<CValue> pClone(map.Clone(CValue::tfShare));
        EXPECT_EQ(UnwrapPointer<CImage>(pClone->Map()->Entry("image", true)),
                  UnwrapPointer<CImage>(map.Entry("image", true)));
        pClone.reset();
        EXPECT_EQ(CCountedImage::s_nDestroyed, 0);
    }
    EXPECT_EQ(CCountedImage::s_nDestroyed, 1);
}

TEST_F(ImagePointer, CloneWithTransferHandsDeletionToClone)
{
    auto pSource = std::make_unique<CValueOwnedPointer<CImage>>(new CCountedImage);
    std::unique_ptr<CValue> pClone(pSource->Clone(CValue::tfTransfer));
    pSource.reset();
    EXPECT_EQ(CCountedImage::s_nDestroyed, 0);
    pClone.reset();
    EXPECT_EQ(CCountedImage::s_nDestroyed, 1);
}

TEST_F(ImagePointer, UnwrapThroughValuePointerGivesTheImage)
{
    CImage image(CSize(3, 3), IImage::CType(IImage::etFloat32, 1));
    std::unique_ptr<CValue> pValue(new CValuePointer<CImage>(&image));
    EXPECT_EQ(UnwrapPointer<CImage>(pValue.get()), &image);
    const CValue* pConst = pValue.get();
    EXPECT_EQ(UnwrapPointer<CImage>(pConst), &image);

    auto* pOwnedImage = new CImage(CSize(2, 2), IImage::CType(IImage::etUInt8, 4));
    std::unique_ptr<CValue> pOwned(new CValueOwnedPointer<CImage>(pOwnedImage));
    EXPECT_EQ(UnwrapPointer<CImage>(pOwned.get()), pOwnedImage);
    EXPECT_EQ(UnwrapPointer<CImage>(pOwned.get())->Size(), CSize(2, 2));
}

TEST_F(ImagePointer, NullImageValueUnwrapsToNull)
{
    std::unique_ptr<CValue> pValue(new CValuePointer<CImage>(nullptr));
    EXPECT_EQ(UnwrapPointer<CImage>(pValue.get()), nullptr);
}

TEST_F(ImagePointer, MapPointerValueDoesNotUnwrapAsImage)
{
    CValueMap map;
    std::unique_ptr<CValue> pValue(new CValuePointer<CValueMap>(&map));
    EXPECT_THROW(UnwrapPointer<CImage>(pValue.get()), CExBadParam);
    EXPECT_EQ(UnwrapPointer<CValueMap>(pValue.get()), &map);
}

TEST_F(ImagePointer, ImageValueDoesNotUnwrapAsInterfaceOrOtherType)
{
    CImage image(CSize(3, 3), IImage::CType(IImage::etUInt8, 1));
    std::unique_ptr<CValue> pValue(new CValuePointer<CImage>(&image));
    EXPECT_THROW(UnwrapPointer<IImage>(pValue.get()), CExBadParam);
    EXPECT_THROW(UnwrapPointer<CValueMap>(pValue.get()), CExBadParam);
    CValueString text("not a pointer");
    EXPECT_THROW(UnwrapPointer<CImage>(&text), CExBadParam);
}
