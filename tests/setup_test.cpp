// The automatic setup end to end: registry, batch file, command interpreter, process wait,
// spooler and trace, with a stand-in printer installer in the test prefix.
#include <gtest/gtest.h>
#include <string>
#include "app/identity.h"
#include "detect/gs.h"
#include "detect/printers.h"
#include "diag/trace.h"
#include "res/resource.h"
#include "setup/autosetup.h"
#include "support/res.h"
#include "support/settings.h"
#include "support/sys.h"
#include "tests/common/standin.h"
#include "tests/common/testkit.h"

namespace {

using testkit::batchPath;
using testkit::customisationPath;

const wchar_t kSettingsKey[] = L"Software\\Brindlecourt\\TessaloomPDF\\tlpdf";
const wchar_t kMonitorKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Redirected Port";
const wchar_t kInstallTail[] = L" /f C:\\windows\\inf\\ntprint.inf  /b \"TessaloomPDF\" /r \"TessaloomPDF:\"";


std::wstring loaded(UINT id)
{
    wchar_t text[512];
    resLoadString(nullptr, id, text, 512);
    return text;
}

// GSPDF_SETUP as stored: -1 when absent.
long setupFlag() { return testkit::readRegDword(HKEY_CURRENT_USER, kSettingsKey, L"GSPDF_SETUP"); }

std::wstring printerPort(const wchar_t *name)
{
    HANDLE printer;
    if (!OpenPrinterW(const_cast<wchar_t *>(name), &printer, nullptr))
        return L"<none>";
    DWORD needed = 0;
    GetPrinterW(printer, 2, nullptr, 0, &needed);
    std::string buffer(needed, '\0');
    std::wstring port = L"<unknown>";
    if (needed && GetPrinterW(printer, 2, reinterpret_cast<BYTE *>(&buffer[0]), needed, &needed))
        port = reinterpret_cast<PRINTER_INFO_2W *>(&buffer[0])->pPortName;
    ClosePrinter(printer);
    return port;
}

class Setup : public testing::Test {
protected:
    void SetUp() override
    {
        appSetIdentity(GetModuleHandleW(nullptr));
        testkit::deleteRegTree(HKEY_CURRENT_USER, kSettingsKey);
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, kMonitorKey);
        testkit::deleteAllPrinters();
        DeleteFileW(customisationPath().c_str());
        installComponents(true, true);
        ASSERT_TRUE(testkit::installStandIn());
        sysTestReset();
        dbg_SetDebugMode(1);
        dbg_StartTrace();
    }
    void TearDown() override
    {
        dbg_SetDebugMode(0);
        sysTestReset();
        testkit::removeStandIn();
        testkit::deleteAllPrinters();
        installComponents(false, false);
        DeleteFileW(customisationPath().c_str());
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, kMonitorKey);
    }
    static void installComponents(bool ghostscript, bool redmon)
    {
        testkit::installGhostscript(ghostscript);
        testkit::installRedMon(redmon);
        gs2_ResetForTest();
    }
    // Runs the setup interactively in this process, collecting the boxes it shows.
    static UINT run(std::vector<testkit::BoxInfo> *boxes, int expectedBoxes, const wchar_t *driver = L"")
    {
        testkit::BoxWatcher watcher(expectedBoxes, expectedBoxes ? 20000 : 300);
        UINT result = gs2_AutoSetupTessaloomPDF(nullptr, driver, 1);
        *boxes = watcher.wait();
        return result;
    }
    static std::vector<std::wstring> installerLines()
    {
        std::vector<std::wstring> lines;
        for (const auto &r : testkit::standInLog())
            lines.push_back(r.tag + L" " + r.commandLine);
        return lines;
    }
};

