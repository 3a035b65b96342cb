// Unattended administration: -SETUP, -STATUS and -UNINSTALL, run without any window, reported
// by exit code (the table in README) and, with -LOG, in a log.
//
// Each action goes through the same code as the window's: the setup is the button's sequence
// with the interactive flag off, the removal uses the printer installer's delete line and the
// port monitor's own command. Boxes that the lower layers would show are logged instead.
#include "app/actions.h"
#include <cwchar>
#include "app/actionline.h"
#include "app/actionlog.h"
#include "app/maindlg.h"
#include "app/printtest.h"
#include "diag/trace.h"
#include "detect/gs.h"
#include "detect/locations.h"
#include "detect/machine.h"
#include "detect/printers.h"
#include "detect/redmon.h"
#include "res/resource.h"
#include "setup/autosetup.h"
#include "setup/port.h"
#include "setup/printui.h"
#include "setup/rspfile.h"
#include "setup/spooler.h"
#include "support/appstate.h"
#include "support/msg.h"
#include "support/path.h"
#include "support/res.h"
#include "support/settings.h"
#include "support/setuplock.h"
#include "support/str.h"
#include "support/sys.h"

const wchar_t kNotAdminMessage[] =
    L"This program must be run as Administrator in order to work. Program will not start.";

namespace {

const int kDriverChars = 255;     // what the setup takes of a driver name
const int kDocumentsChars = 232;  // leaves room for \TessaloomPDF\tl2pdf.rsp in a path field

struct OutcomeExit {
    SetupOutcome outcome;
    ActionExit code;
};
// A data folder too long is the machine's to fix; it is in the log, and has no row of its own
// in the table.
const OutcomeExit kSetupExits[] = {
    {SETUP_DONE, EXIT_DONE},
    {SETUP_MISSING_GHOSTSCRIPT, EXIT_NO_GHOSTSCRIPT},
    {SETUP_MISSING_REDMON, EXIT_NO_REDMON},
    {SETUP_MISSING_BOTH, EXIT_NO_COMPONENTS},
    {SETUP_DRIVER_REFUSED, EXIT_DRIVER_REFUSED},
    {SETUP_FOLDER_TOO_LONG, EXIT_UNEXPECTED},
    {SETUP_SPOOLER_REFUSED, EXIT_SPOOLER},
    {SETUP_PORT_FAILED, EXIT_PORT_FAILED},
    {SETUP_PRINTER_FAILED, EXIT_PRINTER_FAILED},
    {SETUP_PROTECTED_PRINT, EXIT_PROTECTED_PRINT},
    {SETUP_ARM64, EXIT_ARM64},
    {SETUP_REMOTE_FOLDER, EXIT_REMOTE_FOLDER},
    {SETUP_UNTRUSTED_FOLDER, EXIT_UNTRUSTED},
};

int exitOf(SetupOutcome outcome)
{
    for (const OutcomeExit &row : kSetupExits)
        if (row.outcome == outcome)
            return row.code;
    return EXIT_UNEXPECTED;
}

// A named Documents folder must be usable as it is; the account's own one is checked later,
// after the refusals (a network Documents folder is refused as such, not as missing).
int checkNamedDocuments(const ActionRequest &request)
{
    if (!request.documents[0] && !request.documentsTooLong)
        return 1;
    const wchar_t *named = request.documentsTooLong ? L"(too long)" : request.documents;
    if (request.documentsTooLong || wcslen(request.documents) > static_cast<size_t>(kDocumentsChars) ||
        !pathIsAbsolute(request.documents) || !pathIsDirectory(request.documents)) {
        appLogString(IDS_USAGE_DOCUMENTS, named);
        return 0;
    }
    gs2_SetDocumentsFolder(request.documents);
    return 1;
}

// The port's Arguments name the Documents folder of the account that runs the setup. A service
// account's (LocalSystem's) is one that no person uses, and an account may have none at all.
int checkOwnDocuments(const ActionRequest &request)
{
    if (request.action != ACTION_SETUP || request.documents[0] || request.machine)
        return 1;
    wchar_t own[MAX_PATH + 1] = L"";
    gs2_GetDocumentsFolder(own);
    if (!own[0] || !pathIsDirectory(own) || sysIsServiceAccount()) {
        appLogString(IDS_NO_DOCUMENTS, own[0] ? own : L"(none)");
        return 0;
    }
    return 1;
}

// Where the response file sends the PDF, as -STATUS found it.
struct PdfTarget {
    wchar_t path[PATH_BUFFER + 64];
    int isFile;
};

// The response file that the port's Arguments name must be there and readable, else no job
// ever becomes a PDF. With a target, the folder its -sOutputFile names must exist as well.
int checkResponseFile(PdfTarget *target)
{
    wchar_t arguments[PORT_ARGUMENT_CHARS], rsp[PATH_BUFFER], output[PATH_BUFFER + 64];
    int isFile = 0;
    gs2_ReadPortText(kPdfPortName, L"Arguments", arguments, PORT_ARGUMENT_CHARS);
    gs2_RspPathOfArguments(arguments, rsp, PATH_BUFFER);
    appLogLine(L"Response file: %s", rsp);
    DWORD error = ERROR_SUCCESS;
    if (!rsp[0]) {
        appLogLine(L"The port's Arguments name no response file: no PDF can come out.");
        return EXIT_NO_RESPONSE_FILE;
    }
    if (!gs2_ReadRspOutput(rsp, output, PATH_BUFFER + 64, &isFile, &error)) {
        dbg_TraceError(pathIsAbsence(error) ? L"The response file is missing: no PDF can come out"
                                            : L"The response file cannot be read: no PDF can come out",
                       error);
        return EXIT_NO_RESPONSE_FILE;
    }
    if (!target)
        return EXIT_DONE;
    strCopyN(target->path, output, PATH_BUFFER + 63);
    target->isFile = isFile;
    if (!output[0])
        return EXIT_DONE;
    appLogLine(L"PDF output: %s", output);
    // A pipe, standard output or a relative name names no folder that can be looked at here.
    wchar_t *separator = wcsrchr(output, L'\\');
    if (!pathIsAbsolute(output) || !separator || output[0] == L'%' || output[0] == L'|') {
        appLogLine(L"The PDF output is not a file in a named folder; its folder is not checked.");
        return EXIT_DONE;
    }
    separator[separator == output + 2 ? 1 : 0] = L'\0';  // "C:\x.pdf" keeps its root
    DWORD attributes = 0;
    error = pathProbe(output, &attributes);
    if (error == ERROR_SUCCESS && !(attributes & FILE_ATTRIBUTE_DIRECTORY))
        error = ERROR_DIRECTORY;
    if (error != ERROR_SUCCESS) {
        wchar_t what[PATH_BUFFER + 96];
        _snwprintf(what, PATH_BUFFER + 96, L"The folder %s for the PDF %s", output,
                   pathIsAbsence(error) ? L"does not exist" : L"cannot be used");
        what[PATH_BUFFER + 95] = L'\0';
        dbg_TraceError(what, error);
        return EXIT_NO_OUTPUT_FOLDER;
    }
    return EXIT_DONE;
}

int runSetup(const ActionRequest &request)
{
    if (wcslen(request.driver) > static_cast<size_t>(kDriverChars)) {
        appLogLine(L"The driver name is longer than %d characters.", kDriverChars);
        return EXIT_DRIVER_REFUSED;
    }
    gs2_AutoSetupTessaloomPDF(nullptr, request.driver, 0);
    if (gs2_LastSetupOutcome() == SETUP_PRINTER_FAILED)
        gs2_TraceDriverState();
    gs2_TraceResponseFileTrust();
    gs2_TraceGhostscriptAdvice();
    int code = exitOf(gs2_LastSetupOutcome());
    if (code != EXIT_DONE)
        return code;
    // The same check the window makes before it announces success.
    if (!gs2_IsPdfPrinterInstalled() || !splIsPrinterOnPort(kPdfPrinterName, kPdfPortName))
        return EXIT_PRINTER_FAILED;
    return checkResponseFile(nullptr);
}

int checkSpooler()
{
    DWORD error = ERROR_SUCCESS;
    SpoolerState state = splQueryService(&error);
    if (state == SPL_RUNNING)
        return EXIT_DONE;
    if (state == SPL_UNKNOWN)
        dbg_TraceError(L"Print Spooler service cannot be queried", error);
    else
        appLogLine(state == SPL_DISABLED ? L"Print Spooler service is disabled." : L"Print Spooler service is stopped.");
    return EXIT_SPOOLER;
}

// The spooler hands jobs to the port only when it has RedMon's monitor loaded and lists the port.
int checkMonitorAndPort()
{
    DWORD error = ERROR_SUCCESS;
    if (!splIsMonitorLoaded(kRedirectedPortMonitor, &error)) {
        dbg_TraceError(L"The Print Spooler has no Redirected Port monitor loaded", error);
        return EXIT_NO_MONITOR;
    }
    int known = splIsPortKnown(kPdfPortName);
    if (known == 1)
        return EXIT_DONE;
    if (known < 0)
        dbg_TraceError(L"The Print Spooler cannot list its ports", GetLastError());
    else
        appLogLine(L"The Print Spooler does not list the port %s.", kPdfPortName);
    return EXIT_PORT_NOT_LISTED;
}

// Windows' ransomware protection may stop Ghostscript writing into Documents; only printing can
// tell for sure, so this is said, not judged.
void noteFolderAccess(const wchar_t *command)
{
    if (machFolderAccessBlocks(command))
        appLogLine(L"Controlled folder access is on and %s is not among its allowed applications: Windows may stop "
                   L"Ghostscript writing the PDF into Documents. Allow it in Windows Security (Virus & threat "
                   L"protection, Ransomware protection, Allow an app through Controlled folder access), or with "
                   L"PowerShell: Add-MpPreference -ControlledFolderAccessAllowedApplications \"%s\"",
                   command, command);
}

// Components, the port and its values, the response file, the spooler, the monitor and the
// printer: every link a job passes. Nothing is created or changed on the way.
int runStatus(PdfTarget *target)
{
    wchar_t text[PORT_ARGUMENT_CHARS], expected[PORT_ARGUMENT_CHARS], console[PATH_BUFFER] = L"";
    int ghostscript = gs2_GetGhostscriptConsolePath(console) && gs2_IsGhostscriptInstalled();
    if (ghostscript)
        appLogLine(L"Ghostscript %s, console program %s", gs2_ChosenVersion(), console);
    else
        appLogLine(L"Ghostscript: not found");
    wchar_t library[PATH_BUFFER] = L"";
    int redMon = gs2_GetRedMonLibrary(library);
    appLogLine(L"RedMon: %s", redMon ? library : L"not found");
    if (ghostscript)
        gs2_TraceGhostscriptAdvice();
    if (!ghostscript || !redMon)
        return !ghostscript && !redMon ? EXIT_NO_COMPONENTS : ghostscript ? EXIT_NO_REDMON : EXIT_NO_GHOSTSCRIPT;

    LONG probe = gs2_ProbeRedirectedPort(kPdfPortName);
    if (probe == ERROR_FILE_NOT_FOUND) {
        appLogLine(L"Port %s not registered", kPdfPortName);
        return EXIT_PORT_DIFFERS;
    }
    if (probe != ERROR_SUCCESS) {
        dbg_TraceError(L"The port's registry key cannot be read", static_cast<DWORD>(probe));
        return EXIT_UNEXPECTED;
    }
    appLogLine(L"Port %s", kPdfPortName);
    gs2_TracePortValues(kPdfPortName);
    int same = 1;
    gs2_ReadPortText(kPdfPortName, L"Arguments", text, PORT_ARGUMENT_CHARS);
    gs2_BuildPortArguments(0, expected);
    if (wcscmp(text, expected) != 0) {
        appLogLine(L"Arguments differ from what a setup writes now: %s", expected);
        same = 0;
    }
    gs2_ReadPortText(kPdfPortName, L"Command", text, PORT_ARGUMENT_CHARS);
    if (wcscmp(text, console) != 0) {
        appLogLine(L"Command differs from what a setup writes now: %s", console);
        same = 0;
    }
    if (!same)
        return EXIT_PORT_DIFFERS;
    noteFolderAccess(console);
    int code = checkResponseFile(target);
    gs2_TraceResponseFileTrust();
    if (code == EXIT_DONE)
        code = checkSpooler();
    if (code == EXIT_DONE)
        code = checkMonitorAndPort();
    if (code != EXIT_DONE)
        return code;

    wchar_t port[PATH_BUFFER], driver[PATH_BUFFER];
    if (!gs2_IsPrinterInstalled(kPdfPrinterName) ||
        !splGetPrinterPortAndDriver(kPdfPrinterName, port, driver, PATH_BUFFER)) {
        appLogLine(L"Printer %s: not installed", kPdfPrinterName);
        return EXIT_PRINTER_MISSING;
    }
    appLogLine(L"Printer %s: driver %s, port %s", kPdfPrinterName, driver, port);
    return splIsPrinterOnPort(kPdfPrinterName, kPdfPortName) ? EXIT_DONE : EXIT_PRINTER_MISSING;
}

// The check first, then a page through the whole chain; a target that is not a plain file
// cannot be looked at, so nothing is printed there.
int runPrintTest(const ActionRequest &request)
{
    PdfTarget target = {};
    int code = runStatus(&target);
    if (code != EXIT_DONE)
        return code;
    if (!target.isFile) {
        appLogLine(L"The response file's output \"%s\" is not a plain file (a page-number format, -, a pipe, or "
                   L"none): the PDF cannot be checked, so nothing was printed.", target.path);
        return EXIT_OUTPUT_NOT_FILE;
    }
    static const int kExits[] = {EXIT_DONE, EXIT_UNEXPECTED, EXIT_JOB_STUCK, EXIT_NO_PDF, EXIT_NOT_PDF};
    return kExits[appPrintTestPage(target.path, request.waitSeconds)];
}

// Printer first: a port still in use cannot be deleted. Ghostscript, RedMon, the data folder and
// the response file stay; the flag is cleared only where a setup has left it.
int runUninstall()
{
    int printerGone = gs2_RemovePrinter_Thru_Dll(nullptr, kPdfPrinterName);
    int portGone = gs2_RemoveRedirectedPort(kPdfPortName);
    int found = 0;
    setGetDwordEx(kSettingSetupDone, &found);
    if (found) {
        setPutDword(kSettingSetupDone, 0);
        appLogLine(L"%s set to 0.", kSettingSetupDone);
    }
    return printerGone && portGone ? EXIT_DONE : EXIT_REMOVE_FAILED;
}

// Holds the lock for the actions that change the machine; a check takes none.
int runLocked(const ActionRequest &request)
{
    HANDLE lock = nullptr;
    if (request.action != ACTION_STATUS) {
        LockResult taken = lockTakeSetup(nullptr, 0, &lock);
        if (taken == LOCK_BUSY) {
            wchar_t seconds[16];
            _snwprintf(seconds, 16, L"%lu", (lockWaitMs() + 999) / 1000);
            seconds[15] = L'\0';
            appLogString(IDS_ACTION_WAITING, seconds);
            taken = lockTakeSetup(nullptr, lockWaitMs(), &lock);
        }
        if (taken != LOCK_TAKEN) {
            if (taken == LOCK_FAILED) {
                wchar_t message[512];
                lockFormatFailure(message, 512);
                appLogLine(L"%s", message);
            }
            return taken == LOCK_BUSY ? EXIT_BUSY : EXIT_UNEXPECTED;
        }
    }
    gs2_InitComponents(1);
    mainDlgShowComponents(1, nullptr);
    PdfTarget unused;
    int code = request.action == ACTION_SETUP       ? runSetup(request)
               : request.action == ACTION_STATUS    ? runStatus(&unused)
               : request.action == ACTION_PRINTTEST ? runPrintTest(request)
                                                    : runUninstall();
    lockRelease(lock);
    return code;
}

int runChecked(const ActionRequest &request)
{
    if (request.usageId) {
        appLogString(request.usageId, request.usageDetail);
        return EXIT_USAGE;
    }
    // The refusals of the window's start-up, in its order: the administrator check is only
    // meaningful where the system check passes.
    if (!sysIsVistaOrLater()) {
        appLogString(IDS_OS_REFUSED, nullptr);
        return EXIT_OLD_WINDOWS;
    }
    if (!sysIsAdmin()) {
        appLogLine(L"%s", kNotAdminMessage);
        return EXIT_NOT_ADMIN;
    }
    if (!checkNamedDocuments(request))
        return EXIT_USAGE;
    gs2_SetMachineDataFolder(request.machine);
    // Machines that cannot print PDFs at all: a setup changes nothing there, a check says so.
    // Removing what is there is always possible.
    if (request.action != ACTION_UNINSTALL) {
        wchar_t refusal[1024];
        SetupOutcome outcome = gs2_FindRefusal(refusal, 1024);
        if (outcome != SETUP_DONE) {
            appLogLine(L"%s", refusal);
            return exitOf(outcome);
        }
    }
    if (!checkOwnDocuments(request))
        return EXIT_USAGE;
    // A check and a removal must leave a machine without our keys and folders as it was.
    appSetLookOnly(request.action != ACTION_SETUP);
    return runLocked(request);
}

}  // namespace

int appRunAction(const wchar_t *commandLine)
{
    ActionRequest request;
    if (!appParseActionLine(commandLine, &request))
        return -1;
    AppCommand running;
    appSetWindowless(1);
    msgSetSink(appLogBox);
    appStartActionLog(request.log);
    appLogLine(L"Command line: %s", commandLine);
    int code = runChecked(request);
    appEndActionLog(code, code == EXIT_BUSY ? IDS_EXIT_BUSY : IDS_EXIT_FIRST + static_cast<UINT>(code));
    msgSetSink(nullptr);
    appSetWindowless(0);
    appSetLookOnly(0);
    gs2_SetDocumentsFolder(L"");
    gs2_SetMachineDataFolder(0);
    return code;
}
