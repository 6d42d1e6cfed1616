// The larger pieces of the toolkit's arithmetic. Compiled everywhere; they know no window system.
#include "vel_gui_arithmetic.h"

gint32 vel_gui_wheel_accumulate(vel_gui_wheel_state *state, gconstpointer window, gint32 delta,
                                guint32 lines, gboolean vertical, guint32 now, guint32 double_click)
{
    const int axis = vertical ? 0 : 1;
    gint32 &rest = state->accumulator[axis];
    if (state->hwndCurrent != window) {
        state->hwndCurrent = window;
        state->accumulator[0] = 0;
        state->accumulator[1] = 0;
    } else {
        // Unsigned, so that it stays right when the millisecond clock wraps around.
        const guint32 elapsed = now - state->last_activity[axis];
        const bool recent = elapsed <= 2 * static_cast<guint64>(double_click);
        const bool same_direction = delta < 0 ? rest <= 0 : rest > 0;
        if (!recent || !same_direction)
            rest = 0;
    }
    state->last_activity[axis] = now;

    if (lines == 0) {
        rest = 0;
        return 0;
    }
    const gint64 available = static_cast<gint64>(rest) + delta;
    // More lines than there are rows are as good as all of them, and keep the product in 64 bits.
    const gint64 per_notch = std::min<gint64>(lines, G_MAXINT32);
    const gint64 scrolled = available * per_notch / 120;
    rest = vel_gui_clamp_int32(available - scrolled * 120 / per_notch);
    const gint64 towards_end = vertical ? -scrolled : scrolled;
    return vel_gui_clamp_int32(towards_end);
}

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
