// The rest of the print chain for the tests, inside the test prefix only: a PostScript driver that
// prints, a GDI client, and a stand-in for Ghostscript's console program that hands the job to
// Debian's gs with the options it was given, Windows paths mapped to the prefix's Unix paths.
#include <windows.h>
#include <winspool.h>
#include <shellapi.h>
#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>
#include "tests/common/testkit.h"

namespace testkit {

namespace {

const wchar_t kGsDir[] = L"C:\\tlpdf-gs";

std::wstring gsFile(const wchar_t *name) { return std::wstring(kGsDir) + L"\\" + name; }

// Ghostscript reads an @file as its command line: the system's splitting, line ends as blanks.
void splitOptions(const std::string &text, std::vector<std::wstring> *out)
{
    std::wstring line = L"gs " + widen(text);
    std::replace_if(line.begin(), line.end(), [](wchar_t c) { return c == L'\r' || c == L'\n'; }, L' ');
    int count = 0;
    wchar_t **args = CommandLineToArgvW(line.c_str(), &count);
    for (int i = 1; args && i < count; i++)
        out->push_back(args[i]);
    LocalFree(args);
}

// A file name as Ghostscript reads it ("%%" is "%"), mapped, and written back the same way.
std::wstring mapName(const std::wstring &name)
{
    std::wstring plain;
    for (size_t i = 0; i < name.size(); i++)
        plain += name[i], i += name.compare(i, 2, L"%%") == 0 ? 1 : 0;
    if (plain.size() < 2 || plain[1] != L':')
        return name;
    std::wstring mapped, unix = unixPath(plain);
    for (wchar_t c : unix)
        mapped += c == L'%' ? L"%%" : std::wstring(1, c);
    return mapped;
}

// gswin32c.exe / gswin64c.exe: the job from standard input to a file, then gs on it.
int ghostscript(int count, wchar_t **args)
{
    CreateDirectoryW(kGsDir, nullptr);
    std::string job;
    char buffer[65536];
    DWORD got = 0;
    while (ReadFile(GetStdHandle(STD_INPUT_HANDLE), buffer, sizeof buffer, &got, nullptr) && got)
        job.append(buffer, got);
    writeFile(gsFile(L"job.ps"), job);
    std::vector<std::wstring> options;
    for (int i = 1; i < count; i++) {
        if (args[i][0] == L'@')
            splitOptions(readFile(args[i] + 1), &options);
        else
            options.push_back(args[i]);
    }
    std::wstring script = L"/usr/bin/gs";
    for (size_t i = 0; i < options.size(); i++) {
        std::wstring &o = options[i];
        if (o == L"-")
            o = unixPath(gsFile(L"job.ps"));
        else if (o.compare(0, 13, L"-sOutputFile=") == 0)
            o = L"-sOutputFile=" + mapName(o.substr(13));
        else if (i && options[i - 1] == L"-o")
            o = mapName(o);
        script += L" '" + o + L"'";
    }
    return runShell(script + L" >'" + unixPath(gsFile(L"gs.log")) + L"' 2>&1");
}

TESTKIT_CHILD_MODE(gs32, L"exe:gswin32c.exe", ghostscript)
TESTKIT_CHILD_MODE(gs64, L"exe:gswin64c.exe", ghostscript)

}  // namespace

std::wstring widen(const std::string &utf8)
{
    std::wstring wide(utf8.size(), L'\0');
    wide.resize(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), &wide[0],
                                    static_cast<int>(wide.size())));
    return wide;
}

std::wstring unixPath(const std::wstring &windowsPath)
{
    typedef char *(CDECL * ToUnix)(const wchar_t *);
    auto toUnix = reinterpret_cast<ToUnix>(
        reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleW(L"kernel32"), "wine_get_unix_file_name")));
    char *unix = toUnix ? toUnix(windowsPath.c_str()) : nullptr;
    std::wstring path = unix ? widen(unix) : L"";
    HeapFree(GetProcessHeap(), 0, unix);
    return path;
}

