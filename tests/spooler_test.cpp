// The spooler around the setup: the port monitor's AddPort, the Print Spooler service, and a
// typical 64-bit machine of today, run through the real program.
#include <gtest/gtest.h>
#include <algorithm>
#include <string>
#include <vector>
#include "app/identity.h"
#include "detect/gs.h"
#include "diag/trace.h"
#include "res/resource.h"
#include "setup/autosetup.h"
#include "setup/port.h"
#include "support/res.h"
#include "support/sys.h"
#include "tests/common/standin.h"
#include "tests/common/testkit.h"

namespace {

const wchar_t kSettingsKey[] = L"Software\\Brindlecourt\\TessaloomPDF\\tlpdf";
const wchar_t kMonitorKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Redirected Port";
const wchar_t kPortKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Redirected Port\\Ports\\TessaloomPDF:";
const std::vector<std::wstring> kTwelveValues = {
    L"Arguments", L"Command",  L"Delay",     L"Description", L"LogFileDebug", L"LogFileName",
    L"LogFileUse", L"Output",  L"PrintError", L"Printer",    L"RunUser",      L"ShowWindow"};

std::vector<std::wstring> portValueNames()
{
    std::vector<std::wstring> names;
    HKEY key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kPortKey, 0, KEY_READ, &key) != 0)
        return names;
    wchar_t name[256];
    for (DWORD i = 0, length = 256; RegEnumValueW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr) == 0;
         i++, length = 256)
        names.push_back(name);
    RegCloseKey(key);
    std::sort(names.begin(), names.end());
    return names;
}

std::wstring loaded(UINT id)
{
    wchar_t text[512];
    resLoadString(nullptr, id, text, 512);
    return text;
}

// The Print Spooler service of the test prefix.
class SpoolerService {
public:
    SpoolerService()
    {
        manager_ = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
        service_ = manager_ ? OpenServiceW(manager_, L"Spooler", SERVICE_ALL_ACCESS) : nullptr;
        startType_ = startType();
    }
    ~SpoolerService()
    {
        if (service_) {
            setStartType(startType_);  // whatever a test did, the start type is the prefix's again
            CloseServiceHandle(service_);
        }
        if (manager_)
            CloseServiceHandle(manager_);
    }
    SpoolerService(const SpoolerService &) = delete;
    SpoolerService &operator=(const SpoolerService &) = delete;
    bool valid() const { return service_ != nullptr; }
    DWORD state() const
    {
        SERVICE_STATUS status = {};
        return QueryServiceStatus(service_, &status) ? status.dwCurrentState : 0;
    }
    bool stop() const
    {
        SERVICE_STATUS status;
        ControlService(service_, SERVICE_CONTROL_STOP, &status);
        return testkit::waitFor([&] { return state() == SERVICE_STOPPED; }, 30000);
    }
    DWORD startType() const
    {
        BYTE buffer[8192];
        DWORD needed = 0;
        auto *config = reinterpret_cast<QUERY_SERVICE_CONFIGW *>(buffer);
        return service_ && QueryServiceConfigW(service_, config, sizeof(buffer), &needed) ? config->dwStartType
                                                                                            : SERVICE_DEMAND_START;
    }
    bool setStartType(DWORD type) const
    {
        return ChangeServiceConfigW(service_, SERVICE_NO_CHANGE, type, SERVICE_NO_CHANGE, nullptr, nullptr, nullptr,
                                    nullptr, nullptr, nullptr, nullptr) != FALSE;
    }
private:
    SC_HANDLE manager_ = nullptr, service_ = nullptr;
    DWORD startType_ = SERVICE_DEMAND_START;
};

