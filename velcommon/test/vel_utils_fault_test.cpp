// Calls of the system that fail one by one under the helpers for files: each failure is told, what
// was half done is taken back, and no descriptor stays open.
#include "vel_utils_file.h"
#include "vel_utils_file_test_util.h"
#include "vel_utils_stream.h"

#include <gio/gio.h>

#include <cerrno>
#include <string>
#include <vector>

#include <dirent.h>
#include <sys/mman.h>

namespace
{

// The n-th call from now on, counted down; the last one that is counted fails.
struct Fault {
    std::string call;
    int left;
    int number;
};

std::vector<Fault> faults;

// Another number for all files, so that only their disks tell them apart; 0 for their own.
ino_t file_number = 0;

// Whether a call has to fail now; errno is then set.
bool fault_is_due(const char *call)
{
    for (Fault &fault : faults) {
        if (fault.call == call && --fault.left == 0) {
            errno = fault.number;
            return true;
        }
    }
    return false;
}

} // namespace

#define FAULT_WRAP(result, call, parameters, arguments, failure)                                   \
    extern "C" result __real_##call parameters;                                                    \
    extern "C" result __wrap_##call parameters;                                                    \
    result __wrap_##call parameters                                                                \
    {                                                                                              \
        return fault_is_due(#call) ? failure : __real_##call arguments;                            \
    }

FAULT_WRAP(int, fchmod, (int descriptor, mode_t mode), (descriptor, mode), -1)
FAULT_WRAP(FILE *, fdopen, (int descriptor, const char *mode), (descriptor, mode), nullptr)
FAULT_WRAP(DIR *, fdopendir, (int descriptor), (descriptor), nullptr)
FAULT_WRAP(int, ftruncate, (int descriptor, off_t length), (descriptor, length), -1)
FAULT_WRAP(int, futimens, (int descriptor, const struct timespec *times), (descriptor, times), -1)
FAULT_WRAP(int, openat, (int parent, const char *name, int flags), (parent, name, flags), -1)
FAULT_WRAP(ssize_t, read, (int descriptor, void *bytes, size_t n), (descriptor, bytes, n), -1)
FAULT_WRAP(struct dirent *, readdir, (DIR * dir), (dir), nullptr)
FAULT_WRAP(int, unlinkat, (int parent, const char *name, int flags), (parent, name, flags), -1)
FAULT_WRAP(ssize_t, write, (int descriptor, const void *bytes, size_t n), (descriptor, bytes, n),
           -1)

extern "C" int __real_close(int descriptor);
extern "C" int __wrap_close(int descriptor);

extern "C" int __real_fstat(int descriptor, struct stat *status);
extern "C" int __wrap_fstat(int descriptor, struct stat *status);

int __wrap_fstat(int descriptor, struct stat *status)
{
    if (fault_is_due("fstat"))
        return -1;
    const int result = __real_fstat(descriptor, status);
    if (file_number != 0)
        status->st_ino = file_number;
    return result;
}

// The descriptor is gone even when the system reports a failure.
int __wrap_close(int descriptor)
{
    const int result = __real_close(descriptor);
    return fault_is_due("close") ? -1 : result;
}

namespace
{

int open_descriptors()
{
    GDir *const dir = g_dir_open("/proc/self/fd", 0, nullptr);
    int n = 0;
    while (g_dir_read_name(dir) != nullptr)
        n++;
    g_dir_close(dir);
    return n;
}

struct VelUtilsFault : vel_utils_file_fixture {
    const int descriptors = open_descriptors();

    ~VelUtilsFault() override
    {
        faults.clear();
        EXPECT_EQ(open_descriptors(), descriptors);
    }

    static void fail(const std::string &call, int n, int number = EIO)
    {
        faults.push_back({call, n, number});
    }

    // Ends the failing; tells whether all faults came about.
    static bool calm()
    {
        bool all = true;
        for (const Fault &fault : faults)
            all = all && fault.left <= 0;
        faults.clear();
        return all;
    }

    bool copy(const std::string &source = "source", const std::string &target = "target")
    {
        return vel_utils_file_copy(path(source).c_str(), path(target).c_str(), &error);
    }

    bool delete_tree()
    {
        return vel_utils_delete_directory(path("tree").c_str(), &error);
    }

    void make_tree() const
    {
        make_folder("tree");
        make_file("tree/a");
        make_folder("tree/b");
        make_file("tree/b/c");
    }

    // Fails the n-th of some calls of a copy, for every n, and expects no trace of it.
    void expect_no_trace_of_copies(const std::string &call, int last = G_MAXINT)
    {
        for (int n = 1; n <= last; n++) {
            make_file("target", "as it was");
            fail(call, n);
            const bool copied = copy();
            const bool failed = calm();
            EXPECT_EQ(copied, !failed) << call << " " << n;
            EXPECT_TRUE(failed || n > 1) << call;
            if (!failed)
                return;
            expect_error(G_IO_ERROR, 0, system_error(EIO));
            EXPECT_FALSE(exists("target")) << call << " " << n;
        }
    }
};

const std::string THREE_PIECES(300000, 'x');

} // namespace

TEST_F(VelUtilsFault, AListingThatBreaksOffIsAnErrorAndNothingIsCopied)
{
    make_folder("source");
    make_folder("target");
    make_file("source/a");
    make_file("source/b");
    for (int n = 1; n <= 5; n++) { // two files, two dots, the end
        fail("readdir", n);
        EXPECT_FALSE(vel_utils_dir_update(path("source").c_str(), path("target").c_str(), &error));
        EXPECT_TRUE(calm()) << n;
        expect_error(G_IO_ERROR, static_cast<gint>(g_io_error_from_errno(EIO)), g_strerror(EIO));
        EXPECT_FALSE(exists("target/a"));
        EXPECT_FALSE(exists("target/b"));
    }
}

TEST_F(VelUtilsFault, ATimeThatCannotBeAskedForIsAnError)
{
    make_file("file");
    for (int n = 1; n <= 2; n++) {
        fail("fstat", n);
        EXPECT_FALSE(vel_utils_file_up_to_date(path("file").c_str(), path("file").c_str(), &error));
        EXPECT_TRUE(calm()) << n;
        expect_error(G_FILE_ERROR, G_FILE_ERROR_FAILED, system_message(EIO));
    }
}

TEST_F(VelUtilsFault, ACopyThatFailsHalfwayIsAnErrorAndRemoved)
{
    make_file("source", THREE_PIECES);
    for (const char *const call : {"ftruncate", "read", "write", "fchmod", "futimens"})
        expect_no_trace_of_copies(call);
    // The second one closes the source, of which nothing is lost.
    expect_no_trace_of_copies("close", 1);
}

TEST_F(VelUtilsFault, FilesThatCannotBeLookedAtAreNotCopied)
{
    make_file("source", "new");
    make_file("target", "as it was");
    for (int n = 1; n <= 2; n++) {
        fail("fstat", n);
        EXPECT_FALSE(copy());
        EXPECT_TRUE(calm()) << n;
        expect_error(G_IO_ERROR, 0, system_error(EIO));
        EXPECT_EQ(content("target"), "as it was");
    }
}

TEST_F(VelUtilsFault, OfTwoFailuresOfACopyTheFirstIsTold)
{
    make_file("source");
    fail("read", 1, EIO);
    fail("close", 1, ENOSPC);
    EXPECT_FALSE(copy());
    EXPECT_TRUE(calm());
    expect_error(G_IO_ERROR, 0, system_error(EIO));
}

TEST_F(VelUtilsFault, SignalsDoNotDisturbACopy)
{
    make_file("source", THREE_PIECES);
    for (int n = 1; n <= 3; n++) {
        fail("read", n, EINTR);
        fail("write", n, EINTR);
        EXPECT_TRUE(copy());
        EXPECT_TRUE(calm()) << n;
        EXPECT_EQ(content("target"), THREE_PIECES);
    }
}

TEST_F(VelUtilsFault, AFileOfTheSameNumberOnAnotherDiskIsAnotherFile)
{
    make_file("source");
    const int memory = memfd_create("target", MFD_CLOEXEC);
    ASSERT_NE(memory, -1);
    const std::string target = "/proc/self/fd/" + std::to_string(memory);
    file_number = 5;
    EXPECT_TRUE(vel_utils_file_copy(path("source").c_str(), target.c_str(), &error));
    file_number = 0;
    char bytes[100];
    EXPECT_EQ(pread(memory, bytes, sizeof bytes, 0), 7);
    EXPECT_EQ(std::string(bytes, 7), content("source"));
    close(memory);
}

TEST_F(VelUtilsFault, ADeletionThatFailsAnywhereIsAnErrorAndCanBeRepeated)
{
    for (const char *const call : {"openat", "fdopendir", "readdir", "unlinkat"}) {
        for (int n = 1;; n++) {
            make_tree();
            fail(call, n);
            const bool deleted = delete_tree();
            const bool failed = calm();
            EXPECT_EQ(deleted, !failed) << call << " " << n;
            EXPECT_TRUE(failed || n > 2) << call;
            if (!failed)
                break;
            expect_error(G_FILE_ERROR, G_FILE_ERROR_FAILED, system_error(EIO));
            EXPECT_TRUE(exists("tree")) << call << " " << n;
            EXPECT_TRUE(delete_tree());
            EXPECT_FALSE(exists("tree"));
        }
    }
}

// Some systems say that a link is no folder, others that it is one link too many.
TEST_F(VelUtilsFault, ALinkIsDeletedWhicheverWayTheSystemRefusesToFollowIt)
{
    for (const int number : {ENOTDIR, ELOOP}) {
        make_folder("outside");
        make_file("outside/precious", "precious");
        make_folder("tree");
        make_folder_link("tree/link", "outside");
        fail("openat", 2, number);
        EXPECT_TRUE(delete_tree());
        EXPECT_TRUE(calm());
        EXPECT_FALSE(exists("tree"));
        EXPECT_EQ(content("outside/precious"), "precious");
        EXPECT_EQ(g_remove(path("outside/precious").c_str()), 0);
        EXPECT_EQ(g_remove(path("outside").c_str()), 0);
    }
}

TEST_F(VelUtilsFault, AStreamThatCannotBeMadeIsAnError)
{
    make_file("file");
    for (const char *const call : {"fstat", "fdopen"}) {
        fail(call, 1, ENFILE);
        EXPECT_EQ(vel_utils_fopen_shared(path("file").c_str(), &error), nullptr);
        EXPECT_EQ(errno, ENFILE) << call;
        EXPECT_TRUE(calm()) << call;
        expect_error(G_IO_ERROR, static_cast<gint>(g_io_error_from_errno(ENFILE)),
                     g_strerror(ENFILE));
    }
}
