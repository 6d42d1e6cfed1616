// vel_table: reading and writing cells, null flags and the assertions of the cell operations.
#include <cmath>
#include <limits>

#include "vel_table_internal.h"
#include "vel_table_test_util.h"

static const vel_table_column_type T_INT32 = VEL_TABLE_COLUMN_TYPE_INT32;
static const vel_table_column_type T_INT64 = VEL_TABLE_COLUMN_TYPE_INT64;
static const vel_table_column_type T_DOUBLE = VEL_TABLE_COLUMN_TYPE_DOUBLE;
static const vel_table_column_type T_STR = VEL_TABLE_COLUMN_TYPE_STR;

/// One column of each type, none sharing bytes, and three rows.
static void vel_test_make_typed(VelTestTable *table)
{
    table->with_column("i", T_INT32)
        .with_column("l", T_INT64)
        .with_column("d", T_DOUBLE)
        .with_column("s", T_STR)
        .with_rows(3);
}

TEST(VelTableValues, FreshRowReadsZeroAndNotNullInEveryColumn)
{
    VelTestTable table;
    vel_test_make_typed(&table);
    EXPECT_EQ(vel_table_get_int32(&table, 2, 0), 0);
    EXPECT_EQ(vel_table_get_int64(&table, 2, 1), 0);
    EXPECT_EQ(vel_table_get_double(&table, 2, 2), 0.0);
    EXPECT_STREQ(vel_table_get_str(&table, 2, 3), "");
    for (gint32 column = 0; column < 4; column++)
        EXPECT_EQ(vel_table_get_null(&table, 2, column), FALSE);
}

TEST(VelTableValues, EveryTypeKeepsItsExtremes)
{
    VelTestTable table;
    vel_test_make_typed(&table);
    for (const gint32 v : {G_MININT32, -1, 0, 1, G_MAXINT32}) {
        vel_table_set_int32(&table, 1, 0, v);
        EXPECT_EQ(vel_table_get_int32(&table, 1, 0), v);
    }
    for (const gint64 v : {G_MININT64, gint64{-1}, gint64{0}, G_MAXINT64}) {
        vel_table_set_int64(&table, 1, 1, v);
        EXPECT_EQ(vel_table_get_int64(&table, 1, 1), v);
    }
    for (const gdouble v : {-HUGE_VAL, -0.0, 0.1, std::numeric_limits<gdouble>::denorm_min()}) {
        vel_table_set_double(&table, 1, 2, v);
        EXPECT_EQ(vel_table_get_double(&table, 1, 2), v);
    }
    vel_table_set_double(&table, 1, 2, std::nan(""));
    EXPECT_TRUE(std::isnan(vel_table_get_double(&table, 1, 2)));
    for (const char *v : {"", "a",
                          "Gr\xc3\xbc\xc3\x9f"
                          "e \xf0\x9f\x98\x80"}) {
        vel_table_set_str(&table, 1, 3, v);
        EXPECT_STREQ(vel_table_get_str(&table, 1, 3), v);
    }
}

TEST(VelTableValues, SettingOneCellChangesNoOther)
{
    VelTestTable table;
    vel_test_make_typed(&table);
    vel_table_set_int32(&table, 1, 0, -1);
    vel_table_set_int64(&table, 1, 1, -1);
    vel_table_set_double(&table, 1, 2, -1);
    vel_table_set_null(&table, 1, 3, TRUE);
    for (const gint32 row : {0, 2}) {
        EXPECT_EQ(vel_table_get_int32(&table, row, 0), 0);
        EXPECT_EQ(vel_table_get_int64(&table, row, 1), 0);
        EXPECT_EQ(vel_table_get_double(&table, row, 2), 0.0);
        EXPECT_FALSE(vel_table_get_null(&table, row, 3));
    }
    EXPECT_EQ(vel_table_get_int32(&table, 1, 0), -1);
    EXPECT_EQ(vel_table_get_int64(&table, 1, 1), -1);
    EXPECT_EQ(vel_table_get_double(&table, 1, 2), -1.0);
}

