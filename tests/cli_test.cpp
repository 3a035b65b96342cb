// Unattended runs of the real program: exit codes, the log, what each action leaves on the
// machine, that no window appears, and the lock that keeps two setups apart.
#include <gtest/gtest.h>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>
#include "app/actions.h"
#include "app/identity.h"
#include "app/window.h"
#include "detect/gs.h"
#include "res/resource.h"
#include "setup/autosetup.h"
#include "setup/port.h"
#include "setup/spooler.h"
#include "support/res.h"
#include "support/setuplock.h"
#include "support/sys.h"
#include "tests/common/standin.h"
#include "tests/common/testkit.h"

namespace {

const wchar_t kSettingsKey[] = L"Software\\Brindlecourt\\TessaloomPDF\\tlpdf";
const wchar_t kMonitorKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Redirected Port";
const wchar_t kPortKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Redirected Port\\Ports\\TessaloomPDF:";
const wchar_t kLog[] = L"C:\\tlpdf-cli.log";

bool keyExists(HKEY root, const wchar_t *path)
{
    HKEY key;
    return RegOpenKeyExW(root, path, 0, KEY_READ, &key) == ERROR_SUCCESS && RegCloseKey(key) == ERROR_SUCCESS;
}

// The log's text after its mark ("<no mark>" when the file lacks one).
std::wstring logText()
{
    std::string bytes = testkit::readFile(kLog);
    if (bytes.compare(0, 2, "\xFF\xFE") != 0)
        return L"<no mark>";
    return std::wstring(reinterpret_cast<const wchar_t *>(bytes.data() + 2), (bytes.size() - 2) / 2);
}

std::wstring printerPort()
{
    wchar_t port[256];
    return splGetPrinterPort(L"TessaloomPDF", port, 256) ? port : L"<none>";
}

// What a setup leaves: the port's twelve values, the printer's port, the response file, the flag.
std::wstring machineState()
{
    std::wstring state;
    for (const wchar_t *name : {L"Description", L"Command", L"Arguments", L"LogFileName", L"Printer"})
        state += testkit::readRegString(HKEY_LOCAL_MACHINE, kPortKey, name) + L"|";
    for (const wchar_t *name : {L"Output", L"ShowWindow", L"RunUser", L"Delay", L"LogFileUse", L"LogFileDebug", L"PrintError"})
        state += std::to_wstring(testkit::readRegDword(HKEY_LOCAL_MACHINE, kPortKey, name)) + L"|";
    std::string rsp = testkit::readFile(testkit::documentsDir() + L"\\TessaloomPDF\\tl2pdf.rsp");
    return state + printerPort() + L"|" + std::wstring(rsp.begin(), rsp.end()) + L"|" +
           std::to_wstring(testkit::readRegDword(HKEY_CURRENT_USER, kSettingsKey, L"GSPDF_SETUP"));
}

struct Outcome {
    DWORD code = 999;
    std::wstring log;                  // after the mark; "<no mark>" when the file lacks it
    std::vector<std::wstring> windows;  // classes of the top-level windows seen while it ran
};

BOOL CALLBACK noteWindow(HWND window, LPARAM param)
{
    auto *seen = reinterpret_cast<std::pair<DWORD, std::vector<std::wstring> *> *>(param);
    DWORD pid = 0;
    wchar_t name[64] = L"";
    GetWindowThreadProcessId(window, &pid);
    GetClassNameW(window, name, 64);
    if (pid == seen->first && std::wstring(name) != L"IME")
        seen->second->push_back(name);
    return TRUE;
}

// Runs the program to its end with the log first on its line, watching for windows meanwhile.
// The log is read whole: with `append` it holds the earlier runs' lines too.
Outcome run(const std::wstring &arguments, bool append = false, const std::wstring &exe = testkit::binPath(L"tlpdf.exe"))
{
    if (!append)
        DeleteFileW(kLog);
    Outcome r;
    testkit::Child child(exe, L"-LOG[" + std::wstring(kLog) + L"] " + arguments);
    std::pair<DWORD, std::vector<std::wstring> *> seen(child.pid(), &r.windows);
    testkit::waitFor([&] {
        EnumWindows(noteWindow, reinterpret_cast<LPARAM>(&seen));
        return child.waitExit(0, &r.code);
    }, 60000);
    r.log = logText();
    return r;
}

// Checks what every unattended run must show: its code, no window, the log's last line.
void expectRun(const Outcome &r, DWORD code, const wchar_t *says = L"")
{
    EXPECT_EQ(code, r.code);
    EXPECT_TRUE(r.windows.empty()) << testing::PrintToString(r.windows);
    EXPECT_EQ(0u, r.log.find(L"==System Info=======\r\n")) << testing::PrintToString(r.log);
    wchar_t meaning[256];
    resLoadString(nullptr, IDS_EXIT_FIRST + code, meaning, 256);
    std::wstring last = L"\r\nExit code " + std::to_wstring(code) + L": " + meaning + L"\r\n";
    EXPECT_EQ(r.log.size() - last.size(), r.log.rfind(last));
    EXPECT_NE(std::wstring::npos, r.log.find(says)) << testing::PrintToString(r.log);
}

class Cli : public testing::Test {
protected:
    void SetUp() override
    {
        appSetIdentity(GetModuleHandleW(nullptr));
        testkit::deleteRegTree(HKEY_CURRENT_USER, kSettingsKey);
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, kMonitorKey);
        testkit::deleteAllPrinters();
        DeleteFileW(testkit::customisationPath().c_str());
        components(true, true);
        ASSERT_TRUE(testkit::installStandIn());
    }
    void TearDown() override
    {
        sysTestReset();
        lockTestSetWait(0);
        testkit::removeStandIn();
        testkit::removeMonitor();
        testkit::deleteAllPrinters();
        components(false, false);
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, kMonitorKey);
        DeleteFileW(kLog);
    }
    static void components(bool ghostscript, bool redmon)
    {
        testkit::installGhostscript(ghostscript);
        testkit::installRedMon(redmon);
        gs2_ResetForTest();
    }
};

