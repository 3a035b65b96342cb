// Window registry: modeless dialogs served by the message loop, stack of modal owners.
#pragma once
#include <windows.h>

// Commands the registry sends to the frame window; this frame handles none of them.
enum : UINT {
    DLG_CMD_MODAL_QUERY_A = 988,
    DLG_CMD_MODAL_QUERY_B = 989,
    DLG_CMD_MODAL_CHANGED = 987,
    DLG_CMD_MODELESS_GONE = 12353,
};

int dlgAddModeless(HWND dialog);
void dlgRemoveModeless(HWND dialog);
void dlgPruneModeless();
int dlgSetActiveModeless(HWND dialog, int activating);
HWND dlgGetActiveModeless();
int dlgPushModal(HWND window);
int dlgPopModal(HWND window);
HWND dlgTopModal();
void dlgClearWindowLists();
void dlgFreeWindowLists();

// Read access for callers that walk the lists (and for tests).
int dlgModelessCount();
HWND dlgModelessAt(int index);
int dlgModalCount();
HWND dlgModalAt(int index);
