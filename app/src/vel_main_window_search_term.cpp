// Whether a field holds the term that is searched for. See vel_main_window_search.h.
#include "vel_main_window_search.h"

#include <cstring>

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
