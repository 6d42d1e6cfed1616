// vel_table: the string pool, and dropping from it what no cell refers to any more.
// The pool is texts with their zero bytes, end to end, an empty one first. Setters only append, so
// every text is at the offset that its one cell holds, and the pool's last byte in use is zero.
#include "vel_table_internal.h"

const gchar ZERO_BUFFER[1] = {0};

void vel_table_free_strings(vel_table *t)
{
    if (t->strings != ZERO_BUFFER)
        g_free(t->strings);
}

/// Makes room for a pool of `needed` bytes, twice as much as that while it stays a gint32.
static void vel_table_grow_strings(vel_table *t, guint64 needed)
{
    if (needed > G_MAXINT32)
        g_error("The strings of a table would take %" G_GUINT64_FORMAT
                " bytes; the limit is %d bytes",
                needed, G_MAXINT32);
    const guint64 capacity = MIN(2 * needed, static_cast<guint64>(G_MAXINT32));
    if (t->strings == ZERO_BUFFER) {
        t->strings = static_cast<gchar *>(g_malloc(capacity));
        t->strings[0] = 0;
    } else {
        t->strings = static_cast<gchar *>(g_realloc(t->strings, capacity));
    }
    t->strings_reserved = static_cast<gint32>(capacity);
}

guint64 vel_table_append_string(vel_table *t, const gchar *v)
{
    const auto offset = static_cast<guint64>(t->strings_len);
    const guint64 len = strlen(v) + 1;
    // A text of this very pool moves with it. Addresses, since v need not point into the pool.
    const guintptr distance =
        reinterpret_cast<guintptr>(v) - reinterpret_cast<guintptr>(t->strings);
    const bool inside = distance < offset;
    if (offset + len > static_cast<guint64>(t->strings_reserved))
        vel_table_grow_strings(t, offset + len);
    std::memcpy(t->strings + offset, inside ? t->strings + distance : v, len);
    t->strings_len = static_cast<gint32>(offset + len);
    return offset;
}

// The lower half of a STR cell's value is its offset even when an INT32 column shares the upper
// half: with 0 there the text is back. So texts are kept by the lower half and that alone is
// rewritten, which changes no INT32.
static_assert(G_BYTE_ORDER == G_LITTLE_ENDIAN, "the lower half of a value is its first half");

/// Offset that a STR cell holds; 0 for one that refers to nothing in the pool.
static guint32 vel_table_live_offset(const vel_table *t, const guint8 *cell)
{
    guint32 offset = 0;
    std::memcpy(&offset, cell, sizeof offset);
    return offset < static_cast<guint32>(t->strings_len) ? offset : 0;
}

gint64 vel_table_get_live_strings_len(const vel_table *t)
{
    gint64 len = 1;
    for (gint32 row = 0; row < t->n; row++) {
        for (gint32 column = 0; column < t->n_columns; column++) {
            if (t->columns[column].type != VEL_TABLE_COLUMN_TYPE_STR)
                continue;
            const guint8 *cell = vel_table_cell(t, vel_table_row(t, row), column);
            const guint32 offset = vel_table_live_offset(t, cell);
            if (offset != 0)
                len += static_cast<gint64>(strlen(t->strings + offset)) + 1;
        }
    }
    return len;
}

/// Copies the text of one cell to `len` in the new pool, if it has one, and returns the new end.
static guint32 vel_table_move_string(const vel_table *t, guint8 *cell, gchar *strings, guint32 len)
{
    const guint32 offset = vel_table_live_offset(t, cell);
    if (offset == 0)
        return len;
    const gsize size = strlen(t->strings + offset) + 1;
    std::memcpy(strings + len, t->strings + offset, size);
    std::memcpy(cell, &len, sizeof len);
    return len + static_cast<guint32>(size);
}

/// Fills a new pool with the texts in use and points the cells at them.
static void vel_table_move_strings(vel_table *t, gchar *strings)
{
    guint32 len = 1;
    strings[0] = 0;
    for (gint32 row = 0; row < t->n; row++)
        for (gint32 column = 0; column < t->n_columns; column++)
            if (t->columns[column].type == VEL_TABLE_COLUMN_TYPE_STR) {
                guint8 *cell = vel_table_cell(t, vel_table_row(t, row), column);
                len = vel_table_move_string(t, cell, strings, len);
            }
}

guint64 vel_table_compact_strings(vel_table *t)
{
    const gint64 live_len = vel_table_get_live_strings_len(t);
    if (live_len >= t->strings_len)
        return 0;
    gchar *strings = const_cast<gchar *>(ZERO_BUFFER);
    if (live_len > 1) {
        strings = static_cast<gchar *>(g_malloc(static_cast<gsize>(live_len)));
        vel_table_move_strings(t, strings);
    }
    vel_table_free_strings(t);
    const gint64 dropped = t->strings_len - live_len;
    t->strings = strings;
    t->strings_len = static_cast<gint32>(live_len);
    t->strings_reserved = static_cast<gint32>(live_len);
    return static_cast<guint64>(dropped);
}
