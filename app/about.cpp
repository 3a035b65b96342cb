// The About box: version number, copyright from the version resource, the vendor's site.
#include "app/about.h"
#include <cwchar>
#include "res/resource.h"
#include "support/appstate.h"
#include "support/rect.h"
#include "support/res.h"
#include "support/shell.h"
#include "support/ver.h"
#include "tlpdf_config.h"

namespace {

const UINT kFrameQueryCommand = 812;  // asks for the frame and does nothing with it

void centreOverMainWindow(HWND dialog)
{
    RECT box, reference;
    HWND frame = appGetFrameWindow();
    if (!frame || !GetWindowRect(frame, &reference))
        GetWindowRect(GetDesktopWindow(), &reference);
    GetWindowRect(dialog, &box);
    rectCentreOn(&box, &reference);
    SetWindowPos(dialog, nullptr, box.left, box.top, 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
}

}  // namespace

// "|" and "^" in the stored copyright stand for a carriage return and a line feed.
void aboutCopyrightLines(wchar_t *text)
{
    for (wchar_t *p = text; *p; p++) {
        if (*p == L'|')
            *p = L'\r';
        else if (*p == L'^')
            *p = L'\n';
    }
}

void aboutFormatVersion(wchar_t *out, int capacity, WORD versionNumber)
{
    wchar_t number[16];
    _snwprintf(number, 16, L"%d.%02d", versionNumber / 100, versionNumber % 100);
    number[15] = L'\0';
    wchar_t format[61];
    if (resLoadString(nullptr, IDS_VERSION_FORMAT, format, 60) <= 0)
        wcscpy(format, L"Version %s");
    _snwprintf(out, capacity, format, number);
    out[capacity - 1] = L'\0';
}

void aboutSetCopyright(HWND dialog)
{
    wchar_t company[257], copyright[257];
    HMODULE module = reinterpret_cast<HMODULE>(GetWindowLongPtrW(dialog, GWLP_HINSTANCE));
    if (!GetDlgItem(dialog, IDC_COPYRIGHT) || verGetStrings(company, copyright, module) != 1)
        return;  // the template's line stays
    aboutCopyrightLines(copyright);
    SetDlgItemTextW(dialog, IDC_COPYRIGHT, copyright);
}

void aboutInit(HWND dialog)
{
    wchar_t line[257];
    aboutFormatVersion(line, 257, appIdentity().versionNumber);
    SetDlgItemTextW(dialog, IDC_VERSION, line);
    aboutSetCopyright(dialog);
}

INT_PTR CALLBACK aboutDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM)
{
    switch (message) {
    case WM_INITDIALOG:
        aboutInit(dialog);
        centreOverMainWindow(dialog);
        return 1;
    case WM_COMMAND:
        switch (LOWORD(wParam)) {
        case IDC_WEBSITE: OpenDocumentOrUrl(dialog, L"" TLPDF_VENDOR_URL); return 0;
        case kFrameQueryCommand: appGetFrameWindow(); return 0;
        case IDOK:
        case IDCANCEL: EndDialog(dialog, LOWORD(wParam)); return 1;
        default: return 0;
        }
    default:
        return 0;
    }
}
