// A modal dialog with "OK" and "Cancel" in its bottom right corner, into which the application puts
// its own controls. UI thread.
#pragma once

#include <glib.h>
#include <windows.h>

/// Embedded by its user. Its address must not change between init and done: the window knows it.
typedef struct vel_dialog {
    HWND window;    ///< Class "SimpleDialog", owned by the owner window, hidden unless it is being
                    ///< shown.
    guint8 ok;      ///< TRUE once OK was pressed during the current vel_dialog_show().
    HWND ok_button; ///< "OK", control id IDOK; child of window.
    HWND cancel_button; ///< "Cancel", control id IDCANCEL; child of window.
} vel_dialog;

G_BEGIN_DECLS

/// Creates the dialog, hidden, 640 x 480 pixels.
/// @param owner  the window that it blocks while it is shown; null for none
/// @param title  UTF-8, copied
/// Ends the program with "Error registering dialog window class." when Windows refuses the class.
void vel_dialog_init(vel_dialog *dialog, HWND owner, const gchar *title);

/// Shows the dialog over its owner until the user ends it. The quit message ends it, too, and is
/// not posted again.
/// @return TRUE when OK was pressed; FALSE for Cancel, Escape and the close button
gboolean vel_dialog_show(vel_dialog *dialog);

/// Places the buttons in the bottom right corner.
void vel_dialog_layout(vel_dialog *dialog);

/// Destroys the window and the controls on it.
void vel_dialog_done(vel_dialog *dialog);

G_END_DECLS