// The button's setup, then -UNINSTALL, -STATUS and -SETUP: the command line leaves exactly what
// the button leaves, the removal takes the printer and the port away through the installer and
// the monitor, and the check reports what it found. All runs append to one log.
TEST_F(Cli, RemovesWhatTheButtonSetsUpAndSetsItUpAlike)
{
    ASSERT_TRUE(testkit::installMonitor());
    ASSERT_NE(0u, gs2_AutoSetupTessaloomPDF(nullptr, L"", 1));  // what the button runs
    const std::wstring button = machineState();
    ASSERT_EQ(L"TessaloomPDF:", printerPort());

    Outcome removed = run(L"-UNINSTALL");
    expectRun(removed, 0, L"\r\nPrinter TessaloomPDF removed.\r\nPort TessaloomPDF: deleted through the Redirected "
                          L"Port monitor.\r\nRegistry key of port TessaloomPDF: removed.\r\nGSPDF_SETUP set to 0.\r\n");
    EXPECT_FALSE(keyExists(HKEY_LOCAL_MACHINE, kPortKey));
    EXPECT_EQ(L"<none>", printerPort());
    EXPECT_EQ(std::vector<std::wstring>({L"AddPort\tTessaloomPDF:", L"DeletePort\tTessaloomPDF:"}),
              testkit::monitorLog());
    EXPECT_EQ(0, testkit::readRegDword(HKEY_CURRENT_USER, kSettingsKey, L"GSPDF_SETUP"));
    EXPECT_NE("", testkit::readFile(testkit::documentsDir() + L"\\TessaloomPDF\\tl2pdf.rsp"));  // left alone
    expectRun(run(L"-STATUS", true), 11, L"\r\nPort TessaloomPDF: not registered\r\nExit code 11");

    expectRun(run(L"-SETUP", true), 0, L"[gs2_AutoSetupTessaloomPDF] Succeeded\r\n");
    EXPECT_EQ(button, machineState());

    Outcome status = run(L"-STATUS", true);
    expectRun(status, 0, L"\r\nGhostscript 9.05, console program C:\\gs\\gs9.05\\bin\\gswin32c.exe\r\nRedMon: C:\\");
    const std::wstring found[] = {
        L"\r\nCommand = C:\\gs\\gs9.05\\bin\\gswin32c.exe\r\n", L"\r\nDelay = 300\r\n",
        L"\r\nResponse file: " + testkit::documentsDir() + L"\\TessaloomPDF\\tl2pdf.rsp\r\n",
        L"\r\nPrinter TessaloomPDF: driver HP Color LaserJet 2800 Series PS, port TessaloomPDF:\r\nExit code 0"};
    for (const std::wstring &line : found)
        EXPECT_NE(std::wstring::npos, status.log.find(line)) << testing::PrintToString(line);
    // Four runs in one file: one mark, at its start, and each run's lines after the last one's.
    EXPECT_EQ(std::wstring::npos, status.log.find(L'\xFEFF'));
    size_t headers = 0;
    for (size_t at = 0; (at = status.log.find(L"==System Info===", at)) != std::wstring::npos; at++)
        headers++;
    EXPECT_EQ(4u, headers);
}

