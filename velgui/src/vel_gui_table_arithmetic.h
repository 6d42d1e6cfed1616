// The table control's arithmetic as plain functions on plain values: rows and scroll positions, the
// cut of a cell's text. It needs no window, so it compiles and is tested everywhere. Row numbers go
// up to 2^31 - 1: whatever is multiplied by a row's height is computed in 64 bits and clamped. Any
// thread.
#pragma once

#include <algorithm>
#include <glib.h>

#include "vel_gui_arithmetic.h"

/// Scroll codes, with the numbers that the window system gives them.
enum {
    VEL_GUI_SCROLL_LINE_UP = 0,
    VEL_GUI_SCROLL_LINE_DOWN = 1,
    VEL_GUI_SCROLL_PAGE_UP = 2,
    VEL_GUI_SCROLL_PAGE_DOWN = 3,
    VEL_GUI_SCROLL_THUMB_TRACK = 5,
    VEL_GUI_SCROLL_TOP = 6,
    VEL_GUI_SCROLL_BOTTOM = 7,
};

/// Bytes of a cell's text that are shown at most.
#define VEL_GUI_CELL_TEXT_MAX 200

/// Tells how many whole rows fit, for the scroll bar: at least 1.
constexpr gint32 vel_gui_table_page(gint32 cell_area_height, gint32 row_stride)
{
    return std::max(cell_area_height / row_stride, 1);
}

/// Tells a row's top, counted from the top row's, clamped.
/// @param limit  no distance beyond this one matters (such as the window's height); it keeps
/// coordinates within what drawing and scrolling can take
constexpr gint32 vel_gui_table_row_offset(gint32 row, gint32 top_row, gint32 row_stride,
                                          gint32 limit)
{
    const gint64 offset = (static_cast<gint64>(row) - top_row) * row_stride;
    return static_cast<gint32>(std::clamp<gint64>(offset, -static_cast<gint64>(limit), limit));
}

/// Tells the row at a distance below the top row's top; -1 past the last row.
constexpr gint32 vel_gui_table_row_at(gint32 offset, gint32 top_row, gint32 row_stride, gint32 rows)
{
    const gint64 row = static_cast<gint64>(top_row) + offset / row_stride;
    return row < rows ? static_cast<gint32>(row) : -1;
}

/// Tells where a scroll code leads; the scroll bar does the clamping to its range.
constexpr gint32 vel_gui_table_scroll_target(gint32 code, gint32 position, gint32 track,
                                             gint32 page, gint32 min, gint32 max)
{
    switch (code) {
    case VEL_GUI_SCROLL_LINE_UP:
        return vel_gui_clamp_int32(static_cast<gint64>(position) - 1);
    case VEL_GUI_SCROLL_LINE_DOWN:
        return vel_gui_clamp_int32(static_cast<gint64>(position) + 1);
    case VEL_GUI_SCROLL_PAGE_UP:
        return vel_gui_clamp_int32(static_cast<gint64>(position) - page);
    case VEL_GUI_SCROLL_PAGE_DOWN:
        return vel_gui_clamp_int32(static_cast<gint64>(position) + page);
    case VEL_GUI_SCROLL_THUMB_TRACK:
        return track;
    case VEL_GUI_SCROLL_TOP:
        return min;
    case VEL_GUI_SCROLL_BOTTOM:
        return max;
    default:
        return position;
    }
}

/// Tells where the wheel leads, kept between 0 and the last position that fills the page.
constexpr gint32 vel_gui_table_wheel_target(gint32 position, gint32 lines, gint32 page, gint32 max)
{
    const gint64 end = std::max<gint64>(static_cast<gint64>(max) - page + 1, 0);
    return static_cast<gint32>(std::clamp<gint64>(static_cast<gint64>(position) + lines, 0, end));
}

/// Tells where to scroll so that an item shows wholly.
/// @param first  the first visible item
/// @param last   the item after the last wholly visible one
constexpr gint32 vel_gui_table_origin_showing(gint32 item, gint32 first, gint32 last)
{
    if (item < first)
        return item;
    if (item >= last)
        return vel_gui_clamp_int32(static_cast<gint64>(first) + item - last + 1);
    return first;
}

/// Tells whether a change of the row count touches the visible rows.
/// @param first, last, partial  the visible rows before the change
constexpr bool vel_gui_table_change_shows(gint32 old_rows, gint32 new_rows, gint32 first,
                                          gint32 last, gboolean partial)
{
    return std::max(old_rows, new_rows) >= first &&
           std::min(old_rows, new_rows) <= static_cast<gint64>(last) + (partial ? 1 : 0);
}

/// Converts the first VEL_GUI_CELL_TEXT_MAX bytes of a cell's text for drawing, without allocating.
/// @param text    UTF-8, borrowed, or null for none; nothing is read past its terminator or those
/// bytes
/// @param utf_16  room for VEL_GUI_CELL_TEXT_MAX + 1 units; always terminated
/// @return units before the terminator; 0 when the bytes are not UTF-8 or end inside a character
gint32 vel_gui_table_cell_text(const gchar *text, gunichar2 *utf_16);
