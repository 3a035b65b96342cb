// Unattended runs of the real program: exit codes, the log, what each action leaves on the
// machine, that no window appears, and the lock that keeps two setups apart.
#include <windows.h>
#include <sddl.h>
#include <gtest/gtest.h>
#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>
#include "app/actionline.h"
#include "app/actions.h"
#include "app/cmdline.h"
#include "app/identity.h"
#include "app/window.h"
#include "detect/gs.h"
#include "detect/machine.h"
#include "res/resource.h"
#include "setup/autosetup.h"
#include "setup/port.h"
#include "setup/rspfile.h"
#include "support/appstate.h"
#include "support/setuplock.h"
#include "support/sys.h"
#include "tests/common/standin.h"
#include "tests/common/testkit.h"

namespace {

using testkit::keyExists;
using testkit::kMonitorKey;
using testkit::kPortKey;
using testkit::kSettingsKey;
const wchar_t kLog[] = L"C:\\tlpdf-cli.log";
const wchar_t kGswin[] = L"C:\\gs\\gs9.05\\bin\\gswin32c.exe";
std::wstring rspPath() { return testkit::documentsDir() + L"\\TessaloomPDF\\tl2pdf.rsp"; }
std::wstring userPdf() { return testkit::documentsDir() + L"\\TessaloomPDF\\TessaloomPDF.pdf"; }

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
        for (const std::wstring &file : {rspPath(), userPdf()})
            DeleteFileW(file.c_str());
        components(true, true);
        ASSERT_TRUE(testkit::installStandIn());
        ASSERT_TRUE(testkit::startSpooler());
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
        // RedMon as the spooler knows it: the stand-in monitor, with no port yet.
        if (redmon)
            testkit::installMonitor();
        else
            testkit::removeMonitor();
        gs2_ResetForTest();
    }
};

// The button's setup, then -UNINSTALL, -STATUS and -SETUP: the command line leaves exactly what
// the button leaves, the removal takes the printer and the port away through the installer and
// the registry, and the check reports what it found. All runs append to one log.
TEST_F(Cli, RemovesWhatTheButtonSetsUpAndSetsItUpAlike)
{
    ASSERT_TRUE(testkit::installPdfDriver(L"HP Color LaserJet 2800 Series PS"));
    ASSERT_TRUE(testkit::installGhostscriptStandIn(kGswin));
    ASSERT_NE(0u, gs2_AutoSetupTessaloomPDF(nullptr, L"", 1));  // what the button runs
    const std::wstring button = machineState();

    Outcome removed = run(L"-UNINSTALL");
    expectRun(removed, 0, L"\r\nPrinter TessaloomPDF removed.\r\nPort TessaloomPDF: deleted through the Redirected Port "
                          L"monitor.\r\nGSPDF_SETUP set to 0.\r\nExit code 0");
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
              L"\tPort TessaloomPDF: added through the Redirected Port monitor (status 0).\r\n\t[Create Key (OK)] SYSTEM\\CurrentControlSet\\Control\\"
              L"Print\\Monitors\\Redirected Port\\Ports\r\n\r\n\t\t[f_CreatePort for Port: TessaloomPDF:] starts\r\n" +
                  writes + L"\t\t[f_CreatePort] ends. return code lretn = 0\r\n\t[gs2_AddRedirectedPortUsingRegistry] ends. "
                  L"Return code = 0\r\n\r\n\tResponse file kept as it is: " + testkit::documentsDir() +
                  L"\\TessaloomPDF\\tl2pdf.rsp\r\n\r\n\t[gs2_AddPrinter_Thru_Dll] starts\r\n\t\tDriver Name = HP Color "
                  L"LaserJet 2800 Series PS, Port Name= TessaloomPDF:, Display Name = TessaloomPDF\r\n\t\tSucceeded = "
                  L"rundll32 printui.dll,PrintUIEntry /if /m \"HP Color LaserJet 2800 Series PS\" /h[x64] /f "
                  L"%windir%\\inf\\ntprint.inf  /b \"TessaloomPDF\" /r \"TessaloomPDF:\"\r\n\t[gs2_AddPrinter_Thru_Dll] ends. "
                  L"Returns = 1\r\n[gs2_AutoSetupTessaloomPDF] Succeeded\r\n[gs2_AutoSetupTessaloomPDF] ends\r\n"
                  L"Response file " + rspPath() + L": owner: ",
              steps.substr(0, steps.find(L": owner: ") + 9));
    // Who can change it (the running account, an administrator, and LocalSystem), Ghostscript's
    // known escapes, then the response file that makes the verdict.
    EXPECT_NE(std::wstring::npos, steps.find(L"(S-1-5-18)"));
    EXPECT_EQ(std::wstring::npos, steps.find(L"[not an administrator]"));
    EXPECT_NE(std::wstring::npos, steps.find(L"\r\nGhostscript 9.05 is older than 10.03.1: a print job's PostScript can "
                                             L"escape its -dSAFER mode there (CVE-2023-36664, CVE-2024-33871), and every "
                                             L"job runs as LocalSystem. Update Ghostscript to 10.03.1 or later.\r\n"
                                             L"Response file: " + rspPath() + L"\r\nExit code 0: done\r\n"));
    EXPECT_EQ(button, machineState());

    Outcome status = run(L"-STATUS", true);
    expectRun(status, 0, L"\r\nGhostscript 9.05, console program C:\\gs\\gs9.05\\bin\\gswin32c.exe\r\nRedMon: C:\\");
    EXPECT_NE(std::wstring::npos, status.log.find(L"\r\nResponse file: " + rspPath() + L"\r\n"));
    EXPECT_NE(std::wstring::npos, status.log.find(L"\r\nPrinter TessaloomPDF: driver HP Color LaserJet 2800 Series PS, port "
                                                  L"TessaloomPDF:\r\nExit code 0"));
    // Four runs in one file: one mark, at its start, and the first run's lines still there.
    EXPECT_EQ(std::wstring::npos, status.log.find(L'\xFEFF'));
    EXPECT_NE(std::wstring::npos, status.log.find(L"-UNINSTALL\r\n[Installed Components]"));

    // The administrator's proof: a page through the whole chain, the user's PDF kept.
    const std::wstring pdf = userPdf();
    const std::wstring testPdf = testkit::documentsDir() + L"\\TessaloomPDF\\TessaloomPDF-test.pdf";
    testkit::writeFile(pdf, "mine");
    Outcome printed = run(L"\"-PRINTTEST\" -WAIT[30]", true);
    expectRun(printed, 0, (L"\r\nTest PDF: " + testPdf + L" (").c_str());
    EXPECT_NE(std::wstring::npos, printed.log.find(L"\r\n" + pdf + L" is kept aside as " + pdf + L".printtest-"));
    EXPECT_EQ("mine", testkit::readFile(pdf));
    EXPECT_NE(std::wstring::npos, testkit::pdfText(testPdf).find(L"TessaloomPDF test page")) << testkit::printLog();
    // A user's page becomes the PDF the response file names; the next one replaces it.
    for (const std::wstring &text : {L"first page " + std::to_wstring(GetTickCount()), std::wstring(L"second page")}) {
        ASSERT_TRUE(testkit::printText(L"TessaloomPDF", text)) << testkit::printLog();
        EXPECT_EQ(text + L"\n\n\f", testkit::pdfText(pdf)) << testkit::printLog();
    }
}

