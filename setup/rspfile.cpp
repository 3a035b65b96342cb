// The default Ghostscript response file that the port's command names.
//
// The port runs  gswin32c.exe @"<data folder>\tl2pdf.rsp" -c save pop -f -  and RedMon feeds
// the job on standard input. Ghostscript takes its options from the file: PDF output, safe
// mode, no pauses, and where the PDF goes. The Tessaloom program writes its own file before it
// prints; this default only makes a freshly installed printer work, so an existing file is
// never replaced.
//
// Every job goes to the same file, Documents\TessaloomPDF\TessaloomPDF.pdf, replacing the last
// one: in this mode the port passes no per-job name, and Ghostscript cannot choose a free
// name by itself. One known place also means the Tessaloom program finds the PDF it just printed.
#include "setup/rspfile.h"
#include <cwchar>
#include "detect/locations.h"
#include "diag/trace.h"
#include "support/handles.h"
#include "support/path.h"
#include "support/str.h"

const wchar_t kDefaultPdfName[] = L"TessaloomPDF.pdf";

namespace {

// The PDF's path is longer than the response file's in the same folder: it gets a larger field
// than a path, so that it is never cut where the response file's path still fits.
const int kPdfPathChars = PATH_BUFFER + 32;
const int kRspBytes = 4096;

}  // namespace

// Ghostscript reads the file's bytes as UTF-8 (as it converts its own command line), so
// accented folder names survive; a byte-order mark would spoil the first option. Slashes
// instead of backslashes keep the argument parser from reading escapes, and the quotes
// keep blanks inside the path. Ghostscript reads a "%" in the output name as the start of a
// page-number format, so each one is written doubled.
int gs2_BuildDefaultRspText(const wchar_t *outputPdf, char *out, int capacity)
{
    wchar_t escaped[2 * kPdfPathChars + 1];
    int n = 0;
    for (const wchar_t *p = outputPdf; *p && n < 2 * kPdfPathChars - 1; p++) {
        if (*p == L'%')
            escaped[n++] = L'%';
        escaped[n++] = *p == L'\\' ? L'/' : *p;
    }
    escaped[n] = L'\0';
    wchar_t text[2 * kPdfPathChars + 128];
    _snwprintf(text, 2 * kPdfPathChars + 128,
               L"-sDEVICE=pdfwrite\r\n-dSAFER\r\n-dBATCH\r\n-dNOPAUSE\r\n-sOutputFile=\"%s\"\r\n", escaped);
    text[2 * kPdfPathChars + 127] = L'\0';
    int bytes = WideCharToMultiByte(CP_UTF8, 0, text, -1, out, capacity, nullptr, nullptr);
    return bytes > 0 ? bytes - 1 : 0;
}

RspResult gs2_WriteDefaultRspFile(wchar_t *rspPath)
{
    wchar_t path[PATH_BUFFER] = L"", folder[PATH_BUFFER] = L"", pdf[kPdfPathChars + 1] = L"";
    if (rspPath)
        rspPath[0] = L'\0';
    if (!gs2_GetRspFilePath(path) || !gs2_GetDataFolder(folder)) {
        dbg_TraceLine(L"Response file not written: %s", L"its folder is not available");
        return RSP_FAILED;
    }
    if (rspPath)
        strCopyN(rspPath, path, PATH_CHARS);
    if (GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES) {
        dbg_TraceLine(L"Response file kept as it is: %s", path);
        return RSP_PRESENT;
    }
    _snwprintf(pdf, kPdfPathChars + 1, L"%s\\%s", folder, kDefaultPdfName);
    pdf[kPdfPathChars] = L'\0';
    char bytes[kRspBytes];
    int length = gs2_BuildDefaultRspText(pdf, bytes, kRspBytes);
    // CREATE_NEW: should the file appear meanwhile, it is still not replaced.
    ScopedHandle file(CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    if (!file || length <= 0 || !WriteFile(file.get(), bytes, static_cast<DWORD>(length), &written, nullptr) ||
        written != static_cast<DWORD>(length)) {
        dbg_TraceLine(L"Response file could not be written: %s", path);
        return RSP_FAILED;
    }
    dbg_TraceLine(L"Response file written: %s", path);
    dbg_TraceLine(L"\tPDF output: %s", pdf);
    return RSP_WRITTEN;
}
