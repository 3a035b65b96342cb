// What a user meets inside the program: the main dialog, message boxes, the debug trace and
// report, and the data window.
#include <gtest/gtest.h>
#include <windows.h>
#include <commctrl.h>
#include <dlgs.h>
#include <mapi.h>
#include <string>
#include <thread>
#include "app/identity.h"
#include "app/maindlg.h"
#include "app/window.h"
#include "detect/gs.h"
#include "diag/datawin.h"
#include "diag/report.h"
#include "diag/trace.h"
#include "res/resource.h"
#include "support/appstate.h"
#include "support/dt.h"
#include "support/msg.h"
#include "support/settings.h"
#include "support/shell.h"
#include "support/sys.h"
#include "tests/common/testkit.h"

namespace {

using testkit::loadString;
using testkit::tracePath;

// What the boxes shown during `action` said, a line each: "caption|text".
std::wstring seen(const std::function<void()> &action, int count = 1)
{
    std::wstring lines;
    for (const auto &box : testkit::boxesDuring(action, count))
        lines += box.caption + L"|" + box.text + L"\n";
    return lines;
}

void pump()
{
    MSG msg;
    while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE))
        if (msg.message != WM_QUIT)
            DispatchMessageW(&msg);
}

class Ui : public testing::Test {
protected:
    void SetUp() override
    {
        appSetInstance(GetModuleHandleW(nullptr));
        appSetIdentity(GetModuleHandleW(nullptr));
        appRegisterClass(GetModuleHandleW(nullptr));
        testkit::deleteAllPrinters();
        components(false, false);
        dbg_SetDebugMode(0);
        SetFileAttributesW(tracePath().c_str(), FILE_ATTRIBUTE_NORMAL);
        DeleteFileW(tracePath().c_str());
    }
    void TearDown() override
    {
        if (IsWindow(appGetMainWindow()))
            DestroyWindow(appGetMainWindow());
        pump();
        appSetFrameWindow(nullptr);  // a dead frame would own the next test's boxes, which never show
        msgSetDefaultOwner(nullptr);
        dw_CloseDataWindow();
        testkit::deleteAllPrinters();
        components(false, false);
        mapiTestSetSendMail(nullptr);
        dt_TestSetNow(0);
        sysTestReset();
        dbg_SetDebugMode(0);
    }
    static void components(bool gs, bool redmon)
    {
        testkit::installGhostscript(gs);
        testkit::installRedMon(redmon);
        gs2_ResetForTest();
    }
    static HWND open()
    {
        gs2_ResetForTest();
        RECT rect = {120, 120, 570, 370};
        HWND main = appCreateMainWindow(&rect, GetModuleHandleW(nullptr), SW_SHOWNORMAL);
        pump();
        return main ? appGetMainDialog() : nullptr;
    }
    static std::wstring item(HWND dialog, int id) { return testkit::windowText(GetDlgItem(dialog, id)); }
    static bool enabled(HWND dialog, int id) { return IsWindowEnabled(GetDlgItem(dialog, id)) != FALSE; }
    static bool visible(HWND dialog, int id) { return IsWindowVisible(GetDlgItem(dialog, id)) != FALSE; }
    static void click(HWND dialog, int id) { SendMessageW(GetDlgItem(dialog, id), BM_CLICK, 0, 0); }
};

// What the report hands to MAPISendMail, captured at the call.
std::string g_sent;
ULONG g_result;
ULONG WINAPI fakeSendMail(ULONG_PTR, ULONG_PTR parent, void *data, ULONG flags, ULONG)
{
    auto *m = static_cast<MapiMessage *>(data);
    g_sent = std::to_string(parent == reinterpret_cast<ULONG_PTR>(GetDesktopWindow())) + " " + std::to_string(flags) +
             " " + m->lpszSubject + " " + std::to_string(m->lpszNoteText == nullptr && m->lpOriginator == nullptr) +
             " " + std::to_string(m->nRecipCount) + " " + std::to_string(m->nFileCount);
    if (m->nRecipCount)
        g_sent += " " + std::to_string(m->lpRecips[0].ulRecipClass) + " " + m->lpRecips[0].lpszAddress + " " +
                  std::to_string(m->lpRecips[0].lpszName == nullptr);
    if (m->nFileCount)
        g_sent += std::string(" ") + m->lpFiles[0].lpszPathName + " [" + m->lpFiles[0].lpszFileName + "] " +
                  std::to_string(static_cast<long>(m->lpFiles[0].nPosition));
    return g_result;
}