// The whole chain as a setup leaves it, made here: the port by the program's own writer (the
// monitor learns of it), the default response file, the printer on `printerPortName`.
void ready(const wchar_t *printerPortName = L"TessaloomPDF:")
{
    gs2_AddRedirectedPortUsingRegistry(nullptr, L"TessaloomPDF:", kGswin);
    DeleteFileW(rspPath().c_str());
    gs2_WriteDefaultRspFile(nullptr);
    testkit::addPrinter(L"TessaloomPDF", printerPortName, L"HP Color LaserJet 2800 Series PS");
}

// Ready to print, with a PDF of the user's at the place the default response file names.
void printable()
{
    testkit::installPdfDriver(L"HP Color LaserJet 2800 Series PS");
    testkit::installGhostscriptStandIn(kGswin);
    ready();
    testkit::writeFile(userPdf(), "mine");
}
void keptMine() { EXPECT_EQ("mine", testkit::readFile(userPdf())) << testkit::printLog(); }

// A policy value in the machine's own (64-bit) registry view; a null name removes the key.
void policy(const wchar_t *path, const wchar_t *name, DWORD value = 1)
{
    HKEY key;
    if (!name) {
        RegDeleteKeyExW(HKEY_LOCAL_MACHINE, path, KEY_WOW64_64KEY, 0);
    } else if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, path, 0, nullptr, 0, KEY_ALL_ACCESS | KEY_WOW64_64KEY, nullptr, &key,
                               nullptr) == ERROR_SUCCESS) {
        RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE *>(&value), sizeof value);
        RegCloseKey(key);
    }
}
const wchar_t kProtectedPrint[] = L"SOFTWARE\\Policies\\Microsoft\\Windows NT\\Printers\\WPP";
const wchar_t kFolderAccess[] =
    L"SOFTWARE\\Microsoft\\Windows Defender\\Windows Defender Exploit Guard\\Controlled Folder Access";

