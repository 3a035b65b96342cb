// A test-only stand-in for RedMon's port monitor "Redirected Port". Wine's spooler loads a DLL
// that exports InitializePrintMonitor2 and routes EnumPorts and XcvData to it; the tests register
// this one to see whether the setup tells the monitor about its port.
//
// Files, in C:\tlpdf-monitor (shared by every process that loads the monitor, as one spooler's
// memory would be):
//   ports.txt  the ports the monitor lists, one UTF-8 name a line
//   log.txt    one UTF-8 line per configuration call: "AddPort\t<name>" or "DeletePort\t<name>"
// AddPort also writes the port's registry key with values of its own, as a real monitor does:
// "Command" empty and "StandInDefault", which is not one of RedMon's values.
// Built for both architectures from this one file.
#include <windows.h>
#include <winspool.h>
#include <winsplp.h>
#include <string>
#include <vector>

namespace {

const wchar_t kDir[] = L"C:\\tlpdf-monitor";
const wchar_t kMonitorName[] = L"Redirected Port";
const wchar_t kPortsKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Redirected Port\\Ports\\";
HANDLE const kXcvHandle = reinterpret_cast<HANDLE>(static_cast<INT_PTR>(0x7C5));

std::wstring dirFile(const wchar_t *name) { return std::wstring(kDir) + L"\\" + name; }

std::string utf8(const std::wstring &s)
{
    char bytes[1024];
    int n = WideCharToMultiByte(CP_UTF8, 0, s.c_str(), -1, bytes, sizeof bytes, nullptr, nullptr);
    return std::string(bytes, n > 0 ? n - 1 : 0);
}

// The listed ports, a name a line (CR LF) in UTF-8.
std::vector<std::wstring> readPorts()
{
    std::vector<std::wstring> ports;
    char bytes[4096];
    DWORD got = 0;
    HANDLE file = CreateFileW(dirFile(L"ports.txt").c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                              nullptr, OPEN_EXISTING, 0, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
        ReadFile(file, bytes, sizeof bytes, &got, nullptr);
        CloseHandle(file);
    }
    for (size_t start = 0, end; (end = std::string(bytes, got).find("\r\n", start)) != std::string::npos; start = end + 2) {
        wchar_t name[512] = L"";
        MultiByteToWideChar(CP_UTF8, 0, bytes + start, static_cast<int>(end - start), name, 511);
        ports.push_back(name);
    }
    return ports;
}

void append(const wchar_t *file, const std::wstring &line)
{
    CreateDirectoryW(kDir, nullptr);
    HANDLE h = CreateFileW(dirFile(file).c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                           OPEN_ALWAYS, 0, nullptr);
    std::string bytes = utf8(line) + "\r\n";
    DWORD written = 0;
    WriteFile(h, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    CloseHandle(h);
}

bool listed(const std::wstring &port)
{
    for (const auto &p : readPorts())
        if (_wcsicmp(p.c_str(), port.c_str()) == 0)
            return true;
    return false;
}

void writeDefaults(const std::wstring &port)
{
    HKEY key;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, (kPortsKey + port).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                        nullptr) != ERROR_SUCCESS)
        return;
    static const wchar_t empty[] = L"", standIn[] = L"stand-in";
    RegSetValueExW(key, L"Command", 0, REG_SZ, reinterpret_cast<const BYTE *>(empty), sizeof(empty));
    RegSetValueExW(key, L"StandInDefault", 0, REG_SZ, reinterpret_cast<const BYTE *>(standIn), sizeof(standIn));
    RegCloseKey(key);
}

// Level 1 only, which is what the program asks for.
BOOL WINAPI enumPorts(HANDLE, LPWSTR, DWORD level, LPBYTE buffer, DWORD size, LPDWORD needed, LPDWORD returned)
{
    std::vector<std::wstring> ports = readPorts();
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

BOOL WINAPI openPort(HANDLE, LPWSTR, PHANDLE handle)
{
    *handle = kXcvHandle;
    return TRUE;
}

BOOL WINAPI closePort(HANDLE) { return TRUE; }

BOOL WINAPI xcvOpenPort(HANDLE, LPCWSTR, ACCESS_MASK, PHANDLE handle)
{
    *handle = kXcvHandle;
    return TRUE;
}

DWORD WINAPI xcvDataPort(HANDLE, LPCWSTR name, PBYTE input, DWORD inputSize, PBYTE, DWORD, PDWORD needed)
{
    if (needed)
        *needed = 0;
    if (!name || !input || inputSize < sizeof(wchar_t))
        return ERROR_INVALID_PARAMETER;
    std::wstring port(reinterpret_cast<const wchar_t *>(input), inputSize / sizeof(wchar_t));
    port.resize(wcsnlen(port.c_str(), port.size()));
    if (lstrcmpW(name, L"AddPort") == 0) {
        append(L"log.txt", L"AddPort\t" + port);
        if (listed(port))
            return ERROR_ALREADY_EXISTS;
        append(L"ports.txt", port);
        writeDefaults(port);
        return ERROR_SUCCESS;
    }
    if (lstrcmpW(name, L"DeletePort") == 0) {
        append(L"log.txt", L"DeletePort\t" + port);
        return ERROR_SUCCESS;
    }
    return ERROR_INVALID_PARAMETER;
}

BOOL WINAPI xcvClosePort(HANDLE) { return TRUE; }

VOID WINAPI shutdown(HANDLE) {}

MONITOR2 g_monitor;

}  // namespace

extern "C" __declspec(dllexport) LPMONITOR2 WINAPI InitializePrintMonitor2(PMONITORINIT, PHANDLE monitor)
{
    g_monitor = MONITOR2{};
    g_monitor.cbSize = sizeof(MONITOR2);
    g_monitor.pfnEnumPorts = enumPorts;
    g_monitor.pfnOpenPort = openPort;
    g_monitor.pfnClosePort = closePort;
    g_monitor.pfnXcvOpenPort = xcvOpenPort;
    g_monitor.pfnXcvDataPort = xcvDataPort;
    g_monitor.pfnXcvClosePort = xcvClosePort;
    g_monitor.pfnShutdown = shutdown;
    if (monitor)
        *monitor = kXcvHandle;
    return &g_monitor;
}
