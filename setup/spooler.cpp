// The Print Spooler as the setup needs it: its service, its list of ports, the port monitor's
// port commands, and the port a printer is on. The spooler calls of the setup stay together here.
#include "setup/spooler.h"
#include <winspool.h>
#include <cstdlib>
#include <cwchar>
#include "diag/trace.h"
#include "support/handles.h"
#include "support/syslib.h"
#include "support/str.h"

const wchar_t kRedirectedPortMonitor[] = L"Redirected Port";

namespace {

const wchar_t kSpoolerService[] = L"Spooler";
const DWORD kStartWaitMs = 30000;
const DWORD kPollMs = 100;

DWORD serviceState(SC_HANDLE service)
{
    SERVICE_STATUS_PROCESS status = {};
    DWORD needed = 0;
    if (!QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE *>(&status), sizeof(status),
                              &needed))
        return 0;
    return status.dwCurrentState;
}

bool isDisabled(SC_HANDLE service)
{
    DWORD needed = 0;
    QueryServiceConfigW(service, nullptr, 0, &needed);
    if (!needed)
        return false;
    QUERY_SERVICE_CONFIGW *config = static_cast<QUERY_SERVICE_CONFIGW *>(calloc(needed, 1));
    bool disabled = config && QueryServiceConfigW(service, config, needed, &needed) &&
                    config->dwStartType == SERVICE_DISABLED;
    free(config);
    return disabled;
}

bool waitRunning(SC_HANDLE service, DWORD limitMs)
{
    DWORD start = GetTickCount();
    for (;;) {
        DWORD state = serviceState(service);
        if (state == SERVICE_RUNNING)
            return true;
        if (state == 0 || state == SERVICE_STOPPED || GetTickCount() - start >= limitMs)
            return false;
        Sleep(kPollMs);
    }
}

// The monitor's configuration object, or null with the last error set.
HANDLE openMonitor(const wchar_t *monitor)
{
    wchar_t object[128];
    _snwprintf(object, 128, L",XcvMonitor %s", monitor);
    object[127] = L'\0';
    PRINTER_DEFAULTSW defaults = {nullptr, nullptr, SERVER_ACCESS_ADMINISTER};
    HANDLE xcv = nullptr;
    return sysOpenPrinterW(object, &xcv, &defaults) ? xcv : nullptr;
}

// Whether a level-1 enumeration of the spooler (ports, drivers: records that are a name each)
// holds `name`; -1 when the spooler cannot be asked.
template <typename Enumerate> int listHas(Enumerate enumerate, const wchar_t *name)
{
    DWORD needed = 0, returned = 0;
    if (!enumerate(nullptr, 0, &needed, &returned) && GetLastError() != ERROR_INSUFFICIENT_BUFFER)
        return -1;
    BYTE *records = needed ? static_cast<BYTE *>(calloc(needed, 1)) : nullptr;
    int found = needed ? -1 : 0;
    if (records && enumerate(records, needed, &needed, &returned)) {
        const wchar_t *const *names = reinterpret_cast<const wchar_t *const *>(records);
        found = 0;
        for (DWORD i = 0; i < returned && !found; i++)
            found = names[i] && _wcsicmp(names[i], name) == 0;
    }
    free(records);
    return found;
}

}  // namespace

// The spooler builds its list of ports when it starts, and printui talks to it: a stopped
// spooler is started here, a disabled one is reported, before anything is changed. When the
// service manager cannot be asked, the setup goes on as it always did.
SpoolerState splEnsureServiceRunning()
{
    ScopedService manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    ScopedService service;
    if (manager)
        service.reset(OpenServiceW(manager.get(), kSpoolerService,
                                   SERVICE_QUERY_STATUS | SERVICE_QUERY_CONFIG | SERVICE_START));
    if (!service) {
        dbg_TraceError(L"Print Spooler service cannot be queried; going on", GetLastError());
        return SPL_UNKNOWN;
    }
    DWORD state = serviceState(service.get());
    if (state == SERVICE_RUNNING)
        return SPL_RUNNING;
    if (isDisabled(service.get())) {
        dbg_TraceLine(L"Print Spooler service is disabled.");
        return SPL_REFUSED;
    }
    if (state == SERVICE_START_PENDING) {
        dbg_TraceLine(L"Print Spooler service is starting: waiting for it.");
    } else {
        dbg_TraceLine(L"Print Spooler service is not running: starting it.");
        if (!StartServiceW(service.get(), 0, nullptr) && GetLastError() != ERROR_SERVICE_ALREADY_RUNNING) {
            dbg_TraceError(L"Print Spooler service did not start", GetLastError());
            return SPL_REFUSED;
        }
    }
    DWORD start = GetTickCount();
    if (!waitRunning(service.get(), kStartWaitMs)) {
        dbg_TraceLine(L"Print Spooler service is not running after %lu ms.", GetTickCount() - start);
        return SPL_REFUSED;
    }
    dbg_TraceLine(L"Print Spooler service started (%lu ms).", GetTickCount() - start);
    return SPL_STARTED;
}

