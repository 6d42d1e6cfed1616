// Guessing the separator and the header row against both guesses written down plainly over the
// naive reader. An input is: the parser's separator, a candidate, flags, the source's choices (four
// bytes), the text.
#include "vel_fuzz_csv.h"

#include <cstring>

namespace
{

struct vel_fuzz_guess {
    gchar separator;
    bool failed;
};

} // namespace

static double vel_fuzz_score(const vel_fuzz_source &source, NaivePosition start, gchar candidate,
                             bool *failed)
{
    NaiveCsvReader naive = vel_fuzz_naive(source, candidate);
    naive.set_position(start);
    const NaiveRecord first = naive.read_record();
    *failed = first.unclosed;
    if (*failed)
        return 0;
    if (first.count == 0)
        return 1;
    const NaiveRecord second = naive.read_record();
    *failed = second.unclosed;
    if (*failed)
        return 0;
    return first.count == second.count && first.count >= 2 ? 0.75 : 0.125;
}

static vel_fuzz_guess vel_fuzz_guess_separator(const vel_fuzz_source &source, NaivePosition start)
{
    bool failed = false;
    vel_fuzz_guess best = {',', false};
    double best_score = -1;
    for (const gchar candidate : {',', '\t', ';', '|'}) {
        const double score = vel_fuzz_score(source, start, candidate, &failed);
        if (score > best_score)
            best.separator = candidate;
        best_score = MAX(best_score, score);
        if (failed)
            return {best.separator, true};
        start = {0, 0};
    }
    return best;
}

/// Blanks, a sign, and at least one digit.
static bool vel_fuzz_is_numeric(const std::vector<NaiveField> &fields, gsize column)
{
    if (column >= fields.size() || !fields[column].has_value())
        return false;
    const std::string text = vel_fuzz_up_to_zero(*fields[column]);
    gsize i = text.find_first_not_of(" \t\n\v\f\r");
    if (i != std::string::npos && (text[i] == '+' || text[i] == '-'))
        i++;
    return i < text.size() && text[i] >= '0' && text[i] <= '9';
}

static vel_fuzz_guess vel_fuzz_guess_headers(const vel_fuzz_source &source, gchar separator,
                                             bool *is_header)
{
    *is_header = false;
    NaiveCsvReader naive = vel_fuzz_naive(source, separator);
    const NaiveRecord first = naive.read_record();
    if (first.unclosed)
        return {separator, true};
    const NaiveRecord second = naive.read_record();
    if (second.unclosed)
        return {separator, true};
    const gsize columns = MAX(first.fields.size(), second.fields.size());
    gsize turned = 0;
    for (gsize i = 0; i < columns; i++) {
        if (vel_fuzz_is_numeric(second.fields, i) && !vel_fuzz_is_numeric(first.fields, i))
            turned++;
    }
    // More than a fifth, in whole numbers.
    *is_header = columns > 0 && turned * 5 > columns;
    return {separator, false};
}

/// What every guess leaves behind: the separator as it was and, unless reading failed, the start.
static void vel_fuzz_check_state(vel_csv_parser *parser, gchar separator, const GError *error)
{
    vel_fuzz_check(parser->separator == separator);
    for (gint byte = 0; byte < 256; byte++) {
        const bool special = byte == 0 || byte == '\n' || byte == '\r' || byte == separator;
        vel_fuzz_check(parser->special[byte] == (special ? 1 : 0));
    }
    if (error != nullptr) {
        vel_fuzz_check(vel_fuzz_is_unclosed(error));
        return;
    }
    vel_fuzz_check(parser->block == 0);
    vel_fuzz_check(parser->pos == parser->buffer);
}

static void vel_fuzz_check_guesses(vel_fuzz_csv *csv, const vel_fuzz_source &source,
                                   gchar separator, gchar candidate)
{
    bool failed = false;
    g_autoptr(GError) error = nullptr;
    const double score = vel_fuzz_score(source, {0, 0}, candidate, &failed);
    const double real =
        gdouble{vel_csv_parser_probe_field_separator(&csv->parser, candidate, &error)};
    vel_fuzz_check(score <= real && score >= real);
    vel_fuzz_check((error != nullptr) == failed);
    vel_fuzz_check_state(&csv->parser, separator, error);

    g_clear_error(&error);
    vel_csv_parser_set_offset(&csv->parser, 0, 0, &error);
    const vel_fuzz_guess guess = vel_fuzz_guess_separator(source, {0, 0});
    vel_fuzz_check(vel_csv_parser_guess_separator(&csv->parser, &error) == guess.separator);
    vel_fuzz_check((error != nullptr) == guess.failed);
    vel_fuzz_check_state(&csv->parser, separator, error);

    g_clear_error(&error);
    bool is_header = false;
    const vel_fuzz_guess headers = vel_fuzz_guess_headers(source, separator, &is_header);
    const bool guessed = vel_csv_parser_guess_headers(&csv->parser, &error) != FALSE;
    vel_fuzz_check(guessed == is_header);
    vel_fuzz_check((error != nullptr) == headers.failed);
    vel_fuzz_check_state(&csv->parser, separator, error);
}

/// Opening a file without a separator: the first probe starts behind the byte-order mark.
static void vel_fuzz_check_opening(const vel_fuzz_source &source)
{
    const bool has_mark = source.bytes.compare(0, 3, "\xEF\xBB\xBF") == 0;
    const vel_fuzz_guess guess = vel_fuzz_guess_separator(source, {0, has_mark ? 3 : 0});
    g_autoptr(GError) error = nullptr;
    vel_fuzz_csv csv;
    vel_fuzz_open(&csv, source, '\0', &error);
    vel_fuzz_check((error != nullptr) == guess.failed);
    vel_fuzz_check_state(&csv.parser, guess.separator, error);
}

gint vel_fuzz_csv_guess(const guint8 *data, gsize size)
{
    vel_fuzz_input input = {data, size};
    const gchar separator = vel_fuzz_take_separator(&input);
    const gchar candidate = vel_fuzz_take_separator(&input);
    const gint32 flags = vel_fuzz_take_number(&input, 2);
    vel_fuzz_input choices = input;
    for (gint i = 0; i < 4; i++)
        vel_fuzz_take_byte(&input);
    std::string text = vel_fuzz_take_rest(&input);
    if (flags == 1)
        text.insert(0, "\xEF\xBB\xBF");
    const vel_fuzz_source source = vel_fuzz_take_source(&choices, text, false);

    g_autoptr(GError) error = nullptr;
    vel_fuzz_csv csv;
    vel_fuzz_open(&csv, source, separator, &error);
    vel_fuzz_check(error == nullptr);
    vel_fuzz_check_guesses(&csv, source, separator, candidate);
    if (source.is_file)
        vel_fuzz_check_opening(source);
    return 0;
}
