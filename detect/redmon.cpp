// RedMon detection: its monitor library in the system folder, looked at past WOW64 redirection.
#include "detect/redmon.h"
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

int libraryInSystemFolder(const wchar_t *library)
{
    wchar_t system[PATH_BUFFER] = L"", path[PATH_BUFFER] = L"";
    return pathSystemFolder(system) && pathJoinWhole(path, system, library) && pathFileExists(path) ? 1 : 0;
}

}  // namespace

// The call sequence is kept exactly as it has always been: the entry point is looked up
// twice under the same name, both calls get the address of the saved state, and a first
// call that fails ends the lookup with "not installed".
int gs2_IsRedMonInstalled()
{
    wchar_t library[257] = L"redmonnt.dll";
    int wow64 = sysIsWow64();
    if (sysIsVistaOrLater() && wow64) {
        ScopedHKey key;
        if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, kRedMonMonitorKey, 0, const_cast<wchar_t *>(L""), 0, KEY_READ,
                            nullptr, key.out(), nullptr) == ERROR_SUCCESS) {
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
    if (!wow64)
        return libraryInSystemFolder(library);

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
    int result = libraryInSystemFolder(library);
    second(&saved);
    return result;
}

void redmonTestSetRedirectionCalls(Wow64RedirectionFn first, Wow64RedirectionFn second)
{
    g_testFirst = first;
    g_testSecond = second;
    g_testCalls = first || second;
}
