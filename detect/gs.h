// Ghostscript locator and the component flags cached at start-up.
#pragma once
#include <windows.h>

enum : DWORD {
    GS2_MISSING_GHOSTSCRIPT = 1,
    GS2_MISSING_REDMON = 2,
    GS2_MISSING_PDF_INFO = 4,  // reserved for a PDF information tool; nothing sets it here
};

extern const wchar_t kGhostscriptKey[];         // under HKLM\Software
extern const wchar_t kArtifexGhostscriptKey[];  // commercial builds, looked at when the first gives none

void gs2_InitComponents(int requireRedMon);
int gs2_IsGhostscriptInstalled();
int gs2_CheckRequiredComponents();
DWORD gs2_GetMissingComponents();
HGLOBAL gs2_GetComponentSummary(HGLOBAL list);
int gs2_GetGhostscriptRoot(wchar_t *root, wchar_t *version);
int gs2_GetGsDllValue(wchar_t *value);
int gs2_GetGhostscriptConsolePath(wchar_t *path);
HKEY gs2_OpenGhostscriptKey();
void gs2_CloseGhostscriptKeys();
void gs2_PickHighestVersion(const wchar_t *names);
int gs2_SplitGhostscriptPath(const wchar_t *value, wchar_t *root, wchar_t *version);

const wchar_t *gs2_ChosenVersion();
// Forgets the chosen version and the cached flags, as at process start (tests).
void gs2_ResetForTest();
