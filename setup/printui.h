// Installing the printer with the system's printer installer, run from a batch file.
#pragma once
#include <windows.h>

extern const wchar_t kSetupBatchName[];  // "tl2pdf_setup.bat" in the temporary folder
const DWORD kInstallerWaitMs = 2000000;

int gs2_AddPrinter_Thru_Dll(HWND owner, const wchar_t *driver, const wchar_t *port, const wchar_t *display);
int gs2_RemovePrinter_Thru_Dll(HWND owner, const wchar_t *display);
int gs2_CheckPrintUiFiles(const wchar_t *windowsFolder, int *rundll32Found, int *ntprintFound);
int gs2_DeletePrinterIfExists(HWND owner, const wchar_t *batchPath, HANDLE batchFile, const wchar_t *display,
                              DWORD waitMs);
void gs2_FormatInstallCommand(wchar_t *out, int capacity, int is64Bit, const wchar_t *driver, const wchar_t *display,
                              const wchar_t *port);
int gs2_IsSafeBatchText(const wchar_t *text);
