// Opening, scanning and closing a file. Opening settles separator, encoding and header row on the
// UI thread and starts the "File scanner", which reads the file once and hands the places of every
// hundredth record over in chunks. A file of 10^9 records gives 10^7 position rows; nothing else
// here grows with the file.
#include <algorithm>
#include <gio/gio.h>

#include "vel_main_window.h"
#include "vel_main_window_scan.h"
#include "vel_main_window_ui.h"
#include "vel_utils_number.h"
#include "vel_utils_stream.h"

namespace
{

/// A chunk is handed over once it holds more rows than this.
constexpr gint32 CHUNK_ROWS = 1000;

constexpr gint32 RECORD_COLUMN_WIDTH = 100;
constexpr gint32 FIELD_COLUMN_WIDTH = 190;

} // namespace

vel_main_window *vel_main_window_instance = nullptr;

static void vel_main_window_add_position_columns(vel_table *table)
{
    vel_table_add_column(table, "line", VEL_TABLE_COLUMN_TYPE_INT32);
    vel_table_add_column(table, "block", VEL_TABLE_COLUMN_TYPE_INT32);
    vel_table_add_column(table, "offset", VEL_TABLE_COLUMN_TYPE_INT32);
}

static void vel_main_window_add_cache_columns(vel_table *cache)
{
    vel_table_add_column(cache, "line", VEL_TABLE_COLUMN_TYPE_INT32);
    vel_table_add_index(cache, 0);
}

void vel_main_window_table_free(gpointer table)
{
    vel_table_done(static_cast<vel_table *>(table));
    g_free(table);
}

void vel_main_window_init_data(vel_main_window *window)
{
    // Made on first use without a lock; the scanner and the search may both ask for them.
    g_io_error_quark();
    vel_csv_parser_error_quark();

    window->search_text = g_strdup("");
    window->headers = TRUE;
    vel_main_window_instance = window;

    window->cache = g_new(vel_table, 1);
    vel_table_init(window->cache);
    vel_main_window_add_cache_columns(window->cache);

    window->chunk_queue = g_async_queue_new_full(vel_main_window_table_free);

    vel_table_init(&window->positions);
    vel_main_window_add_position_columns(&window->positions);
    vel_table_add_index(&window->positions, VEL_MAIN_WINDOW_POSITION_LINE);
    // Positions are read by their row, which is the record's group: the index of 10^7 rows would
    // take a gigabyte, and seconds of the UI thread's time.
    vel_table_defer_indexes(&window->positions);

    vel_csv_parser_init(&window->parser);
    vel_csv_parser_init(&window->search_parser);
    vel_csv_parser_set_keep_limits(&window->parser, VEL_MAIN_WINDOW_MAX_FIELDS,
                                   VEL_MAIN_WINDOW_MAX_RECORD_BYTES);
    // A hit in a field without a column could not be shown.
    vel_csv_parser_set_keep_limits(&window->search_parser, VEL_MAIN_WINDOW_MAX_FIELDS, 0);
    vel_buffer_init(&window->cell_text);
}

void vel_main_window_done_data(vel_main_window *window)
{
    g_clear_pointer(&window->chunk_queue, g_async_queue_unref);
    vel_csv_parser_done(&window->search_parser);
    vel_csv_parser_done(&window->parser);
    g_clear_pointer(&window->cache, vel_main_window_table_free);
    vel_table_done(&window->positions);
    g_clear_pointer(&window->file_path, g_free);
    g_clear_pointer(&window->search_text, g_free);
    g_clear_pointer(&window->cell_text.data, g_free);
}

/// Tells whether the file can be read at all, before the parsers look into it.
static gboolean vel_main_window_check_readable(const gchar *path, GError **error)
{
    FILE *const file = vel_utils_fopen_shared(path, error);
    if (file == nullptr)
        return FALSE;
    fclose(file);
    return TRUE;
}

void vel_main_window_reset_columns(vel_main_window *window)
{
    vel_gui_table_clear_columns(&window->table);
    vel_gui_table_add_column(&window->table, "Record", RECORD_COLUMN_WIDTH);
}

void vel_main_window_set_headers(vel_main_window *window, gboolean headers)
{
    window->headers = headers;
    vel_main_window_ui_check_headers(window, headers);
    vel_main_window_reset_columns(window);
    vel_main_window_update_columns(window);
    vel_main_window_update(window);
}

/// Points both parsers at the file; what the first one settles the second one is told.
static gboolean vel_main_window_open_parsers(vel_main_window *window, gchar separator,
                                             const gchar *encoding, GError **error)
{
    GError *failure = nullptr;
    vel_csv_parser_set_file_path(&window->parser, window->file_path, separator, encoding, &failure);
    if (failure == nullptr)
        vel_csv_parser_set_file_path(&window->search_parser, window->file_path,
                                     window->parser.separator, window->parser.encoding, &failure);
    if (failure == nullptr)
        return TRUE;
    g_propagate_error(error, failure);
    return FALSE;
}

