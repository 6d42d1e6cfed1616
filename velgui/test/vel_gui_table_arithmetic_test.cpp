// The table's rows, scroll positions and cell texts on plain values.
#include "vel_gui_table_arithmetic.h"

#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <vector>

TEST(VelGuiTablePage, CountsWholeRowsAndIsAtLeastOne)
{
    EXPECT_EQ(vel_gui_table_page(210, 21), 10);
    EXPECT_EQ(vel_gui_table_page(230, 21), 10);
    EXPECT_EQ(vel_gui_table_page(20, 21), 1);
    EXPECT_EQ(vel_gui_table_page(0, 21), 1);
}

TEST(VelGuiTableRowOffset, IsTheDistanceInPixels)
{
    EXPECT_EQ(vel_gui_table_row_offset(7, 4, 21, 1000), 63);
    EXPECT_EQ(vel_gui_table_row_offset(4, 7, 21, 1000), -63);
}

TEST(VelGuiTableRowOffset, TwoThousandMillionRowsDoNotOverflow)
{
    EXPECT_EQ(vel_gui_table_row_offset(G_MAXINT32, 0, 21, 1000), 1000);
    EXPECT_EQ(vel_gui_table_row_offset(0, G_MAXINT32, 21, 1000), -1000);
    EXPECT_EQ(vel_gui_table_row_offset(G_MAXINT32, G_MAXINT32 - 2, 21, 1000), 42);
}

TEST(VelGuiTableRowAt, CountsFromTheTopRow)
{
    EXPECT_EQ(vel_gui_table_row_at(0, 5, 21, 100), 5);
    EXPECT_EQ(vel_gui_table_row_at(20, 5, 21, 100), 5);
    EXPECT_EQ(vel_gui_table_row_at(21, 5, 21, 100), 6);
}

TEST(VelGuiTableRowAt, IsNoneBelowTheLastRow)
{
    EXPECT_EQ(vel_gui_table_row_at(21, 99, 21, 100), -1);
    EXPECT_EQ(vel_gui_table_row_at(0, 0, 21, 0), -1);
    EXPECT_EQ(vel_gui_table_row_at(21 * 5, G_MAXINT32 - 2, 21, G_MAXINT32), -1);
}

TEST(VelGuiTableScrollTarget, EachCodeHasItsOwn)
{
    const auto target = [](gint32 code) {
        return vel_gui_table_scroll_target(code, 50, 70, 10, 0, 99);
    };
    EXPECT_EQ(target(VEL_GUI_SCROLL_LINE_UP), 49);
    EXPECT_EQ(target(VEL_GUI_SCROLL_LINE_DOWN), 51);
    EXPECT_EQ(target(VEL_GUI_SCROLL_PAGE_UP), 40);
    EXPECT_EQ(target(VEL_GUI_SCROLL_PAGE_DOWN), 60);
    EXPECT_EQ(target(VEL_GUI_SCROLL_THUMB_TRACK), 70);
    EXPECT_EQ(target(VEL_GUI_SCROLL_TOP), 0);
    EXPECT_EQ(target(VEL_GUI_SCROLL_BOTTOM), 99);
}

TEST(VelGuiTableScrollTarget, OtherCodesStayInPlace)
{
    EXPECT_EQ(vel_gui_table_scroll_target(4, 50, 70, 10, 0, 99), 50) << "the thumb let go";
    EXPECT_EQ(vel_gui_table_scroll_target(8, 50, 70, 10, 0, 99), 50) << "the end of scrolling";
}

TEST(VelGuiTableScrollTarget, APageBeyondTheLargestRowIsClamped)
{
    EXPECT_EQ(vel_gui_table_scroll_target(VEL_GUI_SCROLL_PAGE_DOWN, G_MAXINT32 - 1, 0, 30, 0,
                                          G_MAXINT32 - 1),
              G_MAXINT32);
}

TEST(VelGuiTableWheelTarget, StaysBetweenTheFirstAndTheLastPage)
{
    EXPECT_EQ(vel_gui_table_wheel_target(5, 3, 10, 99), 8);
    EXPECT_EQ(vel_gui_table_wheel_target(1, -3, 10, 99), 0);
    EXPECT_EQ(vel_gui_table_wheel_target(89, 3, 10, 99), 90);
    EXPECT_EQ(vel_gui_table_wheel_target(0, 3, 10, 4), 0) << "all rows fit";
    EXPECT_EQ(vel_gui_table_wheel_target(G_MAXINT32 - 40, 100, 30, G_MAXINT32 - 1),
              G_MAXINT32 - 30);
}

TEST(VelGuiTableOriginShowing, ScrollsByAsLittleAsNeeded)
{
    EXPECT_EQ(vel_gui_table_origin_showing(3, 5, 15), 3);
    EXPECT_EQ(vel_gui_table_origin_showing(5, 5, 15), 5);
    EXPECT_EQ(vel_gui_table_origin_showing(14, 5, 15), 5);
    EXPECT_EQ(vel_gui_table_origin_showing(15, 5, 15), 6);
    EXPECT_EQ(vel_gui_table_origin_showing(100, 5, 15), 91);
}

TEST(VelGuiTableOriginShowing, AnItemWiderThanTheWindowIsPassedByOne)
{
    EXPECT_EQ(vel_gui_table_origin_showing(5, 5, 5), 6);
}

TEST(VelGuiTableChangeShows, GrowthBelowTheVisibleRowsDoesNot)
{
    EXPECT_FALSE(vel_gui_table_change_shows(1000, 2000, 0, 18, TRUE));
    EXPECT_TRUE(vel_gui_table_change_shows(10, 2000, 0, 18, TRUE));
}

