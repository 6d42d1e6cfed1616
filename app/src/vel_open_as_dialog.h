// Placeholders of the "Open as" dialog's module; the dialog itself is part of the main window's
// commands.
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/// Clears the dialog's one byte of state.
/// @param dialog  at least one byte of the caller's
void vel_open_as_dialog_init(gpointer dialog);

/// Releases nothing.
void vel_open_as_dialog_done(gpointer dialog);

G_END_DECLS
