// Helpers for strings in UTF-8 and UTF-16. All are free of shared state, may be called from any
// thread and do the same on every system.
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/// Joins UTF-16 strings.
/// @param first  zero-terminated, borrowed, as are all that follow; a null pointer ends the list
///               and may be the first
/// @return the strings one after the other, zero-terminated; caller frees with g_free()
/// One allocation for the result, however many strings there are.
gunichar2 *vel_utils_wcsconcat(const gunichar2 *first, ...);

/// Copies an array of strings.
/// @param strv  ended by a null pointer, borrowed
/// @return a new array of copies, without the null pointer, that frees its elements with g_free()
GPtrArray *vel_utils_strv_to_g_ptr_array(const gchar *const *strv);

/// Replaces the end of a string.
/// @param str          borrowed
/// @param suffix       compared byte by byte, borrowed; an empty one ends every string
/// @param replacement  borrowed
/// @return the string with the suffix replaced, or a copy when it does not end with the suffix;
///         caller frees with g_free()
gchar *vel_utils_str_replace_suffix(const gchar *str, const gchar *suffix,
                                    const gchar *replacement);

/// Compares two strings code point by code point, each lower-cased with g_unichar_tolower().
/// @param a, b  UTF-8, borrowed; a byte that is part of no character counts as a character of its
///              own, greater than every code point
/// @return -1, 0 or 1 as a is less than, equal to or greater than b; one that ends first is less
gint32 vel_utils_utf8_icmp(const gchar *a, const gchar *b);

/// Turns a name such as fieldName into field_name: every upper-case letter is lower-cased and,
/// unless it is the first character, preceded by an underscore.
/// @param str  UTF-8, borrowed; bytes that are part of no character stay as they are
/// @return caller frees with g_free()
gchar *vel_utils_utf8_camel_case_to_underscores(const gchar *str);

/// Finds the longest run of bytes that two strings have in common. Of several, the one that ends
/// first in a counts, and of those the one that ends first in b.
/// @param a, b     shorter than 2 GiB each, borrowed
/// @param a_start  receives where the run begins in a, in bytes
/// @param b_start  receives where the run begins in b, in bytes
/// @param length   receives the length of the run in bytes; all three are 0 when there is none
/// Time grows with the product of the lengths, memory with the length of b (8 bytes per byte).
void vel_utils_str_common(const gchar *a, const gchar *b, gint32 *a_start, gint32 *b_start,
                          gint32 *length);

G_END_DECLS
