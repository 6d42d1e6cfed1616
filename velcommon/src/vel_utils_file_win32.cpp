// Files and folders by Win32. Every path is given to the system in the form that has no limit of
// 260 units; no folder that is a link is ever listed.
#include "vel_utils_file.h"

#include "vel_utils.h"
#include "vel_utils_file_internal.h"
#include "vel_utils_stream_internal.h"
#include "vel_utils_string.h"

#include <gio/gio.h>

#include <cerrno>
#include <cwchar>

// GetFileTime() counts 100 nanoseconds from 1601 on.
static constexpr guint64 VEL_UTILS_FILE_TICKS_PER_SECOND = 10000000;
static constexpr gint32 VEL_UTILS_FILE_NANOSECONDS_PER_TICK = 100;
static constexpr gint64 VEL_UTILS_FILE_SECONDS_TO_1970 = 11644473600;

static GMutex vel_utils_windows_dir_mutex;
static gchar *vel_utils_windows_dir; // Guarded by the mutex until it is set, then constant.

void vel_utils_file_set_system_error(GError **error, GQuark domain, gint code, guint32 number)
{
    if (number == 0)
        return;
    g_autofree gchar *message = g_win32_error_message(static_cast<gint>(number));
    g_set_error(error, domain, code, "Error %u: %s", number, message);
}

void vel_utils_file_set_last_error(GError **error, GQuark domain, gint code)
{
    vel_utils_file_set_system_error(error, domain, code, static_cast<guint32>(GetLastError()));
}

static const gunichar2 *vel_utils_file_to_utf16(const wchar_t *str)
{
    return reinterpret_cast<const gunichar2 *>(str);
}

// Only a drive ends with a separator of its own.
static wchar_t *vel_utils_file_join(const wchar_t *folder, const wchar_t *name)
{
    const size_t length = wcslen(folder);
    const bool is_drive = length > 0 && folder[length - 1] == L'\\';
    return reinterpret_cast<wchar_t *>(vel_utils_wcsconcat(
        vel_utils_file_to_utf16(folder), vel_utils_file_to_utf16(is_drive ? L"" : L"\\"),
        vel_utils_file_to_utf16(name), nullptr));
}

// Takes an absolute path over and gives it the prefix for paths of any length. Short ones get it
// too: what is appended while walking a tree may make them long, and folders have a lower limit.
// Null stays null, with GetLastError() telling that the name is none.
static wchar_t *vel_utils_file_extend(wchar_t *full)
{
    if (full != nullptr)
        return vel_utils_stream_extend(full);
    SetLastError(ERROR_INVALID_NAME);
    return nullptr;
}

wchar_t *vel_utils_file_extended_path(const gchar *path)
{
    return vel_utils_file_extend(vel_utils_stream_full_path(path));
}

// Without separators at the end: behind the prefix the system takes them for empty names. Only a
// drive keeps its own.
static wchar_t *vel_utils_file_extend_folder(wchar_t *full)
{
    wchar_t *const path = vel_utils_file_extend(full);
    size_t length = path != nullptr ? wcslen(path) : 0;
    while (length > 1 && path[length - 1] == L'\\' && path[length - 2] != L':')
        path[--length] = 0;
    return path;
}

wchar_t *vel_utils_file_extended_folder(const gchar *path)
{
    return vel_utils_file_extend_folder(vel_utils_stream_full_path(path));
}

vel_utils_file_kind vel_utils_file_kind_from_attributes(DWORD attributes, DWORD tag)
{
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
        return VEL_UTILS_FILE_KIND_FILE;
    // Other reparse points, such as folders kept on a server, hold their content themselves.
    const bool is_link = (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
                         (tag == 0 || IsReparseTagNameSurrogate(tag));
    return is_link ? VEL_UTILS_FILE_KIND_FOLDER_LINK : VEL_UTILS_FILE_KIND_FOLDER;
}

static vel_utils_file_kind vel_utils_file_kind_of_folder(const wchar_t *path)
{
    const DWORD attributes = GetFileAttributesW(path);
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return VEL_UTILS_FILE_KIND_FILE;
    WIN32_FIND_DATAW entry = {};
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        const HANDLE listing = FindFirstFileW(path, &entry);
        if (listing != INVALID_HANDLE_VALUE)
            FindClose(listing);
    }
    return vel_utils_file_kind_from_attributes(attributes, entry.dwReserved0);
}

vel_utils_file_kind vel_utils_file_kind_of(const gchar *path)
{
    g_autofree wchar_t *folder = vel_utils_file_extended_folder(path);
    return folder != nullptr ? vel_utils_file_kind_of_folder(folder) : VEL_UTILS_FILE_KIND_FILE;
}

