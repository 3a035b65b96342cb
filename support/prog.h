// A modeless box that names a long step and adds a dot a second while it runs.
#pragma once
#include <windows.h>

HWND progCreateBoxId(HWND owner, UINT captionId, const wchar_t *body, int ignored);
HWND progCreateBox(HWND owner, const wchar_t *caption, const wchar_t *body, int ignored);
