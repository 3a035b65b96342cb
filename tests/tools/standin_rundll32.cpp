// Test-only rundll32.exe: understands the two printer-installer command lines the program writes
// and does their work through the spooler, because Wine's installer is a stub. See
// tests/common/standin.h for its files, modes and exit codes.
#include <windows.h>
#include <shellapi.h>
#include <winspool.h>
#include <cstdio>
#include <string>
#include "tests/common/standin.h"

namespace {

std::wstring dirFile(const wchar_t *name) { return std::wstring(testkit::kStandInDir) + L"\\" + name; }

std::string toUtf8(const std::wstring &s)
{
    std::string out(s.size() * 3, '\0');
    out.resize(WideCharToMultiByte(CP_UTF8, 0, s.c_str(), static_cast<int>(s.size()), &out[0],
                                   static_cast<int>(out.size()), nullptr, nullptr));
    return out;
}

// The mode from control.txt ("mode=<mode>"), or "".
std::wstring readMode()
{
    char bytes[64] = "";
    DWORD got = 0;
    HANDLE file = CreateFileW(dirFile(L"control.txt").c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
        ReadFile(file, bytes, sizeof bytes - 1, &got, nullptr);
        CloseHandle(file);
    }
    std::string text(bytes, got);
    text = text.compare(0, 5, "mode=") == 0 ? text.substr(5, text.find_first_of("\r\n") - 5) : "";
    return std::wstring(text.begin(), text.end());
}

void appendLog(const std::string &line)
{
    CreateDirectoryW(testkit::kStandInDir, nullptr);
    HANDLE file = CreateFileW(dirFile(L"log.txt").c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                              nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written = 0;
    WriteFile(file, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
    CloseHandle(file);
}

bool printerExists(const std::wstring &name)
{
    HANDLE handle = nullptr;
    if (!OpenPrinterW(const_cast<wchar_t *>(name.c_str()), &handle, nullptr))
        return false;
    ClosePrinter(handle);
    return true;
}

int install(const std::wstring &driverName, const std::wstring &infFile, const std::wstring &printer,
            const std::wstring &port)
{
    if (GetFileAttributesW(infFile.c_str()) == INVALID_FILE_ATTRIBUTES)
        return 4;
    // The real installer refuses an existing name; Wine's AddPrinterW would replace it.
    if (printerExists(printer))
        return 1;
    DRIVER_INFO_3W driver = {};
    driver.cVersion = 3;
    driver.pName = const_cast<wchar_t *>(driverName.c_str());
    driver.pDriverPath = driver.pDataFile = driver.pConfigFile = const_cast<wchar_t *>(L"wineps.drv");
    AddPrinterDriverW(nullptr, 3, reinterpret_cast<BYTE *>(&driver));  // fails harmlessly when present
    PRINTER_INFO_2W info = {};
    info.pPrinterName = const_cast<wchar_t *>(printer.c_str());
    info.pPortName = const_cast<wchar_t *>(port.c_str());
    info.pDriverName = driver.pName;
    info.pPrintProcessor = const_cast<wchar_t *>(L"WinPrint");
    info.pDatatype = const_cast<wchar_t *>(L"RAW");
    HANDLE handle = AddPrinterW(nullptr, 2, reinterpret_cast<BYTE *>(&info));
    if (!handle)
        return 5;
    ClosePrinter(handle);
    return 0;
}

int uninstall(const std::wstring &printer)
{
    HANDLE handle = nullptr;
    PRINTER_DEFAULTSW defaults = {nullptr, nullptr, PRINTER_ALL_ACCESS};
    if (!OpenPrinterW(const_cast<wchar_t *>(printer.c_str()), &handle, &defaults))
        return 5;
    BOOL ok = DeletePrinter(handle);
    ClosePrinter(handle);
    return ok ? 0 : 5;
}

long long microseconds(const LARGE_INTEGER &counter, const LARGE_INTEGER &frequency)
{
    return counter.QuadPart / frequency.QuadPart * 1000000 +
           counter.QuadPart % frequency.QuadPart * 1000000 / frequency.QuadPart;
}

// "<start>\t<end>\r\n" in microseconds of the performance counter, so that a benchmark can take
// this run's own time out of what it measures. Only where the benchmark made timing.txt: the
// tests never see the file.
void appendTiming(const LARGE_INTEGER &start)
{
    LARGE_INTEGER end, frequency;
    QueryPerformanceCounter(&end);
    QueryPerformanceFrequency(&frequency);
    HANDLE file = CreateFileW(dirFile(L"timing.txt").c_str(), FILE_APPEND_DATA, FILE_SHARE_READ, nullptr,
                              OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return;
    char line[64];
    int n = snprintf(line, sizeof(line), "%lld\t%lld\r\n", microseconds(start, frequency),
                     microseconds(end, frequency));
    DWORD written = 0;
    WriteFile(file, line, static_cast<DWORD>(n), &written, nullptr);
    CloseHandle(file);
}

int act()
{
    const wchar_t *commandLine = GetCommandLineW();
    wchar_t module[MAX_PATH] = L"", sysDir[MAX_PATH] = L"", wowDir[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, module, MAX_PATH);
    GetSystemDirectoryW(sysDir, MAX_PATH);
    GetSystemWow64DirectoryW(wowDir, MAX_PATH);
    // Only a copy in a system folder (system32, or syswow64 under WOW64) acts; any other copy
    // was planted by a test. The log's module path tells which one ran.
    bool planted = _wcsicmp(module, (std::wstring(sysDir) + L"\\rundll32.exe").c_str()) != 0 &&
                   (!wowDir[0] || _wcsicmp(module, (std::wstring(wowDir) + L"\\rundll32.exe").c_str()) != 0);
    appendLog(toUtf8((planted ? L"PLANTED\t" : L"RAN\t") + std::wstring(module) + L"\t" + commandLine) + "\r\n");
    if (planted)
        return 0;

    const std::wstring mode = readMode();
    if (mode == L"noop")
        return 0;
    if (mode.compare(0, 6, L"sleep:") == 0)
        Sleep(static_cast<DWORD>(_wtoi(mode.c_str() + 6)));

    int argc = 0;
    wchar_t **argv = CommandLineToArgvW(commandLine, &argc);
    if (!argv || argc < 3 || _wcsicmp(argv[1], L"printui.dll,PrintUIEntry") != 0)
        return 3;
    std::wstring action, driver, infFile, printer, port, target;
    for (int i = 2; i < argc; i++) {
        std::wstring a = argv[i];
        std::wstring *value = a == L"/m" ? &driver : a == L"/f" ? &infFile : a == L"/b" ? &printer
                            : a == L"/r" ? &port : a == L"/n" ? &target : nullptr;
        if (value) {
            if (++i >= argc)
                return 3;
            *value = argv[i];
        } else if (a == L"/if" || a == L"/dl") {
            action = a;
        } else if (a.compare(0, 2, L"/h") != 0) {  // the architecture is not checked
            return 3;
        }
    }
    LocalFree(argv);
    if (action == L"/if" && !driver.empty() && !infFile.empty() && !printer.empty() && !port.empty())
        return install(driver, infFile, printer, port);
    if (action == L"/dl" && !target.empty())
        return mode == L"keepold" ? 5 : uninstall(target);  // as when jobs are pending
    return 3;
}

}  // namespace

int main()
{
    LARGE_INTEGER start;
    QueryPerformanceCounter(&start);
    int code = act();
    appendTiming(start);
    return code;
}
