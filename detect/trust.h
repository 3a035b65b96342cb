// Who can change the files that Ghostscript obeys as LocalSystem: the response file, the data
// folder and the folder that holds it. Only LocalSystem, Administrators, TrustedInstaller and
// members of the local Administrators group may; anyone else could run programs as LocalSystem.
#pragma once
#include <windows.h>

// The first untrusted principal found, or the link found, for the refusal's message.
struct TrustFinding {
    wchar_t object[MAX_PATH + 1];  // the file or folder
    wchar_t principal[160];        // "DOMAIN\name (S-1-...)"
    wchar_t right[64];             // "write data", "owner", "a link (junction or symbolic link)"
};

// 1 when no untrusted principal can change the data folder or the response file (missing ones
// are judged by the folder they would be made in), else 0 with the finding.
int trustCheckDataFolder(const wchar_t *dataFolder, const wchar_t *rspFile, TrustFinding *finding);
// "Owner: ...; can change it: ..." for a file, every principal with the right it holds;
// "" when the file's security cannot be read.
void trustDescribe(const wchar_t *path, wchar_t *out, int capacity);
