// Opening files that others go on working with, under every kind of name, every way it can fail,
// and positions past 4 GiB.
#include "vel_utils_stream.h"

#include "vel_utils_stream_internal.h"

#include <gio/gio.h>
#include <glib/gstdio.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#ifdef _WIN32
#include <windows.h>

#include <io.h>
#include <winioctl.h>
#else
#include "vel_test_permissions.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#endif

namespace
{

constexpr gint64 GIB = gint64{1} << 30;

// A new folder; what a test makes in it through these functions is removed again, however long its
// path.
struct VelUtilsStream : testing::Test {
    std::string folder;
    std::vector<std::string> made;
    FILE *file = nullptr;
    GError *error = nullptr;

    VelUtilsStream()
    {
        gchar *const name = g_dir_make_tmp("vel utils stream XXXXXX", nullptr);
        folder = name;
        g_free(name);
    }

    ~VelUtilsStream() override
    {
        if (file != nullptr)
            fclose(file);
        g_clear_error(&error);
        for (auto name = made.rbegin(); name != made.rend(); ++name)
            g_remove(raw_path(*name).c_str());
        EXPECT_EQ(g_rmdir(folder.c_str()), 0);
    }

    std::string path(const std::string &name) const
    {
        return folder + G_DIR_SEPARATOR_S + name;
    }

    // The path in a form that the C library takes at any length.
    std::string raw_path(const std::string &name) const
    {
#ifdef _WIN32
        return "\\\\?\\" + path(name);
#else
        return path(name);
#endif
    }

    void make_folder(const std::string &name)
    {
        ASSERT_EQ(g_mkdir(raw_path(name).c_str(), 0700), 0) << name;
        made.push_back(name);
    }

    void make_file(const std::string &name, const std::string &content)
    {
        FILE *const stream = g_fopen(raw_path(name).c_str(), "wb");
        ASSERT_NE(stream, nullptr) << name;
        made.push_back(name);
        ASSERT_EQ(fwrite(content.data(), 1, content.size(), stream), content.size());
        ASSERT_EQ(fclose(stream), 0);
    }

    // Folders in folders until the path is longer than Windows once allowed.
    std::string make_deep_folder()
    {
        std::string name;
        while (path(name).size() <= 300) {
            name += (name.empty() ? "" : G_DIR_SEPARATOR_S) + std::string(60, 'd');
            make_folder(name);
        }
        return name;
    }

    void open(const std::string &full_path)
    {
        file = vel_utils_fopen_shared(full_path.c_str(), &error);
        ASSERT_NE(file, nullptr) << full_path << ": " << error->message;
        ASSERT_EQ(error, nullptr);
    }

    std::string read(gsize n) const
    {
        std::string text(n, '\0');
        text.resize(fread(text.data(), 1, n, file));
        return text;
    }

    void expect_opens(const std::string &name)
    {
        make_file(name, "content of " + name);
        open(path(name));
        EXPECT_EQ(read(1000), "content of " + name);
    }

    void expect_failure(const std::string &full_path, gint number)
    {
        errno = 0;
        file = vel_utils_fopen_shared(full_path.c_str(), &error);
        const gint seen = errno;
        EXPECT_EQ(file, nullptr) << full_path;
        EXPECT_EQ(seen, number) << full_path << ": " << g_strerror(seen);
        ASSERT_NE(error, nullptr) << full_path;
        EXPECT_EQ(error->domain, G_IO_ERROR);
        EXPECT_EQ(error->code, static_cast<gint>(g_io_error_from_errno(number)));
        EXPECT_STREQ(error->message, g_strerror(number));
        g_clear_error(&error);
    }

    // A file of 5 GiB and three bytes that takes next to no room.
    void make_huge_file(const std::string &name)
    {
        make_file(name, "begin");
        FILE *const stream = g_fopen(raw_path(name).c_str(), "r+b");
        ASSERT_NE(stream, nullptr);
#ifdef _WIN32
        DWORD unused = 0;
        DeviceIoControl(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream))), FSCTL_SET_SPARSE,
                        nullptr, 0, nullptr, 0, &unused, nullptr);
