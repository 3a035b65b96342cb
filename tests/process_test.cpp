// The process runner, driven against this executable started in a child mode.
#include <gtest/gtest.h>
#include <windows.h>
#include <shellapi.h>
#include <tlhelp32.h>
#include "support/process.h"
#include "tests/common/testkit.h"

namespace {

std::wstring self() { return L"\"" + testkit::selfPath() + L"\""; }

int run(std::wstring command, DWORD waitMs = 20000, const wchar_t *folder = nullptr)
{
    return folder ? RunProcessAndWaitIn(nullptr, &command[0], SW_HIDE, waitMs, folder)
                  : RunProcessAndWait(nullptr, &command[0], SW_HIDE, waitMs);
}

std::wstring readWide(const std::wstring &path)
{
    std::string bytes = testkit::readFile(path);
    return std::wstring(reinterpret_cast<const wchar_t *>(bytes.data()), bytes.size() / sizeof(wchar_t));
}

// The report is written before the child ends, so it is complete the moment the runner returns.
TEST(ProcessRunner, WaitsForTheChildAndPassesCommandLineAndFolder)
{
    std::wstring dir = testkit::tempDir(L"process"), out = dir + L"\\report.txt";
    std::wstring command = self() + L" --report \"" + out + L"\" \"two words\\\\\" \"say \\\"hi\\\"\" plain";
    std::wstring tail = L"\n" + command + L"\ntwo words\\\nsay \"hi\"\nplain\n";
    wchar_t here[MAX_PATH];
    GetCurrentDirectoryW(MAX_PATH, here);
    EXPECT_NE(0, run(command));
    EXPECT_EQ(here + tail, readWide(out));
    EXPECT_NE(0, run(command, 20000, dir.c_str()));
    EXPECT_EQ(dir + tail, readWide(out));
}

TEST(ProcessRunner, BatchFileRunsThroughTheCommandInterpreter)
{
    std::wstring dir = testkit::tempDir(L"process-bat");
    ASSERT_TRUE(testkit::writeFile(dir + L"\\job.bat", "@echo ran>\"" + std::string(dir.begin(), dir.end()) + "\\bat.txt\"\r\n"));
    EXPECT_NE(0, run(L"\"" + dir + L"\\job.bat\""));
    EXPECT_EQ("ran\r\n", testkit::readFile(dir + L"\\bat.txt"));
}

TEST(ProcessRunner, ExpiredWaitIsSilentAndLeavesTheChildRunning)
{
    testkit::BoxWatcher watcher(1, 1500);
    EXPECT_EQ(0, run(self() + L" --sleep 30000", 300));
    EXPECT_TRUE(watcher.wait().empty());
    // The runner keeps its handles, so look the child up by parentage; exited ones don't count.
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0), child = nullptr;
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Process32FirstW(snapshot, &entry); more && !child; more = Process32NextW(snapshot, &entry)) {
        if (entry.th32ParentProcessID != GetCurrentProcessId())
            continue;
        child = OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, entry.th32ProcessID);
        if (child && WaitForSingleObject(child, 0) != WAIT_TIMEOUT)
            CloseHandle(child), child = nullptr;
    }
    CloseHandle(snapshot);
    ASSERT_NE(nullptr, child);
    TerminateProcess(child, 1);
    CloseHandle(child);
}

TEST(ProcessRunner, FailedStartShowsTheCommandCutTo255Characters)
{
    for (std::wstring command : {std::wstring(L"C:\\no\\such\\program.exe /x"), L"C:\\" + std::wstring(300, L'x')}) {
        SCOPED_TRACE(command.size());
        testkit::BoxWatcher watcher;
        EXPECT_EQ(0, run(command));
        auto boxes = watcher.wait();
        ASSERT_EQ(1u, boxes.size());
        EXPECT_EQ(L" Message", boxes[0].caption);
        EXPECT_EQ(L"Failed to execute:\r\n  " + command.substr(0, 255), boxes[0].text);
    }
}

TEST(ProcessRunner, OnlyAFailedWaitShowsABoxAndItIsEmpty)
{
    testkit::BoxWatcher watcher(2, 1500);
    for (DWORD result : {DWORD(0), DWORD(WAIT_ABANDONED), DWORD(WAIT_TIMEOUT), DWORD(WAIT_FAILED)})
        ReportWaitResult(nullptr, result, 0);
    auto boxes = watcher.wait();
    ASSERT_EQ(1u, boxes.size());
    EXPECT_EQ(L"", boxes[0].text);
}

}  // namespace

// "--report FILE ARGS...": write the folder, the raw command line and each argument, one a line.
// "--sleep MS": stay alive that long.
TESTKIT_CHILD_MODE(sleep, L"--sleep", [](int count, wchar_t **args) {
    if (count < 3)
        return 2;
    Sleep(_wtoi(args[2]));
    return 0;
})

TESTKIT_CHILD_MODE(report, L"--report", [](int count, wchar_t **args) {
    if (count < 3)
        return 2;
    wchar_t here[MAX_PATH];
    GetCurrentDirectoryW(MAX_PATH, here);
    std::wstring text = std::wstring(here) + L"\n" + GetCommandLineW() + L"\n";
    for (int i = 3; i < count; i++)
        text += std::wstring(args[i]) + L"\n";
    std::string bytes(reinterpret_cast<const char *>(text.data()), text.size() * sizeof(wchar_t));
    return testkit::writeFile(args[2], bytes) ? 0 : 1;
})
