// Grouping of digits. The grouping itself is plain arithmetic on given values; what the locale
// wants is looked up per number, which costs little beside showing it and follows the user's
// settings while the program runs.
#include "vel_utils_number.h"

#include "vel_assert.h"
#include "vel_utils_number_internal.h"

#include <climits>
#include <clocale>
#include <cstring>
#include <cwchar>

#ifdef _WIN32
#include <windows.h>
#endif

static constexpr guint64 VEL_UTILS_NUMBER_BASE = 10;

gsize vel_utils_group_digits(gchar *text, gsize size, gint64 value, const gchar *separator,
                             const gchar *grouping)
{
    const gsize separator_len = std::strlen(separator);
    vel_assert(separator_len <= VEL_UTILS_SEPARATOR_MAX);
    gchar digits[VEL_UTILS_GROUPED_SIZE]; // filled from its end
    gchar *p = digits + sizeof digits;
    gint in_group = 0;
    // The magnitude is taken as unsigned: that of the smallest number has no signed form.
    guint64 rest = value < 0 ? 0 - static_cast<guint64>(value) : static_cast<guint64>(value);
    do {
        // CHAR_MAX, or a negative element, ends the grouping: no number has that many digits.
        if (in_group > 0 && in_group == grouping[0]) {
            p -= separator_len;
            std::memcpy(p, separator, separator_len);
            in_group = 0;
            if (grouping[1] != '\0')
                grouping++;
        }
        *--p = static_cast<gchar>('0' + rest % VEL_UTILS_NUMBER_BASE);
        in_group++;
        rest /= VEL_UTILS_NUMBER_BASE;
    } while (rest > 0);
    if (value < 0)
        *--p = '-';
    const gsize length = static_cast<gsize>(digits + sizeof digits - p);
    vel_assert(length < size);
    std::memcpy(text, p, length);
    text[length] = '\0';
    return length;
}

void vel_utils_grouping_from_windows(gchar *grouping, gsize size, const gchar *windows)
{
    gsize n = 0;
    bool repeats = false;
    for (const gchar *p = windows; g_ascii_isdigit(*p); p += *p == ';') {
        guint64 group = 0;
        for (; g_ascii_isdigit(*p); p++)
            group = MIN(group * VEL_UTILS_NUMBER_BASE + static_cast<guint64>(*p - '0'), CHAR_MAX);
        // A zero repeats the group before it, if there is one.
        repeats = group == 0 && n > 0;
        if (group == 0 || n + 2 > size - 1)
            break;
        grouping[n++] = static_cast<gchar>(group);
    }
    if (!repeats)
        grouping[n++] = CHAR_MAX;
    grouping[n] = '\0';
}

#ifdef _WIN32

// Windows allows a separator three characters and a grouping nine.
static constexpr gsize VEL_UTILS_NUMBER_SETTING_SIZE = 16;

// One of the user's number settings as UTF-8; empty when it cannot be had.
static void vel_utils_number_setting(LCTYPE setting, gchar *text, gsize size)
{
    wchar_t wide[VEL_UTILS_NUMBER_SETTING_SIZE];
    text[0] = '\0';
    if (GetLocaleInfoEx(LOCALE_NAME_USER_DEFAULT, setting, wide, G_N_ELEMENTS(wide)) == 0)
        return;
    if (WideCharToMultiByte(CP_UTF8, 0, wide, -1, text, static_cast<int>(size), nullptr, nullptr) ==
        0)
        text[0] = '\0';
}

static void vel_utils_number_look_up(vel_utils_number_style *style)
{
    *style = {};
    // The runtime's own %'d knows nothing but a comma, so the user's settings are asked directly; a
    // program that never called setlocale() gets plain digits, as anywhere.
    const char *const locale = setlocale(LC_NUMERIC, nullptr);
    if (locale == nullptr || std::strcmp(locale, "C") == 0)
        return;
    gchar grouping[VEL_UTILS_NUMBER_SETTING_SIZE];
    vel_utils_number_setting(LOCALE_STHOUSAND, style->separator, sizeof style->separator);
    vel_utils_number_setting(LOCALE_SGROUPING, grouping, sizeof grouping);
    vel_utils_grouping_from_windows(style->grouping, sizeof style->grouping, grouping);
}

#else

// A text of the locale's character set as UTF-8; empty when it cannot be converted or is too long.
static void vel_utils_number_to_utf8(gchar *utf8, gsize size, const char *text)
{
    std::mbstate_t state = {};
    gsize length = 0;
    wchar_t c = L'\0';
    const char *const end = text + std::strlen(text);
    for (const char *p = text; p < end;) {
        const size_t room = static_cast<size_t>(end - p);
        const size_t n = std::mbrtowc(&c, p, room, &state);
        gchar bytes[6];
        // The two largest numbers tell errors.
        const gsize c_len =
            n > room ? size
                     : static_cast<gsize>(g_unichar_to_utf8(static_cast<gunichar>(c), bytes));
        if (length + c_len >= size) {
            length = 0;
            break;
        }
        std::memcpy(utf8 + length, bytes, c_len);
        length += c_len;
        p += n;
    }
    utf8[length] = '\0';
}

void vel_utils_number_style_from_lconv(vel_utils_number_style *style, const struct lconv *locale)
{
    *style = {};
    vel_utils_number_to_utf8(style->separator, sizeof style->separator, locale->thousands_sep);
    g_strlcpy(style->grouping, locale->grouping, sizeof style->grouping);
}

static void vel_utils_number_look_up(vel_utils_number_style *style)
{
    vel_utils_number_style_from_lconv(style, localeconv());
}

#endif

gsize vel_utils_format_grouped(gchar *text, gsize size, gint64 value)
{
    vel_utils_number_style style;
    vel_utils_number_look_up(&style);
    return vel_utils_group_digits(text, size, value, style.separator, style.grouping);
}

void vel_utils_append_grouped(vel_buffer *buffer, gint64 value)
{
    gchar text[VEL_UTILS_GROUPED_SIZE];
    vel_buffer_append(buffer, text, vel_utils_format_grouped(text, sizeof text, value));
}
