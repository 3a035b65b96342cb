// The elevated setup must not be steerable from files and programs of an ordinary user: look-alike
// characters in driver names, DLLs planted beside the program, the temporary folder's name and
// what lies at the batch file's name, and other programs' dialogs as message box owners.
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include "detect/gs.h"
#include "detect/printers.h"
#include "diag/trace.h"
#include "res/resource.h"
#include "setup/autosetup.h"
#include "support/msg.h"
#include "support/sys.h"
#include "tests/common/standin.h"
#include "tests/common/testkit.h"

namespace {

using testkit::batchPath;
using testkit::customisationPath;

const wchar_t kMonitorKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Redirected Port";
const wchar_t kPortKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Redirected Port\\Ports\\"
                           L"TessaloomPDF:";
const wchar_t kInjected[] = L"C:\\tlpdf-injected.txt";
const wchar_t kPlantedLog[] = L"C:\\tlpdf-planted.log";
const wchar_t kCompleted[] = L"TessaloomPDF driver setup completed. You can now restart your Tessaloom program.";



bool exists(const std::wstring &path) { return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

bool portRegistered()
{
    HKEY key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kPortKey, 0, KEY_READ, &key) != ERROR_SUCCESS)
        return false;
    RegCloseKey(key);
    return true;
}

// The customisation file as UTF-16 with its mark, so that any character can be put in.
void writeCustomisation(const std::wstring &text)
{
    std::string bytes = "\xFF\xFE";
    bytes.append(reinterpret_cast<const char *>(text.data()), text.size() * sizeof(wchar_t));
    testkit::writeFile(customisationPath(), bytes);
}

// Starts the program, presses "Setup TessaloomPDF Now..." as a click would and returns the
// message box that ends the setup; the program is left to exit after the box is closed.
testkit::BoxInfo runSetupInProgram(testkit::Child &child)
{
    testkit::BoxInfo info;
    HWND main = testkit::waitTopWindow(child.pid(), L"tlpdf_class");
    HWND dialog = nullptr;
    auto dialogShown = [&] { return (dialog = FindWindowExW(main, nullptr, L"#32770", nullptr)) != nullptr; };
    if (!main || !testkit::waitFor(dialogShown))
        return info;
    testkit::waitFor([&] { return !testkit::windowText(GetDlgItem(dialog, IDC_STATUS)).empty(); });
    DWORD_PTR ignored;
    SendMessageTimeoutW(main, WM_NULL, 0, 0, SMTO_NORMAL, 10000, &ignored);
    PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(IDC_SETUP, BN_CLICKED),
                 reinterpret_cast<LPARAM>(GetDlgItem(dialog, IDC_SETUP)));
    HWND box = nullptr;
    if (testkit::waitFor([&] { return (box = testkit::findMessageBox(child.pid())) != nullptr; }, 60000)) {
        info = testkit::readMessageBox(box);
        testkit::closeMessageBox(box);
    }
    return info;
}

// Ghostscript, RedMon and the stand-in printer installer present, no printer, no port, a fresh trace.
class SecuritySetup : public testing::Test {
protected:
    void SetUp() override
    {
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, kMonitorKey);
        testkit::deleteAllPrinters();
        DeleteFileW(customisationPath().c_str());
        DeleteFileW(kInjected);
        testkit::installGhostscript(true);
        testkit::installRedMon(true);
        gs2_ResetForTest();
        ASSERT_TRUE(testkit::installStandIn());
        sysTestReset();
        dbg_SetDebugMode(1);
        dbg_StartTrace();
    }
    void TearDown() override
    {
        dbg_SetDebugMode(0);
        testkit::removeStandIn();
        testkit::deleteAllPrinters();
        testkit::installGhostscript(false);
        testkit::installRedMon(false);
        gs2_ResetForTest();
        DeleteFileW(customisationPath().c_str());
        DeleteFileW(kInjected);
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, kMonitorKey);
    }
    static UINT run(std::vector<testkit::BoxInfo> *boxes, int expectedBoxes, const wchar_t *driver)
    {
        testkit::BoxWatcher watcher(expectedBoxes, expectedBoxes ? 20000 : 300);
        UINT result = gs2_AutoSetupTessaloomPDF(nullptr, driver, 1);
        *boxes = watcher.wait();
        return result;
    }
};

