// SQL statements with variadic parameters over SQLite. Statements are not finalized on the fatal
// paths: the program ends.
#include "vel_utils_sqlite3.h"

#include <cstdarg>

static sqlite3_stmt *vel_utils_sqlite3_prepare(sqlite3 *db, const gchar *sql)
{
    sqlite3_stmt *stmt = nullptr;
    if (sqlite3_prepare_v2(db, sql, -1, &stmt, nullptr) != SQLITE_OK)
        g_error("SQL statement failed: %s", sqlite3_errmsg(db));
    return stmt;
}

static void vel_utils_sqlite3_set_params(sqlite3 *db, sqlite3_stmt *stmt, gint32 n_params,
                                         va_list args)
{
    for (gint32 i = 1; i <= n_params; i++) {
        int result = SQLITE_OK;
        switch (va_arg(args, gint32)) {
        case VEL_TABLE_COLUMN_TYPE_INT32:
            result = sqlite3_bind_int(stmt, i, va_arg(args, gint32));
            break;
        case VEL_TABLE_COLUMN_TYPE_INT64:
            result = sqlite3_bind_int64(stmt, i, va_arg(args, gint64));
            break;
        case VEL_TABLE_COLUMN_TYPE_STR:
            // Not copied: the text outlives the statement, which is the caller's part of the
            // contract.
            result = sqlite3_bind_text(stmt, i, va_arg(args, const gchar *), -1, nullptr);
            break;
        default:
            g_error("Unsupported data type");
        }
        if (result != SQLITE_OK)
            g_error("Setting an SQL parameter failed: %s", sqlite3_errmsg(db));
    }
}

static sqlite3_stmt *vel_utils_sqlite3_prepare_with(sqlite3 *db, const gchar *sql, gint32 n_params,
                                                    va_list args)
{
    sqlite3_stmt *const stmt = vel_utils_sqlite3_prepare(db, sql);
    vel_utils_sqlite3_set_params(db, stmt, n_params, args);
    return stmt;
}

void vel_utils_sqlite3_exec(sqlite3 *db, const gchar *sql, gint32 n_params, ...)
{
    va_list args;
    va_start(args, n_params);
    sqlite3_stmt *const stmt = vel_utils_sqlite3_prepare_with(db, sql, n_params, args);
    va_end(args);
    const int result = sqlite3_step(stmt);
    if (result != SQLITE_ROW && result != SQLITE_DONE)
        g_error("Executing an SQL failed: %s", sqlite3_errmsg(db));
    sqlite3_finalize(stmt);
}

void vel_utils_sqlite3_exec_multi(sqlite3 *db, gint32 n, const gchar *const *sqls)
{
    for (gint32 i = 0; i < n; i++)
        vel_utils_sqlite3_exec(db, sqls[i], 0);
}

sqlite3_stmt *vel_utils_sqlite3_select(sqlite3 *db, const gchar *sql, gint32 n_params, ...)
{
    va_list args;
    va_start(args, n_params);
    sqlite3_stmt *const stmt = vel_utils_sqlite3_prepare_with(db, sql, n_params, args);
    va_end(args);
    return stmt;
}

// Steps to the first row. Null, with the statement finalized, when there is none.
static sqlite3_stmt *vel_utils_sqlite3_first_row(sqlite3 *db, sqlite3_stmt *stmt)
{
    const int result = sqlite3_step(stmt);
    if (result == SQLITE_ROW)
        return stmt;
    if (result != SQLITE_DONE)
        g_error("Moving to the first record in the result set failed: %s", sqlite3_errmsg(db));
    sqlite3_finalize(stmt);
    return nullptr;
}

sqlite3_stmt *vel_utils_sqlite3_select_one(sqlite3 *db, const gchar *sql, gint32 n_params, ...)
{
    va_list args;
    va_start(args, n_params);
    sqlite3_stmt *const stmt = vel_utils_sqlite3_prepare_with(db, sql, n_params, args);
    va_end(args);
    return vel_utils_sqlite3_first_row(db, stmt);
}

gint32 vel_utils_sqlite3_select_int(sqlite3 *db, const gchar *sql, gint32 n_params, ...)
{
    va_list args;
    va_start(args, n_params);
    sqlite3_stmt *const stmt = vel_utils_sqlite3_prepare_with(db, sql, n_params, args);
    va_end(args);
    sqlite3_stmt *const row = vel_utils_sqlite3_first_row(db, stmt);
    if (row == nullptr)
        return -1;
    const gint32 value = sqlite3_column_int(row, 0);
    sqlite3_finalize(row);
    return value;
}

static vel_table *vel_utils_sqlite3_fetch_make_table(sqlite3_stmt *stmt)
{
    vel_table *const table = g_new(vel_table, 1);
    vel_table_init(table);
    for (gint32 c = 0; c < sqlite3_column_count(stmt); c++) {
        vel_table_column_type type = VEL_TABLE_COLUMN_TYPE_INT32;
        switch (sqlite3_column_type(stmt, c)) {
        case SQLITE_INTEGER:
            type = VEL_TABLE_COLUMN_TYPE_INT32;
            break;
        case SQLITE_FLOAT:
            type = VEL_TABLE_COLUMN_TYPE_DOUBLE;
            break;
        case SQLITE_TEXT:
            type = VEL_TABLE_COLUMN_TYPE_STR;
            break;
        default:
            g_error("Unsupported column type");
        }
        vel_table_add_column(table, sqlite3_column_name(stmt, c), type);
    }
    return table;
}

static void vel_utils_sqlite3_fetch_add_row(vel_table *table, sqlite3_stmt *stmt)
{
    const gint32 row = table->n;
    vel_table_set_n(table, row + 1);
    for (gint32 c = 0; c < table->n_columns; c++) {
        switch (sqlite3_column_type(stmt, c)) {
        case SQLITE_FLOAT:
            vel_table_set_double(table, row, c, sqlite3_column_double(stmt, c));
            break;
        case SQLITE_TEXT:
            vel_table_set_str(table, row, c,
                              reinterpret_cast<const gchar *>(sqlite3_column_text(stmt, c)));
            break;
        default:
            // The table was made for this very row, which has no other type then.
            vel_table_set_int32(table, row, c, sqlite3_column_int(stmt, c));
            break;
        }
    }
}

vel_table *vel_utils_sqlite3_fetch(sqlite3 *db, const gchar *sql, gint32 n_params, ...)
{
    va_list args;
    va_start(args, n_params);
    sqlite3_stmt *const stmt = vel_utils_sqlite3_prepare_with(db, sql, n_params, args);
    va_end(args);
    for (;;) {
        const int result = sqlite3_step(stmt);
        if (result != SQLITE_ROW && result != SQLITE_DONE)
            g_error("Error fetching the data: %s", sqlite3_errmsg(db));
        // Deliberately one table per step, the one made after the last step being the result:
        // callers rely on being stopped by "Unsupported column type" when a statement has result
        // columns.
        vel_table *const table = vel_utils_sqlite3_fetch_make_table(stmt);
        if (result == SQLITE_DONE) {
            sqlite3_finalize(stmt);
            return table;
        }
        vel_utils_sqlite3_fetch_add_row(table, stmt);
    }
}
