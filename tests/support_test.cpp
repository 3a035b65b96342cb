// The support layer's paths: folded, joined within their field, and probed on the disk.
#include <gtest/gtest.h>
#include <windows.h>
#include <string>
#include <vector>
#include "support/path.h"
#include "support/str.h"
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
