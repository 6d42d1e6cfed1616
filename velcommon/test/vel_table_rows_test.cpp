// vel_table: deleting, copying, comparing and printing rows.
#include <cmath>

#include "vel_table_internal.h"
#include "vel_table_test_util.h"

static const vel_table_column_type T_INT32 = VEL_TABLE_COLUMN_TYPE_INT32;
static const vel_table_column_type T_INT64 = VEL_TABLE_COLUMN_TYPE_INT64;
static const vel_table_column_type T_DOUBLE = VEL_TABLE_COLUMN_TYPE_DOUBLE;
static const vel_table_column_type T_STR = VEL_TABLE_COLUMN_TYPE_STR;

/// Rows start, start + 1, … in an indexed INT32 column, and their halves as doubles.
static void vel_test_make_numbers(VelTestTable *table, gint32 start, gint32 n)
{
    table->with_column("i", T_INT32).with_column("d", T_DOUBLE).with_rows(n);
    vel_table_add_index(table, 0);
    for (gint32 row = 0; row < n; row++) {
        vel_table_set_int32(table, row, 0, start + row);
        vel_table_set_double(table, row, 1, (start + row) / 2.0);
    }
}

static std::string vel_test_numbers(const vel_table *t)
{
    std::string text;
    for (gint32 row = 0; row < t->n; row++) {
        EXPECT_EQ(vel_table_get_double(t, row, 1), vel_table_get_int32(t, row, 0) / 2.0);
        text += std::to_string(vel_table_get_int32(t, row, 0)) + " ";
    }
    return text;
}

static std::string vel_test_dump(const vel_table *t, gboolean with_indexes)
{
    testing::internal::CaptureStdout();
    vel_table_dump(t, with_indexes);
    std::string text = testing::internal::GetCapturedStdout();
    // The Windows runtime writes its own line ends.
    for (size_t i = text.find('\r'); i != std::string::npos; i = text.find('\r'))
        text.erase(i, 1);
    return text;
}

TEST(VelTableDeleteRows, LaterRowsMoveDownAndAreFoundThere)
{
    VelTestTable table;
    vel_test_make_numbers(&table, 1, 8);
    vel_table_set_null(&table, 6, 1, TRUE);
    vel_table_set_null(&table, 6, 1, FALSE);
    vel_table_set_double(&table, 6, 1, 3.5);
    vel_table_delete_rows(&table, 2, 3);
    EXPECT_EQ(vel_test_numbers(&table), "1 2 6 7 8 ");
    for (const gint32 gone : {3, 4, 5, 0})
        EXPECT_EQ(vel_table_find_int32(&table, 0, gone), -1);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 2), 1);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 6), 2);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 8), 4);
}

TEST(VelTableDeleteRows, FreedRowsAreZeroAndTheRoomStays)
{
    VelTestTable table;
    vel_test_make_numbers(&table, 1, 4);
    vel_table_set_null(&table, 3, 0, TRUE);
    vel_table_delete_rows(&table, 0, 2);
    EXPECT_EQ(table.reserved, 8);
    const guint8 *rows = vel_table_row(&table, 2);
    for (gint32 i = 0; i < 2 * table.row_size; i++)
        EXPECT_EQ(rows[i], 0);
    EXPECT_TRUE(vel_table_get_null(&table, 1, 0));
    table.with_rows(3);
    EXPECT_FALSE(vel_table_get_null(&table, 2, 0));
}

TEST(VelTableDeleteRows, LastRowsLeaveTheEarlierOnesInTheIndexes)
{
    VelTestTable table;
    vel_test_make_numbers(&table, 1, 6);
    vel_table_delete_rows(&table, 4, 2);
    for (gint32 row = 0; row < 4; row++)
        EXPECT_EQ(vel_table_find_int32(&table, 0, row + 1), row);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 5), -1);
    vel_table_delete_rows(&table, 0, 4);
    EXPECT_EQ(table.n, 0);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 1), -1);
}

