// Paths in 256-character fields: joining, normalising, splitting, extensions and filter patterns;
// web addresses, which the join folds like paths.
#pragma once
#include <windows.h>

// A path field holds this many characters; its buffer has one more place for the terminator.
enum : int { PATH_CHARS = 256, PATH_BUFFER = PATH_CHARS + 1, PATH_PATTERN_BUFFER = 6 };

int pathIsAbsolute(const wchar_t *path);
int pathJoin(wchar_t *destination, const wchar_t *directory, const wchar_t *name);
int pathNormalize(wchar_t *path);
wchar_t *pathFileName(wchar_t *path);
wchar_t *pathDirectory(wchar_t *path);
int pathIsDirOnly(const wchar_t *path);
wchar_t *pathSetExt(wchar_t *path, const wchar_t *extension);
wchar_t *pathExtPattern(wchar_t *destination, const wchar_t *path);
wchar_t *fileExtPattern(wchar_t *destination, const wchar_t *name);
int filterIndexOf(const wchar_t *filter, const wchar_t *name);

int pathJoinWhole(wchar_t *destination, const wchar_t *directory, const wchar_t *name);

// Folders and module names from the system, whole and absolute, or 0 with an empty out.
int pathSystemFolder(wchar_t *out);
int pathWindowsFolder(wchar_t *out);
int pathTempFolder(wchar_t *out);
int pathModuleFile(HMODULE module, wchar_t *out);
int pathNativeSystemFolder(wchar_t *out);  // Sysnative under WOW64, else the system folder

// ERROR_SUCCESS with the attributes when something is at the path, else the error that says why not.
DWORD pathProbe(const wchar_t *path, DWORD *attributes);
// 1 when an error means "nothing there" (file or path not found), 0 when it means a failure.
int pathIsAbsence(DWORD error);
int pathFileExists(const wchar_t *path);
int pathIsDirectory(const wchar_t *path);
int pathDeleteFile(const wchar_t *path);

int IsUrl(const wchar_t *text);
int GetUrlPrefixLength(const wchar_t *text, int *length);
int JoinUrl(wchar_t *out, const wchar_t *base, const wchar_t *relative);
