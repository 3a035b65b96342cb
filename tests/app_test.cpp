// The program's spine: start-up window, refusals, command line, dispatch and one-shot mode.
#include <gtest/gtest.h>
#include <cwchar>
#include <string>
#include <thread>
#include "app/cmdline.h"
#include "app/identity.h"
#include "app/window.h"
#include "res/resource.h"
#include "support/appstate.h"
#include "support/msg.h"
#include "support/rect.h"
#include "support/res.h"
#include "support/sys.h"
#include "tests/common/testkit.h"

using testkit::Child;

namespace {

const DWORD kWait = 15000;

std::wstring programPath() { return testkit::binPath(L"tlpdf.exe"); }

HWND waitMainWindow(const Child &child)
{
    return testkit::waitTopWindow(child.pid(), L"tlpdf_class", nullptr, kWait);
}

// Returns once the program's thread has served everything posted before.
bool settle(HWND window)
{
    DWORD_PTR ignored;
    return SendMessageTimeoutW(window, WM_NULL, 0, 0, SMTO_NORMAL, kWait, &ignored) != 0;
}

// The run tests what it claims: the program beside this runner is a PE image of the runner's own
// architecture, and a 32-bit one really runs under WOW64 (no silent fall-back to the 64-bit build).
TEST(Program, IsTheArchitectureThisRunIsFor)
{
    std::string image = testkit::readFile(programPath());
    ASSERT_GT(image.size(), 0x40u);
    DWORD peOffset = *reinterpret_cast<const DWORD *>(&image[0x3C]);
    ASSERT_LT(peOffset + 6, image.size());
    ASSERT_EQ(0, image.compare(peOffset, 4, std::string("PE\0\0", 4)));
    WORD machine = *reinterpret_cast<const WORD *>(&image[peOffset + 4]);
    EXPECT_EQ(testkit::kIs32BitBuild ? IMAGE_FILE_MACHINE_I386 : IMAGE_FILE_MACHINE_AMD64, machine);

    Child child(programPath(), L"");
    ASSERT_TRUE(child.started());
    BOOL wow64 = FALSE;
    ASSERT_TRUE(IsWow64Process(child.handle(), &wow64));
    EXPECT_EQ(testkit::kIs32BitBuild, wow64 != FALSE);
    HWND window = waitMainWindow(child);
    ASSERT_NE(nullptr, window);
    PostMessageW(window, WM_CLOSE, 0, 0);
    EXPECT_TRUE(child.waitExit(kWait));
}

TEST(Program, OpensTheCentredMainWindow)
{
    // Starting the program makes the data folder but writes no response file: only a setup does.
    const std::wstring rsp = testkit::documentsDir() + L"\\TessaloomPDF\\tl2pdf.rsp";
    DeleteFileW(rsp.c_str());
    Child child(programPath(), L"");
    ASSERT_TRUE(child.started());
    HWND window = waitMainWindow(child);
    ASSERT_NE(nullptr, window);
    ASSERT_TRUE(settle(window));
    EXPECT_EQ(L"Tessaloom PDF Setup", testkit::windowText(window));
    EXPECT_EQ(0x0Bu, static_cast<UINT>(GetClassLongPtrW(window, GCL_STYLE)));
    EXPECT_EQ(32u, static_cast<UINT>(GetClassLongPtrW(window, GCL_CBWNDEXTRA)));
    EXPECT_EQ(0x02CF0000u, static_cast<UINT>(GetWindowLongPtrW(window, GWL_STYLE)) & 0x02CF0000u);

    // The frame wraps the main dialog exactly and is centred in the work area.
    RECT rect, work, client, dialog;
    GetWindowRect(window, &rect);
    rectGetWorkArea(&work);
    GetClientRect(window, &client);
    HWND dialogWindow = FindWindowExW(window, nullptr, L"#32770", nullptr);
    ASSERT_NE(nullptr, dialogWindow);
    GetWindowRect(dialogWindow, &dialog);
    EXPECT_EQ(dialog.right - dialog.left, client.right);
    EXPECT_EQ(dialog.bottom - dialog.top, client.bottom);
    EXPECT_EQ((work.left + work.right - (rect.right - rect.left)) / 2, rect.left);
    EXPECT_EQ((work.top + work.bottom - (rect.bottom - rect.top)) / 2, rect.top);
    EXPECT_EQ(nullptr, testkit::findMessageBox(child.pid()));

    PostMessageW(window, WM_COMMAND, IDM_EXIT, 0);
    DWORD code = 1;
    ASSERT_TRUE(child.waitExit(kWait, &code));
    EXPECT_EQ(0u, code);
    EXPECT_NE(INVALID_FILE_ATTRIBUTES, GetFileAttributesW((testkit::documentsDir() + L"\\TessaloomPDF").c_str()));
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesW(rsp.c_str()));
}

