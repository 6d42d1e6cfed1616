// Whole numbers as the user is used to reading them: with the thousands separator of the user's own
// locale, as the C format %'d has it on systems whose runtime honours it. Nothing here allocates
// memory of its own. UI thread, since the C locale is process-wide.
#pragma once

#include "vel_buffer.h"

#include <glib.h>

G_BEGIN_DECLS

/// Room for every number in every locale, terminating zero included.
#define VEL_UTILS_GROUPED_SIZE 320

/// Longest thousands separator in bytes of UTF-8; a locale with a longer one is shown without.
#define VEL_UTILS_SEPARATOR_MAX 15

/// Writes a number in decimal with the thousands separator and grouping of the locale that
/// setlocale() has set. In the "C" locale digits are not grouped.
/// @param text   receives UTF-8 with a terminating zero
/// @param size   bytes at text; VEL_UTILS_GROUPED_SIZE is always enough, too few end the program
/// @param value  any number
/// @return bytes written without the terminating zero
gsize vel_utils_format_grouped(gchar *text, gsize size, gint64 value);

/// Appends a number as vel_utils_format_grouped() writes it, without a terminating zero.
void vel_utils_append_grouped(vel_buffer *buffer, gint64 value);

/// Writes a number in decimal with a given separator and grouping.
/// @param text       receives UTF-8 with a terminating zero
/// @param size       bytes at text; VEL_UTILS_GROUPED_SIZE is enough, too few end the program
/// @param separator  UTF-8, at most VEL_UTILS_SEPARATOR_MAX bytes; empty for no grouping; borrowed
/// @param grouping   as in struct lconv: the sizes of the groups from the right, the last one
///                   repeated for ever; an element of CHAR_MAX (or a negative one) leaves the
///                   remaining digits together; borrowed
/// @return bytes written without the terminating zero
gsize vel_utils_group_digits(gchar *text, gsize size, gint64 value, const gchar *separator,
                             const gchar *grouping);

/// Turns a grouping as Windows keeps it into the form of struct lconv.
/// "3;0" means threes for ever, "3;2;0" a three and then twos for ever, "3" one group of three, "0"
/// or "" no grouping.
/// @param grouping  receives at most size - 1 groups and a terminating zero
/// @param size      bytes at grouping, at least 2; digits of groups that do not fit stay together
/// @param windows   zero-terminated digits and semicolons, borrowed
void vel_utils_grouping_from_windows(gchar *grouping, gsize size, const gchar *windows);

G_END_DECLS