TEST_F(Setup, SucceedsAndRecordsIt)
{
    std::vector<testkit::BoxInfo> boxes;
    EXPECT_NE(0u, run(&boxes, 0));
    EXPECT_TRUE(boxes.empty());  // the caller announces success
    EXPECT_EQ(L"TessaloomPDF:", printerPort(L"TessaloomPDF"));
    EXPECT_EQ(1, setupFlag());
    EXPECT_EQ(GetFileAttributesW(batchPath().c_str()), INVALID_FILE_ATTRIBUTES);
    std::vector<std::wstring> expected = {
        L"RAN rundll32  printui.dll,PrintUIEntry /if /m \"HP Color LaserJet 2800 Series PS\" /h[x64]" +
        std::wstring(kInstallTail)};
    auto lines = installerLines();
    ASSERT_EQ(1u, lines.size());
    // cmd may pass the program name on as it likes; compare from the entry point on.
    EXPECT_EQ(expected[0].substr(expected[0].find(L"printui")), lines[0].substr(lines[0].find(L"printui")));
    std::wstring trace = testkit::traceText();
    EXPECT_NE(std::wstring::npos, trace.find(L"\r\n[gs2_AutoSetupTessaloomPDF] starts\r\n"));
    EXPECT_NE(std::wstring::npos, trace.find(L"\t[gs2_AddPrinter_Thru_Dll] starts\r\n\t\tDriver Name = HP Color "
                                             L"LaserJet 2800 Series PS, Port Name= TessaloomPDF:, Display Name = "
                                             L"TessaloomPDF\r\n\t\tSucceeded = rundll32 printui.dll,PrintUIEntry /if"));
    EXPECT_NE(std::wstring::npos, trace.find(L"\t[gs2_AddPrinter_Thru_Dll] ends. Returns = 1\r\n"
                                             L"[gs2_AutoSetupTessaloomPDF] Succeeded\r\n"
                                             L"[gs2_AutoSetupTessaloomPDF] ends\r\n"));
    EXPECT_EQ(0, dbg_GetDepth());
    EXPECT_EQ(1, gs2_IsPdfPrinterInstalled());
}

TEST_F(Setup, DefaultResponseFileIsWrittenOnceAndNeverReplaced)
{
    const std::wstring folder = testkit::documentsDir() + L"\\TessaloomPDF";
    const std::wstring rsp = folder + L"\\tl2pdf.rsp";
    DeleteFileW(rsp.c_str());
    std::vector<testkit::BoxInfo> boxes;
    EXPECT_NE(0u, run(&boxes, 0));
    char expected[600];
    WideCharToMultiByte(CP_UTF8, 0, (folder + L"\\TessaloomPDF.pdf").c_str(), -1, expected, 600, nullptr, nullptr);
    std::string pdf = expected;
    for (char &c : pdf)
        if (c == '\\')
            c = '/';
    EXPECT_EQ("-sDEVICE=pdfwrite\r\n-dSAFER\r\n-dBATCH\r\n-dNOPAUSE\r\n-sOutputFile=\"" + pdf + "\"\r\n",
              testkit::readFile(rsp));
    EXPECT_NE(std::wstring::npos, testkit::traceText().find(L"\tResponse file written: " + rsp + L"\r\n"));

    testkit::writeFile(rsp, "-sDEVICE=pdfwrite\r\n-sOutputFile=\"C:/own.pdf\"\r\n");  // the Tessaloom program's own
    EXPECT_NE(0u, run(&boxes, 0));
    EXPECT_EQ("-sDEVICE=pdfwrite\r\n-sOutputFile=\"C:/own.pdf\"\r\n", testkit::readFile(rsp));
    EXPECT_NE(std::wstring::npos, testkit::traceText().find(L"\tResponse file kept as it is: " + rsp + L"\r\n"));
}

