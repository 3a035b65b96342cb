// The command line: SOURCE and TARGET keywords, whose only effect is the one-shot mode.
#pragma once
#include <windows.h>

int appParseCommandLine(const wchar_t *commandLine);
const wchar_t *appSourceBuffer();
const wchar_t *appTargetBuffer();
