// The RedMon port "TessaloomPDF:" written straight into the monitor's registry key.
#include "setup/port.h"
#include <cwchar>
#include "detect/locations.h"
#include "diag/trace.h"
#include "setup/spooler.h"
#include "support/appstate.h"
#include "support/err.h"
#include "support/handles.h"
#include "support/path.h"
#include "support/str.h"

const wchar_t kPortsKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Redirected Port\\Ports";
const wchar_t kPdfPortName[] = L"TessaloomPDF:";

namespace {

const int kArgumentChars = PORT_ARGUMENT_CHARS;
const wchar_t kGhostscriptTail[] = L"-c save pop -f -";  // then the job from standard input

enum ValueKind { TEXT, NUMBER };
struct PortValue {
    const wchar_t *name;
    ValueKind kind;
};
// Written in exactly this order; RedMon reads them by name, support reads the trace by order.
const PortValue kPortValues[] = {
    {L"Description", TEXT}, {L"Command", TEXT},     {L"Arguments", TEXT},  {L"LogFileName", TEXT},
    {L"Printer", TEXT},     {L"Output", NUMBER},    {L"ShowWindow", NUMBER}, {L"RunUser", NUMBER},
    {L"Delay", NUMBER},     {L"LogFileUse", NUMBER}, {L"LogFileDebug", NUMBER}, {L"PrintError", NUMBER},
};

LONG createKey(HKEY parent, const wchar_t *path, REGSAM access, HKEY *key)
{
    return RegCreateKeyExW(parent, path, 0, const_cast<wchar_t *>(L""), REG_OPTION_NON_VOLATILE, access, nullptr, key,
                           nullptr);
}

// An empty text is stored with size 0; others with their terminator counted.
LONG setText(HKEY key, const wchar_t *name, const wchar_t *text)
{
    DWORD size = *text ? static_cast<DWORD>((wcslen(text) + 1) * sizeof(wchar_t)) : 0;
    return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE *>(text), size);
}

LONG setNumber(HKEY key, const wchar_t *name, DWORD value)
{
    return RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE *>(&value), sizeof(value));
}

bool isPortValueName(const wchar_t *name)
{
    for (const PortValue &value : kPortValues)
        if (_wcsicmp(value.name, name) == 0)
            return true;
    return false;
}

// Whatever the monitor's AddPort wrote beside the twelve values goes, so that the key ends
// exactly as the registry-only path leaves it.
void removeOtherValues(const wchar_t *port)
{
    ScopedHKey key;
    wchar_t path[PATH_BUFFER + 128];
    _snwprintf(path, PATH_BUFFER + 128, L"%s\\%s", kPortsKey, port);
    path[PATH_BUFFER + 127] = L'\0';
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_QUERY_VALUE | KEY_SET_VALUE, key.out()) != ERROR_SUCCESS)
        return;
    for (DWORD index = 0;;) {
        wchar_t name[256];
        DWORD length = 256;
        if (RegEnumValueW(key.get(), index, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            break;
        if (isPortValueName(name) || RegDeleteValueW(key.get(), name) != ERROR_SUCCESS)
            index++;
    }
}

}  // namespace

// A running spooler knows only the ports it listed at its start and those added through
// AddPort; printui refuses a port it does not know (1796). RedMon reads the values from the
// registry for each job, so the monitor is asked to add the port and the values are written
// afterwards all the same. Without the monitor the registry alone must do, as it always did.
void gs2_AddPortThroughMonitor(const wchar_t *port)
{
    if (splIsPortKnown(port) == 1) {
        dbg_TraceLine(L"Port %s is known to the spooler.", port);
        return;
    }
    DWORD status = 0;
    wchar_t line[256];
    if (!splMonitorPortCall(kRedirectedPortMonitor, L"AddPort", port, &status)) {
        _snwprintf(line, 256, L"The %s monitor cannot be opened; the port is written to the registry only",
                   kRedirectedPortMonitor);
    } else if (status == ERROR_SUCCESS || status == ERROR_ALREADY_EXISTS) {
        dbg_TraceLine(L"Port %s added through the %s monitor (status %lu).", port, kRedirectedPortMonitor, status);
        removeOtherValues(port);
        return;
    } else {
        _snwprintf(line, 256, L"The %s monitor refused to add %s; the port is written to the registry only",
                   kRedirectedPortMonitor, port);
    }
    line[255] = L'\0';
    dbg_TraceError(line, status);
    if (status == ERROR_NOT_SUPPORTED)
        dbg_TraceLine(L"Windows protected print is the likely cause: while it is on, no port monitor is loaded.");
}

void gs2_TraceRegResult(const wchar_t *name, LONG status)
{
    if (!dbg_IsDebugMode())
        return;
    wchar_t line[600];
    if (status == ERROR_SUCCESS) {
        _snwprintf(line, 600, L"\tRegKey: %s (succeeded)\r\n", name);
    } else {
        wchar_t reason[256];
        errFormatSystemMessage(static_cast<DWORD>(status), reason, 255);
        _snwprintf(line, 600, L"\tRegKey: %s (error) %s\r\n", name, reason);
    }
    line[599] = L'\0';
    dbg_WriteTrace(line, 0, 1);
}

