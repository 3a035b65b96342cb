// The MSI package, built from the shipped source with this build's tlpdf.exe, under Wine's own
// msiexec: what a refused setup, installing, removing and upgrading leave on the machine.
#include <windows.h>
#include <msi.h>
#include <shlobj.h>
#include <gtest/gtest.h>
#include "tests/common/standin.h"
#include "tests/common/testkit.h"

namespace {

// A blank in the log's name and in the driver's: the keywords' brackets must carry both.
const wchar_t kLog[] = L"C:\\tlpdf msi\\setup.log";

DWORD msiexec(const wchar_t *action, const wchar_t *package, const std::wstring &properties = L"")
{
    testkit::Child child(testkit::systemDir() + L"\\msiexec.exe", std::wstring(action) + L" \"" + testkit::binPath(package) +
                                                                      L"\" /qn \"TLPDF_LOG=" + kLog + L"\" " + properties);
    DWORD code = 999;
    return child.waitExit(120000, &code), code;
}

// The log's last exit code, the printer's port, the port key, the installed folder and files, and
// the versions installed under the package's upgrade code.
std::wstring state()
{
    wchar_t dir[MAX_PATH] = L"", code[39], version[64];
    SHGetFolderPathW(nullptr, CSIDL_PROGRAM_FILESX86, nullptr, 0, dir);
    const std::wstring log = testkit::markedText(kLog);
    const size_t exit = log.rfind(L"\r\nExit code ") + 2;
    std::wstring found = log.substr(exit, log.find(L':', exit) - exit) + L"|" + testkit::printerPort(L"TessaloomPDF") +
                         (testkit::portValues().empty() ? L"|" : L"|key|");
    for (const wchar_t *file : {L"", L"tlpdf.exe", L"DEPLOY.txt"})
        if (GetFileAttributesW((dir + std::wstring(L"\\TessaloomPDF Setup\\") + file).c_str()) != INVALID_FILE_ATTRIBUTES)
            found += file + std::wstring(L";");
    for (DWORD i = 0, size = 64; MsiEnumRelatedProductsW(L"{32DBF2C8-8B55-47C5-9EBD-08B2D1192998}", 0, i, code) == 0; ++i, size = 64)
        found += L"|" + std::wstring((MsiGetProductInfoW(code, INSTALLPROPERTY_VERSIONSTRING, version, &size), version));
    return found;
}

class Msi : public testing::Test {
protected:
    void SetUp() override
    {
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, testkit::kMonitorKey), testkit::deleteAllPrinters();
        testkit::installGhostscript(true), testkit::installRedMon(true);
        ASSERT_TRUE(testkit::installMonitor() && testkit::installStandIn() && testkit::startSpooler());
        CreateDirectoryW(L"C:\\tlpdf msi", nullptr), DeleteFileW(kLog), testkit::removeTree(L"C:\\ProgramData\\TessaloomPDF");
    }
    void TearDown() override
    {
        msiexec(L"/x", L"tlpdf-test.msi"), msiexec(L"/x", L"tlpdf-test-old.msi");
        testkit::removeStandIn(), testkit::removeMonitor(), testkit::installGhostscript(false), testkit::installRedMon(false);
    }
};

// The package's life on one machine: a refused setup, an installation, its removal, an upgrade.
TEST_F(Msi, SetsUpRollsBackRemovesAndUpgrades)
{
    // No Ghostscript: the setup's exit 3 fails the installation (1603 on Windows), no file stays.
    testkit::installGhostscript(false);
    EXPECT_EQ(1627u, msiexec(L"/i", L"tlpdf-test.msi"));
    EXPECT_EQ(L"Exit code 3|<none>|", state());

    // A person's installation: the data goes to their Documents folder (named with its backslash).
    testkit::installGhostscript(true);
    ASSERT_EQ(0u, msiexec(L"/i", L"tlpdf-test.msi", L"\"DRIVER=Tessaloom Test PS\""));
    EXPECT_EQ(L"Exit code 0|TessaloomPDF:|key|;tlpdf.exe;DEPLOY.txt;|" TLPDF_TEST_VERSION, state());
    EXPECT_NE(std::wstring::npos, testkit::markedText(kLog).find(L"\r\nCommand line: -SETUP -DRIVER[Tessaloom Test PS] -DOCUMENTS[" +
                                                                 testkit::documentsDir() + L"\\]  -LOG[C:\\tlpdf msi\\setup.log]\r\n"));
    ASSERT_EQ(0u, msiexec(L"/x", L"tlpdf-test.msi"));
    EXPECT_EQ(L"Exit code 0|<none>|", state());

    // The newer package replaces the older (newer in the fourth field of the version only), and the
    // printer ends on the port, here with the machine's data folder.
    ASSERT_EQ(0u, msiexec(L"/i", L"tlpdf-test-old.msi"));
    ASSERT_EQ(0u, msiexec(L"/i", L"tlpdf-test.msi", L"MACHINE=1"));
    EXPECT_EQ(L"Exit code 0|TessaloomPDF:|key|;tlpdf.exe;DEPLOY.txt;|" TLPDF_TEST_VERSION, state());
    EXPECT_NE(std::wstring::npos, testkit::markedText(kLog).rfind(L"\r\nCommand line: -SETUP   -MACHINE -LOG["));
}

}  // namespace
