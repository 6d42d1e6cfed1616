// The toolkit's arithmetic as plain functions on plain values: clamping, centring, wheel input. It
// needs no window, so it compiles and is tested everywhere. Any thread.
#pragma once

#include <algorithm>
#include <glib.h>

/// The wheel input that has not become lines yet.
typedef struct vel_gui_wheel_state {
    gconstpointer hwndCurrent; ///< The window that received the last input; only compared.
    gint32 accumulator[2];     ///< Unused wheel delta; 0 vertical, 1 horizontal.
    guint32 last_activity[2];  ///< Time of the last input per axis, milliseconds, wrapping around.
} vel_gui_wheel_state;

/// Narrows to 32 bits; what does not fit becomes the nearest value that does.
constexpr gint32 vel_gui_clamp_int32(gint64 value)
{
    return static_cast<gint32>(std::clamp<gint64>(value, G_MININT32, G_MAXINT32));
}

/// Tells where a centred span begins; halves round toward zero.
/// @param low, high  the span to be centred in
/// @param size       of the span to be centred
constexpr gint32 vel_gui_center_start(gint32 low, gint32 high, gint32 size)
{
    return vel_gui_clamp_int32((static_cast<gint64>(high) + low - size) / 2);
}

/// Tells how many lines one notch of the wheel scrolls.
/// @param setting  the user's setting: lines, or G_MAXUINT32 for one page
/// @param page     lines of a page, 0 counting as 1; never more than that are scrolled
constexpr guint32 vel_gui_wheel_lines(guint32 setting, guint32 page)
{
    return std::min(setting, std::max<guint32>(page, 1));
}

/// Adds a wheel delta to the state and takes whole lines out of it.
/// @param lines         lines per notch of 120
/// @param now           time of the input, milliseconds
/// @param double_click  the user's double-click time, milliseconds: what is left over from an
/// earlier input is forgotten after twice that time
/// @return lines to add to the scroll position: a forward turn goes up, or right
gint32 vel_gui_wheel_accumulate(vel_gui_wheel_state *state, gconstpointer window, gint32 delta,
                                guint32 lines, gboolean vertical, guint32 now,
                                guint32 double_click);
