// Installing the printer with the system's printer installer, run from a batch file.
#include "setup/printui.h"
#include <cwchar>
#include "detect/printers.h"
#include "diag/trace.h"
#include "setup/spooler.h"
#include "support/fl.h"
#include "support/handles.h"
#include "support/msg.h"
#include "support/path.h"
#include "support/process.h"
#include "support/str.h"
#include "support/sys.h"

const wchar_t kSetupBatchName[] = L"tl2pdf_setup.bat";

namespace {

const int kAnsiBytes = 512;
const int kHidden = 0;
// Removing an old printer of the same name first is a program-wide switch, always on.
const bool kDeleteOldPrinter = true;

const wchar_t kInstallFormat64[] = L"rundll32 printui.dll,PrintUIEntry /if /m \"%s\" /h[x64] /f "
                                   L"%%windir%%\\inf\\ntprint.inf  /b \"%s\" /r \"%s\"\r\n";
const wchar_t kInstallFormat32[] = L"rundll32 printui.dll,PrintUIEntry /if /m \"%s\" /h[x86] /f "
                                   L"%%windir%%\\inf\\ntprint.inf  /b \"%s\" /r \"%s\"\r\n";
const wchar_t kDeleteFormat[] = L"rundll32 printui.dll,PrintUIEntry /dl /n \"%s\"";

// The command interpreter reads the batch file in the ANSI code page; names that do
// not convert are written as the code page's substitutes.
int writeBatch(const wchar_t *path, const wchar_t *command)
{
    ScopedHandle file(flCreate(path));
    if (!file)
        return 0;
    char bytes[kAnsiBytes];
    int n = WideCharToMultiByte(CP_ACP, 0, command, -1, bytes, kAnsiBytes, nullptr, nullptr);
    DWORD written = 0;
    if (n > 1)
        WriteFile(file.get(), bytes, static_cast<DWORD>(n - 1), &written, nullptr);
    return 1;
}

// The batch line starts with the bare word "rundll32", and the command interpreter looks
// in its current directory before the path. Running it from the system folder makes sure
// that a rundll32.exe planted beside this program or in the user's folder is never run.
int runBatch(HWND owner, const wchar_t *batchPath, DWORD waitMs)
{
    wchar_t commandLine[PATH_BUFFER], systemFolder[PATH_BUFFER] = L"";
    strCopyN(commandLine, batchPath, PATH_CHARS);
    GetSystemDirectoryW(systemFolder, PATH_CHARS);
    return RunProcessAndWaitIn(owner, commandLine, kHidden, waitMs, systemFolder[0] ? systemFolder : nullptr);
}

// An old printer that could not be deleted (jobs pending, say) is still there on its old port
// after a failed install: only a printer on our port counts as installed.
int isOnPort(const wchar_t *display, const wchar_t *port)
{
    if (splIsPrinterOnPort(display, port))
        return 1;
    wchar_t actual[PATH_BUFFER];
    splGetPrinterPort(display, actual, PATH_BUFFER);
    dbg_TraceLine(L"Printer %s is on port \"%s\", not on %s.", display, actual, port);
    return 0;
}

}  // namespace

// A double quote, a percent sign or a control character would change the batch line.
int gs2_IsSafeBatchText(const wchar_t *text)
{
    for (const wchar_t *p = text; p && *p; p++)
        if (*p == L'"' || *p == L'%' || *p < 0x20 || *p == 0x7F)
            return 0;
    return 1;
}

void gs2_FormatInstallCommand(wchar_t *out, int capacity, int is64Bit, const wchar_t *driver, const wchar_t *display,
                              const wchar_t *port)
{
    _snwprintf(out, capacity, is64Bit ? kInstallFormat64 : kInstallFormat32, driver, display, port);
    out[capacity - 1] = L'\0';
}

