// vel_table: appended rows that wait outside the indexes until one is used.
#include <algorithm>
#include <cstdio>
#include <random>
#include <vector>

#include "vel_table_internal.h"
#include "vel_table_test_util.h"

namespace
{

/// Rows of one number each.
void append(vel_table *t, const std::vector<gint32> &values)
{
    VelTestTable source;
    const auto n = static_cast<gint32>(values.size());
    source.with_column("i", VEL_TABLE_COLUMN_TYPE_INT32).with_rows(n);
    for (gint32 row = 0; row < n; row++)
        vel_table_set_int32(&source, row, 0, values[static_cast<size_t>(row)]);
    vel_table_copy_rows(t, t->n, &source, 0, n);
}

guint keys(const vel_table &table, gint32 index = 0)
{
    return g_hash_table_size(table.indexes[index]->hash_table);
}

} // namespace

/// A table of one indexed number that lets its rows wait.
class VelTableDefer : public testing::Test
{
protected:
    void SetUp() override
    {
        table.with_column("i", VEL_TABLE_COLUMN_TYPE_INT32);
        vel_table_add_index(&table, 0);
        vel_table_defer_indexes(&table);
    }

    VelTestTable table;
};

TEST_F(VelTableDefer, AppendedRowsEnterWithTheFirstLookUp)
{
    append(&table, {10, 11});
    append(&table, {12});
    EXPECT_EQ(table.n, 3);
    EXPECT_EQ(vel_table_get_int32(&table, 2, 0), 12);
    EXPECT_EQ(keys(table), 0U);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 12), 2);
    EXPECT_EQ(keys(table), 3U);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 10), 0);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 13), -1);
    append(&table, {13});
    EXPECT_EQ(vel_table_find_int32(&table, 0, 13), 3);
    EXPECT_EQ(keys(table), 4U);
}

TEST_F(VelTableDefer, OtherTablesEnterThemAtOnce)
{
    VelTestTable other;
    other.with_column("i", VEL_TABLE_COLUMN_TYPE_INT32);
    vel_table_add_index(&other, 0);
    append(&other, {10, 11});
    EXPECT_EQ(keys(other), 2U);
}

TEST_F(VelTableDefer, ClearingEndsTheWaiting)
{
    append(&table, {10});
    vel_table_clear(&table);
    EXPECT_EQ(table.n_pending, 0);
    table.with_column("i", VEL_TABLE_COLUMN_TYPE_INT32);
    vel_table_add_index(&table, 0);
    append(&table, {10, 11});
    EXPECT_EQ(keys(table), 2U);
}

TEST_F(VelTableDefer, RowsDroppedWhileTheyWaitNeverEnter)
{
    append(&table, {10, 11, 12});
    table.with_rows(1);
    EXPECT_EQ(keys(table), 0U);
    EXPECT_EQ(table.n_pending, 1);
    table.with_rows(0);
    EXPECT_EQ(table.n_pending, 0);
    append(&table, {13});
    EXPECT_EQ(vel_table_find_int32(&table, 0, 10), -1);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 13), 0);
    EXPECT_EQ(keys(table), 1U);
}

TEST_F(VelTableDefer, RowsDroppedTogetherWithEarlierOnesAreGone)
{
    append(&table, {10, 11});
    EXPECT_EQ(vel_table_find_int32(&table, 0, 11), 1);
    append(&table, {12, 13});
    table.with_rows(1);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 10), 0);
    for (const gint32 gone : {11, 12, 13})
        EXPECT_EQ(vel_table_find_int32(&table, 0, gone), -1);
}

TEST_F(VelTableDefer, ChangingACellEntersThemBefore)
{
    append(&table, {10, 10});
    vel_table_set_int32(&table, 0, 0, 20);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 10), 1);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 20), 0);
    vel_table_set_int32(&table, 0, 0, 10);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 10), 1) << "row 0 has come back after it";
}

TEST_F(VelTableDefer, AddingRowsEntersThemBefore)
{
    append(&table, {0, 10});
    table.with_rows(3);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 0), 0);
    EXPECT_EQ(vel_table_find_int32(&table, 0, 10), 1);
}

