// RedMon detection: its monitor library in the system folder, looked at past WOW64 redirection.
#include "detect/redmon.h"
#include <cwchar>
#include <initializer_list>
#include "support/appstate.h"
#include "support/handles.h"
#include "support/path.h"
#include "support/sys.h"

const wchar_t kRedMonMonitorKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Redirected Port";

namespace {

Wow64RedirectionFn g_testFirst, g_testSecond;
bool g_testCalls;

Wow64RedirectionFn lookUp(HMODULE kernel, bool first)
{
    if (g_testCalls)
        return first ? g_testFirst : g_testSecond;
    return reinterpret_cast<Wow64RedirectionFn>(
        reinterpret_cast<void (*)()>(GetProcAddress(kernel, "Wow64RevertWow64FsRedirection")));
}

// `path` receives the library's full path when it is there.
int libraryInSystemFolder(const wchar_t *library, wchar_t *path)
{
    wchar_t system[PATH_BUFFER] = L"";
    if (pathSystemFolder(system) && pathJoinWhole(path, system, library) && pathFileExists(path))
        return 1;
    path[0] = L'\0';
    return 0;
}

// RedMon 1.9 names its library redmon32.dll or redmon64.dll; the monitor's registration names
// the one the spooler loads. Only opened: nothing is created here.
int redMon19Installed(wchar_t *path)
{
    wchar_t folder[PATH_BUFFER];
    if (!pathNativeSystemFolder(folder))
        return 0;
    wchar_t driver[PATH_BUFFER] = L"";
    ScopedHKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kRedMonMonitorKey, 0, KEY_QUERY_VALUE, key.out()) == ERROR_SUCCESS) {
        DWORD type = 0, bytes = PATH_CHARS * sizeof(wchar_t);
        if (RegQueryValueExW(key.get(), L"Driver", nullptr, &type, reinterpret_cast<BYTE *>(driver), &bytes) !=
                ERROR_SUCCESS ||
            type != REG_SZ || wcspbrk(driver, L"\\/:"))
            driver[0] = L'\0';  // a bare file name in the system folder, or nothing
        driver[PATH_CHARS] = L'\0';
    }
    for (const wchar_t *name : {static_cast<const wchar_t *>(driver), L"redmon32.dll", L"redmon64.dll"})
        if (name[0] && pathJoin(path, folder, name) && pathFileExists(path))
            return 1;
    path[0] = L'\0';
    return 0;
}

// The call sequence is kept exactly as it has always been: the entry point is looked up
// twice under the same name, both calls get the address of the saved state, and a first
// call that fails ends the lookup with "not installed". Given an address, the call switches
// redirection off for this thread; a third call with a null value switches it back on, or
// the rest of the run (MAPI32.DLL, say) would load from the 64-bit system folder.
int redMon17Installed(wchar_t *path)
{
    wchar_t library[257] = L"redmonnt.dll";
    int wow64 = sysIsWow64();
    if (sysIsVistaOrLater() && wow64) {
        ScopedHKey key;
        LONG opened = appIsLookOnly()
                          ? RegOpenKeyExW(HKEY_LOCAL_MACHINE, kRedMonMonitorKey, 0, KEY_READ, key.out())
                          : RegCreateKeyExW(HKEY_LOCAL_MACHINE, kRedMonMonitorKey, 0, const_cast<wchar_t *>(L""), 0,
                                            KEY_READ, nullptr, key.out(), nullptr);
        if (opened == ERROR_SUCCESS) {
            wchar_t driver[257];
            ZeroMemory(driver, sizeof(driver));
            DWORD bytes = 256;  // at most 128 characters
            if (RegQueryValueExW(key.get(), L"Driver", nullptr, nullptr, reinterpret_cast<BYTE *>(driver), &bytes) ==
                ERROR_SUCCESS) {
                driver[128] = L'\0';
                wcscpy(library, driver);
            }
        }
    }
    path[0] = L'\0';
    if (!wow64)
        return libraryInSystemFolder(library, path);

    HMODULE kernel = GetModuleHandleW(L"kernel32");
    if (!kernel)
        return 0;
    Wow64RedirectionFn first = lookUp(kernel, true);
    Wow64RedirectionFn second = lookUp(kernel, false);
    if (!first || !second)
        return 0;
    PVOID saved = nullptr;
    if (!first(&saved))
        return 0;
    int result = libraryInSystemFolder(library, path);
    second(&saved);
    second(nullptr);
    return result;
}

}  // namespace

// When the check kept from RedMon 1.7's days says "not installed", RedMon 1.9 may still be there.
int gs2_GetRedMonLibrary(wchar_t *path) { return redMon17Installed(path) || redMon19Installed(path) ? 1 : 0; }

int gs2_IsRedMonInstalled()
{
    wchar_t path[PATH_BUFFER];
    return gs2_GetRedMonLibrary(path);
}

void redmonTestSetRedirectionCalls(Wow64RedirectionFn first, Wow64RedirectionFn second)
{
    g_testFirst = first;
    g_testSecond = second;
    g_testCalls = first || second;
}
