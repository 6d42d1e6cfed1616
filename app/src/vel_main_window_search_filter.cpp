// See vel_main_window_search_filter.h.
#include "vel_main_window_search_filter.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace
{

constexpr gunichar CAPITAL_SIGMA = 0x3A3; // In lower case one of two, as its neighbours are.
constexpr gunichar FINAL_SIGMA = 0x3C2;
constexpr gunichar CAPITAL_I_WITH_DOT = 0x130; // In lower case an i and a dot.
constexpr gunichar COMBINING_DOT = 0x307;
constexpr gunichar KELVIN_SIGN = 0x212A;  // In lower case a k.
constexpr gunichar NO_CHARACTER = 0xFFFD; // What bytes that are no character count as.

/// Bytes from which on a piece is so rare that a better one need not be looked for.
constexpr gsize GOOD_PIECE = 3;

/// A character, and one that it is the lower case of.
struct search_filter_case {
    gunichar lower;
    gunichar upper;
};

/// A part of the term.
struct search_filter_piece {
    gsize start;
    gsize length;
};

using search_filter_test = bool (*)(guint8 byte);

} // namespace

static std::vector<search_filter_case> vel_main_window_collect_cases(void)
{
    std::vector<search_filter_case> cases;
    for (gunichar c = 0x80; c <= 0x10FFFF; c++) {
        const gunichar lower = g_unichar_tolower(c);
        if (lower != c)
            cases.push_back({lower, c});
    }
    cases.push_back({FINAL_SIGMA, CAPITAL_SIGMA});
    return cases;
}

/// All characters beyond ASCII that have another lower case. Thread-safe.
static const std::vector<search_filter_case> &vel_main_window_cases(void)
{
    static const std::vector<search_filter_case> cases = vel_main_window_collect_cases();
    return cases;
}

/// Whether lower-casing does here what the Unicode tables say: some languages have letters of
/// their own.
static bool vel_main_window_lowers_by_tables(const search_term *term)
{
    // The letters that Lithuanian gives a dot. Turkish has another lower case of I.
    g_autofree gchar *lower = g_utf8_strdown("\u00CC\u00CD\u0128I\u0300J\u0301\u012E\u0303", -1);
    return term->plain_locale && strcmp(lower, "\u00EC\u00ED\u0129i\u0300j\u0301\u012F\u0303") == 0;
}

/// The longest part of the text of bytes that pass the test.
static search_filter_piece vel_main_window_longest_piece(const gchar *text,
                                                         search_filter_piece within,
                                                         search_filter_test passes)
{
    search_filter_piece longest = {within.start, 0};
    search_filter_piece piece = longest;
    for (gsize i = within.start; i < within.start + within.length; i++) {
        piece.length++;
        if (!passes(static_cast<guint8>(text[i])))
            piece = {i + 1, 0};
        else if (piece.length > longest.length)
            longest = piece;
    }
    return longest;
}

static bool vel_main_window_is_no_quote(guint8 byte)
{
    return byte != '"';
}

static bool vel_main_window_is_ascii(guint8 byte)
{
    return byte < 0x80;
}

/// ASCII, but none of the letters that are the lower case of others beyond ASCII, too.
static bool vel_main_window_is_own_case(guint8 byte)
{
    return byte < 0x80 && byte != 'k' && byte != 'i';
}

static void vel_main_window_add_text(search_filter *filter, const gchar *text, gsize length,
                                     gboolean any_case, gboolean compare)
{
    g_assert(filter->n < VEL_MAIN_WINDOW_FILTER_TEXTS);
    search_filter_text *const added = &filter->texts[filter->n++];
    vel_text_finder_init(&added->finder, text, length, any_case);
    added->compare = compare;
    added->next = nullptr;
}

static void vel_main_window_add_character(search_filter *filter, gunichar c, gboolean compare)
{
    gchar bytes[6];
    vel_main_window_add_text(filter, bytes, static_cast<gsize>(g_unichar_to_utf8(c, bytes)), FALSE,
                             compare);
}

