// The automatic setup in this process: registry, response file, batch file, command interpreter,
// spooler and trace, with the stand-in printer installer and port monitor in the test prefix.
#include <gtest/gtest.h>
#include <functional>
#include <string>
#include "app/identity.h"
#include "detect/gs.h"
#include "detect/printers.h"
#include "diag/trace.h"
#include "res/resource.h"
#include "setup/autosetup.h"
#include "setup/port.h"
#include "support/sys.h"
#include "tests/common/standin.h"
#include "tests/common/testkit.h"

namespace {

using testkit::customisationPath;
using testkit::traceText;

const std::wstring kInstallTail = L" /f C:\\windows\\inf\\ntprint.inf  /b \"TessaloomPDF\" /r \"TessaloomPDF:\"";

long setupFlag() { return testkit::readRegDword(HKEY_CURRENT_USER, testkit::kSettingsKey, L"GSPDF_SETUP"); }

// The installer's command lines from the entry point on (cmd passes the program name as it likes).
std::vector<std::wstring> installerLines()
{
    std::vector<std::wstring> lines;
    for (const auto &r : testkit::standInLog())
        lines.push_back(r.tag + L" " + r.commandLine.substr(std::min(r.commandLine.size(), r.commandLine.find(L"printui"))));
    return lines;
}

// The customisation file as UTF-16 with its mark, so that any character can be put in.
void writeCustomisation(const std::wstring &text)
{
    std::string bytes = "\xFF\xFE";
    bytes.append(reinterpret_cast<const char *>(text.data()), text.size() * sizeof(wchar_t));
    testkit::writeFile(customisationPath(), bytes);
}

// A volatile key cannot hold non-volatile children: a way to make creating below it fail.
void makeVolatile(const std::wstring &path)
{
    testkit::deleteRegTree(HKEY_LOCAL_MACHINE, path.c_str());
    HKEY key;
    RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, &key,
                    nullptr);
    RegCloseKey(key);
}

class Setup : public testing::Test {
protected:
    void SetUp() override
    {
        appSetIdentity(GetModuleHandleW(nullptr));
        testkit::deleteRegTree(HKEY_CURRENT_USER, testkit::kSettingsKey);
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, testkit::kMonitorKey);
        testkit::deleteAllPrinters();
        DeleteFileW(customisationPath().c_str());
        components(true, true);
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
        testkit::removeMonitor();
        testkit::deleteAllPrinters();
        components(false, false);
        DeleteFileW(customisationPath().c_str());
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, testkit::kMonitorKey);
    }
    static void components(bool ghostscript, bool redmon)
    {
        testkit::installGhostscript(ghostscript);
        testkit::installRedMon(redmon);
        gs2_ResetForTest();
    }
    // Runs the setup interactively, collecting the boxes it shows.
    static UINT run(std::vector<testkit::BoxInfo> *boxes, int expectedBoxes, const wchar_t *driver = L"")
    {
        testkit::BoxWatcher watcher(expectedBoxes, expectedBoxes ? 20000 : 300);
        UINT result = gs2_AutoSetupTessaloomPDF(nullptr, driver, 1);
        *boxes = watcher.wait();
        return result;
    }
};

