// What the toolkit's modal windows have in common: class, creation, showing over a disabled owner,
// the nested loop. For the modules of the toolkit; applications use vel_dialog and
// vel_progress_dialog. UI thread.
#pragma once

#include <glib.h>
#include <windows.h>

/// Smallest size that the user can give a modal window, in pixels.
#define VEL_GUI_MODAL_MIN_WIDTH 220
#define VEL_GUI_MODAL_MIN_HEIGHT 110

/// Free space between a modal window's contents and its client edges, in pixels.
#define VEL_GUI_MODAL_MARGIN_X 12
#define VEL_GUI_MODAL_MARGIN_Y 11

G_BEGIN_DECLS

/// Registers a window class on first use.
/// @param atom  the module's memory of it: 0 until it is registered
/// Ends the program with "Error registering dialog window class." when it is refused.
void vel_gui_modal_register_class(ATOM *atom, const wchar_t *name, WNDPROC proc);

/// Creates a hidden modal window.
/// @param title      UTF-8, copied
/// @param structure  kept in window word 0 for the window procedure
HWND vel_gui_modal_create(const wchar_t *class_name, HWND owner, const gchar *title, int width,
                          int height, gpointer structure);

/// Disables the owner, centres the window on it, shows it and gives its first tab stop the focus.
/// @return the control that got the focus; null when there is none
HWND vel_gui_modal_show(HWND window);

/// Runs messages until the window is hidden or the program quits, then enables the owner.
void vel_gui_modal_run(HWND window);

/// Enables the owner, hides the window and so ends vel_gui_modal_run().
void vel_gui_modal_hide(HWND window);

/// Places a button in the bottom right corner.
/// @return its rectangle in client coordinates
RECT vel_gui_modal_place_corner_button(HWND window, HWND button);

G_END_DECLS
