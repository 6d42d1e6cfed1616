// The few operations of the window system that opening and scanning a file needs. The program has
// them over Win32; tests that run without windows supply their own.
#pragma once

#include "vel_main_window.h"

G_BEGIN_DECLS

/// Sets the main window's title. UI thread.
/// @param title  UTF-8, borrowed
void vel_main_window_ui_set_title(vel_main_window *window, const gchar *title);

/// Sets or clears the check mark of the menu's "Headers". UI thread.
void vel_main_window_ui_check_headers(vel_main_window *window, gboolean checked);

/// Sets the text of the status bar's first part. UI thread.
/// @param text  UTF-8, borrowed
void vel_main_window_ui_set_status(vel_main_window *window, const gchar *text);

/// Has the table control painted anew. UI thread.
void vel_main_window_ui_repaint_table(vel_main_window *window);

/// Whether the window can be used, that is neither a dialog nor a box of its own is open. UI
/// thread.
gboolean vel_main_window_ui_is_enabled(vel_main_window *window);

/// Shows a message in a box captioned "Error", owned by the window; the program goes on. Returns
/// when the box is closed; messages, timers too, are handled meanwhile. UI thread.
/// @param message  UTF-8, borrowed
void vel_main_window_ui_show_message(vel_main_window *window, const gchar *message);

/// Reports the scan's error to the UI thread and waits until it was handled. Scanner thread.
/// @param error  borrowed
void vel_main_window_ui_send_scan_error(vel_main_window *window, GError *error);

/// Waits until `scanner_done` is set, handling what the scanner sends meanwhile. UI thread.
void vel_main_window_ui_wait_for_scanner(vel_main_window *window);

G_END_DECLS
