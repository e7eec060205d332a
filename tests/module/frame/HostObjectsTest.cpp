#include "HostRegistryFixture.h"

#include "frame/HostObjects.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

using CHostObjectsTest = CHostRegistryFixture;

TEST_F(CHostObjectsTest, EachHelperLendsTheObjectStoredUnderItsKey)
{
    EXPECT_EQ(DocView::BorrowCommThread(), &m_commThread);
    EXPECT_EQ(DocView::BorrowMessageIdFactory(), &m_messageIdFactory);
    EXPECT_EQ(DocView::BorrowLogger(), &m_logger);
}

TEST_F(CHostObjectsTest, MissingEntryThrowsTheRegistrysHostException)
{
    Zarn::CRegistry::Obj().RemoveEntry(kLoggerKey);
    EXPECT_THROW(DocView::BorrowLogger(), Zarn::CExBadParam);
    EXPECT_EQ(DocView::BorrowCommThread(), &m_commThread);
}

TEST_F(CHostObjectsTest, EntryOfAnotherTypeThrowsInsteadOfConverting)
{
    // A logger where the message id factory belongs.
    Zarn::CRegistry::Obj().SetEntry(kMessageIdFactoryKey,
                                    new Zarn::CValuePointer<Zarn::CLogger>(&m_logger));
    EXPECT_THROW(DocView::BorrowMessageIdFactory(), Zarn::CExBadParam);
    Zarn::CRegistry::Obj().SetEntry(kCommThreadKey, new Zarn::CValueString("not a thread"));
    EXPECT_THROW(DocView::BorrowCommThread(), Zarn::CExBadParam);
}

TEST_F(CHostObjectsTest, NullPointerEntryIsLentAsNull)
{
    Zarn::CRegistry::Obj().SetEntry(kCommThreadKey,
                                    new Zarn::CValuePointer<Zarn::CMessageThread>(nullptr));
    EXPECT_EQ(DocView::BorrowCommThread(), nullptr);
}