TEST_F(Ui, MainDialogShowsTheComponentsAndOffersSetupOnlyWhenBothAreThere)
{
    const struct {
        bool gs, redmon;
        const wchar_t *printer;  // ours by its first word, A to Z folded
        const wchar_t *summary;
        UINT status;
    } rows[] = {
        {false, false, L"TessaloomPDF2", L"Ghostscript not installed.\r\nRedMon not installed.\r\nTessaloomPDF driver not installed.\r\n", IDS_STATUS_MISSING},
        {false, true, L" TessaloomPDF", L"Ghostscript not installed.\r\nRedMon installed.\r\nTessaloomPDF driver not installed.\r\n", IDS_STATUS_MISSING},
        {true, true, L"tessaloompdf Copy", L"Ghostscript version 9.05 installed\r\nRedMon installed.\r\nTessaloomPDF driver installed\r\n", IDS_STATUS_DONE},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << row.gs << row.redmon);
        components(row.gs, row.redmon);
        ASSERT_TRUE(testkit::addPrinter(row.printer));
        HWND dialog = open();
        ASSERT_NE(nullptr, dialog);
        EXPECT_EQ(row.summary, item(dialog, IDC_COMPONENTS));
        EXPECT_EQ(loadString(row.status), item(dialog, IDC_STATUS));
        EXPECT_EQ(row.gs && row.redmon, enabled(dialog, IDC_SETUP));
        EXPECT_EQ(L"Or go to: https://www.example.com/tessaloom/pdf-instructions.html", item(dialog, IDC_URL));
        DestroyWindow(appGetMainWindow());
        pump();
        testkit::deleteAllPrinters();
    }
    // Installed later: the status follows, the button keeps the flags cached at start-up.
    components(false, false);
    HWND dialog = open();
    components(true, true);
    appRefreshMainDialog();
    EXPECT_EQ(loadString(IDS_STATUS_READY), item(dialog, IDC_STATUS));
    EXPECT_FALSE(enabled(dialog, IDC_SETUP));
}

TEST_F(Ui, DebugModeStartsATraceThatTheReportButtonMails)
{
    HWND dialog = open();
    ASSERT_NE(nullptr, dialog);
    mapiTestSetSendMail(fakeSendMail);
    g_sent = "none", g_result = 0;
    dbg_SendDebugReport();  // no trace file: nothing sent
    EXPECT_EQ("none", g_sent);
    click(dialog, IDC_DEBUG);
    EXPECT_EQ(1, dbg_IsDebugMode());
    EXPECT_TRUE(visible(dialog, IDC_REPORT));
    EXPECT_FALSE(enabled(dialog, IDC_REPORT));  // no setup run yet
    const std::wstring trace = testkit::traceText();
    EXPECT_EQ(0u, trace.find(L"==System Info=======\r\n"));
    appRefreshMainDialog();  // what the window does after a setup run
    EXPECT_TRUE(enabled(dialog, IDC_REPORT));
    SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(IDC_REPORT, BN_CLICKED), 0);
    const std::wstring path = tracePath();  // the trace, mailed with all the message's fields set
    EXPECT_EQ("1 9 TLPDF Debug Report 1 1 1 1 support@example.com 1 " + std::string(path.begin(), path.end()) + " [] -1", g_sent);
    EXPECT_EQ(1, mainDlgGetReportSubmitted());
    click(dialog, IDC_DEBUG);  // unticked: trace off, button hidden, file kept
    EXPECT_EQ(0, dbg_IsDebugMode());
    EXPECT_FALSE(visible(dialog, IDC_REPORT));
    EXPECT_EQ(trace, testkit::traceText());
    // Handed over: success, a cancelled compose, a failed log-on. Anything else is not.
    for (const auto &r : std::initializer_list<std::pair<ULONG, int>>{{0, 1}, {1, 1}, {3, 1}, {2, 0}, {11, 0}}) {
        g_result = r.first;
        EXPECT_EQ(r.second, mapi_SendMailWithAttachment(GetDesktopWindow(), L"a@example.com", L"s", L"C:\\x.txt")) << r.first;
    }
}

// Run in the process, where the administrator check has a seam: Wine always runs as one.
TEST_F(Ui, NonAdministratorIsWarnedAndTheWindowCloses)
{
    sysTestSetAdmin(0);
    EXPECT_EQ(L"  Warning|This program must be run as Administrator in order to work. Program will not start.\n",
              seen([] { ASSERT_NE(nullptr, open()); }));
    pump();
    EXPECT_FALSE(IsWindow(appGetMainWindow()));
}

