// Handing work to the shell: documents and web pages.
#include "support/shell.h"
#include <shellapi.h>
#include <cwchar>
#include "res/resource.h"
#include "support/msg.h"
#include "support/res.h"

static INT_PTR shellOpen(const wchar_t *file)
{
    return reinterpret_cast<INT_PTR>(ShellExecuteW(nullptr, L"open", file, nullptr, nullptr, SW_SHOWNORMAL));
}

// A result of exactly 0 means the shell ran out of resources; asking for the browser
// first and then the target again gets past that on old shells.
INT_PTR OpenDocumentOrUrl(HWND owner, const wchar_t *target)
{
    INT_PTR result = 0;
    if (target)
        result = shellOpen(target);
    if (result == 0) {
        result = shellOpen(L"browser");
        if (target)
            result = shellOpen(target);
    }
    if (result <= 32) {
        wchar_t message[768];
        wchar_t part[512];
        resLoadString(owner, IDS_OPEN_FAILED, message, 256);
        if (target)
            resFormatString(part, 512, IDS_OPEN_FAILED_TARGET, target);
        else
            resLoadString(owner, IDS_OPEN_FAILED_NONE, part, 256);
        wcsncat(message, part, 767 - wcslen(message));
        msgMessageBox(owner, message, MB_ICONINFORMATION);
    }
    return result;
}
