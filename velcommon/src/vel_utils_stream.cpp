// Opening and moving streams. Windows' own fopen() takes neither UTF-8 nor long paths and locks
// others out of the file, so there the file is opened by its handle, which the C runtime then takes
// over.
#include "vel_utils_stream.h"

#include "vel_utils.h"
#include "vel_utils_stream_internal.h"

#include <cerrno>

#ifdef _WIN32

#include <windows.h>

#include <fcntl.h>
#include <io.h>

// From this length on Windows wants the prefix that switches its own path rules off.
static constexpr DWORD VEL_UTILS_STREAM_LONG_PATH = MAX_PATH;

gint vel_utils_stream_errno(guint32 code)
{
    switch (code) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_FILENAME_EXCED_RANGE:
    case ERROR_DIRECTORY:
    case ERROR_INVALID_DRIVE:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
        return ENOENT;
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
        return EACCES;
    case ERROR_PIPE_BUSY:
        return EINVAL;
    default:
        return EIO;
    }
}

static bool vel_utils_stream_begins(const wchar_t *path, const wchar_t *prefix)
{
    return wcsncmp(path, prefix, wcslen(prefix)) == 0;
}

// Whether an absolute path names a device (NUL, CON, a whole drive, a pipe) rather than something
// in a file system. Not opening those at all is what keeps them from waiting, and a pipe's server
// from noticing.
static bool vel_utils_stream_is_device(const wchar_t *full)
{
    static constexpr wchar_t pipes[] = L"pipe\\";
    if (!vel_utils_stream_begins(full, L"\\\\.\\"))
        return false;
    const wchar_t *const name = full + 4;
    return wcschr(name, L'\\') == nullptr || _wcsnicmp(name, pipes, wcslen(pipes)) == 0;
}

static wchar_t *vel_utils_stream_join(const wchar_t *prefix, const wchar_t *rest)
{
    const size_t size = wcslen(prefix) + wcslen(rest) + 1;
    wchar_t *const joined = g_new(wchar_t, size);
    wcscpy(joined, prefix);
    wcscat(joined, rest);
    return joined;
}

wchar_t *vel_utils_stream_extend(wchar_t *full)
{
    if (vel_utils_stream_begins(full, L"\\\\?\\") || vel_utils_stream_begins(full, L"\\\\.\\"))
        return full;
    g_autofree wchar_t *path = full;
    if (vel_utils_stream_begins(path, L"\\\\"))
        return vel_utils_stream_join(L"\\\\?\\UNC\\", path + 2);
    return vel_utils_stream_join(L"\\\\?\\", path);
}

wchar_t *vel_utils_stream_full_path(const gchar *path)
{
    g_autofree gunichar2 *units = g_utf8_to_utf16(path, -1, nullptr, nullptr, nullptr);
    if (units == nullptr) {
        errno = ENOENT;
        return nullptr;
    }
    return vel_utils_stream_full_path_utf16(reinterpret_cast<const wchar_t *>(units));
}

wchar_t *vel_utils_stream_full_path_utf16(const wchar_t *path)
{
    if (path[0] == 0) {
        errno = ENOENT;
        return nullptr;
    }
    const DWORD size = GetFullPathNameW(path, 0, nullptr, nullptr);
    g_autofree wchar_t *full = g_new0(wchar_t, size + 1);
    const DWORD length = GetFullPathNameW(path, size, full, nullptr);
    if (length == 0 || length >= size) {
        errno = vel_utils_stream_errno(length == 0 ? GetLastError() : ERROR_INVALID_NAME);
        return nullptr;
    }
    return length < VEL_UTILS_STREAM_LONG_PATH ? g_steal_pointer(&full)
                                               : vel_utils_stream_extend(g_steal_pointer(&full));
}

