// Benchmark probe, run under Wine in the benchmark's prefix by bench/run.sh. Each call does one
// thing and prints key=value lines:
//   prepare               Ghostscript keys, redmonnt.dll and the stand-in installer in place
//   app EXE CLASS         start-up to the filled component text, then the peak working set
//   setup                 tlpdf's setup button to its completion box, and the installer's share
//   floorsetup            the same installer line in a hidden batch file, run and waited for
// EXE is a file beside this probe. Times are microseconds of the performance counter.
#include <windows.h>
#include <psapi.h>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string>
#include "res/resource.h"
#include "setup/printui.h"
#include "tests/common/standin.h"
#include "tests/common/testkit.h"

namespace {

const wchar_t kPrinter[] = L"TessaloomPDF";
const wchar_t kPort[] = L"TessaloomPDF:";
const wchar_t kDriver[] = L"HP Color LaserJet 2800 Series PS";  // tlpdf's choice on the Windows 7 Wine reports
const wchar_t kPortKey[] =
    L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Redirected Port\\Ports\\TessaloomPDF:";
const wchar_t kCompleted[] = L"TessaloomPDF driver setup completed.";
const DWORD kTimeoutMs = 60000;

long long nowUs()
{
    LARGE_INTEGER counter, frequency;
    QueryPerformanceCounter(&counter);
    QueryPerformanceFrequency(&frequency);
    return counter.QuadPart / frequency.QuadPart * 1000000 +
           counter.QuadPart % frequency.QuadPart * 1000000 / frequency.QuadPart;
}

int fail(const char *what)
{
    fprintf(stderr, "bench_probe: %s\n", what);
    return 1;
}

std::wstring timingFile() { return std::wstring(testkit::kStandInDir) + L"\\timing.txt"; }

// Polls as often as the scheduler allows, so that the wait adds as little as possible.
template <typename F> bool poll(F &&condition)
{
    DWORD start = GetTickCount();
    while (!condition()) {
        if (GetTickCount() - start > kTimeoutMs)
            return false;
        Sleep(1);
    }
    return true;
}

// The child dialog holding control 752 once its text is no longer the template's.
struct ReadyWatch {
    DWORD pid;
    const wchar_t *windowClass;
    HWND top = nullptr, dialog = nullptr;
    bool operator()()
    {
        if (!top && !(top = testkit::findTopWindow(pid, windowClass)))
            return false;
        for (HWND child = nullptr; (child = FindWindowExW(top, child, L"#32770", nullptr)) != nullptr;) {
            HWND text = GetDlgItem(child, IDC_COMPONENTS);
            if (text && testkit::windowText(text) != L"Static") {
                dialog = child;
                return true;
            }
        }
        return false;
    }
};

// A message box: a dialog whose 0xFFFF control is its static text (the progress box's frame is a button).
HWND findMessageBox(DWORD pid)
{
    HWND box = testkit::findMessageBox(pid);
    return box && testkit::className(GetDlgItem(box, 0xFFFF)) == L"Static" ? box : nullptr;
}

SIZE_T peakWorkingSet(DWORD pid)
{
    HANDLE process = OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, pid);
    if (!process)
        return 0;
    PROCESS_MEMORY_COUNTERS counters = {};
    counters.cb = sizeof(counters);
    SIZE_T peak = GetProcessMemoryInfo(process, &counters, sizeof(counters)) ? counters.PeakWorkingSetSize : 0;
    CloseHandle(process);
    return peak;
}

bool closeAndWait(testkit::Child &child, HWND top, bool isTlpdf)
{
    if (isTlpdf)
        PostMessageW(top, WM_COMMAND, IDM_EXIT, 0);  // the program's own Exit command
    else
        PostMessageW(top, WM_CLOSE, 0, 0);
    return child.waitExit(20000);
}

// Each run starts from a machine without the printer or its port, so both sides do the same work.
void resetMachine()
{
    testkit::deletePrinter(kPrinter);
    testkit::deleteRegTree(HKEY_LOCAL_MACHINE, kPortKey);
    testkit::writeFile(timingFile(), "");
}

// The stand-in's own run time; each of its runs appended "<start>\t<end>".
bool installerUs(long long *total)
{
    std::string text = testkit::readFile(timingFile());
    long long start = 0, end = 0;
    int runs = 0;
    *total = 0;
    for (const char *p = text.c_str(); sscanf(p, "%lld\t%lld", &start, &end) == 2; runs++) {
        *total += end - start;
        p = strchr(p, '\n');
        if (!p++)
            break;
    }
    return runs == 1;
}

