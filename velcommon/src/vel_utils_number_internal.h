// What the number formatting shares with its tests: how a locale groups digits.
#pragma once

#include "vel_utils_number.h"

#ifndef _WIN32
#include <clocale>
#endif

struct vel_utils_number_style {
    gchar separator[VEL_UTILS_SEPARATOR_MAX + 1]; ///< UTF-8; empty for no grouping.
    gchar grouping[20];                           ///< As in struct lconv, for all digits there are.
};

#ifndef _WIN32
/// Takes the grouping over from the C library's description of a locale.
/// @param locale  borrowed; its thousands separator is in the LC_CTYPE locale's character set. One
///                that cannot be converted or is too long is left empty.
void vel_utils_number_style_from_lconv(vel_utils_number_style *style, const struct lconv *locale);
#endif
