// Joining, comparing and converting strings: each row of what the helpers promise, and the longest
// common run against a search that is too simple to be wrong.
#include "vel_utils_string.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace
{

const gunichar2 *units(const char16_t *str)
{
    return reinterpret_cast<const gunichar2 *>(str);
}

// What a function of ours handed out, freed.
std::string taken(gchar *str)
{
    const std::string copy = str;
    g_free(str);
    return copy;
}

std::u16string taken(gunichar2 *str)
{
    const std::u16string copy = reinterpret_cast<const char16_t *>(str);
    g_free(str);
    return copy;
}

std::string replaced(const char *str, const char *suffix, const char *replacement)
{
    return taken(vel_utils_str_replace_suffix(str, suffix, replacement));
}

std::string underscored(const char *str)
{
    return taken(vel_utils_utf8_camel_case_to_underscores(str));
}

using run = std::tuple<gint32, gint32, gint32>;

run common(const std::string &a, const std::string &b)
{
    gint32 a_start = -1;
    gint32 b_start = -1;
    gint32 length = -1;
    vel_utils_str_common(a.c_str(), b.c_str(), &a_start, &b_start, &length);
    return {a_start, b_start, length};
}

// The run that ends at two places, for every pair of places in order; a longer one wins.
run naive_common(const std::string &a, const std::string &b)
{
    run best = {0, 0, 0};
    for (size_t i = 1; i <= a.size(); i++) {
        for (size_t j = 1; j <= b.size(); j++) {
            size_t n = 0;
            while (n < i && n < j && a[i - n - 1] == b[j - n - 1])
                n++;
            if (static_cast<gint32>(n) > std::get<2>(best))
                best = {static_cast<gint32>(i - n), static_cast<gint32>(j - n),
                        static_cast<gint32>(n)};
        }
    }
    return best;
}

} // namespace

TEST(VelUtilsWcsconcat, JoinsInOrder)
{
    EXPECT_EQ(taken(vel_utils_wcsconcat(units(u"one"), units(u" "), units(u"two"), nullptr)),
              u"one two");
}

TEST(VelUtilsWcsconcat, NoStringsGiveAnEmptyOne)
{
    EXPECT_EQ(taken(vel_utils_wcsconcat(nullptr)), u"");
}

TEST(VelUtilsWcsconcat, OneStringIsCopied)
{
    const gunichar2 *const given = units(u"alone");
    gunichar2 *const joined = vel_utils_wcsconcat(given, nullptr);
    EXPECT_NE(joined, given);
    EXPECT_EQ(taken(joined), u"alone");
}

TEST(VelUtilsWcsconcat, EmptyStringsAddNothing)
{
    const gunichar2 *const none = units(u"");
    EXPECT_EQ(taken(vel_utils_wcsconcat(none, units(u"a"), none, none, units(u"b"), none, nullptr)),
              u"ab");
    EXPECT_EQ(taken(vel_utils_wcsconcat(none, none, nullptr)), u"");
}

TEST(VelUtilsWcsconcat, KeepsEveryCodeUnit)
{
    const char16_t odd[] = {0xd800, 0xffff, 1, 0xdc00, 0};
    EXPECT_EQ(
        taken(vel_utils_wcsconcat(units(u"\U0001F600"), units(odd), units(u"\u00e4"), nullptr)),
        std::u16string(u"\U0001F600") + odd + u"\u00e4");
}

// Around 10 and 20 strings the list of lengths is full.
TEST(VelUtilsWcsconcat, JoinsMoreStringsThanTheListOfLengthsHoldsAtFirst)
{
    const gunichar2 *const s = units(u"ab");
    std::u16string ten;
    for (int i = 0; i < 10; i++)
        ten += u"ab";
    EXPECT_EQ(taken(vel_utils_wcsconcat(s, s, s, s, s, s, s, s, s, s, nullptr)), ten);
    EXPECT_EQ(taken(vel_utils_wcsconcat(s, s, s, s, s, s, s, s, s, s, units(u"11"), nullptr)),
              ten + u"11");
    EXPECT_EQ(taken(vel_utils_wcsconcat(s, s, s, s, s, s, s, s, s, s, s, s, s, s, s, s, s, s, s, s,
                                        units(u"21"), nullptr)),
              ten + ten + u"21");
}

TEST(VelUtilsStrvToGPtrArray, CopiesEveryString)
{
    std::string first = "first";
    const gchar *const strv[] = {first.c_str(), "", "third", nullptr};
    GPtrArray *const array = vel_utils_strv_to_g_ptr_array(strv);
    first = "later";
    ASSERT_EQ(array->len, 3U);
    EXPECT_STREQ(static_cast<gchar *>(g_ptr_array_index(array, 0)), "first");
    EXPECT_STREQ(static_cast<gchar *>(g_ptr_array_index(array, 1)), "");
    EXPECT_STREQ(static_cast<gchar *>(g_ptr_array_index(array, 2)), "third");
    g_ptr_array_unref(array); // The leak checker sees that the copies go with it.
}