TEST_F(Ui, MessageBoxesCaptionsTextsAndTheIdsThatStaySilent)
{
    for (UINT id : {UINT(IDS_MISSING_GS), UINT(IDS_MISSING_BOTH), UINT(IDS_MISSING_REDMON), UINT(IDS_MEMGALLOC_FAILED),
                    UINT(IDS_FOLDER_BLOCKED), UINT(IDS_WAIT_TIMEOUT), UINT(IDS_OPEN_FAILED), UINT(IDS_FLERR_KIND1), 0u}) {
        EXPECT_EQ(0, msgErrorBoxId(nullptr, id)) << id;
        EXPECT_EQ(0, msgErrorBoxIdText(nullptr, id, L"extra")) << id;
    }
    EXPECT_EQ(nullptr, testkit::findMessageBox(GetCurrentProcessId()));
    EXPECT_EQ(L" Error|body\n  Warning|body\n Error|first\r\n\r\nsecond\n Error|alone\n", seen([] {
                  EXPECT_EQ(IDOK, msgErrorBox(nullptr, L"body"));
                  EXPECT_EQ(IDOK, msgWarningBox(nullptr, L"body"));
                  msgErrorBox2(nullptr, L"first", L"second"), msgErrorBox2(nullptr, L"alone", L"");
              }, 4));
    // A document the shell cannot open: one box, as silent as its message ids.
    EXPECT_EQ(L" Message|\n", seen([] { EXPECT_GE(32, OpenDocumentOrUrl(nullptr, L"C:\\tlpdf-no-such-document.tlpdf")); }));
}

// Requests made while a box is up show no second box: they are parked, and nothing shows them.
int g_parkedResults = -1;
void CALLBACK reenterWhileShowing(HWND, UINT, UINT_PTR id, DWORD)
{
    KillTimer(nullptr, id);
    g_parkedResults = 0;
    for (int i = 1; i <= 11; i++)
        g_parkedResults += msgWarningBox(nullptr, (L"parked " + std::to_wstring(i)).c_str());
    if (HWND box = testkit::findMessageBox(GetCurrentProcessId()))
        testkit::closeMessageBox(box);
}

TEST_F(Ui, MessageBoxesParkReentrantRequestsAndCentreOverTheFrame)
{
    SetTimer(nullptr, 0, 50, reenterWhileShowing);
    EXPECT_EQ(IDOK, msgErrorBox(nullptr, L"the showing box"));
    EXPECT_EQ(0, g_parkedResults);  // none shown

    HWND fallback = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 100, 80, 600, 480, nullptr, nullptr, nullptr, nullptr);
    msgSetDefaultOwner(fallback);
    appSetFrameWindow(fallback);
    auto boxes = testkit::boxesDuring([] { msgErrorBox(nullptr, L"owned"); });
    DestroyWindow(fallback);
    ASSERT_EQ(1u, boxes.size());
    EXPECT_EQ(fallback, boxes[0].owner);
    EXPECT_NEAR(400, (boxes[0].rect.left + boxes[0].rect.right) / 2, 1);  // centred over the frame
    EXPECT_NEAR(320, (boxes[0].rect.top + boxes[0].rect.bottom) / 2, 1);
}

