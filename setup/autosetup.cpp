// The automatic setup: check components, register the port, install the printer, record it.
#include "setup/autosetup.h"
#include <cwchar>
#include "detect/gs.h"
#include "detect/locations.h"
#include "detect/machine.h"
#include "detect/trust.h"
#include "detect/printers.h"
#include "detect/redmon.h"
#include "diag/trace.h"
#include "res/resource.h"
#include "setup/port.h"
#include "setup/printui.h"
#include "setup/rspfile.h"
#include "setup/spooler.h"
#include "support/appstate.h"
#include "support/msg.h"
#include "support/path.h"
#include "support/prog.h"
#include "support/res.h"
#include "support/settings.h"
#include "support/str.h"
#include "support/sys.h"
#include "support/txf.h"

const wchar_t kCustomisationFile[] = L"~tlpdf_cust.txt";

namespace {

const int kNameChars = 256;
const int kKeyChars = 31;
const wchar_t kDriverWin8[] = L"Microsoft PS Class Driver";
const wchar_t kDriverVista7[] = L"HP Color LaserJet 2800 Series PS";
const wchar_t kDriverOlder[] = L"HP Color LaserJet 4550 PS";
const wchar_t kSecondPrinterName[] = L"TLPDF";
const wchar_t kSecondPortName[] = L"TLPDF:";

wchar_t g_currentDriver[kNameChars + 1];
wchar_t g_chosenDriver[kNameChars + 1];  // chosen during the command g_chosenIn
unsigned g_chosenIn;
SetupOutcome g_outcome = SETUP_DONE;

// A setup refused before anything was changed: the reason in a box and in the trace.
void reportRefusal(HWND owner, const wchar_t *text, int interactive)
{
    if (interactive)
        msgErrorBox(owner, text);
    dbg_TraceLine(L"[gs2_AutoSetupTessaloomPDF] %s", text);
}

}  // namespace

// The first Printer=... line wins; the key is compared without regard to case and
// lines starting with ";" are comments.
int gs2_ReadCustomisedDriver(const wchar_t *path, wchar_t *out)
{
    out[0] = L'\0';
    TextReader reader;
    if (!txfOpen(path, &reader))
        return 0;
    int capacity = txfLongestLine(&reader, 1);
    wchar_t *line = txfLineBuffer(&reader);
    int length = 0;
    while (line && !out[0] && txfReadLine(&reader, line, capacity, &length, nullptr)) {
        if (line[0] == L';')
            continue;
        KeyValue pair;
        int blankValue = 0;
        if (!strSplitKeyValue(line, L'=', &pair, &blankValue) || !pair.value || !pair.value[0])
            continue;
        wchar_t key[kKeyChars + 1];
        strCopyN(key, pair.key, kKeyChars);
        if (_wcsicmp(key, L"Printer") == 0)
            strCopyN(out, pair.value, kNameChars - 1);
    }
    txfClose(&reader);
    return out[0] ? 1 : 0;
}

// The customisation file is read once per command; outside one, on every call.
void gs2_ChooseDriverName(wchar_t *out)
{
    if (appCommandSerial() && appCommandSerial() == g_chosenIn) {
        strCopyN(out, g_chosenDriver, kNameChars - 1);
        return;
    }
    const wchar_t *driver = kDriverOlder;
    if (sysIsWin8OrLater())
        driver = kDriverWin8;
    else if (sysIsVistaOrLater())
        driver = kDriverVista7;
    wchar_t folder[PATH_BUFFER] = L"", path[PATH_BUFFER] = L"", customised[kNameChars + 1];
    // A module name the system had to cut names no folder: then there is no customisation file.
    int named = pathModuleFile(nullptr, folder);
    wchar_t *lastSeparator = wcsrchr(folder, L'\\');
    if (lastSeparator)
        lastSeparator[1] = L'\0';
    if (named && pathJoinWhole(path, folder, kCustomisationFile) && pathFileExists(path) &&
        gs2_ReadCustomisedDriver(path, customised))
        driver = customised;
    strCopyN(out, driver, kNameChars - 1);
    strCopyN(g_chosenDriver, out, kNameChars);
    g_chosenIn = appCommandSerial();
}

void gs2_SetPdfPrinterName(const wchar_t *driver, wchar_t *out)
{
    strCopyN(out, L"TessaloomPDF", kNameChars - 1);
    if (sysIsVistaOrLater())
        strCopyN(g_currentDriver, driver ? driver : L"", kNameChars);  // kept, though nothing reads it back
}

void gs2_GetPdfPrinterName(wchar_t *out)
{
    wchar_t scratch[kNameChars + 1];
    gs2_ChooseDriverName(scratch);
    gs2_SetPdfPrinterName(scratch, out);
}

int gs2_IsPdfPrinterInstalled()
{
    wchar_t name[kNameChars + 1];
    gs2_GetPdfPrinterName(name);
    return gs2_IsPrinterInstalled(name);
}

