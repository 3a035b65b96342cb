// Debug trace bytes, the system-information header, and the report handed to Simple MAPI.
#include <gtest/gtest.h>
#include <windows.h>
#include <mapi.h>
#include <string>
#include "app/identity.h"
#include "diag/report.h"
#include "diag/trace.h"
#include "res/resource.h"
#include "support/dt.h"
#include "tests/common/testkit.h"

namespace {

std::wstring tracePath()
{
    wchar_t path[260];
    dbg_GetTraceFilePath(path);
    return path;
}


class Trace : public testing::Test {
protected:
    void SetUp() override
    {
        appSetIdentity(GetModuleHandleW(nullptr));
        SetFileAttributesW(tracePath().c_str(), FILE_ATTRIBUTE_NORMAL);
        DeleteFileW(tracePath().c_str());
        testkit::deleteAllPrinters();
        while (dbg_GetDepth() > 0)
            dbg_Unindent();
        while (dbg_GetDepth() < 0)
            dbg_Indent();
    }
    void TearDown() override
    {
        dt_TestSetNow(0);
        mapiTestSetSendMail(nullptr);
        mapiTestSetLibraryPath(nullptr);
        SetFileAttributesW(tracePath().c_str(), FILE_ATTRIBUTE_NORMAL);
    }
};

TEST_F(Trace, EntriesIndentByDepthAndEndInCrLf)
{
    EXPECT_EQ(testkit::documentsDir() + L"\\TessaloomPDF\\~tlpdf_dbg.txt", tracePath());
    dbg_Indent();
    dbg_Indent();
    SetLastError(0xdeadbeef);
    dbg_WriteTrace(L"abc", 1, 1);
    EXPECT_EQ(0xdeadbeefu, GetLastError());  // tracing keeps the caller's error
    dbg_WriteTrace(L"flat", 1, 0);
    dbg_WriteTrace(L"", 1, 1);
    dbg_WriteTrace(L"ends\r\n", 1, 1);
    dbg_WriteBlankLine();
    dbg_WriteTrace(L"no line end", 0, 0);
    dbg_Unindent();
    dbg_Unindent();
    dbg_WriteTraceString(IDS_MISSING_GS, 1, 1);  // no text: nothing written
    dbg_WriteTraceString(IDS_PORT_FAILED, 0, 1);  // always with a line end
    EXPECT_EQ(L"\t\tabc\r\nflat\r\n\t\tends\r\n\r\n\r\nno line endFailed to add TessaloomPDF redirected port.\r\n",
              testkit::traceText());
}

TEST_F(Trace, StartingWritesTheSystemInformationHeader)
{
    struct tm t = {};
    t.tm_year = 113;
    t.tm_mon = 2;
    t.tm_mday = 4;
    t.tm_hour = 5;
    t.tm_min = 6;
    t.tm_sec = 7;
    t.tm_isdst = -1;
    dt_TestSetNow(mktime(&t));
    dbg_WriteTrace(L"old run", 1, 0);
    dbg_Indent();
    dbg_StartTrace();  // deletes the old file and resets the depth
    EXPECT_EQ(0, dbg_GetDepth());
    // "(64-bit)" only under WOW64: the 32-bit build says so, the native 64-bit one does not.
    const std::wstring head = std::wstring(L"==System Info=======\r\n2013-03-04 05:06:07\r\n====================\r\n"
                                           L"[Windows Version]: 601 ") +
                              (testkit::kIs32BitBuild ? L"(64-bit)" : L"(32-bit)") +
                              L"\r\n====================\r\nThe installed Tessaloom PDF Driver List:\r\n";
    const std::wstring tail = L"\r\n====================\r\n\r\n";
    EXPECT_EQ(head + tail, testkit::traceText());

    ASSERT_TRUE(testkit::addPrinter(L"TessaloomPDF"));
    dbg_StartTrace();
    EXPECT_EQ(head + L"TessaloomPDF" + tail, testkit::traceText());
    ASSERT_TRUE(testkit::addPrinter(L"TessaloomPDF Copy"));
    dbg_StartTrace();
    std::wstring text = testkit::traceText();
    EXPECT_NE(std::wstring::npos, text.find(L"List:\r\nTessaloomPDF\nTessaloomPDF Copy\n\r\n====="));
    testkit::deleteAllPrinters();
}

TEST_F(Trace, ReadOnlyTraceGivesTheEmptyWarningAndNoCrash)
{
    dbg_WriteTrace(L"first", 1, 0);
    SetFileAttributesW(tracePath().c_str(), FILE_ATTRIBUTE_READONLY);
    testkit::BoxWatcher watcher;
    dbg_WriteTrace(L"second", 1, 0);
    auto boxes = watcher.wait();
    ASSERT_EQ(1u, boxes.size());
    EXPECT_EQ(L"  Warning", boxes[0].caption);
    EXPECT_EQ(L"", boxes[0].text);
    EXPECT_EQ(L"first\r\n", testkit::traceText());
}

// What the report hands to MAPISendMail, captured at the call.
struct Sent {
    int calls = 0;
    ULONG_PTR parent = 0;
    ULONG flags = 0;
    std::string subject, address, path, fileName;
    ULONG recipClass = 0, recipCount = 0, fileCount = 0, position = 0;
    bool nameNull = false, noteNull = false;
} g_sent;
ULONG g_result;

ULONG WINAPI fakeSendMail(ULONG_PTR, ULONG_PTR parent, void *data, ULONG flags, ULONG)
{
    auto *m = static_cast<MapiMessage *>(data);
    g_sent.calls++;
    g_sent.parent = parent;
    g_sent.flags = flags;
    g_sent.subject = m->lpszSubject ? m->lpszSubject : "<null>";
    g_sent.noteNull = m->lpszNoteText == nullptr && m->lpOriginator == nullptr;
    g_sent.recipCount = m->nRecipCount;
    if (m->nRecipCount) {
        g_sent.recipClass = m->lpRecips[0].ulRecipClass;
        g_sent.address = m->lpRecips[0].lpszAddress;
        g_sent.nameNull = m->lpRecips[0].lpszName == nullptr;
    }
    g_sent.fileCount = m->nFileCount;
    if (m->nFileCount) {
        g_sent.path = m->lpFiles[0].lpszPathName;
        g_sent.fileName = m->lpFiles[0].lpszFileName;
        g_sent.position = m->lpFiles[0].nPosition;
    }
    return g_result;
}

TEST_F(Trace, ReportIsMailedWithTheTraceAttached)
{
    mapiTestSetSendMail(fakeSendMail);
    g_sent = Sent();
    dbg_SendDebugReport();  // no trace file: nothing sent
    EXPECT_EQ(0, g_sent.calls);

    dbg_StartTrace();
    g_result = SUCCESS_SUCCESS;
    dbg_SendDebugReport();
    ASSERT_EQ(1, g_sent.calls);
    EXPECT_EQ(reinterpret_cast<ULONG_PTR>(GetDesktopWindow()), g_sent.parent);
    EXPECT_EQ(9u, g_sent.flags);
    EXPECT_EQ("TLPDF Debug Report", g_sent.subject);
    EXPECT_TRUE(g_sent.noteNull);
    EXPECT_EQ(1u, g_sent.recipCount);
    EXPECT_EQ(static_cast<ULONG>(MAPI_TO), g_sent.recipClass);
    EXPECT_EQ("support@example.com", g_sent.address);
    EXPECT_TRUE(g_sent.nameNull);
    EXPECT_EQ(1u, g_sent.fileCount);
    char expectedPath[260];
    WideCharToMultiByte(CP_ACP, 0, tracePath().c_str(), -1, expectedPath, 260, nullptr, nullptr);
    EXPECT_EQ(expectedPath, g_sent.path);
    EXPECT_EQ("", g_sent.fileName);
    EXPECT_EQ(static_cast<ULONG>(-1), g_sent.position);

    // Handed over: success, a cancelled compose, a failed log-on. Anything else is not.
    const std::pair<ULONG, int> results[] = {{0, 1}, {1, 1}, {3, 1}, {2, 0}, {11, 0}};
    for (const auto &r : results) {
        g_result = r.first;
        EXPECT_EQ(r.second, mapi_SendMailWithAttachment(GetDesktopWindow(), L"a@example.com", L"s", L"C:\\x.txt"))
            << r.first;
    }
    int before = g_sent.calls;
    EXPECT_EQ(0, mapi_SendMailWithAttachment(nullptr, L"a", L"s", L"C:\\x.txt"));
    EXPECT_EQ(0, mapi_SendMailWithAttachment(GetDesktopWindow(), L"a", L"s", L""));
    EXPECT_EQ(before, g_sent.calls);

    std::string longPath(400, 'p');
    g_result = 0;
    mapi_SendMailWithAttachment(GetDesktopWindow(), L"a", L"s", std::wstring(longPath.begin(), longPath.end()).c_str());
    EXPECT_EQ(255u, g_sent.path.size());  // cut to the field
}

TEST_F(Trace, MapiComesFromTheSystemFolderAndFailsQuietly)
{
    wchar_t path[260];
    mapi_LibraryPath(path);
    EXPECT_EQ(testkit::systemDir() + L"\\MAPI32.DLL", path);

    mapiTestSetLibraryPath(L"C:\\no\\such\\MAPI32.DLL");
    EXPECT_EQ(0, mapi_SendMailWithAttachment(GetDesktopWindow(), L"a", L"s", L"C:\\x.txt"));
    // A library without the entry point.
    mapiTestSetLibraryPath((testkit::systemDir() + L"\\version.dll").c_str());
    EXPECT_EQ(0, mapi_SendMailWithAttachment(GetDesktopWindow(), L"a", L"s", L"C:\\x.txt"));
    EXPECT_EQ(nullptr, testkit::findMessageBox(GetCurrentProcessId()));
}

}  // namespace
