// The default Ghostscript response file that the port's command names.
#pragma once
#include <windows.h>

extern const wchar_t kDefaultPdfName[];  // "TessaloomPDF.pdf" in the data folder

enum RspResult { RSP_FAILED = 0, RSP_WRITTEN = 1, RSP_PRESENT = 2 };

RspResult gs2_WriteDefaultRspFile(wchar_t *rspPath);
int gs2_BuildDefaultRspText(const wchar_t *outputPdf, char *out, int capacity);