TEST(VelTableDeleteRows, DeletingNoneChecksNothingElse)
{
    VelTestTable table;
    vel_test_make_numbers(&table, 1, 2);
    vel_table_delete_rows(&table, -5, 0);
    vel_table_delete_rows(&table, 1000, 0);
    EXPECT_EQ(vel_test_numbers(&table), "1 2 ");
}

TEST(VelTableDeleteRows, TableWithoutColumnsOnlyCounts)
{
    VelTestTable table;
    table.with_rows(10);
    vel_table_delete_rows(&table, 3, 4);
    EXPECT_EQ(table.n, 6);
}

TEST(VelTableDeleteRows, TextsMoveWithTheirRows)
{
    VelTestTable table;
    table.with_column("s", T_STR).with_rows(3);
    vel_table_add_index(&table, 0);
    vel_table_set_str(&table, 0, 0, "zero");
    vel_table_set_str(&table, 2, 0, "two");
    vel_table_delete_rows(&table, 0, 1);
    EXPECT_STREQ(vel_table_get_str(&table, 0, 0), "");
    EXPECT_STREQ(vel_table_get_str(&table, 1, 0), "two");
    EXPECT_EQ(vel_table_find_str(&table, 0, "two"), 1);
    EXPECT_EQ(vel_table_find_str(&table, 0, ""), 0);
    EXPECT_EQ(vel_table_find_str(&table, 0, "zero"), -1);
}

TEST(VelTableRowsDeathTest, DeletingWhatIsNotThereIsAnError)
{
    VelTestTable table;
    vel_test_make_numbers(&table, 1, 3);
    VEL_TABLE_EXPECT_ASSERTION(vel_table_delete_rows(&table, 0, -1), "vel_table_delete_rows",
                               "n >= 0");
    VEL_TABLE_EXPECT_ASSERTION(vel_table_delete_rows(&table, -1, 1), "vel_table_delete_rows",
                               "from >= 0 && from < t->n");
    VEL_TABLE_EXPECT_ASSERTION(vel_table_delete_rows(&table, 3, 1), "vel_table_delete_rows",
                               "from >= 0 && from < t->n");
    VEL_TABLE_EXPECT_ASSERTION(vel_table_delete_rows(&table, 1, 3), "vel_table_delete_rows",
                               "from + n <= t->n");
    VEL_TABLE_EXPECT_ASSERTION(vel_table_delete_rows(&table, 1, G_MAXINT32),
                               "vel_table_delete_rows", "from + n <= t->n");
}

TEST(VelTableCopyRows, AppendedRowsAreFound)
{
    VelTestTable table;
    VelTestTable source;
    vel_test_make_numbers(&table, 1, 3);
    vel_test_make_numbers(&source, 11, 4);
    vel_table_copy_rows(&table, 3, &source, 0, 4);
    EXPECT_EQ(vel_test_numbers(&table), "1 2 3 11 12 13 14 ");
    EXPECT_EQ(vel_test_numbers(&source), "11 12 13 14 ");
    EXPECT_EQ(vel_table_find_int32(&table, 0, 14), 6);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 3), 2);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 0), -1);
}

TEST(VelTableCopyRows, InsertedRowsMoveTheLaterOnesUp)
{
    VelTestTable table;
    VelTestTable source;
    vel_test_make_numbers(&table, 1, 4);
    vel_test_make_numbers(&source, 11, 5);
    vel_table_set_null(&source, 2, 0, TRUE);
    vel_table_set_null(&table, 3, 0, TRUE);
    vel_table_copy_rows(&table, 1, &source, 1, 3);
    EXPECT_EQ(table.n, 7);
    const gint32 expected[] = {1, 12, 0, 14, 2, 3, 0};
    for (gint32 row = 0; row < 7; row++) {
        EXPECT_EQ(vel_table_get_int32(&table, row, 0), expected[row]);
        EXPECT_EQ(vel_table_get_null(&table, row, 0), expected[row] == 0);
    }
    EXPECT_EQ(vel_table_find_int32(&table, 0, 2), 4);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 3), 5);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 12), 1);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 0), 2);
}

