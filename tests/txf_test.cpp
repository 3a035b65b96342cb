// Tests of the text files: encoding detection, line reading, key=value lookup and the writer.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cwchar>
#include <random>
#include <string>
#include <vector>

#include "support/fl.h"
#include "support/handles.h"
#include "support/txf.h"
#include "tests/common/testkit.h"

using namespace std::string_literals;

namespace {

const wchar_t kGuard = 0xbdbd;
const std::string kMark = "\xFF\xFE";

std::wstring path(const wchar_t *name)
{
    static const std::wstring dir = testkit::tempDir(L"txf");
    return dir + L"\\" + name;
}

std::wstring put(const wchar_t *name, const std::string &bytes)
{
    std::wstring file = path(name);
    SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_NORMAL);
    ScopedHandle handle(CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    DWORD written = 0;
    WriteFile(handle.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    return file;
}

std::string slurp(const std::wstring &file)
{
    ScopedHandle handle(CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    char bytes[4096];
    DWORD got = 0;
    if (!handle || !ReadFile(handle.get(), bytes, sizeof bytes, &got, nullptr))
        return "<missing>";
    return std::string(bytes, got);
}

std::string units(const std::wstring &text, bool bigEndian)
{
    std::string bytes;
    for (wchar_t ch : text)
        bytes += bigEndian ? std::string{char(ch >> 8), char(ch)} : std::string{char(ch), char(ch >> 8)};
    return bytes;
}
std::string le(const std::wstring &text) { return units(text, false); }
std::string be(const std::wstring &text) { return units(text, true); }

// Each call's text, then "$" when a line break ended it, then "|" for result 1 or "#" for 0.
// `sound`: the guard after capacity + 1 held, no line was longer than the measured longest,
// and a call returned 0 before there had been one call per byte.
struct Transcript {
    int encoding = 0;
    int longest = 0;
    int firstLength = -1;
    std::wstring lines;
    bool sound = false;
};

Transcript readBack(const std::string &bytes, int capacity = -1)
{
    Transcript t;
    TextReader reader;
    if (!txfOpen(put(L"read.txt", bytes).c_str(), &reader))
        return t;
    t.encoding = reader.encoding;
    t.longest = txfLongestLine(&reader, 1);
    capacity = capacity < 0 ? t.longest : capacity;
    std::vector<wchar_t> buffer(capacity + 5);
    bool fits = true;
    for (DWORD calls = 0; calls <= reader.size + 1; ++calls) {
        // A short UTF-16 read leaves its text unterminated; the zeros make it readable here.
        std::fill(buffer.begin(), buffer.begin() + capacity + 1, L'\0');
        std::fill(buffer.begin() + capacity + 1, buffer.end(), kGuard);
        int length = -1, ended = -1;
        int result = txfReadLine(&reader, buffer.data(), capacity, &length, &ended);
        fits &= std::count(buffer.begin() + capacity + 1, buffer.end(), kGuard) == 4 && (!result || length <= t.longest);
        t.firstLength = calls == 0 ? length : t.firstLength;
        t.lines += std::wstring(buffer.data()) + (ended ? L"$" : L"") + (result ? L"|" : L"#");
        if (!result) {
            t.sound = fits;
            break;
        }
    }
    return t;
}

struct Row {
    std::string bytes;
    int encoding;
    const wchar_t *lines;  // null: the text depends on the system code page
    int longest;           // -1: not checked
    int capacity = -1;     // -1: the longest line, as callers pass it
    int firstLength = -1;  // -1: not checked
};

void checkRows(const std::vector<Row> &rows)
{
    for (size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(testing::Message() << "row " << i);
        Transcript t = readBack(rows[i].bytes, rows[i].capacity);
        EXPECT_EQ(t.encoding, rows[i].encoding);
        EXPECT_EQ(t.lines, rows[i].lines ? rows[i].lines : t.lines);
        EXPECT_EQ(t.longest, rows[i].longest < 0 ? t.longest : rows[i].longest);
        EXPECT_EQ(t.firstLength, rows[i].firstLength < 0 ? t.firstLength : rows[i].firstLength);
        EXPECT_TRUE(t.sound);
    }
}

}  // namespace

TEST(TxfRead, AnsiBreaksAtCrLfAndPairsAndEndsOnALoneFinalCr)
{
    checkRows({
        {"", TXF_ANSI, L"#", 0},
        {"a", TXF_ANSI, L"a|#", 1},  // one byte is too little to sample for UTF-16
        {"ab\r\ncd\ref\n\r\nlonger", TXF_ANSI, L"ab$|cd$|ef$|$|longer|#", 6},
        {"ab\r", TXF_ANSI, L"ab$#", 2},  // the last line comes with result 0
        {"x\n\r", TXF_ANSI, L"x$|$#", 1},
        {"\xEF\xBBx", TXF_ANSI, nullptr, -1},
        {"abcdef\r\ngh", TXF_ANSI, L"abcde$|gh|#", 6, 5, 5},  // a short destination keeps its start
    });
}

TEST(TxfRead, Utf8WithMarkConvertsWholeCharacters)
{
    checkRows({
        {"\xEF\xBB\xBF", TXF_UTF8, L"#", 0},
        {"\xEF\xBB\xBF" "h\xC3\xA9llo\r\n\xF0\x9F\x98\x80\n\xE2\x82\xAC", TXF_UTF8, L"h\u00e9llo$|\U0001F600$|\u20ac|#", -1},
        {"\xEF\xBB\xBF" "ab\r", TXF_UTF8, L"ab$#", -1},
        {"\xEF\xBB\xBF" "abcdef\ngh", TXF_UTF8, L"abcde$|gh|#", -1, 5, 5},
    });
}

TEST(TxfRead, Utf16LittleEndianWithMark)
{
    const std::string overlong = kMark + le(L"abcdef\r\ngh");
    checkRows({
        {kMark, TXF_UTF16LE, L"#", 0},
        {kMark + le(L"A"), TXF_UTF16LE, L"A|#", 1},
        {kMark + le(L"a\rb\r\n\nc\u20ac"), TXF_UTF16LE, L"a$|b$|$|c\u20ac|#", 2},
        {kMark + le(L"ab\r"), TXF_UTF16LE, L"ab\r|#", 3},  // a final CR is text
        {kMark + le(L"ab") + "x", TXF_UTF16LE, L"ab#", 2},  // odd byte: short read
        // Too long for the destination: the full length is reported, the capacity kept.
        {overlong, TXF_UTF16LE, L"abcde$|gh|#", 6, 5, 6},
        {overlong, TXF_UTF16LE, L"abcdef$|gh|#", 6, 6, 6},
        {overlong, TXF_UTF16LE, L"abcdef$|gh|#", 6, 7, 6},
    });
}

TEST(TxfRead, Utf16LittleEndianFoundBySamplingTheFirst32Bytes)
{
    checkRows({
        {le(L"ab\r\nc"), TXF_UTF16LE, L"ab$|c|#", 2},
        {le(L"abcdefghijklmnop") + "xy", TXF_UTF16LE, L"abcdefghijklmnop\u7978|#", 17},
        {"a\0b"s, TXF_UTF16LE, L"a#", 1},
        {le(L"abcdefghijklmno") + "x\x01", TXF_ANSI, nullptr, -1},  // 32nd byte is not 0
    });
}

TEST(TxfRead, Utf16BigEndianIsByteSwapped)
{
    checkRows({
        {"\xFE\xFF", TXF_UTF16BE, L"#", 0},
        {"\xFE\xFF" + be(L"A\r\n\u20acb\rc\r"), TXF_UTF16BE, L"A$|\u20acb$|c\r|#", 2},
        {"\xFE\xFF" + be(L"abc"), TXF_UTF16BE, L"|#", 3, 0, 3},
    });
}

TEST(TxfRead, LongestLineRestoresOrRewindsThePosition)
{
    TextReader reader;
    ASSERT_EQ(txfOpen(put(L"rewind.txt", kMark + le(L"one\r\ntwo\r\nthree")).c_str(), &reader), 1);
    wchar_t *line = txfLineBuffer(&reader);
    int length = 0;
    ASSERT_EQ(txfReadLine(&reader, line, 5, &length, nullptr), 1);
    EXPECT_EQ(txfLongestLine(&reader, 0), 5);
    ASSERT_EQ(txfReadLine(&reader, line, 5, &length, nullptr), 1);
    EXPECT_STREQ(line, L"two");
    EXPECT_EQ(txfLongestLine(&reader, 1), 5);
    ASSERT_EQ(txfReadLine(&reader, line, 5, &length, nullptr), 1);
    EXPECT_STREQ(line, L"one");  // back at the start of the text, after the mark

    EXPECT_EQ(txfOpen(path(L"absent.txt").c_str(), &reader), 0);
    EXPECT_EQ(reader.error, static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(reader.lineBuffer, nullptr);
}

TEST(TxfRead, RandomFilesEndAndStayInsideTheirBuffers)
{
    // Bytes that steer detection and line breaks, mixed with anything else.
    const unsigned char steering[] = {0, 0, 0, '\r', '\n', 0xFF, 0xFE, 0xEF, 0xBB, 0xBF, 0x81, 0xC3, 'a'};
    std::mt19937 random(20240611);
    for (int file = 0; file < 2000; ++file) {
        std::string bytes(random() % 48, '\0');
        for (char &b : bytes)
            b = static_cast<char>(random() % 3 ? steering[random() % sizeof steering] : random());
        if (file % 4 == 0 && bytes.size() >= 2)
            bytes.replace(0, 2, file % 8 ? "\xFF\xFE" : "\xFE\xFF");
        ASSERT_TRUE(readBack(bytes).sound) << testing::PrintToString(bytes);
    }
}

TEST(TxfGetValue, FindsTheFirstExactKeyAndSkipsCommentsAndEmptyValues)
{
    const std::wstring content = L";Printer=Commented\r\n\r\nprinter=lower\r\nEmpty=\r\nBlank=   \r\n=NoKey\r\n"
                                 L"  Printer =  HP LaserJet ;;\r\nPrinter=Second\r\n"
                                 L"AVeryLongKeyNameThatGoesOnPast31=long\r\nTail=end";
    struct {
        const wchar_t *key;
        int capacity;
        const wchar_t *value;
    } rows[] = {
        {L"Printer", 256, L"HP LaserJet"}, {L"Printer", 2, L"HP"}, {L"printer", 256, L"lower"},
        {L"PRINTER", 256, L""}, {L";Printer", 256, L""}, {L"Empty", 256, L""}, {L"Blank", 256, L""},
        {L"AVeryLongKeyNameThatGoesOnPast3", 256, L"long"},  // the key is kept to 31 characters
        {L"AVeryLongKeyNameThatGoesOnPast31", 256, L""}, {L"Tail", 256, L"end"}, {L"Missing", 256, L""},
    };
    for (const std::string &bytes : {std::string(content.begin(), content.end()), kMark + le(content)}) {
        std::wstring file = put(L"cust.txt", bytes);
        for (const auto &row : rows) {
            SCOPED_TRACE(testing::Message() << testing::PrintToString(std::wstring(row.key)));
            wchar_t value[258];
            std::fill(std::begin(value), std::end(value), kGuard);
            EXPECT_EQ(txfGetValue(file.c_str(), row.key, value, row.capacity), static_cast<int>(wcslen(row.value)));
            EXPECT_STREQ(value, row.value);
            EXPECT_EQ(value[row.capacity + 1], kGuard);
        }
    }
    wchar_t value[8] = L"stale";
    EXPECT_EQ(txfGetValue(path(L"absent.txt").c_str(), L"Printer", value, 7), 0);
    EXPECT_STREQ(value, L"");
}

TEST(TxfWrite, WritesMarkTextAndCrLfAndAppendRewritesTheFirstTwoBytes)
{
    struct {
        const char *before;  // null: no file
        int (*write)(const wchar_t *file);
        int result;
        std::string after;
    } rows[] = {
        {nullptr, [](const wchar_t *f) { return txfSave(f, L"ab", 1); }, 1, kMark + le(L"ab\r\n")},
        {nullptr, [](const wchar_t *f) { return txfSave(f, L"", 1); }, 1, kMark + le(L"\r\n")},
        {nullptr, [](const wchar_t *f) { return txfSaveText(f, L"ab"); }, 1, kMark + le(L"ab")},
        {nullptr, [](const wchar_t *f) { return txfAppend(f, L"\u20ac", 1, 1); }, 1, kMark + le(L"\u20ac\r\n")},
        {nullptr, [](const wchar_t *f) { return txfAppend(f, L"ab", 1, 0); }, 0, "<missing>"},
        {"ZZa", [](const wchar_t *f) { return txfAppend(f, L"b", 1, 0); }, 1, kMark + "a" + le(L"b\r\n")},
        {"ZZa", [](const wchar_t *f) { return txfAppend(f, L"", 1, 0); }, 0, kMark + "a"},  // no text, no line end
        {"Z", [](const wchar_t *f) { return txfAppend(f, L"c", 0, 0); }, 1, kMark + le(L"c")},
    };
    for (const auto &row : rows) {
        std::wstring file = put(L"out.txt", row.before ? row.before : "");
        if (!row.before)
            DeleteFileW(file.c_str());
        EXPECT_EQ(row.write(file.c_str()), row.result);
        EXPECT_EQ(slurp(file), row.after);
    }
}

TEST(TxfWrite, ReadOnlyFileIsRefusedWithAnEmptyWarning)
{
    std::wstring file = put(L"readonly.txt", "keep");
    ASSERT_TRUE(SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY));
    int (*writers[])(const wchar_t *) = {
        [](const wchar_t *f) { return txfSave(f, L"x", 1); },       // create: kind 24
        [](const wchar_t *f) { return txfAppend(f, L"x", 1, 1); },  // open: kind 21
    };
    for (auto write : writers) {
        testkit::BoxWatcher watcher;
        SetLastError(0xdeadbeef);
        EXPECT_EQ(write(file.c_str()), 0);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));  // kept across the box
        auto boxes = watcher.wait();
        ASSERT_EQ(boxes.size(), 1u);
        EXPECT_EQ(boxes[0].caption, L"  Warning");
        EXPECT_EQ(boxes[0].text, L"");
        EXPECT_EQ(slurp(file), "keep");
    }
    SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_NORMAL);

    testkit::BoxWatcher watcher(1, 300);
    for (int kind : {0, 7, 26})
        EXPECT_EQ(flReportError(nullptr, L"C:\\x.txt", kind), 1);
    EXPECT_TRUE(watcher.wait().empty());  // unknown kinds show nothing
}
