// RedMon detection: its monitor library in the system folder, looked at past WOW64 redirection.
#pragma once
#include <windows.h>

extern const wchar_t kRedMonMonitorKey[];

int gs2_IsRedMonInstalled();
// As gs2_IsRedMonInstalled; `path` (PATH_BUFFER) receives the library found, or "".
int gs2_GetRedMonLibrary(wchar_t *path);

// Test seam: replaces what the lookups of the redirection entry point return
// (null for either restores the real lookup).
typedef BOOL(WINAPI *Wow64RedirectionFn)(PVOID);
void redmonTestSetRedirectionCalls(Wow64RedirectionFn first, Wow64RedirectionFn second);
