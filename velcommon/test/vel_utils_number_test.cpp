// Grouping of digits: the arithmetic on given separators and groupings, and what the locale of this
// run makes of it. Under Wine the program runs twice, as an American and as a German user.
#include "vel_utils_number.h"

#include "vel_death_test.h"
#include "vel_utils_number_internal.h"

#include <climits>
#include <clocale>
#include <string>

namespace
{

constexpr gchar THREES[] = {3, 0};
constexpr gchar INDIAN[] = {3, 2, 0};
constexpr gchar ONE_THREE[] = {3, CHAR_MAX, 0};
constexpr gchar NOT_AT_ALL[] = {CHAR_MAX, 0};
constexpr gchar NEGATIVE[] = {2, -1, 0};
constexpr gchar ONES[] = {1, 0};

std::string grouped(gint64 value, const gchar *separator, const gchar *grouping)
{
    gchar text[VEL_UTILS_GROUPED_SIZE];
    const gsize length = vel_utils_group_digits(text, sizeof text, value, separator, grouping);
    EXPECT_EQ(text[length], '\0');
    return std::string(text, length);
}

std::string from_windows(const gchar *windows, gsize size = 16)
{
    gchar grouping[16];
    vel_utils_grouping_from_windows(grouping, size, windows);
    return grouping;
}

std::string formatted(gint64 value)
{
    gchar text[VEL_UTILS_GROUPED_SIZE];
    const gsize length = vel_utils_format_grouped(text, sizeof text, value);
    return std::string(text, length);
}

// The C locale while a test runs, "C" afterwards.
struct VelUtilsNumberLocale : testing::Test {
    ~VelUtilsNumberLocale() override
    {
        setlocale(LC_ALL, "C");
    }
};

} // namespace

TEST(VelUtilsNumberDeathTest, SeparatorThatIsTooLongEndsTheProgram)
{
    const std::string separator(VEL_UTILS_SEPARATOR_MAX, '_');
    EXPECT_EQ(grouped(1234, separator.c_str(), THREES), "1" + separator + "234");
    VEL_EXPECT_FATAL(grouped(1234, (separator + "_").c_str(), THREES),
                     "assertion failed: (separator_len <= VEL_UTILS_SEPARATOR_MAX)");
}

TEST(VelUtilsNumber, AmericanGroups)
{
    EXPECT_EQ(grouped(1234567, ",", THREES), "1,234,567");
    EXPECT_EQ(grouped(123456, ",", THREES), "123,456");
    EXPECT_EQ(grouped(1000, ",", THREES), "1,000");
}

TEST(VelUtilsNumber, GermanGroups)
{
    EXPECT_EQ(grouped(1234567, ".", THREES), "1.234.567");
}

TEST(VelUtilsNumber, SeparatorMayBeSeveralBytes)
{
    EXPECT_EQ(grouped(1234567, "\xe2\x80\xaf", THREES), "1\xe2\x80\xaf"
                                                        "234\xe2\x80\xaf"
                                                        "567");
}

TEST(VelUtilsNumber, IndianGroups)
{
    EXPECT_EQ(grouped(1234567890, ",", INDIAN), "1,23,45,67,890");
}

TEST(VelUtilsNumber, GroupingThatEndsLeavesTheRestTogether)
{
    EXPECT_EQ(grouped(1234567890, ",", ONE_THREE), "1234567,890");
    EXPECT_EQ(grouped(1234567890, ",", NEGATIVE), "12345678,90");
    EXPECT_EQ(grouped(1234567890, ",", NOT_AT_ALL), "1234567890");
}

TEST(VelUtilsNumber, NoGroupingWithoutSeparatorOrGroups)
{
    EXPECT_EQ(grouped(1234567, "", THREES), "1234567");
    EXPECT_EQ(grouped(1234567, ",", ""), "1234567");
}

TEST(VelUtilsNumber, SmallNumbersHaveNoSeparator)
{
    EXPECT_EQ(grouped(0, ",", THREES), "0");
    EXPECT_EQ(grouped(7, ",", THREES), "7");
    EXPECT_EQ(grouped(999, ",", THREES), "999");
}

TEST(VelUtilsNumber, NegativeNumbersKeepTheirSignAtTheFront)
{
    EXPECT_EQ(grouped(-1, ",", THREES), "-1");
    EXPECT_EQ(grouped(-999, ",", THREES), "-999");
    EXPECT_EQ(grouped(-1000, ",", THREES), "-1,000");
}

TEST(VelUtilsNumber, ExtremesAreWhole)
{
    EXPECT_EQ(grouped(G_MAXINT64, ",", THREES), "9,223,372,036,854,775,807");
    EXPECT_EQ(grouped(G_MININT64, ",", THREES), "-9,223,372,036,854,775,808");
    EXPECT_EQ(grouped(G_MININT64, "", ""), "-9223372036854775808");
}

TEST(VelUtilsNumber, RoomIsEnoughForTheLongestOfAll)
{
    const std::string separator(VEL_UTILS_SEPARATOR_MAX, '_');
    EXPECT_EQ(grouped(G_MININT64, separator.c_str(), ONES).size(), 20 + 18 * separator.size());
}

TEST(VelUtilsNumber, ExactRoomIsEnough)
{
    gchar text[6];
    EXPECT_EQ(vel_utils_group_digits(text, sizeof text, 1234, ",", THREES), 5U);
    EXPECT_STREQ(text, "1,234");
}

TEST(VelUtilsNumberDeathTest, TooLittleRoomIsAProgrammingError)
{
    gchar text[5];
    VEL_EXPECT_FATAL(vel_utils_group_digits(text, sizeof text, 1234, ",", THREES),
                     "assertion failed: (length < size)");
}