// A check and a removal on a machine without our keys leave it so: no key, folder or setting.
TEST_F(Cli, CheckAndRemovalCreateNothing)
{
    components(false, false);
    testkit::deleteRegTree(HKEY_CURRENT_USER, L"Software\\Brindlecourt");
    const std::wstring documents = testkit::tempDir(L"cli-documents");
    const std::wstring previous = testkit::setDocuments(documents);
    expectRun(run(L"-STATUS"), 5, L"\r\nGhostscript: not found\r\nRedMon: not found\r\n");
    expectRun(run(L"-UNINSTALL"), 0);
    testkit::restoreDocuments(previous);
    EXPECT_FALSE(keyExists(HKEY_LOCAL_MACHINE, L"Software\\GPL Ghostscript"));
    EXPECT_FALSE(keyExists(HKEY_LOCAL_MACHINE, kMonitorKey));
    EXPECT_FALSE(keyExists(HKEY_CURRENT_USER, L"Software\\Brindlecourt"));
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesW((documents + L"\\TessaloomPDF").c_str()));
    EXPECT_TRUE(testkit::standInLog().empty());
}

// Every other row of the exit-code table that this machine can reach, each from a situation set
// up for it; usage errors change nothing.
TEST_F(Cli, ExitCodesNameWhatWentWrong)
{
    const std::wstring missingDocuments = testkit::tempDir(L"cli-gone") + L"\\Documents";
    const std::wstring longDocuments = testkit::tempDir(L"cli-long") + L"\\" + std::wstring(200, L'd');
    const struct Row {
        const wchar_t *arguments;
        DWORD code;
        const wchar_t *says;
        std::function<void()> prepare = nullptr;
        bool changes = false;  // the situation or the action registers the port or runs the installer
    } rows[] = {
        {L"-SETUP -STATUS", 2, L"Usage error: give exactly one of -SETUP, -STATUS and -UNINSTALL."},
        {L"", 2, L"Usage error: give exactly one"},
        {L"-UNINSTALL -uninstall", 2, L"Usage error: a keyword is given more than once."},
        {L"-STATUS -SOURCE[a] -TARGET[b]", 2, L"Usage error: -SOURCE and -TARGET cannot"},
        {L"-SETUP -QUIET", 2, L"Usage error: the command line holds a keyword other than"},
        {L"-SETUP now", 2, L"Usage error: text follows the keywords: now"},
        {L"-SETUP -DRIVER[]", 2, L"Usage error: -DRIVER needs a value in brackets."},
        {L"-UNINSTALL -DOCUMENTS[C:\\]", 2, L"Usage error: -DOCUMENTS does not go with this action."},
        {L"-SETUP -DRIVER[x", 2, L"Usage error: a bracket of the command line is not closed."},
        {L"-SETUP -DOCUMENTS[Documents]", 2, L"Usage error: -DOCUMENTS must name an existing folder"},
        {L"-SETUP", 2, L"Usage error: this account has no Documents folder",
         [&] { testkit::setDocuments(missingDocuments), RemoveDirectoryW(missingDocuments.c_str()); }},
        {L"-SETUP", 1, L"has too long a path", [&] { testkit::setDocuments(longDocuments); }},
        {L"-SETUP", 3, L"", [] { components(false, true); }},
        {L"-SETUP", 4, L"", [] { components(true, false); }},
        {L"-SETUP", 6, L"Failed to add TessaloomPDF redirected port.", [] {
             HKEY key;  // a volatile key cannot hold the Ports key
             RegCreateKeyExW(HKEY_LOCAL_MACHINE, kMonitorKey, 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr,
                             &key, nullptr);
             RegCloseKey(key);
         }},
        {L"-SETUP", 7, L"\r\n\t\t[Message box, not shown] Message: Enabling PDF support failed because the system is "
                       L"missing ntprint.inf.\r\n", [] { testkit::removeStandIn(); }, true},
        {L"-SETUP -DRIVER[100% PS]", 10, L"The printer driver name \"100% PS\" cannot be used"},
        {L"-STATUS", 12, L"\r\nPrinter TessaloomPDF: driver ", [] {
             gs2_AddRedirectedPortUsingRegistry(nullptr, L"TessaloomPDF:", L"C:\\gs\\gs9.05\\bin\\gswin32c.exe");
             testkit::addPrinter(L"TessaloomPDF", L"LPT1:");
         }, true},
        {L"-UNINSTALL", 13, L"Printer TessaloomPDF is still installed", [] {
             testkit::removeStandIn();  // Wine's own installer deletes nothing
             testkit::addPrinter(L"TessaloomPDF");
         }, true},
    };
    const std::wstring documents = testkit::documentsDir();
    for (const Row &row : rows) {
        SCOPED_TRACE(testing::Message() << testing::PrintToString(std::wstring(row.arguments)) << " " << row.code);
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, kMonitorKey);
        testkit::deleteRegTree(HKEY_CURRENT_USER, kSettingsKey);
        testkit::deleteAllPrinters();
        testkit::installStandIn();
        components(true, true);
        const std::wstring previous = testkit::setDocuments(documents);
        if (row.prepare)
            row.prepare();
        Outcome r = run(row.arguments);
        testkit::restoreDocuments(previous);
        expectRun(r, row.code, row.says);
        if (!row.changes) {
            EXPECT_FALSE(keyExists(HKEY_LOCAL_MACHINE, kPortKey));
            EXPECT_TRUE(testkit::standInLog().empty());
            EXPECT_EQ(-1, testkit::readRegDword(HKEY_CURRENT_USER, kSettingsKey, L"GSPDF_SETUP"));
        }
    }

    // Windows XP is refused before anything else; the log says why.
    expectRun(run(L"-STATUS", false, testkit::exeAsWindowsVersion(testkit::binPath(L"tlpdf.exe"), L"tlpdf_cli_xp.exe",
                                                                     L"winxp")),
              9, L"Because your Windows is not Vista nor Windows 7");
}

