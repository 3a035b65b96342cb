// String-table access by numeric id.
#include "support/res.h"
#include <cwchar>
#include "support/appstate.h"
#include "support/str.h"

static bool g_loadBusy;

int resLoadStringRaw(HWND, UINT id, wchar_t *buffer, int capacity)
{
    if (!buffer || capacity <= 0)
        return 0;
    buffer[0] = L'\0';
    if (id == 0)
        return 0;
    return LoadStringW(appGetInstance(), id, buffer, capacity);
}

// The busy flag keeps a load triggered from inside another load (window messages
// pumped by a box) from re-entering the loader.
int resLoadStringDef(HWND, UINT id, wchar_t *buffer, int capacity, const wchar_t *defaultText)
{
    if (!buffer || capacity <= 0)
        return 0;
    buffer[0] = L'\0';
    if (id == 0 || g_loadBusy)
        return 0;
    g_loadBusy = true;
    int loaded = LoadStringW(appGetInstance(), id, buffer, capacity);
    if (loaded <= 0) {
        buffer[0] = L'\0';
        loaded = 0;
        if (defaultText) {
            strCopyN(buffer, defaultText, capacity - 1);
            loaded = static_cast<int>(wcslen(buffer));
        }
    }
    g_loadBusy = false;
    return loaded;
}

int resLoadString(HWND owner, UINT id, wchar_t *buffer, int capacity)
{
    return resLoadStringDef(owner, id, buffer, capacity, nullptr);
}

int resLoadString255(HWND owner, UINT id, wchar_t *buffer) { return resLoadString(owner, id, buffer, 255); }

// Bounded to the destination: a long argument is cut rather than overrunning the caller.
int resFormatString(wchar_t *destination, int capacity, UINT id, const wchar_t *argument)
{
    if (!destination || capacity <= 0)
        return 0;
    destination[0] = L'\0';
    wchar_t format[256];
    if (resLoadString(nullptr, id, format, 256) <= 0)
        return 0;
    int n = _snwprintf(destination, capacity, format, argument ? argument : L"");
    destination[capacity - 1] = L'\0';
    return n < 0 ? static_cast<int>(wcslen(destination)) : n;
}
