// System DLLs that the program calls but does not import: loaded at run time from the system folder.
//
// The program runs elevated, often from a download folder. The loader looks for a statically
// imported DLL that is not one of Windows' KnownDLLs in the program's own folder first, so a
// version.dll or winspool.drv dropped beside the program would run as administrator. The program
// therefore imports only KnownDLLs and takes everything else from here, by full path.
#include "support/syslib.h"
#include "support/path.h"

namespace {

typedef BOOL(WINAPI *SetDefaultDllDirectoriesFn)(DWORD);
typedef BOOL(WINAPI *SetDllDirectoryFn)(const wchar_t *);

typedef DWORD(WINAPI *GetFileVersionInfoSizeFn)(const wchar_t *, DWORD *);
typedef BOOL(WINAPI *GetFileVersionInfoFn)(const wchar_t *, DWORD, DWORD, void *);
typedef BOOL(WINAPI *VerQueryValueFn)(const void *, const wchar_t *, void **, UINT *);
typedef BOOL(WINAPI *EnumPrintersFn)(DWORD, wchar_t *, DWORD, BYTE *, DWORD, DWORD *, DWORD *);
typedef BOOL(WINAPI *OpenPrinterFn)(wchar_t *, HANDLE *, PRINTER_DEFAULTSW *);
typedef BOOL(WINAPI *ClosePrinterFn)(HANDLE);
typedef BOOL(WINAPI *GetPrinterFn)(HANDLE, DWORD, BYTE *, DWORD, DWORD *);
typedef BOOL(WINAPI *EnumPortsFn)(wchar_t *, DWORD, BYTE *, DWORD, DWORD *, DWORD *);
typedef BOOL(WINAPI *EnumJobsFn)(HANDLE, DWORD, DWORD, DWORD, BYTE *, DWORD, DWORD *, DWORD *);
typedef BOOL(WINAPI *EnumPrinterDriversFn)(wchar_t *, wchar_t *, DWORD, BYTE *, DWORD, DWORD *, DWORD *);
typedef BOOL(WINAPI *XcvDataFn)(HANDLE, const wchar_t *, BYTE *, DWORD, BYTE *, DWORD, DWORD *, DWORD *);

bool g_searchSystem32;  // SetDefaultDllDirectories took effect
HMODULE g_version;
HMODULE g_spooler;

HMODULE cached(HMODULE *module, const wchar_t *name)
{
    if (!*module)
        *module = sysLoadSystemLibrary(name).release();
    return *module;
}

template <typename Fn> Fn lookUp(HMODULE module, const char *name)
{
    if (!module) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    Fn fn = reinterpret_cast<Fn>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
    if (!fn)
        SetLastError(ERROR_PROC_NOT_FOUND);
    return fn;
}

template <typename Fn> Fn versionEntry(const char *name) { return lookUp<Fn>(sysVersionLibrary(), name); }
template <typename Fn> Fn spoolerEntry(const char *name) { return lookUp<Fn>(sysSpoolerLibrary(), name); }

}  // namespace

// First thing at start-up. SetDefaultDllDirectories exists from Windows 8 on (and on Vista and 7
// with update KB2533623), so it is looked up; where it is missing, loads by bare name still at
// least skip the current folder.
int sysHardenDllSearch()
{
    HMODULE kernel = GetModuleHandleW(L"kernel32");
    if (!kernel)
        return 0;
    auto setDefault = reinterpret_cast<SetDefaultDllDirectoriesFn>(
        reinterpret_cast<void (*)()>(GetProcAddress(kernel, "SetDefaultDllDirectories")));
    g_searchSystem32 = setDefault && setDefault(LOAD_LIBRARY_SEARCH_SYSTEM32);
    auto setDirectory = reinterpret_cast<SetDllDirectoryFn>(
        reinterpret_cast<void (*)()>(GetProcAddress(kernel, "SetDllDirectoryW")));
    if (setDirectory)
        setDirectory(L"");
    return g_searchSystem32 ? 1 : 0;
}

// The library's own dependencies are then searched beside it (the system folder), not in the
// program's folder.
ScopedModule sysLoadLibraryAt(const wchar_t *fullPath)
{
    if (!pathIsAbsolute(fullPath)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return ScopedModule();
    }
    DWORD flags = g_searchSystem32 ? LOAD_LIBRARY_SEARCH_SYSTEM32 : LOAD_WITH_ALTERED_SEARCH_PATH;
    return ScopedModule(LoadLibraryExW(fullPath, nullptr, flags));
}

