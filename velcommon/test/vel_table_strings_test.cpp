// vel_table: the string pool, its limit and its compaction.
#include <vector>

#include "vel_table_internal.h"
#include "vel_table_test_util.h"

static const vel_table_column_type T_INT32 = VEL_TABLE_COLUMN_TYPE_INT32;
static const vel_table_column_type T_STR = VEL_TABLE_COLUMN_TYPE_STR;

TEST(VelTableStrings, UnsetCellReadsEmptyWithoutAPool)
{
    VelTestTable table;
    table.with_column("s", T_STR).with_rows(1);
    EXPECT_EQ(table.strings_len, 1);
    EXPECT_STREQ(vel_table_get_str(&table, 0, 0), "");
    EXPECT_EQ(table.strings, ZERO_BUFFER);
    vel_table_set_null(&table, 0, 0, TRUE);
    EXPECT_EQ(vel_table_get_str(&table, 0, 0), ZERO_BUFFER);
}

TEST(VelTableStrings, FirstTextGoesBehindAnEmptyOneAndThePoolDoubles)
{
    VelTestTable table;
    table.with_column("s", T_STR).with_rows(1);
    vel_table_set_str(&table, 0, 0, "abc");
    EXPECT_EQ(table.strings_len, 5);
    EXPECT_EQ(table.strings_reserved, 10);
    EXPECT_EQ(memcmp(table.strings, "\0abc", 5), 0);
    vel_table_set_str(&table, 0, 0, "defg");
    EXPECT_EQ(table.strings_len, 10);
    EXPECT_EQ(table.strings_reserved, 10);
    vel_table_set_str(&table, 0, 0, "");
    EXPECT_EQ(table.strings_len, 11);
    EXPECT_EQ(table.strings_reserved, 22);
    EXPECT_EQ(memcmp(table.strings, "\0abc\0defg\0", 11), 0);
}

TEST(VelTableStrings, SettingACellTwiceLeavesBothTextsInThePool)
{
    VelTestTable table;
    table.with_column("s", T_STR).with_rows(1);
    vel_table_set_str(&table, 0, 0, "same");
    vel_table_set_str(&table, 0, 0, "same");
    EXPECT_EQ(table.strings_len, 1 + 5 + 5);
    EXPECT_EQ(memcmp(table.strings, "\0same\0same", 11), 0);
}

TEST(VelTableStrings, TextOfTheSamePoolMayBeSetThoughThePoolMoves)
{
    VelTestTable table;
    table.with_column("s", T_STR).with_rows(1);
    std::string expected(1000, 'x');
    vel_table_set_str(&table, 0, 0, expected.c_str());
    for (int i = 0; i < 100; i++)
        vel_table_set_str(&table, 0, 0, vel_table_get_str(&table, 0, 0));
    EXPECT_EQ(vel_table_get_str(&table, 0, 0), expected);
    vel_table_set_str(&table, 0, 0, vel_table_get_str(&table, 0, 0) + 990);
    EXPECT_STREQ(vel_table_get_str(&table, 0, 0), "xxxxxxxxxx");
}

TEST(VelTableStrings, TextOfTheSamePoolMayBeLookedUpThoughThePoolMoves)
{
    VelTestTable table;
    table.with_column("s", T_STR).with_rows(1);
    vel_table_add_index(&table, 0);
    vel_table_set_str(&table, 0, 0, "long enough to need another block");
    EXPECT_EQ(vel_table_find_str(&table, 0, vel_table_get_str(&table, 0, 0)), 0);
}

// The fields below are set by hand: a pool of that length would take gigabytes.
TEST(VelTableStrings, RoomStopsDoublingAtTheLargestLength)
{
    VelTestTable table;
    table.with_column("s", T_STR).with_rows(1);
    table.strings_len = 1200000000;
    const char text[] = "x"; // On the stack: far from the static zero byte, not "inside" the pool.
    vel_table_set_str(&table, 0, 0, text);
    EXPECT_EQ(table.strings_reserved, G_MAXINT32);
    EXPECT_EQ(table.strings_len, 1200000002);
    EXPECT_STREQ(vel_table_get_str(&table, 0, 0), "x");
}