TEST(VelTableCopyRows, RoomBecomesExactlyWhatIsNeeded)
{
    VelTestTable table;
    VelTestTable source;
    vel_test_make_numbers(&table, 1, 3);
    vel_test_make_numbers(&source, 11, 9);
    EXPECT_EQ(table.reserved, 6);
    vel_table_copy_rows(&table, 3, &source, 0, 3);
    EXPECT_EQ(table.reserved, 6);
    vel_table_copy_rows(&table, 6, &source, 3, 1);
    EXPECT_EQ(table.reserved, 7);
    vel_table_copy_rows(&table, 0, &source, 0, 0);
    EXPECT_EQ(table.n, 7);
}

TEST(VelTableCopyRows, TablesWithoutColumnsOnlyCount)
{
    VelTestTable table;
    VelTestTable source;
    table.with_rows(2);
    source.with_rows(5);
    vel_table_copy_rows(&table, 1, &source, 2, 3);
    EXPECT_EQ(table.n, 5);
    table.with_column("a", T_INT32);
    EXPECT_EQ(vel_table_get_int32(&table, 4, 0), 0);
}

static void vel_test_make_texts(VelTestTable *table, const char *prefix, gint32 n)
{
    table->with_column("s", T_STR).with_column("t", T_STR).with_rows(n);
    for (gint32 row = 0; row < n; row++) {
        const std::string text = prefix + std::to_string(row);
        vel_table_set_str(table, row, 0, text.c_str());
        vel_table_set_str(table, row, 1, (text + "t").c_str());
    }
}

TEST(VelTableCopyRows, TextsBelowTheOldRowCountAreStoredAnewInTheTargetsPool)
{
    VelTestTable table;
    VelTestTable source;
    vel_test_make_texts(&table, "old", 3);
    vel_test_make_texts(&source, "a longer text than any of the target's, number ", 3);
    vel_table_set_null(&source, 1, 0, TRUE);
    vel_table_copy_rows(&table, 0, &source, 0, 3);
    EXPECT_EQ(table.n, 6);
    for (gint32 row = 0; row < 3; row++) {
        EXPECT_STREQ(vel_table_get_str(&table, row, 0), vel_table_get_str(&source, row, 0));
        EXPECT_STREQ(vel_table_get_str(&table, row, 1), vel_table_get_str(&source, row, 1));
        EXPECT_EQ(vel_table_get_null(&table, row, 0), row == 1);
        EXPECT_EQ(vel_table_get_str(&table, 3 + row, 0), "old" + std::to_string(row));
    }
}

/// Every entry of an index must be under its row's present key; returns how many there are.
static gint32 vel_test_count_entries(const vel_table *t, const vel_table_index *ti)
{
    GHashTableIter iter;
    gpointer key = nullptr;
    gpointer bucket = nullptr;
    gint32 entries = 0;
    g_hash_table_iter_init(&iter, ti->hash_table);
    while (g_hash_table_iter_next(&iter, &key, &bucket)) {
        const gint32 *numbers = static_cast<const gint32 *>(bucket);
        entries += numbers[0];
        for (gint32 i = 1; i <= numbers[0]; i++) {
            g_autofree gchar *expected =
                vel_table_create_row_key(t, ti, vel_table_row(t, numbers[i]));
            EXPECT_TRUE(vel_table_index_hash_table_key_equals(key, expected));
        }
    }
    return entries;
}

