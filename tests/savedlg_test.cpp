// The save-file dialog, driven for real from a second thread: choose, cancel, change the type.
#include <gtest/gtest.h>
#include <windows.h>
#include <commctrl.h>
#include <dlgs.h>
#include <functional>
#include <string>
#include "res/resource.h"
#include "support/path.h"
#include "support/savedlg.h"
#include "tests/common/testkit.h"

namespace {

const wchar_t kFilter[] = L"Text file (*.txt)\0*.txt\0PDF document (*.pdf)\0*.pdf\0All files (*.*)\0*.*\0";

// The edit that takes the typing: inside the name field 1148 (a ComboBoxEx32 under Wine, a
// ComboBox on Windows), or the plain edit 1152 of older templates.
HWND nameEdit(HWND dialog)
{
    HWND field = GetDlgItem(dialog, cmb13);
    if (!field)
        return GetDlgItem(dialog, edt1);
    if (testkit::className(field) == WC_COMBOBOXEXW)
        return reinterpret_cast<HWND>(SendMessageW(field, CBEM_GETEDITCONTROL, 0, 0));
    HWND edit = FindWindowExW(field, nullptr, L"Edit", nullptr);
    return edit ? edit : field;
}

std::wstring nameText(HWND dialog) { return testkit::windowText(nameEdit(dialog)); }
void typeName(HWND dialog, const wchar_t *name)
{
    SendMessageW(nameEdit(dialog), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(name));
}

// Picks a file type as a click in the list does: select it, then send both notifications the
// click sends. Wine's dialog ignores CBN_SELCHANGE and acts on CBN_SELENDOK.
void pickType(HWND dialog, int index)
{
    HWND types = GetDlgItem(dialog, cmb1);
    SendMessageW(types, CB_SETCURSEL, static_cast<WPARAM>(index), 0);
    for (WORD code : {CBN_SELCHANGE, CBN_SELENDOK})
        SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(cmb1, code), reinterpret_cast<LPARAM>(types));
}

struct Outcome {
    int result = -1, index = -1;
    bool found = false;
    std::wstring caption, boxText;
};

struct Shared {
    Outcome run;
    const std::function<void(HWND)> *drive;
};

// Finds the dialog, runs the script on it, cancels what the script left open, and records and
// closes a message box that follows.
DWORD WINAPI driverThread(void *param)
{
    auto *s = static_cast<Shared *>(param);
    DWORD pid = GetCurrentProcessId();
    HWND dialog = nullptr, box = nullptr;
    s->run.found = testkit::waitFor([&] {
        dialog = testkit::findTopWindow(pid, L"#32770");
        return dialog && IsWindowVisible(dialog) && GetDlgItem(dialog, cmb1);
    });
    if (!s->run.found)
        return 0;
    s->run.caption = testkit::windowText(dialog);
    (*s->drive)(dialog);
    if (!testkit::waitFor([&] { return !IsWindow(dialog); }, 3000))
        PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0);
    if (testkit::waitFor([&] { return (box = testkit::findMessageBox(pid)) != nullptr; }, 1000)) {
        s->run.boxText = testkit::readMessageBox(box).text;
        testkit::closeMessageBox(box);
    }
    return 0;
}

// Calls `open` on this thread, where the dialog runs, while the driver thread works it.
Outcome driveDialog(const std::function<int(int *)> &open, const std::function<void(HWND)> &drive)
{
    Shared shared = {Outcome(), &drive};
    HANDLE thread = CreateThread(nullptr, 0, driverThread, &shared, 0, nullptr);
    int index = -1;
    int result = open(&index);
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    shared.run.result = result;
    shared.run.index = index;
    return shared.run;
}

}  // namespace

TEST(SaveDialog, AFolderStartsThereAndTheTypedNameComesBackWhole)
{
    std::wstring dir = testkit::tempDir(L"savedlg");
    wchar_t path[PATH_BUFFER];
    wcscpy(path, dir.c_str());
    std::wstring before;
    auto open = [&](int *index) {
        return fniGetSaveFNId(nullptr, IDS_SAVE_DATA_CAPTION, path, L"txt", kFilter, 1, index);
    };
    Outcome run = driveDialog(open, [&](HWND dialog) {
        before = nameText(dialog);
        typeName(dialog, L"report");
        PostMessageW(dialog, WM_COMMAND, IDOK, 0);
    });
    ASSERT_TRUE(run.found);
    EXPECT_NE(0, run.result);
    EXPECT_EQ(L"Save", run.caption);  // the caption id has no text
    EXPECT_EQ(L"", before);          // the folder became the initial directory
    EXPECT_EQ(0, _wcsicmp((dir + L"\\report.txt").c_str(), path)) << testing::PrintToString(std::wstring(path));
    EXPECT_EQ(1, run.index);
    EXPECT_EQ(L"", run.boxText);
}

TEST(SaveDialog, CancelGivesZeroAndNoMessage)
{
    wchar_t path[PATH_BUFFER];
    wcscpy(path, (testkit::tempDir(L"savedlg") + L"\\suggested.pdf").c_str());
    std::wstring before;
    auto open = [&](int *index) { return fniGetSaveFN32A(nullptr, L"Keep", path, L"txt", kFilter, 0, index); };
    Outcome run = driveDialog(open, [&](HWND dialog) {
        before = nameText(dialog);
        PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0);
    });
    ASSERT_TRUE(run.found);
    EXPECT_EQ(0, run.result);
    EXPECT_EQ(L"Keep", run.caption);
    EXPECT_EQ(L"suggested.pdf", before);  // cut to its name; its folder is the initial directory
    EXPECT_EQ(-1, run.index);
    EXPECT_EQ(L"", run.boxText);
}

TEST(SaveDialog, PickingATypeChangesTheExtensionAtOnce)
{
    std::wstring dir = testkit::tempDir(L"savedlg");
    wchar_t path[PATH_BUFFER];
    wcscpy(path, (dir + L"\\name.txt").c_str());
    LRESULT initialType = -1;
    std::wstring seen;  // the name field after each step
    auto open = [&](int *index) { return fniGetSaveFN32A(nullptr, L"Save", path, L"txt", kFilter, 1, index); };
    Outcome run = driveDialog(open, [&](HWND dialog) {
        initialType = SendDlgItemMessageW(dialog, cmb1, CB_GETCURSEL, 0, 0);
        seen = nameText(dialog);
        pickType(dialog, 1);
        seen += L" " + nameText(dialog);
        pickType(dialog, 2);  // "*.*" leaves the name alone
        seen += L" " + nameText(dialog);
        typeName(dialog, L"");
        pickType(dialog, 0);  // an empty name takes the pattern
        seen += L" " + nameText(dialog);
        typeName(dialog, L"name.txt");
        pickType(dialog, 1);
        seen += L" " + nameText(dialog);
        PostMessageW(dialog, WM_COMMAND, IDOK, 0);
    });
    ASSERT_TRUE(run.found);
    EXPECT_EQ(0, initialType);  // the suggested name's extension chose the first type
    EXPECT_EQ(L"name.txt name.pdf name.pdf *.txt name.pdf", seen);
    EXPECT_NE(0, run.result);
    EXPECT_EQ(0, _wcsicmp((dir + L"\\name.pdf").c_str(), path)) << testing::PrintToString(std::wstring(path));
    EXPECT_EQ(2, run.index);
}
