// What the opening of streams shares with the other helpers for files and with its tests: the form
// of a path that Windows takes at any length.
#pragma once

#include <glib.h>

#ifdef _WIN32
/// Turns a number of the system's into errno's.
/// @param code  GetLastError()'s
gint vel_utils_stream_errno(guint32 code);

/// Turns a path into the absolute one to give to CreateFileW, with the prefix that long ones need.
/// @param path  UTF-8, borrowed
/// @return zero-terminated, caller frees with g_free(); null, with errno set, for an empty path and
///         one that cannot be a path
wchar_t *vel_utils_stream_full_path(const gchar *path);

/// The same for a path in UTF-16.
wchar_t *vel_utils_stream_full_path_utf16(const wchar_t *path);

/// Gives an absolute path the prefix for paths of any length, unless it has one or names a device.
/// @param full  zero-terminated, not null; taken over
/// @return caller frees with g_free()
wchar_t *vel_utils_stream_extend(wchar_t *full);
#endif
