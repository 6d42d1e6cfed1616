// What the sources that run programs share with one another and with their tests.
#pragma once

#include <glib.h>

/// Ends the program unless the arguments of vel_utils_spawn_sync() are such that it can be called.
void vel_utils_spawn_check(gchar **argv, GSpawnFlags flags, gchar **standard_output,
                           gchar **standard_error);

/// Makes the one line of text that a Windows program gets in place of its arguments.
/// @param argv  ended by a null pointer, borrowed
/// @return caller frees with g_free()
gchar *vel_utils_spawn_command_line(const gchar *const *argv);