static bool vel_utils_stream_is_folder(const wchar_t *full)
{
    const DWORD attributes = GetFileAttributesW(full);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

static HANDLE vel_utils_stream_open_handle(const wchar_t *full)
{
    if (vel_utils_stream_is_device(full)) {
        errno = EINVAL;
        return INVALID_HANDLE_VALUE;
    }
    // A path on a network may still lead to a pipe: its server must not act in the user's name.
    const HANDLE handle = CreateFileW(
        full, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION,
        nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        const DWORD code = GetLastError();
        errno = vel_utils_stream_is_folder(full) ? EISDIR : vel_utils_stream_errno(code);
        return INVALID_HANDLE_VALUE;
    }
    if (GetFileType(handle) != FILE_TYPE_DISK) {
        CloseHandle(handle);
        errno = EINVAL;
        return INVALID_HANDLE_VALUE;
    }
    return handle;
}

// Null with errno set.
static FILE *vel_utils_stream_open(const gchar *path)
{
    g_autofree wchar_t *full = vel_utils_stream_full_path(path);
    if (full == nullptr)
        return nullptr;
    const HANDLE handle = vel_utils_stream_open_handle(full);
    if (handle == INVALID_HANDLE_VALUE)
        return nullptr;
    const gint descriptor =
        _open_osfhandle(reinterpret_cast<intptr_t>(handle), _O_BINARY | _O_RDONLY | _O_NOINHERIT);
    if (descriptor == -1) {
        CloseHandle(handle);
        errno = EMFILE;
        return nullptr;
    }
    FILE *const file = _fdopen(descriptor, "rb");
    if (file == nullptr) {
        _close(descriptor);
        errno = EMFILE;
    }
    return file;
}

static gint vel_utils_stream_seek(FILE *file, gint64 offset, gint whence)
{
    return _fseeki64(file, offset, whence);
}

gint64 vel_utils_ftell(FILE *file)
{
    return _ftelli64(file);
}

gint64 vel_utils_fsize(FILE *file)
{
    const HANDLE handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file)));
    LARGE_INTEGER size;
    if (GetFileType(handle) != FILE_TYPE_DISK || !GetFileSizeEx(handle, &size))
        return -1;
    return size.QuadPart;
}

#else

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

static_assert(sizeof(off_t) == sizeof(gint64), "positions in files are 64-bit");

// 0 for an ordinary file, otherwise the errno that tells what is wrong with it.
static gint vel_utils_stream_check(gint descriptor)
{
    struct stat status;
    if (fstat(descriptor, &status) != 0)
        return errno;
    if (S_ISDIR(status.st_mode))
        return EISDIR;
    return S_ISREG(status.st_mode) ? 0 : EINVAL;
}

// Null with errno set.
static FILE *vel_utils_stream_open(const gchar *path)
{
    // Without O_NONBLOCK a pipe would wait for its writer. For an ordinary file the flag means
    // nothing.
    const gint descriptor = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor == -1) {
        if (errno == ENXIO) // a socket, or a device without its driver
            errno = EINVAL;
        return nullptr;
    }
    gint number = vel_utils_stream_check(descriptor);
    FILE *const file = number == 0 ? fdopen(descriptor, "rb") : nullptr;
    if (file == nullptr) {
        if (number == 0)
            number = errno;
        close(descriptor);
        errno = number;
    }
    return file;
}

static gint vel_utils_stream_seek(FILE *file, gint64 offset, gint whence)
{
    return fseeko(file, offset, whence);
}

gint64 vel_utils_ftell(FILE *file)
{
    return ftello(file);
}

gint64 vel_utils_fsize(FILE *file)
{
    struct stat status;
    const gint descriptor = fileno(file);
    if (descriptor < 0 || fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))
        return -1;
    return status.st_size;
}

#endif

FILE *vel_utils_fopen_shared(const gchar *path, GError **error)
{
    FILE *const file = vel_utils_stream_open(path);
    if (file == nullptr)
        vel_utils_set_error_from_errno(error);
    return file;
}

gboolean vel_utils_fseek(FILE *file, gint64 offset, gint whence)
{
    if (vel_utils_stream_seek(file, offset, whence) != 0)
        return FALSE;
    // Not every C runtime takes the end-of-file mark away, and a reader that asks feof() would stop
    // too early.
    clearerr(file);
    return TRUE;
}
