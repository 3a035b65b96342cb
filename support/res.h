// String-table access by numeric id.
#pragma once
#include <windows.h>

int resLoadStringDef(HWND owner, UINT id, wchar_t *buffer, int capacity, const wchar_t *defaultText);
int resLoadString(HWND owner, UINT id, wchar_t *buffer, int capacity);
int resLoadStringRaw(HWND owner, UINT id, wchar_t *buffer, int capacity);
int resLoadString255(HWND owner, UINT id, wchar_t *buffer);
int resFormatString(wchar_t *destination, int capacity, UINT id, const wchar_t *argument);
