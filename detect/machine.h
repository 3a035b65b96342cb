// Facts about the machine that decide whether PDF output can work at all: Windows protected
// print, the processor the system really runs on, where a folder lives, Controlled folder access.
#pragma once
#include <windows.h>

// 1 when the policy "Configure Windows protected print" is on (read in the 64-bit view).
int machIsProtectedPrintOn();
// IMAGE_FILE_MACHINE_ARM64 and friends, as IsWow64Process2 reports the native machine; 0 where
// that function is missing (then the machine is not ARM64).
WORD machNativeMachine();
int machIsArm64();
// 1 for a UNC path or a path on a drive that Windows calls remote.
int machIsRemotePath(const wchar_t *path);
// 1 when Controlled folder access is on and `program` is not among its allowed applications.
int machFolderAccessBlocks(const wchar_t *program);

// Test seam: the native machine that IsWow64Process2 would report (0 restores the real answer).
void machTestSetNativeMachine(WORD machine);
