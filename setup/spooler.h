// The Print Spooler as the setup needs it: its service, its list of ports, the port monitor's
// port commands, and the port a printer is on.
#pragma once
#include <windows.h>

extern const wchar_t kRedirectedPortMonitor[];  // "Redirected Port", RedMon's monitor name

enum SpoolerState { SPL_RUNNING = 1, SPL_STARTED = 2, SPL_UNKNOWN = 3, SPL_STOPPED = 4, SPL_DISABLED = 5, SPL_REFUSED = 0 };
SpoolerState splEnsureServiceRunning();
// Running, stopped or disabled, without starting it; SPL_UNKNOWN with *error when it cannot be asked.
SpoolerState splQueryService(DWORD *error);
// 1 when the spooler has the port monitor loaded (its configuration object opens), else 0 with *error.
int splIsMonitorLoaded(const wchar_t *monitor, DWORD *error);

// 1 when the running spooler lists the port, 0 when it does not, -1 when it cannot be asked.
int splIsPortKnown(const wchar_t *port);
// 1 when the spooler has the driver for the environment ("Windows x64"), 0 when not, -1 when
// it cannot be asked.
int splIsDriverInstalled(const wchar_t *driver, const wchar_t *environment);
// Sends a port command ("AddPort", "DeletePort") to the monitor's configuration interface.
// Returns 0 with *status the error when the monitor cannot be opened, else 1 with *status the
// monitor's answer.
int splMonitorPortCall(const wchar_t *monitor, const wchar_t *command, const wchar_t *port, DWORD *status);
// The printer's port list ("" when the printer cannot be opened); 1 when it was read.
int splGetPrinterPort(const wchar_t *printer, wchar_t *out, int capacity);
// The printer's port list and driver name, each of `capacity` characters; 1 when read.
int splGetPrinterPortAndDriver(const wchar_t *printer, wchar_t *port, wchar_t *driver, int capacity);
// 1 when one of the printer's ports is `port` (names compared without regard to case).
int splIsPrinterOnPort(const wchar_t *printer, const wchar_t *port);
