// Nothing may be left behind by a run, whatever came of it: handles or descriptors, and threads,
// are counted before and after a thousand of them.
#include "vel_utils_spawn_test_util.h"

#ifdef _WIN32
#include <tlhelp32.h>
#endif

namespace
{

#ifdef _WIN32

// Every number that a handle could have is asked for: not every system counts them itself.
unsigned count_handles()
{
    unsigned n = 0;
    for (uintptr_t number = 4; number < 0x8000; number += 4) {
        DWORD flags;
        n += GetHandleInformation(reinterpret_cast<HANDLE>(number), &flags) != 0;
    }
    return n;
}

unsigned count_threads()
{
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof entry;
    unsigned n = 0;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry))
        n += entry.th32OwnerProcessID == GetCurrentProcessId();
    CloseHandle(snapshot);
    return n;
}

#else

unsigned count_entries(const char *folder)
{
    GDir *const dir = g_dir_open(folder, 0, nullptr);
    unsigned n = 0;
    while (g_dir_read_name(dir) != nullptr)
        n++;
    g_dir_close(dir);
    return n;
}

unsigned count_handles()
{
    return count_entries("/proc/self/fd");
}

unsigned count_threads()
{
    return count_entries("/proc/self/task");
}

#endif

struct VelUtilsSpawnLeak : vel_utils_spawn_fixture {
    unsigned handles = 0;
    unsigned threads = 0;

    void count()
    {
        handles = count_handles();
        threads = count_threads();
        ASSERT_GT(handles, 0U);
        ASSERT_GT(threads, 0U);
    }

    void expect_the_same()
    {
        EXPECT_EQ(count_handles(), handles);
        // A thread that was joined may take a moment to be gone for the system.
        for (int i = 0; i < 200 && count_threads() != threads; i++)
            g_usleep(10000);
        EXPECT_EQ(count_threads(), threads);
    }
};

} // namespace

TEST_F(VelUtilsSpawnLeak, AThousandRunsLeaveNothing)
{
    run({"out=3", "err=2"});
    count();
    for (int i = 0; i < 1000; i++) {
        // With both streams every time, or the thread that reads the second would go untested.
        run({"out=3", "err=2"});
        ASSERT_EQ(output, "abc");
        ASSERT_EQ(errors, "ab");
    }
    expect_the_same();
}

TEST_F(VelUtilsSpawnLeak, AThousandFailuresLeaveNothing)
{
    const std::vector<std::string> missing = {program + ".missing"};
    run({});
    run_argv(missing);
    count();
    for (int i = 0; i < 1000; i++) {
        run_argv(missing);
        ASSERT_FALSE(succeeded);
    }
    expect_the_same();
}

TEST_F(VelUtilsSpawnLeak, EveryOtherKindOfRunLeavesNothing)
{
    const auto run_all_kinds = [this] {
        run({"kill"});
        run({"close", "exit=4"});
        run({"flood=2000000"});
        cwd = program;
        run_argv({program});
        cwd.clear();
        const std::vector<std::string> nothing;
        env = &nothing;
        run({});
        env = nullptr;
        for (const bool both : {false, true}) {
            takes_output = !both;
            takes_error = false;
            flags = static_cast<GSpawnFlags>(G_SPAWN_STDERR_TO_DEV_NULL |
                                             (both ? G_SPAWN_STDOUT_TO_DEV_NULL : 0));
            run({"out=3"});
        }
        takes_output = takes_error = true;
        flags = G_SPAWN_DEFAULT;
    };
    run_all_kinds();
    count();
    for (int i = 0; i < 10; i++)
        run_all_kinds();
    expect_the_same();
}