void vel_main_window_open_file(vel_main_window *window, const gchar *path, gchar separator,
                               const gchar *encoding, GError **error)
{
    window->file_path = g_strdup(path);
    g_autofree gchar *title = g_strdup_printf("Quorlen - %s", path);
    vel_main_window_ui_set_title(window, title);

    if (!vel_main_window_check_readable(path, error))
        return;
    if (!vel_main_window_open_parsers(window, separator, encoding, error))
        return;

    GError *failure = nullptr;
    const gboolean headers = vel_csv_parser_guess_headers(&window->parser, &failure);
    if (failure != nullptr) {
        g_propagate_error(error, failure);
        return;
    }
    if (!headers != !window->headers)
        vel_main_window_set_headers(window, headers);

    window->seen_size.exchange(vel_csv_parser_get_file_size(&window->parser));
    window->scanner_done.exchange(0);
    window->scanner_thread =
        g_thread_new("File scanner", vel_main_window_file_scanner_thread, window);
}

static vel_table *vel_main_window_new_chunk(void)
{
    vel_table *const chunk = g_new(vel_table, 1);
    vel_table_init(chunk);
    vel_main_window_add_position_columns(chunk);
    return chunk;
}

static void vel_main_window_append_position(vel_table *chunk, gint32 record, vel_csv_parser *parser)
{
    gint32 block = 0;
    gint32 offset = 0;
    vel_csv_parser_get_offset(parser, &block, &offset);

    const gint32 row = chunk->n;
    vel_table_set_n(chunk, row + 1);
    vel_table_set_int32(chunk, row, VEL_MAIN_WINDOW_POSITION_LINE, record);
    vel_table_set_int32(chunk, row, VEL_MAIN_WINDOW_POSITION_BLOCK, block);
    vel_table_set_int32(chunk, row, VEL_MAIN_WINDOW_POSITION_OFFSET, offset);
}

/// Remembers how far the file has gone, should it have grown since it was opened.
static void vel_main_window_raise_seen_size(vel_main_window *window, vel_csv_parser *parser)
{
    const gint64 position = vel_csv_parser_get_file_position(parser);
    if (position > window->seen_size.load(std::memory_order_relaxed))
        window->seen_size.exchange(position);
}

static void vel_main_window_publish(vel_main_window *window, vel_csv_parser *parser,
                                    scan_totals totals, vel_table *chunk)
{
    vel_main_window_raise_seen_size(window, parser);
    window->record_count.exchange(totals.records);
    window->max_field_count.exchange(totals.max_fields);
    g_async_queue_push(window->chunk_queue, chunk);
}

/// Early results, so that a large file shows rows within the first second, then whenever a chunk is
/// full.
static gboolean vel_main_window_is_publish_due(gint32 records, const vel_table *chunk)
{
    return chunk->n > CHUNK_ROWS || records == 100 || records == 1000 || records == 10000;
}

/// How many records the scan may count before it has to look up: to the next place to remember, or
/// only the next one when the chunk is full or the scan is to stop.
static gint32 vel_main_window_scan_step(const vel_main_window *window, gint32 records,
                                        const vel_table *chunk)
{
    if (chunk->n > CHUNK_ROWS || records == G_MAXINT32 ||
        window->stop_scanning.load(std::memory_order_relaxed) != 0)
        return 1;
    return std::min(VEL_MAIN_WINDOW_GROUP_SIZE - records % VEL_MAIN_WINDOW_GROUP_SIZE,
                    G_MAXINT32 - records);
}

/// Counts records for the scan.
/// @return whether all that were wanted are there; FALSE at the end of the file and with an error
static gboolean vel_main_window_scan_records(vel_csv_parser *parser, gint32 wanted,
                                             scan_totals *totals, GError **error)
{
    gint32 max_fields = 0;
    const gint32 records = vel_csv_parser_skip_records(parser, wanted, &max_fields, error);
    if (records > 0 && totals->records == G_MAXINT32) {
        g_set_error(error, G_IO_ERROR, G_IO_ERROR_FAILED,
                    "The file has more than %d records, the most that can be shown", G_MAXINT32);
        return FALSE;
    }
    totals->records += records;
    totals->max_fields = std::max(totals->max_fields, max_fields);
    return records == wanted;
}

