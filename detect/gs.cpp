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
#include "support/txt.h"

const wchar_t kGhostscriptKey[] = L"GPL Ghostscript";
const wchar_t kArtifexGhostscriptKey[] = L"Artifex Ghostscript";

namespace {

const int kVersionChars = 8;
const DWORD kValueBytes = 256;  // 128 characters, as the installer's values have always been read

wchar_t g_gsVersion[kVersionChars + 1];
HKEY g_softwareKey, g_gplKey, g_versionKey;

// Where Ghostscript is looked for, in this order. The first place is the one Ghostscript's
// 32-bit installer writes and is opened as it always was; the others are only opened (never
// created): the other registry view, where the 64-bit installer writes, and the commercial
// builds' key in both views.
struct GsPlace {
    const wchar_t *key;
    bool otherView;
};
const GsPlace kPlaces[] = {
    {kGhostscriptKey, false}, {kGhostscriptKey, true}, {kArtifexGhostscriptKey, false}, {kArtifexGhostscriptKey, true}};
const int kPlaceCount = sizeof(kPlaces) / sizeof(kPlaces[0]);
int g_place = -1;  // the place a usable Ghostscript was found; -1 while none was
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

// The view this process does not see by default: a 32-bit process sees the 32-bit view.
REGSAM otherView() { return sizeof(void *) == 8 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY; }

HKEY openOnly(HKEY parent, const wchar_t *name, REGSAM view)
{
    HKEY key = nullptr;
    if (!parent || RegOpenKeyExW(parent, name, 0, KEY_READ | view, &key) != ERROR_SUCCESS)
        return nullptr;
    return key;
}

// Versions compare as decimal fractions, so 9.10 is below 9.9; equal numbers keep
// the name enumerated first.
void pickHighest(const wchar_t *names, wchar_t *chosen)
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
        strCopyN(chosen, best, kVersionChars);
    }
    free(items);
    free(copy);
}

void pickFromKey(HKEY vendorKey, wchar_t *chosen)
{
    int count = 0;
    HGLOBAL names = setEnumSubkeys(vendorKey, L'\n', &count);
    {
        MemLock<wchar_t> text(names);
        if (text)
            pickHighest(text.get(), chosen);
    }
    memGFree(names);
}

int splitWith(const wchar_t *value, const wchar_t *version, wchar_t *root)
{
    wchar_t search[40];
    _snwprintf(search, 40, L"%s%s", L"gs", version);
    search[39] = L'\0';
    const wchar_t *match = wcsstr(value, search);
    if (!match)
        return 0;
    // The character before the match is taken to be the backslash in front of "gs".
    int rootLength = match > value ? static_cast<int>(match - value) - 1 : 0;
    strCopyN(root, value, rootLength < PATH_CHARS ? rootLength : PATH_CHARS);
    return root[0] ? 1 : 0;
}

// GS_DLL, else GS_LIB read with the byte count the first query left behind (kept so).
// `hadValue`, when given, says whether either value held a text.
int rootFromKey(HKEY key, const wchar_t *version, wchar_t *root, bool *hadValue = nullptr)
{
    root[0] = L'\0';
    wchar_t dll[129], lib[129];
    DWORD bytes = kValueBytes;
    readText(key, L"GS_DLL", dll, 129, &bytes);
    lib[0] = L'\0';
    if (!dll[0])
        readText(key, L"GS_LIB", lib, 129, &bytes);
    const wchar_t *value = dll[0] ? dll : lib;
    if (value[0])
        splitWith(value, version, root);
    if (hadValue)
        *hadValue = value[0] != L'\0';
    return root[0] ? 1 : 0;
}

