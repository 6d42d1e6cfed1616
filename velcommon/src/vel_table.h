// In-memory table: named, typed columns and rows of one fixed size in one contiguous block, a null
// flag per cell, strings in one append-only pool, and hash indexes that every setter keeps current.
// Holds the positions of millions of records (tens of megabytes) or a small cache of wide ones.
// A table has no lock: one thread at a time uses it, and threads hand tables over whole.
//
// Row and column numbers are signed 32-bit and start at 0. Wrong arguments are programming errors:
// assertions that end the program; no operation reports an error to its caller. A row is found by
// one multiplication and one addition. Values lie unaligned in a row, in native byte order; the
// flag of column c is bit c % 8 (least significant first) of byte c / 8 behind the values.
// A new row's cells are zero (0, 0.0, "") and not null; a null cell's value is zero, too.
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/// What a column's cells hold. The numbers also tag SQL parameters, so they are fixed.
typedef enum vel_table_column_type : gint32 {
    VEL_TABLE_COLUMN_TYPE_INT32 = 0,  ///< gint32, 4 bytes in the row
    VEL_TABLE_COLUMN_TYPE_INT64 = 1,  ///< gint64, 8 bytes
    VEL_TABLE_COLUMN_TYPE_DOUBLE = 2, ///< gdouble, 8 bytes
    VEL_TABLE_COLUMN_TYPE_STR = 3,    ///< guint64, 8 bytes: the text's offset in the string pool
} vel_table_column_type;

/// One column.
typedef struct vel_table_column {
    vel_table_column_type type;
    gchar *name;   ///< Owned, UTF-8.
    gint32 offset; ///< Bytes from the start of a row to the value.
} vel_table_column;

/// One hash index. Its keys are blocks of a gint32 length and as many bytes: the cells' values in
/// the order of `columns`, a text without its zero byte. Its values ("buckets") are blocks of a
/// gint32 count and as many gint32 row numbers.
typedef struct vel_table_index {
    gint32 n_columns;       ///< At least 1.
    gint32 *columns;        ///< Owned; the column numbers in the order of the key's parts.
    GHashTable *hash_table; ///< Owned; key to bucket, both freed with g_free.
} vel_table_index;

/// The table. The caller provides the storage; vel_table_init() fills it and vel_table_done()
/// releases what it owns. Read the fields freely, change them only through the operations.
typedef struct vel_table {
    vel_table_column *columns; ///< Owned, n_columns of them.
    gint32 n_columns;
    vel_table_index **indexes; ///< Owned, n_indexes pointers to owned indexes.
    gint32 n_indexes;
    guint8 *rows;            ///< Owned, reserved * row_size bytes; null while that is 0.
    gint32 n;                ///< Rows in use.
    gint32 reserved;         ///< Rows there is room for, n or more (less only without columns).
    gint32 data_size;        ///< Bytes of a row that hold values; the null flags follow them.
    gint32 row_size;         ///< Bytes of a row.
    gchar *strings;          ///< The pool: texts with their zero bytes, an empty one at offset 0.
                             ///< Owned, but for the static zero byte that every table begins with.
    gint32 strings_len;      ///< Bytes of the pool in use, 1 or more.
    gint32 strings_reserved; ///< Bytes the pool has room for.
    guint8 *probe;           ///< Owned; a row of zeros to look values up with, for wide rows.
    gint32 probe_size;       ///< Bytes of `probe`.
    gboolean defers_indexes; ///< Appended copies enter the indexes when one is next used.
    gint32 n_pending;        ///< Last rows that no index has yet, 0..n; 0 unless deferred.
} vel_table;

/// Makes an empty table: no columns, no rows, no indexes. Allocates nothing.
/// @param t  storage of the caller's, in any state; end it with vel_table_done()
void vel_table_init(vel_table *t);

/// Releases everything the table owns, not the structure itself. The fields keep their stale
/// values: call vel_table_init() before any later use.
void vel_table_done(vel_table *t);

/// Empties the table: no columns, rows and indexes, as after vel_table_init().
void vel_table_clear(vel_table *t);

/// Gives the row block room for exactly `reserved` rows; never fewer than are in use.
/// @param reserved  rows, t->n or more (assertion "reserved >= t->n")
/// Costs a copy of the rows in use. When memory is short, GLib's allocator ends the program.
void vel_table_set_reserved(vel_table *t, gint32 reserved);