TEST_F(VelTableDefer, ANewIndexHasThemOnce)
{
    append(&table, {10, 11});
    const gint32 same[] = {0, 0};
    vel_table_add_index_complex(&table, 2, same);
    EXPECT_EQ(keys(table, 0), 2U);
    EXPECT_EQ(keys(table, 1), 2U);
    EXPECT_EQ(table.n_pending, 0);
}

using VelTableDeferDeathTest = VelTableDefer;

TEST_F(VelTableDeferDeathTest, RowsWithTextsAreNoMoreAppendedThanElsewhere)
{
    VelTestTable source;
    table.with_column("s", VEL_TABLE_COLUMN_TYPE_STR).with_rows(2);
    source.with_column("i", VEL_TABLE_COLUMN_TYPE_INT32)
        .with_column("s", VEL_TABLE_COLUMN_TYPE_STR)
        .with_rows(2);
    vel_table_copy_rows(&table, 0, &source, 0, 2);
    EXPECT_EQ(table.n_pending, 0);
    VEL_TABLE_EXPECT_ASSERTION(vel_table_copy_rows(&table, 4, &source, 0, 2), "vel_table_set_str",
                               VEL_TABLE_CELL_RANGE);
}

TEST_F(VelTableDefer, WithoutAnIndexNoRowWaits)
{
    VelTestTable plain;
    plain.with_column("i", VEL_TABLE_COLUMN_TYPE_INT32);
    vel_table_defer_indexes(&plain);
    append(&plain, {10});
    EXPECT_EQ(plain.n_pending, 0);
}

TEST_F(VelTableDefer, PrintingShowsThemInTheIndexes)
{
    append(&table, {10});
    testing::internal::CaptureStdout();
    vel_table_dump(&table, FALSE);
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "1x1\n10\n");
    EXPECT_EQ(keys(table), 0U);
    testing::internal::CaptureStdout();
    vel_table_dump(&table, TRUE);
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "1x1\n10\nkey: 10, 1 indexes:0, \n");
}

namespace
{

/// What is done to both tables alike.
void change(vel_table *t, std::mt19937 dice)
{
    const auto roll = [&dice](gint32 n) {
        return static_cast<gint32>(dice() % static_cast<guint32>(n));
    };
    const gint32 what = roll(10);
    const gint32 row = t->n == 0 ? 0 : roll(t->n);
    if (what < 4) {
        append(t, {roll(6), roll(6), roll(6)});
    } else if (what == 4) {
        VelTestTable source;
        source.with_column("i", VEL_TABLE_COLUMN_TYPE_INT32).with_rows(2);
        vel_table_copy_rows(t, row, &source, 0, 2);
    } else if (what == 5) {
        vel_table_set_n(t, std::max(t->n - roll(8), 0));
    } else if (what == 6) {
        vel_table_set_n(t, t->n + roll(3));
    } else if (what == 7 && t->n > 0) {
        vel_table_delete_rows(t, row, roll(t->n - row + 1));
    } else if (t->n > 0) {
        vel_table_set_int32(t, row, 0, roll(6));
    }
}

} // namespace

TEST_F(VelTableDefer, LookUpsFindExactlyWhatTheyFindInOtherTables)
{
    VelTestTable eager;
    eager.with_column("i", VEL_TABLE_COLUMN_TYPE_INT32);
    vel_table_add_index(&eager, 0);
    std::mt19937 dice(3);
    gint32 waited = 0;
    for (int step = 0; step < 20000; step++) {
        const std::mt19937 same(dice());
        change(&eager, same);
        change(&table, same);
        ASSERT_TRUE(vel_table_equals(&table, &eager, TRUE)) << step;
        waited += table.n_pending > 0;
        for (gint32 value = 0; step % 4 == 0 && value < 6; value++)
            ASSERT_EQ(vel_table_find_int32(&table, 0, value),
                      vel_table_find_int32(&eager, 0, value))
                << "step " << step;
    }
    EXPECT_GT(waited, 5000);
}