// Best-fit conversion to the ANSI code page turns these look-alikes into '"', '%' and '&'; the
// first row made the batch file run a command of its own before names were checked as bytes.
TEST_F(SecuritySetup, LookAlikeCharactersInDriverNamesAreRefusedBeforeAnythingChanges)
{
    const struct {
        bool fromFile;  // else the caller's driver name
        const wchar_t *driver;
        bool refused;
    } rows[] = {
        {true, L"HP PS\xFF02 & echo INJECTED>C:\\tlpdf-injected.txt & rem \xFF02", true},
        {false, L"HP PS\x02BA & echo INJECTED>C:\\tlpdf-injected.txt & rem \x02BA", true},
        {true, L"HP \xFF05windir\xFF05 PS", true},
        {false, L"HP PS \xFF06 more", true},
        {true, L"Caf\xE9 PS", false},  // held exactly by the code page: an ordinary name
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.driver)));
        testkit::clearStandInLog();
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, kMonitorKey);
        dbg_StartTrace();
        if (row.fromFile)
            writeCustomisation(L"Printer=" + std::wstring(row.driver) + L"\r\n");
        else
            DeleteFileW(customisationPath().c_str());
        std::vector<testkit::BoxInfo> boxes;
        UINT result = run(&boxes, row.refused ? 1 : 0, row.fromFile ? L"" : row.driver);
        if (row.refused) {
            EXPECT_EQ(0u, result);
            ASSERT_EQ(1u, boxes.size());
            EXPECT_EQ(L" Error", boxes[0].caption);
            EXPECT_NE(std::wstring::npos, boxes[0].text.find(L"cannot be used"));
            EXPECT_TRUE(testkit::standInLog().empty());
            EXPECT_FALSE(portRegistered());
            EXPECT_NE(std::wstring::npos,
                      testkit::traceText().find(L"[gs2_AutoSetupTessaloomPDF] The printer driver name"));
        } else {
            EXPECT_NE(0u, result);
            EXPECT_TRUE(boxes.empty());
            EXPECT_EQ(1u, testkit::standInLog().size());
        }
        EXPECT_FALSE(exists(kInjected));
        testkit::deleteAllPrinters();
    }
}

// Another program of the user can put a hard link at the batch file's fixed name (the elevated
// write would land in the link's target) or block the name; the target stays as it was, and a
// name that cannot be taken is refused before anything is removed or installed.
TEST_F(SecuritySetup, WhatLiesAtTheBatchFileNameIsNeverWrittenThrough)
{
    const std::string precious = "keep these bytes\r\n";
    const std::wstring folder = testkit::tempDir(L"linktarget");
    const std::wstring target = folder + L"\\precious.txt";
    const struct {
        const char *situation;
        bool hardLink;  // else a folder of that name
    } rows[] = {{"hard link to a file of the user", true}, {"folder in the way", false}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.situation);
        testkit::clearStandInLog();
        testkit::deleteAllPrinters();
        dbg_StartTrace();
        ASSERT_TRUE(testkit::writeFile(target, precious));
        if (row.hardLink)
            ASSERT_TRUE(CreateHardLinkW(batchPath().c_str(), target.c_str(), nullptr));
        else
            ASSERT_TRUE(CreateDirectoryW(batchPath().c_str(), nullptr));
        std::vector<testkit::BoxInfo> boxes;
        UINT result = run(&boxes, row.hardLink ? 0 : 2, L"");
        EXPECT_EQ(precious, testkit::readFile(target));
        if (row.hardLink) {
            EXPECT_NE(0u, result);
            EXPECT_TRUE(boxes.empty());
            EXPECT_TRUE(gs2_IsPrinterInstalled(L"TessaloomPDF"));
            EXPECT_FALSE(exists(batchPath()));
        } else {
            EXPECT_EQ(0u, result);
            ASSERT_EQ(2u, boxes.size());
            EXPECT_EQ(L"The setup file \"" + batchPath() + L"\" could not be created safely in the temporary folder, "
                      L"so the printer was not installed. Close other programs and try again.", boxes[0].text);
            EXPECT_EQ(L"Failed to add TessaloomPDF printer driver.\r\n", boxes[1].text);
            EXPECT_TRUE(testkit::standInLog().empty());
            EXPECT_NE(std::wstring::npos, testkit::traceText().find(L"\t\tThe setup file \"" + batchPath()));
            RemoveDirectoryW(batchPath().c_str());
        }
    }
    testkit::removeTree(folder);
}

