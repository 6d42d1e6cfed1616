// The larger piece of the table control's arithmetic.
#include "vel_gui_table_arithmetic.h"

gint32 vel_gui_table_cell_text(const gchar *text, gunichar2 *utf_16)
{
    gint32 length = 0;
    if (text == nullptr)
        text = "";
    const gchar *end = text;
    while (end < text + VEL_GUI_CELL_TEXT_MAX && *end != '\0')
        end++;
    while (text < end) {
        const gunichar character = g_utf8_get_char_validated(text, end - text);
        if (character >= G_MAXUINT32 - 1) { // invalid, or cut short
            length = 0;
            break;
        }
        if (character < 0x10000) {
            utf_16[length++] = static_cast<gunichar2>(character);
        } else {
            utf_16[length++] = static_cast<gunichar2>(0xD800 + ((character - 0x10000) >> 10));
            utf_16[length++] = static_cast<gunichar2>(0xDC00 + ((character - 0x10000) & 0x3FF));
        }
        text = g_utf8_next_char(text);
    }
    utf_16[length] = 0;
    return length;
}
