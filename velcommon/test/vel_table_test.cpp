// vel_table: life, layout of rows, columns, number of rows and room for them.
#include <algorithm>
#include <cstddef>
#include <iterator>

#include "vel_table_internal.h"
#include "vel_table_test_util.h"

// An allocation that cannot be had returns null here, too, as it does without a sanitizer.
#if defined(__SANITIZE_ADDRESS__)
extern "C" const char *__asan_default_options()
{
    return "allocator_may_return_null=1";
}
#endif
#if defined(__SANITIZE_THREAD__)
extern "C" const char *__tsan_default_options()
{
    return "allocator_may_return_null=1";
}
#endif

static const vel_table_column_type T_INT32 = VEL_TABLE_COLUMN_TYPE_INT32;
static const vel_table_column_type T_INT64 = VEL_TABLE_COLUMN_TYPE_INT64;
static const vel_table_column_type T_DOUBLE = VEL_TABLE_COLUMN_TYPE_DOUBLE;
static const vel_table_column_type T_STR = VEL_TABLE_COLUMN_TYPE_STR;

/// Rows of 147,456 bytes: a block of 2^31 - 1 of them is more than any address space. The offset is
/// set by hand, that of the 16,383rd column, in place of so many columns.
static void vel_test_make_wide(VelTestTable *table)
{
    table->with_column("v", T_INT64);
    table->columns[0].offset = 8 * 16382;
    table->with_column("w", T_INT64);
}

#define WIDEST_BLOCK "failed to allocate 316659348652032 bytes"

TEST(VelTableTypes, NumbersAndWidthsAreFixed)
{
    EXPECT_EQ(static_cast<int>(T_INT32), 0);
    EXPECT_EQ(static_cast<int>(T_INT64), 1);
    EXPECT_EQ(static_cast<int>(T_DOUBLE), 2);
    EXPECT_EQ(static_cast<int>(T_STR), 3);
    EXPECT_EQ(COLUMN_SIZES[T_INT32], 4);
    EXPECT_EQ(COLUMN_SIZES[T_INT64], 8);
    EXPECT_EQ(COLUMN_SIZES[T_DOUBLE], 8);
    EXPECT_EQ(COLUMN_SIZES[T_STR], 8);
}

TEST(VelTableTypes, MembersLieInTheOrderThatCallersKnow)
{
    const size_t offsets[] = {
        offsetof(vel_table, columns),     offsetof(vel_table, n_columns),
        offsetof(vel_table, indexes),     offsetof(vel_table, n_indexes),
        offsetof(vel_table, rows),        offsetof(vel_table, n),
        offsetof(vel_table, reserved),    offsetof(vel_table, data_size),
        offsetof(vel_table, row_size),    offsetof(vel_table, strings),
        offsetof(vel_table, strings_len), offsetof(vel_table, strings_reserved)};
    EXPECT_TRUE(std::is_sorted(std::begin(offsets), std::end(offsets)));
    EXPECT_LT(offsetof(vel_table_column, type), offsetof(vel_table_column, name));
    EXPECT_LT(offsetof(vel_table_column, name), offsetof(vel_table_column, offset));
    EXPECT_LT(offsetof(vel_table_index, n_columns), offsetof(vel_table_index, columns));
    EXPECT_LT(offsetof(vel_table_index, columns), offsetof(vel_table_index, hash_table));
}

static void vel_test_expect_empty(const vel_table *t)
{
    EXPECT_EQ(t->columns, nullptr);
    EXPECT_EQ(t->n_columns, 0);
    EXPECT_EQ(t->indexes, nullptr);
    EXPECT_EQ(t->n_indexes, 0);
    EXPECT_EQ(t->rows, nullptr);
    EXPECT_EQ(t->n, 0);
    EXPECT_EQ(t->reserved, 0);
    EXPECT_EQ(t->data_size, 0);
    EXPECT_EQ(t->row_size, 0);
    EXPECT_EQ(t->strings, ZERO_BUFFER);
    EXPECT_EQ(t->strings_len, 1);
    EXPECT_EQ(t->strings_reserved, 1);
}

