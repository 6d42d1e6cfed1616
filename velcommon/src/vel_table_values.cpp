// vel_table: reading and writing cells. Values lie at odd addresses, so they are always copied.
#include "vel_table_internal.h"

/// The byte of a row that holds a column's null flag.
static guint8 *vel_table_null_byte(const vel_table *t, gint32 row, gint32 column)
{
    return vel_table_row(t, row) + t->data_size + column / 8;
}

static guint8 vel_table_null_mask(gint32 column)
{
    return static_cast<guint8>(1U << (column % 8));
}

void vel_table_set_non_null_internal(vel_table *t, gint32 row, gint32 column)
{
    VEL_TABLE_ASSERT_CELL();
    guint8 *flags = vel_table_null_byte(t, row, column);
    *flags = static_cast<guint8>(*flags & ~vel_table_null_mask(column));
}

void vel_table_set_null(vel_table *t, gint32 row, gint32 column, gboolean is_null)
{
    VEL_TABLE_ASSERT_CELL();
    vel_table_remove_cell_from_indexes(t, row, column);
    if (is_null) {
        guint8 *flags = vel_table_null_byte(t, row, column);
        *flags = static_cast<guint8>(*flags | vel_table_null_mask(column));
        std::memset(vel_table_cell(t, vel_table_row(t, row), column), 0,
                    static_cast<gsize>(vel_table_column_size(t, column)));
    } else {
        vel_table_set_non_null_internal(t, row, column);
    }
    vel_table_add_cell_to_indexes(t, row, column);
}

gboolean vel_table_get_null(const vel_table *t, gint32 row, gint32 column)
{
    VEL_TABLE_ASSERT_CELL();
    return (*vel_table_null_byte(t, row, column) & vel_table_null_mask(column)) != 0;
}

/// Stores a value of the column's width and keeps the indexes current.
static void vel_table_store(vel_table *t, gint32 row, gint32 column, const void *v)
{
    vel_table_remove_cell_from_indexes(t, row, column);
    std::memcpy(vel_table_cell(t, vel_table_row(t, row), column), v,
                static_cast<gsize>(vel_table_column_size(t, column)));
    vel_table_set_non_null_internal(t, row, column);
    vel_table_add_cell_to_indexes(t, row, column);
}

static void vel_table_load(const vel_table *t, gint32 row, gint32 column, void *v)
{
    std::memcpy(v, vel_table_cell(t, vel_table_row(t, row), column),
                static_cast<gsize>(vel_table_column_size(t, column)));
}

void vel_table_set_int32(vel_table *t, gint32 row, gint32 column, gint32 v)
{
    VEL_TABLE_ASSERT_CELL();
    VEL_TABLE_ASSERT_TYPE(VEL_TABLE_COLUMN_TYPE_INT32);
    vel_table_store(t, row, column, &v);
}

void vel_table_set_int64(vel_table *t, gint32 row, gint32 column, gint64 v)
{
    VEL_TABLE_ASSERT_CELL();
    VEL_TABLE_ASSERT_TYPE(VEL_TABLE_COLUMN_TYPE_INT64);
    vel_table_store(t, row, column, &v);
}

void vel_table_set_double(vel_table *t, gint32 row, gint32 column, gdouble v)
{
    VEL_TABLE_ASSERT_CELL();
    VEL_TABLE_ASSERT_TYPE(VEL_TABLE_COLUMN_TYPE_DOUBLE);
    vel_table_store(t, row, column, &v);
}

void vel_table_set_str(vel_table *t, gint32 row, gint32 column, const gchar *v)
{
    vel_assert_nonnull(v);
    VEL_TABLE_ASSERT_CELL();
    VEL_TABLE_ASSERT_TYPE(VEL_TABLE_COLUMN_TYPE_STR);
    // Appending first changes no key: the pool's texts keep their offsets.
    const guint64 offset = vel_table_append_string(t, v);
    vel_table_store(t, row, column, &offset);
}

gint32 vel_table_get_int32(const vel_table *t, gint32 row, gint32 column)
{
    VEL_TABLE_ASSERT_CELL();
    VEL_TABLE_ASSERT_TYPE(VEL_TABLE_COLUMN_TYPE_INT32);
    gint32 v = 0;
    vel_table_load(t, row, column, &v);
    return v;
}

gint64 vel_table_get_int64(const vel_table *t, gint32 row, gint32 column)
{
    VEL_TABLE_ASSERT_CELL();
    VEL_TABLE_ASSERT_TYPE(VEL_TABLE_COLUMN_TYPE_INT64);
    gint64 v = 0;
    vel_table_load(t, row, column, &v);
    return v;
}

gdouble vel_table_get_double(const vel_table *t, gint32 row, gint32 column)
{
    VEL_TABLE_ASSERT_CELL();
    VEL_TABLE_ASSERT_TYPE(VEL_TABLE_COLUMN_TYPE_DOUBLE);
    gdouble v = 0;
    vel_table_load(t, row, column, &v);
    return v;
}

const gchar *vel_table_get_str(const vel_table *t, gint32 row, gint32 column)
{
    VEL_TABLE_ASSERT_CELL();
    VEL_TABLE_ASSERT_TYPE(VEL_TABLE_COLUMN_TYPE_STR);
    return vel_table_text_at(t, vel_table_cell(t, vel_table_row(t, row), column));
}
