// What the sources of vel_table share: the layout of a row, the string pool, index maintenance.
#pragma once

#include <cstring>

#include "vel_assert.h"
#include "vel_table.h"

/// Bytes that a value takes in a row, by column type.
inline constexpr gint32 COLUMN_SIZES[] = {4, 8, 8, 8};

/// The pool of every table without texts; never written to, never freed.
extern const gchar ZERO_BUFFER[1];

// Macros, so that the assertions name the calling function; they use its t, row and column.
#define VEL_TABLE_ASSERT_CELL()                                                                    \
    vel_assert(row >= 0 && row < t->n && column >= 0 && column < t->n_columns)
#define VEL_TABLE_ASSERT_TYPE(expected) vel_assert(t->columns[column].type == expected)

/// Start of a row's bytes.
inline guint8 *vel_table_row(const vel_table *t, gint32 row)
{
    return t->rows + static_cast<gsize>(row) * static_cast<gsize>(t->row_size);
}

/// Start of a cell's value inside a row's bytes.
inline guint8 *vel_table_cell(const vel_table *t, guint8 *row_ptr, gint32 column)
{
    return row_ptr + t->columns[column].offset;
}

/// Width of a column's values in bytes.
inline gint32 vel_table_column_size(const vel_table *t, gint32 column)
{
    return COLUMN_SIZES[t->columns[column].type];
}

/// The text that a STR cell's bytes refer to. An offset outside the pool reads as "": an INT32
/// column may share its upper half, and rows copied from another table hold that table's offsets.
inline const gchar *vel_table_text_at(const vel_table *t, const guint8 *cell)
{
    guint64 offset = 0;
    std::memcpy(&offset, cell, sizeof offset);
    return offset < static_cast<guint64>(t->strings_len) ? t->strings + offset : t->strings;
}

/// Appends a copy of v, which may lie in the pool itself, and returns its offset.
guint64 vel_table_append_string(vel_table *t, const gchar *v);

/// Gives the pool back, unless it is the static zero byte.
void vel_table_free_strings(vel_table *t);

/// Clears a cell's null flag.
void vel_table_set_non_null_internal(vel_table *t, gint32 row, gint32 column);

/// A new key block of a row for an index; the caller frees it with g_free.
/// @param row_ptr  bytes laid out as a row of t; only its values are read
gchar *vel_table_create_row_key(const vel_table *t, const vel_table_index *ti,
                                const guint8 *row_ptr);

/// Value of g_bytes_hash() over the bytes of a key block, without making a GBytes.
guint vel_table_index_hash_table_key_hash(gconstpointer key);

/// Whether two key blocks have the same length and bytes.
gboolean vel_table_index_hash_table_key_equals(gconstpointer a, gconstpointer b);

/// First row of the bucket that row_ptr's key has in an index; -1 without one. Allocates nothing
/// but room for a long key.
gint32 vel_table_index_find(const vel_table_index *ti, const vel_table *t, const guint8 *row_ptr);

/// Enters a row in one index under the key of its current bytes.
void vel_table_index_add_row(vel_table_index *ti, const vel_table *t, gint32 row);

/// Takes a row out of, or enters it in, every index that contains a column.
void vel_table_remove_cell_from_indexes(vel_table *t, gint32 row, gint32 column);
void vel_table_add_cell_to_indexes(vel_table *t, gint32 row, gint32 column);

/// Takes the rows from, …, to - 1 out of, or enters them in, every index, in row order.
void vel_table_remove_rows_from_indexes(vel_table *t, gint32 from, gint32 to);
void vel_table_add_rows_to_indexes(vel_table *t, gint32 from, gint32 to);

/// Enters the rows that wait outside the indexes, in row order. Whatever uses an index or changes
/// rows calls it first, so that every bucket is as if they had never waited.
void vel_table_enter_pending_rows(vel_table *t);

/// Ends an index: its hash table, its columns, the record.
void vel_table_index_free(vel_table_index *ti);