#endif
        ASSERT_TRUE(vel_utils_fseek(stream, 5 * GIB, SEEK_SET));
        ASSERT_EQ(fwrite("end", 1, 3, stream), 3U);
        ASSERT_EQ(fclose(stream), 0);
    }
};

} // namespace

TEST_F(VelUtilsStream, ReadsBytesAsTheyAre)
{
    const std::string content("a\r\nb\n\x1a\0\xff c", 11);
    make_file("plain.csv", content);
    open(path("plain.csv"));
    EXPECT_EQ(read(100), content);
}

TEST_F(VelUtilsStream, OpensANameWithBlanks)
{
    expect_opens("two  blanks and more.csv");
}

TEST_F(VelUtilsStream, OpensANameInOtherScripts)
{
    expect_opens("\xc3\xa4\xc3\xb6\xc3\xbc \xd0\x96 \xe4\xb8\xad.csv");
}

TEST_F(VelUtilsStream, OpensANameWithEmoji)
{
    expect_opens("\xf0\x9f\x98\x80 \xf0\x9f\x8e\x89.csv");
}

TEST_F(VelUtilsStream, OpensALongPath)
{
    const std::string name =
        make_deep_folder() + G_DIR_SEPARATOR_S + "\xf0\x9f\x98\x80 \xc3\xa4 long.csv";
    ASSERT_GT(path(name).size(), 300U);
    expect_opens(name);
}

TEST_F(VelUtilsStream, OpensAPathAroundTheLimit)
{
    // The lengths at which Windows changes its rules, the terminating zero counted or not.
    for (gsize length = 257; length <= 263; length++) {
        std::string name(150, 'd');
        if (made.empty())
            make_folder(name);
        name += G_DIR_SEPARATOR_S;
        name += std::string(length - path(name).size(), 'f');
        ASSERT_EQ(path(name).size(), length);
        expect_opens(name);
        fclose(file);
        file = nullptr;
    }
}

TEST_F(VelUtilsStream, OpensARelativePath)
{
    const std::string deep = make_deep_folder() + G_DIR_SEPARATOR_S + "deep.csv";
    make_file(deep, "deep");
    make_file("near.csv", "near");
    gchar *const before = g_get_current_dir();
    ASSERT_EQ(g_chdir(folder.c_str()), 0);
    open("near.csv");
    EXPECT_EQ(read(100), "near");
    fclose(file);
    open(deep);
    EXPECT_EQ(read(100), "deep");
    EXPECT_EQ(g_chdir(before), 0);
    g_free(before);
}

TEST_F(VelUtilsStream, OthersMayWriteWhileItIsOpen)
{
    make_file("shared.csv", "first");
    open(path("shared.csv"));
    EXPECT_EQ(read(100), "first");
    FILE *const other = g_fopen(path("shared.csv").c_str(), "r+b");
    ASSERT_NE(other, nullptr) << g_strerror(errno);
    EXPECT_EQ(fwrite("FIRST and second", 1, 16, other), 16U);
    EXPECT_EQ(fclose(other), 0);
    ASSERT_TRUE(vel_utils_fseek(file, 0, SEEK_SET));
    EXPECT_EQ(read(100), "FIRST and second");
}

TEST_F(VelUtilsStream, OpensAFileThatAnotherIsWriting)
{
    make_file("log.csv", "");
    FILE *const other = g_fopen(path("log.csv").c_str(), "ab");
    ASSERT_NE(other, nullptr);
    EXPECT_EQ(fputs("line", other) >= 0, true);
    EXPECT_EQ(fflush(other), 0);
    open(path("log.csv"));
    EXPECT_EQ(read(100), "line");
    EXPECT_EQ(fclose(other), 0);
}

TEST_F(VelUtilsStream, OthersMayRenameWhileItIsOpen)
{
    make_file("old.csv", "content");
    open(path("old.csv"));
    ASSERT_EQ(g_rename(path("old.csv").c_str(), path("new.csv").c_str()), 0) << g_strerror(errno);
    made.push_back("new.csv");
    EXPECT_FALSE(g_file_test(path("old.csv").c_str(), G_FILE_TEST_EXISTS));
    EXPECT_EQ(read(100), "content");
}

