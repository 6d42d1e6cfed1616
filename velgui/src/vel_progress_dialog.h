// A modal window that shows how far a job on another thread is and lets the user give up waiting.
// It never stops the job: that is its owner's affair. It looks at the job once a second. UI thread.
#pragma once

#include <glib.h>
#include <windows.h>

#include "vel_job.h"

/// Embedded by its user. Its address must not change between init and done: the window knows it.
typedef struct vel_progress_dialog {
    HWND window;        ///< Class "ProgressDialog", owned by the owner window.
    guint8 running;     ///< TRUE when shown; cleared when the user cancels or closes.
    HWND cancel_button; ///< "Cancel", control id IDCANCEL; child of window.
    HWND progress_bar;  ///< Range 0 to 100; child of window.
    vel_job *job;       ///< Borrowed; outlives the dialog.
} vel_progress_dialog;

G_BEGIN_DECLS

/// Creates the dialog, hidden, 400 x 200 pixels, titled with the job's name.
/// @param owner  the window that it blocks while it is shown; null for none
/// @param job    borrowed until vel_progress_dialog_done()
/// Ends the program with "Error registering dialog window class." when Windows refuses the class.
void vel_progress_dialog_init(vel_progress_dialog *dialog, HWND owner, vel_job *job);

/// Shows the job's progress until the job is complete or the user gives up. The quit message ends
/// it, too, and is not posted again.
/// @return TRUE unless the user cancelled or closed the window
gboolean vel_progress_dialog_show(vel_progress_dialog *dialog);

/// Places the bar at the top and the button in the bottom right corner.
void vel_progress_dialog_layout(vel_progress_dialog *dialog);

/// Destroys the window. The job is untouched.
void vel_progress_dialog_done(vel_progress_dialog *dialog);

G_END_DECLS
