// System DLLs that the program calls but does not import: loaded at run time from the system folder.
#pragma once
#include <windows.h>
#include <winspool.h>

#include "support/handles.h"

int sysHardenDllSearch();
ScopedModule sysLoadLibraryAt(const wchar_t *fullPath);
ScopedModule sysLoadSystemLibrary(const wchar_t *name);

// The process's copies of version.dll and winspool.drv (loaded once, never freed); null when
// they could not be loaded from the system folder.
HMODULE sysVersionLibrary();
HMODULE sysSpoolerLibrary();

// The calls the program makes into them. When the library or the entry is missing they fail
// with ERROR_MOD_NOT_FOUND or ERROR_PROC_NOT_FOUND.
DWORD sysGetFileVersionInfoSizeW(const wchar_t *file, DWORD *handle);
BOOL sysGetFileVersionInfoW(const wchar_t *file, DWORD handle, DWORD size, void *data);
BOOL sysVerQueryValueW(const void *block, const wchar_t *subBlock, void **buffer, UINT *length);

BOOL sysEnumPrintersW(DWORD flags, wchar_t *name, DWORD level, BYTE *buffer, DWORD size, DWORD *needed,
                      DWORD *returned);
BOOL sysOpenPrinterW(wchar_t *name, HANDLE *printer, PRINTER_DEFAULTSW *defaults);
BOOL sysClosePrinter(HANDLE printer);
BOOL sysGetPrinterW(HANDLE printer, DWORD level, BYTE *buffer, DWORD size, DWORD *needed);
BOOL sysEnumPortsW(wchar_t *name, DWORD level, BYTE *buffer, DWORD size, DWORD *needed, DWORD *returned);
BOOL sysEnumPrinterDriversW(wchar_t *environment, DWORD level, BYTE *buffer, DWORD size, DWORD *needed, DWORD *returned);
// Every job of the printer's queue (the first 65535).
BOOL sysEnumJobsW(HANDLE printer, DWORD level, BYTE *buffer, DWORD size, DWORD *needed, DWORD *returned);
BOOL sysXcvDataW(HANDLE xcv, const wchar_t *dataName, BYTE *input, DWORD inputSize, BYTE *output, DWORD outputSize,
                 DWORD *needed, DWORD *status);
