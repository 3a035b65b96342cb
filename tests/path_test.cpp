// Paths and web addresses: normalising, joining within the field, extensions, filter patterns.
#include <gtest/gtest.h>
#include <windows.h>
#include <random>
#include <string>
#include <vector>
#include "support/path.h"
#include "support/str.h"
#include "tests/common/testkit.h"

namespace {

const wchar_t GUARD = 0xbdbd;

// A caller's buffer of `size` characters, holding `text`, with guard characters after it.
struct Field {
    explicit Field(const std::wstring &text = L"", size_t size = PATH_BUFFER) : chars(size + 4, GUARD), end(size)
    {
        wcscpy(chars.data(), text.c_str());
    }
    wchar_t *get() { return chars.data(); }
    std::wstring str() const { return chars.data(); }
    bool guardIntact() const
    {
        return std::vector<wchar_t>(chars.begin() + end, chars.end()) == std::vector<wchar_t>(4, GUARD);
    }
    std::vector<wchar_t> chars;
    size_t end;
};

std::wstring normalized(const std::wstring &path)
{
    Field field(path, path.size() + 1);
    pathNormalize(field.get());
    EXPECT_TRUE(field.guardIntact());
    return field.str();
}

std::string show(const wchar_t *s) { return testing::PrintToString(std::wstring(s ? s : L"<null>")); }

}  // namespace

TEST(PathNormalize, FoldsStepsUpAndDoubledSeparators)
{
    const struct { const wchar_t *in, *out; } rows[] = {
        {L"  c:\\a\\b\\..\\c  ", L"c:\\a\\c"},
        {L"c:\\a\\b\\..\\..\\c", L"c:\\c"},
        {L"c:\\a\\\\b\\\\\\c", L"c:\\a\\b\\c"},
        {L"c:/a/b/../c//d", L"c:/a/c/d"},
        {L"\\\\server\\share\\dir\\..\\f.txt", L"\\\\server\\share\\f.txt"},  // the leading pair stays
        {L"\\\\server\\\\share", L"\\\\server\\share"},
        {L"\\\\server\\..\\x", L"\\\\server\\..\\x"},  // no climbing out of the server name
        {L"http://host//a//b", L"http://host//a//b"},  // addresses keep doubled slashes...
        {L"HTTPS://host/a/../b", L"HTTPS://host/b"},   // ...but still fold a step up
        {L"c:\\..\\..\\x", L"c:\\x"},                   // climbing past a drive root ends there
        {L"c:\\a\\..\\..\\x", L"c:\\x"},
        {L"\\..\\a\\b\\..\\c", L"\\..\\a\\b\\..\\c"},  // a step up at the start stops the folding
        {L"a\\..\\..\\b", L"a\\..\\..\\b"},            // one with no folder before it stays
        {L"   ", L""},
    };
    for (const auto &row : rows)
        EXPECT_EQ(row.out, normalized(row.in)) << show(row.in);
}

// Random texts of the characters the steps look for: nothing breaks, grows or overruns.
TEST(PathNormalize, SurvivesRandomInput)
{
    const wchar_t alphabet[] = L"\\\\//..:: ahtpc";
    std::mt19937 random(20240611);
    std::uniform_int_distribution<size_t> length(0, 40), pick(0, wcslen(alphabet) - 1);
    for (int i = 0; i < 4000; ++i) {
        std::wstring input;
        for (size_t n = length(random); n > 0; --n)
            input += alphabet[pick(random)];
        ASSERT_LE(normalized(input).size(), input.size()) << show(input.c_str());
        Field joined;
        pathJoin(joined.get(), input.c_str(), input.c_str());
        ASSERT_TRUE(joined.guardIntact()) << show(input.c_str());
    }
}

TEST(PathJoin, ComposesTrimsAndLetsAnAbsoluteNameWin)
{
    const struct { const wchar_t *dir, *name, *out; } rows[] = {
        {L"c:\\dir\\  ", L"sub\\..\\f.txt  ", L"c:\\dir\\f.txt"},
        {L"c:\\dir", L"d:\\a\\..\\b ", L"d:\\a\\..\\b"},  // taken as it is, not normalised
        {L"c:\\dir\\", L"\\\\srv\\share", L"\\\\srv\\share"},
        {L"c:\\dir", L"\\x\\y", L"c:\\dir\\x\\y"},
        {L"", L"f.txt", L"f.txt"},
        {L"https://Example.com/A/", L"B.htm", L"https://example.com/a/b.htm"},
    };
    for (const auto &row : rows) {
        Field out;
        EXPECT_EQ(1, pathJoin(out.get(), row.dir, row.name)) << show(row.dir) << show(row.name);
        EXPECT_EQ(row.out, out.str()) << show(row.dir) << show(row.name);
    }
    Field same(L"c:\\dir");
    EXPECT_EQ(1, pathJoin(same.get(), same.get(), L"x"));
    EXPECT_EQ(L"c:\\dir\\x", same.str());
}

