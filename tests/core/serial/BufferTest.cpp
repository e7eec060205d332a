#include <Zarn/Util/Buffer.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

using namespace Zarn;

namespace
{
std::string Content(const CBuffer& buffer)
{
    return std::string(reinterpret_cast<const char*>(buffer.Data()), buffer.Size());
}

std::string ReadAll(CBuffer& buffer)
{
    std::string strText(buffer.Size(), '\0');
    strText.resize(buffer.Read(strText.data(), strText.size()));
    return strText;
}

// Writes `text` and reads its first `nRead` bytes, so the read position stands after them.
void WriteAndReadPart(CBuffer& buffer, std::string_view text, size_t nRead)
{
    buffer.Write(text.data(), text.size());
    std::vector<char> part(nRead);
    buffer.Read(part.data(), nRead);
}
} // namespace

TEST(Buffer, ConstructionZeroesInitialContentAndReserves)
{
    CBuffer buffer(5, 64, 16);
    EXPECT_EQ(buffer.Size(), 5u);
    EXPECT_EQ(buffer.Capacity(), 64u);
    EXPECT_EQ(buffer.ReadPosition(), 0u);
    EXPECT_EQ(Content(buffer), std::string(5, '\0'));

    CBuffer small(10, 4, 0);
    EXPECT_EQ(small.Capacity(), 10u);

    CBuffer empty;
    EXPECT_EQ(empty.Size(), 0u);
    EXPECT_EQ(empty.Capacity(), 0u);
    EXPECT_EQ(empty.Data(), nullptr);
}

TEST(Buffer, WriteAppendsAndGrows)
{
    CBuffer buffer(0, 4, 8);
    EXPECT_EQ(buffer.Write("abc", 3), 3u);
    EXPECT_EQ(buffer.Capacity(), 4u);
    EXPECT_EQ(buffer.Write("defgh", 5), 5u);
    EXPECT_EQ(Content(buffer), "abcdefgh");
    EXPECT_GE(buffer.Capacity(), 4u + 8u); // grown by at least the step
    EXPECT_EQ(buffer.Write(nullptr, 0), 0u);
    EXPECT_EQ(buffer.Size(), 8u);
}

TEST(Buffer, WriteAfterInitialContent)
{
    CBuffer buffer(2, 0, 0);
    buffer.Write("xy", 2);
    EXPECT_EQ(Content(buffer), std::string("\0\0xy", 4));
}

TEST(Buffer, ManySmallWritesKeepEveryByte)
{
    CBuffer buffer(0, 0, 1);
    std::string strExpected;
    for (int i = 0; i < 10000; ++i)
    {
        const char cByte = static_cast<char>('a' + i % 26);
        buffer.Write(&cByte, 1);
        strExpected += cByte;
    }
    EXPECT_EQ(Content(buffer), strExpected);
    EXPECT_LT(buffer.Capacity(), 4u * strExpected.size());
}

TEST(Buffer, WriteFromItsOwnContentWhileGrowing)
{
    CBuffer buffer(0, 4, 0);
    buffer.Write("abcd", 4);
    buffer.Write(buffer.Data(), buffer.Size());
    EXPECT_EQ(Content(buffer), "abcdabcd");
}

TEST(Buffer, ReadAdvancesAndStopsAtTheEnd)
{
    CBuffer buffer;
    buffer.Write("hello world", 11);
    char szPart[6] = {};
    EXPECT_EQ(buffer.Read(szPart, 5), 5u);
    EXPECT_STREQ(szPart, "hello");
    EXPECT_EQ(buffer.ReadPosition(), 5u);
    char szRest[16] = {};
    EXPECT_EQ(buffer.Read(szRest, sizeof(szRest)), 6u);
    EXPECT_STREQ(szRest, " world");
    EXPECT_EQ(buffer.Read(szRest, sizeof(szRest)), 0u);
    EXPECT_EQ(buffer.Size(), 11u);
}

TEST(Buffer, FlushDropsWhatWasRead)
{
    CBuffer buffer;
    WriteAndReadPart(buffer, "0123456789", 4);
    buffer.Flush();
    EXPECT_EQ(buffer.ReadPosition(), 0u);
    EXPECT_EQ(Content(buffer), "456789");
    buffer.Write("ab", 2);
    EXPECT_EQ(ReadAll(buffer), "456789ab");
    buffer.Flush();
    EXPECT_EQ(buffer.Size(), 0u);
}

TEST(Buffer, AssignReplacesContentAndRewinds)
{
    CBuffer buffer;
    WriteAndReadPart(buffer, "old content", 1);
    buffer.Assign("new", 3);
    EXPECT_EQ(Content(buffer), "new");
    EXPECT_EQ(buffer.ReadPosition(), 0u);
    buffer.Assign("a much longer content than before", 33);
    EXPECT_EQ(Content(buffer), "a much longer content than before");
    buffer.Assign(buffer.Data() + 2, 4);
    EXPECT_EQ(Content(buffer), "much");
    buffer.Assign(nullptr, 0);
    EXPECT_EQ(buffer.Size(), 0u);
}

