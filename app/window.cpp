// The main window "Tessaloom PDF Setup": class, creation, messages and command dispatch.
#include "app/window.h"
#include <commctrl.h>
#include "app/cmdline.h"
#include "app/about.h"
#include "app/actions.h"
#include "app/identity.h"
#include "app/maindlg.h"
#include "detect/gs.h"
#include "detect/locations.h"
#include "setup/autosetup.h"
#include "diag/datawin.h"
#include "diag/trace.h"
#include "res/resource.h"
#include "support/appstate.h"
#include "support/dlg.h"
#include "support/mem.h"
#include "support/msg.h"
#include "support/rect.h"
#include "support/setuplock.h"
#include "support/shell.h"
#include "support/sys.h"
#include "support/syslib.h"
#include "tlpdf_config.h"

const wchar_t kMainWindowClass[] = L"tlpdf_class";
const wchar_t kMainWindowTitle[] = L"Tessaloom PDF Setup";

namespace {

const UINT kClassStyle = CS_VREDRAW | CS_HREDRAW | CS_DBLCLKS;
const DWORD kWindowStyle = 0x02CF0000;  // overlapped window with clipped children
const int kWindowExtraBytes = 32;
const int kInitialLeft = 120, kInitialTop = 120, kInitialWidth = 450, kInitialHeight = 250;

ATOM g_classAtom;
HWND g_mainWindow;
HWND g_mainDialog;
int g_exitAfterCommand;
bool g_setupRunning;

void postCommand(HWND window, UINT command) { PostMessageW(window, WM_COMMAND, MAKEWPARAM(command, 0), 0); }

LRESULT onCreate(HWND window)
{
    appSetFrameWindow(window);
    msgSetDefaultOwner(window);
    dlgClearWindowLists();
    gs2_InitComponents(1);
    // The administrator check is only meaningful where the operating-system check passes.
    if (sysIsVistaOrLater() && !sysIsAdmin()) {
        msgWarningBox(window, kNotAdminMessage);
        PostMessageW(window, WM_CLOSE, 0, 0);
    }
    dw_OpenDataWindow(window, nullptr);
    g_mainDialog = appCreateMainDialog(window);
    appCentreInWorkArea(window);
    return 0;
}

}  // namespace

ATOM appRegisterClass(HINSTANCE instance)
{
    if (g_classAtom)
        return g_classAtom;
    WNDCLASSW wc;
    ZeroMemory(&wc, sizeof(wc));
    wc.style = kClassStyle;
    wc.lpfnWndProc = appMainWndProc;
    wc.cbWndExtra = kWindowExtraBytes;
    wc.hInstance = instance;
    wc.hIcon = LoadIconW(instance, L"tlpdf");
    wc.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    wc.hbrBackground = static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH));
    wc.lpszClassName = kMainWindowClass;
    g_classAtom = RegisterClassW(&wc);
    return g_classAtom;
}

HWND appCreateMainWindow(const RECT *rect, HINSTANCE instance, int showCommand)
{
    int x = CW_USEDEFAULT, y = CW_USEDEFAULT, width = CW_USEDEFAULT, height = CW_USEDEFAULT;
    if (rect) {
        x = rect->left;
        y = rect->top;
        width = rect->right - rect->left;
        height = rect->bottom - rect->top;
    }
    HWND window = CreateWindowExW(0, kMainWindowClass, kMainWindowTitle, kWindowStyle, x, y, width, height,
                                  nullptr, nullptr, instance, nullptr);
    g_mainWindow = window;
    if (window) {
        ShowWindow(window, showCommand);
        UpdateWindow(window);
    }
    return window;
}

// The frame is sized so that its client area is exactly the dialog, then centred.
HWND appCreateMainDialog(HWND frame)
{
    HINSTANCE instance = reinterpret_cast<HINSTANCE>(GetWindowLongPtrW(frame, GWLP_HINSTANCE));
    HWND dialog = CreateDialogParamW(instance, L"MAIN_DLG", frame, mainDlgProc, 0);
    g_mainDialog = dialog;
    if (dialog) {
        RECT rect;
        GetWindowRect(dialog, &rect);
        AdjustWindowRectEx(&rect, static_cast<DWORD>(GetWindowLongPtrW(frame, GWL_STYLE)), GetMenu(frame) != nullptr,
                           static_cast<DWORD>(GetWindowLongPtrW(frame, GWL_EXSTYLE)));
        RECT frameRect;
        GetWindowRect(frame, &frameRect);
        frameRect.right = frameRect.left + rectWidth(&rect);
        frameRect.bottom = frameRect.top + rectHeight(&rect);
        RECT work;
        rectGetWorkArea(&work);
        rectCentreOn(&frameRect, &work);
        MoveWindow(frame, frameRect.left, frameRect.top, rectWidth(&frameRect), rectHeight(&frameRect), TRUE);
        ShowWindow(dialog, SW_SHOW);
    }
    return dialog;
}

void appRefreshMainDialog()
{
    if (IsWindow(g_mainDialog)) {
        mainDlgSetSetupAttempted(1);
        mainDlgUpdateState(g_mainDialog);
    }
}

HWND appGetMainDialog() { return g_mainDialog; }

void appCentreInWorkArea(HWND window)
{
    RECT rect, work;
    GetWindowRect(window, &rect);
    rectGetWorkArea(&work);
    rectCentreOn(&rect, &work);
    MoveWindow(window, rect.left, rect.top, rectWidth(&rect), rectHeight(&rect), TRUE);
}

