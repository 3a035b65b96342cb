// The "Debug/Code Info" tool window: a read-only text area the program appends diagnostics to.
#pragma once
#include <windows.h>

extern const wchar_t kDataWindowClass[];  // tl_DataWin
extern const wchar_t kDataWindowTitle[];  // Debug/Code Info

// Commands the window handles (WM_COMMAND identifiers).
enum : UINT {
    DW_CMD_SAVE = 100,
    DW_CMD_READ = 110,
    DW_CMD_CLEAR = 120,
};
// Window bytes: the LONG at this index holds a command id sent to the owner on destroy (0: none).
enum : int { DW_OWNER_COMMAND_INDEX = 4, DW_EDIT_ID = 1 };

HWND dw_OpenDataWindow(HWND owner, HFONT font);
void dw_CloseDataWindow();
int dw_IsDataWindowOpen();
HWND dw_GetDataWindow();
void dw_AppendText(const wchar_t *text);
void dw_AppendLine(const wchar_t *text);
void dw_SetTopMost(int topMost);
