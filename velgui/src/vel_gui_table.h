// A virtual grid: it holds no cell data, only a row count, a header of columns and one selected
// cell, and asks the application for the text of each cell that it paints. Its cost depends on the
// size of its window, never on the number of rows (up to 2^31 - 1); thousands of columns are fine.
// Rows scroll by whole rows, columns by whole columns; the scroll positions are the index of the
// first visible row and column and live in the window's own scroll bars.
//
// Coordinates are those of the control's client area, in pixels. The header is H pixels high; below
// it row r (from the top row t on) covers y = (r - t) * (row_height + 1) + H and the row_height
// pixels from there, followed by one grid line. Where a column begins and ends comes from the
// header's item rectangles: client x = item x - x0, x0 being the left edge of the first visible
// column's item. Windows no wider than 32,767 pixels exist; when the columns are wider than that
// together, the header begins with the first visible column or one near it to the left, and the
// columns left of that come last in its order (their indexes stay). The formula holds either way
// from the first visible column on; columns scrolled off to the left have no place.
//
// Off Windows only the structure and the operations without window-system types are declared; tests
// of code that fills a table bring their own. Everything runs on the UI thread.
#pragma once

#include <glib.h>

#include "vel_gui_types.h"

typedef struct vel_gui_table vel_gui_table;

/// Supplies a cell's text.
/// @param row     0 .. rows - 1
/// @param column  0 .. columns - 1
/// @return UTF-8, borrowed until the next call, or null for an empty cell; its first 200 bytes are
/// shown, unless they are not UTF-8 or end inside a character: then the cell is empty
typedef const gchar *(*vel_gui_table_get_text_func)(gint32 row, gint32 column);

/// Embedded by its owner. Its address must not change between init and done: the window knows it.
struct vel_gui_table {
    HWND window;                          ///< The control, class "GuiTable"; its parent's child.
    HWND header;                          ///< The header control, a child of `window`.
    vel_gui_table_get_text_func get_text; ///< Set by the owner after init; null: cells stay empty.
    gint32 rows;                          ///< Number of rows, from 0.
    gint32 columns;                       ///< Number of columns, that of the header's items.
    gint32 row_height;                    ///< Pixels of a row without its grid line: 20.
    gint32 selected_row;                  ///< The selected cell's row, -1 for none.
    gint32 selected_column; ///< The selected cell's column; -1 exactly when selected_row is.
    HBRUSH selection_brush; ///< Fill of the selected cell with the focus: the system's highlight.
    HBRUSH inactive_selection_brush; ///< Owned; its fill without the focus: a light grey.
    gboolean header_stale; ///< A column's width changes: the header is placed anew before painting.
};

G_BEGIN_DECLS

/// Creates the control at (0, 0), 100 x 100 pixels, without rows and columns; registers its class
/// at the first call.
/// @param table   storage of the caller's, filled here
/// @param parent  the window that the control becomes a child of
/// Ends the program with "Error registering main window class." when the class is refused.
void vel_gui_table_init(vel_gui_table *table, HWND parent);

/// Destroys the control and its brushes, not the structure.
void vel_gui_table_done(vel_gui_table *table);

/// Adds a column at the right.
/// @param title  UTF-8, copied; bytes that are not UTF-8 become replacement characters
/// @param width  pixels
void vel_gui_table_add_column(vel_gui_table *table, const gchar *title, gint32 width);

/// Adds columns of one width at the right, as if one after the other, but brings the scroll bar,
/// the header's place and the picture up to date only once: half the cost where there are
/// thousands. The header control's own cost, which grows with the square of their number, remains.
/// @param n       number of columns, from 0
/// @param titles  their n titles, as for vel_gui_table_add_column()
/// @param width   pixels
void vel_gui_table_add_columns(vel_gui_table *table, gint32 n, const gchar *const *titles,
                               gint32 width);

/// Removes all columns and with them the selection. Rows are kept.
void vel_gui_table_clear_columns(vel_gui_table *table);

/// Sets the number of rows. A selection beyond them is dropped.
/// @param rows  0 .. 2^31 - 1
/// Repaints only when the change touches the visible rows: growth below them costs no painting.
void vel_gui_table_set_num_rows(vel_gui_table *table, gint32 rows);

