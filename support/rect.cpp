// Rectangles: text form, size and containment tests, centring and keeping inside the work area.
#include "support/rect.h"

#include <cwchar>

// Longest text is four 11-character numbers plus punctuation: 56 characters and a NUL.
static const size_t RECT_TEXT_CAPACITY = 64;

int rectToText(wchar_t *destination, const RECT *rect)
{
    if (!destination)
        return 0;
    destination[0] = L'\0';
    if (!rect || !rectIsValid(rect))
        return 0;
    swprintf(destination, RECT_TEXT_CAPACITY, L"((%d, %d), (%d, %d))", static_cast<int>(rect->left),
             static_cast<int>(rect->top), static_cast<int>(rect->right), static_cast<int>(rect->bottom));
    return 1;
}

int rectFromText(const wchar_t *text, RECT *rect)
{
    if (!rect)
        return 0;
    int left = 0, top = 0, right = 0, bottom = 0;
    const wchar_t *format = (text && text[0] == L'(') ? L"((%d, %d), (%d, %d))" : L"%d, %d, %d, %d";
    if (!text || !*text || swscanf(text, format, &left, &top, &right, &bottom) != 4) {
        rectZero(rect);
        return 0;
    }
    rect->left = left;
    rect->top = top;
    rect->right = right;
    rect->bottom = bottom;
    return 1;
}

void rectZero(RECT *rect)
{
    if (rect)
        *rect = RECT{0, 0, 0, 0};
}

int rectWidth(const RECT *rect)
{
    return rect->right - rect->left;
}

int rectHeight(const RECT *rect)
{
    return rect->bottom - rect->top;
}

int rectIsValid(const RECT *rect)
{
    return rect->left < rect->right && rect->top < rect->bottom;
}

int rectEqual(const RECT *a, const RECT *b)
{
    return a->left == b->left && a->top == b->top && a->right == b->right && a->bottom == b->bottom;
}

// Edges count as inside, unlike PtInRect, which excludes the right and bottom edges.
int rectContains(const RECT *outer, const RECT *inner)
{
    return inner->left >= outer->left && inner->top >= outer->top && inner->right <= outer->right &&
           inner->bottom <= outer->bottom;
}

static void rectMoveTo(RECT *rect, LONG left, LONG top)
{
    LONG width = rect->right - rect->left, height = rect->bottom - rect->top;
    *rect = RECT{left, top, left + width, top + height};
}

// Integer division truncates toward zero, also for work areas left of or above the origin.
void rectCentreOn(RECT *rect, const RECT *reference)
{
    rectMoveTo(rect, (reference->left + reference->right - rectWidth(rect)) / 2,
               (reference->top + reference->bottom - rectHeight(rect)) / 2);
}

// Right and bottom first, then left and top, so that a rectangle larger than the area keeps its
// left and top edges (and so its title bar) visible.
void rectPullInto(RECT *rect, const RECT *area)
{
    if (rect->right > area->right)
        rectMoveTo(rect, area->right - rectWidth(rect), rect->top);
    if (rect->bottom > area->bottom)
        rectMoveTo(rect, rect->left, area->bottom - rectHeight(rect));
    if (rect->left < area->left)
        rectMoveTo(rect, area->left, rect->top);
    if (rect->top < area->top)
        rectMoveTo(rect, rect->left, area->top);
}

void rectGetWorkArea(RECT *area)
{
    if (SystemParametersInfoW(SPI_GETWORKAREA, 0, area, 0))
        return;
    if (!GetWindowRect(GetDesktopWindow(), area))
        rectZero(area);
}
