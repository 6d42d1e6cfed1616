// vel_table: indexes, their keys and buckets, and look-ups through them.
#include <limits>
#include <vector>

#include "vel_table_internal.h"
#include "vel_table_test_util.h"

static const vel_table_column_type T_INT32 = VEL_TABLE_COLUMN_TYPE_INT32;
static const vel_table_column_type T_INT64 = VEL_TABLE_COLUMN_TYPE_INT64;
static const vel_table_column_type T_DOUBLE = VEL_TABLE_COLUMN_TYPE_DOUBLE;
static const vel_table_column_type T_STR = VEL_TABLE_COLUMN_TYPE_STR;

/// One column of each type, each with an index, and one index on two columns.
static void vel_test_make_indexed(VelTestTable *table)
{
    table->with_column("i", T_INT32)
        .with_column("l", T_INT64)
        .with_column("d", T_DOUBLE)
        .with_column("s", T_STR);
    for (gint32 column = 0; column < 4; column++)
        vel_table_add_index(table, column);
    const gint32 both[] = {3, 0};
    vel_table_add_index_complex(table, 2, both);
}

static std::string vel_test_key(const std::string &data)
{
    const auto len = static_cast<gint32>(data.size());
    return std::string(reinterpret_cast<const char *>(&len), sizeof len) + data;
}

TEST(VelTableKey, HashIsTheOneOfGBytes)
{
    guint32 seed = 1;
    for (gsize size = 0; size < 300; size++) {
        std::string data;
        for (gsize i = 0; i < size; i++) {
            seed = seed * 1664525 + 1013904223;
            data += static_cast<char>(seed >> 24);
        }
        GBytes *bytes = g_bytes_new(data.data(), data.size());
        EXPECT_EQ(vel_table_index_hash_table_key_hash(vel_test_key(data).data()),
                  g_bytes_hash(bytes));
        g_bytes_unref(bytes);
    }
}

TEST(VelTableKey, EqualityWantsTheSameLengthAndBytes)
{
    const auto equals = [](const std::string &a, const std::string &b) {
        return vel_table_index_hash_table_key_equals(vel_test_key(a).data(),
                                                     vel_test_key(b).data()) != FALSE;
    };
    EXPECT_TRUE(equals("", ""));
    EXPECT_TRUE(equals("abc", "abc"));
    EXPECT_FALSE(equals("abc", "abd"));
    EXPECT_FALSE(equals("abc", "abcd"));
    EXPECT_FALSE(equals("", "a"));
    EXPECT_FALSE(equals(std::string("a\0b", 3), std::string("a\0c", 3)));
}

TEST(VelTableKey, PartsFollowTheIndexsColumnOrderWithoutSeparators)
{
    VelTestTable table;
    vel_test_make_indexed(&table);
    table.with_rows(1);
    vel_table_set_int32(&table, 0, 0, 0x01020304);
    vel_table_set_str(&table, 0, 3, "text");
    const gint32 number = 0x01020304;
    const std::string expected =
        vel_test_key("text" + std::string(reinterpret_cast<const char *>(&number), 4));
    g_autofree gchar *key =
        vel_table_create_row_key(&table, table.indexes[4], vel_table_row(&table, 0));
    EXPECT_EQ(std::string(key, 12), expected);
}

TEST(VelTableFind, TableWithoutRowsHasNone)
{
    VelTestTable table;
    vel_test_make_indexed(&table);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 0), -1);
    EXPECT_EQ(vel_table_find_int64(&table, 1, 0), -1);
    EXPECT_EQ(vel_table_find_double(&table, 2, 0), -1);
    EXPECT_EQ(vel_table_find_str(&table, 3, ""), -1);
    EXPECT_EQ(vel_table_find_int32_str(&table, 0, 0, 3, ""), -1);
}

