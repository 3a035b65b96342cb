// The machine's printers, and which of them are this program's PDF printer.
#include "detect/printers.h"
#include <cstdlib>
#include <cwchar>
#include "support/mem.h"
#include "support/str.h"
#include "support/syslib.h"
#include "support/txt.h"

const wchar_t kPdfPrinterName[] = L"TessaloomPDF";

namespace {

const int kNameLimit = 64;

}  // namespace

// The first word of the name decides, so "TessaloomPDF on port" counts, "TessaloomPDF2" does not.
int gs2_IsDriverPrinterName(const wchar_t *name, int)
{
    if (!name)
        return 0;
    wchar_t word[kNameLimit + 1];
    int n = 0;
    while (n < kNameLimit && name[n] && name[n] != L' ') {
        word[n] = name[n];
        n++;
    }
    word[n] = L'\0';
    return strEqualsFoldAZ(word, kPdfPrinterName);
}

HGLOBAL gs2_EnumPrinterNames(wchar_t separator)
{
    const DWORD flags = PRINTER_ENUM_LOCAL | PRINTER_ENUM_CONNECTIONS;
    DWORD needed = 0, returned = 0;
    if (!sysEnumPrintersW(flags, nullptr, 5, nullptr, 0, &needed, &returned) &&
        GetLastError() != ERROR_INSUFFICIENT_BUFFER)
        return nullptr;
    if (needed == 0)
        return nullptr;
    BYTE *records = static_cast<BYTE *>(calloc(needed, 1));
    if (!records)
        return nullptr;
    HGLOBAL names = nullptr;
    if (sysEnumPrintersW(flags, nullptr, 5, records, needed, &needed, &returned)) {
        const PRINTER_INFO_5W *info = reinterpret_cast<const PRINTER_INFO_5W *>(records);
        const wchar_t sep[2] = {separator, L'\0'};
        for (DWORD i = 0; i < returned; i++) {
            names = txtGAppend(names, info[i].pPrinterName ? info[i].pPrinterName : L"");
            names = txtGAppend(names, sep);
        }
    }
    free(records);
    return names;
}

HGLOBAL gs2_GetDriverPrinterList(wchar_t separator, int *count)
{
    *count = 0;
    HGLOBAL all = gs2_EnumPrinterNames(separator);
    if (!all)
        return nullptr;
    HGLOBAL list = nullptr;
    int matched = 0;
    {
        MemLock<wchar_t> text(all);
        const wchar_t set[2] = {separator, L'\0'};
        int n = 0;
        wchar_t **names = text ? strTokenizeHeap(text.get(), set, &n) : nullptr;
        for (int i = 0; i < n; i++) {
            if (gs2_IsDriverPrinterName(names[i], 0)) {
                list = txtGAppend(list, names[i]);
                list = txtGAppend(list, set);
                matched++;
            }
        }
        free(names);
    }
    memGFree(all);
    if (matched == 1) {
        MemLock<wchar_t> text(list);
        if (text)
            strStripChar(text.get(), separator);
    }
    *count = matched;
    return list;
}

// Printer names are compared as the spooler compares them: without regard to case.
int gs2_IsPrinterInstalled(const wchar_t *name)
{
    HGLOBAL all = gs2_EnumPrinterNames(L'\n');
    int found = 0;
    {
        MemLock<wchar_t> text(all);
        int n = 0;
        wchar_t **names = text ? strTokenizeHeap(text.get(), L"\n", &n) : nullptr;
        for (int i = 0; i < n && !found; i++)
            found = _wcsicmp(names[i], name) == 0;
        free(names);
    }
    memGFree(all);
    return found;
}
