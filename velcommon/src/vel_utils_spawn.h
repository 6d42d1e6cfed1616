// Running another program and waiting for its end.
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/// Runs a program to its end and takes what it writes, with the arguments and the meaning of
/// g_spawn_sync(). What the program writes is read as it comes, both streams at once, however much
/// it is and in whatever order; a stream is at its end when the program, and whoever inherited the
/// stream from it, has closed it.
/// @param working_directory  UTF-8, the child's working folder; null for the caller's; borrowed
/// @param argv         the program and its arguments, ended by a null pointer; UTF-8 on Windows,
///                     any bytes elsewhere; borrowed. A program that is no absolute path and is not
///                     searched for is best given as one: systems differ in whether it is relative
///                     to the caller's folder (Windows) or the child's.
/// @param envp         the child's whole environment as "NAME=value", ended by a null pointer; null
///                     for the caller's; borrowed
/// @param flags        G_SPAWN_SEARCH_PATH and G_SPAWN_SEARCH_PATH_FROM_ENVP (which on Windows also
///                     try the name with ".exe" behind it), G_SPAWN_STDOUT_TO_DEV_NULL,
///                     G_SPAWN_STDERR_TO_DEV_NULL, G_SPAWN_CHILD_INHERITS_STDIN (otherwise the
///                     child's input is empty), G_SPAWN_FILE_AND_ARGV_ZERO,
///                     G_SPAWN_LEAVE_DESCRIPTORS_OPEN (otherwise the child inherits nothing but its
///                     three streams); not G_SPAWN_DO_NOT_REAP_CHILD
/// @param child_setup  called in the child before the program starts, with all that g_spawn_sync()
///                     forbids there; not called on Windows, where there is no such moment; or null
/// @param user_data    for child_setup
/// @param standard_output  receives all that the child wrote there, byte by byte, with a
///                     terminating zero behind it; caller frees with g_free(); null on failure. A
///                     null pointer leaves the child the caller's stream, and then only the flag
///                     G_SPAWN_STDOUT_TO_DEV_NULL may be given.
/// @param standard_error  the same for the other stream
/// @param exit_status  receives the exit code on Windows and the wait status elsewhere (see
///                     g_spawn_check_wait_status()), kept on failure; or null
/// @param error        G_SPAWN_ERROR, G_SPAWN_ERROR_FAILED; on Windows with the system's message
///                     after "Error %lu: ", which holds GetLastError()'s number, elsewhere with
///                     GLib's message
/// @return whether the program was run to its end, whatever its exit status
/// Any thread, several at a time. Costs one thread for as long as both streams are taken on
/// Windows, none otherwise; leaves neither thread nor handle behind.
///
/// Windows programs take one line of text and split it themselves. It is made thus: an argument
/// that holds a space or a tab is put in quotes; a quote inside an argument is preceded by one
/// backslash, and the backslashes directly before it are doubled; backslashes at the end of an
/// argument are not doubled, so one that holds a space and ends with a backslash runs into the next
/// one; an empty argument adds nothing of its own; behind every argument comes one space once the
/// line has any text.
gboolean vel_utils_spawn_sync(const gchar *working_directory, gchar **argv, gchar **envp,
                              GSpawnFlags flags, GSpawnChildSetupFunc child_setup,
                              gpointer user_data, gchar **standard_output, gchar **standard_error,
                              gint *exit_status, GError **error);

G_END_DECLS