// cmd splits an unquoted path at "&", and on Windows CreateProcess tries "C:\...\a.exe" first for
// a path with blanks: the batch file must still run from such a temporary folder.
TEST_F(SecuritySetup, RealProgramInstallsFromATemporaryFolderNamedWithShellCharacters)
{
    wchar_t oldTmp[MAX_PATH] = L"", oldTemp[MAX_PATH] = L"";
    GetEnvironmentVariableW(L"TMP", oldTmp, MAX_PATH);
    GetEnvironmentVariableW(L"TEMP", oldTemp, MAX_PATH);
    for (const wchar_t *name : {L"a&b", L"a&b (c) ^d e"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(name)));
        testkit::deleteAllPrinters();
        testkit::clearStandInLog();
        const std::wstring temp = testkit::tempDir(name);
        SetEnvironmentVariableW(L"TMP", temp.c_str());
        SetEnvironmentVariableW(L"TEMP", temp.c_str());
        testkit::BoxInfo box;
        {
            testkit::Child child(testkit::binPath(L"tlpdf.exe"), L"");
            SetEnvironmentVariableW(L"TMP", oldTmp);
            SetEnvironmentVariableW(L"TEMP", oldTemp);
            ASSERT_TRUE(child.started());
            box = runSetupInProgram(child);
            EXPECT_TRUE(child.waitExit(20000));
        }
        EXPECT_EQ(kCompleted, box.text);
        EXPECT_TRUE(gs2_IsPrinterInstalled(L"TessaloomPDF"));
        auto runs = testkit::standInLog();
        ASSERT_EQ(1u, runs.size());
        EXPECT_EQ(L"RAN", runs[0].tag);
        EXPECT_FALSE(exists(temp + L"\\tl2pdf_setup.bat"));
        testkit::removeTree(temp);
    }
}

// A version.dll and a winspool.drv dropped beside the program in a download folder, with Wine
// told to prefer such copies as Windows would. Wine's own DLLs may still load them; what counts
// is that none of the program's own calls reaches them, and that it gets real answers.
class SecurityPlanted : public testing::Test {
protected:
    void SetUp() override
    {
        download_ = testkit::tempDir(L"download");
        program_ = download_ + L"\\tlpdf.exe";
        ASSERT_TRUE(CopyFileW(testkit::binPath(L"tlpdf.exe").c_str(), program_.c_str(), FALSE));
        const std::wstring probe = testkit::binPath(L"planted_probe.dll");
        for (const wchar_t *name : {L"version.dll", L"winspool.drv"})
            ASSERT_TRUE(CopyFileW(probe.c_str(), (download_ + L"\\" + name).c_str(), FALSE));
        HKEY key;
        ASSERT_EQ(0, RegCreateKeyExW(HKEY_CURRENT_USER, kOverrides, 0, nullptr, 0, KEY_SET_VALUE, nullptr, &key,
                                     nullptr));
        static const wchar_t order[] = L"native,builtin";
        for (const wchar_t *name : {L"version", L"winspool.drv"})
            RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE *>(order), sizeof(order));
        RegCloseKey(key);
        DeleteFileW(kPlantedLog);
        testkit::deleteAllPrinters();
        ASSERT_TRUE(testkit::addPrinter(L"TessaloomPDF"));
    }
    void TearDown() override
    {
        RegDeleteKeyW(HKEY_CURRENT_USER, kOverrides);
        testkit::deleteAllPrinters();
        DeleteFileW(kPlantedLog);
        testkit::removeTree(download_);
    }
    static constexpr const wchar_t *kOverrides = L"Software\\Wine\\AppDefaults\\tlpdf.exe\\DllOverrides";
    std::wstring download_, program_;
};

