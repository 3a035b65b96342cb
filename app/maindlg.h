// The main dialog: installed components, what to do next, the buttons and the debug mode.
#pragma once
#include <windows.h>

INT_PTR CALLBACK mainDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
void mainDlgInit(HWND dialog);
// A null dialog writes the component block to the trace only.
void mainDlgShowComponents(int trace, HWND dialog);
BOOL mainDlgUpdateState(HWND dialog);

void mainDlgSetSetupAttempted(int attempted);
int mainDlgGetSetupAttempted();
int mainDlgGetReportSubmitted();
