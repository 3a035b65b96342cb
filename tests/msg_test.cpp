// Message boxes: captions, by-id silence, the pending cap, centring and the owner choice.
#include <gtest/gtest.h>
#include <windows.h>
#include <commdlg.h>
#include <cwchar>
#include "res/resource.h"
#include "support/appstate.h"
#include "support/dlg.h"
#include "support/mem.h"
#include "support/msg.h"
#include "support/res.h"
#include "tests/common/testkit.h"

using testkit::BoxInfo;
using testkit::BoxWatcher;

namespace {

std::wstring loaded(UINT id)
{
    wchar_t buffer[512];
    resLoadString(nullptr, id, buffer, 512);
    return buffer;
}

HWND makeWindow(int left, int top, int right, int bottom)
{
    return CreateWindowExW(0, L"STATIC", L"frame", WS_POPUP, left, top, right - left, bottom - top, nullptr,
                           nullptr, GetModuleHandleW(nullptr), nullptr);
}

TEST(MessageBoxes, CaptionsCarryTheirHistoricalBlanks)
{
    struct Row {
        int (*show)(const wchar_t *);
        const wchar_t *caption;
        int result;
    } rows[] = {
        {[](const wchar_t *t) { return msgErrorBox(nullptr, t); }, L" Error", IDOK},
        {[](const wchar_t *t) { return msgWarningBox(nullptr, t); }, L"  Warning", IDOK},
        {[](const wchar_t *t) { return msgMessageBox(nullptr, t, MB_ICONINFORMATION); }, L" Message", IDOK},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(testing::Message() << "caption " << testing::PrintToString(std::wstring(row.caption)));
        BoxWatcher watcher;
        EXPECT_EQ(row.result, row.show(L"body text"));
        auto boxes = watcher.wait();
        ASSERT_EQ(1u, boxes.size());
        EXPECT_EQ(row.caption, boxes[0].caption);
        EXPECT_EQ(L"body text", boxes[0].text);
    }
}

TEST(MessageBoxes, ByIdShowsTheStringOrNothingAtAll)
{
    // Ids without text are used on purpose: no box, result 0.
    for (UINT id : {UINT(IDS_MISSING_GS), UINT(IDS_MISSING_BOTH), UINT(IDS_MISSING_REDMON), UINT(IDS_MEMGALLOC_FAILED), 0u}) {
        SCOPED_TRACE(id);
        EXPECT_EQ(0, msgMessageBoxId(nullptr, id, MB_ICONERROR));
        EXPECT_EQ(0, msgErrorBoxId(nullptr, id));
        EXPECT_EQ(0, msgErrorBoxIdText(nullptr, id, L"extra"));
    }
    EXPECT_EQ(nullptr, testkit::findMessageBox(GetCurrentProcessId()));

    BoxWatcher watcher(3);
    EXPECT_EQ(IDOK, msgErrorBoxId(nullptr, IDS_SETUP_FAILED));
    EXPECT_EQ(IDOK, msgMessageBoxId(nullptr, IDS_OS_REFUSED, MB_ICONERROR));
    EXPECT_EQ(IDOK, msgErrorBoxIdText(nullptr, IDS_EXEC_FAILED, L"cmd.exe /c x"));
    auto boxes = watcher.wait();
    ASSERT_EQ(3u, boxes.size());
    EXPECT_EQ(L" Error", boxes[0].caption);
    EXPECT_EQ(L"TessaloomPDF driver setup failed.", boxes[0].text);
    EXPECT_EQ(L" Message", boxes[1].caption);
    EXPECT_EQ(loaded(IDS_OS_REFUSED), boxes[1].text);
    EXPECT_EQ(L"Failed to execute:\r\n  cmd.exe /c x", boxes[2].text);
}

TEST(MessageBoxes, TwoPartErrorPutsAnEmptyLineBetween)
{
    BoxWatcher watcher(2);
    msgErrorBox2(nullptr, L"first", L"second");
    msgErrorBox2(nullptr, L"alone", L"");
    auto boxes = watcher.wait();
    ASSERT_EQ(2u, boxes.size());
    EXPECT_EQ(L"first\r\n\r\nsecond", boxes[0].text);
    EXPECT_EQ(L"alone", boxes[1].text);
}

TEST(MessageBoxes, ByIdLoadsAtMost254Characters)
{
    wchar_t buffer[300];
    wmemset(buffer, L'x', 300);
    int n = resLoadString255(nullptr, IDS_STATUS_READY, buffer);
    EXPECT_EQ(static_cast<int>(wcslen(buffer)), n);
    EXPECT_LE(n, 254);
    EXPECT_EQ(L'x', buffer[255]);  // nothing written past the capacity
}

// Requests made while a box is up are parked, at most ten over the process's life.
struct ReentryProbe {
    int plainResults = -1;
    int otherResult = -1;
    int pendingAfter = -1;
};
ReentryProbe g_probe;

void CALLBACK reenterWhileShowing(HWND, UINT, UINT_PTR id, DWORD)
{
    KillTimer(nullptr, id);
    int sum = 0;
    for (int i = 0; i < 11; i++) {
        wchar_t text[32];
        _snwprintf(text, 32, L"parked %d", i + 1);
        sum += msgWarningBox(nullptr, text);
    }
    g_probe.plainResults = sum;
    g_probe.otherResult = msgMessageBox(nullptr, L"not parked", MB_OKCANCEL | MB_ICONERROR);
    g_probe.pendingAfter = msgPendingCount();
    HWND box = testkit::findMessageBox(GetCurrentProcessId());
    if (box)
        testkit::closeMessageBox(box);
}

TEST(MessageBoxes, ReentrantRequestsAreParkedUpToTen)
{
    int before = msgPendingCount();
    SetTimer(nullptr, 0, 50, reenterWhileShowing);
    EXPECT_EQ(IDOK, msgErrorBox(nullptr, L"the showing box"));
    EXPECT_EQ(0, g_probe.plainResults);
    EXPECT_EQ(0, g_probe.otherResult);
    EXPECT_EQ(before + 11 > 10 ? 10 : before + 11, g_probe.pendingAfter);
    MemLock<wchar_t> pending(msgPendingMessages());
    ASSERT_TRUE(pending);
    std::wstring text = pending.get();
    EXPECT_NE(std::wstring::npos, text.find(L" Warning\r\nparked 1\r\n"));
    EXPECT_EQ(std::wstring::npos, text.find(L"parked 11"));
    EXPECT_EQ(std::wstring::npos, text.find(L"not parked"));
}

TEST(MessageBoxes, PlacementCentresThenPullsIntoTheWorkArea)
{
    const RECT work = {0, 0, 1000, 700};
    struct Row {
        RECT box, reference, expected;
    } rows[] = {
        {{0, 0, 200, 100}, {100, 100, 500, 400}, {200, 200, 400, 300}},        // plain centring
        {{0, 0, 200, 100}, {900, 600, 1300, 900}, {800, 600, 1000, 700}},      // pulled left and up
        {{0, 0, 200, 100}, {-501, -301, -1, -1}, {0, 0, 200, 100}},            // pulled right and down
        {{0, 0, 1200, 900}, {0, 0, 1000, 700}, {0, 0, 1200, 900}},             // too big: left/top win
        {{0, 0, 201, 101}, {0, 0, 1000, 700}, {399, 299, 600, 400}},           // odd sizes round down
    };
    for (const Row &row : rows) {
        RECT box = row.box;
        msgPlaceBox(&box, &row.reference, &work);
        SCOPED_TRACE(testing::Message() << box.left << "," << box.top << "," << box.right << "," << box.bottom);
        EXPECT_TRUE(EqualRect(&row.expected, &box));
    }
}

TEST(MessageBoxes, RealBoxIsCentredOverTheFrame)
{
    HWND frame = makeWindow(100, 80, 700, 560);
    ASSERT_NE(nullptr, frame);
    appSetFrameWindow(frame);
    BoxWatcher watcher;
    msgMessageBox(nullptr, L"centred", MB_ICONINFORMATION);
    auto boxes = watcher.wait();
    appSetFrameWindow(nullptr);
    DestroyWindow(frame);
    ASSERT_EQ(1u, boxes.size());
    const RECT &r = boxes[0].rect;
    EXPECT_NEAR(400, (r.left + r.right) / 2, 1);
    EXPECT_NEAR(320, (r.top + r.bottom) / 2, 1);
}

TEST(MessageBoxes, OwnerIsTopModalThenDefault)
{
    HWND fallback = makeWindow(0, 0, 10, 10);
    HWND modal = makeWindow(0, 0, 10, 10);
    msgSetDefaultOwner(fallback);
    EXPECT_EQ(fallback, msgOwnerWindow());

    ASSERT_EQ(1, dlgPushModal(modal));
    EXPECT_EQ(modal, msgOwnerWindow());
    // A dead top entry is still handed out once, and dropped from the stack.
    DestroyWindow(modal);
    EXPECT_EQ(modal, msgOwnerWindow());
    EXPECT_EQ(0, dlgModalCount());
    EXPECT_EQ(fallback, msgOwnerWindow());

    BoxWatcher watcher;
    msgErrorBox(nullptr, L"owned");
    auto boxes = watcher.wait();
    ASSERT_EQ(1u, boxes.size());
    EXPECT_EQ(fallback, boxes[0].owner);
    msgSetDefaultOwner(nullptr);
    DestroyWindow(fallback);
}

TEST(ErrorTexts, SystemMessageIsBoundedAndEmptyForUnknownCodes)
{
    wchar_t buffer[64];
    wmemset(buffer, L'#', 64);
    errFormatSystemMessage(ERROR_FILE_NOT_FOUND, buffer, 64);
    EXPECT_GT(wcslen(buffer), 0u);
    EXPECT_LT(wcslen(buffer), 64u);

    wchar_t tiny[8];
    wmemset(tiny, L'#', 8);
    errFormatSystemMessage(ERROR_ACCESS_DENIED, tiny, 5);
    EXPECT_LE(wcslen(tiny), 4u);
    EXPECT_EQ(L'#', tiny[5]);

    errFormatSystemMessage(0x2badc0de, buffer, 64);
    EXPECT_STREQ(L"", buffer);
}

TEST(ErrorTexts, CommonDialogErrorWithoutCodeShowsNothing)
{
    // No common dialog has failed in this process: nothing to report.
    dlgReportCommDlgError(nullptr, L"[fniGetSaveFN32A]");
    EXPECT_EQ(nullptr, testkit::findMessageBox(GetCurrentProcessId()));
}

TEST(ResourceStrings, DefaultAppliesOnlyWhenTheIdHasNoText)
{
    wchar_t buffer[65];
    EXPECT_EQ(5, resLoadStringDef(nullptr, IDS_CAPTION_ERROR, buffer, 64, L" Error"));
    EXPECT_STREQ(L"Error", buffer);
    EXPECT_EQ(7, resLoadStringDef(nullptr, IDS_MISSING_GS, buffer, 64, L"default"));
    EXPECT_STREQ(L"default", buffer);
    EXPECT_EQ(0, resLoadStringDef(nullptr, 0, buffer, 64, L"default"));
    EXPECT_STREQ(L"", buffer);

    wchar_t formatted[64];
    EXPECT_GT(resFormatString(formatted, 64, IDS_PRINTER_FAILED, L"TessaloomPDF"), 0);
    EXPECT_STREQ(L"Failed to add TessaloomPDF printer driver.\r\n", formatted);
    EXPECT_EQ(0, resFormatString(formatted, 64, IDS_FOLDER_BLOCKED, L"C:\\x"));
    EXPECT_STREQ(L"", formatted);
    // Bounded: a long argument is cut at the destination's end.
    std::wstring longArg(200, L'a');
    resFormatString(formatted, 64, IDS_PRINTER_FAILED, longArg.c_str());
    EXPECT_EQ(63u, wcslen(formatted));
}

}  // namespace
