// A test-only stand-in for RedMon's port monitor "Redirected Port", built for each architecture.
// Wine's spooler loads it into the process that asks, so the list of ports it knows is kept where
// all processes see it: the value KnownPorts of the monitor's key. AddPort lists the port and makes
// its key under Ports, DeletePort forgets both, EnumPorts answers the list. A job runs the port's
// Command with its Arguments, the job on its standard input; C:\tlpdf-monitor\jobs.txt gets a
// line for each step, so a test can tell which link broke.
#include <windows.h>
#include <winspool.h>
#include <winsplp.h>
#include <string>
#include <vector>

namespace {

const wchar_t kMonitorKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Redirected Port";
const wchar_t kPortsKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Redirected Port\\Ports";
HANDLE const kHandle = reinterpret_cast<HANDLE>(static_cast<INT_PTR>(0x7C5));

std::vector<std::wstring> readList()
{
    wchar_t text[4096] = L"";
    DWORD size = sizeof text - 2 * sizeof(wchar_t);
    std::vector<std::wstring> ports;
    if (RegGetValueW(HKEY_LOCAL_MACHINE, kMonitorKey, L"KnownPorts", RRF_RT_REG_MULTI_SZ, nullptr, text, &size) == 0)
        for (const wchar_t *p = text; *p; p += wcslen(p) + 1)
            ports.push_back(p);
    return ports;
}

void writeList(const std::vector<std::wstring> &ports)
{
    std::wstring all;
    for (const auto &p : ports)
        all += p + L'\0';
    all += L'\0';
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, kMonitorKey, L"KnownPorts", REG_MULTI_SZ, all.c_str(),
                    static_cast<DWORD>(all.size() * sizeof(wchar_t)));
}

