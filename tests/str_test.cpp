// Tests of the UTF-16 string helpers: bounded copy, trimming, key-value splitting, tokenising.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "support/mem.h"
#include "support/str.h"

namespace {

const wchar_t GUARD = 0xbdbd;

// A writable copy of a text followed by guard characters, for the in-place operations.
struct Buffer {
    explicit Buffer(const std::wstring &text) : chars(text.begin(), text.end()), end(text.size() + 1)
    {
        chars.push_back(L'\0');
        chars.resize(end + 4, GUARD);
    }
    wchar_t *get() { return chars.data(); }
    bool guardIntact() const
    {
        return std::vector<wchar_t>(chars.begin() + end, chars.end()) == std::vector<wchar_t>(4, GUARD);
    }
    std::vector<wchar_t> chars;
    size_t end;
};

std::wstring text(const wchar_t *p)
{
    return p ? std::wstring(p) : std::wstring(L"<null>");
}

}  // namespace

TEST(StrCopyN, StopsAtTheMaximumAndAlwaysTerminates)
{
    // Callers pass a 256-character field's capacity and give it room for the terminator after it.
    const int capacity = 256;
    const size_t lengths[] = {capacity - 1, capacity, capacity + 1};
    for (size_t length : lengths) {
        SCOPED_TRACE(testing::Message() << "source length " << length);
        size_t copied = std::min(length, static_cast<size_t>(capacity));
        std::wstring source(length, L'x');
        std::vector<wchar_t> destination(capacity + 2);
        memset(destination.data(), 0xbd, destination.size() * sizeof(wchar_t));
        EXPECT_EQ(strCopyN(destination.data(), source.c_str(), capacity), destination.data() + copied);
        EXPECT_EQ(std::wstring(destination.data()), source.substr(0, copied));
        EXPECT_EQ(destination[copied + 1], GUARD);
    }

    wchar_t small[8];
    wmemset(small, GUARD, 8);
    EXPECT_EQ(strCopyN(small, L"abcdef", 3), small + 3);
    EXPECT_EQ(std::wstring(small), L"abc");
    EXPECT_EQ(small[4], GUARD);
    for (int maximum : {0, -1}) {
        SCOPED_TRACE(testing::Message() << "maximum " << maximum);
        wmemset(small, GUARD, 8);
        EXPECT_EQ(strCopyN(small, L"abc", maximum), small);
        EXPECT_EQ(small[0], L'\0');
        EXPECT_EQ(small[1], GUARD);
    }
}

TEST(StrStrip, RemovesOnlyTheGivenCharactersAtTheGivenEnds)
{
    enum Op { TRAIL, BOTH, CRLF, CHAR_CRLF, TRIM_BLANK_TAB, TRIM_VALUE };
    struct Case {
        Op op;
        const wchar_t *input;
        const wchar_t *expected;
    };
    const Case cases[] = {
        {TRAIL, L";a;b;;", L";a;b"},
        {BOTH, L"  a b  ", L"a b"},
        {BOTH, L"   ", L""},
        {CRLF, L"\r\nline\r\n\n\r", L"\r\nline"},
        {CHAR_CRLF, L" \r\n key = v \n\r \r\n", L"key = v"},
        {CHAR_CRLF, L"\t x \t", L"\t x \t"},
        // Only leading characters of the set go: trailing blanks are kept on purpose.
        {TRIM_BLANK_TAB, L"  ab  ", L"ab  "},
        {TRIM_BLANK_TAB, L"\t \t", L""},
        {TRIM_VALUE, L" a;;", L"a"},
        {TRIM_VALUE, L"\t x ;", L"x "},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << "op " << c.op << " input \"" << c.input << "\"");
        Buffer buffer(c.input);
        switch (c.op) {
        case TRAIL: strStripTrailChar(buffer.get(), L';'); break;
        case BOTH: strStripChar(buffer.get(), L' '); break;
        case CRLF: strStripCRLF(buffer.get()); break;
        case CHAR_CRLF: strStripCharCRLF(buffer.get(), L' '); break;
        case TRIM_BLANK_TAB: strTrimSet(buffer.get(), L" \t"); break;
        case TRIM_VALUE: strTrimValue(buffer.get()); break;
        }
        EXPECT_EQ(text(buffer.get()), c.expected);
        EXPECT_TRUE(buffer.guardIntact());
    }
}

