// Files and folders by POSIX. Trees are deleted through open folders, never through paths: whatever
// is renamed or replaced by a link meanwhile, nothing outside the tree can be reached.
#include "vel_utils_file.h"

#include "vel_utils.h"
#include "vel_utils_file_internal.h"

#include <gio/gio.h>
#include <glib/gstdio.h>

#include <cerrno>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

static constexpr gint VEL_UTILS_FILE_READ = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
static constexpr gint VEL_UTILS_FILE_WRITE = O_WRONLY | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
static constexpr gint VEL_UTILS_FILE_LIST = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
static constexpr mode_t VEL_UTILS_FILE_PERMISSIONS = 0777;
static constexpr gsize VEL_UTILS_FILE_COPY_PIECE = 131072;

void vel_utils_file_set_system_error(GError **error, GQuark domain, gint code, guint32 number)
{
    if (number != 0)
        g_set_error(error, domain, code, "Error %u: %s", number,
                    g_strerror(static_cast<gint>(number)));
}

vel_utils_file_kind vel_utils_file_kind_of(const gchar *path)
{
    struct stat status;
    if (lstat(path, &status) == 0 && S_ISDIR(status.st_mode))
        return VEL_UTILS_FILE_KIND_FOLDER;
    if (stat(path, &status) == 0 && S_ISDIR(status.st_mode))
        return VEL_UTILS_FILE_KIND_FOLDER_LINK;
    return VEL_UTILS_FILE_KIND_FILE;
}

static bool vel_utils_file_is_dots(const gchar *name)
{
    return g_str_equal(name, ".") || g_str_equal(name, "..");
}

GPtrArray *vel_utils_file_list(const gchar *folder, GError **error)
{
    DIR *const dir = opendir(folder);
    if (dir == nullptr) {
        vel_utils_set_error_from_errno(error);
        return nullptr;
    }
    g_autoptr(GPtrArray) names = g_ptr_array_new_with_free_func(g_free);
    errno = 0;
    while (const struct dirent *const entry = readdir(dir)) {
        if (!vel_utils_file_is_dots(entry->d_name))
            g_ptr_array_add(names, g_strdup(entry->d_name));
        errno = 0;
    }
    const gint number = errno;
    closedir(dir);
    if (number == 0)
        return g_steal_pointer(&names);
    errno = number;
    vel_utils_set_error_from_errno(error);
    return nullptr;
}

gboolean vel_utils_file_make_folder(const gchar *path, GError **error)
{
    return vel_utils_mkdir_with_parents(path, error);
}

// Whether a file is missing, and not the folder it would be in.
static bool vel_utils_file_is_missing(const gchar *path, gint number)
{
    if (number != ENOENT || *path == '\0')
        return false;
    g_autofree gchar *folder = g_path_get_dirname(path);
    return g_file_test(folder, G_FILE_TEST_IS_DIR);
}

// A descriptor; -1 with errno set, also for a folder.
static gint vel_utils_file_open_to_read(const gchar *path, struct stat *status)
{
    const gint descriptor = open(path, VEL_UTILS_FILE_READ);
    if (descriptor == -1)
        return -1;
    gint number = fstat(descriptor, status) == 0 ? 0 : errno;
    if (number == 0 && S_ISDIR(status->st_mode))
        number = EISDIR;
    if (number == 0)
        return descriptor;
    close(descriptor);
    errno = number;
    return -1;
}

gboolean vel_utils_file_last_write(const gchar *path, vel_utils_timespec *time, GError **error)
{
    // Opened, not only looked at: a file that cannot be read is a failure.
    struct stat status;
    const gint descriptor = vel_utils_file_open_to_read(path, &status);
    if (descriptor == -1) {
        const gint number = errno;
        const gint code =
            vel_utils_file_is_missing(path, number) ? G_FILE_ERROR_NOENT : G_FILE_ERROR_FAILED;
        g_set_error_literal(error, G_FILE_ERROR, code, g_strerror(number));
        return FALSE;
    }
    close(descriptor);
    time->seconds = status.st_mtim.tv_sec;
    time->nanoseconds = static_cast<gint32>(status.st_mtim.tv_nsec);
    return TRUE;
}

// 0 or an errno, as in all the functions that copy.
static gint vel_utils_file_write(gint target, const guint8 *bytes, gsize n)
{
    while (n > 0) {
        const gssize written = write(target, bytes, n);
        if (written < 0 && errno != EINTR)
            return errno;
        if (written < 0)
            continue;
        bytes += written;
        n -= static_cast<gsize>(written);
    }
    return 0;
}

