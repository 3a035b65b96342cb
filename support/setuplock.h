// The machine-wide lock that a setup, an uninstall or the setup button holds while it changes
// the machine, so that a deployment tool and a person never set up or remove at the same time.
#pragma once
#include <windows.h>

extern const wchar_t kSetupLockName[];
const DWORD kSetupLockWaitMs = 60000;

enum LockResult { LOCK_TAKEN = 1, LOCK_BUSY = 2, LOCK_FAILED = 0 };

// Takes the lock, waiting up to waitMs; with an owner window the wait keeps that window alive
// (and disabled). *lock receives the handle to give to lockRelease when LOCK_TAKEN.
LockResult lockTakeSetup(HWND owner, DWORD waitMs, HANDLE *lock);
void lockRelease(HANDLE lock);
// The message that the lock could not be had at all (LOCK_FAILED), with the system's error number.
void lockFormatFailure(wchar_t *message, int capacity);
// How long a setup waits for another: kSetupLockWaitMs, or what the test seam set (0 restores).
DWORD lockWaitMs();
void lockTestSetWait(DWORD waitMs);
