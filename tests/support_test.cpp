// The support layer: paths folded, joined within their field and probed on the disk; text files
// read in each encoding, written, and refused with a warning when they cannot be written.
#include <gtest/gtest.h>
#include <windows.h>
#include <algorithm>
#include <string>
#include <vector>
#include "support/fl.h"
#include "support/path.h"
#include "support/str.h"
#include "support/txf.h"
#include "tests/common/testkit.h"

namespace {

// A caller's field of `size` characters holding `text`, with four guard characters after it.
struct Field {
    explicit Field(const std::wstring &t = L"", size_t n = PATH_BUFFER) : chars(n + 4, 0xbdbd), end(n) { wcscpy(&chars[0], t.c_str()); }
    std::wstring str() const { return chars.data(); }
    bool intact() const { return std::count(chars.begin() + end, chars.end(), 0xbdbd) == 4; }
    std::vector<wchar_t> chars;
    size_t end;
};

std::string show(const std::wstring &s) { return testing::PrintToString(s); }


const wchar_t kGuard = 0xbdbd;
const std::string kMark = "\xFF\xFE";

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

TEST(SupportPaths, NormalizeAndJoinStayInTheFieldAndTheDiskIsProbedExactly)
{
    const struct { const wchar_t *in, *out; } rows[] = {
        {L"  c:\\a\\\\b\\..\\c  ", L"c:\\a\\c"}, {L"c:/a/b/../c//d", L"c:/a/c/d"}, {L"\\\\server\\..\\x", L"\\\\server\\..\\x"},
        {L"HTTPS://host//a/../b", L"HTTPS://host//b"}, {L"c:\\a\\..\\..\\x", L"c:\\x"},  // "//" stays; no climbing past a root
        {L"\\..\\a\\b\\..\\c", L"\\..\\a\\b\\..\\c"},  // a step up at the start stops the folding
    };
    for (const auto &row : rows) {
        Field path(row.in, wcslen(row.in) + 1);
        EXPECT_EQ(row.out, (pathNormalize(&path.chars[0]), path.str())) << show(row.in);
    }
    const struct { const wchar_t *dir, *name, *out; } joins[] = {
        {L"c:\\dir  ", L"sub\\..\\f.txt  ", L"c:\\dir\\f.txt"}, {L"c:\\dir", L"\\\\srv\\a\\..\\b ", L"\\\\srv\\a\\..\\b"},
        {L"", L"f.txt", L"f.txt"}, {L"HTTPS://Example.COM/Docs/Page.HTML", L"..//x.htm", L"https://example.com/docs/x.htm"},
    };
    for (const auto &row : joins) {
        Field out;
        EXPECT_EQ(1, pathJoin(&out.chars[0], row.dir, row.name)) << show(row.dir) << show(row.name);
        EXPECT_EQ(row.out, out.str()) << show(row.dir) << show(row.name);
    }
    // {separator missing, name length, result}: with a directory of 104 characters the parts may add up to 256.
    for (auto row : {std::vector<int>{0, 152, 1}, {0, 153, 0}, {1, 153, 1}, {1, 154, 0}}) {
        std::wstring dir = L"c:\\" + std::wstring(100, L'd') + (row[0] ? L"" : L"\\"), name(row[1], L'n');
        Field out(L"untouched");
        EXPECT_EQ(row[2], pathJoin(&out.chars[0], dir.c_str(), name.c_str())) << row[1];
        EXPECT_EQ(row[2] ? (dir + (row[0] ? L"\\" : L"") + name).substr(0, PATH_CHARS) : L"untouched",
                  out.intact() ? out.str() : L"overrun");
    }
    std::wstring dir = testkit::tempDir(L"path"), file = dir + L"\\present.txt", missing = dir + L"\\gone\\x.txt";
    ASSERT_TRUE(testkit::writeFile(file, "x"));
    for (auto row : {std::make_pair(dir, 10), {dir + L"\\", 10}, {dir + L"\\*", 0}, {file, 1}, {dir + L"\\*.txt", 0}, {missing, 0}})
        EXPECT_EQ(row.second, pathIsDirectory(row.first.c_str()) * 10 + pathFileExists(row.first.c_str())) << show(row.first);
    // A file already gone, or whose folder is, counts as deleted; a folder is no file to delete.
    EXPECT_EQ((std::vector<int>{0, 1, 0, 1, 1}), (std::vector<int>{pathDeleteFile(dir.c_str()), pathDeleteFile(file.c_str()),
                 pathFileExists(file.c_str()), pathDeleteFile(file.c_str()), pathDeleteFile(missing.c_str())}));
}

TEST(TextFiles, ReadLinesOfEachEncodingWithinTheirBuffer)
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
        auto boxes = testkit::boxesDuring([&] {
            SetLastError(0xdeadbeef);
            EXPECT_EQ(write(file.c_str()), 0);
            EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));  // kept across the box
        });
        EXPECT_TRUE(boxes.size() == 1 && boxes[0].caption == L"  Warning" && boxes[0].text.empty()) << boxes.size();
        EXPECT_EQ(testkit::readFile(file), "keep");
    }
    SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_NORMAL);
}