TEST(VelGuiTableChangeShows, TheCutRowCountsAsVisible)
{
    EXPECT_TRUE(vel_gui_table_change_shows(19, 2000, 0, 18, TRUE));
    EXPECT_FALSE(vel_gui_table_change_shows(19, 2000, 0, 18, FALSE));
    EXPECT_TRUE(vel_gui_table_change_shows(18, 2000, 0, 18, FALSE));
}

TEST(VelGuiTableChangeShows, ShrinkingIntoTheVisibleRowsDoes)
{
    EXPECT_TRUE(vel_gui_table_change_shows(2000, 10, 0, 18, TRUE));
    EXPECT_FALSE(vel_gui_table_change_shows(2000, 1500, 0, 18, TRUE));
    EXPECT_TRUE(vel_gui_table_change_shows(2000, 1500, 1490, 1508, TRUE));
}

static std::u16string vel_test_cell_text(const std::string &text)
{
    gunichar2 utf_16[VEL_GUI_CELL_TEXT_MAX + 1];
    const gint32 length = vel_gui_table_cell_text(text.c_str(), utf_16);
    EXPECT_EQ(utf_16[length], 0);
    return std::u16string(utf_16, utf_16 + length);
}

TEST(VelGuiTableCellText, ConvertsEveryPlaneOfUnicode)
{
    EXPECT_EQ(vel_test_cell_text("a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"),
              u"a\u00E4\u20AC\U0001F600");
    EXPECT_EQ(vel_test_cell_text(""), u"");
}

TEST(VelGuiTableCellText, NullIsAnEmptyText)
{
    gunichar2 utf_16[VEL_GUI_CELL_TEXT_MAX + 1];
    EXPECT_EQ(vel_gui_table_cell_text(nullptr, utf_16), 0);
}

TEST(VelGuiTableCellText, ALongTextIsCutAtTwoHundredBytes)
{
    EXPECT_EQ(vel_test_cell_text(std::string(200, 'x')), std::u16string(200, u'x'));
    EXPECT_EQ(vel_test_cell_text(std::string(5000, 'x')), std::u16string(200, u'x'));
}

TEST(VelGuiTableCellText, ACutInsideACharacterLeavesTheCellEmpty)
{
    EXPECT_EQ(vel_test_cell_text(std::string(199, 'x') + "\xC3\xA4"), u"");
    EXPECT_EQ(vel_test_cell_text(std::string(198, 'x') + "\xC3\xA4 and more"),
              std::u16string(198, u'x') + u"\u00E4");
}

TEST(VelGuiTableCellText, BytesThatAreNotUtf8LeaveTheCellEmpty)
{
    EXPECT_EQ(vel_test_cell_text("good \xFF bad"), u"");
    EXPECT_EQ(vel_test_cell_text("\xC0\x80"), u"") << "longer than needed";
    EXPECT_EQ(vel_test_cell_text("\xED\xA0\x80"), u"") << "half a surrogate pair";
    EXPECT_EQ(vel_test_cell_text("\xF4\x90\x80\x80"), u"") << "past the last character";
    EXPECT_EQ(vel_test_cell_text("end\xC3"), u"") << "ends inside a character";
}

TEST(VelGuiTableCellText, InvalidBytesBehindTheCutDoNotMatter)
{
    EXPECT_EQ(vel_test_cell_text(std::string(200, 'x') + "\xFF"), std::u16string(200, u'x'));
}

TEST(VelGuiTableCellText, NothingIsReadPastTheTerminatorOrTheCut)
{
    // On the heap without a byte to spare, so that the address sanitizer sees any overrun.
    const auto unterminated = std::make_unique<gchar[]>(VEL_GUI_CELL_TEXT_MAX);
    std::fill_n(unterminated.get(), VEL_GUI_CELL_TEXT_MAX, 'x');
    gunichar2 utf_16[VEL_GUI_CELL_TEXT_MAX + 1];
    EXPECT_EQ(vel_gui_table_cell_text(unterminated.get(), utf_16), VEL_GUI_CELL_TEXT_MAX);
    const auto cut = std::make_unique<gchar[]>(2);
    cut[0] = '\xF0';
    EXPECT_EQ(vel_gui_table_cell_text(cut.get(), utf_16), 0);
}

TEST(VelGuiTableCellText, AgreesWithTheLibrarysConversionOnRandomBytes)
{
    static const std::vector<std::string> pieces = {
        "a",           " ",    "\xC3",        "\xA4",         "\xE2\x82\xAC", "\xF0\x9F\x98\x80",
        "\xED\xA0",    "\x80", "\xF4",        "\xEF\xBF\xBF", "\xC3\xA4",     "\xC1",
        "plain text ", "\xFE", "\xE0\x80\x80"};
    std::minstd_rand random(20240101);
    for (int round = 0; round < 20000; round++) {
        std::string text;
        // Mostly valid pieces, else nothing long would ever be valid.
        const size_t range = round % 2 == 0 ? pieces.size() : 2;
        for (auto left = random() % 230; left > 0; left--)
            text += pieces[random() % range];
        if (round % 3 == 0)
            text += "\xE2\x82\xAC\xE2\x82\xAC";
        g_autofree gunichar2 *expected =
            g_utf8_to_utf16(text.c_str(), VEL_GUI_CELL_TEXT_MAX, nullptr, nullptr, nullptr);
        std::u16string expected_text;
        for (const gunichar2 *unit = expected; unit != nullptr && *unit != 0; unit++)
            expected_text += static_cast<char16_t>(*unit);
        ASSERT_EQ(vel_test_cell_text(text), expected_text) << "round " << round;
    }
}
