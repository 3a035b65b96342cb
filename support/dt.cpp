// Date and time stamps by numeric format code.
#include "support/dt.h"
#include <cstdarg>
#include <cstdio>
#include <cwchar>

namespace {

const wchar_t *const kMonthNames[12] = {L"January", L"February", L"March",     L"April",   L"May",      L"June",
                                        L"July",    L"August",   L"September", L"October", L"November", L"December"};

struct Fields {
    int year, month, day, year2, hour, minute, second;
};

// The C library's fixed-layout text, "Mon Mar 04 05:06:07 2013", without its line feed.
void cTimeText(const struct tm &local, wchar_t *out)
{
    char narrow[32] = "";
    struct tm copy = local;
    const char *text = asctime(&copy);
    if (text)
        snprintf(narrow, sizeof(narrow), "%.24s", text);
    for (int i = 0; i < 32; i++)
        out[i] = static_cast<unsigned char>(narrow[i]);
    out[31] = L'\0';
}

void threeLetterMonth(const struct tm &local, wchar_t *out)
{
    wchar_t text[32];
    cTimeText(local, text);
    wcsncpy(out, wcslen(text) >= 7 ? text + 4 : L"", 3);
    out[3] = L'\0';
}

// Date part and clock style of the codes that add a time of day.
struct DateThenClock {
    DWORD code;
    const wchar_t *pattern;
    bool monthFirst;  // month, day, two-digit year; otherwise year, month, day
    int style;
};
const DateThenClock kDateThenClock[] = {
    {11, L"%02d/%02d/%02d ", true, 1},    {12, L"%02d/%02d/%02d ", true, 2},
    {105, L"%04d/%02d/%02d ", false, 2},  {106, L"%04d%02d%02d ", false, 4},
    {107, L"%04d/%02d/%02d ", false, 4},
};

struct ClockOnly {
    DWORD code;
    int style;
};
const ClockOnly kClockOnly[] = {{21, 1}, {22, 2}, {23, 3}, {24, 4}, {103, 4}};

enum Order { YMD, DMY2, MDY, DMY, YMDHM, YMDHMS };
struct Numeric {
    DWORD code;
    const wchar_t *pattern;
    Order order;
};
const Numeric kNumeric[] = {
    {3, L"%02d/%02d/%02d", DMY2},
    {13, L"%4d%02d%02d", YMD},
    {25, L"%02d/%02d/%4d", MDY},
    {26, L"%02d/%02d/%4d", DMY},
    {27, L"%04d%02d%02d", YMD},
    {28, L"%04d/%02d/%02d", YMD},
    {29, L"%04d-%02d-%02d", YMD},
    {98, L"%04d-%02d-%02d %02d:%02d", YMDHM},
    {99, L"%04d-%02d-%02d-%02d.%02d.%02d", YMDHMS},
    {100, L"%04d-%02d-%02d %02d:%02d:%02d", YMDHMS},
    {102, L"%04d-%02d-%02d", YMD},
    {110, L"%04d%02d%02d-%02d%02d%02d", YMDHMS},
    {111, L"%04d%02d%02d-%02d%02d", YMDHM},
};

void put(wchar_t *out, const wchar_t *format, ...)
{
    va_list args;
    va_start(args, format);
    _vsnwprintf(out, DT_TEXT_CAPACITY, format, args);
    va_end(args);
    out[DT_TEXT_CAPACITY - 1] = L'\0';
}

void formatNumeric(wchar_t *out, const Numeric &n, const Fields &f)
{
    switch (n.order) {
    case YMD: put(out, n.pattern, f.year, f.month, f.day); break;
    case DMY2: put(out, n.pattern, f.day, f.month, f.year2); break;
    case MDY: put(out, n.pattern, f.month, f.day, f.year); break;
    case DMY: put(out, n.pattern, f.day, f.month, f.year); break;
    case YMDHM: put(out, n.pattern, f.year, f.month, f.day, f.hour, f.minute); break;
    case YMDHMS: put(out, n.pattern, f.year, f.month, f.day, f.hour, f.minute, f.second); break;
    }
}

}  // namespace

void dt_FormatClock(wchar_t *out, int hour, int minute, int second, int style)
{
    const wchar_t *half = hour < 12 ? L"AM" : L"PM";
    int hour12 = hour > 12 ? hour - 12 : hour;
    switch (style) {
    case 1: put(out, L"%02d:%02d %s", hour12, minute, half); break;
    case 3: put(out, L"%02d:%02d", hour, minute); break;
    case 4: put(out, L"%02d:%02d:%02d", hour, minute, second); break;
    case 5: put(out, L"%02d%02d", hour, minute); break;
    case 6: put(out, L"%02d%02d%02d", hour, minute, second); break;
    default: put(out, L"%02d:%02d:%02d %s", hour12, minute, second, half); break;
    }
}

void dt_FormatTm(wchar_t *out, const struct tm &local, DWORD code)
{
    Fields f = {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, (local.tm_year + 1900) % 100,
                local.tm_hour,        local.tm_min,     local.tm_sec};
    const wchar_t *monthName = (f.month >= 1 && f.month <= 12) ? kMonthNames[f.month - 1] : L"";
    out[0] = L'\0';
    if (code >= 2 && code <= 111) {
        for (const Numeric &n : kNumeric)
            if (n.code == code)
                return formatNumeric(out, n, f);
        for (const DateThenClock &d : kDateThenClock)
            if (d.code == code) {
                if (d.monthFirst)
                    put(out, d.pattern, f.month, f.day, f.year2);
                else
                    put(out, d.pattern, f.year, f.month, f.day);
                size_t used = wcslen(out);
                return dt_FormatClock(out + used, f.hour, f.minute, f.second, d.style);
            }
        for (const ClockOnly &c : kClockOnly)
            if (c.code == code)
                return dt_FormatClock(out, f.hour, f.minute, f.second, c.style);
        wchar_t text[32], month3[4];
        switch (code) {
        case 4: threeLetterMonth(local, month3); return put(out, L"%d-%s-%02d", f.day, month3, f.year2);
        case 5: threeLetterMonth(local, month3); return put(out, L"%s-%02d", month3, f.year2);
        case 6: return put(out, L"%d %s, %d", f.day, monthName, f.year);
        case 8: return put(out, L"%s, %02d", monthName, f.year2);
        case 9: cTimeText(local, text); return put(out, L"%s", text);
        case 10:
            cTimeText(local, text);
            if (wcslen(text) >= 24)
                return put(out, L"%.11s%s", text, text + 20);
            return put(out, L"%s", text);
        default: break;
        }
    }
    put(out, L"%s %d, %04d", monthName, f.day, f.year);
}

void dt_FormatTime(wchar_t *out, long calendarTime, DWORD code)
{
    time_t t = static_cast<time_t>(calendarTime);
    struct tm *local = localtime(&t);
    if (!local) {
        out[0] = L'\0';
        return;
    }
    dt_FormatTm(out, *local, code);
}

static time_t g_fixedNow;

void dt_TestSetNow(time_t fixed) { g_fixedNow = fixed; }

time_t dt_FormatNow(wchar_t *out, DWORD code)
{
    time_t now = g_fixedNow ? g_fixedNow : time(nullptr);
    dt_FormatTime(out, static_cast<long>(now), code);
    return now;
}
