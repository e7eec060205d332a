#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

using namespace Zarn;

namespace
{

// An object that counts its own destructions, so tests can see who deleted what and how often.
struct STracked
{
    static inline int s_nDestroyed = 0;
    int m_nPayload = 7;
    ~STracked() { ++s_nDestroyed; }
};

struct SBase
{
    virtual ~SBase() = default;
};
struct SDerived : SBase
{
};

class ValuePointer : public ::testing::Test
{
protected:
    void SetUp() override { STracked::s_nDestroyed = 0; }

    // Ends `pOwner` and tells how many tracked objects have been destroyed by then.
    template <class TOwner> static int DestroyedAfterReset(TOwner& pOwner)
    {
        pOwner.reset();
        return STracked::s_nDestroyed;
    }
};

template <class TCall> CException CaughtException(TCall call)
{
    try
    {
        call();
    }
    catch (const CException& e)
    {
        return e;
    }
    ADD_FAILURE() << "no CException thrown";
    return CException("", "", "");
}

} // namespace

TEST_F(ValuePointer, UnwrappingNullValueYieldsNullWithoutError)
{
    const CValue* pNull = nullptr;
    EXPECT_EQ(UnwrapPointer<CValueMap>(pNull), nullptr);
    EXPECT_EQ(UnwrapPointer<CValueMap>(static_cast<CValue*>(nullptr)), nullptr);
}

TEST_F(ValuePointer, UnwrappingStringValueThrowsTypeMismatch)
{
    CValueString text("abc");
    const CException e = CaughtException([&] { UnwrapPointer<CValueMap>(&text); });
    EXPECT_STREQ(e.what(),
                 "Requested type ('Zarn::CValueMap') does not match actual type ('void')!");
    EXPECT_STREQ(e.function(), "Zarn::UnwrapPointer");
    EXPECT_EQ(e.Entry("Line")->Long(), 676);
    EXPECT_STREQ(e.Entry("File")->String().c_str(), "Value/ValuePointer");
}

TEST_F(ValuePointer, UnwrappingMapValueThrowsTypeMismatch)
{
    CValueMap map;
    EXPECT_THROW(UnwrapPointer<CValueMap>(&map), CExBadParam);
}

TEST_F(ValuePointer, UnwrappingOtherElementTypeNamesBothTypes)
{
    int nNumber = 3;
    CValuePointer<int> pointer(&nNumber);
    const CException e = CaughtException([&] { UnwrapPointer<CValueMap>(&pointer); });
    EXPECT_STREQ(e.what(),
                 "Requested type ('Zarn::CValueMap') does not match actual type ('int')!");
}

TEST_F(ValuePointer, DerivedPointerIsNotConvertedToBase)
{
    SDerived derived;
    CValuePointer<SDerived> pointer(&derived);
    EXPECT_THROW(UnwrapPointer<SBase>(&pointer), CExBadParam);
    EXPECT_EQ(UnwrapPointer<SDerived>(&pointer), &derived);
}

TEST_F(ValuePointer, OwnedPointerUnwrapsLikePlainPointer)
{
    auto* pMap = new CValueMap;
    CValueOwnedPointer<CValueMap> owned(pMap);
    EXPECT_EQ(UnwrapPointer<CValueMap>(&owned), pMap);
    const CValue& constOwned = owned;
    EXPECT_EQ(UnwrapPointer<CValueMap>(&constOwned), pMap);
}

TEST_F(ValuePointer, NullPointerHasCountZeroAndTwoNullsAreEqual)
{
    CValuePointer<STracked> first(nullptr);
    CValuePointer<STracked> second(nullptr, 5);
    EXPECT_EQ(first.Count(), 0u);
    EXPECT_EQ(second.Count(), 0u);
    EXPECT_TRUE(first.Equal(second));
    EXPECT_TRUE(first.EqualData(second));
    EXPECT_FALSE(first.IsValid());
}

TEST_F(ValuePointer, FieldsDescribeTheElement)
{
    STracked tracked;
    CValuePointer<STracked> pointer(&tracked);
    EXPECT_EQ(pointer.GenericType(), 4);
    EXPECT_EQ(pointer.Count(), 1u);
    EXPECT_EQ(pointer.ElementSize(), sizeof(STracked));
    EXPECT_FALSE(pointer.IsOwned());
    EXPECT_TRUE(pointer.ElementType() == typeid(STracked));
    EXPECT_TRUE(pointer.Type() == typeid(CValuePointer<STracked>));
    EXPECT_EQ(pointer.Pointer(), &pointer);
    EXPECT_EQ(pointer.Void(), &tracked);
    EXPECT_EQ(pointer.VoidPointer(), &tracked);
}

TEST_F(ValuePointer, NonOwningValueNeverDeletesPointee)
{
    STracked tracked;
    {
        CValuePointer<STracked> pointer(&tracked);
    }
    EXPECT_EQ(STracked::s_nDestroyed, 0);
}

TEST_F(ValuePointer, OwningValueDeletesSingleObject)
{
    {
        CValueOwnedPointer<STracked> owned(new STracked);
        EXPECT_TRUE(owned.IsOwned());
    }
    EXPECT_EQ(STracked::s_nDestroyed, 1);
}

