// One SQL statement with positional parameters in one call. Every database error ends the program,
// so that callers never handle SQLite's result codes. Runs on the thread of its caller with the
// caller's connection.
//
// Parameters: after the SQL text their number, then for each a type tag and its value, bound by
// position from 1 on:
//   VEL_TABLE_COLUMN_TYPE_INT32, gint32
//   VEL_TABLE_COLUMN_TYPE_INT64, gint64
//   VEL_TABLE_COLUMN_TYPE_STR, const gchar *: UTF-8, not copied, must outlive the statement
// Any other tag is fatal "Unsupported data type". A number of 0 or less binds nothing.
//
// Fatal messages of every call that takes SQL text (%s is what sqlite3_errmsg() says):
//   "SQL statement failed: %s"             the text cannot be compiled
//   "Setting an SQL parameter failed: %s"  a parameter cannot be bound
// Only the first statement of a text is compiled; what follows it is ignored.
#pragma once

#include "vel_table.h"

#include <glib.h>
#include <sqlite3.h>

G_BEGIN_DECLS

/// Runs a statement; one that yields rows only up to its first.
/// @param db   open connection, borrowed
/// @param sql  UTF-8, borrowed
/// Fatal besides the above: "Executing an SQL failed: %s".
void vel_utils_sqlite3_exec(sqlite3 *db, const gchar *sql, gint32 n_params, ...);

/// Runs statements without parameters in order, each as vel_utils_sqlite3_exec() does.
/// @param n     number of texts
/// @param sqls  n texts, borrowed
void vel_utils_sqlite3_exec_multi(sqlite3 *db, gint32 n, const gchar *const *sqls);

/// Prepares a statement and binds its parameters.
/// @return the statement before its first step; the caller ends it with sqlite3_finalize()
sqlite3_stmt *vel_utils_sqlite3_select(sqlite3 *db, const gchar *sql, gint32 n_params, ...);

/// Runs a query up to its first row.
/// @return the statement on that row, which the caller ends with sqlite3_finalize(), or null
/// Fatal besides the above: "Moving to the first record in the result set failed: %s".
sqlite3_stmt *vel_utils_sqlite3_select_one(sqlite3 *db, const gchar *sql, gint32 n_params, ...);

/// Runs a query for one number.
/// @return column 0 of the first row as 32 bits; -1 when there is no row
/// Fatal besides the above: "Moving to the first record in the result set failed: %s".
gint32 vel_utils_sqlite3_select_int(sqlite3 *db, const gchar *sql, gint32 n_params, ...);

/// Runs a statement to its end and hands out the table made after the last step.
/// That table's columns are typed when no row is current any more, so only a statement without
/// result columns comes through; any other ends with "Unsupported column type".
/// @return a table from g_malloc(); the caller ends it with vel_table_done() and g_free()
/// Fatal besides the above: "Error fetching the data: %s", "Unsupported column type".
vel_table *vel_utils_sqlite3_fetch(sqlite3 *db, const gchar *sql, gint32 n_params, ...);

G_END_DECLS
