// The larger piece of the toolkit's arithmetic.
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
