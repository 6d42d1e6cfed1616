// Running programs by Win32. The calling thread reads one of the child's streams and, when both are
// wanted, a thread of its own the other one, so that the child never waits for a reader. The child
// gets its three streams and no other handle: a second child that is started meanwhile must not
// hold the first one's pipes open.
#include "vel_utils_spawn.h"

#include "vel_utils_file_internal.h"
#include "vel_utils_spawn_internal.h"
#include "vel_utils_stream_internal.h"

#include <windows.h>

#include <cstring>
#include <cwchar>
#include <memory>
#include <utility>

static constexpr DWORD VEL_UTILS_SPAWN_PIECE = 524288;
static constexpr DWORD VEL_UTILS_SPAWN_OUTPUT_BUFFER = 128;
static constexpr DWORD VEL_UTILS_SPAWN_PIPE_TIMEOUT_MS = 1000;

static GMutex vel_utils_spawn_mutex;
static gint32 vel_utils_spawn_n_pipes; // Guarded by the mutex.

struct vel_utils_spawn_closer {
    void operator()(HANDLE handle) const
    {
        CloseHandle(handle);
    }
};

struct vel_utils_spawn_freer {
    void operator()(wchar_t *text) const
    {
        g_free(text);
    }
};

// Null when there is none, never INVALID_HANDLE_VALUE.
using vel_utils_spawn_handle = std::unique_ptr<void, vel_utils_spawn_closer>;
using vel_utils_spawn_text = std::unique_ptr<wchar_t[], vel_utils_spawn_freer>;

// One stream of the child that is taken. While a thread reads it, the thread's alone.
struct vel_utils_spawn_capture {
    gchar **result;                // Where the caller wants it; null when it is not taken.
    vel_utils_spawn_handle reader; // Our end of the pipe.
    GString *bytes;                // What was read. Owned.
    DWORD number;                  // The system's error that ended the reading; 0 for none.
};

// What a child is started with.
struct vel_utils_spawn_start {
    vel_utils_spawn_text program;      // Its file.
    vel_utils_spawn_text line;         // Its command line.
    vel_utils_spawn_text folder;       // Null for the caller's.
    vel_utils_spawn_text environment;  // Null for the caller's.
    vel_utils_spawn_handle streams[3]; // Input, output and error as the child gets them.
    bool inherits_all;                 // Whether the child gets every handle that can be inherited.
};

