// Component detection against the Wine prefix as the machine: Ghostscript's keys, RedMon's
// library.
#include <gtest/gtest.h>
#include <string>
#include <vector>
#include "detect/gs.h"
#include "detect/redmon.h"
#include "support/sys.h"
#include "tests/common/testkit.h"

namespace {

const REGSAM kOtherView = sizeof(void *) == 8 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;

void setValue(HKEY root, const std::wstring &path, REGSAM view, const wchar_t *name, const wchar_t *value,
              DWORD type = REG_SZ)
{
    HKEY key;
    ASSERT_EQ(0, RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | view, nullptr, &key, nullptr));
    if (value)
        RegSetValueExW(key, name, 0, type, reinterpret_cast<const BYTE *>(value),
                       static_cast<DWORD>((wcslen(value) + 1) * sizeof(wchar_t)));
    RegCloseKey(key);
}

class Detection : public testing::Test {
protected:
    void SetUp() override
    {
        for (REGSAM view : {static_cast<REGSAM>(0), kOtherView}) {
            HKEY software;
            if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software", 0, KEY_ALL_ACCESS | view, &software) == 0) {
                RegDeleteTreeW(software, L"GPL Ghostscript");
                RegDeleteTreeW(software, L"Artifex Ghostscript");
                RegCloseKey(software);
            }
        }
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, kRedMonMonitorKey);
        gs2_ResetForTest();
        sysTestReset();
        redmonTestSetRedirectionCalls(nullptr, nullptr);
    }
    void TearDown() override { SetUp(); }
};

// The highest version as a decimal fraction, names cut to eight characters, in the 32-bit
// installer's place first; only when that has no usable Ghostscript do the other view and the
// commercial builds' key count. The console program follows the library's name.
TEST_F(Detection, GhostscriptVersionPlaceAndConsoleProgram)
{
    const wchar_t *gpl = L"Software\\GPL Ghostscript\\", *artifex = L"Software\\Artifex Ghostscript\\";
    struct Place {
        const wchar_t *vendor;
        bool other;
        const wchar_t *version, *dll;  // dll null: no GS_DLL value
    };
    const struct {
        std::vector<Place> places;
        const wchar_t *version, *console;  // console null: not installed
    } rows[] = {
        {{{gpl, false, L"8.71", nullptr}, {gpl, false, L"9.05", L"C:\\Program Files\\gs\\gs9.05\\bin\\gsdll32.dll"},
          {gpl, false, L"9.02", nullptr}}, L"9.05", L"C:\\Program Files\\gs\\gs9.05\\bin\\gswin32c.exe"},
        {{{gpl, false, L"9.10", nullptr}, {gpl, false, L"9.9", L"C:\\gs\\gs9.9\\bin\\gsdll32.dll"}}, L"9.9", L"C:\\gs\\gs9.9\\bin\\gswin32c.exe"},
        {{{gpl, false, L"beta", nullptr}, {gpl, false, L"alpha", nullptr}}, L"alpha", nullptr},
        {{{gpl, false, L"10.0123456789", L"C:\\gs\\gs10.0123456789\\bin\\gsdll32.dll"}}, L"10.01234", nullptr},
        {{{gpl, true, L"9.53", L"C:\\Program Files\\gs\\gs9.53\\bin\\gsdll64.dll"},
          {gpl, true, L"9.10", L"C:\\Program Files\\gs\\gs9.10\\bin\\gsdll64.dll"}}, L"9.53", L"C:\\Program Files\\gs\\gs9.53\\bin\\gswin64c.exe"},
        {{{artifex, false, L"10.02", L"C:\\gs\\gs10.02\\bin\\gsdll32.dll"}}, L"10.02", L"C:\\gs\\gs10.02\\bin\\gswin32c.exe"},
        {{{artifex, true, L"10.02", L"C:\\gs\\gs10.02\\bin\\GSDLL64.DLL"}}, L"10.02", L"C:\\gs\\gs10.02\\bin\\gswin64c.exe"},
        {{{gpl, false, L"9.05", L"C:\\gs\\gs9.05\\bin\\gsdll32.dll"}, {gpl, true, L"9.53", L"C:\\gs\\gs9.53\\bin\\gsdll64.dll"}},
         L"9.05", L"C:\\gs\\gs9.05\\bin\\gswin32c.exe"},
        // Not usable: the value lacks "gs" followed by the version.
        {{{gpl, false, L"9.05", L"D:\\ghost\\gsdll32.dll"}, {artifex, true, L"9.56", L"C:\\gs\\gs9.56\\bin\\gsdll64.dll"}},
         L"9.56", L"C:\\gs\\gs9.56\\bin\\gswin64c.exe"},
        {{{artifex, true, L"9.56", L"D:\\ghost\\gsdll64.dll"}}, L"", nullptr},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.places[0].version)));
        SetUp();
        for (const Place &p : row.places)
            setValue(HKEY_LOCAL_MACHINE, std::wstring(p.vendor) + p.version, p.other ? kOtherView : 0, L"GS_DLL", p.dll);
        wchar_t console[257] = L"";
        int installed = gs2_IsGhostscriptInstalled(), found = gs2_GetGhostscriptConsolePath(console);
        EXPECT_EQ(std::to_wstring(row.console ? 1 : 0) + row.version + L"|" + (row.console ? row.console : L""),
                  std::to_wstring(installed * found) + gs2_ChosenVersion() + L"|" + console);
    }
    // Only the first place is created when missing, in this process's own view.
    EXPECT_TRUE(testkit::keyExists(HKEY_LOCAL_MACHINE, L"Software\\GPL Ghostscript"));
    EXPECT_FALSE(testkit::keyExists(HKEY_LOCAL_MACHINE, L"Software\\Artifex Ghostscript"));
}

TEST_F(Detection, RedMonLibraryByEitherVersionsNames)
{
    const std::wstring real = testkit::nativeSystemDir();
    const struct {
        const wchar_t *file, *driver;
        int expected;
    } rows[] = {
        {L"redmonnt.dll", nullptr, 1},      {L"redmon64.dll", nullptr, 1},       {L"redmon32.dll", nullptr, 1},
        {L"monitor19.dll", L"monitor19.dll", 1}, {L"monitor19.dll", nullptr, 0},
        {L"redmon.dll", L"C:\\elsewhere\\redmon.dll", 0},  // the Driver value counts as a bare name only
        {nullptr, L"missing.dll", 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.file ? row.file : L"-")));
        SetUp();
        if (row.driver)
            setValue(HKEY_LOCAL_MACHINE, kRedMonMonitorKey, 0, L"Driver", row.driver);
        const std::wstring file = row.file ? real + L"\\" + row.file : L"";
        ASSERT_TRUE(!row.file || testkit::writeFile(file, "MZ"));
        EXPECT_EQ(row.expected, gs2_IsRedMonInstalled());
        DeleteFileW(file.c_str());
    }
}

}  // namespace
