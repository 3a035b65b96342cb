// Owners for Win32 handles: each closes its handle once, when it goes out of scope.
#pragma once
#include <windows.h>

template <typename H, typename Traits> class ScopedWin {
public:
    ScopedWin() = default;
    explicit ScopedWin(H handle) : handle_(handle) {}
    ~ScopedWin() { reset(); }
    ScopedWin(const ScopedWin &) = delete;
    ScopedWin &operator=(const ScopedWin &) = delete;
    // Moved, so that a function can hand its caller the owner instead of a bare handle.
    ScopedWin(ScopedWin &&other) noexcept : handle_(other.release()) {}
    ScopedWin &operator=(ScopedWin &&other) noexcept
    {
        reset(other.release());
        return *this;
    }
    H get() const { return handle_; }
    H *out()
    {
        reset();
        return &handle_;
    }
    bool valid() const { return Traits::valid(handle_); }
    explicit operator bool() const { return valid(); }
    H release()
    {
        H h = handle_;
        handle_ = Traits::empty();
        return h;
    }
    void reset(H handle = Traits::empty())
    {
        if (Traits::valid(handle_))
            Traits::close(handle_);
        handle_ = handle;
    }
private:
    H handle_ = Traits::empty();
};

struct HKeyTraits {
    static HKEY empty() { return nullptr; }
    static bool valid(HKEY h) { return h != nullptr; }
    static void close(HKEY h) { RegCloseKey(h); }
};
struct FileTraits {
    static HANDLE empty() { return INVALID_HANDLE_VALUE; }
    static bool valid(HANDLE h) { return h != INVALID_HANDLE_VALUE && h != nullptr; }
    static void close(HANDLE h) { CloseHandle(h); }
};
struct ModuleTraits {
    static HMODULE empty() { return nullptr; }
    static bool valid(HMODULE h) { return h != nullptr; }
    static void close(HMODULE h) { FreeLibrary(h); }
};
struct FindTraits {
    static HANDLE empty() { return INVALID_HANDLE_VALUE; }
    static bool valid(HANDLE h) { return h != INVALID_HANDLE_VALUE && h != nullptr; }
    static void close(HANDLE h) { FindClose(h); }
};

struct ServiceTraits {
    static SC_HANDLE empty() { return nullptr; }
    static bool valid(SC_HANDLE h) { return h != nullptr; }
    static void close(SC_HANDLE h) { CloseServiceHandle(h); }
};

using ScopedHKey = ScopedWin<HKEY, HKeyTraits>;
using ScopedHandle = ScopedWin<HANDLE, FileTraits>;  // files, processes, threads
using ScopedModule = ScopedWin<HMODULE, ModuleTraits>;
using ScopedFind = ScopedWin<HANDLE, FindTraits>;
using ScopedService = ScopedWin<SC_HANDLE, ServiceTraits>;  // service manager and services