TEST(VelUtilsNumber, WindowsGroupingThatEndsInZeroRepeats)
{
    EXPECT_EQ(from_windows("3;0"), THREES);
    EXPECT_EQ(from_windows("3;2;0"), INDIAN);
}

TEST(VelUtilsNumber, WindowsGroupingWithoutZeroEnds)
{
    EXPECT_EQ(from_windows("3"), ONE_THREE);
    EXPECT_EQ(from_windows("3;2"), (std::string{3, 2, CHAR_MAX}));
}

TEST(VelUtilsNumber, WindowsGroupingOfZeroIsNone)
{
    EXPECT_EQ(from_windows("0"), NOT_AT_ALL);
    EXPECT_EQ(from_windows("0;0"), NOT_AT_ALL);
    EXPECT_EQ(from_windows(""), NOT_AT_ALL);
}

TEST(VelUtilsNumber, WindowsGroupingThatMakesNoSenseIsReadAsFarAsItDoes)
{
    EXPECT_EQ(from_windows("x"), NOT_AT_ALL);
    EXPECT_EQ(from_windows(";3"), NOT_AT_ALL);
    EXPECT_EQ(from_windows("3;"), ONE_THREE);
    EXPECT_EQ(from_windows("3;x"), ONE_THREE);
    EXPECT_EQ(from_windows("99999999999999999999;0"), NOT_AT_ALL);
}

TEST(VelUtilsNumber, WindowsGroupingWithoutRoomIsCut)
{
    EXPECT_EQ(from_windows("3;2;1;0", 4), (std::string{3, 2, CHAR_MAX}));
    EXPECT_EQ(from_windows("3;0", 2), NOT_AT_ALL);
}

TEST_F(VelUtilsNumberLocale, CLocaleDoesNotGroup)
{
    setlocale(LC_ALL, "C");
    EXPECT_EQ(formatted(1234567), "1234567");
    EXPECT_EQ(formatted(G_MININT64), "-9223372036854775808");
}

TEST_F(VelUtilsNumberLocale, AppendedTextHasNoTerminator)
{
    setlocale(LC_ALL, "C");
    vel_buffer buffer;
    vel_buffer_init(&buffer);
    vel_buffer_append_str(&buffer, "n=");
    vel_utils_append_grouped(&buffer, -42);
    EXPECT_EQ(std::string(buffer.data, buffer.end), "n=-42");
    g_free(buffer.data);
}

#ifdef _WIN32

TEST_F(VelUtilsNumberLocale, UserSeesHisOwnSeparator)
{
    ASSERT_NE(setlocale(LC_ALL, ""), nullptr);
    const gchar *const locale = g_getenv("QUORLEN_WINE_LOCALE");
    const bool german = locale != nullptr && g_str_has_prefix(locale, "de_DE");
    EXPECT_EQ(formatted(1234567), german ? "1.234.567" : "1,234,567");
    EXPECT_EQ(formatted(-1000), german ? "-1.000" : "-1,000");
    EXPECT_EQ(formatted(999), "999");
}

#else

// The apostrophe is POSIX's and no part of C++, which the compiler need not be told here.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"
TEST_F(VelUtilsNumberLocale, UsersLocaleGivesWhatTheRuntimeGives)
{
    ASSERT_NE(setlocale(LC_ALL, ""), nullptr);
    for (const gint64 value :
         {gint64{0}, gint64{999}, gint64{1000}, gint64{-1234567}, G_MININT64}) {
        gchar text[VEL_UTILS_GROUPED_SIZE];
        g_snprintf(text, sizeof text, "%'" G_GINT64_FORMAT, value);
        gchar *const expected = g_locale_to_utf8(text, -1, nullptr, nullptr, nullptr);
        EXPECT_EQ(formatted(value), expected);
        g_free(expected);
    }
}

#pragma GCC diagnostic pop

namespace
{

vel_utils_number_style style_of(const char *separator, const char *grouping)
{
    std::string separator_text = separator;
    std::string grouping_text = grouping;
    struct lconv locale = *localeconv();
    locale.thousands_sep = separator_text.data();
    locale.grouping = grouping_text.data();
    vel_utils_number_style style;
    vel_utils_number_style_from_lconv(&style, &locale);
    return style;
}

} // namespace

TEST_F(VelUtilsNumberLocale, SeparatorAndGroupingComeFromTheLocale)
{
    const vel_utils_number_style style = style_of(".", INDIAN);
    EXPECT_STREQ(style.separator, ".");
    EXPECT_STREQ(style.grouping, INDIAN);
}

TEST_F(VelUtilsNumberLocale, SeparatorIsReadInTheLocalesCharacterSet)
{
    ASSERT_NE(setlocale(LC_ALL, "C.UTF-8"), nullptr);
    EXPECT_STREQ(style_of("\xe2\x80\xaf", THREES).separator, "\xe2\x80\xaf");
    EXPECT_STREQ(style_of("\xc2\xa0", THREES).separator, "\xc2\xa0");
}

TEST_F(VelUtilsNumberLocale, SeparatorThatIsNoTextIsLeftOut)
{
    ASSERT_NE(setlocale(LC_ALL, "C.UTF-8"), nullptr);
    EXPECT_STREQ(style_of("\xa0", THREES).separator, "");
    EXPECT_STREQ(style_of(".\xe2", THREES).separator, "");
}

TEST_F(VelUtilsNumberLocale, SeparatorThatIsTooLongIsLeftOut)
{
    EXPECT_STREQ(style_of("_______________", THREES).separator, "_______________");
    EXPECT_STREQ(style_of("________________", THREES).separator, "");
}

#endif
