// Date and time stamps by numeric format code.
#pragma once
#include <windows.h>
#include <ctime>

// Every output buffer must hold at least this many characters.
const int DT_TEXT_CAPACITY = 64;

time_t dt_FormatNow(wchar_t *out, DWORD code);
void dt_FormatTime(wchar_t *out, long calendarTime, DWORD code);
void dt_FormatClock(wchar_t *out, int hour, int minute, int second, int style);
void dt_FormatTm(wchar_t *out, const struct tm &local, DWORD code);

// Test seam: a fixed clock for dt_FormatNow (0 returns to the real one).
void dt_TestSetNow(time_t fixed);