// By full path: a bare name could return a copy of the same name that is already loaded from
// somewhere else.
ScopedModule sysLoadSystemLibrary(const wchar_t *name)
{
    wchar_t system[PATH_BUFFER], path[PATH_BUFFER];
    if (!pathSystemFolder(system) || !pathJoinWhole(path, system, name)) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return ScopedModule();
    }
    return sysLoadLibraryAt(path);
}

HMODULE sysVersionLibrary() { return cached(&g_version, L"version.dll"); }

HMODULE sysSpoolerLibrary() { return cached(&g_spooler, L"winspool.drv"); }

DWORD sysGetFileVersionInfoSizeW(const wchar_t *file, DWORD *handle)
{
    auto fn = versionEntry<GetFileVersionInfoSizeFn>("GetFileVersionInfoSizeW");
    return fn ? fn(file, handle) : 0;
}

BOOL sysGetFileVersionInfoW(const wchar_t *file, DWORD handle, DWORD size, void *data)
{
    auto fn = versionEntry<GetFileVersionInfoFn>("GetFileVersionInfoW");
    return fn ? fn(file, handle, size, data) : FALSE;
}

BOOL sysVerQueryValueW(const void *block, const wchar_t *subBlock, void **buffer, UINT *length)
{
    auto fn = versionEntry<VerQueryValueFn>("VerQueryValueW");
    return fn ? fn(block, subBlock, buffer, length) : FALSE;
}

BOOL sysEnumPrintersW(DWORD flags, wchar_t *name, DWORD level, BYTE *buffer, DWORD size, DWORD *needed,
                      DWORD *returned)
{
    auto fn = spoolerEntry<EnumPrintersFn>("EnumPrintersW");
    return fn ? fn(flags, name, level, buffer, size, needed, returned) : FALSE;
}

BOOL sysOpenPrinterW(wchar_t *name, HANDLE *printer, PRINTER_DEFAULTSW *defaults)
{
    auto fn = spoolerEntry<OpenPrinterFn>("OpenPrinterW");
    return fn ? fn(name, printer, defaults) : FALSE;
}

BOOL sysClosePrinter(HANDLE printer)
{
    auto fn = spoolerEntry<ClosePrinterFn>("ClosePrinter");
    return fn ? fn(printer) : FALSE;
}

BOOL sysGetPrinterW(HANDLE printer, DWORD level, BYTE *buffer, DWORD size, DWORD *needed)
{
    auto fn = spoolerEntry<GetPrinterFn>("GetPrinterW");
    return fn ? fn(printer, level, buffer, size, needed) : FALSE;
}

BOOL sysEnumPortsW(wchar_t *name, DWORD level, BYTE *buffer, DWORD size, DWORD *needed, DWORD *returned)
{
    auto fn = spoolerEntry<EnumPortsFn>("EnumPortsW");
    return fn ? fn(name, level, buffer, size, needed, returned) : FALSE;
}

BOOL sysXcvDataW(HANDLE xcv, const wchar_t *dataName, BYTE *input, DWORD inputSize, BYTE *output, DWORD outputSize,
                 DWORD *needed, DWORD *status)
{
    auto fn = spoolerEntry<XcvDataFn>("XcvDataW");
    return fn ? fn(xcv, dataName, input, inputSize, output, outputSize, needed, status) : FALSE;
}

BOOL sysEnumPrinterDriversW(wchar_t *environment, DWORD level, BYTE *buffer, DWORD size, DWORD *needed, DWORD *returned)
{
    auto fn = spoolerEntry<EnumPrinterDriversFn>("EnumPrinterDriversW");
    return fn ? fn(nullptr, environment, level, buffer, size, needed, returned) : FALSE;
}

BOOL sysEnumJobsW(HANDLE printer, DWORD level, BYTE *buffer, DWORD size, DWORD *needed, DWORD *returned)
{
    auto fn = spoolerEntry<EnumJobsFn>("EnumJobsW");
    return fn ? fn(printer, 0, 0xFFFF, level, buffer, size, needed, returned) : FALSE;
}
