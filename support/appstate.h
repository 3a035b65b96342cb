// Process-wide shell state that the support layer consults: module instance and frame window.
#pragma once
#include <windows.h>

void appSetInstance(HINSTANCE instance);
HINSTANCE appGetInstance();
void appSetFrameWindow(HWND frame);
HWND appGetFrameWindow();

// Windowless: the program runs unattended and shows no window at all; message boxes go to the
// sink registered with msgSetSink instead.
void appSetWindowless(int on);
int appIsWindowless();
// Look-only: keys and folders are opened where they exist and never created, so that a check
// leaves the machine exactly as it found it.
void appSetLookOnly(int on);
int appIsLookOnly();

// One command (a button of the window, an unattended action) runs while an AppCommand lives.
// What cannot change meanwhile (the Documents folder, the customisation file) is looked up once
// per command, kept under the command's serial; outside a command the serial is 0.
class AppCommand {
public:
    AppCommand();
    ~AppCommand();
    AppCommand(const AppCommand &) = delete;
    AppCommand &operator=(const AppCommand &) = delete;
};
unsigned appCommandSerial();

// The application's identity, fixed once at start-up; it names the settings key.
struct AppIdentity {
    wchar_t company[64];
    wchar_t product[64];
    wchar_t shortName[64];
    wchar_t spare[32];
    DWORD flags;
    WORD versionNumber;
    WORD versionBuild;
};

void appStoreIdentity(const AppIdentity &identity);
const AppIdentity &appIdentity();