// Wine reads a file's security from its Unix owner and mode: a shell command on the file (chmod
// o+w, chown nobody, ln -s) is how a folder comes to be changeable by others here.
void onFile(const std::wstring &command, const std::wstring &path)
{
    EXPECT_EQ(0, testkit::runShell(command + L" '" + testkit::unixPath(path) + L"'")) << testing::PrintToString(command);
}
std::wstring dataFolder() { return testkit::documentsDir() + L"\\TessaloomPDF"; }
const wchar_t kMachineFolder[] = L"C:\\ProgramData\\TessaloomPDF";
const std::wstring kMachineRsp = std::wstring(kMachineFolder) + L"\\tl2pdf.rsp";

// The port key's DACL; kSealed denies everyone reading and deleting it (but not WRITE_DAC).
const wchar_t kSealed[] = L"D:(D;;0x10001;;;WD)(A;;KA;;;WD)", kOpen[] = L"D:(A;;KA;;;WD)";
void portKeySecurity(const wchar_t *sddl)
{
    PSECURITY_DESCRIPTOR sd = nullptr;
    HKEY key;
    ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl, SDDL_REVISION_1, &sd, nullptr);
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kPortKey, 0, WRITE_DAC, &key) == ERROR_SUCCESS) {
        RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, sd);
        RegCloseKey(key);
    }
    LocalFree(sd);
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
    HANDLE held = nullptr;
    const std::wstring fresh = testkit::tempDir(L"cli-fresh") + L"\\Documents";
    auto untouched = [&] {
        components(false, false), testkit::deleteRegTree(HKEY_CURRENT_USER, L"Software\\Brindlecourt");
        testkit::setDocuments(fresh);
    };
    auto versionIs = [](const wchar_t *code) -> std::function<void()> {
        return [code] { EXPECT_NE(std::wstring::npos, logText().find(L"\r\n[Windows Version]: " + std::wstring(code) + L" (")); };
    };
    auto madeNothing = [&] {
        EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesW((fresh + L"\\TessaloomPDF").c_str()));
        for (const wchar_t *key : {L"Software\\GPL Ghostscript", kMonitorKey})
            EXPECT_FALSE(keyExists(HKEY_LOCAL_MACHINE, key)) << testing::PrintToString(std::wstring(key));
        EXPECT_FALSE(keyExists(HKEY_CURRENT_USER, L"Software\\Brindlecourt"));
    };
    const std::wstring percentTemp = testkit::tempDir(L"cli-100%");
    std::wstring oldTemp;
    const struct Row {
        const wchar_t *arguments;
        DWORD code;
        std::wstring says;
        std::function<void()> prepare = nullptr;
        bool changes = false;  // the situation or the action registers the port or runs the installer
        std::function<void()> check = nullptr;
        const wchar_t *windows = nullptr;  // the Windows version Wine reports to this run
    } rows[] = {
        // A check and a removal on a machine without our keys leave it so: no key, folder or setting.
        {L"-STATUS", 5, L"\r\nGhostscript: not found\r\nRedMon: not found\r\n", untouched, false, madeNothing},
        {L"-UNINSTALL", 0, L"", untouched, false, madeNothing},
        {L"-SETUP -STATUS", 2, L"Usage error: give exactly one of -SETUP, -STATUS, -UNINSTALL and -PRINTTEST."},
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
             testkit::removeMonitor();
             HKEY key;  // a volatile key cannot hold the Ports key
             RegCreateKeyExW(HKEY_LOCAL_MACHINE, kMonitorKey, 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr,
                             &key, nullptr);
             RegCloseKey(key);
         }},
        {L"-SETUP", 14, L"\t\t\tRegKey: TessaloomPDF: (error) ", [] {
             HKEY key;  // nor the port's own key
             RegCreateKeyExW(HKEY_LOCAL_MACHINE, (std::wstring(kMonitorKey) + L"\\Ports").c_str(), 0, nullptr,
                             REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, &key, nullptr);
             RegCloseKey(key);
         }, true},
        {L"-SETUP", 7, L"\r\n\t\t[Message box, not shown] Message: Enabling PDF support failed because the system is "
                       L"missing ntprint.inf.\r\n", [] { testkit::removeStandIn(); }, true},
        {L"-SETUP", 7, L"missing rundll32.exe.", [] { DeleteFileW((testkit::systemDir() + L"\\rundll32.exe").c_str()); }, true},
        {L"-SETUP", 7, L"\t\tFailed = rundll32 printui.dll,PrintUIEntry /if /m \"Never Installed PS\" /h[x64] "
                       L"/f %windir%\\inf\\ntprint.inf  /b \"TessaloomPDF\" /r \"TessaloomPDF:\"\r\n\t[gs2_AddPrinter_Thru_Dll] "
                       L"ends. Returns = 0\r\n[gs2_AutoSetupTessaloomPDF] Failed\r\n[gs2_AutoSetupTessaloomPDF] ends\r\nDriver "
                       L"\"Never Installed PS\" is not installed for Windows x64: the printer installer could not add it",
         [] { testkit::setStandInMode(L"noop"), customise(L"Printer=Never Installed PS"); }, true},
        {L"-SETUP", 7, L"\t\tPrinter TessaloomPDF is on port \"LPT1:\", not on TessaloomPDF:.\r\n\t\tFailed = rundll32",
         [] { testkit::addPrinter(L"TessaloomPDF", L"LPT1:"), testkit::setStandInMode(L"keepold"); }, true},
        {L"-SETUP", 7, L"The setup file \"", [] { CreateDirectoryW(testkit::batchPath().c_str(), nullptr); }, true},
        // Nor one whose path cmd would expand.
        {L"-SETUP", 7, L"The setup file \"" + percentTemp + L"\\tl2pdf_setup.bat\"", [&] { oldTemp = testkit::setTemp(percentTemp); },
         true, [&] { testkit::setTemp(oldTemp); }},
        {L"-SETUP -DRIVER[100% PS]", 10, refused + L"100% PS\" cannot be used"},
        {L"-SETUP", 10, refused, [] { customise(L"Printer=HP PS\xFF02 & echo INJECTED>C:\\tlpdf-injected.txt & rem \xFF02"); }},
        {L"-SETUP", 10, refused, [] { customise(L"Printer=HP \xFF05windir\xFF05 PS \xFF06 more"); }},
        // A name the code page holds exactly is an ordinary one.
        {L"-SETUP", 0, L"Driver Name = Caf\xE9 PS, Port", [] { customise(L"Printer=Caf\xE9 PS"); }, true},
        // A name longer than a driver's may be is cut to the longest there can be.
        {L"-SETUP", 0, L"Driver Name = " + std::wstring(255, L'x') + L", Port", [] { customise(L"Printer=" + std::wstring(300, L'x')); },
         true, [] {
             testkit::deletePrinter(L"TessaloomPDF");
             std::wstring driver(255, L'x');  // a driver Wine would otherwise keep for the rows below
             EXPECT_TRUE(DeletePrinterDriverW(nullptr, nullptr, &driver[0]));
         }},
        {L"-SETUP", 0, L"Driver Name = Custom PS Driver, Port",
         [] { testkit::writeFile(testkit::customisationPath(), ";Printer=Not this\r\nprinter = Custom PS Driver  \r\n"); }, true},
        // Each Windows its version code in the log's header, and its default driver.
        {L"-SETUP", 0, L"Driver Name = Microsoft PS Class Driver, Port", nullptr, true, versionIs(L"1000"), L"win10"},
        {L"-SETUP", 0, L"Driver Name = Microsoft PS Class Driver, Port", nullptr, true, versionIs(L"602"), L"win8"},
        {L"-SETUP", 0, L"Driver Name = HP Color LaserJet 2800 Series PS, Port", nullptr, true, versionIs(L"601"), L"win7"},
        {L"-SETUP", 0, L"Driver Name = HP Color LaserJet 2800 Series PS, Port", nullptr, true, versionIs(L"600"), L"vista"},
        // A hard link at the batch file's name is never written through.
        {L"-SETUP", 0, L"Succeeded = rundll32", [&] {
             testkit::writeFile(precious, "keep these bytes"), CreateHardLinkW(testkit::batchPath().c_str(), precious.c_str(), nullptr);
         }, true, [&] { EXPECT_EQ("keep these bytes", testkit::readFile(precious)); }},
        // Set up before: the old printer is deleted first, the port key written again from scratch,
        // the response file of the Tessaloom program kept.
        {L"-SETUP", 0, L"\tExisting redirected port (TessaloomPDF:) removed.\r\n", [] {
             gs2_AddRedirectedPortUsingRegistry(nullptr, L"TessaloomPDF:", L"C:\\old\\gswin32c.exe");
             RegSetKeyValueW(HKEY_LOCAL_MACHINE, kPortKey, L"Leftover", REG_SZ, L"x", 4);
             testkit::addPrinter(L"TessaloomPDF", L"LPT1:"), testkit::writeFile(rspPath(), "own");
         }, true, [] {
             const auto log = testkit::standInLog();
             const std::wstring values = testkit::portValues(), runs = log.size() == 2 ? log[0].commandLine : L"<not two runs>";
             EXPECT_TRUE(values.find(L"Leftover") == std::wstring::npos &&
                         values.find(L"Command 1 60 C:\\gs\\gs9.05\\bin\\gswin32c.exe\n") != std::wstring::npos) << values;
             EXPECT_NE(std::wstring::npos, runs.find(L"printui.dll,PrintUIEntry /dl /n \"TessaloomPDF\"")) << runs;
             EXPECT_EQ(L"own|TessaloomPDF:", testkit::widen(testkit::readFile(rspPath())) + L"|" + printerPort());
         }},
        // A file where the data folder should be is kept; the printer is installed all the same.
        {L"-SETUP", 14, L"\t[Message box, not shown] Message: A file stands where the folder " + testkit::documentsDir() +
                           L"\\TessaloomPDF belongs.\r\n\tResponse file not written: its folder is not available", [] {
             testkit::removeTree(testkit::documentsDir() + L"\\TessaloomPDF");
             testkit::writeFile(testkit::documentsDir() + L"\\TessaloomPDF", "mine");
         }, true, [] {
             EXPECT_EQ("mine", testkit::readFile(testkit::documentsDir() + L"\\TessaloomPDF"));
             DeleteFileW((testkit::documentsDir() + L"\\TessaloomPDF").c_str());
         }},
        {L"-SETUP", 16, L"\tPrint Spooler service is disabled.\r\n\t[gs2_AutoSetupTessaloomPDF] " +
                           testkit::loadString(IDS_SPOOLER_REFUSED) + L"\r\n[gs2_AutoSetupTessaloomPDF] ends\r\n", [] {
             testkit::stopSpooler(), testkit::setSpoolerStart(SERVICE_DISABLED);
         }, false, [] { EXPECT_EQ(static_cast<DWORD>(SERVICE_STOPPED), testkit::spoolerState()); }},
        // A check follows a job's way: each link broken in turn, the rest as a setup leaves it.
        {L"-STATUS", 0, L"\r\nControlled folder access is on and C:\\gs\\gs9.05\\bin\\gswin32c.exe is not among",
         [] { ready(), policy(kFolderAccess, L"EnableControlledFolderAccess"); }, true, [] {
             // Switched off, or Ghostscript among the allowed: nothing to say.
             policy(kFolderAccess, L"EnableControlledFolderAccess", 0);
             const std::wstring log = run(L"-STATUS").log;
             EXPECT_EQ(std::wstring::npos, log.find(L"Controlled folder"));
             EXPECT_NE(std::wstring::npos, log.find(L"Command = " + std::wstring(kGswin) + L"\r\nArguments = @"));
             policy(kFolderAccess, L"EnableControlledFolderAccess");
             const std::wstring allowed = kFolderAccess + std::wstring(L"\\AllowedApplications");
             policy(allowed.c_str(), kGswin, 0);
             EXPECT_EQ(std::wstring::npos, run(L"-STATUS").log.find(L"Controlled folder"));
             policy(allowed.c_str(), nullptr), policy(kFolderAccess, nullptr);
         }},
        {L"-STATUS", 14, L"\r\nThe response file is missing: no PDF can come out (error 2: ",
         [] { ready(), DeleteFileW(rspPath().c_str()); }, true},
        {L"-STATUS", 14, L"\r\nThe response file cannot be read: no PDF can come out (error 32: ", [&] {
             ready(), held = CreateFileW(rspPath().c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
         }, true, [&] { CloseHandle(held); }},
        {L"-STATUS", 15, L"\r\nPDF output: C:\\tlpdf-nowhere\\%d.pdf\r\nThe folder C:\\tlpdf-nowhere for the PDF does not "
                         L"exist (error 2: ",
         [] { ready(), testkit::writeFile(rspPath(), "-sDEVICE=pdfwrite -o \"C:/tlpdf-nowhere/%%d.pdf\"\r\n"); }, true},
        {L"-STATUS", 16, L"\r\nPrint Spooler service is stopped.\r\nExit", [] { ready(), testkit::stopSpooler(); }, true},
        {L"-STATUS", 17, L"\r\nThe Print Spooler has no Redirected Port monitor loaded (error ", [] {
             ready();  // the monitor's library is gone: the spooler cannot load it
             RegSetKeyValueW(HKEY_LOCAL_MACHINE, kMonitorKey, L"Driver", REG_SZ, L"gone.dll", 18);
         }, true},
        {L"-STATUS", 18, L"\r\nThe Print Spooler does not list the port TessaloomPDF:.\r\nExit", [] {
             ready(), testkit::installMonitor();  // a spooler that never heard of it
         }, true},
        {L"-STATUS", 12, L"\r\nPrinter TessaloomPDF: driver ", [] { ready(L"LPT1:"); }, true},
        // A key that cannot be read is neither there nor gone.
        {L"-STATUS", 1, L"\r\nThe port's registry key cannot be read (error 5: ", [] { ready(), portKeySecurity(kSealed); },
         true, [] { portKeySecurity(kOpen); }},
        {L"-UNINSTALL", 13, L"\r\nRegistry key of port TessaloomPDF: could not be removed (error 5: ", [] {
             ready(), RegSetKeyValueW(HKEY_LOCAL_MACHINE, (kPortKey + std::wstring(L"\\Held")).c_str(), nullptr, REG_SZ, L"", 2);
             portKeySecurity(kSealed);  // Wine deletes a key whatever its DACL says, but not one with a subkey
         }, true, [] { portKeySecurity(kOpen); }},
        {L"\"-UNINSTALL\"", 0, L"\r\nCommand line: -LOG[C:\\tlpdf-cli.log] \"-UNINSTALL\"\r\n"},
        // The administrator's proof, each link broken for real: the user's PDF stays.
        {L"-PRINTTEST -WAIT[3]", 24, L"\r\nNo PDF came at ", [] { printable(), DeleteFileW(kGswin); }, true,
         [] { keptMine(); EXPECT_NE(std::wstring::npos, testkit::printLog().find(L"command not started: error 2")); }},
        {L"-PRINTTEST", 15, L"\r\nThe folder C:\\tlpdf-nowhere for the PDF does not exist",
         [] { printable(), testkit::writeFile(rspPath(), "-o C:/tlpdf-nowhere/x.pdf"); }, true, keptMine},
        {L"-PRINTTEST", 22, L"\r\nThe response file's output \"-\" is not a plain file",
         [] { printable(), testkit::writeFile(rspPath(), "-sDEVICE=pdfwrite -sOutputFile=-\r\n"); }, true, keptMine},
        {L"-PRINTTEST", 25, L"\r\nThe file written is not a complete PDF", [] {
             printable();
             std::wstring pdf = userPdf();
             std::replace(pdf.begin(), pdf.end(), L'\\', L'/');
             testkit::writeFile(rspPath(), "-sDEVICE=txtwrite -o \"" + std::string(pdf.begin(), pdf.end()) + "\"");
         }, true, keptMine},
        // Who can change what Ghostscript obeys as LocalSystem: only administrators may.
        {L"-SETUP", 26, L"\r\n" + dataFolder() + L" can be changed by Everyone (S-1-1-0), who is not an administrator "
                       L"(write data).", [] { CreateDirectoryW(dataFolder().c_str(), nullptr), onFile(L"chmod o+w", dataFolder()); },
         false, [] { onFile(L"chmod o-w", dataFolder()); }},
        {L"-STATUS", 26, L"\r\n" + rspPath() + L" can be changed by Everyone (S-1-1-0)",
         [] { ready(), onFile(L"chmod o+w", rspPath()); }, true, [] { onFile(L"chmod o-w", rspPath()); }},
        {L"-PRINTTEST", 26, L" can be changed by NT AUTHORITY\\ANONYMOUS LOGON (S-1-5-7), who is not an administrator (owner)",
         [] { ready(), onFile(L"chown nobody", dataFolder()); }, true, [] { onFile(L"chown root", dataFolder()); }},
        {L"-SETUP", 26, L"\r\n" + testkit::documentsDir() + L" can be changed by Everyone (S-1-1-0)",
         [] { onFile(L"chmod o+w", testkit::documentsDir()); }, false, [] { onFile(L"chmod o-w", testkit::documentsDir()); }},
        {L"-SETUP", 26, L"\r\n" + dataFolder() + L" can be changed by whoever made it, who is not an administrator (a link", [] {
             testkit::removeTree(dataFolder()), CreateDirectoryW(L"C:\\tlpdf-elsewhere", nullptr);
             testkit::runShell(L"ln -s '" + testkit::unixPath(L"C:\\tlpdf-elsewhere") + L"' '" + testkit::unixPath(dataFolder()) + L"'");
         }, false, [] { testkit::runShell(L"rm '" + testkit::unixPath(dataFolder()) + L"'"); }},
        // -MACHINE: one data folder, for administrators to change and every user to read.
        {L"-SETUP -MACHINE", 0, L"\tResponse file written: " + kMachineRsp, [] {
             testkit::removeTree(kMachineFolder), testkit::installPdfDriver(L"HP Color LaserJet 2800 Series PS");
             testkit::installGhostscriptStandIn(kGswin);
         }, true, [] {
             EXPECT_EQ(L"@\"" + kMachineRsp + L"\" -c save pop -f -", testkit::readRegString(HKEY_LOCAL_MACHINE, kPortKey, L"Arguments"));
             expectRun(run(L"-STATUS -MACHINE", true), 0, (L"\r\nResponse file " + kMachineRsp + L": owner: ").c_str());
             ASSERT_TRUE(testkit::printText(L"TessaloomPDF", L"for every user")) << testkit::printLog();
             EXPECT_EQ(L"for every user\n\n\f", testkit::pdfText(std::wstring(kMachineFolder) + L"\\TessaloomPDF.pdf"));
         }},
        {L"-SETUP -MACHINE", 26, L"\r\n" + kMachineRsp + L" can be changed by NT AUTHORITY\\ANONYMOUS LOGON (S-1-5-7)", [] {
             testkit::removeTree(kMachineFolder), CreateDirectoryW(kMachineFolder, nullptr);
             testkit::writeFile(kMachineRsp, "-dNOSAFER"), onFile(L"chown nobody", kMachineRsp);
         }, false, [] { EXPECT_EQ("-dNOSAFER", testkit::readFile(kMachineRsp)); testkit::removeTree(kMachineFolder); }},
        {L"-STATUS", 11, L"\r\nGhostscript 10.00 is older than 10.03.1: ", [] { testkit::installGhostscript(true, L"10.00"); }},
        {L"-STATUS", 11, L"\r\nGhostscript 10.03.1, console program", [] { testkit::installGhostscript(true, L"10.03.1"); }, false,
         [] { EXPECT_EQ(std::wstring::npos, logText().find(L"is older than")); }},
        {L"-SETUP -MACHINE -DOCUMENTS[C:\\]", 2, L"Usage error: -MACHINE and -DOCUMENTS name the data folder both"},
        // Machines where no PDF can come out: a setup changes nothing, a check says why.
        {L"-SETUP", 19, testkit::loadString(IDS_PROTECTED_PRINT_REFUSED),
         [] { policy(kProtectedPrint, L"WindowsProtectedPrintGroupPolicyState"); }, false, [] { policy(kProtectedPrint, nullptr); }},
        {L"-STATUS", 19, L"", [] { policy(kProtectedPrint, L"WindowsProtectedPrintGroupPolicyState"); }, false,
         [] { policy(kProtectedPrint, nullptr); }},
        {L"-SETUP -DOCUMENTS[N:\\docs]", 21, L"\r\nThe folder N:\\docs is on a network path."},
        {L"-SETUP", 21, L"\r\nThe folder \\\\tlpdfserver\\share\\Documents is on a network path.",
         [] { testkit::setDocuments(L"\\\\tlpdfserver\\share\\Documents"); }},
        {L"-UNINSTALL", 13, L"Printer TessaloomPDF is still installed", [] {
             testkit::removeStandIn();  // Wine's own installer deletes nothing
             testkit::addPrinter(L"TessaloomPDF");
         }, true},
        {L"-STATUS", 9, L"Because your Windows is not Vista nor Windows 7", nullptr, false, versionIs(L"501"), L"winxp"},
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

// Lines as scripts, PowerShell and MSI custom actions quote them, split as Windows splits them;
// a line that names no action is the window's, exactly as before: -SOURCE and -TARGET together
// make it a one-shot run whose source buffer takes TARGET's value.
TEST(ActionLine, SplitsAsWindowsDoes)
{
    const struct {
        std::wstring line;
        int unattended;
        AppAction action;
        const wchar_t *log, *driver;
        UINT usage;
        int oneShot;
        std::wstring source;
    } rows[] = {
        {L"\"-SETUP\"", 1, ACTION_SETUP, L"", L"", 0, 0, L""},
        {L"-STATUS \"-LOG[C:\\Deploy Logs\\pc42.log]\"", 1, ACTION_STATUS, L"C:\\Deploy Logs\\pc42.log", L"", 0, 0, L""},
        {L"-status -LOG[\"C:\\Deploy Logs\\pc42.log\"]", 1, ACTION_STATUS, L"C:\\Deploy Logs\\pc42.log", L"", 0, 0, L""},
        {L"-STATUS -LOG[C:\\Deploy\" \"Logs\\pc42.log]", 1, ACTION_STATUS, L"C:\\Deploy Logs\\pc42.log", L"", 0, 0, L""},
        {L"  -STATUS\t-LOG[C:\\Deploy Logs\\pc42.log]  ", 1, ACTION_STATUS, L"C:\\Deploy Logs\\pc42.log", L"", 0, 0, L""},
        {L"\"-SETUP\" \"-DRIVER[My \\\"PS\\\" \"\"Driver\\\\]\"", 1, ACTION_SETUP, L"", L"My \"PS\" \"Driver\\\\", 0, 0, L""},
        {L"\"-SETUP\" now", 1, ACTION_SETUP, L"", L"", IDS_USAGE_TRAILING, 0, L""},
        {L"report.pdf -STATUS", 1, ACTION_STATUS, L"", L"", IDS_USAGE_TRAILING, 0, L""},
        {L"\"-SETUP\" -LOG[C:\\a b.log", 1, ACTION_SETUP, L"", L"", IDS_USAGE_BRACKET, 0, L""},
        {L"-SOURCE[a b] -TARGET[c]", 0, ACTION_NONE, L"", L"", 0, 1, L"c"},
        {L"-source[x] -target[c:\\a b]", 0, ACTION_NONE, L"", L"", 0, 1, L"c:\\a b"},
        {L"-SOURCE[a] -TARGET[" + std::wstring(300, L'v') + L"]", 0, ACTION_NONE, L"", L"", 0, 1, std::wstring(256, L'v')},
        {L"-SOURCE[] -TARGET[b]", 0, ACTION_NONE, L"", L"", 0, 0, L""},
        {L"-TARGET[b]", 0, ACTION_NONE, L"", L"", 0, 0, L""},
        {L"-SOURCE[a]", 0, ACTION_NONE, L"", L"", 0, 0, L""},
        {L"\"report.pdf\" -SOURCE[a] -TARGET[b]", 0, ACTION_NONE, L"", L"", 0, 0, L""},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.line));
        ActionRequest request;
        EXPECT_EQ(row.unattended, appParseActionLine(row.line.c_str(), &request));
        EXPECT_EQ(row.action, request.action);
        EXPECT_EQ(std::wstring(row.log), request.log);
        EXPECT_EQ(std::wstring(row.driver), request.driver);
        EXPECT_EQ(row.usage, request.usageId);
        EXPECT_EQ(row.oneShot, appParseCommandLine(row.line.c_str()));
        EXPECT_EQ(row.source, appSourceBuffer());
        EXPECT_STREQ(L"", appTargetBuffer());
    }
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
// The button's box for a setup that cannot start; nothing may have changed.
std::wstring pressSetupInProcess()
{
    auto boxes = testkit::boxesDuring([] { appOnCommand(IDM_SETUP); });
    EXPECT_FALSE(keyExists(HKEY_LOCAL_MACHINE, kPortKey));
    return boxes.size() == 1 ? boxes[0].text : L"<" + std::to_wstring(boxes.size()) + L" boxes>";
}