TEST(VelTableLife, InitFillsWhateverTheStorageHeld)
{
    vel_table t;
    memset(static_cast<void *>(&t), 0x5a, sizeof t);
    vel_table_init(&t);
    vel_test_expect_empty(&t);
    vel_table_done(&t);
}

TEST(VelTableLife, ClearMakesTheTableEmptyWithoutColumnsAgain)
{
    VelTestTable table;
    table.with_column("a", T_INT32).with_column("b", T_STR).with_rows(5);
    vel_table_add_index(&table, 0);
    vel_table_set_str(&table, 3, 1, "text");
    vel_table_clear(&table);
    vel_test_expect_empty(&table);
    table.with_column("c", T_STR).with_rows(1);
    EXPECT_STREQ(vel_table_get_str(&table, 0, 0), "");
    EXPECT_EQ(table.n_indexes, 0);
}

TEST(VelTableLife, DoneLeavesTheFieldsAsTheyWere)
{
    vel_table t;
    vel_table_init(&t);
    vel_table_add_column(&t, "a", T_INT32);
    vel_table_set_n(&t, 3);
    vel_table_done(&t);
    EXPECT_EQ(t.n, 3);
    EXPECT_EQ(t.n_columns, 1);
    EXPECT_EQ(t.row_size, 5);
}

TEST(VelTableAddColumn, NameIsCopied)
{
    VelTestTable table;
    char name[] = "line";
    table.with_column(name, T_INT32);
    name[0] = 'X';
    EXPECT_STREQ(table.columns[0].name, "line");
    EXPECT_EQ(table.columns[0].type, T_INT32);
}

TEST(VelTableAddColumn, ColumnsOfOneWidthArePackedDensely)
{
    VelTestTable table;
    table.with_column("line", T_INT32).with_column("block", T_INT32).with_column("offset", T_INT32);
    EXPECT_EQ(table.columns[0].offset, 0);
    EXPECT_EQ(table.columns[1].offset, 4);
    EXPECT_EQ(table.columns[2].offset, 8);
    EXPECT_EQ(table.data_size, 12);
    EXPECT_EQ(table.row_size, 14);
}

TEST(VelTableAddColumn, WideColumnBehindANarrowOneLeavesAGapOfFourBytes)
{
    VelTestTable table;
    table.with_column("line", T_INT32).with_column("text", T_STR).with_column("more", T_DOUBLE);
    EXPECT_EQ(table.columns[1].offset, 8);
    EXPECT_EQ(table.columns[2].offset, 16);
    EXPECT_EQ(table.data_size, 24);
    EXPECT_EQ(table.row_size, 27);
}

TEST(VelTableAddColumn, NarrowColumnBehindAWideOneSharesItsLastFourBytes)
{
    VelTestTable table;
    table.with_column("wide", T_INT64).with_column("narrow", T_INT32).with_rows(1);
    EXPECT_EQ(table.columns[1].offset, table.columns[0].offset + 4);
    EXPECT_EQ(table.data_size, 8);
    EXPECT_EQ(table.row_size, 9);
    vel_table_set_int64(&table, 0, 0, G_GINT64_CONSTANT(0x0000000700000003));
    EXPECT_EQ(vel_table_get_int32(&table, 0, 1), 7);
    vel_table_set_int32(&table, 0, 1, 1);
    EXPECT_EQ(vel_table_get_int64(&table, 0, 0), G_GINT64_CONSTANT(0x0000000100000003));
}

TEST(VelTableAddColumn, NullFlagsTakeOneByteForEightBytesOfValuesNotForEightColumns)
{
    VelTestTable table;
    for (int i = 0; i < 9; i++)
        table.with_column("c", T_INT32);
    EXPECT_EQ(table.data_size, 36);
    EXPECT_EQ(table.row_size, 36 + 5);
}

