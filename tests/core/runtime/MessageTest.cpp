#include "TrackedObject.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Message/Message.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <memory>

using namespace Zarn;

namespace
{

CValueMap* NewDocumentData()
{
    auto* pData = new CValueMap;
    pData->SetEntry(CValue_Key("name"), new CValueString("page.tif"));
    pData->SetEntry(CValue_Key("count"), new CValueLong(3));
    return pData;
}

} // namespace

TEST(Message, KeepsIdPriorityAndLendsItsData)
{
    CValueMap* pData = NewDocumentData();
    const CMessage message(12, pData, CMessage::priHigh);
    EXPECT_EQ(message.Id(), 12);
    EXPECT_EQ(message.Priority(), CMessage::priHigh);
    EXPECT_EQ(message.Data(), pData);
}

TEST(Message, DeletesItsDataUnlessDetached)
{
    const int nAliveBefore = CTrackedObject::Alive();
    {
        CMessage message(1, new CValueOwnedPointer<CTrackedObject>(new CTrackedObject),
                         CMessage::priNormal);
        EXPECT_EQ(CTrackedObject::Alive(), nAliveBefore + 1);
    }
    EXPECT_EQ(CTrackedObject::Alive(), nAliveBefore);

    std::unique_ptr<CValue> pDetached;
    {
        CMessage message(1, new CValueOwnedPointer<CTrackedObject>(new CTrackedObject),
                         CMessage::priNormal);
        pDetached.reset(message.DetachData());
        EXPECT_EQ(message.Data(), nullptr);
    }
    EXPECT_EQ(CTrackedObject::Alive(), nAliveBefore + 1);
    pDetached.reset();
    EXPECT_EQ(CTrackedObject::Alive(), nAliveBefore);
}

TEST(Message, VectorizeThenDevectorizeGivesAnEqualMessage)
{
    const CMessage original(42, NewDocumentData(), CMessage::priLow);
    const std::unique_ptr<CValueVector> pVector(original.Vectorize());
    ASSERT_EQ(pVector->Size(), 3u);
    EXPECT_EQ(pVector->Entry(CValue_Key(0), true)->Long(), 42);
    EXPECT_EQ(pVector->Entry(CValue_Key(1), true)->Long(), CMessage::priLow);
    EXPECT_NE(pVector->Entry(CValue_Key(2), true), original.Data());

    CMessage copy(0, nullptr, CMessage::priNormal);
    copy.Devectorize(pVector.get());
    EXPECT_EQ(copy.Id(), 42);
    EXPECT_EQ(copy.Priority(), CMessage::priLow);
    ASSERT_NE(copy.Data(), nullptr);
    EXPECT_TRUE(copy.Data()->Equal(*original.Data()));
    EXPECT_NE(copy.Data(), pVector->Entry(CValue_Key(2), true));
}

TEST(Message, MessageWithoutDataVectorizesToTwoElementsAndBack)
{
    const CMessage original(5, nullptr, CMessage::priHigh);
    const std::unique_ptr<CValueVector> pVector(original.Vectorize());
    EXPECT_EQ(pVector->Size(), 2u);
    CMessage copy(9, new CValueLong(1), CMessage::priLow);
    copy.Devectorize(pVector.get());
    EXPECT_EQ(copy.Id(), 5);
    EXPECT_EQ(copy.Priority(), CMessage::priHigh);
    EXPECT_EQ(copy.Data(), nullptr);
}

TEST(Message, VectorizeSharesAnOwnedPointeeInsteadOfOwningIt)
{
    const int nAliveBefore = CTrackedObject::Alive();
    auto* pObject = new CTrackedObject;
    {
        const CMessage original(1, new CValueOwnedPointer<CTrackedObject>(pObject),
                                CMessage::priNormal);
        const std::unique_ptr<CValueVector> pVector(original.Vectorize());
        const CValue* pShared = pVector->Entry(CValue_Key(2), true);
        ASSERT_NE(pShared->Pointer(), nullptr);
        EXPECT_FALSE(pShared->Pointer()->IsOwned());
        EXPECT_EQ(pShared->Pointer()->Void(), pObject);
        EXPECT_TRUE(original.Data()->Pointer()->IsOwned());
    }
    EXPECT_EQ(CTrackedObject::Alive(), nAliveBefore);
}

TEST(Message, DevectorizeOfMalformedVectorsThrowsAndKeepsTheMessage)
{
    CMessage message(7, new CValueString("kept"), CMessage::priNormal);
    const auto expectUnchanged = [&message]
    {
        EXPECT_EQ(message.Id(), 7);
        EXPECT_EQ(message.Priority(), CMessage::priNormal);
        ASSERT_NE(message.Data(), nullptr);
        EXPECT_EQ(message.Data()->String(), CString("kept"));
    };

    EXPECT_THROW(message.Devectorize(nullptr), CExBadParam);
    expectUnchanged();

    CValueVector tooShort;
    tooShort.PushBack(new CValueLong(1));
    EXPECT_THROW(message.Devectorize(&tooShort), CExBadParam);
    expectUnchanged();

    CValueVector tooLong;
    for (int nElement = 0; nElement < 4; ++nElement)
    {
        tooLong.PushBack(new CValueLong(1));
    }
    EXPECT_THROW(message.Devectorize(&tooLong), CExBadParam);
    expectUnchanged();

    CValueVector textId;
    textId.PushBack(new CValueString("1"));
    textId.PushBack(new CValueLong(1));
    EXPECT_THROW(message.Devectorize(&textId), CExBadParam);
    expectUnchanged();

    CValueVector badPriority;
    badPriority.PushBack(new CValueLong(1));
    badPriority.PushBack(new CValueLong(9));
    EXPECT_THROW(message.Devectorize(&badPriority), CExBadParam);
    expectUnchanged();

    CValueVector hugeId;
    hugeId.PushBack(new CValueLong(1L << 40));
    hugeId.PushBack(new CValueLong(1));
    EXPECT_THROW(message.Devectorize(&hugeId), CExBadParam);
    expectUnchanged();
}
