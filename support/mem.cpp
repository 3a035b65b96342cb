// Movable global memory blocks that only grow, and block arrays built on them.
#include "support/mem.h"

#include <cwchar>
#include <cstring>

static MemFailureHook g_failureHook;

void memSetFailureHook(MemFailureHook hook) { g_failureHook = hook; }

static void memReportFailure(const wchar_t *call, SIZE_T size)
{
    if (!g_failureHook)
        return;
    wchar_t text[96];
    swprintf(text, sizeof text / sizeof text[0], L"[memGAlloc] call to %ls failed. N = %d]", call,
             static_cast<int>(size));
    g_failureHook(text);
}

HGLOBAL memGAlloc(HGLOBAL block, SIZE_T size)
{
    if (size == 0) {
        memGFree(block);
        return nullptr;
    }
    if (!block) {
        HGLOBAL fresh = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, size);
        if (!fresh)
            memReportFailure(L"GlobalAlloc", size);
        return fresh;
    }
    if (size <= GlobalSize(block))
        return block;
    // On failure GlobalReAlloc leaves the old block alone; the caller still owns it.
    HGLOBAL grown = GlobalReAlloc(block, size, GMEM_MOVEABLE | GMEM_ZEROINIT);
    if (!grown)
        memReportFailure(L"GlobalReAlloc", size);
    return grown;
}

HGLOBAL memGSetBytes(HGLOBAL block, SIZE_T offset, const void *source, SIZE_T count)
{
    if (count == 0)
        return block;
    if (offset + count < offset)
        return nullptr;
    HGLOBAL grown = memGAlloc(block, offset + count);
    if (!grown || !source)
        return grown;
    MemLock<BYTE> lock(grown);
    if (!lock)
        return nullptr;
    memcpy(lock.get() + offset, source, count);
    return grown;
}

HGLOBAL memGArraySet(HGLOBAL block, int index, const void *element, SIZE_T elementSize)
{
    if (index < 0)
        return nullptr;
    return memGSetBytes(block, static_cast<SIZE_T>(index) * elementSize, element, elementSize);
}

// True when the block really holds `count` elements; guards against a caller's stale count.
static bool memHoldsElements(HGLOBAL block, int count, SIZE_T elementSize)
{
    return block && count > 0 && elementSize > 0 &&
           static_cast<SIZE_T>(count) <= GlobalSize(block) / elementSize;
}

void memGArrayRemove(HGLOBAL block, int count, int index, SIZE_T elementSize)
{
    if (index < 0 || index >= count || !memHoldsElements(block, count, elementSize))
        return;
    MemLock<BYTE> lock(block);
    if (!lock)
        return;
    BYTE *slot = lock.get() + static_cast<SIZE_T>(index) * elementSize;
    memmove(slot, slot + elementSize, static_cast<SIZE_T>(count - 1 - index) * elementSize);
    memset(lock.get() + static_cast<SIZE_T>(count - 1) * elementSize, 0, elementSize);
}

int memGArrayPop(HGLOBAL *block, int *count, void *destination, SIZE_T elementSize, int freeWhenEmpty)
{
    bool popped = false;
    if (block && count && memHoldsElements(*block, *count, elementSize)) {
        MemLock<BYTE> lock(*block);
        if (lock) {
            BYTE *slot = lock.get() + static_cast<SIZE_T>(*count - 1) * elementSize;
            if (destination)
                memcpy(destination, slot, elementSize);
            memset(slot, 0, elementSize);
            popped = true;
        }
    }
    if (!popped) {
        if (destination)
            memset(destination, 0, elementSize);
        return 0;
    }
    if (--*count == 0 && freeWhenEmpty) {
        memGFree(*block);
        *block = nullptr;
    }
    return 1;
}

SIZE_T memGSize(HGLOBAL block)
{
    return block ? GlobalSize(block) : 0;
}

void memGFree(HGLOBAL block)
{
    if (block)
        GlobalFree(block);
}
