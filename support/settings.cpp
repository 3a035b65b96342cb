// Per-user settings under HKCU\Software\<company>\<product>\<short name>, and the
// machine-wide read helpers used by component detection.
#include "support/settings.h"
#include <cwchar>
#include "support/appstate.h"
#include "support/handles.h"
#include "support/mem.h"
#include "support/rect.h"
#include "support/sys.h"
#include "support/txt.h"

const wchar_t kSettingSetupDone[] = L"GSPDF_SETUP";
const wchar_t kSettingMaxWait[] = L"GSPDF_MAXWAIT";
const wchar_t kSettingDataWinRect[] = L"data_Win_Rect";
const wchar_t kSettingDataWinTop[] = L"DataWinTopMost";

namespace {

const REGSAM kMachineRead = KEY_READ;  // 0x20019, no 64-bit view flag: a 32-bit build sees the 32-bit view
const DWORD kMaxWaitFast = 20000;
const DWORD kMaxWaitStepMhz = 2254;  // the allowance drops from 30013 to 20000 here, on purpose
const DWORD kMaxWaitScale = 67620000;

// Software, company, product, short name; open only for the length of one access.
HKEY g_keys[4];

HKEY leafKey() { return g_keys[3]; }

// Every access stands alone: open the key, do one thing, close everything again.
template <typename F> auto withKey(F access) -> decltype(access(HKEY()))
{
    setCloseKey();
    decltype(access(HKEY())) result{};
    if (setOpenKey())
        result = access(leafKey());
    setCloseKey();
    return result;
}

}  // namespace

int setOpenKey()
{
    const AppIdentity &id = appIdentity();
    const wchar_t *levels[4] = {L"Software", id.company, id.product, id.shortName};
    HKEY parent = HKEY_CURRENT_USER;
    bool lookOnly = appIsLookOnly() != 0;
    for (int i = 0; i < 4; i++) {
        LONG rc = lookOnly ? RegOpenKeyExW(parent, levels[i], 0, KEY_ALL_ACCESS, &g_keys[i])
                           : RegCreateKeyExW(parent, levels[i], 0, const_cast<wchar_t *>(L""),
                                             REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, &g_keys[i], nullptr);
        if (rc != ERROR_SUCCESS) {
            g_keys[i] = nullptr;
            setCloseKey();
            return 0;
        }
        parent = g_keys[i];
    }
    return 1;
}

void setCloseKey()
{
    for (int i = 3; i >= 0; i--) {
        if (g_keys[i])
            RegCloseKey(g_keys[i]);
        g_keys[i] = nullptr;
    }
}

int setReadString(wchar_t *buffer, const wchar_t *name, DWORD *byteCapacity)
{
    if (!buffer || !byteCapacity || *byteCapacity < sizeof(wchar_t))
        return 0;
    buffer[0] = L'\0';
    DWORD capacity = *byteCapacity;
    int ok = withKey([&](HKEY key) {
        DWORD type = 0, size = capacity;
        LONG rc = RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE *>(buffer), &size);
        if (rc != ERROR_SUCCESS || type != REG_SZ) {
            buffer[0] = L'\0';
            return 0;
        }
        // Stored data need not end in a terminator; never read past what was written.
        DWORD chars = size / sizeof(wchar_t);
        DWORD last = capacity / sizeof(wchar_t) - 1;
        buffer[chars < last ? chars : last] = L'\0';
        *byteCapacity = size;
        return 1;
    });
    return ok;
}

int setWriteString(const wchar_t *text, const wchar_t *name)
{
    if (!text)
        text = L"";
    DWORD size = *text ? static_cast<DWORD>((wcslen(text) + 1) * sizeof(wchar_t)) : 0;
    return withKey([&](HKEY key) {
        return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE *>(text), size) == ERROR_SUCCESS
                   ? 1
                   : 0;
    });
}

int setReadDword(DWORD *value, const wchar_t *name)
{
    *value = 0;
    return withKey([&](HKEY key) {
        DWORD type = 0, data = 0, size = sizeof(data);
        if (RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE *>(&data), &size) != ERROR_SUCCESS ||
            type != REG_DWORD || size != sizeof(data))
            return 0;
        *value = data;
        return 1;
    });
}

