// -PRINTTEST: one page printed to the PDF printer through the system's printing, and the PDF it
// must become, waited for and checked.
//
// On Windows the spooler takes the job and RedMon runs Ghostscript on it later, so the job is
// followed in the queue (its status bits go to the log while it waits) and the PDF is taken as
// written only when it is newer than the job, no longer growing, and whole: "%PDF-" at its start
// and "%%EOF" at its end.
#include "app/printtest.h"
#include <winspool.h>
#include <cstring>
#include <cwchar>
#include "app/actionlog.h"
#include "detect/printers.h"
#include "diag/trace.h"
#include "support/dt.h"
#include "support/handles.h"
#include "support/path.h"
#include "support/str.h"
#include "support/syslib.h"

namespace {

const wchar_t kDocumentName[] = L"TessaloomPDF test page";
const DWORD kPollMs = 200;
const ULONGLONG kGraceMs = 5000;  // for the PDF after its job has left the queue
const ULONGLONG kTicksPerMs = 10000;

struct JobBit {
    DWORD bit;
    const wchar_t *name;
};
const JobBit kJobBits[] = {
    {JOB_STATUS_PAUSED, L"paused"},         {JOB_STATUS_ERROR, L"error"},
    {JOB_STATUS_DELETING, L"deleting"},     {JOB_STATUS_SPOOLING, L"spooling"},
    {JOB_STATUS_PRINTING, L"printing"},     {JOB_STATUS_OFFLINE, L"offline"},
    {JOB_STATUS_PAPEROUT, L"paper out"},    {JOB_STATUS_PRINTED, L"printed"},
    {JOB_STATUS_DELETED, L"deleted"},       {JOB_STATUS_BLOCKED_DEVQ, L"blocked"},
    {JOB_STATUS_USER_INTERVENTION, L"user intervention"}, {JOB_STATUS_RESTART, L"restarting"},
    {JOB_STATUS_COMPLETE, L"complete"},
};

ULONGLONG nowTicks()
{
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return (ULONGLONG(now.dwHighDateTime) << 32) | now.dwLowDateTime;
}

// The job's status bits while it is in the printer's queue; -1 once it has left.
long jobStatus(DWORD jobId)
{
    HANDLE printer = nullptr;
    if (!sysOpenPrinterW(const_cast<wchar_t *>(kPdfPrinterName), &printer, nullptr))
        return -1;
    DWORD needed = 0, returned = 0;
    sysEnumJobsW(printer, 1, nullptr, 0, &needed, &returned);
    BYTE *records = needed ? static_cast<BYTE *>(calloc(needed, 1)) : nullptr;
    long status = -1;
    if (records && sysEnumJobsW(printer, 1, records, needed, &needed, &returned)) {
        const JOB_INFO_1W *jobs = reinterpret_cast<const JOB_INFO_1W *>(records);
        for (DWORD i = 0; i < returned; i++)
            if (jobs[i].JobId == jobId)
                status = static_cast<long>(jobs[i].Status);
    }
    free(records);
    sysClosePrinter(printer);
    return status;
}

void logJobStatus(DWORD jobId, DWORD status)
{
    wchar_t names[256] = L"";
    for (const JobBit &bit : kJobBits) {
        if (status & bit.bit) {
            if (names[0])
                wcsncat(names, L", ", 255 - wcslen(names));
            wcsncat(names, bit.name, 255 - wcslen(names));
        }
    }
    appLogLine(L"Job %lu is in the queue: status 0x%lX (%s)", jobId, status, names[0] ? names : L"waiting");
}

// One page with the date, the time and the computer's name; the job's id, or 0.
DWORD printPage()
{
    HDC dc = CreateDCW(L"WINSPOOL", kPdfPrinterName, nullptr, nullptr);
    if (!dc) {
        dbg_TraceError(L"The printer TessaloomPDF cannot be opened for printing", GetLastError());
        return 0;
    }
    wchar_t when[64] = L"", computer[MAX_COMPUTERNAME_LENGTH + 1] = L"", line[256];
    DWORD size = MAX_COMPUTERNAME_LENGTH + 1;
    dt_FormatNow(when, 100);
    GetComputerNameW(computer, &size);
    _snwprintf(line, 256, L"Printed %s on %s", when, computer);
    line[255] = L'\0';
    DOCINFOW info = {sizeof(info), kDocumentName, nullptr, nullptr, 0};
    int job = StartDocW(dc, &info);
    DWORD error = GetLastError();
    if (job > 0) {
        int dpi = GetDeviceCaps(dc, LOGPIXELSY);
        StartPage(dc);
        TextOutW(dc, dpi, dpi, kDocumentName, static_cast<int>(wcslen(kDocumentName)));
        TextOutW(dc, dpi, dpi * 3 / 2, line, static_cast<int>(wcslen(line)));
        EndPage(dc);
        if (EndDoc(dc) <= 0) {
            error = GetLastError();
            job = 0;
        }
    }
    DeleteDC(dc);
    if (job <= 0) {
        dbg_TraceError(L"The test page could not be printed", error);
        return 0;
    }
    appLogLine(L"Test page printed as job %d: %s", job, line);
    return static_cast<DWORD>(job);
}

enum FileState { FILE_NONE, FILE_GROWING, FILE_WHOLE, FILE_NOT_PDF };

// Written after `since`, the same size as at the last look, and a PDF from end to end.
FileState pdfState(const wchar_t *pdf, ULONGLONG since, ULONGLONG *lastSize)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!GetFileAttributesExW(pdf, GetFileExInfoStandard, &data))
        return FILE_NONE;
    ULONGLONG written = (ULONGLONG(data.ftLastWriteTime.dwHighDateTime) << 32) | data.ftLastWriteTime.dwLowDateTime;
    ULONGLONG size = (ULONGLONG(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
    if (written < since)
        return FILE_NONE;
    bool stable = size && size == *lastSize;
    *lastSize = size;
    if (!stable)
        return FILE_GROWING;
    ScopedHandle file(CreateFileW(pdf, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    char head[5] = {}, tail[1024] = {};
    DWORD read = 0, tailRead = 0;
    LONG back = -static_cast<LONG>(size < sizeof(tail) ? size : sizeof(tail));
    if (!file || !ReadFile(file.get(), head, 5, &read, nullptr) ||
        SetFilePointer(file.get(), back, nullptr, FILE_END) == INVALID_SET_FILE_POINTER ||
        !ReadFile(file.get(), tail, sizeof(tail), &tailRead, nullptr))
        return FILE_GROWING;  // still held by its writer: look again
    bool eof = false;
    for (DWORD i = 0; i + 5 <= tailRead && !eof; i++)
        eof = memcmp(tail + i, "%%EOF", 5) == 0;
    return read == 5 && memcmp(head, "%PDF-", 5) == 0 && eof ? FILE_WHOLE : FILE_NOT_PDF;
}

// "<folder>\<name>-test.pdf" beside `pdf`.
void testPdfName(const wchar_t *pdf, wchar_t *out, int capacity)
{
    _snwprintf(out, capacity, L"%s", pdf);
    out[capacity - 1] = L'\0';
    wchar_t *dot = wcsrchr(out, L'.');
    if (!dot || dot < wcsrchr(out, L'\\'))
        dot = out + wcslen(out);
    _snwprintf(dot, capacity - (dot - out), L"-test.pdf");
    out[capacity - 1] = L'\0';
}

}  // namespace

PrintTestResult appPrintTestPage(const wchar_t *pdf, int waitSeconds)
{
    wchar_t aside[PATH_BUFFER + 32] = L"", testPdf[PATH_BUFFER + 16];
    testPdfName(pdf, testPdf, PATH_BUFFER + 16);
    if (pathProbe(pdf, nullptr) == ERROR_SUCCESS) {
        _snwprintf(aside, PATH_BUFFER + 32, L"%s.printtest-%lu", pdf, GetTickCount());
        aside[PATH_BUFFER + 31] = L'\0';
        if (!MoveFileExW(pdf, aside, 0)) {
            dbg_TraceError(L"The PDF already there cannot be moved aside for the test, so nothing was printed",
                           GetLastError());
            return PRINT_NOT_STARTED;
        }
        appLogLine(L"%s is kept aside as %s while the test prints.", pdf, aside);
    }
    // File times may be coarser than the clock: allow two seconds.
    ULONGLONG started = nowTicks(), since = started - 2000 * kTicksPerMs;
    DWORD job = printPage();
    PrintTestResult result = job ? PRINT_STUCK : PRINT_NOT_STARTED;
    ULONGLONG deadline = started + ULONGLONG(waitSeconds) * 1000 * kTicksPerMs, left = 0, size = 0;
    long shown = -2;
    FileState state = FILE_NONE;
    while (job) {
        long status = jobStatus(job);
        if (status >= 0 && status != shown)
            logJobStatus(job, static_cast<DWORD>(status));
        shown = status;
        ULONGLONG now = nowTicks();
        if (status < 0 && !left) {
            left = now;
            appLogLine(L"Job %lu has left the queue (%.2f s).", job, double(now - started) / (1000.0 * kTicksPerMs));
        }
        state = pdfState(pdf, since, &size);
        if (state == FILE_WHOLE || (state == FILE_NOT_PDF && status < 0))
            break;
        if (now >= deadline || (left && now - left >= kGraceMs * kTicksPerMs))
            break;
        Sleep(kPollMs);
    }
    double seconds = double(nowTicks() - started) / (1000.0 * kTicksPerMs);
    if (job && state != FILE_NONE) {
        if (!MoveFileExW(pdf, testPdf, MOVEFILE_REPLACE_EXISTING))
            dbg_TraceError(L"The test's PDF cannot be renamed", GetLastError());
        appLogLine(L"Test PDF: %s (%I64u bytes, %.2f s after the page was printed)", testPdf, size, seconds);
    }
    if (aside[0] && !MoveFileExW(aside, pdf, 0))
        dbg_TraceError(L"The PDF that was there could not be put back; it is kept as its aside name", GetLastError());
    if (state == FILE_WHOLE)
        return PRINT_DONE;
    if (state == FILE_NOT_PDF || state == FILE_GROWING) {
        appLogLine(L"The file written is not a complete PDF (it must start with %%PDF- and end with %%%%EOF).");
        return PRINT_NOT_PDF;
    }
    if (job && !left) {
        appLogLine(L"The test page is still in the queue after %d s.", waitSeconds);
        return PRINT_STUCK;
    }
    if (job) {
        appLogLine(L"No PDF came at %s. Likely causes: Ghostscript failed (run the port's Command with its Arguments "
                   L"by hand to see why), the Print Spooler's account cannot write to that folder, or Windows "
                   L"protected print stopped the port monitor.", pdf);
        return PRINT_NO_PDF;
    }
    return result;
}