static gint vel_utils_file_copy_content(gint source, gint target)
{
    g_autofree guint8 *piece = g_new(guint8, VEL_UTILS_FILE_COPY_PIECE);
    for (;;) {
        const gssize n = read(source, piece, VEL_UTILS_FILE_COPY_PIECE);
        if (n == 0)
            return 0;
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return errno;
        const gint number = vel_utils_file_write(target, piece, static_cast<gsize>(n));
        if (number != 0)
            return number;
    }
}

// Whether a target that was opened may be overwritten.
static gint vel_utils_file_check_target(gint target, const struct stat *source_status)
{
    struct stat status;
    if (fstat(target, &status) != 0)
        return errno;
    if (status.st_dev == source_status->st_dev && status.st_ino == source_status->st_ino)
        return EBUSY;
    return S_ISREG(status.st_mode) ? 0 : EINVAL;
}

static gint vel_utils_file_overwrite(gint source, const struct stat *status, gint target)
{
    if (ftruncate(target, 0) != 0)
        return errno;
    const gint number = vel_utils_file_copy_content(source, target);
    if (number != 0)
        return number;
    // The time last, since writing changes it.
    const struct timespec times[2] = {{0, UTIME_OMIT}, status->st_mtim};
    if (fchmod(target, status->st_mode & VEL_UTILS_FILE_PERMISSIONS) != 0 ||
        futimens(target, times) != 0)
        return errno;
    return 0;
}

static gint vel_utils_file_copy_from(gint source, const struct stat *status, const gchar *path)
{
    if (!S_ISREG(status->st_mode))
        return EINVAL;
    const gint target =
        open(path, VEL_UTILS_FILE_WRITE, status->st_mode & VEL_UTILS_FILE_PERMISSIONS);
    if (target == -1)
        return errno;
    gint number = vel_utils_file_check_target(target, status);
    if (number != 0) {
        close(target);
        return number;
    }
    number = vel_utils_file_overwrite(source, status, target);
    if (close(target) != 0 && number == 0)
        number = errno;
    // Half a file would look newer than its source.
    if (number != 0)
        unlink(path);
    return number;
}

gboolean vel_utils_file_copy(const gchar *source, const gchar *target, GError **error)
{
    struct stat status;
    const gint descriptor = vel_utils_file_open_to_read(source, &status);
    gint number = errno;
    if (descriptor != -1) {
        number = vel_utils_file_copy_from(descriptor, &status, target);
        close(descriptor);
    }
    if (descriptor != -1 && number == 0)
        return TRUE;
    vel_utils_file_set_system_error(error, G_IO_ERROR, 0, static_cast<guint32>(number));
    return FALSE;
}

static bool vel_utils_file_delete_folder(gint parent, const gchar *name);

// What refuses to be opened as a folder without following links is none.
static bool vel_utils_file_delete_entry(gint parent, const gchar *name)
{
    if (vel_utils_file_delete_folder(parent, name))
        return true;
    return (errno == ENOTDIR || errno == ELOOP) && unlinkat(parent, name, 0) == 0;
}

static bool vel_utils_file_delete_content(DIR *dir)
{
    errno = 0;
    while (const struct dirent *const entry = readdir(dir)) {
        if (!vel_utils_file_is_dots(entry->d_name) &&
            !vel_utils_file_delete_entry(dirfd(dir), entry->d_name))
            return false;
        errno = 0;
    }
    return errno == 0;
}

// False with errno set, as in the two functions above.
static bool vel_utils_file_delete_folder(gint parent, const gchar *name)
{
    const gint descriptor = openat(parent, name, VEL_UTILS_FILE_LIST);
    DIR *const dir = descriptor == -1 ? nullptr : fdopendir(descriptor);
    if (dir == nullptr) {
        const gint number = errno;
        if (descriptor != -1)
            close(descriptor);
        errno = number;
        return false;
    }
    const bool is_empty = vel_utils_file_delete_content(dir);
    const gint number = errno;
    closedir(dir);
    errno = number;
    return is_empty && unlinkat(parent, name, AT_REMOVEDIR) == 0;
}

// Behind a separator a link would be followed.
static gchar *vel_utils_file_without_separators(const gchar *path)
{
    gsize length = strlen(path);
    while (length > 1 && path[length - 1] == '/')
        length--;
    return g_strndup(path, length);
}

gboolean vel_utils_delete_directory(const gchar *path, GError **error)
{
    g_autofree gchar *name = vel_utils_file_without_separators(path);
    const bool deleted = vel_utils_file_kind_of(name) == VEL_UTILS_FILE_KIND_FOLDER_LINK
                             ? unlink(name) == 0
                             : vel_utils_file_delete_folder(AT_FDCWD, name);
    if (deleted)
        return TRUE;
    const guint32 number = static_cast<guint32>(errno);
    vel_utils_file_set_system_error(error, G_FILE_ERROR, G_FILE_ERROR_FAILED, number);
    return FALSE;
}
