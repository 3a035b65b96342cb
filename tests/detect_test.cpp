// Component detection against the Wine prefix as the machine: Ghostscript keys, the RedMon
// library file, installed printers, and the data folder.
#include <gtest/gtest.h>
#include <string>
#include <vector>
#include "app/identity.h"
#include "detect/gs.h"
#include "detect/locations.h"
#include "detect/printers.h"
#include "detect/redmon.h"
#include "support/appstate.h"
#include "support/mem.h"
#include "support/settings.h"
#include "support/sys.h"
#include "tests/common/testkit.h"

namespace {

const wchar_t kGsRoot[] = L"Software\\GPL Ghostscript";

bool keyExists(const wchar_t *path)
{
    HKEY key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key) != 0)
        return false;
    RegCloseKey(key);
    return true;
}

void addVersion(const wchar_t *version, const wchar_t *gsDll, DWORD dllType = REG_SZ, const wchar_t *gsLib = nullptr)
{
    std::wstring path = std::wstring(kGsRoot) + L"\\" + version;
    HKEY key;
    ASSERT_EQ(0, RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                                 nullptr));
    auto set = [&](const wchar_t *name, const wchar_t *value, DWORD type) {
        RegSetValueExW(key, name, 0, type, reinterpret_cast<const BYTE *>(value),
                       static_cast<DWORD>((wcslen(value) + 1) * sizeof(wchar_t)));
    };
    if (gsDll)
        set(L"GS_DLL", gsDll, dllType);
    if (gsLib)
        set(L"GS_LIB", gsLib, REG_SZ);
    RegCloseKey(key);
}

std::wstring text(HGLOBAL block)
{
    MemLock<wchar_t> t(block);
    std::wstring s = t ? t.get() : L"<null>";
    return s;
}

class Detection : public testing::Test {
protected:
    void SetUp() override
    {
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, kGsRoot);
        gs2_ResetForTest();
        sysTestReset();
        redmonTestSetRedirectionCalls(nullptr, nullptr);
        DeleteFileW(redmonPath().c_str());
    }
    void TearDown() override { SetUp(); }
    static std::wstring redmonPath(const wchar_t *name = L"redmonnt.dll") { return testkit::systemDir() + L"\\" + name; }
};

TEST_F(Detection, HighestVersionComparesAsDecimalFractions)
{
    struct Row {
        std::vector<const wchar_t *> versions;
        const wchar_t *chosen;
    } rows[] = {
        {{L"8.71", L"9.05", L"9.02"}, L"9.05"},
        {{L"9.05", L"9.050"}, L"9.05"},  // equal numbers keep the first enumerated
        {{L"9.10", L"9.9"}, L"9.9"},
        {{L"beta", L"alpha"}, L"alpha"},  // no numbers: the first (sorted) name stays
    };
    for (const Row &row : rows) {
        SetUp();
        for (const wchar_t *v : row.versions)
            addVersion(v, nullptr);
        gs2_IsGhostscriptInstalled();
        EXPECT_STREQ(row.chosen, gs2_ChosenVersion());
    }
    // Names are cut to eight characters, and the cut name is the key then opened.
    SetUp();
    gs2_PickHighestVersion((std::wstring(300, L'9') + L"\n1.0").c_str());
    EXPECT_STREQ(L"99999999", gs2_ChosenVersion());
    SetUp();
    addVersion(L"10.0123456789", L"C:\\gs\\gs10.0123456789\\bin\\gsdll32.dll");
    EXPECT_EQ(0, gs2_IsGhostscriptInstalled());
    EXPECT_STREQ(L"10.01234", gs2_ChosenVersion());
}

TEST_F(Detection, RootAndConsolePathFromGsDll)
{
    addVersion(L"9.05", L"C:\\Program Files\\gs\\gs9.05\\bin\\gsdll32.dll");
    wchar_t root[257], version[16], console[257];
    ASSERT_EQ(1, gs2_GetGhostscriptRoot(root, version));
    EXPECT_STREQ(L"C:\\Program Files\\gs", root);
    EXPECT_STREQ(L"9.05", version);
    ASSERT_EQ(1, gs2_GetGhostscriptConsolePath(console));
    EXPECT_STREQ(L"C:\\Program Files\\gs\\gs9.05\\bin\\gswin32c.exe", console);
    EXPECT_EQ(1, gs2_IsGhostscriptInstalled());
}

