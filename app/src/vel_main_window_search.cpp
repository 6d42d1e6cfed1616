// See vel_main_window_search.h.
#include "vel_main_window_search.h"

#include "vel_main_window_search_filter.h"

#include <gio/gio.h>

namespace
{

constexpr guint FIELDS_ROOM = 10;

/// Records between two reports of progress.
constexpr gint32 PROGRESS_STEP = 10000;

/// How often a hit ahead of the scan looks whether the scan has come by.
constexpr gulong SCAN_POLL_US = 1000;

} // namespace

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

/// A stream that fails cannot tell its position or size; then there is nothing to report.
static void vel_main_window_report_progress(search_request *request, gint64 position, gint64 size)
{
    if (position < 0 || size < 0)
        return;
    const double fraction = double(position) / (double(size) + 1);
    vel_job_set_progress(request->job, static_cast<gfloat>(fraction));
}

/// Passes over records of the parser's block that cannot have a hit, at most to the next report.
/// @return how many
static gint32 vel_main_window_pass_over(search_request *request, search_filter *filter)
{
    const gint32 offset = vel_main_window_search_filter_find(filter, request->parser);
    const gint32 step = PROGRESS_STEP - request->row % PROGRESS_STEP;
    const gint32 room = G_MAXINT32 - request->row;
    const gint32 passed =
        vel_csv_parser_skip_records_before(request->parser, offset, MIN(step, room));
    request->row += passed;
    return passed;
}

/// Goes through the records until a hit.
/// @return TRUE with the request's row and column at the hit
static gboolean vel_main_window_search_records(search_request *request, const search_term *term,
                                               search_filter *filter, gint64 size, GError **error)
{
    g_autoptr(GPtrArray) fields = g_ptr_array_new_full(FIELDS_ROOM, g_free);
    gint32 from = request->column;
    while (request->stop.load(std::memory_order_relaxed) == 0) {
        if (request->row % PROGRESS_STEP == 0)
            vel_main_window_report_progress(
                request, vel_csv_parser_get_file_position(request->parser), size);
        if (vel_main_window_pass_over(request, filter) > 0) {
            from = 0;
            if (request->row % PROGRESS_STEP == 0)
                continue;
        }
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
    search_filter filter;
    vel_main_window_search_filter_init(&filter, &term);
    vel_csv_parser_set_stop_flag(request->parser, &request->stop);

    GError *error = nullptr;
    if (vel_main_window_search_records(request, &term, &filter, size, &error)) {
        vel_main_window_wait_for_scan(request);
    } else {
        request->row = -1;
        request->column = -1;
    }
    // A read that was given up because the user cancelled has not failed.
    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED))
        g_clear_error(&error);
    else if (request->stop.load(std::memory_order_relaxed) == 0)
        vel_csv_parser_check_size(request->parser, size, &error);
    if (error != nullptr)
        vel_job_set_error(request->job, error);

    vel_csv_parser_set_stop_flag(request->parser, nullptr);
    vel_main_window_search_filter_done(&filter);
    vel_main_window_search_term_done(&term);
    vel_job_complete(request->job);
    return nullptr;
}

GThread *vel_main_window_search_start(search_request *request)
{
    return g_thread_new("Searcher", vel_main_window_search_thread, request);
}

const GError *vel_main_window_search_end(search_request *request, GThread *thread)
{
    request->stop.exchange(1);
    g_thread_join(thread);
    return vel_job_get_error(request->job);
}
