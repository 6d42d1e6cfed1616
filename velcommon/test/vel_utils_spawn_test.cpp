// Running programs: what comes out of them in every order and amount, how they end, how they cannot
// be started, where they are found and what they are given.
#include "vel_utils_spawn.h"

#include "vel_death_test.h"
#include "vel_utils_spawn_test_util.h"

#include <glib/gstdio.h>

#include <algorithm>
#include <filesystem>
#include <thread>

#ifndef _WIN32
#include <csignal>
#include <sys/wait.h>
#endif

namespace
{

std::filesystem::path as_path(const std::string &utf8)
{
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

struct VelUtilsSpawn : vel_utils_spawn_fixture {
    void expect_system_error(gint windows_number)
    {
        expect_failure();
#ifdef _WIN32
        gchar *const message = g_win32_error_message(windows_number);
        const std::string prefix = std::string("Error ").append(std::to_string(windows_number));
        EXPECT_EQ(error->message, prefix + ": " + message);
        g_free(message);
#else
        (void) windows_number;
#endif
    }
};

constexpr gint FILE_NOT_FOUND = 2;
constexpr gint DIRECTORY_NAME_INVALID = 267;
constexpr size_t MEGABYTES = 5000000;

} // namespace

TEST_F(VelUtilsSpawn, BothStreamsAreTaken)
{
    run({"out=26", "err=3"});
    EXPECT_EQ(output, "abcdefghijklmnopqrstuvwxyz");
    EXPECT_EQ(errors, "abc");
    EXPECT_EQ(exit_code(), 0);
}

TEST_F(VelUtilsSpawn, AChildThatWritesNothingGivesEmptyStrings)
{
    run({});
    EXPECT_EQ(output, "");
    EXPECT_EQ(errors, "");
    EXPECT_EQ(exit_code(), 0);
}

TEST_F(VelUtilsSpawn, MegabytesOfOutputThenOfErrors)
{
    run({"out=5000000", "err=5000000"});
    expect_letters(MEGABYTES, MEGABYTES);
}

TEST_F(VelUtilsSpawn, MegabytesOfErrorsThenOfOutput)
{
    run({"err=5000000", "out=5000000"});
    expect_letters(MEGABYTES, MEGABYTES);
}

TEST_F(VelUtilsSpawn, MegabytesOfBothInTurns)
{
    run({"flood=9000001"});
    expect_letters(9000001, 9000001);
}

TEST_F(VelUtilsSpawn, MegabytesOfOneAlone)
{
    run({"out=5000000"});
    expect_letters(MEGABYTES, 0);
    run({"err=5000000"});
    expect_letters(0, MEGABYTES);
}

TEST_F(VelUtilsSpawn, SizesAroundThePieceOfTheReader)
{
    for (const size_t n : {size_t{524287}, size_t{524288}, size_t{524289}, size_t{1048576}}) {
        const std::string size = std::to_string(n);
        run({"out=" + size, "err=" + size});
        expect_letters(n, n);
    }
}

TEST_F(VelUtilsSpawn, PiecesThatComeSlowlyAreJoined)
{
    run({"out=3", "sleep=30", "err=2", "sleep=30", "out=4", "sleep=30", "err=1"});
    EXPECT_EQ(output, "abcabcd");
    EXPECT_EQ(errors, "aba");
}

TEST_F(VelUtilsSpawn, WritingNoBytesDoesNotEndAStream)
{
    run({"empty", "out=3", "err=3", "sleep=30", "empty", "sleep=30", "empty", "out=3", "err=3"});
    EXPECT_EQ(output, "abcabc");
    EXPECT_EQ(errors, "abcabc");
}

TEST_F(VelUtilsSpawn, AChildThatClosesItsStreamsEarlyIsWaitedFor)
{
    const gint64 start = g_get_monotonic_time();
    run({"out=3", "err=2", "close", "sleep=300", "exit=5"});
    EXPECT_GE(g_get_monotonic_time() - start, 300000);
    EXPECT_EQ(output, "abc");
    EXPECT_EQ(errors, "ab");
    EXPECT_EQ(exit_code(), 5);
}

TEST_F(VelUtilsSpawn, OnlyOutputMayBeTaken)
{
    takes_error = false;
    set_flags(G_SPAWN_STDERR_TO_DEV_NULL);
    run({"err=5000000", "out=5000000", "err=10"});
    EXPECT_TRUE(output == letters(MEGABYTES));
    EXPECT_EQ(errors, "null");
}

TEST_F(VelUtilsSpawn, OnlyErrorsMayBeTaken)
{
    takes_output = false;
    set_flags(G_SPAWN_STDOUT_TO_DEV_NULL);
    run({"out=5000000", "err=5000000", "out=10"});
    EXPECT_TRUE(errors == letters(MEGABYTES));
    EXPECT_EQ(output, "null");
}

TEST_F(VelUtilsSpawn, NothingNeedsToBeTaken)
{
    takes_output = takes_error = false;
    set_flags(G_SPAWN_STDOUT_TO_DEV_NULL | G_SPAWN_STDERR_TO_DEV_NULL);
    run({"flood=1000000", "exit=9"});
    EXPECT_EQ(exit_code(), 9);
}

TEST_F(VelUtilsSpawn, StatusAndErrorMayBeIgnored)
{
    gchar *argv[] = {const_cast<gchar *>(program.c_str()), nullptr};
    EXPECT_TRUE(vel_utils_spawn_sync(nullptr, argv, nullptr, G_SPAWN_DEFAULT, nullptr, nullptr,
                                     nullptr, nullptr, nullptr, nullptr));
    program += ".missing";
    argv[0] = const_cast<gchar *>(program.c_str());
    EXPECT_FALSE(vel_utils_spawn_sync(nullptr, argv, nullptr, G_SPAWN_DEFAULT, nullptr, nullptr,
                                      nullptr, nullptr, nullptr, nullptr));
}

TEST_F(VelUtilsSpawn, TheExitCodeIsHandedOut)
{
    for (const gint code : {0, 1, 3, 77, 255}) {
        run({std::string("exit=").append(std::to_string(code))});
        EXPECT_EQ(exit_code(), code);
    }
}

TEST_F(VelUtilsSpawn, AChildThatIsKilledIsNoFailure)
{
    run({"out=3", "err=2", "kill", "out=1"});
    EXPECT_EQ(output, "abc");
    EXPECT_EQ(errors, "ab");
#ifdef _WIN32
    EXPECT_EQ(status, 137);
#else
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
#endif
}

TEST_F(VelUtilsSpawn, WhoeverInheritedTheStreamsIsReadToo)
{
    run({"child=out=5", "exit=6"});
    EXPECT_EQ(output, "abcde");
    EXPECT_EQ(exit_code(), 6);
}

TEST_F(VelUtilsSpawn, AMissingProgramIsAnError)
{
    run_argv({program + ".missing", "a"});
    expect_system_error(FILE_NOT_FOUND);
}

TEST_F(VelUtilsSpawn, AMissingProgramThatIsSearchedForIsAnError)
{
    set_flags(G_SPAWN_SEARCH_PATH);
    run_argv({"vel_utils_no_such_program"});
    expect_system_error(FILE_NOT_FOUND);
}

TEST_F(VelUtilsSpawn, AnEmptyProgramIsAnError)
{
    run_argv({""});
    expect_failure();
    set_flags(G_SPAWN_SEARCH_PATH);
    run_argv({"", "a"});
    expect_failure();
}

TEST_F(VelUtilsSpawn, AFolderIsNoProgram)
{
    run_argv({folder});
    expect_failure();
}

TEST_F(VelUtilsSpawn, AMissingWorkingFolderIsAnError)
{
    cwd = program + ".missing";
    run_argv({program});
    expect_system_error(DIRECTORY_NAME_INVALID);
}

namespace
{

// The child under another name in a folder of its own, where no system looks unasked.
struct VelUtilsSpawnSearch : VelUtilsSpawn {
    std::string other_folder;
    std::string other_program;