// The registry view this process does not see by default (a 64-bit installer's from a 32-bit
// process, and the other way round).
const REGSAM kOtherView = sizeof(void *) == 8 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;

void addPlaced(const wchar_t *vendor, REGSAM view, const wchar_t *version, const wchar_t *gsDll)
{
    std::wstring path = std::wstring(L"Software\\") + vendor + L"\\" + version;
    HKEY key;
    ASSERT_EQ(0, RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | view, nullptr,
                                 &key, nullptr));
    RegSetValueExW(key, L"GS_DLL", 0, REG_SZ, reinterpret_cast<const BYTE *>(gsDll),
                   static_cast<DWORD>((wcslen(gsDll) + 1) * sizeof(wchar_t)));
    RegCloseKey(key);
}

bool keyIn(REGSAM view, const wchar_t *path)
{
    HKEY key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ | view, &key) != 0)
        return false;
    RegCloseKey(key);
    return true;
}

void clearPlaces()
{
    for (REGSAM view : {static_cast<REGSAM>(0), kOtherView}) {
        for (const wchar_t *vendor : {L"Software\\GPL Ghostscript", L"Software\\Artifex Ghostscript"}) {
            HKEY software;
            if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software", 0, KEY_ALL_ACCESS | view, &software) == 0) {
                RegDeleteTreeW(software, vendor + 9);
                RegCloseKey(software);
            }
        }
    }
}

// The first place is the 32-bit installer's, as always; only when it has no usable Ghostscript
// do the other view and the commercial builds' key count, with the same version choice. The
// console program follows the library: gsdll64.dll comes with gswin64c.exe.
TEST_F(Detection, GhostscriptInTheOtherViewOrUnderArtifex)
{
    const wchar_t *gpl = L"GPL Ghostscript", *artifex = L"Artifex Ghostscript";
    struct Place {
        const wchar_t *vendor;
        bool other;
        const wchar_t *version, *dll;
    };
    const struct {
        std::vector<Place> places;
        const wchar_t *version, *console;  // null: not installed
    } rows[] = {
        {{{gpl, true, L"9.53", L"C:\\Program Files\\gs\\gs9.53\\bin\\gsdll64.dll"},
          {gpl, true, L"9.10", L"C:\\Program Files\\gs\\gs9.10\\bin\\gsdll64.dll"}},
         L"9.53", L"C:\\Program Files\\gs\\gs9.53\\bin\\gswin64c.exe"},
        {{{artifex, false, L"10.02", L"C:\\gs\\gs10.02\\bin\\gsdll32.dll"}}, L"10.02", L"C:\\gs\\gs10.02\\bin\\gswin32c.exe"},
        {{{artifex, true, L"10.02", L"C:\\gs\\gs10.02\\bin\\GSDLL64.DLL"}}, L"10.02", L"C:\\gs\\gs10.02\\bin\\gswin64c.exe"},
        // A usable first place wins over the others.
        {{{gpl, false, L"9.05", L"C:\\gs\\gs9.05\\bin\\gsdll32.dll"}, {gpl, true, L"9.53", L"C:\\gs\\gs9.53\\bin\\gsdll64.dll"}},
         L"9.05", L"C:\\gs\\gs9.05\\bin\\gswin32c.exe"},
        // An unusable one does not: its value lacks gs followed by the version.
        {{{gpl, false, L"9.05", L"D:\\ghost\\gsdll32.dll"}, {artifex, true, L"9.56", L"C:\\gs\\gs9.56\\bin\\gsdll64.dll"}},
         L"9.56", L"C:\\gs\\gs9.56\\bin\\gswin64c.exe"},
        {{{artifex, true, L"9.56", L"D:\\ghost\\gsdll64.dll"}}, nullptr, nullptr},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.console ? row.console : L"<none>")));
        clearPlaces();
        gs2_ResetForTest();
        for (const Place &p : row.places)
            addPlaced(p.vendor, p.other ? kOtherView : 0, p.version, p.dll);
        wchar_t root[257], version[16], console[257] = L"";
        EXPECT_EQ(row.version ? 1 : 0, gs2_IsGhostscriptInstalled());
        if (!row.version)
            continue;
        ASSERT_EQ(1, gs2_GetGhostscriptConsolePath(console));
        EXPECT_STREQ(row.console, console);
        ASSERT_EQ(1, gs2_GetGhostscriptRoot(root, version));
        EXPECT_STREQ(row.version, version);
        EXPECT_STREQ(row.version, gs2_ChosenVersion());
    }
    // Only the first place is created when missing, in this process's own view.
    EXPECT_TRUE(keyIn(0, kGsRoot));
    EXPECT_FALSE(keyIn(0, L"Software\\Artifex Ghostscript"));
    clearPlaces();
}

