// The debug data window: one instance, its place between runs, top-most, text, saving.
#include <gtest/gtest.h>
#include <windows.h>
#include <commctrl.h>
#include <dlgs.h>
#include <string>
#include <vector>
#include "app/identity.h"
#include "diag/datawin.h"
#include "res/resource.h"
#include "support/rect.h"
#include "support/settings.h"
#include "tests/common/testkit.h"

namespace {

const wchar_t kKeyPath[] = L"Software\\Brindlecourt\\TessaloomPDF\\tlpdf";

std::wstring placeOf(HWND window)
{
    RECT rect = {};
    wchar_t text[64] = L"";
    GetWindowRect(window, &rect);
    rectToText(text, &rect);
    return text;
}
std::wstring editText() { return testkit::windowText(GetDlgItem(dw_GetDataWindow(), DW_EDIT_ID)); }
bool topMost(HWND window) { return (GetWindowLongW(window, GWL_EXSTYLE) & WS_EX_TOPMOST) != 0; }

class DataWindow : public testing::Test {
protected:
    void SetUp() override
    {
        appSetIdentity(GetModuleHandleW(nullptr));
        for (const wchar_t *name : {kSettingDataWinTop, kSettingDataWinRect})
            RegDeleteKeyValueW(HKEY_CURRENT_USER, kKeyPath, name);
    }
    void TearDown() override { dw_CloseDataWindow(); }
};

// Wine keeps an owned window top-most once it was, so the switch is tried on an unowned one.
TEST_F(DataWindow, OpensOnceTopMostWithoutAMenu)
{
    HWND window = dw_OpenDataWindow(nullptr, nullptr);
    ASSERT_NE(nullptr, window);
    EXPECT_EQ(window, dw_OpenDataWindow(nullptr, nullptr));
    EXPECT_EQ(nullptr, GetMenu(window));  // the class names "datawin", which no resource defines
    EXPECT_TRUE(topMost(window));         // DataWinTopMost absent counts as 1
    dw_SetTopMost(0);
    EXPECT_FALSE(topMost(window));
    EXPECT_EQ(0u, setGetDword(kSettingDataWinTop));
    dw_SetTopMost(1);
    EXPECT_TRUE(topMost(window));
    MoveWindow(window, 10, 10, 333, 222, TRUE);
    RECT client, edit;  // the text area follows the new size
    GetClientRect(window, &client);
    GetWindowRect(GetDlgItem(window, DW_EDIT_ID), &edit);
    EXPECT_EQ(client.right, edit.right - edit.left);
    EXPECT_EQ(client.bottom, edit.bottom - edit.top);
    dw_CloseDataWindow();
    EXPECT_FALSE(dw_IsDataWindowOpen());
}

TEST_F(DataWindow, KeepsItsPlaceAndRestoresItNoSmallerThan200By100)
{
    MoveWindow(dw_OpenDataWindow(nullptr, nullptr), 50, 60, 400, 200, TRUE);
    dw_CloseDataWindow();
    EXPECT_EQ(L"((50, 60), (450, 260))", testkit::readRegString(HKEY_CURRENT_USER, kKeyPath, kSettingDataWinRect));
    EXPECT_EQ(L"((50, 60), (450, 260))", placeOf(dw_OpenDataWindow(nullptr, nullptr)));
    dw_CloseDataWindow();
    setWriteString(L"((100, 100), (150, 120))", kSettingDataWinRect);
    EXPECT_EQ(L"((100, 100), (300, 200))", placeOf(dw_OpenDataWindow(nullptr, nullptr)));
}

TEST_F(DataWindow, AppendsLinesAndClears)
{
    dw_AppendLine(L"nowhere");  // no window: nothing happens
    ASSERT_NE(nullptr, dw_OpenDataWindow(nullptr, nullptr));
    dw_AppendText(L"a");
    dw_AppendLine(L"b");
    dw_AppendText(L"c");
    SendMessageW(dw_GetDataWindow(), WM_COMMAND, DW_CMD_READ, 0);
    EXPECT_EQ(L"ab\r\nc", editText());
    dw_AppendText(std::wstring(40000, L'x').c_str());  // past the edit control's default cap
    EXPECT_EQ(40005u, editText().size());
    SendMessageW(dw_GetDataWindow(), WM_COMMAND, DW_CMD_CLEAR, 0);
    EXPECT_EQ(L"", editText());
}

struct SaveRun {
    std::wstring name;  // typed into the dialog; empty: cancel it
    volatile LONG done;
    bool dialogSeen;
    std::vector<std::wstring> boxes;
};

// Answers the save dialog, then every box (Yes where offered, else OK) until the command returns.
DWORD WINAPI saveDriver(void *param)
{
    auto *run = static_cast<SaveRun *>(param);
    DWORD pid = GetCurrentProcessId();
    for (; !run->done; Sleep(10)) {
        HWND dialog = testkit::findTopWindow(pid, L"#32770"), box = nullptr;
        if (!run->dialogSeen && dialog && IsWindowVisible(dialog) && GetDlgItem(dialog, cmb1)) {
            run->dialogSeen = true;
            HWND edit = GetDlgItem(dialog, cmb13);  // a ComboBoxEx32 under Wine
            if (testkit::className(edit) == WC_COMBOBOXEXW)
                edit = reinterpret_cast<HWND>(SendMessageW(edit, CBEM_GETEDITCONTROL, 0, 0));
            SendMessageW(edit, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(run->name.c_str()));
            PostMessageW(dialog, WM_COMMAND, run->name.empty() ? IDCANCEL : IDOK, 0);
        } else if ((box = testkit::findMessageBox(pid)) != nullptr) {
            run->boxes.push_back(testkit::readMessageBox(box).text);
            PostMessageW(box, WM_COMMAND, GetDlgItem(box, IDYES) ? IDYES : IDOK, 0);
            testkit::waitFor([&] { return !IsWindow(box); });
        }
    }
    return 0;
}

SaveRun saveAs(const std::wstring &name)
{
    SaveRun run = {name, 0, false, {}};
    HANDLE thread = CreateThread(nullptr, 0, saveDriver, &run, 0, nullptr);
    SendMessageW(dw_GetDataWindow(), WM_COMMAND, DW_CMD_SAVE, 0);
    InterlockedExchange(&run.done, 1);
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    return run;
}

TEST_F(DataWindow, SavesTheTextAsUtf16AndSaysWhenItCannot)
{
    std::wstring path = testkit::tempDir(L"datawin") + L"\\saved.txt";
    ASSERT_NE(nullptr, dw_OpenDataWindow(nullptr, nullptr));
    EXPECT_FALSE(saveAs(path).dialogSeen);  // nothing to save: no dialog

    dw_AppendLine(L"one");
    dw_AppendText(L"t\x00e9");
    SaveRun cancelled = saveAs(L"");
    EXPECT_TRUE(cancelled.dialogSeen);
    EXPECT_TRUE(cancelled.boxes.empty());
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesW(path.c_str()));

