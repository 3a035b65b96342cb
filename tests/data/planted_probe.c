/* A library that the tests plant beside the program as version.dll and as winspool.drv, the
   way an unprivileged program could drop one into a download folder. Each of its entries logs
   which module called it to C:\tlpdf-planted.log ("<caller path>\t<entry>\r\n", UTF-8) and
   fails, so a program that calls it both shows it in the log and gets no answers. */
#include <windows.h>

static void logCall(void *returnAddress, const char *entry)
{
    HMODULE caller = NULL;
    wchar_t path[MAX_PATH] = L"?";
    char line[4 * MAX_PATH + 64];
    int n;
    DWORD written;
    HANDLE file;
    if (GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                           (const wchar_t *)returnAddress, &caller))
        GetModuleFileNameW(caller, path, MAX_PATH);
    n = WideCharToMultiByte(CP_UTF8, 0, path, -1, line, 4 * MAX_PATH, NULL, NULL);
    if (n <= 0)
        n = 1;
    line[n - 1] = '\t';
    lstrcpynA(line + n, entry, 48);
    lstrcatA(line, "\r\n");
    file = CreateFileW(L"C:\\tlpdf-planted.log", FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, NULL,
                       OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, NULL);
    if (file == INVALID_HANDLE_VALUE)
        return;
    WriteFile(file, line, (DWORD)lstrlenA(line), &written, NULL);
    CloseHandle(file);
}

#define PLANTED(entry)                                          \
    logCall(__builtin_return_address(0), entry);                \
    SetLastError(ERROR_ACCESS_DENIED)

DWORD WINAPI plantedGetFileVersionInfoSizeW(const wchar_t *a, DWORD *b)
{
    (void)a, (void)b;
    PLANTED("GetFileVersionInfoSizeW");
    return 0;
}

BOOL WINAPI plantedGetFileVersionInfoW(const wchar_t *a, DWORD b, DWORD c, void *d)
{
    (void)a, (void)b, (void)c, (void)d;
    PLANTED("GetFileVersionInfoW");
    return FALSE;
}

BOOL WINAPI plantedVerQueryValueW(const void *a, const wchar_t *b, void **c, UINT *d)
{
    (void)a, (void)b, (void)c, (void)d;
    PLANTED("VerQueryValueW");
    return FALSE;
}

BOOL WINAPI plantedEnumPrintersW(DWORD a, wchar_t *b, DWORD c, BYTE *d, DWORD e, DWORD *f, DWORD *g)
{
    (void)a, (void)b, (void)c, (void)d, (void)e, (void)f, (void)g;
    PLANTED("EnumPrintersW");
    return FALSE;
}

BOOL WINAPI plantedOpenPrinterW(wchar_t *a, HANDLE *b, void *c)
{
    (void)a, (void)b, (void)c;
    PLANTED("OpenPrinterW");
    return FALSE;
}

BOOL WINAPI plantedClosePrinter(HANDLE a)
{
    (void)a;
    PLANTED("ClosePrinter");
    return FALSE;
}

BOOL WINAPI plantedGetPrinterW(HANDLE a, DWORD b, BYTE *c, DWORD d, DWORD *e)
{
    (void)a, (void)b, (void)c, (void)d, (void)e;
    PLANTED("GetPrinterW");
    return FALSE;
}

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved)
{
    (void)instance, (void)reason, (void)reserved;
    return TRUE;
}