TEST_F(ValuePointer, OwningValueDeletesArrayWithArrayDelete)
{
    {
        CValueOwnedPointer<STracked> owned(new STracked[3], 3);
    }
    EXPECT_EQ(STracked::s_nDestroyed, 3);
}

TEST_F(ValuePointer, CloneWithTransferMovesOwnershipToClone)
{
    auto pSource = std::make_unique<CValueOwnedPointer<STracked>>(new STracked);
    std::unique_ptr<CValue> pClone(pSource->Clone(CValue::tfTransfer));
    EXPECT_FALSE(pSource->IsOwned());
    EXPECT_TRUE(pClone->Pointer()->IsOwned());
    EXPECT_EQ(DestroyedAfterReset(pSource), 0);
    EXPECT_EQ(DestroyedAfterReset(pClone), 1);
}

TEST_F(ValuePointer, CloneWithShareGivesNonOwningCloneAndSourceStillDeletes)
{
    auto pSource = std::make_unique<CValueOwnedPointer<STracked>>(new STracked);
    std::unique_ptr<CValue> pClone(pSource->Clone(CValue::tfShare));
    EXPECT_TRUE(pSource->IsOwned());
    EXPECT_FALSE(pClone->Pointer()->IsOwned());
    EXPECT_TRUE(pClone->Equal(*pSource));
    EXPECT_EQ(DestroyedAfterReset(pClone), 0);
    EXPECT_EQ(DestroyedAfterReset(pSource), 1);
}

TEST_F(ValuePointer, CloneOfNonOwningValueIsNonOwningForEveryStrategy)
{
    STracked tracked;
    CValuePointer<STracked> pointer(&tracked);
    for (auto strategy : {CValue::tfNone, CValue::tfShare, CValue::tfTransfer})
    {
        std::unique_ptr<CValue> pClone(pointer.Clone(strategy));
        EXPECT_FALSE(pClone->Pointer()->IsOwned());
        EXPECT_EQ(UnwrapPointer<STracked>(pClone.get()), &tracked);
    }
    EXPECT_EQ(STracked::s_nDestroyed, 0);
}

TEST_F(ValuePointer, CloneOfOwningValueWithoutStrategyThrowsAndKeepsOwnership)
{
    CValueOwnedPointer<STracked> owned(new STracked);
    const CException e = CaughtException([&] { delete owned.Clone(CValue::tfNone); });
    EXPECT_STREQ(e.what(),
                 "Owned pointers can only be cloned with a valid ownership transfer strategy!");
    EXPECT_STREQ(e.function(), "Zarn::CValuePointer<(anonymous namespace)::STracked>::Clone");
    EXPECT_EQ(e.Entry("Line")->Long(), 438);
    EXPECT_TRUE(owned.IsOwned());
}

TEST_F(ValuePointer, CloneOfOwningNullValueWithoutStrategySucceeds)
{
    CValueOwnedPointer<STracked> owned(nullptr);
    std::unique_ptr<CValue> pClone(owned.Clone(CValue::tfNone));
    EXPECT_EQ(pClone->Pointer()->Count(), 0u);
}

TEST_F(ValuePointer, CloneNonOwnedCopiesMetaAndNeverOwns)
{
    CValueOwnedPointer<STracked> owned(new STracked);
    owned.Meta().SetEntry(CValue_Key("origin"), new CValueString("test"));
    std::unique_ptr<CValuePointerBase> pClone(owned.CloneNonOwned());
    EXPECT_FALSE(pClone->IsOwned());
    EXPECT_EQ(pClone->Meta().EntryString("origin"), CString("test"));
    EXPECT_TRUE(pClone->Equal(owned));
}

TEST_F(ValuePointer, CopyWithTransferMovesOwnershipFromSource)
{
    CValueOwnedPointer<STracked> source(new STracked);
    auto pTarget = std::make_unique<CValuePointer<STracked>>(nullptr);
    pTarget->Copy(source, CValue::tfTransfer, true);
    EXPECT_FALSE(source.IsOwned());
    EXPECT_TRUE(pTarget->IsOwned());
    EXPECT_EQ(pTarget->Count(), 1u);
    EXPECT_EQ(DestroyedAfterReset(pTarget), 1);
}

TEST_F(ValuePointer, CopyOfOwnedSourceWithoutStrategyThrowsAndLeavesTargetUnchanged)
{
    CValueOwnedPointer<STracked> source(new STracked);
    STracked kept;
    CValuePointer<STracked> target(&kept);
    const CException e = CaughtException([&] { target.Copy(source, CValue::tfNone, true); });
    EXPECT_STREQ(e.what(),
                 "Owned pointers can only be copied with a valid ownership transfer strategy!");
    EXPECT_EQ(e.Entry("Line")->Long(), 472);
    EXPECT_EQ(target.Get(), &kept);
    EXPECT_TRUE(source.IsOwned());
}