TEST(VelTableFind, NewRowsAreFoundByZeroValues)
{
    VelTestTable table;
    vel_test_make_indexed(&table);
    table.with_rows(2);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 0), 0);
    EXPECT_EQ(vel_table_find_int64(&table, 1, 0), 0);
    EXPECT_EQ(vel_table_find_double(&table, 2, 0), 0);
    EXPECT_EQ(vel_table_find_str(&table, 3, ""), 0);
    EXPECT_EQ(vel_table_find_int32_str(&table, 0, 0, 3, ""), 0);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 1), -1);
}

TEST(VelTableFind, EveryTypeIsFoundByItsValue)
{
    VelTestTable table;
    vel_test_make_indexed(&table);
    table.with_rows(3);
    vel_table_set_int32(&table, 1, 0, -7);
    vel_table_set_int64(&table, 1, 1, G_MININT64);
    vel_table_set_double(&table, 1, 2, 0.1);
    vel_table_set_str(&table, 1, 3,
                      "Gr\xc3\xbc\xc3\x9f"
                      "e");
    EXPECT_EQ(vel_table_find_int32(&table, 0, -7), 1);
    EXPECT_EQ(vel_table_find_int64(&table, 1, G_MININT64), 1);
    EXPECT_EQ(vel_table_find_double(&table, 2, 0.1), 1);
    EXPECT_EQ(vel_table_find_str(&table, 3,
                                 "Gr\xc3\xbc\xc3\x9f"
                                 "e"),
              1);
    EXPECT_EQ(vel_table_find_int32_str(&table, 0, -7, 3,
                                       "Gr\xc3\xbc\xc3\x9f"
                                       "e"),
              1);
    EXPECT_EQ(vel_table_find_int32_str(&table, 0, -7, 3, "Gr\xc3\xbc"), -1);
    EXPECT_EQ(vel_table_find_int32_str(&table, 0, 7, 3,
                                       "Gr\xc3\xbc\xc3\x9f"
                                       "e"),
              -1);
}

TEST(VelTableFind, DoublesAreFoundByTheirBytes)
{
    VelTestTable table;
    vel_test_make_indexed(&table);
    table.with_rows(2);
    vel_table_set_double(&table, 0, 2, -0.0);
    EXPECT_EQ(vel_table_find_double(&table, 2, 0.0), 1);
    EXPECT_EQ(vel_table_find_double(&table, 2, -0.0), 0);
    const gdouble nan = std::numeric_limits<gdouble>::quiet_NaN();
    vel_table_set_double(&table, 1, 2, nan);
    EXPECT_EQ(vel_table_find_double(&table, 2, nan), 1);
}

TEST(VelTableFind, NullCellsAreFoundByZeroValues)
{
    VelTestTable table;
    vel_test_make_indexed(&table);
    table.with_rows(1);
    vel_table_set_int32(&table, 0, 0, 5);
    vel_table_set_str(&table, 0, 3, "five");
    vel_table_set_null(&table, 0, 0, TRUE);
    vel_table_set_null(&table, 0, 3, TRUE);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 5), -1);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 0), 0);
    EXPECT_EQ(vel_table_find_str(&table, 3, "five"), -1);
    EXPECT_EQ(vel_table_find_str(&table, 3, ""), 0);
    vel_table_set_null(&table, 0, 0, FALSE);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 0), 0);
}

TEST(VelTableFind, OfEqualRowsTheFirstAddedComesBackAndThenTheOther)
{
    VelTestTable table;
    table.with_column("i", T_INT32).with_rows(3);
    vel_table_add_index(&table, 0);
    vel_table_set_int32(&table, 2, 0, 9);
    vel_table_set_int32(&table, 1, 0, 9);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 9), 2);
    vel_table_set_int32(&table, 2, 0, 8);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 9), 1);
    vel_table_set_int32(&table, 1, 0, 8);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 9), -1);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 8), 2);
}

