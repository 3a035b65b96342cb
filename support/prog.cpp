// A modeless box that names a long step and adds a dot a second while it runs.
#include "support/prog.h"
#include "res/resource.h"
#include "support/appstate.h"
#include "support/dlg.h"
#include "support/msg.h"
#include "support/rect.h"
#include "support/res.h"

namespace {

const UINT_PTR kDotTimer = 122;
const UINT kDotPeriodMs = 1000;

// Read once, while the box initialises inside the creating call, so pointers suffice.
const wchar_t *g_caption;
const wchar_t *g_body;
UINT_PTR g_timer;

void appendText(HWND edit, const wchar_t *text)
{
    int length = GetWindowTextLengthW(edit);
    SendMessageW(edit, EM_SETSEL, length, length);
    SendMessageW(edit, EM_REPLACESEL, FALSE, reinterpret_cast<LPARAM>(text));
}

void repaint(HWND window)
{
    InvalidateRect(window, nullptr, TRUE);
    UpdateWindow(window);
}

// Same placement as the message boxes: over the frame window, kept inside the work area.
void centreBox(HWND box)
{
    RECT current, reference, work;
    if (!GetWindowRect(box, &current))
        return;
    HWND frame = appGetFrameWindow();
    if (!frame || !GetWindowRect(frame, &reference))
        GetWindowRect(GetDesktopWindow(), &reference);
    rectGetWorkArea(&work);
    RECT placed = current;
    msgPlaceBox(&placed, &reference, &work);
    if (placed.left != current.left || placed.top != current.top)
        SetWindowPos(box, nullptr, placed.left, placed.top, 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
}

INT_PTR CALLBACK boxProc(HWND box, UINT message, WPARAM wParam, LPARAM)
{
    switch (message) {
    case WM_INITDIALOG: {
        SetWindowTextW(box, g_caption ? g_caption : L"");
        HWND edit = GetDlgItem(box, IDC_PROGRESS_TEXT);
        SetWindowTextW(edit, g_body ? g_body : L"");
        repaint(edit);
        ShowWindow(edit, SW_SHOW);
        appendText(edit, L"\r\n");
        g_timer = SetTimer(box, kDotTimer, kDotPeriodMs, nullptr);
        centreBox(box);
        return 1;
    }
    case WM_TIMER:
        if (wParam != kDotTimer)
            return 0;
        appendText(GetDlgItem(box, IDC_PROGRESS_TEXT), L".");
        repaint(GetDlgItem(box, IDC_PROGRESS_TEXT));
        return 1;
    case WM_ACTIVATE:
        return dlgSetActiveModeless(box, LOWORD(wParam) != WA_INACTIVE);
    case WM_DESTROY:
        if (g_timer) {
            KillTimer(box, kDotTimer);
            g_timer = 0;
        }
        dlgRemoveModeless(box);
        return 0;
    default:
        return 0;
    }
}

}  // namespace

HWND progCreateBoxId(HWND owner, UINT captionId, const wchar_t *body, int ignored)
{
    wchar_t caption[65];
    resLoadString(owner, captionId, caption, 64);
    return progCreateBox(owner, caption, body, ignored);
}

// The template lives in the owner's module; without an owner, in the program's own.
HWND progCreateBox(HWND owner, const wchar_t *caption, const wchar_t *body, int)
{
    if (appIsWindowless())
        return nullptr;  // callers already live with a box that could not be made
    HINSTANCE instance = owner ? reinterpret_cast<HINSTANCE>(GetWindowLongPtrW(owner, GWLP_HINSTANCE)) : nullptr;
    if (!instance)
        instance = appGetInstance();
    g_caption = caption;
    g_body = body;
    HWND box = CreateDialogParamW(instance, L"PROGRESS_MSGBOX", owner, boxProc, 0);
    g_caption = g_body = nullptr;  // the caller's buffers may go once we return
    if (box)
        dlgAddModeless(box);
    return box;
}
