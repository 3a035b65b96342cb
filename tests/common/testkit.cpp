// Shared test helpers: waiting for windows, reading message boxes, running child programs.
#include "tests/common/testkit.h"
#include <shellapi.h>
#include "diag/trace.h"
#include "res/resource.h"

namespace testkit {

bool waitFor(const std::function<bool()> &condition, DWORD timeoutMs)
{
    DWORD start = GetTickCount();
    for (;;) {
        if (condition())
            return true;
        if (GetTickCount() - start > timeoutMs)
            return false;
        Sleep(10);
    }
}

std::wstring selfPath()
{
    wchar_t path[MAX_PATH];
    DWORD n = GetModuleFileNameW(nullptr, path, MAX_PATH);
    return std::wstring(path, n);
}

std::wstring exeDir()
{
    std::wstring s = selfPath();
    return s.substr(0, s.find_last_of(L'\\'));
}

namespace {

struct ChildMode {
    const wchar_t *name;
    ChildModeFn fn;
};

std::vector<ChildMode> &childModes()
{
    static std::vector<ChildMode> modes;
    return modes;
}

}  // namespace

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
    for (const ChildMode &mode : childModes()) {
        if (count >= 2 && wcscmp(args[1], mode.name) == 0) {
            *exitCode = mode.fn(count, args);
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
    DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return;
    if (!(attributes & FILE_ATTRIBUTE_DIRECTORY)) {
        SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
        DeleteFileW(path.c_str());
        return;
    }
    WIN32_FIND_DATAW found;
    HANDLE find = FindFirstFileW((path + L"\\*").c_str(), &found);
    if (find != INVALID_HANDLE_VALUE) {
        do {
            std::wstring name = found.cFileName;
            if (name != L"." && name != L"..")
                removeTree(path + L"\\" + name);
        } while (FindNextFileW(find, &found));
        FindClose(find);
    }
    RemoveDirectoryW(path.c_str());
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
    int n = GetWindowTextLengthW(window);
    std::wstring s(n + 1, L'\0');
    n = GetWindowTextW(window, &s[0], n + 1);
    s.resize(n > 0 ? n : 0);
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
    const wchar_t *cls;
    const wchar_t *title;
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
}  // namespace

HWND findMessageBox(DWORD processId)
{
    FindTop f = {processId, L"#32770", nullptr, true, nullptr};
    EnumWindows(findTopProc, reinterpret_cast<LPARAM>(&f));
    return f.found;
}

BoxInfo readMessageBox(HWND box)
{
    BoxInfo info;
    info.window = box;
    info.caption = windowText(box);
    info.text = windowText(GetDlgItem(box, 0xFFFF));
    GetWindowRect(box, &info.rect);
    info.owner = GetWindow(box, GW_OWNER);
    return info;
}

void closeMessageBox(HWND box)
{
    PostMessageW(box, WM_COMMAND, GetDlgItem(box, IDOK) ? IDOK : IDCANCEL, 0);
}

BoxWatcher::BoxWatcher(int count, DWORD timeoutMs) : count_(count), timeoutMs_(timeoutMs)
{
    thread_ = CreateThread(nullptr, 0, run, this, 0, nullptr);
}

BoxWatcher::~BoxWatcher() { wait(); }

DWORD WINAPI BoxWatcher::run(void *self)
{
    auto *w = static_cast<BoxWatcher *>(self);
    for (int i = 0; i < w->count_; i++) {
        HWND box = nullptr;
        if (!waitFor([&] { return (box = findMessageBox(GetCurrentProcessId())) != nullptr; }, w->timeoutMs_))
            break;
        w->boxes_.push_back(readMessageBox(box));
        closeMessageBox(box);
        waitFor([&] { return !IsWindow(box); }, w->timeoutMs_);
    }
    return 0;
}

std::vector<BoxInfo> BoxWatcher::wait()
{
    if (thread_) {
        WaitForSingleObject(thread_, INFINITE);
        CloseHandle(thread_);
        thread_ = nullptr;
    }
    return boxes_;
}

HWND findTopWindow(DWORD processId, const wchar_t *windowClass, const wchar_t *title)
{
    FindTop f = {processId, windowClass, title, false, nullptr};
    EnumWindows(findTopProc, reinterpret_cast<LPARAM>(&f));
    return f.found;
}

HWND waitTopWindow(DWORD processId, const wchar_t *windowClass, const wchar_t *title, DWORD timeoutMs)
{
    HWND window = nullptr;
    waitFor([&] { return (window = findTopWindow(processId, windowClass, title)) != nullptr; }, timeoutMs);
    return window;
}

std::wstring traceText()
{
    wchar_t path[MAX_PATH];
    dbg_GetTraceFilePath(path);
    std::string bytes = readFile(path);
    if (bytes.size() < 2 || bytes.compare(0, 2, "\xFF\xFE") != 0)
        return L"<no mark>";
    return std::wstring(reinterpret_cast<const wchar_t *>(bytes.data() + 2), (bytes.size() - 2) / 2);
}

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
    std::wstring dir = exe.substr(0, exe.find_last_of(L'\\'));
    std::wstring copy = dir + L"\\" + newName;
    CopyFileW(exe.c_str(), copy.c_str(), FALSE);
    std::wstring key = L"Software\\Wine\\AppDefaults\\" + newName;
    HKEY h;
    if (RegCreateKeyExW(HKEY_CURRENT_USER, key.c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr, &h, nullptr) == 0) {
        RegSetValueExW(h, L"Version", 0, REG_SZ, reinterpret_cast<const BYTE *>(version),
                       static_cast<DWORD>((wcslen(version) + 1) * sizeof(wchar_t)));
        RegCloseKey(h);
    }
    return copy;
}

BoxInfo pressSetup(const Child &child, bool debug, DWORD boxTimeoutMs, const std::function<void(HWND)> &whileRunning)
{
    HWND main = waitTopWindow(child.pid(), L"tlpdf_class");
    HWND dialog = nullptr;
    if (!main || !waitFor([&] { return (dialog = FindWindowExW(main, nullptr, L"#32770", nullptr)) != nullptr; }))
        return BoxInfo();
    // Ready: the dialog has set its status line and the program serves its message loop.
    waitFor([&] { return !windowText(GetDlgItem(dialog, IDC_STATUS)).empty(); });
    DWORD_PTR ignored;
    SendMessageTimeoutW(main, WM_NULL, 0, 0, SMTO_NORMAL, 10000, &ignored);
    // What a click sends; a cross-process BM_CLICK depends on mouse capture and focus.
    if (debug) {
        SendMessageW(GetDlgItem(dialog, IDC_DEBUG), BM_SETCHECK, BST_CHECKED, 0);
        SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(IDC_DEBUG, BN_CLICKED),
                     reinterpret_cast<LPARAM>(GetDlgItem(dialog, IDC_DEBUG)));
    }
    PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(IDC_SETUP, BN_CLICKED),
                 reinterpret_cast<LPARAM>(GetDlgItem(dialog, IDC_SETUP)));
    if (whileRunning)
        whileRunning(main);
    HWND box = nullptr;
    if (!waitFor([&] { return (box = findMessageBox(child.pid())) != nullptr; }, boxTimeoutMs))
        return BoxInfo();
    return readMessageBox(box);
}

