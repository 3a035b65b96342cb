// Unattended administration: -SETUP, -STATUS and -UNINSTALL, run without any window, reported
// by exit code (the table in README) and, with -LOG, in a log.
#pragma once
#include <windows.h>

// The refusal to run without the administrator right, in the window's box and the action log.
extern const wchar_t kNotAdminMessage[];

enum ActionExit {
    EXIT_DONE = 0,
    EXIT_UNEXPECTED = 1,
    EXIT_USAGE = 2,
    EXIT_NO_GHOSTSCRIPT = 3,
    EXIT_NO_REDMON = 4,
    EXIT_NO_COMPONENTS = 5,
    EXIT_PORT_FAILED = 6,
    EXIT_PRINTER_FAILED = 7,
    EXIT_NOT_ADMIN = 8,
    EXIT_OLD_WINDOWS = 9,
    EXIT_DRIVER_REFUSED = 10,
    EXIT_PORT_DIFFERS = 11,
    EXIT_PRINTER_MISSING = 12,
    EXIT_REMOVE_FAILED = 13,
    EXIT_NO_RESPONSE_FILE = 14,
    EXIT_NO_OUTPUT_FOLDER = 15,
    EXIT_SPOOLER = 16,
    EXIT_NO_MONITOR = 17,
    EXIT_PORT_NOT_LISTED = 18,
    EXIT_PROTECTED_PRINT = 19,
    EXIT_ARM64 = 20,
    EXIT_REMOTE_FOLDER = 21,
    EXIT_OUTPUT_NOT_FILE = 22,
    EXIT_JOB_STUCK = 23,
    EXIT_NO_PDF = 24,
    EXIT_NOT_PDF = 25,
    EXIT_UNTRUSTED = 26,
    // ERROR_INSTALL_ALREADY_RUNNING: deployment tools retry exactly this code.
    EXIT_BUSY = 1618,
};

// -1 when the command line is not an unattended one (the window opens as always); else the run's
// exit code. Process-wide modes it sets are reset before it returns.
int appRunAction(const wchar_t *commandLine);