TEST_F(Detection, ExpandStringIsIgnoredAndGsLibTriedWithTheSameByteCount)
{
    // GS_LIB is read with the byte count the GS_DLL query left behind.
    addVersion(L"9.05", L"%ProgramFiles%\\gs\\gs9.05\\bin\\gsdll32.dll", REG_EXPAND_SZ,
               L"C:\\gs\\gs9.05\\lib;C:\\gs\\fonts");
    wchar_t root[257], version[16], console[257];
    ASSERT_EQ(1, gs2_GetGhostscriptRoot(root, version));
    EXPECT_STREQ(L"C:\\gs", root);
    EXPECT_EQ(0, gs2_GetGhostscriptConsolePath(console));  // the console path needs GS_DLL

    SetUp();
    addVersion(L"9.05", L"%X%\\gs9.05\\gsdll32.dll", REG_EXPAND_SZ, L"C:\\Program Files\\gs\\gs9.05\\lib;C:\\fonts");
    EXPECT_EQ(0, gs2_GetGhostscriptRoot(root, version));  // longer than that count: not read
}

TEST_F(Detection, PathWithoutGsAndVersionIsNotInstalledYetHasAConsolePath)
{
    addVersion(L"9.05", L"D:\\tools\\ghost\\bin\\gsdll32.dll");
    wchar_t root[257], version[16], console[257];
    EXPECT_EQ(0, gs2_GetGhostscriptRoot(root, version));
    EXPECT_STREQ(L"", root);
    EXPECT_STREQ(L"9.05", version);
    EXPECT_EQ(0, gs2_IsGhostscriptInstalled());
    ASSERT_EQ(1, gs2_GetGhostscriptConsolePath(console));
    EXPECT_STREQ(L"D:\\tools\\ghost\\bin\\gswin32c.exe", console);
}

TEST_F(Detection, SummaryAndRequiredComponentsUseTheCachedFlags)
{
    appSetIdentity(GetModuleHandleW(nullptr));
    gs2_InitComponents(1);  // no Ghostscript key at all
    EXPECT_TRUE(keyExists(kGsRoot));  // left behind, empty
    EXPECT_EQ(L"Ghostscript not installed.\r\nRedMon not installed.\r\n", text(gs2_GetComponentSummary(nullptr)));
    EXPECT_EQ(0, gs2_CheckRequiredComponents());
    EXPECT_EQ(static_cast<DWORD>(GS2_MISSING_GHOSTSCRIPT | GS2_MISSING_REDMON), gs2_GetMissingComponents());
    EXPECT_NE(0u, setGetDword(L"GSPDF_MAXWAIT"));

    // Installed afterwards: the flags stay as they were until the next initialisation.
    addVersion(L"9.05", L"C:\\gs\\gs9.05\\bin\\gsdll32.dll");
    ASSERT_TRUE(testkit::writeFile(redmonPath(), "MZ"));
    EXPECT_EQ(0, gs2_CheckRequiredComponents());
    gs2_InitComponents(1);
    EXPECT_EQ(1, gs2_CheckRequiredComponents());
    EXPECT_EQ(L"Ghostscript version 9.05 installed\r\nRedMon installed.\r\n", text(gs2_GetComponentSummary(nullptr)));

    DeleteFileW(redmonPath().c_str());
    gs2_InitComponents(0);  // RedMon not required
    EXPECT_EQ(1, gs2_CheckRequiredComponents());
    EXPECT_EQ(0u, gs2_GetMissingComponents());
}

