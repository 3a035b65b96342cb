// The main dialog: installed components, what to do next, the buttons and the debug mode.
#include "app/maindlg.h"
#include <cwchar>
#include "detect/gs.h"
#include "detect/printers.h"
#include "detect/redmon.h"
#include "diag/report.h"
#include "diag/trace.h"
#include "res/resource.h"
#include "support/appstate.h"
#include "support/dlg.h"
#include "support/mem.h"
#include "support/res.h"
#include "support/txt.h"
#include "tlpdf_config.h"

namespace {

const int kFirstCommand = 55, kLastCommand = 99;

int g_setupAttempted;
int g_reportSubmitted;

void postToFrame(UINT command) { PostMessageW(appGetFrameWindow(), WM_COMMAND, MAKEWPARAM(command, 0), 0); }

int countPdfPrinters()
{
    int count = 0;
    memGFree(gs2_GetDriverPrinterList(L'\n', &count));
    return count;
}

// The Ghostscript and RedMon lines, then the printer line.
HGLOBAL buildComponentText()
{
    HGLOBAL text = gs2_GetComponentSummary(nullptr);
    wchar_t line[256];
    resLoadString(nullptr, IDS_DRIVER_INSTALLED + (countPdfPrinters() <= 0 ? 1 : 0), line, 256);
    return txtGAppend(text, line);
}

void toggleDebug(HWND dialog)
{
    int checked = IsDlgButtonChecked(dialog, IDC_DEBUG) == BST_CHECKED;
    dbg_SetDebugMode(checked);
    if (checked) {
        dbg_StartTrace();
        mainDlgShowComponents(1, dialog);
    }
    mainDlgUpdateState(dialog);
}

}  // namespace

void mainDlgShowComponents(int trace, HWND dialog)
{
    HGLOBAL text = buildComponentText();
    {
        MemLock<wchar_t> lines(text);
        if (!lines)
            return;  // the control keeps what it had
        SetDlgItemTextW(dialog, IDC_COMPONENTS, lines.get());
        if (trace) {
            dbg_WriteTrace(L"[Installed Components]", 1, 1);
            dbg_WriteTrace(lines.get(), 1, 1);
            dbg_WriteTrace(L"=======================", 1, 1);
        }
    }
    memGFree(text);
}

void mainDlgInit(HWND dialog)
{
    g_setupAttempted = 0;
    g_reportSubmitted = 0;
    mainDlgShowComponents(0, dialog);
    // Shown in a read-only edit so that the user can select and copy the address.
    wchar_t line[512];
    _snwprintf(line, 512, L"Or go to: %s", L"" TLPDF_INSTRUCTIONS_URL);
    line[511] = L'\0';
    SetDlgItemTextW(dialog, IDC_URL, line);
    mainDlgUpdateState(dialog);
}

// The status line follows fresh probes; the setup button follows the flags cached at
// start-up, so a component installed meanwhile changes the text but not the button.
BOOL mainDlgUpdateState(HWND dialog)
{
    int ghostscriptNow = gs2_IsGhostscriptInstalled();
    int redMonNow = gs2_IsRedMonInstalled();
    int ready = gs2_CheckRequiredComponents();
    int printerPresent = countPdfPrinters() > 0;
    int debugChecked = IsDlgButtonChecked(dialog, IDC_DEBUG) == BST_CHECKED;

    EnableWindow(GetDlgItem(dialog, IDC_SETUP), ready == 1);
    HWND report = GetDlgItem(dialog, IDC_REPORT);
    ShowWindow(report, debugChecked ? SW_SHOW : SW_HIDE);
    if (debugChecked)
        EnableWindow(report, g_setupAttempted == 1);

    UINT status = IDS_STATUS_READY;
    if (!ghostscriptNow || !redMonNow)
        status = IDS_STATUS_MISSING;
    else if (printerPresent)
        status = IDS_STATUS_DONE;
    wchar_t text[256];
    resLoadString(nullptr, status, text, 256);
    return SetDlgItemTextW(dialog, IDC_STATUS, text);
}

INT_PTR CALLBACK mainDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM)
{
    switch (message) {
    case WM_ACTIVATE:
        dlgSetActiveModeless(dialog, LOWORD(wParam) != WA_INACTIVE);
        return 0;
    case WM_INITDIALOG:
        mainDlgInit(dialog);
        return 1;
    case WM_COMMAND: {
        int id = static_cast<short>(LOWORD(wParam));
        if (id < kFirstCommand || id > kLastCommand)
            return 0;
        switch (id) {
        case IDC_REINIT: mainDlgInit(dialog); break;
        case IDC_INSTRUCTIONS: postToFrame(IDM_INSTRUCTIONS); break;
        case IDC_SETUP:
            g_setupAttempted = 0;
            postToFrame(IDM_SETUP);
            break;
        case IDC_ABOUT: postToFrame(IDM_ABOUT); break;
        case IDC_DEBUG: toggleDebug(dialog); break;
        case IDC_REPORT:
            if (dbg_IsDebugMode()) {
                dbg_SendDebugReport();
                g_reportSubmitted = 1;
            }
            break;
        case IDC_EXIT: postToFrame(IDM_EXIT); break;
        default: return 0;
        }
        return 1;
    }
    default:
        return 0;
    }
}

void mainDlgSetSetupAttempted(int attempted) { g_setupAttempted = attempted; }

int mainDlgGetSetupAttempted() { return g_setupAttempted; }

int mainDlgGetReportSubmitted() { return g_reportSubmitted; }
