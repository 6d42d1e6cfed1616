// Running programs by GLib, which does here all that is asked for; only its many error codes become
// the one that every system gives.
#include "vel_utils_spawn.h"

#include "vel_utils_spawn_internal.h"

gboolean vel_utils_spawn_sync(const gchar *working_directory, gchar **argv, gchar **envp,
                              GSpawnFlags flags, GSpawnChildSetupFunc child_setup,
                              gpointer user_data, gchar **standard_output, gchar **standard_error,
                              gint *exit_status, GError **error)
{
    vel_utils_spawn_check(argv, flags, standard_output, standard_error);
    g_autoptr(GError) failure = nullptr;
    if (g_spawn_sync(working_directory, argv, envp, flags, child_setup, user_data, standard_output,
                     standard_error, exit_status, &failure))
        return TRUE;
    g_set_error_literal(error, G_SPAWN_ERROR, G_SPAWN_ERROR_FAILED, failure->message);
    return FALSE;
}
