// What the main window's small dialogs have in common: a panel for the controls, pairs of a label
// and a control. UI thread.
#pragma once

#include <glib.h>

#include "vel_dialog.h"
#include "vel_grid_layout.h"

G_BEGIN_DECLS

/// Creates the panel that a dialog's controls are laid out on, at the dialog's upper left.
/// @param size  pixels
/// @return destroyed with the dialog
HWND vel_main_window_dialog_create_panel(vel_dialog *dialog, SIZE size);

/// Gives a dialog its size in pixels, frame included.
void vel_main_window_dialog_set_size(vel_dialog *dialog, int width, int height);

/// Puts a label and its control into a row of a layout, with the usual space between and below
/// them.
/// @param row  from 0
void vel_main_window_dialog_add_pair(vel_grid_layout *layout, HWND label, HWND control, gint32 row);

G_END_DECLS