int gs2_CheckPrintUiFiles(const wchar_t *windowsFolder, int *rundll32Found, int *ntprintFound)
{
    wchar_t systemFolder[PATH_BUFFER] = L"", rundll32[PATH_BUFFER] = L"", inf[PATH_BUFFER] = L"",
            ntprint[PATH_BUFFER] = L"";
    GetSystemDirectoryW(systemFolder, PATH_CHARS);
    pathJoin(rundll32, systemFolder, L"rundll32.exe");
    pathJoin(inf, windowsFolder, L"inf");
    pathJoin(ntprint, inf, L"ntprint.inf");
    *rundll32Found = pathFileExists(rundll32);
    *ntprintFound = pathFileExists(ntprint);
    return *rundll32Found && *ntprintFound ? 1 : 0;
}

int gs2_DeletePrinterIfExists(HWND owner, const wchar_t *batchPath, const wchar_t *display, DWORD waitMs)
{
    if (!gs2_IsPrinterInstalled(display))
        return 1;
    wchar_t command[PATH_BUFFER + 64];
    _snwprintf(command, PATH_BUFFER + 64, kDeleteFormat, display);
    command[PATH_BUFFER + 63] = L'\0';
    if (!writeBatch(batchPath, command))
        return 1;
    return runBatch(owner, batchPath, waitMs);
}

int gs2_AddPrinter_Thru_Dll(HWND owner, const wchar_t *driver, const wchar_t *port, const wchar_t *display)
{
    int result = 0;
    int tracing = dbg_IsDebugMode();
    if (!sysFacts().classified)
        sysClassify();
    int is64Bit = sysIs64Bit();
    wchar_t line[1024];
    if (tracing) {
        dbg_WriteBlankLine();
        dbg_TraceLine(L"[gs2_AddPrinter_Thru_Dll] starts");
        dbg_Indent();
        dbg_TraceLine(L"Driver Name = %s, Port Name= %s, Display Name = %s", driver, port, display);
    }
    HCURSOR previousCursor = SetCursor(LoadCursorW(nullptr, IDC_WAIT));

    wchar_t temp[PATH_BUFFER] = L"", batch[PATH_BUFFER] = L"", windows[PATH_BUFFER] = L"";
    GetTempPathW(PATH_CHARS, temp);
    pathJoin(batch, temp, kSetupBatchName);
    int rundll32Found = 0, ntprintFound = 0;
    if (!GetWindowsDirectoryW(windows, PATH_CHARS)) {
        result = 0;
    } else if (!gs2_IsSafeBatchText(driver) || !gs2_IsSafeBatchText(display) || !gs2_IsSafeBatchText(port)) {
        result = 0;  // refused earlier with a message; never written into a batch line
    } else if (gs2_CheckPrintUiFiles(windows, &rundll32Found, &ntprintFound)) {
        if (kDeleteOldPrinter)
            gs2_DeletePrinterIfExists(owner, batch, display, kInstallerWaitMs);
        wchar_t command[1024];
        gs2_FormatInstallCommand(command, 1024, is64Bit, driver, display, port);
        if (writeBatch(batch, command)) {
            if (runBatch(owner, batch, kInstallerWaitMs))
                result = gs2_IsPrinterInstalled(display) && isOnPort(display, port);
            if (tracing) {
                // The command ends in CR LF already.
                _snwprintf(line, 1024, result ? L"Succeeded = %s" : L"Failed = %s", command);
                line[1023] = L'\0';
                dbg_WriteTrace(line, 0, 1);
            }
            pathDeleteFile(batch);
        }
    } else {
        wchar_t missing[64] = L"";
        if (!rundll32Found)
            wcscpy(missing, L"rundll32.exe");
        if (!ntprintFound) {
            if (missing[0])
                wcscat(missing, L" and ");
            wcscat(missing, L"ntprint.inf");
        }
        _snwprintf(line, 1024, L"Enabling PDF support failed because the system is missing %s.", missing);
        line[1023] = L'\0';
        msgMessageBox(owner, line, MB_ICONERROR);
        dbg_TraceLine(L"%s", line);
    }

    SetCursor(previousCursor);
    if (tracing) {
        dbg_Unindent();
        dbg_TraceLine(L"[gs2_AddPrinter_Thru_Dll] ends. Returns = %d", result);
    }
    return result;
}
