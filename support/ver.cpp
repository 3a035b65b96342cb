// Reading a module's version resource into a memory block.
#include "support/ver.h"
#include "support/mem.h"

HGLOBAL verLoadBlock(HMODULE module)
{
    wchar_t fileName[257] = L"";
    GetModuleFileNameW(module, fileName, 256);
    DWORD ignored = 0;
    DWORD size = GetFileVersionInfoSizeW(fileName, &ignored);
    if (size == 0)
        return nullptr;
    HGLOBAL block = memGAlloc(nullptr, size);
    bool read = false;
    {
        MemLock<BYTE> data(block);
        read = data && GetFileVersionInfoW(fileName, 0, size, data.get());
    }
    if (!read) {
        memGFree(block);
        return nullptr;
    }
    return block;
}
