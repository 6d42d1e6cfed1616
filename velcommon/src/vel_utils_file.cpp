// What is the same on every system about comparing, mirroring and reading files.
#include "vel_utils_file.h"

#include "vel_utils.h"
#include "vel_utils_file_internal.h"
#include "vel_utils_stream.h"

#include <gio/gio.h>

#include <cerrno>

template <typename T> static gint32 vel_utils_three_way(T a, T b)
{
    return gint32{a > b} - gint32{a < b};
}

gint32 vel_utils_timespec_cmp(const vel_utils_timespec *a, const vel_utils_timespec *b)
{
    const gint32 seconds = vel_utils_three_way(a->seconds, b->seconds);
    return seconds != 0 ? seconds : vel_utils_three_way(a->nanoseconds, b->nanoseconds);
}

gboolean vel_utils_file_up_to_date(const gchar *source, const gchar *target, GError **error)
{
    g_autoptr(GError) failure = nullptr;
    vel_utils_timespec source_time;
    vel_utils_timespec target_time;
    if (vel_utils_file_last_write(source, &source_time, &failure) &&
        vel_utils_file_last_write(target, &target_time, &failure))
        return vel_utils_timespec_cmp(&source_time, &target_time) <= 0;
    // A missing file is an answer, not a failure.
    if (!g_error_matches(failure, G_FILE_ERROR, G_FILE_ERROR_NOENT))
        g_propagate_error(error, g_steal_pointer(&failure));
    return FALSE;
}

gchar *vel_utils_file_entry_path(const gchar *folder, const gchar *name)
{
    return g_strconcat(g_str_equal(folder, "/") ? "" : folder, G_DIR_SEPARATOR_S, name, nullptr);
}

static gboolean vel_utils_dir_update_file(const gchar *source, const gchar *target, GError **error)
{
    g_autoptr(GError) failure = nullptr;
    if (vel_utils_file_up_to_date(source, target, &failure))
        return TRUE;
    if (failure == nullptr && !vel_utils_file_copy(source, target, &failure))
        g_prefix_error(&failure, "Unable to copy the file \"%s\" to \"%s\": ", source, target);
    if (failure == nullptr)
        return TRUE;
    g_propagate_error(error, g_steal_pointer(&failure));
    return FALSE;
}

static gboolean vel_utils_dir_update_folder(const gchar *source, const gchar *target,
                                            GError **error)
{
    const vel_utils_file_kind kind = vel_utils_file_kind_of(target);
    if (kind == VEL_UTILS_FILE_KIND_FOLDER_LINK) {
        errno = ENOTDIR;
        vel_utils_set_error_from_errno(error);
        return FALSE;
    }
    if (kind != VEL_UTILS_FILE_KIND_FOLDER && !vel_utils_file_make_folder(target, error))
        return FALSE;
    return vel_utils_dir_update(source, target, error);
}

static gboolean vel_utils_dir_update_entry(const gchar *source, const gchar *target, GError **error)
{
    switch (vel_utils_file_kind_of(source)) {
    case VEL_UTILS_FILE_KIND_FOLDER:
        return vel_utils_dir_update_folder(source, target, error);
    case VEL_UTILS_FILE_KIND_FOLDER_LINK:
        // What it leads to is not part of the tree, and may even hold the tree.
        return TRUE;
    case VEL_UTILS_FILE_KIND_FILE:
        break;
    }
    return vel_utils_dir_update_file(source, target, error);
}

gboolean vel_utils_dir_update(const gchar *source, const gchar *target, GError **error)
{
    // Listed as a whole, so that no folder stays open while its subfolders are worked on.
    g_autoptr(GPtrArray) names = vel_utils_file_list(source, error);
    if (names == nullptr)
        return FALSE;
    for (guint i = 0; i < names->len; i++) {
        const gchar *const name = static_cast<const gchar *>(g_ptr_array_index(names, i));
        g_autofree gchar *source_entry = vel_utils_file_entry_path(source, name);
        g_autofree gchar *target_entry = vel_utils_file_entry_path(target, name);
        if (!vel_utils_dir_update_entry(source_entry, target_entry, error))
            return FALSE;
    }
    return TRUE;
}

// The whole stream in a new block; null when the stream cannot be read.
static gchar *vel_utils_file_read_block(FILE *stream, guint64 *length)
{
    if (!vel_utils_fseek(stream, 0, SEEK_END))
        return nullptr;
    const gint64 size = vel_utils_ftell(stream);
    // A folder that is opened as a stream has the largest size there is.
    if (size < 0 || size == G_MAXINT64 || !vel_utils_fseek(stream, 0, SEEK_SET))
        return nullptr;
    const guint64 room = static_cast<guint64>(size);
    g_autofree gchar *block = static_cast<gchar *>(g_try_malloc(room + 1));
    if (block == nullptr)
        return nullptr;
    guint64 n = 0;
    gsize n_read;
    while ((n_read = fread(block + n, 1, room - n, stream)) > 0)
        n += n_read;
    if (ferror(stream) != 0)
        return nullptr;
    block[n] = '\0';
    *length = n;
    return g_steal_pointer(&block);
}

gboolean vel_utils_file_readall(FILE *stream, gchar **data, guint64 *length, GError **error)
{
    *length = 0;
    *data = vel_utils_file_read_block(stream, length);
    if (*data != nullptr)
        return TRUE;
    g_set_error_literal(error, G_IO_ERROR, 0, "I/O error");
    return FALSE;
}