/// Selects a cell, or none. Does not scroll.
/// @param row     0 .. rows - 1, or negative for none
/// @param column  0 .. columns - 1; negative exactly when row is
/// Anything else is an assertion failure.
void vel_gui_table_select(vel_gui_table *table, gint32 row, gint32 column);

/// Scrolls by as little as shows the selected cell wholly; nothing without a selection. A selected
/// first visible column that is wider than the window scrolls one column past it.
void vel_gui_table_make_selection_visible(vel_gui_table *table);

#ifdef _WIN32

/// Class name of the control.
extern const wchar_t *const vel_gui_table_window_class_;

/// TRUE once the class is registered; vel_gui_done() unregisters it.
extern gboolean vel_gui_table_class_created_;

/// Places the header above the cells: as wide as all columns (or, past the widest window there is,
/// from a column near the first visible one on), slid left as far as the table is scrolled right.
void vel_gui_table_layout_header(vel_gui_table *table);

/// Sets the vertical scroll bar's range and page from the rows and the window's height.
void vel_gui_table_update_vert_scrollbar(vel_gui_table *table);

/// Sets the horizontal scroll bar's range from the columns.
void vel_gui_table_update_horz_scrollbar(vel_gui_table *table);

/// Tells which rows the window has room for, whether or not the table has so many.
/// @param first    the top row
/// @param last     the row after the last one that fits wholly
/// @param partial  TRUE when part of a further row shows
void vel_gui_table_get_visible_rows(const vel_gui_table *table, gint32 *first, gint32 *last,
                                    gboolean *partial);

/// Tells which columns show.
/// @param first    the first visible column
/// @param last     the column after the last wholly visible one; may equal first
/// @param partial  TRUE when the window's right edge cuts a column
/// Costs one message per visible column.
void vel_gui_table_get_visible_columns(const vel_gui_table *table, gint32 *first, gint32 *last,
                                       gboolean *partial);

/// Finds the row at a client y.
/// @return the row; -1 in the header and below the last row
gint32 vel_gui_table_get_row_at(const vel_gui_table *table, gint32 y);

/// Finds the column at a client x.
/// @return the column; -1 right of the last one and outside the window
gint32 vel_gui_table_get_column_at(const vel_gui_table *table, gint32 x);

/// Has a cell repainted, its grid lines included.
void vel_gui_table_invalidate_cell(const vel_gui_table *table, gint32 row, gint32 column);

/// Scrolls to a top row and a first column.
/// @param row, column  positions for the bars, which keep within their ranges; the cells' pixels
/// move by the distances asked for
void vel_gui_table_set_origin(vel_gui_table *table, gint32 row, gint32 column);

/// Handles a scroll bar's message.
/// @param code      SB_LINEUP .. SB_ENDSCROLL
/// @param vertical  which bar
void vel_gui_table_scroll(vel_gui_table *table, gint32 code, gboolean vertical);

/// Handles wheel input.
/// @param window    the window whose wheel input it is
/// @param delta     signed; 120 is one notch
/// @param vertical  the axis; either one moves the cells by a row's height per line, and a
/// horizontal turn leaves the header where it is
void vel_gui_table_mouse_wheel(vel_gui_table *table, HWND window, gint32 delta, gboolean vertical);

/// Paints what needs it; handles WM_PAINT. Asks for the text of no cell outside the update
/// rectangle.
void vel_gui_table_paint(vel_gui_table *table);

/// Handles a click: takes the focus and selects the cell there, or none.
void vel_gui_table_left_button(vel_gui_table *table, gint32 x, gint32 y);

/// Handles a key by the modifiers held.
/// @param key  virtual-key code
void vel_gui_table_key_down(vel_gui_table *table, gint32 key);

/// Handles a key without modifiers: the arrows, Page Up and Down, Home, End.
void vel_gui_table_key_down_normal(vel_gui_table *table, gint32 key);

/// Handles a key with Ctrl alone: Home and End go to the first and last cell.
void vel_gui_table_key_down_ctrl(vel_gui_table *table, gint32 key);

/// The window procedure of class "GuiTable".
LRESULT CALLBACK vel_gui_table_window_proc(HWND window, UINT message, WPARAM wparam, LPARAM lparam);

#endif

G_END_DECLS
