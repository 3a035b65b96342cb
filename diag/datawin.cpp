// The "Debug/Code Info" tool window: a read-only text area the program appends diagnostics to.
#include "diag/datawin.h"
#include "res/resource.h"
#include "support/appstate.h"
#include "support/mem.h"
#include "support/msg.h"
#include "support/path.h"
#include "support/rect.h"
#include "support/savedlg.h"
#include "support/settings.h"
#include "support/fl.h"

const wchar_t kDataWindowClass[] = L"tl_DataWin";
const wchar_t kDataWindowTitle[] = L"Debug/Code Info";

namespace {

const UINT kClassStyle = CS_VREDRAW | CS_HREDRAW;
const int kWindowExtraBytes = 16;
const wchar_t kMenuName[] = L"datawin";  // no menu resource carries this name: the window has none
const DWORD kWindowExStyle = WS_EX_TOOLWINDOW;
const DWORD kWindowStyle = 0x00CF0000 | WS_VISIBLE;
const DWORD kEditStyle = 0x50A00044 | 0x00100080;  // multi-line, both scroll bars, auto-scrolling
const int kDefaultInset = 200, kDefaultHeight = 140;
const int kMinWidth = 200, kMinHeight = 100;
const wchar_t kSaveFilter[] = L"Text file (*.txt)\0*.txt\0";
const wchar_t kSaveFailed[] = L"Failed to save";

HWND g_dataWindow;
bool g_classRegistered;
int g_topMost;
RECT g_dataWindowRect;

HWND textArea(HWND window) { return GetDlgItem(window, DW_EDIT_ID); }

// The whole text as a text block; the caller frees it.
HGLOBAL readText(HWND edit)
{
    int length = GetWindowTextLengthW(edit);
    HGLOBAL block = memGAlloc(nullptr, (static_cast<SIZE_T>(length) + 1) * sizeof(wchar_t));
    MemLock<wchar_t> text(block);
    if (text)
        GetWindowTextW(edit, text.get(), length + 1);
    return block;
}

int saveText(HWND window)
{
    HWND edit = textArea(window);
    if (GetWindowTextLengthW(edit) == 0)
        return 1;
    wchar_t path[PATH_BUFFER] = L"";
    int filterIndex = 0;
    if (!fniGetSaveFNId(window, IDS_SAVE_DATA_CAPTION, path, L"txt", kSaveFilter, 1, &filterIndex))
        return 0;
    HGLOBAL block = readText(edit);
    int saved = 0;
    {
        MemLock<wchar_t> text(block);
        saved = text ? txfSaveText(path, text.get()) : 0;
    }
    memGFree(block);
    if (!saved)
        msgMessageBox(window, kSaveFailed, MB_ICONINFORMATION);
    return saved;
}

void onDestroy(HWND window)
{
    UINT command = static_cast<UINT>(GetWindowLongW(window, DW_OWNER_COMMAND_INDEX));
    if (command) {
        HWND target = GetWindow(window, GW_OWNER);
        if (!target)
            target = GetParent(window);
        if (target)
            SendMessageW(target, WM_COMMAND, MAKEWPARAM(command, 0), 0);
    }
    setSaveWindowRect(kSettingDataWinRect, window);
    GetWindowRect(window, &g_dataWindowRect);
    if (window == g_dataWindow)
        g_dataWindow = nullptr;
}

LRESULT CALLBACK dataWndProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message) {
    case WM_SIZE: {
        HWND edit = textArea(window);  // none yet while the window itself is being created
        if (edit)
            MoveWindow(edit, 0, 0, LOWORD(lParam), HIWORD(lParam), TRUE);
        return 0;
    }
    case WM_COMMAND:
        switch (LOWORD(wParam)) {
        case DW_CMD_SAVE:
            saveText(window);
            return 0;
        case DW_CMD_READ:
            memGFree(readText(textArea(window)));
            return 0;
        case DW_CMD_CLEAR:
            SetWindowTextW(textArea(window), L"");
            return 0;
        }
        break;
    case WM_DESTROY:
        onDestroy(window);
        return 0;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

bool registerClass()
{
    if (g_classRegistered)
        return true;
    WNDCLASSW wc;
    ZeroMemory(&wc, sizeof(wc));
    wc.style = kClassStyle;
    wc.lpfnWndProc = dataWndProc;
    wc.cbWndExtra = kWindowExtraBytes;
    wc.hInstance = appGetInstance();
    wc.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    wc.hbrBackground = static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH));
    wc.lpszMenuName = kMenuName;
    wc.lpszClassName = kDataWindowClass;
    if (!RegisterClassW(&wc))
        return false;
    g_classRegistered = true;
    int found = 0;
    DWORD stored = setGetDwordEx(kSettingDataWinTop, &found);
    g_topMost = found ? (stored != 0) : 1;
    return true;
}