TEST(VelUtilsStrvToGPtrArray, NoStringsGiveAnEmptyArray)
{
    const gchar *const strv[] = {nullptr};
    GPtrArray *const array = vel_utils_strv_to_g_ptr_array(strv);
    EXPECT_EQ(array->len, 0U);
    g_ptr_array_unref(array);
}

TEST(VelUtilsStrReplaceSuffix, ReplacesTheSuffix)
{
    EXPECT_EQ(replaced("table.csv", ".csv", ".db"), "table.db");
    EXPECT_EQ(replaced("table.csv", ".csv", ""), "table");
    EXPECT_EQ(replaced("table.csv", "v", "v.zip"), "table.csv.zip");
    EXPECT_EQ(replaced(".csv", ".csv", "all"), "all");
}

TEST(VelUtilsStrReplaceSuffix, CopiesAStringThatEndsOtherwise)
{
    EXPECT_EQ(replaced("table.csv", ".db", ".x"), "table.csv");
    EXPECT_EQ(replaced("table.csv", ".CSV", ".x"), "table.csv");
    EXPECT_EQ(replaced("table.csv.gz", ".csv", ".x"), "table.csv.gz");
    EXPECT_EQ(replaced("csv", ".csv", ".x"), "csv");
    EXPECT_EQ(replaced("", ".csv", ".x"), "");
}

TEST(VelUtilsStrReplaceSuffix, OnlyTheLastOfSeveralIsReplaced)
{
    EXPECT_EQ(replaced("a.csv.csv", ".csv", ""), "a.csv");
}

TEST(VelUtilsStrReplaceSuffix, AnEmptySuffixAppends)
{
    EXPECT_EQ(replaced("table", "", ".csv"), "table.csv");
    EXPECT_EQ(replaced("", "", ""), "");
}

TEST(VelUtilsUtf8Icmp, IgnoresCase)
{
    EXPECT_EQ(vel_utils_utf8_icmp("Record", "rECORD"), 0);
    EXPECT_EQ(vel_utils_utf8_icmp("\xc3\x84 \xd0\x96", "\xc3\xa4 \xd0\xb6"), 0);
    EXPECT_EQ(vel_utils_utf8_icmp("", ""), 0);
}

TEST(VelUtilsUtf8Icmp, OrdersByLowerCasedCodePoints)
{
    EXPECT_EQ(vel_utils_utf8_icmp("a", "B"), -1);
    EXPECT_EQ(vel_utils_utf8_icmp("B", "a"), 1);
    // Between the cases in the table of characters: before any lower-case letter.
    EXPECT_EQ(vel_utils_utf8_icmp("_", "A"), -1);
    EXPECT_EQ(vel_utils_utf8_icmp("A", "_"), 1);
    // By code points, which bytes and code units order differently.
    EXPECT_EQ(vel_utils_utf8_icmp("\xef\xbf\xbd", "\xf0\x9f\x98\x80"), -1);
}

TEST(VelUtilsUtf8Icmp, AStringThatEndsFirstIsLess)
{
    EXPECT_EQ(vel_utils_utf8_icmp("field", "FIELDS"), -1);
    EXPECT_EQ(vel_utils_utf8_icmp("FIELDS", "field"), 1);
    EXPECT_EQ(vel_utils_utf8_icmp("", "a"), -1);
    EXPECT_EQ(vel_utils_utf8_icmp("a", ""), 1);
}

TEST(VelUtilsUtf8Icmp, ALetterOfTwoUpperCasesComparesByItsOwnLowerCase)
{
    // The Kelvin sign has the lower case k; sharp s is none of ss.
    EXPECT_EQ(vel_utils_utf8_icmp("\xe2\x84\xaa", "K"), 0);
    EXPECT_EQ(vel_utils_utf8_icmp("\xc3\x9f", "ss"), 1);
}

TEST(VelUtilsUtf8Icmp, BytesThatAreNoCharacterComeLast)
{
    EXPECT_EQ(vel_utils_utf8_icmp("a\xff", "a\xff"), 0);
    EXPECT_EQ(vel_utils_utf8_icmp("a\xfe", "a\xff"), -1);
    EXPECT_EQ(vel_utils_utf8_icmp("\xff", "\xf4\x8f\xbf\xbf"), 1);
    EXPECT_EQ(vel_utils_utf8_icmp("\xc3\xa4", "\xe4"), -1);
}

TEST(VelUtilsUtf8Icmp, ACharacterThatIsCutOffEndsWithTheString)
{
    // Stepping over it as a whole would leave the string; what lies behind must not count.
    const char a[] = "\xf0\x9f\0B";
    const char b[] = "\xf0\x9f\0A";
    EXPECT_EQ(vel_utils_utf8_icmp(a, b), 0);
    EXPECT_EQ(vel_utils_utf8_icmp("\xe4", "\xe4\xb8"), -1);
}

