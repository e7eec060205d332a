#include <Zarn/Exception/Exception.h>
#include <Zarn/Message/MessageIdFactory.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <barrier>
#include <random>
#include <string>
#include <thread>
#include <vector>

using namespace Zarn;

TEST(MessageIdFactory, IdsStartAtOneAndTheSameNameKeepsItsId)
{
    CMessageIdFactory factory;
    EXPECT_EQ(factory.GetMessageId("ADD_DOCUMENT"), 1);
    EXPECT_EQ(factory.GetMessageId("REMOVE_DOCUMENT"), 2);
    EXPECT_EQ(factory.GetMessageId("ADD_DOCUMENT"), 1);
    EXPECT_EQ(factory.GetMessageId(std::string("REMOVE_DOCUMENT").c_str()), 2);
    EXPECT_EQ(factory.GetMessageId("add_document"), 3);
}

TEST(MessageIdFactory, NameOfAnIdIsTheRegisteredNameAndEmptyForUnknownIds)
{
    CMessageIdFactory factory;
    const int nId = factory.GetMessageId("ACTIVATE_VIEW");
    EXPECT_STREQ(factory.GetMessageName(nId), "ACTIVATE_VIEW");
    EXPECT_STREQ(factory.GetMessageName(0), "");
    EXPECT_STREQ(factory.GetMessageName(-3), "");
    EXPECT_STREQ(factory.GetMessageName(nId + 1), "");
}

TEST(MessageIdFactory, ReturnedNameStaysValidWhileManyMoreNamesAreAdded)
{
    CMessageIdFactory factory;
    const char* szName = factory.GetMessageName(factory.GetMessageId("FIRST"));
    for (int nName = 0; nName < 5000; ++nName)
    {
        factory.GetMessageId(("NAME_" + std::to_string(nName)).c_str());
    }
    EXPECT_STREQ(szName, "FIRST");
    EXPECT_EQ(factory.GetMessageName(1), szName);
}

TEST(MessageIdFactory, NullOrEmptyNameThrowsBadParam)
{
    CMessageIdFactory factory;
    EXPECT_THROW(factory.GetMessageId(nullptr), CExBadParam);
    EXPECT_THROW(factory.GetMessageId(""), CExBadParam);
    EXPECT_EQ(factory.GetMessageId("AFTER_ERRORS"), 1);
}

TEST(MessageIdFactory, ThreadsAskingForTheSameNamesInDifferentOrdersAgreeOnTheIds)
{
    constexpr int kThreads = 8;
    constexpr int kNames = 300;
    CMessageIdFactory factory;
    std::vector<std::vector<int>> lstIdsByThread(kThreads, std::vector<int>(kNames, 0));
    std::barrier start(kThreads);
    std::vector<std::thread> lstThreads;
    for (int nThread = 0; nThread < kThreads; ++nThread)
    {
        lstThreads.emplace_back(
            [&, nThread]
            {
                std::vector<int> lstOrder(kNames);
                for (int nName = 0; nName < kNames; ++nName)
                {
                    lstOrder[static_cast<size_t>(nName)] = nName;
                }
                std::shuffle(lstOrder.begin(), lstOrder.end(),
                             std::mt19937(static_cast<unsigned>(nThread)));
                start.arrive_and_wait();
                for (const int nName : lstOrder)
                {
                    const std::string strName = "MSG_" + std::to_string(nName);
                    lstIdsByThread[static_cast<size_t>(nThread)][static_cast<size_t>(nName)] =
                        factory.GetMessageId(strName.c_str());
                }
            });
    }
    for (std::thread& thread : lstThreads)
    {
        thread.join();
    }
    std::vector<int> lstIds = lstIdsByThread[0];
    for (int nThread = 1; nThread < kThreads; ++nThread)
    {
        EXPECT_EQ(lstIdsByThread[static_cast<size_t>(nThread)], lstIds);
    }
    for (int nName = 0; nName < kNames; ++nName)
    {
        EXPECT_EQ(factory.GetMessageName(lstIds[static_cast<size_t>(nName)]),
                  "MSG_" + std::to_string(nName));
    }
    std::sort(lstIds.begin(), lstIds.end());
    for (int nIndex = 0; nIndex < kNames; ++nIndex)
    {
        EXPECT_EQ(lstIds[static_cast<size_t>(nIndex)], nIndex + 1);
    }
}
