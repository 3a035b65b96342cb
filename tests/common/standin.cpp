// The stand-in rundll32: this test runner, copied over the system's rundll32.exe, serves the
// printer installer's command lines as a child mode. Putting it in place and taking it away.
#include "tests/common/standin.h"
#include <shellapi.h>
#include <winspool.h>
#include <cstdio>
#include "tests/common/testkit.h"

namespace testkit {

namespace {

const wchar_t *const kOverrideKey = L"Software\\Wine\\DllOverrides";

std::wstring dirFile(const wchar_t *name) { return std::wstring(kStandInDir) + L"\\" + name; }
// The 32-bit build puts the stand-in into both system folders, as the machine has a rundll32
// in each: which one runs depends on the command interpreter that reads the batch file.
std::vector<std::wstring> systemFolders()
{
    std::vector<std::wstring> folders = {systemDir()};
    if (nativeSystemDir() != systemDir())
        folders.push_back(nativeSystemDir());
    return folders;
}
std::wstring systemRundll32(size_t i = 0) { return systemFolders()[i] + L"\\rundll32.exe"; }
std::wstring backupPath(size_t i = 0) { return dirFile(i ? L"rundll32.exe.native.orig" : L"rundll32.exe.orig"); }
bool exists(const std::wstring &path) { return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

std::wstring ntprintInf()
{
    wchar_t dir[MAX_PATH] = L"";
    GetWindowsDirectoryW(dir, MAX_PATH);
    return std::wstring(dir) + L"\\inf\\ntprint.inf";
}

ULONGLONG fileSize(const std::wstring &path)
{
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    return GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)
               ? (ULONGLONG(data.nFileSizeHigh) << 32) | data.nFileSizeLow
               : 0;
}
std::wstring standInExe() { return binPath(L"tlpdf_tests.exe"); }  // what is copied: the test runner
bool isStandIn(const std::wstring &path) { return fileSize(path) == fileSize(standInExe()); }

void append(const wchar_t *name, const std::string &line, DWORD disposition = OPEN_ALWAYS)
{
    HANDLE file = CreateFileW(dirFile(name).c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                              disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written = 0;
    WriteFile(file, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
    CloseHandle(file);
}

int install(const std::wstring &driver, const std::wstring &inf, const std::wstring &printer, const std::wstring &port)
{
    if (!exists(inf))
        return 4;
    // The real installer refuses an existing name; Wine's AddPrinterW would replace it.
    if (printerPort(printer.c_str()) != L"<none>")
        return 1;
    return addPrinter(printer.c_str(), port.c_str(), driver.c_str()) ? 0 : 5;
}

int act(int count, wchar_t **args)
{
    wchar_t module[MAX_PATH] = L"", wow[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, module, MAX_PATH);
    GetSystemWow64DirectoryW(wow, MAX_PATH);
    // Only a copy in a system folder (system32, or syswow64 under WOW64) acts; any other copy
    // was planted by a test. The log's module path tells which one ran.
    bool planted = _wcsicmp(module, systemRundll32().c_str()) != 0 &&
                   (!wow[0] || _wcsicmp(module, (std::wstring(wow) + L"\\rundll32.exe").c_str()) != 0);
    std::wstring line = (planted ? L"PLANTED\t" : L"RAN\t") + std::wstring(module) + L"\t" + GetCommandLineW();
    std::string bytes(line.size() * 3, '\0');
    bytes.resize(WideCharToMultiByte(CP_UTF8, 0, line.c_str(), static_cast<int>(line.size()), &bytes[0],
                                     static_cast<int>(bytes.size()), nullptr, nullptr));
    append(L"log.txt", bytes + "\r\n");
    std::string mode = readFile(dirFile(L"control.txt"));
    mode = mode.compare(0, 5, "mode=") == 0 ? mode.substr(5, mode.find_first_of("\r\n") - 5) : "";
    if (planted || mode == "noop")
        return 0;
    if (mode.compare(0, 6, "sleep:") == 0)
        Sleep(static_cast<DWORD>(atoi(mode.c_str() + 6)));
    std::wstring action, driver, inf, printer, port, target;
    for (int i = 2; i < count; i++) {
        std::wstring a = args[i];
        std::wstring *value = a == L"/m" ? &driver : a == L"/f" ? &inf : a == L"/b" ? &printer
                            : a == L"/r" ? &port : a == L"/n" ? &target : nullptr;
        if (value && ++i < count)
            *value = args[i];
        else if (a == L"/if" || a == L"/dl")
            action = a;
        else if (value || a.compare(0, 2, L"/h") != 0)  // the architecture is not checked
            return 3;
    }
    if (action == L"/if" && !driver.empty() && !inf.empty() && !printer.empty() && !port.empty())
        return install(driver, inf, printer, port);
    if (action == L"/dl" && !target.empty())
        return mode == "keepold" || !deletePrinter(target.c_str()) ? 5 : 0;  // as when jobs are pending
    return 3;
}

}  // namespace

// "<start>\t<end>\r\n" in microseconds of the performance counter, so that a benchmark can take
// this run's own time out of what it measures. Only where the benchmark made timing.txt.
TESTKIT_CHILD_MODE(printui, L"printui.dll,PrintUIEntry", [](int count, wchar_t **args) {
    LARGE_INTEGER start, end, frequency;
    QueryPerformanceCounter(&start);
    int code = act(count, args);
    QueryPerformanceCounter(&end);
    QueryPerformanceFrequency(&frequency);
    char line[64];
    snprintf(line, sizeof line, "%lld\t%lld\r\n", static_cast<long long>(start.QuadPart * 1e6 / frequency.QuadPart),
             static_cast<long long>(end.QuadPart * 1e6 / frequency.QuadPart));
    append(L"timing.txt", line, OPEN_EXISTING);
    return code;
})

bool installStandIn()
{
    CreateDirectoryW(kStandInDir, nullptr);
    bool ok = true;
    for (size_t i = 0; i < systemFolders().size(); i++) {
        // Keep Wine's own file (a placeholder for its built-in) once, even over repeated installs.
        if (!exists(backupPath(i)) && exists(systemRundll32(i)) && !isStandIn(systemRundll32(i)))
            CopyFileW(systemRundll32(i).c_str(), backupPath(i).c_str(), FALSE);
        ok = ok && CopyFileW(standInExe().c_str(), systemRundll32(i).c_str(), FALSE) != FALSE;
    }
    // Without the override Wine runs its built-in rundll32 whatever file lies in system32.
    static const wchar_t native[] = L"native";
    ok = ok && RegSetKeyValueW(HKEY_CURRENT_USER, kOverrideKey, L"rundll32.exe", REG_SZ, native, sizeof native) == 0;
    std::wstring inf = ntprintInf();
    CreateDirectoryW(inf.substr(0, inf.find_last_of(L'\\')).c_str(), nullptr);
    ok = ok && writeFile(inf, "; Test stand-in for the printer driver list.\r\n[Version]\r\n"
                              "Signature=\"$Windows NT$\"\r\nClass=Printer\r\n");
    DeleteFileW(dirFile(L"log.txt").c_str());
    setStandInMode(nullptr);
    return ok;
}

void removeStandIn()
{
    RegDeleteKeyValueW(HKEY_CURRENT_USER, kOverrideKey, L"rundll32.exe");
    for (size_t i = 0; i < systemFolders().size(); i++) {
        if (exists(backupPath(i))) {
            if (CopyFileW(backupPath(i).c_str(), systemRundll32(i).c_str(), FALSE))
                DeleteFileW(backupPath(i).c_str());
        } else if (isStandIn(systemRundll32(i))) {
            DeleteFileW(systemRundll32(i).c_str());
        }
    }
    DeleteFileW(ntprintInf().c_str());
    for (const wchar_t *name : {L"log.txt", L"control.txt"})
        DeleteFileW(dirFile(name).c_str());
    RemoveDirectoryW(kStandInDir);  // stays while a backup could not be put back
}

std::vector<StandInRun> standInLog()
{
    std::vector<StandInRun> runs;
    const std::wstring text = widen(readFile(dirFile(L"log.txt")));
    for (size_t start = 0, end; (end = text.find(L"\r\n", start)) != std::wstring::npos; start = end + 2) {
        size_t tab1 = text.find(L'\t', start), tab2 = text.find(L'\t', tab1 + 1);
        runs.push_back({text.substr(start, tab1 - start), text.substr(tab1 + 1, tab2 - tab1 - 1),
                        text.substr(tab2 + 1, end - tab2 - 1)});
    }
    return runs;
}

void setStandInMode(const wchar_t *mode)
{
    if (!mode || !*mode)
        DeleteFileW(dirFile(L"control.txt").c_str());
    else
        writeFile(dirFile(L"control.txt"), "mode=" + std::string(mode, mode + wcslen(mode)) + "\r\n");
}

std::wstring plantRundll32(const std::wstring &folder)
{
    std::wstring path = folder + L"\\rundll32.exe";
    CopyFileW(standInExe().c_str(), path.c_str(), FALSE);
    return path;
}

}  // namespace testkit
