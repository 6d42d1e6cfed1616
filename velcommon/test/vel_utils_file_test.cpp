// Ages and copies of files: every answer and every error, under long names and names in other
// scripts.
#include "vel_utils_file.h"

#include "vel_utils_file_internal.h"
#include "vel_utils_file_test_util.h"

#include <gio/gio.h>

#include <cerrno>
#include <csignal>

#ifndef _WIN32
#include <sys/resource.h>
#endif

namespace
{

constexpr gint64 SECOND = 10000000;

#ifdef _WIN32
constexpr gint MISSING_FOLDER = ERROR_PATH_NOT_FOUND;
constexpr gint MISSING_FILE = ERROR_FILE_NOT_FOUND;
#else
constexpr gint MISSING_FOLDER = ENOENT;
constexpr gint MISSING_FILE = ENOENT;
#endif

struct VelUtilsFileUpToDate : vel_utils_file_fixture {
    bool up_to_date(const std::string &source, const std::string &target)
    {
        return vel_utils_file_up_to_date(path(source).c_str(), path(target).c_str(), &error);
    }

    void expect_times(gint64 source, gint64 target, bool is_current)
    {
        make_file("source");
        make_file("target");
        set_time("source", source);
        set_time("target", target);
        EXPECT_EQ(up_to_date("source", "target"), is_current) << source << " " << target;
        EXPECT_EQ(error, nullptr);
    }

    void expect_cannot_open(const std::string &name, gint number)
    {
        make_file("readable");
        EXPECT_FALSE(up_to_date(name, "readable"));
        expect_error(G_FILE_ERROR, G_FILE_ERROR_FAILED, system_message(number));
        EXPECT_FALSE(up_to_date("readable", name));
        expect_error(G_FILE_ERROR, G_FILE_ERROR_FAILED, system_message(number));
    }
};

struct VelUtilsFileCopy : vel_utils_file_fixture {
    bool copy(const std::string &source, const std::string &target)
    {
        return vel_utils_file_copy(path(source).c_str(), path(target).c_str(), &error);
    }

    void expect_copy(const std::string &source, const std::string &target)
    {
        EXPECT_TRUE(copy(source, target));
        ASSERT_EQ(error, nullptr) << error->message;
        EXPECT_EQ(content(target), content(source));
    }

    void expect_failure(const std::string &source, const std::string &target, gint number)
    {
        EXPECT_FALSE(copy(source, target));
        expect_error(G_IO_ERROR, 0, system_error(number));
    }
};

gint32 compare_times(gint64 a_seconds, gint32 a_nanoseconds, gint64 b_seconds, gint32 b_nanoseconds)
{
    const vel_utils_timespec a = {a_seconds, a_nanoseconds};
    const vel_utils_timespec b = {b_seconds, b_nanoseconds};
    return vel_utils_timespec_cmp(&a, &b);
}

} // namespace

TEST(VelUtilsTimespecCmp, SecondsComeFirst)
{
    EXPECT_EQ(compare_times(1, 999999999, 2, 0), -1);
    EXPECT_EQ(compare_times(2, 0, 1, 999999999), 1);
    EXPECT_EQ(compare_times(-2, 999999999, -1, 0), -1);
}

TEST(VelUtilsTimespecCmp, NanosecondsDecideBetweenTheSameSeconds)
{
    EXPECT_EQ(compare_times(5, 1, 5, 2), -1);
    EXPECT_EQ(compare_times(5, 2, 5, 1), 1);
    EXPECT_EQ(compare_times(5, 2, 5, 2), 0);
}

TEST(VelUtilsTimespecCmp, TheWholeRangeOfSecondsCompares)
{
    EXPECT_EQ(compare_times(G_MININT64, 0, G_MAXINT64, 0), -1);
    EXPECT_EQ(compare_times(G_MAXINT64, 0, G_MININT64, 0), 1);
    EXPECT_EQ(compare_times(0, G_MININT32, 0, G_MAXINT32), -1);
    EXPECT_EQ(compare_times(gint64{1} << 32, 0, 0, 0), 1);
}

TEST_F(VelUtilsFileUpToDate, ANewerTargetIs)
{
    expect_times(1000 * SECOND, 1001 * SECOND, true);
}

TEST_F(VelUtilsFileUpToDate, ATargetOfTheSameTimeIs)
{
    expect_times(1000 * SECOND + 1234567, 1000 * SECOND + 1234567, true);
}

