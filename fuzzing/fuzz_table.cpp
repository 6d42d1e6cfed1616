// Two tables and their models, side by side: columns, cells, indexes, look-ups, whole rows, copies
// from one table into the other, compaction. An input is a sequence of operations, each a byte that
// tells which and on which table, and its arguments.
#include "vel_fuzz.h"
#include "vel_fuzz_table_model.h"
#include "vel_table.h"
#include "vel_table_internal.h"

#include <cstring>

static constexpr gint32 VEL_FUZZ_COLUMNS_MAX = 20;
static constexpr gint32 VEL_FUZZ_ROWS_MAX = 48;

/// Every cell is compared once in so many operations, and at the end.
static constexpr gint32 VEL_FUZZ_FULL_CHECK = 16;

namespace
{

struct vel_fuzz_pair {
    vel_table real;
    vel_fuzz_model model;
};

} // namespace

static gint32 vel_fuzz_n_columns(const vel_fuzz_pair *pair)
{
    return static_cast<gint32>(pair->model.columns.size());
}

static gint32 vel_fuzz_n_rows(const vel_fuzz_pair *pair)
{
    return static_cast<gint32>(pair->model.rows.size());
}

static vel_table_column_type vel_fuzz_type(const vel_fuzz_pair *pair, gint32 column)
{
    return pair->model.columns[static_cast<gsize>(column)].type;
}

template <typename T> static T vel_fuzz_as(const std::string &bytes)
{
    T value = 0;
    std::memcpy(&value, bytes.data(), sizeof value);
    return value;
}

