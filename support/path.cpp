// Paths in 256-character fields: joining, normalising, splitting, extensions and filter patterns;
// web addresses, which the join folds like paths.
#include "support/path.h"
#include <cwchar>
#include "support/handles.h"
#include "support/str.h"
#include "support/sys.h"

namespace {

// Room for a path field plus a name field and a separator, so a join is composed before it is
// measured against the destination; inputs longer than this fail the length test anyway.
const int kWorkChars = 1023;

void replaceChar(wchar_t *text, wchar_t from, wchar_t to)
{
    for (; *text; ++text)
        if (*text == from)
            *text = to;
}

bool isSeparator(wchar_t ch) { return ch == L'\\' || ch == L'/'; }

// The file name begins after the last separator or drive colon ("c:name.txt" names name.txt).
const wchar_t *fileNamePart(const wchar_t *path)
{
    const wchar_t *name = path;
    for (const wchar_t *p = path; *p; ++p)
        if (isSeparator(*p) || *p == L':')
            name = p + 1;
    return name;
}

wchar_t *fileNamePart(wchar_t *path) { return path + (fileNamePart(static_cast<const wchar_t *>(path)) - path); }

// A dot in a folder name ("c:\my.dir\file") is not an extension.
const wchar_t *extensionDot(const wchar_t *path) { return wcsrchr(fileNamePart(path), L'.'); }

// Removes [from, to) by moving the rest, terminator included, down.
void cutRange(wchar_t *from, const wchar_t *to) { memmove(from, to, (wcslen(to) + 1) * sizeof(wchar_t)); }

size_t lengthWithoutTrailingBlanks(const wchar_t *text)
{
    size_t length = wcslen(text);
    while (length > 0 && text[length - 1] == L' ')
        --length;
    return length;
}

// "dir<sep>..<sep>" cancels the folder before it. A step up at the very start ends the folding; one
// with no folder before it is left as it is (a drive root's "..\" is dealt with afterwards).
void foldStepsUp(wchar_t *work, wchar_t sep)
{
    const wchar_t stepUp[] = {sep, L'.', L'.', sep, L'\0'};
    size_t from = 0;
    for (;;) {
        const wchar_t *found = wcsstr(work + from, stepUp);
        if (!found || found == work)
            return;
        size_t at = static_cast<size_t>(found - work);
        size_t before = at;
        while (before > 0 && work[before - 1] != sep)
            --before;
        if (before == 0) {
            from = at + 4;
            continue;
        }
        cutRange(work + before - 1, found + 3);
        from = before - 1;
    }
}

// Collapses every run of the separator to one.
void collapseDoubled(wchar_t *work, wchar_t sep)
{
    wchar_t *out = work;
    for (const wchar_t *in = work; *in; ++in) {
        if (*in == sep && out > work && out[-1] == sep)
            continue;
        *out++ = *in;
    }
    *out = L'\0';
}

bool findAttributes(const wchar_t *path, DWORD *attributes)
{
    WIN32_FIND_DATAW data;
    if (!ScopedFind(FindFirstFileW(path, &data)))
        return false;
    *attributes = data.dwFileAttributes;
    return true;
}

// The system answers a buffer that is too small with the size it needs and leaves the buffer
// as it was (or, for module names, cut): such a path is a failure, never a shorter or relative
// name that the program would then act on.
int fullPathOrNothing(UINT length, wchar_t *out)
{
    bool fits = length > 0 && length < static_cast<UINT>(PATH_CHARS);
    bool full = fits && ((out[0] == L'\\' && out[1] == L'\\') || (out[0] && out[1] == L':' && out[2] == L'\\'));
    if (!full)
        out[0] = L'\0';
    return full ? 1 : 0;
}

}  // namespace

int pathIsAbsolute(const wchar_t *path)
{
    if (!path || wcslen(path) < 3)
        return 0;
    bool drive = ((path[0] >= L'A' && path[0] <= L'Z') || (path[0] >= L'a' && path[0] <= L'z')) && path[1] == L':';
    bool network = path[0] == L'\\' && path[1] == L'\\';
    return (drive || network) ? 1 : 0;
}

