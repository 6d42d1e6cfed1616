// Mirroring folders: what is copied, what is left alone, which error each obstacle gives, and that
// links to folders are followed on neither side.
#include "vel_utils_file.h"

#include "vel_utils_file_internal.h"
#include "vel_utils_file_test_util.h"

#include <gio/gio.h>

#include <cerrno>
#include <thread>
#include <vector>

namespace
{

constexpr gint64 SECOND = 10000000;

struct VelUtilsDirUpdate : vel_utils_file_fixture {
    VelUtilsDirUpdate()
    {
        make_folder("source");
        make_folder("target");
    }

    bool update(const std::string &source = "source", const std::string &target = "target")
    {
        return vel_utils_dir_update(path(source).c_str(), path(target).c_str(), &error);
    }

    void expect_update()
    {
        EXPECT_TRUE(update());
        ASSERT_EQ(error, nullptr) << error->message;
    }

    // The error of a folder: as errno tells it.
    void expect_errno(gint number)
    {
        expect_error(G_IO_ERROR, static_cast<gint>(g_io_error_from_errno(number)),
                     g_strerror(number));
    }

    // The error of the copy of a file.
    void expect_copy_error(const std::string &name, gint number)
    {
        expect_error(G_IO_ERROR, 0,
                     "Unable to copy the file \"" + path("source/" + name) + "\" to \"" +
                         path("target/" + name) + "\": " + system_error(number));
    }

    // Ten files in the source, and in the target ten older ones.
    void make_ten() const
    {
        for (int i = 0; i < 10; i++) {
            const std::string name = std::to_string(i);
            make_file("source/" + name, "new");
            make_file("target/" + name, "as it was");
            set_time("target/" + name, SECOND);
        }
    }

    // What is listed before an entry was copied; all others are as they were.
    void expect_work_ended_at(const std::string &at, const std::string &at_content) const
    {
        bool is_reached = true;
        for (const std::string &name : names("source")) {
            is_reached = is_reached && name != at;
            const char *const other = is_reached ? "new" : "as it was";
            EXPECT_EQ(content("target/" + name), name == at ? at_content : other) << name;
        }
        EXPECT_FALSE(is_reached);
    }
};

std::string entry_path(const char *folder, const char *name)
{
    gchar *const path = vel_utils_file_entry_path(folder, name);
    std::string copy = path;
    g_free(path);
    for (char &c : copy) {
        if (c == G_DIR_SEPARATOR)
            c = '|';
    }
    return copy;
}

} // namespace

TEST(VelUtilsFileEntryPath, HasOneSeparatorBetween)
{
    EXPECT_EQ(entry_path("folder", "name"), "folder|name");
    EXPECT_EQ(entry_path("", "name"), "|name");
}

TEST(VelUtilsFileEntryPath, HasNothingInFrontBelowTheRoot)
{
    EXPECT_EQ(entry_path("/", "name"), "|name");
}

TEST_F(VelUtilsDirUpdate, CopiesEverything)
{
    make_file("source/a", "a");
    make_file("source/.hidden", "hidden");
    make_folder("source/folder");
    make_file("source/folder/b", "b");
    make_folder("source/folder/empty");
    expect_update();
    EXPECT_EQ(content("target/a"), "a");
    EXPECT_EQ(content("target/.hidden"), "hidden");
    EXPECT_EQ(content("target/folder/b"), "b");
    EXPECT_TRUE(exists("target/folder/empty"));
}

TEST_F(VelUtilsDirUpdate, AnEmptySourceChangesNothing)
{
    make_file("target/own", "own");
    expect_update();
    EXPECT_EQ(names("target"), std::vector<std::string>{"own"});
}

