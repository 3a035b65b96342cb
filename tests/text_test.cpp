// The text layer: strings, keywords, text files and their warnings.
#include <gtest/gtest.h>
#include <windows.h>
#include <algorithm>
#include <random>
#include <string>
#include <vector>
#include "support/kw.h"
#include "support/fl.h"
#include "support/mem.h"
#include "support/str.h"
#include "support/txf.h"
#include "tests/common/testkit.h"

namespace {

const wchar_t kGuard = 0xbdbd;
const std::string kMark = "\xFF\xFE";

// A writable copy of a text with four guard characters after its terminator.
struct Buf {
    explicit Buf(const std::wstring &t) : chars(t.c_str(), t.c_str() + t.size() + 1) { chars.resize(chars.size() + 4, kGuard); }
    bool intact() const { return std::count(chars.end() - 4, chars.end(), kGuard) == 4; }
    std::vector<wchar_t> chars;
};

std::wstring show(const wchar_t *p) { return p ? p : L"<null>"; }
std::wstring blockText(HGLOBAL block) { return show(MemLock<wchar_t>(block).get()); }

std::string le(const std::wstring &text, bool bigEndian = false)
{
    std::string bytes;
    for (wchar_t ch : text)
        bytes += bigEndian ? std::string{char(ch >> 8), char(ch)} : std::string{char(ch), char(ch >> 8)};
    return bytes;
}

// A file of the given bytes in the test's folder; none for null.
std::wstring put(const wchar_t *name, const char *bytes, size_t size)
{
    static const std::wstring dir = testkit::tempDir(L"text");
    DeleteFileW((dir + L"\\" + name).c_str());
    return (!bytes || testkit::writeFile(dir + L"\\" + name, std::string(bytes, size))) ? dir + L"\\" + name : L"";
}

// "count error found value rest" after parsing with the keywords SOURCE and TARGET.
std::wstring parse(std::wstring text, std::wstring *values = nullptr)
{
    KeywordEntry table[2] = {{L"SOURCE", 0, nullptr}, {L"TARGET", 0, nullptr}};
    int count = -1, error = -99;
    std::wstring rest = show(kwParseKeywords(&text[0], table, 2, &count, &error));
    for (int i = 0; values && i < 2; i++)
        values[i] = blockText(table[i].value);
    std::wstring out = std::to_wstring(count) + L" " + std::to_wstring(error) + L" " + std::to_wstring(table[0].found) +
                       L" " + blockText(table[0].value) + L" " + rest;
    kwFreeValues(table, 2);
    return out;
}

// "encoding lines longest firstLength ": lines holds each call's text, "$" for a line break, "|" for result 1,
// "#" for 0. "UNSOUND": the guard after capacity + 1 broke, a line outgrew the longest, or the calls never ended.
std::wstring readBack(const std::string &bytes, int capacity = -1)
{
    TextReader reader;
    if (!txfOpen(put(L"read.txt", bytes.data(), bytes.size()).c_str(), &reader))
        return L"UNOPENED";
    int longest = txfLongestLine(&reader, 1), firstLength = -1;
    capacity = capacity < 0 ? longest : capacity;
    std::vector<wchar_t> buffer(capacity + 5);
    std::wstring lines;
    for (DWORD calls = 0; calls <= reader.size + 1; ++calls) {
        // A short UTF-16 read leaves its text unterminated; the zeros make it readable here.
        std::fill(buffer.begin(), buffer.begin() + capacity + 1, L'\0');
        std::fill(buffer.begin() + capacity + 1, buffer.end(), kGuard);
        int length = -1, ended = -1, result = txfReadLine(&reader, buffer.data(), capacity, &length, &ended);
        if (std::count(buffer.begin() + capacity + 1, buffer.end(), kGuard) != 4 || (result && length > longest))
            break;
        firstLength = calls == 0 ? length : firstLength;
        lines += std::wstring(buffer.data()) + (ended ? L"$" : L"") + (result ? L"|" : L"#");
        if (!result)
            return std::to_wstring(reader.encoding) + L" " + lines + L" " + std::to_wstring(longest) + L" " +
                   std::to_wstring(firstLength) + L" ";
    }
    return L"UNSOUND";
}

}  // namespace

