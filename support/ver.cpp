// Reading a module's version resource: the whole block and the texts the About box shows.
#include "support/ver.h"
#include <cwchar>
#include "support/mem.h"
#include "support/path.h"
#include "support/str.h"
#include "support/syslib.h"

namespace {

// Reads one text of the StringFileInfo block, in the translation's language or the fixed one.
bool queryString(void *block, const wchar_t *translation, const wchar_t *name, wchar_t *out)
{
    wchar_t query[128];
    if (translation[0])
        _snwprintf(query, 128, L"\\StringFileInfo\\%s\\%s", translation, name);
    else
        _snwprintf(query, 128, L"\\StringFileInfo\\040904B0\\%s", name);
    query[127] = L'\0';
    wchar_t *value = nullptr;
    UINT length = 0;
    if (!sysVerQueryValueW(block, query, reinterpret_cast<void **>(&value), &length) || !value || length == 0)
        return false;
    strCopyN(out, value, 255);
    return out[0] != L'\0';
}

}  // namespace

HGLOBAL verLoadBlock(HMODULE module)
{
    wchar_t fileName[PATH_BUFFER];
    if (!pathModuleFile(module, fileName))
        return nullptr;
    DWORD ignored = 0;
    DWORD size = sysGetFileVersionInfoSizeW(fileName, &ignored);
    if (size == 0)
        return nullptr;
    HGLOBAL block = memGAlloc(nullptr, size);
    bool read = false;
    {
        MemLock<BYTE> data(block);
        read = data && sysGetFileVersionInfoW(fileName, 0, size, data.get());
    }
    if (!read) {
        memGFree(block);
        return nullptr;
    }
    return block;
}

void verGetTranslation(const void *versionBlock, wchar_t *out)
{
    out[0] = L'\0';
    WORD *translation = nullptr;
    UINT length = 0;
    if (sysVerQueryValueW(versionBlock, L"\\VarFileInfo\\Translation", reinterpret_cast<void **>(&translation),
                          &length) &&
        translation && length >= 2 * sizeof(WORD))
        _snwprintf(out, 9, L"%04x%04x", translation[0], translation[1]);
}

int verGetStrings(wchar_t *company, wchar_t *copyright, HMODULE module)
{
    copyright[0] = L'\0';
    if (company)
        company[0] = L'\0';
    HGLOBAL block = verLoadBlock(module);
    if (!block)
        return 0;
    bool found = false;
    {
        MemLock<BYTE> data(block);
        wchar_t translation[9];
        verGetTranslation(data.get(), translation);
        found = queryString(data.get(), translation, L"LegalCopyright", copyright);
        if (company && queryString(data.get(), translation, L"CompanyName", company))
            found = true;
    }
    memGFree(block);
    return found ? 1 : 0;
}