static bool vel_utils_file_is_dots(const wchar_t *name)
{
    return wcscmp(name, L".") == 0 || wcscmp(name, L"..") == 0;
}

// 0 or a number of the system's.
static DWORD vel_utils_file_add_names(GPtrArray *names, const wchar_t *pattern)
{
    WIN32_FIND_DATAW entry;
    const HANDLE listing = FindFirstFileW(pattern, &entry);
    if (listing == INVALID_HANDLE_VALUE)
        return GetLastError();
    DWORD number = 0;
    do {
        if (vel_utils_file_is_dots(entry.cFileName))
            continue;
        const gunichar2 *const name = vel_utils_file_to_utf16(entry.cFileName);
        gchar *const utf8 = g_utf16_to_utf8(name, -1, nullptr, nullptr, nullptr);
        if (utf8 == nullptr)
            number = ERROR_NO_UNICODE_TRANSLATION;
        else
            g_ptr_array_add(names, utf8);
    } while (number == 0 && FindNextFileW(listing, &entry));
    if (number == 0 && GetLastError() != ERROR_NO_MORE_FILES)
        number = GetLastError();
    FindClose(listing);
    return number;
}

static DWORD vel_utils_file_try_list(GPtrArray *names, const gchar *folder)
{
    g_autofree wchar_t *path = vel_utils_file_extended_folder(folder);
    const DWORD attributes = path != nullptr ? GetFileAttributesW(path) : INVALID_FILE_ATTRIBUTES;
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return GetLastError();
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
        return ERROR_DIRECTORY;
    g_autofree wchar_t *pattern = vel_utils_file_join(path, L"*");
    return vel_utils_file_add_names(names, pattern);
}

GPtrArray *vel_utils_file_list(const gchar *folder, GError **error)
{
    g_autoptr(GPtrArray) names = g_ptr_array_new_with_free_func(g_free);
    const DWORD number = vel_utils_file_try_list(names, folder);
    if (number == 0)
        return g_steal_pointer(&names);
    // Only here is it told from a missing folder that there is a file in its place.
    errno = number == ERROR_DIRECTORY ? ENOTDIR : vel_utils_stream_errno(number);
    vel_utils_set_error_from_errno(error);
    return nullptr;
}

gboolean vel_utils_file_make_folder(const gchar *path, GError **error)
{
    g_autofree wchar_t *extended = vel_utils_file_extended_path(path);
    g_autofree gchar *utf8 =
        extended == nullptr
            ? g_strdup(path)
            : g_utf16_to_utf8(vel_utils_file_to_utf16(extended), -1, nullptr, nullptr, nullptr);
    return vel_utils_mkdir_with_parents(utf8, error);
}

vel_utils_timespec vel_utils_file_time_from_windows(guint64 ticks)
{
    const gint64 seconds = static_cast<gint64>(ticks / VEL_UTILS_FILE_TICKS_PER_SECOND);
    const gint32 rest = static_cast<gint32>(ticks % VEL_UTILS_FILE_TICKS_PER_SECOND);
    return {seconds - VEL_UTILS_FILE_SECONDS_TO_1970, rest * VEL_UTILS_FILE_NANOSECONDS_PER_TICK};
}

