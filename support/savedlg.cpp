// The save-file dialog, with a hook that follows the chosen file type in the name field.
#include "support/savedlg.h"
#include <commdlg.h>
#include <dlgs.h>
#include <cstdlib>
#include <cwchar>
#include "support/msg.h"
#include "support/path.h"
#include "support/res.h"
#include "support/str.h"

namespace {

const DWORD kSaveFlags = OFN_EXPLORER | OFN_ENABLESIZING | OFN_ENABLEHOOK | OFN_PATHMUSTEXIST |
                         OFN_HIDEREADONLY | OFN_NOREADONLYRETURN;
static_assert(kSaveFlags == 0x888824, "the dialog's flags are fixed");

const int kTypeChars = 63;
const int kCaptionCapacity = 64;

// Reads the selected entry of the file-type list, cut to kTypeChars. CB_GETLBTEXT has no size
// argument, so the entry is read whole into a buffer of its own length first.
void selectedType(HWND dialog, wchar_t *type)
{
    type[0] = L'\0';
    LRESULT item = SendDlgItemMessageW(dialog, cmb1, CB_GETCURSEL, 0, 0);
    if (item == CB_ERR)
        return;
    LRESULT length = SendDlgItemMessageW(dialog, cmb1, CB_GETLBTEXTLEN, item, 0);
    if (length <= 0)
        return;
    wchar_t *whole = static_cast<wchar_t *>(calloc(static_cast<size_t>(length) + 1, sizeof(wchar_t)));
    if (!whole)
        return;
    if (SendDlgItemMessageW(dialog, cmb1, CB_GETLBTEXT, item, reinterpret_cast<LPARAM>(whole)) != CB_ERR)
        strCopyN(type, whole, kTypeChars);
    free(whole);
}

// Type texts read like "Text file (*.txt)": the pattern follows the first "*". The name field
// takes the new extension at once; an empty field takes the pattern itself.
int followTypeChange(HWND dialog, const OPENFILENAMEW *ofn)
{
    int nameId = (ofn && ofn->lStructSize == sizeof(OPENFILENAMEW)) ? cmb13 : edt1;
    wchar_t name[PATH_BUFFER];
    wchar_t type[kTypeChars + 1];
    GetDlgItemTextW(dialog, nameId, name, PATH_CHARS);
    selectedType(dialog, type);
    if (!*type)
        return 0;
    wchar_t *pattern = wcschr(type, L'*');
    if (!pattern || !pattern[1])
        return 0;
    strStripTrailChar(pattern, L')');
    wchar_t extension[kTypeChars + 1];
    strCopyN(extension, pattern + 2, kTypeChars);
    // A type with several patterns ("*.txt;*.log") gives the first one's extension.
    extension[wcscspn(extension, L"; ")] = L'\0';
    if (!*extension || wcscmp(extension, L"*") == 0)
        return 0;
    if (*name) {
        if (pathSetExt(name, extension))
            SetDlgItemTextW(dialog, nameId, name);
    } else {
        SetDlgItemTextW(dialog, nameId, pattern);
    }
    return 1;
}

// With OFN_EXPLORER the hook runs in a child dialog of the real one, which owns the controls.
UINT_PTR CALLBACK typeChangeHook(HWND hookDialog, UINT message, WPARAM, LPARAM lParam)
{
    if (message != WM_NOTIFY)
        return 0;
    const OFNOTIFYW *notify = reinterpret_cast<const OFNOTIFYW *>(lParam);
    if (!notify || notify->hdr.code != CDN_TYPECHANGE)
        return 0;
    return static_cast<UINT_PTR>(followTypeChange(GetParent(hookDialog), notify->lpOFN));
}

// Shows a box only for the four common-dialog errors it knows.
void reportCommDlgError(HWND owner, const wchar_t *first)
{
    static const struct {
        DWORD code;
        const wchar_t *word;
    } kWords[] = {
        {CDERR_INITIALIZATION, L"Initialization error."},
        {FNERR_SUBCLASSFAILURE, L"SDK failure."},
        {FNERR_INVALIDFILENAME, L"Invalid file name."},
        {FNERR_BUFFERTOOSMALL, L"Buffer too small."},
    };
    DWORD code = CommDlgExtendedError();
    for (const auto &w : kWords)
        if (w.code == code) {
            msgErrorBox2(owner, first, w.word);
            return;
        }
}

}  // namespace

// `path` is a field of PATH_CHARS characters: it may come in as a folder to start in, or as a
// suggested file, and holds the chosen file on return.
int fniGetSaveFN32A(HWND owner, const wchar_t *caption, wchar_t *path, const wchar_t *defaultExt,
                    const wchar_t *filter, int overwritePrompt, int *filterIndex)
{
    if (!path)
        return 0;
    wchar_t initialDir[PATH_BUFFER] = L"";
    int index = 0;
    if (*path) {
        if (pathIsDirOnly(path)) {
            strCopyN(initialDir, path, PATH_CHARS);
            path[0] = L'\0';
        } else {
            wchar_t pattern[PATH_PATTERN_BUFFER];
            index = filterIndexOf(filter, pathExtPattern(pattern, path));
            strCopyN(initialDir, path, PATH_CHARS);
            pathDirectory(initialDir);
            pathFileName(path);
        }
    }
    if (!*path)
        index = filterIndexOf(filter, defaultExt);

    wchar_t fileTitle[PATH_CHARS] = L"";
    OPENFILENAMEW ofn;
    ZeroMemory(&ofn, sizeof(ofn));
    ofn.lStructSize = sizeof(ofn);
    ofn.hwndOwner = owner;
    ofn.lpstrFilter = filter;
    ofn.nFilterIndex = static_cast<DWORD>(index);
    ofn.lpstrFile = path;
    ofn.nMaxFile = PATH_CHARS;
    ofn.lpstrFileTitle = fileTitle;
    ofn.nMaxFileTitle = PATH_CHARS;
    ofn.lpstrInitialDir = *initialDir ? initialDir : nullptr;
    ofn.lpstrTitle = caption;
    ofn.lpstrDefExt = defaultExt;
    ofn.Flags = kSaveFlags | (overwritePrompt ? OFN_OVERWRITEPROMPT : 0);
    ofn.lpfnHook = typeChangeHook;

    if (GetSaveFileNameW(&ofn)) {
        if (filterIndex)
            *filterIndex = static_cast<int>(ofn.nFilterIndex);
        return 1;
    }
    // A plain cancel leaves no extended error, so this stays silent then.
    reportCommDlgError(owner, L"[fniGetSaveFN32A]");
    return 0;
}

int fniGetSaveFNId(HWND owner, UINT captionId, wchar_t *path, const wchar_t *defaultExt,
                   const wchar_t *filter, int overwritePrompt, int *filterIndex)
{
    wchar_t caption[kCaptionCapacity];
    resLoadStringDef(owner, captionId, caption, kCaptionCapacity, L"Save");
    return fniGetSaveFN32A(owner, *caption ? caption : nullptr, path, defaultExt, filter, overwritePrompt,
                           filterIndex);
}