// The three strings are empty on purpose: the box comes up empty, and the main dialog's
// component lines tell the user what is missing.
void gs2_ReportMissingComponents(HWND owner, int ghostscriptFound, int redMonFound, int interactive)
{
    UINT id = IDS_MISSING_BOTH;
    if (ghostscriptFound)
        id = IDS_MISSING_REDMON;
    else if (redMonFound)
        id = IDS_MISSING_GS;
    wchar_t text[kNameChars] = L"";
    resLoadString(owner, id, text, kNameChars);
    if (interactive)
        msgErrorBox(owner, text);
    if (dbg_IsDebugMode())
        dbg_WriteTrace(text, 1, 1);
}

int gs2_UseSecondPdfPrinter() { return 0; }

const wchar_t *gs2_CurrentPdfDriverName() { return g_currentDriver; }

SetupOutcome gs2_LastSetupOutcome() { return g_outcome; }

// "Printer could not be installed" comes with its likely reason: the installer adds the driver
// for the machine's own environment, which is what the 32-bit program must ask about under WOW64.
void gs2_TraceDriverState()
{
    if (!dbg_IsDebugMode())
        return;
    const wchar_t *driver = g_currentDriver;
    const wchar_t *environment = sysIs64Bit() ? L"Windows x64" : L"Windows NT x86";
    int installed = splIsDriverInstalled(driver, environment);
    if (installed < 0)
        dbg_TraceError(L"The spooler cannot list its printer drivers", GetLastError());
    else if (installed)
        dbg_TraceLine(L"Driver \"%s\" is installed for %s.", driver, environment);
    else
        dbg_TraceLine(L"Driver \"%s\" is not installed for %s: the printer installer could not add it (is it one "
                      L"that ntprint.inf offers?).", driver, environment);
}

// Each of these leaves a printer that never prints: Windows protected print removes it and
// loads no port monitor, the ARM64 spooler loads no x86 or x64 monitor, and Ghostscript (run
// by the spooler's account) cannot write to the user's share.
SetupOutcome gs2_FindRefusal(wchar_t *message, int capacity)
{
    message[0] = L'\0';
    if (machIsProtectedPrintOn()) {
        resLoadString(nullptr, IDS_PROTECTED_PRINT_REFUSED, message, capacity);
        return SETUP_PROTECTED_PRINT;
    }
    if (machIsArm64()) {
        resLoadString(nullptr, IDS_ARM64_REFUSED, message, capacity);
        return SETUP_ARM64;
    }
    wchar_t documents[MAX_PATH + 1];
    gs2_GetDocumentsFolder(documents);
    if (machIsRemotePath(documents)) {
        resFormatString(message, capacity, IDS_REMOTE_FOLDER_REFUSED, documents);
        return SETUP_REMOTE_FOLDER;
    }
    // Ghostscript obeys the response file as LocalSystem: whoever can change it, or replace
    // the folder it is in, could run programs as LocalSystem.
    wchar_t folder[PATH_BUFFER + MAX_PATH], rsp[PATH_BUFFER + MAX_PATH], format[1024];
    TrustFinding finding;
    gs2_DataPathsFit(folder, PATH_BUFFER + MAX_PATH);
    _snwprintf(rsp, PATH_BUFFER + MAX_PATH, L"%s\\%s", folder, kRspFileName);
    rsp[PATH_BUFFER + MAX_PATH - 1] = L'\0';
    if (sysIsVistaOrLater() && !trustCheckDataFolder(folder, rsp, &finding)) {
        resLoadString(nullptr, IDS_UNTRUSTED_FOLDER, format, 1024);
        _snwprintf(message, capacity, format, finding.object, finding.principal, finding.right);
        message[capacity - 1] = L'\0';
        return SETUP_UNTRUSTED_FOLDER;
    }
    return SETUP_DONE;
}

// The response file's owner and every principal that can change it, in one line.
void gs2_TraceResponseFileTrust()
{
    wchar_t rsp[PATH_BUFFER] = L"", who[1024];
    if (!dbg_IsDebugMode() || !gs2_GetRspFilePath(rsp) || pathProbe(rsp, nullptr) != ERROR_SUCCESS)
        return;
    trustDescribe(rsp, who, 1024);
    dbg_TraceLine(L"Response file %s: %s", rsp, who[0] ? who : L"its security cannot be read");
}

// Print jobs run Ghostscript as LocalSystem: releases before 10.03.1 let a job's PostScript
// escape -dSAFER (CVE-2023-36664, CVE-2024-33871). Said, not refused: the machine still prints.
void gs2_TraceGhostscriptAdvice()
{
    const wchar_t *version = gs2_ChosenVersion();
    int major = 0, minor = 0, patch = 0;
    if (!dbg_IsDebugMode() || swscanf(version, L"%d.%d.%d", &major, &minor, &patch) < 2)
        return;
    if (major < 10 || (major == 10 && (minor < 3 || (minor == 3 && patch < 1))))
        dbg_TraceLine(L"Ghostscript %s is older than 10.03.1: a print job's PostScript can escape its -dSAFER "
                      L"mode there (CVE-2023-36664, CVE-2024-33871), and every job runs as LocalSystem. Update "
                      L"Ghostscript to 10.03.1 or later.", version);
}