TEST(VelTableAddColumn, NewCellsOfExistingRowsAreZeroAndOldCellsKeepTheirValues)
{
    VelTestTable table;
    table.with_column("a", T_INT32).with_rows(3);
    for (gint32 row = 0; row < 3; row++)
        vel_table_set_int32(&table, row, 0, 100 + row);
    vel_table_set_null(&table, 1, 0, TRUE);
    for (int i = 0; i < 20; i++) {
        table.with_column("d", T_DOUBLE);
        EXPECT_EQ(vel_table_get_int32(&table, 0, 0), 100);
        EXPECT_EQ(vel_table_get_int32(&table, 2, 0), 102);
        EXPECT_FALSE(vel_table_get_null(&table, 0, 0));
        EXPECT_TRUE(vel_table_get_null(&table, 1, 0));
        for (gint32 row = 0; row < 3; row++) {
            EXPECT_EQ(vel_table_get_double(&table, row, i + 1), 0.0);
            EXPECT_FALSE(vel_table_get_null(&table, row, i + 1));
        }
    }
}

TEST(VelTableAddColumn, RowsSetBeforeTheFirstColumnGetExactlyTheirRoom)
{
    VelTestTable table;
    table.with_rows(7);
    EXPECT_EQ(table.n, 7);
    EXPECT_EQ(table.reserved, 0);
    EXPECT_EQ(table.rows, nullptr);
    table.with_column("a", T_INT64);
    EXPECT_EQ(table.reserved, 7);
    for (gint32 row = 0; row < 7; row++)
        EXPECT_EQ(vel_table_get_int64(&table, row, 0), 0);
}

TEST(VelTableAddColumn, RoomReservedBeforeTheFirstColumnIsKept)
{
    VelTestTable without_rows;
    vel_table_set_reserved(&without_rows, 5);
    without_rows.with_column("a", T_INT32);
    EXPECT_EQ(without_rows.reserved, 5);
    VelTestTable with_rows;
    with_rows.with_rows(2);
    vel_table_set_reserved(&with_rows, 5);
    with_rows.with_column("a", T_INT32);
    EXPECT_EQ(with_rows.reserved, 5);
    for (gint32 i = 0; i < 5 * 5; i++) {
        EXPECT_EQ(without_rows.rows[i], 0);
        EXPECT_EQ(with_rows.rows[i], 0);
    }
}

TEST(VelTableAddColumn, RoomWithoutRowsIsZeroInTheNewLayout)
{
    VelTestTable table;
    table.with_column("a", T_INT32).with_rows(4);
    vel_table_set_int32(&table, 0, 0, -1);
    table.with_rows(0).with_column("b", T_STR);
    EXPECT_EQ(table.reserved, 8);
    table.with_rows(8);
    for (gint32 row = 0; row < 8; row++) {
        EXPECT_EQ(vel_table_get_int32(&table, row, 0), 0);
        EXPECT_STREQ(vel_table_get_str(&table, row, 1), "");
    }
}

TEST(VelTableAddColumns, SeveralAreAsSeveralSingleOnes)
{
    const gchar *const names[] = {"x", "y", "z"};
    VelTestTable table;
    VelTestTable expected;
    for (VelTestTable *t : {&table, &expected}) {
        t->with_column("a", T_INT32).with_rows(3);
        vel_table_add_index(t, 0);
        vel_table_set_int32(t, 1, 0, 7);
        vel_table_set_null(t, 2, 0, TRUE);
    }
    vel_table_add_columns(&table, 3, names, T_STR);
    for (const gchar *const name : names)
        expected.with_column(name, T_STR);
    for (VelTestTable *t : {&table, &expected})
        vel_table_set_str(t, 1, 3, "text");
    EXPECT_TRUE(vel_table_equals(&table, &expected, TRUE));
    EXPECT_EQ(table.row_size, expected.row_size);
    EXPECT_EQ(table.reserved, expected.reserved);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 7), 1);
}

