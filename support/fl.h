// Creating and opening files for writing, and the warning shown when that fails.
#pragma once
#include <windows.h>

// Kinds of file failure that the writers report (others are reserved by the string table).
enum FlErrorKind {
    FL_KIND_OPEN_FAILED = 2,
    FL_KIND_CREATE_FAILED = 6,
    FL_KIND_OPEN_READONLY = 21,
    FL_KIND_CREATE_READONLY = 24,
};

HANDLE flCreate(const wchar_t *path);
HANDLE flOpenAlways(const wchar_t *path);
int flReportError(HWND owner, const wchar_t *path, int kind);