TEST_F(VelUtilsDirUpdate, KeepsWhatOnlyTheTargetHas)
{
    make_file("target/own", "own");
    make_folder("target/folder");
    make_file("target/folder/own", "own too");
    make_folder("source/folder");
    make_file("source/folder/new", "new");
    expect_update();
    EXPECT_EQ(content("target/own"), "own");
    EXPECT_EQ(content("target/folder/own"), "own too");
    EXPECT_EQ(content("target/folder/new"), "new");
}

TEST_F(VelUtilsDirUpdate, CopiesOnlyWhatIsOutOfDate)
{
    for (const char *const name : {"older", "same", "newer"}) {
        make_file(std::string("source/") + name, "from the source");
        make_file(std::string("target/") + name, "as it was");
        set_time(std::string("source/") + name, 1000 * SECOND);
    }
    set_time("target/older", 999 * SECOND);
    set_time("target/same", 1000 * SECOND);
    set_time("target/newer", 1001 * SECOND);
    expect_update();
    EXPECT_EQ(content("target/older"), "from the source");
    EXPECT_EQ(content("target/same"), "as it was");
    EXPECT_EQ(content("target/newer"), "as it was");
}

TEST_F(VelUtilsDirUpdate, ASecondTimeCopiesNothing)
{
    make_file("source/a", "1");
    set_time("source/a", 1000 * SECOND);
    expect_update();
    make_file("target/a", "changed");
    set_time("target/a", 1000 * SECOND);
    expect_update();
    EXPECT_EQ(content("target/a"), "changed");
    set_time("source/a", 1000 * SECOND + 1);
    expect_update();
    EXPECT_EQ(content("target/a"), "1");
}

TEST_F(VelUtilsDirUpdate, NamesInOtherScriptsAndLongPathsAreMirrored)
{
    const std::string deep = make_deep_folder("source");
    make_file(deep + "/\xf0\x9f\x98\x80 \xd0\x96", "deep");
    make_file("source/\xe4\xb8\xad", "near");
    expect_update();
    EXPECT_EQ(content("target" + deep.substr(strlen("source")) + "/\xf0\x9f\x98\x80 \xd0\x96"),
              "deep");
    EXPECT_EQ(content("target/\xe4\xb8\xad"), "near");
}

TEST_F(VelUtilsDirUpdate, FoldersAroundTheLimitAreMade)
{
    // The lengths at which a folder would be too long for Windows.
    for (gsize length = 244; length <= 262; length++) {
        const std::string name(length - path("target/").size(), 'd');
        make_folder("source/" + name);
        make_file("source/" + name + "/file", name);
        expect_update();
        EXPECT_EQ(content("target/" + name + "/file"), name);
    }
}

TEST_F(VelUtilsDirUpdate, SeparatorsAtTheEndDoNotMatter)
{
    make_folder("source/folder");
    make_file("source/folder/a", "a");
    EXPECT_TRUE(vel_utils_dir_update((path("source") + G_DIR_SEPARATOR_S).c_str(),
                                     (path("target") + G_DIR_SEPARATOR_S).c_str(), &error));
    EXPECT_EQ(content("target/folder/a"), "a");
}

TEST_F(VelUtilsDirUpdate, AMissingSourceIsAnError)
{
    EXPECT_FALSE(update("missing"));
    expect_errno(ENOENT);
    EXPECT_FALSE(vel_utils_dir_update(path("missing").c_str(), folder.c_str(), nullptr));
    EXPECT_FALSE(vel_utils_dir_update("", folder.c_str(), &error));
    expect_errno(ENOENT);
}

TEST_F(VelUtilsDirUpdate, AFileAsSourceIsAnError)
{
    make_file("file");
    EXPECT_FALSE(update("file"));
    expect_errno(ENOTDIR);
}

TEST_F(VelUtilsDirUpdate, AMissingTargetIsAnErrorOnceThereIsAFile)
{
    EXPECT_TRUE(update("source", "missing"));
    make_file("source/a");
    EXPECT_FALSE(update("source", "missing"));
#ifdef _WIN32
    expect_error(G_FILE_ERROR, G_FILE_ERROR_FAILED, system_message(ERROR_PATH_NOT_FOUND));
#else
    expect_error(G_FILE_ERROR, G_FILE_ERROR_FAILED, system_message(ENOENT));
#endif
}