TEST(VelTableCopyRows, CopiedTextsAreFoundWhateverTheirOffsetsInTheSourceWere)
{
    const gint32 both[] = {0, 1};
    for (size_t pad = 0; pad < 1000; pad += 5) {
        VelTestTable table;
        VelTestTable source;
        vel_test_make_texts(&table, "", 10);
        vel_table_add_index(&table, 1);
        vel_table_add_index_complex(&table, 2, both);
        source.with_column("s", T_STR).with_column("t", T_STR).with_rows(1);
        vel_table_set_str(&source, 0, 0, std::string(pad, 'x').c_str());
        source.with_rows(0);
        source.with_rows(10);
        for (gint32 row = 0; row < 10; row++) {
            vel_table_set_str(&source, row, 0, ("a text like " + std::to_string(row)).c_str());
            vel_table_set_str(&source, row, 1, ("many others " + std::to_string(row)).c_str());
        }
        vel_table_copy_rows(&table, 0, &source, 0, 10);
        for (gint32 row = 0; row < 10; row++) {
            EXPECT_EQ(vel_table_find_str(&table, 1, vel_table_get_str(&source, row, 1)), row);
            EXPECT_EQ(vel_table_find_str(&table, 1, (std::to_string(row) + "t").c_str()), 10 + row);
        }
        // The copied rows are in their buckets twice.
        ASSERT_EQ(vel_test_count_entries(&table, table.indexes[0]), 10 + 2 * 10) << pad;
        ASSERT_EQ(vel_test_count_entries(&table, table.indexes[1]), 10 + 2 * 10) << pad;
    }
}

TEST(VelTableCopyRows, CopiedTextIsInItsBucketTwice)
{
    VelTestTable table;
    VelTestTable source;
    table.with_column("s", T_STR).with_rows(1);
    source.with_column("s", T_STR).with_rows(1);
    vel_table_add_index(&table, 0);
    vel_table_set_str(&source, 0, 0, "abcd");
    vel_table_copy_rows(&table, 0, &source, 0, 1);
    EXPECT_EQ(vel_table_find_str(&table, 0, "abcd"), 0);
    EXPECT_EQ(vel_table_find_str(&table, 0, ""), 1);
    EXPECT_NE(vel_test_dump(&table, TRUE).find("key: 1684234849, 2 indexes:0, 0, \n"),
              std::string::npos);
    // Both are the row's; taking it out leaves the one that moved into the gap.
    vel_table_set_str(&table, 0, 0, "new");
    EXPECT_EQ(vel_table_find_str(&table, 0, "abcd"), 0);
}

TEST(VelTableRowsDeathTest, CopyingTextsBeyondTheOldRowCountIsAnError)
{
    VelTestTable table;
    VelTestTable source;
    vel_test_make_texts(&table, "old", 2);
    vel_test_make_texts(&source, "new", 2);
    VEL_TABLE_EXPECT_ASSERTION(vel_table_copy_rows(&table, 2, &source, 0, 1), "vel_table_set_str",
                               VEL_TABLE_CELL_RANGE);
    VEL_TABLE_EXPECT_ASSERTION(vel_table_copy_rows(&table, 1, &source, 0, 2), "vel_table_set_str",
                               VEL_TABLE_CELL_RANGE);
    vel_table_set_null(&source, 0, 0, TRUE);
    VEL_TABLE_EXPECT_ASSERTION(vel_table_copy_rows(&table, 2, &source, 0, 1), "vel_table_set_null",
                               VEL_TABLE_CELL_RANGE);
}

TEST(VelTableRowsDeathTest, CopyingFromAnotherShapeIsAnError)
{
    VelTestTable source;
    vel_test_make_numbers(&source, 1, 2);
    VelTestTable fewer;
    fewer.with_column("i", T_INT32);
    VelTestTable renamed;
    renamed.with_column("i", T_INT32).with_column("D", T_DOUBLE);
    VelTestTable retyped;
    retyped.with_column("i", T_INT32).with_column("d", T_INT64);
    for (VelTestTable *t : {&fewer, &renamed, &retyped})
        VEL_TABLE_EXPECT_ASSERTION(vel_table_copy_rows(t, -1, &source, -1, -1),
                                   "vel_table_copy_rows", "vel_table_equals(t, from, false)");
}

