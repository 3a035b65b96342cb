// Debug trace: "~tlpdf_dbg.txt" in the data folder, UTF-16LE, one entry per open and close.
#include "diag/trace.h"
#include <cstdarg>
#include <cstdlib>
#include <cwchar>
#include "detect/locations.h"
#include "detect/printers.h"
#include "support/dt.h"
#include "support/err.h"
#include "support/fl.h"
#include "support/mem.h"
#include "support/path.h"
#include "support/res.h"
#include "support/str.h"
#include "support/sys.h"
#include "support/txt.h"

const wchar_t kTraceFileName[] = L"~tlpdf_dbg.txt";

namespace {

int g_debugMode;
int g_silent;  // nothing is written anywhere: an unattended run without a log
int g_traceDepth;
wchar_t g_traceFile[PATH_BUFFER];  // a log named by the caller, instead of the data folder's file
bool g_writing;

// Tracing must not disturb the error a caller is about to report.
class LastErrorKeeper {
public:
    LastErrorKeeper() : error_(GetLastError()) {}
    ~LastErrorKeeper() { SetLastError(error_); }
    LastErrorKeeper(const LastErrorKeeper &) = delete;
    LastErrorKeeper &operator=(const LastErrorKeeper &) = delete;
private:
    DWORD error_;
};

}  // namespace

void dbg_SetDebugMode(int on) { g_debugMode = on; }

int dbg_IsDebugMode() { return g_debugMode; }

void dbg_SetTraceFile(const wchar_t *path) { strCopyN(g_traceFile, path ? path : L"", PATH_CHARS); }

void dbg_SetSilent(int on) { g_silent = on; }

void dbg_GetTraceFilePath(wchar_t *out)
{
    if (g_traceFile[0]) {
        strCopyN(out, g_traceFile, PATH_CHARS);
        return;
    }
    wchar_t folder[PATH_BUFFER];
    gs2_GetDataFolder(folder);
    out[0] = L'\0';
    pathJoin(out, folder, kTraceFileName);
}

// Opened and closed for every entry, so the file is complete whenever the program stops.
void dbg_WriteTrace(const wchar_t *text, int addNewLine, int indent)
{
    // A file that cannot be written is reported by the file layer; where that report is traced
    // (a run without windows), it must not come back here.
    if (!text || !*text || g_writing || g_silent)
        return;
    LastErrorKeeper keeper;
    wchar_t path[PATH_BUFFER];
    dbg_GetTraceFilePath(path);
    wchar_t *indented = nullptr;
    int tabs = g_traceDepth > 0 ? g_traceDepth : 0;
    if (indent && tabs) {
        size_t length = wcslen(text);
        indented = static_cast<wchar_t *>(calloc(length + tabs + 1, sizeof(wchar_t)));
        if (!indented)
            return;
        wmemset(indented, L'\t', tabs);
        wmemcpy(indented + tabs, text, length);
    }
    g_writing = true;
    txfAppend(path, indented ? indented : text, addNewLine, 1);
    g_writing = false;
    free(indented);
}

void dbg_TraceLineV(const wchar_t *format, va_list args)
{
    wchar_t line[1024];
    _vsnwprintf(line, 1024, format, args);
    line[1023] = L'\0';
    dbg_WriteTrace(line, 1, 1);
}

void dbg_TraceLine(const wchar_t *format, ...)
{
    if (!g_debugMode)
        return;
    va_list args;
    va_start(args, format);
    dbg_TraceLineV(format, args);
    va_end(args);
}

// The system's text for the code, without its line end, keeps the entry on one line.
void dbg_TraceError(const wchar_t *what, DWORD code)
{
    if (!g_debugMode)
        return;
    wchar_t reason[256];
    errFormatSystemMessage(code, reason, 256);
    size_t n = wcslen(reason);
    while (n && (reason[n - 1] == L'\r' || reason[n - 1] == L'\n' || reason[n - 1] == L' '))
        reason[--n] = L'\0';
    dbg_TraceLine(L"%s (error %lu: %s)", what, code, reason);
}

void dbg_WriteTraceString(UINT id, int, int indent)
{
    wchar_t text[256];
    if (resLoadString(nullptr, id, text, 256) > 0)
        dbg_WriteTrace(text, 1, indent);
}

void dbg_WriteBlankLine() { dbg_WriteTrace(L"\r\n", 0, 0); }

void dbg_Indent() { g_traceDepth++; }

void dbg_Unindent() { g_traceDepth--; }

int dbg_GetDepth() { return g_traceDepth; }

HGLOBAL dbg_BuildSystemInfo()
{
    wchar_t line[256];
    HGLOBAL block = txtGAppend(nullptr, L"==System Info=======\r\n");
    dt_FormatNow(line, 100);
    block = txtGAppend(block, line);
    block = txtGAppend(block, L"\r\n");
    block = txtGAppend(block, L"====================\r\n");
    // The bitness word says whether this process runs under WOW64, as it always has.
    _snwprintf(line, 256, L"[Windows Version]: %d %s\r\n", sysVersionCode(),
               sysIsWow64() ? L"(64-bit)" : L"(32-bit)");
    line[255] = L'\0';
    block = txtGAppend(block, line);
    block = txtGAppend(block, L"====================\r\n");
    block = txtGAppend(block, L"The installed Tessaloom PDF Driver List:\r\n");
    int count = 0;
    HGLOBAL printers = gs2_GetDriverPrinterList(L'\n', &count);
    {
        MemLock<wchar_t> names(printers);
        if (names && names.get()[0])
            block = txtGAppend(block, names.get());
    }
    memGFree(printers);
    block = txtGAppend(block, L"\r\n");
    block = txtGAppend(block, L"====================\r\n");
    return block;
}

void dbg_WriteSystemInfo()
{
    HGLOBAL header = dbg_BuildSystemInfo();
    if (header) {
        {
            MemLock<wchar_t> text(header);
            if (text)
                dbg_WriteTrace(text.get(), 1, 0);
        }
        memGFree(header);
    }
}

void dbg_StartTrace()
{
    wchar_t path[PATH_BUFFER];
    dbg_GetTraceFilePath(path);
    pathDeleteFile(path);
    g_traceDepth = 0;
    dbg_WriteSystemInfo();
}
