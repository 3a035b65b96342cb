// Movable global memory blocks and block arrays.
#pragma once
#include <windows.h>

HGLOBAL memGAlloc(HGLOBAL block, SIZE_T size);
HGLOBAL memGSetBytes(HGLOBAL block, SIZE_T offset, const void *source, SIZE_T count);
HGLOBAL memGArraySet(HGLOBAL block, int index, const void *element, SIZE_T elementSize);
void memGArrayRemove(HGLOBAL block, int count, int index, SIZE_T elementSize);
int memGArrayPop(HGLOBAL *block, int *count, void *destination, SIZE_T elementSize, int freeWhenEmpty);
SIZE_T memGSize(HGLOBAL block);
void memGFree(HGLOBAL block);

// Where a failed allocation is reported; the shell installs the message layer's report.
typedef void (*MemFailureHook)(const wchar_t *text);
void memSetFailureHook(MemFailureHook hook);

// Locks a block for the lifetime of the object; unlocks on scope exit.
template <typename T> class MemLock {
public:
    explicit MemLock(HGLOBAL block) : block_(block), ptr_(block ? static_cast<T *>(GlobalLock(block)) : nullptr) {}
    ~MemLock() { if (ptr_) GlobalUnlock(block_); }
    MemLock(const MemLock &) = delete;
    MemLock &operator=(const MemLock &) = delete;
    T *get() const { return ptr_; }
    explicit operator bool() const { return ptr_ != nullptr; }
private:
    HGLOBAL block_;
    T *ptr_;
};
