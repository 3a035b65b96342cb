// The progress box: its text, its dots, its place and its entry in the window registry.
#include <gtest/gtest.h>
#include <windows.h>
#include "res/resource.h"
#include "support/appstate.h"
#include "support/dlg.h"
#include "support/prog.h"
#include "support/rect.h"
#include "tests/common/testkit.h"

namespace {

std::wstring editText(HWND box) { return testkit::windowText(GetDlgItem(box, IDC_PROGRESS_TEXT)); }

// The dots come from timer messages, so time alone is not enough: they must be dispatched.
TEST(ProgressBox, ShowsTheBodyAddsADotEachSecondAndLeavesTheListWhenDestroyed)
{
    int before = dlgModelessCount();
    HWND box = progCreateBox(nullptr, L"Working", L"Body text", 0);
    ASSERT_NE(nullptr, box);
    ASSERT_EQ(before + 1, dlgModelessCount());
    EXPECT_EQ(box, dlgModelessAt(before));
    EXPECT_EQ(L"Working", testkit::windowText(box));
    EXPECT_EQ(L"Body text\r\n", editText(box));
    for (DWORD start = GetTickCount(); GetTickCount() - start < 3300;) {
        MSG msg;
        if (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE))
            DispatchMessageW(&msg);
        else
            MsgWaitForMultipleObjects(0, nullptr, FALSE, 50, QS_ALLINPUT);
    }
    std::wstring text = editText(box);
    ASSERT_EQ(0u, text.find(L"Body text\r\n"));
    std::wstring dots = text.substr(11);
    EXPECT_EQ(std::wstring::npos, dots.find_first_not_of(L'.')) << testing::PrintToString(text);
    EXPECT_GE(dots.size(), 3u);
    EXPECT_LE(dots.size(), 4u);
    DestroyWindow(box);
    EXPECT_EQ(before, dlgModelessCount());
    EXPECT_NE(box, dlgGetActiveModeless());
}

TEST(ProgressBox, CaptionComesFromTheStringTableAndMayBeEmpty)
{
    for (auto row : {std::make_pair(UINT(IDS_PROGRESS_CAPTION), L"Enabling PDF Support"),
                     std::make_pair(UINT(IDS_MISSING_GS), L"")}) {
        HWND box = progCreateBoxId(nullptr, row.first, L"body", 0);
        ASSERT_NE(nullptr, box);
        EXPECT_EQ(row.second, testkit::windowText(box)) << row.first;
        DestroyWindow(box);
    }
}

TEST(ProgressBox, CentredOverTheFrameAndKeptInsideTheWorkArea)
{
    RECT work;
    rectGetWorkArea(&work);
    for (bool atEdge : {false, true}) {
        SCOPED_TRACE(atEdge ? "frame at the bottom-right edge" : "frame inside");
        int x = atEdge ? work.right - 150 : work.left + 40, y = atEdge ? work.bottom - 120 : work.top + 30;
        HWND frame = CreateWindowExW(0, L"STATIC", L"frame", WS_POPUP | WS_VISIBLE, x, y, 640, 480, nullptr,
                                     nullptr, GetModuleHandleW(nullptr), nullptr);
        appSetFrameWindow(frame);
        HWND box = progCreateBox(frame, L"c", L"b", 0);
        ASSERT_NE(nullptr, box);
        EXPECT_EQ(frame, GetWindow(box, GW_OWNER));
        RECT placed, frameRect, expected;
        GetWindowRect(box, &placed);
        GetWindowRect(frame, &frameRect);
        expected = placed;
        rectCentreOn(&expected, &frameRect);
        EXPECT_EQ(atEdge ? work.right - rectWidth(&placed) : expected.left, placed.left);
        EXPECT_EQ(atEdge ? work.bottom - rectHeight(&placed) : expected.top, placed.top);
        DestroyWindow(box);
        appSetFrameWindow(nullptr);
        DestroyWindow(frame);
    }
}

}  // namespace
