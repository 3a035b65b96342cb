// Ghostscript locator and the component flags cached at start-up.
#include "detect/gs.h"
#include <cstdlib>
#include <cwchar>
#include <initializer_list>
#include "detect/redmon.h"
#include "res/resource.h"
#include "support/mem.h"
#include "support/path.h"
#include "support/res.h"
#include "support/settings.h"
#include "support/str.h"

const wchar_t kGhostscriptKey[] = L"GPL Ghostscript";

namespace {

const int kVersionChars = 8;
const DWORD kValueBytes = 256;  // 128 characters, as the installer's values have always been read

wchar_t g_gsVersion[kVersionChars + 1];
HKEY g_softwareKey, g_gplKey, g_versionKey;
int g_requireRedMon;
int g_ghostscriptFound;
int g_redMonFound;
DWORD g_missingComponents;

// Reads a REG_SZ value of at most `bytes` bytes; any other type reads as empty.
// `bytes` is left as the query left it, because the caller reuses it.
void readText(HKEY key, const wchar_t *name, wchar_t *out, DWORD outChars, DWORD *bytes)
{
    ZeroMemory(out, outChars * sizeof(wchar_t));
    DWORD limit = (outChars - 1) * sizeof(wchar_t);
    if (*bytes > limit)
        *bytes = limit;  // never let a reused count exceed the buffer
    DWORD type = 0;
    LONG rc = RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE *>(out), bytes);
    if (rc != ERROR_SUCCESS || type != REG_SZ)
        out[0] = L'\0';
    out[outChars - 1] = L'\0';
}

}  // namespace

// Create-or-open even for reading: elevated, a machine without Ghostscript keeps an
// empty "GPL Ghostscript" key afterwards. That has always been so.
HKEY gs2_OpenGhostscriptKey()
{
    gs2_CloseGhostscriptKeys();
    g_softwareKey = setOpenMachineSoftware();
    g_gplKey = setOpenSubkeyRead(g_softwareKey, kGhostscriptKey);
    if (g_gplKey && !g_gsVersion[0]) {
        int count = 0;
        HGLOBAL names = setEnumSubkeys(g_gplKey, L'\n', &count);
        {
            MemLock<wchar_t> text(names);
            if (text)
                gs2_PickHighestVersion(text.get());
        }
        memGFree(names);
    }
    if (g_gplKey && g_gsVersion[0])
        g_versionKey = setOpenSubkeyRead(g_gplKey, g_gsVersion);
    if (!g_versionKey) {
        gs2_CloseGhostscriptKeys();
        return nullptr;
    }
    return g_versionKey;
}

void gs2_CloseGhostscriptKeys()
{
    for (HKEY *key : {&g_versionKey, &g_gplKey, &g_softwareKey}) {
        if (*key)
            RegCloseKey(*key);
        *key = nullptr;
    }
}

// Versions compare as decimal fractions, so 9.10 is below 9.9; equal numbers keep
// the name enumerated first.
void gs2_PickHighestVersion(const wchar_t *names)
{
    wchar_t *copy = strDup(names);
    if (!copy)
        return;
    int count = 0;
    wchar_t **items = strTokenizeHeap(copy, L"\n", &count);
    if (items && count > 0) {
        const wchar_t *best = items[0];
        double bestNumber = wcstod(items[0], nullptr);
        for (int i = 1; i < count; i++) {
            double number = wcstod(items[i], nullptr);
            if (number > bestNumber) {
                best = items[i];
                bestNumber = number;
            }
        }
        strCopyN(g_gsVersion, best, kVersionChars);
    }
    free(items);
    free(copy);
}

int gs2_SplitGhostscriptPath(const wchar_t *value, wchar_t *root, wchar_t *version)
{
    strCopyN(version, g_gsVersion, kVersionChars);
    wchar_t search[40];
    _snwprintf(search, 40, L"%s%s", L"gs", g_gsVersion);
    search[39] = L'\0';
    const wchar_t *match = wcsstr(value, search);
    if (!match)
        return 0;
    // The character before the match is taken to be the backslash in front of "gs".
    int rootLength = match > value ? static_cast<int>(match - value) - 1 : 0;
    strCopyN(root, value, rootLength < PATH_CHARS ? rootLength : PATH_CHARS);
    return root[0] ? 1 : 0;
}

