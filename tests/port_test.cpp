// The redirected port's registry key: twelve values, replacement, and the failure paths.
#include <gtest/gtest.h>
#include <algorithm>
#include <string>
#include <vector>
#include "app/identity.h"
#include "diag/trace.h"
#include "setup/port.h"
#include "tests/common/testkit.h"

namespace {

const wchar_t kMonitorKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Redirected Port";
const wchar_t kPortKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Redirected Port\\Ports\\TessaloomPDF:";

struct Value {
    std::wstring name;
    DWORD type;
    std::string data;
};

std::vector<Value> portValues()
{
    std::vector<Value> values;
    HKEY key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kPortKey, 0, KEY_READ, &key) != 0)
        return values;
    for (DWORD i = 0;; i++) {
        wchar_t name[256];
        DWORD nameLength = 256, type = 0, size = 4096;
        BYTE data[4096];
        if (RegEnumValueW(key, i, name, &nameLength, nullptr, &type, data, &size) != 0)
            break;
        values.push_back({name, type, std::string(reinterpret_cast<char *>(data), size)});
    }
    RegCloseKey(key);
    return values;
}

std::string sz(const std::wstring &text)
{
    std::wstring withNul = text + L'\0';
    return std::string(reinterpret_cast<const char *>(withNul.data()), withNul.size() * 2);
}

std::string dword(DWORD v) { return std::string(reinterpret_cast<const char *>(&v), 4); }


class Port : public testing::Test {
protected:
    void SetUp() override
    {
        appSetIdentity(GetModuleHandleW(nullptr));
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, kMonitorKey);
        dbg_SetDebugMode(1);
        dbg_StartTrace();
    }
    void TearDown() override
    {
        dbg_SetDebugMode(0);
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, kMonitorKey);
    }
    // A volatile key cannot hold non-volatile children: a way to make creation fail.
    static void makeVolatile(const wchar_t *path)
    {
        testkit::deleteRegTree(HKEY_LOCAL_MACHINE, path);
        HKEY key;
        ASSERT_EQ(0, RegCreateKeyExW(HKEY_LOCAL_MACHINE, path, 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr,
                                     &key, nullptr));
        RegCloseKey(key);
    }
};

TEST_F(Port, TwelveValuesInOrderWithTheirTypesAndSizes)
{
    const wchar_t gs[] = L"C:\\Program Files\\gs\\gs9.05\\bin\\gswin32c.exe";
    ASSERT_EQ(1, gs2_AddRedirectedPortUsingRegistry(nullptr, L"TessaloomPDF:", gs));
    const std::wstring rsp = testkit::documentsDir() + L"\\TessaloomPDF\\tl2pdf.rsp";
    const std::vector<Value> expected = {
        {L"Description", REG_SZ, sz(L"Redirected Port")},
        {L"Command", REG_SZ, sz(gs)},
        {L"Arguments", REG_SZ, sz(L"@\"" + rsp + L"\" -c save pop -f -")},
        {L"LogFileName", REG_SZ, ""},
        {L"Printer", REG_SZ, sz(L"Printer")},
        {L"Output", REG_DWORD, dword(0)},
        {L"ShowWindow", REG_DWORD, dword(2)},
        {L"RunUser", REG_DWORD, dword(0)},
        {L"Delay", REG_DWORD, dword(300)},
        {L"LogFileUse", REG_DWORD, dword(0)},
        {L"LogFileDebug", REG_DWORD, dword(0)},
        {L"PrintError", REG_DWORD, dword(0)},
    };
    std::vector<Value> actual = portValues();  // the registry lists them by name
    ASSERT_EQ(expected.size(), actual.size());
    std::wstring writes;
    for (const Value &e : expected) {
        SCOPED_TRACE(testing::PrintToString(e.name));
        auto found = std::find_if(actual.begin(), actual.end(), [&](const Value &a) { return a.name == e.name; });
        ASSERT_NE(actual.end(), found);
        EXPECT_EQ(e.type, found->type);
        EXPECT_EQ(e.data, found->data);
        writes += L"\t\tRegKey: " + e.name + L" (succeeded)\r\n";
    }
    // The trace shows the order of the writes.
    std::wstring trace = testkit::traceText();
    // Without a port monitor to tell, one line says so; the rest is as it always was.
    const std::wstring monitorLine = L"\r\n[gs2_AddRedirectedPortUsingRegistry] starts\r\nThe Redirected Port monitor "
                                     L"cannot be opened; the port is written to the registry only (error ";
    size_t monitor = trace.find(monitorLine);
    ASSERT_NE(std::wstring::npos, monitor) << testing::PrintToString(trace);
    EXPECT_EQ(trace.find(L")\r\n[Create Key (OK)] ", monitor), trace.find(L"\r\n", monitor + monitorLine.size()) - 1);
    EXPECT_NE(std::wstring::npos, trace.find(L")\r\n[Create Key (OK)] "
                                             L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Redirected Port\\Ports\r\n"
                                             L"\r\n\t[f_CreatePort for Port: TessaloomPDF:] starts\r\n"
                                             L"\t\tRegKey: TessaloomPDF: (succeeded)\r\n" +
                                             writes +
                                             L"\t[f_CreatePort] ends. return code lretn = 0\r\n"
                                             L"[gs2_AddRedirectedPortUsingRegistry] ends. Return code = 0\r\n\r\n"));
    EXPECT_EQ(std::wstring::npos, trace.find(L"removed"));
    EXPECT_EQ(0, dbg_GetDepth());
}

