// Message boxes centred over the frame window, with captions from the string table.
#include "support/msg.h"
#include <cwchar>
#include "res/resource.h"
#include "support/appstate.h"
#include "support/dlg.h"
#include "support/mem.h"
#include "support/rect.h"
#include "support/res.h"
#include "support/str.h"
#include "support/txt.h"

namespace {

const int kMaxPending = 10;

HWND g_defaultOwner;
bool g_boxShowing;
HGLOBAL g_pending;
int g_pendingCount;
HHOOK g_centreHook;
MsgSink g_sink;
HWND g_centredBox;  // the box the hook placed at creation

struct CaptionWord {
    UINT id;
    const wchar_t *fallback;
    int capacity;
};
const CaptionWord kErrorWord = {IDS_CAPTION_ERROR, L" Error", 64};
const CaptionWord kWarningWord = {IDS_CAPTION_WARNING, L" Warning", 64};
const CaptionWord kMessageWord = {IDS_CAPTION_MESSAGE, L" Message", 80};

// The caption is the (always empty) application title, one blank, then the word:
// " Error", "  Warning" (id 12402 carries its own blank) and " Message".
void composeCaption(wchar_t *caption, const wchar_t *word)
{
    const wchar_t *title = L"";
    strCopyN(caption, title, 255);
    size_t used = wcslen(caption);
    strCopyN(caption + used, L" ", 255 - static_cast<int>(used));
    used = wcslen(caption);
    strCopyN(caption + used, word ? word : L"", 255 - static_cast<int>(used));
}

void referenceRect(RECT *reference)
{
    HWND frame = appGetFrameWindow();
    if (!frame || !GetWindowRect(frame, reference))
        GetWindowRect(GetDesktopWindow(), reference);
}

void placeOverFrame(RECT *box)
{
    RECT reference, work;
    referenceRect(&reference);
    rectGetWorkArea(&work);
    msgPlaceBox(box, &reference, &work);
}

// Moves the box as it is created, so it never flashes at the system's default place.
// Some systems size and centre the box themselves after creation; the first
// activation, when the final size is known, places it over the frame once more.
LRESULT CALLBACK centreHookProc(int code, WPARAM wParam, LPARAM lParam)
{
    if (code == HCBT_CREATEWND) {
        CBT_CREATEWNDW *create = reinterpret_cast<CBT_CREATEWNDW *>(lParam);
        CREATESTRUCTW *cs = create->lpcs;
        if (cs->style & (WS_POPUP | WS_DLGFRAME)) {
            RECT box = {cs->x, cs->y, cs->x + cs->cx, cs->y + cs->cy};
            placeOverFrame(&box);
            cs->x = box.left;
            cs->y = box.top;
            if (!g_centredBox)
                g_centredBox = reinterpret_cast<HWND>(wParam);
        }
    } else if (code == HCBT_ACTIVATE && reinterpret_cast<HWND>(wParam) == g_centredBox) {
        RECT box;
        if (GetWindowRect(g_centredBox, &box)) {
            RECT placed = box;
            placeOverFrame(&placed);
            if (!EqualRect(&placed, &box))
                SetWindowPos(g_centredBox, nullptr, placed.left, placed.top, 0, 0,
                             SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
        }
        g_centredBox = nullptr;
    }
    return CallNextHookEx(g_centreHook, code, wParam, lParam);
}

int showCentred(HWND owner, const wchar_t *text, const wchar_t *caption, UINT flags)
{
    g_centreHook = SetWindowsHookExW(WH_CBT, centreHookProc, nullptr, GetCurrentThreadId());
    int result = MessageBoxW(owner, text, caption, flags);
    if (g_centreHook)
        UnhookWindowsHookEx(g_centreHook);
    g_centreHook = nullptr;
    g_centredBox = nullptr;
    return result;
}

// In windowless mode even the boxes whose id has no text on purpose leave a note.
int reportSilentId(const CaptionWord &word, UINT id)
{
    if (appIsWindowless() && g_sink) {
        wchar_t note[64];
        _snwprintf(note, 64, L"(message %u, which has no text)", id);
        note[63] = L'\0';
        g_sink(word.fallback, note);
    }
    return 0;
}

int showWithWord(HWND owner, const wchar_t *text, const CaptionWord &word, UINT flags)
{
    wchar_t loaded[81];
    resLoadStringDef(owner, word.id, loaded, word.capacity, word.fallback);
    return msgShowBox(owner, text, loaded, flags);
}

void park(const wchar_t *captionWord, const wchar_t *text)
{
    if (g_pendingCount >= kMaxPending)
        return;
    g_pendingCount++;
    const wchar_t *parts[] = {captionWord ? captionWord : L"", L"\r\n", text ? text : L"", L"\r\n"};
    for (const wchar_t *part : parts)
        g_pending = txtGAppend(g_pending, part);
}

}  // namespace

void msgSetDefaultOwner(HWND owner) { g_defaultOwner = owner; }

void msgSetSink(MsgSink sink) { g_sink = sink; }

HWND msgOwnerWindow()
{
    if (dlgModalCount() > 0)
        return dlgTopModal();
    // A box disables its owner: another program's dialog must never be ours to disable.
    HWND foreground = GetForegroundWindow();
    wchar_t className[16] = L"";
    DWORD process = 0;
    if (foreground && IsWindow(foreground) && GetWindowThreadProcessId(foreground, &process) &&
        process == GetCurrentProcessId() && GetClassNameW(foreground, className, 16) &&
        wcscmp(className, L"#32770") == 0)
        return foreground;
    return g_defaultOwner;
}

void msgPlaceBox(RECT *box, const RECT *reference, const RECT *workArea)
{
    rectCentreOn(box, reference);
    if (!rectContains(workArea, box))
        rectPullInto(box, workArea);
}

int msgShowBox(HWND owner, const wchar_t *text, const wchar_t *captionWord, UINT flags)
{
    if (appIsWindowless()) {
        if (g_sink)
            g_sink(captionWord ? captionWord : L"", text ? text : L"");
        return 0;
    }
    bool plain = flags == MB_ICONINFORMATION || flags == MB_ICONWARNING || flags == MB_ICONERROR;
    if (g_boxShowing) {
        // Re-entry from messages pumped by the showing box: never stack a second box.
        if (plain)
            park(captionWord, text);
        return 0;
    }
    wchar_t caption[256];
    composeCaption(caption, captionWord);
    g_boxShowing = true;
    int result = showCentred(owner ? owner : msgOwnerWindow(), text ? text : L"", caption, flags);
    g_boxShowing = false;
    return result;
}

int msgErrorBox(HWND owner, const wchar_t *text) { return showWithWord(owner, text, kErrorWord, MB_ICONERROR); }

int msgWarningBox(HWND owner, const wchar_t *text)
{
    return showWithWord(owner, text, kWarningWord, MB_ICONWARNING);
}

int msgMessageBox(HWND owner, const wchar_t *text, UINT flags)
{
    return showWithWord(owner, text, kMessageWord, flags);
}

// An id without text shows nothing: several callers rely on that silence.
int msgErrorBoxId(HWND owner, UINT id)
{
    wchar_t text[256];
    if (resLoadString255(owner, id, text) <= 0)
        return reportSilentId(kErrorWord, id);
    return msgErrorBox(owner, text);
}

int msgMessageBoxId(HWND owner, UINT id, UINT flags)
{
    wchar_t text[256];
    if (resLoadString255(owner, id, text) <= 0)
        return reportSilentId(kMessageWord, id);
    return msgMessageBox(owner, text, flags);
}

static int composeIdText(HWND owner, UINT id, const wchar_t *extra, wchar_t *out, int capacity)
{
    wchar_t text[256];
    if (resLoadString255(owner, id, text) <= 0)
        return 0;
    _snwprintf(out, capacity, L"%s\r\n  %s", text, extra ? extra : L"");
    out[capacity - 1] = L'\0';
    return 1;
}

int msgErrorBoxIdText(HWND owner, UINT id, const wchar_t *extra)
{
    wchar_t text[1024];
    return composeIdText(owner, id, extra, text, 1024) ? msgErrorBox(owner, text) : 0;
}

int msgMessageBoxIdText(HWND owner, UINT id, const wchar_t *extra, UINT flags)
{
    wchar_t text[1024];
    return composeIdText(owner, id, extra, text, 1024) ? msgMessageBox(owner, text, flags) : 0;
}

int msgErrorBox2(HWND owner, const wchar_t *first, const wchar_t *second)
{
    HGLOBAL block = txtGNew(first);
    if (second && *second) {
        block = txtGAppend(block, L"\r\n");
        block = txtGAppend(block, L"\r\n");
        block = txtGAppend(block, second);
    }
    int result;
    {
        MemLock<wchar_t> text(block);
        result = msgErrorBox(owner, text ? text.get() : L"");
    }
    memGFree(block);
    return result;
}

void msgReportMemFailure(const wchar_t *text) { msgErrorBoxIdText(nullptr, IDS_MEMGALLOC_FAILED, text); }

int msgPendingCount() { return g_pendingCount; }

HGLOBAL msgPendingMessages() { return g_pending; }
