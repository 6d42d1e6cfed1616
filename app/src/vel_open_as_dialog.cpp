// See vel_open_as_dialog.h.
#include "vel_open_as_dialog.h"

void vel_open_as_dialog_init(gpointer dialog)
{
    *static_cast<guint8 *>(dialog) = 0;
}

void vel_open_as_dialog_done(gpointer) {}
