// A program without a console must not die silently: what the libraries print when they end it is
// shown in a box.
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/// From now on a fatal log message or a failed assertion is shown in a box captioned "Error", and
/// the process ends with exit status 1. Call once, at start; works on every thread.
void vel_fatal_box_install(void);

G_END_DECLS