int gs2_BuildPortArguments(DWORD outputMode, wchar_t *out)
{
    wchar_t rsp[PATH_BUFFER] = L"";
    out[0] = L'\0';
    if (outputMode == 1) {
        if (gs2_GetRspFilePathForFile(rsp))
            _snwprintf(out, kArgumentChars, L"%s%s\" %s %s", L"@\"", rsp, L"-sOutputFile=\"%1\"", kGhostscriptTail);
    } else {
        // Without a response-file path the value is still written, with nothing between the quotes.
        if (!gs2_GetRspFilePath(rsp))
            rsp[0] = L'\0';
        _snwprintf(out, kArgumentChars, L"%s%s\" %s", L"@\"", rsp, kGhostscriptTail);
    }
    out[kArgumentChars - 1] = L'\0';
    return 1;
}

LONG f_CreatePort(HKEY portsKey, const wchar_t *port, const wchar_t *command, DWORD outputMode)
{
    if (dbg_IsDebugMode())
        dbg_WriteBlankLine();
    dbg_TraceLine(L"[f_CreatePort for Port: %s] starts", port);
    ScopedHKey key;
    LONG status = createKey(portsKey, port, KEY_ALL_ACCESS, key.out());
    gs2_TraceRegResult(port, status);
    if (status != ERROR_SUCCESS || !key) {
        dbg_TraceLine(L"[f_CreatePort] failed");
    } else {
        wchar_t arguments[kArgumentChars];
        gs2_BuildPortArguments(outputMode, arguments);
        const wchar_t *texts[] = {L"Redirected Port", command, arguments, L"",
                                  L"Printer"};  // "Printer" literally, not a printer's name
        const DWORD numbers[] = {outputMode, 2, 0, 300, 0, 0, 0};
        int text = 0, number = 0;
        for (const PortValue &value : kPortValues) {
            status = value.kind == TEXT ? setText(key.get(), value.name, texts[text++])
                                        : setNumber(key.get(), value.name, numbers[number++]);
            gs2_TraceRegResult(value.name, status);  // a failure does not stop the others
        }
    }
    dbg_TraceLine(L"[f_CreatePort] ends. return code lretn = %d", static_cast<int>(status));
    return status;
}

// Never creates the port's key: it only answers whether it is there.
int gs2_RedirectedPortExists(const wchar_t *port)
{
    ScopedHKey ports;
    LONG opened = appIsLookOnly() ? RegOpenKeyExW(HKEY_LOCAL_MACHINE, kPortsKey, 0, KEY_READ, ports.out())
                                  : createKey(HKEY_LOCAL_MACHINE, kPortsKey, KEY_READ, ports.out());
    if (opened != ERROR_SUCCESS)
        return 0;
    // An open, not a create-or-open: some registries let a read-only parent create
    // subkeys, which would turn this probe into a writer.
    ScopedHKey key;
    return RegOpenKeyExW(ports.get(), port, 0, KEY_QUERY_VALUE, key.out()) == ERROR_SUCCESS ? 1 : 0;
}

// ERROR_SUCCESS when the port's key is there, ERROR_FILE_NOT_FOUND when it is not; any other
// answer (access denied, say) is a key that cannot be looked at, which is neither.
LONG gs2_ProbeRedirectedPort(const wchar_t *port)
{
    wchar_t path[PATH_BUFFER + 128];
    _snwprintf(path, PATH_BUFFER + 128, L"%s\\%s", kPortsKey, port);
    path[PATH_BUFFER + 127] = L'\0';
    ScopedHKey key;
    LONG status = RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_QUERY_VALUE, key.out());
    return status == ERROR_PATH_NOT_FOUND ? ERROR_FILE_NOT_FOUND : status;
}

int gs2_DeleteRedirectedPort(const wchar_t *port)
{
    if (!gs2_RedirectedPortExists(port))
        return 1;
    LONG status = gs2_DeleteRedirectedPortKey(port);
    return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND ? 1 : 0;
}

LONG gs2_DeleteRedirectedPortKey(const wchar_t *port)
{
    ScopedHKey ports;
    LONG status = createKey(HKEY_LOCAL_MACHINE, kPortsKey, KEY_ALL_ACCESS, ports.out());
    return status == ERROR_SUCCESS ? RegDeleteKeyW(ports.get(), port) : status;
}

// The response file after the at sign of `@"<path>" ...`; "" when the value names none.
void gs2_RspPathOfArguments(const wchar_t *arguments, wchar_t *out, int capacity)
{
    out[0] = L'\0';
    const wchar_t *rsp = wcsstr(arguments, L"@\"");
    const wchar_t *end = rsp ? wcschr(rsp + 2, L'"') : nullptr;
    if (end && end - rsp - 2 < capacity)
        strCopyN(out, rsp + 2, static_cast<int>(end - rsp - 2));
}

