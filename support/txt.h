// Text blocks: wide texts kept in movable memory blocks that grow as text is appended.
#pragma once
#include <windows.h>

HGLOBAL txtGNew(const wchar_t *text);
HGLOBAL txtGAppend(HGLOBAL block, const wchar_t *text);