TEST(VelTableNull, SettingNullZeroesTheValue)
{
    VelTestTable table;
    vel_test_make_typed(&table);
    vel_table_set_int32(&table, 0, 0, 5);
    vel_table_set_int64(&table, 0, 1, 5);
    vel_table_set_double(&table, 0, 2, 5);
    vel_table_set_str(&table, 0, 3, "five");
    for (gint32 column = 0; column < 4; column++) {
        vel_table_set_null(&table, 0, column, TRUE);
        EXPECT_EQ(vel_table_get_null(&table, 0, column), TRUE);
    }
    EXPECT_EQ(vel_table_get_int32(&table, 0, 0), 0);
    EXPECT_EQ(vel_table_get_int64(&table, 0, 1), 0);
    EXPECT_EQ(vel_table_get_double(&table, 0, 2), 0.0);
    EXPECT_STREQ(vel_table_get_str(&table, 0, 3), "");
}

TEST(VelTableNull, NullAndBackLeavesTheValueZero)
{
    VelTestTable table;
    vel_test_make_typed(&table);
    vel_table_set_int32(&table, 0, 0, 5);
    vel_table_set_null(&table, 0, 0, TRUE);
    vel_table_set_null(&table, 0, 0, FALSE);
    EXPECT_FALSE(vel_table_get_null(&table, 0, 0));
    EXPECT_EQ(vel_table_get_int32(&table, 0, 0), 0);
}

TEST(VelTableNull, ClearingTheFlagOfAValueLeavesIt)
{
    VelTestTable table;
    vel_test_make_typed(&table);
    vel_table_set_str(&table, 0, 3, "kept");
    vel_table_set_null(&table, 0, 3, FALSE);
    EXPECT_STREQ(vel_table_get_str(&table, 0, 3), "kept");
}

TEST(VelTableNull, CellWhoseFlagIsClearedComesLastAmongItsEqualsInTheIndex)
{
    VelTestTable table;
    vel_test_make_typed(&table);
    vel_table_add_index(&table, 0);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 0), 0);
    vel_table_set_null(&table, 0, 0, FALSE);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 0), 2); // The last entry fills the gap.
    vel_table_set_null(&table, 2, 0, FALSE);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 0), 0);
}

TEST(VelTableNull, EverySetterClearsTheFlag)
{
    VelTestTable table;
    vel_test_make_typed(&table);
    for (gint32 column = 0; column < 4; column++)
        vel_table_set_null(&table, 0, column, TRUE);
    vel_table_set_int32(&table, 0, 0, 0);
    vel_table_set_int64(&table, 0, 1, 0);
    vel_table_set_double(&table, 0, 2, 0);
    vel_table_set_str(&table, 0, 3, "");
    for (gint32 column = 0; column < 4; column++)
        EXPECT_FALSE(vel_table_get_null(&table, 0, column));
}

TEST(VelTableNull, FlagOfAColumnIsItsBitCountedFromTheLowest)
{
    VelTestTable table;
    for (int i = 0; i < 11; i++)
        table.with_column("c", T_INT32);
    table.with_rows(2);
    vel_table_set_null(&table, 1, 0, TRUE);
    vel_table_set_null(&table, 1, 7, TRUE);
    vel_table_set_null(&table, 1, 10, TRUE);
    const guint8 *flags = table.rows + table.row_size + table.data_size;
    EXPECT_EQ(flags[0], 0x81);
    EXPECT_EQ(flags[1], 0x04);
}