int setWriteDword(const wchar_t *name, DWORD value)
{
    return withKey([&](HKEY key) {
        return RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE *>(&value), sizeof(value)) ==
                       ERROR_SUCCESS
                   ? 1
                   : 0;
    });
}

DWORD setGetDword(const wchar_t *name)
{
    DWORD value = 0;
    setReadDword(&value, name);
    return value;
}

DWORD setGetDwordEx(const wchar_t *name, int *found)
{
    DWORD value = 0;
    int ok = setReadDword(&value, name);
    if (found)
        *found = ok;
    return value;
}

void setPutDword(const wchar_t *name, DWORD value) { setWriteDword(name, value); }

int setReadRect(const wchar_t *name, RECT *rect)
{
    wchar_t text[256];
    DWORD capacity = sizeof(text);
    rectZero(rect);
    if (!setReadString(text, name, &capacity) || !text[0])
        return 0;
    if (!rectFromText(text, rect))
        return 0;
    if (!rectIsValid(rect))
        return 0;
    RECT work;
    rectGetWorkArea(&work);
    rectPullInto(rect, &work);
    return 1;
}

int setRestoreWindowRect(const wchar_t *name, HWND window, int minWidth, int minHeight, int keepCurrentSize)
{
    RECT rect;
    if (!setReadRect(name, &rect) || !rectIsValid(&rect))
        return 0;
    if (keepCurrentSize) {
        RECT current;
        GetWindowRect(window, &current);
        rect.right = rect.left + rectWidth(&current);
        rect.bottom = rect.top + rectHeight(&current);
    }
    if (minWidth > 0 && minHeight > 0) {
        if (rect.right < rect.left + minWidth)
            rect.right = rect.left + minWidth;
        if (rect.bottom < rect.top + minHeight)
            rect.bottom = rect.top + minHeight;
    }
    RECT work;
    rectGetWorkArea(&work);
    rectPullInto(&rect, &work);
    MoveWindow(window, rect.left, rect.top, rectWidth(&rect), rectHeight(&rect), TRUE);
    return 1;
}

int setSaveWindowRect(const wchar_t *name, HWND window)
{
    RECT rect;
    wchar_t text[64];
    if (!GetWindowRect(window, &rect) || !rectToText(text, &rect) || !text[0])
        return 0;
    return setWriteString(text, name);
}

// Per-page allowance of the conversion module: slower processors get more time.
DWORD setMaxWaitForMhz(DWORD mhz)
{
    if (mhz == 0 || mhz >= kMaxWaitStepMhz)
        return kMaxWaitFast;
    return (2 * kMaxWaitScale + mhz) / (2 * mhz);  // rounded half away from zero
}

DWORD setGetMaxWait()
{
    DWORD stored = setGetDword(kSettingMaxWait);
    return stored ? stored : setMaxWaitForMhz(sysGetCpuMhz());
}

void setInitMaxWait()
{
    if (appIsLookOnly())
        return;
    if (setGetDword(kSettingMaxWait) == 0)
        setPutDword(kSettingMaxWait, setMaxWaitForMhz(sysGetCpuMhz()));
}

HKEY setOpenMachineSoftware() { return setOpenSubkeyRead(HKEY_LOCAL_MACHINE, L"Software"); }

// Create-or-open even for reading: elevated, this leaves an empty key behind where none was.
// Only a look-only run opens without creating.
HKEY setOpenSubkeyRead(HKEY parent, const wchar_t *subkey)
{
    HKEY key = nullptr;
    if (!parent)
        return nullptr;
    LONG rc = appIsLookOnly() ? RegOpenKeyExW(parent, subkey, 0, kMachineRead, &key)
                              : RegCreateKeyExW(parent, subkey, 0, const_cast<wchar_t *>(L""), 0, kMachineRead,
                                                nullptr, &key, nullptr);
    return rc == ERROR_SUCCESS ? key : nullptr;
}

HGLOBAL setEnumSubkeys(HKEY key, wchar_t separator, int *count)
{
    HGLOBAL list = nullptr;
    int n = 0;
    const wchar_t sep[2] = {separator, L'\0'};
    for (DWORD index = 0;; index++) {
        wchar_t name[257];
        DWORD length = 256;
        if (RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            break;
        list = txtGAppend(list, name);
        list = txtGAppend(list, sep);
        n++;
    }
    if (count)
        *count = n;
    return list;
}