TEST_F(Port, SecondRegistrationReplacesTheKey)
{
    ASSERT_EQ(1, gs2_AddRedirectedPortUsingRegistry(nullptr, L"TessaloomPDF:", L"C:\\old\\gswin32c.exe"));
    HKEY key;
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, kPortKey, 0, KEY_ALL_ACCESS, &key);
    RegSetValueExW(key, L"Leftover", 0, REG_SZ, reinterpret_cast<const BYTE *>(L"x"), 4);
    RegCloseKey(key);
    ASSERT_EQ(1, gs2_AddRedirectedPortUsingRegistry(nullptr, L"TessaloomPDF:", L"C:\\new\\gswin32c.exe"));
    std::vector<Value> values = portValues();
    ASSERT_EQ(12u, values.size());  // written again from scratch
    auto command = std::find_if(values.begin(), values.end(), [](const Value &v) { return v.name == L"Command"; });
    ASSERT_NE(values.end(), command);
    EXPECT_EQ(sz(L"C:\\new\\gswin32c.exe"), command->data);
    EXPECT_NE(std::wstring::npos, testkit::traceText().find(L"\r\nExisting redirected port (TessaloomPDF:) removed.\r\n"));
}

TEST_F(Port, ProbeAndDeleteNeverCreateThePortKey)
{
    EXPECT_EQ(0, gs2_RedirectedPortExists(L"TessaloomPDF:"));
    EXPECT_EQ(1, gs2_DeleteRedirectedPort(L"TessaloomPDF:"));  // nothing to delete
    EXPECT_EQ(0, gs2_RedirectedPortExists(L"TessaloomPDF:"));
    EXPECT_TRUE(portValues().empty());
    gs2_AddRedirectedPortUsingRegistry(nullptr, L"TessaloomPDF:", L"C:\\gs\\gswin32c.exe");
    EXPECT_EQ(1, gs2_RedirectedPortExists(L"TessaloomPDF:"));
    EXPECT_EQ(1, gs2_DeleteRedirectedPort(L"TessaloomPDF:"));
    EXPECT_EQ(0, gs2_RedirectedPortExists(L"TessaloomPDF:"));
}

TEST_F(Port, UnreachablePortsKeyFailsButAnUnwritablePortKeyDoesNot)
{
    makeVolatile(kMonitorKey);  // the Ports key cannot be created below it
    EXPECT_EQ(0, gs2_AddRedirectedPortUsingRegistry(nullptr, L"TessaloomPDF:", L"C:\\gs\\gswin32c.exe"));
    std::wstring trace = testkit::traceText();
    EXPECT_NE(std::wstring::npos, trace.find(L"[gs2_AddRedirectedPortUsingRegistry] SYSTEM\\CurrentControlSet\\Control\\"
                                             L"Print\\Monitors\\Redirected Port\\Ports Create Port key error\r\n\t"));
    EXPECT_NE(std::wstring::npos, trace.find(L"[gs2_AddRedirectedPortUsingRegistry] ends. Return code = 1021\r\n"));

    makeVolatile(L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Redirected Port\\Ports");
    EXPECT_EQ(1, gs2_AddRedirectedPortUsingRegistry(nullptr, L"TessaloomPDF:", L"C:\\gs\\gswin32c.exe"));
    EXPECT_NE(std::wstring::npos, testkit::traceText().find(L"\t\tRegKey: TessaloomPDF: (error) "));
    EXPECT_NE(std::wstring::npos, testkit::traceText().find(L"[f_CreatePort] failed\r\n"));
}

TEST_F(Port, ArgumentsForTheFileOutputMode)
{
    wchar_t arguments[256];
    ASSERT_EQ(1, gs2_BuildPortArguments(1, arguments));
    EXPECT_EQ(L"@\"" + testkit::documentsDir() + L"\\TessaloomPDF\\tlpdf.rsp\" -sOutputFile=\"%1\" -c save pop -f -",
              arguments);
}

}  // namespace