LRESULT CALLBACK appMainWndProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message) {
    case WM_CREATE:
        return onCreate(window);
    case WM_SIZE:
        if (g_mainDialog) {
            RECT client;
            GetClientRect(window, &client);
            MoveWindow(g_mainDialog, 0, 0, client.right, client.bottom, TRUE);
        }
        return 0;
    case WM_PAINT: {
        PAINTSTRUCT ps;
        BeginPaint(window, &ps);
        EndPaint(window, &ps);
        return 0;
    }
    case WM_CLOSE:
        if (g_setupRunning)
            return 0;  // closed once the setup is over, not under it
        dlgFreeWindowLists();
        return DefWindowProcW(window, message, wParam, lParam);
    case WM_DESTROY:
        PostQuitMessage(0);
        return 0;
    case WM_COMMAND:
        appOnCommand(wParam);
        return 0;
    default:
        return DefWindowProcW(window, message, wParam, lParam);
    }
}

// The whole word is compared, so only commands posted with notification 0 match.
int appOnCommand(WPARAM command)
{
    // The setup serves messages while the installer runs: nothing posted meanwhile starts inside it.
    if (g_setupRunning)
        return 1;
    AppCommand running;
    switch (static_cast<DWORD>(command)) {
    case IDM_INSTRUCTIONS:
        OpenDocumentOrUrl(g_mainWindow, L"" TLPDF_INSTRUCTIONS_URL);
        break;
    case IDM_SETUP: {
        // A machine where no PDF can ever come out is refused first, with nothing changed. A
        // successful setup with the printer present ends the program. Another setup (this
        // program run by a deployment tool, say) is waited for with the window alive; when it
        // goes on too long, or the lock cannot be had at all, nothing is changed.
        wchar_t refusal[1024];
        if (gs2_FindRefusal(refusal, 1024) != SETUP_DONE) {
            msgErrorBox(g_mainWindow, refusal);
            dbg_TraceLine(L"[gs2_AutoSetupTessaloomPDF] %s", refusal);
            break;
        }
        g_setupRunning = true;
        HANDLE lock = nullptr;
        LockResult taken = lockTakeSetup(g_mainWindow, lockWaitMs(), &lock);
        if (taken != LOCK_TAKEN) {
            g_setupRunning = false;
            if (taken == LOCK_BUSY) {
                msgMessageBoxId(g_mainWindow, IDS_SETUP_BUSY, MB_ICONWARNING);
            } else {
                lockFormatFailure(refusal, 1024);
                msgErrorBox(g_mainWindow, refusal);
                dbg_TraceLine(L"%s", refusal);
            }
            break;
        }
        UINT done = gs2_AutoSetupTessaloomPDF(g_mainWindow, L"", 1);
        if (gs2_LastSetupOutcome() == SETUP_PRINTER_FAILED)
            gs2_TraceDriverState();
        gs2_TraceResponseFileTrust();
        gs2_TraceGhostscriptAdvice();
        lockRelease(lock);
        g_setupRunning = false;
        if (done) {
            if (gs2_IsPdfPrinterInstalled()) {
                msgMessageBoxId(g_mainWindow, IDS_SETUP_COMPLETED, MB_ICONINFORMATION);
                g_exitAfterCommand = 1;
            } else {
                msgErrorBoxId(g_mainWindow, IDS_SETUP_FAILED);
            }
            appRefreshMainDialog();
        }
        break;
    }
    case IDM_EXIT:
    case IDM_EXIT_ALT:
        PostMessageW(g_mainWindow, WM_CLOSE, 0, 0);
        break;
    case IDM_ABOUT:
        DialogBoxParamW(reinterpret_cast<HINSTANCE>(GetWindowLongPtrW(g_mainWindow, GWLP_HINSTANCE)),
                        MAKEINTRESOURCEW(IDD_ABOUT), g_mainWindow, aboutDlgProc, 0);
        break;
    default:
        return 1;
    }
    if (g_exitAfterCommand)
        postCommand(g_mainWindow, IDM_EXIT);
    return 0;
}

HWND appGetMainWindow() { return g_mainWindow; }

void appSetExitAfterCommand(int exitAfter) { g_exitAfterCommand = exitAfter; }

int appGetExitAfterCommand() { return g_exitAfterCommand; }

int appRun(HINSTANCE instance, HINSTANCE previous, const wchar_t *commandLine, int showCommand)
{
    memSetFailureHook(msgReportMemFailure);
    // Before anything can load a DLL: never from the program's folder or the current one.
    sysHardenDllSearch();
    RECT rect = {kInitialLeft, kInitialTop, 0, 0};
    MSG message;
    ZeroMemory(&message, sizeof(message));
    int oneShot = 0;
    if (commandLine && *commandLine)
        oneShot = appParseCommandLine(commandLine);
    appSetInstance(instance);
    appSetIdentity(instance);
    // -SETUP, -STATUS or -UNINSTALL: no window at all, the result is the exit code.
    int actionCode = appRunAction(commandLine);
    if (actionCode >= 0)
        return actionCode;
    INITCOMMONCONTROLSEX controls;
    controls.dwSize = sizeof(controls);
    controls.dwICC = 0xFF;  // all the classic control classes
    InitCommonControlsEx(&controls);
    rect.right = rect.left + kInitialWidth;
    rect.bottom = rect.top + kInitialHeight;

    HWND window = nullptr;
    if (previous || appRegisterClass(instance))
        window = appCreateMainWindow(&rect, instance, showCommand);
    if (!window)
        return 0;

    // Refused systems still run the loop below: the destruction posts the quit message.
    if (!sysIsVistaOrLater()) {
        msgMessageBoxId(window, IDS_OS_REFUSED, MB_ICONERROR);
        DestroyWindow(window);
    }
    gs2_GetDataFolder(nullptr);
    if (oneShot == 1) {
        g_exitAfterCommand = 1;
        postCommand(window, IDM_ONESHOT_START);
    }
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    return static_cast<int>(message.wParam);
}
