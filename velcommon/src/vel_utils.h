// Small helpers that the rest of the system stands on: error records from errno, UTF-16 strings,
// the reader's byte scan. All are free of shared state and may be called from any thread.
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/// Fills an error from errno: domain G_IO_ERROR, code g_io_error_from_errno(errno), text
/// g_strerror(errno). Nothing is set when errno is 0: a caller that must report an error makes sure
/// that the failed call set errno.
/// @param error  empty, or null to ignore the error
/// errno itself is kept.
void vel_utils_set_error_from_errno(GError **error);

/// Makes a folder and the folders above it that are missing, for the owner alone (mode 0700).
/// @param path   UTF-8, borrowed
/// @param error  from errno, as vel_utils_set_error_from_errno() fills it
/// @return whether the folder exists now
gboolean vel_utils_mkdir_with_parents(const gchar *path, GError **error);

/// Counts the code units of a UTF-16 string before its terminating zero.
/// @param str  zero-terminated, borrowed
guint64 vel_utils_utf16_len(const gunichar2 *str);

/// Compares two UTF-16 strings code unit by code unit.
/// @param a, b  zero-terminated, borrowed
/// @return negative, 0 or positive as a is less than, equal to or greater than b
gint32 vel_utils_utf16_cmp(const gunichar2 *a, const gunichar2 *b);

/// Frees what a pointer points to with g_free() and sets the pointer to null.
/// @param pointer_address  address of a pointer of any type; the pointer may be null
void vel_utils_free_and_null(gpointer pointer_address);

/// Counts the bytes before the first byte of a class.
/// @param str    zero-terminated, borrowed; no byte behind the one found is read
/// @param table  256 entries, one per byte value, each 0 or 1; 1 marks the class, which must hold
///               the zero byte
/// @return index of the first byte whose entry is 1
/// One table look-up per byte, four bytes per step.
guint64 vel_utils_str_scan(const gchar *str, const guint8 *table);

G_END_DECLS
