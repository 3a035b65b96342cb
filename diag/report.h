// Debug report: the trace mailed through Simple MAPI.
#pragma once
#include <windows.h>

extern const wchar_t kReportSubject[];  // "TLPDF Debug Report"

void dbg_SendDebugReport();
int mapi_SendMailWithAttachment(HWND parent, const wchar_t *recipient, const wchar_t *subject,
                                const wchar_t *attachment);
void mapi_LibraryPath(wchar_t *out);

// Test seams: replace the MAPISendMail call, or the library loaded (null restores).
typedef ULONG(WINAPI *MapiSendMailFn)(ULONG_PTR session, ULONG_PTR uiParam, void *message, ULONG flags,
                                       ULONG reserved);
void mapiTestSetSendMail(MapiSendMailFn sendMail);
void mapiTestSetLibraryPath(const wchar_t *path);
