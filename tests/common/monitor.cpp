// Puts the stand-in port monitor into the test prefix and takes it away again.
#include <windows.h>
#include <winspool.h>
#include "tests/common/standin.h"
#include "tests/common/testkit.h"

namespace testkit {

namespace {

const wchar_t kMonitorName[] = L"Redirected Port";

std::wstring dirFile(const wchar_t *name) { return std::wstring(kMonitorDir) + L"\\" + name; }

std::wstring builtDll(int bits)
{
    wchar_t full[MAX_PATH] = L"";
    std::wstring relative = exeDir() + L"\\..\\standin\\standin_monitor" + std::to_wstring(bits) + L".dll";
    GetFullPathNameW(relative.c_str(), MAX_PATH, full, nullptr);
    return full;
}

std::wstring windowsDir()
{
    wchar_t dir[MAX_PATH] = L"";
    GetSystemWindowsDirectoryW(dir, MAX_PATH);
    return dir;
}

// Where each build goes: the 64-bit one into the native system folder, the 32-bit one into
// the folder 32-bit processes see as theirs. Seen from a 32-bit process, the native folder is
// "Sysnative" and its own is system32.
std::wstring folderFor(int bits)
{
    bool self64 = sizeof(void *) == 8;
    if (bits == 64)
        return self64 ? systemDir() : windowsDir() + L"\\Sysnative";
    return self64 ? windowsDir() + L"\\syswow64" : systemDir();
}

// The spooler's name for the architecture of this process.
const wchar_t *environment() { return sizeof(void *) == 8 ? L"Windows x64" : L"Windows NT x86"; }

}  // namespace

bool installMonitor()
{
    removeMonitor();
    CreateDirectoryW(kMonitorDir, nullptr);
    bool ok = true;
    for (int bits : {32, 64})
        ok = CopyFileW(builtDll(bits).c_str(), (folderFor(bits) + L"\\" + kMonitorDll).c_str(), FALSE) && ok;
    MONITOR_INFO_2W info = {};
    info.pName = const_cast<wchar_t *>(kMonitorName);
    info.pEnvironment = const_cast<wchar_t *>(environment());
    info.pDLLName = const_cast<wchar_t *>(kMonitorDll);
    ok = ok && AddMonitorW(nullptr, 2, reinterpret_cast<BYTE *>(&info));
    DeleteFileW(dirFile(L"log.txt").c_str());
    setMonitorPorts({});
    return ok;
}

void removeMonitor()
{
    DeleteMonitorW(nullptr, const_cast<wchar_t *>(environment()), const_cast<wchar_t *>(kMonitorName));
    for (int bits : {32, 64})
        DeleteFileW((folderFor(bits) + L"\\" + kMonitorDll).c_str());
    for (const wchar_t *name : {L"log.txt", L"ports.txt"})
        DeleteFileW(dirFile(name).c_str());
    RemoveDirectoryW(kMonitorDir);
}

void setMonitorPorts(const std::vector<std::wstring> &ports)
{
    CreateDirectoryW(kMonitorDir, nullptr);
    std::string text;
    for (const auto &p : ports) {
        char bytes[512];
        int n = WideCharToMultiByte(CP_UTF8, 0, p.c_str(), -1, bytes, 512, nullptr, nullptr);
        text += std::string(bytes, n > 0 ? n - 1 : 0) + "\r\n";
    }
    writeFile(dirFile(L"ports.txt"), text);
}

std::vector<std::wstring> monitorLog()
{
    std::vector<std::wstring> lines;
    std::string text = readFile(dirFile(L"log.txt"));
    size_t start = 0, end;
    while ((end = text.find("\r\n", start)) != std::string::npos) {
        std::string line = text.substr(start, end - start);
        start = end + 2;
        wchar_t wide[512] = L"";
        MultiByteToWideChar(CP_UTF8, 0, line.c_str(), -1, wide, 512);
        lines.push_back(wide);
    }
    return lines;
}

}  // namespace testkit
