// Writing files: creating and opening them, the warning shown when that fails, and UTF-16LE text.
#include "support/fl.h"

#include <cwchar>
#include "res/resource.h"
#include "support/appstate.h"
#include "support/msg.h"
#include "support/res.h"
#include "support/str.h"

namespace {

struct KindId {
    int kind;
    UINT id;
};

const BYTE kMarkLE[] = {0xFF, 0xFE};

// Not in kind order: kind 24 takes the id between those of 21 and 22.
const KindId kKindIds[] = {
    {1, IDS_FLERR_KIND1},   {2, IDS_FLERR_KIND2},   {3, IDS_FLERR_KIND3},   {4, IDS_FLERR_KIND4},
    {5, IDS_FLERR_KIND5},   {6, IDS_FLERR_KIND6},   {21, IDS_FLERR_KIND21}, {22, IDS_FLERR_KIND22},
    {23, IDS_FLERR_KIND23}, {24, IDS_FLERR_KIND24}, {25, IDS_FLERR_KIND25},
};

bool flRefuseReadOnly(const wchar_t *path, int kind)
{
    DWORD attributes = GetFileAttributesW(path);
    if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_READONLY))
        return false;
    SetLastError(ERROR_ACCESS_DENIED);
    flReportError(nullptr, path, kind);
    return true;
}

bool txfWriteBytes(HANDLE file, const void *bytes, DWORD count)
{
    DWORD written = 0;
    return WriteFile(file, bytes, count, &written, nullptr) && written == count;
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
ScopedHandle flCreate(const wchar_t *path)
{
    if (!path || flRefuseReadOnly(path, FL_KIND_CREATE_READONLY))
        return ScopedHandle();
    ScopedHandle file(CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        flReportError(nullptr, path, FL_KIND_CREATE_FAILED);
    return file;
}

ScopedHandle flOpenAlways(const wchar_t *path)
{
    if (!path || flRefuseReadOnly(path, FL_KIND_OPEN_READONLY))
        return ScopedHandle();
    ScopedHandle file(CreateFileW(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        flReportError(nullptr, path, FL_KIND_OPEN_FAILED);
    return file;
}

ScopedHandle txfCreate(const wchar_t *path)
{
    ScopedHandle file = flCreate(path);
    if (!file || !txfWriteBytes(file.get(), kMarkLE, sizeof kMarkLE))
        return ScopedHandle();
    return file;
}

// The mark is written over the first two bytes even of an existing file, which repairs a
// file whose mark was lost; the handle is left at the end, ready to append.
ScopedHandle txfOpenAppend(const wchar_t *path)
{
    ScopedHandle file = flOpenAlways(path);
    LARGE_INTEGER zero = {};
    if (!file || !SetFilePointerEx(file.get(), zero, nullptr, FILE_BEGIN) ||
        !txfWriteBytes(file.get(), kMarkLE, sizeof kMarkLE) ||
        !SetFilePointerEx(file.get(), zero, nullptr, FILE_END))
        return ScopedHandle();
    return file;
}

DWORD txfWrite(HANDLE file, const wchar_t *text)
{
    DWORD bytes = static_cast<DWORD>(strBytes(text));
    DWORD written = 0;
    if (!file || file == INVALID_HANDLE_VALUE || bytes == 0 || !WriteFile(file, text, bytes, &written, nullptr))
        return 0;
    return written;
}

int txfSave(const wchar_t *path, const wchar_t *text, int lineEnd)
{
    ScopedHandle file = txfCreate(path);
    if (!file)
        return 0;
    DWORD written = txfWrite(file.get(), text);
    if (lineEnd)
        txfWrite(file.get(), L"\r\n");
    return written == static_cast<DWORD>(strBytes(text)) ? 1 : 0;
}

int txfSaveText(const wchar_t *path, const wchar_t *text) { return txfSave(path, text, 0); }

int txfAppend(const wchar_t *path, const wchar_t *text, int lineEnd, int create)
{
    if (!path)
        return 0;
    if (GetFileAttributesW(path) == INVALID_FILE_ATTRIBUTES)
        return create ? txfSave(path, text, lineEnd) : 0;
    ScopedHandle file = txfOpenAppend(path);
    if (!file)
        return 0;
    DWORD written = txfWrite(file.get(), text);
    if (written > 0 && lineEnd)
        txfWrite(file.get(), L"\r\n");
    return written > 0 ? 1 : 0;
}
