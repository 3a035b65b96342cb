// Keyword options of the form -NAME or -NAME[value] at the front of a command line.
#pragma once
#include <windows.h>

struct KeywordEntry {
    wchar_t keyword[13];
    DWORD found;
    HGLOBAL value;  // text block with the bracketed value, or null
};

enum : int {
    KW_OK = 0,
    KW_UNKNOWN_KEYWORD = -12,
    KW_MISSING_BRACKET = 11,
};

wchar_t *kwParseKeywords(wchar_t *text, KeywordEntry *table, int entries, int *count, int *error);
void kwFreeValues(KeywordEntry *table, int entries);
