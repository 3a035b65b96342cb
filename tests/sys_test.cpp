// System facts, classified for real under the Windows versions Wine can pretend to be.
#include <gtest/gtest.h>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include "support/sys.h"
#include "tests/common/testkit.h"

namespace {

struct Expected {
    const wchar_t *wineVersion;
    int major, minor, code;
    int vistaOrLater, win7, win7OrLater, win8, win8OrLater, xpFamily, vista7Family;
};

std::string runFacts(const wchar_t *version)
{
    std::wstring name = std::wstring(L"sys_test_") + version + L".exe";
    std::wstring exe = testkit::exeAsWindowsVersion(testkit::selfPath(), name, version);
    std::wstring out = testkit::tempDir(L"sys") + L"\\" + version + L".txt";
    testkit::Child child(exe, L"--facts \"" + out + L"\"");
    if (!child.waitExit(20000))
        return "";
    std::ifstream in(out.c_str());
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

TEST(SystemFacts, ClassifiesEachWindowsVersion)
{
    const Expected rows[] = {
        {L"winxp", 5, 1, 501, 0, 0, 0, 0, 0, 1, 0},  {L"vista", 6, 0, 600, 1, 0, 0, 0, 0, 0, 1},
        {L"win7", 6, 1, 601, 1, 1, 1, 0, 0, 0, 1},   {L"win8", 6, 2, 602, 1, 0, 1, 1, 1, 0, 1},
        {L"win10", 10, 0, 1000, 1, 0, 1, 0, 1, 0, 0},
    };
    for (const Expected &e : rows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(e.wineVersion)));
        char expected[256];
        // Before classifying, the 64-bit answer is 0; after it, both builds are on 64-bit
        // Windows: the x86_64 one by its architecture, the i686 one through WOW64.
        snprintf(expected, sizeof(expected),
                 "before64=0 platform=2 major=%d minor=%d code=%d vista=%d win7=%d win7up=%d win8=%d win8up=%d "
                 "xp=%d vista7=%d is64=1 wow64=%d admin=1\n",
                 e.major, e.minor, e.code, e.vistaOrLater, e.win7, e.win7OrLater, e.win8, e.win8OrLater,
                 e.xpFamily, e.vista7Family, testkit::kIs32BitBuild ? 1 : 0);
        EXPECT_EQ(expected, runFacts(e.wineVersion));
    }
}

TEST(SystemFacts, TestSeamFixesTheCachedFacts)
{
    SysFacts facts = {};
    facts.major = 6;
    facts.minor = 1;
    facts.isVista7Family = 1;
    sysTestSetFacts(facts, 1);
    EXPECT_EQ(1, sysIsWow64());
    EXPECT_EQ(601, sysVersionCode());
    EXPECT_EQ(1, sysIsWin7());
    EXPECT_EQ(0, sysIs64Bit());
    sysTestSetAdmin(0);
    EXPECT_EQ(0, sysIsAdmin());
    sysTestReset();
    EXPECT_EQ(testkit::kIs32BitBuild ? 1 : 0, sysIsWow64());
    EXPECT_EQ(1, sysIsAdmin());
}

}  // namespace

// "--facts FILE": report what this process sees, for the parent test to compare.
TESTKIT_CHILD_MODE(facts, L"--facts", [](int count, wchar_t **args) {
    if (count != 3)
        return 2;
    int before64 = sysIs64Bit();
    DWORD platform = sysClassify();
    const SysFacts &f = sysFacts();
    FILE *out = _wfopen(args[2], L"w");
    if (!out)
        return 2;
    fprintf(out,
            "before64=%d platform=%lu major=%lu minor=%lu code=%d vista=%d win7=%d win7up=%d win8=%d win8up=%d "
            "xp=%d vista7=%d is64=%d wow64=%d admin=%d\n",
            before64, platform, f.major, f.minor, sysVersionCode(), sysIsVistaOrLater(), sysIsWin7(),
            sysIsWin7OrLater(), sysIsWin8(), sysIsWin8OrLater(), f.is2000XpFamily, f.isVista7Family, sysIs64Bit(),
            sysIsWow64(), sysIsAdmin());
    fclose(out);
    return 0;
})
