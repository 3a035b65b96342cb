// Window registry: modeless dialogs served by the message loop, stack of modal owners.
#include "support/dlg.h"
#include "support/appstate.h"
#include "support/mem.h"

namespace {

struct ModelessEntry {
    HWND dialog;
    DWORD reserved;  // always 0; kept so entries keep their historical shape
};

HGLOBAL g_modeless;
int g_modelessCount;
HGLOBAL g_modal;
int g_modalCount;
HGLOBAL g_spare;  // reserved by the registry's layout; never allocated by this program
HWND g_activeModeless;

void sendFrameCommand(UINT command, LPARAM param)
{
    HWND frame = appGetFrameWindow();
    if (frame && IsWindow(frame))
        SendMessageW(frame, WM_COMMAND, MAKEWPARAM(command, 0), param);
}

// Drops entries whose window has gone; survivors are copied into a block of exactly their size.
template <typename Entry, typename GetWindow>
void pruneList(HGLOBAL &block, int &count, GetWindow windowOf)
{
    if (!block || count <= 0)
        return;
    int live = 0;
    {
        MemLock<Entry> lock(block);
        Entry *entries = lock.get();
        if (!entries)
            return;
        for (int i = 0; i < count; i++) {
            if (windowOf(entries[i]) && IsWindow(windowOf(entries[i])))
                live++;
            else
                ZeroMemory(&entries[i], sizeof(Entry));
        }
    }
    if (live == count)
        return;
    if (live == 0) {
        memGFree(block);
        block = nullptr;
        count = 0;
        return;
    }
    HGLOBAL fresh = memGAlloc(nullptr, live * sizeof(Entry));
    if (!fresh)
        return;
    {
        MemLock<Entry> from(block);
        MemLock<Entry> to(fresh);
        int j = 0;
        for (int i = 0; i < count; i++)
            if (windowOf(from.get()[i]))
                to.get()[j++] = from.get()[i];
    }
    memGFree(block);
    block = fresh;
    count = live;
}

HWND modelessWindow(const ModelessEntry &e) { return e.dialog; }
HWND modalWindow(const HWND &w) { return w; }

template <typename Entry, typename GetWindow>
int indexOf(HGLOBAL block, int count, HWND window, GetWindow windowOf)
{
    MemLock<Entry> lock(block);
    if (!lock)
        return -1;
    for (int i = 0; i < count; i++)
        if (windowOf(lock.get()[i]) == window)
            return i;
    return -1;
}

template <typename Entry>
void removeAt(HGLOBAL &block, int &count, int index)
{
    memGArrayRemove(block, count, index, sizeof(Entry));
    count--;
    if (count < 1) {
        memGFree(block);
        block = nullptr;
        count = 0;
    }
}

// Lets a frame that keeps its own modal bookkeeping react; this frame answers nothing.
void dlgNotifyModalChange()
{
    DWORD first = 0, second = 0;
    sendFrameCommand(DLG_CMD_MODAL_QUERY_A, reinterpret_cast<LPARAM>(&first));
    sendFrameCommand(DLG_CMD_MODAL_QUERY_B, reinterpret_cast<LPARAM>(&second));
    if (first)
        sendFrameCommand(DLG_CMD_MODAL_CHANGED, 1);
}

}  // namespace

void dlgPruneModeless() { pruneList<ModelessEntry>(g_modeless, g_modelessCount, modelessWindow); }

int dlgAddModeless(HWND dialog)
{
    if (!IsWindow(dialog))
        return 0;
    dlgPruneModeless();
    if (indexOf<ModelessEntry>(g_modeless, g_modelessCount, dialog, modelessWindow) >= 0)
        return 1;
    ModelessEntry entry = {dialog, 0};
    HGLOBAL grown = memGArraySet(g_modeless, g_modelessCount, &entry, sizeof(entry));
    if (!grown)
        return 0;
    g_modeless = grown;
    g_modelessCount++;
    return 1;
}

void dlgRemoveModeless(HWND dialog)
{
    int index = indexOf<ModelessEntry>(g_modeless, g_modelessCount, dialog, modelessWindow);
    if (index >= 0)
        removeAt<ModelessEntry>(g_modeless, g_modelessCount, index);
    if (indexOf<HWND>(g_modal, g_modalCount, dialog, modalWindow) >= 0)
        dlgPopModal(dialog);
    sendFrameCommand(DLG_CMD_MODELESS_GONE, reinterpret_cast<LPARAM>(dialog));
}

int dlgSetActiveModeless(HWND dialog, int activating)
{
    g_activeModeless = activating ? dialog : nullptr;
    return 0;
}

HWND dlgGetActiveModeless() { return g_activeModeless; }

int dlgPushModal(HWND window)
{
    pruneList<HWND>(g_modal, g_modalCount, modalWindow);
    if (indexOf<HWND>(g_modal, g_modalCount, window, modalWindow) < 0) {
        HGLOBAL grown = memGArraySet(g_modal, g_modalCount, &window, sizeof(window));
        if (!grown)
            return 0;
        g_modal = grown;
        g_modalCount++;
    }
    dlgNotifyModalChange();
    return 1;
}

int dlgPopModal(HWND window)
{
    int index = indexOf<HWND>(g_modal, g_modalCount, window, modalWindow);
    if (index >= 0)
        removeAt<HWND>(g_modal, g_modalCount, index);
    dlgNotifyModalChange();
    return 1;
}

// A stale top entry is popped but still returned: callers use it as a box owner as it was.
HWND dlgTopModal()
{
    if (!g_modal || g_modalCount < 1)
        return nullptr;
    HWND top = dlgModalAt(g_modalCount - 1);
    if (!IsWindow(top))
        dlgPopModal(top);
    return top;
}

void dlgClearWindowLists() { dlgFreeWindowLists(); }

void dlgFreeWindowLists()
{
    if (g_modelessCount)
        memGFree(g_modeless);
    memGFree(g_spare);
    if (g_modalCount)
        memGFree(g_modal);
    g_modeless = g_modal = g_spare = nullptr;
    g_modelessCount = g_modalCount = 0;
    g_activeModeless = nullptr;
}

int dlgModelessCount() { return g_modelessCount; }

HWND dlgModelessAt(int index)
{
    if (index < 0 || index >= g_modelessCount)
        return nullptr;
    MemLock<ModelessEntry> lock(g_modeless);
    return lock ? lock.get()[index].dialog : nullptr;
}

int dlgModalCount() { return g_modalCount; }

HWND dlgModalAt(int index)
{
    if (index < 0 || index >= g_modalCount)
        return nullptr;
    MemLock<HWND> lock(g_modal);
    return lock ? lock.get()[index] : nullptr;
}
