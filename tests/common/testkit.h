// Shared test helpers: waiting for windows, reading message boxes, running child programs.
#pragma once
#include <windows.h>
#include <functional>
#include <string>
#include <vector>

namespace testkit {

bool waitFor(const std::function<bool()> &condition, DWORD timeoutMs = 10000);

std::wstring selfPath();                               // this test executable
std::wstring exeDir();                                 // folder of this test executable
std::wstring binPath(const wchar_t *name);             // a file beside this test executable
std::wstring tempDir(const wchar_t *name);             // a fresh empty folder under %TEMP%
void removeTree(const std::wstring &path);             // a folder and all it holds, or a file
std::wstring windowText(HWND window);
std::wstring className(HWND window);

struct BoxInfo {
    HWND window = nullptr;
    std::wstring caption, text;
    RECT rect = {};
    HWND owner = nullptr;
};

HWND findMessageBox(DWORD processId);  // a visible one: #32770 with the static text 0xFFFF
BoxInfo readMessageBox(HWND box);
void closeMessageBox(HWND box);  // its default button, or else Cancel

// Runs `action` while a second thread records and closes the boxes this process shows, up to
// `count` of them (each awaited up to `timeoutMs`); returns what it saw.
std::vector<BoxInfo> boxesDuring(const std::function<void()> &action, int count = 1, DWORD timeoutMs = 10000);

HWND findTopWindow(DWORD processId, const wchar_t *windowClass, const wchar_t *title = nullptr);
HWND waitTopWindow(DWORD processId, const wchar_t *windowClass, const wchar_t *title = nullptr,
                   DWORD timeoutMs = 10000);
// A UTF-16LE file's text after its byte-order mark ("<no mark>" when the file lacks one), and
// the debug trace's.
std::wstring markedText(const std::wstring &path);
std::wstring tracePath();
std::wstring traceText();

class Child {
public:
    Child(const std::wstring &exe, const std::wstring &arguments, const std::wstring &workDir = L"");
    ~Child();
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;
    bool started() const { return process_ != nullptr; }
    DWORD pid() const { return pid_; }
    HANDLE handle() const { return process_; }
    bool waitExit(DWORD timeoutMs, DWORD *exitCode = nullptr);
    bool running() const;
private:
    HANDLE process_ = nullptr;
    DWORD pid_ = 0;
};

// Copies an executable under a new name and sets Wine's per-program Windows version
// ("winxp", "vista", "win7", "win8", "win10") for that name. Returns the copy's path.
std::wstring exeAsWindowsVersion(const std::wstring &exe, const std::wstring &newName, const wchar_t *version);

// Points the user's Documents folder at `folder` (made when missing, with its parent); returns
// the previous setting for restoreDocuments ("" when there was none).
std::wstring setDocuments(const std::wstring &folder);
void restoreDocuments(const std::wstring &previous);
// Points this process's TEMP and TMP (and so its children's) at `folder`; returns the previous TEMP.
std::wstring setTemp(const std::wstring &folder);

std::wstring readRegString(HKEY root, const wchar_t *path, const wchar_t *name);
// A REG_DWORD value; -1 when it is absent or of another type.
long readRegDword(HKEY root, const wchar_t *path, const wchar_t *name);
bool deleteRegTree(HKEY root, const wchar_t *path);
bool keyExists(HKEY root, const wchar_t *path);

// The test runner also serves as a child program: "runner.exe --mode ARGS..." runs the mode
// registered under that first argument instead of the tests and exits with its result.
using ChildModeFn = int (*)(int count, wchar_t **args);
bool registerChildMode(const wchar_t *name, ChildModeFn fn);
bool runChildMode(int *exitCode);  // true when the command line named a mode

#define TESTKIT_CHILD_MODE(id, name, ...) \
    static const bool childMode_##id = testkit::registerChildMode(name, __VA_ARGS__);

// What this build is: the i686 runner runs under WOW64 on this 64-bit Wine.
constexpr bool kIs32BitBuild = sizeof(void *) == 4;

// Installs a printer through the spooler directly (Wine's printer installer is a stub).
bool addPrinter(const wchar_t *name, const wchar_t *port = L"TessaloomPDF:",
                const wchar_t *driver = L"Tessaloom Test PS Driver");
bool deletePrinter(const wchar_t *name);
void deleteAllPrinters();

bool writeFile(const std::wstring &path, const std::string &bytes);
std::string readFile(const std::wstring &path);
std::wstring systemDir();
std::wstring customisationPath();  // ~tlpdf_cust.txt beside the program under test
std::wstring batchPath();          // the setup's batch file in the temporary folder
std::wstring nativeSystemDir();  // the real system32, also from a 32-bit process
std::wstring documentsDir();

constexpr const wchar_t *kSettingsKey = L"Software\\Brindlecourt\\TessaloomPDF\\tlpdf";
constexpr const wchar_t *kMonitorKey = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Redirected Port";
constexpr const wchar_t *kPortKey =
    L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Redirected Port\\Ports\\TessaloomPDF:";
std::wstring printerPort(const wchar_t *name);  // "<none>" when there is no such printer
// The port key's values, a line each sorted by name: "Name type size value" (value as text or
// number); "" when there is no port key.
std::wstring portValues();
std::wstring loadString(UINT id);
// The Print Spooler service of the test prefix: stopped (returns once it is), its start type.
bool stopSpooler();
DWORD spoolerState();
void setSpoolerStart(DWORD startType);  // from this runner's copy of the program's resources
bool startSpooler();
// The stand-in "Redirected Port" monitor (tests/standin/monitor.cpp), registered with the spooler
// and listing `listed` as the ports it knows; removeMonitor unregisters it.
bool installMonitor(const std::vector<std::wstring> &listed = {});
void removeMonitor();

// The print chain (tests/common/printchain.cpp). Ghostscript's console program at `console` is
// a stand-in that hands the job to Debian's gs.
bool installGhostscriptStandIn(const std::wstring &console);
bool installPdfDriver(const wchar_t *name);  // a PostScript driver that prints, under that name
bool printText(const wchar_t *printer, const std::wstring &text);  // one page, through GDI
std::wstring pdfText(const std::wstring &pdf);  // the PDF's text, as pdftotext reads it
std::wstring printLog();  // what the stand-in monitor and gs noted, to say which link broke
std::wstring widen(const std::string &utf8);
std::wstring unixPath(const std::wstring &windowsPath);
int runShell(const std::wstring &script, DWORD timeoutMs = 60000);  // its exit code, -1 on none

// The outside components as the program looks for them: Ghostscript's registry key (9.05 unless
// told: GS_DLL C:\gs\gs9.05\bin\gsdll32.dll, in this process's registry view, as a Ghostscript
// of this architecture installs it) and RedMon's library in the real system folder.
void installGhostscript(bool installed, const std::wstring &version = L"9.05");
void installRedMon(bool installed);

}  // namespace testkit
