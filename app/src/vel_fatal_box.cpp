// GLib ends a process in two ways: a fatal log message goes to the log handler, a failed assertion
// is printed to standard error in a form of its own. Both are caught before the process is aborted.
#include "vel_fatal_box.h"
#include "vel_gui.h"

static void vel_fatal_box_log(const gchar *domain, GLogLevelFlags level, const gchar *message,
                              gpointer data)
{
    if ((level & G_LOG_FLAG_FATAL) != 0 || (level & G_LOG_LEVEL_ERROR) != 0)
        vel_gui_abort(message != nullptr ? message : "Unknown fatal error");
    g_log_default_handler(domain, level, message, data);
}

/// Assertions are printed as "**", a line end, the message and a line end.
static void vel_fatal_box_print_error(const gchar *text)
{
    if (!g_str_has_prefix(text, "**\n"))
        return;
    g_autofree gchar *message = g_strstrip(g_strdup(text + 3));
    vel_gui_abort(message);
}

void vel_fatal_box_install(void)
{
    g_log_set_default_handler(vel_fatal_box_log, nullptr);
    g_set_printerr_handler(vel_fatal_box_print_error);
}