class Spooler : public testing::Test {
protected:
    void SetUp() override
    {
        appSetIdentity(GetModuleHandleW(nullptr));
        testkit::deleteRegTree(HKEY_CURRENT_USER, kSettingsKey);
        testkit::removeMonitor();
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, kMonitorKey);
        testkit::deleteAllPrinters();
        testkit::installGhostscript(true);
        testkit::installRedMon(true);
        gs2_ResetForTest();
        sysTestReset();
        ASSERT_TRUE(testkit::installStandIn());
        dbg_SetDebugMode(1);
        dbg_StartTrace();
    }
    void TearDown() override
    {
        dbg_SetDebugMode(0);
        testkit::removeStandIn();
        testkit::removeMonitor();
        testkit::deleteAllPrinters();
        testkit::installGhostscript(false);
        testkit::installRedMon(false);
        gs2_ResetForTest();
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, kMonitorKey);
    }
};

// A running spooler learns about a port only through the monitor's AddPort: it is sent once on
// a fresh machine, not when the monitor lists the port already, and the port key ends with the
// twelve values whatever the monitor wrote. Without the monitor the registry alone does it.
TEST_F(Spooler, MonitorGetsAddPortOnceWhenItDoesNotListThePort)
{
    const struct {
        bool monitor, listed;
        std::vector<std::wstring> log;
        const wchar_t *trace;
    } rows[] = {
        {true, false, {L"AddPort\tTessaloomPDF:"}, L"\r\nPort TessaloomPDF: added through the Redirected Port monitor (status 0).\r\n[Create Key (OK)]"},
        {true, true, {}, L"\r\nPort TessaloomPDF: is known to the spooler.\r\n[Create Key (OK)]"},
        {false, false, {}, L"\r\nThe Redirected Port monitor cannot be opened; the port is written to the registry only (error "},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << row.monitor << row.listed);
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, kMonitorKey);
        if (row.monitor) {
            ASSERT_TRUE(testkit::installMonitor());
            testkit::setMonitorPorts(row.listed ? std::vector<std::wstring>{L"TessaloomPDF:"} : std::vector<std::wstring>{});
        } else {
            testkit::removeMonitor();
        }
        dbg_StartTrace();
        for (int run = 0; run < 2; run++)  // the second run finds the port listed
            ASSERT_EQ(1, gs2_AddRedirectedPortUsingRegistry(nullptr, L"TessaloomPDF:", L"C:\\gs\\gswin32c.exe"));
        EXPECT_EQ(row.log, testkit::monitorLog());
        EXPECT_EQ(kTwelveValues, portValueNames());
        EXPECT_NE(std::wstring::npos, testkit::traceText().find(row.trace)) << testing::PrintToString(testkit::traceText());
    }
}

// A stopped spooler is started before the setup goes on.
TEST_F(Spooler, StoppedServiceIsStartedFirst)
{
    SpoolerService spooler;
    ASSERT_TRUE(spooler.valid());
    ASSERT_TRUE(spooler.stop());
    testkit::BoxWatcher watcher(1, 300);
    EXPECT_NE(0u, gs2_AutoSetupTessaloomPDF(nullptr, L"", 1));
    EXPECT_TRUE(watcher.wait().empty());
    EXPECT_EQ(static_cast<DWORD>(SERVICE_RUNNING), spooler.state());
    std::wstring trace = testkit::traceText();
    size_t starting = trace.find(L"\tPrint Spooler service is not running: starting it.\r\n\tPrint Spooler service started (");
    EXPECT_NE(std::wstring::npos, starting) << testing::PrintToString(trace);
    EXPECT_LT(starting, trace.find(L"[gs2_AddRedirectedPortUsingRegistry] starts"));
}

