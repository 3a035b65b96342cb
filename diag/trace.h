// Debug trace: "~tlpdf_dbg.txt" in the data folder, UTF-16LE, one entry per open and close.
#pragma once
#include <windows.h>
#include <cstdarg>

extern const wchar_t kTraceFileName[];

void dbg_SetDebugMode(int on);
int dbg_IsDebugMode();
void dbg_GetTraceFilePath(wchar_t *out);
// Sends the trace to another file for the rest of the run ("" restores the data folder's).
void dbg_SetTraceFile(const wchar_t *path);
// Writes nothing at all while on, whatever else asks for a line.
void dbg_SetSilent(int on);
void dbg_WriteTrace(const wchar_t *text, int addNewLine, int indent);
// In debug mode only: formats one line and writes it with a line end, indented.
void dbg_TraceLine(const wchar_t *format, ...);
void dbg_TraceLineV(const wchar_t *format, va_list args);  // the same, whatever the mode
// In debug mode only: "<what> (error <code>: <system text>)" as one line.
void dbg_TraceError(const wchar_t *what, DWORD code);
void dbg_WriteTraceString(UINT id, int addNewLine, int indent);
void dbg_WriteBlankLine();
void dbg_Indent();
void dbg_Unindent();
int dbg_GetDepth();
// The system-information header that starts every trace.
HGLOBAL dbg_BuildSystemInfo();
void dbg_WriteSystemInfo();  // the header above, written as it is
void dbg_StartTrace();
