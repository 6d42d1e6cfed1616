// What only Windows has: its times, its links and its own folder.
#include "vel_utils_file.h"

#include "vel_death_test.h"
#include "vel_utils_file_internal.h"
#include "vel_utils_file_test_util.h"

#include <algorithm>

namespace
{

// A path as the helpers give it to the system; "none" for what cannot be one.
std::string extended(wchar_t *path)
{
    if (path == nullptr)
        return "none";
    gchar *const utf8 =
        g_utf16_to_utf8(reinterpret_cast<gunichar2 *>(path), -1, nullptr, nullptr, nullptr);
    const std::string copy = utf8;
    g_free(utf8);
    g_free(path);
    return copy;
}

std::string file(const char *path)
{
    return extended(vel_utils_file_extended_path(path));
}

std::string folder(const char *path)
{
    return extended(vel_utils_file_extended_folder(path));
}

} // namespace

// Windows itself refuses long paths without the prefix; not every system these tests run on does.
TEST(VelUtilsFilePath, HasThePrefixAtAnyLength)
{
    EXPECT_EQ(file("C:\\a\\..\\b.csv"), "\\\\?\\C:\\b.csv");
    const std::string name = std::string("C:\\").append(300, 'n');
    EXPECT_EQ(file(name.c_str()), std::string("\\\\?\\").append(name));
}

TEST(VelUtilsFilePath, OnANetworkHasItsOwnPrefix)
{
    EXPECT_EQ(file("\\\\server\\share\\a"), "\\\\?\\UNC\\server\\share\\a");
}

TEST(VelUtilsFilePath, KeepsAPrefixItHas)
{
    EXPECT_EQ(file("\\\\?\\C:\\a"), "\\\\?\\C:\\a");
    EXPECT_EQ(file("\\\\.\\NUL"), "\\\\.\\NUL");
}

TEST(VelUtilsFilePath, OfAFolderHasNoSeparatorAtTheEnd)
{
    EXPECT_EQ(folder("C:\\a\\"), "\\\\?\\C:\\a");
    EXPECT_EQ(folder("C:/a//"), "\\\\?\\C:\\a");
    EXPECT_EQ(folder("C:\\"), "\\\\?\\C:\\");
}

TEST(VelUtilsFilePath, CannotBeEmptyOrOtherThanUtf8)
{
    for (const char *const path : {"", "\xff"}) {
        SetLastError(0);
        EXPECT_EQ(folder(path), "none");
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_NAME));
    }
}

TEST(VelUtilsFileTime, CountsFrom1970)
{
    const auto expect = [](guint64 ticks, gint64 seconds, gint32 nanoseconds) {
        const vel_utils_timespec time = vel_utils_file_time_from_windows(ticks);
        EXPECT_EQ(time.seconds, seconds);
        EXPECT_EQ(time.nanoseconds, nanoseconds);
    };
    expect(116444736000000000, 0, 0);
    expect(116444736000000001, 0, 100);
    expect(116444735999999999, -1, 999999900);
    expect(0, -11644473600, 0);
    expect(133000000000000000, 1655526400, 0);
    expect(G_MAXUINT64, 1833029933770, 955161500);
}

namespace
{

// The system's function as seen from its callers: what it was asked and what it will say.
UINT asked[4];
UINT n_asked;
UINT wanted;

UINT WINAPI fake_windows_dir(wchar_t *path, UINT room)
{
    asked[n_asked++] = room;
    if (room <= wanted)
        return wanted + 1;
    std::fill_n(path, wanted, L'w');
    path[wanted] = 0;
    return wanted;
}

UINT WINAPI failing_windows_dir(wchar_t *, UINT)
{
    return 0;
}

std::string ask_fake(UINT length)
{
    n_asked = 0;
    wanted = length;
    gchar *const path = vel_utils_file_ask_windows_dir(fake_windows_dir);
    const std::string copy = path;
    g_free(path);
    return copy;
}

} // namespace

