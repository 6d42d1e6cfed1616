// vel_table: operations on whole rows: delete, copy, compare, print.
#include <cinttypes>
#include <cstdio>

#include "vel_table_internal.h"

void vel_table_delete_rows(vel_table *t, gint32 from, gint32 n)
{
    vel_assert(n >= 0);
    if (n == 0)
        return;
    vel_assert(from >= 0 && from < t->n);
    vel_assert_as(gint64{from} + n <= t->n, "from + n <= t->n");
    vel_table_remove_rows_from_indexes(t, from, t->n);
    if (t->row_size > 0) {
        const auto row_size = static_cast<gsize>(t->row_size);
        std::memmove(vel_table_row(t, from), vel_table_row(t, from + n),
                     static_cast<gsize>(t->n - from - n) * row_size);
        std::memset(vel_table_row(t, t->n - n), 0, static_cast<gsize>(n) * row_size);
    }
    t->n -= n;
    vel_table_add_rows_to_indexes(t, from, t->n);
}

/// Makes a gap of n rows at index and fills it with the bytes of the source's rows.
static void vel_table_copy_row_bytes(vel_table *t, gint32 index, const vel_table *from,
                                     gint32 from_index, gint32 n)
{
    if (t->row_size == 0)
        return;
    const auto row_size = static_cast<gsize>(t->row_size);
    std::memmove(vel_table_row(t, index + n), vel_table_row(t, index),
                 static_cast<gsize>(t->n - index) * row_size);
    std::memcpy(vel_table_row(t, index), vel_table_row(from, from_index),
                static_cast<gsize>(n) * row_size);
}

/// Makes the offsets of the copied STR cells, which are the source's, safe to read as this table's:
/// one behind the end of the pool must not become readable while texts are appended, or the row
/// would be taken out of an index under another key than it was entered with.
static void vel_table_clear_foreign_offsets(vel_table *t, gint32 index, gint32 n, gint32 column)
{
    for (gint32 row = index; row < index + n; row++) {
        guint8 *cell = vel_table_cell(t, vel_table_row(t, row), column);
        guint64 offset = 0;
        std::memcpy(&offset, cell, sizeof offset);
        if (offset >= static_cast<guint64>(t->strings_len))
            std::memset(cell, 0, sizeof offset);
    }
}

/// Brings one copied cell's text from the source's pool into this table's.
static void vel_table_copy_text(vel_table *t, gint32 row, const vel_table *from, gint32 from_row,
                                gint32 column)
{
    if (vel_table_get_null(from, from_row, column))
        vel_table_set_null(t, row, column, TRUE);
    else
        vel_table_set_str(t, row, column, vel_table_get_str(from, from_row, column));
}

static bool vel_table_has_texts(const vel_table *t)
{
    for (gint32 column = 0; column < t->n_columns; column++)
        if (t->columns[column].type == VEL_TABLE_COLUMN_TYPE_STR)
            return true;
    return false;
}

static void vel_table_copy_texts(vel_table *t, gint32 index, const vel_table *from,
                                 gint32 from_index, gint32 n)
{
    if (!vel_table_has_texts(t))
        return;
    for (gint32 column = 0; column < t->n_columns; column++)
        if (t->columns[column].type == VEL_TABLE_COLUMN_TYPE_STR)
            vel_table_clear_foreign_offsets(t, index, n, column);
    for (gint32 i = 0; i < n; i++)
        for (gint32 column = 0; column < t->n_columns; column++)
            if (t->columns[column].type == VEL_TABLE_COLUMN_TYPE_STR)
                vel_table_copy_text(t, index + i, from, from_index + i, column);
}

void vel_table_copy_rows(vel_table *t, gint32 index, const vel_table *from, gint32 from_index,
                         gint32 n)
{
    vel_assert_as(vel_table_equals(t, from, FALSE), "vel_table_equals(t, from, false)");
    vel_assert(index >= 0 && index <= t->n);
    vel_assert(from_index >= 0 && from_index <= from->n);
    vel_assert(n >= 0);
    vel_assert_as(gint64{from_index} + n <= from->n, "from_index + n <= from->n");
    vel_assert(t != from);
    if (n == 0)
        return;
    if (n > G_MAXINT32 - t->n)
        g_error("A table would have %" G_GINT64_FORMAT " rows; the limit is %d rows",
                gint64{t->n} + n, G_MAXINT32);
    if (t->reserved < t->n + n)
        vel_table_set_reserved(t, t->n + n);
    if (t->defers_indexes && t->n_indexes > 0 && index == t->n && !vel_table_has_texts(t)) {
        vel_table_copy_row_bytes(t, index, from, from_index, n);
        t->n += n;
        t->n_pending += n;
        return;
    }
    vel_table_remove_rows_from_indexes(t, index, t->n);
    vel_table_copy_row_bytes(t, index, from, from_index, n);
    // The row count is still the old one here, which keeps new rows with texts below it.
    vel_table_copy_texts(t, index, from, from_index, n);
    t->n += n;
    vel_table_add_rows_to_indexes(t, index, t->n);
}

