// Keyword options of the form -NAME or -NAME[value] at the front of a command line.
#include "support/kw.h"
#include <cwchar>
#include "support/mem.h"
#include "support/str.h"
#include "support/txt.h"

namespace {

wchar_t *skipBlanks(wchar_t *p)
{
    while (*p == L' ')
        p++;
    return p;
}

}  // namespace

wchar_t *kwParseKeywords(wchar_t *text, KeywordEntry *table, int entries, int *count, int *error)
{
    int matched = 0, status = KW_OK;
    if (count)
        *count = 0;
    if (error)
        *error = KW_OK;
    if (!text)
        return nullptr;
    wchar_t *p = skipBlanks(text);
    if (*p != L'-')
        return *p ? p : nullptr;

    while (p && *p == L'-') {
        wchar_t *name = p + 1;
        wchar_t *blank = wcschr(name, L' ');
        wchar_t *bracket = wcschr(name, L'[');
        wchar_t *value = nullptr;
        if (bracket && (!blank || bracket < blank)) {
            *bracket = L'\0';
            value = bracket + 1;
        } else if (blank) {
            *blank = L'\0';
        }
        if (!*name)
            break;
        wchar_t *next = blank ? blank + 1 : nullptr;
        bool stop = false;

        KeywordEntry *entry = nullptr;
        for (int i = 0; i < entries && !entry; i++)
            if (strEqualsFoldAZ(name, table[i].keyword))
                entry = &table[i];
        if (entry) {
            entry->found = 1;
            if (value && *value) {
                wchar_t *close = wcschr(value, L']');
                if (close) {
                    *close = L'\0';
                    if (*value) {
                        // Given twice, the later value wins; the earlier block is let go.
                        memGFree(entry->value);
                        entry->value = txtGNew(value);
                    }
                    next = close + 1;
                } else {
                    status = KW_MISSING_BRACKET;
                    stop = true;
                }
            }
            matched++;
        } else {
            status = KW_UNKNOWN_KEYWORD;
        }
        if (stop || !next) {
            p = stop ? nullptr : next;
            break;
        }
        p = skipBlanks(next);
        if (!*p)
            p = nullptr;
    }
    if (count)
        *count = matched;
    if (error)
        *error = status;
    return p;
}

void kwFreeValues(KeywordEntry *table, int entries)
{
    for (int i = 0; i < entries; i++) {
        memGFree(table[i].value);
        table[i].value = nullptr;
    }
}
