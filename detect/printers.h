// The machine's printers, and which of them are this program's PDF printer.
#pragma once
#include <windows.h>

extern const wchar_t kPdfPrinterName[];  // "TessaloomPDF"

int gs2_IsDriverPrinterName(const wchar_t *name, int ignored);
HGLOBAL gs2_EnumPrinterNames(wchar_t separator);
HGLOBAL gs2_GetDriverPrinterList(wchar_t separator, int *count);
int gs2_IsPrinterInstalled(const wchar_t *name);
