// vel_table against a naive model: random operations on both, rows as vectors, look-ups by linear
// search. A fixed list of seeds; a failure names the seed and the step.
#include <cstring>
#include <map>
#include <random>
#include <vector>

#include "vel_table_internal.h"
#include "vel_table_test_util.h"

struct VelModelCell {
    bool is_null = false;
    gint64 number = 0; ///< Of INT32 and INT64, the bits of DOUBLE.
    std::string text;

    bool operator==(const VelModelCell &) const = default;
};

typedef std::vector<VelModelCell> VelModelRow;

struct VelModel {
    std::vector<vel_table_column_type> types;
    std::vector<VelModelRow> rows;
    std::vector<std::vector<gint32>> indexes;

    void set_n(gint32 n)
    {
        rows.resize(static_cast<size_t>(n), VelModelRow(types.size()));
    }
    VelModelCell &cell(gint32 row, gint32 column)
    {
        return rows[static_cast<size_t>(row)][static_cast<size_t>(column)];
    }
};

/// A table and its model, and the dice for what happens to them.
struct VelModelRun {
    std::mt19937 dice;
    VelTestTable table;
    VelModel model;
    bool has_stale_texts = false; ///< Copied texts are in their buckets twice and outlive changes.

    explicit VelModelRun(guint32 seed) : dice(seed) {}

    gint32 roll(gint32 n)
    {
        return static_cast<gint32>(dice() % static_cast<guint32>(n));
    }
};

/// A value out of few, so that rows share values. A double's are such that bits and numbers agree.
static VelModelCell vel_model_roll_value(VelModelRun *run, vel_table_column_type type)
{
    VelModelCell cell;
    const gint32 v = run->roll(12) - 4;
    if (type == VEL_TABLE_COLUMN_TYPE_STR) {
        const char *const texts[] = {"", "a", "ab", "b", "\xc3\xbc", "a somewhat longer text"};
        cell.text = v < 0 ? std::string(static_cast<size_t>(-v * 100), 'x') : texts[v % 6];
    } else if (type == VEL_TABLE_COLUMN_TYPE_DOUBLE) {
        const gdouble number = v * 0.5;
        memcpy(&cell.number, &number, sizeof number);
    } else {
        cell.number = v;
    }
    return cell;
}

static void vel_model_store(vel_table *t, gint32 row, gint32 column, const VelModelCell &cell)
{
    gdouble number = 0;
    switch (t->columns[column].type) {
    case VEL_TABLE_COLUMN_TYPE_INT32:
        vel_table_set_int32(t, row, column, static_cast<gint32>(cell.number));
        break;
    case VEL_TABLE_COLUMN_TYPE_INT64:
        vel_table_set_int64(t, row, column, cell.number);
        break;
    case VEL_TABLE_COLUMN_TYPE_DOUBLE:
        memcpy(&number, &cell.number, sizeof number);
        vel_table_set_double(t, row, column, number);
        break;
    case VEL_TABLE_COLUMN_TYPE_STR:
        vel_table_set_str(t, row, column, cell.text.c_str());
        break;
    }
}

static VelModelCell vel_model_load(const vel_table *t, gint32 row, gint32 column)
{
    VelModelCell cell;
    gdouble number = 0;
    cell.is_null = vel_table_get_null(t, row, column) != FALSE;
    switch (t->columns[column].type) {
    case VEL_TABLE_COLUMN_TYPE_INT32:
        cell.number = vel_table_get_int32(t, row, column);
        break;
    case VEL_TABLE_COLUMN_TYPE_INT64:
        cell.number = vel_table_get_int64(t, row, column);
        break;
    case VEL_TABLE_COLUMN_TYPE_DOUBLE:
        number = vel_table_get_double(t, row, column);
        memcpy(&cell.number, &number, sizeof number);
        break;
    case VEL_TABLE_COLUMN_TYPE_STR:
        cell.text = vel_table_get_str(t, row, column);
        break;
    }
    return cell;
}

