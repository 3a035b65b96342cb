// The real program under Wine, as an administrator meets it: one run per situation, each
// checking everything that situation shows (windows, boxes, exit code, registry, files, trace).
#include <gtest/gtest.h>
#include <string>
#include "res/resource.h"
#include "tests/common/standin.h"
#include "tests/common/testkit.h"

namespace {

using testkit::Child;
using testkit::loadString;
using testkit::windowText;

std::wstring program() { return testkit::binPath(L"tlpdf.exe"); }

// Returns once the program's thread has served everything posted before.
bool settle(HWND window)
{
    DWORD_PTR ignored;
    return SendMessageTimeoutW(window, WM_NULL, 0, 0, SMTO_NORMAL, 15000, &ignored) != 0;
}

const REGSAM kOtherView = sizeof(void *) == 8 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;

// Ghostscript 9.56 as its 64-bit installer registers it (the registry view of the other kind
// of process when this runner is 32-bit, and the other way round).
void installGhostscript64(bool installed)
{
    HKEY software;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software", 0, KEY_ALL_ACCESS | kOtherView, &software) == 0) {
        RegDeleteTreeW(software, L"GPL Ghostscript");
        const wchar_t dll[] = L"C:\\Program Files\\gs\\gs9.56\\bin\\gsdll64.dll";
        if (installed)
            RegSetKeyValueW(software, L"GPL Ghostscript\\9.56", L"GS_DLL", REG_SZ, dll, sizeof dll);
        RegCloseKey(software);
    }
}

class Program : public testing::Test {
protected:
    void SetUp() override
    {
        testkit::deleteRegTree(HKEY_CURRENT_USER, testkit::kSettingsKey);
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, testkit::kMonitorKey);
        testkit::deleteAllPrinters();
        testkit::installGhostscript(false);
        testkit::installRedMon(false);
        ASSERT_TRUE(testkit::installStandIn());
    }
    void TearDown() override
    {
        testkit::removeStandIn();
        testkit::removeMonitor();
        installGhostscript64(false);
        testkit::deleteAllPrinters();
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, testkit::kMonitorKey);
    }
};