// The real program on a machine whose spooler is disabled: one clear message, nothing changed.
TEST_F(Spooler, DisabledServiceIsRefusedAndNothingChanges)
{
    SpoolerService spooler;
    ASSERT_TRUE(spooler.valid());
    ASSERT_TRUE(spooler.stop());
    ASSERT_TRUE(spooler.setStartType(SERVICE_DISABLED));
    testkit::Child child(testkit::binPath(L"tlpdf.exe"), L"");
    testkit::BoxInfo box = testkit::pressSetup(child, true);
    ASSERT_NE(nullptr, box.window);
    EXPECT_EQ(L" Error", box.caption);
    EXPECT_EQ(loaded(IDS_SPOOLER_REFUSED), box.text);
    testkit::closeMessageBox(box.window);
    PostMessageW(testkit::findTopWindow(child.pid(), L"tlpdf_class"), WM_CLOSE, 0, 0);
    EXPECT_TRUE(child.waitExit(20000));

    EXPECT_EQ(static_cast<DWORD>(SERVICE_STOPPED), spooler.state());
    EXPECT_TRUE(portValueNames().empty());
    EXPECT_TRUE(testkit::standInLog().empty());
    EXPECT_EQ(-1, testkit::readRegDword(HKEY_CURRENT_USER, kSettingsKey, L"GSPDF_SETUP"));
    std::wstring trace = testkit::traceText();
    EXPECT_NE(std::wstring::npos, trace.find(L"\tPrint Spooler service is disabled.\r\n\t[gs2_AutoSetupTessaloomPDF] " +
                                             loaded(IDS_SPOOLER_REFUSED) + L"\r\n[gs2_AutoSetupTessaloomPDF] ends\r\n"))
        << testing::PrintToString(trace);
}

// The real program on a typical 64-bit machine of today: Ghostscript only in the registry view
// of its 64-bit installer, RedMon 1.9 registered with its monitor (no redmonnt.dll), a stopped
// spooler that does not know the port yet.
TEST_F(Spooler, RealProgramSetsUpTodaysMachine)
{
    const REGSAM otherView = sizeof(void *) == 8 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;
    testkit::installGhostscript(false);
    testkit::installRedMon(false);
    HKEY key;
    ASSERT_EQ(0, RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"Software\\GPL Ghostscript\\9.56", 0, nullptr, 0,
                                 KEY_ALL_ACCESS | otherView, nullptr, &key, nullptr));
    const wchar_t dll[] = L"C:\\Program Files\\gs\\gs9.56\\bin\\gsdll64.dll";
    RegSetValueExW(key, L"GS_DLL", 0, REG_SZ, reinterpret_cast<const BYTE *>(dll), sizeof(dll));
    RegCloseKey(key);
    ASSERT_TRUE(testkit::installMonitor());
    SpoolerService spooler;
    ASSERT_TRUE(spooler.stop());

    testkit::Child child(testkit::binPath(L"tlpdf.exe"), L"");
    testkit::BoxInfo box = testkit::pressSetup(child, true);
    ASSERT_NE(nullptr, box.window);
    EXPECT_EQ(loaded(IDS_SETUP_COMPLETED), box.text);
    testkit::closeMessageBox(box.window);
    EXPECT_TRUE(child.waitExit(20000));

    EXPECT_EQ(L"C:\\Program Files\\gs\\gs9.56\\bin\\gswin64c.exe",
              testkit::readRegString(HKEY_LOCAL_MACHINE, kPortKey, L"Command"));
    EXPECT_EQ(std::vector<std::wstring>{L"AddPort\tTessaloomPDF:"}, testkit::monitorLog());
    EXPECT_EQ(kTwelveValues, portValueNames());
    EXPECT_EQ(1, testkit::readRegDword(HKEY_CURRENT_USER, kSettingsKey, L"GSPDF_SETUP"));
    EXPECT_EQ(static_cast<DWORD>(SERVICE_RUNNING), spooler.state());
    std::wstring trace = testkit::traceText();
    EXPECT_NE(std::wstring::npos, trace.find(L"Ghostscript version 9.56 installed\r\nRedMon installed.\r\n"))
        << testing::PrintToString(trace);

    HKEY software;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software", 0, KEY_ALL_ACCESS | otherView, &software) == 0) {
        RegDeleteTreeW(software, L"GPL Ghostscript");
        RegCloseKey(software);
    }
}

}  // namespace
