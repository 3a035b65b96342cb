// Web addresses: recognising the scheme, joining a relative part, and integer texts.
#include "support/url.h"
#include <cwchar>
#include "support/path.h"
#include "support/str.h"

namespace {

const int kWorkChars = 1023;

void replaceChar(wchar_t *text, wchar_t from, wchar_t to)
{
    for (; *text; ++text)
        if (*text == from)
            *text = to;
}

}  // namespace

int IsUrl(const wchar_t *text)
{
    int length;
    return GetUrlPrefixLength(text, &length);
}

int GetUrlPrefixLength(const wchar_t *text, int *length)
{
    static const wchar_t *const kPrefixes[] = {L"http://", L"https://"};
    int found = 0;
    if (text)
        for (const wchar_t *prefix : kPrefixes) {
            int n = static_cast<int>(wcslen(prefix));
            if (_wcsnicmp(text, prefix, n) == 0) {
                found = n;
                break;
            }
        }
    if (length)
        *length = found;
    return found ? 1 : 0;
}

// The address is dressed up as a file path under "c:\" so that the path join folds "..", "."
// and doubled separators, then turned back. `out` holds PATH_CHARS characters and the terminator;
// it may be the base or the relative part. The whole result is lower-cased, path included: the
// program has always handed out its addresses that way.
int JoinUrl(wchar_t *out, const wchar_t *base, const wchar_t *relative)
{
    int prefix = 0;
    if (!out || !GetUrlPrefixLength(base, &prefix))
        return 0;
    wchar_t directory[kWorkChars + 1], name[kWorkChars + 1], joined[PATH_BUFFER];
    _snwprintf(directory, kWorkChars, L"c:\\%s", base + prefix);
    directory[kWorkChars] = L'\0';
    replaceChar(directory, L'/', L'\\');
    strCopyN(name, relative, kWorkChars);
    replaceChar(name, L'/', L'\\');
    if (!pathJoin(joined, directory, name))
        return 0;
    wchar_t *rest = wcschr(joined, L'\\');
    if (!rest)
        return 0;
    ++rest;
    replaceChar(rest, L'\\', L'/');
    wchar_t result[2 * PATH_BUFFER];
    wchar_t *end = strCopyN(result, prefix == 7 ? L"http://" : L"https://", 8);
    strCopyN(end, rest, PATH_CHARS);
    _wcslwr(result);
    strCopyN(out, result, PATH_CHARS);
    return 1;
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
