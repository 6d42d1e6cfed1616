// What the search's filter takes for granted about lower case, and which places it names.
#include "vel_main_window_search_filter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

std::string lower(const std::string &text)
{
    g_autofree gchar *result = g_utf8_strdown(text.c_str(), -1);
    return result;
}

std::string utf8(gunichar c)
{
    gchar bytes[6];
    return std::string(bytes, static_cast<size_t>(g_unichar_to_utf8(c, bytes)));
}

constexpr gunichar SIGMA = 0x3A3;
constexpr gunichar I_WITH_DOT = 0x130;
constexpr gunichar KELVIN = 0x212A;

/// Every character but those two that the filter makes exceptions for.
std::vector<gunichar> all_characters()
{
    std::vector<gunichar> characters;
    for (gunichar c = 1; c <= 0x10FFFF; c++) {
        if (g_unichar_validate(c) && c != SIGMA && c != I_WITH_DOT)
            characters.push_back(c);
    }
    return characters;
}

/// Checks each character's lower case between two texts that stay as they are.
void check_lower_case(const std::string &before, const std::string &after, gunichar end)
{
    std::string text;
    std::string expected;
    for (const gunichar c : all_characters()) {
        if (c >= end)
            break;
        text += before + utf8(c) + after;
        expected += before + utf8(g_unichar_tolower(c)) + after;
    }
    ASSERT_TRUE(lower(text) == expected) << "between '" << before << "' and '" << after << "'";
}

/// The places that the filter names in a text, one after the other; -1 for all of them.
std::vector<gint32> places(const std::string &term, const std::string &text,
                           gboolean case_sensitive)
{
    search_term ready;
    vel_main_window_search_term_init(&ready, term.c_str(), case_sensitive);
    search_filter filter;
    vel_main_window_search_filter_init(&filter, &ready);
    vel_csv_parser parser;
    vel_csv_parser_init(&parser);
    vel_csv_parser_set_content(&parser, g_strdup(text.c_str()));
    std::vector<gint32> found;
    if (filter.n == 0)
        found.push_back(-1);
    while (filter.n > 0) {
        const gint32 place = vel_main_window_search_filter_find(&filter, &parser);
        if (place == static_cast<gint32>(text.size()))
            break;
        found.push_back(place);
        parser.pos = parser.buffer + place + 1;
    }
    vel_csv_parser_done(&parser);
    vel_main_window_search_filter_done(&filter);
    vel_main_window_search_term_done(&ready);
    return found;
}

using Places = std::vector<gint32>;

} // namespace

TEST(VelMainWindowSearchLowerCase, OfEachCharacterIsTheOneThatTheTablesName)
{
    check_lower_case("", "\n", 0x110000);
    // Whatever is beside it; the alphabets end far below this.
    check_lower_case("", "a", 0x20000);
    check_lower_case("i", "\u0301", 0x20000);
    check_lower_case("\u03c3", "\u0307", 0x20000);
}

TEST(VelMainWindowSearchLowerCase, OfOnlyOneCharacterBeyondAsciiIsAscii)
{
    for (const gunichar c : all_characters()) {
        const gunichar small = g_unichar_tolower(c);
        ASSERT_NE(small, 0U);
        if (c >= 0x80 && c != KELVIN)
            ASSERT_GE(small, 0x80U) << c;
        else
            ASSERT_EQ(small, c == KELVIN ? 'k' : gunichar(g_ascii_tolower(gchar(c)))) << c;
    }
}

TEST(VelMainWindowSearchLowerCase, OfTheExceptionsIsWhatTheFilterKnows)
{
    EXPECT_EQ(lower("\u0130"), "i\u0307");
    EXPECT_EQ(lower("\u03a3"), "\u03c2");
    EXPECT_EQ(lower("\u03a3a"), "\u03c3a");
}

TEST(VelMainWindowSearchLowerCase, OfNoBytesThatAreNoCharacterIsAsciiOrLost)
{
    for (int byte = 0x80; byte < 0x100; byte++) {
        const std::string text = "a" + std::string(1, static_cast<char>(byte)) + "b";
        g_autofree gchar *valid = g_utf8_make_valid(text.c_str(), -1);
        EXPECT_EQ(lower(valid), "a\uFFFDb");
    }
}

TEST(VelMainWindowSearchFilter, NamesThePlacesOfTheTerm)
{
    EXPECT_EQ(places("ab", "ab,xab\nAB", TRUE), (Places{0, 4}));
    EXPECT_EQ(places("ab", "ab,xab\nAB", FALSE), (Places{0, 4, 7}));
    EXPECT_EQ(places("absent", "ab,xab\nAB", FALSE), Places{});
}

TEST(VelMainWindowSearchFilter, EveryRecordMayHaveTheEmptyTerm)
{
    EXPECT_EQ(places("", "abc", TRUE), Places{-1});
    EXPECT_EQ(places("", "abc", FALSE), Places{-1});
}

TEST(VelMainWindowSearchFilter, LooksForTheLongestPieceWithoutAQuote)
{
    EXPECT_EQ(places("a\"bcd\"e", "a,bcd,e,a\"bcd", TRUE), (Places{2, 10}));
    EXPECT_EQ(places("a\"bCd\"e", "a,bcd,e,a\"bcd", FALSE), (Places{2, 10}));
}

