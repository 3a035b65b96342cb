// The unattended command line: -SETUP, -STATUS or -UNINSTALL with -LOG, -DRIVER and -DOCUMENTS.
#pragma once
#include <windows.h>
#include "support/path.h"

enum AppAction { ACTION_NONE, ACTION_SETUP, ACTION_STATUS, ACTION_UNINSTALL, ACTION_PRINTTEST };

const int kPrintTestWaitSeconds = 60;  // how long -PRINTTEST waits for its PDF unless -WAIT says

const int kActionDriverChars = 1024;  // longer than any driver name, so that a cut is seen

struct ActionRequest {
    AppAction action;
    wchar_t log[PATH_BUFFER];  // "" without -LOG, or when the name does not fit a path
    wchar_t driver[kActionDriverChars + 1];
    wchar_t documents[MAX_PATH + 1];
    int documentsTooLong;
    int waitSeconds;  // -PRINTTEST: 1 to 600
    int machine;      // -MACHINE: the data folder is ProgramData's, writable by administrators only
    UINT usageId;  // 0 when the line is usable, else the string that says what is wrong
    wchar_t usageDetail[PATH_BUFFER];  // the argument of that string
};

// 0 when the line is not an unattended one (the window opens as always), else 1 with the request
// filled; its usageId tells whether it can run.
int appParseActionLine(const wchar_t *commandLine, ActionRequest *request);