int prepare()
{
    HKEY key;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"Software\\GPL Ghostscript\\9.05", 0, nullptr, 0, KEY_ALL_ACCESS,
                        nullptr, &key, nullptr) != ERROR_SUCCESS)
        return fail("cannot write the Ghostscript key");
    const wchar_t dll[] = L"C:\\gs\\gs9.05\\bin\\gsdll32.dll";
    RegSetValueExW(key, L"GS_DLL", 0, REG_SZ, reinterpret_cast<const BYTE *>(dll), sizeof(dll));
    RegCloseKey(key);
    if (!testkit::writeFile(testkit::systemDir() + L"\\redmonnt.dll", "MZ") || !testkit::installStandIn())
        return fail("cannot put RedMon or the stand-in installer in place");
    resetMachine();
    return 0;
}

int app(const wchar_t *exe, const wchar_t *windowClass)
{
    long long start = nowUs();
    testkit::Child child(testkit::binPath(exe), L"");
    if (!child.started())
        return fail("cannot start the program");
    ReadyWatch ready{child.pid(), windowClass};
    if (!poll(ready))
        return fail("the dialog's text was never filled");
    long long startup = nowUs() - start;
    WaitForInputIdle(child.handle(), 5000);  // shown and painted: the ready dialog
    SIZE_T peak = peakWorkingSet(child.pid());
    if (!peak)
        return fail("cannot read the working set");
    if (!closeAndWait(child, ready.top, wcscmp(windowClass, L"tlpdf_class") == 0))
        return fail("the program did not exit");
    printf("startup_us=%lld\npeak_ws_bytes=%llu\n", startup, static_cast<unsigned long long>(peak));
    return 0;
}

int setup()
{
    resetMachine();
    testkit::Child child(testkit::binPath(L"tlpdf.exe"), L"");
    ReadyWatch ready{child.pid(), L"tlpdf_class"};
    if (!child.started() || !poll(ready))
        return fail("tlpdf did not become ready");
    HWND button = GetDlgItem(ready.dialog, IDC_SETUP);
    if (!poll([&] { return IsWindowEnabled(button) != FALSE; }))
        return fail("the setup button stayed disabled");
    WaitForInputIdle(child.handle(), 5000);
    HWND box = nullptr;
    long long start = nowUs();
    // What a click sends; a cross-process BM_CLICK depends on mouse capture and focus.
    PostMessageW(ready.dialog, WM_COMMAND, MAKEWPARAM(IDC_SETUP, BN_CLICKED), reinterpret_cast<LPARAM>(button));
    bool shown = poll([&] { return (box = findMessageBox(child.pid())) != nullptr; });
    long long total = nowUs() - start, installer = 0;
    if (!shown)
        return fail("no message box after the setup");
    std::wstring text = testkit::readMessageBox(box).text;
    testkit::closeMessageBox(box);
    if (text.compare(0, wcslen(kCompleted), kCompleted) != 0)
        return fail("the setup did not complete");
    if (!installerUs(&installer))
        return fail("the installer did not run exactly once");
    if (!child.waitExit(20000))
        return fail("tlpdf did not exit after the setup");
    printf("setup_total_us=%lld\ninstaller_us=%lld\n", total, installer);
    return 0;
}

// The floor: the same one-line batch file, written, run hidden from the system folder, waited for.
int floorSetup()
{
    resetMachine();
    wchar_t temp[MAX_PATH], command[1024];
    GetTempPathW(MAX_PATH, temp);
    std::wstring batch = std::wstring(temp) + L"bench_floor_setup.bat";
    std::wstring system = testkit::systemDir();
    long long start = nowUs();
    gs2_FormatInstallCommand(command, 1024, 1, kDriver, kPrinter, kPort);
    char bytes[1024];
    int n = WideCharToMultiByte(CP_ACP, 0, command, -1, bytes, sizeof(bytes), nullptr, nullptr);
    HANDLE file = CreateFileW(batch.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written = 0;
    WriteFile(file, bytes, n > 1 ? static_cast<DWORD>(n - 1) : 0, &written, nullptr);
    CloseHandle(file);
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESHOWWINDOW;
    startup.wShowWindow = SW_HIDE;
    PROCESS_INFORMATION process = {};
    std::wstring commandLine = batch;
    if (!CreateProcessW(nullptr, &commandLine[0], nullptr, nullptr, FALSE, 0, nullptr, system.c_str(), &startup,
                        &process))
        return fail("cannot run the batch file");
    WaitForSingleObject(process.hProcess, kTimeoutMs);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    DeleteFileW(batch.c_str());
    long long total = nowUs() - start, installer = 0;
    if (!installerUs(&installer))
        return fail("the installer did not run exactly once");
    printf("setup_total_us=%lld\ninstaller_us=%lld\n", total, installer);
    return 0;
}

}  // namespace

int wmain(int argc, wchar_t **argv)
{
    std::wstring mode = argc > 1 ? argv[1] : L"";
    if (mode == L"prepare")
        return prepare();
    if (mode == L"app" && argc == 4)
        return app(argv[2], argv[3]);
    if (mode == L"setup")
        return setup();
    if (mode == L"floorsetup")
        return floorSetup();
    return fail("usage: bench_probe prepare | app EXE CLASS | setup | floorsetup");
}
