// The log of an unattended run (-LOG[file]): the debug trace's lines, appended to the named file.
//
// The trace's own writer does the writing, so the log has its format (UTF-16LE, the mark FF FE,
// CR LF) and its lines. A deployment keeps one log per machine: an existing log is appended to.
#include "app/actionlog.h"
#include <cstdarg>
#include <cwchar>
#include "diag/trace.h"
#include "res/resource.h"
#include "support/handles.h"
#include "support/res.h"

namespace {

int g_logging;

// An existing file is written to only when it is a log of ours (or empty): the trace writer sets
// the first two bytes to the mark, which would spoil any other file that a mistyped name hits.
bool canTakeLog(const wchar_t *path)
{
    DWORD attributes = GetFileAttributesW(path);
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return true;  // made by the first line, provided its folder exists
    if (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY))
        return false;
    ScopedHandle file(CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                  FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        return false;
    BYTE mark[2] = {0, 0};
    DWORD read = 0;
    return ReadFile(file.get(), mark, 2, &read, nullptr) &&
           (read == 0 || (read == 2 && mark[0] == 0xFF && mark[1] == 0xFE));
}

}  // namespace

int appStartActionLog(const wchar_t *path)
{
    g_logging = 0;
    // Without a usable log an action writes no file at all, not even the user's debug trace.
    if (!path || !path[0] || !canTakeLog(path)) {
        dbg_SetSilent(1);
        return 0;
    }
    WIN32_FILE_ATTRIBUTE_DATA data;
    bool appending = GetFileAttributesExW(path, GetFileExInfoStandard, &data) &&
                     (data.nFileSizeLow > 2 || data.nFileSizeHigh);
    dbg_SetTraceFile(path);
    dbg_SetDebugMode(1);
    g_logging = 1;
    if (appending)
        dbg_WriteBlankLine();  // runs appended to one file stay apart
    dbg_WriteSystemInfo();
    return 1;
}

void appLogLine(const wchar_t *format, ...)
{
    if (!g_logging)
        return;
    va_list args;
    va_start(args, format);
    dbg_TraceLineV(format, args);
    va_end(args);
}

void appLogString(UINT id, const wchar_t *argument)
{
    wchar_t text[1024];
    resFormatString(text, 1024, id, argument ? argument : L"");
    appLogLine(L"%s", text);
}

void appLogBox(const wchar_t *captionWord, const wchar_t *text)
{
    // The caption words carry blanks of their own (" Error", " Warning").
    while (captionWord && *captionWord == L' ')
        captionWord++;
    appLogLine(L"[Message box, not shown] %s: %s", captionWord ? captionWord : L"",
               text && text[0] ? text : L"(no text)");
}

void appEndActionLog(int exitCode, UINT meaningId)
{
    if (g_logging) {
        wchar_t meaning[256];
        resLoadString(nullptr, meaningId, meaning, 256);
        wchar_t line[300];
        _snwprintf(line, 300, L"Exit code %d: %s", exitCode, meaning);
        line[299] = L'\0';
        dbg_WriteTrace(line, 1, 0);
    }
    g_logging = 0;
    dbg_SetDebugMode(0);
    dbg_SetTraceFile(L"");
    dbg_SetSilent(0);
}