TEST(VelTableRowsDeathTest, CopyingWithNumbersOutOfRangeIsAnErrorInTheOrderOfTheArguments)
{
    VelTestTable table;
    VelTestTable source;
    vel_test_make_numbers(&table, 1, 2);
    vel_test_make_numbers(&source, 1, 3);
    for (const gint32 index : {-1, 3})
        VEL_TABLE_EXPECT_ASSERTION(vel_table_copy_rows(&table, index, &source, -1, -1),
                                   "vel_table_copy_rows", "index >= 0 && index <= t->n");
    for (const gint32 from_index : {-1, 4})
        VEL_TABLE_EXPECT_ASSERTION(vel_table_copy_rows(&table, 2, &source, from_index, -1),
                                   "vel_table_copy_rows",
                                   "from_index >= 0 && from_index <= from->n");
    VEL_TABLE_EXPECT_ASSERTION(vel_table_copy_rows(&table, 2, &source, 3, -1),
                               "vel_table_copy_rows", "n >= 0");
    VEL_TABLE_EXPECT_ASSERTION(vel_table_copy_rows(&table, 2, &source, 2, 2), "vel_table_copy_rows",
                               "from_index + n <= from->n");
    VEL_TABLE_EXPECT_ASSERTION(vel_table_copy_rows(&table, 2, &source, 2, G_MAXINT32),
                               "vel_table_copy_rows", "from_index + n <= from->n");
    VEL_TABLE_EXPECT_ASSERTION(vel_table_copy_rows(&table, 2, &table, 0, 0), "vel_table_copy_rows",
                               "t != from");
}

TEST(VelTableRowsDeathTest, MoreRowsThanARowNumberCanCountAreFatal)
{
    VelTestTable table;
    VelTestTable source;
    table.with_rows(G_MAXINT32);
    source.with_rows(1);
    VEL_TABLE_EXPECT_FATAL(vel_table_copy_rows(&table, 0, &source, 0, 1),
                           "A table would have 2147483648 rows; the limit is 2147483647 rows");
}

TEST(VelTableEquals, ColumnsMustAgreeInNumberNameTypeAndOrder)
{
    VelTestTable table;
    table.with_column("a", T_INT32).with_column("b", T_STR);
    VelTestTable same;
    same.with_column("a", T_INT32).with_column("b", T_STR).with_rows(3);
    EXPECT_EQ(vel_table_equals(&table, &same, FALSE), TRUE);
    EXPECT_FALSE(vel_table_equals(&table, &same, TRUE));
    VelTestTable fewer;
    fewer.with_column("a", T_INT32);
    EXPECT_FALSE(vel_table_equals(&table, &fewer, FALSE));
    EXPECT_FALSE(vel_table_equals(&fewer, &table, FALSE));
    VelTestTable swapped;
    swapped.with_column("b", T_STR).with_column("a", T_INT32);
    EXPECT_FALSE(vel_table_equals(&table, &swapped, FALSE));
    VelTestTable renamed;
    renamed.with_column("a", T_INT32).with_column("B", T_STR);
    EXPECT_FALSE(vel_table_equals(&table, &renamed, FALSE));
    VelTestTable retyped;
    retyped.with_column("a", T_INT32).with_column("b", T_INT64);
    EXPECT_FALSE(vel_table_equals(&table, &retyped, FALSE));
    EXPECT_EQ(vel_table_equals(&table, &table, TRUE), TRUE);
}

static void vel_test_make_one_row(VelTestTable *table)
{
    table->with_column("i", T_INT32)
        .with_column("l", T_INT64)
        .with_column("d", T_DOUBLE)
        .with_column("s", T_STR)
        .with_rows(1);
}