TEST(VelMainWindowSearchFilter, LooksForAQuoteWhenTheTermHasNothingElse)
{
    EXPECT_EQ(places("\"\"", "a\"b\"\"", TRUE), (Places{1, 3, 4}));
    EXPECT_EQ(places("\"", "a\"b", FALSE), (Places{1}));
}

TEST(VelMainWindowSearchFilter, KnowsTheOtherUpperCasesOfKAndI)
{
    EXPECT_EQ(places("kb", "KB \u212ab kx", FALSE), (Places{0, 3}));
    EXPECT_EQ(places("bi", "BI b\u0130 b", FALSE), (Places{0, 4}));
    EXPECT_EQ(places("\u212a", "k", FALSE), Places{0});
}

TEST(VelMainWindowSearchFilter, PrefersAPieceThatHasNone)
{
    // Such a piece is compared with what is round it.
    EXPECT_EQ(places("kilometer", "kilometer \u212ailometer xilometer \u212a", FALSE),
              (Places{2, 14}));
    EXPECT_EQ(places("kilometer", "k\u0130lometer", FALSE), Places{3});
}

TEST(VelMainWindowSearchFilter, KnowsAllCasesOfACharacterBeyondAscii)
{
    EXPECT_EQ(places("\u00e9", "e\u00c9\u00e9E\u00e8", FALSE), (Places{1, 3}));
    EXPECT_EQ(places("\u00df", "\u1e9e,\u00df,ss", FALSE), (Places{0, 4}));
    EXPECT_EQ(places("\u01c6", "\u01c4\u01c5\u01c6dz", FALSE), (Places{0, 2, 4}));
    EXPECT_EQ(places("\u00e5", "\u212b\u00c5", FALSE), (Places{0, 3}));
    EXPECT_EQ(places("\u0307", "\u0307\u0130", FALSE), (Places{0, 2}));
    EXPECT_EQ(places("\u4e2d", "\u4e2c\u4e2d", FALSE), (Places{3}));
}

TEST(VelMainWindowSearchFilter, ComparesTheCharactersRoundThatOne)
{
    EXPECT_EQ(places("\u00fcber\u00fc", "\u00dcBER,\u00fcBER\u00dc", FALSE), (Places{8}));
    EXPECT_EQ(places("g\u00fct", "g\u00fc,\u00fct,G\u00dcT,xg\u00fct", FALSE), (Places{9, 15}));
    EXPECT_EQ(places("\u043c\u043e\u0441", "\u041c\u043e\u043c\u041e\u0421", FALSE), (Places{4}));
}

TEST(VelMainWindowSearchFilter, ASigmaIsBoth)
{
    EXPECT_EQ(places("\u03c2", "\u03a3\u03c3\u03c2", FALSE), (Places{0, 4}));
    EXPECT_EQ(places("\u03c3", "\u03a3\u03c3\u03c2", FALSE), (Places{0, 2}));
    // What stands before a term's other characters may be either.
    EXPECT_EQ(places("\u03b1\u03c2", "\u03b1\u03a3\u03b1\u03c2", FALSE), (Places{0, 4}));
}

TEST(VelMainWindowSearchFilter, ABrokenCharacterBesideThePlaceMayBeAnything)
{
    EXPECT_EQ(places("\u00fc\uFFFD", "\u00fc\xff,\u00fcx", FALSE), Places{0});
    EXPECT_EQ(places("\uFFFD\u00fc", "\xff\u00fc,x\u00fc", FALSE), Places{1});
    EXPECT_EQ(places("\uFFFD", "\xff,\uFFFD", FALSE), Places{-1});
    EXPECT_EQ(places("a\uFFFD", "a\xff,A\uFFFD", FALSE), (Places{0, 3}));
}

TEST(VelMainWindowSearchFilter, ThePlaceMayBeCutByTheBlock)
{
    EXPECT_EQ(places("a\u00fcb", "\u00fcb a\u00fc", FALSE), (Places{0, 5}));
}

TEST(VelMainWindowSearchFilter, ABrokenTermIsLookedForByItsBytesOnlyWithItsCases)
{
    EXPECT_EQ(places("a\xff", "a\xff", TRUE), Places{0});
}

#ifdef _WIN32
TEST(VelMainWindowSearchFilter, EveryRecordMayHaveATermInALocaleWithLettersOfItsOwn)
{
    g_autofree gchar *locale = g_strdup(g_getenv("LC_ALL"));
    for (const gchar *const other : {"tr_TR", "az_AZ", "lt_LT"}) {
        g_setenv("LC_ALL", other, TRUE);
        EXPECT_EQ(places("abc", "abc", FALSE), Places{-1}) << other;
        EXPECT_EQ(places("abc", "abc", TRUE), Places{0}) << other;
    }
    if (locale != nullptr)
        g_setenv("LC_ALL", locale, TRUE);
    else
        g_unsetenv("LC_ALL");
    EXPECT_EQ(places("abc", "abc", FALSE), Places{0});
}
#endif
