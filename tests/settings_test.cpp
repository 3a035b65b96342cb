// Settings store: typed values under the per-user key, rectangles, the time allowance.
#include <gtest/gtest.h>
#include <string>
#include "support/appstate.h"
#include "support/mem.h"
#include "support/rect.h"
#include "support/settings.h"
#include "support/sys.h"
#include "tests/common/testkit.h"

namespace {

const wchar_t kKeyPath[] = L"Software\\Brindlecourt\\TessaloomPDF\\tlpdf";

class Settings : public testing::Test {
protected:
    void SetUp() override
    {
        AppIdentity id = {};
        wcscpy(id.company, L"Brindlecourt");
        wcscpy(id.product, L"TessaloomPDF");
        wcscpy(id.shortName, L"tlpdf");
        appStoreIdentity(id);
        testkit::deleteRegTree(HKEY_CURRENT_USER, L"Software\\Brindlecourt");
    }
    // Writes a raw value behind the store's back, of any type and length.
    static void raw(const wchar_t *name, DWORD type, const void *data, DWORD size)
    {
        HKEY key;
        ASSERT_EQ(0, RegCreateKeyExW(HKEY_CURRENT_USER, kKeyPath, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                                     nullptr));
        RegSetValueExW(key, name, 0, type, static_cast<const BYTE *>(data), size);
        RegCloseKey(key);
    }
    static DWORD rawSize(const wchar_t *name, DWORD *type)
    {
        HKEY key;
        DWORD size = 0;
        if (RegOpenKeyExW(HKEY_CURRENT_USER, kKeyPath, 0, KEY_READ, &key) == 0) {
            RegQueryValueExW(key, name, nullptr, type, nullptr, &size);
            RegCloseKey(key);
        }
        return size;
    }
};

TEST_F(Settings, ValuesRoundTripAndCreateTheKeyLevels)
{
    EXPECT_EQ(1, setWriteDword(L"GSPDF_SETUP", 1));
    EXPECT_EQ(1u, setGetDword(L"GSPDF_SETUP"));
    EXPECT_EQ(1, setWriteString(L"((1, 2), (3, 4))", L"data_Win_Rect"));
    wchar_t text[256];
    DWORD capacity = sizeof(text);
    EXPECT_EQ(1, setReadString(text, L"data_Win_Rect", &capacity));
    EXPECT_STREQ(L"((1, 2), (3, 4))", text);
    DWORD type = 0;
    EXPECT_EQ(34u, rawSize(L"data_Win_Rect", &type));
    EXPECT_EQ(static_cast<DWORD>(REG_SZ), type);

    // An empty text is stored with size 0.
    EXPECT_EQ(1, setWriteString(L"", L"empty"));
    EXPECT_EQ(0u, rawSize(L"empty", &type));
    EXPECT_EQ(static_cast<DWORD>(REG_SZ), type);
}

TEST_F(Settings, WrongTypesAndLengthsReadAsAbsent)
{
    raw(L"GSPDF_SETUP", REG_SZ, L"1", 4);
    int found = 7;
    EXPECT_EQ(0u, setGetDwordEx(L"GSPDF_SETUP", &found));
    EXPECT_EQ(0, found);
    WORD shortValue = 5;
    raw(L"short", REG_DWORD, &shortValue, sizeof(shortValue));
    EXPECT_EQ(0u, setGetDwordEx(L"short", &found));
    EXPECT_EQ(0, found);
    DWORD number = 9;
    raw(L"numberAsText", REG_DWORD, &number, sizeof(number));
    wchar_t text[256] = L"junk";
    DWORD capacity = sizeof(text);
    EXPECT_EQ(0, setReadString(text, L"numberAsText", &capacity));
    EXPECT_STREQ(L"", text);

    // A string without terminator that fills the buffer is cut, not overrun.
    std::wstring big(300, L'z');
    raw(L"big", REG_SZ, big.data(), 256 * sizeof(wchar_t));
    wchar_t guarded[257];
    guarded[256] = L'#';
    capacity = 256 * sizeof(wchar_t);
    EXPECT_EQ(1, setReadString(guarded, L"big", &capacity));
    EXPECT_EQ(255u, wcslen(guarded));
    EXPECT_EQ(L'#', guarded[256]);
}

TEST_F(Settings, RectanglesParseValidateAndStayInTheWorkArea)
{
    RECT work, r;
    rectGetWorkArea(&work);
    setWriteString(L"10, 20, 30", L"r");
    EXPECT_EQ(0, setReadRect(L"r", &r));
    EXPECT_TRUE(r.left == 0 && r.top == 0 && r.right == 0 && r.bottom == 0);
    setWriteString(L"((10, 20), (300, 200))", L"r");
    ASSERT_EQ(1, setReadRect(L"r", &r));
    EXPECT_EQ(10, r.left);
    EXPECT_EQ(200, r.bottom);
    setWriteString(L"300, 20, 10, 200", L"r");  // right before left
    EXPECT_EQ(0, setReadRect(L"r", &r));

    // Beyond the right and bottom edges: moved in, size kept.
    wchar_t text[64];
    RECT outside = {work.right - 50, work.bottom - 20, work.right + 150, work.bottom + 80};
    rectToText(text, &outside);
    setWriteString(text, L"r");
    ASSERT_EQ(1, setReadRect(L"r", &r));
    EXPECT_EQ(work.right, r.right);
    EXPECT_EQ(work.bottom, r.bottom);
    EXPECT_EQ(200, r.right - r.left);
}

TEST_F(Settings, WindowRectangleIsSavedAndRestoredWithMinimums)
{
    HWND w = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 40, 50, 300, 160, nullptr, nullptr, nullptr, nullptr);
    ASSERT_NE(nullptr, w);
    EXPECT_EQ(0, setRestoreWindowRect(L"data_Win_Rect", w, 200, 100, 0));  // nothing stored yet
    EXPECT_EQ(1, setSaveWindowRect(L"data_Win_Rect", w));
    EXPECT_EQ(L"((40, 50), (340, 210))", testkit::readRegString(HKEY_CURRENT_USER, kKeyPath, L"data_Win_Rect"));