TEST(VelTableEquals, EveryValueAndFlagCounts)
{
    VelTestTable table;
    vel_test_make_one_row(&table);
    VelTestTable other;
    vel_test_make_one_row(&other);
    EXPECT_TRUE(vel_table_equals(&table, &other, TRUE));
    vel_table_set_int32(&other, 0, 0, 1);
    EXPECT_FALSE(vel_table_equals(&table, &other, TRUE));
    vel_table_set_int32(&table, 0, 0, 1);
    vel_table_set_int64(&other, 0, 1, G_GINT64_CONSTANT(0x100000000));
    EXPECT_FALSE(vel_table_equals(&table, &other, TRUE));
    vel_table_set_int64(&table, 0, 1, G_GINT64_CONSTANT(0x100000000));
    vel_table_set_double(&other, 0, 2, 0.5);
    EXPECT_FALSE(vel_table_equals(&table, &other, TRUE));
    vel_table_set_double(&table, 0, 2, 0.5);
    vel_table_set_str(&other, 0, 3, "replaced");
    vel_table_set_str(&other, 0, 3, "s");
    EXPECT_FALSE(vel_table_equals(&table, &other, TRUE));
    vel_table_set_str(&table, 0, 3, "s");
    EXPECT_TRUE(vel_table_equals(&table, &other, TRUE));
    vel_table_set_str(&other, 0, 3, "");
    vel_table_set_null(&table, 0, 3, TRUE);
    EXPECT_FALSE(vel_table_equals(&table, &other, TRUE));
    vel_table_set_null(&other, 0, 3, TRUE);
    EXPECT_TRUE(vel_table_equals(&table, &other, TRUE));
}

TEST(VelTableEquals, DoublesCompareAsNumbers)
{
    VelTestTable table;
    vel_test_make_one_row(&table);
    VelTestTable other;
    vel_test_make_one_row(&other);
    vel_table_set_double(&table, 0, 2, -0.0);
    EXPECT_TRUE(vel_table_equals(&table, &other, TRUE));
    vel_table_set_double(&table, 0, 2, std::nan(""));
    vel_table_set_double(&other, 0, 2, std::nan(""));
    EXPECT_FALSE(vel_table_equals(&table, &other, TRUE));
    EXPECT_FALSE(vel_table_equals(&table, &table, TRUE));
}

TEST(VelTableDump, PrintsEveryTypeAndNull)
{
    VelTestTable table;
    vel_test_make_one_row(&table);
    table.with_rows(2);
    vel_table_set_int32(&table, 0, 0, -5);
    vel_table_set_int64(&table, 0, 1, -1);
    vel_table_set_double(&table, 0, 2, 1.5);
    vel_table_set_str(&table, 0, 3, "a, 100%d");
    vel_table_set_null(&table, 1, 0, TRUE);
    vel_table_set_null(&table, 1, 3, TRUE);
    EXPECT_EQ(vel_test_dump(&table, FALSE), "2x4\n"
                                            "-5, 18446744073709551615, 1.500000, a, 100%d\n"
                                            "NULL, 0, 0.000000, NULL\n");
}

TEST(VelTableDump, PrintsIndexesWithTheirEmptyBuckets)
{
    VelTestTable table;
    table.with_column("i", T_INT32).with_rows(1);
    vel_table_add_index(&table, 0);
    EXPECT_EQ(vel_test_dump(&table, FALSE), "1x1\n0\n");
    EXPECT_EQ(vel_test_dump(&table, TRUE), "1x1\n0\nkey: 0, 1 indexes:0, \n");
    vel_table_set_n(&table, 3);
    EXPECT_EQ(vel_test_dump(&table, TRUE), "3x1\n0\n0\n0\nkey: 0, 3 indexes:0, 1, 2, \n");
    vel_table_set_n(&table, 0);
    EXPECT_EQ(vel_test_dump(&table, TRUE), "0x1\nkey: 0, 0 indexes:\n");
}

TEST(VelTableDump, KeyShorterThanANumberIsFilledWithZeros)
{
    VelTestTable table;
    table.with_column("s", T_STR).with_rows(1);
    vel_table_set_str(&table, 0, 0, "a");
    vel_table_add_index(&table, 0);
    EXPECT_EQ(vel_test_dump(&table, TRUE), "1x1\na\nkey: 97, 1 indexes:0, \n");
}