TEST(TextStrings, TokensAndKeyValuesStayInTheirBuffers)
{
    Buf list(L";; a;;b;"), blanks(L" ;");
    int count = -1;
    wchar_t **tokens = strTokenizeHeap(list.chars.data(), L"; ", &count);  // cut in place
    EXPECT_EQ(L"2 a b", std::to_wstring(count) + L" " + tokens[0] + L" " + tokens[1]);
    free(tokens);
    EXPECT_TRUE(strTokenizeHeap(blanks.chars.data(), L"; ", &count) == nullptr && count == 0);
    const std::wstring alphabet = L"  ==ab;\t\r\n";
    std::mt19937 random(52);
    std::uniform_int_distribution<size_t> lengthOf(0, 24), charOf(0, alphabet.size() - 1);
    for (int round = 0; round < 5000; ++round) {
        std::wstring line;
        for (size_t n = lengthOf(random); n > 0; --n)
            line += alphabet[charOf(random)];
        Buf buffer(line);
        KeyValue pair{buffer.chars.data(), buffer.chars.data()};  // stale pointers must be cleared
        int blank = 7, result = strSplitKeyValue(buffer.chars.data(), L'=', &pair, &blank);
        // The line loses its outer blanks, CRs and LFs, then each side of the first "=" its blanks.
        size_t split = line.find(L'=');
        std::wstring key = line.substr(0, split), value = split == std::wstring::npos ? L"" : line.substr(split + 1);
        key.erase(0, key.find_first_not_of(L" \r\n"));
        key.erase(key.find_last_not_of(L' ') + 1);
        value.erase(value.find_last_not_of(L" \r\n") + 1);
        value.erase(0, value.find_first_not_of(L' '));
        bool splits = split != std::wstring::npos && !key.empty();
        ASSERT_TRUE(buffer.intact() && blank * 10 + result == (splits ? 1 : 0)) << testing::PrintToString(line);
        ASSERT_EQ(show(pair.key) + L"|" + show(pair.value),
                  (splits ? key : L"<null>") + L"|" + (splits && !value.empty() ? value : L"<null>")) << testing::PrintToString(line);
    }
}

