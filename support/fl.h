// Writing files: creating and opening them, the warning shown when that fails, and UTF-16LE text
// with a byte order mark.
#pragma once
#include <windows.h>

#include "support/handles.h"

// Kinds of file failure that the writers report (others are reserved by the string table).
enum FlErrorKind {
    FL_KIND_OPEN_FAILED = 2,
    FL_KIND_CREATE_FAILED = 6,
    FL_KIND_OPEN_READONLY = 21,
    FL_KIND_CREATE_READONLY = 24,
};

// The owners hold no handle on failure.
ScopedHandle flCreate(const wchar_t *path);
ScopedHandle flOpenAlways(const wchar_t *path);
int flReportError(HWND owner, const wchar_t *path, int kind);

ScopedHandle txfCreate(const wchar_t *path);
ScopedHandle txfOpenAppend(const wchar_t *path);
DWORD txfWrite(HANDLE file, const wchar_t *text);
int txfSave(const wchar_t *path, const wchar_t *text, int lineEnd);
int txfSaveText(const wchar_t *path, const wchar_t *text);
int txfAppend(const wchar_t *path, const wchar_t *text, int lineEnd, int create);
