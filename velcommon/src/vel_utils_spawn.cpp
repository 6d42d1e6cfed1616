// What is the same on every system about running programs. The command line is only of use on
// Windows, but a matter of plain text, and so it is made and tested everywhere.
#include "vel_utils_spawn.h"

#include "vel_assert.h"
#include "vel_utils_spawn_internal.h"

#include <cstring>

void vel_utils_spawn_check(gchar **argv, GSpawnFlags flags, gchar **standard_output,
                           gchar **standard_error)
{
    vel_assert_nonnull(argv);
    vel_assert(argv[0] != NULL);
    vel_assert((flags & G_SPAWN_DO_NOT_REAP_CHILD) == 0);
    vel_assert(standard_output == NULL || (flags & G_SPAWN_STDOUT_TO_DEV_NULL) == 0);
    vel_assert(standard_error == NULL || (flags & G_SPAWN_STDERR_TO_DEV_NULL) == 0);
}

// Backslashes count as themselves unless a quote follows them. Those at the end of an argument are
// left alone, though in a quoted one they are followed by the closing quote: the programs that are
// run rely on it.
static void vel_utils_spawn_append_argument(GString *line, const gchar *argument)
{
    const bool is_quoted = strpbrk(argument, " \t") != nullptr;
    gsize n_backslashes = 0;
    if (is_quoted)
        g_string_append_c(line, '"');
    for (const gchar *c = argument; *c != '\0'; c++) {
        if (*c == '"') {
            for (gsize i = 0; i < n_backslashes + 1; i++)
                g_string_append_c(line, '\\');
        }
        n_backslashes = *c == '\\' ? n_backslashes + 1 : 0;
        g_string_append_c(line, *c);
    }
    if (is_quoted)
        g_string_append_c(line, '"');
}

gchar *vel_utils_spawn_command_line(const gchar *const *argv)
{
    GString *const line = g_string_new(nullptr);
    for (; *argv != nullptr; argv++) {
        vel_utils_spawn_append_argument(line, *argv);
        if (line->len > 0)
            g_string_append_c(line, ' ');
    }
    return g_string_free(line, FALSE);
}
