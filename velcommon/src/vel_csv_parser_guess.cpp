// Two guesses from a file's first two records: which byte separates the fields, and whether the
// first record names the columns. Both are rough on purpose: they look at no more than two records
// and cost next to nothing.
#include "vel_csv_parser_internal.h"

#include <cstdlib>

// The share of columns that must turn numeric in the second record for the first to be a header
// row.
static constexpr gdouble VEL_CSV_PARSER_HEADER_SHARE = 0.2;

// The number of fields of the next record, 0 at the end of the data and on failure. A record can be
// as long as the file, and it is gone through for each candidate: passing over it is fastest.
static gint32 vel_csv_parser_count_fields(vel_csv_parser *parser, GError **error)
{
    gint32 n = 0;
    return vel_csv_parser_skip_records(parser, 1, &n, error) > 0 ? n : 0;
}

static gfloat vel_csv_parser_score(vel_csv_parser *parser, GError **error)
{
    const gint32 first = vel_csv_parser_count_fields(parser, error);
    if (vel_csv_parser_failed(error))
        return 0.0f;
    if (first == 0)
        return 1.0f;
    const gint32 second = vel_csv_parser_count_fields(parser, error);
    if (vel_csv_parser_failed(error))
        return 0.0f;
    return first == second && first >= 2 ? 0.75f : 0.125f;
}

gfloat vel_csv_parser_probe_field_separator(vel_csv_parser *parser, gchar candidate, GError **error)
{
    g_autoptr(GError) ignored = nullptr;
    if (error == nullptr)
        error = &ignored;
    const gchar separator = parser->separator;
    vel_csv_parser_set_separator(parser, candidate);
    const gfloat score = vel_csv_parser_score(parser, error);
    if (!vel_csv_parser_failed(error))
        vel_csv_parser_set_offset(parser, 0, 0, error);
    vel_csv_parser_set_separator(parser, separator);
    return score;
}

gchar vel_csv_parser_guess_separator(vel_csv_parser *parser, GError **error)
{
    g_autoptr(GError) ignored = nullptr;
    if (error == nullptr)
        error = &ignored;
    gchar best = ',';
    if (vel_csv_parser_failed(error))
        return best;
    gfloat best_score = 0.0f;
    for (const gchar candidate : {',', '\t', ';', '|'}) {
        const gfloat score = vel_csv_parser_probe_field_separator(parser, candidate, error);
        // A probe may score and then fail on its way back to the start: its score does not count.
        if (vel_csv_parser_failed(error))
            return best;
        if (score > best_score) {
            best = candidate;
            best_score = score;
        }
    }
    return best;
}

// Whether a record has a field there that begins with a number: "12abc" does, after blanks and a
// sign too.
static bool vel_csv_parser_is_numeric(const GPtrArray *fields, guint column)
{
    if (column >= fields->len || fields->pdata[column] == nullptr)
        return false;
    const gchar *const field = static_cast<const gchar *>(fields->pdata[column]);
    gchar *end = nullptr;
    (void) std::strtol(field, &end, 10);
    return end != field;
}

static bool vel_csv_parser_is_header(const GPtrArray *first, const GPtrArray *second)
{
    const guint columns = MAX(first->len, second->len);
    guint turned = 0;
    for (guint i = 0; i < columns; i++) {
        if (vel_csv_parser_is_numeric(second, i) && !vel_csv_parser_is_numeric(first, i))
            turned++;
    }
    return columns > 0 && gdouble(turned) / gdouble(columns) > VEL_CSV_PARSER_HEADER_SHARE;
}

gboolean vel_csv_parser_guess_headers(vel_csv_parser *parser, GError **error)
{
    g_autoptr(GError) ignored = nullptr;
    if (error == nullptr)
        error = &ignored;
    vel_csv_parser_set_offset(parser, 0, 0, error);
    g_autoptr(GPtrArray) first = g_ptr_array_new_full(20, g_free);
    g_autoptr(GPtrArray) second = g_ptr_array_new_full(20, g_free);
    vel_csv_parser_read_record(parser, first, error);
    if (!vel_csv_parser_failed(error))
        vel_csv_parser_read_record(parser, second, error);
    if (vel_csv_parser_failed(error))
        return FALSE;
    const bool is_header = vel_csv_parser_is_header(first, second);
    vel_csv_parser_set_offset(parser, 0, 0, error);
    return !vel_csv_parser_failed(error) && is_header;
}
