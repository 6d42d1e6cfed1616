// Joining, comparing and converting strings. Nothing here depends on the locale or the system.
#include "vel_utils_string.h"

#include "vel_utils.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <memory>

static constexpr gsize VEL_UTILS_WCSCONCAT_LENGTHS = 10;

// Behind the last code point: where bytes that are part of no character are put.
static constexpr gunichar VEL_UTILS_NO_CHARACTER = 0x110000;

// The lengths of the strings in the order they are given in.
struct vel_utils_wcsconcat_lengths {
    std::unique_ptr<guint64[]> values;
    gsize n;
    gsize room;
};

static void vel_utils_wcsconcat_add_length(vel_utils_wcsconcat_lengths *lengths, guint64 length)
{
    if (lengths->n == lengths->room) {
        lengths->room *= 2;
        auto larger = std::make_unique<guint64[]>(lengths->room);
        std::copy_n(lengths->values.get(), lengths->n, larger.get());
        lengths->values = std::move(larger);
    }
    lengths->values[lengths->n++] = length;
}

gunichar2 *vel_utils_wcsconcat(const gunichar2 *first, ...)
{
    vel_utils_wcsconcat_lengths lengths = {std::make_unique<guint64[]>(VEL_UTILS_WCSCONCAT_LENGTHS),
                                           0, VEL_UTILS_WCSCONCAT_LENGTHS};
    guint64 total = 0;
    va_list args;
    va_start(args, first);
    for (const gunichar2 *str = first; str != nullptr; str = va_arg(args, const gunichar2 *)) {
        const guint64 length = vel_utils_utf16_len(str);
        vel_utils_wcsconcat_add_length(&lengths, length);
        total += length;
    }
    va_end(args);

    gunichar2 *const joined = g_new(gunichar2, total + 1);
    gunichar2 *end = joined;
    const gunichar2 *str = first;
    va_start(args, first);
    for (gsize i = 0; i < lengths.n; i++) {
        end = std::copy_n(str, lengths.values[i], end);
        str = va_arg(args, const gunichar2 *);
    }
    va_end(args);
    *end = 0;
    return joined;
}

GPtrArray *vel_utils_strv_to_g_ptr_array(const gchar *const *strv)
{
    GPtrArray *const array = g_ptr_array_new_with_free_func(g_free);
    for (; *strv != nullptr; strv++)
        g_ptr_array_add(array, g_strdup(*strv));
    return array;
}

gchar *vel_utils_str_replace_suffix(const gchar *str, const gchar *suffix, const gchar *replacement)
{
    if (!g_str_has_suffix(str, suffix))
        return g_strdup(str);
    GString *const replaced = g_string_new(str);
    g_string_truncate(replaced, replaced->len - strlen(suffix));
    g_string_append(replaced, replacement);
    return g_string_free(replaced, FALSE);
}

// Takes the next character off a string that is not at its end. Never steps over the terminating
// zero, as g_utf8_next_char() does behind a character that is cut off.
static gunichar vel_utils_utf8_take(const gchar **str)
{
    const gunichar c = g_utf8_get_char_validated(*str, -1);
    if (c >= VEL_UTILS_NO_CHARACTER) {
        const guint8 byte = static_cast<guint8>(**str);
        (*str)++;
        return VEL_UTILS_NO_CHARACTER + byte;
    }
    *str = g_utf8_next_char(*str);
    return c;
}

gint32 vel_utils_utf8_icmp(const gchar *a, const gchar *b)
{
    while (*a != 0 && *b != 0) {
        const gunichar a_lower = g_unichar_tolower(vel_utils_utf8_take(&a));
        const gunichar b_lower = g_unichar_tolower(vel_utils_utf8_take(&b));
        if (a_lower != b_lower)
            return a_lower < b_lower ? -1 : 1;
    }
    return gint32{*a != 0} - gint32{*b != 0};
}

gchar *vel_utils_utf8_camel_case_to_underscores(const gchar *str)
{
    GString *const name = g_string_new(nullptr);
    const gchar *next = str;
    while (*next != 0) {
        const gchar *const start = next;
        const gunichar c = vel_utils_utf8_take(&next);
        if (!g_unichar_isupper(c)) {
            g_string_append_len(name, start, next - start);
            continue;
        }
        if (start != str)
            g_string_append_c(name, '_');
        g_string_append_unichar(name, g_unichar_tolower(c));
    }
    return g_string_free(name, FALSE);
}

// The classic table of runs, of which only two rows are ever needed: row i holds, for each j, how
// many bytes before and including a[i] and b[j] are the same. Column 0 stands before b's first byte
// and stays 0, which spares the first byte a rule of its own.
void vel_utils_str_common(const gchar *a, const gchar *b, gint32 *a_start, gint32 *b_start,
                          gint32 *length)
{
    *a_start = *b_start = *length = 0;
    const gint32 b_length = static_cast<gint32>(strlen(b));
    g_autofree gint32 *above = g_new0(gint32, gsize{1} + static_cast<gsize>(b_length));
    g_autofree gint32 *row = g_new0(gint32, gsize{1} + static_cast<gsize>(b_length));
    for (gint32 i = 0; a[i] != 0; i++) {
        for (gint32 j = 0; j < b_length; j++) {
            row[j + 1] = a[i] == b[j] ? above[j] + 1 : 0;
            if (row[j + 1] > *length) {
                *length = row[j + 1];
                *a_start = i + 1 - *length;
                *b_start = j + 1 - *length;
            }
        }
        std::swap(above, row);
    }
}
