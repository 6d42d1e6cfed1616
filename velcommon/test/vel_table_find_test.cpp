// vel_table: what look-ups refuse, and that they allocate nothing.
#include <cstdlib>

#include "vel_table_test_util.h"

static const vel_table_column_type T_INT32 = VEL_TABLE_COLUMN_TYPE_INT32;
static const vel_table_column_type T_INT64 = VEL_TABLE_COLUMN_TYPE_INT64;
static const vel_table_column_type T_DOUBLE = VEL_TABLE_COLUMN_TYPE_DOUBLE;
static const vel_table_column_type T_STR = VEL_TABLE_COLUMN_TYPE_STR;

/// One column of each type and a second INT32 one, without indexes.
static void vel_test_make_unindexed(VelTestTable *table)
{
    table->with_column("j", T_INT32).with_column("i", T_INT32).with_column("l", T_INT64);
    table->with_column("d", T_DOUBLE).with_column("s", T_STR).with_rows(1);
}

TEST(VelTableFindDeathTest, LookUpWithoutAnIndexIsFatal)
{
    VelTestTable table;
    vel_test_make_unindexed(&table);
    VEL_TABLE_EXPECT_FATAL(vel_table_find_int32(&table, 1, 0), "No index defined for the column 1");
    VEL_TABLE_EXPECT_FATAL(vel_table_find_int64(&table, 2, 0), "No index defined for the column 2");
    VEL_TABLE_EXPECT_FATAL(vel_table_find_double(&table, 3, 0),
                           "No index defined for the column 3");
    VEL_TABLE_EXPECT_FATAL(vel_table_find_str(&table, 4, ""), "No index defined for the column 4");
    VEL_TABLE_EXPECT_FATAL(vel_table_find_int32_int32(&table, 1, 0, 0, 0),
                           "No index defined for the columns 1, 0");
    VEL_TABLE_EXPECT_FATAL(vel_table_find_int32_str(&table, 1, 0, 4, ""),
                           "No index defined for the columns 1, 4");
}

TEST(VelTableFindDeathTest, IndexOnMoreOrFewerColumnsDoesNotServe)
{
    VelTestTable table;
    vel_test_make_unindexed(&table);
    const gint32 both[] = {0, 1};
    vel_table_add_index_complex(&table, 2, both);
    VEL_TABLE_EXPECT_FATAL(vel_table_find_int32(&table, 0, 0), "No index defined for the column 0");
    vel_table_add_index(&table, 4);
    VEL_TABLE_EXPECT_FATAL(vel_table_find_int32_str(&table, 1, 0, 4, ""),
                           "No index defined for the columns 1, 4");
}

TEST(VelTableFindDeathTest, ColumnOutOfRangeIsAnError)
{
    VelTestTable table;
    vel_test_make_unindexed(&table);
#define VEL_TEST_EXPECT_RANGE(statement, function)                                                 \
    VEL_TABLE_EXPECT_ASSERTION(statement, function, "column >= 0 && column < t->n_columns")
    for (const gint32 column : {-1, 5}) {
        VEL_TEST_EXPECT_RANGE(vel_table_find_int32(&table, column, 0), "vel_table_find_int32");
        VEL_TEST_EXPECT_RANGE(vel_table_find_int64(&table, column, 0), "vel_table_find_int64");
        VEL_TEST_EXPECT_RANGE(vel_table_find_double(&table, column, 0), "vel_table_find_double");
        VEL_TEST_EXPECT_RANGE(vel_table_find_str(&table, column, ""), "vel_table_find_str");
        VEL_TEST_EXPECT_RANGE(vel_table_find_int32_int32(&table, column, 0, 0, 0),
                              "vel_table_find_int32_int32");
        VEL_TEST_EXPECT_RANGE(vel_table_find_int32_str(&table, column, 0, 4, ""),
                              "vel_table_find_int32_str");
    }
}

TEST(VelTableFindDeathTest, SecondColumnOutOfRangeIsAnError)
{
    VelTestTable table;
    vel_test_make_unindexed(&table);
    for (const gint32 column2 : {-1, 5}) {
        VEL_TABLE_EXPECT_ASSERTION(vel_table_find_int32_int32(&table, 0, 0, column2, 0),
                                   "vel_table_find_int32_int32",
                                   "column2 >= 0 && column2 < t->n_columns");
        VEL_TABLE_EXPECT_ASSERTION(vel_table_find_int32_str(&table, 0, 0, column2, ""),
                                   "vel_table_find_int32_str",
                                   "column2 >= 0 && column2 < t->n_columns");
    }
}