// A typical 64-bit machine of today: Ghostscript only in its 64-bit installer's registry view,
// RedMon 1.9's library (no redmonnt.dll), a stopped spooler, a
// rundll32.exe planted beside the program and in its current folder. The administrator ticks
// debug mode, looks at About, presses setup and waits.
TEST_F(Program, SetsUpTodaysMachineFromTheWindow)
{
    installGhostscript64(true);
    const DWORD number = 5;
    RegSetKeyValueW(HKEY_CURRENT_USER, testkit::kSettingsKey, L"data_Win_Rect", REG_DWORD, &number, sizeof number);
    ASSERT_TRUE(testkit::installPdfDriver(L"HP Color LaserJet 2800 Series PS"));
    const std::wstring redmon19 = testkit::nativeSystemDir() + L"\\redmon64.dll";
    ASSERT_TRUE(testkit::writeFile(redmon19, "MZ"));
    ASSERT_TRUE(testkit::stopSpooler());
    const std::wstring work = testkit::tempDir(L"planted");
    const std::wstring besideProgram = testkit::plantRundll32(testkit::exeDir());
    testkit::plantRundll32(work);
    // Ghostscript reads the response file as UTF-8 and unescapes "%%": a Documents folder with
    // both must still name the PDF's folder exactly.
    const std::wstring documents = testkit::tempDir(L"Jos\xE9 100%done") + L"\\Documents";
    const std::wstring previousDocuments = testkit::setDocuments(documents);
    const std::wstring folder = documents + L"\\TessaloomPDF";

    // cmd splits an unquoted path at "&": the batch file must still run from such a folder.
    const std::wstring temp = testkit::tempDir(L"a&b (c) ^d e");
    const std::wstring oldTemp = testkit::setTemp(temp);
    Child child(program(), L"", work);
    testkit::setTemp(oldTemp);
    HWND main = testkit::waitTopWindow(child.pid(), L"tlpdf_class");
    ASSERT_NE(nullptr, main);
    HWND data = testkit::waitTopWindow(child.pid(), L"tl_DataWin");
    HWND dialog = nullptr;
    testkit::waitFor([&] { return (dialog = FindWindowExW(main, nullptr, L"#32770", nullptr)) != nullptr; });
    ASSERT_TRUE(dialog && settle(main));
    EXPECT_EQ(L"Tessaloom PDF Setup", windowText(main));
    EXPECT_EQ(L"Ghostscript version 9.56 installed\r\nRedMon installed.\r\nTessaloomPDF driver not installed.\r\n",
              windowText(GetDlgItem(dialog, IDC_COMPONENTS)));
    EXPECT_EQ(loadString(IDS_STATUS_READY), windowText(GetDlgItem(dialog, IDC_STATUS)));
    EXPECT_FALSE(IsWindowVisible(GetDlgItem(dialog, IDC_REPORT)));
    // The dialog fills the frame's client area exactly; the frame is centred in the work area.
    RECT frame, client, inner, area;
    POINT origin = {0, 0};
    GetWindowRect(main, &frame), GetClientRect(main, &client), GetWindowRect(dialog, &inner), ClientToScreen(main, &origin);
    SystemParametersInfoW(SPI_GETWORKAREA, 0, &area, 0);
    OffsetRect(&client, origin.x, origin.y);
    EXPECT_TRUE(EqualRect(&inner, &client));
    EXPECT_EQ((area.left + area.right - (frame.right - frame.left)) / 2, frame.left);
    EXPECT_EQ((area.top + area.bottom - (frame.bottom - frame.top)) / 2, frame.top);
    // The data window: owned by the main window, top-most while no setting says otherwise, and
    // along the bottom of the work area while its place is of the wrong type.
    ASSERT_NE(nullptr, data);
    EXPECT_EQ(L"Debug/Code Info", windowText(data));
    EXPECT_EQ(main, GetWindow(data, GW_OWNER));
    EXPECT_NE(0, GetWindowLongW(data, GWL_EXSTYLE) & WS_EX_TOPMOST);
    RECT place, standard = {area.left + 200, area.bottom - 140, area.right - 200, area.bottom};
    EXPECT_TRUE(GetWindowRect(data, &place) && EqualRect(&standard, &place));

    {
        PostMessageW(main, WM_COMMAND, IDM_ABOUT, 0);
        HWND about = testkit::waitTopWindow(child.pid(), L"#32770", L"About TessaloomPDF");
        ASSERT_NE(nullptr, about);
        ASSERT_TRUE(testkit::waitFor([&] { return IsWindowVisible(about) != FALSE; }));  // shown after its set-up
        EXPECT_EQ(L"Version 2.10|Copyright (C) 2026 Brindlecourt|https://www.example.com/",
                  windowText(GetDlgItem(about, IDC_VERSION)) + L"|" + windowText(GetDlgItem(about, IDC_COPYRIGHT)) + L"|" +
                      windowText(GetDlgItem(about, IDC_WEBSITE)));
        PostMessageW(about, WM_COMMAND, IDCANCEL, 0);  // Escape closes it
        ASSERT_TRUE(testkit::waitFor([&] { return !IsWindow(about); }));
    }

    // A slow installer: the window keeps answering, stays disabled, and the progress dots grow.
    // Debug mode ticked and setup pressed as a click sends them: a cross-process BM_CLICK depends
    // on mouse capture and focus.
    testkit::setStandInMode(L"sleep:2500");
    HWND debug = GetDlgItem(dialog, IDC_DEBUG), setup = GetDlgItem(dialog, IDC_SETUP), shown = nullptr;
    SendMessageW(debug, BM_SETCHECK, BST_CHECKED, 0);
    SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(IDC_DEBUG, BN_CLICKED), reinterpret_cast<LPARAM>(debug));
    PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(IDC_SETUP, BN_CLICKED), reinterpret_cast<LPARAM>(setup));
    HWND progress = testkit::waitTopWindow(child.pid(), L"#32770", L"Enabling PDF Support");
    std::wstring dots;
    testkit::waitFor([&] {
        wchar_t buffer[256] = L"";  // the edit's own text: GetWindowText does not ask another process
        SendMessageTimeoutW(GetDlgItem(progress, IDC_PROGRESS_TEXT), WM_GETTEXT, 256, reinterpret_cast<LPARAM>(buffer),
                            SMTO_NORMAL, 1000, nullptr);
        return (dots = buffer).find(L"\r\n..") != std::wstring::npos;
    });
    const bool answered = settle(main), disabled = !IsWindowEnabled(main);
    testkit::waitFor([&] { return (shown = testkit::findMessageBox(child.pid())) != nullptr; }, 60000);
    const testkit::BoxInfo box = testkit::readMessageBox(shown);
    EXPECT_TRUE(answered && disabled);
    EXPECT_NE(std::wstring::npos, dots.find(L"Please wait...\r\n..")) << testing::PrintToString(dots);
    ASSERT_NE(nullptr, box.window);
    EXPECT_EQ(L" Message", box.caption);
    EXPECT_EQ(L"TessaloomPDF driver setup completed. You can now restart your Tessaloom program.", box.text);
    testkit::closeMessageBox(box.window);
    DWORD code = 1;
    EXPECT_TRUE(child.waitExit(20000, &code));
    EXPECT_EQ(0u, code);
    DeleteFileW(besideProgram.c_str());

    const std::wstring rsp = folder + L"\\tl2pdf.rsp";
    EXPECT_EQ(L"Arguments 1 " + std::to_wstring(2 * (rsp.size() + 21)) + L" @\"" + rsp + L"\" -c save pop -f -\n"
              L"Command 1 88 C:\\Program Files\\gs\\gs9.56\\bin\\gswin64c.exe\n"
              L"Delay 4 4 300\nDescription 1 32 Redirected Port\nLogFileDebug 4 4 0\nLogFileName 1 0 \n"
              L"LogFileUse 4 4 0\nOutput 4 4 0\nPrintError 4 4 0\nPrinter 1 16 Printer\nRunUser 4 4 0\n"
              L"ShowWindow 4 4 2\n",
              testkit::portValues());
    DeleteFileW(redmon19.c_str());
    EXPECT_EQ(static_cast<DWORD>(SERVICE_RUNNING), testkit::spoolerState());
    EXPECT_EQ(L"TessaloomPDF:", testkit::printerPort(L"TessaloomPDF"));
    EXPECT_EQ(1, testkit::readRegDword(HKEY_CURRENT_USER, testkit::kSettingsKey, L"GSPDF_SETUP"));
    std::string pdf;
    for (wchar_t c : folder)
        pdf += c == L'\\' ? "/" : c == L'%' ? "%%" : c == L'\xE9' ? "\xC3\xA9" : std::string(1, static_cast<char>(c));
    EXPECT_EQ("-sDEVICE=pdfwrite\r\n-dSAFER\r\n-dBATCH\r\n-dNOPAUSE\r\n-sOutputFile=\"" + pdf + "/TessaloomPDF.pdf\"\r\n",
              testkit::readFile(rsp));
    auto runs = testkit::standInLog();
    ASSERT_EQ(1u, runs.size());  // no planted copy ran, and no delete was needed
    EXPECT_EQ(L"RAN", runs[0].tag);
    const std::wstring line = runs[0].commandLine;
    EXPECT_EQ(L"printui.dll,PrintUIEntry /if /m \"HP Color LaserJet 2800 Series PS\" /h[x64] /f "
              L"C:\\windows\\inf\\ntprint.inf  /b \"TessaloomPDF\" /r \"TessaloomPDF:\"",
              line.substr(std::min(line.size(), line.find(L"printui"))));
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesW((temp + L"\\tl2pdf_setup.bat").c_str()));
    // A page printed to the printer becomes the PDF that the response file names. RedMon's
    // monitor comes now: the setup above wrote the port without one.
    ASSERT_TRUE(testkit::installMonitor());
    ASSERT_TRUE(testkit::installGhostscriptStandIn(L"C:\\Program Files\\gs\\gs9.56\\bin\\gswin64c.exe"));
    const std::wstring page = L"Printed after the window's setup " + std::to_wstring(GetTickCount());
    ASSERT_TRUE(testkit::printText(L"TessaloomPDF", page)) << testkit::printLog();
    EXPECT_EQ(page + L"\n\n\f", testkit::pdfText(folder + L"\\TessaloomPDF.pdf")) << testkit::printLog();
    const std::wstring trace = testkit::traceText();
    testkit::restoreDocuments(previousDocuments);
    for (const wchar_t *part :
         {L"==System Info=======\r\n", L"\tPrint Spooler service is not running: starting it.\r\n",
          L"\tThe Redirected Port monitor cannot be opened; the port is written to the registry only (error 1796: "
          L"Unknown port.)\r\n\t[Create Key (OK)]",
          L"\tResponse file written: ", L"\t[gs2_AddPrinter_Thru_Dll] ends. Returns = 1\r\n"
                                        L"[gs2_AutoSetupTessaloomPDF] Succeeded\r\n[gs2_AutoSetupTessaloomPDF] ends\r\n"})
        EXPECT_NE(std::wstring::npos, trace.find(part)) << testing::PrintToString(part);
    testkit::removeTree(work);
    testkit::removeTree(temp);
}

// SOURCE and TARGET together make the program end after the first command it handles (the
// command line's reading is checked with the unattended ones).
TEST(ProgramStart, OneShotModeExitsAfterTheFirstHandledCommand)
{
    Child child(program(), L"-SOURCE[a] -TARGET[b]");
    HWND main = testkit::waitTopWindow(child.pid(), L"tlpdf_class");
    ASSERT_NE(nullptr, main);
    // The start-up command 37 and a command with a notification word are not handled.
    PostMessageW(main, WM_COMMAND, MAKEWPARAM(IDM_ABOUT, 1), 0);
    ASSERT_TRUE(settle(main));
    EXPECT_TRUE(child.running());
    PostMessageW(main, WM_COMMAND, IDM_ABOUT, 0);
    HWND about = testkit::waitTopWindow(child.pid(), L"#32770", L"About TessaloomPDF");
    ASSERT_NE(nullptr, about);
    PostMessageW(about, WM_COMMAND, IDOK, 0);
    EXPECT_TRUE(child.waitExit(15000));
}

}  // namespace