namespace {
const wchar_t kShellFolders[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders";

void putDocuments(const std::wstring &folder)
{
    HKEY key;
    if (RegCreateKeyExW(HKEY_CURRENT_USER, kShellFolders, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr))
        return;
    if (folder.empty())
        RegDeleteValueW(key, L"Personal");
    else
        RegSetValueExW(key, L"Personal", 0, REG_EXPAND_SZ, reinterpret_cast<const BYTE *>(folder.c_str()),
                       static_cast<DWORD>((folder.size() + 1) * sizeof(wchar_t)));
    RegCloseKey(key);
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

std::wstring readRegString(HKEY root, const wchar_t *path, const wchar_t *name, DWORD *type)
{
    wchar_t data[1024] = L"";
    DWORD size = sizeof(data) - sizeof(wchar_t), t = 0;
    HKEY h;
    if (RegOpenKeyExW(root, path, 0, KEY_QUERY_VALUE, &h) != 0)
        return L"";
    LONG rc = RegQueryValueExW(h, name, nullptr, &t, reinterpret_cast<BYTE *>(data), &size);
    RegCloseKey(h);
    if (type)
        *type = rc == 0 ? t : REG_NONE;
    return rc == 0 ? std::wstring(data) : L"";
}

long readRegDword(HKEY root, const wchar_t *path, const wchar_t *name)
{
    HKEY key;
    DWORD value = 0, size = sizeof(value), type = 0;
    if (RegOpenKeyExW(root, path, 0, KEY_READ, &key) != 0)
        return -1;
    LONG rc = RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE *>(&value), &size);
    RegCloseKey(key);
    return rc == 0 && type == REG_DWORD ? static_cast<long>(value) : -1;
}

bool deleteRegTree(HKEY root, const wchar_t *path)
{
    LONG rc = RegDeleteTreeW(root, path);
    return rc == 0 || rc == ERROR_FILE_NOT_FOUND;
}

}  // namespace testkit