    SaveRun saved = saveAs(path);
    EXPECT_TRUE(saved.dialogSeen);
    EXPECT_TRUE(saved.boxes.empty());
    EXPECT_EQ(std::string("\xFF\xFEo\0n\0e\0\r\0\n\0t\0\xE9\0", 16), testkit::readFile(path));

    // The dialog lets an existing file through (after asking to replace it); held open without
    // sharing, it cannot be created.
    HANDLE lock = CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, lock);
    SaveRun failed = saveAs(path);
    CloseHandle(lock);
    ASSERT_GE(failed.boxes.size(), 2u);
    EXPECT_EQ(L"", failed.boxes[failed.boxes.size() - 2]);  // the file layer's own (empty) warning first
    EXPECT_EQ(L"Failed to save", failed.boxes.back());
}

// The real program on a first run: at the bottom of the work area, owned by the main window,
// not top-most when the setting says 0; closing the program stores its place.
TEST_F(DataWindow, TheProgramOpensItBesideTheMainWindow)
{
    setPutDword(kSettingDataWinTop, 0);
    testkit::Child child(testkit::binPath(L"tlpdf.exe"), L"");
    HWND main = nullptr, window = nullptr;
    ASSERT_TRUE(testkit::waitFor([&] {
        main = testkit::findTopWindow(child.pid(), L"tlpdf_class");
        window = testkit::findTopWindow(child.pid(), L"tl_DataWin");
        return main && window;
    }, 15000));
    DWORD_PTR ignored;  // let the program finish creating its windows
    SendMessageTimeoutW(main, WM_NULL, 0, 0, SMTO_NORMAL, 15000, &ignored);
    EXPECT_EQ(L"Debug/Code Info", testkit::windowText(window));
    EXPECT_EQ(main, GetWindow(window, GW_OWNER));
    EXPECT_TRUE(IsWindowVisible(window));
    EXPECT_FALSE(topMost(window));
    RECT work, expected;
    wchar_t text[64];
    rectGetWorkArea(&work);
    expected = {work.left + 200, work.bottom - 140, work.right - 200, work.bottom};
    rectToText(text, &expected);
    EXPECT_EQ(text, placeOf(window));

    PostMessageW(main, WM_COMMAND, IDM_EXIT, 0);
    ASSERT_TRUE(child.waitExit(15000));
    EXPECT_EQ(text, testkit::readRegString(HKEY_CURRENT_USER, kKeyPath, kSettingDataWinRect));
}

}  // namespace
