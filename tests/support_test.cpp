// The support layer: paths, processes and system facts.
#include <gtest/gtest.h>
#include <windows.h>
#include <random>
#include <string>
#include <vector>
#include "support/path.h"
#include "support/process.h"
#include "support/sys.h"
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
    const wchar_t alphabet[] = L"\\\\//..:: ahtpc";
    std::mt19937 random(20240611);
    std::uniform_int_distribution<size_t> length(0, 40), pick(0, wcslen(alphabet) - 1);
    for (int i = 0; i < 4000; ++i) {
        std::wstring input;
        for (size_t n = length(random); n > 0; --n)
            input += alphabet[pick(random)];
        Field normal(input, input.size() + 1), joined;
        pathNormalize(&normal.chars[0]);
        pathJoin(&joined.chars[0], input.c_str(), input.c_str());
        ASSERT_TRUE(normal.intact() && normal.str().size() <= input.size() && joined.intact()) << show(input);
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

// Runs copies of this program that Wine shows as Windows XP and 10, which report what they see.
TEST(SupportProcessAndSystem, RunnerWaitsPassesCommandAndFolderReportsFailuresAndVersionsAreClassified)
{
    std::wstring dir = testkit::tempDir(L"process"), missing = L"C:\\" + std::wstring(300, L'x');
    const std::wstring xp = testkit::exeAsWindowsVersion(testkit::selfPath(), L"support_winxp.exe", L"winxp"),
                       win10 = testkit::exeAsWindowsVersion(testkit::selfPath(), L"support_win10.exe", L"win10");
    std::wstring command = L"runner --report-args report.txt \"say \\\"hi\\\"\" plain";
    auto run = [&](std::wstring line, DWORD waitMs, const std::wstring &image) {
        return RunImageAndWait(nullptr, image.empty() ? nullptr : image.c_str(), &line[0], SW_HIDE, waitMs, dir.c_str());
    };
    auto report = [&](const wchar_t *name) {
        std::string bytes = testkit::readFile(dir + L"\\" + name);
        return std::wstring(reinterpret_cast<const wchar_t *>(bytes.data()), bytes.size() / 2);
    };
    // Folder|command|arguments|facts: 64-bit before, platform, 64-bit, major, minor, code, Vista+, 7, 7+, 8, 8+, XP, Vista/7, WOW64, admin.
    std::wstring wow64 = testkit::kIs32BitBuild ? L"1" : L"0";
    EXPECT_NE(0, run(command, 20000, xp));  // the report is complete the moment the runner returns
    EXPECT_EQ(dir + L"|" + command + L"|say \"hi\"|plain|0 2 1 5 1 501 0 0 0 0 0 1 0 " + wow64 + L" 1", report(L"report.txt"));
    testkit::BoxWatcher failed;
    EXPECT_EQ(0, run(missing, 20000, L""));
    auto boxes = failed.wait();
    EXPECT_EQ(L"1 Message|Failed to execute:\r\n  " + missing.substr(0, 255),
              std::to_wstring(boxes.size()) + (boxes.empty() ? L"" : boxes[0].caption + L"|" + boxes[0].text));
    // An expired wait is silent and leaves the child running; only a failed wait shows a box, an empty one.
    testkit::BoxWatcher watcher(2, 1500);
    EXPECT_EQ(0, run(L"runner --report-args late.txt wait", 300, win10));
    for (DWORD result : {DWORD(0), DWORD(WAIT_ABANDONED), DWORD(WAIT_TIMEOUT), DWORD(WAIT_FAILED)})
        ReportWaitResult(nullptr, result, 0);
    boxes = watcher.wait();
    EXPECT_TRUE(boxes.size() == 1 && boxes[0].text.empty()) << boxes.size();
    EXPECT_TRUE(testkit::waitFor([&] { return !report(L"late.txt").empty(); }, 20000));
    EXPECT_EQ(dir + L"|runner --report-args late.txt wait|wait|0 2 1 10 0 1000 1 0 1 0 1 0 0 " + wow64 + L" 1", report(L"late.txt"));
}

// "--report-args FILE ARGS...": the report above; with the last argument "wait", after two seconds.
TESTKIT_CHILD_MODE(reportArgs, L"--report-args", [](int count, wchar_t **args) {
    wchar_t here[MAX_PATH], facts[128];
    GetCurrentDirectoryW(MAX_PATH, here);
    std::wstring text = std::wstring(here) + L"|" + GetCommandLineW() + L"|";
    for (int i = 3; i < count; i++)
        text += std::wstring(args[i]) + L"|";
    int before64 = sysIs64Bit(), platform = static_cast<int>(sysClassify());
    const SysFacts &f = sysFacts();
    swprintf(facts, 128, L"%d %d %d %lu %lu %d %d %d %d %d %d %d %d %d %d", before64, platform, sysIs64Bit(), f.major, f.minor,
             sysVersionCode(), sysIsVistaOrLater(), sysIsWin7(), sysIsWin7OrLater(), sysIsWin8(), sysIsWin8OrLater(),
             f.is2000XpFamily, f.isVista7Family, sysIsWow64(), sysIsAdmin());
    Sleep(wcscmp(args[count - 1], L"wait") ? 0 : 2000);
    text += facts;
    return count >= 3 && testkit::writeFile(args[2], std::string(reinterpret_cast<const char *>(text.data()), text.size() * 2)) ? 0 : 1;
})
