// Text blocks: wide texts kept in movable memory blocks that grow as text is appended.
#include "support/txt.h"

#include <cwchar>
#include <cstring>

#include "support/mem.h"

HGLOBAL txtGNew(const wchar_t *text)
{
    if (!text || !*text)
        return nullptr;
    SIZE_T bytes = (wcslen(text) + 1) * sizeof(wchar_t);
    HGLOBAL block = memGAlloc(nullptr, bytes);
    if (!block)
        return nullptr;
    MemLock<wchar_t> lock(block);
    if (!lock) {
        memGFree(block);
        return nullptr;
    }
    memcpy(lock.get(), text, bytes);
    return block;
}

HGLOBAL txtGAppend(HGLOBAL block, const wchar_t *text)
{
    if (!text || !*text)
        return block;
    if (!block)
        return txtGNew(text);
    SIZE_T length;
    {
        MemLock<wchar_t> lock(block);
        if (!lock)
            return block;
        // Bounded: a block that lost its terminator must not be read past its end.
        length = wcsnlen(lock.get(), GlobalSize(block) / sizeof(wchar_t));
    }
    SIZE_T added = wcslen(text) + 1;
    HGLOBAL grown = memGAlloc(block, (length + added) * sizeof(wchar_t));
    if (!grown)
        return block;
    MemLock<wchar_t> lock(grown);
    if (lock)
        memcpy(lock.get() + length, text, added * sizeof(wchar_t));
    return grown;
}