TEST_F(VelUtilsDirUpdate, AMissingTargetIsMadeOnceThereIsAFolder)
{
    make_folder("source/folder");
    make_file("source/folder/a", "a");
    EXPECT_TRUE(update("source", "missing"));
    EXPECT_EQ(content("missing/folder/a"), "a");
}

TEST_F(VelUtilsDirUpdate, AFileWhereAFolderIsWantedIsAnError)
{
    make_folder("source/name");
    make_file("target/name", "as it was");
    EXPECT_FALSE(update());
    expect_errno(ENOTDIR);
    EXPECT_EQ(content("target/name"), "as it was");
}

TEST_F(VelUtilsDirUpdate, AFolderWhereAFileIsWantedIsAnErrorAndWhatWasNotReachedStays)
{
    make_ten();
    ASSERT_EQ(g_remove(path("target/5").c_str()), 0);
    make_folder("target/5");
    make_file("target/5/own", "own");
    EXPECT_FALSE(update());
#ifdef _WIN32
    expect_error(G_FILE_ERROR, G_FILE_ERROR_FAILED, system_message(ERROR_ACCESS_DENIED));
#else
    expect_error(G_FILE_ERROR, G_FILE_ERROR_FAILED, system_message(EISDIR));
#endif
    expect_work_ended_at("5", "missing"); // As a file.
    EXPECT_EQ(content("target/5/own"), "own");
}

TEST_F(VelUtilsDirUpdate, ALinkToAFolderInTheSourceIsLeftOut)
{
    make_folder("outside");
    make_file("outside/a", "outside");
    make_file("source/b", "b");
    make_folder_link("source/link", "outside");
    make_folder_link("source/link up", "");
    expect_update();
    EXPECT_EQ(names("target"), std::vector<std::string>{"b"});
}

TEST_F(VelUtilsDirUpdate, ALinkToAFolderInTheTargetIsNotWrittenThrough)
{
    make_folder("outside");
    make_folder("source/folder");
    make_file("source/folder/a", "a");
    make_folder_link("target/folder", "outside");
    EXPECT_FALSE(update());
    expect_errno(ENOTDIR);
    EXPECT_FALSE(exists("outside/a"));
}

TEST_F(VelUtilsDirUpdate, TheFoldersNamedMayBeLinks)
{
    make_file("source/a", "a");
    make_folder_link("source link", "source");
    make_folder_link("target link", "target");
    EXPECT_TRUE(update("source link", "target link"));
    EXPECT_EQ(content("target/a"), "a");
}

// The first file that is copied takes a while; when it begins to grow, the others are taken away.
TEST_F(VelUtilsDirUpdate, AFileThatVanishesMeanwhileIsAnErrorOfTheCopy)
{
    for (const char *const name : {"a", "b"})
        make_file(std::string("source/") + name, std::string(60000000, 'x'));
    const std::vector<std::string> all = names("source");
    ASSERT_EQ(all.size(), 2U);
    std::thread other([&] {
        while (!exists("target/" + all[0]))
            std::this_thread::yield();
        g_remove(path("source/" + all[1]).c_str());
    });
    EXPECT_FALSE(update());
    other.join();
#ifdef _WIN32
    expect_copy_error(all[1], ERROR_FILE_NOT_FOUND);
#else
    expect_copy_error(all[1], ENOENT);
#endif
    EXPECT_FALSE(exists("target/" + all[1]));
}

#ifdef _WIN32