void vel_main_window_scan(vel_main_window *window, vel_csv_parser *parser, scan_totals totals,
                          GError **error)
{
    vel_table *chunk = vel_main_window_new_chunk();
    for (;;) {
        if (totals.records % VEL_MAIN_WINDOW_GROUP_SIZE == 0)
            vel_main_window_append_position(chunk, totals.records, parser);
        const gint32 wanted = vel_main_window_scan_step(window, totals.records, chunk);
        if (!vel_main_window_scan_records(parser, wanted, &totals, error))
            break;
        if (window->stop_scanning.load(std::memory_order_relaxed) != 0)
            break;
        if (vel_main_window_is_publish_due(totals.records, chunk)) {
            vel_main_window_publish(window, parser, totals, chunk);
            chunk = vel_main_window_new_chunk();
        }
    }
    window->scan_state.exchange(VEL_MAIN_WINDOW_SCAN_FINISHED);
    vel_main_window_publish(window, parser, totals, chunk);
}

/// The end that the scan has found is no end when somebody has cut the file meanwhile.
static void vel_main_window_check_scanned(vel_main_window *window, vel_csv_parser *parser,
                                          GError **error)
{
    if (window->stop_scanning.load(std::memory_order_relaxed) == 0)
        vel_csv_parser_check_size(parser, window->seen_size.load(std::memory_order_relaxed), error);
}

gpointer vel_main_window_file_scanner_thread(gpointer data)
{
    vel_main_window *const window = static_cast<vel_main_window *>(data);
    window->scan_state.exchange(VEL_MAIN_WINDOW_SCAN_RUNNING);

    vel_csv_parser parser;
    vel_csv_parser_init(&parser);
    vel_csv_parser_set_stop_flag(&parser, &window->stop_scanning);
    GError *error = nullptr;
    vel_csv_parser_set_file_path(&parser, window->file_path, window->parser.separator,
                                 window->parser.encoding, &error);
    if (error == nullptr) {
        vel_main_window_scan(window, &parser, {0, 0}, &error);
        vel_main_window_check_scanned(window, &parser, &error);
    }

    // A read that was given up because the file is being closed has not failed.
    const gboolean cancelled = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED);
    if (error != nullptr && !cancelled)
        vel_main_window_ui_send_scan_error(window, error);
    g_clear_error(&error);
    vel_csv_parser_done(&parser);
    window->scanner_done.exchange(1);
    return nullptr;
}

/// Makes room for a chunk, doubling, so that a long scan does not copy the whole table for each.
static void vel_main_window_reserve_positions(vel_table *positions, gint32 rows)
{
    const gint64 needed = gint64{positions->n} + rows;
    if (needed > positions->reserved)
        vel_table_set_reserved(positions, gint32(std::min<gint64>(2 * needed, G_MAXINT32)));
}

/// Records that can be gone back to.
static gint64 vel_main_window_reachable_records(const vel_main_window *window)
{
    return gint64{window->positions.n} * VEL_MAIN_WINDOW_GROUP_SIZE;
}

static void vel_main_window_take_chunks(vel_main_window *window)
{
    vel_table *const positions = &window->positions;
    const gint64 shown = gint64{window->table.rows} + (window->headers ? 1 : 0);
    const gint64 reachable = vel_main_window_reachable_records(window);
    while (gpointer item = g_async_queue_try_pop(window->chunk_queue)) {
        const vel_table *const chunk = static_cast<vel_table *>(item);
        vel_main_window_reserve_positions(positions, chunk->n);
        vel_table_copy_rows(positions, positions->n, chunk, 0, chunk->n);
        vel_main_window_table_free(item);
    }
    // The scanner tells its count before it hands over the way to the records counted, so rows may
    // have been painted without their cells.
    if (window->table.rows > 0 && shown > reachable &&
        vel_main_window_reachable_records(window) > reachable)
        vel_main_window_ui_repaint_table(window);
}

static void vel_main_window_update_rows(vel_main_window *window, gint32 rows)
{
    const gint32 rows_before = window->table.rows;
    vel_gui_table_set_num_rows(&window->table, rows);
    if (rows_before == 0 && window->table.rows > 0 && window->table.columns > 0)
        vel_gui_table_select(&window->table, 0, 0);
}

static void vel_main_window_update_status(vel_main_window *window, gint32 rows)
{
    vel_buffer text;
    vel_buffer_init(&text);
    vel_utils_append_grouped(&text, rows);
    vel_buffer_append_str(&text, " records");
    if (window->scan_state.load(std::memory_order_relaxed) == VEL_MAIN_WINDOW_SCAN_RUNNING)
        vel_buffer_append_str(&text, " (counting)");
    vel_buffer_append(&text, "", 1);
    vel_main_window_ui_set_status(window, reinterpret_cast<const gchar *>(text.data));
    g_free(text.data);
}