/// Changes the number of rows. New rows are zero and found in indexes by zero values; dropped rows
/// leave the indexes. When the rows do not fit, room for twice as many is made (at most 2^31 - 1),
/// so appending row by row is cheap. Without columns only the number is kept.
/// @param n  rows, 0 or more (assertion "n >= 0")
void vel_table_set_n(vel_table *t, gint32 n);

/// Appends a column; in existing rows its cells are zero and not null. Its offset is the previous
/// column's plus the width of its own type, so an INT32 column behind an 8-byte one shares the last
/// four bytes with it: set one and the other changes. Columns of one width lie densely.
/// @param name  UTF-8, copied; need not be unique (assertion "'name' should not be NULL")
/// @param type  one of the four types, else an assertion fails
/// Copies every row; the fatal message "calloc failed" when memory for that is short.
void vel_table_add_column(vel_table *t, const gchar *name, vel_table_column_type type);

/// Appends columns of one type just as so many calls of vel_table_add_column() would, but copies
/// the rows only once.
/// @param n      number of columns; nothing happens when it is less than 1
/// @param names  n texts as vel_table_add_column() takes them, copied (assertion "'name' should not
///               be NULL" for each)
/// @param type   of all of them, one of the four types, else an assertion fails
void vel_table_add_columns(vel_table *t, gint32 n, const gchar *const *names,
                           vel_table_column_type type);

/// Sets or clears a cell's null flag. Setting it makes the value zero; clearing it leaves it so.
/// @param row, column  an existing cell, as for every operation on a cell below (assertion "row >=
///                     0 && row < t->n && column >= 0 && column < t->n_columns")
void vel_table_set_null(vel_table *t, gint32 row, gint32 column, gboolean is_null);

/// Whether a cell's null flag is set. False for a cell that was never set.
gboolean vel_table_get_null(const vel_table *t, gint32 row, gint32 column);

/// Stores a number, or a copy of a UTF-8 text, in a cell and clears its null flag.
/// @param column  of the type in the function's name, else an assertion fails
/// @param v       the value; a text must not be null (assertion "'v' should not be NULL"). It may
///                be one that vel_table_get_str() gave. It is appended to the pool, where the
///                cell's earlier text stays until vel_table_compact_strings().
/// Costs one removal and one addition in every index that contains the column. The pool doubles
/// when it is full; one that would pass 2^31 - 1 bytes ends the program with a fatal message.
void vel_table_set_int32(vel_table *t, gint32 row, gint32 column, gint32 v);
void vel_table_set_int64(vel_table *t, gint32 row, gint32 column, gint64 v);
void vel_table_set_double(vel_table *t, gint32 row, gint32 column, gdouble v);
void vel_table_set_str(vel_table *t, gint32 row, gint32 column, const gchar *v);

/// A cell's value; zero for a null cell.
/// @param column  of the type in the function's name, else an assertion fails
gint32 vel_table_get_int32(const vel_table *t, gint32 row, gint32 column);
gint64 vel_table_get_int64(const vel_table *t, gint32 row, gint32 column);
gdouble vel_table_get_double(const vel_table *t, gint32 row, gint32 column);

/// A cell's text; "" for a null cell and for one that was never set.
/// @param column  of type STR, else an assertion fails
/// @return borrowed from the pool: valid until the next operation that may move it (setting or
///         looking up a text, copying rows into the table, vel_table_compact_strings(),
///         vel_table_clear(), vel_table_done())
const gchar *vel_table_get_str(const vel_table *t, gint32 row, gint32 column);

/// Adds an index of one column and enters every row. Does nothing when there is one already.
/// @param column  an existing column (assertion "column >= 0 && column < t->n_columns")
void vel_table_add_index(vel_table *t, gint32 column);

/// Adds an index of several columns and enters every row. Does nothing when one on the same columns
/// exists, in whatever order.
/// @param n_columns  1 or more (assertion "n_columns > 0")
/// @param columns    n_columns existing columns, copied; only the first is checked
void vel_table_add_index_complex(vel_table *t, gint32 n_columns, const gint32 *columns);

/// Lets the rows that vel_table_copy_rows() appends to a table of numbers wait outside the indexes
/// until one is next used: by a look-up, a setter, or whatever else moves or adds rows. What
/// look-ups find stays the same. For a table that grows by millions of rows whose indexes are
/// rarely asked: a row in an index takes ten times the memory of a row of three numbers, and forty
/// times the time to append. The waiting rows cost that time when they enter; dropping them with
/// vel_table_set_n() before costs nothing. vel_table_clear() ends it.
void vel_table_defer_indexes(vel_table *t);