static vel_utils_spawn_handle vel_utils_spawn_own(HANDLE handle)
{
    return vel_utils_spawn_handle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

// Null with GetLastError() set for what is no UTF-8.
static vel_utils_spawn_text vel_utils_spawn_utf16(const gchar *str)
{
    gunichar2 *const units = g_utf8_to_utf16(str, -1, nullptr, nullptr, nullptr);
    if (units == nullptr)
        SetLastError(ERROR_NO_UNICODE_TRANSLATION);
    return vel_utils_spawn_text(reinterpret_cast<wchar_t *>(units));
}

static bool vel_utils_spawn_is_file(const wchar_t *path)
{
    const DWORD attributes = GetFileAttributesW(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

// Null with GetLastError() set when the program is nowhere.
// folders: null for those in which the system looks.
static vel_utils_spawn_text vel_utils_spawn_search(const wchar_t *folders, const wchar_t *program)
{
    DWORD room = MAX_PATH;
    for (;;) {
        vel_utils_spawn_text path(g_new(wchar_t, room));
        const DWORD size = SearchPathW(folders, program, L".exe", room, path.get(), nullptr);
        if (size == 0)
            return nullptr;
        if (size < room)
            return path;
        room = size + 1;
    }
}

// The folders of the child's own environment, when they are to be searched.
static vel_utils_spawn_text vel_utils_spawn_folders(gchar **envp, GSpawnFlags flags)
{
    const gchar *const path =
        (flags & G_SPAWN_SEARCH_PATH_FROM_ENVP) != 0 ? g_environ_getenv(envp, "PATH") : nullptr;
    return path != nullptr ? vel_utils_spawn_utf16(path) : nullptr;
}

// Null with GetLastError() set.
static vel_utils_spawn_text vel_utils_spawn_find(const gchar *program, gchar **envp,
                                                 GSpawnFlags flags)
{
    vel_utils_spawn_text full(vel_utils_stream_full_path(program));
    if (full == nullptr) {
        SetLastError(ERROR_INVALID_NAME);
        return nullptr;
    }
    const bool is_searched = (flags & (G_SPAWN_SEARCH_PATH | G_SPAWN_SEARCH_PATH_FROM_ENVP)) != 0;
    if (!is_searched || vel_utils_spawn_is_file(full.get()))
        return full;
    const vel_utils_spawn_text name = vel_utils_spawn_utf16(program);
    const vel_utils_spawn_text folders = vel_utils_spawn_folders(envp, flags);
    return vel_utils_spawn_search(folders.get(), name.get());
}

// By name, as the system wants an environment sorted.
static gint vel_utils_spawn_compare_variables(gconstpointer a, gconstpointer b)
{
    const gchar *const a_text = *static_cast<const gchar *const *>(a);
    const gchar *const b_text = *static_cast<const gchar *const *>(b);
    const gsize a_length = strcspn(a_text, "=");
    const gsize b_length = strcspn(b_text, "=");
    const gint order = g_ascii_strncasecmp(a_text, b_text, MIN(a_length, b_length));
    return order != 0 ? order : gint{a_length > b_length} - gint{a_length < b_length};
}

// Every variable with a zero behind it, and one more zero. Null with GetLastError() set.
static vel_utils_spawn_text vel_utils_spawn_environment(gchar **envp)
{
    g_autoptr(GPtrArray) sorted = g_ptr_array_new();
    for (; *envp != nullptr; envp++)
        g_ptr_array_add(sorted, *envp);
    g_ptr_array_sort(sorted, vel_utils_spawn_compare_variables);
    g_autoptr(GArray) block = g_array_new(FALSE, FALSE, sizeof(wchar_t));
    static constexpr wchar_t zeros[2] = {0, 0};
    for (guint i = 0; i < sorted->len; i++) {
        const vel_utils_spawn_text variable =
            vel_utils_spawn_utf16(static_cast<const gchar *>(g_ptr_array_index(sorted, i)));
        if (variable == nullptr)
            return nullptr;
        const size_t length = wcslen(variable.get());
        g_array_append_vals(block, variable.get(), static_cast<guint>(length + 1));
    }
    // An empty environment has two zeros as well.
    g_array_append_vals(block, zeros, sorted->len == 0 ? 2 : 1);
    return vel_utils_spawn_text(reinterpret_cast<wchar_t *>(
        g_array_free(static_cast<GArray *>(g_steal_pointer(&block)), FALSE)));
}

// Turns all texts into what the system takes. False with GetLastError() set, as below.
static bool vel_utils_spawn_set_texts(vel_utils_spawn_start *start, const gchar *working_directory,
                                      gchar **argv, gchar **envp, GSpawnFlags flags)
{
    gchar **const first = (flags & G_SPAWN_FILE_AND_ARGV_ZERO) != 0 ? argv + 1 : argv;
    g_autofree gchar *line = vel_utils_spawn_command_line(first);
    start->line = vel_utils_spawn_utf16(line);
    if (start->line == nullptr)
        return false;
    if (working_directory != nullptr) {
        start->folder = vel_utils_spawn_utf16(working_directory);
        if (start->folder == nullptr)
            return false;
    }
    if (envp != nullptr) {
        start->environment = vel_utils_spawn_environment(envp);
        if (start->environment == nullptr)
            return false;
    }
    start->program = vel_utils_spawn_find(argv[0], envp, flags);
    return start->program != nullptr;
}

static SECURITY_ATTRIBUTES vel_utils_spawn_inheritable(void)
{
    return {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
}

static vel_utils_spawn_text vel_utils_spawn_pipe_name(void)
{
    g_mutex_lock(&vel_utils_spawn_mutex);
    const gint32 number = vel_utils_spawn_n_pipes;
    vel_utils_spawn_n_pipes = number < G_MAXINT32 ? number + 1 : 0;
    g_mutex_unlock(&vel_utils_spawn_mutex);
    const gint32 process = static_cast<gint32>(GetCurrentProcessId());
    g_autofree gchar *name = g_strdup_printf(
        "\\\\.\\Pipe\\vel_spawn_sync.%" G_GINT32_FORMAT ".%" G_GINT32_FORMAT, process, number);
    return vel_utils_spawn_utf16(name);
}

static bool vel_utils_spawn_make_named_pipe(vel_utils_spawn_handle *reader,
                                            vel_utils_spawn_handle *writer)
{
    const vel_utils_spawn_text name = vel_utils_spawn_pipe_name();
    // The first of its name, so that the child cannot be made to write to somebody else's.
    *reader = vel_utils_spawn_own(CreateNamedPipeW(
        name.get(), PIPE_ACCESS_INBOUND | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
        PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, 1, VEL_UTILS_SPAWN_OUTPUT_BUFFER,
        VEL_UTILS_SPAWN_PIECE, VEL_UTILS_SPAWN_PIPE_TIMEOUT_MS, nullptr));
    if (*reader == nullptr)
        return false;
    SECURITY_ATTRIBUTES inheritable = vel_utils_spawn_inheritable();
    *writer = vel_utils_spawn_own(CreateFileW(name.get(), GENERIC_WRITE, 0, &inheritable,
                                              OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    return *writer != nullptr && SetHandleInformation(reader->get(), HANDLE_FLAG_INHERIT, 0);
}

static bool vel_utils_spawn_make_pipe(vel_utils_spawn_handle *reader,
                                      vel_utils_spawn_handle *writer)
{
    SECURITY_ATTRIBUTES inheritable = vel_utils_spawn_inheritable();
    HANDLE ends[2];
    if (!CreatePipe(&ends[0], &ends[1], &inheritable, VEL_UTILS_SPAWN_PIECE))
        return false;
    reader->reset(ends[0]);
    writer->reset(ends[1]);
    return SetHandleInformation(reader->get(), HANDLE_FLAG_INHERIT, 0);
}

static vel_utils_spawn_handle vel_utils_spawn_open_null(DWORD access)
{
    SECURITY_ATTRIBUTES inheritable = vel_utils_spawn_inheritable();
    return vel_utils_spawn_own(CreateFileW(L"NUL", access, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                           &inheritable, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                                           nullptr));
}

// A copy of a stream of the caller's that a child can inherit; null when he has none, as programs
// with windows do.
static vel_utils_spawn_handle vel_utils_spawn_copy_own(DWORD stream)
{
    const HANDLE process = GetCurrentProcess();
    const HANDLE own = GetStdHandle(stream);
    HANDLE copy = nullptr;
    if (own == nullptr || own == INVALID_HANDLE_VALUE ||
        !DuplicateHandle(process, own, process, &copy, 0, TRUE, DUPLICATE_SAME_ACCESS))
        return nullptr;
    return vel_utils_spawn_own(copy);
}

static bool vel_utils_spawn_set_input(vel_utils_spawn_start *start, GSpawnFlags flags)
{
    if ((flags & G_SPAWN_CHILD_INHERITS_STDIN) != 0)
        start->streams[0] = vel_utils_spawn_copy_own(STD_INPUT_HANDLE);
    if (start->streams[0] == nullptr)
        start->streams[0] = vel_utils_spawn_open_null(GENERIC_READ);
    return start->streams[0] != nullptr;
}

// What the child has as output or error: the null device, the caller's, or a pipe.
static bool vel_utils_spawn_set_output(vel_utils_spawn_handle *stream, bool is_null, DWORD own,
                                       vel_utils_spawn_capture *capture, bool is_named)
{
    if (capture->result != nullptr)
        return is_named ? vel_utils_spawn_make_named_pipe(&capture->reader, stream)
                        : vel_utils_spawn_make_pipe(&capture->reader, stream);
    *stream = is_null ? vel_utils_spawn_open_null(GENERIC_WRITE) : vel_utils_spawn_copy_own(own);
    return *stream != nullptr || !is_null;
}

// The first stream that is taken gets the named pipe, the other one the anonymous.
static bool vel_utils_spawn_set_streams(vel_utils_spawn_start *start,
                                        vel_utils_spawn_capture *captures, GSpawnFlags flags)
{
    return vel_utils_spawn_set_input(start, flags) &&
           vel_utils_spawn_set_output(&start->streams[1], (flags & G_SPAWN_STDOUT_TO_DEV_NULL) != 0,
                                      STD_OUTPUT_HANDLE, &captures[0], true) &&
           vel_utils_spawn_set_output(&start->streams[2], (flags & G_SPAWN_STDERR_TO_DEV_NULL) != 0,
                                      STD_ERROR_HANDLE, &captures[1],
                                      captures[0].result == nullptr);
}

// The process; null with GetLastError() set.
// attributes: null for a child that gets every handle that can be inherited.
static vel_utils_spawn_handle vel_utils_spawn_create(const vel_utils_spawn_start *start,
                                                     LPPROC_THREAD_ATTRIBUTE_LIST attributes)
{
    STARTUPINFOEXW info = {};
    info.StartupInfo.cb = sizeof info;
    info.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    info.StartupInfo.hStdInput = start->streams[0].get();
    info.StartupInfo.hStdOutput = start->streams[1].get();
    info.StartupInfo.hStdError = start->streams[2].get();
    info.lpAttributeList = attributes;
    PROCESS_INFORMATION process;
    if (!CreateProcessW(start->program.get(), start->line.get(), nullptr, nullptr, TRUE,
                        CREATE_NO_WINDOW | CREATE_UNICODE_ENVIRONMENT |
                            EXTENDED_STARTUPINFO_PRESENT,
                        start->environment.get(), start->folder.get(), &info.StartupInfo, &process))
        return nullptr;
    CloseHandle(process.hThread);
    return vel_utils_spawn_own(process.hProcess);
}

// Starts the child with its three streams as the only handles it inherits.
static vel_utils_spawn_handle vel_utils_spawn_create_alone(const vel_utils_spawn_start *start)
{
    HANDLE handles[G_N_ELEMENTS(start->streams)];
    gsize n = 0;
    for (const vel_utils_spawn_handle &stream : start->streams) {
        if (stream != nullptr)
            handles[n++] = stream.get();
    }
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    g_autofree guint8 *memory = g_new(guint8, size);
    const auto attributes = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory);
    if (!InitializeProcThreadAttributeList(attributes, 1, 0, &size))
        return nullptr;
    vel_utils_spawn_handle process;
    if (UpdateProcThreadAttribute(attributes, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles,
                                  n * sizeof(HANDLE), nullptr, nullptr))
        process = vel_utils_spawn_create(start, attributes);
    const DWORD number = GetLastError();
    DeleteProcThreadAttributeList(attributes);
    SetLastError(number);
    return process;
}

// Reads a piece. False at the end of the stream, with GetLastError() telling why.
// Only the named pipe answers later; the other one waits in ReadFile() itself.
static bool vel_utils_spawn_read_piece(HANDLE pipe, HANDLE event, guint8 *piece, DWORD *n)
{
    OVERLAPPED overlapped = {};
    overlapped.hEvent = event;
    if (!ReadFile(pipe, piece, VEL_UTILS_SPAWN_PIECE, nullptr, &overlapped) &&
        GetLastError() != ERROR_IO_PENDING)
        return false;
    return GetOverlappedResult(pipe, &overlapped, n, TRUE);
}

// Reads a stream to its end and closes it, also when that fails, so that the child does not wait
// for a reader.
static gpointer vel_utils_spawn_read(gpointer data)
{
    vel_utils_spawn_capture *const capture = static_cast<vel_utils_spawn_capture *>(data);
    const vel_utils_spawn_handle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    g_autofree guint8 *piece = g_new(guint8, VEL_UTILS_SPAWN_PIECE);
    DWORD n;
    // A child that writes nothing at all is told by a piece of no bytes, which is not the end.
    while (event != nullptr &&
           vel_utils_spawn_read_piece(capture->reader.get(), event.get(), piece, &n))
        g_string_append_len(capture->bytes, reinterpret_cast<const gchar *>(piece),
                            static_cast<gssize>(n));
    const DWORD number = GetLastError();
    capture->number = number == ERROR_BROKEN_PIPE || number == ERROR_HANDLE_EOF ? 0 : number;
    capture->reader.reset();
    return nullptr;
}

// Runs the child to its end while its streams are read. False with the system's error in *number.
// thread: the one that reads the second stream; null when none does. Ends here.
static bool vel_utils_spawn_run(vel_utils_spawn_start *start, vel_utils_spawn_capture *own,
                                GThread *thread, DWORD *exit_code, DWORD *number)
{
    const vel_utils_spawn_handle process = start->inherits_all
                                               ? vel_utils_spawn_create(start, nullptr)
                                               : vel_utils_spawn_create_alone(start);
    *number = process == nullptr ? GetLastError() : 0;
    // From here on only the child, if there is one, holds the pipes open.
    for (vel_utils_spawn_handle &stream : start->streams)
        stream.reset();
    if (own->reader != nullptr)
        vel_utils_spawn_read(own);
    if (thread != nullptr)
        g_thread_join(thread);
    if (process == nullptr)
        return false;
    if (WaitForSingleObject(process.get(), INFINITE) == WAIT_OBJECT_0 &&
        GetExitCodeProcess(process.get(), exit_code))
        return true;
    *number = GetLastError();
    return false;
}

// As vel_utils_spawn_run(), with a thread of its own when both streams are taken.
static bool vel_utils_spawn_run_captured(vel_utils_spawn_start *start,
                                         vel_utils_spawn_capture *captures, DWORD *exit_code,
                                         DWORD *number)
{
    GThread *thread = nullptr;
    vel_utils_spawn_capture *const own = &captures[captures[0].result != nullptr ? 0 : 1];
    if (captures[0].result != nullptr && captures[1].result != nullptr) {
        // Before the child is started: without a reader it must not run.
        thread = g_thread_try_new("Child's errors", vel_utils_spawn_read, &captures[1], nullptr);
        if (thread == nullptr) {
            *number = ERROR_TOO_MANY_TCBS;
            return false;
        }
    }
    if (!vel_utils_spawn_run(start, own, thread, exit_code, number))
        return false;
    *number = captures[0].number != 0 ? captures[0].number : captures[1].number;
    return *number == 0;
}

static bool vel_utils_spawn_prepare_and_run(const gchar *working_directory, gchar **argv,
                                            gchar **envp, GSpawnFlags flags,
                                            vel_utils_spawn_capture *captures, DWORD *exit_code,
                                            DWORD *number)
{
    vel_utils_spawn_start start = {};
    start.inherits_all = (flags & G_SPAWN_LEAVE_DESCRIPTORS_OPEN) != 0;
    if (vel_utils_spawn_set_texts(&start, working_directory, argv, envp, flags) &&
        vel_utils_spawn_set_streams(&start, captures, flags))
        return vel_utils_spawn_run_captured(&start, captures, exit_code, number);
    *number = GetLastError();
    return false;
}

// Hands what was read to the caller, or null when the call failed.
static void vel_utils_spawn_hand_out(vel_utils_spawn_capture *capture, bool succeeded)
{
    gchar *const text = g_string_free(capture->bytes, !succeeded);
    if (capture->result != nullptr)
        *capture->result = text;
    else
        g_free(text);
}

gboolean vel_utils_spawn_sync(const gchar *working_directory, gchar **argv, gchar **envp,
                              GSpawnFlags flags, GSpawnChildSetupFunc, gpointer,
                              gchar **standard_output, gchar **standard_error, gint *exit_status,
                              GError **error)
{
    vel_utils_spawn_check(argv, flags, standard_output, standard_error);
    vel_utils_spawn_capture captures[2] = {{standard_output, nullptr, g_string_new(nullptr), 0},
                                           {standard_error, nullptr, g_string_new(nullptr), 0}};
    DWORD exit_code = 0;
    DWORD number = 0;
    const bool succeeded = vel_utils_spawn_prepare_and_run(working_directory, argv, envp, flags,
                                                           captures, &exit_code, &number);
    vel_utils_spawn_hand_out(&captures[0], succeeded);
    vel_utils_spawn_hand_out(&captures[1], succeeded);
    if (!succeeded)
        vel_utils_file_set_system_error(error, G_SPAWN_ERROR, G_SPAWN_ERROR_FAILED,
                                        static_cast<guint32>(number));
    else if (exit_status != nullptr)
        *exit_status = static_cast<gint>(exit_code);
    return succeeded;
}
