#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/Image.h>
#include <Zarn/Image/ImageExtraction.h>
#include <Zarn/Image/TekaHeaderTools.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <memory>

using namespace Zarn;

namespace
{

class HeaderTools : public ::testing::Test
{
protected:
    CImage m_image{CSize(4, 3), IImage::CType(IImage::etUInt8, 1)};
};

} // namespace

TEST_F(HeaderTools, AddToHistoryAppendsEntriesInOrder)
{
    IImage& image = m_image;
    CTekaHeaderTools::AddToHistory(image, CValueString("opened"));
    CTekaHeaderTools::AddToHistory(image, CValueString("blurred"));
    CTekaHeaderTools::AddToHistory(image, CValueString("thresholded"));

    const CValue* pHistory = m_image.Attributes().Entry(CTekaHeaderTools::kHistory, false);
    ASSERT_NE(pHistory, nullptr);
    const CValueVector* pVector = pHistory->Vector();
    ASSERT_NE(pVector, nullptr);
    ASSERT_EQ(pVector->Size(), 3u);
    EXPECT_STREQ(pVector->Entry(0, true)->String().c_str(), "opened");
    EXPECT_STREQ(pVector->Entry(1, true)->String().c_str(), "blurred");
    EXPECT_STREQ(pVector->Entry(2, true)->String().c_str(), "thresholded");
}

TEST_F(HeaderTools, HistoryTravelsWithCloneAndStaysIndependent)
{
    CTekaHeaderTools::AddToHistory(m_image, CValueString("opened"));
    std::unique_ptr<CImage> pClone(CImageExtraction::Clone(m_image));
    CTekaHeaderTools::AddToHistory(*pClone, CValueString("cloned"));

    EXPECT_EQ(m_image.Attributes().Entry(CTekaHeaderTools::kHistory, true)->Vector()->Size(), 1u);
    EXPECT_EQ(pClone->Attributes().Entry(CTekaHeaderTools::kHistory, true)->Vector()->Size(), 2u);
}

TEST_F(HeaderTools, GetNumberOfLabelsWithoutEntryIsFalseAndLeavesCountUntouched)
{
    std::uint64_t uCount = 12345;
    EXPECT_FALSE(CTekaHeaderTools::GetNumberOfLabels(m_image, uCount));
    EXPECT_EQ(uCount, 12345u);
}

TEST_F(HeaderTools, NumberOfLabelsIsStoredAsLongAndReadBack)
{
    CTekaHeaderTools::SetNumberOfLabels(m_image, 17);
    EXPECT_EQ(m_image.Attributes().EntryLong(CTekaHeaderTools::kNumberOfLabels), 17);

    std::uint64_t uCount = 0;
    EXPECT_TRUE(CTekaHeaderTools::GetNumberOfLabels(m_image, uCount));
    EXPECT_EQ(uCount, 17u);

    // Setting again replaces the value.
    CTekaHeaderTools::SetNumberOfLabels(m_image, 0);
    uCount = 99;
    EXPECT_TRUE(CTekaHeaderTools::GetNumberOfLabels(m_image, uCount));
    EXPECT_EQ(uCount, 0u);
}

TEST_F(HeaderTools, LargeNumberOfLabelsThatFitsLongRoundTrips)
{
    const std::uint64_t lstCounts[] = {std::uint64_t(1) << 32, (std::uint64_t(1) << 40) + 3,
                                       static_cast<std::uint64_t>(LONG_MAX)};
    for (const std::uint64_t uExpected : lstCounts)
    {
        SCOPED_TRACE(uExpected);
        CTekaHeaderTools::SetNumberOfLabels(m_image, uExpected);
        EXPECT_EQ(m_image.Attributes().EntryLong(CTekaHeaderTools::kNumberOfLabels),
                  static_cast<long>(uExpected));
        std::uint64_t uCount = 0;
        EXPECT_TRUE(CTekaHeaderTools::GetNumberOfLabels(m_image, uCount));
        EXPECT_EQ(uCount, uExpected);
    }
}

TEST_F(HeaderTools, NumberOfLabelsAboveLongIsRefusedAndOldValueStays)
{
    CTekaHeaderTools::SetNumberOfLabels(m_image, 5);
    const std::uint64_t uTooLarge = static_cast<std::uint64_t>(LONG_MAX) + 1;
    EXPECT_THROW(CTekaHeaderTools::SetNumberOfLabels(m_image, uTooLarge), CExBadParam);
    std::uint64_t uCount = 0;
    EXPECT_TRUE(CTekaHeaderTools::GetNumberOfLabels(m_image, uCount));
    EXPECT_EQ(uCount, 5u);
}

TEST_F(HeaderTools, NumberOfLabelsOfAnotherKindIsNotReported)
{
    m_image.Attributes().SetEntry(CTekaHeaderTools::kNumberOfLabels, new CValueString("many"));
    std::uint64_t uCount = 3;
    EXPECT_FALSE(CTekaHeaderTools::GetNumberOfLabels(m_image, uCount));
    EXPECT_EQ(uCount, 3u);
}

TEST_F(HeaderTools, SetAttributesMergesReplacesSameKeysAndKeepsOthers)
{
    m_image.Attributes().SetEntry("kept", new CValueLong(1));
    m_image.Attributes().SetEntry("replaced", new CValueString("old"));

    CValueMap attributes;
    attributes.SetEntry("replaced", new CValueString("new"));
    attributes.SetEntry("added", new CValueDouble(2.5));
    CTekaHeaderTools::SetAttributes(m_image, attributes);

    const CValueMap& header = m_image.Attributes();
    EXPECT_EQ(header.Size(), 3u);
    EXPECT_EQ(header.EntryLong("kept"), 1);
    EXPECT_STREQ(header.EntryString("replaced").c_str(), "new");
    EXPECT_DOUBLE_EQ(header.EntryDouble("added", 0.0), 2.5);

    // The header holds copies: changing the given map afterwards leaves it alone.
    attributes.SetEntry("replaced", new CValueString("changed later"));
    attributes.Entry("added", true)->Double() = 9.0;
    EXPECT_STREQ(header.EntryString("replaced").c_str(), "new");
    EXPECT_DOUBLE_EQ(header.EntryDouble("added", 0.0), 2.5);
    EXPECT_EQ(attributes.Size(), 2u);
}

TEST_F(HeaderTools, SetAttributesWithEmptyMapChangesNothing)
{
    m_image.Attributes().SetEntry("kept", new CValueLong(1));
    CTekaHeaderTools::SetAttributes(m_image, CValueMap());
    EXPECT_EQ(m_image.Attributes().Size(), 1u);
    EXPECT_EQ(m_image.Attributes().EntryLong("kept"), 1);
}
