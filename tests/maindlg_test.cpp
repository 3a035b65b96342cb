// The main dialog and the About box: components, status, buttons, debug mode, report.
#include <gtest/gtest.h>
#include <string>
#include "app/about.h"
#include "app/identity.h"
#include "app/maindlg.h"
#include "app/window.h"
#include "detect/gs.h"
#include "diag/report.h"
#include "diag/trace.h"
#include "res/resource.h"
#include "support/appstate.h"
#include "support/res.h"
#include "tests/common/testkit.h"

namespace {

std::wstring loaded(UINT id)
{
    wchar_t text[256];
    resLoadString(nullptr, id, text, 256);
    return text;
}

using testkit::installGhostscript;
using testkit::installRedMon;

class MainDialog : public testing::Test {
protected:
    void SetUp() override
    {
        appSetInstance(GetModuleHandleW(nullptr));
        appSetIdentity(GetModuleHandleW(nullptr));
        appRegisterClass(GetModuleHandleW(nullptr));
        testkit::deleteAllPrinters();
        installGhostscript(false);
        installRedMon(false);
        gs2_ResetForTest();
        dbg_SetDebugMode(0);
    }
    void TearDown() override
    {
        if (IsWindow(appGetMainWindow()))
            DestroyWindow(appGetMainWindow());
        pump();
        testkit::deleteAllPrinters();
        installGhostscript(false);
        installRedMon(false);
        mapiTestSetSendMail(nullptr);
    }
    HWND open()
    {
        gs2_ResetForTest();
        RECT rect = {120, 120, 570, 370};
        HWND main = appCreateMainWindow(&rect, GetModuleHandleW(nullptr), SW_SHOWNORMAL);
        pump();
        return main ? appGetMainDialog() : nullptr;
    }
    static void pump()
    {
        MSG msg;
        while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE))
            if (msg.message != WM_QUIT)
                DispatchMessageW(&msg);
    }
    static std::wstring item(HWND dialog, int id) { return testkit::windowText(GetDlgItem(dialog, id)); }
    static bool enabled(HWND dialog, int id) { return IsWindowEnabled(GetDlgItem(dialog, id)) != FALSE; }
    static bool visible(HWND dialog, int id) { return IsWindowVisible(GetDlgItem(dialog, id)) != FALSE; }
    static void click(HWND dialog, int id) { SendMessageW(GetDlgItem(dialog, id), BM_CLICK, 0, 0); }
};

TEST_F(MainDialog, SummaryStatusAndSetupButtonForEachCombination)
{
    const struct {
        bool gs, redmon, printer;
        const wchar_t *summary;
        UINT status;
        bool setup;
    } rows[] = {
        {false, false, false, L"Ghostscript not installed.\r\nRedMon not installed.\r\nTessaloomPDF driver not installed.\r\n",
         IDS_STATUS_MISSING, false},
        {true, false, false, L"Ghostscript version 9.05 installed\r\nRedMon not installed.\r\nTessaloomPDF driver not installed.\r\n",
         IDS_STATUS_MISSING, false},
        {false, true, false, L"Ghostscript not installed.\r\nRedMon installed.\r\nTessaloomPDF driver not installed.\r\n",
         IDS_STATUS_MISSING, false},
        {true, true, false, L"Ghostscript version 9.05 installed\r\nRedMon installed.\r\nTessaloomPDF driver not installed.\r\n",
         IDS_STATUS_READY, true},
        {true, true, true, L"Ghostscript version 9.05 installed\r\nRedMon installed.\r\nTessaloomPDF driver installed\r\n",
         IDS_STATUS_DONE, true},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << row.gs << row.redmon << row.printer);
        installGhostscript(row.gs);
        installRedMon(row.redmon);
        if (row.printer) {
            ASSERT_TRUE(testkit::addPrinter(L"TessaloomPDF"));
        }
        HWND dialog = open();
        ASSERT_NE(nullptr, dialog);
        EXPECT_EQ(row.summary, item(dialog, IDC_COMPONENTS));
        EXPECT_EQ(loaded(row.status), item(dialog, IDC_STATUS));
        EXPECT_EQ(row.setup, enabled(dialog, IDC_SETUP));
        EXPECT_FALSE(visible(dialog, IDC_REPORT));
        EXPECT_EQ(L"Or go to: https://www.example.com/tessaloom/pdf-instructions.html", item(dialog, IDC_URL));
        DestroyWindow(appGetMainWindow());
        pump();
        testkit::deleteAllPrinters();
    }
}

TEST_F(MainDialog, FrameWrapsTheDialogAndIsCentred)
{
    HWND dialog = open();
    ASSERT_NE(nullptr, dialog);
    RECT client, dialogRect, frame, work;
    GetClientRect(appGetMainWindow(), &client);
    GetWindowRect(dialog, &dialogRect);
    EXPECT_EQ(client.right, dialogRect.right - dialogRect.left);
    EXPECT_EQ(client.bottom, dialogRect.bottom - dialogRect.top);
    GetWindowRect(appGetMainWindow(), &frame);
    SystemParametersInfoW(SPI_GETWORKAREA, 0, &work, 0);
    EXPECT_EQ((work.left + work.right - (frame.right - frame.left)) / 2, frame.left);
    EXPECT_EQ((work.top + work.bottom - (frame.bottom - frame.top)) / 2, frame.top);
}

TEST_F(MainDialog, ComponentInstalledLaterChangesStatusButNotTheButton)
{
    HWND dialog = open();
    ASSERT_NE(nullptr, dialog);
    EXPECT_EQ(loaded(IDS_STATUS_MISSING), item(dialog, IDC_STATUS));
    installGhostscript(true);
    installRedMon(true);
    appRefreshMainDialog();
    EXPECT_EQ(loaded(IDS_STATUS_READY), item(dialog, IDC_STATUS));
    EXPECT_FALSE(enabled(dialog, IDC_SETUP));  // the flags cached at start-up decide
}