TEST_F(Setup, SucceedsThenReplacesPrinterAndPortButKeepsTheResponseFile)
{
    const std::wstring rsp = testkit::documentsDir() + L"\\TessaloomPDF\\tl2pdf.rsp";
    DeleteFileW(rsp.c_str());
    std::vector<testkit::BoxInfo> boxes;
    EXPECT_NE(0u, run(&boxes, 0));
    EXPECT_TRUE(boxes.empty());  // the caller announces success
    EXPECT_EQ(L"TessaloomPDF:", testkit::printerPort(L"TessaloomPDF"));
    EXPECT_EQ(1, setupFlag());
    EXPECT_EQ(1, gs2_IsPdfPrinterInstalled());
    EXPECT_EQ(0, dbg_GetDepth());
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesW(testkit::batchPath().c_str()));
    // The whole run as traced, but for the spooler's start, which depends on earlier tests.
    std::wstring steps, trace = traceText();
    for (size_t at = trace.find(L"\r\n[gs2_AutoSetupTessaloomPDF] starts") + 2, end; at < trace.size(); at = end + 2) {
        end = trace.find(L"\r\n", at);
        if (trace.compare(at, 23, L"\tPrint Spooler service ") != 0)
            steps += trace.substr(at, end + 2 - at);
    }
    const std::wstring data = testkit::documentsDir() + L"\\TessaloomPDF\\";
    std::wstring writes;
    for (const wchar_t *name : {L"TessaloomPDF:", L"Description", L"Command", L"Arguments", L"LogFileName", L"Printer",
                                L"Output", L"ShowWindow", L"RunUser", L"Delay", L"LogFileUse", L"LogFileDebug", L"PrintError"})
        writes += L"\t\t\tRegKey: " + std::wstring(name) + L" (succeeded)\r\n";
    EXPECT_EQ(L"[gs2_AutoSetupTessaloomPDF] starts\r\n\r\n\t[gs2_AddRedirectedPortUsingRegistry] starts\r\n"
              L"\tThe Redirected Port monitor cannot be opened; the port is written to the registry only (error 1796: "
              L"Unknown port.)\r\n\t[Create Key (OK)] SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Redirected "
              L"Port\\Ports\r\n\r\n\t\t[f_CreatePort for Port: TessaloomPDF:] starts\r\n" + writes +
              L"\t\t[f_CreatePort] ends. return code lretn = 0\r\n\t[gs2_AddRedirectedPortUsingRegistry] ends. Return "
              L"code = 0\r\n\r\n\tResponse file written: " + data + L"tl2pdf.rsp\r\n\t\tPDF output: " + data +
              L"TessaloomPDF.pdf\r\n\r\n\t[gs2_AddPrinter_Thru_Dll] starts\r\n\t\tDriver Name = HP Color LaserJet 2800 "
              L"Series PS, Port Name= TessaloomPDF:, Display Name = TessaloomPDF\r\n\t\tSucceeded = rundll32 "
              L"printui.dll,PrintUIEntry /if /m \"HP Color LaserJet 2800 Series PS\" /h[x64] /f %windir%\\inf\\ntprint.inf"
              L"  /b \"TessaloomPDF\" /r \"TessaloomPDF:\"\r\n\t[gs2_AddPrinter_Thru_Dll] ends. Returns = 1\r\n"
              L"[gs2_AutoSetupTessaloomPDF] Succeeded\r\n[gs2_AutoSetupTessaloomPDF] ends\r\n",
              steps);

    // The Tessaloom program's own response file stays; an old printer on another port is deleted
    // first, and the port key is written again from scratch.
    testkit::writeFile(rsp, "-sOutputFile=\"C:/own.pdf\"\r\n");
    testkit::deleteAllPrinters();
    ASSERT_TRUE(testkit::addPrinter(L"TessaloomPDF", L"LPT1:"));
    HKEY key;
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, testkit::kPortKey, 0, KEY_ALL_ACCESS, &key);
    RegSetValueExW(key, L"Leftover", 0, REG_SZ, reinterpret_cast<const BYTE *>(L"x"), 4);
    RegCloseKey(key);
    const std::wstring values = testkit::portValues();
    testkit::clearStandInLog();
    dbg_StartTrace();
    EXPECT_NE(0u, run(&boxes, 0));
    EXPECT_EQ("-sOutputFile=\"C:/own.pdf\"\r\n", testkit::readFile(rsp));
    EXPECT_EQ(values.substr(0, values.find(L"Leftover")) + values.substr(values.find(L"\n", values.find(L"Leftover")) + 1),
              testkit::portValues());
    EXPECT_EQ((std::vector<std::wstring>{L"RAN printui.dll,PrintUIEntry /dl /n \"TessaloomPDF\"",
                                         L"RAN printui.dll,PrintUIEntry /if /m \"HP Color LaserJet 2800 Series PS\" /h[x64]" +
                                             kInstallTail}),
              installerLines());
    EXPECT_EQ(L"TessaloomPDF:", testkit::printerPort(L"TessaloomPDF"));
    for (const wchar_t *line : {L"Existing redirected port (TessaloomPDF:) removed.\r\n",
                                L"\tResponse file kept as it is: "})
        EXPECT_NE(std::wstring::npos, traceText().find(line)) << testing::PrintToString(line);
}