TEST_F(Setup, MissingComponentsShowAnEmptyErrorAndLeaveTheFlag)
{
    const struct {
        bool ghostscript, redmon;
    } rows[] = {{false, true}, {true, false}, {false, false}};
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << row.ghostscript << row.redmon);
        installComponents(row.ghostscript, row.redmon);
        dbg_StartTrace();
        std::vector<testkit::BoxInfo> boxes;
        EXPECT_EQ(0u, run(&boxes, 1));
        ASSERT_EQ(1u, boxes.size());
        EXPECT_EQ(L" Error", boxes[0].caption);
        EXPECT_EQ(L"", boxes[0].text);
        EXPECT_EQ(-1, setupFlag());
        // Only the two lines, the second one level deeper: that imbalance is kept.
        std::wstring trace = testkit::traceText();
        EXPECT_EQ(trace.size() - trace.find(L"\r\n[gs2_AutoSetupTessaloomPDF] starts"),
                  std::wstring(L"\r\n[gs2_AutoSetupTessaloomPDF] starts\r\n\t[gs2_AutoSetupTessaloomPDF] ends\r\n").size());
        dbg_Unindent();
    }
    EXPECT_TRUE(installerLines().empty());
}

TEST_F(Setup, UnreachablePortsKeyStopsBeforeThePrinter)
{
    HKEY key;
    RegCreateKeyExW(HKEY_LOCAL_MACHINE, kMonitorKey, 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, &key, nullptr);
    RegCloseKey(key);
    std::vector<testkit::BoxInfo> boxes;
    EXPECT_EQ(0u, run(&boxes, 1));
    ASSERT_EQ(1u, boxes.size());
    EXPECT_EQ(L" Error", boxes[0].caption);
    EXPECT_EQ(L"Failed to add TessaloomPDF redirected port.", boxes[0].text);
    EXPECT_EQ(-1, setupFlag());
    EXPECT_TRUE(installerLines().empty());
    EXPECT_NE(std::wstring::npos, testkit::traceText().find(L"\tFailed to add TessaloomPDF redirected port.\r\n"));
}

TEST_F(Setup, MissingInstallerFilesAreNamed)
{
    const std::wstring rundll32 = testkit::systemDir() + L"\\rundll32.exe";
    const std::wstring aside = rundll32 + L".aside";
    const struct {
        bool rundll32, ntprint;
        const wchar_t *missing;
    } rows[] = {{true, false, L"ntprint.inf"}, {false, true, L"rundll32.exe"}, {false, false, L"rundll32.exe and ntprint.inf"}};
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.missing)));
        testkit::installStandIn();
        if (!row.ntprint)
            testkit::removeNtprintInf();
        if (!row.rundll32) {
            ASSERT_TRUE(MoveFileW(rundll32.c_str(), aside.c_str()));
        }
        std::vector<testkit::BoxInfo> boxes;
        EXPECT_EQ(0u, run(&boxes, 2));
        if (!row.rundll32)
            MoveFileW(aside.c_str(), rundll32.c_str());
        ASSERT_EQ(2u, boxes.size());
        EXPECT_EQ(std::wstring(L"Enabling PDF support failed because the system is missing ") + row.missing + L".",
                  boxes[0].text);
        EXPECT_EQ(L" Error", boxes[1].caption);
        EXPECT_EQ(L"Failed to add TessaloomPDF printer driver.\r\n", boxes[1].text);
        EXPECT_EQ(0, setupFlag());
    }
}