int gs2_ReadPortText(const wchar_t *port, const wchar_t *name, wchar_t *out, int capacity)
{
    out[0] = L'\0';
    wchar_t path[PATH_BUFFER + 128];
    _snwprintf(path, PATH_BUFFER + 128, L"%s\\%s", kPortsKey, port);
    path[PATH_BUFFER + 127] = L'\0';
    ScopedHKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_QUERY_VALUE, key.out()) != ERROR_SUCCESS)
        return 0;
    DWORD type = 0, bytes = static_cast<DWORD>((capacity - 1) * sizeof(wchar_t));
    LONG rc = RegQueryValueExW(key.get(), name, nullptr, &type, reinterpret_cast<BYTE *>(out), &bytes);
    if (rc != ERROR_SUCCESS || (type != REG_SZ && type != REG_DWORD) || (type == REG_DWORD && bytes != 4)) {
        out[0] = L'\0';
        return 0;
    }
    if (type == REG_DWORD) {
        DWORD number = *reinterpret_cast<DWORD *>(out);
        _snwprintf(out, capacity, L"%lu", number);
    } else {
        out[bytes / sizeof(wchar_t)] = L'\0';  // stored text need not end in a terminator
    }
    out[capacity - 1] = L'\0';
    return 1;
}

// The twelve values in the order they are written, "(missing)" for one that is not there.
void gs2_TracePortValues(const wchar_t *port)
{
    for (const PortValue &value : kPortValues) {
        wchar_t text[PORT_ARGUMENT_CHARS];
        int read = gs2_ReadPortText(port, value.name, text, PORT_ARGUMENT_CHARS);
        dbg_TraceLine(L"%s = %s", value.name, read ? text : L"(missing)");
    }
}

// The undoing of the two above: the spooler forgets the port only when its monitor deletes it,
// and RedMon's key goes as well (a monitor that kept it would still hand it to the next spooler
// start). 1 when neither is left; a spooler that cannot be asked has nothing to forget.
int gs2_RemoveRedirectedPort(const wchar_t *port)
{
    int removed = 1;
    if (splIsPortKnown(port) == 1) {
        DWORD status = 0;
        if (!splMonitorPortCall(kRedirectedPortMonitor, L"DeletePort", port, &status)) {
            dbg_TraceError(L"The port is known to the spooler, but its monitor cannot be opened", status);
            removed = 0;
        } else if (status != ERROR_SUCCESS) {
            dbg_TraceError(L"The monitor refused to delete the port", status);
            removed = 0;
        } else {
            dbg_TraceLine(L"Port %s deleted through the %s monitor.", port, kRedirectedPortMonitor);
        }
    }
    LONG status = gs2_ProbeRedirectedPort(port);
    if (status == ERROR_SUCCESS) {
        status = gs2_DeleteRedirectedPortKey(port);
        LONG after = gs2_ProbeRedirectedPort(port);
        if (after == ERROR_FILE_NOT_FOUND) {
            dbg_TraceLine(L"Registry key of port %s removed.", port);
            status = ERROR_FILE_NOT_FOUND;
        } else if (status == ERROR_SUCCESS) {
            status = after == ERROR_SUCCESS ? ERROR_CANTWRITE : after;  // deleted, yet still there
        }
    }
    if (status != ERROR_FILE_NOT_FOUND) {
        wchar_t what[128];
        _snwprintf(what, 128, L"Registry key of port %s could not be removed", port);
        what[127] = L'\0';
        dbg_TraceError(what, static_cast<DWORD>(status));
        removed = 0;
    }
    return removed;
}

// The answer says only whether the Ports key could be reached; the values' own failures
// are in the trace. Callers have always relied on exactly that.
int gs2_AddRedirectedPortUsingRegistry(HWND, const wchar_t *port, const wchar_t *ghostscriptPath)
{
    if (dbg_IsDebugMode())
        dbg_WriteBlankLine();
    dbg_TraceLine(L"[gs2_AddRedirectedPortUsingRegistry] starts");
    if (gs2_RedirectedPortExists(port)) {
        gs2_DeleteRedirectedPort(port);
        dbg_TraceLine(L"Existing redirected port (%s) removed.", port);
    }
    gs2_AddPortThroughMonitor(port);
    int result = 0;
    ScopedHKey ports;
    LONG status = createKey(HKEY_LOCAL_MACHINE, kPortsKey, KEY_ALL_ACCESS, ports.out());
    if (status == ERROR_SUCCESS) {
        dbg_TraceLine(L"[Create Key (OK)] %s", kPortsKey);
        dbg_Indent();
        status = f_CreatePort(ports.get(), port, ghostscriptPath, 0);
        dbg_Unindent();
        result = 1;
    } else if (dbg_IsDebugMode()) {
        wchar_t line[256];
        _snwprintf(line, 256, L"[gs2_AddRedirectedPortUsingRegistry] %s Create Port key error\r\n\t", kPortsKey);
        line[255] = L'\0';
        size_t used = wcslen(line);
        errFormatSystemMessage(static_cast<DWORD>(status), line + used, static_cast<int>(255 - used));
        dbg_WriteTrace(line, 1, 1);
    }
    dbg_TraceLine(L"[gs2_AddRedirectedPortUsingRegistry] ends. Return code = %d\r\n", static_cast<int>(status));
    return result;
}
