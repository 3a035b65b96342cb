// Application identity: names and the version number read from the version resource.
#pragma once
#include <windows.h>

void appSetIdentity(HINSTANCE instance);
int appReadVersionNumber(HINSTANCE instance, WORD *versionNumber, WORD *versionBuild);
WORD appVersionNumberFrom(WORD major, WORD minor, WORD third);