TEST_F(ValuePointer, CopyFromOtherElementTypeThrowsBadTypeAndLeavesTargetUnchanged)
{
    int nNumber = 1;
    CValuePointer<int> source(&nNumber);
    STracked kept;
    CValuePointer<STracked> target(&kept);
    const CException e = CaughtException([&] { target.Copy(source, CValue::tfShare, true); });
    EXPECT_NE(dynamic_cast<const CException*>(&e), nullptr);
    EXPECT_STREQ(e.function(), "Zarn::CValuePointer<(anonymous namespace)::STracked>::Copy");
    EXPECT_EQ(e.Entry("Line")->Long(), 467);
    EXPECT_EQ(target.Get(), &kept);
    EXPECT_THROW(target.Copy(source, CValue::tfShare, true), CExBadType);
}

TEST_F(ValuePointer, CopyFromOtherKindThrowsBadType)
{
    STracked kept;
    CValuePointer<STracked> target(&kept);
    CValueLong number(3);
    EXPECT_THROW(target.Copy(number, CValue::tfShare, true), CExBadType);
    EXPECT_EQ(target.Get(), &kept);
}

// An owner that copies a non-owned source deletes its old pointee and stays marked as owner.
TEST_F(ValuePointer, OwningTargetCopyingNonOwnedSourceStaysOwner)
{
    auto* pNew = new STracked;
    CValuePointer<STracked> source(pNew);
    auto pTarget = std::make_unique<CValueOwnedPointer<STracked>>(new STracked);
    pTarget->Copy(source, CValue::tfShare, true);
    EXPECT_EQ(STracked::s_nDestroyed, 1); // the old pointee
    EXPECT_TRUE(pTarget->IsOwned());
    EXPECT_EQ(pTarget->Get(), pNew);
    EXPECT_EQ(DestroyedAfterReset(pTarget), 2); // the new pointee, deleted by its new owner
}

TEST_F(ValuePointer, NonOwningTargetCopyingOwnedSourceWithShareStaysNonOwning)
{
    CValueOwnedPointer<STracked> source(new STracked);
    CValuePointer<STracked> target(nullptr);
    target.Copy(source, CValue::tfShare, true);
    EXPECT_FALSE(target.IsOwned());
    EXPECT_TRUE(source.IsOwned());
    EXPECT_TRUE(target.Equal(source));
}

TEST_F(ValuePointer, CopyFromItselfKeepsThePointee)
{
    CValueOwnedPointer<STracked> owned(new STracked);
    owned.Copy(owned, CValue::tfTransfer, true);
    EXPECT_EQ(STracked::s_nDestroyed, 0);
    EXPECT_TRUE(owned.IsOwned());
    EXPECT_EQ(owned.Get()->m_nPayload, 7);
}

TEST_F(ValuePointer, EqualDataComparesBytesWhileEqualComparesAddresses)
{
    STracked first;
    STracked second;
    CValuePointer<STracked> a(&first);
    CValuePointer<STracked> b(&second);
    EXPECT_TRUE(a.EqualData(b));
    EXPECT_FALSE(a.Equal(b));
    second.m_nPayload = 8;
    EXPECT_FALSE(a.EqualData(b));
}

TEST_F(ValuePointer, EqualRequiresSameCount)
{
    STracked objects[2];
    CValuePointer<STracked> one(objects, 1);
    CValuePointer<STracked> two(objects, 2);
    EXPECT_FALSE(one.Equal(two));
    EXPECT_FALSE(one.EqualData(two));
}

TEST_F(ValuePointer, MapCloneWithTransferMovesOwnedChildren)
{
    CValueMap map;
    map.SetEntry(CValue_Key("object"), new CValueOwnedPointer<STracked>(new STracked));
    EXPECT_THROW(delete map.Clone(CValue::tfNone), CExBadParam);
    std::unique_ptr<CValue> pClone(map.Clone(CValue::tfTransfer));
    EXPECT_FALSE(map.Entry("object", true)->Pointer()->IsOwned());
    EXPECT_TRUE(pClone->Map()->Entry("object", true)->Pointer()->IsOwned());
    map.Clear();
    EXPECT_EQ(STracked::s_nDestroyed, 0);
    EXPECT_EQ(DestroyedAfterReset(pClone), 1);
}

TEST_F(ValuePointer, MapCopyConstructorSharesOwnedChildren)
{
    CValueMap map;
    map.SetEntry(CValue_Key("object"), new CValueOwnedPointer<STracked>(new STracked));
    {
        CValueMap copy(map);
        EXPECT_FALSE(copy.Entry("object", true)->Pointer()->IsOwned());
    }
    EXPECT_EQ(STracked::s_nDestroyed, 0);
}

TEST_F(ValuePointer, MoveTakesPointerAndOwnership)
{
    CValueOwnedPointer<STracked> source(new STracked);
    auto pTarget = std::make_unique<CValuePointer<STracked>>(nullptr);
    pTarget->Move(source);
    EXPECT_FALSE(source.IsOwned());
    EXPECT_TRUE(pTarget->IsOwned());
    EXPECT_EQ(DestroyedAfterReset(pTarget), 1);
}
