// Reading a module's version resource into a memory block.
#include "support/ver.h"
#include "support/mem.h"
#include "support/path.h"
#include "support/syslib.h"

HGLOBAL verLoadBlock(HMODULE module)
{
    wchar_t fileName[PATH_BUFFER];
    if (!pathModuleFile(module, fileName))
        return nullptr;
    DWORD ignored = 0;
    DWORD size = sysGetFileVersionInfoSizeW(fileName, &ignored);
    if (size == 0)
        return nullptr;
    HGLOBAL block = memGAlloc(nullptr, size);
    bool read = false;
    {
        MemLock<BYTE> data(block);
        read = data && sysGetFileVersionInfoW(fileName, 0, size, data.get());
    }
    if (!read) {
        memGFree(block);
        return nullptr;
    }
    return block;
}
