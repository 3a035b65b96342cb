// Where the program's files live: the per-user data folder and the response files.
#pragma once
#include <windows.h>

extern const wchar_t kDataFolderName[];  // "TessaloomPDF" inside Documents
extern const wchar_t kRspFileName[];     // "tl2pdf.rsp"

int gs2_GetDataFolder(wchar_t *out);
// Replaces the account's own Documents folder for the rest of the run ("" restores it).
void gs2_SetDocumentsFolder(const wchar_t *folder);
// The Documents folder the data folder goes into: the named one, else the account's own (MAX_PATH + 1).
void gs2_GetDocumentsFolder(wchar_t *out);
// -MACHINE: the data folder is %ProgramData%\TessaloomPDF, made (or repaired) writable by
// administrators only whenever it is asked for.
void gs2_SetMachineDataFolder(int on);
int gs2_IsMachineDataFolder();
int gs2_SecureMachineFolder(const wchar_t *path);
int gs2_EnsureFolder(const wchar_t *path);
int gs2_GetRspFilePath(wchar_t *out);
int gs2_DataPathsFit(wchar_t *folder, int capacity);
int gs2_GetRspFilePathForFile(wchar_t *out);