/// Runs every cell operation on one cell that does not exist and expects the range assertion.
static void vel_test_expect_range_assertions(vel_table *t, gint32 row, gint32 column)
{
    VEL_TABLE_EXPECT_ASSERTION(vel_table_set_null(t, row, column, TRUE), "vel_table_set_null",
                               VEL_TABLE_CELL_RANGE);
    VEL_TABLE_EXPECT_ASSERTION(vel_table_get_null(t, row, column), "vel_table_get_null",
                               VEL_TABLE_CELL_RANGE);
    VEL_TABLE_EXPECT_ASSERTION(vel_table_set_int32(t, row, column, 1), "vel_table_set_int32",
                               VEL_TABLE_CELL_RANGE);
    VEL_TABLE_EXPECT_ASSERTION(vel_table_set_int64(t, row, column, 1), "vel_table_set_int64",
                               VEL_TABLE_CELL_RANGE);
    VEL_TABLE_EXPECT_ASSERTION(vel_table_set_double(t, row, column, 1), "vel_table_set_double",
                               VEL_TABLE_CELL_RANGE);
    VEL_TABLE_EXPECT_ASSERTION(vel_table_set_str(t, row, column, ""), "vel_table_set_str",
                               VEL_TABLE_CELL_RANGE);
    VEL_TABLE_EXPECT_ASSERTION(vel_table_get_int32(t, row, column), "vel_table_get_int32",
                               VEL_TABLE_CELL_RANGE);
    VEL_TABLE_EXPECT_ASSERTION(vel_table_get_int64(t, row, column), "vel_table_get_int64",
                               VEL_TABLE_CELL_RANGE);
    VEL_TABLE_EXPECT_ASSERTION(vel_table_get_double(t, row, column), "vel_table_get_double",
                               VEL_TABLE_CELL_RANGE);
    VEL_TABLE_EXPECT_ASSERTION(vel_table_get_str(t, row, column), "vel_table_get_str",
                               VEL_TABLE_CELL_RANGE);
    VEL_TABLE_EXPECT_ASSERTION(vel_table_set_non_null_internal(t, row, column),
                               "vel_table_set_non_null_internal", VEL_TABLE_CELL_RANGE);
}

TEST(VelTableValuesDeathTest, NegativeRowIsAnError)
{
    VelTestTable table;
    vel_test_make_typed(&table);
    vel_test_expect_range_assertions(&table, -1, 0);
}

TEST(VelTableValuesDeathTest, RowBehindTheLastIsAnErrorThoughThereIsRoom)
{
    VelTestTable table;
    vel_test_make_typed(&table);
    ASSERT_GT(table.reserved, 3);
    vel_test_expect_range_assertions(&table, 3, 0);
}

TEST(VelTableValuesDeathTest, NegativeColumnIsAnError)
{
    VelTestTable table;
    vel_test_make_typed(&table);
    vel_test_expect_range_assertions(&table, 0, -1);
}

TEST(VelTableValuesDeathTest, ColumnBehindTheLastIsAnError)
{
    VelTestTable table;
    vel_test_make_typed(&table);
    vel_test_expect_range_assertions(&table, 0, 4);
}

#define VEL_TABLE_EXPECT_TYPE(statement, function, type)                                           \
    VEL_TABLE_EXPECT_ASSERTION(statement, function,                                                \
                               "t->columns[column].type == VEL_TABLE_COLUMN_TYPE_" type)

TEST(VelTableValuesDeathTest, SettersOfAnotherTypeAreErrors)
{
    VelTestTable table;
    vel_test_make_typed(&table);
    VEL_TABLE_EXPECT_TYPE(vel_table_set_int32(&table, 0, 1, 1), "vel_table_set_int32", "INT32");
    VEL_TABLE_EXPECT_TYPE(vel_table_set_int64(&table, 0, 2, 1), "vel_table_set_int64", "INT64");
    VEL_TABLE_EXPECT_TYPE(vel_table_set_double(&table, 0, 3, 1), "vel_table_set_double", "DOUBLE");
    VEL_TABLE_EXPECT_TYPE(vel_table_set_str(&table, 0, 0, ""), "vel_table_set_str", "STR");
}

TEST(VelTableValuesDeathTest, GettersOfAnotherTypeAreErrors)
{
    VelTestTable table;
    vel_test_make_typed(&table);
    VEL_TABLE_EXPECT_TYPE(vel_table_get_int32(&table, 0, 3), "vel_table_get_int32", "INT32");
    VEL_TABLE_EXPECT_TYPE(vel_table_get_int64(&table, 0, 0), "vel_table_get_int64", "INT64");
    VEL_TABLE_EXPECT_TYPE(vel_table_get_double(&table, 0, 1), "vel_table_get_double", "DOUBLE");
    VEL_TABLE_EXPECT_TYPE(vel_table_get_str(&table, 0, 2), "vel_table_get_str", "STR");
}

TEST(VelTableValuesDeathTest, NullTextIsAnErrorBeforeAllOthers)
{
    VelTestTable table;
    vel_test_make_typed(&table);
    VEL_TABLE_EXPECT_NONNULL(vel_table_set_str(&table, 0, 3, nullptr), "vel_table_set_str", "v");
    VEL_TABLE_EXPECT_NONNULL(vel_table_set_str(&table, 9, 9, nullptr), "vel_table_set_str", "v");
}
