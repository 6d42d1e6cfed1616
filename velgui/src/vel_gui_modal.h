// What the toolkit's modal windows have in common: class, creation, showing over a disabled owner,
// the nested loop. For the modules of the toolkit; applications use vel_dialog and
// vel_progress_dialog. UI thread.
#pragma once

#include <glib.h>
#include <windows.h>

/// Free space between a modal window's contents and its client edges, in pixels.
#define VEL_GUI_MODAL_MARGIN_X 12
#define VEL_GUI_MODAL_MARGIN_Y 11

/// In what the modal windows differ. Each takes the structure that the window was created with.
typedef struct vel_gui_modal_actions {
    void (*layout)(gpointer structure);  ///< Places the controls: the window has a new size.
    void (*give_up)(gpointer structure); ///< Cancel, Escape or the close box: ends the showing.
} vel_gui_modal_actions;

G_BEGIN_DECLS

/// Registers a window class on first use.
/// @param atom  the module's memory of it: 0 until it is registered
/// Ends the program with "Error registering dialog window class." when it is refused.
void vel_gui_modal_register_class(ATOM *atom, const wchar_t *name, WNDPROC proc);

/// Creates a hidden modal window.
/// @param owner      the window that it blocks while it is shown; null for none
/// @param title      UTF-8, copied
/// @param structure  borrowed for the window's life; kept in window word 0
HWND vel_gui_modal_create(const wchar_t *class_name, HWND owner, const gchar *title, int width,
                          int height, gpointer structure);

/// Handles what all modal windows treat alike: the Cancel button, the close box, the smallest size,
/// a new size. For the end of a window procedure, with that one's arguments.
/// @return the message's result, of default processing for every other message
LRESULT vel_gui_modal_proc(const vel_gui_modal_actions *actions, HWND window, UINT message,
                           WPARAM wparam, LPARAM lparam);

/// Disables the owner, centres the window on it, shows it and gives its first tab stop the focus.
/// Without an owner the window stays where it is.
/// @return the control that got the focus; null when there is none
HWND vel_gui_modal_show(HWND window);

/// Runs messages until the window is hidden or the program quits, then enables the owner. The quit
/// message is taken and not posted again.
void vel_gui_modal_run(HWND window);

/// Enables the owner, hides the window and so ends vel_gui_modal_run().
void vel_gui_modal_hide(HWND window);

/// Places a button in the bottom right corner.
/// @return its rectangle in client coordinates
RECT vel_gui_modal_place_corner_button(HWND window, HWND button);

G_END_DECLS
