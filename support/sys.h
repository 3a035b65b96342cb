// Facts about the running system: Windows version, 64-bit and WOW64, administrator right, processor speed.
#pragma once
#include <windows.h>

struct SysFacts {
    int classified;
    DWORD major;
    DWORD minor;
    int is2000XpFamily;
    int isVista7Family;
    int isNewer9x;
    int is64Bit;
};

DWORD sysClassify();
int sysIs64Bit();
int sysIsWow64();
int sysVersionCode();
int sysIsVistaOrLater();
int sysIsWin7();
int sysIsWin7OrLater();
int sysIsWin8();
int sysIsWin8OrLater();
int sysIsAdmin();
// LocalSystem, LocalService or NetworkService: accounts whose Documents folder no person uses.
int sysIsServiceAccount();
DWORD sysGetCpuMhz();

// Test seams: fix the cached facts (and the WOW64 and administrator answers) so the
// other branches can be exercised on this machine; sysTestReset returns to the real ones.
void sysTestSetFacts(const SysFacts &facts, int isWow64);
void sysTestSetAdmin(int isAdmin);
void sysTestReset();
const SysFacts &sysFacts();
