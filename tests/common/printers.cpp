// Test printers, the outside components, and small file helpers.
#include <windows.h>
#include <shlobj.h>
#include <winspool.h>
#include <algorithm>
#include <fstream>
#include <sstream>
#include <vector>
#include "tests/common/testkit.h"

namespace testkit {

bool addPrinter(const wchar_t *name, const wchar_t *port, const wchar_t *driverName)
{
    DRIVER_INFO_3W driver = {};
    driver.cVersion = 3;
    driver.pName = const_cast<wchar_t *>(driverName);
    driver.pDriverPath = driver.pDataFile = driver.pConfigFile = const_cast<wchar_t *>(L"wineps.drv");
    // A driver that is there stays as it is, as the real installer leaves it: added again with
    // another data file, it would no longer print (installPdfDriver).
    DWORD needed = 0, count = 0;
    EnumPrinterDriversW(nullptr, nullptr, 1, nullptr, 0, &needed, &count);
    std::vector<BYTE> drivers(needed + 1);
    bool there = false;
    if (EnumPrinterDriversW(nullptr, nullptr, 1, drivers.data(), needed, &needed, &count))
        for (DWORD i = 0; i < count && !there; i++)
            there = _wcsicmp(reinterpret_cast<DRIVER_INFO_1W *>(drivers.data())[i].pName, driverName) == 0;
    if (!there)
        AddPrinterDriverW(nullptr, 3, reinterpret_cast<BYTE *>(&driver));
    PRINTER_INFO_2W info = {};
    info.pPrinterName = const_cast<wchar_t *>(name);
    info.pPortName = const_cast<wchar_t *>(port);
    info.pDriverName = driver.pName;
    info.pPrintProcessor = const_cast<wchar_t *>(L"WinPrint");
    info.pDatatype = const_cast<wchar_t *>(L"RAW");
    HANDLE printer = AddPrinterW(nullptr, 2, reinterpret_cast<BYTE *>(&info));
    return printer && ClosePrinter(printer);
}

bool deletePrinter(const wchar_t *name)
{
    HANDLE printer = nullptr;
    PRINTER_DEFAULTSW defaults = {nullptr, nullptr, PRINTER_ALL_ACCESS};
    if (!OpenPrinterW(const_cast<wchar_t *>(name), &printer, &defaults))
        return false;
    BOOL ok = DeletePrinter(printer);
    ClosePrinter(printer);
    return ok != FALSE;
}

void deleteAllPrinters()
{
    DWORD needed = 0, returned = 0;
    EnumPrintersW(PRINTER_ENUM_LOCAL, nullptr, 4, nullptr, 0, &needed, &returned);
    std::vector<BYTE> buffer(needed + 1);
    if (EnumPrintersW(PRINTER_ENUM_LOCAL, nullptr, 4, buffer.data(), needed, &needed, &returned))
        for (DWORD i = 0; i < returned; i++)
            deletePrinter(reinterpret_cast<PRINTER_INFO_4W *>(buffer.data())[i].pPrinterName);
}

bool writeFile(const std::wstring &path, const std::string &bytes)
{
    HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    DWORD written = 0;
    BOOL ok = WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    CloseHandle(file);
    return ok && written == bytes.size();
}

std::string readFile(const std::wstring &path)
{
    std::ifstream in(path.c_str(), std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

std::wstring customisationPath() { return binPath(L"~tlpdf_cust.txt"); }

std::wstring batchPath()
{
    wchar_t temp[MAX_PATH];
    GetTempPathW(MAX_PATH, temp);
    return std::wstring(temp) + L"tl2pdf_setup.bat";
}

std::wstring systemDir()
{
    wchar_t dir[MAX_PATH];
    GetSystemDirectoryW(dir, MAX_PATH);
    return dir;
}

// The folder a 64-bit process calls system32: a 32-bit process under WOW64 reaches it as
// "sysnative", since its own system32 is redirected to syswow64.
std::wstring nativeSystemDir()
{
    if (!kIs32BitBuild)
        return systemDir();
    wchar_t dir[MAX_PATH] = L"";
    GetWindowsDirectoryW(dir, MAX_PATH);
    return std::wstring(dir) + L"\\sysnative";
}

void installGhostscript(bool installed, const std::wstring &version)
{
    deleteRegTree(HKEY_LOCAL_MACHINE, L"Software\\GPL Ghostscript");
    const std::wstring dll = L"C:\\gs\\gs" + version + L"\\bin\\gsdll32.dll";
    if (installed)
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, (L"Software\\GPL Ghostscript\\" + version).c_str(), L"GS_DLL", REG_SZ,
                        dll.c_str(), static_cast<DWORD>((dll.size() + 1) * sizeof(wchar_t)));
}

void installRedMon(bool installed)
{
    // Where RedMon's installer puts it: the real system folder.
    const std::wstring path = nativeSystemDir() + L"\\redmonnt.dll";
    if (installed)
        writeFile(path, "MZ");
    else
        DeleteFileW(path.c_str());
}

std::wstring documentsDir()
{
    wchar_t dir[MAX_PATH] = L"";
    SHGetFolderPathW(nullptr, CSIDL_PERSONAL, nullptr, 0, dir);
    return dir;
}

std::wstring printerPort(const wchar_t *name)
{
    HANDLE printer;
    if (!OpenPrinterW(const_cast<wchar_t *>(name), &printer, nullptr))
        return L"<none>";
    DWORD needed = 0;
    GetPrinterW(printer, 2, nullptr, 0, &needed);
    std::vector<BYTE> buffer(needed + 1);
    std::wstring port = L"<unknown>";
    if (needed && GetPrinterW(printer, 2, buffer.data(), needed, &needed))
        port = reinterpret_cast<PRINTER_INFO_2W *>(buffer.data())->pPortName;
    ClosePrinter(printer);
    return port;
}

std::wstring portValues()
{
    std::vector<std::wstring> lines;
    HKEY key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kPortKey, 0, KEY_READ, &key) != 0)
        return L"";
    wchar_t name[256];
    BYTE data[2048];
    DWORD type, size, length = 256;
    for (DWORD i = 0; size = sizeof data, length = 256,
                      RegEnumValueW(key, i, name, &length, nullptr, &type, data, &size) == 0; i++) {
        std::wstring value = type == REG_DWORD ? std::to_wstring(*reinterpret_cast<DWORD *>(data))
                                               : std::wstring(reinterpret_cast<wchar_t *>(data), size / 2);
        lines.push_back(std::wstring(name) + L" " + std::to_wstring(type) + L" " + std::to_wstring(size) + L" " +
                        value.c_str());
    }
    RegCloseKey(key);
    std::sort(lines.begin(), lines.end());
    std::wstring all;
    for (const auto &l : lines)
        all += l + L"\n";
    return all;
}

