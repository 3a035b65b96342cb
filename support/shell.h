// Handing work to the shell: documents and web pages.
#pragma once
#include <windows.h>

INT_PTR OpenDocumentOrUrl(HWND owner, const wchar_t *target);
