// What a child inherits of its caller: streams, the folder, handles, and only those that it should.
#include "vel_utils_spawn_test_util.h"

#include <glib/gstdio.h>

#include <cstdio>

#ifndef _WIN32
#include <fcntl.h>
#include <unistd.h>
#endif

using VelUtilsSpawnInherit = vel_utils_spawn_fixture;

namespace
{

bool setup_was_called_here = false;

void setup(gpointer user_data)
{
    setup_was_called_here = true;
    if (g_chdir(static_cast<const char *>(user_data)) != 0)
        g_abort();
}

// One of the caller's own streams is a file for as long as this lives.
struct redirection {
    gchar *path = nullptr;
    int stream;
#ifdef _WIN32
    HANDLE before;
    HANDLE file;

    DWORD id() const
    {
        return stream == 0 ? STD_INPUT_HANDLE : stream == 1 ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE;
    }
#else
    int before;
#endif

    redirection(int of_stream, const char *content) : stream(of_stream)
    {
        close_descriptor(g_file_open_tmp("vel-XXXXXX", &path, nullptr));
        g_file_set_contents(path, content, -1, nullptr);
#ifdef _WIN32
        gunichar2 *const wide = g_utf8_to_utf16(path, -1, nullptr, nullptr, nullptr);
        before = GetStdHandle(id());
        file = CreateFileW(reinterpret_cast<wchar_t *>(wide), GENERIC_READ | GENERIC_WRITE, 7,
                           nullptr, OPEN_EXISTING, 0, nullptr);
        g_free(wide);
        SetStdHandle(id(), file);
#else
        fflush(nullptr);
        before = dup(stream);
        const int file = open(path, O_RDWR | O_CLOEXEC);
        dup2(file, stream);
        close(file);
#endif
    }

    ~redirection()
    {
#ifdef _WIN32
        SetStdHandle(id(), before);
        CloseHandle(file);
#else
        dup2(before, stream);
        close(before);
#endif
        g_unlink(path);
        g_free(path);
    }

    static void close_descriptor(int descriptor)
    {
        g_close(descriptor, nullptr);
    }

    std::string content() const
    {
        gchar *bytes = nullptr;
        g_file_get_contents(path, &bytes, nullptr, nullptr);
        return vel_utils_spawn_fixture::taken(bytes);
    }
};

} // namespace

TEST_F(VelUtilsSpawnInherit, TheSetUpFunctionIsTheChilds)
{
    gchar *argv[] = {const_cast<gchar *>(program.c_str()), const_cast<gchar *>("cwd"), nullptr};
    gchar *out = nullptr;
    gchar *const root = g_strdup(G_DIR_SEPARATOR_S);
    EXPECT_TRUE(vel_utils_spawn_sync(nullptr, argv, nullptr, G_SPAWN_DEFAULT, setup, root, &out,
                                     nullptr, nullptr, nullptr));
    g_free(root);
    EXPECT_FALSE(setup_was_called_here);
#ifdef _WIN32
    EXPECT_NE(taken(out), ""); // And in the child there is no place for it.
#else
    EXPECT_EQ(taken(out), "/");
#endif
}

TEST_F(VelUtilsSpawnInherit, TheInputIsEmptyUnlessItIsInherited)
{
    const redirection input(0, "from the caller");
    run({"stdin", "out=1"});
    EXPECT_EQ(output, "a");
    set_flags(G_SPAWN_CHILD_INHERITS_STDIN);
    run({"stdin", "out=1"});
    EXPECT_EQ(output, "from the callera");
}

TEST_F(VelUtilsSpawnInherit, AStreamThatIsNotTakenIsTheCallers)
{
    takes_output = takes_error = false;
    std::string seen_output;
    std::string seen_errors;
    {
        const redirection out(1, "");
        const redirection err(2, "");
        run({"out=3", "err=2"});
        seen_output = out.content();
        seen_errors = err.content();
    }
    EXPECT_EQ(seen_output, "abc");
    EXPECT_EQ(seen_errors, "ab");
}

TEST_F(VelUtilsSpawnInherit, AStreamForTheNullDeviceIsNotTheCallers)
{
    takes_output = takes_error = false;
    set_flags(G_SPAWN_STDOUT_TO_DEV_NULL | G_SPAWN_STDERR_TO_DEV_NULL);
    std::string seen;
    {
        const redirection out(1, "");
        const redirection err(2, "");
        run({"out=3", "err=2"});
        seen = out.content() + err.content();
    }
    EXPECT_EQ(seen, "");
}

#ifdef _WIN32

namespace
{

// The pipe that is the child's output, as the child sees it.
struct pipe_seen {
    unsigned process = 0;
    int number = 0;
    unsigned out = 0;
    unsigned in = 0;
    unsigned instances = 0;
    unsigned timeout_ms = 0;
};

pipe_seen run_to_see_pipe(VelUtilsSpawnInherit *test)
{
    pipe_seen seen;
    test->run({"pipe"});
    EXPECT_EQ(sscanf(test->output.c_str(), "\\vel_spawn_sync.%u.%d %u %u %u %u", &seen.process,
                     &seen.number, &seen.out, &seen.in, &seen.instances, &seen.timeout_ms),
              6)
        << test->output;
    return seen;
}

} // namespace

TEST_F(VelUtilsSpawnInherit, TheNamedPipeHasItsNameAndSizes)
{
    const pipe_seen seen = run_to_see_pipe(this);
    EXPECT_EQ(seen.process, GetCurrentProcessId());
    EXPECT_EQ(seen.out, 128U);
    EXPECT_EQ(seen.in, 524288U);
    EXPECT_EQ(seen.instances, 1U);
    EXPECT_GE(seen.timeout_ms, 900U);
    EXPECT_LT(seen.timeout_ms, 10000U);
    EXPECT_EQ(run_to_see_pipe(this).number, seen.number + 1);
}

// A child that held the reading end too would never be told that nobody reads any more.
TEST_F(VelUtilsSpawnInherit, TheReadingEndsOfThePipesAreNotInherited)
{
    set_flags(G_SPAWN_LEAVE_DESCRIPTORS_OPEN | G_SPAWN_STDERR_TO_DEV_NULL);
    takes_error = false;
    run({"pipes"});
    const int with_one = std::stoi(output);
    set_flags(G_SPAWN_LEAVE_DESCRIPTORS_OPEN);
    takes_error = true;
    run({"pipes"});
    EXPECT_EQ(std::stoi(output), with_one + 1);
}

#endif

TEST_F(VelUtilsSpawnInherit, OtherHandlesAreInheritedOnlyWhenAsked)
{
#ifdef _WIN32
    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    // A number that no handle of the child's own has by chance.
    std::vector<HANDLE> handles(500);
    for (HANDLE &handle : handles)
        handle = CreateEventW(&inheritable, TRUE, FALSE, nullptr);
    const std::string number = std::to_string(reinterpret_cast<uintptr_t>(handles.back()));
#else
    const int handle = fcntl(1, F_DUPFD, 200);
    const std::string number = std::to_string(handle);
#endif
    run({"holds=" + number});
    EXPECT_EQ(output, "no");
    set_flags(G_SPAWN_LEAVE_DESCRIPTORS_OPEN);
    run({"holds=" + number});
    EXPECT_EQ(output, "yes");
#ifdef _WIN32
    for (const HANDLE handle : handles)
        CloseHandle(handle);
#else
    close(handle);
#endif
}
