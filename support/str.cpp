// UTF-16 string helpers: bounded copy, trimming, splitting and tokenising in caller buffers.
#include "support/str.h"

#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "support/mem.h"

// wcschr finds the terminator of the set too, so a NUL must never be tested for membership.
static bool strInSet(wchar_t ch, const wchar_t *set)
{
    return ch != L'\0' && wcschr(set, ch) != nullptr;
}

static bool strIsCharOrCRLF(wchar_t ch, wchar_t given)
{
    return ch != L'\0' && (ch == given || ch == L'\r' || ch == L'\n');
}

// Drops the first `skip` characters by moving the rest, terminator included, to the front.
static void strShiftLeft(wchar_t *text, size_t skip)
{
    if (skip > 0)
        memmove(text, text + skip, (wcslen(text + skip) + 1) * sizeof(wchar_t));
}

wchar_t *strDup(const wchar_t *text)
{
    if (!text || !*text)
        return nullptr;
    size_t length = wcslen(text);
    wchar_t *copy = static_cast<wchar_t *>(calloc(length + 1, sizeof(wchar_t)));
    if (copy)
        memcpy(copy, text, length * sizeof(wchar_t));
    return copy;
}

int strSizeZ(const wchar_t *text)
{
    return (text && *text) ? static_cast<int>(wcslen(text)) + 1 : 0;
}

int strBytesZ(const wchar_t *text)
{
    return strSizeZ(text) * static_cast<int>(sizeof(wchar_t));
}

int strBytes(const wchar_t *text)
{
    return text ? static_cast<int>(wcslen(text) * sizeof(wchar_t)) : 0;
}

// Writes up to `maximum` characters and then a NUL, so the destination needs maximum + 1 places.
wchar_t *strCopyN(wchar_t *destination, const wchar_t *source, int maximum)
{
    if (!destination)
        return nullptr;
    wchar_t *out = destination;
    if (source) {
        for (int copied = 0; copied < maximum && *source; ++copied)
            *out++ = *source++;
    }
    *out = L'\0';
    return out;
}

wchar_t *strSkipChar(wchar_t *text, wchar_t ch)
{
    if (!text)
        return nullptr;
    while (ch != L'\0' && *text == ch)
        ++text;
    return text;
}

void strStripTrailChar(wchar_t *text, wchar_t ch)
{
    if (!text || ch == L'\0')
        return;
    for (size_t length = wcslen(text); length > 0 && text[length - 1] == ch; --length)
        text[length - 1] = L'\0';
}

void strStripChar(wchar_t *text, wchar_t ch)
{
    if (!text || !*text)
        return;
    strShiftLeft(text, static_cast<size_t>(strSkipChar(text, ch) - text));
    strStripTrailChar(text, ch);
}

void strStripCRLF(wchar_t *text)
{
    if (!text)
        return;
    for (size_t length = wcslen(text); length > 0 && (text[length - 1] == L'\r' || text[length - 1] == L'\n');
         --length)
        text[length - 1] = L'\0';
}

void strStripCharCRLF(wchar_t *text, wchar_t ch)
{
    if (!text || !*text)
        return;
    size_t skip = 0;
    while (strIsCharOrCRLF(text[skip], ch))
        ++skip;
    strShiftLeft(text, skip);
    for (size_t length = wcslen(text); length > 0 && strIsCharOrCRLF(text[length - 1], ch); --length)
        text[length - 1] = L'\0';
}

// Only the leading side is trimmed. Trailing characters of the set are kept on purpose: the
// key-value reader relies on it (a value keeps its trailing blanks, only trailing ";" go).
void strTrimSet(wchar_t *text, const wchar_t *set)
{
    if (!text || !*text || !set || !*set)
        return;
    size_t skip = 0;
    while (strInSet(text[skip], set))
        ++skip;
    strShiftLeft(text, skip);
}

void strTrimValue(wchar_t *text)
{
    strTrimSet(text, L" \t");
    strStripTrailChar(text, L';');
}

HGLOBAL strTokenize(wchar_t *text, const wchar_t *delimiters, int *count)
{
    HGLOBAL tokens = nullptr;
    int found = 0;
    if (!delimiters)
        delimiters = L"";
    wchar_t *p = text;
    while (p) {
        while (strInSet(*p, delimiters))
            ++p;
        if (!*p)
            break;
        HGLOBAL grown = memGArraySet(tokens, found, &p, sizeof p);
        if (!grown) {
            memGFree(tokens);
            tokens = nullptr;
            found = 0;
            break;
        }
        tokens = grown;
        ++found;
        while (*p && !strInSet(*p, delimiters))
            ++p;
        if (!*p)
            break;
        *p++ = L'\0';
    }
    if (count)
        *count = found;
    return tokens;
}

wchar_t **strTokenizeHeap(wchar_t *text, const wchar_t *delimiters, int *count)
{
    int found = 0;
    HGLOBAL tokens = strTokenize(text, delimiters, &found);
    wchar_t **copy = nullptr;
    if (found > 0) {
        MemLock<wchar_t *> lock(tokens);
        copy = lock ? static_cast<wchar_t **>(calloc(static_cast<size_t>(found), sizeof *copy)) : nullptr;
        if (copy)
            memcpy(copy, lock.get(), static_cast<size_t>(found) * sizeof *copy);
    }
    memGFree(tokens);
    if (count)
        *count = copy ? found : 0;
    return copy;
}

int strSplitKeyValue(wchar_t *line, wchar_t separator, KeyValue *pair, int *blankValue)
{
    if (pair) {
        pair->key = nullptr;
        pair->value = nullptr;
    }
    if (blankValue)
        *blankValue = 0;
    if (!line || !pair)
        return 0;
    strStripCharCRLF(line, L' ');
    if (!*line || *line == separator)
        return 0;
    wchar_t *split = wcschr(line, separator);
    if (!split || separator == L'\0')
        return 0;
    *split = L'\0';
    strStripChar(line, L' ');
    if (!*line)
        return 0;
    pair->key = line;
    wchar_t *value = split + 1;
    if (!*value)
        return 1;
    strStripChar(value, L' ');
    if (*value)
        pair->value = value;
    else if (blankValue)
        *blankValue = -1;
    return 1;
}

int strListHas(const wchar_t *list, const wchar_t *word)
{
    if (!word || !*word)
        return 0;
    wchar_t *copy = strDup(list);
    if (!copy)
        return 0;
    int count = 0;
    wchar_t **items = strTokenizeHeap(copy, L"; ", &count);
    int has = 0;
    for (int i = 0; i < count && !has; ++i)
        has = wcscmp(items[i], word) == 0;
    free(items);
    free(copy);
    return has;
}

int strEqualsFoldAZ(const wchar_t *a, const wchar_t *b)
{
    auto fold = [](wchar_t c) { return (c >= L'a' && c <= L'z') ? static_cast<wchar_t>(c - L'a' + L'A') : c; };
    for (; *a && *b; a++, b++)
        if (fold(*a) != fold(*b))
            return 0;
    return *a == *b ? 1 : 0;
}

// Only the characters are checked, so a lone sign passes as well.
int IsIntegerText(const wchar_t *text)
{
    if (!text || !*text || wcschr(text, L' '))
        return 0;
    if (*text == L'+' || *text == L'-')
        ++text;
    for (; *text; ++text)
        if (*text < L'0' || *text > L'9')
            return 0;
    return 1;
}