TEST(TextKeywords, ValuesFlagsCountsErrorsAndRandomLines)
{
    const struct { const wchar_t *line, *parsed; } rows[] = {
        {L"-source[c:\\a b]", L"1 0 1 c:\\a b <null>"}, {L"-SOURCE[abc", L"1 11 1 <null> <null>"},
        {L"-XYZ -SOURCE[a] file.pdf", L"1 -12 1 a file.pdf"}, {L"file.pdf -SOURCE[a]", L"0 0 0 <null> file.pdf -SOURCE[a]"},
        {L"-SOURCE[a] -sOuRcE[b]", L"2 0 1 b <null>"}, {L"-SOURCE x[y]", L"1 0 1 <null> x[y]"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(row.parsed, parse(row.line)) << testing::PrintToString(std::wstring(row.line));
    // Random lines of the characters that matter never crash it, and every value kept stood between brackets.
    std::mt19937 random(20261121);
    const wchar_t alphabet[] = L"-[] SOURCEtargetx\\:";
    for (int i = 0; i < 4000; i++) {
        std::wstring line, values[2];
        for (int n = random() % 40; n > 0; n--)
            line += alphabet[random() % (sizeof(alphabet) / sizeof(wchar_t) - 1)];
        std::wstring parsed = parse(line, values);
        int count = std::stoi(parsed), error = std::stoi(parsed.substr(parsed.find(L' ')));
        ASSERT_TRUE(count >= 0 && (error == 0 || error == 11 || error == -12)) << parsed;
        for (const std::wstring &v : values)
            ASSERT_TRUE(v == L"<null>" || (v.find(L']') == std::wstring::npos && line.find(L"[" + v + L"]") != std::wstring::npos)) << v;
    }
}

TEST(TextFiles, ReadLinesOfEachEncodingAndSurviveRandomFiles)
{
    // Each row gives the start of readBack's answer; capacity -1 is the longest line, as callers pass it. Without
    // a mark, UTF-16LE is found by sampling the first 32 bytes.
    const struct { std::string bytes; int capacity; const wchar_t *start; } rows[] = {
        {"", -1, L"1 # 0 "}, {"a", -1, L"1 a|# 1 "}, {"ab\r\ncd\ref\n\r\nlonger", -1, L"1 ab$|cd$|ef$|$|longer|# 6 "},
        {"ab\r", -1, L"1 ab$# 2 "}, {"abcdef\r\ngh", 5, L"1 abcde$|gh|# 6 5 "},  // the last line: 0; a short destination keeps its start
        {"\xEF\xBB\xBFh\xC3\xA9llo\r\n\xF0\x9F\x98\x80\n\xE2\x82\xAC", -1, L"4 h\u00e9llo$|\U0001F600$|\u20ac|# "},
        {kMark + le(L"a\rb\r\n\nc\u20ac"), -1, L"2 a$|b$|$|c\u20ac|# 2 "}, {kMark + le(L"ab\r"), -1, L"2 ab\r|# 3 "},  // final CR is text
        {kMark + le(L"ab") + "x", -1, L"2 ab# 2 "},  // odd byte: short read
        {kMark + le(L"abcdef\r\ngh"), 5, L"2 abcde$|gh|# 6 6 "},  // too long: the full length, the capacity kept
        {le(L"ab\r\nc"), -1, L"2 ab$|c|# 2 "}, {le(L"abcdefghijklmnop") + "xy", -1, L"2 abcdefghijklmnop\u7978|# 17 "},
        {std::string("a\0b", 3), -1, L"2 a# 1 "}, {le(L"abcdefghijklmno") + "x\x01", -1, L"1 "},  // 32nd byte is not 0
        {"\xFE\xFF" + le(L"A\r\n\u20acb\rc\r", true), -1, L"3 A$|\u20acb$|c\r|# 2 "}, {"\xFE\xFF" + le(L"abc", true), 0, L"3 |# 3 3 "},
    };
    for (const auto &row : rows)
        EXPECT_EQ(row.start, readBack(row.bytes, row.capacity).substr(0, wcslen(row.start))) << testing::PrintToString(row.bytes);
    // Bytes that steer detection and line breaks, mixed with anything else.
    const unsigned char steering[] = {0, 0, 0, '\r', '\n', 0xFF, 0xFE, 0xEF, 0xBB, 0xBF, 0x81, 0xC3, 'a'};
    std::mt19937 random(20240611);
    for (int file = 0; file < 2000; ++file) {
        std::string bytes(random() % 48, '\0');
        for (char &b : bytes)
            b = static_cast<char>(random() % 3 ? steering[random() % sizeof steering] : random());
        if (file % 4 == 0 && bytes.size() >= 2)
            bytes.replace(0, 2, file % 8 ? "\xFF\xFE" : "\xFE\xFF");
        ASSERT_NE(L'U', readBack(bytes)[0]) << testing::PrintToString(bytes);
    }
}

TEST(TextFiles, WritersPutMarkTextAndCrLfAndRefuseReadOnlyFilesWithAnEmptyWarning)
{
    using Write = int (*)(const wchar_t *);
    const struct { const char *before; Write write; int result; std::string after; } rows[] = {  // before null: no file
        {nullptr, [](const wchar_t *f) { return txfSave(f, L"ab", 1); }, 1, kMark + le(L"ab\r\n")},
        {nullptr, [](const wchar_t *f) { return txfAppend(f, L"\u20ac", 1, 1); }, 1, kMark + le(L"\u20ac\r\n")},
        // Appending rewrites the first two bytes as the mark; no text, no line end.
        {"ZZa", [](const wchar_t *f) { return txfAppend(f, L"b", 1, 0); }, 1, kMark + "a" + le(L"b\r\n")},
        {"ZZa", [](const wchar_t *f) { return txfAppend(f, L"", 1, 0); }, 0, kMark + "a"},
    };
    for (const auto &row : rows) {
        std::wstring file = put(L"out.txt", row.before, row.before ? strlen(row.before) : 0);
        EXPECT_EQ(row.write(file.c_str()), row.result) << row.after;
        EXPECT_EQ(GetFileAttributesW(file.c_str()) == INVALID_FILE_ATTRIBUTES ? "<missing>" : testkit::readFile(file), row.after);
    }
    std::wstring file = put(L"readonly.txt", "keep", 4);
    ASSERT_TRUE(SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY));
    for (Write write : {rows[0].write, rows[1].write}) {  // one creates, one opens
        testkit::BoxWatcher watcher;
        SetLastError(0xdeadbeef);
        EXPECT_EQ(write(file.c_str()), 0);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));  // kept across the box
        auto boxes = watcher.wait();
        EXPECT_TRUE(boxes.size() == 1 && boxes[0].caption == L"  Warning" && boxes[0].text.empty()) << boxes.size();
        EXPECT_EQ(testkit::readFile(file), "keep");
    }
    SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_NORMAL);
}
