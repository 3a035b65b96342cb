// Numeric resource ids shared by tlpdf.rc and the C++ code.
//
// MAIN_DLG, PROGRESS_MSGBOX and the icon and menu TLPDF are named resources on purpose: the code
// loads them by name, so those names must never become macros here (a macro would turn them into
// numeric ids in the compiled resources).
#pragma once

// ---- Strings ---------------------------------------------------------------------------------
// Ids marked "no text" are used by callers but deliberately absent from the string table: the
// by-id message boxes then show nothing. Adding a text to any of them changes behaviour.

#define IDS_MEMGALLOC_FAILED        640     // no text
#define IDS_EXEC_FAILED             10047
#define IDS_VERSION_FORMAT          12240   // no text: the About box falls back to "Version %s"

// File error reports, one per error kind of flReportError (12306..12310 do not follow the kind
// order). No text.
#define IDS_FLERR_KIND1             12300
#define IDS_FLERR_KIND2             12301
#define IDS_FLERR_KIND3             12302
#define IDS_FLERR_KIND4             12303
#define IDS_FLERR_KIND5             12304
#define IDS_FLERR_KIND6             12305
#define IDS_FLERR_KIND21            12306
#define IDS_FLERR_KIND24            12307
#define IDS_FLERR_KIND22            12308
#define IDS_FLERR_KIND23            12309
#define IDS_FLERR_KIND25            12310

// Caption words of the message boxes.
#define IDS_CAPTION_WARNING         12402
#define IDS_CAPTION_ERROR           12403
#define IDS_CAPTION_MESSAGE         12404

#define IDS_PORT_FAILED             13215
#define IDS_FOLDER_BLOCKED          13392   // no text
#define IDS_SAVE_DATA_CAPTION       13461   // no text

// Wait results of a child process. No text.
#define IDS_WAIT_ABANDONED          14030
#define IDS_WAIT_TIMEOUT            14031
#define IDS_WAIT_FAILED             14032

// Shell open failures. No text.
#define IDS_OPEN_FAILED             14740
#define IDS_OPEN_FAILED_TARGET      14741
#define IDS_OPEN_FAILED_NONE        14742

#define IDS_PRINTER_FAILED          14770

// Component summary lines.
#define IDS_GS_INSTALLED            14775
#define IDS_GS_NOT_INSTALLED        14776
#define IDS_REDMON_INSTALLED        14777
#define IDS_REDMON_NOT_INSTALLED    14778

// Main dialog status line.
#define IDS_STATUS_READY            14806
#define IDS_STATUS_DONE             14807
#define IDS_STATUS_MISSING          14808

#define IDS_OS_REFUSED              14809

// Driver line of the component summary; the code picks NOT_INSTALLED as INSTALLED + 1.
#define IDS_DRIVER_INSTALLED        14813
#define IDS_DRIVER_NOT_INSTALLED    14814

#define IDS_SETUP_COMPLETED         14819
#define IDS_SETUP_FAILED            14839

// Automatic setup: missing components (no text) and progress box bodies.
#define IDS_MISSING_BOTH            14953   // no text
#define IDS_MISSING_REDMON          14954   // no text
#define IDS_PROGRESS_SETUP          14955
#define IDS_PROGRESS_PRINTER        14956
#define IDS_MISSING_GS              14957   // no text
#define IDS_DRIVER_NAME_REFUSED     14960   // a driver name that would change the installer's batch line
#define IDS_SPOOLER_REFUSED         14961   // the Print Spooler service is disabled or does not start
#define IDS_DATA_FOLDER_TOO_LONG    14962   // the response file's path would not fit
#define IDS_BATCH_FILE_REFUSED      14963   // the installer's batch file cannot be created and held safely

#define IDS_PROGRESS_CAPTION        15020

// Machines where PDF output cannot work: refused before anything is changed.
#define IDS_PROTECTED_PRINT_REFUSED 14964   // the policy "Configure Windows protected print" is on
#define IDS_ARM64_REFUSED           14965   // Windows on ARM64: RedMon has no monitor for it
#define IDS_REMOTE_FOLDER_REFUSED   14966   // the Documents folder is on a network path
#define IDS_LOCK_FAILED             14967   // the setup lock cannot be created at all
#define IDS_UNTRUSTED_FOLDER        14968   // someone not an administrator can change the data folder

// Unattended actions (-SETUP, -STATUS, -UNINSTALL, -PRINTTEST). The meaning of exit code N
// (0..26) is IDS_EXIT_FIRST + N, that of 1618 IDS_EXIT_BUSY; the log's last line names it.
#define IDS_EXIT_FIRST              15140   // 15140..15166: exit codes 0..26
#define IDS_EXIT_BUSY               15199   // exit code 1618
#define IDS_USAGE_BRACKET           15120
#define IDS_USAGE_UNKNOWN           15121
#define IDS_USAGE_SOURCE_TARGET     15122
#define IDS_USAGE_ACTIONS           15123
#define IDS_USAGE_REPEATED          15124
#define IDS_USAGE_TRAILING          15125
#define IDS_USAGE_NO_VALUE          15126
#define IDS_USAGE_NOT_WITH          15127
#define IDS_USAGE_DOCUMENTS         15128
#define IDS_NO_DOCUMENTS            15129   // the account has no Documents folder a person uses
#define IDS_ACTION_WAITING          15130
#define IDS_SETUP_BUSY              15131   // the setup button: another setup holds the lock
#define IDS_USAGE_WAIT              15132
#define IDS_USAGE_MACHINE           15133

// ---- Dialogs ---------------------------------------------------------------------------------
// MAIN_DLG and PROGRESS_MSGBOX are named (see above).
#define IDD_ABOUT                   103

// ---- Controls --------------------------------------------------------------------------------
#ifndef IDC_STATIC
#define IDC_STATIC                  (-1)
#endif

// MAIN_DLG
#define IDC_STATUS                  50
#define IDC_URL                     56
#define IDC_INSTRUCTIONS            65
#define IDC_SETUP                   66
#define IDC_ABOUT                   70
#define IDC_DEBUG                   80
#define IDC_REPORT                  81
#define IDC_EXIT                    99
#define IDC_COMPONENTS              752

// PROGRESS_MSGBOX
#define IDC_PROGRESS_TEXT           101

// About box (103); its OK button is IDOK.
#define IDC_VERSION                 1006
#define IDC_COPYRIGHT               1007
#define IDC_WEBSITE                 1008

// ---- Icons, menus, accelerators --------------------------------------------------------------
// Icon and menu TLPDF are named (see above).
#define IDR_ACCEL                   109

// ---- Commands --------------------------------------------------------------------------------
// Posted by the main dialog to the main window, and carried by the menu and accelerators.
#define IDM_ONESHOT_START           37      // posted at start-up in one-shot mode; not handled
#define IDM_INSTRUCTIONS            38
#define IDM_SETUP                   39
#define IDM_EXIT                    105
#define IDM_EXIT_ALT                109     // nothing sends it; handled like IDM_EXIT
#define IDM_ABOUT                   809

// Handled by the main dialog itself; no control bears it.
#define IDC_REINIT                  55
