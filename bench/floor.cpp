// The floor for the start-up and footprint benchmarks: the least a program shaped like tlpdf
// does, a top-level window hosting a modeless child dialog that fills one static text.
#include <windows.h>

namespace {

const wchar_t kClass[] = L"tlpdf_floor_class";
const int kTextId = 752;  // the control the benchmark watches, as in tlpdf's main dialog

INT_PTR CALLBACK dialogProc(HWND dialog, UINT message, WPARAM, LPARAM)
{
    if (message != WM_INITDIALOG)
        return FALSE;
    SetDlgItemTextW(dialog, kTextId, L"Ready");
    return TRUE;
}

LRESULT CALLBACK windowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message) {
    case WM_CREATE: {
        auto *create = reinterpret_cast<CREATESTRUCTW *>(lParam);
        HWND dialog = CreateDialogParamW(create->hInstance, L"FLOOR_DLG", window, dialogProc, 0);
        ShowWindow(dialog, SW_SHOW);
        return 0;
    }
    case WM_DESTROY:
        PostQuitMessage(0);
        return 0;
    default:
        return DefWindowProcW(window, message, wParam, lParam);
    }
}

}  // namespace

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, LPWSTR, int showCommand)
{
    WNDCLASSW wc = {};
    wc.lpfnWndProc = windowProc;
    wc.hInstance = instance;
    wc.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    wc.hbrBackground = static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH));
    wc.lpszClassName = kClass;
    if (!RegisterClassW(&wc))
        return 1;
    HWND window = CreateWindowExW(0, kClass, L"Floor", WS_OVERLAPPEDWINDOW, CW_USEDEFAULT, CW_USEDEFAULT, 450, 250,
                                  nullptr, nullptr, instance, nullptr);
    if (!window)
        return 1;
    ShowWindow(window, showCommand);
    UpdateWindow(window);
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    return static_cast<int>(message.wParam);
}
