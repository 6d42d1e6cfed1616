// Errors from errno, folders, UTF-16 strings and the byte scan on which the speed of the CSV reader
// rests.
#include "vel_utils.h"

#include <gio/gio.h>
#include <glib/gstdio.h>

#include <cerrno>
#include <cstring>

static constexpr gint VEL_UTILS_OWNER_ONLY = 0700;

void vel_utils_set_error_from_errno(GError **error)
{
    const gint number = errno;
    if (number == 0)
        return;
    g_set_error_literal(error, G_IO_ERROR, g_io_error_from_errno(number), g_strerror(number));
    errno = number;
}

gboolean vel_utils_mkdir_with_parents(const gchar *path, GError **error)
{
    if (g_mkdir_with_parents(path, VEL_UTILS_OWNER_ONLY) == 0)
        return TRUE;
    vel_utils_set_error_from_errno(error);
    return FALSE;
}

guint64 vel_utils_utf16_len(const gunichar2 *str)
{
    guint64 length = 0;
    while (str[length] != 0)
        length++;
    return length;
}

gint32 vel_utils_utf16_cmp(const gunichar2 *a, const gunichar2 *b)
{
    while (*a != 0 && *a == *b) {
        a++;
        b++;
    }
    return gint32{*a} - gint32{*b};
}

void vel_utils_free_and_null(gpointer pointer_address)
{
    // Copied, not dereferenced: the caller's pointer has a type of its own, which gpointer must not
    // alias.
    gpointer pointer;
    std::memcpy(&pointer, pointer_address, sizeof pointer);
    g_free(pointer);
    pointer = nullptr;
    std::memcpy(pointer_address, &pointer, sizeof pointer);
}

guint64 vel_utils_str_scan(const gchar *str, const guint8 *table)
{
    // Each byte is looked up before the next one is read, so nothing behind the terminating zero is
    // touched; a load of four bytes at once could not promise that.
    const guint8 *const bytes = reinterpret_cast<const guint8 *>(str);
    for (guint64 i = 0;; i += 4) {
        if (table[bytes[i]] != 0)
            return i;
        if (table[bytes[i + 1]] != 0)
            return i + 1;
        if (table[bytes[i + 2]] != 0)
            return i + 2;
        if (table[bytes[i + 3]] != 0)
            return i + 3;
    }
}
