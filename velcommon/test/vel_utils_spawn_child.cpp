// The program that the tests of running programs run. Does what its arguments say, one after the
// other; without any it ends at once. It shares no code with what is tested and needs no library,
// so that a thousand of it start quickly.
//   args ...   writes all further arguments in brackets, one to a line
//   line       writes its whole command line (Windows)
//   pipe       writes what the system tells about the pipe that is its output: name, buffer sizes,
//              number of instances, default time-out in milliseconds (Windows)
//   pipes      writes how many handles of pipes it has (Windows)
//   env        writes its environment, one variable to a line
//   cwd        writes its working folder
//   out=N err=N  writes N bytes to one of its streams, the letters "abc...z" over and over
//   flood=N    writes N bytes to each stream, in pieces of growing size, in turns
//   empty      writes no bytes at all, but does write
//   close      closes both streams
//   stdin      copies its input to its output
//   sleep=N    waits for N milliseconds
//   holds=N    tells whether it has a handle or descriptor of that number
//   child=N    starts itself with N as argument, and goes on without waiting for it
//   exit=N     ends with that exit code
//   kill       is killed
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#ifdef _WIN32
#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <process.h>
#else
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

extern char **environ;
#endif

#ifdef _WIN32
static std::string child_utf8(const wchar_t *text)
{
    const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, utf8.data(), size, nullptr, nullptr);
    utf8.pop_back();
    return utf8;
}
#endif

static void child_write(int stream, const std::string &text)
{
    for (size_t n = 0; n < text.size();) {
#ifdef _WIN32
        const int written = _write(stream, text.data() + n, static_cast<unsigned>(text.size() - n));
#else
        const ssize_t written = write(stream, text.data() + n, text.size() - n);
#endif
        if (written <= 0)
            exit(99);
        n += static_cast<size_t>(written);
    }
}

static std::string child_letters(size_t n)
{
    std::string letters(n, '\0');
    for (size_t i = 0; i < n; i++)
        letters[i] = static_cast<char>('a' + i % 26);
    return letters;
}

static void child_flood(size_t n)
{
    const std::string all = child_letters(n);
    size_t done[3] = {0, 0, 0};
    for (size_t piece = 1; done[1] < n || done[2] < n; piece = piece * 3 + 1) {
        for (const int stream : {2, 1}) {
            const size_t size = std::min(piece % 700001, n - done[stream]);
            child_write(stream, all.substr(done[stream], size));
            done[stream] += size;
        }
    }
}

#ifdef _WIN32

static void child_show_pipe()
{
    struct {
        FILE_NAME_INFO info;
        wchar_t rest[1000];
    } name = {};
    const HANDLE pipe = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD out = 0;
    DWORD in = 0;
    DWORD instances = 0;
    if (!GetFileInformationByHandleEx(pipe, FileNameInfo, &name, sizeof name - 2) ||
        !GetNamedPipeInfo(pipe, nullptr, &out, &in, &instances))
        exit(99);
    // Nobody listens, so that this lasts as long as the pipe's maker had in mind.
    const uint64_t start = GetTickCount64();
    const std::wstring path = std::wstring(L"\\\\.\\pipe") + name.info.FileName;
    if (WaitNamedPipeW(path.c_str(), NMPWAIT_USE_DEFAULT_WAIT) ||
        GetLastError() != ERROR_SEM_TIMEOUT)
        exit(99);
    const uint64_t waited = GetTickCount64() - start;
    child_write(1, child_utf8(name.info.FileName) + " " + std::to_string(out) + " " +
                       std::to_string(in) + " " + std::to_string(instances) + " " +
                       std::to_string(waited));
}

static void child_count_pipes()
{
    unsigned n = 0;
    for (uintptr_t number = 4; number < 0x1000; number += 4)
        n += GetFileType(reinterpret_cast<HANDLE>(number)) == FILE_TYPE_PIPE;
    child_write(1, std::to_string(n));
}

#endif

static void child_copy_input()
{
    char bytes[4096];
    for (;;) {
#ifdef _WIN32
        const int n = _read(0, bytes, sizeof bytes);
#else
        const ssize_t n = read(0, bytes, sizeof bytes);
#endif
        if (n <= 0)
            return;
        child_write(1, std::string(bytes, static_cast<size_t>(n)));
    }
}

static void child_show_environment()
{
#ifdef _WIN32
    for (const wchar_t *variable = GetEnvironmentStringsW(); *variable != 0;
         variable += wcslen(variable) + 1)
        child_write(1, child_utf8(variable) + "\n");
#else
    for (char **variable = environ; *variable != nullptr; variable++)
        child_write(1, std::string(*variable) + "\n");
#endif
}