void applyTopMost(HWND window, int topMost)
{
    SetWindowPos(window, topMost ? HWND_TOPMOST : HWND_NOTOPMOST, 0, 0, 0, 0,
                 SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
}

}  // namespace

// The class menu name has no resource behind it; window creation tolerates that (the class menu
// is loaded on a best-effort basis) and the window simply has no menu bar.
HWND dw_OpenDataWindow(HWND owner, HFONT font)
{
    if (!registerClass())
        return nullptr;
    if (dw_IsDataWindowOpen())
        return g_dataWindow;
    if (!rectIsValid(&g_dataWindowRect))
        setReadRect(kSettingDataWinRect, &g_dataWindowRect);
    bool saved = rectIsValid(&g_dataWindowRect) != 0;
    RECT rect = g_dataWindowRect;
    if (!saved) {
        rectGetWorkArea(&rect);
        rect.left += kDefaultInset;
        rect.right -= kDefaultInset;
        rect.top = rect.bottom - kDefaultHeight;
    }
    HWND window = CreateWindowExW(kWindowExStyle, kDataWindowClass, kDataWindowTitle, kWindowStyle, rect.left,
                                  rect.top, rectWidth(&rect), rectHeight(&rect), owner, nullptr, appGetInstance(), nullptr);
    if (!window)
        return nullptr;
    RECT client;
    GetClientRect(window, &client);
    // Built hidden and shown once set up: a visible edit with both scroll bars redraws them at
    // creation and again at the font change, which cost about 45 ms of start-up under Wine.
    HWND edit = CreateWindowExW(0, L"edit", L"", kEditStyle & ~WS_VISIBLE, 0, 0, client.right, client.bottom,
                                window, reinterpret_cast<HMENU>(static_cast<INT_PTR>(DW_EDIT_ID)), appGetInstance(),
                                nullptr);
    if (!edit) {
        DestroyWindow(window);
        return nullptr;
    }
    SendMessageW(edit, WM_SETFONT, reinterpret_cast<WPARAM>(font ? font : GetStockObject(DEFAULT_GUI_FONT)), FALSE);
    SendMessageW(edit, EM_SETREADONLY, TRUE, 0);
    // Lift the 32,767-character default cap, which would cut a long session's text off.
    SendMessageW(edit, EM_SETLIMITTEXT, 0, 0);
    ShowWindow(edit, SW_SHOWNA);
    g_dataWindow = window;
    if (saved)
        setRestoreWindowRect(kSettingDataWinRect, window, kMinWidth, kMinHeight, 0);
    if (g_topMost)
        applyTopMost(window, 1);
    return window;
}

void dw_CloseDataWindow()
{
    if (dw_IsDataWindowOpen())
        DestroyWindow(g_dataWindow);
    g_dataWindow = nullptr;
}

int dw_IsDataWindowOpen() { return g_dataWindow && IsWindow(g_dataWindow) ? 1 : 0; }

HWND dw_GetDataWindow() { return g_dataWindow; }

void dw_AppendText(const wchar_t *text)
{
    if (!dw_IsDataWindowOpen() || !text)
        return;
    HWND edit = textArea(g_dataWindow);
    int length = GetWindowTextLengthW(edit);
    SendMessageW(edit, EM_SETSEL, static_cast<WPARAM>(length), static_cast<LPARAM>(length));
    SendMessageW(edit, EM_REPLACESEL, FALSE, reinterpret_cast<LPARAM>(text));
}

void dw_AppendLine(const wchar_t *text)
{
    dw_AppendText(text);
    dw_AppendText(L"\r\n");
}

void dw_SetTopMost(int topMost)
{
    g_topMost = topMost ? 1 : 0;
    setPutDword(kSettingDataWinTop, static_cast<DWORD>(g_topMost));
    if (!dw_IsDataWindowOpen())
        return;
    int live = (GetWindowLongW(g_dataWindow, GWL_EXSTYLE) & WS_EX_TOPMOST) ? 1 : 0;
    if (live != g_topMost)
        applyTopMost(g_dataWindow, g_topMost);
}
