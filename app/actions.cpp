// Unattended administration: -SETUP, -STATUS and -UNINSTALL, run without any window, reported
// by exit code (the table in README) and, with -LOG, in a log.
//
// Each action goes through the same code as the window's: the setup is the button's sequence
// with the interactive flag off, the removal uses the printer installer's delete line and the
// port monitor's own command. Boxes that the lower layers would show are logged instead.
#include "app/actions.h"
#include <shlobj.h>
#include <cwchar>
#include "app/actionline.h"
#include "app/actionlog.h"
#include "app/maindlg.h"
#include "detect/gs.h"
#include "detect/locations.h"
#include "detect/printers.h"
#include "detect/redmon.h"
#include "res/resource.h"
#include "setup/autosetup.h"
#include "setup/port.h"
#include "setup/printui.h"
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
// A data folder too long or a spooler that does not run are the machine's to fix; both are in
// the log, and neither has a row of its own in the table.
const OutcomeExit kSetupExits[] = {
    {SETUP_DONE, EXIT_DONE},
    {SETUP_MISSING_GHOSTSCRIPT, EXIT_NO_GHOSTSCRIPT},
    {SETUP_MISSING_REDMON, EXIT_NO_REDMON},
    {SETUP_MISSING_BOTH, EXIT_NO_COMPONENTS},
    {SETUP_DRIVER_REFUSED, EXIT_DRIVER_REFUSED},
    {SETUP_FOLDER_TOO_LONG, EXIT_UNEXPECTED},
    {SETUP_SPOOLER_REFUSED, EXIT_UNEXPECTED},
    {SETUP_PORT_FAILED, EXIT_PORT_FAILED},
    {SETUP_PRINTER_FAILED, EXIT_PRINTER_FAILED},
};

// The port's Arguments name the Documents folder of the account that runs the setup. A service
// account's (LocalSystem's) is one that no person uses, and an account may have none at all.
int checkDocuments(const ActionRequest &request)
{
    if (request.documents[0] || request.documentsTooLong) {
        const wchar_t *named = request.documentsTooLong ? L"(too long)" : request.documents;
        if (request.documentsTooLong || wcslen(request.documents) > static_cast<size_t>(kDocumentsChars) ||
            !pathIsAbsolute(request.documents) || !pathIsDirectory(request.documents)) {
            appLogString(IDS_USAGE_DOCUMENTS, named);
            return 0;
        }
        gs2_SetDocumentsFolder(request.documents);
        return 1;
    }
    if (request.action != ACTION_SETUP)
        return 1;
    wchar_t own[MAX_PATH + 1] = L"";
    bool found = SUCCEEDED(SHGetFolderPathW(nullptr, CSIDL_PERSONAL, nullptr, 0, own)) && pathIsDirectory(own);
    if (!found || sysIsServiceAccount()) {
        appLogString(IDS_NO_DOCUMENTS, own[0] ? own : L"(none)");
        return 0;
    }
    return 1;
}

int runSetup(const ActionRequest &request)
{
    if (wcslen(request.driver) > static_cast<size_t>(kDriverChars)) {
        appLogLine(L"The driver name is longer than %d characters.", kDriverChars);
        return EXIT_DRIVER_REFUSED;
    }
    gs2_AutoSetupTessaloomPDF(nullptr, request.driver, 0);
    SetupOutcome outcome = gs2_LastSetupOutcome();
    for (const OutcomeExit &row : kSetupExits)
        if (row.outcome == outcome && row.code != EXIT_DONE)
            return row.code;
    // The same check the window makes before it announces success.
    return gs2_IsPdfPrinterInstalled() && splIsPrinterOnPort(kPdfPrinterName, kPdfPortName) ? EXIT_DONE
                                                                                            : EXIT_PRINTER_FAILED;
}

// Components, then the port, then the printer; nothing is created or changed on the way.
int runStatus()
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
    if (!ghostscript || !redMon)
        return !ghostscript && !redMon ? EXIT_NO_COMPONENTS : ghostscript ? EXIT_NO_REDMON : EXIT_NO_GHOSTSCRIPT;

    if (!gs2_RedirectedPortExists(kPdfPortName)) {
        appLogLine(L"Port %s not registered", kPdfPortName);
        return EXIT_PORT_DIFFERS;
    }
    appLogLine(L"Port %s", kPdfPortName);
    gs2_TracePortValues(kPdfPortName);
    int same = 1;
    gs2_ReadPortText(kPdfPortName, L"Arguments", text, PORT_ARGUMENT_CHARS);
    const wchar_t *rsp = wcsstr(text, L"@\"");
    const wchar_t *rspEnd = rsp ? wcschr(rsp + 2, L'"') : nullptr;
    appLogLine(L"Response file: %.*s", rspEnd ? static_cast<int>(rspEnd - rsp - 2) : 0, rsp ? rsp + 2 : L"");
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

    wchar_t port[PATH_BUFFER], driver[PATH_BUFFER];
    if (!gs2_IsPrinterInstalled(kPdfPrinterName) ||
        !splGetPrinterPortAndDriver(kPdfPrinterName, port, driver, PATH_BUFFER)) {
        appLogLine(L"Printer %s: not installed", kPdfPrinterName);
        return EXIT_PRINTER_MISSING;
    }
    appLogLine(L"Printer %s: driver %s, port %s", kPdfPrinterName, driver, port);
    return splIsPrinterOnPort(kPdfPrinterName, kPdfPortName) ? EXIT_DONE : EXIT_PRINTER_MISSING;
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
            if (taken == LOCK_FAILED)
                appLogLine(L"The lock %s cannot be had (error %lu).", kSetupLockName, GetLastError());
            return taken == LOCK_BUSY ? EXIT_BUSY : EXIT_UNEXPECTED;
        }
    }
    gs2_InitComponents(1);
    mainDlgShowComponents(1, nullptr);
    int code = request.action == ACTION_SETUP ? runSetup(request)
               : request.action == ACTION_STATUS ? runStatus()
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
    if (!checkDocuments(request))
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
    appEndActionLog(code);
    msgSetSink(nullptr);
    appSetWindowless(0);
    appSetLookOnly(0);
    gs2_SetDocumentsFolder(L"");
    return code;
}