/// Looks for a part of the term in ASCII letters of any case.
static void vel_main_window_filter_ascii(search_filter *filter, const gchar *text,
                                         search_filter_piece piece)
{
    vel_main_window_add_text(filter, text + piece.start, piece.length, TRUE,
                             piece.length < filter->piece_length);
    if (memchr(text + piece.start, 'k', piece.length) != nullptr)
        vel_main_window_add_character(filter, KELVIN_SIGN, FALSE);
    if (memchr(text + piece.start, 'i', piece.length) != nullptr)
        vel_main_window_add_character(filter, CAPITAL_I_WITH_DOT, FALSE);
}

/// Looks for a character and all that have it for their lower case. False when there are too many.
static bool vel_main_window_filter_character(search_filter *filter, gunichar c)
{
    vel_main_window_add_character(filter, c, TRUE);
    for (const search_filter_case &pair : vel_main_window_cases()) {
        if (pair.lower != c)
            continue;
        if (filter->n == VEL_MAIN_WINDOW_FILTER_TEXTS - 1)
            return false;
        vel_main_window_add_character(filter, pair.upper, TRUE);
    }
    if (c == COMBINING_DOT)
        vel_main_window_add_character(filter, CAPITAL_I_WITH_DOT, FALSE);
    return true;
}

/// Chooses what is looked for of a piece in lower case without quotes. No text is added when there
/// is nothing that all of its hits have.
static void vel_main_window_filter_any_case(search_filter *filter, const gchar *text,
                                            search_filter_piece piece)
{
    search_filter_piece ascii =
        vel_main_window_longest_piece(text, piece, vel_main_window_is_own_case);
    if (ascii.length < GOOD_PIECE)
        ascii = vel_main_window_longest_piece(text, piece, vel_main_window_is_ascii);
    glong n = 0;
    filter->piece = g_utf8_to_ucs4_fast(text + piece.start, static_cast<glong>(piece.length), &n);
    filter->piece_length = static_cast<gsize>(n);
    gsize beyond = 0;
    while (beyond < filter->piece_length &&
           (filter->piece[beyond] < 0x80 || filter->piece[beyond] == NO_CHARACTER))
        beyond++;
    if (ascii.length >= GOOD_PIECE || (ascii.length > 0 && beyond == filter->piece_length)) {
        filter->piece_anchor =
            static_cast<gsize>(g_utf8_pointer_to_offset(text + piece.start, text + ascii.start));
        vel_main_window_filter_ascii(filter, text, ascii);
    } else if (beyond < filter->piece_length) {
        filter->piece_anchor = beyond;
        if (!vel_main_window_filter_character(filter, filter->piece[beyond]))
            filter->n = 0;
    }
}

void vel_main_window_search_filter_init(search_filter *filter, const search_term *term)
{
    *filter = {};
    const search_filter_piece all = {0, term->length};
    const search_filter_piece piece =
        vel_main_window_longest_piece(term->text, all, vel_main_window_is_no_quote);
    if (term->length == 0)
        return;
    if (piece.length == 0)
        vel_main_window_add_text(filter, "\"", 1, FALSE, FALSE);
    else if (term->case_sensitive)
        vel_main_window_add_text(filter, term->text + piece.start, piece.length, FALSE, FALSE);
    else if (vel_main_window_lowers_by_tables(term) && g_utf8_validate(term->text, -1, nullptr))
        vel_main_window_filter_any_case(filter, term->text, piece);
}

void vel_main_window_search_filter_done(search_filter *filter)
{
    for (search_filter_text &text : filter->texts) {
        if (text.finder.bytes != nullptr)
            vel_text_finder_done(&text.finder);
    }
    g_clear_pointer(&filter->piece, g_free);
    filter->n = 0;
}

/// How a character of the block compares to one of the term's.
enum search_filter_verdict {
    SEARCH_FILTER_EQUAL,
    SEARCH_FILTER_DIFFERENT,
    SEARCH_FILTER_UNKNOWN, ///< There is more to this one than the tables tell.
};

