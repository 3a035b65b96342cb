// The system's own text for an error code.
#pragma once
#include <windows.h>

void errFormatSystemMessage(DWORD code, wchar_t *buffer, int capacity);
