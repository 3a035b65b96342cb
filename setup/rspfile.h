// The default Ghostscript response file that the port's command names.
#pragma once
#include <windows.h>

extern const wchar_t kDefaultPdfName[];  // "TessaloomPDF.pdf" in the data folder

enum RspResult { RSP_FAILED = 0, RSP_WRITTEN = 1, RSP_PRESENT = 2 };

RspResult gs2_WriteDefaultRspFile(wchar_t *rspPath);
int gs2_BuildDefaultRspText(const wchar_t *outputPdf, char *out, int capacity);
// Reads a response file: 1 with the PDF's name from its -sOutputFile (or -o) option ("" when it
// names none) and *isFile 1 when that is a plain file's name; 0 with *error when it cannot be read.
int gs2_ReadRspOutput(const wchar_t *path, wchar_t *output, int capacity, int *isFile, DWORD *error);
