// Per-user settings under HKCU\Software\<company>\<product>\<short name>, and the
// machine-wide read helpers used by component detection.
#pragma once
#include <windows.h>

extern const wchar_t kSettingSetupDone[];    // GSPDF_SETUP
extern const wchar_t kSettingMaxWait[];      // GSPDF_MAXWAIT
extern const wchar_t kSettingDataWinRect[];  // data_Win_Rect
extern const wchar_t kSettingDataWinTop[];   // DataWinTopMost

int setOpenKey();
void setCloseKey();
int setReadString(wchar_t *buffer, const wchar_t *name, DWORD *byteCapacity);
int setWriteString(const wchar_t *text, const wchar_t *name);
int setReadDword(DWORD *value, const wchar_t *name);
int setWriteDword(const wchar_t *name, DWORD value);
DWORD setGetDword(const wchar_t *name);
DWORD setGetDwordEx(const wchar_t *name, int *found);
void setPutDword(const wchar_t *name, DWORD value);

int setReadRect(const wchar_t *name, RECT *rect);
int setRestoreWindowRect(const wchar_t *name, HWND window, int minWidth, int minHeight, int keepCurrentSize);
int setSaveWindowRect(const wchar_t *name, HWND window);

DWORD setMaxWaitForMhz(DWORD mhz);
DWORD setGetMaxWait();
void setInitMaxWait();

HKEY setOpenMachineSoftware();
HKEY setOpenSubkeyRead(HKEY parent, const wchar_t *subkey);
HGLOBAL setEnumSubkeys(HKEY key, wchar_t separator, int *count);