// Each failure: the boxes it shows, GSPDF_SETUP afterwards (-1: never written), whether the
// installer ran, and a line of the trace.
TEST_F(Setup, FailuresAreShownTracedAndLeaveTheMachineAsTheySay)
{
    const std::wstring rundll32 = testkit::systemDir() + L"\\rundll32.exe";
    const std::wstring aside = rundll32 + L".aside";
    const std::wstring missing = L"Enabling PDF support failed because the system is missing ";
    const std::wstring printerFailed = L"Failed to add TessaloomPDF printer driver.\r\n";
    const std::wstring refused = testkit::loadString(IDS_DRIVER_NAME_REFUSED).substr(0, 20);
    const struct Row {
        const char *situation;
        std::function<void()> arrange;
        std::vector<std::wstring> boxes;  // a text ending in "*" is compared up to the star
        long flag;
        bool installerRan;
        std::wstring traced;
    } rows[] = {
        {"no Ghostscript", [] { components(false, true); }, {L""}, -1, false, L"\r\n[gs2_AutoSetupTessaloomPDF] starts\r\n\t[gs2_AutoSetupTessaloomPDF] ends\r\n"},
        {"no RedMon", [] { components(true, false); }, {L""}, -1, false, L"\r\n[gs2_AutoSetupTessaloomPDF] starts\r\n\t[gs2_AutoSetupTessaloomPDF] ends\r\n"},
        {"neither", [] { components(false, false); }, {L""}, -1, false, L"starts\r\n\t[gs2_AutoSetupTessaloomPDF] ends\r\n"},
        {"unreachable Ports key", [] { makeVolatile(testkit::kMonitorKey); },
         {L"Failed to add TessaloomPDF redirected port."}, -1, false,
         L"[gs2_AddRedirectedPortUsingRegistry] ends. Return code = 1021\r\n"},
        {"no ntprint.inf", [] { testkit::removeNtprintInf(); }, {missing + L"ntprint.inf.", printerFailed}, 0, false,
         L"\t\tEnabling PDF support failed because the system is missing ntprint.inf.\r\n"},
        {"no rundll32.exe", [&] { MoveFileW(rundll32.c_str(), aside.c_str()); }, {missing + L"rundll32.exe.", printerFailed}, 0, false, L""},
        {"neither file", [&] { testkit::removeNtprintInf(); MoveFileW(rundll32.c_str(), aside.c_str()); },
         {missing + L"rundll32.exe and ntprint.inf.", printerFailed}, 0, false, L""},
        {"installer adds nothing", [] { testkit::setStandInMode(L"noop"); },
         {testkit::loadString(IDS_PRINTER_FAILED).substr(0, 14) + L"*"}, 0, true,
         L"[gs2_AutoSetupTessaloomPDF] Failed to add TessaloomPDF printer driver.\r\n\r\n[gs2_AutoSetupTessaloomPDF] Failed\r\n"},
        {"old printer not deleted", [] { testkit::addPrinter(L"TessaloomPDF", L"LPT1:"); testkit::setStandInMode(L"keepold"); },
         {printerFailed}, 0, true, L"\t\tPrinter TessaloomPDF is on port \"LPT1:\", not on TessaloomPDF:.\r\n\t\tFailed = rundll32"},
        {"folder at the batch file's name", [] { CreateDirectoryW(testkit::batchPath().c_str(), nullptr); },
         {L"The setup file \"" + testkit::batchPath() + L"\" could not be created safely in the temporary folder, so "
          L"the printer was not installed. Close other programs and try again.", printerFailed}, 0, false, L"\t\tThe setup file \""},
        {"quote in the name", [] { testkit::writeFile(customisationPath(), "Printer=Evil\" & del x\r\n"); },
         {refused + L"*"}, -1, false, L"[gs2_AutoSetupTessaloomPDF] The printer driver name"},
        {"percent", [] { testkit::writeFile(customisationPath(), "Printer=%windir%\r\n"); }, {refused + L"*"}, -1, false, L""},
        // Best-fit conversion to the code page would turn these look-alikes into '"', '%', '&'.
        {"fullwidth quote", [] { writeCustomisation(L"Printer=HP PS\xFF02 & echo INJECTED>C:\\tlpdf-injected.txt & rem \xFF02\r\n"); },
         {refused + L"*"}, -1, false, L""},
        {"fullwidth percent", [] { writeCustomisation(L"Printer=HP \xFF05windir\xFF05 PS\r\n"); }, {refused + L"*"}, -1, false, L""},
        {"fullwidth ampersand", [] { writeCustomisation(L"Printer=HP PS \xFF06 more\r\n"); }, {refused + L"*"}, -1, false, L""},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.situation);
        SetUp();
        row.arrange();
        std::vector<testkit::BoxInfo> boxes;
        EXPECT_EQ(0u, run(&boxes, static_cast<int>(row.boxes.size())));
        MoveFileW(aside.c_str(), rundll32.c_str());
        RemoveDirectoryW(testkit::batchPath().c_str());
        ASSERT_EQ(row.boxes.size(), boxes.size());
        for (size_t i = 0; i < boxes.size(); i++) {
            const std::wstring &want = row.boxes[i];
            EXPECT_EQ(i + 1 == boxes.size() ? std::wstring(L" Error") : boxes[i].caption, boxes[i].caption);
            if (!want.empty() && want.back() == L'*')
                EXPECT_EQ(want.substr(0, want.size() - 1), boxes[i].text.substr(0, want.size() - 1));
            else
                EXPECT_EQ(want, boxes[i].text);
        }
        EXPECT_EQ(row.flag, setupFlag());
        EXPECT_EQ(row.installerRan, !testkit::standInLog().empty());
        if (row.flag < 0) {
            EXPECT_EQ(L"", testkit::portValues());
        }
        EXPECT_NE(std::wstring::npos, traceText().find(row.traced)) << testing::PrintToString(traceText());
        EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesW(L"C:\\tlpdf-injected.txt"));
        while (dbg_GetDepth() > 0)
            dbg_Unindent();  // the missing-component path leaves the trace one level deep on purpose
    }
}