TEST_F(Cli, SecondSetupWaitsForTheFirstOrGivesUp)
{
    ASSERT_TRUE(appRegisterClass(GetModuleHandleW(nullptr)));
    RECT rect = {120, 120, 570, 370};
    HWND window = appCreateMainWindow(&rect, GetModuleHandleW(nullptr), SW_SHOWNORMAL);
    // A lock that cannot be made at all (an object of another kind has its name) stops both alike.
    HANDLE squatter = CreateEventW(nullptr, TRUE, FALSE, kSetupLockName);
    EXPECT_EQ(1, appRunAction((L"-UNINSTALL -LOG[" + std::wstring(kLog) + L"]").c_str()));
    EXPECT_NE(std::wstring::npos, logText().find(L"\r\nThe setup of the TessaloomPDF printer cannot be kept apart"));
    std::wstring text = pressSetupInProcess();
    EXPECT_EQ(0u, text.find(L"The setup of the TessaloomPDF printer cannot be kept apart")) << testing::PrintToString(text);
    EXPECT_NE(std::wstring::npos, text.find(L"(error 6)"));
    CloseHandle(squatter);
    // Windows on ARM64, which Wine cannot be: the one answer stood in for.
    machTestSetNativeMachine(0xAA64);
    EXPECT_EQ(20, appRunAction(L"-SETUP"));
    EXPECT_EQ(testkit::loadString(IDS_ARM64_REFUSED), pressSetupInProcess());
    machTestSetNativeMachine(0);
    onFile(L"chmod o+w", testkit::documentsDir());  // anyone may replace the data folder
    EXPECT_EQ(0u, pressSetupInProcess().find(testkit::documentsDir() + L" can be changed by Everyone (S-1-1-0)"));
    onFile(L"chmod o-w", testkit::documentsDir());

    auto holder = std::make_unique<testkit::Child>(testkit::binPath(L"tlpdf_tests.exe"), L"--hold-setup-lock");
    ASSERT_TRUE(testkit::waitFor(lockHeld));
    lockTestSetWait(300);
    EXPECT_EQ(1618, appRunAction(L"-UNINSTALL"));
    EXPECT_EQ(-1, appRunAction(L"-SOURCE[a] -TARGET[b]"));  // the window's line: not an action
    EXPECT_EQ(testkit::loadString(IDS_SETUP_BUSY), pressSetupInProcess());
    DestroyWindow(window);
    appSetFrameWindow(nullptr);
    sysTestSetAdmin(0);
    EXPECT_EQ(8, appRunAction(L"-STATUS"));

    testkit::Child setup(testkit::binPath(L"tlpdf.exe"), L"-SETUP -LOG[" + std::wstring(kLog) + L"]");
    EXPECT_TRUE(testkit::waitFor([] { return logText().find(L"waiting up to 60 seconds") != std::wstring::npos; }, 30000));
    EXPECT_EQ(L"<none>", printerPort());
    holder.reset();  // its lock is abandoned, and taken over
    DWORD code = 99;
    EXPECT_TRUE(setup.waitExit(60000, &code));
    EXPECT_EQ(0u, code);
    EXPECT_EQ(L"TessaloomPDF:", printerPort());
}

}  // namespace