static void child_show_folder()
{
#ifdef _WIN32
    wchar_t folder[4096];
    if (GetCurrentDirectoryW(4096, folder) == 0)
        exit(99);
    child_write(1, child_utf8(folder));
#else
    char folder[4096];
    if (getcwd(folder, sizeof folder) == nullptr)
        exit(99);
    child_write(1, folder);
#endif
}

static void child_write_nothing()
{
#ifdef _WIN32
    DWORD n;
    for (const DWORD stream : {STD_OUTPUT_HANDLE, STD_ERROR_HANDLE})
        WriteFile(GetStdHandle(stream), "", 0, &n, nullptr);
#else
    for (const int stream : {1, 2}) {
        if (write(stream, "", 0) != 0)
            exit(99);
    }
#endif
}

static void child_close()
{
#ifdef _WIN32
    for (const int stream : {1, 2})
        _close(stream);
#else
    for (const int stream : {1, 2})
        close(stream);
#endif
}

static bool child_holds(uint64_t handle)
{
#ifdef _WIN32
    DWORD flags;
    return GetHandleInformation(reinterpret_cast<HANDLE>(static_cast<uintptr_t>(handle)), &flags);
#else
    return fcntl(static_cast<int>(handle), F_GETFD) != -1;
#endif
}

static void child_start_another(const char *self, const char *argument)
{
#ifdef _WIN32
    // Its own path may hold blanks, which would tear the command line apart.
    if (_spawnl(_P_NOWAIT, self, "child", argument, nullptr) == -1)
        exit(98);
#else
    const pid_t pid = fork();
    if (pid == 0)
        execl(self, self, argument, nullptr);
    if (pid <= 0)
        exit(98);
#endif
}

static void child_sleep(uint64_t milliseconds)
{
#ifdef _WIN32
    Sleep(static_cast<DWORD>(milliseconds));
#else
    usleep(static_cast<useconds_t>(milliseconds * 1000));
#endif
}

static void child_kill_itself()
{
#ifdef _WIN32
    TerminateProcess(GetCurrentProcess(), 137);
#else
    raise(SIGKILL);
#endif
}

// What an argument does that has a value.
static void child_do_with_value(const char *self, const std::string &name, const char *value)
{
    const uint64_t n = strtoull(value, nullptr, 10);
    if (name == "out")
        child_write(1, child_letters(n));
    else if (name == "err")
        child_write(2, child_letters(n));
    else if (name == "flood")
        child_flood(n);
    else if (name == "sleep")
        child_sleep(n);
    else if (name == "holds")
        child_write(1, child_holds(n) ? "yes" : "no");
    else if (name == "child")
        child_start_another(self, value);
    else if (name == "exit")
        exit(static_cast<int>(n));
    else
        exit(97);
}

static void child_do(const std::string &name)
{
    if (name == "env")
        child_show_environment();
    else if (name == "cwd")
        child_show_folder();
    else if (name == "empty")
        child_write_nothing();
    else if (name == "close")
        child_close();
    else if (name == "stdin")
        child_copy_input();
    else if (name == "kill")
        child_kill_itself();
#ifdef _WIN32
    else if (name == "line")
        child_write(1, child_utf8(GetCommandLineW()));
    else if (name == "pipe")
        child_show_pipe();
    else if (name == "pipes")
        child_count_pipes();
#endif
    else
        exit(97);
}

static int child_run(const std::vector<std::string> &arguments)
{
    for (size_t i = 1; i < arguments.size(); i++) {
        const std::string &argument = arguments[i];
        const size_t equals = argument.find('=');
        if (argument == "args") {
            while (++i < arguments.size())
                child_write(1, "[" + arguments[i] + "]\n");
        } else if (equals == std::string::npos) {
            child_do(argument);
        } else {
            child_do_with_value(arguments[0].c_str(), argument.substr(0, equals),
                                argument.c_str() + equals + 1);
        }
    }
    return 0;
}

#ifdef _WIN32

extern "C" int wmain(int argc, wchar_t **argv)
{
    for (const int stream : {0, 1, 2})
        _setmode(stream, _O_BINARY);
    std::vector<std::string> arguments;
    for (int i = 0; i < argc; i++)
        arguments.push_back(child_utf8(argv[i]));
    return child_run(arguments);
}

#else

int main(int argc, char **argv)
{
    return child_run(std::vector<std::string>(argv, argv + argc));
}

#endif
