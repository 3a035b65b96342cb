// The save-file dialog, with a hook that follows the chosen file type in the name field.
#pragma once
#include <windows.h>

int fniGetSaveFN32A(HWND owner, const wchar_t *caption, wchar_t *path, const wchar_t *defaultExt,
                    const wchar_t *filter, int overwritePrompt, int *filterIndex);
int fniGetSaveFNId(HWND owner, UINT captionId, wchar_t *path, const wchar_t *defaultExt,
                   const wchar_t *filter, int overwritePrompt, int *filterIndex);
