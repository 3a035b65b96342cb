// Message boxes centred over the frame window, with captions from the string table.
#pragma once
#include <windows.h>

void msgSetDefaultOwner(HWND owner);
// Where boxes go in windowless mode: the caption word and the text (for a by-id box whose id
// has no text, a note naming the id). Null: they are dropped.
typedef void (*MsgSink)(const wchar_t *captionWord, const wchar_t *text);
void msgSetSink(MsgSink sink);
HWND msgOwnerWindow();

int msgShowBox(HWND owner, const wchar_t *text, const wchar_t *captionWord, UINT flags);
int msgErrorBox(HWND owner, const wchar_t *text);
int msgWarningBox(HWND owner, const wchar_t *text);
int msgMessageBox(HWND owner, const wchar_t *text, UINT flags);
int msgErrorBoxId(HWND owner, UINT id);
int msgMessageBoxId(HWND owner, UINT id, UINT flags);
int msgErrorBoxIdText(HWND owner, UINT id, const wchar_t *extra);
int msgMessageBoxIdText(HWND owner, UINT id, const wchar_t *extra, UINT flags);
int msgErrorBox2(HWND owner, const wchar_t *first, const wchar_t *second);
// Installed as the memory layer's failure hook. The id has no text, so the box stays silent;
// the failure still passes through the one reporting path.
void msgReportMemFailure(const wchar_t *text);

// Where a box would stand: centred on the reference, then pulled into the work area.
void msgPlaceBox(RECT *box, const RECT *reference, const RECT *workArea);

// Requests that arrived while a box was showing (nothing in the program reads them back).
int msgPendingCount();
HGLOBAL msgPendingMessages();
