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
const wchar_t kShellFolders[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders";

// Points Documents at another folder; returns the previous setting (empty when none).
std::wstring setDocuments(const std::wstring &folder, bool restore = false)
{
    std::wstring previous;
    if (!restore) {
        previous = testkit::readRegString(HKEY_CURRENT_USER, kShellFolders, L"Personal");
        CreateDirectoryW(folder.substr(0, folder.find_last_of(L'\\')).c_str(), nullptr);
        CreateDirectoryW(folder.c_str(), nullptr);
    }
    HKEY key;
    if (RegCreateKeyExW(HKEY_CURRENT_USER, kShellFolders, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr) == 0) {
        if (folder.empty())
            RegDeleteValueW(key, L"Personal");
        else
            RegSetValueExW(key, L"Personal", 0, REG_EXPAND_SZ, reinterpret_cast<const BYTE *>(folder.c_str()),
                           static_cast<DWORD>((folder.size() + 1) * sizeof(wchar_t)));
        RegCloseKey(key);
    }
    return previous;
}

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
        previousDocuments = setDocuments(argv[2]);
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
        setDocuments(previousDocuments, true);
    return result ? 0 : 1;
}