TEST(Program, RefusesWindowsXpAndEnds)
{
    Child child(testkit::exeAsWindowsVersion(programPath(), L"tlpdf_winxp.exe", L"winxp"), L"");
    ASSERT_TRUE(child.started());
    HWND box = nullptr;
    ASSERT_TRUE(testkit::waitFor([&] { return (box = testkit::findMessageBox(child.pid())) != nullptr; }, kWait));
    testkit::BoxInfo info = testkit::readMessageBox(box);
    EXPECT_EQ(L" Message", info.caption);
    EXPECT_EQ(L"Because your Windows is not Vista nor Windows 7, there's no need for using this program. "
              L"The program will close.",
              info.text);
    EXPECT_EQ(L"tlpdf_class", testkit::className(info.owner));
    testkit::closeMessageBox(box);
    DWORD code = 1;
    ASSERT_TRUE(child.waitExit(kWait, &code));
    EXPECT_EQ(0u, code);
}

TEST(Program, NewerWindowsPassTheSystemCheck)
{
    for (const wchar_t *version : {L"vista", L"win8", L"win10"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(version)));
        Child child(testkit::exeAsWindowsVersion(programPath(), std::wstring(L"tlpdf_") + version + L".exe", version),
                    L"");
        HWND window = waitMainWindow(child);
        ASSERT_NE(nullptr, window);
        ASSERT_TRUE(settle(window));
        EXPECT_EQ(nullptr, testkit::findMessageBox(child.pid()));
        PostMessageW(window, WM_COMMAND, IDM_EXIT_ALT, 0);  // 109 exits like 105
        EXPECT_TRUE(child.waitExit(kWait));
    }
}

TEST(Program, OneShotModeExitsAfterTheFirstHandledCommand)
{
    Child child(programPath(), L"-SOURCE[a] -TARGET[b]");
    HWND window = waitMainWindow(child);
    ASSERT_NE(nullptr, window);
    // The start-up command 37 is not handled, so it does not end the program.
    ASSERT_TRUE(settle(window));
    EXPECT_TRUE(child.running());
    // A command with a notification word is not one of ours either.
    PostMessageW(window, WM_COMMAND, MAKEWPARAM(IDM_ABOUT, 1), 0);
    ASSERT_TRUE(settle(window));
    EXPECT_TRUE(child.running());

    // The About box runs; once it is closed, the program ends.
    PostMessageW(window, WM_COMMAND, IDM_ABOUT, 0);
    HWND about = testkit::waitTopWindow(child.pid(), L"#32770", L"About TessaloomPDF");
    ASSERT_NE(nullptr, about);
    PostMessageW(about, WM_COMMAND, IDOK, 0);
    DWORD code = 1;
    ASSERT_TRUE(child.waitExit(kWait, &code));
    EXPECT_EQ(0u, code);
}

TEST(Program, WithoutOneShotACommandDoesNotEndIt)
{
    for (const wchar_t *args : {L"-TARGET[b]", L"-SOURCE", L"-SOURCE[a]"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(args)));
        Child child(programPath(), args);
        HWND window = waitMainWindow(child);
        ASSERT_NE(nullptr, window);
        PostMessageW(window, WM_COMMAND, IDM_ABOUT, 0);
        HWND about = testkit::waitTopWindow(child.pid(), L"#32770", L"About TessaloomPDF");
        ASSERT_NE(nullptr, about);
        PostMessageW(about, WM_COMMAND, IDCANCEL, 0);
        ASSERT_TRUE(testkit::waitFor([&] { return !IsWindow(about); }));
        ASSERT_TRUE(settle(window));
        EXPECT_TRUE(child.running());
        PostMessageW(window, WM_COMMAND, IDM_EXIT, 0);
        EXPECT_TRUE(child.waitExit(kWait));
    }
}

TEST(CommandLine, SourceBufferTakesTargetsValue)
{
    struct Row {
        const wchar_t *line;
        int result;
        const wchar_t *source;
    } rows[] = {
        {L"-SOURCE[a] -TARGET[b]", 1, L"b"},
        {L"-source[x] -target[c:\\a b]", 1, L"c:\\a b"},
        {L"-TARGET[b] -SOURCE[a]", 1, L"b"},
        {L"-SOURCE[a]", 0, L""},
        {L"-TARGET[b]", 0, L""},
        {L"-SOURCE", 0, L""},
        {L"-SOURCE[] -TARGET[b]", 0, L""},
        {L"-SOURCE[a] -TARGET[b", 0, L""},
        {L"file.pdf -SOURCE[a] -TARGET[b]", 0, L""},
        {L"", 0, L""},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.line)));
        EXPECT_EQ(row.result, appParseCommandLine(row.line));
        EXPECT_STREQ(row.source, appSourceBuffer());
        EXPECT_STREQ(L"", appTargetBuffer());
    }
}

TEST(CommandLine, LongValueIsCutAt256Characters)
{
    std::wstring value(300, L'v');
    std::wstring line = L"-SOURCE[a] -TARGET[" + value + L"]";
    EXPECT_EQ(1, appParseCommandLine(line.c_str()));
    EXPECT_EQ(std::wstring(256, L'v'), appSourceBuffer());
}