static void vel_test_fill_pool_up_to(gint32 left)
{
    VelTestTable table;
    table.with_column("s", T_STR).with_rows(1);
    vel_table_add_index(&table, 0);
    table.strings_len = G_MAXINT32 - left;
    table.strings_reserved = G_MAXINT32 - left;
    vel_table_set_str(&table, 0, 0, "abc");
}

static void vel_test_find_in_full_pool()
{
    VelTestTable table;
    table.with_column("s", T_STR).with_rows(1);
    vel_table_add_index(&table, 0);
    table.strings_len = G_MAXINT32;
    table.strings_reserved = G_MAXINT32;
    vel_table_find_str(&table, 0, "abc");
}

TEST(VelTableStringsDeathTest, PoolBeyondItsLimitIsFatal)
{
    VEL_TABLE_EXPECT_FATAL(
        vel_test_fill_pool_up_to(3),
        "The strings of a table would take 2147483648 bytes; the limit is 2147483647");
    VEL_TABLE_EXPECT_FATAL(
        vel_test_find_in_full_pool(),
        "The strings of a table would take 2147483651 bytes; the limit is 2147483647");
}

TEST(VelTableCompactStrings, DropsWhatNoCellRefersTo)
{
    VelTestTable table;
    table.with_column("s", T_STR).with_column("u", T_STR).with_rows(3);
    vel_table_set_str(&table, 0, 0, "dead");
    vel_table_set_str(&table, 0, 0, "alive");
    vel_table_set_str(&table, 1, 1, "erased");
    vel_table_set_null(&table, 1, 1, TRUE);
    vel_table_set_str(&table, 2, 1, "");
    vel_table_set_str(&table, 2, 0, "too");
    EXPECT_EQ(table.strings_len, 1 + 5 + 6 + 7 + 1 + 4);
    EXPECT_EQ(vel_table_get_live_strings_len(&table), 1 + 6 + 1 + 4);
    EXPECT_EQ(vel_table_compact_strings(&table), 12U);
    EXPECT_EQ(table.strings_len, 12);
    EXPECT_EQ(table.strings_reserved, 12);
    EXPECT_STREQ(vel_table_get_str(&table, 0, 0), "alive");
    EXPECT_STREQ(vel_table_get_str(&table, 1, 1), "");
    EXPECT_TRUE(vel_table_get_null(&table, 1, 1));
    EXPECT_STREQ(vel_table_get_str(&table, 2, 0), "too");
    EXPECT_STREQ(vel_table_get_str(&table, 2, 1), "");
    EXPECT_EQ(vel_table_compact_strings(&table), 0U);
    EXPECT_EQ(memcmp(table.strings, "\0alive\0too\0", 12), 0);
}

TEST(VelTableCompactStrings, TextsOfDeletedAndDroppedRowsGo)
{
    VelTestTable table;
    table.with_column("s", T_STR).with_rows(4);
    for (gint32 row = 0; row < 4; row++)
        vel_table_set_str(&table, row, 0, std::string(10, static_cast<char>('a' + row)).c_str());
    vel_table_delete_rows(&table, 1, 1);
    table.with_rows(2);
    EXPECT_EQ(vel_table_compact_strings(&table), 22U);
    EXPECT_STREQ(vel_table_get_str(&table, 0, 0), "aaaaaaaaaa");
    EXPECT_STREQ(vel_table_get_str(&table, 1, 0), "cccccccccc");
}

TEST(VelTableCompactStrings, WithoutTextsTheTableHasTheStaticZeroByteAgain)
{
    VelTestTable table;
    table.with_column("s", T_STR).with_rows(1);
    EXPECT_EQ(vel_table_compact_strings(&table), 0U);
    EXPECT_EQ(table.strings, ZERO_BUFFER);
    vel_table_set_str(&table, 0, 0, "gone");
    table.with_rows(0);
    EXPECT_EQ(vel_table_compact_strings(&table), 5U);
    EXPECT_EQ(table.strings, ZERO_BUFFER);
    EXPECT_EQ(table.strings_len, 1);
    EXPECT_EQ(table.strings_reserved, 1);
    table.with_rows(1);
    EXPECT_STREQ(vel_table_get_str(&table, 0, 0), "");
    vel_table_set_str(&table, 0, 0, "back");
    EXPECT_STREQ(vel_table_get_str(&table, 0, 0), "back");
}