TEST(Buffer, CopyTakesContentAndReadPosition)
{
    CBuffer source;
    WriteAndReadPart(source, "payload", 3);

    CBuffer copy(1, 0, 0);
    copy.Copy(source);
    EXPECT_EQ(Content(copy), "payload");
    EXPECT_EQ(copy.ReadPosition(), 3u);
    EXPECT_NE(copy.Data(), source.Data());
    EXPECT_EQ(ReadAll(copy), "load");

    source.Assign("changed", 7);
    EXPECT_EQ(Content(copy), "payload");
    copy.Copy(copy);
    EXPECT_EQ(Content(copy), "payload");
}

TEST(Buffer, ReleaseHandsOverTheStorage)
{
    CBuffer buffer;
    buffer.Write("take me", 7);
    const unsigned char* pBefore = buffer.Data();
    std::unique_ptr<unsigned char[]> pStorage = buffer.Release();
    EXPECT_EQ(pStorage.get(), pBefore);
    EXPECT_EQ(std::memcmp(pStorage.get(), "take me", 7), 0);
    EXPECT_EQ(buffer.Data(), nullptr);
    EXPECT_EQ(buffer.Size(), 0u);
    EXPECT_EQ(buffer.Capacity(), 0u);
    buffer.Write("again", 5);
    EXPECT_EQ(Content(buffer), "again");
}

TEST(Buffer, FreeGivesTheMemoryBack)
{
    CBuffer buffer(100, 1000, 0);
    buffer.Free();
    EXPECT_EQ(buffer.Data(), nullptr);
    EXPECT_EQ(buffer.Size(), 0u);
    EXPECT_EQ(buffer.Capacity(), 0u);
    EXPECT_EQ(buffer.ReadPosition(), 0u);
    buffer.Write("x", 1);
    EXPECT_EQ(Content(buffer), "x");
}

TEST(Buffer, ResizeGivesZeroedContent)
{
    CBuffer buffer;
    buffer.Write("abcdef", 6);
    buffer.Resize(4);
    EXPECT_EQ(Content(buffer), std::string(4, '\0'));
    buffer.Resize(100);
    EXPECT_EQ(buffer.Size(), 100u);
    EXPECT_GE(buffer.Capacity(), 100u);
    EXPECT_EQ(Content(buffer), std::string(100, '\0'));
    buffer.Resize(0);
    EXPECT_EQ(buffer.Size(), 0u);
}

TEST(Buffer, ResizePreservingKeepsThePrefix)
{
    CBuffer buffer(0, 2, 0);
    WriteAndReadPart(buffer, "abcdef", 5);
    buffer.ResizePreserving(3);
    EXPECT_EQ(Content(buffer), "abc");
    EXPECT_EQ(buffer.ReadPosition(), 3u);
    buffer.ResizePreserving(50);
    EXPECT_EQ(Content(buffer), std::string("abc") + std::string(47, '\0'));
    EXPECT_GE(buffer.Capacity(), 50u);
}

TEST(Buffer, MoveLeavesTheSourceEmpty)
{
    CBuffer source;
    source.Write("moved", 5);
    CBuffer target(std::move(source));
    EXPECT_EQ(Content(target), "moved");
    EXPECT_EQ(source.Size(), 0u);
    EXPECT_EQ(source.Data(), nullptr);
}

TEST(Buffer, ImpossibleSizeIsAnAllocationFailure)
{
    CBuffer buffer;
    buffer.Write("x", 1);
    EXPECT_THROW(buffer.Write("y", static_cast<size_t>(-1)), std::bad_alloc);
    EXPECT_EQ(Content(buffer), "x");
    EXPECT_THROW(buffer.ResizePreserving(CBuffer::kMaxSize + 1), std::bad_alloc);
    EXPECT_EQ(Content(buffer), "x");
    EXPECT_THROW(buffer.Assign("z", CBuffer::kMaxSize + 1), std::bad_alloc);
    EXPECT_EQ(Content(buffer), "x");
}

TEST(Buffer, FailedResizeLeavesTheBufferEmpty)
{
    CBuffer buffer;
    buffer.Write("abc", 3);
    EXPECT_THROW(buffer.Resize(CBuffer::kMaxSize + 1), std::bad_alloc);
    EXPECT_EQ(buffer.Size(), 0u);
    EXPECT_EQ(buffer.Capacity(), 0u);
    EXPECT_EQ(buffer.Data(), nullptr);
}