    VelUtilsSpawnSearch()
    {
        gchar *const made = g_dir_make_tmp("vel utils \xc3\xa4\xe4\xb8\xad XXXXXX", nullptr);
        other_folder = made;
        g_free(made);
        other_program = other_folder;
        other_program.append(G_DIR_SEPARATOR_S "vel_utils_spawn_copy");
#ifdef _WIN32
        other_program += ".exe";
#endif
        gchar *bytes = nullptr;
        gsize n = 0;
        EXPECT_TRUE(g_file_get_contents(program.c_str(), &bytes, &n, nullptr));
        EXPECT_TRUE(
            g_file_set_contents(other_program.c_str(), bytes, static_cast<gssize>(n), nullptr));
        EXPECT_EQ(g_chmod(other_program.c_str(), 0700), 0);
        g_free(bytes);
    }

    ~VelUtilsSpawnSearch() override
    {
        EXPECT_EQ(g_remove(other_program.c_str()), 0);
        EXPECT_EQ(g_rmdir(other_folder.c_str()), 0);
    }

    // The caller's variables with another search path.
    static std::vector<std::string> with_path(const std::string &path)
    {
        gchar **const own = g_get_environ();
        std::vector<std::string> all = {std::string("PATH=").append(path)};
        for (gchar **variable = own; *variable != nullptr; variable++) {
            if (g_ascii_strncasecmp(*variable, "PATH=", 5) != 0)
                all.push_back(*variable);
        }
        g_strfreev(own);
        return all;
    }
};

} // namespace

TEST_F(VelUtilsSpawnSearch, TheSearchPathIsUsedOnlyWhenAsked)
{
    gchar *const before = g_strdup(g_getenv("PATH"));
    const std::string path = other_folder + G_SEARCHPATH_SEPARATOR_S + before;
    g_setenv("PATH", path.c_str(), TRUE);
    run_argv({"vel_utils_spawn_copy", "out=3"});
    expect_failure();
    set_flags(G_SPAWN_SEARCH_PATH);
    run_argv({"vel_utils_spawn_copy", "out=3"});
    EXPECT_EQ(output, "abc");
    g_setenv("PATH", before, TRUE);
    g_free(before);
}

TEST_F(VelUtilsSpawnSearch, TheSearchPathOfTheChildIsUsedWhenAsked)
{
    const std::vector<std::string> own = with_path(other_folder);
    env = &own;
    set_flags(G_SPAWN_SEARCH_PATH);
    run_argv({"vel_utils_spawn_copy", "out=3"});
    expect_failure();
    set_flags(G_SPAWN_SEARCH_PATH_FROM_ENVP);
    run_argv({"vel_utils_spawn_copy", "out=3"});
    EXPECT_EQ(output, "abc");
    set_flags(G_SPAWN_SEARCH_PATH | G_SPAWN_SEARCH_PATH_FROM_ENVP);
    run_argv({"vel_utils_spawn_copy", "out=3"});
    EXPECT_EQ(output, "abc");
}

TEST_F(VelUtilsSpawn, AProgramThatIsFoundIsNotSearchedFor)
{
    set_flags(G_SPAWN_SEARCH_PATH);
    run({"out=3"});
    EXPECT_EQ(output, "abc");
}

TEST_F(VelUtilsSpawn, TheCallersEnvironmentIsInherited)
{
    g_setenv("VEL_UTILS_SPAWN", "\xc3\xa4 \xe4\xb8\xad", TRUE);
    run({"env"});
    g_unsetenv("VEL_UTILS_SPAWN");
    EXPECT_NE(output.find("VEL_UTILS_SPAWN=\xc3\xa4 \xe4\xb8\xad\n"), std::string::npos) << output;
}

TEST_F(VelUtilsSpawn, AnEnvironmentOfItsOwnReplacesTheCallers)
{
    g_setenv("VEL_UTILS_SPAWN", "not for the child", TRUE);
    const std::vector<std::string> own = {"VEL_B=\xd0\x96 \xf0\x9f\x98\x80", "VEL_A1=1", "VEL_A=2",
                                          "vel_c="};
    env = &own;
    run({"env"});
    g_unsetenv("VEL_UTILS_SPAWN");
    EXPECT_EQ(output.find("VEL_UTILS_SPAWN"), std::string::npos);
    for (const std::string &variable : own)
        EXPECT_NE(("\n" + output).find("\n" + variable + "\n"), std::string::npos) << output;
#ifdef _WIN32
    // The system wants it sorted by name, whatever the case.
    EXPECT_LT(output.find("VEL_A=2"), output.find("VEL_A1=1"));
    EXPECT_LT(output.find("VEL_A1=1"), output.find("VEL_B="));
    EXPECT_LT(output.find("VEL_B="), output.find("vel_c="));
#endif
}

TEST_F(VelUtilsSpawn, AnEmptyEnvironmentIsEmpty)
{
    g_setenv("VEL_UTILS_SPAWN", "not for the child", TRUE);
    const std::vector<std::string> own;
    env = &own;
    run({"env"});
    g_unsetenv("VEL_UTILS_SPAWN");
    EXPECT_EQ(output.find("VEL_UTILS_SPAWN"), std::string::npos);
    EXPECT_EQ(output.find("PATH="), std::string::npos);
}

TEST_F(VelUtilsSpawn, TheWorkingFolderIsTheChilds)
{
    gchar *const made = g_dir_make_tmp("vel utils \xc3\xa4\xe4\xb8\xad XXXXXX", nullptr);
    gchar *const before = g_get_current_dir();
    cwd = made;
    run({"cwd"});
    EXPECT_TRUE(std::filesystem::equivalent(as_path(output), as_path(cwd))) << output;
    gchar *const after = g_get_current_dir();
    EXPECT_STREQ(after, before);
    cwd.clear();
    run({"cwd"});
    EXPECT_EQ(output, before);
    EXPECT_EQ(g_rmdir(made), 0);
    g_free(after);
    g_free(before);
    g_free(made);
}

TEST_F(VelUtilsSpawn, FileAndArgvZeroAreTwo)
{
    set_flags(G_SPAWN_FILE_AND_ARGV_ZERO);
    run_argv({program, "vel zeroth", "args", "a b"});
    EXPECT_EQ(output, "[a b]\n");
#ifdef _WIN32
    run_argv({program, "vel zeroth", "line", "exit=0", "args"});
    EXPECT_EQ(output, "\"vel zeroth\" line exit=0 args ");
#endif
}

TEST_F(VelUtilsSpawn, SeveralRunAtOnceWithoutMixingTheirStreams)
{
    std::vector<std::thread> threads;
    for (size_t i = 0; i < 4; i++) {
        threads.emplace_back([i] {
            vel_utils_spawn_runner child;
            for (size_t j = 0; j < 5; j++) {
                const size_t n = 300000 + 1000 * i + j;
                child.run({std::string("out=").append(std::to_string(n)),
                           std::string("err=").append(std::to_string(n + 7))});
                child.expect_letters(n, n + 7);
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
}

TEST_F(VelUtilsSpawn, ASlowChildDoesNotHoldUpAnother)
{
    std::thread slow([this] { run({"sleep=3000", "exit=1"}); });
    vel_utils_spawn_runner quick;
    gint64 longest = 0;
    for (const gint64 start = g_get_monotonic_time(); g_get_monotonic_time() - start < 2000000;) {
        const gint64 before = g_get_monotonic_time();
        quick.run({"out=3"});
        longest = std::max(longest, g_get_monotonic_time() - before);
    }
    slow.join();
    EXPECT_LT(longest, 2000000);
}

#ifdef _WIN32

TEST_F(VelUtilsSpawn, TextsThatAreNoUtf8AreErrors)
{
    run_argv({program, "\xff"});
    expect_system_error(ERROR_NO_UNICODE_TRANSLATION);
    cwd = "\xff";
    run_argv({program});
    expect_system_error(ERROR_NO_UNICODE_TRANSLATION);
    cwd.clear();
    const std::vector<std::string> bad = {"A=\xff"};
    env = &bad;
    run_argv({program});
    expect_system_error(ERROR_NO_UNICODE_TRANSLATION);
    env = nullptr;
    run_argv({"\xff"});
    expect_failure();
}

#endif

TEST(VelUtilsSpawnDeathTest, ThereMustBeAProgram)
{
    gchar *argv[] = {nullptr};
    const auto spawn = [](gchar **arguments, GSpawnFlags flags, gchar **out, gchar **err) {
        vel_utils_spawn_sync(nullptr, arguments, nullptr, flags, nullptr, nullptr, out, err,
                             nullptr, nullptr);
    };
    VEL_EXPECT_FATAL(spawn(nullptr, G_SPAWN_DEFAULT, nullptr, nullptr),
                     "'argv' should not be NULL");
    VEL_EXPECT_FATAL(spawn(argv, G_SPAWN_DEFAULT, nullptr, nullptr), "argv[0] != NULL");
    gchar name[] = "program";
    gchar *taken = nullptr;
    gchar *arguments[] = {name, nullptr};
    VEL_EXPECT_FATAL(spawn(arguments, G_SPAWN_DO_NOT_REAP_CHILD, nullptr, nullptr),
                     "(flags & G_SPAWN_DO_NOT_REAP_CHILD) == 0");
    VEL_EXPECT_FATAL(spawn(arguments, G_SPAWN_STDOUT_TO_DEV_NULL, &taken, nullptr),
                     "standard_output == NULL || (flags & G_SPAWN_STDOUT_TO_DEV_NULL) == 0");
    VEL_EXPECT_FATAL(spawn(arguments, G_SPAWN_STDERR_TO_DEV_NULL, nullptr, &taken),
                     "standard_error == NULL || (flags & G_SPAWN_STDERR_TO_DEV_NULL) == 0");
}
