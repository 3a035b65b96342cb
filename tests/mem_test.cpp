// Tests of the growing global memory blocks, block arrays and text blocks.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/mem.h"
#include "support/txt.h"

namespace {

std::vector<int> ints(HGLOBAL block, int count)
{
    MemLock<int> lock(block);
    return lock ? std::vector<int>(lock.get(), lock.get() + count) : std::vector<int>();
}

std::wstring text(HGLOBAL block)
{
    MemLock<wchar_t> lock(block);
    return lock ? std::wstring(lock.get()) : std::wstring(L"<null>");
}

HGLOBAL makeInts(const std::vector<int> &values)
{
    HGLOBAL block = nullptr;
    for (size_t i = 0; i < values.size(); ++i)
        block = memGArraySet(block, static_cast<int>(i), &values[i], sizeof(int));
    return block;
}

}  // namespace

TEST(MemGAlloc, GrowsKeepingContentsZeroFillsAndNeverShrinks)
{
    HGLOBAL block = memGArraySet(nullptr, 1, "\x5a\x5a\x5a\x5a", 4);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(ints(block, 2), (std::vector<int>{0, 0x5a5a5a5a}));

    block = memGAlloc(block, 70000);
    ASSERT_GE(memGSize(block), 70000u);
    std::vector<int> grown = ints(block, 70000 / sizeof(int));
    EXPECT_EQ(grown[1], 0x5a5a5a5a);
    for (size_t i = 2; i < grown.size(); ++i)
        ASSERT_EQ(grown[i], 0) << "int " << i;

    SIZE_T size = memGSize(block);
    EXPECT_EQ(memGAlloc(block, 3), block);
    EXPECT_EQ(memGSize(block), size);
    EXPECT_EQ(ints(block, 2), (std::vector<int>{0, 0x5a5a5a5a}));

    EXPECT_EQ(memGAlloc(block, 0), nullptr);
    EXPECT_EQ(GlobalFlags(block), static_cast<UINT>(GMEM_INVALID_HANDLE));
    EXPECT_EQ(memGAlloc(nullptr, 0), nullptr);
}

TEST(MemGAlloc, FailedGrowthReturnsNullAndLeavesTheOldBlockUsable)
{
    // Big enough to fail on both architectures without touching real memory.
    const SIZE_T impossible = ~static_cast<SIZE_T>(0) - 0xFFFF;
    EXPECT_EQ(memGAlloc(nullptr, impossible), nullptr);
    HGLOBAL block = txtGNew(L"still here");
    EXPECT_EQ(memGAlloc(block, impossible), nullptr);
    block = txtGAppend(block, L", and growing");
    EXPECT_EQ(text(block), L"still here, and growing");
    memGFree(block);
}

TEST(MemGSetBytes, WritesAtAnOffsetAndCountZeroChangesNothing)
{
    HGLOBAL block = memGSetBytes(nullptr, 5, "xyz", 3);
    ASSERT_GE(memGSize(block), 8u);
    EXPECT_EQ(memGSetBytes(block, 1, "Q", 1), block);
    {
        MemLock<char> lock(block);
        EXPECT_EQ(std::string(lock.get(), 8), std::string("\0Q\0\0\0xyz", 8));
    }
    EXPECT_EQ(memGSetBytes(block, 100, "ignored", 0), block);
    EXPECT_EQ(memGSetBytes(nullptr, 100, "ignored", 0), nullptr);
    memGFree(block);
}

TEST(MemGArrayRemove, ShiftsLaterElementsDownAndZeroesTheLastSlot)
{
    struct Case {
        int index;
        std::vector<int> expected;
    };
    // The fifth element lies beyond the caller's count of four and must not move.
    const Case cases[] = {
        {0, {20, 30, 40, 0, 99}}, {2, {10, 20, 40, 0, 99}}, {3, {10, 20, 30, 0, 99}},
        {-1, {10, 20, 30, 40, 99}}, {4, {10, 20, 30, 40, 99}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << "index " << c.index);
        HGLOBAL block = makeInts({10, 20, 30, 40, 99});
        SIZE_T size = memGSize(block);
        memGArrayRemove(block, 4, c.index, sizeof(int));
        EXPECT_EQ(ints(block, 5), c.expected);
        EXPECT_EQ(memGSize(block), size);
        memGFree(block);
    }
    memGArrayRemove(nullptr, 4, 0, sizeof(int));
}

TEST(MemGArrayPop, TakesFromTheEndAndFreesWhenEmptyIfAsked)
{
    for (int freeWhenEmpty : {0, 1}) {
        SCOPED_TRACE(testing::Message() << "freeWhenEmpty " << freeWhenEmpty);
        HGLOBAL block = makeInts({1, 2});
        int count = 2, out = 0;
        EXPECT_EQ(memGArrayPop(&block, &count, &out, sizeof out, freeWhenEmpty), 1);
        EXPECT_EQ(out, 2);
        EXPECT_EQ(count, 1);
        EXPECT_EQ(ints(block, 2), (std::vector<int>{1, 0}));

        EXPECT_EQ(memGArrayPop(&block, &count, &out, sizeof out, freeWhenEmpty), 1);
        EXPECT_EQ(out, 1);
        EXPECT_EQ(count, 0);
        EXPECT_EQ(block == nullptr, freeWhenEmpty != 0);

        memset(&out, 0xbd, sizeof out);
        EXPECT_EQ(memGArrayPop(&block, &count, &out, sizeof out, freeWhenEmpty), 0);
        EXPECT_EQ(out, 0);
        EXPECT_EQ(count, 0);
        memGFree(block);
    }
}

TEST(TxtG, NewAndAppendBuildOneTerminatedText)
{
    EXPECT_EQ(txtGNew(L""), nullptr);
    EXPECT_EQ(txtGAppend(nullptr, L""), nullptr);

    HGLOBAL block = txtGAppend(nullptr, L"Ghostscript");
    block = txtGAppend(block, L" 9.50\r\n");
    block = txtGAppend(block, L"RedMon");
    EXPECT_EQ(text(block), L"Ghostscript 9.50\r\nRedMon");
    EXPECT_EQ(memGSize(block), sizeof(L"Ghostscript 9.50\r\nRedMon"));
    EXPECT_EQ(txtGAppend(block, L""), block);
    memGFree(block);

    // Stale characters after the terminator of a roomier block must not survive an append.
    block = memGAlloc(nullptr, 64);
    {
        MemLock<wchar_t> lock(block);
        wcscpy(lock.get(), L"ab");
        wmemset(lock.get() + 3, L'#', 20);
    }
    EXPECT_EQ(txtGAppend(block, L"c"), block);
    EXPECT_EQ(text(block), L"abc");
    memGFree(block);
}