TEST(VelUtilsWindowsDir, IsTheSystems)
{
    wchar_t path[1000];
    ASSERT_NE(GetWindowsDirectoryW(path, 1000), 0U);
    EXPECT_EQ(vel_utils_file_fixture::wide(vel_utils_win32_get_windows_dir()), path);
}

TEST(VelUtilsWindowsDir, IsAskedForOnce)
{
    const gchar *const first = vel_utils_win32_get_windows_dir();
    EXPECT_EQ(vel_utils_win32_get_windows_dir(), first);
}

TEST(VelUtilsWindowsDir, IsTheSameForAllThreads)
{
    static const auto ask = [](gpointer) -> gpointer {
        return const_cast<gchar *>(vel_utils_win32_get_windows_dir());
    };
    GThread *threads[8];
    for (GThread *&thread : threads)
        thread = g_thread_new("asks", ask, nullptr);
    for (GThread *const thread : threads)
        EXPECT_EQ(g_thread_join(thread), vel_utils_win32_get_windows_dir());
}

TEST(VelUtilsWindowsDir, TheFirstBufferHolds260Units)
{
    EXPECT_EQ(ask_fake(259), std::string(259, 'w'));
    EXPECT_EQ(n_asked, 1U);
    EXPECT_EQ(asked[0], 260U);
}

TEST(VelUtilsWindowsDir, TheBufferGrowsToWhatTheSystemAsksFor)
{
    EXPECT_EQ(ask_fake(260), std::string(260, 'w'));
    EXPECT_EQ(ask_fake(5000), std::string(5000, 'w'));
    EXPECT_EQ(n_asked, 2U);
    EXPECT_EQ(asked[1], 5001U);
}

TEST(VelUtilsWindowsDirDeathTest, AFailureEndsTheProgram)
{
    VEL_EXPECT_FATAL(vel_utils_file_ask_windows_dir(failing_windows_dir),
                     "GetWindowsDirectory call failed");
}

TEST(VelUtilsFileKind, LinksAndJunctionsAreNotFolders)
{
    const DWORD folder = FILE_ATTRIBUTE_DIRECTORY;
    const DWORD link = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    const auto kind = vel_utils_file_kind_from_attributes;
    EXPECT_EQ(kind(folder, 0), VEL_UTILS_FILE_KIND_FOLDER);
    EXPECT_EQ(kind(link, IO_REPARSE_TAG_SYMLINK), VEL_UTILS_FILE_KIND_FOLDER_LINK);
    EXPECT_EQ(kind(link, IO_REPARSE_TAG_MOUNT_POINT), VEL_UTILS_FILE_KIND_FOLDER_LINK);
    EXPECT_EQ(kind(link | FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN, IO_REPARSE_TAG_SYMLINK),
              VEL_UTILS_FILE_KIND_FOLDER_LINK);
}

TEST(VelUtilsFileKind, ALinkOfAnUnknownKindIsNotFollowed)
{
    EXPECT_EQ(vel_utils_file_kind_from_attributes(
                  FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT, 0),
              VEL_UTILS_FILE_KIND_FOLDER_LINK);
}

TEST(VelUtilsFileKind, AFolderKeptOnAServerIsAFolder)
{
    static constexpr DWORD cloud = 0x9000001a;
    EXPECT_EQ(vel_utils_file_kind_from_attributes(
                  FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT, cloud),
              VEL_UTILS_FILE_KIND_FOLDER);
}

TEST(VelUtilsFileKind, LinksToFilesAreFiles)
{
    EXPECT_EQ(
        vel_utils_file_kind_from_attributes(FILE_ATTRIBUTE_REPARSE_POINT, IO_REPARSE_TAG_SYMLINK),
        VEL_UTILS_FILE_KIND_FILE);
    EXPECT_EQ(vel_utils_file_kind_from_attributes(FILE_ATTRIBUTE_ARCHIVE, 0),
              VEL_UTILS_FILE_KIND_FILE);
}