// Fakes for the redirection entry points, recording what they were given.
int g_calls;
PVOID g_firstArg;
std::vector<PVOID> g_secondArgs;
BOOL g_firstResult;
BOOL WINAPI fakeFirst(PVOID state)
{
    g_calls = g_calls * 10 + 1;
    g_firstArg = state;
    return g_firstResult;
}
BOOL WINAPI fakeSecond(PVOID state)
{
    g_calls = g_calls * 10 + 2;
    g_secondArgs.push_back(state);
    return TRUE;
}

TEST_F(Detection, RedMonLibraryInTheSystemFolder)
{
    EXPECT_EQ(0, gs2_IsRedMonInstalled());
    ASSERT_TRUE(testkit::writeFile(redmonPath(), "MZ"));
    EXPECT_EQ(1, gs2_IsRedMonInstalled());
    // Not under WOW64, the Driver value is not consulted.
    HKEY key;
    RegCreateKeyExW(HKEY_LOCAL_MACHINE, kRedMonMonitorKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
    RegSetValueExW(key, L"Driver", 0, REG_SZ, reinterpret_cast<const BYTE *>(L"other.dll"), 20);
    RegCloseKey(key);
    EXPECT_EQ(1, gs2_IsRedMonInstalled());
}

TEST_F(Detection, RedMonUnderWow64FollowsTheRedirectionSequence)
{
    SysFacts vista = {};
    vista.major = 6;
    vista.isVista7Family = 1;
    sysTestSetFacts(vista, 1);
    ASSERT_TRUE(testkit::writeFile(redmonPath(), "MZ"));
    // This 64-bit Wine refuses the redirection call: the early return says "not installed".
    EXPECT_EQ(0, gs2_IsRedMonInstalled());

    redmonTestSetRedirectionCalls(fakeFirst, fakeSecond);
    g_firstResult = TRUE;
    g_calls = 0;
    std::wstring longName = std::wstring(140, L'r');  // cut to 128 characters by the read
    const struct {
        const wchar_t *driver;  // null: no Driver value
        const wchar_t *file;    // library file present besides redmonnt.dll
        int expected;
    } rows[] = {
        {nullptr, nullptr, 1},
        {L"othermon.dll", nullptr, 0},
        {L"othermon.dll", L"othermon.dll", 1},
        {longName.c_str(), longName.substr(0, 128).c_str(), 1},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.driver ? row.driver : L"<none>")));
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, kRedMonMonitorKey);
        if (row.driver) {
            HKEY key;
            RegCreateKeyExW(HKEY_LOCAL_MACHINE, kRedMonMonitorKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                            nullptr);
            RegSetValueExW(key, L"Driver", 0, REG_SZ, reinterpret_cast<const BYTE *>(row.driver),
                           static_cast<DWORD>((wcslen(row.driver) + 1) * 2));
            RegCloseKey(key);
        }
        if (row.file)
            testkit::writeFile(redmonPath(row.file), "MZ");
        g_calls = 0;
        g_secondArgs.clear();
        EXPECT_EQ(row.expected, gs2_IsRedMonInstalled());
        EXPECT_EQ(122, g_calls);  // then redirection is switched back on
        EXPECT_NE(nullptr, g_firstArg);
        ASSERT_EQ(2u, g_secondArgs.size());
        EXPECT_EQ(g_firstArg, g_secondArgs[0]);  // both get the address of the saved state
        EXPECT_EQ(nullptr, g_secondArgs[1]);
        if (row.file)
            DeleteFileW(redmonPath(row.file).c_str());
    }
    EXPECT_TRUE(keyExists(kRedMonMonitorKey));

    // A failing first call ends it: no file lookup, no second call.
    g_firstResult = FALSE;
    g_calls = 0;
    EXPECT_EQ(0, gs2_IsRedMonInstalled());
    EXPECT_EQ(1, g_calls);
    redmonTestSetRedirectionCalls(nullptr, fakeSecond);  // entry point missing
    EXPECT_EQ(0, gs2_IsRedMonInstalled());

    // Before Vista the Driver value is not read, but the redirection calls are made.
    SysFacts xp = {};
    xp.major = 5;
    xp.minor = 1;
    sysTestSetFacts(xp, 1);
    redmonTestSetRedirectionCalls(fakeFirst, fakeSecond);
    g_firstResult = TRUE;
    g_calls = 0;
    testkit::deleteRegTree(HKEY_LOCAL_MACHINE, kRedMonMonitorKey);
    EXPECT_EQ(1, gs2_IsRedMonInstalled());
    EXPECT_EQ(122, g_calls);
    EXPECT_FALSE(keyExists(kRedMonMonitorKey));
}