TEST_F(Setup, InstallerThatAddsNoPrinterFails)
{
    testkit::setStandInMode(L"noop");
    std::vector<testkit::BoxInfo> boxes;
    EXPECT_EQ(0u, run(&boxes, 1));
    ASSERT_EQ(1u, boxes.size());
    EXPECT_EQ(loaded(IDS_PRINTER_FAILED).substr(0, 14), boxes[0].text.substr(0, 14));
    EXPECT_EQ(0, setupFlag());
    std::wstring trace = testkit::traceText();
    EXPECT_NE(std::wstring::npos, trace.find(L"\t\tFailed = rundll32 printui.dll,PrintUIEntry /if /m"));
    EXPECT_NE(std::wstring::npos, trace.find(L"[gs2_AutoSetupTessaloomPDF] Failed to add TessaloomPDF printer "
                                             L"driver.\r\n\r\n[gs2_AutoSetupTessaloomPDF] Failed\r\n"));
    EXPECT_EQ(GetFileAttributesW(batchPath().c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST_F(Setup, ExistingPrinterIsDeletedFirstAndThePortReplaced)
{
    ASSERT_TRUE(testkit::addPrinter(L"TessaloomPDF", L"LPT1:"));
    std::vector<testkit::BoxInfo> boxes;
    EXPECT_NE(0u, run(&boxes, 0));
    EXPECT_NE(0u, run(&boxes, 0));  // a second run replaces the port key
    auto lines = installerLines();
    ASSERT_EQ(4u, lines.size());
    EXPECT_NE(std::wstring::npos, lines[0].find(L"printui.dll,PrintUIEntry /dl /n \"TessaloomPDF\""));
    EXPECT_NE(std::wstring::npos, lines[1].find(L"printui.dll,PrintUIEntry /if"));
    EXPECT_EQ(L"TessaloomPDF:", printerPort(L"TessaloomPDF"));
    EXPECT_NE(std::wstring::npos, testkit::traceText().find(L"\tExisting redirected port (TessaloomPDF:) removed.\r\n"));
}

// An old printer that the installer cannot delete stays on its old port; the install then fails
// and the printer found afterwards is not ours.
TEST_F(Setup, OldPrinterThatCannotBeDeletedIsAFailure)
{
    ASSERT_TRUE(testkit::addPrinter(L"TessaloomPDF", L"LPT1:"));
    testkit::setStandInMode(L"keepold");
    std::vector<testkit::BoxInfo> boxes;
    EXPECT_EQ(0u, run(&boxes, 1));
    ASSERT_EQ(1u, boxes.size());
    EXPECT_EQ(L"Failed to add TessaloomPDF printer driver.\r\n", boxes[0].text);
    EXPECT_EQ(0, setupFlag());
    EXPECT_EQ(L"LPT1:", printerPort(L"TessaloomPDF"));
    EXPECT_EQ(2u, installerLines().size());  // the refused delete, then the install
    EXPECT_NE(std::wstring::npos, testkit::traceText().find(L"\t\tPrinter TessaloomPDF is on port \"LPT1:\", not on "
                                                            L"TessaloomPDF:.\r\n\t\tFailed = rundll32"));
}

// The response file's path must fit whole: at the limit the port's Arguments name it complete;
// one character more and the setup refuses, naming the folder, before anything is changed.
TEST_F(Setup, LongDocumentsPathGivesCompleteArgumentsOrARefusal)
{
    dbg_SetDebugMode(0);  // the trace file's own path would not fit either
    const std::wstring base = L"C:\\tlpdf-long";
    // Documents + "\\TessaloomPDF" + "\\tl2pdf.rsp" is 256 characters at the limit.
    const size_t limit = 256 - 13 - 11;
    for (size_t length : {limit, limit + 1}) {
        SCOPED_TRACE(length);
        testkit::removeTree(base);
        const std::wstring documents = base + L"\\" + std::wstring(length - base.size() - 1, L'd');
        ASSERT_EQ(length, documents.size());
        std::wstring previous = testkit::setDocuments(documents);
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, kMonitorKey);
        testkit::clearStandInLog();
        std::vector<testkit::BoxInfo> boxes;
        UINT result = run(&boxes, length == limit ? 0 : 1);
        const std::wstring arguments = testkit::readRegString(
            HKEY_LOCAL_MACHINE, (std::wstring(kMonitorKey) + L"\\Ports\\TessaloomPDF:").c_str(), L"Arguments");
        if (length == limit) {
            EXPECT_NE(0u, result);
            EXPECT_EQ(L"@\"" + documents + L"\\TessaloomPDF\\tl2pdf.rsp\" -c save pop -f -", arguments);
            EXPECT_NE(std::string::npos, testkit::readFile(documents + L"\\TessaloomPDF\\tl2pdf.rsp")
                                             .find("TessaloomPDF/TessaloomPDF.pdf\"\r\n"));
        } else {
            EXPECT_EQ(0u, result);
            ASSERT_EQ(1u, boxes.size());
            EXPECT_EQ(L"The folder " + documents + L"\\TessaloomPDF has too long a path for the TessaloomPDF "
                      L"printer's response file. Nothing was changed. Move the Documents folder to a shorter path, "
                      L"then run this setup again.", boxes[0].text);
            EXPECT_EQ(L"", arguments);  // no port key
            EXPECT_TRUE(installerLines().empty());
        }
        testkit::restoreDocuments(previous);
    }
    EXPECT_EQ(1, setupFlag());  // from the first run only
    testkit::removeTree(base);
}

TEST_F(Setup, DriverFromTheVersionOrTheCustomisationFile)
{
    const struct {
        DWORD major, minor;
        const wchar_t *driver;
    } versions[] = {{5, 1, L"HP Color LaserJet 4550 PS"},     {6, 0, L"HP Color LaserJet 2800 Series PS"},
                    {6, 1, L"HP Color LaserJet 2800 Series PS"}, {6, 2, L"Microsoft PS Class Driver"},
                    {6, 3, L"Microsoft PS Class Driver"},       {10, 0, L"Microsoft PS Class Driver"}};
    wchar_t driver[257];
    for (const auto &v : versions) {
        SysFacts facts = {};
        facts.major = v.major;
        facts.minor = v.minor;
        sysTestSetFacts(facts, 0);
        gs2_ChooseDriverName(driver);
        EXPECT_STREQ(v.driver, driver) << v.major << "." << v.minor;
    }
    sysTestReset();
    using namespace std::string_literals;
    const struct {
        std::string file;
        const wchar_t *driver;
    } files[] = {
        {"printer = Custom PS Driver  \r\n", L"Custom PS Driver"},
        {";Printer=Commented Out\r\nPRINTER=Second\r\nPrinter=Third\r\n", L"Second"},
        {"Printer=\r\nOther=x\r\n", L"HP Color LaserJet 2800 Series PS"},
        {"\xFF\xFEP\0r\0i\0n\0t\0e\0r\0=\0W\0i\0d\0e\0"s, L"Wide"},
    };
    for (const auto &f : files) {
        testkit::writeFile(customisationPath(), f.file);
        gs2_ChooseDriverName(driver);
        EXPECT_STREQ(f.driver, driver) << f.file.c_str();
    }
    // A driver given by the caller is used as it is.
    std::vector<testkit::BoxInfo> boxes;
    EXPECT_NE(0u, run(&boxes, 0, L"Given PS Driver"));
    auto lines = installerLines();
    ASSERT_FALSE(lines.empty());
    EXPECT_NE(std::wstring::npos, lines.back().find(L"/m \"Given PS Driver\" /h[x64]"));
}

TEST_F(Setup, OnWindowsXpTheFlagIsNeverWrittenAndTheLineSaysX86)
{
    SysFacts xp = {};
    xp.major = 5;
    xp.minor = 1;
    xp.is2000XpFamily = 1;
    sysTestSetFacts(xp, 0);  // not 64-bit
    std::vector<testkit::BoxInfo> boxes;
    EXPECT_NE(0u, run(&boxes, 0));
    EXPECT_EQ(-1, setupFlag());
    auto lines = installerLines();
    ASSERT_EQ(1u, lines.size());
    EXPECT_NE(std::wstring::npos, lines[0].find(L"/m \"HP Color LaserJet 4550 PS\" /h[x86]" + std::wstring(kInstallTail)));
}

TEST_F(Setup, DriverNameThatWouldChangeTheBatchLineIsRefused)
{
    for (const char *bad : {"Printer=Evil\" & del x\r\n", "Printer=100%% PS\r\n", "Printer=%windir%\r\n"}) {
        testkit::writeFile(customisationPath(), bad);
        std::vector<testkit::BoxInfo> boxes;
        EXPECT_EQ(0u, run(&boxes, 1));
        ASSERT_EQ(1u, boxes.size());
        EXPECT_EQ(L" Error", boxes[0].caption);
        EXPECT_NE(std::wstring::npos, boxes[0].text.find(L"cannot be used"));
    }
    EXPECT_EQ(-1, setupFlag());
    EXPECT_TRUE(installerLines().empty());
    HKEY key;
    EXPECT_NE(0, RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Redirected "
                                                   L"Port\\Ports\\TessaloomPDF:", 0, KEY_READ, &key));
    EXPECT_NE(std::wstring::npos, testkit::traceText().find(L"[gs2_AutoSetupTessaloomPDF] The printer driver name"));
}

// The real program: the setup button, the completion message, the exit; a rundll32.exe
// planted beside the program and in its current folder is never the one that runs.
TEST_F(Setup, RealProgramCompletesAndExitsWithoutRunningAPlantedInstaller)
{
    std::wstring work = testkit::tempDir(L"planted");
    std::wstring besideProgram = testkit::plantRundll32(testkit::exeDir());
    testkit::plantRundll32(work);
    testkit::Child child(testkit::binPath(L"tlpdf.exe"), L"", work);
    // A slow installer: the window keeps answering, stays disabled, and the progress dots grow.
    testkit::setStandInMode(L"sleep:2500");
    bool answered = false, disabled = false;
    std::wstring dots;
    testkit::BoxInfo info = testkit::pressSetup(child, true, 60000, [&](HWND main) {
        HWND progress = nullptr;
        testkit::waitFor([&] { return (progress = testkit::findTopWindow(child.pid(), L"#32770", L"Enabling PDF Support")) != nullptr; });
        HWND text = GetDlgItem(progress, IDC_PROGRESS_TEXT);
        testkit::waitFor([&] {
            wchar_t buffer[256] = L"";  // the edit's own text: GetWindowText does not ask another process
            SendMessageTimeoutW(text, WM_GETTEXT, 256, reinterpret_cast<LPARAM>(buffer), SMTO_NORMAL, 1000, nullptr);
            return (dots = buffer).find(L"\r\n..") != std::wstring::npos;
        });
        DWORD_PTR ignored;
        answered = SendMessageTimeoutW(main, WM_NULL, 0, 0, SMTO_NORMAL, 1000, &ignored) != 0;
        disabled = !IsWindowEnabled(main);
    });
    EXPECT_TRUE(answered);
    EXPECT_TRUE(disabled);
    EXPECT_NE(std::wstring::npos, dots.find(L"Please wait...\r\n..")) << testing::PrintToString(dots);
    ASSERT_NE(nullptr, info.window);
    EXPECT_EQ(L" Message", info.caption);
    EXPECT_EQ(L"TessaloomPDF driver setup completed. You can now restart your Tessaloom program.", info.text);
    testkit::closeMessageBox(info.window);
    DWORD code = 1;
    EXPECT_TRUE(child.waitExit(20000, &code));
    EXPECT_EQ(0u, code);
    DeleteFileW(besideProgram.c_str());

    for (const auto &r : testkit::standInLog())
        EXPECT_EQ(L"RAN", r.tag) << testing::PrintToString(r.module);
    EXPECT_EQ(L"TessaloomPDF:", printerPort(L"TessaloomPDF"));
    EXPECT_EQ(1, setupFlag());
    EXPECT_NE(std::wstring::npos, testkit::traceText().find(L"[gs2_AutoSetupTessaloomPDF] Succeeded\r\n"))
        << testing::PrintToString(testkit::traceText());
}

}  // namespace