TEST(VelTableFind, LastEntryOfABucketFillsTheGapOfARemovedOne)
{
    VelTestTable table;
    table.with_column("i", T_INT32).with_rows(5);
    vel_table_add_index(&table, 0);
    vel_table_set_int32(&table, 0, 0, 1);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 0), 4);
    vel_table_set_int32(&table, 4, 0, 1);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 0), 3);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 1), 0);
}

TEST(VelTableFind, DroppedRowsAreNotFound)
{
    VelTestTable table;
    vel_test_make_indexed(&table);
    table.with_rows(3);
    vel_table_set_int32(&table, 2, 0, 5);
    vel_table_set_str(&table, 2, 3, "five");
    table.with_rows(2);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 5), -1);
    EXPECT_EQ(vel_table_find_str(&table, 3, "five"), -1);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 0), 0);
    table.with_rows(0);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 0), -1);
}

TEST(VelTableFind, TwoNumbersAreFoundInEitherOrder)
{
    VelTestTable table;
    table.with_column("a", T_INT32).with_column("b", T_INT32).with_rows(10);
    const gint32 both[] = {1, 0};
    vel_table_add_index_complex(&table, 2, both);
    for (gint32 row = 0; row < 10; row++) {
        vel_table_set_int32(&table, row, 0, row);
        vel_table_set_int32(&table, row, 1, 10 - row);
    }
    for (gint32 row = 0; row < 10; row++) {
        EXPECT_EQ(vel_table_find_int32_int32(&table, 0, row, 1, 10 - row), row);
        EXPECT_EQ(vel_table_find_int32_int32(&table, 1, 10 - row, 0, row), row);
        EXPECT_EQ(vel_table_find_int32_int32(&table, 0, row, 1, 99), -1);
    }
}

TEST(VelTableFind, RowsOfManyColumnsAndLongTextsAreFound)
{
    VelTestTable table;
    table.with_column("line", T_INT32);
    for (int i = 0; i < 30; i++)
        table.with_column("s", T_STR);
    table.with_rows(3);
    ASSERT_GT(table.data_size, 100);
    vel_table_add_index(&table, 0);
    vel_table_add_index(&table, 30);
    const gint32 both[] = {0, 30};
    vel_table_add_index_complex(&table, 2, both);
    const std::string text(5000, 'x');
    vel_table_set_int32(&table, 1, 0, 77);
    vel_table_set_str(&table, 1, 30, text.c_str());
    EXPECT_EQ(vel_table_find_int32(&table, 0, 77), 1);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 0), 0);
    EXPECT_EQ(vel_table_find_str(&table, 30, text.c_str()), 1);
    EXPECT_EQ(vel_table_find_int32_str(&table, 0, 77, 30, text.c_str()), 1);
    EXPECT_EQ(vel_table_find_int32_str(&table, 0, 0, 30, ""), 0);
    table.with_column("later", T_STR);
    EXPECT_EQ(vel_table_find_int32_str(&table, 0, 77, 30, text.c_str()), 1);
    EXPECT_EQ(vel_table_find_str(&table, 30, ""), 0);
}

TEST(VelTableFind, ColumnNotGivenIsZeroThoughItWasGivenBefore)
{
    for (const bool is_wide : {false, true}) {
        VelTestTable table;
        for (int i = 0; i < (is_wide ? 40 : 2); i++)
            table.with_column("i", T_INT32);
        table.with_rows(2);
        const gint32 both[] = {0, 1};
        vel_table_add_index_complex(&table, 2, both);
        vel_table_set_int32(&table, 1, 0, 5);
        EXPECT_EQ(vel_table_find_int32_int32(&table, 0, 5, 1, 6), -1);
        // The same column twice is served by an index that holds it, the other one being zero.
        EXPECT_EQ(vel_table_find_int32_int32(&table, 0, 5, 0, 5), 1);
        EXPECT_EQ(vel_table_find_int32_int32(&table, 1, 0, 1, 0), 0);
    }
}

