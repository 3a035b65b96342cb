// A test-only stand-in for the system's rundll32.exe, since Wine's printer installer installs
// nothing: the test runner, copied into the system folder, called with "printui.dll,PrintUIEntry"
// carries out "/if ..." and "/dl ..." through the spooler. In kStandInDir: log.txt, a UTF-8 line
// per run before it acts ("RAN" for the system folder's copy, "PLANTED" for any other, which never
// acts); control.txt, optional "mode=noop|sleep:<ms>|keepold" (keepold: a /dl is refused, as while
// jobs are pending). Exit codes: 0 done; 1 the printer exists; 3 bad arguments; 4 no /f file;
// 5 the spooler refused.
#pragma once
#include <windows.h>
#include <string>
#include <vector>

namespace testkit {

constexpr const wchar_t *kStandInDir = L"C:\\tlpdf-standin";

struct StandInRun {
    std::wstring tag;          // RAN or PLANTED
    std::wstring module;       // path of the copy that ran
    std::wstring commandLine;  // exactly as GetCommandLineW gave it
};

// Copies the built stand-in over system32\rundll32.exe (Wine's own is kept aside), sets the DLL
// override that makes Wine run it, writes a minimal inf\ntprint.inf, clears log and settings.
bool installStandIn();
void removeStandIn();  // undoes installStandIn
std::vector<StandInRun> standInLog();
// nullptr or "" for normal operation; "noop", "sleep:<ms>" or "keepold".
void setStandInMode(const wchar_t *mode);
// Copies the stand-in into a folder; that copy only logs (tag PLANTED). Returns its path.
std::wstring plantRundll32(const std::wstring &folder);

}  // namespace testkit