// RedMon 1.9's library names, or the one its registration names, in the machine's own system
// folder, when RedMon 1.7's redmonnt.dll is not there.
TEST_F(Detection, RedMon19NamesInTheRealSystemFolder)
{
    wchar_t windows[MAX_PATH];
    GetSystemWindowsDirectoryW(windows, MAX_PATH);
    // From a 32-bit process the machine's own folder is Sysnative; the 32-bit one does not count.
    const std::wstring real = sysIsWow64() ? std::wstring(windows) + L"\\Sysnative" : testkit::systemDir();
    const struct {
        const wchar_t *file;    // in the real system folder
        const wchar_t *driver;  // the monitor's Driver value; null: none
        int expected;
    } rows[] = {
        {L"redmon64.dll", nullptr, 1},
        {L"redmon32.dll", nullptr, 1},
        {L"monitor19.dll", L"monitor19.dll", 1},
        {L"monitor19.dll", nullptr, 0},
        {L"redmon.dll", L"C:\\elsewhere\\redmon.dll", 0},  // a bare name in the system folder only
        {nullptr, L"missing.dll", 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.file ? row.file : L"<none>")));
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, kRedMonMonitorKey);
        if (row.driver) {
            HKEY key;
            RegCreateKeyExW(HKEY_LOCAL_MACHINE, kRedMonMonitorKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
            RegSetValueExW(key, L"Driver", 0, REG_SZ, reinterpret_cast<const BYTE *>(row.driver),
                           static_cast<DWORD>((wcslen(row.driver) + 1) * 2));
            RegCloseKey(key);
        }
        const std::wstring file = row.file ? real + L"\\" + row.file : L"";
        if (row.file) {
            ASSERT_TRUE(testkit::writeFile(file, "MZ"));
        }
        EXPECT_EQ(row.expected, gs2_IsRedMonInstalled());
        if (row.file)
            DeleteFileW(file.c_str());
    }
    testkit::deleteRegTree(HKEY_LOCAL_MACHINE, kRedMonMonitorKey);
}

// Under WOW64 for real (the 32-bit build): after the check this thread's file names are
// redirected again, so system32 means the 32-bit folder, where the marker file is not.
TEST_F(Detection, RedirectionIsOnAgainAfterTheRedMonCheck)
{
    if (!sysIsWow64())
        GTEST_SKIP() << "not under WOW64; the call sequence is checked through the seam";
    wchar_t windows[MAX_PATH];
    GetSystemWindowsDirectoryW(windows, MAX_PATH);
    const std::wstring native = std::wstring(windows) + L"\\Sysnative\\tlpdf-redirection.txt";
    const std::wstring redirected = testkit::systemDir() + L"\\tlpdf-redirection.txt";
    ASSERT_TRUE(testkit::writeFile(native, "64"));
    ASSERT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesW(redirected.c_str()));
    gs2_IsRedMonInstalled();
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesW(redirected.c_str()));
    DeleteFileW(native.c_str());
}

TEST(Printers, NameTestUsesTheFirstWordAndFoldsAToZ)
{
    const struct {
        const wchar_t *name;
        int expected;
    } rows[] = {
        {L"TessaloomPDF", 1},     {L"tessaloompdf", 1}, {L"TessaloomPDF Copy", 1}, {L"TessaloomPDF on port", 1},
        {L"TessaloomPDF2", 0},    {L"Tessaloom", 0},    {L"", 0},                  {L" TessaloomPDF", 0},
        {L"TESSALOOMPDF\tx", 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.name)));
        EXPECT_EQ(row.expected, gs2_IsDriverPrinterName(row.name, 1));
    }
    EXPECT_EQ(0, gs2_IsDriverPrinterName(nullptr, 0));
}