// Another program holding the setup lock until it is ended.
TESTKIT_CHILD_MODE(holdLock, L"--hold-setup-lock", [](int, wchar_t **) {
    CreateMutexW(nullptr, TRUE, kSetupLockName);
    Sleep(INFINITE);
    return 0;
})

bool lockHeld()
{
    HANDLE lock = OpenMutexW(SYNCHRONIZE, FALSE, kSetupLockName);
    return lock && CloseHandle(lock);
}

// While another program holds the lock, an action gives up with 14 after its wait and the
// button with its message, both changing nothing; a setup started meanwhile runs once the holder
// has gone. The 60 s wait is shortened for the in-process runs, as is the administrator answer
// that Wine always gives.
TEST_F(Cli, SecondSetupWaitsForTheFirstOrGivesUp)
{
    auto holder = std::make_unique<testkit::Child>(testkit::binPath(L"tlpdf_tests.exe"), L"--hold-setup-lock");
    ASSERT_TRUE(testkit::waitFor(lockHeld));
    lockTestSetWait(300);
    EXPECT_EQ(14, appRunAction(L"-UNINSTALL"));
    EXPECT_EQ(-1, appRunAction(L"-SOURCE[a] -TARGET[b]"));  // the window's line: not an action

    ASSERT_TRUE(appRegisterClass(GetModuleHandleW(nullptr)));
    RECT rect = {120, 120, 570, 370};
    HWND window = appCreateMainWindow(&rect, GetModuleHandleW(nullptr), SW_SHOWNORMAL);
    std::wstring shown;
    std::thread closer([&shown] {
        HWND box = nullptr;
        testkit::waitFor([&box] { return (box = FindWindowW(L"#32770", L" Message")) != nullptr; });
        wchar_t text[512] = L"";
        GetDlgItemTextW(box, 0xFFFF, text, 512);
        shown = text;
        PostMessageW(box, WM_COMMAND, IDOK, 0);
    });
    appOnCommand(IDM_SETUP);
    closer.join();
    wchar_t busy[512];
    resLoadString(nullptr, IDS_SETUP_BUSY, busy, 512);
    EXPECT_EQ(busy, shown);
    EXPECT_FALSE(keyExists(HKEY_LOCAL_MACHINE, kPortKey));
    DestroyWindow(window);
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
        DispatchMessageW(&message);
    sysTestSetAdmin(0);
    EXPECT_EQ(8, appRunAction(L"-STATUS"));

    testkit::Child setup(testkit::binPath(L"tlpdf.exe"), L"-SETUP -LOG[" + std::wstring(kLog) + L"]");
    EXPECT_TRUE(testkit::waitFor([] { return logText().find(L"waiting up to 60 seconds") != std::wstring::npos; }));
    EXPECT_EQ(L"<none>", printerPort());
    holder.reset();  // its lock is abandoned, and taken over
    DWORD code = 99;
    EXPECT_TRUE(setup.waitExit(60000, &code));
    EXPECT_EQ(0u, code);
    EXPECT_EQ(L"TessaloomPDF:", printerPort());
}

}  // namespace