TEST(VelTableCompactStrings, IndexesStayAndPoolGrowsOnAsBefore)
{
    VelTestTable table;
    table.with_column("i", T_INT32).with_column("s", T_STR).with_rows(50);
    vel_table_add_index(&table, 1);
    const gint32 both[] = {0, 1};
    vel_table_add_index_complex(&table, 2, both);
    for (int round = 0; round < 4; round++) {
        for (gint32 row = 0; row < 50; row++) {
            vel_table_set_int32(&table, row, 0, row);
            vel_table_set_str(&table, row, 1, std::to_string(1000 * round + row).c_str());
        }
        vel_table_compact_strings(&table);
        for (gint32 row = 0; row < 50; row++) {
            const std::string text = std::to_string(1000 * round + row);
            EXPECT_EQ(vel_table_find_str(&table, 1, text.c_str()), row);
            EXPECT_EQ(vel_table_find_int32_str(&table, 0, row, 1, text.c_str()), row);
        }
        EXPECT_EQ(vel_table_find_str(&table, 1, "no such text"), -1);
    }
}

TEST(VelTableCompactStrings, PoolStaysBoundedOverAnyAmountOfReplacedRows)
{
    VelTestTable table;
    table.with_column("i", T_INT32).with_column("s", T_STR);
    vel_table_add_index(&table, 0);
    gint32 largest = 0;
    for (gint32 record = 0; record < 20000; record++) {
        if (table.n > 150) {
            vel_table_delete_rows(&table, 0, 50);
            vel_table_compact_strings(&table);
        }
        table.with_rows(table.n + 1);
        vel_table_set_int32(&table, table.n - 1, 0, record);
        vel_table_set_str(&table, table.n - 1, 1, std::to_string(record).c_str());
        largest = MAX(largest, table.strings_len);
    }
    EXPECT_LT(largest, 1 + 152 * 6);
    const gint32 last = table.n - 1;
    EXPECT_EQ(vel_table_find_int32(&table, 0, 19999), last);
    EXPECT_STREQ(vel_table_get_str(&table, last, 1), "19999");
}

TEST(VelTableCompactStrings, NumberInTheUpperHalfOfATextsOffsetStaysAndNothingElseIsRead)
{
    VelTestTable table;
    table.with_column("s", T_STR).with_column("shared", T_INT32).with_rows(3);
    ASSERT_EQ(table.columns[1].offset, 4);
    for (gint32 row = 0; row < 3; row++) {
        vel_table_set_str(&table, row, 0, "replaced");
        vel_table_set_str(&table, row, 0, row == 1 ? "one" : "other");
    }
    vel_table_set_int32(&table, 0, 1, -1);
    vel_table_set_int32(&table, 1, 1, G_MAXINT32);
    EXPECT_STREQ(vel_table_get_str(&table, 0, 0), "");
    EXPECT_EQ(vel_table_compact_strings(&table), 27U);
    EXPECT_EQ(vel_table_get_int32(&table, 0, 1), -1);
    EXPECT_EQ(vel_table_get_int32(&table, 1, 1), G_MAXINT32);
    EXPECT_STREQ(vel_table_get_str(&table, 0, 0), "");
    EXPECT_STREQ(vel_table_get_str(&table, 1, 0), "");
    EXPECT_STREQ(vel_table_get_str(&table, 2, 0), "other");
    vel_table_set_int32(&table, 1, 1, 0);
    EXPECT_STREQ(vel_table_get_str(&table, 1, 0), "one");
}

TEST(VelTableCompactStrings, OffsetOutsideThePoolStaysAsItIs)
{
    VelTestTable table;
    table.with_column("s", T_STR).with_rows(2);
    vel_table_set_str(&table, 0, 0, "dead");
    vel_table_set_str(&table, 0, 0, "alive");
    const guint64 wild = 0x7ffffff0;
    memcpy(vel_table_row(&table, 1), &wild, sizeof wild);
    EXPECT_STREQ(vel_table_get_str(&table, 1, 0), "");
    EXPECT_EQ(vel_table_compact_strings(&table), 5U);
    EXPECT_STREQ(vel_table_get_str(&table, 0, 0), "alive");
    EXPECT_EQ(memcmp(vel_table_row(&table, 1), &wild, sizeof wild), 0);
    // An offset that was just behind the end must not become readable either.
    EXPECT_STREQ(vel_table_get_str(&table, 1, 0), "");
}
