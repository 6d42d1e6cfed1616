// Files of any size, opened in a way that leaves other programs free to work on them. A stream
// belongs to one thread at a time; the functions share no state.
#pragma once

#include <glib.h>
#include <stdio.h>

G_BEGIN_DECLS

/// Opens a file for binary reading; other programs may go on writing, renaming and deleting it.
/// @param path   UTF-8, absolute or relative, of any length the system can hold; borrowed
/// @param error  as vel_utils_set_error_from_errno() fills it: ENOENT for a missing file, an empty
///               path and, on Windows, a name that cannot exist; EACCES for a file that may not be
///               read; EISDIR for a folder; EINVAL for what is no file on a disk (a device, a
///               pipe); EIO or the system's own number for the rest
/// @return the stream, which the caller closes with fclose() and child processes do not inherit;
///         null on failure, with errno set as above
/// Never waits for a pipe's or a device's other side.
FILE *vel_utils_fopen_shared(const gchar *path, GError **error);

/// Moves a stream's position, which may lie beyond 4 GiB and beyond the end of the file.
/// @param offset  bytes from the place that whence names
/// @param whence  SEEK_SET, SEEK_CUR or SEEK_END
/// @return TRUE, with the stream's marks for end of file and error cleared; FALSE with errno set
///         and the position anywhere
gboolean vel_utils_fseek(FILE *file, gint64 offset, gint whence);

/// Tells a stream's position in bytes from the start of the file; -1 with errno set on failure.
gint64 vel_utils_ftell(FILE *file);

/// Tells the size in bytes that a stream's file has now, without moving or reading anything; -1
/// when the stream does not read a file on a disk or the system does not tell.
gint64 vel_utils_fsize(FILE *file);

G_END_DECLS
