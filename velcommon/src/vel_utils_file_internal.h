// What the file helpers need of the system they run on, and share with their tests: kinds of
// entries, listings, times, the system's errors.
#pragma once

#include "vel_utils_file.h"

#include <glib.h>

#ifdef _WIN32
#include <windows.h>
#endif

typedef enum vel_utils_file_kind {
    VEL_UTILS_FILE_KIND_FILE = 0,        ///< All that is no folder, and what does not exist.
    VEL_UTILS_FILE_KIND_FOLDER = 1,      ///< A folder whose content lies in the same tree.
    VEL_UTILS_FILE_KIND_FOLDER_LINK = 2, ///< A link or a junction that leads to some other folder.
} vel_utils_file_kind;

/// Fills an error from a number of the system's: its message after "Error %lu: ".
/// @param number  GetLastError()'s on Windows, errno elsewhere; nothing is set when it is 0
void vel_utils_file_set_system_error(GError **error, GQuark domain, gint code, guint32 number);

/// Tells what a path leads to without following its last part.
/// @param path  UTF-8, borrowed
vel_utils_file_kind vel_utils_file_kind_of(const gchar *path);

/// Joins a folder and the name of an entry, with nothing in front of the separator for "/".
/// @return caller frees with g_free()
gchar *vel_utils_file_entry_path(const gchar *folder, const gchar *name);

/// Lists a folder.
/// @param folder  UTF-8, borrowed
/// @param error   as vel_utils_set_error_from_errno() fills it
/// @return the names without "." and "..", in the system's order, in an array that frees them;
///         caller unrefs; null on failure
GPtrArray *vel_utils_file_list(const gchar *folder, GError **error);

/// Makes a folder that may have a long path, as vel_utils_mkdir_with_parents() does.
gboolean vel_utils_file_make_folder(const gchar *path, GError **error);

/// Tells when a file was last written.
/// @param path   UTF-8, borrowed
/// @param error  as vel_utils_file_up_to_date() says; G_FILE_ERROR_NOENT for a missing file
gboolean vel_utils_file_last_write(const gchar *path, vel_utils_timespec *time, GError **error);

#ifdef _WIN32

/// Turns a path into the absolute one with the prefix for paths of any length.
/// @param path  UTF-8, borrowed
/// @return caller frees with g_free(); null with GetLastError() set for what cannot be a path
wchar_t *vel_utils_file_extended_path(const gchar *path);

/// The same for a folder, without separators at its end.
wchar_t *vel_utils_file_extended_folder(const gchar *path);

/// Fills an error from GetLastError(), as vel_utils_file_set_system_error() does.
void vel_utils_file_set_last_error(GError **error, GQuark domain, gint code);

/// Tells what an entry is.
/// @param attributes  FILE_ATTRIBUTE_...
/// @param tag         IO_REPARSE_TAG_... of an entry with FILE_ATTRIBUTE_REPARSE_POINT; 0 when the
///                    system does not tell, which counts as a link
vel_utils_file_kind vel_utils_file_kind_from_attributes(DWORD attributes, DWORD tag);

/// Turns the system's count of 100 nanoseconds since 1601 into a time since 1970.
vel_utils_timespec vel_utils_file_time_from_windows(guint64 ticks);

/// Asks the system for the Windows folder, with a larger buffer when it wants one.
/// @param get  GetWindowsDirectoryW(), or what a test has in its place
/// @return UTF-8, caller frees with g_free()
gchar *vel_utils_file_ask_windows_dir(UINT(WINAPI *get)(wchar_t *, UINT));

#endif
