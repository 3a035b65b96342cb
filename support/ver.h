// Reading a module's version resource into a memory block.
#pragma once
#include <windows.h>

// The module's version block, read from its file; null when it has none. Free with memGFree.
HGLOBAL verLoadBlock(HMODULE module);
