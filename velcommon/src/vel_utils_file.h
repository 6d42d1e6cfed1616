// Files and folder trees: comparing ages, copying, mirroring, deleting, reading whole. Paths are
// UTF-8, absolute or relative, of any length the system can hold, and borrowed. The functions share
// no state and may be called from any thread, though two of them in one tree see each other's work.
//
// "The system's error" below is the system's own message after "Error %lu: ", which holds its
// number: GetLastError()'s on Windows, errno elsewhere.
#pragma once

#include <glib.h>
#include <stdio.h>

G_BEGIN_DECLS

/// A point in time, since 1970 in UTC.
typedef struct vel_utils_timespec {
    gint64 seconds;     ///< May be negative.
    gint32 nanoseconds; ///< Added to the seconds; 0..999,999,999.
} vel_utils_timespec;

/// Compares two points in time, the seconds first.
/// @param a, b  borrowed
/// @return -1, 0 or 1 as a is before, at or after b
gint32 vel_utils_timespec_cmp(const vel_utils_timespec *a, const vel_utils_timespec *b);

/// Tells whether a target is at least as new as the source it is made from, by the times they were
/// last written.
/// @param source, target  files; folders cannot be opened
/// @param error  G_FILE_ERROR, G_FILE_ERROR_FAILED with the system's message alone when a file
///               exists but cannot be opened (on Windows also when somebody is writing to it) or
///               the folder it would be in does not exist; G_IO_ERROR, code 0 with the system's
///               error when its time cannot be read
/// @return FALSE, without an error, also when source or target does not exist
gboolean vel_utils_file_up_to_date(const gchar *source, const gchar *target, GError **error);

/// Copies a file with its permissions and the time of its last change, over a target that exists.
/// @param source, target  files; the same file under both names is an error
/// @param error  G_IO_ERROR, code 0 with the system's error
/// @return whether the target is now a copy; a target whose writing failed half-way is removed
gboolean vel_utils_file_copy(const gchar *source, const gchar *target, GError **error);

/// Copies what is missing or out of date from one folder into another, with everything below it.
/// What only the target has is kept.
/// @param source  folder; links to folders inside it are left out, links to files are copied as
///                the files they lead to
/// @param target  folder that exists and does not lie in the source; folders below it are made as
///                needed, for the owner alone. A link to a folder below it is not followed: where
///                the source has a folder there, that is an error (ENOTDIR).
/// @param error   for a folder that cannot be listed or made, as vel_utils_set_error_from_errno()
///                fills it; for the comparison of ages, as vel_utils_file_up_to_date(); for
///                copying, as vel_utils_file_copy() with "Unable to copy the file \"%s\" to
///                \"%s\": " in front
/// @return whether all went well; the first error ends the work, what was not reached is untouched
gboolean vel_utils_dir_update(const gchar *source, const gchar *target, GError **error);

/// Deletes a folder with everything in it. A link to a folder, the one named as well as those
/// inside, is removed itself and never followed.
/// @param path   folder
/// @param error  G_FILE_ERROR, G_FILE_ERROR_FAILED with the system's error
/// @return whether the folder is gone; the first error ends the work, what was not reached is
///         untouched
/// Costs an open folder per level of the tree.
gboolean vel_utils_delete_directory(const gchar *path, GError **error);

/// Reads a whole stream, from its start whatever its position, into memory.
/// @param stream  must be able to seek; left at the end of what was read; borrowed
/// @param data    receives the bytes with a terminating zero behind them, caller frees with
///                g_free(); null on failure
/// @param length  receives the number of bytes without the zero; 0 on failure. What a growing file
///                gains meanwhile is left out, one that shrinks gives what is there.
/// @param error   G_IO_ERROR, code 0, "I/O error"
gboolean vel_utils_file_readall(FILE *stream, gchar **data, guint64 *length, GError **error);

#ifdef _WIN32

/// Deletes a folder with everything in it, as vel_utils_delete_directory() does.
/// @param path  zero-terminated UTF-16, borrowed
gboolean vel_utils_win32_delete_directory(const gunichar2 *path, GError **error);

/// Tells the Windows folder.
/// @return UTF-8 without a separator at its end; belongs to the process, for its whole life
/// The first call asks the system, later ones give the same string. When the system does not tell,
/// the message "GetWindowsDirectory call failed" ends the program.
const gchar *vel_utils_win32_get_windows_dir(void);

#endif

G_END_DECLS
