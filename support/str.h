// UTF-16 string helpers: bounded copy, trimming, splitting, tokenising.
#pragma once
#include <windows.h>

struct KeyValue {
    wchar_t *key;
    wchar_t *value;
};

wchar_t *strDup(const wchar_t *text);
int strSizeZ(const wchar_t *text);
int strBytesZ(const wchar_t *text);
int strBytes(const wchar_t *text);

wchar_t *strCopyN(wchar_t *destination, const wchar_t *source, int maximum);
wchar_t *strSkipChar(wchar_t *text, wchar_t ch);
void strStripTrailChar(wchar_t *text, wchar_t ch);
void strStripChar(wchar_t *text, wchar_t ch);
void strStripCRLF(wchar_t *text);
void strStripCharCRLF(wchar_t *text, wchar_t ch);
void strTrimSet(wchar_t *text, const wchar_t *set);
void strTrimValue(wchar_t *text);

HGLOBAL strTokenize(wchar_t *text, const wchar_t *delimiters, int *count);
wchar_t **strTokenizeHeap(wchar_t *text, const wchar_t *delimiters, int *count);
int strSplitKeyValue(wchar_t *line, wchar_t separator, KeyValue *pair, int *blankValue);
int strListHas(const wchar_t *list, const wchar_t *word);
// Equal when the texts differ at most in the case of the letters A to Z (no locale involved).
int strEqualsFoldAZ(const wchar_t *a, const wchar_t *b);
int IsIntegerText(const wchar_t *text);
