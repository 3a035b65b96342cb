// The machine-wide lock that a setup, an uninstall or the setup button holds while it changes
// the machine, so that a deployment tool and a person never set up or remove at the same time.
#include "support/setuplock.h"
#include <cwchar>
#include "res/resource.h"
#include "support/handles.h"
#include "support/process.h"
#include "support/res.h"

// In the Global namespace so that an action run by a deployment tool in another session (as
// LocalSystem, say) and a person at the console see the same lock.
const wchar_t kSetupLockName[] = L"Global\\Brindlecourt.TessaloomPDF.tlpdf.setup";

static DWORD g_testWaitMs;
static DWORD g_failure;  // why the lock could not be had, for the message

// An abandoned lock (its holder ended without releasing it) is taken over: each step of the
// setup replaces what it finds, so a half-done run is simply done again.
LockResult lockTakeSetup(HWND owner, DWORD waitMs, HANDLE *lock)
{
    *lock = nullptr;
    ScopedHandle mutex(CreateMutexW(nullptr, FALSE, kSetupLockName));
    if (!mutex) {
        g_failure = GetLastError();
        return LOCK_FAILED;
    }
    DWORD result = owner ? procWaitServingMessages(owner, mutex.get(), waitMs)
                         : WaitForSingleObject(mutex.get(), waitMs);
    if (result == WAIT_OBJECT_0 || result == WAIT_ABANDONED) {
        *lock = mutex.release();
        return LOCK_TAKEN;
    }
    g_failure = result == WAIT_FAILED ? GetLastError() : result;
    return result == WAIT_TIMEOUT ? LOCK_BUSY : LOCK_FAILED;
}

void lockFormatFailure(wchar_t *message, int capacity)
{
    wchar_t number[16];
    _snwprintf(number, 16, L"%lu", g_failure);
    number[15] = L'\0';
    resFormatString(message, capacity, IDS_LOCK_FAILED, number);
}

void lockRelease(HANDLE lock)
{
    if (!lock)
        return;
    ReleaseMutex(lock);
    CloseHandle(lock);
}

DWORD lockWaitMs() { return g_testWaitMs ? g_testWaitMs : kSetupLockWaitMs; }

void lockTestSetWait(DWORD waitMs) { g_testWaitMs = waitMs; }
