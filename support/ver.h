// Reading a module's version resource: the whole block and the texts the About box shows.
#pragma once
#include <windows.h>

// The module's version block, read from its file; null when it has none. Free with memGFree.
HGLOBAL verLoadBlock(HMODULE module);
int verGetStrings(wchar_t *company, wchar_t *copyright, HMODULE module);
void verGetTranslation(const void *versionBlock, wchar_t *out);
