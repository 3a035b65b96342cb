// The stand-in rundll32 works in this Wine: a batch line reaches it through cmd, it installs and
// deletes the printer, and its modes and the planted-copy check behave.
#include <gtest/gtest.h>
#include <windows.h>
#include <winspool.h>
#include "tests/common/standin.h"
#include "tests/common/testkit.h"

using namespace testkit;

namespace {

const char kDelete[] = "rundll32 printui.dll,PrintUIEntry /dl /n \"TessaloomPDF\"";

std::string installLine(const std::string &port = "TessaloomPDF:")
{
    return "rundll32 printui.dll,PrintUIEntry /if /m \"Tessaloom Test PS Driver\" /h[x64] "
           "/f %windir%\\inf\\ntprint.inf  /b \"TessaloomPDF\" /r \"" + port + "\"\r\n";
}

// What cmd hands over: %windir% expanded, no line end.
std::wstring expanded(const std::string &line)
{
    std::wstring w(line.begin(), line.end());
    size_t at = w.find(L"%windir%");
    if (at != std::wstring::npos)
        w.replace(at, 8, L"C:\\windows");
    return w.substr(0, w.find(L"\r\n"));
}

// Port of the printer, empty when it is not installed.
std::wstring printerPort(const wchar_t *name)
{
    DWORD needed = 0, returned = 0;
    EnumPrintersW(PRINTER_ENUM_LOCAL, nullptr, 2, nullptr, 0, &needed, &returned);
    std::vector<BYTE> buffer(needed ? needed : 1);
    if (!EnumPrintersW(PRINTER_ENUM_LOCAL, nullptr, 2, buffer.data(), needed, &needed, &returned))
        return L"";
    auto *info = reinterpret_cast<PRINTER_INFO_2W *>(buffer.data());
    for (DWORD i = 0; i < returned; i++)
        if (std::wstring(info[i].pPrinterName) == name)
            return info[i].pPortName;
    return L"";
}

class StandIn : public ::testing::Test {
protected:
    void SetUp() override
    {
        deletePrinter(L"TessaloomPDF");
        ASSERT_TRUE(installStandIn());
        batch_ = tempDir(L"standin") + L"\\tl2pdf_setup.bat";
    }
    void TearDown() override
    {
        deletePrinter(L"TessaloomPDF");
        removeStandIn();
        DeleteFileW(batch_.c_str());
        RemoveDirectoryW(batch_.substr(0, batch_.find_last_of(L'\\')).c_str());
    }
    // Starts the line as the program does: a batch file as the whole command line, hidden.
    HANDLE start(const std::string &line, const std::wstring &cwd = L"")
    {
        EXPECT_TRUE(writeFile(batch_, line));
        STARTUPINFOW si = {};
        si.cb = sizeof(si);
        si.dwFlags = STARTF_USESHOWWINDOW;
        si.wShowWindow = SW_HIDE;
        PROCESS_INFORMATION pi = {};
        std::wstring cmd = batch_;
        EXPECT_TRUE(CreateProcessW(nullptr, &cmd[0], nullptr, nullptr, FALSE, 0, nullptr,
                                   cwd.empty() ? nullptr : cwd.c_str(), &si, &pi));
        CloseHandle(pi.hThread);
        return pi.hProcess;
    }
    DWORD run(const std::string &line, const std::wstring &cwd = L"")
    {
        HANDLE process = start(line, cwd);
        DWORD code = 999;
        EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(process, 60000));
        GetExitCodeProcess(process, &code);
        CloseHandle(process);
        return code;
    }
    std::wstring batch_;
};

TEST_F(StandIn, InstallsAndDeletesThroughTheBatchLine)
{
    EXPECT_EQ(0u, run(installLine()));
    EXPECT_EQ(L"TessaloomPDF:", printerPort(L"TessaloomPDF"));
    EXPECT_EQ(0u, run(kDelete));
    EXPECT_EQ(L"", printerPort(L"TessaloomPDF"));
    auto log = standInLog();
    ASSERT_EQ(2u, log.size());
    EXPECT_EQ(L"RAN", log[0].tag);
    EXPECT_EQ(systemDir() + L"\\rundll32.exe", log[0].module);
    EXPECT_EQ(expanded(installLine()), log[0].commandLine);
    EXPECT_NE(std::wstring::npos, log[0].commandLine.find(L" /f C:\\windows\\inf\\ntprint.inf  /b "));
    EXPECT_EQ(expanded(kDelete), log[1].commandLine);
}

TEST_F(StandIn, RefusesAnExistingPrinterLikeTheRealInstaller)
{
    EXPECT_EQ(0u, run(installLine()));
    EXPECT_NE(0u, run(installLine("Other:")));
    EXPECT_EQ(L"TessaloomPDF:", printerPort(L"TessaloomPDF"));
}

TEST_F(StandIn, ModesAndDriverListInstallNothingOrLate)
{
    setStandInMode(L"noop");
    run(installLine());
    EXPECT_EQ(1u, standInLog().size());
    EXPECT_EQ(L"", printerPort(L"TessaloomPDF"));
    setStandInMode(nullptr);
    setStandInDrivers({L"Some Other Driver"});
    EXPECT_NE(0u, run(installLine()));
    EXPECT_EQ(L"", printerPort(L"TessaloomPDF"));
    setStandInDrivers({});
    setStandInMode(L"sleep:1500");
    DWORD start = GetTickCount();
    EXPECT_EQ(0u, run(installLine()));
    EXPECT_GE(GetTickCount() - start, 1500u);
    EXPECT_EQ(L"TessaloomPDF:", printerPort(L"TessaloomPDF"));
}

// cmd looks in the current folder before the system folder: a rundll32.exe planted there runs
// instead. With the system folder as the current folder the planted copy is never reached.
TEST_F(StandIn, CurrentFolderCopyRunsFirstUnlessRunFromTheSystemFolder)
{
    std::wstring folder = tempDir(L"standin-plant");
    std::wstring planted = plantRundll32(folder);
    run(installLine(), folder);
    run(installLine(), systemDir());
    auto log = standInLog();
    ASSERT_EQ(2u, log.size());
    EXPECT_EQ(L"PLANTED", log[0].tag);
    EXPECT_EQ(0, _wcsicmp(planted.c_str(), log[0].module.c_str())) << log[0].module;
    EXPECT_EQ(L"RAN", log[1].tag);
    EXPECT_EQ(systemDir() + L"\\rundll32.exe", log[1].module);
    EXPECT_EQ(L"TessaloomPDF:", printerPort(L"TessaloomPDF"));
    DeleteFileW(planted.c_str());
    RemoveDirectoryW(folder.c_str());
}

// Removal ends a stand-in left sleeping (it would act later, in another test) and brings back
// Wine's own rundll32, whose installer installs nothing.
TEST_F(StandIn, RemovalEndsASleepingStandInAndRestoresWinesOwn)
{
    setStandInMode(L"sleep:60000");
    HANDLE batch = start(installLine());
    EXPECT_TRUE(waitFor([] { return standInLog().size() == 1; }));
    removeRundll32();
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(batch, 10000));
    CloseHandle(batch);
    std::string restored = readFile(systemDir() + L"\\rundll32.exe");
    EXPECT_FALSE(restored.empty());
    EXPECT_NE(readFile(standInExe()), restored);
    setStandInMode(nullptr);
    run(installLine());
    EXPECT_EQ(1u, standInLog().size());
    EXPECT_EQ(L"", printerPort(L"TessaloomPDF"));
}

}  // namespace