TEST_F(SecurityPlanted, ProgramCallsOnlyTheSystemFoldersCopies)
{
    testkit::Child child(program_, L"", download_);
    ASSERT_TRUE(child.started());
    HWND main = testkit::waitTopWindow(child.pid(), L"tlpdf_class");
    ASSERT_NE(nullptr, main);
    HWND dialog = nullptr;
    ASSERT_TRUE(testkit::waitFor([&] { return (dialog = FindWindowExW(main, nullptr, L"#32770", nullptr)); }));
    // The printer list comes from winspool, the version number from version.dll.
    std::wstring components;
    testkit::waitFor([&] {
        components = testkit::windowText(GetDlgItem(dialog, IDC_COMPONENTS));
        return components.find(L"TessaloomPDF driver") != std::wstring::npos;
    });
    EXPECT_NE(std::wstring::npos, components.find(L"TessaloomPDF driver installed\r\n"))
        << testing::PrintToString(components);
    PostMessageW(main, WM_COMMAND, MAKEWPARAM(IDM_ABOUT, 0), 0);
    HWND about = testkit::waitTopWindow(child.pid(), L"#32770", L"About TessaloomPDF");
    ASSERT_NE(nullptr, about);
    std::wstring version;
    // Found before its controls exist the box reads "", before its set-up "Version".
    testkit::waitFor([&] { return (version = testkit::windowText(GetDlgItem(about, IDC_VERSION))).size() > 8; });
    EXPECT_EQ(L"Version 2.10", version);
    PostMessageW(about, WM_COMMAND, IDOK, 0);
    PostMessageW(main, WM_COMMAND, MAKEWPARAM(IDM_EXIT, 0), 0);
    EXPECT_TRUE(child.waitExit(20000));

    std::string log = testkit::readFile(kPlantedLog);
    EXPECT_EQ(std::string::npos, log.find("tlpdf.exe\t")) << log;
}

// A box takes its owner from the foreground dialog only when that dialog is this program's:
// owning it would disable another program's window.
TEST(SecurityMessageBox, AnotherProgramsForegroundDialogIsNeitherOwnerNorDisabled)
{
    testkit::Child child(testkit::binPath(L"tlpdf.exe"), L"");
    HWND main = testkit::waitTopWindow(child.pid(), L"tlpdf_class");
    ASSERT_NE(nullptr, main);
    PostMessageW(main, WM_COMMAND, MAKEWPARAM(IDM_ABOUT, 0), 0);
    HWND about = testkit::waitTopWindow(child.pid(), L"#32770", L"About TessaloomPDF");
    ASSERT_NE(nullptr, about);
    SetForegroundWindow(about);
    ASSERT_TRUE(testkit::waitFor([&] { return GetForegroundWindow() == about; }));

    testkit::BoxInfo seen;
    bool aboutEnabledMeanwhile = false;
    std::thread watcher([&] {
        HWND box = nullptr;
        if (testkit::waitFor([&] { return (box = testkit::findMessageBox(GetCurrentProcessId())) != nullptr; })) {
            aboutEnabledMeanwhile = IsWindowEnabled(about) != FALSE;
            seen = testkit::readMessageBox(box);
            testkit::closeMessageBox(box);
        }
    });
    msgErrorBox(nullptr, L"ours");
    watcher.join();
    EXPECT_EQ(L"ours", seen.text);
    EXPECT_NE(about, seen.owner);
    EXPECT_TRUE(aboutEnabledMeanwhile);
    PostMessageW(about, WM_COMMAND, IDOK, 0);
    PostMessageW(main, WM_COMMAND, MAKEWPARAM(IDM_EXIT, 0), 0);
    EXPECT_TRUE(child.waitExit(20000));
}

}  // namespace
