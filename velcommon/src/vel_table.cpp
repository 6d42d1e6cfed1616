// vel_table: its life, the layout of its rows and the number of rows.
// A row is the values, each at its column's offset, then the null flags: one byte for every eight
// bytes of values, which is always more than one bit per column.
#include <cstdlib>

#include "vel_table_internal.h"

void vel_table_init(vel_table *t)
{
    *t = vel_table{};
    t->strings = const_cast<gchar *>(ZERO_BUFFER);
    t->strings_len = 1;
    t->strings_reserved = 1;
}

void vel_table_done(vel_table *t)
{
    for (gint32 i = 0; i < t->n_indexes; i++)
        vel_table_index_free(t->indexes[i]);
    g_free(t->indexes);
    vel_table_free_strings(t);
    g_free(t->rows);
    for (gint32 column = 0; column < t->n_columns; column++)
        g_free(t->columns[column].name);
    g_free(t->columns);
    g_free(t->probe);
}

void vel_table_clear(vel_table *t)
{
    vel_table_done(t);
    vel_table_init(t);
}

/// Bytes of a block of rows; rows and row size have 31 bits each, so the product always fits.
static gsize vel_table_block_size(const vel_table *t, gint32 rows)
{
    return static_cast<gsize>(rows) * static_cast<gsize>(t->row_size);
}

void vel_table_set_reserved(vel_table *t, gint32 reserved)
{
    vel_assert(reserved >= t->n);
    if (t->reserved == reserved)
        return;
    // A large block comes from the system zeroed: its new rows cost nothing until they are used,
    // whereas zeroing them behind a reallocation takes longer than copying the old ones.
    auto *rows = static_cast<guint8 *>(g_malloc0(vel_table_block_size(t, reserved)));
    if (t->n > 0 && rows != nullptr)
        std::memcpy(rows, t->rows, vel_table_block_size(t, t->n));
    g_free(t->rows);
    t->rows = rows;
    t->reserved = reserved;
}

static void vel_table_shrink(vel_table *t, gint32 n)
{
    // Rows that wait are in no bucket; the order of what stays in each is the same without them.
    if (t->n - n <= t->n_pending)
        t->n_pending -= t->n - n;
    else
        vel_table_remove_rows_from_indexes(t, n, t->n);
    std::memset(vel_table_row(t, n), 0, vel_table_block_size(t, t->n - n));
    t->n = n;
}

static void vel_table_grow(vel_table *t, gint32 n)
{
    if (t->reserved < n)
        vel_table_set_reserved(t, n > G_MAXINT32 / 2 ? G_MAXINT32 : 2 * n);
    vel_table_enter_pending_rows(t);
    const gint32 old_n = t->n;
    t->n = n;
    vel_table_add_rows_to_indexes(t, old_n, n);
}

void vel_table_set_n(vel_table *t, gint32 n)
{
    vel_assert(n >= 0);
    if (n == t->n)
        return;
    if (t->row_size == 0)
        t->n = n;
    else if (n < t->n)
        vel_table_shrink(t, n);
    else
        vel_table_grow(t, n);
}

/// Copies the rows, laid out for data_size and row_size, into a new block for the present layout.
static void vel_table_copy_to_new_layout(vel_table *t, gint32 data_size, gint32 row_size)
{
    auto *rows = static_cast<guint8 *>(
        std::calloc(static_cast<gsize>(t->reserved), static_cast<gsize>(t->row_size)));
    if (rows == nullptr)
        g_error("calloc failed");
    // Before the first column there is no old block to copy from.
    for (gint32 row = 0; row < t->n && row_size > 0; row++) {
        const guint8 *source = t->rows + static_cast<gsize>(row) * static_cast<gsize>(row_size);
        guint8 *target = rows + static_cast<gsize>(row) * static_cast<gsize>(t->row_size);
        std::memcpy(target, source, static_cast<gsize>(data_size));
        std::memcpy(target + t->data_size, source + data_size,
                    static_cast<gsize>(row_size - data_size));
    }
    g_free(t->rows);
    t->rows = rows;
}

static void vel_table_relayout(vel_table *t, gint32 data_size, gint32 row_size)
{
    if (t->reserved < t->n) {
        t->reserved = t->n;
    } else if (t->n < 1) {
        if (t->reserved < 1)
            return;
        g_free(t->rows);
        t->rows = static_cast<guint8 *>(g_malloc0(vel_table_block_size(t, t->reserved)));
        return;
    }
    vel_table_copy_to_new_layout(t, data_size, row_size);
}

/// Makes room for more columns.
static void vel_table_reserve_descriptors(vel_table *t, gint32 n)
{
    t->columns = g_renew(vel_table_column, t->columns, gsize(t->n_columns) + gsize(n));
}

/// Appends a descriptor, for which there is room, and lays a row out anew; the rows themselves are
/// still as they were.
static void vel_table_append_descriptor(vel_table *t, const gchar *name, vel_table_column_type type)
{
    const gint32 size = COLUMN_SIZES[type];
    const gint64 offset =
        t->n_columns == 0 ? 0 : gint64{t->columns[t->n_columns - 1].offset} + size;
    const gint64 data_size = offset + size;
    const gint64 row_size = data_size + (data_size + 7) / 8;
    if (row_size > G_MAXINT32)
        g_error("A row of a table would take %" G_GINT64_FORMAT " bytes; the limit is %d bytes",
                row_size, G_MAXINT32);
    t->columns[t->n_columns] = {type, g_strdup(name), static_cast<gint32>(offset)};
    t->n_columns++;
    t->data_size = static_cast<gint32>(data_size);
    t->row_size = static_cast<gint32>(row_size);
}

void vel_table_add_column(vel_table *t, const gchar *name, vel_table_column_type type)
{
    vel_assert_nonnull(name);
    vel_assert(type >= VEL_TABLE_COLUMN_TYPE_INT32 && type <= VEL_TABLE_COLUMN_TYPE_STR);
    const gint32 old_data_size = t->data_size;
    const gint32 old_row_size = t->row_size;
    vel_table_reserve_descriptors(t, 1);
    vel_table_append_descriptor(t, name, type);
    vel_table_relayout(t, old_data_size, old_row_size);
}

void vel_table_add_columns(vel_table *t, gint32 n, const gchar *const *names,
                           vel_table_column_type type)
{
    if (n < 1)
        return;
    for (gint32 i = 0; i < n; i++) {
        const gchar *const name = names[i];
        vel_assert_nonnull(name);
    }
    vel_assert(type >= VEL_TABLE_COLUMN_TYPE_INT32 && type <= VEL_TABLE_COLUMN_TYPE_STR);
    const gint32 old_data_size = t->data_size;
    const gint32 old_row_size = t->row_size;
    vel_table_reserve_descriptors(t, n);
    for (gint32 i = 0; i < n; i++)
        vel_table_append_descriptor(t, names[i], type);
    vel_table_relayout(t, old_data_size, old_row_size);
}
