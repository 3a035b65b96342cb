// Installing the printer with the system's printer installer, run from a batch file.
#include "setup/printui.h"
#include <cwchar>
#include "detect/printers.h"
#include "diag/trace.h"
#include "res/resource.h"
#include "setup/spooler.h"
#include "support/handles.h"
#include "support/msg.h"
#include "support/path.h"
#include "support/process.h"
#include "support/res.h"
#include "support/str.h"
#include "support/sys.h"

const wchar_t kSetupBatchName[] = L"tl2pdf_setup.bat";

namespace {

const int kAnsiBytes = 512;
const int kHidden = 0;
const int kCommandChars = 2 * PATH_BUFFER + 64;
// Removing an old printer of the same name first is a program-wide switch, always on.
const bool kDeleteOldPrinter = true;

const wchar_t kInstallFormat64[] = L"rundll32 printui.dll,PrintUIEntry /if /m \"%s\" /h[x64] /f "
                                   L"%%windir%%\\inf\\ntprint.inf  /b \"%s\" /r \"%s\"\r\n";
const wchar_t kInstallFormat32[] = L"rundll32 printui.dll,PrintUIEntry /if /m \"%s\" /h[x86] /f "
                                   L"%%windir%%\\inf\\ntprint.inf  /b \"%s\" /r \"%s\"\r\n";
const wchar_t kDeleteFormat[] = L"rundll32 printui.dll,PrintUIEntry /dl /n \"%s\"";

// The command interpreter reads the batch file in the ANSI code page. Best-fit conversion would
// turn look-alikes into the real thing (a fullwidth quotation mark into a double quote), so a
// text is converted exactly or not at all. Returns the byte count without the null, or -1.
int toBatchBytes(const wchar_t *text, char *out, int capacity)
{
    // A UTF-8 code page takes neither flag nor default character; it converts everything exactly
    // but unpaired surrogates, which it is told to refuse.
    bool utf8 = GetACP() == CP_UTF8;
    BOOL usedDefault = FALSE;
    int n = WideCharToMultiByte(CP_ACP, utf8 ? WC_ERR_INVALID_CHARS : WC_NO_BEST_FIT_CHARS, text, -1, out, capacity,
                                nullptr, utf8 ? nullptr : &usedDefault);
    return n > 0 && !usedDefault ? n - 1 : -1;
}

// The temporary folder belongs to the user, and any program of the user can write it while
// this one runs elevated. Whatever is at the name goes first (a hard or symbolic link loses only
// its name, never its target's contents), the file is made new, and the open handle keeps other
// programs from writing, renaming or deleting it until the caller's runs have ended; the command
// interpreter may still read it.
HANDLE createBatch(const wchar_t *path)
{
    if (!pathDeleteFile(path))
        return nullptr;
    HANDLE file = CreateFileW(path, GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_NEW,
                              FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    return file == INVALID_HANDLE_VALUE ? nullptr : file;
}

// Replaces the whole content of the open batch file. A command that does not convert exactly
// is never written.
int writeBatch(HANDLE file, const wchar_t *command)
{
    char bytes[kAnsiBytes];
    int n = toBatchBytes(command, bytes, kAnsiBytes);
    if (n < 0 || SetFilePointer(file, 0, nullptr, FILE_BEGIN) == INVALID_SET_FILE_POINTER || !SetEndOfFile(file))
        return 0;
    DWORD written = 0;
    return n == 0 || (WriteFile(file, bytes, static_cast<DWORD>(n), &written, nullptr) && written == DWORD(n)) ? 1 : 0;
}

// The batch file's path goes between double quotes on the interpreter's command line, where a
// percent sign would still be expanded.
bool isSafeCommandPath(const wchar_t *path)
{
    for (const wchar_t *p = path; *p; p++)
        if (*p == L'"' || *p == L'%' || *p < 0x20)
            return false;
    return path[0] != L'\0';
}

// The interpreter that runs the batch files, by its full path, so that neither the search path
// nor the current folder can put another program in its place. Under WOW64 it is the machine's
// own 64-bit one (reached through "Sysnative"), so that rundll32, the printer installer and the
// driver it installs are the machine's own as well, whatever this process's redirection state.
int interpreterPath(wchar_t *out)
{
    wchar_t folder[PATH_BUFFER];
    return pathNativeSystemFolder(folder) && pathJoinWhole(out, folder, L"cmd.exe");
}

// /d skips the AutoRun commands of the registry and /v:off keeps "!" literal whatever the user's
// registry asks for; with /s the outer pair of quotes goes and the inner pair keeps the path
// whole, so "&", "(", ")", "^" and blanks in the temporary folder's name stay part of it. The
// batch line starts with the bare word "rundll32", and the interpreter looks in its current
// folder first: running it from the system folder makes sure that a rundll32.exe planted beside
// this program or in the user's folder is never run. Nonzero when the interpreter was started and
// ended within the wait; with the path whole and the file held open, it then ran the batch file.
int runBatch(HWND owner, const wchar_t *batchPath, DWORD waitMs)
{
    wchar_t interpreter[PATH_BUFFER], systemFolder[PATH_BUFFER], commandLine[kCommandChars];
    if (!interpreterPath(interpreter) || !pathSystemFolder(systemFolder))
        return 0;
    _snwprintf(commandLine, kCommandChars, L"\"%s\" /d /v:off /s /c \"\"%s\"\"", interpreter, batchPath);
    commandLine[kCommandChars - 1] = L'\0';
    return RunImageAndWait(owner, interpreter, commandLine, kHidden, waitMs, systemFolder);
}

// The install step stops here, before any printer is removed or installed.
void refuseBatchFile(HWND owner, const wchar_t *batchPath)
{
    wchar_t message[PATH_BUFFER + 256];
    resFormatString(message, PATH_BUFFER + 256, IDS_BATCH_FILE_REFUSED, batchPath);
    msgErrorBox(owner, message);
    dbg_TraceLine(L"%s", message);
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

// A double quote, a percent sign or a control character in the bytes written would change the
// batch line; so would a character that the code page can only approximate.
int gs2_IsSafeBatchText(const wchar_t *text)
{
    char bytes[kAnsiBytes];
    int n = toBatchBytes(text ? text : L"", bytes, kAnsiBytes);
    if (n < 0)
        return 0;
    for (int i = 0; i < n; i++) {
        unsigned char c = static_cast<unsigned char>(bytes[i]);
        if (c == '"' || c == '%' || c < 0x20 || c == 0x7F)
            return 0;
    }
    return 1;
}

void gs2_FormatInstallCommand(wchar_t *out, int capacity, int is64Bit, const wchar_t *driver, const wchar_t *display,
                              const wchar_t *port)
{
    _snwprintf(out, capacity, is64Bit ? kInstallFormat64 : kInstallFormat32, driver, display, port);
    out[capacity - 1] = L'\0';
}

// A system folder that cannot be had whole counts as missing rundll32.exe: a cut name would be
// looked up relative to the current folder.
int gs2_CheckPrintUiFiles(const wchar_t *windowsFolder, int *rundll32Found, int *ntprintFound)
{
    wchar_t systemFolder[PATH_BUFFER] = L"", rundll32[PATH_BUFFER] = L"", inf[PATH_BUFFER] = L"",
            ntprint[PATH_BUFFER] = L"";
    *rundll32Found = pathSystemFolder(systemFolder) && pathJoinWhole(rundll32, systemFolder, L"rundll32.exe") &&
                     pathFileExists(rundll32);
    *ntprintFound = pathJoinWhole(inf, windowsFolder, L"inf") && pathJoinWhole(ntprint, inf, L"ntprint.inf") &&
                    pathFileExists(ntprint);
    return *rundll32Found && *ntprintFound ? 1 : 0;
}

// The batch file is the caller's, open and held (see createBatch).
int gs2_DeletePrinterIfExists(HWND owner, const wchar_t *batchPath, HANDLE batchFile, const wchar_t *display,
                              DWORD waitMs)
{
    if (!gs2_IsPrinterInstalled(display))
        return 1;
    wchar_t command[PATH_BUFFER + 64];
    _snwprintf(command, PATH_BUFFER + 64, kDeleteFormat, display);
    command[PATH_BUFFER + 63] = L'\0';
    if (!writeBatch(batchFile, command))
        return 1;
    return runBatch(owner, batchPath, waitMs);
}

// The same delete line the setup runs before it installs, in the same held batch file. 1 when
// no printer of that name is left.
int gs2_RemovePrinter_Thru_Dll(HWND owner, const wchar_t *display)
{
    if (!gs2_IsPrinterInstalled(display))
        return 1;
    wchar_t temp[PATH_BUFFER] = L"", batch[PATH_BUFFER] = L"";
    if (!gs2_IsSafeBatchText(display) || !pathTempFolder(temp) || !pathJoinWhole(batch, temp, kSetupBatchName) ||
        !isSafeCommandPath(batch)) {
        dbg_TraceLine(L"Printer %s: no safe batch file for its removal.", display);
        return 0;
    }
    ScopedHandle file(createBatch(batch));
    if (!file) {
        refuseBatchFile(owner, batch);
        return 0;
    }
    int ran = gs2_DeletePrinterIfExists(owner, batch, file.get(), display, kInstallerWaitMs);
    file.reset();
    pathDeleteFile(batch);
    int gone = !gs2_IsPrinterInstalled(display);
    dbg_TraceLine(gone ? L"Printer %s removed." : L"Printer %s is still installed (installer %s).", display,
                  ran ? L"ran" : L"did not run");
    return gone;
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
    bool batchNamed = pathTempFolder(temp) && pathJoinWhole(batch, temp, kSetupBatchName);
    if (!batchNamed)
        strCopyN(batch, kSetupBatchName, PATH_CHARS);  // for the message: the folder is what failed
    bool batchUsable = batchNamed && isSafeCommandPath(batch);
    int rundll32Found = 0, ntprintFound = 0;
    if (!pathWindowsFolder(windows)) {
        result = 0;
    } else if (!gs2_IsSafeBatchText(driver) || !gs2_IsSafeBatchText(display) || !gs2_IsSafeBatchText(port)) {
        result = 0;  // refused earlier with a message; never written into a batch line
    } else if (gs2_CheckPrintUiFiles(windows, &rundll32Found, &ntprintFound)) {
        ScopedHandle file(batchUsable ? createBatch(batch) : nullptr);
        if (!file) {
            refuseBatchFile(owner, batch);
        } else {
            if (kDeleteOldPrinter)
                gs2_DeletePrinterIfExists(owner, batch, file.get(), display, kInstallerWaitMs);
            wchar_t command[1024];
            gs2_FormatInstallCommand(command, 1024, is64Bit, driver, display, port);
            if (writeBatch(file.get(), command)) {
                if (runBatch(owner, batch, kInstallerWaitMs))
                    result = gs2_IsPrinterInstalled(display) && isOnPort(display, port);
                if (tracing) {
                    // The command ends in CR LF already.
                    _snwprintf(line, 1024, result ? L"Succeeded = %s" : L"Failed = %s", command);
                    line[1023] = L'\0';
                    dbg_WriteTrace(line, 0, 1);
                }
            }
            file.reset();
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
