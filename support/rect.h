// Rectangles: text form, size, tests, centring and pulling into the work area.
#pragma once
#include <windows.h>

int rectToText(wchar_t *destination, const RECT *rect);
int rectFromText(const wchar_t *text, RECT *rect);
void rectZero(RECT *rect);
int rectWidth(const RECT *rect);
int rectHeight(const RECT *rect);
int rectIsValid(const RECT *rect);
int rectEqual(const RECT *a, const RECT *b);
int rectContains(const RECT *outer, const RECT *inner);
void rectCentreOn(RECT *rect, const RECT *reference);
void rectPullInto(RECT *rect, const RECT *area);
void rectGetWorkArea(RECT *area);