static gint32 vel_model_find_one(vel_table *t, gint32 column, const VelModelCell &cell)
{
    gdouble number = 0;
    switch (t->columns[column].type) {
    case VEL_TABLE_COLUMN_TYPE_INT32:
        return vel_table_find_int32(t, column, static_cast<gint32>(cell.number));
    case VEL_TABLE_COLUMN_TYPE_INT64:
        return vel_table_find_int64(t, column, cell.number);
    case VEL_TABLE_COLUMN_TYPE_DOUBLE:
        memcpy(&number, &cell.number, sizeof number);
        return vel_table_find_double(t, column, number);
    case VEL_TABLE_COLUMN_TYPE_STR:
        return vel_table_find_str(t, column, cell.text.c_str());
    }
    return -2;
}

/// Looks values up through an index of one column, or of two where there is a function for it.
static gint32 vel_model_find(vel_table *t, const std::vector<gint32> &columns,
                             const VelModelRow &wanted)
{
    if (columns.size() == 1)
        return vel_model_find_one(t, columns[0], wanted[0]);
    const auto number = static_cast<gint32>(wanted[0].number);
    if (t->columns[columns[1]].type == VEL_TABLE_COLUMN_TYPE_STR)
        return vel_table_find_int32_str(t, columns[0], number, columns[1], wanted[1].text.c_str());
    return vel_table_find_int32_int32(t, columns[0], number, columns[1],
                                      static_cast<gint32>(wanted[1].number));
}

static bool vel_model_matches(const VelModel &model, const std::vector<gint32> &columns,
                              const VelModelRow &wanted, size_t row)
{
    for (size_t i = 0; i < columns.size(); i++) {
        const VelModelCell &cell = model.rows[row][static_cast<size_t>(columns[i])];
        if (cell.number != wanted[i].number || cell.text != wanted[i].text)
            return false;
    }
    return true;
}

static void vel_model_check_find(VelModelRun *run, const std::vector<gint32> &columns)
{
    const VelModel &model = run->model;
    VelModelRow wanted;
    bool has_text = false;
    for (const gint32 column : columns) {
        const vel_table_column_type type = model.types[static_cast<size_t>(column)];
        wanted.push_back(vel_model_roll_value(run, type));
        has_text = has_text || type == VEL_TABLE_COLUMN_TYPE_STR;
    }
    const gint32 row = vel_model_find(&run->table, columns, wanted);
    if (has_text && run->has_stale_texts)
        return;
    bool expected = false;
    for (size_t i = 0; i < model.rows.size() && !expected; i++)
        expected = vel_model_matches(model, columns, wanted, i);
    ASSERT_EQ(row >= 0, expected);
    if (expected) {
        ASSERT_LT(row, run->table.n);
        ASSERT_TRUE(vel_model_matches(model, columns, wanted, static_cast<size_t>(row)));
    }
}

static void vel_model_check_rows(VelModelRun *run)
{
    vel_table *t = &run->table;
    ASSERT_EQ(static_cast<size_t>(t->n), run->model.rows.size());
    ASSERT_LE(t->n, t->reserved);
    for (gint32 row = 0; row < t->n; row++)
        for (gint32 column = 0; column < t->n_columns; column++)
            ASSERT_EQ(vel_model_load(t, row, column), run->model.cell(row, column));
}

/// A column whose value shares no bytes with the one before it.
static void vel_model_add_column(VelModelRun *run, bool with_texts)
{
    const std::vector<vel_table_column_type> &types = run->model.types;
    gint32 type = run->roll(with_texts ? 4 : 3);
    if (type == 0 && !types.empty() && types.back() != VEL_TABLE_COLUMN_TYPE_INT32)
        type = 1 + run->roll(with_texts ? 3 : 2);
    run->table.with_column("c", static_cast<vel_table_column_type>(type));
    run->model.types.push_back(static_cast<vel_table_column_type>(type));
    for (VelModelRow &row : run->model.rows)
        row.resize(types.size());
}

