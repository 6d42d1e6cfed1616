// vel_table: finding a row by value. The values are laid into an image of a row that is zero
// otherwise, and the image's key is looked up. Images of wide rows are kept by the table, zero
// between look-ups, so that looking up allocates nothing.
#include "vel_table_internal.h"

/// Value bytes of a row up to which its image lies on the stack.
static constexpr gint32 VEL_TABLE_STACK_ROW_SIZE = 100;

/// One value to look up.
typedef struct vel_table_wanted {
    gint32 column;
    const void *value; ///< As many bytes as the column's values have.
} vel_table_wanted;

static const vel_table_index *vel_table_one_column_index(const vel_table *t, gint32 column)
{
    const gint32 i = vel_table_find_index(t, 1, &column);
    if (i < 0)
        g_error("No index defined for the column %d", column);
    return t->indexes[i];
}

static const vel_table_index *vel_table_two_column_index(const vel_table *t, gint32 column,
                                                         gint32 column2)
{
    const gint32 columns[] = {column, column2};
    const gint32 i = vel_table_find_index(t, 2, columns);
    if (i < 0)
        g_error("No index defined for the columns %d, %d", column, column2);
    return t->indexes[i];
}

/// The table's own image of a row, all zero, with room for all columns.
static guint8 *vel_table_wide_probe(vel_table *t)
{
    if (t->probe_size < t->data_size) {
        g_free(t->probe);
        t->probe = static_cast<guint8 *>(g_malloc0(static_cast<gsize>(t->data_size)));
        t->probe_size = t->data_size;
    }
    return t->probe;
}

/// Looks up rows that hold all the wanted values.
static gint32 vel_table_find_values(vel_table *t, const vel_table_index *ti,
                                    const vel_table_wanted *wanted, gint32 n_wanted)
{
    vel_table_enter_pending_rows(t);
    guint8 stack[VEL_TABLE_STACK_ROW_SIZE] = {};
    const bool is_wide = t->data_size > VEL_TABLE_STACK_ROW_SIZE;
    guint8 *image = is_wide ? vel_table_wide_probe(t) : stack;
    for (gint32 i = 0; i < n_wanted; i++)
        std::memcpy(vel_table_cell(t, image, wanted[i].column), wanted[i].value,
                    static_cast<gsize>(vel_table_column_size(t, wanted[i].column)));
    const gint32 row = vel_table_index_find(ti, t, image);
    for (gint32 i = 0; is_wide && i < n_wanted; i++)
        std::memset(vel_table_cell(t, image, wanted[i].column), 0,
                    static_cast<gsize>(vel_table_column_size(t, wanted[i].column)));
    return row;
}

gint32 vel_table_find_int32(vel_table *t, gint32 column, gint32 value)
{
    vel_assert(column >= 0 && column < t->n_columns);
    VEL_TABLE_ASSERT_TYPE(VEL_TABLE_COLUMN_TYPE_INT32);
    const vel_table_wanted wanted = {column, &value};
    return vel_table_find_values(t, vel_table_one_column_index(t, column), &wanted, 1);
}

gint32 vel_table_find_int64(vel_table *t, gint32 column, gint64 value)
{
    vel_assert(column >= 0 && column < t->n_columns);
    VEL_TABLE_ASSERT_TYPE(VEL_TABLE_COLUMN_TYPE_INT64);
    const vel_table_wanted wanted = {column, &value};
    return vel_table_find_values(t, vel_table_one_column_index(t, column), &wanted, 1);
}

gint32 vel_table_find_double(vel_table *t, gint32 column, gdouble value)
{
    vel_assert(column >= 0 && column < t->n_columns);
    VEL_TABLE_ASSERT_TYPE(VEL_TABLE_COLUMN_TYPE_DOUBLE);
    const vel_table_wanted wanted = {column, &value};
    return vel_table_find_values(t, vel_table_one_column_index(t, column), &wanted, 1);
}

gint32 vel_table_find_str(vel_table *t, gint32 column, const gchar *value)
{
    vel_assert(column >= 0 && column < t->n_columns);
    VEL_TABLE_ASSERT_TYPE(VEL_TABLE_COLUMN_TYPE_STR);
    const vel_table_index *ti = vel_table_one_column_index(t, column);
    // The text lies at the end of the pool while it is looked up.
    const gint32 strings_len = t->strings_len;
    const guint64 offset = vel_table_append_string(t, value);
    const vel_table_wanted wanted = {column, &offset};
    const gint32 row = vel_table_find_values(t, ti, &wanted, 1);
    t->strings_len = strings_len;
    return row;
}

gint32 vel_table_find_int32_int32(vel_table *t, gint32 column, gint32 value, gint32 column2,
                                  gint32 value2)
{
    vel_assert(column >= 0 && column < t->n_columns);
    vel_assert(column2 >= 0 && column2 < t->n_columns);
    VEL_TABLE_ASSERT_TYPE(VEL_TABLE_COLUMN_TYPE_INT32);
    vel_assert(t->columns[column2].type == VEL_TABLE_COLUMN_TYPE_INT32);
    const vel_table_wanted wanted[] = {{column, &value}, {column2, &value2}};
    return vel_table_find_values(t, vel_table_two_column_index(t, column, column2), wanted, 2);
}

gint32 vel_table_find_int32_str(vel_table *t, gint32 column, gint32 value, gint32 column2,
                                const gchar *value2)
{
    vel_assert(column >= 0 && column < t->n_columns);
    vel_assert(column2 >= 0 && column2 < t->n_columns);
    VEL_TABLE_ASSERT_TYPE(VEL_TABLE_COLUMN_TYPE_INT32);
    vel_assert(t->columns[column2].type == VEL_TABLE_COLUMN_TYPE_STR);
    const vel_table_index *ti = vel_table_two_column_index(t, column, column2);
    const gint32 strings_len = t->strings_len;
    const guint64 offset = vel_table_append_string(t, value2);
    const vel_table_wanted wanted[] = {{column, &value}, {column2, &offset}};
    const gint32 row = vel_table_find_values(t, ti, wanted, 2);
    t->strings_len = strings_len;
    return row;
}
