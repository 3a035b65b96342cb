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
#include <cwctype>
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

namespace {

// Ghostscript's own reading of an @file: blanks and line ends separate the arguments, double
// quotes group and are removed.
void nextArgument(const wchar_t **cursor, wchar_t *out, int capacity)
{
    const wchar_t *p = *cursor;
    while (*p && iswspace(*p))
        p++;
    int n = 0;
    bool quoted = false;
    for (; *p && (quoted || !iswspace(*p)); p++) {
        if (*p == L'"')
            quoted = !quoted;
        else if (n < capacity - 1)
            out[n++] = *p;
    }
    out[n] = L'\0';
    *cursor = p;
}

}  // namespace

// The last -sOutputFile=... or -o ... wins, as on Ghostscript's command line. The name comes
// back as Ghostscript opens it: "%%" is one "%", slashes are the system's separators. A lone
// "%" starts a page-number format or a device such as %pipe%, and "-" or "|" is no file either.
int gs2_ReadRspOutput(const wchar_t *path, wchar_t *output, int capacity, int *isFile, DWORD *error)
{
    output[0] = L'\0';
    *isFile = 0;
    ScopedHandle file(CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    static char bytes[kRspBytes * 16];
    DWORD read = 0;
    if (!file || !ReadFile(file.get(), bytes, sizeof(bytes) - 1, &read, nullptr)) {
        *error = GetLastError();
        return 0;
    }
    *error = ERROR_SUCCESS;
    static wchar_t text[kRspBytes * 16];
    int chars = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes, static_cast<int>(read), text, kRspBytes * 16 - 1);
    if (chars <= 0 && read)
        chars = MultiByteToWideChar(CP_ACP, 0, bytes, static_cast<int>(read), text, kRspBytes * 16 - 1);
    text[chars > 0 ? chars : 0] = L'\0';
    wchar_t argument[kPdfPathChars * 2];
    bool takeNext = false;
    for (const wchar_t *cursor = text; *cursor;) {
        nextArgument(&cursor, argument, kPdfPathChars * 2);
        const wchar_t *name = nullptr;
        if (takeNext)
            name = argument;
        else if (wcsncmp(argument, L"-sOutputFile=", 13) == 0)
            name = argument + 13;
        takeNext = wcscmp(argument, L"-o") == 0;
        if (!name)
            continue;
        int n = 0;
        *isFile = name[0] && wcscmp(name, L"-") != 0 && name[0] != L'|';
        for (const wchar_t *p = name; *p && n < capacity - 1; p++) {
            output[n++] = *p == L'/' ? L'\\' : *p;
            if (p[0] == L'%' && p[1] == L'%')
                p++;
            else if (p[0] == L'%')
                *isFile = 0;
        }
        output[n] = L'\0';
    }
    return 1;
}
