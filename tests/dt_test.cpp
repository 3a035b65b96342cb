// Date and time stamps: every format code at a fixed local time, and the clock styles.
#include <gtest/gtest.h>
#include <string>
#include "support/dt.h"

namespace {

struct tm fixedTime(int year, int month, int day, int hour, int minute, int second)
{
    struct tm t = {};
    t.tm_year = year - 1900;
    t.tm_mon = month - 1;
    t.tm_mday = day;
    t.tm_hour = hour;
    t.tm_min = minute;
    t.tm_sec = second;
    t.tm_isdst = -1;
    mktime(&t);  // fills the weekday for the C library's text
    return t;
}

std::wstring stamp(const struct tm &t, DWORD code)
{
    wchar_t out[DT_TEXT_CAPACITY];
    dt_FormatTm(out, t, code);
    return out;
}

TEST(DateStamps, EveryCodeAtAFixedLocalTime)
{
    const struct tm t = fixedTime(2013, 3, 4, 17, 6, 7);  // Monday
    const struct {
        DWORD code;
        const wchar_t *text;
    } rows[] = {
        {3, L"04/03/13"},
        {13, L"20130304"},
        {25, L"03/04/2013"},
        {26, L"04/03/2013"},
        {27, L"20130304"},
        {28, L"2013/03/04"},
        {29, L"2013-03-04"},
        {98, L"2013-03-04 17:06"},
        {99, L"2013-03-04-17.06.07"},
        {100, L"2013-03-04 17:06:07"},
        {102, L"2013-03-04"},
        {110, L"20130304-170607"},
        {111, L"20130304-1706"},
        {11, L"03/04/13 05:06 PM"},
        {12, L"03/04/13 05:06:07 PM"},
        {105, L"2013/03/04 05:06:07 PM"},
        {106, L"20130304 17:06:07"},
        {107, L"2013/03/04 17:06:07"},
        {21, L"05:06 PM"},
        {22, L"05:06:07 PM"},
        {23, L"17:06"},
        {24, L"17:06:07"},
        {103, L"17:06:07"},
        {6, L"4 March, 2013"},
        {8, L"March, 13"},
        {4, L"4-Mar-13"},
        {5, L"Mar-13"},
        {9, L"Mon Mar 04 17:06:07 2013"},  // the Windows C library pads the day with 0
        {10, L"Mon Mar 04 2013"},
        {0, L"March 4, 2013"},
        {1, L"March 4, 2013"},
        {112, L"March 4, 2013"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.code);
        EXPECT_EQ(row.text, stamp(t, row.code));
    }
    // Code 13 pads the year with blanks, code 27 with zeros.
    const struct tm early = fixedTime(999, 1, 2, 0, 0, 0);
    EXPECT_EQ(L" 9990102", stamp(early, 13));
    EXPECT_EQ(L"09990102", stamp(early, 27));
}

TEST(DateStamps, TwelveHourClockAroundNoonAndMidnight)
{
    wchar_t out[DT_TEXT_CAPACITY];
    dt_FormatClock(out, 12, 0, 5, 2);
    EXPECT_STREQ(L"12:00:05 PM", out);
    dt_FormatClock(out, 0, 7, 0, 1);
    EXPECT_STREQ(L"00:07 AM", out);
    dt_FormatClock(out, 23, 59, 58, 5);
    EXPECT_STREQ(L"2359", out);
    dt_FormatClock(out, 23, 59, 58, 6);
    EXPECT_STREQ(L"235958", out);
    dt_FormatClock(out, 13, 1, 2, 42);  // unknown styles read as style 2
    EXPECT_STREQ(L"01:01:02 PM", out);
}

TEST(DateStamps, CalendarTimeIsBrokenDownInLocalTime)
{
    struct tm t = fixedTime(2013, 3, 4, 5, 6, 7);
    long calendar = static_cast<long>(mktime(&t));
    wchar_t out[DT_TEXT_CAPACITY];
    dt_FormatTime(out, calendar, 100);
    EXPECT_STREQ(L"2013-03-04 05:06:07", out);

    time_t before = time(nullptr);
    time_t read = dt_FormatNow(out, 29);
    EXPECT_GE(read, before);
    EXPECT_EQ(10u, wcslen(out));
}

}  // namespace