TEST(StrSplitKeyValue, Cases)
{
    struct Case {
        const wchar_t *line;
        int result;
        const wchar_t *key;
        const wchar_t *value;
    };
    const Case cases[] = {
        {L"  Printer  =  PS Driver  \r\n", 1, L"Printer", L"PS Driver"},
        {L"Printer =   ", 1, L"Printer", nullptr},
        {L"a=b=c", 1, L"a", L"b=c"},
        {L"   = value", 0, nullptr, nullptr},
        {L"no separator", 0, nullptr, nullptr},
        {L" \r\n", 0, nullptr, nullptr},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << "line \"" << c.line << "\"");
        Buffer buffer(c.line);
        KeyValue pair{buffer.get(), buffer.get()};
        int blank = 7;
        EXPECT_EQ(strSplitKeyValue(buffer.get(), L'=', &pair, &blank), c.result);
        EXPECT_EQ(text(pair.key), text(c.key));
        EXPECT_EQ(text(pair.value), text(c.value));
        EXPECT_EQ(blank, 0);
    }
}

TEST(StrSplitKeyValue, SeededRandomLinesGiveTheExpectedPieces)
{
    const std::wstring alphabet = L"  ==ab;\t\r\n";
    std::mt19937 random(52);
    std::uniform_int_distribution<size_t> lengthOf(0, 24), charOf(0, alphabet.size() - 1);
    for (int round = 0; round < 5000; ++round) {
        std::wstring line;
        for (size_t n = lengthOf(random); n > 0; --n)
            line += alphabet[charOf(random)];
        SCOPED_TRACE(testing::Message() << "round " << round << " line \"" << line << "\"");
        Buffer buffer(line);
        KeyValue pair{};
        int blank = 7;
        int result = strSplitKeyValue(buffer.get(), L'=', &pair, &blank);
        ASSERT_TRUE(buffer.guardIntact());

        // The line loses its outer blanks, CRs and LFs, then each side of the first separator its
        // own blanks; so no value can be blanks only.
        size_t split = line.find(L'=');
        std::wstring key = line.substr(0, split);
        std::wstring value = split == std::wstring::npos ? L"" : line.substr(split + 1);
        key.erase(0, key.find_first_not_of(L" \r\n"));
        key.erase(key.find_last_not_of(L' ') + 1);
        value.erase(value.find_last_not_of(L" \r\n") + 1);
        value.erase(0, value.find_first_not_of(L' '));
        ASSERT_EQ(blank, 0);
        bool splits = split != std::wstring::npos && !key.empty();
        ASSERT_EQ(result, splits ? 1 : 0);
        ASSERT_EQ(text(pair.key), splits ? key : L"<null>");
        ASSERT_EQ(text(pair.value), splits && !value.empty() ? value : L"<null>");
    }
}

TEST(StrTokenize, SkipsRunsOfDelimitersAndCutsTheTextInPlace)
{
    struct Case {
        const wchar_t *input;
        std::vector<std::wstring> tokens;
    };
    const Case cases[] = {
        {L";;a;;b;", {L"a", L"b"}},
        {L"one", {L"one"}},
        {L"*.ps *.eps;*.pdf", {L"*.ps", L"*.eps", L"*.pdf"}},
        {L";; ;", {}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << "input \"" << c.input << "\"");
        Buffer buffer(c.input);
        int count = -1;
        HGLOBAL block = strTokenize(buffer.get(), L"; ", &count);
        ASSERT_EQ(count, static_cast<int>(c.tokens.size()));
        EXPECT_EQ(block == nullptr, c.tokens.empty());
        MemLock<wchar_t *> tokens(block);
        for (int i = 0; i < count; ++i)
            EXPECT_EQ(text(tokens.get()[i]), c.tokens[i]);
        memGFree(block);
    }

    Buffer args(L" gswin32c.exe  -q ");
    int count = 0;
    wchar_t **heap = strTokenizeHeap(args.get(), L" ", &count);
    ASSERT_EQ(count, 2);
    EXPECT_EQ(text(heap[1]), L"-q");
    free(heap);
    Buffer blanks(L"   ");
    EXPECT_EQ(strTokenizeHeap(blanks.get(), L" ", &count), nullptr);
    EXPECT_EQ(count, 0);
}

TEST(StrListHas, MatchesWholeItemsExactly)
{
    struct Case {
        const wchar_t *list;
        const wchar_t *word;
        int expected;
    };
    const Case cases[] = {
        {L"*.txt;*.csv", L"*.csv", 1}, {L"*.ps *.eps", L"*.eps", 1}, {L"*.txt;*.csv", L"*.CSV", 0},
        {L"*.txt;*.csv", L"*.tx", 0},  {L"*.txt", L"", 0},           {nullptr, L"*.txt", 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << "list \"" << text(c.list) << "\" word \"" << c.word << "\"");
        EXPECT_EQ(strListHas(c.list, c.word), c.expected);
    }
}