static search_filter_verdict vel_main_window_compare_character(gunichar c, gunichar lower)
{
    if (c > 0x10FFFF || c == CAPITAL_SIGMA || c == CAPITAL_I_WITH_DOT)
        return SEARCH_FILTER_UNKNOWN;
    return g_unichar_tolower(c) == lower ? SEARCH_FILTER_EQUAL : SEARCH_FILTER_DIFFERENT;
}

/// Compares the piece from its anchor on with the text at a place.
static search_filter_verdict vel_main_window_compare_forward(const search_filter *filter,
                                                             const gchar *place, const gchar *end)
{
    search_filter_verdict verdict = SEARCH_FILTER_EQUAL;
    for (gsize i = filter->piece_anchor; i < filter->piece_length && verdict == SEARCH_FILTER_EQUAL;
         i++) {
        if (place >= end)
            return SEARCH_FILTER_UNKNOWN;
        const gunichar c = g_utf8_get_char_validated(place, end - place);
        verdict = vel_main_window_compare_character(c, filter->piece[i]);
        if (verdict == SEARCH_FILTER_EQUAL)
            place += g_unichar_to_utf8(c, nullptr);
    }
    return verdict;
}

/// Compares the piece in front of its anchor with the text in front of a place.
static search_filter_verdict vel_main_window_compare_backward(const search_filter *filter,
                                                              const gchar *start,
                                                              const gchar *place)
{
    search_filter_verdict verdict = SEARCH_FILTER_EQUAL;
    for (gsize i = filter->piece_anchor; i > 0 && verdict == SEARCH_FILTER_EQUAL; i--) {
        const gchar *const before = g_utf8_find_prev_char(start, place);
        if (before == nullptr)
            return SEARCH_FILTER_UNKNOWN;
        const gunichar c = g_utf8_get_char_validated(before, place - before);
        const bool is_whole = c <= 0x10FFFF && before + g_unichar_to_utf8(c, nullptr) == place;
        verdict = is_whole ? vel_main_window_compare_character(c, filter->piece[i - 1])
                           : SEARCH_FILTER_UNKNOWN;
        place = before;
    }
    return verdict;
}

static bool vel_main_window_may_hit(const search_filter *filter, const vel_csv_parser *parser,
                                    const gchar *place)
{
    const search_filter_verdict forward =
        vel_main_window_compare_forward(filter, place, parser->buffer_end);
    if (forward != SEARCH_FILTER_EQUAL)
        return forward == SEARCH_FILTER_UNKNOWN;
    return vel_main_window_compare_backward(filter, parser->buffer, place) !=
           SEARCH_FILTER_DIFFERENT;
}

/// Finds the next place of a text at or behind the parser's position.
static const gchar *vel_main_window_next_place(const search_filter *filter,
                                               const search_filter_text *text,
                                               const vel_csv_parser *parser)
{
    const gchar *place = parser->pos;
    for (;; place++) {
        place = vel_text_finder_find(&text->finder, place, parser->buffer_end);
        if (place == nullptr)
            return parser->buffer_end;
        if (!text->compare || vel_main_window_may_hit(filter, parser, place))
            return place;
    }
}

gint32 vel_main_window_search_filter_find(search_filter *filter, const vel_csv_parser *parser)
{
    if (filter->n == 0)
        return 0;
    const bool is_new = filter->buffer != parser->buffer || filter->block != parser->block;
    filter->buffer = parser->buffer;
    filter->block = parser->block;
    const gchar *first = parser->buffer_end;
    for (gint32 i = 0; i < filter->n; i++) {
        search_filter_text *const text = &filter->texts[i];
        if (is_new || text->next < parser->pos)
            text->next = vel_main_window_next_place(filter, text, parser);
        first = std::min(first, text->next);
    }
    return static_cast<gint32>(first - parser->buffer);
}
