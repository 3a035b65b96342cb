// Running other programs and waiting for them; the user's Documents folder.
#pragma once
#include <windows.h>

int RunProcessAndWait(HWND owner, wchar_t *commandLine, int showState, DWORD waitMs);
int RunProcessAndWaitIn(HWND owner, wchar_t *commandLine, int showState, DWORD waitMs,
                        const wchar_t *currentDirectory);
int RunImageAndWait(HWND owner, const wchar_t *image, wchar_t *commandLine, int showState, DWORD waitMs,
                    const wchar_t *currentDirectory);
void ReportWaitResult(HWND owner, DWORD result, int flag);
int GetDocumentsFolder(HWND owner, wchar_t *out);
// Waits for an object like WaitForSingleObject while this thread's windows stay alive; the
// owner's top-level window is disabled meanwhile.
DWORD procWaitServingMessages(HWND owner, HANDLE object, DWORD waitMs);