static void vel_model_add_index(VelModelRun *run)
{
    const auto n = static_cast<gint32>(run->model.types.size());
    std::vector<gint32> columns = {run->roll(n)};
    if (run->roll(2) == 0) {
        columns.push_back(run->roll(n));
        const auto type_of = [run](gint32 c) {
            return run->model.types[static_cast<size_t>(c)];
        };
        const vel_table_column_type second = type_of(columns[1]);
        if (columns[0] == columns[1] || type_of(columns[0]) != VEL_TABLE_COLUMN_TYPE_INT32 ||
            (second != VEL_TABLE_COLUMN_TYPE_INT32 && second != VEL_TABLE_COLUMN_TYPE_STR))
            return;
        const gint32 swapped[] = {columns[1], columns[0]};
        vel_table_add_index_complex(&run->table, 2, run->roll(2) ? swapped : columns.data());
    } else {
        vel_table_add_index(&run->table, columns[0]);
    }
    run->model.indexes.push_back(columns);
}

static void vel_model_copy_rows(VelModelRun *run)
{
    VelTestTable source;
    std::vector<VelModelRow> rows;
    const std::vector<vel_table_column_type> &types = run->model.types;
    bool has_texts = false;
    for (const vel_table_column_type type : types) {
        source.with_column("c", type);
        has_texts = has_texts || type == VEL_TABLE_COLUMN_TYPE_STR;
    }
    const gint32 old_n = run->table.n;
    const gint32 n = has_texts ? run->roll(old_n + 1) : run->roll(20);
    const gint32 index = has_texts ? run->roll(old_n - n + 1) : run->roll(old_n + 1);
    const gint32 from_index = run->roll(3);
    source.with_rows(from_index + n + run->roll(3));
    for (gint32 row = 0; row < source.n; row++) {
        rows.emplace_back(types.size());
        for (gint32 column = 0; column < source.n_columns; column++) {
            VelModelCell cell = vel_model_roll_value(run, types[static_cast<size_t>(column)]);
            vel_model_store(&source, row, column, cell);
            if (run->roll(4) == 0) {
                vel_table_set_null(&source, row, column, TRUE);
                cell = VelModelCell{true, 0, ""};
            }
            rows.back()[static_cast<size_t>(column)] = cell;
        }
    }
    vel_table_copy_rows(&run->table, index, &source, from_index, n);
    run->model.rows.insert(run->model.rows.begin() + index, rows.begin() + from_index,
                           rows.begin() + from_index + n);
    run->has_stale_texts = run->has_stale_texts || (has_texts && n > 0);
}

static void vel_model_delete_rows(VelModelRun *run)
{
    const gint32 n = run->table.n;
    if (n == 0)
        return;
    const gint32 from = run->roll(n);
    const gint32 deleted = run->roll(n - from + 1);
    vel_table_delete_rows(&run->table, from, deleted);
    std::vector<VelModelRow> &rows = run->model.rows;
    rows.erase(rows.begin() + from, rows.begin() + from + deleted);
}

static void vel_model_change_cell(VelModelRun *run)
{
    if (run->table.n == 0)
        return;
    const gint32 row = run->roll(run->table.n);
    const gint32 column = run->roll(run->table.n_columns);
    VelModelCell &cell = run->model.cell(row, column);
    const gint32 what = run->roll(10);
    if (what == 0) {
        vel_table_set_null(&run->table, row, column, TRUE);
        cell = VelModelCell{true, 0, ""};
    } else if (what == 1) {
        vel_table_set_null(&run->table, row, column, FALSE);
        cell.is_null = false;
    } else {
        cell = vel_model_roll_value(run, run->model.types[static_cast<size_t>(column)]);
        vel_model_store(&run->table, row, column, cell);
    }
}

static void vel_model_change_size(VelModelRun *run)
{
    const gint32 n = run->roll(60);
    vel_table_set_n(&run->table, n);
    run->model.set_n(n);
    if (run->roll(3) == 0)
        vel_table_set_reserved(&run->table, n + run->roll(10));
}