TEST(VelTableFind, LookedUpTextLeavesThePoolButForItsRoom)
{
    VelTestTable table;
    table.with_column("s", T_STR).with_rows(1);
    vel_table_add_index(&table, 0);
    vel_table_set_str(&table, 0, 0, "abc");
    EXPECT_EQ(vel_table_find_str(&table, 0, "defghi"), -1);
    EXPECT_EQ(table.strings_len, 5);
    EXPECT_EQ(table.strings_reserved, 24);
    EXPECT_EQ(vel_table_find_str(&table, 0, "abc"), 0);
    EXPECT_EQ(table.strings_len, 5);
    EXPECT_EQ(table.strings_reserved, 24);
    EXPECT_STREQ(vel_table_get_str(&table, 0, 0), "abc");
}

TEST(VelTableFind, TextLookedUpWithANumberLeavesThePoolButForItsRoom)
{
    VelTestTable table;
    table.with_column("i", T_INT32).with_column("s", T_STR).with_rows(1);
    const gint32 both[] = {0, 1};
    vel_table_add_index_complex(&table, 2, both);
    vel_table_set_str(&table, 0, 1, "abc");
    EXPECT_EQ(vel_table_find_int32_str(&table, 0, 0, 1, "defghi"), -1);
    EXPECT_EQ(table.strings_len, 5);
    EXPECT_EQ(table.strings_reserved, 24);
    EXPECT_EQ(vel_table_find_int32_str(&table, 0, 0, 1, "abc"), 0);
    EXPECT_EQ(table.strings_len, 5);
}

TEST(VelTableAddIndex, ExistingRowsAreEnteredInRowOrder)
{
    VelTestTable table;
    table.with_column("i", T_INT32).with_rows(6);
    vel_table_set_int32(&table, 4, 0, 1);
    vel_table_set_int32(&table, 2, 0, 1);
    vel_table_add_index(&table, 0);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 1), 2);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 0), 0);
}

TEST(VelTableAddIndex, SecondOneOnTheColumnChangesNothing)
{
    VelTestTable table;
    table.with_column("a", T_INT32).with_column("b", T_INT32).with_rows(1);
    vel_table_add_index(&table, 0);
    const vel_table_index *index = table.indexes[0];
    vel_table_add_index(&table, 0);
    EXPECT_EQ(table.n_indexes, 1);
    EXPECT_EQ(table.indexes[0], index);
    EXPECT_EQ(g_hash_table_size(index->hash_table), 1U);
}

TEST(VelTableAddIndex, OneOnTwoColumnsDoesNotCountAsOneOnEither)
{
    VelTestTable table;
    table.with_column("a", T_INT32).with_column("b", T_INT32);
    const gint32 both[] = {0, 1};
    vel_table_add_index_complex(&table, 2, both);
    vel_table_add_index(&table, 0);
    EXPECT_EQ(table.n_indexes, 2);
    EXPECT_EQ(table.indexes[1]->n_columns, 1);
}

TEST(VelTableAddIndex, SameColumnsInAnotherOrderAreTheSameIndex)
{
    VelTestTable table;
    table.with_column("a", T_INT32).with_column("b", T_INT32).with_column("c", T_INT32);
    gint32 columns[] = {2, 0, 1};
    vel_table_add_index_complex(&table, 3, columns);
    columns[0] = 1;
    columns[2] = 2;
    vel_table_add_index_complex(&table, 3, columns);
    EXPECT_EQ(table.n_indexes, 1);
    EXPECT_EQ(table.indexes[0]->columns[0], 2);
    EXPECT_EQ(table.indexes[0]->columns[2], 1);
}