/// Finds an index by its columns, in whatever order.
/// @param n_columns  1 or more (assertion "n_columns > 0")
/// @param columns    n_columns columns (assertion "columns[0] >= 0 && columns[0] < t->n_columns")
/// @return position in t->indexes of the oldest index of that many columns with all of these; or -1
gint32 vel_table_find_index(const vel_table *t, gint32 n_columns, const gint32 *columns);

/// Finds a row by the value of an indexed column. Null cells are found by zero values.
/// @param column  an existing column of the type in the function's name, else an assertion fails;
///                without an index of just this column, the fatal message "No index defined for
///                the column %d"
/// @param value   the value; a text is borrowed and must not be null
/// @return the row, or -1 when no row has the value. Of several rows usually the one that has had
///         the value longest.
/// Costs one hash computation over the value and allocates nothing, with four exceptions: a key
/// of many bytes, the first look-up in a table with rows of more than 100 value bytes, a text for
/// which the pool has no room: it lies there during the look-up (the room stays), and rows that
/// wait since vel_table_defer_indexes().
gint32 vel_table_find_int32(vel_table *t, gint32 column, gint32 value);
gint32 vel_table_find_int64(vel_table *t, gint32 column, gint64 value);
gint32 vel_table_find_double(vel_table *t, gint32 column, gdouble value);
gint32 vel_table_find_str(vel_table *t, gint32 column, const gchar *value);

/// Finds a row by the values of two columns with an index of just these two, in either order.
/// As vel_table_find_int32(); the fatal message is "No index defined for the columns %d, %d".
/// @param column, column2  existing columns of the types in the function's name (assertion
///                         "column2 >= 0 && column2 < t->n_columns" for the second)
gint32 vel_table_find_int32_int32(vel_table *t, gint32 column, gint32 value, gint32 column2,
                                  gint32 value2);
gint32 vel_table_find_int32_str(vel_table *t, gint32 column, gint32 value, gint32 column2,
                                const gchar *value2);

/// Deletes the rows from, …, from + n - 1; later rows move down. Room and pool stay as they are.
/// @param from  an existing row, unchecked when n is 0
/// @param n     rows, 0 or more; from + n must not pass t->n (assertions)
/// Enters every row behind the deleted ones anew in every index.
void vel_table_delete_rows(vel_table *t, gint32 from, gint32 n);

/// Inserts copies of another table's rows. Only for tables of numbers is every place allowed: with
/// STR columns the last new row must lie below the old row count, else the range assertion of
/// vel_table_set_str() or vel_table_set_null() fails.
/// @param index       the rows go in before this one, 0..t->n (t->n appends)
/// @param from        another table with columns of the same names and types (assertions
///                    "vel_table_equals(t, from, false)", "t != from"); left as it is
/// @param from_index  the first row to copy, 0..from->n
/// @param n           rows, 0 or more; from_index + n must not pass from->n
/// Makes room for exactly the rows it needs. Enters every row from index on anew in every index,
/// unless vel_table_defer_indexes() lets appended ones wait.
void vel_table_copy_rows(vel_table *t, gint32 index, const vel_table *from, gint32 from_index,
                         gint32 n);

/// Whether two tables have columns of the same names and types in the same order and, on demand,
/// rows with the same null flags and values. A NaN equals nothing.
/// @param compare_rows  false: the columns only
gboolean vel_table_equals(const vel_table *t, const vel_table *other, gboolean compare_rows);

/// Prints the rows to standard output, one line each, INT64 as unsigned; for debugging.
/// @param with_indexes  the indexes' entries, too, in the order of their hash tables
void vel_table_dump(const vel_table *t, gboolean with_indexes);

/// Rewrites the string pool with only the texts that cells refer to, in no more room than they
/// need. Values, rows and indexes stay as they are; texts borrowed before become invalid. When no
/// cell refers to a text, the pool's block is released and the table has the static zero byte
/// again. Does nothing when there is nothing to drop.
/// @return bytes dropped, of t->strings_len
/// Reads every STR cell and copies every text; for its length both pools exist.
guint64 vel_table_compact_strings(vel_table *t);

/// What t->strings_len would be after vel_table_compact_strings(). Reads every text.
/// @return bytes, 1 or more
gint64 vel_table_get_live_strings_len(const vel_table *t);

G_END_DECLS