// A name the code page holds exactly is ordinary; a hard link at the batch file's name is never
// written through.
TEST_F(Setup, OrdinaryNamesAndLinksAtTheBatchNameStillInstall)
{
    const std::string precious = "keep these bytes\r\n";
    const std::wstring target = testkit::tempDir(L"linktarget") + L"\\precious.txt";
    ASSERT_TRUE(testkit::writeFile(target, precious));
    ASSERT_TRUE(CreateHardLinkW(testkit::batchPath().c_str(), target.c_str(), nullptr));
    writeCustomisation(L"Printer=Caf\xE9 PS\r\n");
    std::vector<testkit::BoxInfo> boxes;
    EXPECT_NE(0u, run(&boxes, 0));
    EXPECT_EQ(precious, testkit::readFile(target));
    auto lines = installerLines();
    ASSERT_EQ(1u, lines.size());
    EXPECT_EQ(0u, lines[0].find(L"RAN printui.dll,PrintUIEntry /if /m \"Caf"));
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesW(testkit::batchPath().c_str()));
}

// The response file's path must fit whole: at the limit the port's Arguments name it complete;
// one character more and the setup refuses, naming the folder, before anything is changed.
TEST_F(Setup, LongDocumentsPathGivesCompleteArgumentsOrARefusal)
{
    dbg_SetDebugMode(0);  // the trace file's own path would not fit either
    const std::wstring base = L"C:\\tlpdf-long";
    const size_t limit = 256 - 13 - 11;  // Documents + "\\TessaloomPDF" + "\\tl2pdf.rsp" is 256
    for (size_t length : {limit, limit + 1}) {
        SCOPED_TRACE(length);
        testkit::removeTree(base);
        const std::wstring documents = base + L"\\" + std::wstring(length - base.size() - 1, L'd');
        std::wstring previous = testkit::setDocuments(documents);
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, testkit::kMonitorKey);
        testkit::clearStandInLog();
        std::vector<testkit::BoxInfo> boxes;
        UINT result = run(&boxes, length == limit ? 0 : 1);
        testkit::restoreDocuments(previous);
        const std::wstring arguments =
            testkit::readRegString(HKEY_LOCAL_MACHINE, testkit::kPortKey, L"Arguments");
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
            EXPECT_EQ(L"", arguments);
            EXPECT_TRUE(installerLines().empty());
        }
    }
    EXPECT_EQ(1, setupFlag());  // from the first run only
    testkit::removeTree(base);
}

