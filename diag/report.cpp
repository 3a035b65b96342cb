// Debug report: the trace mailed through Simple MAPI.
#include "diag/report.h"
#include <mapi.h>
#include <cwchar>
#include "diag/trace.h"
#include "support/handles.h"
#include "support/path.h"
#include "support/str.h"
#include "support/syslib.h"
#include "tlpdf_config.h"

const wchar_t kReportSubject[] = L"TLPDF Debug Report";

namespace {

const char kSendMailName[] = "MAPISendMail";
const int kAnsiBytes = 256;

MapiSendMailFn g_testSendMail;
wchar_t g_testLibrary[PATH_BUFFER];

void toAnsi(const wchar_t *text, char *out)
{
    out[0] = '\0';
    int n = WideCharToMultiByte(CP_ACP, 0, text, -1, out, kAnsiBytes, nullptr, nullptr);
    if (n == 0)  // too long for the field: keep what fits
        WideCharToMultiByte(CP_ACP, 0, text, static_cast<int>(wcsnlen(text, kAnsiBytes - 1)), out, kAnsiBytes - 1,
                            nullptr, nullptr);
    out[kAnsiBytes - 1] = '\0';
}

}  // namespace

// The program runs elevated: MAPI32.DLL is only ever taken from the system folder,
// never from the program's folder or the current directory.
void mapi_LibraryPath(wchar_t *out)
{
    if (g_testLibrary[0]) {
        strCopyN(out, g_testLibrary, PATH_CHARS);
        return;
    }
    wchar_t system[PATH_BUFFER] = L"";
    if (!pathSystemFolder(system) || !pathJoinWhole(out, system, L"MAPI32.DLL"))
        out[0] = L'\0';
}

int mapi_SendMailWithAttachment(HWND parent, const wchar_t *recipient, const wchar_t *subject,
                                const wchar_t *attachment)
{
    if (!attachment || !*attachment || !parent || !IsWindow(parent))
        return 0;
    ScopedModule library;
    MapiSendMailFn sendMail = g_testSendMail;
    if (!sendMail) {
        wchar_t path[PATH_BUFFER];
        mapi_LibraryPath(path);
        library = sysLoadLibraryAt(path);
        if (!library)
            return 0;
        sendMail = reinterpret_cast<MapiSendMailFn>(
            reinterpret_cast<void (*)()>(GetProcAddress(library.get(), kSendMailName)));
        if (!sendMail) {
            library.release();  // the library stays loaded, as it always has
            return 0;
        }
    }

    char subjectA[kAnsiBytes], addressA[kAnsiBytes], pathA[kAnsiBytes], emptyName[1] = "";
    toAnsi(subject ? subject : L"", subjectA);
    toAnsi(recipient ? recipient : L"", addressA);
    toAnsi(attachment, pathA);

    MapiRecipDesc to;
    ZeroMemory(&to, sizeof(to));
    to.ulRecipClass = MAPI_TO;
    to.lpszAddress = addressA;
    MapiFileDesc file;
    ZeroMemory(&file, sizeof(file));
    file.nPosition = static_cast<ULONG>(-1);
    file.lpszPathName = pathA;
    file.lpszFileName = emptyName;
    MapiMessage message;
    ZeroMemory(&message, sizeof(message));
    message.lpszSubject = subjectA;
    message.nRecipCount = addressA[0] ? 1 : 0;
    message.lpRecips = addressA[0] ? &to : nullptr;
    message.nFileCount = 1;
    message.lpFiles = &file;

    ULONG result = sendMail(0, reinterpret_cast<ULONG_PTR>(parent), &message, MAPI_LOGON_UI | MAPI_DIALOG, 0);
    library.reset();
    // A cancelled compose or a failed log-on counts as handed over: the user saw the client.
    return (result == SUCCESS_SUCCESS || result == MAPI_USER_ABORT || result == MAPI_E_LOGIN_FAILURE) ? 1 : 0;
}

void dbg_SendDebugReport()
{
    wchar_t path[PATH_BUFFER];
    dbg_GetTraceFilePath(path);
    if (pathFileExists(path))
        mapi_SendMailWithAttachment(GetDesktopWindow(), L"" TLPDF_SUPPORT_MAIL, kReportSubject, path);
}

void mapiTestSetSendMail(MapiSendMailFn sendMail) { g_testSendMail = sendMail; }

void mapiTestSetLibraryPath(const wchar_t *path) { strCopyN(g_testLibrary, path ? path : L"", PATH_CHARS); }
