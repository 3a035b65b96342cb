// Facts about the machine that decide whether PDF output can work at all: Windows protected
// print, the processor the system really runs on, where a folder lives, Controlled folder access.
#include "detect/machine.h"
#include <cwchar>
#include "support/handles.h"
#include "support/str.h"

namespace {

const wchar_t kProtectedPrintKey[] = L"SOFTWARE\\Policies\\Microsoft\\Windows NT\\Printers\\WPP";
const wchar_t kProtectedPrintValue[] = L"WindowsProtectedPrintGroupPolicyState";
const wchar_t *const kFolderAccessKeys[] = {
    L"SOFTWARE\\Microsoft\\Windows Defender\\Windows Defender Exploit Guard\\Controlled Folder Access",
    L"SOFTWARE\\Policies\\Microsoft\\Windows Defender\\Windows Defender Exploit Guard\\Controlled Folder Access",
};
const WORD kArm64 = 0xAA64;  // IMAGE_FILE_MACHINE_ARM64, missing from older headers

WORD g_nativeOverride;

// Policies live in the machine's own view: a 32-bit program on 64-bit Windows would otherwise
// read Wow6432Node, where no policy is ever written. A value of another type or size is none.
int readMachineDword(const wchar_t *path, const wchar_t *name, DWORD *value)
{
    ScopedHKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_QUERY_VALUE | KEY_WOW64_64KEY, key.out()) != ERROR_SUCCESS)
        return 0;
    DWORD type = 0, size = sizeof(*value);
    return RegQueryValueExW(key.get(), name, nullptr, &type, reinterpret_cast<BYTE *>(value), &size) == ERROR_SUCCESS &&
           type == REG_DWORD && size == sizeof(*value);
}

// Allowed applications are listed by value name, one full path each.
bool isAllowedIn(const wchar_t *path, const wchar_t *program)
{
    wchar_t allowed[512];
    _snwprintf(allowed, 512, L"%s\\AllowedApplications", path);
    allowed[511] = L'\0';
    ScopedHKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, allowed, 0, KEY_QUERY_VALUE | KEY_WOW64_64KEY, key.out()) != ERROR_SUCCESS)
        return false;
    DWORD type = 0;
    return RegQueryValueExW(key.get(), program, nullptr, &type, nullptr, nullptr) == ERROR_SUCCESS;
}

}  // namespace

int machIsProtectedPrintOn()
{
    DWORD state = 0;
    return readMachineDword(kProtectedPrintKey, kProtectedPrintValue, &state) && state != 0;
}

// The 32-bit program is told x86 by IsWow64Process2's process answer and AMD64 by
// GetNativeSystemInfo under emulation on ARM64: only the native machine tells the truth.
WORD machNativeMachine()
{
    if (g_nativeOverride)
        return g_nativeOverride;
    typedef BOOL(WINAPI * IsWow64Process2Fn)(HANDLE, USHORT *, USHORT *);
    HMODULE kernel = GetModuleHandleW(L"kernel32");
    auto isWow64Process2 = kernel ? reinterpret_cast<IsWow64Process2Fn>(reinterpret_cast<void (*)()>(
                                        GetProcAddress(kernel, "IsWow64Process2")))
                                  : nullptr;
    USHORT process = 0, native = 0;
    if (!isWow64Process2 || !isWow64Process2(GetCurrentProcess(), &process, &native))
        return 0;
    return native;
}

int machIsArm64() { return machNativeMachine() == kArm64; }

int machIsRemotePath(const wchar_t *path)
{
    if (!path || !path[0])
        return 0;
    if (_wcsnicmp(path, L"\\\\?\\UNC\\", 8) == 0)
        return 1;
    if (_wcsnicmp(path, L"\\\\?\\", 4) == 0 || _wcsnicmp(path, L"\\\\.\\", 4) == 0)
        path += 4;  // a drive path in its long form
    else if (path[0] == L'\\' && path[1] == L'\\')
        return 1;
    if (!path[0] || path[1] != L':')
        return 0;
    wchar_t root[4] = {path[0], L':', L'\\', L'\0'};
    return GetDriveTypeW(root) == DRIVE_REMOTE;
}

int machFolderAccessBlocks(const wchar_t *program)
{
    bool on = false;
    for (const wchar_t *path : kFolderAccessKeys) {
        DWORD enabled = 0;
        on = on || (readMachineDword(path, L"EnableControlledFolderAccess", &enabled) && enabled != 0);
    }
    if (!on)
        return 0;
    for (const wchar_t *path : kFolderAccessKeys)
        if (isAllowedIn(path, program))
            return 0;
    return 1;
}

void machTestSetNativeMachine(WORD machine) { g_nativeOverride = machine; }