TEST_F(Setup, DriverFromTheVersionTheCustomisationFileOrTheCaller)
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
    std::vector<testkit::BoxInfo> boxes;
    EXPECT_NE(0u, run(&boxes, 0, L"Given PS Driver"));
    // Windows XP: the x86 line, and the flag is never written.
    SysFacts xp = {};
    xp.major = 5;
    xp.minor = 1;
    xp.is2000XpFamily = 1;
    sysTestSetFacts(xp, 0);
    DeleteFileW(customisationPath().c_str());
    testkit::deleteRegTree(HKEY_CURRENT_USER, testkit::kSettingsKey);
    EXPECT_NE(0u, run(&boxes, 0));
    EXPECT_EQ(-1, setupFlag());
    auto lines = installerLines();
    ASSERT_EQ(3u, lines.size());
    EXPECT_EQ(L"RAN printui.dll,PrintUIEntry /if /m \"Given PS Driver\" /h[x64]" + kInstallTail, lines[0]);
    EXPECT_EQ(L"RAN printui.dll,PrintUIEntry /if /m \"HP Color LaserJet 4550 PS\" /h[x86]" + kInstallTail, lines[2]);
}

// A running spooler learns about the port through the monitor's AddPort only when the monitor
// does not list it yet; without the monitor the registry alone does it. The key ends with the
// same values either way.
TEST_F(Setup, PortRegistrationTellsTheMonitorOnlyWhatItLacks)
{
    const struct {
        bool monitor, listed;
        std::vector<std::wstring> log;
        const wchar_t *trace;
    } rows[] = {
        {true, false, {L"AddPort\tTessaloomPDF:"}, L"\r\nPort TessaloomPDF: added through the Redirected Port monitor (status 0).\r\n[Create Key (OK)]"},
        {true, true, {}, L"\r\nPort TessaloomPDF: is known to the spooler.\r\n[Create Key (OK)]"},
        {false, false, {}, L"\r\nThe Redirected Port monitor cannot be opened; the port is written to the registry only (error "},
    };
    std::wstring values;
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << row.monitor << row.listed);
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, testkit::kMonitorKey);
        if (row.monitor) {
            ASSERT_TRUE(testkit::installMonitor());
            testkit::setMonitorPorts(row.listed ? std::vector<std::wstring>{L"TessaloomPDF:"} : std::vector<std::wstring>{});
        } else {
            testkit::removeMonitor();
        }
        dbg_StartTrace();
        for (int run = 0; run < 2; run++)  // the second run finds the port listed
            ASSERT_EQ(1, gs2_AddRedirectedPortUsingRegistry(nullptr, L"TessaloomPDF:", L"C:\\gs\\gswin32c.exe"));
        EXPECT_EQ(row.log, testkit::monitorLog());
        EXPECT_EQ(values.empty() ? testkit::portValues() : values, testkit::portValues());
        values = testkit::portValues();
        EXPECT_NE(std::wstring::npos, traceText().find(row.trace)) << testing::PrintToString(traceText());
    }
    EXPECT_EQ(1, gs2_RedirectedPortExists(L"TessaloomPDF:"));
    EXPECT_EQ(1, gs2_DeleteRedirectedPort(L"TessaloomPDF:"));
    EXPECT_EQ(1, gs2_DeleteRedirectedPort(L"TessaloomPDF:"));  // nothing to delete
    EXPECT_EQ(0, gs2_RedirectedPortExists(L"TessaloomPDF:"));
    EXPECT_EQ(L"", testkit::portValues());  // neither created the key again

    // A port key that cannot be written is traced but does not fail the registration.
    makeVolatile(std::wstring(testkit::kMonitorKey) + L"\\Ports");
    EXPECT_EQ(1, gs2_AddRedirectedPortUsingRegistry(nullptr, L"TessaloomPDF:", L"C:\\gs\\gswin32c.exe"));
    EXPECT_NE(std::wstring::npos, traceText().find(L"\t\tRegKey: TessaloomPDF: (error) "));
    EXPECT_NE(std::wstring::npos, traceText().find(L"[f_CreatePort] failed\r\n"));
    wchar_t arguments[256];
    ASSERT_EQ(1, gs2_BuildPortArguments(1, arguments));  // the file output mode
    EXPECT_EQ(L"@\"" + testkit::documentsDir() + L"\\TessaloomPDF\\tlpdf.rsp\" -sOutputFile=\"%1\" -c save pop -f -",
              arguments);
}

}  // namespace
