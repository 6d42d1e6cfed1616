// Shared by the table control's sources: where things are, and the parts of scrolling and painting
// that need no message.
#pragma once

#include "vel_gui_table.h"

/// @return the first visible row (SB_VERT) or column (SB_HORZ)
gint32 vel_gui_table_position(const vel_gui_table *table, gint32 bar);

/// @return the client rectangle below the header; empty when the window is too low
RECT vel_gui_table_cell_area(const vel_gui_table *table);

/// @return pixels from one row's top to the next row's: the grid line belongs to the row above it
gint32 vel_gui_table_row_stride(const vel_gui_table *table);

/// @return a column's item in header coordinates; all zero when there is no such column
RECT vel_gui_table_item_rect(const vel_gui_table *table, gint32 column);

/// Measures from one column's left edge to another's.
/// @param from, to  0 .. columns; `columns` stands for the right edge of the last column
/// @param limit     measuring stops at this distance: what is farther does not show
/// @return pixels, -limit .. limit, negative when `to` lies left of `from`
gint32 vel_gui_table_column_distance(const vel_gui_table *table, gint32 from, gint32 to,
                                     gint32 limit);

/// Moves the cells' pixels and has what comes into view repainted.
void vel_gui_table_scroll_cells(const vel_gui_table *table, gint32 dx, gint32 dy);

/// Draws the part of the control inside a rectangle.
/// @param dc      in client coordinates
/// @param update  client rectangle, borrowed; may be drawn beyond
void vel_gui_table_paint_area(const vel_gui_table *table, HDC dc, const RECT *update);
