// Finding, through the viewer's own search, from the start of the file to a field near its end or
// all through it. The baselines take every record's fields and look into each with the means of the
// C library and GLib.
#include "vel_bench_measure.h"
#include "vel_bench_parser.h"
#include "vel_bench_read.h"
#include "vel_bench_shape.h"
#include "vel_main_window.h"
#include "vel_main_window_search.h"

#include <cstring>

namespace
{

const std::string READ = "read";

struct find_term {
    const gchar *what;
    const gchar *text;
    gboolean case_sensitive;
};

/// Lower-casing goes through this share of the records only: it takes a second for a megabyte or
/// two where GLib asks for the locale each time.
constexpr gdouble LOWERED_SHARE = 0.02;

} // namespace

static vel_bench_finding vel_bench_find_searched(const search_request *request)
{
    const GError *const error = vel_job_get_error(request->job);
    if (error != nullptr)
        return std::string("the error \"") + error->message + "\"";
    return vel_bench_tell_hit(request->row, request->column);
}

static vel_bench_finding vel_bench_find_search(const vel_bench_file *file, const find_term *term)
{
    vel_csv_parser parser;
    vel_csv_parser_init(&parser);
    vel_csv_parser_set_keep_limits(&parser, VEL_MAIN_WINDOW_MAX_FIELDS, 0);
    vel_job job;
    vel_job_init(&job, "Searching");
    search_request request = {};
    request.parser = &parser;
    request.text = term->text;
    request.case_sensitive = term->case_sensitive ? 1 : 0;
    request.job = &job;
    vel_bench_finding found = "the file cannot be opened";
    if (vel_bench_open(&parser, file, nullptr)) {
        vel_main_window_search_thread(&request);
        found = vel_bench_find_searched(&request);
    }
    vel_job_done(&job);
    vel_csv_parser_done(&parser);
    return found;
}

static gboolean vel_bench_find_lowered(const gchar *field, const gchar *lower_text)
{
    g_autofree gchar *lower = g_utf8_strdown(field, -1);
    return strstr(lower, lower_text) != nullptr;
}

// The first field of a record that holds the text, or -1. The text was lower-cased when cases are
// ignored.
static gint32 vel_bench_find_in_record(const GPtrArray *fields, const gchar *text,
                                       gboolean case_sensitive)
{
    for (guint i = 0; i < fields->len; i++) {
        const auto *const field = static_cast<const gchar *>(g_ptr_array_index(fields, i));
        if (field != nullptr &&
            (case_sensitive ? strstr(field, text) != nullptr : vel_bench_find_lowered(field, text)))
            return static_cast<gint32>(i);
    }
    return -1;
}

/// @param max_records  to be read at most
static vel_bench_finding vel_bench_find_simply(const vel_bench_file *file, const find_term *term,
                                               gint64 max_records)
{
    vel_csv_parser parser;
    vel_csv_parser_init(&parser);
    g_autofree gchar *text =
        term->case_sensitive ? g_strdup(term->text) : g_utf8_strdown(term->text, -1);
    g_autoptr(GPtrArray) fields = g_ptr_array_new_full(VEL_BENCH_GROUP, g_free);
    gint64 row = 0;
    gint32 column = -1;
    if (vel_bench_open(&parser, file, nullptr)) {
        for (; row < max_records && column < 0; row++) {
            if (vel_csv_parser_read_record(&parser, fields, nullptr) == 0)
                break;
            column = vel_bench_find_in_record(fields, text, term->case_sensitive);
        }
    }
    vel_csv_parser_done(&parser);
    return vel_bench_tell_hit(column >= 0 ? row - 1 : -1, column);
}

static std::string vel_bench_find_kind(const find_term *term)
{
    return std::string("find ") + term->what;
}

static void vel_bench_find_add(vel_bench_comparison *comparison, const vel_bench_file *file,
                               const find_term &term)
{
    const std::string kind = vel_bench_find_kind(&term);
    comparison->variants.push_back({kind, kind, [file, term] {
                                        return vel_bench_find_search(file, &term);
                                    }});
}

// A baseline for a find, which must find the same.
static void vel_bench_find_add_simple(vel_bench_comparison *comparison, const vel_bench_file *file,
                                      const find_term &term, const vel_bench_baseline &baseline,
                                      gdouble share)
{
    const gint64 records = static_cast<gint64>(
        share * static_cast<gdouble>(g_ascii_strtoll(file->records.c_str(), nullptr, 10)));
    comparison->variants.push_back(
        {baseline.name, vel_bench_find_kind(&term),
         [file, term, records] { return vel_bench_find_simply(file, &term, records); }, share});
    comparison->baselines.push_back(baseline);
}

static void vel_bench_find_add_all(vel_bench_comparison *comparison, const vel_bench_file *file)
{
    const vel_bench_shape *const shape = file->shape;
    const find_term present = {"present", shape->needle, TRUE};
    const find_term lowered = {"absent non-ASCII, any case", shape->absent_beyond_ascii, FALSE};
    comparison->variants.push_back({READ, "bytes", [file] {
                                        return vel_bench_tell_count(
                                            vel_bench_read_blocks(file, [](gchar *, gsize) {}),
                                            "bytes");
                                    }});
    comparison->baselines.push_back({"/read", READ});
    vel_bench_find_add_simple(comparison, file, present, {"/strstr", "strstr() in each field"}, 1);
    vel_bench_find_add_simple(comparison, file, lowered, {"/lower", "each field in lower case"},
                              LOWERED_SHARE);
    vel_bench_find_add(comparison, file, present);
    vel_bench_find_add(comparison, file, {"absent", shape->absent, TRUE});
    vel_bench_find_add(comparison, file, {"absent, any case", shape->absent_any_case, FALSE});
    vel_bench_find_add(comparison, file,
                       {"present non-ASCII, any case", shape->needle_any_case, FALSE});
    vel_bench_find_add(comparison, file, lowered);
}

void vel_bench_find(vel_bench *bench, const vel_bench_file *file)
{
    vel_bench_comparison comparison = {};
    comparison.subject = file->shape->name;
    comparison.title = comparison.subject + ": finding";
    comparison.unit = "GB/s";
    comparison.amount = static_cast<gdouble>(file->bytes);
    vel_bench_find_add_all(&comparison, file);
    for (const gchar *const kind : {"find present", "find present non-ASCII, any case"})
        vel_bench_check(bench, comparison.subject, kind, "its maker", file->needle);
    for (const gchar *const kind :
         {"find absent", "find absent, any case", "find absent non-ASCII, any case"})
        vel_bench_check(bench, comparison.subject, kind, "its maker", vel_bench_tell_hit(-1, -1));
    vel_bench_measure(bench, &comparison);
}