BOOL WINAPI enumPorts(HANDLE, LPWSTR, DWORD level, LPBYTE buffer, DWORD size, LPDWORD needed, LPDWORD returned)
{
    std::vector<std::wstring> ports = readList();
    DWORD total = 0;
    for (const auto &p : ports)
        total += sizeof(PORT_INFO_1W) + static_cast<DWORD>((p.size() + 1) * sizeof(wchar_t));
    *needed = total;
    *returned = 0;
    if (level != 1 || total > size || (!buffer && total)) {
        SetLastError(level != 1 ? ERROR_INVALID_LEVEL : ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    wchar_t *strings = reinterpret_cast<wchar_t *>(buffer + sizeof(PORT_INFO_1W) * ports.size());
    for (size_t i = 0; i < ports.size(); i++) {
        reinterpret_cast<PORT_INFO_1W *>(buffer)[i].pName = strings;
        memcpy(strings, ports[i].c_str(), (ports[i].size() + 1) * sizeof(wchar_t));
        strings += ports[i].size() + 1;
    }
    *returned = static_cast<DWORD>(ports.size());
    return TRUE;
}

void note(const std::wstring &line)
{
    char bytes[2048];
    int n = WideCharToMultiByte(CP_UTF8, 0, (line + L"\r\n").c_str(), -1, bytes, sizeof bytes, nullptr, nullptr);
    HANDLE file = CreateFileW(L"C:\\tlpdf-monitor\\jobs.txt", FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                              nullptr, OPEN_ALWAYS, 0, nullptr);
    DWORD written = 0;
    WriteFile(file, bytes, n > 0 ? n - 1 : 0, &written, nullptr);
    CloseHandle(file);
}

struct Port {
    std::wstring name;
    HANDLE input = nullptr, process = nullptr;
};

std::wstring portValue(const std::wstring &port, const wchar_t *name)
{
    wchar_t text[1024] = L"";
    DWORD size = sizeof text;
    RegGetValueW(HKEY_LOCAL_MACHINE, (std::wstring(kPortsKey) + L"\\" + port).c_str(), name, RRF_RT_REG_SZ, nullptr,
                 text, &size);
    return text;
}

BOOL WINAPI openPort(HANDLE, LPWSTR name, PHANDLE handle) { return *handle = new Port{name ? name : L""}, TRUE; }

BOOL WINAPI startDocPort(HANDLE handle, LPWSTR, DWORD, DWORD, LPBYTE)
{
    Port *port = static_cast<Port *>(handle);
    std::wstring line = L"\"" + portValue(port->name, L"Command") + L"\" " + portValue(port->name, L"Arguments");
    note(L"job for " + port->name + L": " + line);
    SECURITY_ATTRIBUTES inherit = {sizeof inherit, nullptr, TRUE};
    HANDLE read = nullptr;
    CreatePipe(&read, &port->input, &inherit, 0);
    SetHandleInformation(port->input, HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = read;
    PROCESS_INFORMATION info = {};
    if (CreateProcessW(nullptr, &line[0], nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &info)) {
        CloseHandle(info.hThread);
        port->process = info.hProcess;
    } else {
        note(L"command not started: error " + std::to_wstring(GetLastError()));
    }
    CloseHandle(read);
    return TRUE;
}

BOOL WINAPI writePort(HANDLE handle, LPBYTE buffer, DWORD size, LPDWORD written)
{
    WriteFile(static_cast<Port *>(handle)->input, buffer, size, written, nullptr);
    *written = size;  // a command that stopped reading does not stop the job, as with RedMon
    return TRUE;
}

BOOL WINAPI endDocPort(HANDLE handle)
{
    Port *port = static_cast<Port *>(handle);
    CloseHandle(port->input);
    port->input = nullptr;
    DWORD code = 259;
    if (port->process && WaitForSingleObject(port->process, 120000) == WAIT_OBJECT_0)
        GetExitCodeProcess(port->process, &code);
    if (port->process)
        note(L"command ended: exit code " + std::to_wstring(code)), CloseHandle(port->process);
    port->process = nullptr;
    return TRUE;
}

BOOL WINAPI closePort(HANDLE handle) { return delete static_cast<Port *>(handle), TRUE; }
BOOL WINAPI xcvOpenPort(HANDLE, LPCWSTR, ACCESS_MASK, PHANDLE handle) { return *handle = kHandle, TRUE; }
BOOL WINAPI xcvClosePort(HANDLE) { return TRUE; }
VOID WINAPI shutdown(HANDLE) {}

DWORD WINAPI xcvDataPort(HANDLE, LPCWSTR command, PBYTE input, DWORD inputSize, PBYTE, DWORD, PDWORD needed)
{
    if (needed)
        *needed = 0;
    if (!command || !input || inputSize < sizeof(wchar_t))
        return ERROR_INVALID_PARAMETER;
    std::wstring port(reinterpret_cast<const wchar_t *>(input), inputSize / sizeof(wchar_t));
    port.resize(wcsnlen(port.c_str(), port.size()));
    std::vector<std::wstring> ports = readList(), kept;
    for (const auto &p : ports)
        if (_wcsicmp(p.c_str(), port.c_str()) != 0)
            kept.push_back(p);
    HKEY key;
    if (lstrcmpW(command, L"AddPort") == 0) {
        if (kept.size() != ports.size())
            return ERROR_ALREADY_EXISTS;
        kept.push_back(port);
        if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, (std::wstring(kPortsKey) + L"\\" + port).c_str(), 0, nullptr, 0,
                            KEY_ALL_ACCESS, nullptr, &key, nullptr) == ERROR_SUCCESS)
            RegCloseKey(key);
    } else if (lstrcmpW(command, L"DeletePort") == 0) {
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kPortsKey, 0, KEY_ALL_ACCESS, &key) == ERROR_SUCCESS)
            RegDeleteKeyW(key, port.c_str()), RegCloseKey(key);
    } else {
        return ERROR_INVALID_PARAMETER;
    }
    writeList(kept);
    return ERROR_SUCCESS;
}

}  // namespace

extern "C" __declspec(dllexport) LPMONITOR2 WINAPI InitializePrintMonitor2(PMONITORINIT, PHANDLE monitor)
{
    // In the structure's order: no port dialogs, no reading, no bidirectional data.
    static MONITOR2 functions = {sizeof(MONITOR2), enumPorts, openPort, nullptr, startDocPort, writePort, nullptr,
                                 endDocPort, closePort, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                 xcvOpenPort, xcvDataPort, xcvClosePort, shutdown, nullptr};
    if (monitor)
        *monitor = kHandle;
    return &functions;
}
