// A test-only stand-in for the system's rundll32.exe. Wine's printer installer installs nothing,
// so the tests put a copy of the test runner in the system folder; called with
// "printui.dll,PrintUIEntry", it logs its command line and carries out "/if ..." and "/dl ..."
// through the spooler.
//
// Files, all in kStandInDir inside the prefix:
//   log.txt      one UTF-8 line per run, written before it acts:
//                "<tag>\t<own module path>\t<raw command line>\r\n"; tag RAN for the copy in the
//                system folder, PLANTED for a copy anywhere else (a planted copy never acts)
//   control.txt  optional, "mode=<mode>": noop (log only), sleep:<ms> (sleep, then act),
//                keepold (a /dl is refused, as the spooler refuses while jobs are pending)
//   rundll32.exe.orig  Wine's own system32 file while the stand-in replaces it
// Exit codes: 0 done; 1 the printer exists already (nothing replaced); 3 bad arguments;
// 4 the /f file is missing; 5 the spooler refused.
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