static void vel_main_window_tell(vel_main_window *window, gint32 limit, gchar *message)
{
    if ((window->limits_told & limit) == 0) {
        window->limits_told |= limit;
        vel_main_window_ui_show_message(window, message);
    }
    g_free(message);
}

static void vel_main_window_tell_limits(vel_main_window *window)
{
    // A box over the progress dialog would keep a search from being ended when the dialog is closed
    // under it, although the window could then be used. A later tick tells it.
    if (!vel_main_window_ui_is_enabled(window))
        return;
    const gint32 fields = window->max_field_count.load(std::memory_order_relaxed);
    if (fields > VEL_MAIN_WINDOW_MAX_FIELDS)
        vel_main_window_tell(window, VEL_MAIN_WINDOW_LIMIT_FIELDS,
                             g_strdup_printf("The file has records of more than %d fields. Only "
                                             "the first %d of each are shown and searched.",
                                             VEL_MAIN_WINDOW_MAX_FIELDS,
                                             VEL_MAIN_WINDOW_MAX_FIELDS));
    if ((window->limits_reached & VEL_MAIN_WINDOW_LIMIT_BYTES) != 0)
        vel_main_window_tell(window, VEL_MAIN_WINDOW_LIMIT_BYTES,
                             g_strdup_printf("The file has records of more than %d bytes. Only "
                                             "the first %d of each are shown.",
                                             VEL_MAIN_WINDOW_MAX_RECORD_BYTES,
                                             VEL_MAIN_WINDOW_MAX_RECORD_BYTES));
}

void vel_main_window_update(vel_main_window *window)
{
    vel_main_window_take_chunks(window);
    vel_main_window_update_columns(window);

    gint32 rows = window->record_count.load(std::memory_order_relaxed);
    if (window->headers && rows >= 1)
        rows--;
    vel_main_window_update_rows(window, rows);
    vel_main_window_update_status(window, rows);
    vel_main_window_tell_limits(window);
}

static gchar *vel_main_window_column_title(const vel_main_window *window, gint32 header_row,
                                           gint32 column)
{
    if (window->headers && column < window->cache->n_columns)
        return g_strdup(vel_table_get_str(window->cache, header_row, column));
    return g_strdup_printf("Column %d", column);
}

void vel_main_window_update_columns(vel_main_window *window)
{
    if (window->table.columns == 0)
        vel_gui_table_add_column(&window->table, "Record", RECORD_COLUMN_WIDTH);
    const gint32 fields = std::min(window->max_field_count.load(std::memory_order_relaxed),
                                   VEL_MAIN_WINDOW_MAX_FIELDS);
    if (fields < window->table.columns)
        return;
    const gint32 header_row = vel_main_window_find_record(window, 0);
    if (header_row < 0)
        return;
    g_autoptr(GPtrArray) titles = g_ptr_array_new_with_free_func(g_free);
    for (gint32 column = window->table.columns; column <= fields; column++)
        g_ptr_array_add(titles, vel_main_window_column_title(window, header_row, column));
    vel_gui_table_add_columns(&window->table, gint32(titles->len),
                              reinterpret_cast<gchar **>(titles->pdata), FIELD_COLUMN_WIDTH);
}

void vel_main_window_stop_scanner(vel_main_window *window)
{
    if (window->scanner_thread == nullptr)
        return;
    window->stop_scanning.exchange(1);
    // The scanner may be waiting for its error report to be handled by this very thread: not before
    // it is done can it be joined.
    vel_main_window_ui_wait_for_scanner(window);
    g_thread_join(window->scanner_thread);
    window->scanner_thread = nullptr;
}

static void vel_main_window_drop_chunks(vel_main_window *window)
{
    while (gpointer chunk = g_async_queue_try_pop(window->chunk_queue))
        vel_main_window_table_free(chunk);
}

void vel_main_window_close_file(vel_main_window *window)
{
    if (window->scanner_thread != nullptr) {
        vel_main_window_stop_scanner(window);
        window->scan_state.exchange(VEL_MAIN_WINDOW_SCAN_IDLE);
    }
    vel_main_window_drop_chunks(window);
    g_clear_pointer(&window->file_path, g_free);
    window->seen_size.exchange(0);
    window->record_count.exchange(0);
    window->max_field_count.exchange(0);
    vel_table_clear(window->cache);
    vel_main_window_add_cache_columns(window->cache);
    window->cache_strings_floor = 0;
    window->limits_reached = 0;
    window->limits_told = 0;
    vel_table_set_n(&window->positions, 0);
    vel_table_set_reserved(&window->positions, 0);
    window->stop_scanning.exchange(0);

    vel_gui_table_set_num_rows(&window->table, 0);
    vel_main_window_reset_columns(window);
    if (window->headers)
        vel_main_window_set_headers(window, FALSE);
}
