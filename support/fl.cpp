// Creating and opening files for writing, and the warning shown when that fails.
#include "support/fl.h"

#include <cwchar>
#include "res/resource.h"
#include "support/appstate.h"
#include "support/msg.h"
#include "support/res.h"

namespace {

struct KindId {
    int kind;
    UINT id;
};

// Not in kind order: kind 24 takes the id between those of 21 and 22.
const KindId kKindIds[] = {
    {1, IDS_FLERR_KIND1},   {2, IDS_FLERR_KIND2},   {3, IDS_FLERR_KIND3},   {4, IDS_FLERR_KIND4},
    {5, IDS_FLERR_KIND5},   {6, IDS_FLERR_KIND6},   {21, IDS_FLERR_KIND21}, {22, IDS_FLERR_KIND22},
    {23, IDS_FLERR_KIND23}, {24, IDS_FLERR_KIND24}, {25, IDS_FLERR_KIND25},
};

// Callers test for null; CreateFileW's INVALID_HANDLE_VALUE never leaves this file.
HANDLE flOrNull(HANDLE file) { return file == INVALID_HANDLE_VALUE ? nullptr : file; }

bool flRefuseReadOnly(const wchar_t *path, int kind)
{
    DWORD attributes = GetFileAttributesW(path);
    if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_READONLY))
        return false;
    SetLastError(ERROR_ACCESS_DENIED);
    flReportError(nullptr, path, kind);
    return true;
}

}  // namespace

// The error code of the failed call survives the warning box, so callers can still read it.
int flReportError(HWND owner, const wchar_t *path, int kind)
{
    DWORD error = GetLastError();
    for (const KindId &entry : kKindIds) {
        if (entry.kind != kind)
            continue;
        // None of these ids has a text, so the box is an empty warning; that is intended.
        wchar_t text[512];
        resFormatString(text, 512, entry.id, path);
        if (!text[0] && appIsWindowless()) {
            // Nobody would see the empty box; whoever reads the log needs the file and the reason.
            _snwprintf(text, 512, L"File error %d on %s (system error %lu)", kind, path ? path : L"", error);
            text[511] = L'\0';
        }
        msgWarningBox(owner, text);
        break;
    }
    SetLastError(error);
    return 1;
}

// A read-only file is never written. It is refused before CreateFileW is asked, because not
// every system refuses it there (Wine run as root opens it for writing).
HANDLE flCreate(const wchar_t *path)
{
    if (!path || flRefuseReadOnly(path, FL_KIND_CREATE_READONLY))
        return nullptr;
    HANDLE file = flOrNull(
        CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        flReportError(nullptr, path, FL_KIND_CREATE_FAILED);
    return file;
}

HANDLE flOpenAlways(const wchar_t *path)
{
    if (!path || flRefuseReadOnly(path, FL_KIND_OPEN_READONLY))
        return nullptr;
    HANDLE file = flOrNull(CreateFileW(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                                       FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        flReportError(nullptr, path, FL_KIND_OPEN_FAILED);
    return file;
}