// A Unix program started from Wine gives back no process handle: its end is seen by the status
// file the shell writes last.
int runShell(const std::wstring &script, DWORD timeoutMs)
{
    CreateDirectoryW(kGsDir, nullptr);
    const std::wstring status = gsFile(L"status.txt");
    DeleteFileW(status.c_str());
    std::wstring line = L"sh -c \"" + script + L"; echo $? >'" + unixPath(status) + L"'\"";
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION info = {};
    if (!CreateProcessW(L"Z:\\bin\\sh", &line[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &info))
        return -1;
    if (info.hProcess)
        CloseHandle(info.hProcess), CloseHandle(info.hThread);
    std::string code;
    waitFor([&] { return !(code = readFile(status)).empty() && code.back() == '\n'; }, timeoutMs);
    return code.empty() ? -1 : atoi(code.c_str());
}

bool installGhostscriptStandIn(const std::wstring &console)
{
    std::error_code ignored;
    std::filesystem::create_directories(console.substr(0, console.find_last_of(L'\\')), ignored);
    return CopyFileW(binPath(L"tlpdf_tests.exe").c_str(), console.c_str(), FALSE) != FALSE;
}

// Wine's PostScript driver with the PDF PPD of Debian's Ghostscript (put into the prefix by the
// rig), for both environments; Wine records the data file but does not copy it, so it goes into
// each driver folder first.
bool installPdfDriver(const wchar_t *name)
{
    bool ok = true;
    for (const wchar_t *environment : {L"Windows x64", L"Windows NT x86"}) {
        wchar_t folder[MAX_PATH] = L"";
        DWORD needed = 0;
        GetPrinterDriverDirectoryW(nullptr, const_cast<wchar_t *>(environment), 1, reinterpret_cast<BYTE *>(folder),
                                   sizeof folder, &needed);
        ok = ok && CopyFileW(L"C:\\tlpdf-ghostpdf.ppd", (std::wstring(folder) + L"\\ghostpdf.ppd").c_str(), FALSE);
        DRIVER_INFO_3W driver = {};
        driver.cVersion = 3;
        driver.pName = const_cast<wchar_t *>(name);
        driver.pEnvironment = const_cast<wchar_t *>(environment);
        driver.pDriverPath = driver.pConfigFile = const_cast<wchar_t *>(L"wineps.drv");
        driver.pDataFile = const_cast<wchar_t *>(L"ghostpdf.ppd");
        ok = ok && AddPrinterDriverExW(nullptr, 3, reinterpret_cast<BYTE *>(&driver), APD_COPY_NEW_FILES);
    }
    return ok;
}

bool printText(const wchar_t *printer, const std::wstring &text)
{
    HDC dc = CreateDCW(L"WINSPOOL", printer, nullptr, nullptr);
    DOCINFOW info = {sizeof info, L"tlpdf test job", nullptr, nullptr, 0};
    bool ok = dc && StartDocW(dc, &info) > 0 && StartPage(dc) > 0 &&
              TextOutW(dc, 300, 300, text.c_str(), static_cast<int>(text.size())) && EndPage(dc) > 0 && EndDoc(dc) > 0;
    if (dc)
        DeleteDC(dc);
    return ok;
}

std::wstring pdfText(const std::wstring &pdf)
{
    const std::wstring text = gsFile(L"pdf.txt");
    DeleteFileW(text.c_str());
    int code = runShell(L"pdftotext '" + unixPath(pdf) + L"' '" + unixPath(text) + L"'");
    return code == 0 ? widen(readFile(text)) : L"<pdftotext: " + std::to_wstring(code) + L">";
}

std::wstring printLog()
{
    return widen(readFile(L"C:\\tlpdf-monitor\\jobs.txt")) + L"gs: " + widen(readFile(gsFile(L"gs.log")));
}

}  // namespace testkit