static void vel_model_step(VelModelRun *run, bool with_texts)
{
    const gint32 what = run->roll(100);
    if (what < 60)
        vel_model_change_cell(run);
    else if (what < 64)
        vel_model_change_size(run);
    else if (what < 67)
        vel_model_delete_rows(run);
    else if (what < 69)
        vel_model_copy_rows(run);
    else if (what < 71)
        vel_model_add_index(run);
    else if (what < 72 && run->model.types.size() < 20)
        vel_model_add_column(run, with_texts);
    else if (what < 74)
        vel_table_compact_strings(&run->table);
    else if (!run->model.indexes.empty())
        vel_model_check_find(run, run->model.indexes[static_cast<size_t>(
                                      run->roll(static_cast<gint32>(run->model.indexes.size())))]);
}

static void vel_model_run(guint32 seed, bool with_texts)
{
    VelModelRun run(seed);
    if (seed % 2 == 1)
        vel_table_defer_indexes(&run.table);
    vel_model_add_column(&run, with_texts);
    for (gint32 step = 0; step < 1500; step++) {
        SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(step));
        vel_model_step(&run, with_texts);
        if (step % 10 == 0)
            vel_model_check_rows(&run);
        if (testing::Test::HasFatalFailure())
            return;
    }
}

TEST(VelTableModel, RandomOperationsOnTablesOfNumbers)
{
    for (guint32 seed = 0; seed < 30 && !HasFatalFailure(); seed++)
        vel_model_run(seed, false);
}

TEST(VelTableModel, RandomOperationsOnTablesWithTexts)
{
    for (guint32 seed = 1000; seed < 1040 && !HasFatalFailure(); seed++)
        vel_model_run(seed, true);
}

/// The buckets of an index on one INT32 column: rows in the order they came, gaps filled from the
/// end.
struct VelModelBuckets {
    std::vector<gint32> values;
    std::map<gint32, std::vector<gint32>> buckets;

    void add(gint32 row)
    {
        buckets[values[static_cast<size_t>(row)]].push_back(row);
    }
    void remove(gint32 row)
    {
        std::vector<gint32> &bucket = buckets[values[static_cast<size_t>(row)]];
        for (gint32 &entry : bucket)
            if (entry == row) {
                entry = bucket.back();
                bucket.pop_back();
                return;
            }
    }
    gint32 find(gint32 value)
    {
        return buckets[value].empty() ? -1 : buckets[value][0];
    }
};

static void vel_model_delete_in_buckets(VelModelBuckets *model, gint32 from, gint32 n)
{
    const auto old_n = static_cast<gint32>(model->values.size());
    for (gint32 row = from; row < old_n; row++)
        model->remove(row);
    model->values.erase(model->values.begin() + from, model->values.begin() + from + n);
    for (gint32 row = from; row < old_n - n; row++)
        model->add(row);
}

TEST(VelTableModel, LookUpsGiveExactlyTheFirstRowOfTheBucket)
{
    std::mt19937 dice(7);
    VelTestTable table;
    table.with_column("i", VEL_TABLE_COLUMN_TYPE_INT32);
    vel_table_add_index(&table, 0);
    VelModelBuckets model;
    for (int step = 0; step < 30000; step++) {
        const auto n = static_cast<gint32>(model.values.size());
        const auto row = n == 0 ? 0 : static_cast<gint32>(dice() % static_cast<guint32>(n));
        if (n == 0 || (n < 300 && dice() % 5 == 0)) {
            model.values.push_back(0);
            model.add(n);
            table.with_rows(n + 1);
        } else if (dice() % 200 == 0) {
            const auto deleted = static_cast<gint32>(dice() % static_cast<guint32>(n - row));
            vel_table_delete_rows(&table, row, deleted);
            if (deleted > 0)
                vel_model_delete_in_buckets(&model, row, deleted);
        } else {
            const auto value = static_cast<gint32>(dice() % 6);
            model.remove(row);
            model.values[static_cast<size_t>(row)] = value;
            model.add(row);
            vel_table_set_int32(&table, row, 0, value);
        }
        for (gint32 value = 0; value < 6; value++)
            ASSERT_EQ(vel_table_find_int32(&table, 0, value), model.find(value)) << step;
    }
}