TEST(VelTableFindDeathTest, ColumnOfAnotherTypeIsAnError)
{
    VelTestTable table;
    vel_test_make_unindexed(&table);
    VEL_TABLE_EXPECT_ASSERTION(vel_table_find_int32(&table, 4, 0), "vel_table_find_int32",
                               "t->columns[column].type == VEL_TABLE_COLUMN_TYPE_INT32");
    VEL_TABLE_EXPECT_ASSERTION(vel_table_find_int64(&table, 3, 0), "vel_table_find_int64",
                               "t->columns[column].type == VEL_TABLE_COLUMN_TYPE_INT64");
    VEL_TABLE_EXPECT_ASSERTION(vel_table_find_double(&table, 2, 0), "vel_table_find_double",
                               "t->columns[column].type == VEL_TABLE_COLUMN_TYPE_DOUBLE");
    VEL_TABLE_EXPECT_ASSERTION(vel_table_find_str(&table, 1, ""), "vel_table_find_str",
                               "t->columns[column].type == VEL_TABLE_COLUMN_TYPE_STR");
    VEL_TABLE_EXPECT_ASSERTION(vel_table_find_int32_int32(&table, 2, 0, 1, 0),
                               "vel_table_find_int32_int32",
                               "t->columns[column].type == VEL_TABLE_COLUMN_TYPE_INT32");
    VEL_TABLE_EXPECT_ASSERTION(vel_table_find_int32_int32(&table, 1, 0, 2, 0),
                               "vel_table_find_int32_int32",
                               "t->columns[column2].type == VEL_TABLE_COLUMN_TYPE_INT32");
    VEL_TABLE_EXPECT_ASSERTION(vel_table_find_int32_str(&table, 2, 0, 4, ""),
                               "vel_table_find_int32_str",
                               "t->columns[column].type == VEL_TABLE_COLUMN_TYPE_INT32");
    VEL_TABLE_EXPECT_ASSERTION(vel_table_find_int32_str(&table, 1, 0, 0, ""),
                               "vel_table_find_int32_str",
                               "t->columns[column2].type == VEL_TABLE_COLUMN_TYPE_STR");
}

// Counting allocations takes a C library whose functions can be replaced; the sanitizers replace
// them themselves.
#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
static thread_local guint64 vel_test_allocations = 0;

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t n, size_t size);
void *__libc_realloc(void *block, size_t size);

void *malloc(size_t size)
{
    vel_test_allocations++;
    return __libc_malloc(size);
}

void *calloc(size_t n, size_t size)
{
    vel_test_allocations++;
    return __libc_calloc(n, size);
}

void *realloc(void *block, size_t size)
{
    vel_test_allocations++;
    return __libc_realloc(block, size);
}
}

/// A table with an index per look-up, a wide or a narrow row, and 100 rows of values.
static void vel_test_make_full(VelTestTable *table, bool is_wide)
{
    vel_test_make_unindexed(table);
    for (int i = 0; is_wide && i < 100; i++)
        table->with_column("more", T_STR);
    for (gint32 column = 1; column < 5; column++)
        vel_table_add_index(table, column);
    const gint32 numbers[] = {0, 1};
    const gint32 mixed[] = {1, 4};
    vel_table_add_index_complex(table, 2, numbers);
    vel_table_add_index_complex(table, 2, mixed);
    table->with_rows(100);
    for (gint32 row = 0; row < 100; row++) {
        vel_table_set_int32(table, row, 1, row);
        vel_table_set_str(table, row, 4, std::to_string(row).c_str());
    }
}

static gint32 vel_test_look_up_everything(vel_table *t)
{
    gint32 sum = 0;
    for (gint32 v = -10; v < 110; v++) {
        gchar text[16];
        g_snprintf(text, sizeof text, "%d", v);
        sum += vel_table_find_int32(t, 1, v) + vel_table_find_int64(t, 2, v);
        sum += vel_table_find_double(t, 3, v) + vel_table_find_str(t, 4, text);
        sum += vel_table_find_int32_int32(t, 0, 0, 1, v);
        sum += vel_table_find_int32_str(t, 1, v, 4, text);
    }
    return sum;
}

TEST(VelTableFind, AllocatesNothing)
{
    for (const bool is_wide : {false, true}) {
        VelTestTable table;
        vel_test_make_full(&table, is_wide);
        vel_test_look_up_everything(&table);
        const guint64 before = vel_test_allocations;
        const gint32 sum = vel_test_look_up_everything(&table);
        EXPECT_EQ(vel_test_allocations - before, 0U);
        EXPECT_EQ(sum, 4 * (4950 - 20) - 119 - 119);
    }
}

TEST(VelTableSetN, AppendingToAnIndexedTableAllocatesOneKeyAndOneBucketPerFreshValue)
{
    VelTestTable table;
    table.with_column("line", T_INT32).with_column("block", T_INT32).with_column("offset", T_INT32);
    vel_table_add_index(&table, 0);
    vel_table_set_reserved(&table, 2000);
    table.with_rows(1000);
    for (gint32 row = 0; row < 1000; row++)
        vel_table_set_int32(&table, row, 0, row + 1);
    const guint64 before = vel_test_allocations;
    for (gint32 row = 1000; row < 2000; row++) {
        table.with_rows(row + 1);
        vel_table_set_int32(&table, row, 0, row + 1);
        vel_table_set_int32(&table, row, 1, row);
        vel_table_set_int32(&table, row, 2, row);
    }
    // The rest is the hash table's own growth.
    EXPECT_LT(vel_test_allocations - before, 2000U + 20U);
}
#endif
