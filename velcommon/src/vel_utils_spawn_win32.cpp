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
    vel_utils_spawn_handle process;    // Null until it is started.
    DWORD number;                      // The system's error that keeps it from running; 0 for none.
};

// Keeps the system's error, at once, since even freeing memory may change it.
static bool vel_utils_spawn_fail(vel_utils_spawn_start *start)
{
    start->number = GetLastError();
    return false;
}

static vel_utils_spawn_handle vel_utils_spawn_own(HANDLE handle)
{
    return vel_utils_spawn_handle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

static vel_utils_spawn_text vel_utils_spawn_utf16(const gchar *str)
{
    gunichar2 *const units = g_utf8_to_utf16(str, -1, nullptr, nullptr, nullptr);
    return vel_utils_spawn_text(reinterpret_cast<wchar_t *>(units));
}

// False with the error in start for what is no UTF-8.
static bool vel_utils_spawn_set_text(vel_utils_spawn_start *start, vel_utils_spawn_text *text,
                                     const gchar *str)
{
    *text = vel_utils_spawn_utf16(str);
    if (*text == nullptr)
        start->number = ERROR_NO_UNICODE_TRANSLATION;
    return *text != nullptr;
}

static bool vel_utils_spawn_is_file(const wchar_t *path)
{
    const DWORD attributes = GetFileAttributesW(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

// Looks for the program in folders; null for those in which the system looks.
static bool vel_utils_spawn_search(vel_utils_spawn_start *start, const wchar_t *folders,
                                   const wchar_t *name)
{
    DWORD room = MAX_PATH;
    for (;;) {
        start->program.reset(g_new(wchar_t, room));
        const DWORD size = SearchPathW(folders, name, L".exe", room, start->program.get(), nullptr);
        if (size == 0)
            return vel_utils_spawn_fail(start);
        if (size < room)
            return true;
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

static bool vel_utils_spawn_set_program(vel_utils_spawn_start *start, const gchar *program,
                                        gchar **envp, GSpawnFlags flags)
{
    start->program.reset(vel_utils_stream_full_path(program));
    if (start->program == nullptr) {
        start->number = ERROR_INVALID_NAME;
        return false;
    }
    const bool is_searched = (flags & (G_SPAWN_SEARCH_PATH | G_SPAWN_SEARCH_PATH_FROM_ENVP)) != 0;
    if (!is_searched || vel_utils_spawn_is_file(start->program.get()))
        return true;
    const vel_utils_spawn_text name = vel_utils_spawn_utf16(program);
    const vel_utils_spawn_text folders = vel_utils_spawn_folders(envp, flags);
    return vel_utils_spawn_search(start, folders.get(), name.get());
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

// Every variable with a zero behind it, and one more zero.
static bool vel_utils_spawn_set_environment(vel_utils_spawn_start *start, gchar **envp)
{
    static constexpr wchar_t zeros[2] = {0, 0};
    g_autoptr(GPtrArray) sorted = g_ptr_array_new();
    for (; *envp != nullptr; envp++)
        g_ptr_array_add(sorted, *envp);
    g_ptr_array_sort(sorted, vel_utils_spawn_compare_variables);
    g_autoptr(GArray) block = g_array_new(FALSE, FALSE, sizeof(wchar_t));
    for (guint i = 0; i < sorted->len; i++) {
        vel_utils_spawn_text variable;
        const gchar *const str = static_cast<const gchar *>(g_ptr_array_index(sorted, i));
        if (!vel_utils_spawn_set_text(start, &variable, str))
            return false;
        g_array_append_vals(block, variable.get(), static_cast<guint>(wcslen(variable.get()) + 1));
    }
    // An empty environment has two zeros as well.
    g_array_append_vals(block, zeros, sorted->len == 0 ? 2 : 1);
    start->environment.reset(reinterpret_cast<wchar_t *>(
        g_array_free(static_cast<GArray *>(g_steal_pointer(&block)), FALSE)));
    return true;
}

// Turns all texts into what the system takes. False with the error in start, as all that follow.
static bool vel_utils_spawn_set_texts(vel_utils_spawn_start *start, const gchar *working_directory,
                                      gchar **argv, gchar **envp, GSpawnFlags flags)
{
    gchar **const first = (flags & G_SPAWN_FILE_AND_ARGV_ZERO) != 0 ? argv + 1 : argv;
    g_autofree gchar *line = vel_utils_spawn_command_line(first);
    if (!vel_utils_spawn_set_text(start, &start->line, line))
        return false;
    if (working_directory != nullptr &&
        !vel_utils_spawn_set_text(start, &start->folder, working_directory))
        return false;
    if (envp != nullptr && !vel_utils_spawn_set_environment(start, envp))
        return false;
    return vel_utils_spawn_set_program(start, argv[0], envp, flags);
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

static bool vel_utils_spawn_make_named_pipe(vel_utils_spawn_start *start,
                                            vel_utils_spawn_handle *reader,
                                            vel_utils_spawn_handle *writer)
{
    const vel_utils_spawn_text name = vel_utils_spawn_pipe_name();
    // The first of its name, so that the child cannot be made to write to somebody else's.
    *reader = vel_utils_spawn_own(CreateNamedPipeW(
        name.get(), PIPE_ACCESS_INBOUND | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
        PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, 1, VEL_UTILS_SPAWN_OUTPUT_BUFFER,
        VEL_UTILS_SPAWN_PIECE, VEL_UTILS_SPAWN_PIPE_TIMEOUT_MS, nullptr));
    if (*reader == nullptr)
        return vel_utils_spawn_fail(start);
    SECURITY_ATTRIBUTES inheritable = vel_utils_spawn_inheritable();
    *writer = vel_utils_spawn_own(CreateFileW(name.get(), GENERIC_WRITE, 0, &inheritable,
                                              OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (*writer == nullptr || !SetHandleInformation(reader->get(), HANDLE_FLAG_INHERIT, 0))
        return vel_utils_spawn_fail(start);
    return true;
}

static bool vel_utils_spawn_make_pipe(vel_utils_spawn_start *start, vel_utils_spawn_handle *reader,
                                      vel_utils_spawn_handle *writer)
{
    SECURITY_ATTRIBUTES inheritable = vel_utils_spawn_inheritable();
    HANDLE ends[2];
    if (!CreatePipe(&ends[0], &ends[1], &inheritable, VEL_UTILS_SPAWN_PIECE))
        return vel_utils_spawn_fail(start);
    reader->reset(ends[0]);
    writer->reset(ends[1]);
    return SetHandleInformation(reader->get(), HANDLE_FLAG_INHERIT, 0) ||
           vel_utils_spawn_fail(start);
}

static bool vel_utils_spawn_set_null(vel_utils_spawn_start *start, vel_utils_spawn_handle *stream,
                                     DWORD access)
{
    SECURITY_ATTRIBUTES inheritable = vel_utils_spawn_inheritable();
    *stream = vel_utils_spawn_own(CreateFileW(L"NUL", access, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                              &inheritable, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                                              nullptr));
    return *stream != nullptr || vel_utils_spawn_fail(start);
}

// A copy of one of the caller's own streams that a child can inherit; null when the caller has no
// such stream, as most programs with windows have none.
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
    return start->streams[0] != nullptr ||
           vel_utils_spawn_set_null(start, &start->streams[0], GENERIC_READ);
}

// What the child has as output or error: a pipe, the null device, or the caller's.
static bool vel_utils_spawn_set_output(vel_utils_spawn_start *start, vel_utils_spawn_handle *stream,
                                       vel_utils_spawn_capture *capture, bool is_named,
                                       bool is_null, DWORD own)
{
    if (capture->result != nullptr)
        return is_named ? vel_utils_spawn_make_named_pipe(start, &capture->reader, stream)
                        : vel_utils_spawn_make_pipe(start, &capture->reader, stream);
    if (is_null)
        return vel_utils_spawn_set_null(start, stream, GENERIC_WRITE);
    *stream = vel_utils_spawn_copy_own(own);
    return true;
}

// The first stream that is taken gets the named pipe, the other one the anonymous.
static bool vel_utils_spawn_set_streams(vel_utils_spawn_start *start,
                                        vel_utils_spawn_capture *captures, GSpawnFlags flags)
{
    return vel_utils_spawn_set_input(start, flags) &&
           vel_utils_spawn_set_output(start, &start->streams[1], &captures[0], true,
                                      (flags & G_SPAWN_STDOUT_TO_DEV_NULL) != 0,
                                      STD_OUTPUT_HANDLE) &&
           vel_utils_spawn_set_output(start, &start->streams[2], &captures[1],
                                      captures[0].result == nullptr,
                                      (flags & G_SPAWN_STDERR_TO_DEV_NULL) != 0, STD_ERROR_HANDLE);
}

// attributes: null for a child that gets every handle that can be inherited.
static bool vel_utils_spawn_create(vel_utils_spawn_start *start,
                                   LPPROC_THREAD_ATTRIBUTE_LIST attributes)
{
    STARTUPINFOEXW info = {};
    info.StartupInfo.cb = sizeof info;
    info.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    info.StartupInfo.hStdInput = start->streams[0].get();
    info.StartupInfo.hStdOutput = start->streams[1].get();
    info.StartupInfo.hStdError = start->streams[2].get();
    info.lpAttributeList = attributes;
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(start->program.get(), start->line.get(), nullptr, nullptr, TRUE,
                        CREATE_NO_WINDOW | CREATE_UNICODE_ENVIRONMENT |
                            EXTENDED_STARTUPINFO_PRESENT,
                        start->environment.get(), start->folder.get(), &info.StartupInfo, &process))
        return vel_utils_spawn_fail(start);
    CloseHandle(process.hThread);
    start->process.reset(process.hProcess);
    return true;
}

// Starts the child with its three streams as the only handles it inherits.
static bool vel_utils_spawn_create_alone(vel_utils_spawn_start *start)
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
        return vel_utils_spawn_fail(start);
    const bool is_set = UpdateProcThreadAttribute(attributes, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST,
                                                  handles, n * sizeof(HANDLE), nullptr, nullptr) ||
                        vel_utils_spawn_fail(start);
    const bool is_started = is_set && vel_utils_spawn_create(start, attributes);
    DeleteProcThreadAttributeList(attributes);
    return is_started;
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

// Runs the child to its end while its streams are read.
// thread: the one that reads the second stream, which ends here; null when none does
static bool vel_utils_spawn_run(vel_utils_spawn_start *start, vel_utils_spawn_capture *own,
                                GThread *thread, DWORD *exit_code)
{
    const bool is_started = start->inherits_all ? vel_utils_spawn_create(start, nullptr)
                                                : vel_utils_spawn_create_alone(start);
    // From here on only the child, if there is one, holds the pipes open.
    for (vel_utils_spawn_handle &stream : start->streams)
        stream.reset();
    if (own->reader != nullptr)
        vel_utils_spawn_read(own);
    if (thread != nullptr)
        g_thread_join(thread);
    if (!is_started)
        return false;
    return (WaitForSingleObject(start->process.get(), INFINITE) == WAIT_OBJECT_0 &&
            GetExitCodeProcess(start->process.get(), exit_code)) ||
           vel_utils_spawn_fail(start);
}

// As vel_utils_spawn_run(), with a thread when both streams are taken.
static bool vel_utils_spawn_run_captured(vel_utils_spawn_start *start,
                                         vel_utils_spawn_capture *captures, DWORD *exit_code)
{
    GThread *thread = nullptr;
    vel_utils_spawn_capture *const own = &captures[captures[0].result != nullptr ? 0 : 1];
    if (captures[0].result != nullptr && captures[1].result != nullptr) {
        // Before the child is started: without a reader it must not run.
        thread = g_thread_try_new("Child's errors", vel_utils_spawn_read, &captures[1], nullptr);
        if (thread == nullptr) {
            start->number = ERROR_TOO_MANY_TCBS;
            return false;
        }
    }
    if (!vel_utils_spawn_run(start, own, thread, exit_code))
        return false;
    start->number = captures[0].number != 0 ? captures[0].number : captures[1].number;
    return start->number == 0;
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
    vel_utils_spawn_start start = {};
    start.inherits_all = (flags & G_SPAWN_LEAVE_DESCRIPTORS_OPEN) != 0;
    DWORD exit_code = 0;
    const bool succeeded =
        vel_utils_spawn_set_texts(&start, working_directory, argv, envp, flags) &&
        vel_utils_spawn_set_streams(&start, captures, flags) &&
        vel_utils_spawn_run_captured(&start, captures, &exit_code);
    vel_utils_spawn_hand_out(&captures[0], succeeded);
    vel_utils_spawn_hand_out(&captures[1], succeeded);
    if (!succeeded)
        vel_utils_file_set_system_error(error, G_SPAWN_ERROR, G_SPAWN_ERROR_FAILED,
                                        static_cast<guint32>(start.number));
    else if (exit_status != nullptr)
        *exit_status = static_cast<gint>(exit_code);
    return succeeded;
}