UINT gs2_AutoSetupTessaloomPDF(HWND owner, const wchar_t *driver, int interactive)
{
    UINT result = 0;
    wchar_t driverName[kNameChars + 1] = L"", displayName[kNameChars + 1] = L"", ghostscript[PATH_BUFFER] = L"",
            message[kNameChars * 2] = L"";
    if (dbg_IsDebugMode())
        dbg_WriteBlankLine();
    dbg_TraceLine(L"[gs2_AutoSetupTessaloomPDF] starts");
    int ghostscriptFound = gs2_GetGhostscriptConsolePath(ghostscript);
    int redMonFound = gs2_IsRedMonInstalled();
    dbg_Indent();
    if (!ghostscriptFound || !redMonFound) {
        g_outcome = ghostscriptFound ? SETUP_MISSING_REDMON
                    : redMonFound    ? SETUP_MISSING_GHOSTSCRIPT
                                     : SETUP_MISSING_BOTH;
        // The level raised above stays raised on this path; the trace has always looked so.
        gs2_ReportMissingComponents(owner, ghostscriptFound, redMonFound, interactive);
        goto done;
    }
    dbg_Unindent();
    dbg_Indent();

    // The driver name goes between double quotes into a batch line: refuse one that would
    // change the command, before anything is registered or installed.
    {
        wchar_t candidate[kNameChars + 1];
        if (driver && *driver)
            strCopyN(candidate, driver, kNameChars - 1);
        else
            gs2_ChooseDriverName(candidate);
        if (!gs2_IsSafeBatchText(candidate)) {
            g_outcome = SETUP_DRIVER_REFUSED;
            resFormatString(message, kNameChars * 2, IDS_DRIVER_NAME_REFUSED, candidate);
            reportRefusal(owner, message, interactive);
            dbg_Unindent();
            goto done;
        }
    }

    // A data folder too long for the response file's path would give the port a cut or empty
    // path: refuse, naming the folder, before anything is changed.
    {
        wchar_t folder[PATH_BUFFER + MAX_PATH];
        if (!gs2_DataPathsFit(folder, PATH_BUFFER + MAX_PATH)) {
            g_outcome = SETUP_FOLDER_TOO_LONG;
            wchar_t refusal[kNameChars * 3];
            resFormatString(refusal, kNameChars * 3, IDS_DATA_FOLDER_TOO_LONG, folder);
            reportRefusal(owner, refusal, interactive);
            dbg_Unindent();
            goto done;
        }
    }
    // printui needs a running spooler; a disabled one is the administrator's to enable.
    if (splEnsureServiceRunning() == SPL_REFUSED) {
        g_outcome = SETUP_SPOOLER_REFUSED;
        resLoadString(owner, IDS_SPOOLER_REFUSED, message, kNameChars * 2);
        reportRefusal(owner, message, interactive);
        dbg_Unindent();
        goto done;
    }

    if (!gs2_AddRedirectedPortUsingRegistry(owner, kPdfPortName, ghostscript)) {
        g_outcome = SETUP_PORT_FAILED;
        if (interactive)
            msgErrorBoxId(owner, IDS_PORT_FAILED);
        dbg_WriteTraceString(IDS_PORT_FAILED, 1, 1);
        dbg_Unindent();
        goto done;
    }
    // The port's command names the response file: make sure a fresh machine has one.
    gs2_WriteDefaultRspFile(nullptr);
    dbg_Unindent();
    dbg_Indent();

    if (driver && *driver) {
        strCopyN(driverName, driver, kNameChars);
        gs2_SetPdfPrinterName(driverName, displayName);
    }
    if (!driverName[0]) {
        gs2_ChooseDriverName(driverName);
        gs2_GetPdfPrinterName(displayName);
    }
    dbg_Unindent();
    dbg_Indent();

    {
        resLoadString(owner, IDS_PROGRESS_SETUP, message, kNameChars);
        HWND progress = progCreateBoxId(owner, IDS_PROGRESS_CAPTION, message, 0);
        result = gs2_AddPrinter_Thru_Dll(owner, driverName, kPdfPortName, displayName);
        if (result && gs2_UseSecondPdfPrinter())
            result = gs2_AddPrinter_Thru_Dll(owner, driverName, kSecondPortName, kSecondPrinterName);
        if (progress)
            DestroyWindow(progress);
    }
    dbg_Unindent();
    g_outcome = result ? SETUP_DONE : SETUP_PRINTER_FAILED;

    if (interactive && !result) {
        resFormatString(message, kNameChars * 2, IDS_PRINTER_FAILED, L"TessaloomPDF");
        msgErrorBox(owner, message);
        dbg_TraceLine(L"[gs2_AutoSetupTessaloomPDF] %s", message);
    }
    if (sysIsVistaOrLater())
        setPutDword(kSettingSetupDone, result ? 1 : 0);
    dbg_TraceLine(result ? L"[gs2_AutoSetupTessaloomPDF] Succeeded" : L"[gs2_AutoSetupTessaloomPDF] Failed");

done:
    dbg_TraceLine(L"[gs2_AutoSetupTessaloomPDF] ends");
    return result;
}