TEST_F(VelUtilsStream, OthersMayDeleteWhileItIsOpen)
{
    make_file("gone.csv", "content");
    open(path("gone.csv"));
    ASSERT_EQ(g_remove(path("gone.csv").c_str()), 0) << g_strerror(errno);
    EXPECT_EQ(read(100), "content");
    fclose(file);
    file = nullptr;
    EXPECT_FALSE(g_file_test(path("gone.csv").c_str(), G_FILE_TEST_EXISTS));
}

TEST_F(VelUtilsStream, ChildProcessesDoNotInheritIt)
{
    make_file("private.csv", "content");
    open(path("private.csv"));
#ifdef _WIN32
    DWORD flags = HANDLE_FLAG_INHERIT;
    ASSERT_TRUE(
        GetHandleInformation(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file))), &flags));
    EXPECT_EQ(flags & HANDLE_FLAG_INHERIT, 0U);
#else
    EXPECT_EQ(fcntl(fileno(file), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
#endif
}

TEST_F(VelUtilsStream, EmptyPathIsReportedAsMissing)
{
    expect_failure("", ENOENT);
}

TEST_F(VelUtilsStream, MissingFileIsReported)
{
    expect_failure(path("missing.csv"), ENOENT);
}

TEST_F(VelUtilsStream, MissingFolderIsReported)
{
    expect_failure(path("missing") + G_DIR_SEPARATOR_S + "missing.csv", ENOENT);
    expect_failure(path(make_deep_folder()) + G_DIR_SEPARATOR_S + "missing.csv", ENOENT);
}

TEST_F(VelUtilsStream, NameThatIsNoUtf8IsReportedAsMissing)
{
    expect_failure(path("\xff.csv"), ENOENT);
}

TEST_F(VelUtilsStream, FolderIsReported)
{
    make_folder("folder");
    expect_failure(path("folder"), EISDIR);
    expect_failure(path("folder") + G_DIR_SEPARATOR_S, EISDIR);
    expect_failure(path(make_deep_folder()), EISDIR);
    expect_failure(".", EISDIR);
}

TEST_F(VelUtilsStream, ErrorMayBeIgnored)
{
    EXPECT_EQ(vel_utils_fopen_shared(path("missing.csv").c_str(), nullptr), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

#ifdef _WIN32

namespace
{

std::string full_path(const std::string &path)
{
    wchar_t *const wide = vel_utils_stream_full_path(path.c_str());
    gchar *const utf8 =
        g_utf16_to_utf8(reinterpret_cast<const gunichar2 *>(wide), -1, nullptr, nullptr, nullptr);
    const std::string full = utf8;
    g_free(utf8);
    g_free(wide);
    return full;
}

} // namespace

TEST(VelUtilsStreamPath, ShortOneStaysPlain)
{
    EXPECT_EQ(full_path("C:\\a\\..\\b.csv"), "C:\\b.csv");
    const std::string longest = "C:\\" + std::string(256, 'n');
    EXPECT_EQ(full_path(longest), longest);
}

TEST(VelUtilsStreamPath, LongOneHasThePrefix)
{
    const std::string shortest = "C:\\" + std::string(257, 'n');
    EXPECT_EQ(full_path(shortest), "\\\\?\\" + shortest);
    EXPECT_EQ(full_path("C:/a/../" + std::string(300, 'n')), "\\\\?\\C:\\" + std::string(300, 'n'));
}

TEST(VelUtilsStreamPath, LongNetworkOneHasItsOwnPrefix)
{
    const std::string name = "server\\share\\" + std::string(300, 'n');
    EXPECT_EQ(full_path("\\\\" + name), "\\\\?\\UNC\\" + name);
}

TEST(VelUtilsStreamPath, LongOneThatHasThePrefixKeepsIt)
{
    const std::string name = "\\\\?\\C:\\" + std::string(300, 'n');
    EXPECT_EQ(full_path(name), name);
}

TEST_F(VelUtilsStream, FileThatAnotherKeepsForItselfIsReportedAsNotPermitted)
{
    make_file("locked.csv", "content");
    gunichar2 *const wide =
        g_utf8_to_utf16(path("locked.csv").c_str(), -1, nullptr, nullptr, nullptr);
    const HANDLE other = CreateFileW(reinterpret_cast<const wchar_t *>(wide), GENERIC_READ, 0,
                                     nullptr, OPEN_EXISTING, 0, nullptr);
    g_free(wide);
    ASSERT_NE(other, INVALID_HANDLE_VALUE);
    expect_failure(path("locked.csv"), EACCES);
    CloseHandle(other);
    open(path("locked.csv"));
}

TEST_F(VelUtilsStream, DevicesAreRefused)
{
    for (const char *const name : {"NUL", "nul", "CON", "AUX", "COM1", "\\\\.\\NUL", "\\\\.\\C:"})
        expect_failure(name, EINVAL);
    expect_failure(path("NUL"), EINVAL);
    // Its name does not tell: only once it is open it shows.
    expect_failure("\\\\?\\NUL", EINVAL);
}

TEST_F(VelUtilsStream, PipeIsRefusedWithoutItsServerNoticing)
{
    static constexpr char name[] = "\\\\.\\pipe\\vel-utils-stream-test";
    const HANDLE server = CreateNamedPipeA(name, PIPE_ACCESS_OUTBOUND | FILE_FLAG_OVERLAPPED,
                                           PIPE_TYPE_BYTE, 1, 0, 0, 0, nullptr);
    ASSERT_NE(server, INVALID_HANDLE_VALUE);
    expect_failure(name, EINVAL);
    OVERLAPPED overlapped = {};
    EXPECT_FALSE(ConnectNamedPipe(server, &overlapped));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_IO_PENDING));
    CancelIo(server);
    CloseHandle(server);
}

TEST_F(VelUtilsStream, NameWithForbiddenCharactersIsReportedAsMissing)
{
    expect_failure(path("what?.csv"), ENOENT);
}

TEST_F(VelUtilsStream, LongNetworkPathThatIsMissingIsReportedAsMissing)
{
    const std::string name = "\\\\no-such-server.invalid\\share\\" + std::string(300, 'n') + ".csv";
    expect_failure(name, ENOENT);
}

TEST_F(VelUtilsStream, NameThatIsTooLongIsReportedAsMissing)
{
    expect_failure(path(std::string(300, 'n')), ENOENT);
    expect_failure(path(std::string(40000, 'n')), ENOENT);
}

#else

TEST_F(VelUtilsStream, FileWithoutPermissionIsReported)
{
    make_file("closed.csv", "content");
    make_file("readable.csv", "content");
    ASSERT_EQ(g_chmod(path("closed.csv").c_str(), 0), 0);
    vel_test_bow_to_permissions();
    expect_failure(path("closed.csv"), EACCES);
    file = vel_utils_fopen_shared(path("readable.csv").c_str(), nullptr);
    vel_test_rise_above_permissions();
    EXPECT_NE(file, nullptr);
}

TEST_F(VelUtilsStream, DevicesAreRefused)
{
    expect_failure("/dev/null", EINVAL);
    expect_failure("/dev/zero", EINVAL);
}

TEST_F(VelUtilsStream, PipeWithoutAWriterIsRefusedWithoutWaiting)
{
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    made.push_back("pipe");
    expect_failure(path("pipe"), EINVAL);
}

TEST_F(VelUtilsStream, SocketIsRefused)
{
    const gint socket_descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_NE(socket_descriptor, -1);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    g_strlcpy(address.sun_path, path("socket").c_str(), sizeof address.sun_path);
    ASSERT_EQ(bind(socket_descriptor, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    made.push_back("socket");
    expect_failure(path("socket"), EINVAL);
    close(socket_descriptor);
}

TEST_F(VelUtilsStream, NameThatIsTooLongIsReported)
{
    expect_failure(path(std::string(300, 'n')), ENAMETOOLONG);
}

#endif

TEST_F(VelUtilsStream, SeeksReadsAndTellsPast4GiB)
{
    make_huge_file("huge.csv");
    open(path("huge.csv"));
    ASSERT_TRUE(vel_utils_fseek(file, 5 * GIB, SEEK_SET));
    EXPECT_EQ(vel_utils_ftell(file), 5 * GIB);
    EXPECT_EQ(read(100), "end");
    EXPECT_EQ(vel_utils_ftell(file), 5 * GIB + 3);
    ASSERT_TRUE(vel_utils_fseek(file, -(5 * GIB + 3), SEEK_CUR));
    EXPECT_EQ(read(5), "begin");
    ASSERT_TRUE(vel_utils_fseek(file, 5 * GIB - 3, SEEK_CUR));
    EXPECT_EQ(vel_utils_ftell(file), 5 * GIB + 2);
    EXPECT_EQ(read(100), "d");
    ASSERT_TRUE(vel_utils_fseek(file, -3, SEEK_END));
    EXPECT_EQ(vel_utils_ftell(file), 5 * GIB);
    EXPECT_EQ(read(100), "end");
}

TEST_F(VelUtilsStream, SizeIsToldWithoutMoving)
{
    make_file("short.csv", "0123456789");
    open(path("short.csv"));
    EXPECT_EQ(read(1), "0");
    EXPECT_EQ(vel_utils_fsize(file), 10);
    EXPECT_EQ(vel_utils_ftell(file), 1);
    make_file("short.csv", "01");
    EXPECT_EQ(vel_utils_fsize(file), 2);
    make_file("short.csv", "0123456789abc");
    read(100);
    EXPECT_EQ(vel_utils_fsize(file), 13);
    EXPECT_TRUE(feof(file));
}

TEST_F(VelUtilsStream, SizePast4GiBIsTold)
{
    make_huge_file("huge.csv");
    open(path("huge.csv"));
    EXPECT_EQ(vel_utils_fsize(file), 5 * GIB + 3);
}

#ifndef _WIN32

TEST_F(VelUtilsStream, SizeOfWhatIsNoFileIsNotTold)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    file = fdopen(ends[0], "rb");
    EXPECT_EQ(vel_utils_fsize(file), -1);
    close(ends[1]);
    char memory[] = "0123456789";
    FILE *const other = fmemopen(memory, 10, "rb");
    EXPECT_EQ(vel_utils_fsize(other), -1) << "a stream without a file";
    fclose(other);
}

#endif

TEST_F(VelUtilsStream, SeekClearsTheEndOfFileMark)
{
    make_file("short.csv", "0123456789");
    open(path("short.csv"));
    EXPECT_EQ(read(11).size(), 10U);
    ASSERT_TRUE(feof(file));
    ASSERT_TRUE(vel_utils_fseek(file, 2, SEEK_SET));
    EXPECT_FALSE(feof(file));
    EXPECT_EQ(read(4), "2345");
    EXPECT_FALSE(feof(file));
}

TEST_F(VelUtilsStream, SeekBeyondTheEndIsAllowed)
{
    make_file("short.csv", "0123456789");
    open(path("short.csv"));
    ASSERT_TRUE(vel_utils_fseek(file, 5 * GIB, SEEK_SET));
    EXPECT_EQ(vel_utils_ftell(file), 5 * GIB);
    EXPECT_EQ(read(1), "");
    EXPECT_TRUE(feof(file));
}

TEST_F(VelUtilsStream, SeekBeforeTheStartFails)
{
    make_file("short.csv", "0123456789");
    open(path("short.csv"));
    EXPECT_EQ(read(4), "0123");
    errno = 0;
    EXPECT_FALSE(vel_utils_fseek(file, -1, SEEK_SET));
    EXPECT_EQ(errno, EINVAL);
    ASSERT_TRUE(vel_utils_fseek(file, 4, SEEK_SET));
    EXPECT_EQ(read(3), "456");
}
