// Web addresses: recognising the scheme, joining a relative part, and integer texts.
#pragma once

int IsUrl(const wchar_t *text);
int GetUrlPrefixLength(const wchar_t *text, int *length);
int JoinUrl(wchar_t *out, const wchar_t *base, const wchar_t *relative);
int IsIntegerText(const wchar_t *text);
