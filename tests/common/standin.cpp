// Puts the stand-in rundll32 into the test prefix and takes it away again.
#include "tests/common/standin.h"
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

bool isStandIn(const std::wstring &path) { return exists(path) && readFile(path) == readFile(standInExe()); }

}  // namespace

std::wstring standInExe()
{
    wchar_t full[MAX_PATH] = L"";
    GetFullPathNameW((exeDir() + L"\\..\\standin\\rundll32.exe").c_str(), MAX_PATH, full, nullptr);
    return full;
}

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
    HKEY key;
    ok = ok && RegCreateKeyExW(HKEY_CURRENT_USER, kOverrideKey, 0, nullptr, 0, KEY_SET_VALUE, nullptr, &key,
                               nullptr) == ERROR_SUCCESS;
    if (ok) {
        static const wchar_t native[] = L"native";
        ok = RegSetValueExW(key, L"rundll32.exe", 0, REG_SZ, reinterpret_cast<const BYTE *>(native),
                            sizeof(native)) == ERROR_SUCCESS;
        RegCloseKey(key);
    }
    std::wstring inf = ntprintInf();
    CreateDirectoryW(inf.substr(0, inf.find_last_of(L'\\')).c_str(), nullptr);
    ok = ok && writeFile(inf, "; Test stand-in for the printer driver list.\r\n[Version]\r\n"
                              "Signature=\"$Windows NT$\"\r\nClass=Printer\r\n");
    clearStandInLog();
    setStandInMode(nullptr);
    return ok;
}

static void removeRundll32()
{
    HKEY key;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, kOverrideKey, 0, KEY_SET_VALUE, &key) == ERROR_SUCCESS) {
        RegDeleteValueW(key, L"rundll32.exe");
        RegCloseKey(key);
    }
    for (size_t i = 0; i < systemFolders().size(); i++) {
        if (exists(backupPath(i))) {
            if (CopyFileW(backupPath(i).c_str(), systemRundll32(i).c_str(), FALSE))
                DeleteFileW(backupPath(i).c_str());
        } else if (isStandIn(systemRundll32(i))) {
            DeleteFileW(systemRundll32(i).c_str());
        }
    }
}

void removeNtprintInf() { DeleteFileW(ntprintInf().c_str()); }

void removeStandIn(bool keepInf)
{
    removeRundll32();
    if (!keepInf)
        removeNtprintInf();
    for (const wchar_t *name : {L"log.txt", L"control.txt"})
        DeleteFileW(dirFile(name).c_str());
    RemoveDirectoryW(kStandInDir);  // stays while a backup could not be put back
}

std::vector<StandInRun> standInLog()
{
    std::vector<StandInRun> runs;
    const std::string bytes = readFile(dirFile(L"log.txt"));
    std::wstring text(bytes.size(), L'\0');
    text.resize(MultiByteToWideChar(CP_UTF8, 0, bytes.data(), static_cast<int>(bytes.size()), &text[0],
                                    static_cast<int>(text.size())));
    for (size_t start = 0, end; (end = text.find(L"\r\n", start)) != std::wstring::npos; start = end + 2) {
        size_t tab1 = text.find(L'\t', start), tab2 = text.find(L'\t', tab1 + 1);
        runs.push_back({text.substr(start, tab1 - start), text.substr(tab1 + 1, tab2 - tab1 - 1),
                        text.substr(tab2 + 1, end - tab2 - 1)});
    }
    return runs;
}

void clearStandInLog() { DeleteFileW(dirFile(L"log.txt").c_str()); }

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