// Whether a target may be overwritten that is read-only is for the system to say, and not every one
// holds its superuser to it.
TEST_F(VelUtilsDirUpdate, AReadOnlySourceIsCopiedWithItsAttribute)
{
    make_file("source/a", "a");
    ASSERT_TRUE(SetFileAttributesW(wide(path("source/a")).c_str(), FILE_ATTRIBUTE_READONLY));
    expect_update();
    EXPECT_EQ(content("target/a"), "a");
    EXPECT_NE(GetFileAttributesW(wide(path("target/a")).c_str()) & FILE_ATTRIBUTE_READONLY, 0U);
}

TEST_F(VelUtilsDirUpdate, AFileInUseIsAnErrorAndWhatWasNotReachedStays)
{
    make_ten();
    const HANDLE source = open_handle("source/5", GENERIC_READ | GENERIC_WRITE, 0);
    ASSERT_NE(source, INVALID_HANDLE_VALUE);
    EXPECT_FALSE(update());
    expect_error(G_FILE_ERROR, G_FILE_ERROR_FAILED, system_message(ERROR_SHARING_VIOLATION));
    CloseHandle(source);
    expect_work_ended_at("5", "as it was");
}

TEST_F(VelUtilsDirUpdate, ATargetThatOthersReadIsAnErrorOfTheCopy)
{
    make_ten();
    const HANDLE target = open_handle("target/5", GENERIC_READ, FILE_SHARE_READ);
    ASSERT_NE(target, INVALID_HANDLE_VALUE);
    EXPECT_FALSE(update());
    expect_copy_error("5", ERROR_SHARING_VIOLATION);
    expect_work_ended_at("5", "as it was");
    CloseHandle(target);
}

#else

TEST_F(VelUtilsDirUpdate, AReadOnlyTargetIsAnErrorAndWhatWasNotReachedStays)
{
    make_ten();
    ASSERT_EQ(g_chmod(path("target/5").c_str(), 0444), 0);
    vel_test_bow_to_permissions();
    EXPECT_FALSE(update());
    expect_copy_error("5", EACCES);
    vel_test_rise_above_permissions();
    expect_work_ended_at("5", "as it was");
}

TEST_F(VelUtilsDirUpdate, AFileThatMayNotBeReadIsAnError)
{
    make_file("source/a");
    ASSERT_EQ(g_chmod(path("source/a").c_str(), 0), 0);
    vel_test_bow_to_permissions();
    EXPECT_FALSE(update());
    expect_error(G_FILE_ERROR, G_FILE_ERROR_FAILED, system_message(EACCES));
    vel_test_rise_above_permissions();
}

TEST_F(VelUtilsDirUpdate, AFolderThatMayNotBeListedIsAnError)
{
    make_folder("source/folder");
    ASSERT_EQ(g_chmod(path("source/folder").c_str(), 0), 0);
    vel_test_bow_to_permissions();
    EXPECT_FALSE(update());
    expect_errno(EACCES);
    vel_test_rise_above_permissions();
}

TEST_F(VelUtilsDirUpdate, FoldersAreMadeForTheOwnerAlone)
{
    make_folder("source/folder");
    ASSERT_EQ(g_chmod(path("source/folder").c_str(), 0755), 0);
    expect_update();
    struct stat status;
    ASSERT_EQ(stat(path("target/folder").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0700U);
}

TEST_F(VelUtilsDirUpdate, ALinkToAFileIsCopiedAsTheFile)
{
    make_file("outside", "outside");
    ASSERT_EQ(symlink(path("outside").c_str(), path("source/link").c_str()), 0);
    expect_update();
    EXPECT_EQ(content("target/link"), "outside");
    EXPECT_FALSE(g_file_test(path("target/link").c_str(), G_FILE_TEST_IS_SYMLINK));
}

TEST_F(VelUtilsDirUpdate, ALinkThatLeadsNowhereIsAMissingFile)
{
    ASSERT_EQ(symlink("nowhere", path("source/link").c_str()), 0);
    EXPECT_FALSE(update());
    expect_copy_error("link", ENOENT);
}

#endif