int gs2_GetGhostscriptRoot(wchar_t *root, wchar_t *version)
{
    root[0] = L'\0';
    version[0] = L'\0';
    HKEY key = gs2_OpenGhostscriptKey();
    if (!key)
        return 0;
    wchar_t dll[129], lib[129];
    DWORD bytes = kValueBytes;
    readText(key, L"GS_DLL", dll, 129, &bytes);
    lib[0] = L'\0';
    if (!dll[0])
        readText(key, L"GS_LIB", lib, 129, &bytes);  // the byte count is not reset: kept as it was
    const wchar_t *value = dll[0] ? dll : lib;
    if (value[0])
        gs2_SplitGhostscriptPath(value, root, version);
    gs2_CloseGhostscriptKeys();
    return root[0] ? 1 : 0;
}

int gs2_GetGsDllValue(wchar_t *value)
{
    value[0] = L'\0';
    HKEY key = gs2_OpenGhostscriptKey();
    if (!key)
        return 0;
    DWORD bytes = kValueBytes;
    readText(key, L"GS_DLL", value, 129, &bytes);
    gs2_CloseGhostscriptKeys();
    return value[0] ? 1 : 0;
}

// The file's presence is not checked: the port command is written all the same.
int gs2_GetGhostscriptConsolePath(wchar_t *path)
{
    wchar_t folder[PATH_BUFFER];
    if (!gs2_GetGsDllValue(folder))
        return 0;
    pathDirectory(folder);
    path[0] = L'\0';
    pathJoin(path, folder, L"gswin32c.exe");
    return 1;
}

int gs2_IsGhostscriptInstalled()
{
    wchar_t root[PATH_BUFFER], version[kVersionChars + 1];
    return gs2_GetGhostscriptRoot(root, version) && root[0] && version[0] ? 1 : 0;
}

void gs2_InitComponents(int requireRedMon)
{
    g_requireRedMon = requireRedMon;
    g_ghostscriptFound = gs2_IsGhostscriptInstalled();
    g_redMonFound = gs2_IsRedMonInstalled();
    setInitMaxWait();
}

// Answers from the flags cached at start-up; the system is not probed again.
int gs2_CheckRequiredComponents()
{
    g_missingComponents = 0;
    if (!g_ghostscriptFound)
        g_missingComponents |= GS2_MISSING_GHOSTSCRIPT;
    if (g_requireRedMon && !g_redMonFound)
        g_missingComponents |= GS2_MISSING_REDMON;
    return g_missingComponents == 0 ? 1 : 0;
}

DWORD gs2_GetMissingComponents() { return g_missingComponents; }

HGLOBAL gs2_GetComponentSummary(HGLOBAL list)
{
    wchar_t line[256];
    if (g_ghostscriptFound) {
        wchar_t root[PATH_BUFFER], version[kVersionChars + 1];
        gs2_GetGhostscriptRoot(root, version);
        resFormatString(line, 256, IDS_GS_INSTALLED, version);
    } else {
        resLoadString(nullptr, IDS_GS_NOT_INSTALLED, line, 256);
    }
    list = txtGAppend(list, line);
    resLoadString(nullptr, g_redMonFound > 0 ? IDS_REDMON_INSTALLED : IDS_REDMON_NOT_INSTALLED, line, 256);
    return txtGAppend(list, line);
}

const wchar_t *gs2_ChosenVersion() { return g_gsVersion; }

void gs2_ResetForTest()
{
    gs2_CloseGhostscriptKeys();
    g_gsVersion[0] = L'\0';
    g_requireRedMon = g_ghostscriptFound = g_redMonFound = 0;
    g_missingComponents = 0;
}
