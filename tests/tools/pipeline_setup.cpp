// Runs the automatic setup in the test prefix and reports what the port will run, for the
// pipeline test that feeds a job through a real Ghostscript.
//   pipeline_setup.exe REPORT [DOCUMENTS]
// DOCUMENTS, when given, becomes the user's Documents folder first (to try awkward names).
// REPORT receives three UTF-8 lines: the port's Command, its Arguments, the response file.
#include <windows.h>
#include <cstdio>
#include <string>
#include "app/identity.h"
#include "detect/gs.h"
#include "detect/locations.h"
#include "diag/trace.h"
#include "setup/autosetup.h"
#include "support/appstate.h"
#include "tests/common/standin.h"
#include "tests/common/testkit.h"

namespace {

const wchar_t kPortKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Redirected Port\\Ports\\TessaloomPDF:";

std::string utf8(const std::wstring &text)
{
    int n = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, nullptr, 0, nullptr, nullptr);
    std::string out(n > 0 ? n - 1 : 0, '\0');
    if (n > 1)
        WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, &out[0], n, nullptr, nullptr);
    return out;
}

}  // namespace

int wmain(int argc, wchar_t **argv)
{
    if (argc < 2)
        return 2;
    std::wstring previousDocuments;
    if (argc >= 3)
        previousDocuments = testkit::setDocuments(argv[2]);
    appSetInstance(GetModuleHandleW(nullptr));
    appSetIdentity(GetModuleHandleW(nullptr));
    testkit::installGhostscript(true);
    testkit::installRedMon(true);
    testkit::deleteAllPrinters();
    testkit::installStandIn();

    wchar_t data[MAX_PATH];
    gs2_GetDataFolder(data);
    const std::wstring rsp = std::wstring(data) + L"\\tl2pdf.rsp";
    DeleteFileW(rsp.c_str());
    UINT result = gs2_AutoSetupTessaloomPDF(nullptr, L"", 0);

    std::string report = utf8(testkit::readRegString(HKEY_LOCAL_MACHINE, kPortKey, L"Command")) + "\n" +
                         utf8(testkit::readRegString(HKEY_LOCAL_MACHINE, kPortKey, L"Arguments")) + "\n" +
                         utf8(rsp) + "\n";
    testkit::writeFile(argv[1], report);

    testkit::removeStandIn();
    testkit::deleteAllPrinters();
    testkit::installRedMon(false);
    testkit::installGhostscript(false);
    if (argc >= 3)
        testkit::restoreDocuments(previousDocuments);
    return result ? 0 : 1;
}