std::wstring loadString(UINT id)
{
    wchar_t text[1024] = L"";
    LoadStringW(GetModuleHandleW(nullptr), id, text, 1024);
    return text;
}

// One call on the Print Spooler service: its state, a stop (0), a start (kStart) or a new start type.
const DWORD kStart = ~0u;
static DWORD spooler(DWORD action, bool query = false)
{
    SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
    SC_HANDLE service = OpenServiceW(manager, L"Spooler", SERVICE_ALL_ACCESS);
    SERVICE_STATUS status = {};
    if (query)
        QueryServiceStatus(service, &status);
    else if (action == kStart)
        StartServiceW(service, 0, nullptr);
    else if (action)
        ChangeServiceConfigW(service, SERVICE_NO_CHANGE, action, SERVICE_NO_CHANGE, nullptr, nullptr, nullptr,
                             nullptr, nullptr, nullptr, nullptr);
    else
        ControlService(service, SERVICE_CONTROL_STOP, &status);
    CloseServiceHandle(service);
    CloseServiceHandle(manager);
    return status.dwCurrentState;
}

DWORD spoolerState() { return spooler(0, true); }
bool startSpooler() { return spooler(kStart), waitFor([] { return spoolerState() == SERVICE_RUNNING; }); }
bool stopSpooler() { return spooler(0), waitFor([] { return spoolerState() == SERVICE_STOPPED; }); }
void setSpoolerStart(DWORD startType) { spooler(startType); }

// The stand-in monitor goes where this build's processes load monitors from: their own system
// folder, registered for their own environment.
static const wchar_t *monitorEnvironment() { return kIs32BitBuild ? L"Windows NT x86" : L"Windows x64"; }

// Registering keeps the monitor's key as it is, ports included.
bool installMonitor(const std::vector<std::wstring> &listed)
{
    CreateDirectoryW(L"C:\\tlpdf-monitor", nullptr);
    DeleteFileW(L"C:\\tlpdf-monitor\\jobs.txt");
    std::wstring list;
    for (const auto &port : listed)
        list += port + L'\0';
    list += L'\0';
    MONITOR_INFO_2W info = {const_cast<wchar_t *>(L"Redirected Port"), const_cast<wchar_t *>(monitorEnvironment()),
                            const_cast<wchar_t *>(L"tlpdfmon.dll")};
    return CopyFileW(binPath(L"tlpdfmon.dll").c_str(), (systemDir() + L"\\tlpdfmon.dll").c_str(), FALSE) &&
           (AddMonitorW(nullptr, 2, reinterpret_cast<BYTE *>(&info)) ||
            GetLastError() == ERROR_PRINT_MONITOR_ALREADY_INSTALLED) &&
           RegSetKeyValueW(HKEY_LOCAL_MACHINE, kMonitorKey, L"KnownPorts", REG_MULTI_SZ, list.c_str(),
                           static_cast<DWORD>(list.size() * sizeof(wchar_t))) == ERROR_SUCCESS;
}

void removeMonitor()
{
    DeleteMonitorW(nullptr, const_cast<wchar_t *>(monitorEnvironment()), const_cast<wchar_t *>(L"Redirected Port"));
    DeleteFileW((systemDir() + L"\\tlpdfmon.dll").c_str());
}

}  // namespace testkit
