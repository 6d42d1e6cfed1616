// The record cache and the text of a cell. The grid asks for visible cells only; a record that is
// not in the cache is read together with its whole group of a hundred, so scrolling through
// neighbours reads the file once per group. The cache holds at most 1600 records, first in, first
// out, and its string pool is compacted when dead texts prevail.
#include "vel_assert.h"
#include "vel_gui.h"
#include "vel_main_window.h"
#include "vel_utils_number.h"

namespace
{

constexpr gint32 COLUMN_LINE = 0;

constexpr gint32 CACHE_MAX_ROWS = 1500;
constexpr gint32 CACHE_TRIM_ROWS = 500;

/// Dead texts below this are not worth a compaction.
constexpr gint64 CACHE_STRINGS_SLACK = gint64{1} << 20;

/// Records of megabytes, or of thousands of fields, would fill the memory long before they are
/// 1500: when rows and texts take more bytes than this, all of them are dropped.
constexpr gint64 CACHE_MAX_BYTES = gint64{1} << 28;

/// Field array's first room.
constexpr guint FIELDS_ROOM = 100;

} // namespace

static void vel_main_window_compact_cache(vel_main_window *window)
{
    vel_table_compact_strings(window->cache);
    window->cache_strings_floor = window->cache->strings_len;
}

static gboolean vel_main_window_is_cache_full(const vel_table *cache)
{
    return cache->strings_len + gint64{cache->n} * cache->row_size > CACHE_MAX_BYTES;
}

static void vel_main_window_drop_cache(vel_main_window *window)
{
    vel_table_delete_rows(window->cache, 0, window->cache->n);
    vel_table_set_reserved(window->cache, 0);
    vel_main_window_compact_cache(window);
}

/// Keeps rows and texts of the cache bounded; called before a fill, so borrowed texts are not in
/// use.
static void vel_main_window_trim_cache(vel_main_window *window)
{
    vel_table *const cache = window->cache;
    if (cache->n > CACHE_MAX_ROWS)
        vel_table_delete_rows(cache, 0, CACHE_TRIM_ROWS);
    const gint64 allowed = 2 * gint64{window->cache_strings_floor} + CACHE_STRINGS_SLACK;
    if (cache->strings_len > allowed)
        vel_main_window_compact_cache(window);
    if (vel_main_window_is_cache_full(cache))
        vel_main_window_drop_cache(window);
}

/// Makes columns for so many fields, all at once: each addition copies every row.
static void vel_main_window_widen_cache(vel_table *cache, gint32 n_fields)
{
    g_autoptr(GPtrArray) names = g_ptr_array_new_with_free_func(g_free);
    for (gint32 column = cache->n_columns; column <= n_fields; column++)
        g_ptr_array_add(names, g_strdup_printf("COL%d", column));
    vel_table_add_columns(cache, gint32(names->len), reinterpret_cast<gchar **>(names->pdata),
                          VEL_TABLE_COLUMN_TYPE_STR);
}

static void vel_main_window_cache_record(vel_table *cache, gint32 record, const GPtrArray *fields)
{
    gpointer *const rec = fields->pdata;
    vel_assert(rec);
    const gint32 n_fields = gint32(fields->len);
    if (cache->n_columns <= n_fields)
        vel_main_window_widen_cache(cache, n_fields);
    const gint32 row = cache->n;
    vel_table_set_n(cache, row + 1);
    vel_table_set_int32(cache, row, COLUMN_LINE, record);
    for (gint32 i = 0; i < n_fields; i++) {
        if (rec[i] != nullptr)
            vel_table_set_str(cache, row, i + 1, static_cast<const gchar *>(rec[i]));
    }
}

/// Reads a group's next record. @return FALSE at the end of the file and with an error
static gboolean vel_main_window_read_for_cache(vel_main_window *window, GPtrArray *fields,
                                               GError **error)
{
    GError *failure = nullptr;
    const gint32 n_fields = vel_csv_parser_read_record(&window->parser, fields, &failure);
    if (failure != nullptr) {
        g_propagate_error(error, failure);
        return FALSE;
    }
    // Fields that are left out were counted by the scan.
    if (window->parser.is_cut && n_fields <= VEL_MAIN_WINDOW_MAX_FIELDS)
        window->limits_reached |= VEL_MAIN_WINDOW_LIMIT_BYTES;
    return fields->len > 0;
}

/// Reads the records of a record's group that are not in the cache yet; stops at the end of the
/// file. When they are too large to be kept together, those before the wanted one are dropped and
/// those behind it are left. When the file turns out to have been cut meanwhile, any of them may be
/// half a record.
static void vel_main_window_fill_cache(vel_main_window *window, gint32 wanted, GError **error)
{
    const gint32 group = gint32(guint32(wanted) / VEL_MAIN_WINDOW_GROUP_SIZE);
    GError *failure = nullptr;
    vel_main_window_go_to_group(window, &window->parser, group, &failure);

    g_autoptr(GPtrArray) fields = g_ptr_array_new_full(FIELDS_ROOM, g_free);
    const gint32 first = group * VEL_MAIN_WINDOW_GROUP_SIZE;
    for (gint32 i = 0; failure == nullptr && i < VEL_MAIN_WINDOW_GROUP_SIZE; i++) {
        if (vel_main_window_is_cache_full(window->cache)) {
            if (first + i > wanted)
                break;
            vel_main_window_drop_cache(window);
        }
        if (!vel_main_window_read_for_cache(window, fields, &failure))
            break;
        if (vel_table_find_int32(window->cache, COLUMN_LINE, first + i) < 0)
            vel_main_window_cache_record(window->cache, first + i, fields);
    }
    vel_csv_parser_check_size(&window->parser, window->seen_size.load(std::memory_order_relaxed),
                              &failure);
    if (failure != nullptr)
        g_propagate_error(error, failure);
}

gint32 vel_main_window_find_record(vel_main_window *window, gint32 record)
{
    const gint32 cached = vel_table_find_int32(window->cache, COLUMN_LINE, record);
    if (cached >= 0 || window->cache_failed)
        return cached;
    vel_main_window_trim_cache(window);
    const gint32 group = gint32(guint32(record) / VEL_MAIN_WINDOW_GROUP_SIZE);
    if (group >= window->positions.n)
        return cached;

    GError *error = nullptr;
    vel_main_window_fill_cache(window, record, &error);
    if (error != nullptr) {
        // The box of vel_gui_abort() lets the window go on painting, and each cell would fail
        // again.
        window->cache_failed = TRUE;
        vel_gui_abort(error->message);
    }
    return vel_table_find_int32(window->cache, COLUMN_LINE, record);
}

static void vel_main_window_append_field(vel_main_window *window, gint32 record, gint32 column)
{
    const gint32 row = vel_main_window_find_record(window, record);
    if (row >= 0 && column < window->cache->n_columns)
        vel_buffer_append_str(&window->cell_text, vel_table_get_str(window->cache, row, column));
}

const gchar *vel_main_window_table_get_text(gint32 row, gint32 column)
{
    vel_main_window *const window = vel_main_window_instance;
    vel_buffer *const text = &window->cell_text;
    vel_buffer_set_length(text, 0);
    const gint64 record = gint64{row} + (window->headers ? 1 : 0);
    if (record >= 0 && record < window->record_count.load(std::memory_order_relaxed)) {
        if (column == 0)
            vel_utils_append_grouped(text, gint64{row} + 1);
        else
            vel_main_window_append_field(window, gint32(record), column);
    }
    vel_buffer_append(text, "", 1);
    return reinterpret_cast<const gchar *>(text->data);
}