// The destination holds PATH_CHARS characters and the terminator. The directory and the name are
// copied first, so the destination may be either of them. Parts that add up to exactly PATH_CHARS
// and still need a separator come out one over: the field's limit wins and the last one is cut.
int pathJoin(wchar_t *destination, const wchar_t *directory, const wchar_t *name)
{
    if (!destination)
        return 0;
    if (IsUrl(directory))
        return JoinUrl(destination, directory, name);

    wchar_t dir[kWorkChars + 1], file[kWorkChars + 1];
    strCopyN(dir, directory, kWorkChars);
    strCopyN(file, name, kWorkChars);
    size_t dirLength = lengthWithoutTrailingBlanks(dir);
    size_t fileLength = lengthWithoutTrailingBlanks(file);
    dir[dirLength] = L'\0';
    file[fileLength] = L'\0';

    if (pathIsAbsolute(file)) {
        strCopyN(destination, file, PATH_CHARS);
        return 1;
    }
    if (dirLength + fileLength >= PATH_CHARS + 1)
        return 0;

    // An empty directory gets no separator, or a relative name would turn into "\name".
    wchar_t joined[2 * PATH_BUFFER];
    wchar_t *end = strCopyN(joined, dir, PATH_CHARS);
    if (dirLength > 0 && dir[dirLength - 1] != L'\\')
        *end++ = L'\\';
    strCopyN(end, file, PATH_CHARS);
    pathNormalize(joined);
    strCopyN(destination, joined, PATH_CHARS);
    return 1;
}

// Works in place and never lengthens the path.
int pathNormalize(wchar_t *path)
{
    if (!path)
        return 1;
    strStripChar(path, L' ');
    // A network path keeps its leading pair: nothing below touches it.
    wchar_t *work = (path[0] == L'\\' && path[1] == L'\\') ? path + 2 : path;
    foldStepsUp(work, L'\\');
    foldStepsUp(work, L'/');
    // "http://" needs its doubled slash. Matched without regard to case, like IsUrl.
    if (!*path || _wcsnicmp(path, L"http", 4) == 0)
        return 1;
    collapseDoubled(work, L'\\');
    collapseDoubled(work, L'/');
    if (path[0] && path[1] == L':' && path[2] == L'\\')
        while (wcsncmp(path + 3, L"..\\", 3) == 0)
            cutRange(path + 3, path + 6);
    return 1;
}

wchar_t *pathFileName(wchar_t *path)
{
    if (path)
        cutRange(path, fileNamePart(path));
    return path;
}

// Tested on disk as well as by form: a registry value such as "C:\gs\bin" (no trailing backslash)
// names a folder and must be kept whole; by form alone it would lose "bin".
wchar_t *pathDirectory(wchar_t *path)
{
    if (!path)
        return path;
    wchar_t *name = fileNamePart(path);
    if (*name && !pathIsDirectory(path))
        *name = L'\0';
    return path;
}

int pathIsDirOnly(const wchar_t *path)
{
    if (!path)
        return 0;
    return (!*fileNamePart(path) || pathIsDirectory(path)) ? 1 : 0;
}

// The path is a field of PATH_CHARS characters; a result that would not fit leaves it unchanged
// and gives null, as does an empty path.
wchar_t *pathSetExt(wchar_t *path, const wchar_t *extension)
{
    if (!path || !*path)
        return nullptr;
    if (!extension)
        extension = L"";
    if (*extension == L'.')
        ++extension;
    wchar_t *dot = fileNamePart(path);
    dot = wcsrchr(dot, L'.');
    if (!*extension) {
        if (dot)
            *dot = L'\0';
        return path;
    }
    size_t keep = dot ? static_cast<size_t>(dot - path) + 1 : wcslen(path) + 1;  // up to and with the dot
    size_t extLength = wcslen(extension);
    if (keep + extLength > PATH_CHARS)
        return nullptr;
    path[keep - 1] = L'.';
    memmove(path + keep, extension, (extLength + 1) * sizeof(wchar_t));
    return path;
}

// The destination holds PATH_PATTERN_BUFFER characters: "*" and at most a dot and three letters.
wchar_t *pathExtPattern(wchar_t *destination, const wchar_t *path)
{
    if (!destination)
        return destination;
    const wchar_t *dot = path ? extensionDot(path) : nullptr;
    destination[0] = L'*';
    strCopyN(destination + 1, dot, 4);
    return destination;
}

// The destination holds PATH_CHARS characters and the terminator; a longer pattern is cut.
wchar_t *fileExtPattern(wchar_t *destination, const wchar_t *name)
{
    if (!destination)
        return destination;
    const wchar_t *dot = name ? wcsrchr(name, L'.') : nullptr;
    wchar_t *end = strCopyN(destination, L"*.", 2);
    strCopyN(end, dot ? dot + 1 : name, PATH_CHARS - 2);
    return destination;
}