TEST(Identity, VersionNumberArithmeticWraps)
{
    EXPECT_EQ(210, appVersionNumberFrom(2, 1, 0));
    EXPECT_EQ(5, appVersionNumberFrom(0, 0, 5));
    EXPECT_EQ(0, appVersionNumberFrom(6553, 6, 0));      // 65536 wraps to 0
    EXPECT_EQ(40 + 3, appVersionNumberFrom(6554, 0, 3));  // 65540 wraps to 4, times 10, plus 3

    WORD number = 1, build = 1;
    ASSERT_EQ(1, appReadVersionNumber(GetModuleHandleW(nullptr), &number, &build));
    EXPECT_EQ(210, number);
    EXPECT_EQ(16, build);
    number = build = 7;
    EXPECT_EQ(0, appReadVersionNumber(reinterpret_cast<HINSTANCE>(0x10), &number, &build));
    EXPECT_EQ(0, number);
    EXPECT_EQ(0, build);

    appSetIdentity(GetModuleHandleW(nullptr));
    EXPECT_STREQ(L"Brindlecourt", appIdentity().company);
    EXPECT_STREQ(L"TessaloomPDF", appIdentity().product);
    EXPECT_STREQ(L"tlpdf", appIdentity().shortName);
    EXPECT_EQ(0x006400FEu, appIdentity().flags);
    EXPECT_EQ(210, appIdentity().versionNumber);
}

// The main window created in this process, for the paths that need a seam.
class MainWindowInProcess : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_NE(0, appRegisterClass(GetModuleHandleW(nullptr)));
        EXPECT_EQ(appRegisterClass(GetModuleHandleW(nullptr)), appRegisterClass(GetModuleHandleW(nullptr)));
    }
    void TearDown() override
    {
        if (IsWindow(appGetMainWindow()))
            DestroyWindow(appGetMainWindow());
        drain();
        appSetExitAfterCommand(0);
        sysTestReset();
    }
    HWND create()
    {
        RECT rect = {120, 120, 570, 370};
        return appCreateMainWindow(&rect, GetModuleHandleW(nullptr), SW_SHOWNORMAL);
    }
    // Serves the queue until the window has gone (or nothing is left).
    static void drain()
    {
        MSG msg;
        while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
            if (msg.message == WM_QUIT)
                break;
            DispatchMessageW(&msg);
        }
    }
};

TEST_F(MainWindowInProcess, NonAdministratorIsWarnedAndTheWindowCloses)
{
    sysTestSetAdmin(0);
    testkit::BoxWatcher watcher;
    HWND window = create();
    ASSERT_NE(nullptr, window);
    auto boxes = watcher.wait();
    ASSERT_EQ(1u, boxes.size());
    EXPECT_EQ(L"  Warning", boxes[0].caption);
    EXPECT_EQ(L"This program must be run as Administrator in order to work. Program will not start.",
              boxes[0].text);
    EXPECT_EQ(window, appGetFrameWindow());
    drain();
    EXPECT_FALSE(IsWindow(window));
}

TEST_F(MainWindowInProcess, OnWindowsXpTheAdministratorCheckIsNotMade)
{
    SysFacts xp = {};
    xp.major = 5;
    xp.minor = 1;
    xp.is2000XpFamily = 1;
    sysTestSetFacts(xp, 0);
    sysTestSetAdmin(0);
    HWND window = create();
    ASSERT_NE(nullptr, window);
    drain();
    EXPECT_TRUE(IsWindow(window));
    EXPECT_EQ(nullptr, testkit::findMessageBox(GetCurrentProcessId()));
}

// The About box is modal: a second thread closes it once it shows.
void closeAboutBoxSoon()
{
    std::thread([] {
        if (HWND about = testkit::waitTopWindow(GetCurrentProcessId(), L"#32770", L"About TessaloomPDF"))
            PostMessageW(about, WM_COMMAND, IDOK, 0);
    }).detach();
}

TEST_F(MainWindowInProcess, DispatchHandlesOnlyItsCommands)
{
    HWND window = create();
    ASSERT_NE(nullptr, window);
    drain();
    EXPECT_EQ(1, appOnCommand(IDM_ONESHOT_START));
    EXPECT_EQ(1, appOnCommand(MAKEWPARAM(IDM_EXIT, 1)));
    EXPECT_EQ(1, appOnCommand(12353));
    closeAboutBoxSoon();
    EXPECT_EQ(0, appOnCommand(IDM_ABOUT));

    // In one-shot mode a handled command is followed by Exit, an unhandled one is not.
    appSetExitAfterCommand(1);
    MSG msg;
    EXPECT_EQ(1, appOnCommand(IDM_ONESHOT_START));
    EXPECT_FALSE(PeekMessageW(&msg, window, WM_COMMAND, WM_COMMAND, PM_NOREMOVE));
    closeAboutBoxSoon();
    EXPECT_EQ(0, appOnCommand(IDM_ABOUT));
    ASSERT_TRUE(PeekMessageW(&msg, window, WM_COMMAND, WM_COMMAND, PM_REMOVE));
    EXPECT_EQ(static_cast<WPARAM>(IDM_EXIT), msg.wParam);

    // Exit closes the window, which ends the message loop.
    appSetExitAfterCommand(0);
    EXPECT_EQ(0, appOnCommand(IDM_EXIT));
    drain();
    EXPECT_FALSE(IsWindow(window));
}

}  // namespace