static HANDLE vel_utils_file_open_to_read(const gchar *path, GError **error)
{
    g_autofree wchar_t *extended = vel_utils_file_extended_path(path);
    if (extended != nullptr) {
        const HANDLE file = CreateFileW(extended, GENERIC_READ, FILE_SHARE_READ, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (file != INVALID_HANDLE_VALUE)
            return file;
    }
    const DWORD number = GetLastError();
    const gint code = number == ERROR_FILE_NOT_FOUND ? G_FILE_ERROR_NOENT : G_FILE_ERROR_FAILED;
    g_autofree gchar *message = g_win32_error_message(static_cast<gint>(number));
    g_set_error_literal(error, G_FILE_ERROR, code, message);
    return INVALID_HANDLE_VALUE;
}

gboolean vel_utils_file_last_write(const gchar *path, vel_utils_timespec *time, GError **error)
{
    const HANDLE file = vel_utils_file_open_to_read(path, error);
    if (file == INVALID_HANDLE_VALUE)
        return FALSE;
    FILETIME written;
    const BOOL is_known = GetFileTime(file, nullptr, nullptr, &written);
    if (is_known)
        *time = vel_utils_file_time_from_windows(guint64{written.dwHighDateTime} << 32 |
                                                 written.dwLowDateTime);
    else
        vel_utils_file_set_last_error(error, G_IO_ERROR, 0);
    CloseHandle(file);
    return is_known;
}

gboolean vel_utils_file_copy(const gchar *source, const gchar *target, GError **error)
{
    g_autofree wchar_t *from = vel_utils_file_extended_path(source);
    g_autofree wchar_t *to = from != nullptr ? vel_utils_file_extended_path(target) : nullptr;
    if (to != nullptr && CopyFileW(from, to, FALSE))
        return TRUE;
    vel_utils_file_set_last_error(error, G_IO_ERROR, 0);
    return FALSE;
}

// The answer of a call that deletes something; an error when it says no.
static bool vel_utils_file_check_deleted(BOOL is_deleted, GError **error)
{
    if (!is_deleted)
        vel_utils_file_set_last_error(error, G_FILE_ERROR, G_FILE_ERROR_FAILED);
    return is_deleted;
}

static bool vel_utils_file_delete_tree(const wchar_t *path, GError **error);

static bool vel_utils_file_delete_entry(const wchar_t *folder, const WIN32_FIND_DATAW *entry,
                                        GError **error)
{
    g_autofree wchar_t *path = vel_utils_file_join(folder, entry->cFileName);
    switch (vel_utils_file_kind_from_attributes(entry->dwFileAttributes, entry->dwReserved0)) {
    case VEL_UTILS_FILE_KIND_FOLDER:
        return vel_utils_file_delete_tree(path, error);
    case VEL_UTILS_FILE_KIND_FOLDER_LINK:
        return vel_utils_file_check_deleted(RemoveDirectoryW(path), error);
    case VEL_UTILS_FILE_KIND_FILE:
        break;
    }
    return vel_utils_file_check_deleted(DeleteFileW(path), error);
}

static bool vel_utils_file_delete_content(const wchar_t *path, GError **error)
{
    g_autofree wchar_t *pattern = vel_utils_file_join(path, L"*");
    // Not on the stack, since there is one for every level of the tree.
    g_autofree WIN32_FIND_DATAW *entry = g_new(WIN32_FIND_DATAW, 1);
    const HANDLE listing = FindFirstFileW(pattern, entry);
    if (listing == INVALID_HANDLE_VALUE)
        return vel_utils_file_check_deleted(FALSE, error);
    bool is_deleted = true;
    do {
        if (!vel_utils_file_is_dots(entry->cFileName))
            is_deleted = vel_utils_file_delete_entry(path, entry, error);
    } while (is_deleted && FindNextFileW(listing, entry));
    if (is_deleted)
        is_deleted = vel_utils_file_check_deleted(GetLastError() == ERROR_NO_MORE_FILES, error);
    FindClose(listing);
    return is_deleted;
}

static bool vel_utils_file_delete_tree(const wchar_t *path, GError **error)
{
    return vel_utils_file_delete_content(path, error) &&
           vel_utils_file_check_deleted(RemoveDirectoryW(path), error);
}

gboolean vel_utils_win32_delete_directory(const gunichar2 *path, GError **error)
{
    g_autofree wchar_t *folder = vel_utils_file_extend_folder(
        vel_utils_stream_full_path_utf16(reinterpret_cast<const wchar_t *>(path)));
    if (folder == nullptr)
        return vel_utils_file_check_deleted(FALSE, error);
    if (vel_utils_file_kind_of_folder(folder) == VEL_UTILS_FILE_KIND_FOLDER_LINK)
        return vel_utils_file_check_deleted(RemoveDirectoryW(folder), error);
    return vel_utils_file_delete_tree(folder, error);
}

gboolean vel_utils_delete_directory(const gchar *path, GError **error)
{
    g_autofree gunichar2 *units = g_utf8_to_utf16(path, -1, nullptr, nullptr, nullptr);
    if (units != nullptr)
        return vel_utils_win32_delete_directory(units, error);
    SetLastError(ERROR_INVALID_NAME);
    return vel_utils_file_check_deleted(FALSE, error);
}

gchar *vel_utils_file_ask_windows_dir(UINT(WINAPI *get)(wchar_t *, UINT))
{
    UINT room = MAX_PATH;
    for (;;) {
        g_autofree wchar_t *path = g_new(wchar_t, room);
        const UINT size = get(path, room);
        if (size == 0)
            g_error("GetWindowsDirectory call failed");
        // The length when it fits, otherwise the room it wants.
        if (size < room)
            return g_utf16_to_utf8(vel_utils_file_to_utf16(path), -1, nullptr, nullptr, nullptr);
        room = size > room ? size : room + 1;
    }
}

const gchar *vel_utils_win32_get_windows_dir(void)
{
    g_mutex_lock(&vel_utils_windows_dir_mutex);
    if (vel_utils_windows_dir == nullptr)
        vel_utils_windows_dir = vel_utils_file_ask_windows_dir(GetWindowsDirectoryW);
    g_mutex_unlock(&vel_utils_windows_dir_mutex);
    return vel_utils_windows_dir;
}