TEST(VelTableAddColumns, WithoutRowsAndForNoColumns)
{
    const gchar *const names[] = {"x", "y"};
    VelTestTable table;
    vel_table_add_columns(&table, 0, nullptr, T_STR);
    EXPECT_EQ(table.n_columns, 0);
    vel_table_add_columns(&table, 2, names, T_INT64);
    EXPECT_EQ(table.n_columns, 2);
    EXPECT_STREQ(table.columns[1].name, "y");
    EXPECT_EQ(table.columns[1].offset, 8);
    EXPECT_EQ(table.rows, nullptr);
}

TEST(VelTableSetReserved, MakesExactlyTheRoomAskedFor)
{
    VelTestTable table;
    table.with_column("a", T_INT32).with_rows(1);
    vel_table_set_int32(&table, 0, 0, 42);
    vel_table_set_reserved(&table, 10);
    EXPECT_EQ(table.reserved, 10);
    EXPECT_EQ(vel_table_get_int32(&table, 0, 0), 42);
    for (gint32 i = 5; i < 50; i++)
        EXPECT_EQ(table.rows[i], 0);
}

TEST(VelTableSetReserved, MayShrinkToTheRowsInUse)
{
    VelTestTable table;
    table.with_column("a", T_INT32).with_rows(3);
    vel_table_set_int32(&table, 2, 0, 42);
    vel_table_set_reserved(&table, 3);
    EXPECT_EQ(table.reserved, 3);
    EXPECT_EQ(vel_table_get_int32(&table, 2, 0), 42);
    table.with_rows(0);
    vel_table_set_reserved(&table, 0);
    EXPECT_EQ(table.rows, nullptr);
    table.with_rows(1);
    EXPECT_EQ(vel_table_get_int32(&table, 0, 0), 0);
}

TEST(VelTableSetReserved, EqualRoomKeepsTheBlock)
{
    VelTestTable table;
    table.with_column("a", T_INT32).with_rows(3);
    const guint8 *rows = table.rows;
    vel_table_set_reserved(&table, 6);
    EXPECT_EQ(table.rows, rows);
}

TEST(VelTableSetN, ReservesTwiceTheRowsAskedForWhenTheyDoNotFit)
{
    VelTestTable table;
    table.with_column("a", T_INT32).with_rows(1);
    EXPECT_EQ(table.reserved, 2);
    table.with_rows(2);
    EXPECT_EQ(table.reserved, 2);
    table.with_rows(10);
    EXPECT_EQ(table.reserved, 20);
    table.with_rows(3);
    EXPECT_EQ(table.reserved, 20);
}

TEST(VelTableSetN, DroppedRowsComeBackZeroAndNotNull)
{
    VelTestTable table;
    table.with_column("a", T_INT32).with_column("b", T_STR).with_rows(3);
    for (gint32 row = 0; row < 3; row++) {
        vel_table_set_int32(&table, row, 0, row + 1);
        vel_table_set_null(&table, row, 1, TRUE);
    }
    table.with_rows(1).with_rows(3);
    EXPECT_EQ(vel_table_get_int32(&table, 0, 0), 1);
    EXPECT_TRUE(vel_table_get_null(&table, 0, 1));
    for (gint32 row = 1; row < 3; row++) {
        EXPECT_EQ(vel_table_get_int32(&table, row, 0), 0);
        EXPECT_FALSE(vel_table_get_null(&table, row, 1));
    }
}

TEST(VelTableSetN, WithoutColumnsOnlyTheNumberChanges)
{
    VelTestTable table;
    table.with_rows(G_MAXINT32);
    EXPECT_EQ(table.n, G_MAXINT32);
    table.with_rows(2);
    EXPECT_EQ(table.n, 2);
    EXPECT_EQ(table.reserved, 0);
    EXPECT_EQ(table.rows, nullptr);
}

TEST(VelTableDeathTest, ReservingLessThanTheRowsInUseIsAnError)
{
    VelTestTable table;
    table.with_column("a", T_INT32).with_rows(3);
    VEL_TABLE_EXPECT_ASSERTION(vel_table_set_reserved(&table, 2), "vel_table_set_reserved",
                               "reserved >= t->n");
    VEL_TABLE_EXPECT_ASSERTION(vel_table_set_reserved(&table, -1), "vel_table_set_reserved",
                               "reserved >= t->n");
}

