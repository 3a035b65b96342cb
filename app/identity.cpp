// Application identity: names and the version number read from the version resource.
#include "app/identity.h"
#include "support/appstate.h"
#include "support/mem.h"
#include "support/str.h"
#include "support/syslib.h"
#include "support/ver.h"

static const DWORD kIdentityFlags = 0x006400FE;  // stored for other tools; not consulted here

void appSetIdentity(HINSTANCE instance)
{
    AppIdentity identity;
    ZeroMemory(&identity, sizeof(identity));
    strCopyN(identity.company, L"Brindlecourt", 63);
    strCopyN(identity.product, L"TessaloomPDF", 63);
    strCopyN(identity.shortName, L"tlpdf", 63);
    identity.flags = kIdentityFlags;
    appReadVersionNumber(instance, &identity.versionNumber, &identity.versionBuild);
    appStoreIdentity(identity);
}

// 16-bit arithmetic that wraps, as the number has always been stored: 2.1.0 gives 210.
WORD appVersionNumberFrom(WORD major, WORD minor, WORD third)
{
    WORD tens = static_cast<WORD>(10 * major + minor);
    return static_cast<WORD>(tens * 10 + third);
}

int appReadVersionNumber(HINSTANCE instance, WORD *versionNumber, WORD *versionBuild)
{
    *versionNumber = 0;
    *versionBuild = 0;
    HGLOBAL block = verLoadBlock(instance);
    if (!block)
        return 0;
    int result = 0;
    {
        MemLock<BYTE> data(block);
        VS_FIXEDFILEINFO *fixed = nullptr;
        UINT length = 0;
        if (sysVerQueryValueW(data.get(), L"\\", reinterpret_cast<void **>(&fixed), &length) && fixed) {
            *versionNumber = appVersionNumberFrom(HIWORD(fixed->dwProductVersionMS),
                                                  LOWORD(fixed->dwProductVersionMS),
                                                  HIWORD(fixed->dwProductVersionLS));
            *versionBuild = LOWORD(fixed->dwProductVersionLS);
            result = 1;
        }
    }
    memGFree(block);
    return result;
}
