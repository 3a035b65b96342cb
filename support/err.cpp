// The system's own text for an error code.
#include "support/err.h"
#include "support/str.h"

void errFormatSystemMessage(DWORD code, wchar_t *buffer, int capacity)
{
    if (!buffer || capacity <= 0)
        return;
    buffer[0] = L'\0';
    wchar_t *system = nullptr;
    DWORD n = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                 FORMAT_MESSAGE_IGNORE_INSERTS,
                             nullptr, code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                             reinterpret_cast<wchar_t *>(&system), 0, nullptr);
    if (n && system)
        strCopyN(buffer, system, capacity - 1);
    if (system)
        LocalFree(system);
}
