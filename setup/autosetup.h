// The automatic setup: check components, register the port, install the printer, record it.
#pragma once
#include <windows.h>

extern const wchar_t kCustomisationFile[];  // "~tlpdf_cust.txt" beside the executable

UINT gs2_AutoSetupTessaloomPDF(HWND owner, const wchar_t *driver, int interactive);
// Where the last gs2_AutoSetupTessaloomPDF ended, for callers that report more than success.
enum SetupOutcome {
    SETUP_DONE,
    SETUP_MISSING_GHOSTSCRIPT,
    SETUP_MISSING_REDMON,
    SETUP_MISSING_BOTH,
    SETUP_DRIVER_REFUSED,
    SETUP_FOLDER_TOO_LONG,
    SETUP_SPOOLER_REFUSED,
    SETUP_PORT_FAILED,
    SETUP_PRINTER_FAILED,
    SETUP_PROTECTED_PRINT,
    SETUP_ARM64,
    SETUP_REMOTE_FOLDER,
    SETUP_UNTRUSTED_FOLDER,
};
SetupOutcome gs2_LastSetupOutcome();
// A machine where PDF output cannot work, found before anything is changed: SETUP_DONE when
// there is none, else the refusal with its text in `message`.
// After a failed install: whether the chosen driver is installed for the machine's environment.
void gs2_TraceDriverState();
SetupOutcome gs2_FindRefusal(wchar_t *message, int capacity);
// Lines of the trace: who can change the response file; a Ghostscript with known escapes.
void gs2_TraceResponseFileTrust();
void gs2_TraceGhostscriptAdvice();
void gs2_ChooseDriverName(wchar_t *out);
void gs2_SetPdfPrinterName(const wchar_t *driver, wchar_t *out);
void gs2_GetPdfPrinterName(wchar_t *out);
int gs2_IsPdfPrinterInstalled();
void gs2_ReportMissingComponents(HWND owner, int ghostscriptFound, int redMonFound, int interactive);
int gs2_UseSecondPdfPrinter();
const wchar_t *gs2_CurrentPdfDriverName();
int gs2_ReadCustomisedDriver(const wchar_t *path, wchar_t *out);