TEST_F(Ui, TraceLinesHeaderAndTheReadOnlyWarning)
{
    EXPECT_EQ(testkit::documentsDir() + L"\\TessaloomPDF\\~tlpdf_dbg.txt", tracePath());
    dbg_Indent();
    dbg_Indent();
    SetLastError(0xdeadbeef);
    dbg_WriteTrace(L"abc", 1, 1);
    EXPECT_EQ(0xdeadbeefu, GetLastError());  // tracing keeps the caller's error
    dbg_WriteTrace(L"flat", 1, 0);
    dbg_WriteTrace(L"", 1, 1);
    dbg_WriteTrace(L"ends\r\n", 1, 1);
    dbg_WriteBlankLine();
    dbg_WriteTrace(L"no line end", 0, 0);
    dbg_Unindent();
    dbg_Unindent();
    dbg_WriteTraceString(IDS_MISSING_GS, 1, 1);  // no text: nothing written
    dbg_WriteTraceString(IDS_PORT_FAILED, 0, 1);
    EXPECT_EQ(L"\t\tabc\r\nflat\r\n\t\tends\r\n\r\n\r\nno line endFailed to add TessaloomPDF redirected port.\r\n",
              testkit::traceText());

    struct tm t = {7, 6, 5, 4, 2, 113, 0, 0, -1};
    dt_TestSetNow(mktime(&t));
    dbg_Indent();
    ASSERT_TRUE(testkit::addPrinter(L"TessaloomPDF"));
    ASSERT_TRUE(testkit::addPrinter(L"TessaloomPDF Copy"));
    ASSERT_TRUE(testkit::addPrinter(L"TessaloomPDF2"));  // another word: not ours
    dbg_StartTrace();  // deletes the old file and resets the depth
    EXPECT_EQ(0, dbg_GetDepth());
    // "(64-bit)" only under WOW64: the 32-bit build says so, the native 64-bit one does not.
    EXPECT_EQ(std::wstring(L"==System Info=======\r\n2013-03-04 05:06:07\r\n====================\r\n"
                           L"[Windows Version]: 601 ") +
                  (testkit::kIs32BitBuild ? L"(64-bit)" : L"(32-bit)") +
                  L"\r\n====================\r\nThe installed Tessaloom PDF Driver List:\r\nTessaloomPDF\nTessaloomPDF "
                  L"Copy\n\r\n====================\r\n\r\n",
              testkit::traceText());

    SetFileAttributesW(tracePath().c_str(), FILE_ATTRIBUTE_READONLY);
    const std::wstring before = testkit::traceText();
    EXPECT_EQ(L"  Warning|\n", seen([] { dbg_WriteTrace(L"second", 1, 0); }));  // an empty box
    EXPECT_EQ(before, testkit::traceText());
}

TEST_F(Ui, DataWindowKeepsItsTextAndPlace)
{
    const wchar_t *key = testkit::kSettingsKey;
    HWND window = dw_OpenDataWindow(nullptr, nullptr);
    ASSERT_EQ(window, dw_OpenDataWindow(nullptr, nullptr));
    dw_AppendText(L"a");
    dw_AppendText(L"b\r\nc\xE9");
    HWND edit = GetDlgItem(window, DW_EDIT_ID);
    EXPECT_NE(0, GetWindowLongW(edit, GWL_STYLE) & WS_VISIBLE);
    EXPECT_EQ(L"ab\r\nc\xE9", testkit::windowText(edit));
    // Saved through the system's save dialog, answered from a second thread, as UTF-16 with its mark.
    const std::wstring saved = testkit::tempDir(L"datawin") + L"\\saved.txt";
    std::thread answer([&] {
        HWND dialog = nullptr, name = nullptr;
        testkit::waitFor([&] { return (dialog = testkit::findTopWindow(GetCurrentProcessId(), L"#32770")) && GetDlgItem(dialog, cmb1); });
        if (testkit::className(name = GetDlgItem(dialog, cmb13)) == WC_COMBOBOXEXW)  // Wine's name field
            name = reinterpret_cast<HWND>(SendMessageW(name, CBEM_GETEDITCONTROL, 0, 0));
        SendMessageW(name, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(saved.c_str()));
        PostMessageW(dialog, WM_COMMAND, IDOK, 0);
    });
    SendMessageW(window, WM_COMMAND, DW_CMD_SAVE, 0);
    answer.join();
    EXPECT_EQ(std::string("\xFF\xFE" "a\0b\0\r\0\n\0c\0\xE9\0", 14), testkit::readFile(saved));
    SendMessageW(window, WM_COMMAND, DW_CMD_CLEAR, 0);
    EXPECT_EQ(L"", testkit::windowText(edit));
    MoveWindow(window, 50, 60, 400, 200, TRUE);
    dw_CloseDataWindow();
    EXPECT_FALSE(dw_IsDataWindowOpen());
    EXPECT_EQ(L"((50, 60), (450, 260))", testkit::readRegString(HKEY_CURRENT_USER, key, L"data_Win_Rect"));
    // Read back no smaller than 200 by 100, and pulled into the work area.
    RECT work, area;
    SystemParametersInfoW(SPI_GETWORKAREA, 0, &work, 0);
    const struct { const wchar_t *stored; RECT place; } places[] = {
        {L"((100, 100), (150, 120))", {100, 100, 300, 200}},
        {L"((-50, 700), (350, 900))", {work.left, work.bottom - 200, work.left + 400, work.bottom}}};
    for (const auto &row : places) {
        setWriteString(row.stored, L"data_Win_Rect");
        GetWindowRect(dw_OpenDataWindow(nullptr, nullptr), &area);
        EXPECT_TRUE(EqualRect(&row.place, &area)) << testing::PrintToString(std::wstring(row.stored));
        dw_CloseDataWindow();
    }
}

}  // namespace
