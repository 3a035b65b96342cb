// Unattended runs of the real program: exit codes, the log, what each action leaves on the
// machine, that no window appears, and the lock that keeps two setups apart.
#include <gtest/gtest.h>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>
#include "app/actions.h"
#include "app/identity.h"
#include "app/window.h"
#include "detect/gs.h"
#include "res/resource.h"
#include "setup/autosetup.h"
#include "setup/port.h"
#include "support/appstate.h"
#include "support/setuplock.h"
#include "support/sys.h"
#include "tests/common/standin.h"
#include "tests/common/testkit.h"

namespace {

using testkit::kMonitorKey;
using testkit::kPortKey;
using testkit::kSettingsKey;
const wchar_t kLog[] = L"C:\\tlpdf-cli.log";

bool keyExists(HKEY root, const wchar_t *path)
{
    HKEY key;
    return RegOpenKeyExW(root, path, 0, KEY_READ, &key) == ERROR_SUCCESS && RegCloseKey(key) == ERROR_SUCCESS;
}

std::wstring logText() { return testkit::markedText(kLog); }

std::wstring printerPort() { return testkit::printerPort(L"TessaloomPDF"); }

// What a setup leaves: the port's values, the printer's port, the response file, the flag.
std::wstring machineState()
{
    std::string rsp = testkit::readFile(testkit::documentsDir() + L"\\TessaloomPDF\\tl2pdf.rsp");
    return testkit::portValues() + printerPort() + L"|" + std::wstring(rsp.begin(), rsp.end()) + L"|" +
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
    std::wstring last = L"\r\nExit code " + std::to_wstring(code) + L": " + testkit::loadString(IDS_EXIT_FIRST + code) + L"\r\n";
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
// the registry, and the check reports what it found. All runs append to one log.
TEST_F(Cli, RemovesWhatTheButtonSetsUpAndSetsItUpAlike)
{
    ASSERT_NE(0u, gs2_AutoSetupTessaloomPDF(nullptr, L"", 1));  // what the button runs
    const std::wstring button = machineState();

    Outcome removed = run(L"-UNINSTALL");
    expectRun(removed, 0, L"\r\nPrinter TessaloomPDF removed.\r\nRegistry key of port TessaloomPDF: removed.\r\n"
                          L"GSPDF_SETUP set to 0.\r\nExit code 0");
    EXPECT_FALSE(keyExists(HKEY_LOCAL_MACHINE, kPortKey));
    EXPECT_EQ(L"<none>", printerPort());
    EXPECT_EQ(0, testkit::readRegDword(HKEY_CURRENT_USER, kSettingsKey, L"GSPDF_SETUP"));
    EXPECT_NE("", testkit::readFile(testkit::documentsDir() + L"\\TessaloomPDF\\tl2pdf.rsp"));  // left alone
    expectRun(run(L"-STATUS", true), 11, L"\r\nPort TessaloomPDF: not registered\r\nExit code 11");

    // The whole setup as logged, but for the spooler's start, which depends on earlier tests.
    Outcome setup = run(L"-SETUP", true);
    expectRun(setup, 0);
    std::wstring steps, writes;
    for (size_t at = setup.log.rfind(L"[gs2_AutoSetupTessaloomPDF] starts"), end; at < setup.log.size(); at = end + 2) {
        end = setup.log.find(L"\r\n", at);
        if (setup.log.compare(at, 23, L"\tPrint Spooler service ") != 0)
            steps += setup.log.substr(at, end + 2 - at);
    }
    for (const wchar_t *name : {L"TessaloomPDF:", L"Description", L"Command", L"Arguments", L"LogFileName", L"Printer",
                                L"Output", L"ShowWindow", L"RunUser", L"Delay", L"LogFileUse", L"LogFileDebug", L"PrintError"})
        writes += L"\t\t\tRegKey: " + std::wstring(name) + L" (succeeded)\r\n";
    EXPECT_EQ(L"[gs2_AutoSetupTessaloomPDF] starts\r\n\r\n\t[gs2_AddRedirectedPortUsingRegistry] starts\r\n"
              L"\tThe Redirected Port monitor cannot be opened; the port is written to the registry only (error 1796: "
              L"Unknown port.)\r\n\t[Create Key (OK)] SYSTEM\\CurrentControlSet\\Control\\"
              L"Print\\Monitors\\Redirected Port\\Ports\r\n\r\n\t\t[f_CreatePort for Port: TessaloomPDF:] starts\r\n" +
                  writes + L"\t\t[f_CreatePort] ends. return code lretn = 0\r\n\t[gs2_AddRedirectedPortUsingRegistry] ends. "
                  L"Return code = 0\r\n\r\n\tResponse file kept as it is: " + testkit::documentsDir() +
                  L"\\TessaloomPDF\\tl2pdf.rsp\r\n\r\n\t[gs2_AddPrinter_Thru_Dll] starts\r\n\t\tDriver Name = HP Color "
                  L"LaserJet 2800 Series PS, Port Name= TessaloomPDF:, Display Name = TessaloomPDF\r\n\t\tSucceeded = "
                  L"rundll32 printui.dll,PrintUIEntry /if /m \"HP Color LaserJet 2800 Series PS\" /h[x64] /f "
                  L"%windir%\\inf\\ntprint.inf  /b \"TessaloomPDF\" /r \"TessaloomPDF:\"\r\n\t[gs2_AddPrinter_Thru_Dll] ends. "
                  L"Returns = 1\r\n[gs2_AutoSetupTessaloomPDF] Succeeded\r\n[gs2_AutoSetupTessaloomPDF] ends\r\n"
                  L"Exit code 0: done\r\n",
              steps);
    EXPECT_EQ(button, machineState());

    Outcome status = run(L"-STATUS", true);
    expectRun(status, 0, L"\r\nGhostscript 9.05, console program C:\\gs\\gs9.05\\bin\\gswin32c.exe\r\nRedMon: C:\\");
    const std::wstring found[] = {
        L"\r\nResponse file: " + testkit::documentsDir() + L"\\TessaloomPDF\\tl2pdf.rsp\r\n",
        L"\r\nPrinter TessaloomPDF: driver HP Color LaserJet 2800 Series PS, port TessaloomPDF:\r\nExit code 0"};
    for (const std::wstring &line : found)
        EXPECT_NE(std::wstring::npos, status.log.find(line)) << testing::PrintToString(line);
    // Four runs in one file: one mark, at its start, and the first run's lines still there.
    EXPECT_EQ(std::wstring::npos, status.log.find(L'\xFEFF'));
    EXPECT_NE(std::wstring::npos, status.log.find(L"-UNINSTALL\r\n[Installed Components]"));
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

// The customisation file as UTF-16 with its mark, so that any character can be put in.
void customise(const std::wstring &text)
{
    std::string bytes = "\xFF\xFE";
    bytes.append(reinterpret_cast<const char *>(text.data()), text.size() * sizeof(wchar_t));
    testkit::writeFile(testkit::customisationPath(), bytes);
}

// Every other row of the exit-code table that this machine can reach, and the setup's own
// situations, each from a machine set up for it; what does not change the machine changes
// nothing (no port key, no installer run, no GSPDF_SETUP).
TEST_F(Cli, ExitCodesAndLogsNameWhatHappened)
{
    const std::wstring missingDocuments = testkit::tempDir(L"cli-gone") + L"\\Documents";
    const std::wstring base = testkit::tempDir(L"cli-long");
    // Documents + "\\TessaloomPDF\\tl2pdf.rsp" is 256 characters at the limit.
    const std::wstring limit = base + L"\\" + std::wstring(256 - 24 - base.size() - 1, L'd');
    const std::wstring precious = testkit::tempDir(L"cli-link") + L"\\precious.txt";
    const std::wstring refused = L"[gs2_AutoSetupTessaloomPDF] The printer driver name \"";
    const struct Row {
        const wchar_t *arguments;
        DWORD code;
        std::wstring says;
        std::function<void()> prepare = nullptr;
        bool changes = false;  // the situation or the action registers the port or runs the installer
        std::function<void()> check = nullptr;
        const wchar_t *windows = nullptr;  // the Windows version Wine reports to this run
    } rows[] = {
        {L"-SETUP -STATUS", 2, L"Usage error: give exactly one of -SETUP, -STATUS and -UNINSTALL."},
        {L"-UNINSTALL -uninstall", 2, L"Usage error: a keyword is given more than once."},
        {L"-STATUS -SOURCE[a] -TARGET[b]", 2, L"Usage error: -SOURCE and -TARGET cannot"},
        {L"-SETUP -QUIET", 2, L"Usage error: the command line holds a keyword other than"},
        {L"-SETUP now", 2, L"Usage error: text follows the keywords: now"},
        {L"-SETUP -DRIVER[]", 2, L"Usage error: -DRIVER needs a value in brackets."},
        {L"-SETUP -DRIVER[x", 2, L"Usage error: a bracket of the command line is not closed."},
        {L"-SETUP", 2, L"Usage error: this account has no Documents folder",
         [&] { testkit::setDocuments(missingDocuments), RemoveDirectoryW(missingDocuments.c_str()); }},
        {L"-SETUP", 1, L"The folder " + limit + L"d\\TessaloomPDF has too long a path for the TessaloomPDF printer's "
                       L"response file. Nothing was changed.", [&] { testkit::setDocuments(limit + L"d"); }},
        {L"-SETUP", 0, L"Response file written: " + limit + L"\\TessaloomPDF\\tl2pdf.rsp",
         [&] { testkit::setDocuments(limit); }, true, [&] {
             EXPECT_EQ(L"@\"" + limit + L"\\TessaloomPDF\\tl2pdf.rsp\" -c save pop -f -",
                       testkit::readRegString(HKEY_LOCAL_MACHINE, kPortKey, L"Arguments"));
         }},
        // Only the two lines, the second one level deeper: that imbalance is kept.
        {L"-SETUP", 3, L"\r\n[gs2_AutoSetupTessaloomPDF] starts\r\n\t[gs2_AutoSetupTessaloomPDF] ends\r\nExit",
         [] { components(false, true); }},
        {L"-SETUP", 4, L"", [] { components(true, false); }},
        {L"-SETUP", 6, L"Failed to add TessaloomPDF redirected port.", [] {
             HKEY key;  // a volatile key cannot hold the Ports key
             RegCreateKeyExW(HKEY_LOCAL_MACHINE, kMonitorKey, 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr,
                             &key, nullptr);
             RegCloseKey(key);
         }},
        {L"-SETUP", 0, L"\t\t\tRegKey: TessaloomPDF: (error) ", [] {
             HKEY key;  // nor the port's own key
             RegCreateKeyExW(HKEY_LOCAL_MACHINE, (std::wstring(kMonitorKey) + L"\\Ports").c_str(), 0, nullptr,
                             REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, &key, nullptr);
             RegCloseKey(key);
         }, true},
        {L"-SETUP", 7, L"\r\n\t\t[Message box, not shown] Message: Enabling PDF support failed because the system is "
                       L"missing ntprint.inf.\r\n", [] { testkit::removeStandIn(); }, true},
        {L"-SETUP", 7, L"missing rundll32.exe.", [] { DeleteFileW((testkit::systemDir() + L"\\rundll32.exe").c_str()); }, true},
        {L"-SETUP", 7, L"\t\tFailed = rundll32 printui.dll,PrintUIEntry /if /m \"HP Color LaserJet 2800 Series PS\" /h[x64] "
                       L"/f %windir%\\inf\\ntprint.inf  /b \"TessaloomPDF\" /r \"TessaloomPDF:\"\r\n\t[gs2_AddPrinter_Thru_Dll] "
                       L"ends. Returns = 0\r\n[gs2_AutoSetupTessaloomPDF] Failed\r\n", [] { testkit::setStandInMode(L"noop"); }, true},
        {L"-SETUP", 7, L"\t\tPrinter TessaloomPDF is on port \"LPT1:\", not on TessaloomPDF:.\r\n\t\tFailed = rundll32",
         [] { testkit::addPrinter(L"TessaloomPDF", L"LPT1:"), testkit::setStandInMode(L"keepold"); }, true},
        {L"-SETUP", 7, L"The setup file \"", [] { CreateDirectoryW(testkit::batchPath().c_str(), nullptr); }, true},
        {L"-SETUP -DRIVER[100% PS]", 10, refused + L"100% PS\" cannot be used"},
        {L"-SETUP", 10, refused, [] { customise(L"Printer=HP PS\xFF02 & echo INJECTED>C:\\tlpdf-injected.txt & rem \xFF02"); }},
        {L"-SETUP", 10, refused, [] { customise(L"Printer=HP \xFF05windir\xFF05 PS \xFF06 more"); }},
        // A name the code page holds exactly is an ordinary one.
        {L"-SETUP", 0, L"Driver Name = Caf\xE9 PS, Port", [] { customise(L"Printer=Caf\xE9 PS"); }, true},
        {L"-SETUP", 0, L"Driver Name = Custom PS Driver, Port", [] {
             testkit::writeFile(testkit::customisationPath(), ";Printer=Not this\r\nprinter = Custom PS Driver  \r\n");
         }, true},
        {L"-SETUP", 0, L"Driver Name = Microsoft PS Class Driver, Port", nullptr, true, nullptr, L"win10"},
        {L"-SETUP", 0, L"Driver Name = HP Color LaserJet 2800 Series PS, Port", nullptr, true, nullptr, L"win7"},
        // A hard link at the batch file's name is never written through.
        {L"-SETUP", 0, L"Succeeded = rundll32", [&] {
             testkit::writeFile(precious, "keep these bytes"), CreateHardLinkW(testkit::batchPath().c_str(), precious.c_str(), nullptr);
         }, true, [&] { EXPECT_EQ("keep these bytes", testkit::readFile(precious)); }},
        // Set up before: the old printer is deleted first, the port key written again from scratch,
        // the response file of the Tessaloom program kept.
        {L"-SETUP", 0, L"\tExisting redirected port (TessaloomPDF:) removed.\r\n", [] {
             gs2_AddRedirectedPortUsingRegistry(nullptr, L"TessaloomPDF:", L"C:\\old\\gswin32c.exe");
             HKEY key;
             RegOpenKeyExW(HKEY_LOCAL_MACHINE, kPortKey, 0, KEY_ALL_ACCESS, &key);
             RegSetValueExW(key, L"Leftover", 0, REG_SZ, reinterpret_cast<const BYTE *>(L"x"), 4);
             RegCloseKey(key);
             testkit::addPrinter(L"TessaloomPDF", L"LPT1:");
             testkit::writeFile(testkit::documentsDir() + L"\\TessaloomPDF\\tl2pdf.rsp", "own");
         }, true, [] {
             EXPECT_EQ(std::wstring::npos, testkit::portValues().find(L"Leftover"));
             EXPECT_NE(std::wstring::npos, testkit::portValues().find(L"Command 1 60 C:\\gs\\gs9.05\\bin\\gswin32c.exe\n"));
             EXPECT_EQ("own", testkit::readFile(testkit::documentsDir() + L"\\TessaloomPDF\\tl2pdf.rsp"));
             auto runs = testkit::standInLog();
             ASSERT_EQ(2u, runs.size());
             EXPECT_NE(std::wstring::npos, runs[0].commandLine.find(L"printui.dll,PrintUIEntry /dl /n \"TessaloomPDF\""));
             EXPECT_EQ(L"TessaloomPDF:", printerPort());
         }},
        // A file where the data folder should be is kept; the printer is installed all the same.
        {L"-SETUP", 0, L"\t[Message box, not shown] Message: A file stands where the folder " + testkit::documentsDir() +
                           L"\\TessaloomPDF belongs.\r\n\tResponse file not written: its folder is not available", [] {
             testkit::removeTree(testkit::documentsDir() + L"\\TessaloomPDF");
             testkit::writeFile(testkit::documentsDir() + L"\\TessaloomPDF", "mine");
         }, true, [] {
             EXPECT_EQ("mine", testkit::readFile(testkit::documentsDir() + L"\\TessaloomPDF"));
             DeleteFileW((testkit::documentsDir() + L"\\TessaloomPDF").c_str());
         }},
        {L"-SETUP", 1, L"\tPrint Spooler service is disabled.\r\n\t[gs2_AutoSetupTessaloomPDF] " +
                           testkit::loadString(IDS_SPOOLER_REFUSED) + L"\r\n[gs2_AutoSetupTessaloomPDF] ends\r\n", [] {
             testkit::stopSpooler(), testkit::setSpoolerStart(SERVICE_DISABLED);
         }, false, [] { EXPECT_EQ(static_cast<DWORD>(SERVICE_STOPPED), testkit::spoolerState()); }},
        {L"-STATUS", 12, L"\r\nPrinter TessaloomPDF: driver ", [] {
             gs2_AddRedirectedPortUsingRegistry(nullptr, L"TessaloomPDF:", L"C:\\gs\\gs9.05\\bin\\gswin32c.exe");
             testkit::addPrinter(L"TessaloomPDF", L"LPT1:");
         }, true},
        {L"-UNINSTALL", 13, L"Printer TessaloomPDF is still installed", [] {
             testkit::removeStandIn();  // Wine's own installer deletes nothing
             testkit::addPrinter(L"TessaloomPDF");
         }, true},
        {L"-STATUS", 9, L"Because your Windows is not Vista nor Windows 7", nullptr, false, nullptr, L"winxp"},
    };
    const std::wstring documents = testkit::documentsDir();
    for (const Row &row : rows) {
        SCOPED_TRACE(testing::Message() << testing::PrintToString(std::wstring(row.arguments)) << " " << row.code << " "
                                        << testing::PrintToString(row.says));
        SetUp();
        RemoveDirectoryW(testkit::batchPath().c_str());
        DeleteFileW(testkit::batchPath().c_str());
        const std::wstring previous = testkit::setDocuments(documents);
        if (row.prepare)
            row.prepare();
        const std::wstring exe = testkit::binPath(L"tlpdf.exe");
        Outcome r = run(row.arguments, false,
                        row.windows ? testkit::exeAsWindowsVersion(exe, std::wstring(L"tlpdf_") + row.windows + L".exe",
                                                                   row.windows)
                                    : exe);
        testkit::restoreDocuments(previous);
        testkit::setSpoolerStart(SERVICE_DEMAND_START);
        expectRun(r, row.code, row.says.c_str());
        if (row.check)
            row.check();
        if (!row.changes) {
            EXPECT_FALSE(keyExists(HKEY_LOCAL_MACHINE, kPortKey));
            EXPECT_TRUE(testkit::standInLog().empty());
            EXPECT_EQ(-1, testkit::readRegDword(HKEY_CURRENT_USER, kSettingsKey, L"GSPDF_SETUP"));
        }
        EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesW(L"C:\\tlpdf-injected.txt"));
    }
    DeleteFileW(testkit::customisationPath().c_str());
    testkit::removeTree(base);
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
    testkit::BoxWatcher watcher;
    appOnCommand(IDM_SETUP);
    auto boxes = watcher.wait();
    ASSERT_EQ(1u, boxes.size());
    EXPECT_EQ(testkit::loadString(IDS_SETUP_BUSY), boxes[0].text);
    EXPECT_FALSE(keyExists(HKEY_LOCAL_MACHINE, kPortKey));
    DestroyWindow(window);
    appSetFrameWindow(nullptr);
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
