// Where the program's files live: the per-user data folder and the response files.
#include "detect/locations.h"
#include <aclapi.h>
#include <sddl.h>
#include <shlobj.h>
#include <cwchar>
#include "detect/gs.h"
#include "res/resource.h"
#include "support/appstate.h"
#include "support/msg.h"
#include "support/path.h"
#include "support/res.h"
#include "support/str.h"
#include "support/sys.h"

const wchar_t kDataFolderName[] = L"TessaloomPDF";
const wchar_t kRspFileName[] = L"tl2pdf.rsp";

namespace {

wchar_t g_documents[MAX_PATH + 1];  // set for an unattended run that names the Documents folder
int g_machine;                      // -MACHINE: the data folder is ProgramData's, for every user
wchar_t g_asked[MAX_PATH + 1];      // what the shell answered during the command g_askedIn
unsigned g_askedIn;

// The Documents folder of the account that runs the program, unless one was named for it.
// When the shell fails, the text stays empty; callers have always lived with that.
void documentsFolder(wchar_t *out)
{
    out[0] = L'\0';
    if (g_machine) {
        SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, 0, out);
    } else if (g_documents[0]) {
        strCopyN(out, g_documents, MAX_PATH);
    } else if (appCommandSerial() && appCommandSerial() == g_askedIn) {
        strCopyN(out, g_asked, MAX_PATH);
    } else {
        SHGetFolderPathW(appGetFrameWindow(), CSIDL_PERSONAL, nullptr, 0, out);
        strCopyN(g_asked, out, MAX_PATH);
        g_askedIn = appCommandSerial();
    }
}

}  // namespace

void gs2_SetDocumentsFolder(const wchar_t *folder) { strCopyN(g_documents, folder ? folder : L"", MAX_PATH); }

void gs2_GetDocumentsFolder(wchar_t *out) { documentsFolder(out); }

void gs2_SetMachineDataFolder(int on) { g_machine = on; }

int gs2_IsMachineDataFolder() { return g_machine; }

// Owner Administrators, and a DACL of its own: LocalSystem and Administrators may do anything,
// Users may read (so that every user's Tessaloom program finds the PDF), nobody else anything.
// An existing folder is set so as well: whatever it allowed before is taken back.
int gs2_SecureMachineFolder(const wchar_t *path)
{
    PSECURITY_DESCRIPTOR sd = nullptr;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(
            L"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1200a9;;;BU)", SDDL_REVISION_1, &sd, nullptr))
        return 0;
    SECURITY_ATTRIBUTES attributes = {sizeof(attributes), sd, FALSE};
    int done = CreateDirectoryW(path, &attributes);
    if (!done && GetLastError() == ERROR_ALREADY_EXISTS && pathIsDirectory(path)) {
        BOOL present = FALSE, defaulted = FALSE;
        PACL dacl = nullptr;
        PSID owner = nullptr;
        GetSecurityDescriptorDacl(sd, &present, &dacl, &defaulted);
        GetSecurityDescriptorOwner(sd, &owner, &defaulted);
        done = SetNamedSecurityInfoW(const_cast<wchar_t *>(path), SE_FILE_OBJECT,
                                     OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION |
                                         PROTECTED_DACL_SECURITY_INFORMATION,
                                     owner, nullptr, dacl, nullptr) == ERROR_SUCCESS;
    }
    LocalFree(sd);
    return done;
}

// In a look-only run nothing is created: a folder that could be made counts as there, so that
// the paths come out as a setup would write them.
int gs2_EnsureFolder(const wchar_t *path)
{
    if (g_machine && !appIsLookOnly())
        return gs2_SecureMachineFolder(path);  // made, or repaired, whenever it is asked for
    if (pathIsDirectory(path))
        return 1;
    if (appIsLookOnly())
        return pathIsAbsence(pathProbe(path, nullptr));
    if (GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES) {
        // A file stands where the folder belongs. The message has no text on purpose.
        wchar_t message[512];
        resFormatString(message, 512, IDS_FOLDER_BLOCKED, path);
        if (!message[0] && appIsWindowless()) {
            _snwprintf(message, 512, L"A file stands where the folder %s belongs.", path);
            message[511] = L'\0';
        }
        msgMessageBox(nullptr, message, MB_ICONERROR);
        return 0;
    }
    return CreateDirectoryW(path, nullptr) ? 1 : 0;
}

// Made on every request, so a folder deleted meanwhile is made again.
int gs2_GetDataFolder(wchar_t *out)
{
    if (out)
        out[0] = L'\0';
    wchar_t documents[MAX_PATH + 1] = L"";
    // When the shell fails, the folder is the relative name alone; that is how it was.
    documentsFolder(documents);
    wchar_t folder[PATH_BUFFER] = L"";
    pathJoin(folder, documents, kDataFolderName);
    int result = gs2_EnsureFolder(folder);
    if (out)
        strCopyN(out, folder, PATH_CHARS);
    return result;
}

// The data folder's path as it would be, uncut, and whether the response file's path inside it
// fits a path field. Longer paths are refused before anything is written, never cut.
int gs2_DataPathsFit(wchar_t *folder, int capacity)
{
    wchar_t documents[MAX_PATH + 1] = L"";
    documentsFolder(documents);
    size_t length = wcslen(documents);
    int separator = length && documents[length - 1] != L'\\' ? 1 : 0;
    _snwprintf(folder, capacity, L"%s%s%s", documents, separator ? L"\\" : L"", kDataFolderName);
    folder[capacity - 1] = L'\0';
    if (!sysIsVistaOrLater())
        return 1;  // the response file is then in Ghostscript's folder
    return wcslen(folder) + 1 + wcslen(kRspFileName) <= static_cast<size_t>(PATH_CHARS) ? 1 : 0;
}

int gs2_GetRspFilePath(wchar_t *out)
{
    wchar_t folder[PATH_BUFFER];
    if (sysIsVistaOrLater()) {
        if (gs2_GetDataFolder(folder))
            return pathJoin(out, folder, kRspFileName) ? 1 : 0;
    } else {
        wchar_t version[16];
        if (gs2_GetGhostscriptRoot(folder, version))
            return pathJoin(out, folder, kRspFileName) ? 1 : 0;
    }
    return 0;
}

int gs2_GetRspFilePathForFile(wchar_t *out)
{
    wchar_t folder[PATH_BUFFER];
    if (gs2_GetDataFolder(folder))
        return pathJoin(out, folder, L"tlpdf.rsp") ? 1 : 0;
    return 0;
}
