// Running other programs and waiting for them; the user's Documents folder.
#include "support/process.h"
#include <shlobj.h>
#include <cwchar>
#include "res/resource.h"
#include "support/msg.h"
#include "support/res.h"
#include "support/str.h"

// Waits like WaitForSingleObject, but keeps this thread's windows alive meanwhile: painting,
// timers (the progress box's dots) and sent messages are served. The owner's top-level window
// is disabled for the wait so that no second command can start; a quit request that arrives
// meanwhile is posted again for the message loop.
DWORD procWaitServingMessages(HWND owner, HANDLE process, DWORD waitMs)
{
    HWND top = owner ? GetAncestor(owner, GA_ROOT) : nullptr;
    bool disabled = top && IsWindowEnabled(top) && !EnableWindow(top, FALSE);
    DWORD start = GetTickCount();
    bool quit = false;
    int quitCode = 0;
    DWORD result;
    for (;;) {
        DWORD elapsed = GetTickCount() - start;
        DWORD remaining = waitMs == INFINITE ? INFINITE : (elapsed >= waitMs ? 0 : waitMs - elapsed);
        result = MsgWaitForMultipleObjects(1, &process, FALSE, remaining, QS_ALLINPUT);
        if (result != WAIT_OBJECT_0 + 1)
            break;
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            if (message.message == WM_QUIT) {
                quit = true;
                quitCode = static_cast<int>(message.wParam);
                continue;
            }
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
    }
    DWORD error = GetLastError();
    if (disabled)
        EnableWindow(top, TRUE);
    if (quit)
        PostQuitMessage(quitCode);
    SetLastError(error);
    return result;
}

int RunProcessAndWait(HWND owner, wchar_t *commandLine, int showState, DWORD waitMs)
{
    return RunProcessAndWaitIn(owner, commandLine, showState, waitMs, nullptr);
}

int RunProcessAndWaitIn(HWND owner, wchar_t *commandLine, int showState, DWORD waitMs,
                        const wchar_t *currentDirectory)
{
    return RunImageAndWait(owner, nullptr, commandLine, showState, waitMs, currentDirectory);
}

// A null image lets the system take the program from the command line, searching for it; a
// caller that must not run a stand-in from some other folder names the image by full path.
// A null folder means the caller's own. The handles stay open and a child that outlives the
// wait keeps running: callers only need to know whether it finished in time.
int RunImageAndWait(HWND owner, const wchar_t *image, wchar_t *commandLine, int showState, DWORD waitMs,
                    const wchar_t *currentDirectory)
{
    STARTUPINFOW startup;
    ZeroMemory(&startup, sizeof(startup));
    startup.cb = sizeof(startup);
    if (showState >= 0) {
        startup.dwFlags = STARTF_USESHOWWINDOW;
        startup.wShowWindow = static_cast<WORD>(showState);
    }
    PROCESS_INFORMATION process;
    ZeroMemory(&process, sizeof(process));
    BOOL created = CreateProcessW(image, commandLine, nullptr, nullptr, FALSE, 0, nullptr, currentDirectory,
                                  &startup, &process);
    if (!created) {
        wchar_t shown[256];
        strCopyN(shown, commandLine ? commandLine : L"", 255);
        msgMessageBoxIdText(owner, IDS_EXEC_FAILED, shown, MB_ICONEXCLAMATION);
        return 0;
    }
    DWORD result = procWaitServingMessages(owner, process.hProcess, waitMs);
    ReportWaitResult(owner, result, 0);
    if (result == WAIT_FAILED || result == WAIT_TIMEOUT || result == WAIT_ABANDONED)
        return 0;
    return created;
}

// The three strings are empty on purpose: the by-id boxes stay silent, and a failed wait
// shows an empty plain box.
void ReportWaitResult(HWND owner, DWORD result, int)
{
    if (result == WAIT_ABANDONED) {
        msgMessageBoxId(owner, IDS_WAIT_ABANDONED, MB_ICONINFORMATION);
    } else if (result == WAIT_TIMEOUT) {
        msgMessageBoxId(owner, IDS_WAIT_TIMEOUT, MB_ICONINFORMATION);
    } else if (result == WAIT_FAILED) {
        DWORD error = GetLastError();  // before loading the string can change it
        wchar_t format[256];
        wchar_t text[512];
        ZeroMemory(format, sizeof(format));
        resLoadString255(owner, IDS_WAIT_FAILED, format);
        _snwprintf(text, 512, format, error);
        text[511] = L'\0';
        msgMessageBox(owner, text, MB_OK);
    }
}

int GetDocumentsFolder(HWND owner, wchar_t *out)
{
    return SUCCEEDED(SHGetFolderPathW(owner, CSIDL_PERSONAL, nullptr, 0, out)) ? 1 : 0;
}