TEST(VelUtilsCamelCase, UpperCaseLettersGetUnderscores)
{
    EXPECT_EQ(underscored("fieldName"), "field_name");
    EXPECT_EQ(underscored("aVeryLongName"), "a_very_long_name");
    EXPECT_EQ(underscored("parseCSV2Table"), "parse_c_s_v2_table");
}

TEST(VelUtilsCamelCase, TheFirstCharacterGetsNone)
{
    EXPECT_EQ(underscored("FieldName"), "field_name");
    EXPECT_EQ(underscored("X"), "x");
    EXPECT_EQ(underscored("XY"), "x_y");
}

TEST(VelUtilsCamelCase, OtherCharactersStay)
{
    EXPECT_EQ(underscored(""), "");
    EXPECT_EQ(underscored("plain text_1"), "plain text_1");
    EXPECT_EQ(underscored("_Name"), "__name");
}

TEST(VelUtilsCamelCase, LettersOfAllScriptsCount)
{
    EXPECT_EQ(underscored("gr\xc3\xb6\xc3\x9f\x65\xc3\x84nderung"),
              "gr\xc3\xb6\xc3\x9f\x65_\xc3\xa4nderung");
    EXPECT_EQ(underscored("\xd0\x9f\xd0\xbe\xd0\xbb\xd0\xb5\xd0\x98"),
              "\xd0\xbf\xd0\xbe\xd0\xbb\xd0\xb5_\xd0\xb8");
    EXPECT_EQ(underscored("\xf0\x9f\x98\x80\x41"), "\xf0\x9f\x98\x80_a");
}

TEST(VelUtilsCamelCase, BytesThatAreNoCharacterStay)
{
    EXPECT_EQ(underscored("a\xff\x42\xc3"), "a\xff_b\xc3");
}

TEST(VelUtilsStrCommon, FindsTheLongestRun)
{
    EXPECT_EQ(common("the record number", "a new recorder"), run(3, 5, 7));
    EXPECT_EQ(common("abcdef", "abcdef"), run(0, 0, 6));
    EXPECT_EQ(common("xxab", "abyy"), run(2, 0, 2));
    EXPECT_EQ(common("abyy", "xxab"), run(0, 2, 2));
}

TEST(VelUtilsStrCommon, AllIsZeroWhenThereIsNone)
{
    EXPECT_EQ(common("abc", "xyz"), run(0, 0, 0));
    EXPECT_EQ(common("", "xyz"), run(0, 0, 0));
    EXPECT_EQ(common("abc", ""), run(0, 0, 0));
    EXPECT_EQ(common("", ""), run(0, 0, 0));
}

TEST(VelUtilsStrCommon, TheFirstOfSeveralLongestIsKept)
{
    // First the one that comes first in the first string, whatever its place in the second ...
    EXPECT_EQ(common("ab--cd", "cd++ab"), run(0, 4, 2));
    // ... and of one place in the first string the first in the second.
    EXPECT_EQ(common("ab", "ab+ab"), run(0, 0, 2));
    EXPECT_EQ(common("ab-ab", "ab"), run(0, 0, 2));
}

TEST(VelUtilsStrCommon, ALaterRunCountsOnlyWhenItIsLonger)
{
    EXPECT_EQ(common("ab--cde", "cde++ab"), run(4, 0, 3));
}

TEST(VelUtilsStrCommon, RunsThatOverlapThemselvesAreFound)
{
    EXPECT_EQ(common("aaaa", "aaa"), run(0, 0, 3));
    EXPECT_EQ(common("aaa", "aaaa"), run(0, 0, 3));
    EXPECT_EQ(common("abababa", "babab"), run(1, 0, 5));
}

TEST(VelUtilsStrCommon, CountsBytes)
{
    EXPECT_EQ(common("\xc3\xa4-\xc3\xb6", "+\xc3\xb6"), run(3, 1, 2));
}

TEST(VelUtilsStrCommon, AgreesWithASimpleSearch)
{
    std::mt19937 random(20);
    const auto text = [&random] {
        std::string made(random() % 24, '\0');
        for (char &c : made)
            c = "abc\xff"[random() % 4];
        return made;
    };
    for (int i = 0; i < 3000; i++) {
        const std::string a = text();
        const std::string b = text();
        EXPECT_EQ(common(a, b), naive_common(a, b)) << a << " and " << b;
    }
}

TEST(VelUtilsStrCommon, ALongFirstStringNeedsNoMemory)
{
    // With a row per byte of the first string this would want gigabytes.
    const std::string a = std::string(50000000, 'x') + "needle";
    EXPECT_EQ(common(a, "needle"), run(50000000, 0, 6));
}
