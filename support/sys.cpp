// Facts about the running system: Windows version, 64-bit and WOW64, administrator right, processor speed.
#include "support/sys.h"
#include <initializer_list>
#include "support/handles.h"

namespace {

SysFacts g_facts;
int g_wow64Override = -1;
int g_adminOverride = -1;
bool g_factsFixed;  // set by the test seam

void classifyIfNeeded()
{
    if (!g_facts.classified)
        sysClassify();
}

}  // namespace

DWORD sysClassify()
{
    OSVERSIONINFOW info;
    ZeroMemory(&info, sizeof(info));
    info.dwOSVersionInfoSize = sizeof(info);  // the basic record (276 bytes), no service-pack part
    DWORD platform = 0;
    if (GetVersionExW(&info)) {
        if (info.dwPlatformId == VER_PLATFORM_WIN32_WINDOWS)
            g_facts.isNewer9x = static_cast<short>(LOWORD(info.dwBuildNumber)) > 1000;
        else if (info.dwPlatformId == VER_PLATFORM_WIN32_NT) {
            g_facts.is2000XpFamily = info.dwMajorVersion == 5;
            g_facts.isVista7Family = info.dwMajorVersion == 6;
        }
        g_facts.major = info.dwMajorVersion;
        g_facts.minor = info.dwMinorVersion;
        platform = info.dwPlatformId;
    } else {
        g_facts.isNewer9x = info.dwPlatformId == VER_PLATFORM_WIN32_NT;
    }
    // A 32-bit process on 64-bit Windows is told x86 here; WOW64 gives it away.
    SYSTEM_INFO si;
    GetSystemInfo(&si);
    g_facts.is64Bit = si.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_AMD64 ||
                      si.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_IA64;
    if (!g_facts.is64Bit)
        g_facts.is64Bit = sysIsWow64();
    g_facts.classified = 1;
    return platform;
}

int sysIs64Bit() { return g_facts.is64Bit; }

// Looked up at run time: the function is missing on the oldest systems.
int sysIsWow64()
{
    if (g_wow64Override >= 0)
        return g_wow64Override;
    typedef BOOL(WINAPI * IsWow64ProcessFn)(HANDLE, PBOOL);
    HMODULE kernel = GetModuleHandleW(L"kernel32");
    if (!kernel)
        return 0;
    auto isWow64Process = reinterpret_cast<IsWow64ProcessFn>(
        reinterpret_cast<void (*)()>(GetProcAddress(kernel, "IsWow64Process")));
    BOOL wow64 = FALSE;
    if (!isWow64Process || !isWow64Process(GetCurrentProcess(), &wow64))
        return 0;
    return wow64 ? 1 : 0;
}

int sysVersionCode()
{
    if (g_factsFixed)
        return static_cast<int>(g_facts.major * 100 + g_facts.minor);
    DWORD version = GetVersion();
    return LOBYTE(LOWORD(version)) * 100 + HIBYTE(LOWORD(version));
}

int sysIsVistaOrLater()
{
    classifyIfNeeded();
    return g_facts.major >= 6;
}

int sysIsWin7()
{
    classifyIfNeeded();
    return g_facts.major == 6 && g_facts.minor == 1;
}

int sysIsWin7OrLater()
{
    classifyIfNeeded();
    return sysIsWin7() || (g_facts.major == 6 && g_facts.minor >= 1) || g_facts.major > 6;
}

int sysIsWin8()
{
    classifyIfNeeded();
    return g_facts.major == 6 && g_facts.minor == 2;
}

int sysIsWin8OrLater()
{
    classifyIfNeeded();
    return sysIsWin8() || (g_facts.major == 6 && g_facts.minor >= 2) || g_facts.major > 6;
}

// Membership of the token in use: an administrator without elevation is not one here.
int sysIsAdmin()
{
    if (g_adminOverride >= 0)
        return g_adminOverride;
    SID_IDENTIFIER_AUTHORITY ntAuthority = {SECURITY_NT_AUTHORITY};
    PSID administrators = nullptr;
    if (!AllocateAndInitializeSid(&ntAuthority, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS, 0, 0,
                                  0, 0, 0, 0, &administrators))
        return 0;
    BOOL member = FALSE;
    int result = CheckTokenMembership(nullptr, administrators, &member) ? (member ? 1 : 0) : 0;
    FreeSid(administrators);
    return result;
}

int sysIsServiceAccount()
{
    ScopedHandle token;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.out()))
        return 0;
    union {
        TOKEN_USER user;
        BYTE bytes[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    } info;
    DWORD size = 0;
    int service = 0;
    if (GetTokenInformation(token.get(), TokenUser, &info, sizeof(info), &size))
        for (WELL_KNOWN_SID_TYPE type : {WinLocalSystemSid, WinLocalServiceSid, WinNetworkServiceSid})
            service |= IsWellKnownSid(info.user.User.Sid, type) ? 1 : 0;
    return service;
}

// The first processor's speed as the registry gives it, 0 when it does not.
DWORD sysGetCpuMhz()
{
    ScopedHKey key;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0", 0,
                        const_cast<wchar_t *>(L""), 0, KEY_READ, nullptr, key.out(), nullptr) != ERROR_SUCCESS)
        return 0;
    DWORD mhz = 0, size = sizeof(mhz);
    if (RegQueryValueExW(key.get(), L"~Mhz", nullptr, nullptr, reinterpret_cast<BYTE *>(&mhz), &size) !=
        ERROR_SUCCESS)
        return 0;
    return mhz;
}

void sysTestSetFacts(const SysFacts &facts, int isWow64)
{
    g_facts = facts;
    g_facts.classified = 1;
    g_wow64Override = isWow64;
    g_factsFixed = true;
}

void sysTestSetAdmin(int isAdmin) { g_adminOverride = isAdmin; }

void sysTestReset()
{
    g_facts = SysFacts{};
    g_wow64Override = -1;
    g_adminOverride = -1;
    g_factsFixed = false;
}

const SysFacts &sysFacts() { return g_facts; }
