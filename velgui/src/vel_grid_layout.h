// Places a dialog's controls in a grid of columns and rows, once, from their preferred sizes. The
// grid starts at (0, 0) of the controls' parent and is as large as its contents. A dialog has a
// handful of cells. UI thread.
#pragma once

#include <glib.h>

#include "vel_gui_types.h"

/// One control's place in the grid. All lengths are pixels.
typedef struct vel_grid_layout_cell {
    HWND window; ///< Borrowed; null for a spacer, which takes part in sizing with its margins only.
    gint32 column;        ///< First column, from 0.
    gint32 row;           ///< First row, from 0.
    gint32 column_span;   ///< Columns covered, at least 1.
    gint32 row_span;      ///< Rows covered, at least 1.
    gint32 margin_left;   ///< Kept free left of the control; 0 unless the caller sets it.
    gint32 margin_top;    ///< Kept free above it.
    gint32 margin_right;  ///< Kept free right of it.
    gint32 margin_bottom; ///< Kept free below it.
} vel_grid_layout_cell;

typedef struct vel_grid_layout {
    GPtrArray *cells; ///< Owned vel_grid_layout_cell pointers, in the order they were added.
} vel_grid_layout;

/// A control's preferred size in pixels.
typedef struct vel_grid_layout_size {
    gint32 cx;
    gint32 cy;
} vel_grid_layout_size;

/// Where a control goes, in pixels from the parent's client origin.
typedef struct vel_grid_layout_rectangle {
    gint32 x;
    gint32 y;
    gint32 width;
    gint32 height;
} vel_grid_layout_rectangle;

G_BEGIN_DECLS

/// Makes an empty layout.
void vel_grid_layout_init(vel_grid_layout *layout);

/// Frees every cell; the controls are untouched.
void vel_grid_layout_done(vel_grid_layout *layout);

/// Adds a cell without margins.
/// @param window  borrowed; null for a spacer
/// @return the cell, for the caller to set margins in; owned by the layout
vel_grid_layout_cell *vel_grid_layout_add(vel_grid_layout *layout, HWND window, gint32 column,
                                          gint32 row, gint32 column_span, gint32 row_span);

/// Grows a run of column widths or row heights until their sum is what is needed; sizes never
/// shrink.
/// @param sizes   widths or heights in pixels
/// @param first   first of the run
/// @param count   length of the run, at least 1; the last of it takes what does not divide evenly
/// @param needed  pixels
void vel_grid_layout_spread(gint32 *sizes, gint32 first, gint32 count, gint32 needed);

/// Computes every cell's place from preferred sizes; the result depends on the order in which the
/// cells were added.
/// @param preferred  one per cell
/// @param placed     one per cell, filled here: the control's rectangle, margins taken off
void vel_grid_layout_arrange(const vel_grid_layout *layout, const vel_grid_layout_size *preferred,
                             vel_grid_layout_rectangle *placed);

#ifdef _WIN32
/// Moves every control to its place, from the preferred sizes that the controls have now.
void vel_grid_layout_process(vel_grid_layout *layout);
#endif

G_END_DECLS