static bool vel_table_columns_equal(const vel_table *t, const vel_table *other)
{
    if (t->n_columns != other->n_columns)
        return false;
    for (gint32 column = 0; column < t->n_columns; column++)
        if (strcmp(t->columns[column].name, other->columns[column].name) != 0 ||
            t->columns[column].type != other->columns[column].type)
            return false;
    return true;
}

/// Compares the cells of two tables with equal columns.
static bool vel_table_cells_equal(const vel_table *t, const vel_table *other, gint32 row,
                                  gint32 column)
{
    if (vel_table_get_null(t, row, column) != vel_table_get_null(other, row, column))
        return false;
    switch (t->columns[column].type) {
    case VEL_TABLE_COLUMN_TYPE_INT32:
        return vel_table_get_int32(t, row, column) == vel_table_get_int32(other, row, column);
    case VEL_TABLE_COLUMN_TYPE_INT64:
        return vel_table_get_int64(t, row, column) == vel_table_get_int64(other, row, column);
    case VEL_TABLE_COLUMN_TYPE_DOUBLE:
        return vel_table_get_double(t, row, column) == vel_table_get_double(other, row, column);
    case VEL_TABLE_COLUMN_TYPE_STR:
        break;
    }
    return strcmp(vel_table_get_str(t, row, column), vel_table_get_str(other, row, column)) == 0;
}

gboolean vel_table_equals(const vel_table *t, const vel_table *other, gboolean compare_rows)
{
    if (!vel_table_columns_equal(t, other))
        return FALSE;
    if (!compare_rows)
        return TRUE;
    if (t->n != other->n)
        return FALSE;
    for (gint32 row = 0; row < t->n; row++)
        for (gint32 column = 0; column < t->n_columns; column++)
            if (!vel_table_cells_equal(t, other, row, column))
                return FALSE;
    return TRUE;
}

static void vel_table_dump_cell(const vel_table *t, gint32 row, gint32 column)
{
    if (vel_table_get_null(t, row, column)) {
        std::printf("NULL");
        return;
    }
    switch (t->columns[column].type) {
    case VEL_TABLE_COLUMN_TYPE_INT32:
        std::printf("%d", vel_table_get_int32(t, row, column));
        break;
    case VEL_TABLE_COLUMN_TYPE_INT64:
        std::printf("%" PRIu64, static_cast<guint64>(vel_table_get_int64(t, row, column)));
        break;
    case VEL_TABLE_COLUMN_TYPE_DOUBLE:
        std::printf("%f", vel_table_get_double(t, row, column));
        break;
    case VEL_TABLE_COLUMN_TYPE_STR:
        std::printf("%s", vel_table_get_str(t, row, column));
        break;
    }
}

static void vel_table_dump_bucket(gconstpointer key, const gint32 *bucket)
{
    // A short text is a key of fewer than four bytes.
    gint32 len = 0;
    gint32 start = 0;
    std::memcpy(&len, key, sizeof len);
    std::memcpy(&start, static_cast<const gchar *>(key) + sizeof len,
                MIN(static_cast<gsize>(len), sizeof start));
    std::printf("key: %d, %d indexes:", start, bucket[0]);
    for (gint32 i = 0; i < bucket[0]; i++)
        std::printf("%d, ", bucket[1 + i]);
    std::printf("\n");
}

void vel_table_dump(const vel_table *t, gboolean with_indexes)
{
    std::printf("%dx%d\n", t->n, t->n_columns);
    for (gint32 row = 0; row < t->n; row++) {
        for (gint32 column = 0; column < t->n_columns; column++) {
            if (column > 0)
                std::printf(", ");
            vel_table_dump_cell(t, row, column);
        }
        std::printf("\n");
    }
    // To enter the rows that wait changes nothing that a caller could tell.
    if (with_indexes)
        vel_table_enter_pending_rows(const_cast<vel_table *>(t));
    for (gint32 i = 0; with_indexes && i < t->n_indexes; i++) {
        GHashTableIter iter;
        gpointer key = nullptr;
        gpointer bucket = nullptr;
        g_hash_table_iter_init(&iter, t->indexes[i]->hash_table);
        while (g_hash_table_iter_next(&iter, &key, &bucket))
            vel_table_dump_bucket(key, static_cast<const gint32 *>(bucket));
    }
}