// The filter is the system's list of pairs, description NUL patterns NUL ..., ended by an empty text.
int filterIndexOf(const wchar_t *filter, const wchar_t *name)
{
    if (!filter || !name || !*name)
        return 0;
    wchar_t pattern[PATH_BUFFER];
    fileExtPattern(pattern, name);
    int index = 1;
    for (const wchar_t *description = filter; *description; ++index) {
        const wchar_t *patterns = description + wcslen(description) + 1;
        if (strListHas(patterns, pattern))
            return index;
        if (!*patterns)
            break;
        description = patterns + wcslen(patterns) + 1;
    }
    return 0;
}

// Wildcards would make FindFirstFileW answer for some other entry than the one named.
int pathFileExists(const wchar_t *path)
{
    DWORD attributes = 0;
    if (!path || !*path || wcspbrk(path, L"*?"))
        return 0;
    return (findAttributes(path, &attributes) && !(attributes & FILE_ATTRIBUTE_DIRECTORY)) ? 1 : 0;
}

DWORD pathProbe(const wchar_t *path, DWORD *attributes)
{
    DWORD found = path && *path ? GetFileAttributesW(path) : INVALID_FILE_ATTRIBUTES;
    if (attributes)
        *attributes = found;
    if (found != INVALID_FILE_ATTRIBUTES)
        return ERROR_SUCCESS;
    DWORD error = path && *path ? GetLastError() : ERROR_PATH_NOT_FOUND;
    return error == ERROR_SUCCESS ? ERROR_GEN_FAILURE : error;
}

// Only these two say that nothing is there; access denied, a sharing violation or a file where
// a folder of the path belongs (ERROR_DIRECTORY, ERROR_INVALID_NAME) say that something is.
int pathIsAbsence(DWORD error) { return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND; }

// FindFirstFileW finds no entry for "dir\", so the trailing backslash goes before the probe.
int pathIsDirectory(const wchar_t *path)
{
    if (!path || !*path)
        return 0;
    size_t length = wcslen(path);
    if (path[length - 1] == L'*' || length > static_cast<size_t>(kWorkChars))
        return 0;
    wchar_t probe[kWorkChars + 1];
    strCopyN(probe, path, kWorkChars);
    if (probe[length - 1] == L'\\')
        probe[length - 1] = L'\0';
    DWORD attributes = 0;
    return (findAttributes(probe, &attributes) && (attributes & FILE_ATTRIBUTE_DIRECTORY)) ? 1 : 0;
}

int pathSystemFolder(wchar_t *out) { return fullPathOrNothing(GetSystemDirectoryW(out, PATH_CHARS), out); }

int pathWindowsFolder(wchar_t *out) { return fullPathOrNothing(GetWindowsDirectoryW(out, PATH_CHARS), out); }

int pathTempFolder(wchar_t *out) { return fullPathOrNothing(GetTempPathW(PATH_CHARS, out), out); }

int pathModuleFile(HMODULE module, wchar_t *out)
{
    return fullPathOrNothing(GetModuleFileNameW(module, out, PATH_CHARS), out);
}

// The system folder of the machine's own architecture. A 32-bit process on 64-bit Windows reaches
// it as "Sysnative", an alias that leaves the thread's redirection alone. Directory searches do
// not list the alias, so it is tested by its attributes; where it is missing (64-bit XP without
// its update) the process's own system folder is all there is.
int pathNativeSystemFolder(wchar_t *out)
{
    wchar_t windows[PATH_BUFFER];
    if (sysIsWow64() && fullPathOrNothing(GetSystemWindowsDirectoryW(windows, PATH_CHARS), windows) &&
        pathJoinWhole(out, windows, L"Sysnative")) {
        DWORD attributes = GetFileAttributesW(out);
        if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY))
            return 1;
    }
    return pathSystemFolder(out);
}

// A join that had to cut the name (the field is full) names some other file: a failure here.
int pathJoinWhole(wchar_t *destination, const wchar_t *directory, const wchar_t *name)
{
    size_t nameLength = name ? wcslen(name) : 0;
    if (!nameLength || !pathJoin(destination, directory, name))
        return 0;
    size_t length = wcslen(destination);
    return length >= nameLength && _wcsicmp(destination + length - nameLength, name) == 0 ? 1 : 0;
}

// A file that is already gone (or whose folder is) counts as deleted.
int pathDeleteFile(const wchar_t *path)
{
    if (!path || !*path)
        return 0;
    if (DeleteFileW(path))
        return 1;
    DWORD error = GetLastError();
    return (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) ? 1 : 0;
}

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