// The service as it is, started by nobody: a check must not change what it reports on.
SpoolerState splQueryService(DWORD *error)
{
    *error = ERROR_SUCCESS;
    ScopedService manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    ScopedService service;
    if (manager)
        service.reset(OpenServiceW(manager.get(), kSpoolerService, SERVICE_QUERY_STATUS | SERVICE_QUERY_CONFIG));
    if (!service) {
        *error = GetLastError();
        return SPL_UNKNOWN;
    }
    if (serviceState(service.get()) == SERVICE_RUNNING)
        return SPL_RUNNING;
    return isDisabled(service.get()) ? SPL_DISABLED : SPL_STOPPED;
}

// The spooler answers the monitor's configuration object only when it has loaded the monitor.
int splIsMonitorLoaded(const wchar_t *monitor, DWORD *error)
{
    HANDLE xcv = openMonitor(monitor);
    if (!xcv) {
        *error = GetLastError();
        return 0;
    }
    sysClosePrinter(xcv);
    *error = ERROR_SUCCESS;
    return 1;
}

int splIsPortKnown(const wchar_t *port)
{
    return listHas([](BYTE *records, DWORD size, DWORD *needed, DWORD *returned) {
        return sysEnumPortsW(nullptr, 1, records, size, needed, returned);
    }, port);
}
int splIsDriverInstalled(const wchar_t *driver, const wchar_t *environment)
{
    return listHas([environment](BYTE *records, DWORD size, DWORD *needed, DWORD *returned) {
        return sysEnumPrinterDriversW(const_cast<wchar_t *>(environment), 1, records, size, needed, returned);
    }, driver);
}

// The port name goes with its terminator, as the monitors' own configuration dialogs send it.
int splMonitorPortCall(const wchar_t *monitor, const wchar_t *command, const wchar_t *port, DWORD *status)
{
    HANDLE xcv = openMonitor(monitor);
    if (!xcv) {
        *status = GetLastError();
        return 0;
    }
    DWORD needed = 0, answer = ERROR_SUCCESS;
    if (!sysXcvDataW(xcv, command, reinterpret_cast<BYTE *>(const_cast<wchar_t *>(port)),
                  static_cast<DWORD>((wcslen(port) + 1) * sizeof(wchar_t)), nullptr, 0, &needed, &answer))
        answer = GetLastError();
    sysClosePrinter(xcv);
    *status = answer;
    return 1;
}

int splGetPrinterPort(const wchar_t *printer, wchar_t *out, int capacity)
{
    return splGetPrinterPortAndDriver(printer, out, nullptr, capacity);
}

int splGetPrinterPortAndDriver(const wchar_t *printer, wchar_t *out, wchar_t *driver, int capacity)
{
    out[0] = L'\0';
    if (driver)
        driver[0] = L'\0';
    HANDLE handle = nullptr;
    if (!sysOpenPrinterW(const_cast<wchar_t *>(printer), &handle, nullptr))
        return 0;
    DWORD needed = 0;
    sysGetPrinterW(handle, 2, nullptr, 0, &needed);
    BYTE *record = needed ? static_cast<BYTE *>(calloc(needed, 1)) : nullptr;
    int read = 0;
    if (record && sysGetPrinterW(handle, 2, record, needed, &needed)) {
        const PRINTER_INFO_2W *info = reinterpret_cast<const PRINTER_INFO_2W *>(record);
        strCopyN(out, info->pPortName ? info->pPortName : L"", capacity - 1);
        if (driver)
            strCopyN(driver, info->pDriverName ? info->pDriverName : L"", capacity - 1);
        read = 1;
    }
    free(record);
    sysClosePrinter(handle);
    return read;
}

// A pooled printer lists its ports separated by commas; ours being one of them is enough.
int splIsPrinterOnPort(const wchar_t *printer, const wchar_t *port)
{
    wchar_t ports[1024];
    if (!splGetPrinterPort(printer, ports, 1024))
        return 0;
    for (wchar_t *item = ports; item && *item;) {
        wchar_t *comma = wcschr(item, L',');
        if (comma)
            *comma = L'\0';
        while (*item == L' ')
            item++;
        if (_wcsicmp(item, port) == 0)
            return 1;
        item = comma ? comma + 1 : nullptr;
    }
    return 0;
}