TEST(PathJoin, RefusesWhenTheLengthsReach257)
{
    // With `separator` the directory lacks its backslash, so the join gains one character.
    const struct { size_t sum; bool separator; int result; } rows[] = {
        {255, false, 1}, {256, false, 1}, {257, false, 0}, {256, true, 1}, {257, true, 0},
    };
    for (const auto &row : rows) {
        std::wstring dir = L"c:\\" + std::wstring(100, L'd') + (row.separator ? L"" : L"\\");
        std::wstring name(row.sum - dir.size(), L'n');
        Field out(L"untouched");
        EXPECT_EQ(row.result, pathJoin(out.get(), dir.c_str(), name.c_str())) << row.sum;
        std::wstring whole = dir + (row.separator ? L"\\" : L"") + name;
        EXPECT_EQ(row.result ? whole.substr(0, PATH_CHARS) : L"untouched", out.str()) << row.sum;
        EXPECT_TRUE(out.guardIntact()) << row.sum;
    }
}

TEST(PathParts, FileNameDirectoryAndDiskTests)
{
    std::wstring dir = testkit::tempDir(L"path"), file = dir + L"\\present.txt", missing = dir + L"\\gone\\x.txt";
    CloseHandle(CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    const struct { std::wstring in, fileName, directory; int dirOnly; } rows[] = {
        {L"c:\\a.d\\b.txt", L"b.txt", L"c:\\a.d\\", 0}, {L"c:b.txt", L"b.txt", L"c:", 0},
        {L"b.txt", L"b.txt", L"", 0},                   {L"c:\\a\\", L"", L"c:\\a\\", 1},
        {dir, L"tlpdf-tests-path", dir, 1},             // an existing folder stays whole
        {file, L"present.txt", dir + L"\\", 0},
    };
    for (const auto &row : rows) {
        Field name(row.in), directory(row.in);
        EXPECT_EQ(row.fileName, pathFileName(name.get())) << show(row.in.c_str());
        EXPECT_EQ(row.directory, pathDirectory(directory.get())) << show(row.in.c_str());
        EXPECT_EQ(row.dirOnly, pathIsDirOnly(row.in.c_str())) << show(row.in.c_str());
    }
    const struct { std::wstring path; int directory, file; } disk[] = {
        {dir, 1, 0},  {dir + L"\\", 1, 0},         {dir + L"\\*", 0, 0},
        {file, 0, 1}, {dir + L"\\*.txt", 0, 0}, {missing, 0, 0},
    };
    for (const auto &row : disk) {
        EXPECT_EQ(row.directory, pathIsDirectory(row.path.c_str())) << show(row.path.c_str());
        EXPECT_EQ(row.file, pathFileExists(row.path.c_str())) << show(row.path.c_str());
    }
    EXPECT_EQ(0, pathDeleteFile(dir.c_str()));
    EXPECT_EQ(1, pathDeleteFile(file.c_str()));
    EXPECT_EQ(0, pathFileExists(file.c_str()));
    EXPECT_EQ(1, pathDeleteFile(file.c_str()));     // already gone
    EXPECT_EQ(1, pathDeleteFile(missing.c_str()));  // so is its folder
}

TEST(PathExtensions, SetExtAndPatterns)
{
    const struct { const wchar_t *in, *ext, *out; } setRows[] = {
        {L"name.txt", L"pdf", L"name.pdf"}, {L"name", L".pdf", L"name.pdf"}, {L"a.b.txt", L"", L"a.b"},
        {L"name", L"", L"name"},            {L"c:\\my.dir\\f", L"txt", L"c:\\my.dir\\f.txt"},
    };
    for (const auto &row : setRows) {
        Field path(row.in);
        EXPECT_EQ(path.get(), pathSetExt(path.get(), row.ext)) << show(row.in) << show(row.ext);
        EXPECT_EQ(row.out, path.str()) << show(row.in) << show(row.ext);
    }
    EXPECT_EQ(nullptr, pathSetExt(Field().get(), L"txt"));
    // ".txt" after 252 characters fills the field exactly; one more does not fit.
    for (size_t length : {251u, 252u, 253u}) {
        std::wstring base(length, L'x');
        Field path(base);
        bool fits = length <= 252;
        EXPECT_EQ(fits ? path.get() : nullptr, pathSetExt(path.get(), L"txt")) << length;
        EXPECT_EQ(fits ? base + L".txt" : base, path.str()) << length;
        EXPECT_TRUE(path.guardIntact()) << length;
    }

    const struct { const wchar_t *path, *pattern; } extRows[] = {
        {L"report.jpeg", L"*.jpe"}, {L"a.txt", L"*.txt"}, {L"x.c", L"*.c"}, {L"c:\\dir.d\\noext", L"*"},
    };
    for (const auto &row : extRows) {
        Field pattern(L"", PATH_PATTERN_BUFFER);
        EXPECT_EQ(row.pattern, std::wstring(pathExtPattern(pattern.get(), row.path))) << show(row.path);
        EXPECT_TRUE(pattern.guardIntact());
    }
    // Names of 254 to 256 characters: the pattern is cut to the field.
    for (size_t length : {254u, 255u, 256u}) {
        Field pattern;
        fileExtPattern(pattern.get(), std::wstring(length, L'e').c_str());
        EXPECT_EQ(length + 2 > 256 ? 256 : length + 2, pattern.str().size());
        EXPECT_TRUE(pattern.guardIntact()) << length;
    }

    const wchar_t filter[] = L"Text file (*.txt)\0*.txt\0Documents\0*.pdf;*.ps *.eps\0All files (*.*)\0*.*\0";
    const struct { const wchar_t *name; int index; } filterRows[] = {
        {L"txt", 1}, {L".txt", 1}, {L"a.pdf", 2}, {L"eps", 2}, {L"*", 3}, {L"TXT", 0}, {L"doc", 0}, {L"", 0},
    };
    for (const auto &row : filterRows)
        EXPECT_EQ(row.index, filterIndexOf(filter, row.name)) << show(row.name);
}

TEST(Url, PrefixesJoinsAndIntegerTexts)
{
    const struct { const wchar_t *text; int result, length; } prefixRows[] = {
        {L"http://a", 1, 7}, {L"HTTPS://a", 1, 8}, {L"ftp://a", 0, 0}, {L"http:/a", 0, 0}, {L"", 0, 0},
    };
    for (const auto &row : prefixRows) {
        int length = -1;
        EXPECT_EQ(row.result, GetUrlPrefixLength(row.text, &length)) << show(row.text);
        EXPECT_EQ(row.length, length) << show(row.text);
        EXPECT_EQ(row.result, IsUrl(row.text)) << show(row.text);
    }

    const struct { const wchar_t *base, *relative, *out; } joinRows[] = {
        {L"HTTPS://Example.COM/Docs/Page.HTML", L"../x.htm", L"https://example.com/docs/x.htm"},
        {L"http://a.com/b/", L"c//d.htm", L"http://a.com/b/c/d.htm"},
        {L"c:\\not\\an\\address", L"x", L"untouched"},
    };
    for (const auto &row : joinRows) {
        Field out(L"untouched");
        EXPECT_EQ(wcscmp(row.out, L"untouched") != 0, JoinUrl(out.get(), row.base, row.relative)) << show(row.base);
        EXPECT_EQ(row.out, out.str()) << show(row.base);
    }
    // A join that fits the path field can still outgrow it once the scheme is put back.
    Field cut;
    EXPECT_EQ(1, JoinUrl(cut.get(), (L"https://" + std::wstring(250, L'a')).c_str(), L"b"));
    EXPECT_EQ(256u, cut.str().size());
    EXPECT_TRUE(cut.guardIntact());

    for (const wchar_t *yes : {L"+", L"-12", L"007"})
        EXPECT_EQ(1, IsIntegerText(yes)) << show(yes);
    for (const wchar_t *no : {L"1 2", L"", L"+-1", L"1a", static_cast<const wchar_t *>(nullptr)})
        EXPECT_EQ(0, IsIntegerText(no)) << show(no);
}
