// Tests of rectangles as text, containment, centring and pulling into an area.
#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <string>

#include "support/rect.h"

namespace {

const wchar_t GUARD = 0xbdbd;
const RECT GARBAGE = {-5, -6, -7, -8};
const RECT ZERO = {0, 0, 0, 0};

std::string show(const RECT &r)
{
    return "{" + std::to_string(r.left) + ", " + std::to_string(r.top) + ", " + std::to_string(r.right) +
           ", " + std::to_string(r.bottom) + "}";
}

bool same(const RECT &a, const RECT &b)
{
    return rectEqual(&a, &b) != 0;
}

}  // namespace

TEST(RectFromText, ReadsBothFormsAndNeedsExactlyFourNumbers)
{
    struct Case {
        const wchar_t *text;
        RECT expected;  // all zero when the text must be refused
    };
    const Case cases[] = {
        {L"((10, 20), (300, 200))", {10, 20, 300, 200}},
        {L"((-1920,0),(-1, 1080))", {-1920, 0, -1, 1080}},
        {L"  10,20,300,  200", {10, 20, 300, 200}},
        {L"10, 20, 30", ZERO},
        {L"((10, 20), (30))", ZERO},
        {L"(10, 20, 300, 200)", ZERO},
        {L"", ZERO},
        {nullptr, ZERO},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << "text \"" << (c.text ? c.text : L"<null>") << "\"");
        RECT r = GARBAGE;
        EXPECT_EQ(rectFromText(c.text, &r), same(c.expected, ZERO) ? 0 : 1);
        EXPECT_TRUE(same(r, c.expected)) << show(r);
    }
}

TEST(RectToText, WritesTheParenthesisedFormOrNothingForAnEmptyRectangle)
{
    wchar_t text[65];
    wmemset(text, GUARD, 65);
    const RECT widest = {INT_MIN, INT_MIN, INT_MAX, INT_MAX};
    ASSERT_EQ(rectToText(text, &widest), 1);
    EXPECT_STREQ(text, L"((-2147483648, -2147483648), (2147483647, 2147483647))");
    EXPECT_EQ(text[64], GUARD);

    const RECT empties[] = {ZERO, {10, 20, 10, 200}, {10, 20, 300, 20}, {300, 20, 10, 200}};
    for (const RECT &e : empties) {
        SCOPED_TRACE(show(e));
        wmemset(text, GUARD, 65);
        EXPECT_EQ(rectToText(text, &e), 0);
        EXPECT_EQ(text[0], L'\0');
        EXPECT_EQ(text[1], GUARD);
    }
}

TEST(RectFromText, SeededRandomTextsAreReadOrRefusedCleanly)
{
    std::mt19937 random(52);
    std::uniform_int_distribution<LONG> anyLong(INT_MIN, INT_MAX);
    std::uniform_int_distribution<int> coin(0, 1), lengthOf(0, 30);
    const std::wstring alphabet = L"((((),,,,   --0123456789x";
    std::uniform_int_distribution<size_t> charOf(0, alphabet.size() - 1);

    for (int round = 0; round < 4000; ++round) {
        std::wstring text;
        RECT made = {anyLong(random), anyLong(random), anyLong(random), anyLong(random)};
        bool wellFormed = coin(random) != 0;
        if (wellFormed) {
            wchar_t buffer[128];
            const wchar_t *format = coin(random) ? L"(( %ld,%ld),(  %ld,   %ld))" : L"  %ld,%ld,  %ld, %ld";
            swprintf(buffer, 128, format, made.left, made.top, made.right, made.bottom);
            text = buffer;
        } else {
            for (int n = lengthOf(random); n > 0; --n)
                text += alphabet[charOf(random)];
        }
        SCOPED_TRACE(testing::Message() << "round " << round << " text \"" << text << "\"");

        RECT r = GARBAGE;
        int result = rectFromText(text.c_str(), &r);
        ASSERT_TRUE(result == 1 || (result == 0 && same(r, ZERO))) << result << " " << show(r);
        if (wellFormed) {
            ASSERT_TRUE(result == 1 && same(r, made)) << show(r);
        }

        // Whatever was read must survive a trip through the written form.
        wchar_t written[64];
        if (rectToText(written, &r)) {
            RECT back = GARBAGE;
            ASSERT_EQ(rectFromText(written, &back), 1);
            ASSERT_TRUE(same(back, r)) << show(back);
        }
    }
}

TEST(RectContains, EdgesCountAsInside)
{
    const RECT outer = {0, 0, 100, 50};
    const RECT inside[] = {outer, {10, 10, 20, 20}};
    const RECT across[] = {{-1, 0, 100, 50}, {0, -1, 100, 50}, {0, 0, 101, 50}, {0, 0, 100, 51}};
    for (const RECT &r : inside) {
        SCOPED_TRACE(show(r));
        EXPECT_EQ(rectContains(&outer, &r), 1);
    }
    for (const RECT &r : across) {
        SCOPED_TRACE(show(r));
        EXPECT_EQ(rectContains(&outer, &r), 0);
    }
    EXPECT_EQ(rectContains(&inside[1], &outer), 0);
}

TEST(RectPlacement, CentreKeepsSizeAndTruncatesTowardZero)
{
    struct Case {
        RECT rect, reference, expected;
    };
    const Case cases[] = {
        {{0, 0, 100, 50}, {0, 0, 1024, 768}, {462, 359, 562, 409}},
        {{5, 5, 10, 8}, {0, 0, 100, 100}, {47, 48, 52, 51}},
        // (-10 + 1 - 4) / 2 is -6 in C, not the -7 that flooring would give.
        {{0, 0, 4, 4}, {-10, -10, 1, 1}, {-6, -6, -2, -2}},
        {{0, 0, 2000, 1000}, {0, 0, 1024, 768}, {-488, -116, 1512, 884}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(show(c.rect) + " on " + show(c.reference));
        RECT r = c.rect;
        rectCentreOn(&r, &c.reference);
        EXPECT_TRUE(same(r, c.expected)) << show(r);
    }
}

TEST(RectPlacement, PullIntoKeepsSizeAndLeftTopWinWhenTooLarge)
{
    const RECT area = {0, 0, 1000, 700};
    struct Case {
        RECT rect, expected;
    };
    const Case cases[] = {
        {{10, 10, 110, 60}, {10, 10, 110, 60}},
        {{950, 10, 1050, 60}, {900, 10, 1000, 60}},
        {{10, 680, 110, 730}, {10, 650, 110, 700}},
        {{-30, -20, 70, 30}, {0, 0, 100, 50}},
        {{990, 690, 1090, 740}, {900, 650, 1000, 700}},
        {{-100, -100, 1200, 900}, {0, 0, 1300, 1000}},
        {{500, 500, 1800, 1500}, {0, 0, 1300, 1000}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(show(c.rect));
        RECT r = c.rect;
        rectPullInto(&r, &area);
        EXPECT_TRUE(same(r, c.expected)) << show(r);
    }
}

TEST(RectGetWorkArea, GivesAUsableArea)
{
    RECT work = GARBAGE;
    rectGetWorkArea(&work);
    EXPECT_TRUE(rectIsValid(&work)) << show(work);
}