TEST_F(VelUtilsFileUpToDate, AnOlderTargetIsNot)
{
    expect_times(1001 * SECOND, 1000 * SECOND + SECOND - 1, false);
}

TEST_F(VelUtilsFileUpToDate, FractionsOfASecondDecide)
{
    expect_times(1000 * SECOND + 5, 1000 * SECOND + 4, false);
    expect_times(1000 * SECOND + 4, 1000 * SECOND + 5, true);
}

TEST_F(VelUtilsFileUpToDate, TimesBefore1970Compare)
{
    expect_times(-5 * SECOND + 1, -5 * SECOND, false);
    expect_times(-5 * SECOND, -5 * SECOND + 1, true);
    expect_times(-1, 0, true);
    expect_times(0, -1, false);
}

TEST_F(VelUtilsFileUpToDate, AMissingTargetIsNotAndNoError)
{
    make_file("source");
    EXPECT_FALSE(up_to_date("source", "missing"));
    EXPECT_EQ(error, nullptr);
}

TEST_F(VelUtilsFileUpToDate, AMissingSourceIsNoError)
{
    make_file("target");
    EXPECT_FALSE(up_to_date("missing", "target"));
    EXPECT_FALSE(up_to_date("missing", "missing too"));
    EXPECT_EQ(error, nullptr);
}

TEST_F(VelUtilsFileUpToDate, AMissingFolderIsAnError)
{
    expect_cannot_open("missing/file", MISSING_FOLDER);
}

TEST_F(VelUtilsFileUpToDate, AFolderIsAnError)
{
    make_folder("folder");
#ifdef _WIN32
    expect_cannot_open("folder", ERROR_ACCESS_DENIED);
#else
    expect_cannot_open("folder", EISDIR);
#endif
}

TEST_F(VelUtilsFileUpToDate, AnEmptyPathIsAnError)
{
    make_file("readable");
    EXPECT_FALSE(vel_utils_file_up_to_date("", path("readable").c_str(), &error));
    ASSERT_NE(error, nullptr);
    EXPECT_TRUE(g_error_matches(error, G_FILE_ERROR, G_FILE_ERROR_FAILED));
    g_clear_error(&error);
    EXPECT_FALSE(vel_utils_file_up_to_date(path("readable").c_str(), "", &error));
    ASSERT_NE(error, nullptr);
    EXPECT_TRUE(g_error_matches(error, G_FILE_ERROR, G_FILE_ERROR_FAILED));
}

TEST_F(VelUtilsFileUpToDate, ErrorsMayBeIgnored)
{
    EXPECT_FALSE(vel_utils_file_up_to_date(path("missing/a").c_str(), path("b").c_str(), nullptr));
    EXPECT_FALSE(vel_utils_file_up_to_date(path("a").c_str(), path("b").c_str(), nullptr));
}

TEST_F(VelUtilsFileUpToDate, LongPathsCompare)
{
    const std::string deep = make_deep_folder("");
    make_file(deep + "/source");
    make_file(deep + "/target \xf0\x9f\x98\x80");
    set_time(deep + "/source", SECOND);
    set_time(deep + "/target \xf0\x9f\x98\x80", 2 * SECOND);
    EXPECT_TRUE(up_to_date(deep + "/source", deep + "/target \xf0\x9f\x98\x80"));
    EXPECT_FALSE(up_to_date(deep + "/target \xf0\x9f\x98\x80", deep + "/source"));
    EXPECT_FALSE(up_to_date(deep + "/source", deep + "/missing"));
    EXPECT_EQ(error, nullptr);
}

TEST_F(VelUtilsFileCopy, CopiesBytesAsTheyAre)
{
    make_file("source", std::string("a\r\nb\n\x1a\0\xff c", 11));
    expect_copy("source", "target");
}

TEST_F(VelUtilsFileCopy, CopiesAnEmptyFileAndALargeOne)
{
    make_file("empty", "");
    expect_copy("empty", "empty copy");
    std::string large;
    while (large.size() < 1000000)
        large += std::to_string(large.size());
    make_file("large", large);
    expect_copy("large", "large copy");
}

TEST_F(VelUtilsFileCopy, OverwritesALongerTarget)
{
    make_file("source", "short");
    make_file("target", std::string(100000, 'x'));
    expect_copy("source", "target");
}