TEST(VelTableDeathTest, NegativeRowCountIsAnError)
{
    VelTestTable table;
    VEL_TABLE_EXPECT_ASSERTION(vel_table_set_n(&table, -1), "vel_table_set_n", "n >= 0");
}

TEST(VelTableDeathTest, ColumnWithoutNameIsAnError)
{
    VelTestTable table;
    VEL_TABLE_EXPECT_NONNULL(vel_table_add_column(&table, nullptr, T_INT32), "vel_table_add_column",
                             "name");
}

TEST(VelTableDeathTest, ColumnOfUnknownTypeIsAnError)
{
    VelTestTable table;
    for (const gint32 number : {-1, 4}) {
        const auto type = static_cast<vel_table_column_type>(number);
        VEL_TABLE_EXPECT_ASSERTION(
            vel_table_add_column(&table, "a", type), "vel_table_add_column",
            "type >= VEL_TABLE_COLUMN_TYPE_INT32 && type <= VEL_TABLE_COLUMN_TYPE_STR");
    }
}

TEST(VelTableDeathTest, OneOfSeveralColumnsWithoutNameIsAnError)
{
    VelTestTable table;
    for (const size_t without : {size_t{0}, size_t{1}, size_t{2}}) {
        const gchar *names[] = {"a", "b", "c"};
        names[without] = nullptr;
        VEL_TABLE_EXPECT_NONNULL(vel_table_add_columns(&table, 3, names, T_STR),
                                 "vel_table_add_columns", "name");
    }
}

TEST(VelTableDeathTest, SeveralColumnsOfUnknownTypeAreAnError)
{
    VelTestTable table;
    const gchar *const names[] = {"a", "b"};
    for (const gint32 number : {-1, 4}) {
        const auto type = static_cast<vel_table_column_type>(number);
        VEL_TABLE_EXPECT_ASSERTION(
            vel_table_add_columns(&table, 2, names, type), "vel_table_add_columns",
            "type >= VEL_TABLE_COLUMN_TYPE_INT32 && type <= VEL_TABLE_COLUMN_TYPE_STR");
    }
}

TEST(VelTableDeathTest, AddingAColumnWithoutMemoryForTheRowsIsFatal)
{
    VelTestTable table;
    vel_test_make_wide(&table);
    table.with_rows(1);
    VEL_TABLE_EXPECT_FATAL(
        {
            table.reserved = G_MAXINT32;
            vel_table_add_column(&table, "one too many", T_INT64);
        },
        "calloc failed");
}

static void vel_test_reserve_too_much()
{
    VelTestTable table;
    vel_test_make_wide(&table);
    vel_table_set_reserved(&table, G_MAXINT32);
}

static void vel_test_double_too_much()
{
    VelTestTable table;
    vel_test_make_wide(&table);
    vel_table_set_n(&table, G_MAXINT32 / 2 + 2);
}

TEST(VelTableDeathTest, RoomBeyondMemoryEndsInTheAllocatorsMessage)
{
    VEL_TABLE_EXPECT_FATAL(vel_test_reserve_too_much(), WIDEST_BLOCK);
}

TEST(VelTableDeathTest, DoublingTheRoomStopsAtTheLargestRowCount)
{
    VEL_TABLE_EXPECT_FATAL(vel_test_double_too_much(), WIDEST_BLOCK);
}

TEST(VelTableDeathTest, RowLargerThanItsSizeCanTellIsFatal)
{
    VelTestTable table;
    table.with_column("first", T_STR);
    // As after some 230 million columns.
    table.columns[0].offset = 1908874345;
    VEL_TABLE_EXPECT_FATAL(
        vel_table_add_column(&table, "one too many", T_INT64),
        "A row of a table would take 2147483657 bytes; the limit is 2147483647 bytes");
    table.columns[0].offset = 0;
}
