// The RedMon port "TessaloomPDF:" written straight into the monitor's registry key.
#pragma once
#include <windows.h>
#include "support/path.h"

extern const wchar_t kPortsKey[];
extern const wchar_t kPdfPortName[];  // "TessaloomPDF:"

int gs2_AddRedirectedPortUsingRegistry(HWND owner, const wchar_t *port, const wchar_t *ghostscriptPath);
LONG f_CreatePort(HKEY portsKey, const wchar_t *port, const wchar_t *command, DWORD outputMode);
// `out` holds PORT_ARGUMENT_CHARS characters: a response-file path of PATH_CHARS always fits whole.
enum : int { PORT_ARGUMENT_CHARS = PATH_BUFFER + 64 };
int gs2_BuildPortArguments(DWORD outputMode, wchar_t *out);
void gs2_AddPortThroughMonitor(const wchar_t *port);
int gs2_RedirectedPortExists(const wchar_t *port);
int gs2_DeleteRedirectedPort(const wchar_t *port);
LONG gs2_ProbeRedirectedPort(const wchar_t *port);
LONG gs2_DeleteRedirectedPortKey(const wchar_t *port);
void gs2_RspPathOfArguments(const wchar_t *arguments, wchar_t *out, int capacity);
int gs2_RemoveRedirectedPort(const wchar_t *port);
// A value of the port's key as text (numbers in decimal); 0 and "" when it cannot be read.
int gs2_ReadPortText(const wchar_t *port, const wchar_t *name, wchar_t *out, int capacity);
void gs2_TracePortValues(const wchar_t *port);
void gs2_TraceRegResult(const wchar_t *name, LONG status);
