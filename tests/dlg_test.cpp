// Window registry: modeless list with pruning, modal stack, notifications to the frame.
#include <gtest/gtest.h>
#include <vector>
#include "support/appstate.h"
#include "support/dlg.h"

namespace {

HWND makeWindow()
{
    return CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 10, 10, nullptr, nullptr, GetModuleHandleW(nullptr),
                           nullptr);
}

std::vector<WPARAM> g_frameCommands;

LRESULT CALLBACK recordingFrame(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_COMMAND)
        g_frameCommands.push_back(wParam);
    return DefWindowProcW(window, message, wParam, lParam);
}

class WindowRegistry : public testing::Test {
protected:
    void SetUp() override
    {
        dlgFreeWindowLists();
        g_frameCommands.clear();
    }
    void TearDown() override
    {
        dlgFreeWindowLists();
        appSetFrameWindow(nullptr);
    }
};

TEST_F(WindowRegistry, ModelessListKeepsOrderAndIgnoresDuplicates)
{
    HWND a = makeWindow(), b = makeWindow();
    EXPECT_EQ(0, dlgAddModeless(nullptr));
    EXPECT_EQ(0, dlgAddModeless(reinterpret_cast<HWND>(0x1234)));
    EXPECT_EQ(1, dlgAddModeless(a));
    EXPECT_EQ(1, dlgAddModeless(b));
    EXPECT_EQ(1, dlgAddModeless(a));
    ASSERT_EQ(2, dlgModelessCount());
    EXPECT_EQ(a, dlgModelessAt(0));
    EXPECT_EQ(b, dlgModelessAt(1));
    DestroyWindow(a);
    DestroyWindow(b);
}

TEST_F(WindowRegistry, PruningDropsDeadWindowsInOrder)
{
    HWND a = makeWindow(), b = makeWindow(), c = makeWindow();
    for (HWND w : {a, b, c})
        dlgAddModeless(w);
    DestroyWindow(b);
    HWND d = makeWindow();
    EXPECT_EQ(1, dlgAddModeless(d));  // adding prunes first
    ASSERT_EQ(3, dlgModelessCount());
    EXPECT_EQ(a, dlgModelessAt(0));
    EXPECT_EQ(c, dlgModelessAt(1));
    EXPECT_EQ(d, dlgModelessAt(2));

    for (HWND w : {a, c, d})
        DestroyWindow(w);
    dlgPruneModeless();
    EXPECT_EQ(0, dlgModelessCount());
}

TEST_F(WindowRegistry, RemovingTellsTheFrameAndPopsTheModalEntry)
{
    WNDCLASSW wc = {};
    wc.lpfnWndProc = recordingFrame;
    wc.hInstance = GetModuleHandleW(nullptr);
    wc.lpszClassName = L"tlpdf_test_frame";
    RegisterClassW(&wc);
    HWND frame = CreateWindowExW(0, wc.lpszClassName, L"", WS_POPUP, 0, 0, 10, 10, nullptr, nullptr,
                                 wc.hInstance, nullptr);
    appSetFrameWindow(frame);
    HWND a = makeWindow(), b = makeWindow();
    dlgAddModeless(a);
    dlgAddModeless(b);
    dlgPushModal(a);
    g_frameCommands.clear();

    dlgRemoveModeless(a);
    EXPECT_EQ(1, dlgModelessCount());
    EXPECT_EQ(b, dlgModelessAt(0));
    EXPECT_EQ(0, dlgModalCount());
    // Popping notifies (988, 989), then the frame learns the dialog has gone (12353).
    std::vector<WPARAM> expected = {DLG_CMD_MODAL_QUERY_A, DLG_CMD_MODAL_QUERY_B, DLG_CMD_MODELESS_GONE};
    EXPECT_EQ(expected, g_frameCommands);

    dlgRemoveModeless(b);
    EXPECT_EQ(0, dlgModelessCount());
    dlgRemoveModeless(b);  // not listed: harmless
    for (HWND w : {a, b, frame})
        DestroyWindow(w);
}

TEST_F(WindowRegistry, ModalStackTopAndStaleEntries)
{
    HWND a = makeWindow(), b = makeWindow();
    EXPECT_EQ(nullptr, dlgTopModal());
    dlgPushModal(a);
    dlgPushModal(b);
    dlgPushModal(a);  // already there: not pushed twice
    EXPECT_EQ(2, dlgModalCount());
    EXPECT_EQ(b, dlgTopModal());
    DestroyWindow(b);
    EXPECT_EQ(b, dlgTopModal());  // stale, but still returned once
    EXPECT_EQ(1, dlgModalCount());
    EXPECT_EQ(a, dlgTopModal());
    dlgPopModal(a);
    EXPECT_EQ(0, dlgModalCount());
    EXPECT_EQ(nullptr, dlgTopModal());
    DestroyWindow(a);
}

TEST_F(WindowRegistry, ActiveModelessFollowsActivation)
{
    HWND a = makeWindow();
    EXPECT_EQ(0, dlgSetActiveModeless(a, 1));
    EXPECT_EQ(a, dlgGetActiveModeless());
    dlgSetActiveModeless(a, 0);
    EXPECT_EQ(nullptr, dlgGetActiveModeless());
    DestroyWindow(a);
}

}  // namespace
