#include "frame/Messages.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Message/Message.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

// Keeps a copy of every delivered map's id and the pointee of its pointer data.
class CCapture : public Zarn::CPluginBase
{
public:
    void UpdateParameters(const Zarn::CValueMap& message) override
    {
        m_lstIds.push_back(message.EntryLong(Zarn::CValue_Key("id")));
        m_lstHadData.push_back(DocView::HasMessageIdAndData(message));
        const Zarn::CValue* pData = DocView::MessageData(message);
        m_lstPointees.push_back(
            pData != nullptr && pData->Pointer() != nullptr ? pData->Pointer()->Void() : nullptr);
    }

    std::vector<long> m_lstIds;
    std::vector<bool> m_lstHadData;
    std::vector<const void*> m_lstPointees;
};

// A value that notes its own deletion.
class CTrackedValue : public Zarn::CValueMap
{
public:
    explicit CTrackedValue(bool* deleted) : m_pbDeleted(deleted) {}
    ~CTrackedValue() override { *m_pbDeleted = true; }

private:
    bool* m_pbDeleted;
};

Zarn::CValueMap MessageMap(long id, Zarn::CValue* data)
{
    Zarn::CValueMap message;
    message.SetEntry(Zarn::CValue_Key("id"), new Zarn::CValueLong(id));
    if (data != nullptr)
    {
        message.SetEntry(Zarn::CValue_Key("data"), data);
    }
    return message;
}

} // namespace

TEST(Messages, SendMessagePostsTheNamedIdWithTheDataToEverySubscriber)
{
    Zarn::CMessageIdFactory ids;
    Zarn::CMessageThread thread;
    CCapture capture;
    thread.Subscribe(&capture);
    Zarn::CValueMap document;

    DocView::SendMessage(&thread, &ids, "NEW_DOCUMENT",
                         new Zarn::CValuePointer<Zarn::CValueMap>(&document));
    DocView::SendMessage(&thread, &ids, "SHUTDOWN", nullptr);
    EXPECT_EQ(thread.PendingCount(), 2U);
    thread.DeliverUntilIdle();
    thread.Unsubscribe(&capture);

    ASSERT_EQ(capture.m_lstIds.size(), 2U);
    EXPECT_EQ(capture.m_lstIds[0], ids.GetMessageId("NEW_DOCUMENT"));
    EXPECT_EQ(capture.m_lstPointees[0], &document);
    EXPECT_TRUE(capture.m_lstHadData[0]);
    EXPECT_EQ(capture.m_lstIds[1], ids.GetMessageId("SHUTDOWN"));
    EXPECT_FALSE(capture.m_lstHadData[1]);
}

TEST(Messages, SendMessageDeletesTheDataWhenTheNameIsRejected)
{
    Zarn::CMessageIdFactory ids;
    Zarn::CMessageThread thread;
    bool bDeleted = false;
    EXPECT_THROW(DocView::SendMessage(&thread, &ids, "", new CTrackedValue(&bDeleted)),
                 Zarn::CExBadParam);
    EXPECT_TRUE(bDeleted);
    EXPECT_EQ(thread.PendingCount(), 0U);
}

TEST(Messages, IsMessageMatchesOnlyTheNamesCurrentId)
{
    Zarn::CMessageIdFactory ids;
    const int idFocus = ids.GetMessageId("FOCUS_VIEW");
    ids.GetMessageId("REMOVE_VIEW");
    const Zarn::CValueMap message = MessageMap(idFocus, nullptr);
    EXPECT_TRUE(DocView::IsMessage(&ids, message, "FOCUS_VIEW"));
    EXPECT_FALSE(DocView::IsMessage(&ids, message, "REMOVE_VIEW"));
    // A name never asked for before gets a fresh id, which no old message carries.
    EXPECT_FALSE(DocView::IsMessage(&ids, message, "ADD_VIEW"));
}

TEST(Messages, IsMessageComparesIdsAsUnsigned32BitNumbers)
{
    Zarn::CMessageIdFactory ids;
    const int id = ids.GetMessageId("ON_ACTION");
    const long lWide = static_cast<long>(id) + (1L << 32);
    EXPECT_TRUE(DocView::IsMessage(&ids, MessageMap(lWide, nullptr), "ON_ACTION"));
}

TEST(Messages, MapWithoutIdMatchesNoName)
{
    Zarn::CMessageIdFactory ids;
    ids.GetMessageId("ADD_DOCUMENT");
    Zarn::CValueMap message;
    message.SetEntry(Zarn::CValue_Key("data"), new Zarn::CValueString("x"));
    EXPECT_FALSE(DocView::HasMessageId(message));
    EXPECT_FALSE(DocView::HasMessageIdAndData(message));
    EXPECT_FALSE(DocView::IsMessage(&ids, message, "ADD_DOCUMENT"));
}

TEST(Messages, HasMessageIdAndDataNeedsBothEntries)
{
    EXPECT_TRUE(DocView::HasMessageId(MessageMap(3, nullptr)));
    EXPECT_FALSE(DocView::HasMessageIdAndData(MessageMap(3, nullptr)));
    EXPECT_TRUE(DocView::HasMessageIdAndData(MessageMap(3, new Zarn::CValueString("x"))));
}

TEST(Messages, MessagePointerUnwrapsTheCarriedObject)
{
    Zarn::CValueMap document;
    const Zarn::CValueMap message =
        MessageMap(1, new Zarn::CValuePointer<Zarn::CValueMap>(&document));
    EXPECT_EQ(DocView::MessagePointer<Zarn::CValueMap>(message), &document);
    EXPECT_EQ(DocView::MessagePointer<Zarn::CValueMap>(MessageMap(1, nullptr)), nullptr);
    EXPECT_EQ(DocView::MessagePointer<Zarn::CPluginBase>(
                  MessageMap(1, new Zarn::CValuePointer<Zarn::CPluginBase>(nullptr))),
              nullptr);
}

TEST(Messages, MessagePointerOfAnotherTypeThrowsTheTypeMismatch)
{
    Zarn::CValueMap document;
    const Zarn::CValueMap message =
        MessageMap(1, new Zarn::CValuePointer<Zarn::CValueMap>(&document));
    try
    {
        DocView::MessagePointer<Zarn::CPluginBase>(message);
        FAIL() << "no exception";
    }
    catch (const Zarn::CExBadParam& exception)
    {
        EXPECT_NE(std::string(exception.what()).find("does not match actual type"),
                  std::string::npos)
            << exception.what();
    }
    EXPECT_THROW(DocView::MessagePointer<Zarn::CValueMap>(
                     MessageMap(1, new Zarn::CValueString("not a pointer"))),
                 Zarn::CExBadParam);
}
