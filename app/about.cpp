// The About box: version number, copyright from the version resource, the vendor's site.
#include "app/about.h"
#include <cwchar>
#include "res/resource.h"
#include "support/appstate.h"
#include "support/mem.h"
#include "support/rect.h"
#include "support/res.h"
#include "support/shell.h"
#include "support/str.h"
#include "support/syslib.h"
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

// Reads one text of the StringFileInfo block, in the translation's language or the fixed one.
bool queryString(void *block, const wchar_t *translation, const wchar_t *name, wchar_t *out)
{
    wchar_t query[128];
    if (translation[0])
        _snwprintf(query, 128, L"\\StringFileInfo\\%s\\%s", translation, name);
    else
        _snwprintf(query, 128, L"\\StringFileInfo\\040904B0\\%s", name);
    query[127] = L'\0';
    wchar_t *value = nullptr;
    UINT length = 0;
    if (!sysVerQueryValueW(block, query, reinterpret_cast<void **>(&value), &length) || !value || length == 0)
        return false;
    strCopyN(out, value, 255);
    return out[0] != L'\0';
}

}  // namespace

void verGetTranslation(const void *versionBlock, wchar_t *out)
{
    out[0] = L'\0';
    WORD *translation = nullptr;
    UINT length = 0;
    if (sysVerQueryValueW(versionBlock, L"\\VarFileInfo\\Translation", reinterpret_cast<void **>(&translation),
                          &length) &&
        translation && length >= 2 * sizeof(WORD))
        _snwprintf(out, 9, L"%04x%04x", translation[0], translation[1]);
}

int verGetStrings(wchar_t *company, wchar_t *copyright, HMODULE module)
{
    copyright[0] = L'\0';
    if (company)
        company[0] = L'\0';
    HGLOBAL block = verLoadBlock(module);
    if (!block)
        return 0;
    bool found = false;
    {
        MemLock<BYTE> data(block);
        wchar_t translation[9];
        verGetTranslation(data.get(), translation);
        found = queryString(data.get(), translation, L"LegalCopyright", copyright);
        if (company && queryString(data.get(), translation, L"CompanyName", company))
            found = true;
    }
    memGFree(block);
    return found ? 1 : 0;
}

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
