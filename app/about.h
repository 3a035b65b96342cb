// The About box: version number, copyright from the version resource, the vendor's site.
#pragma once
#include <windows.h>

INT_PTR CALLBACK aboutDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
void aboutInit(HWND dialog);
void aboutSetCopyright(HWND dialog);
void aboutFormatVersion(wchar_t *out, int capacity, WORD versionNumber);
void aboutCopyrightLines(wchar_t *text);