TEST(Printers, ListAndCountFromTheSpooler)
{
    testkit::deleteAllPrinters();
    int count = -1;
    EXPECT_EQ(nullptr, gs2_GetDriverPrinterList(L'\n', &count));
    EXPECT_EQ(0, count);

    ASSERT_TRUE(testkit::addPrinter(L"TessaloomPDF"));
    ASSERT_TRUE(testkit::addPrinter(L"Office Laser"));
    HGLOBAL list = gs2_GetDriverPrinterList(L'\n', &count);
    EXPECT_EQ(1, count);
    EXPECT_EQ(L"TessaloomPDF", text(list));  // a single name comes bare
    memGFree(list);

    ASSERT_TRUE(testkit::addPrinter(L"TessaloomPDF Copy"));
    ASSERT_TRUE(testkit::addPrinter(L"TessaloomPDF2"));
    list = gs2_GetDriverPrinterList(L'\n', &count);
    EXPECT_EQ(2, count);
    std::wstring names = text(list);
    EXPECT_NE(std::wstring::npos, names.find(L"TessaloomPDF\n"));
    EXPECT_NE(std::wstring::npos, names.find(L"TessaloomPDF Copy\n"));
    EXPECT_EQ(std::wstring::npos, names.find(L"TessaloomPDF2"));
    memGFree(list);
    testkit::deleteAllPrinters();
}

TEST(DataFolder, CreatedRecreatedAndRefusedWhenAFileStandsThere)
{
    const std::wstring folder = testkit::documentsDir() + L"\\TessaloomPDF";
    testkit::removeTree(folder);
    wchar_t out[257];
    ASSERT_EQ(1, gs2_GetDataFolder(out));
    EXPECT_EQ(folder, out);
    EXPECT_EQ(FILE_ATTRIBUTE_DIRECTORY, GetFileAttributesW(folder.c_str()) & FILE_ATTRIBUTE_DIRECTORY);

    RemoveDirectoryW(folder.c_str());
    wchar_t rsp[257];
    ASSERT_EQ(1, gs2_GetRspFilePath(rsp));  // asks for the folder again, and makes it
    EXPECT_EQ(folder + L"\\tl2pdf.rsp", rsp);
    ASSERT_EQ(1, gs2_GetRspFilePathForFile(rsp));
    EXPECT_EQ(folder + L"\\tlpdf.rsp", rsp);

    RemoveDirectoryW(folder.c_str());
    ASSERT_TRUE(testkit::writeFile(folder, "not a folder"));
    testkit::BoxWatcher watcher;
    EXPECT_EQ(0, gs2_GetDataFolder(out));
    auto boxes = watcher.wait();
    ASSERT_EQ(1u, boxes.size());
    EXPECT_EQ(L"", boxes[0].text);  // the message has no text on purpose
    wcscpy(rsp, L"untouched");
    testkit::BoxWatcher second;
    EXPECT_EQ(0, gs2_GetRspFilePath(rsp));
    second.wait();
    EXPECT_STREQ(L"untouched", rsp);
    DeleteFileW(folder.c_str());
    EXPECT_EQ(1, gs2_GetDataFolder(nullptr));
}

TEST_F(Detection, ResponseFileBeforeVistaIsInGhostscriptsRoot)
{
    SysFacts xp = {};
    xp.major = 5;
    xp.minor = 1;
    sysTestSetFacts(xp, 0);
    addVersion(L"9.05", L"C:\\Program Files\\gs\\gs9.05\\bin\\gsdll32.dll");
    wchar_t rsp[257];
    ASSERT_EQ(1, gs2_GetRspFilePath(rsp));
    EXPECT_STREQ(L"C:\\Program Files\\gs\\tl2pdf.rsp", rsp);
}

}  // namespace
