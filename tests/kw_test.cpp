// Keyword parser: -NAME and -NAME[value] tokens at the front of a command line.
#include <gtest/gtest.h>
#include <random>
#include <string>
#include "support/kw.h"
#include "support/mem.h"

namespace {

struct Parsed {
    std::wstring rest;  // what the parser returned, "<null>" for null
    int count = -1;
    int error = -99;
    bool found[2] = {};
    std::wstring value[2];
    bool hasValue[2] = {};
};

Parsed parse(const wchar_t *line)
{
    KeywordEntry table[2] = {};
    wcscpy(table[0].keyword, L"SOURCE");
    wcscpy(table[1].keyword, L"TARGET");
    std::wstring text = line;
    Parsed p;
    wchar_t *rest = kwParseKeywords(&text[0], table, 2, &p.count, &p.error);
    p.rest = rest ? rest : L"<null>";
    for (int i = 0; i < 2; i++) {
        p.found[i] = table[i].found != 0;
        p.hasValue[i] = table[i].value != nullptr;
        MemLock<wchar_t> v(table[i].value);
        if (v)
            p.value[i] = v.get();
    }
    kwFreeValues(table, 2);
    EXPECT_EQ(nullptr, table[0].value);
    return p;
}

TEST(Keywords, ValuesFlagsCountsAndErrors)
{
    struct Row {
        const wchar_t *line;
        int count, error;
        bool sourceFound;
        const wchar_t *sourceValue;  // null: no value block
        const wchar_t *rest;
    } rows[] = {
        {L"-source[c:\\a b]", 1, 0, true, L"c:\\a b", L"<null>"},
        {L"-SOURCE[]", 1, 0, true, nullptr, L"<null>"},
        {L"-SOURCE[abc", 1, 11, true, nullptr, L"<null>"},
        {L"-XYZ -SOURCE[a]", 1, -12, true, L"a", L"<null>"},
        {L"file.pdf -SOURCE[a]", 0, 0, false, nullptr, L"file.pdf -SOURCE[a]"},
        {L"   -SOURCE[a] file.pdf", 1, 0, true, L"a", L"file.pdf"},
        {L"-SOURCE[a] -SOURCE[b]", 2, 0, true, L"b", L"<null>"},
        {L"-SOURCE x[y]", 1, 0, true, nullptr, L"x[y]"},
        {L"-sOuRcE", 1, 0, true, nullptr, L"<null>"},
        {L"-", 0, 0, false, nullptr, L"-"},
        {L"", 0, 0, false, nullptr, L"<null>"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.line)));
        Parsed p = parse(row.line);
        EXPECT_EQ(row.count, p.count);
        EXPECT_EQ(row.error, p.error);
        EXPECT_EQ(row.sourceFound, p.found[0]);
        EXPECT_EQ(row.sourceValue != nullptr, p.hasValue[0]);
        if (row.sourceValue) {
            EXPECT_EQ(row.sourceValue, p.value[0]);
        }
        EXPECT_EQ(row.rest, p.rest);
    }
}

TEST(Keywords, NullTextAndNoTable)
{
    int count = 5, error = 5;
    EXPECT_EQ(nullptr, kwParseKeywords(nullptr, nullptr, 0, &count, &error));
    EXPECT_EQ(0, count);
    EXPECT_EQ(0, error);
    wchar_t text[] = L"-SOURCE[a]";
    EXPECT_EQ(nullptr, kwParseKeywords(text, nullptr, 0, &count, &error));
    EXPECT_EQ(-12, error);
}

// Random lines made of the characters that matter to the parser must never crash it,
// and every value it keeps must be a text that stood between brackets.
TEST(Keywords, SurvivesRandomLines)
{
    std::mt19937 random(20261121);
    const wchar_t alphabet[] = L"-[] SOURCEtargetx\\:";
    for (int i = 0; i < 4000; i++) {
        std::wstring line;
        int length = random() % 40;
        for (int j = 0; j < length; j++)
            line += alphabet[random() % (sizeof(alphabet) / sizeof(wchar_t) - 1)];
        Parsed p = parse(line.c_str());
        ASSERT_GE(p.count, 0);
        ASSERT_TRUE(p.error == 0 || p.error == 11 || p.error == -12) << p.error;
        for (int k = 0; k < 2; k++) {
            if (p.hasValue[k]) {
                ASSERT_FALSE(p.value[k].empty());
                ASSERT_EQ(std::wstring::npos, p.value[k].find(L']'));
                ASSERT_NE(std::wstring::npos, line.find(L"[" + p.value[k] + L"]"));
            }
        }
    }
}

}  // namespace