TEST_F(VelUtilsFileCopy, TheCopyHasTheTimeOfTheSource)
{
    make_file("source");
    set_time("source", 1000 * SECOND + 7);
    expect_copy("source", "target");
    EXPECT_TRUE(vel_utils_file_up_to_date(path("source").c_str(), path("target").c_str(), nullptr));
    EXPECT_TRUE(vel_utils_file_up_to_date(path("target").c_str(), path("source").c_str(), nullptr));
}

TEST_F(VelUtilsFileCopy, NamesInOtherScriptsAndLongPathsAreCopied)
{
    const std::string deep = make_deep_folder("");
    const std::string name = deep + "/\xd0\x96 \xf0\x9f\x98\x80.csv";
    make_file("\xc3\xa4.csv", "short to long");
    expect_copy("\xc3\xa4.csv", name);
    expect_copy(name, deep + "/again");
    expect_copy(deep + "/again", "back");
    EXPECT_EQ(content("back"), "short to long");
}

TEST_F(VelUtilsFileCopy, AMissingSourceIsAnErrorAndMakesNoTarget)
{
    expect_failure("missing", "target", MISSING_FILE);
    EXPECT_FALSE(exists("target"));
}

TEST_F(VelUtilsFileCopy, AMissingSourceLeavesTheTargetAlone)
{
    make_file("target", "as it was");
    expect_failure("missing", "target", MISSING_FILE);
    EXPECT_EQ(content("target"), "as it was");
}

TEST_F(VelUtilsFileCopy, AMissingTargetFolderIsAnError)
{
    make_file("source");
    expect_failure("source", "missing/target", MISSING_FOLDER);
}

TEST_F(VelUtilsFileCopy, AFileOverItselfIsAnErrorAndKeepsTheFile)
{
    make_file("source", "precious");
#ifdef _WIN32
    expect_failure("source", "source", ERROR_SHARING_VIOLATION);
#else
    expect_failure("source", "source", EBUSY);
    ASSERT_EQ(link(path("source").c_str(), path("other name").c_str()), 0);
    expect_failure("source", "other name", EBUSY);
#endif
    EXPECT_EQ(content("source"), "precious");
}

TEST_F(VelUtilsFileCopy, FoldersAreErrors)
{
#ifdef _WIN32
    static constexpr gint folder_number = ERROR_ACCESS_DENIED;
#else
    static constexpr gint folder_number = EISDIR;
#endif
    make_file("source");
    make_folder("folder");
    make_file("folder/own", "own");
    expect_failure("folder", "target", folder_number);
    EXPECT_FALSE(exists("target"));
    expect_failure("source", "folder", folder_number);
    EXPECT_EQ(content("folder/own"), "own");
}

TEST_F(VelUtilsFileCopy, AFileAsTheTargetsFolderIsAnError)
{
    make_file("source");
    make_file("file", "as it was");
#ifdef _WIN32
    expect_failure("source", "file/target", ERROR_PATH_NOT_FOUND);
#else
    expect_failure("source", "file/target", ENOTDIR);
#endif
    EXPECT_EQ(content("file"), "as it was");
}

TEST_F(VelUtilsFileCopy, PathsThatAreNoneAreErrors)
{
    make_file("source");
    EXPECT_FALSE(vel_utils_file_copy("", path("target").c_str(), &error));
    ASSERT_TRUE(g_error_matches(error, G_IO_ERROR, 0));
    g_clear_error(&error);
    EXPECT_FALSE(vel_utils_file_copy(path("source").c_str(), "", &error));
    ASSERT_TRUE(g_error_matches(error, G_IO_ERROR, 0));
    EXPECT_FALSE(vel_utils_file_copy("", "", nullptr));
}

TEST(VelUtilsFileError, WithoutANumberNothingIsSet)
{
    g_autoptr(GError) error = nullptr;
    vel_utils_file_set_system_error(&error, G_IO_ERROR, 0, 0);
    EXPECT_EQ(error, nullptr);
}

#ifdef _WIN32

TEST_F(VelUtilsFileUpToDate, AFileWhoseTimeCannotBeReadIsAnError)
{
    // The null device can be opened, but was never written.
    const HANDLE null = CreateFileW(L"NUL", GENERIC_READ, 7, nullptr, OPEN_EXISTING, 0, nullptr);
    FILETIME time;
    ASSERT_FALSE(GetFileTime(null, nullptr, nullptr, &time));
    const gint number = static_cast<gint>(GetLastError());
    CloseHandle(null);
    make_file("readable");
    EXPECT_FALSE(vel_utils_file_up_to_date("NUL", path("readable").c_str(), &error));
    expect_error(G_IO_ERROR, 0, system_error(number));
    EXPECT_FALSE(vel_utils_file_up_to_date(path("readable").c_str(), "NUL", &error));
    expect_error(G_IO_ERROR, 0, system_error(number));
}

