// See vel_test_watchdog.h. The alarm's handler has every thread print its own stack by sending it a
// signal. A thread that hangs may hold any lock, that of the allocator too, so the handlers use
// nothing but system calls and backtrace(), whose library is loaded beforehand.
#include "vel_test_watchdog.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <execinfo.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

/// What sigaction() is in the C library. The thread sanitizer has one of its own, which holds a
/// signal back while a thread waits for a lock of GLib.
extern "C" int __sigaction(int signal, const struct sigaction *action, struct sigaction *before);

namespace
{

constexpr int MOST_FRAMES = 64;
constexpr int THREAD_PATIENCE_MS = 2000;
constexpr size_t LISTING_BYTES = 4096;

/// What getdents64() fills.
struct directory_entry {
    unsigned long long inode;
    long long offset;
    unsigned short length;
    unsigned char type;
    char name[1]; ///< Zero-terminated; so long as it is.
};

std::atomic<int> printed;

void print(const char *text)
{
    [[maybe_unused]] const auto written = write(STDERR_FILENO, text, strlen(text));
}

void print_own_stack(int)
{
    const int saved = errno;
    char name[17] = "";
    prctl(PR_GET_NAME, name);
    print("\nThread \"");
    print(name);
    print("\":\n");
    void *frames[MOST_FRAMES];
    backtrace_symbols_fd(frames, backtrace(frames, MOST_FRAMES), STDERR_FILENO);
    printed.fetch_add(1);
    errno = saved;
}

void print_stack_of(pid_t thread)
{
    if (thread == gettid()) {
        print_own_stack(0);
        return;
    }
    const int before = printed.load();
    if (syscall(SYS_tgkill, getpid(), thread, SIGUSR2) != 0)
        return;
    const timespec pause = {0, 1000000};
    for (int ms = 0; ms < THREAD_PATIENCE_MS && printed.load() == before; ms++)
        nanosleep(&pause, nullptr);
}

void print_all_stacks()
{
    const int folder = open("/proc/self/task", O_RDONLY | O_DIRECTORY);
    alignas(directory_entry) char listing[LISTING_BYTES];
    long bytes = 0;
    while ((bytes = syscall(SYS_getdents64, folder, listing, sizeof listing)) > 0) {
        for (long at = 0; at < bytes;) {
            const auto *const entry = reinterpret_cast<const directory_entry *>(listing + at);
            const int thread = atoi(static_cast<const char *>(entry->name));
            if (thread != 0)
                print_stack_of(thread);
            at += entry->length;
        }
    }
    close(folder);
}

void on_alarm(int)
{
    print("\nWatchdog: the test hangs\n");
    print_all_stacks();
    _exit(VEL_TEST_WATCHDOG_STATUS);
}

} // namespace

void vel_test_watchdog_start(unsigned seconds)
{
    void *frame = nullptr;
    backtrace(&frame, 1);
    struct sigaction action = {};
    action.sa_handler = print_own_stack;
    __sigaction(SIGUSR2, &action, nullptr);
    action.sa_handler = on_alarm;
    __sigaction(SIGALRM, &action, nullptr);
    alarm(seconds);
}

void vel_test_watchdog_stop()
{
    alarm(0);
}