    setWriteString(L"((100, 100), (150, 120))", L"data_Win_Rect");
    ASSERT_EQ(1, setRestoreWindowRect(L"data_Win_Rect", w, 200, 100, 0));
    RECT r;
    GetWindowRect(w, &r);
    EXPECT_EQ(100, r.left);
    EXPECT_EQ(200, r.right - r.left);
    EXPECT_EQ(100, r.bottom - r.top);

    setWriteString(L"((60, 70), (61, 71))", L"data_Win_Rect");
    ASSERT_EQ(1, setRestoreWindowRect(L"data_Win_Rect", w, 0, 0, 1));  // keep the current size
    GetWindowRect(w, &r);
    EXPECT_EQ(60, r.left);
    EXPECT_EQ(200, r.right - r.left);
    DestroyWindow(w);
}

TEST_F(Settings, TimeAllowanceFollowsTheProcessorSpeed)
{
    const DWORD rows[][2] = {{0, 20000}, {1, 67620000}, {1000, 67620}, {2253, 30013}, {2254, 20000}, {4000, 20000}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row[0]);
        EXPECT_EQ(row[1], setMaxWaitForMhz(row[0]));
    }
    DWORD computed = setMaxWaitForMhz(sysGetCpuMhz());
    setPutDword(L"GSPDF_MAXWAIT", 0);
    EXPECT_EQ(computed, setGetMaxWait());
    setInitMaxWait();  // 0 is recomputed and stored
    EXPECT_EQ(computed, setGetDword(L"GSPDF_MAXWAIT"));
    setPutDword(L"GSPDF_MAXWAIT", 1234);
    setInitMaxWait();
    EXPECT_EQ(1234u, setGetMaxWait());
}

TEST_F(Settings, MachineHelpersListSubkeys)
{
    HKEY parent = setOpenSubkeyRead(HKEY_CURRENT_USER, L"Software\\Brindlecourt\\enum");
    ASSERT_NE(nullptr, parent);  // created when missing
    RegCloseKey(parent);
    for (const wchar_t *name : {L"9.05", L"8.71"}) {
        HKEY k;
        std::wstring path = std::wstring(L"Software\\Brindlecourt\\enum\\") + name;
        RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &k, nullptr);
        RegCloseKey(k);
    }
    parent = setOpenSubkeyRead(HKEY_CURRENT_USER, L"Software\\Brindlecourt\\enum");
    int count = 0;
    HGLOBAL list = setEnumSubkeys(parent, L'\n', &count);
    RegCloseKey(parent);
    EXPECT_EQ(2, count);
    {
        MemLock<wchar_t> text(list);
        ASSERT_TRUE(text);
        EXPECT_STREQ(L"8.71\n9.05\n", text.get());
    }
    memGFree(list);
    HKEY software = setOpenMachineSoftware();
    EXPECT_NE(nullptr, software);
    RegCloseKey(software);
}

}  // namespace
