// The log of an unattended run (-LOG[file]): the debug trace's lines, appended to the named file.
#pragma once
#include <windows.h>

// Starts the log when the file can take it: the trace goes there, in debug mode, beginning with
// the system-information header. 1 when the log is on.
int appStartActionLog(const wchar_t *path);
// One line of the action's own, indented as the trace is ("%s" formats, as dbg_TraceLine).
void appLogLine(const wchar_t *format, ...);
// A string-table text formatted with one argument, as a line of its own.
void appLogString(UINT id, const wchar_t *argument);
// "Exit code N: <meaning>" (the string meaningId) at the start of a line, then the trace goes
// back where it was.
void appEndActionLog(int exitCode, UINT meaningId);
// The message boxes that a run without windows does not show, as lines of the log.
void appLogBox(const wchar_t *captionWord, const wchar_t *text);