template <typename T> static std::string vel_fuzz_bytes_of(T value)
{
    std::string bytes(sizeof value, '\0');
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

/// Mostly a value out of few, so that rows share values.
static std::string vel_fuzz_take_value(vel_fuzz_input *input, vel_table_column_type type)
{
    static const char *const texts[] = {"", "a", "ab", "b", "\xC3\xBC", "\1\2\3\4"};
    const guint8 choice = vel_fuzz_take_byte(input);
    if (type == VEL_TABLE_COLUMN_TYPE_STR) {
        if (choice < 128)
            return texts[choice % G_N_ELEMENTS(texts)];
        if (choice < 160)
            return std::string((choice - 127U) * 40U, 'x');
        return vel_fuzz_up_to_zero(vel_fuzz_take_text(input));
    }
    const gint64 number = choice < 240 ? choice % 8 - 2 : vel_fuzz_take_int64(input);
    if (type == VEL_TABLE_COLUMN_TYPE_INT32)
        return vel_fuzz_bytes_of(static_cast<gint32>(number));
    if (type == VEL_TABLE_COLUMN_TYPE_DOUBLE && choice < 240)
        return vel_fuzz_bytes_of(static_cast<gdouble>(number) / 2);
    return vel_fuzz_bytes_of(number);
}

static void vel_fuzz_check_cell(const vel_fuzz_pair *pair, gint32 row, gint32 column)
{
    const vel_table *const real = &pair->real;
    const vel_fuzz_model *const model = &pair->model;
    const bool is_null = model->rows[static_cast<gsize>(row)].is_null[static_cast<gsize>(column)];
    vel_fuzz_check((vel_table_get_null(real, row, column) != FALSE) == is_null);
    const std::string bytes = vel_fuzz_model_get_bytes(model, row, column);
    switch (vel_fuzz_type(pair, column)) {
    case VEL_TABLE_COLUMN_TYPE_INT32:
        vel_fuzz_check(vel_fuzz_bytes_of(vel_table_get_int32(real, row, column)) == bytes);
        break;
    case VEL_TABLE_COLUMN_TYPE_INT64:
        vel_fuzz_check(vel_fuzz_bytes_of(vel_table_get_int64(real, row, column)) == bytes);
        break;
    case VEL_TABLE_COLUMN_TYPE_DOUBLE:
        vel_fuzz_check(vel_fuzz_bytes_of(vel_table_get_double(real, row, column)) == bytes);
        break;
    case VEL_TABLE_COLUMN_TYPE_STR:
        vel_fuzz_check(vel_fuzz_model_get_str(model, row, column) ==
                       vel_table_get_str(real, row, column));
        break;
    }
}

static void vel_fuzz_check_sizes(const vel_fuzz_pair *pair)
{
    const vel_table *const real = &pair->real;
    const vel_fuzz_model *const model = &pair->model;
    vel_fuzz_check(real->n == vel_fuzz_n_rows(pair));
    vel_fuzz_check(real->n_columns == vel_fuzz_n_columns(pair));
    vel_fuzz_check(real->n_indexes == static_cast<gint32>(model->indexes.size()));
    vel_fuzz_check(real->reserved == model->reserved);
    vel_fuzz_check(real->strings_len == static_cast<gint64>(model->pool.size()));
    vel_fuzz_check(real->strings_reserved == model->pool_reserved);
}

/// Every key and its rows; look-ups see but the first row, and of some indexes nothing.
static void vel_fuzz_check_index(const vel_table_index *real, const vel_fuzz_model_index &model)
{
    std::map<std::string, std::vector<gint32>> buckets;
    GHashTableIter iter;
    gpointer key = nullptr;
    gpointer value = nullptr;
    g_hash_table_iter_init(&iter, real->hash_table);
    while (g_hash_table_iter_next(&iter, &key, &value)) {
        const auto *const rows = static_cast<const gint32 *>(value);
        const std::string length(static_cast<const char *>(key), sizeof(gint32));
        const std::string bytes(static_cast<const char *>(key) + sizeof(gint32),
                                vel_fuzz_as<guint32>(length));
        if (rows[0] > 0)
            buckets[bytes].assign(rows + 1, rows + 1 + rows[0]);
    }
    gsize n = 0;
    for (const auto &[bytes, rows] : model.buckets) {
        if (rows.empty())
            continue;
        vel_fuzz_check(buckets[bytes] == rows);
        n++;
    }
    vel_fuzz_check(buckets.size() == n);
}

static void vel_fuzz_check_all(vel_fuzz_pair *pair)
{
    vel_table_enter_pending_rows(&pair->real);
    for (gint32 i = 0; i < pair->real.n_indexes; i++)
        vel_fuzz_check_index(pair->real.indexes[i], pair->model.indexes[static_cast<gsize>(i)]);
    for (gint32 row = 0; row < vel_fuzz_n_rows(pair); row++)
        for (gint32 column = 0; column < vel_fuzz_n_columns(pair); column++)
            vel_fuzz_check_cell(pair, row, column);
    vel_fuzz_check(vel_table_get_live_strings_len(&pair->real) ==
                   vel_fuzz_model_live_length(&pair->model));
}

static void vel_fuzz_add_columns(vel_fuzz_pair *pair, vel_fuzz_input *input)
{
    const auto type = static_cast<vel_table_column_type>(vel_fuzz_take_number(input, 4));
    const gint32 n = vel_fuzz_take_number(input, 8);
    if (vel_fuzz_n_columns(pair) + MAX(n, 1) > VEL_FUZZ_COLUMNS_MAX)
        return;
    if (n < 6) {
        vel_table_add_column(&pair->real, n % 2 == 0 ? "even" : "odd", type);
        vel_fuzz_model_add_column(&pair->model, n % 2 == 0 ? "even" : "odd", type);
        return;
    }
    const gchar *const names[] = {"even", "odd", "even"};
    vel_table_add_columns(&pair->real, n - 4, names, type);
    for (gint32 i = 0; i < n - 4; i++)
        vel_fuzz_model_add_column(&pair->model, names[i], type);
}

static void vel_fuzz_store(vel_fuzz_pair *pair, gint32 row, gint32 column, const std::string &value)
{
    vel_table *const real = &pair->real;
    switch (vel_fuzz_type(pair, column)) {
    case VEL_TABLE_COLUMN_TYPE_INT32:
        vel_table_set_int32(real, row, column, vel_fuzz_as<gint32>(value));
        break;
    case VEL_TABLE_COLUMN_TYPE_INT64:
        vel_table_set_int64(real, row, column, vel_fuzz_as<gint64>(value));
        break;
    case VEL_TABLE_COLUMN_TYPE_DOUBLE:
        vel_table_set_double(real, row, column, vel_fuzz_as<gdouble>(value));
        break;
    case VEL_TABLE_COLUMN_TYPE_STR:
        vel_table_set_str(real, row, column, value.c_str());
        vel_fuzz_model_set_str(&pair->model, row, column, value);
        return;
    }
    vel_fuzz_model_set_bytes(&pair->model, row, column, value);
}

/// A text of the table's own is borrowed while the pool moves.
static void vel_fuzz_store_own_text(vel_fuzz_pair *pair, gint32 row, gint32 column, gint32 from_row)
{
    const gchar *const text = vel_table_get_str(&pair->real, from_row, column);
    const std::string copy = text;
    vel_table_set_str(&pair->real, row, column, text);
    vel_fuzz_model_set_str(&pair->model, row, column, copy);
}

static void vel_fuzz_change_cell(vel_fuzz_pair *pair, vel_fuzz_input *input)
{
    if (vel_fuzz_n_rows(pair) == 0 || vel_fuzz_n_columns(pair) == 0)
        return;
    const gint32 row = vel_fuzz_take_number(input, vel_fuzz_n_rows(pair));
    const gint32 column = vel_fuzz_take_number(input, vel_fuzz_n_columns(pair));
    const gint32 what = vel_fuzz_take_number(input, 8);
    if (what < 2) {
        vel_table_set_null(&pair->real, row, column, what == 0);
        vel_fuzz_model_set_null(&pair->model, row, column, what == 0);
    } else if (what == 2 && vel_fuzz_type(pair, column) == VEL_TABLE_COLUMN_TYPE_STR) {
        const gint32 from_row = vel_fuzz_take_number(input, vel_fuzz_n_rows(pair));
        vel_fuzz_store_own_text(pair, row, column, from_row);
    } else {
        vel_fuzz_store(pair, row, column, vel_fuzz_take_value(input, vel_fuzz_type(pair, column)));
    }
    vel_fuzz_check_cell(pair, row, column);
}

static void vel_fuzz_change_size(vel_fuzz_pair *pair, vel_fuzz_input *input)
{
    const gint32 n = vel_fuzz_take_number(input, VEL_FUZZ_ROWS_MAX);
    const gint32 more = vel_fuzz_take_number(input, 64);
    vel_table_set_n(&pair->real, n);
    vel_fuzz_model_set_n(&pair->model, n);
    if (more < 16 && vel_fuzz_n_columns(pair) > 0) {
        vel_table_set_reserved(&pair->real, n + more);
        pair->model.reserved = n + more;
    }
}

static std::vector<gint32> vel_fuzz_take_index(const vel_fuzz_pair *pair, vel_fuzz_input *input)
{
    std::vector<gint32> columns;
    const gint32 n = 1 + vel_fuzz_take_number(input, 3);
    for (gint32 i = 0; i < n; i++)
        columns.push_back(vel_fuzz_take_number(input, vel_fuzz_n_columns(pair)));
    return columns;
}

static void vel_fuzz_add_index(vel_fuzz_pair *pair, vel_fuzz_input *input)
{
    if (vel_fuzz_n_columns(pair) == 0 || pair->model.indexes.size() >= 8)
        return;
    const std::vector<gint32> columns = vel_fuzz_take_index(pair, input);
    const auto n = static_cast<gint32>(columns.size());
    vel_fuzz_check(vel_table_find_index(&pair->real, n, columns.data()) ==
                   vel_fuzz_model_find_index(&pair->model, columns));
    if (n == 1)
        vel_table_add_index(&pair->real, columns[0]);
    else
        vel_table_add_index_complex(&pair->real, n, columns.data());
    vel_fuzz_model_add_index(&pair->model, columns);
}

static gint32 vel_fuzz_find_one(vel_fuzz_pair *pair, gint32 column, const std::string &value)
{
    vel_table *const real = &pair->real;
    switch (vel_fuzz_type(pair, column)) {
    case VEL_TABLE_COLUMN_TYPE_INT32:
        return vel_table_find_int32(real, column, vel_fuzz_as<gint32>(value));
    case VEL_TABLE_COLUMN_TYPE_INT64:
        return vel_table_find_int64(real, column, vel_fuzz_as<gint64>(value));
    case VEL_TABLE_COLUMN_TYPE_DOUBLE:
        return vel_table_find_double(real, column, vel_fuzz_as<gdouble>(value));
    case VEL_TABLE_COLUMN_TYPE_STR:
        vel_fuzz_model_make_room(&pair->model, value);
        return vel_table_find_str(real, column, value.c_str());
    }
    return -1;
}

static gint32 vel_fuzz_find_two(vel_fuzz_pair *pair, gint32 column, const std::string &value,
                                gint32 column2, const std::string &value2)
{
    if (vel_fuzz_type(pair, column2) == VEL_TABLE_COLUMN_TYPE_STR) {
        vel_fuzz_model_make_room(&pair->model, value2);
        return vel_table_find_int32_str(&pair->real, column, vel_fuzz_as<gint32>(value), column2,
                                        value2.c_str());
    }
    return vel_table_find_int32_int32(&pair->real, column, vel_fuzz_as<gint32>(value), column2,
                                      vel_fuzz_as<gint32>(value2));
}

/// Whether the image of a row with both values holds them both: columns may lie over each other.
static bool vel_fuzz_lie_apart(const vel_fuzz_pair *pair, gint32 column, gint32 column2)
{
    const vel_fuzz_model_column &a = pair->model.columns[static_cast<gsize>(column)];
    const vel_fuzz_model_column &b = pair->model.columns[static_cast<gsize>(column2)];
    return a.offset + vel_fuzz_model_width(a.type) <= b.offset ||
           b.offset + vel_fuzz_model_width(b.type) <= a.offset;
}

static void vel_fuzz_look_up(vel_fuzz_pair *pair, vel_fuzz_input *input)
{
    if (pair->model.indexes.empty())
        return;
    const auto i = vel_fuzz_take_number(input, static_cast<gint32>(pair->model.indexes.size()));
    const std::vector<gint32> columns = pair->model.indexes[static_cast<gsize>(i)].columns;
    const std::string value = vel_fuzz_take_value(input, vel_fuzz_type(pair, columns[0]));
    if (columns.size() == 1) {
        const gint32 expected = vel_fuzz_model_find(&pair->model, i, {value});
        vel_fuzz_check(vel_fuzz_find_one(pair, columns[0], value) == expected);
        return;
    }
    const vel_table_column_type type2 = vel_fuzz_type(pair, columns[1]);
    const bool is_number = type2 == VEL_TABLE_COLUMN_TYPE_INT32;
    if (columns.size() != 2 || vel_fuzz_type(pair, columns[0]) != VEL_TABLE_COLUMN_TYPE_INT32 ||
        !(is_number || type2 == VEL_TABLE_COLUMN_TYPE_STR) ||
        !vel_fuzz_lie_apart(pair, columns[0], columns[1]))
        return;
    const std::string value2 = vel_fuzz_take_value(input, type2);
    // The oldest index with these columns answers, and it may have them in the other order.
    const gint32 index = vel_fuzz_model_find_index(&pair->model, columns);
    const bool is_swapped = pair->model.indexes[static_cast<gsize>(index)].columns[0] != columns[0];
    const gint32 expected = is_swapped ? vel_fuzz_model_find(&pair->model, index, {value2, value})
                                       : vel_fuzz_model_find(&pair->model, index, {value, value2});
    vel_fuzz_check(vel_fuzz_find_two(pair, columns[0], value, columns[1], value2) == expected);
    if (is_number)
        vel_fuzz_check(vel_fuzz_find_two(pair, columns[1], value2, columns[0], value) == expected);
}

static void vel_fuzz_delete_rows(vel_fuzz_pair *pair, vel_fuzz_input *input)
{
    const gint32 n = vel_fuzz_n_rows(pair);
    const gint32 from = vel_fuzz_take_number(input, n + 1);
    const gint32 deleted = vel_fuzz_take_number(input, n - from + 1);
    vel_table_delete_rows(&pair->real, from, deleted);
    vel_fuzz_model_delete_rows(&pair->model, from, deleted);
}

static bool vel_fuzz_has_texts(const vel_fuzz_pair *pair)
{
    for (gint32 column = 0; column < vel_fuzz_n_columns(pair); column++) {
        if (vel_fuzz_type(pair, column) == VEL_TABLE_COLUMN_TYPE_STR)
            return true;
    }
    return false;
}

static void vel_fuzz_copy_rows(vel_fuzz_pair *pair, const vel_fuzz_pair *from,
                               vel_fuzz_input *input)
{
    if (!vel_fuzz_model_equals(&pair->model, &from->model, false))
        return;
    const gint32 old_n = vel_fuzz_n_rows(pair);
    const gint32 from_row = vel_fuzz_take_number(input, vel_fuzz_n_rows(from) + 1);
    // The last new row with texts must lie below the old row count.
    const gint32 room = vel_fuzz_has_texts(pair) ? old_n : 2 * VEL_FUZZ_ROWS_MAX - old_n;
    const gint32 n =
        vel_fuzz_take_number(input, MAX(MIN(vel_fuzz_n_rows(from) - from_row, room), 0) + 1);
    const gint32 places = vel_fuzz_has_texts(pair) ? old_n - n : old_n;
    const gint32 at = vel_fuzz_take_number(input, places + 1);
    vel_table_copy_rows(&pair->real, at, &from->real, from_row, n);
    vel_fuzz_model_copy_rows(&pair->model, at, &from->model, from_row, n);
}

static void vel_fuzz_compact(vel_fuzz_pair *pair)
{
    const gint32 old_len = pair->real.strings_len;
    vel_fuzz_model_compact(&pair->model);
    const guint64 dropped = vel_table_compact_strings(&pair->real);
    vel_fuzz_check(static_cast<guint64>(old_len) == dropped + pair->model.pool.size());
}

static void vel_fuzz_clear(vel_fuzz_pair *pair)
{
    vel_table_clear(&pair->real);
    pair->model = vel_fuzz_model();
}

/// Seldom: it puts the table to an end, or to another way of keeping its indexes.
static void vel_fuzz_change_life(vel_fuzz_pair *pair, vel_fuzz_input *input)
{
    const gint32 what = vel_fuzz_take_number(input, 8);
    if (what == 0)
        vel_fuzz_clear(pair);
    else if (what < 4)
        vel_table_defer_indexes(&pair->real);
}

static void vel_fuzz_step(vel_fuzz_pair *pair, const vel_fuzz_pair *other, vel_fuzz_input *input)
{
    switch (vel_fuzz_take_number(input, 16)) {
    case 0:
        return vel_fuzz_add_columns(pair, input);
    case 1:
        return vel_fuzz_change_size(pair, input);
    case 2:
        return vel_fuzz_add_index(pair, input);
    case 3:
        return vel_fuzz_delete_rows(pair, input);
    case 4:
        return vel_fuzz_copy_rows(pair, other, input);
    case 5:
        return vel_fuzz_compact(pair);
    case 6:
        return vel_fuzz_change_life(pair, input);
    case 7:
        for (const bool compare_rows : {false, true})
            vel_fuzz_check((vel_table_equals(&pair->real, &other->real, compare_rows) != FALSE) ==
                           vel_fuzz_model_equals(&pair->model, &other->model, compare_rows));
        return;
    case 8:
    case 9:
    case 10:
        return vel_fuzz_look_up(pair, input);
    default:
        return vel_fuzz_change_cell(pair, input);
    }
}

gint vel_fuzz_table(const guint8 *data, gsize size)
{
    vel_fuzz_input input = {data, size};
    vel_fuzz_pair pairs[2];
    for (vel_fuzz_pair &pair : pairs)
        vel_table_init(&pair.real);
    for (gint32 step = 0; input.size > 0; step++) {
        const gint32 i = vel_fuzz_take_number(&input, 2);
        vel_fuzz_step(&pairs[i], &pairs[1 - i], &input);
        vel_fuzz_check_sizes(&pairs[i]);
        if (step % VEL_FUZZ_FULL_CHECK == 0)
            vel_fuzz_check_all(&pairs[i]);
    }
    for (vel_fuzz_pair &pair : pairs) {
        vel_fuzz_check_all(&pair);
        vel_table_done(&pair.real);
    }
    return 0;
}
