// vel_table: hash indexes and look-ups through them.
// Keys are made in a buffer on the stack and become blocks of their own only where the hash table
// has to own them. A bucket's block is 4, 8, 16 … numbers, at least as many as hold the count and
// the rows; it moves only when a count of 3, 7, 15 … grows. So entering a row under a known key
// mostly allocates nothing. Buckets that ran empty stay, and the rows that come back use them.
#include "vel_table_internal.h"

/// Bytes of a key block up to which it lies on the stack during a look-up.
static constexpr gsize VEL_TABLE_STACK_KEY_SIZE = 264;

/// Bytes of one part of a row's key, and where they are.
static gsize vel_table_key_part(const vel_table *t, gint32 column, const guint8 *row_ptr,
                                const void **part)
{
    const guint8 *cell = row_ptr + t->columns[column].offset;
    if (t->columns[column].type != VEL_TABLE_COLUMN_TYPE_STR) {
        *part = cell;
        return static_cast<gsize>(vel_table_column_size(t, column));
    }
    const gchar *text = vel_table_text_at(t, cell);
    *part = text;
    return strlen(text);
}

/// Bytes of the key block of a row.
static gsize vel_table_row_key_size(const vel_table *t, const vel_table_index *ti,
                                    const guint8 *row_ptr)
{
    gsize size = sizeof(gint32);
    for (gint32 i = 0; i < ti->n_columns; i++) {
        const void *part = nullptr;
        size += vel_table_key_part(t, ti->columns[i], row_ptr, &part);
    }
    if (size - sizeof(gint32) > G_MAXINT32)
        g_error("A key of an index would take %" G_GSIZE_FORMAT " bytes; the limit is %d bytes",
                size - sizeof(gint32), G_MAXINT32);
    return size;
}

/// Writes the key block of a row, `size` bytes.
static void vel_table_fill_row_key(const vel_table *t, const vel_table_index *ti,
                                   const guint8 *row_ptr, gchar *key, gsize size)
{
    const auto len = static_cast<gint32>(size - sizeof(gint32));
    std::memcpy(key, &len, sizeof len);
    gchar *end = key + sizeof len;
    for (gint32 i = 0; i < ti->n_columns; i++) {
        const void *part = nullptr;
        const gsize part_size = vel_table_key_part(t, ti->columns[i], row_ptr, &part);
        std::memcpy(end, part, part_size);
        end += part_size;
    }
}

gchar *vel_table_create_row_key(const vel_table *t, const vel_table_index *ti,
                                const guint8 *row_ptr)
{
    const gsize size = vel_table_row_key_size(t, ti, row_ptr);
    auto *key = static_cast<gchar *>(g_malloc(size));
    vel_table_fill_row_key(t, ti, row_ptr, key, size);
    return key;
}

/// Length of a key block's data.
static gsize vel_table_key_len(gconstpointer key)
{
    gint32 len = 0;
    std::memcpy(&len, key, sizeof len);
    return static_cast<gsize>(len);
}

guint vel_table_index_hash_table_key_hash(gconstpointer key)
{
    const auto *data = static_cast<const gint8 *>(key) + sizeof(gint32);
    const gsize len = vel_table_key_len(key);
    guint32 hash = 5381;
    for (gsize i = 0; i < len; i++)
        hash = hash * 33 + static_cast<guint32>(gint32{data[i]});
    return hash;
}

gboolean vel_table_index_hash_table_key_equals(gconstpointer a, gconstpointer b)
{
    const gsize len = vel_table_key_len(a);
    return vel_table_key_len(b) == len &&
           std::memcmp(static_cast<const gchar *>(a) + sizeof(gint32),
                       static_cast<const gchar *>(b) + sizeof(gint32), len) == 0;
}

/// The bucket of a row's key, or null.
static gint32 *vel_table_index_find_bucket(const vel_table_index *ti, const vel_table *t,
                                           const guint8 *row_ptr)
{
    gchar stack[VEL_TABLE_STACK_KEY_SIZE];
    const gsize size = vel_table_row_key_size(t, ti, row_ptr);
    gchar *key = size > sizeof stack ? static_cast<gchar *>(g_malloc(size)) : stack;
    vel_table_fill_row_key(t, ti, row_ptr, key, size);
    auto *bucket = static_cast<gint32 *>(g_hash_table_lookup(ti->hash_table, key));
    if (key != stack)
        g_free(key);
    return bucket;
}

gint32 vel_table_index_find(const vel_table_index *ti, const vel_table *t, const guint8 *row_ptr)
{
    vel_assert_nonnull(ti);
    vel_assert_nonnull(t);
    vel_assert_nonnull(row_ptr);
    const gint32 *bucket = vel_table_index_find_bucket(ti, t, row_ptr);
    return bucket == nullptr || bucket[0] == 0 ? -1 : bucket[1];
}

