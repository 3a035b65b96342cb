// Shared test helpers: waiting for windows, reading message boxes, running child programs.
#include "tests/common/testkit.h"
#include <shellapi.h>
#include <algorithm>
#include <filesystem>
#include <thread>
#include "diag/trace.h"

namespace testkit {

bool waitFor(const std::function<bool()> &condition, DWORD timeoutMs)
{
    for (DWORD start = GetTickCount(); !condition(); Sleep(10))
        if (GetTickCount() - start > timeoutMs)
            return false;
    return true;
}

std::wstring selfPath()
{
    wchar_t path[MAX_PATH];
    return std::wstring(path, GetModuleFileNameW(nullptr, path, MAX_PATH));
}

std::wstring exeDir()
{
    std::wstring s = selfPath();
    return s.substr(0, s.find_last_of(L'\\'));
}

static std::vector<std::pair<const wchar_t *, ChildModeFn>> &childModes()
{
    static std::vector<std::pair<const wchar_t *, ChildModeFn>> modes;
    return modes;
}

bool registerChildMode(const wchar_t *name, ChildModeFn fn)
{
    childModes().push_back({name, fn});
    return true;
}

bool runChildMode(int *exitCode)
{
    int count = 0;
    wchar_t **args = CommandLineToArgvW(GetCommandLineW(), &count);
    if (!args)
        return false;
    // "exe:NAME" modes are chosen by the runner's own file name, whatever the arguments.
    const std::wstring self = selfPath().substr(selfPath().find_last_of(L'\\') + 1);
    for (const auto &mode : childModes()) {
        bool byName = wcsncmp(mode.first, L"exe:", 4) == 0 && _wcsicmp(self.c_str(), mode.first + 4) == 0;
        if (byName || (count >= 2 && wcscmp(args[1], mode.first) == 0)) {
            *exitCode = mode.second(count, args);
            LocalFree(args);
            return true;
        }
    }
    LocalFree(args);
    return false;
}

std::wstring binPath(const wchar_t *name) { return exeDir() + L"\\" + name; }

void removeTree(const std::wstring &path)
{
    std::error_code ignored;
    for (auto &entry : std::filesystem::recursive_directory_iterator(path, ignored))
        SetFileAttributesW(entry.path().c_str(), FILE_ATTRIBUTE_NORMAL);
    SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    std::filesystem::remove_all(path, ignored);
}

std::wstring tempDir(const wchar_t *name)
{
    wchar_t temp[MAX_PATH];
    GetTempPathW(MAX_PATH, temp);
    std::wstring dir = std::wstring(temp) + L"tlpdf-tests-" + name;
    removeTree(dir);
    CreateDirectoryW(dir.c_str(), nullptr);
    return dir;
}

std::wstring windowText(HWND window)
{
    std::wstring s(GetWindowTextLengthW(window) + 1, L'\0');
    s.resize(std::max(0, GetWindowTextW(window, &s[0], static_cast<int>(s.size()))));
    return s;
}

std::wstring className(HWND window)
{
    wchar_t name[256] = L"";
    GetClassNameW(window, name, 256);
    return name;
}

namespace {
struct FindTop {
    DWORD pid;
    const wchar_t *cls, *title;
    bool box;  // only a visible message box: a dialog with the static text 0xFFFF
    HWND found;
};

BOOL CALLBACK findTopProc(HWND window, LPARAM param)
{
    auto *f = reinterpret_cast<FindTop *>(param);
    DWORD pid = 0;
    GetWindowThreadProcessId(window, &pid);
    if (pid == f->pid && (!f->cls || className(window) == f->cls) && (!f->title || windowText(window) == f->title) &&
        (!f->box || (IsWindowVisible(window) && GetDlgItem(window, 0xFFFF)))) {
        f->found = window;
        return FALSE;
    }
    return TRUE;
}

HWND findTop(FindTop f)
{
    EnumWindows(findTopProc, reinterpret_cast<LPARAM>(&f));
    return f.found;
}
}  // namespace

HWND findMessageBox(DWORD processId) { return findTop({processId, L"#32770", nullptr, true, nullptr}); }

BoxInfo readMessageBox(HWND box)
{
    BoxInfo info{box, windowText(box), windowText(GetDlgItem(box, 0xFFFF)), {}, GetWindow(box, GW_OWNER)};
    GetWindowRect(box, &info.rect);
    return info;
}

void closeMessageBox(HWND box)
{
    PostMessageW(box, WM_COMMAND, GetDlgItem(box, IDOK) ? IDOK : IDCANCEL, 0);
}

std::vector<BoxInfo> boxesDuring(const std::function<void()> &action, int count, DWORD timeoutMs)
{
    std::vector<BoxInfo> boxes;
    std::thread watcher([&] {
        for (HWND box = nullptr; static_cast<int>(boxes.size()) < count; box = nullptr) {
            if (!waitFor([&] { return (box = findMessageBox(GetCurrentProcessId())) != nullptr; }, timeoutMs))
                break;
            boxes.push_back(readMessageBox(box));
            closeMessageBox(box);
            waitFor([&] { return !IsWindow(box); }, timeoutMs);
        }
    });
    action();
    watcher.join();
    return boxes;
}

HWND findTopWindow(DWORD processId, const wchar_t *windowClass, const wchar_t *title)
{
    return findTop({processId, windowClass, title, false, nullptr});
}

HWND waitTopWindow(DWORD processId, const wchar_t *windowClass, const wchar_t *title, DWORD timeoutMs)
{
    HWND window = nullptr;
    waitFor([&] { return (window = findTopWindow(processId, windowClass, title)) != nullptr; }, timeoutMs);
    return window;
}

std::wstring markedText(const std::wstring &path)
{
    std::string bytes = readFile(path);
    if (bytes.size() < 2 || bytes.compare(0, 2, "\xFF\xFE") != 0)
        return L"<no mark>";
    return std::wstring(reinterpret_cast<const wchar_t *>(bytes.data() + 2), (bytes.size() - 2) / 2);
}

std::wstring tracePath()
{
    wchar_t path[MAX_PATH];
    return dbg_GetTraceFilePath(path), path;
}

std::wstring traceText() { return markedText(tracePath()); }

Child::Child(const std::wstring &exe, const std::wstring &arguments, const std::wstring &workDir)
{
    std::wstring cmd = L"\"" + exe + L"\"" + (arguments.empty() ? L"" : L" " + arguments);
    STARTUPINFOW si = {};
    si.cb = sizeof(si);
    PROCESS_INFORMATION pi;
    if (CreateProcessW(exe.c_str(), &cmd[0], nullptr, nullptr, FALSE, 0, nullptr,
                       workDir.empty() ? nullptr : workDir.c_str(), &si, &pi)) {
        process_ = pi.hProcess;
        pid_ = pi.dwProcessId;
        CloseHandle(pi.hThread);
    }
}

// A child still running when the test ends is ended, so no test leaves processes behind.
Child::~Child()
{
    if (process_) {
        if (running())
            TerminateProcess(process_, 99);
        CloseHandle(process_);
    }
}

bool Child::waitExit(DWORD timeoutMs, DWORD *exitCode)
{
    if (!process_ || WaitForSingleObject(process_, timeoutMs) != WAIT_OBJECT_0)
        return false;
    if (exitCode)
        GetExitCodeProcess(process_, exitCode);
    return true;
}

bool Child::running() const { return process_ && WaitForSingleObject(process_, 0) == WAIT_TIMEOUT; }

std::wstring exeAsWindowsVersion(const std::wstring &exe, const std::wstring &newName, const wchar_t *version)
{
    std::wstring copy = exe.substr(0, exe.find_last_of(L'\\') + 1) + newName;
    CopyFileW(exe.c_str(), copy.c_str(), FALSE);
    RegSetKeyValueW(HKEY_CURRENT_USER, (L"Software\\Wine\\AppDefaults\\" + newName).c_str(), L"Version", REG_SZ, version,
                    static_cast<DWORD>((wcslen(version) + 1) * sizeof(wchar_t)));
    return copy;
}

namespace {
const wchar_t kShellFolders[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders";

void putDocuments(const std::wstring &folder)
{
    if (folder.empty())
        RegDeleteKeyValueW(HKEY_CURRENT_USER, kShellFolders, L"Personal");
    else
        RegSetKeyValueW(HKEY_CURRENT_USER, kShellFolders, L"Personal", REG_EXPAND_SZ, folder.c_str(),
                        static_cast<DWORD>((folder.size() + 1) * sizeof(wchar_t)));
}
}  // namespace

std::wstring setDocuments(const std::wstring &folder)
{
    std::wstring previous = readRegString(HKEY_CURRENT_USER, kShellFolders, L"Personal");
    CreateDirectoryW(folder.substr(0, folder.find_last_of(L'\\')).c_str(), nullptr);
    CreateDirectoryW(folder.c_str(), nullptr);
    putDocuments(folder);
    return previous;
}

void restoreDocuments(const std::wstring &previous) { putDocuments(previous); }

std::wstring setTemp(const std::wstring &folder)
{
    wchar_t previous[MAX_PATH] = L"";
    GetEnvironmentVariableW(L"TEMP", previous, MAX_PATH);
    SetEnvironmentVariableW(L"TEMP", folder.c_str()), SetEnvironmentVariableW(L"TMP", folder.c_str());
    return previous;
}

std::wstring readRegString(HKEY root, const wchar_t *path, const wchar_t *name)
{
    wchar_t data[1024] = L"";
    DWORD size = sizeof data;
    return RegGetValueW(root, path, name, RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND, nullptr, data, &size) == 0
               ? data
               : L"";
}

long readRegDword(HKEY root, const wchar_t *path, const wchar_t *name)
{
    DWORD value = 0, size = sizeof value;
    return RegGetValueW(root, path, name, RRF_RT_REG_DWORD, nullptr, &value, &size) == 0 ? static_cast<long>(value) : -1;
}

bool keyExists(HKEY root, const wchar_t *path)
{
    HKEY key;
    return RegOpenKeyExW(root, path, 0, KEY_READ, &key) == ERROR_SUCCESS && RegCloseKey(key) == ERROR_SUCCESS;
}

bool deleteRegTree(HKEY root, const wchar_t *path)
{
    LONG rc = RegDeleteTreeW(root, path);
    return rc == 0 || rc == ERROR_FILE_NOT_FOUND;
}

}  // namespace testkit
