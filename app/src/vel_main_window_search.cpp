// See vel_main_window_search.h.
#include "vel_main_window_search.h"

#include <cstring>
#include <gio/gio.h>

namespace
{

constexpr guint FIELDS_ROOM = 10;

/// Records between two reports of progress.
constexpr gint32 PROGRESS_STEP = 10000;

/// How often a hit ahead of the scan looks whether the scan has come by.
constexpr gulong SCAN_POLL_US = 1000;

constexpr gint32 COLUMN_BLOCK = 1;
constexpr gint32 COLUMN_OFFSET = 2;

} // namespace

void vel_main_window_position_search(vel_main_window *window, gint32 record, GError **error)
{
    const vel_table *const positions = &window->positions;
    const gint32 group = record / VEL_MAIN_WINDOW_GROUP_SIZE;
    if (group >= positions->n) {
        g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_INVALID_ARGUMENT,
                            "Record index out of bounds");
        return;
    }
    vel_csv_parser *const parser = &window->search_parser;
    GError *failure = nullptr;
    vel_csv_parser_set_offset(parser, vel_table_get_int32(positions, group, COLUMN_BLOCK),
                              vel_table_get_int32(positions, group, COLUMN_OFFSET), &failure);
    for (gint32 i = group * VEL_MAIN_WINDOW_GROUP_SIZE; failure == nullptr && i < record; i++) {
        if (vel_csv_parser_read_record(parser, nullptr, &failure) == 0)
            break;
    }
    if (failure != nullptr)
        g_propagate_error(error, failure);
}

static gboolean vel_main_window_is_plain_locale(void)
{
    static const gchar letters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    g_autofree gchar *lower = g_utf8_strdown(letters, -1);
    g_autofree gchar *ascii_lower = g_ascii_strdown(letters, -1);
    return strcmp(lower, ascii_lower) == 0;
}

void vel_main_window_search_term_init(search_term *term, const gchar *text, gboolean case_sensitive)
{
    term->text = case_sensitive ? g_strdup(text) : g_utf8_strdown(text, -1);
    term->length = strlen(term->text);
    term->case_sensitive = case_sensitive;
    term->ascii = g_str_is_ascii(term->text);
    term->plain_locale = vel_main_window_is_plain_locale();
}

void vel_main_window_search_term_done(search_term *term)
{
    g_clear_pointer(&term->text, g_free);
}

/// Looks for an ASCII term, already lower-cased, in ASCII text of any case.
static gboolean vel_main_window_ascii_contains(const gchar *field, gsize field_length,
                                               const search_term *term)
{
    if (term->length > field_length)
        return FALSE;
    for (gsize i = 0; i <= field_length - term->length; i++) {
        if (g_ascii_strncasecmp(field + i, term->text, term->length) == 0)
            return TRUE;
    }
    return FALSE;
}

/// Lower-cases the field as a whole, which may also change its length.
static gboolean vel_main_window_lowered_contains(const gchar *field, const search_term *term)
{
    // Lower-casing steps from character to character by their first bytes and must never meet a
    // broken one.
    g_autofree gchar *valid = g_utf8_make_valid(field, -1);
    g_autofree gchar *lower = g_utf8_strdown(valid, -1);
    return strstr(lower, term->text) != nullptr;
}

gboolean vel_main_window_search_term_matches(const search_term *term, const gchar *field)
{
    const gchar *const text = field != nullptr ? field : "";
    if (term->case_sensitive)
        return strstr(text, term->text) != nullptr;
    if (!term->plain_locale || !g_str_is_ascii(text))
        return vel_main_window_lowered_contains(text, term);
    // A text of ASCII letters stays one when it is lower-cased.
    return term->ascii && vel_main_window_ascii_contains(text, strlen(text), term);
}

/// Tests the fields of one record from a field on.
/// @return the first hit's index, or -1
static gint32 vel_main_window_search_record(const GPtrArray *fields, gint32 from,
                                            const search_term *term)
{
    for (gint32 i = from; i < gint32(fields->len); i++) {
        const auto *const field = static_cast<const gchar *>(g_ptr_array_index(fields, i));
        if (vel_main_window_search_term_matches(term, field))
            return i;
    }
    return -1;
}

static void vel_main_window_report_progress(search_request *request, gint64 position, gint64 size)
{
    const double fraction = double(position) / (double(size) + 1);
    vel_job_set_progress(request->job, static_cast<gfloat>(fraction));
}

/// Goes through the records until a hit.
/// @return TRUE with the request's row and column at the hit
static gboolean vel_main_window_search_records(search_request *request, const search_term *term,
                                               gint64 size, GError **error)
{
    g_autoptr(GPtrArray) fields = g_ptr_array_new_full(FIELDS_ROOM, g_free);
    gint32 from = request->column;
    while (request->stop.load(std::memory_order_relaxed) == 0) {
        if (request->row % PROGRESS_STEP == 0)
            vel_main_window_report_progress(
                request, vel_csv_parser_get_file_position(request->parser), size);
        GError *failure = nullptr;
        vel_csv_parser_read_record(request->parser, fields, &failure);
        if (failure != nullptr) {
            g_propagate_error(error, failure);
            return FALSE;
        }
        if (fields->len == 0 || request->row == G_MAXINT32)
            return FALSE;
        const gint32 hit = vel_main_window_search_record(fields, from, term);
        if (hit >= 0) {
            request->column = hit;
            return TRUE;
        }
        request->row++;
        from = 0;
    }
    return FALSE;
}

/// Whether the scan has yet to count the hit's record and its field.
static gboolean vel_main_window_is_ahead_of_scan(const search_request *request)
{
    return request->record_count->load(std::memory_order_relaxed) <= request->row ||
           request->max_field_count->load(std::memory_order_relaxed) <= request->column;
}

/// A hit that the scan has not counted yet has no cell to be shown in: wait for it.
static void vel_main_window_wait_for_scan(const search_request *request)
{
    if (request->record_count == nullptr)
        return;
    while (request->stop.load(std::memory_order_relaxed) == 0 &&
           request->scanner_done->load(std::memory_order_acquire) == 0 &&
           vel_main_window_is_ahead_of_scan(request))
        g_usleep(SCAN_POLL_US);
}

gpointer vel_main_window_search_thread(gpointer data)
{
    search_request *const request = static_cast<search_request *>(data);
    const gint64 size = vel_csv_parser_get_file_size(request->parser);
    vel_main_window_report_progress(request, vel_csv_parser_get_file_position(request->parser),
                                    size);
    search_term term;
    vel_main_window_search_term_init(&term, request->text, request->case_sensitive);
    vel_csv_parser_set_stop_flag(request->parser, &request->stop);

    GError *error = nullptr;
    if (vel_main_window_search_records(request, &term, size, &error)) {
        vel_main_window_wait_for_scan(request);
    } else {
        request->row = -1;
        request->column = -1;
    }
    // A read that was given up because the user cancelled has not failed.
    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED))
        g_clear_error(&error);
    if (error != nullptr)
        vel_job_set_error(request->job, error);

    vel_csv_parser_set_stop_flag(request->parser, nullptr);
    vel_main_window_search_term_done(&term);
    vel_job_complete(request->job);
    return nullptr;
}