void vel_table_index_add_row(vel_table_index *ti, const vel_table *t, gint32 row)
{
    const guint8 *row_ptr = vel_table_row(t, row);
    gint32 *bucket = vel_table_index_find_bucket(ti, t, row_ptr);
    const gsize count = bucket == nullptr ? 0 : static_cast<gsize>(bucket[0]);
    const bool is_full = bucket == nullptr || (count >= 3 && ((count + 1) & count) == 0);
    if (is_full) {
        gint32 *grown = g_new(gint32, MAX(2 * (count + 1), 4));
        if (count > 0)
            std::memcpy(grown + 1, bucket + 1, count * sizeof *grown);
        bucket = grown;
    }
    bucket[1 + count] = row;
    bucket[0] = static_cast<gint32>(count + 1);
    if (is_full)
        g_hash_table_replace(ti->hash_table, vel_table_create_row_key(t, ti, row_ptr), bucket);
}

/// Takes a row out of one index. The last entry fills the gap and is not looked at again.
static void vel_table_index_remove_row(vel_table_index *ti, const vel_table *t, gint32 row)
{
    gint32 *bucket = vel_table_index_find_bucket(ti, t, vel_table_row(t, row));
    if (bucket == nullptr)
        return;
    gint32 *entries = bucket + 1;
    for (gint32 place = 0; place < bucket[0]; place++) {
        if (entries[place] == row) {
            bucket[0]--;
            entries[place] = entries[bucket[0]];
        }
    }
}

static bool vel_table_index_contains(const vel_table_index *ti, gint32 column)
{
    for (gint32 i = 0; i < ti->n_columns; i++)
        if (ti->columns[i] == column)
            return true;
    return false;
}

void vel_table_defer_indexes(vel_table *t)
{
    t->defers_indexes = TRUE;
}

void vel_table_enter_pending_rows(vel_table *t)
{
    if (t->n_pending == 0)
        return;
    const gint32 from = t->n - t->n_pending;
    t->n_pending = 0;
    vel_table_add_rows_to_indexes(t, from, t->n);
}

void vel_table_remove_cell_from_indexes(vel_table *t, gint32 row, gint32 column)
{
    // Also for a column of no index: it may share bytes with one that has.
    vel_table_enter_pending_rows(t);
    for (gint32 i = 0; i < t->n_indexes; i++)
        if (vel_table_index_contains(t->indexes[i], column))
            vel_table_index_remove_row(t->indexes[i], t, row);
}

void vel_table_add_cell_to_indexes(vel_table *t, gint32 row, gint32 column)
{
    for (gint32 i = 0; i < t->n_indexes; i++)
        if (vel_table_index_contains(t->indexes[i], column))
            vel_table_index_add_row(t->indexes[i], t, row);
}

void vel_table_remove_rows_from_indexes(vel_table *t, gint32 from, gint32 to)
{
    vel_table_enter_pending_rows(t);
    for (gint32 i = 0; i < t->n_indexes; i++)
        for (gint32 row = from; row < to; row++)
            vel_table_index_remove_row(t->indexes[i], t, row);
}

void vel_table_add_rows_to_indexes(vel_table *t, gint32 from, gint32 to)
{
    for (gint32 i = 0; i < t->n_indexes; i++)
        for (gint32 row = from; row < to; row++)
            vel_table_index_add_row(t->indexes[i], t, row);
}

void vel_table_index_free(vel_table_index *ti)
{
    g_hash_table_destroy(ti->hash_table);
    g_free(ti->columns);
    g_free(ti);
}

/// Appends an index on a copy of the columns and enters every row.
static void vel_table_append_index(vel_table *t, gint32 n_columns, const gint32 *columns)
{
    vel_table_enter_pending_rows(t);
    vel_table_index *ti = g_new0(vel_table_index, 1);
    ti->n_columns = n_columns;
    ti->columns = g_new(gint32, n_columns);
    std::memcpy(ti->columns, columns, static_cast<gsize>(n_columns) * sizeof *columns);
    ti->hash_table = g_hash_table_new_full(vel_table_index_hash_table_key_hash,
                                           vel_table_index_hash_table_key_equals, g_free, g_free);
    t->indexes = g_renew(vel_table_index *, t->indexes, t->n_indexes + 1);
    t->indexes[t->n_indexes] = ti;
    t->n_indexes++;
    for (gint32 row = 0; row < t->n; row++)
        vel_table_index_add_row(ti, t, row);
}

void vel_table_add_index(vel_table *t, gint32 column)
{
    vel_assert(column >= 0 && column < t->n_columns);
    if (vel_table_find_index(t, 1, &column) < 0)
        vel_table_append_index(t, 1, &column);
}

void vel_table_add_index_complex(vel_table *t, gint32 n_columns, const gint32 *columns)
{
    vel_assert(n_columns > 0);
    if (vel_table_find_index(t, n_columns, columns) < 0)
        vel_table_append_index(t, n_columns, columns);
}

gint32 vel_table_find_index(const vel_table *t, gint32 n_columns, const gint32 *columns)
{
    vel_assert(n_columns > 0);
    vel_assert(columns[0] >= 0 && columns[0] < t->n_columns);
    for (gint32 i = 0; i < t->n_indexes; i++) {
        bool matches = t->indexes[i]->n_columns == n_columns;
        for (gint32 k = 0; matches && k < n_columns; k++)
            matches = vel_table_index_contains(t->indexes[i], columns[k]);
        if (matches)
            return i;
    }
    return -1;
}