TEST_F(MainDialog, DebugBoxStartsATraceAndShowsTheReportButton)
{
    HWND dialog = open();
    ASSERT_NE(nullptr, dialog);
    wchar_t path[260];
    dbg_GetTraceFilePath(path);
    DeleteFileW(path);

    click(dialog, IDC_DEBUG);
    EXPECT_EQ(1, dbg_IsDebugMode());
    EXPECT_TRUE(visible(dialog, IDC_REPORT));
    EXPECT_FALSE(enabled(dialog, IDC_REPORT));  // no setup run yet
    std::string bytes = testkit::readFile(path);
    ASSERT_GT(bytes.size(), 2u);
    std::wstring trace(reinterpret_cast<const wchar_t *>(bytes.data() + 2), (bytes.size() - 2) / 2);
    EXPECT_EQ(0u, trace.find(L"==System Info=======\r\n"));
    EXPECT_NE(std::wstring::npos,
              trace.find(L"[Installed Components]\r\nGhostscript not installed.\r\nRedMon not installed.\r\n"
                         L"TessaloomPDF driver not installed.\r\n\r\n=======================\r\n"));

    appRefreshMainDialog();  // what the window does after a setup run
    EXPECT_TRUE(enabled(dialog, IDC_REPORT));
    // Pressing the setup button clears the mark first.
    SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(IDC_SETUP, BN_CLICKED), 0);
    EXPECT_EQ(0, mainDlgGetSetupAttempted());

    click(dialog, IDC_DEBUG);  // unticked: trace off, button hidden, file kept
    EXPECT_EQ(0, dbg_IsDebugMode());
    EXPECT_FALSE(visible(dialog, IDC_REPORT));
    EXPECT_EQ(bytes, testkit::readFile(path));
}

int g_mailCalls;
ULONG WINAPI countingSendMail(ULONG_PTR, ULONG_PTR, void *, ULONG, ULONG)
{
    g_mailCalls++;
    return 0;
}

TEST_F(MainDialog, ReportButtonActsOnlyInDebugMode)
{
    HWND dialog = open();
    ASSERT_NE(nullptr, dialog);
    mapiTestSetSendMail(countingSendMail);
    g_mailCalls = 0;
    SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(IDC_REPORT, BN_CLICKED), 0);
    EXPECT_EQ(0, g_mailCalls);
    EXPECT_EQ(0, mainDlgGetReportSubmitted());
    click(dialog, IDC_DEBUG);
    SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(IDC_REPORT, BN_CLICKED), 0);
    EXPECT_EQ(1, g_mailCalls);
    EXPECT_EQ(1, mainDlgGetReportSubmitted());
    click(dialog, IDC_DEBUG);
}

TEST(AboutBox, VersionTextAndCopyrightLines)
{
    wchar_t line[257];
    aboutFormatVersion(line, 257, 210);
    EXPECT_STREQ(L"Version 2.10", line);
    aboutFormatVersion(line, 257, 5);
    EXPECT_STREQ(L"Version 0.05", line);

    wchar_t company[257], copyright[257];
    ASSERT_EQ(1, verGetStrings(company, copyright, GetModuleHandleW(nullptr)));
    EXPECT_STREQ(L"Brindlecourt", company);
    EXPECT_STREQ(L"Copyright (C) 2026 Brindlecourt", copyright);

    // No translation table: the fixed "040904B0" block is read.
    HMODULE probe = LoadLibraryW(testkit::binPath(L"verprobe.dll").c_str());
    ASSERT_NE(nullptr, probe);
    ASSERT_EQ(1, verGetStrings(nullptr, copyright, probe));
    EXPECT_STREQ(L"A|B^C", copyright);
    aboutCopyrightLines(copyright);
    EXPECT_STREQ(L"A\rB\nC", copyright);
    FreeLibrary(probe);
    EXPECT_EQ(0, verGetStrings(company, copyright, reinterpret_cast<HMODULE>(0x10)));
}

TEST(AboutBox, RealProgramShowsItAndEscapeClosesIt)
{
    testkit::Child child(testkit::binPath(L"tlpdf.exe"), L"");
    HWND main = testkit::waitTopWindow(child.pid(), L"tlpdf_class");
    ASSERT_NE(nullptr, main);
    for (WPARAM closeWith : {WPARAM(IDCANCEL), WPARAM(IDOK)}) {
        PostMessageW(main, WM_COMMAND, IDM_ABOUT, 0);
        HWND about = testkit::waitTopWindow(child.pid(), L"#32770", L"About TessaloomPDF");
        ASSERT_NE(nullptr, about);
        ASSERT_TRUE(testkit::waitFor([&] { return IsWindowVisible(about) != FALSE; }));  // shown after its set-up
        EXPECT_EQ(L"Version 2.10", testkit::windowText(GetDlgItem(about, IDC_VERSION)));
        EXPECT_EQ(L"Copyright (C) 2026 Brindlecourt", testkit::windowText(GetDlgItem(about, IDC_COPYRIGHT)));
        EXPECT_EQ(L"https://www.example.com/", testkit::windowText(GetDlgItem(about, IDC_WEBSITE)));
        PostMessageW(about, WM_COMMAND, closeWith, 0);
        EXPECT_TRUE(testkit::waitFor([&] { return !IsWindow(about); }));
    }
    PostMessageW(main, WM_COMMAND, IDM_EXIT, 0);
    EXPECT_TRUE(child.waitExit(10000));
}

}  // namespace
