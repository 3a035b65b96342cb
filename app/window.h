// The main window "Tessaloom PDF Setup": class, creation, messages and command dispatch.
#pragma once
#include <windows.h>

extern const wchar_t kMainWindowClass[];
extern const wchar_t kMainWindowTitle[];

ATOM appRegisterClass(HINSTANCE instance);
HWND appCreateMainWindow(const RECT *rect, HINSTANCE instance, int showCommand);
LRESULT CALLBACK appMainWndProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
int appOnCommand(WPARAM command);
void appCentreInWorkArea(HWND window);
HWND appCreateMainDialog(HWND frame);
void appRefreshMainDialog();
HWND appGetMainDialog();

HWND appGetMainWindow();
void appSetExitAfterCommand(int exitAfter);
int appGetExitAfterCommand();

int appRun(HINSTANCE instance, HINSTANCE previous, const wchar_t *commandLine, int showCommand);