TEST(VelTableFindIndex, GivesThePositionOfTheOldestMatch)
{
    VelTestTable table;
    table.with_column("a", T_INT32).with_column("b", T_INT32).with_column("c", T_INT32);
    const gint32 ab[] = {0, 1};
    const gint32 bc[] = {1, 2};
    const gint32 ca[] = {2, 0};
    const gint32 bb[] = {1, 1};
    vel_table_add_index_complex(&table, 2, bc);
    vel_table_add_index_complex(&table, 2, ab);
    vel_table_add_index(&table, 2);
    EXPECT_EQ(vel_table_find_index(&table, 2, bc), 0);
    EXPECT_EQ(vel_table_find_index(&table, 2, ab), 1);
    EXPECT_EQ(vel_table_find_index(&table, 1, ca), 2);
    EXPECT_EQ(vel_table_find_index(&table, 2, ca), -1);
    EXPECT_EQ(vel_table_find_index(&table, 1, ab), -1);
    EXPECT_EQ(vel_table_find_index(&table, 2, bb), 0);
}

TEST(VelTableAddColumn, IndexesStayAsTheyAre)
{
    VelTestTable table;
    table.with_column("i", T_INT32).with_rows(3);
    vel_table_add_index(&table, 0);
    for (gint32 row = 0; row < 3; row++)
        vel_table_set_int32(&table, row, 0, 10 + row);
    table.with_column("s", T_STR).with_column("t", T_STR);
    for (gint32 row = 0; row < 3; row++)
        EXPECT_EQ(vel_table_find_int32(&table, 0, 10 + row), row);
    vel_table_set_int32(&table, 1, 0, 20);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 11), -1);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 20), 1);
}

TEST(VelTableIndexDeathTest, IndexOnNoColumnIsAnError)
{
    VelTestTable table;
    table.with_column("a", T_INT32);
    const gint32 columns[] = {0};
    const gint32 wrong[] = {1};
    for (const gint32 column : {-1, 1})
        VEL_TABLE_EXPECT_ASSERTION(vel_table_add_index(&table, column), "vel_table_add_index",
                                   "column >= 0 && column < t->n_columns");
    VEL_TABLE_EXPECT_ASSERTION(vel_table_add_index_complex(&table, 0, columns),
                               "vel_table_add_index_complex", "n_columns > 0");
    VEL_TABLE_EXPECT_ASSERTION(vel_table_find_index(&table, 0, columns), "vel_table_find_index",
                               "n_columns > 0");
    VEL_TABLE_EXPECT_ASSERTION(vel_table_find_index(&table, 1, wrong), "vel_table_find_index",
                               "columns[0] >= 0 && columns[0] < t->n_columns");
    VEL_TABLE_EXPECT_ASSERTION(vel_table_add_index_complex(&table, 1, wrong),
                               "vel_table_find_index",
                               "columns[0] >= 0 && columns[0] < t->n_columns");
}

TEST(VelTableIndexDeathTest, InternalLookUpWithoutItsArgumentsIsAnError)
{
    VelTestTable table;
    vel_test_make_indexed(&table);
    table.with_rows(1);
    const vel_table_index *ti = table.indexes[0];
    VEL_TABLE_EXPECT_NONNULL(vel_table_index_find(nullptr, &table, table.rows),
                             "vel_table_index_find", "ti");
    VEL_TABLE_EXPECT_NONNULL(vel_table_index_find(ti, nullptr, table.rows), "vel_table_index_find",
                             "t");
    VEL_TABLE_EXPECT_NONNULL(vel_table_index_find(ti, &table, nullptr), "vel_table_index_find",
                             "row_ptr");
}

/// A key of 3 GB from one text of 1 MB, 3,000 times.
static void vel_test_index_long_keys()
{
    VelTestTable table;
    table.with_column("s", T_STR).with_rows(1);
    vel_table_set_str(&table, 0, 0, std::string(1000000, 'x').c_str());
    const std::vector<gint32> columns(3000, 0);
    vel_table_add_index_complex(&table, 3000, columns.data());
}

TEST(VelTableIndexDeathTest, KeyBeyondItsLimitIsFatal)
{
    VEL_TABLE_EXPECT_FATAL(vel_test_index_long_keys(), "A key of an index would take "
                                                       "3000000000 bytes; the limit is 2147483647");
}
