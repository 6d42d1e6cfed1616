// Find's comparison, with its short cuts for ASCII, against its definition: the term is a piece of
// the field, byte by byte, after both were lower-cased as a whole when cases are ignored. Then a
// search through a file against the naive reader and that definition. An input is: flags, the first
// field, the separator, the term behind its length, and the field or file.
#include "vel_fuzz_csv.h"
#include "vel_fuzz_stream.h"
#include "vel_main_window_search.h"

#include <algorithm>

/// Bytes of the longest piece at `text` that can begin a character, as UTF-8 allows them.
static gsize vel_fuzz_character(const std::string &text, gsize at)
{
    const gunichar c = g_utf8_get_char_validated(text.c_str() + at, -1);
    return c >= static_cast<gunichar>(-2) ? 0 : static_cast<gsize>(g_unichar_to_utf8(c, nullptr));
}

/// The text with U+FFFD for each byte that is part of no character.
static std::string vel_fuzz_make_valid(const std::string &text)
{
    std::string valid;
    for (gsize at = 0; at < text.size();) {
        const gsize length = vel_fuzz_character(text, at);
        valid += length == 0 ? "\xEF\xBF\xBD" : text.substr(at, length);
        at += MAX(length, gsize{1});
    }
    return valid;
}

static std::string vel_fuzz_lower(const std::string &text)
{
    g_autofree gchar *lower = g_utf8_strdown(text.c_str(), -1);
    return lower;
}

static bool vel_fuzz_contains(const std::string &text, const std::string &piece)
{
    for (gsize at = 0; at + piece.size() <= text.size(); at++) {
        if (std::equal(piece.begin(), piece.end(), text.begin() + static_cast<gssize>(at)))
            return true;
    }
    return false;
}

static bool vel_fuzz_matches(const std::string &term, const std::string &field, bool case_sensitive)
{
    if (case_sensitive)
        return vel_fuzz_contains(field, term);
    return vel_fuzz_contains(vel_fuzz_lower(vel_fuzz_make_valid(field)), vel_fuzz_lower(term));
}

static void vel_fuzz_check_field(const std::string &term, const std::string &field,
                                 bool case_sensitive)
{
    search_term ready;
    vel_main_window_search_term_init(&ready, term.c_str(), case_sensitive);
    const bool expected = vel_fuzz_matches(term, field, case_sensitive);
    vel_fuzz_check((vel_main_window_search_term_matches(&ready, field.c_str()) != FALSE) ==
                   expected);
    vel_fuzz_check((vel_main_window_search_term_matches(&ready, nullptr) != FALSE) == term.empty());
    vel_main_window_search_term_done(&ready);
}

namespace
{

struct vel_fuzz_hit {
    gint32 row;
    gint32 column;
    bool failed;
};

} // namespace

static vel_fuzz_hit vel_fuzz_search(const vel_fuzz_source &source, gchar separator,
                                    const std::string &term, bool case_sensitive, gint32 from)
{
    NaiveCsvReader naive = vel_fuzz_naive(source, separator);
    for (gint32 row = 0;; row++) {
        const NaiveRecord record = naive.read_record();
        if (record.count == 0 || record.unclosed)
            return {-1, -1, record.unclosed};
        for (gint32 column = from; column < record.count; column++) {
            const NaiveField &field = record.fields[static_cast<gsize>(column)];
            if (vel_fuzz_matches(term, vel_fuzz_up_to_zero(field.value_or("")), case_sensitive))
                return {row, column, false};
        }
        from = 0;
    }
}

static void vel_fuzz_check_search(const vel_fuzz_source &source, gchar separator,
                                  const std::string &term, bool case_sensitive, gint32 from)
{
    const vel_fuzz_hit hit = vel_fuzz_search(source, separator, term, case_sensitive, from);
    vel_fuzz_csv csv;
    g_autoptr(GError) error = nullptr;
    vel_fuzz_open(&csv, source, separator, &error);
    vel_fuzz_check(error == nullptr);
    vel_job job;
    vel_job_init(&job, "Searching");
    search_request request = {};
    request.parser = &csv.parser;
    request.text = term.c_str();
    request.case_sensitive = case_sensitive;
    request.column = from;
    request.job = &job;
    vel_main_window_search_thread(&request);
    vel_fuzz_check(request.row == hit.row);
    vel_fuzz_check(request.column == hit.column);
    vel_fuzz_check(vel_job_is_complete(&job));
    vel_fuzz_check((vel_job_get_error(&job) != nullptr) == hit.failed);
    vel_fuzz_check(!hit.failed || vel_fuzz_is_unclosed(vel_job_get_error(&job)));
    const double progress = gdouble{vel_job_get_progress(&job)};
    vel_fuzz_check(progress >= 0 && progress <= 1);
    vel_job_done(&job);
}

gint vel_fuzz_find(const guint8 *data, gsize size)
{
    vel_fuzz_input input = {data, size};
    const gint32 flags = vel_fuzz_take_number(&input, 4);
    const gint32 from = vel_fuzz_take_number(&input, 16) - 1;
    const gchar separator = vel_fuzz_take_separator(&input);
    // What is typed into a field of text is always valid.
    const std::string term = vel_fuzz_make_valid(vel_fuzz_up_to_zero(vel_fuzz_take_text(&input)));
    const std::string text = vel_fuzz_take_rest(&input);
    const bool case_sensitive = (flags & 1) != 0;
    vel_fuzz_check_field(term, vel_fuzz_up_to_zero(text), case_sensitive);
    const bool is_file = (flags & 2) != 0;
    const vel_fuzz_source source = {is_file ? text : vel_fuzz_up_to_zero(text), is_file, 0};
    vel_fuzz_check_search(source, separator, term, case_sensitive, MAX(from, 0));
    return 0;
}