// The other places, tried only when the first gave no usable Ghostscript. The first usable
// one becomes the place, with its own version choice, for the rest of the process.
bool openOtherPlace()
{
    for (int i = 1; i < kPlaceCount; i++) {
        REGSAM view = kPlaces[i].otherView ? otherView() : 0;
        HKEY software = openOnly(HKEY_LOCAL_MACHINE, L"Software", view);
        HKEY vendor = openOnly(software, kPlaces[i].key, view);
        wchar_t version[kVersionChars + 1] = L"", root[PATH_BUFFER];
        if (vendor)
            pickFromKey(vendor, version);
        HKEY versionKey = version[0] ? openOnly(vendor, version, view) : nullptr;
        if (versionKey && rootFromKey(versionKey, version, root)) {
            gs2_CloseGhostscriptKeys();
            g_softwareKey = software;
            g_gplKey = vendor;
            g_versionKey = versionKey;
            strCopyN(g_gsVersion, version, kVersionChars);
            g_place = i;
            return true;
        }
        for (HKEY key : {versionKey, vendor, software})
            if (key)
                RegCloseKey(key);
    }
    return false;
}

bool reopenOtherPlace()
{
    REGSAM view = kPlaces[g_place].otherView ? otherView() : 0;
    g_softwareKey = openOnly(HKEY_LOCAL_MACHINE, L"Software", view);
    g_gplKey = openOnly(g_softwareKey, kPlaces[g_place].key, view);
    g_versionKey = openOnly(g_gplKey, g_gsVersion, view);
    return g_versionKey != nullptr;
}

}  // namespace

// Create-or-open even for reading: elevated, a machine without Ghostscript keeps an
// empty "GPL Ghostscript" key afterwards. That has always been so. Once that first place has
// proved usable it stays the place; once another has, that one does.
HKEY gs2_OpenGhostscriptKey()
{
    gs2_CloseGhostscriptKeys();
    if (g_place > 0) {
        if (!reopenOtherPlace())
            gs2_CloseGhostscriptKeys();
        return g_versionKey;
    }
    g_softwareKey = setOpenMachineSoftware();
    g_gplKey = setOpenSubkeyRead(g_softwareKey, kGhostscriptKey);
    if (g_gplKey && !g_gsVersion[0])
        pickFromKey(g_gplKey, g_gsVersion);
    if (g_gplKey && g_gsVersion[0])
        g_versionKey = setOpenSubkeyRead(g_gplKey, g_gsVersion);
    if (g_place < 0) {
        wchar_t root[PATH_BUFFER];
        if (g_versionKey && rootFromKey(g_versionKey, g_gsVersion, root))
            g_place = 0;
        else if (openOtherPlace())
            return g_versionKey;
    }
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

void gs2_PickHighestVersion(const wchar_t *names) { pickHighest(names, g_gsVersion); }

int gs2_SplitGhostscriptPath(const wchar_t *value, wchar_t *root, wchar_t *version)
{
    strCopyN(version, g_gsVersion, kVersionChars);
    return splitWith(value, g_gsVersion, root);
}

int gs2_GetGhostscriptRoot(wchar_t *root, wchar_t *version)
{
    root[0] = L'\0';
    version[0] = L'\0';
    HKEY key = gs2_OpenGhostscriptKey();
    if (!key)
        return 0;
    bool hadValue = false;
    rootFromKey(key, g_gsVersion, root, &hadValue);
    if (hadValue)
        strCopyN(version, g_gsVersion, kVersionChars);  // the version comes with a value only
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

// The file's presence is not checked: the port command is written all the same. The console
// program is built like the library: a 64-bit library comes with gswin64c.exe.
int gs2_GetGhostscriptConsolePath(wchar_t *path)
{
    wchar_t folder[PATH_BUFFER];
    if (!gs2_GetGsDllValue(folder))
        return 0;
    const wchar_t *library = wcsrchr(folder, L'\\');
    library = library ? library + 1 : folder;
    const wchar_t *console = _wcsicmp(library, L"gsdll64.dll") == 0 ? L"gswin64c.exe" : L"gswin32c.exe";
    pathDirectory(folder);
    path[0] = L'\0';
    pathJoin(path, folder, console);
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
    g_place = -1;
    g_requireRedMon = g_ghostscriptFound = g_redMonFound = 0;
    g_missingComponents = 0;
}