TEST_F(VelUtilsFileUpToDate, AFileThatIsWrittenToOrKeptIsAnError)
{
    make_file("file");
    for (const DWORD access : {DWORD{GENERIC_WRITE}, DWORD{GENERIC_READ}}) {
        const HANDLE other = open_handle("file", access, access == GENERIC_WRITE ? 7 : 0);
        ASSERT_NE(other, INVALID_HANDLE_VALUE);
        expect_cannot_open("file", ERROR_SHARING_VIOLATION);
        CloseHandle(other);
    }
}

TEST_F(VelUtilsFileUpToDate, AFileThatOthersReadIsNoError)
{
    make_file("file");
    const HANDLE other = open_handle("file", GENERIC_READ, FILE_SHARE_READ);
    ASSERT_NE(other, INVALID_HANDLE_VALUE);
    EXPECT_TRUE(up_to_date("file", "file"));
    EXPECT_EQ(error, nullptr);
    CloseHandle(other);
}

TEST_F(VelUtilsFileCopy, FilesInUseAreErrors)
{
    make_file("source", "new");
    make_file("target", "as it was");
    HANDLE other = open_handle("target", GENERIC_READ, 0);
    expect_failure("source", "target", ERROR_SHARING_VIOLATION);
    CloseHandle(other);
    other = open_handle("source", GENERIC_READ, 0);
    expect_failure("source", "target", ERROR_SHARING_VIOLATION);
    CloseHandle(other);
    EXPECT_EQ(content("target"), "as it was");
}

// Whether a target may be overwritten that is read-only is for the system to say, and not every one
// holds its superuser to it.
TEST_F(VelUtilsFileCopy, AReadOnlySourceIsCopiedWithItsAttribute)
{
    make_file("source", "new");
    ASSERT_TRUE(SetFileAttributesW(wide(path("source")).c_str(), FILE_ATTRIBUTE_READONLY));
    expect_copy("source", "target");
    EXPECT_NE(GetFileAttributesW(wide(path("target")).c_str()) & FILE_ATTRIBUTE_READONLY, 0U);
}

#else

TEST_F(VelUtilsFileUpToDate, AFileWithoutPermissionIsAnError)
{
    make_file("readable");
    make_file("closed");
    ASSERT_EQ(g_chmod(path("closed").c_str(), 0), 0);
    vel_test_bow_to_permissions();
    expect_cannot_open("closed", EACCES);
    vel_test_rise_above_permissions();
}

TEST_F(VelUtilsFileCopy, AReadOnlyTargetIsAnError)
{
    make_file("source", "new");
    make_file("target", "as it was");
    ASSERT_EQ(g_chmod(path("target").c_str(), 0444), 0);
    vel_test_bow_to_permissions();
    expect_failure("source", "target", EACCES);
    vel_test_rise_above_permissions();
    EXPECT_EQ(content("target"), "as it was");
}

TEST_F(VelUtilsFileCopy, TheCopyHasThePermissionsOfTheSource)
{
    make_file("source");
    make_file("target");
    ASSERT_EQ(g_chmod(path("source").c_str(), 0751), 0);
    expect_copy("source", "target");
    struct stat status;
    ASSERT_EQ(stat(path("target").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0751U);
}

TEST_F(VelUtilsFileCopy, PipesAreNeitherReadNorWritten)
{
    make_file("source");
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    expect_failure("pipe", "target", EINVAL);
    expect_failure("source", "pipe", ENXIO);
    const gint reader = open(path("pipe").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_NE(reader, -1);
    expect_failure("source", "pipe", EINVAL);
    gchar byte;
    EXPECT_EQ(read(reader, &byte, 1), 0) << "nothing was written";
    close(reader);
    EXPECT_TRUE(exists("pipe"));
    EXPECT_FALSE(exists("target"));
}

TEST_F(VelUtilsFileCopy, ATargetThatCannotBeWrittenWholeIsRemoved)
{
    make_file("source", std::string(500000, 'x'));
    make_file("target", "as it was");
    signal(SIGXFSZ, SIG_IGN);
    struct rlimit before;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const struct rlimit small = {200000, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    expect_failure("source", "target", EFBIG);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_FALSE(exists("target"));
}

#endif
