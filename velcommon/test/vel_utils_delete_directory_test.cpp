// Deleting folders: everything in them goes, nothing outside, and the first error ends the work.
#include "vel_utils_file.h"

#include "vel_utils_file_test_util.h"

#include <atomic>
#include <thread>
#include <vector>

namespace
{

struct VelUtilsDeleteDirectory : vel_utils_file_fixture {
#ifdef _WIN32
    HANDLE in_use[2];
#endif

    bool delete_it(const std::string &name)
    {
        return vel_utils_delete_directory(path(name).c_str(), &error);
    }

    void expect_removed(const std::string &name)
    {
        EXPECT_TRUE(delete_it(name));
        ASSERT_EQ(error, nullptr) << error->message;
        EXPECT_FALSE(exists(name));
    }

    void expect_failure(const std::string &name, gint number)
    {
        EXPECT_FALSE(delete_it(name));
        expect_error(G_FILE_ERROR, G_FILE_ERROR_FAILED, system_error(number));
    }

    // Makes a folder of ten files, each holding its name.
    void make_ten(const std::string &name) const
    {
        make_folder(name);
        for (int i = 0; i < 10; i++)
            make_file(name + "/" + std::to_string(i), std::to_string(i));
    }

    // "tree" holds or is a link that leads to "outside" or up to the folder of them all. It goes
    // and the tree with it.
    void expect_link_was_not_followed(const std::string &behind = "")
    {
        const gint number = number_of_link_removal();
        EXPECT_EQ(vel_utils_delete_directory((path("tree") + behind).c_str(), &error), number == 0);
        if (number != 0)
            expect_error(G_FILE_ERROR, G_FILE_ERROR_FAILED, system_error(number));
        EXPECT_EQ(error, nullptr);
        EXPECT_EQ(exists("tree"), number != 0);
        expect_outside_is_whole();
#ifdef _WIN32
        for (const HANDLE handle : in_use)
            CloseHandle(handle);
#endif
    }

    // What the system says to the removal of a link; 0 when it is removed. Where links are another
    // system's, it goes for the folder that the link leads to. That one is in use here, so that the
    // number is not the one of a folder which still holds something.
    gint number_of_link_removal()
    {
#ifdef _WIN32
        for (const bool is_outside : {false, true}) {
            const std::string name = is_outside ? "outside" : "";
            in_use[is_outside] = CreateFileW(wide(path(name)).c_str(), FILE_LIST_DIRECTORY,
                                             FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                             OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
            EXPECT_NE(in_use[is_outside], INVALID_HANDLE_VALUE);
        }
        make_folder_link("another link", "outside");
        if (!RemoveDirectoryW(wide(path("another link")).c_str()))
            return static_cast<gint>(GetLastError());
#endif
        return 0;
    }

    void expect_outside_is_whole() const
    {
        EXPECT_EQ(content("outside/precious"), "precious");
        EXPECT_EQ(content("outside/folder/precious too"), "precious");
    }

    void make_outside() const
    {
        make_folder("outside");
        make_file("outside/precious", "precious");
        make_folder("outside/folder");
        make_file("outside/folder/precious too", "precious");
    }
};

} // namespace

TEST_F(VelUtilsDeleteDirectory, AnEmptyFolderGoes)
{
    make_folder("tree");
    expect_removed("tree");
}

TEST_F(VelUtilsDeleteDirectory, EverythingInItGoes)
{
    make_ten("tree");
    make_ten("tree/folder");
    make_ten("tree/folder/.hidden");
    make_folder("tree/empty");
    make_file("tree/..more");
    make_file("beside", "beside");
    expect_removed("tree");
    EXPECT_EQ(content("beside"), "beside");
}

TEST_F(VelUtilsDeleteDirectory, NamesInOtherScriptsGo)
{
    make_ten("\xd0\x96 \xf0\x9f\x98\x80");
    make_ten("\xd0\x96 \xf0\x9f\x98\x80/\xe4\xb8\xad");
    expect_removed("\xd0\x96 \xf0\x9f\x98\x80");
}

TEST_F(VelUtilsDeleteDirectory, LongPathsGo)
{
    make_folder("tree");
    const std::string deep = make_deep_folder("tree");
    make_ten(deep + "/ten");
    expect_removed(deep + "/ten");
    make_file(deep + "/file");
    expect_removed("tree");
}

TEST_F(VelUtilsDeleteDirectory, PathsAroundTheLimitGo)
{
    // The lengths at which a folder, its listing or a file in it would be too long for Windows.
    for (gsize length = 244; length <= 262; length++) {
        const std::string name(length - path("").size() - 1, 'd');
        make_folder(name);
        make_file(name + "/file");
        expect_removed(name);
    }
}

TEST_F(VelUtilsDeleteDirectory, ManyLevelsGo)
{
    std::string name = "tree";
    make_folder(name);
    for (int i = 0; i < 300; i++) {
        name += "/d";
        make_folder(name);
    }
    expect_removed("tree");
}

TEST_F(VelUtilsDeleteDirectory, SeparatorsAtTheEndDoNotMatter)
{
    make_ten("tree");
    const std::string with_separators = path("tree") + G_DIR_SEPARATOR_S G_DIR_SEPARATOR_S;
    EXPECT_TRUE(vel_utils_delete_directory(with_separators.c_str(), &error));
    EXPECT_FALSE(exists("tree"));
}

TEST_F(VelUtilsDeleteDirectory, ARelativePathIsTheCallersFolders)
{
    make_ten("tree");
    gchar *const before = g_get_current_dir();
    ASSERT_EQ(g_chdir(folder.c_str()), 0);
    EXPECT_TRUE(vel_utils_delete_directory("tree", &error));
    EXPECT_EQ(g_chdir(before), 0);
    g_free(before);
    EXPECT_FALSE(exists("tree"));
}

TEST_F(VelUtilsDeleteDirectory, AMissingFolderIsAnError)
{
#ifdef _WIN32
    expect_failure("missing", ERROR_PATH_NOT_FOUND);
#else
    expect_failure("missing", ENOENT);
#endif
    EXPECT_FALSE(vel_utils_delete_directory(path("missing").c_str(), nullptr));
}

TEST_F(VelUtilsDeleteDirectory, AFileIsAnErrorAndStays)
{
    make_file("file", "precious");
    EXPECT_FALSE(delete_it("file"));
    ASSERT_NE(error, nullptr);
    EXPECT_TRUE(g_error_matches(error, G_FILE_ERROR, G_FILE_ERROR_FAILED));
    EXPECT_TRUE(g_str_has_prefix(error->message, "Error "));
    EXPECT_EQ(content("file"), "precious");
}

TEST_F(VelUtilsDeleteDirectory, AnEmptyPathIsAnError)
{
    EXPECT_FALSE(vel_utils_delete_directory("", &error));
    ASSERT_NE(error, nullptr);
    EXPECT_TRUE(g_error_matches(error, G_FILE_ERROR, G_FILE_ERROR_FAILED));
}

TEST_F(VelUtilsDeleteDirectory, ALinkToAFolderIsNotFollowed)
{
    make_outside();
    make_folder("tree");
    make_folder_link("tree/link", "outside");
    expect_link_was_not_followed();
}

TEST_F(VelUtilsDeleteDirectory, ALinkDeepInTheTreeIsNotFollowed)
{
    make_outside();
    make_folder("tree");
    make_ten("tree/ten");
    make_folder("tree/ten/deep");
    make_folder_link("tree/ten/deep/link", "outside");
    make_folder_link("tree/ten/deep/link up", "");
    expect_link_was_not_followed();
}

TEST_F(VelUtilsDeleteDirectory, TheFolderNamedMayBeALinkAndIsNotFollowed)
{
    make_outside();
    make_folder_link("tree", "outside");
    expect_link_was_not_followed();
}

TEST_F(VelUtilsDeleteDirectory, ALinkWithASeparatorBehindItIsNotFollowed)
{
    make_outside();
    make_folder_link("tree", "outside");
    expect_link_was_not_followed(G_DIR_SEPARATOR_S);
}

// Somebody else deletes the files too, from the other end. Where the two meet, a file is gone that
// was listed; it may take a few runs until they do.
TEST_F(VelUtilsDeleteDirectory, AFileThatVanishesMeanwhileIsAnError)
{
    for (int i = 0; i < 50 && error == nullptr; i++) {
        make_folder("tree");
        for (int j = 0; j < 500; j++)
            make_file("tree/file " + std::to_string(j), "");
        const std::vector<std::string> all = names("tree");
        std::thread other([&] {
            for (auto name = all.rbegin(); name != all.rend(); ++name)
                g_remove(path("tree/" + *name).c_str());
        });
        const bool deleted = delete_it("tree");
        other.join();
        EXPECT_EQ(deleted, error == nullptr);
    }
#ifdef _WIN32
    expect_error(G_FILE_ERROR, G_FILE_ERROR_FAILED, system_error(ERROR_FILE_NOT_FOUND));
#else
    expect_error(G_FILE_ERROR, G_FILE_ERROR_FAILED, system_error(ENOENT));
#endif
    EXPECT_TRUE(exists("tree"));
    expect_removed("tree");
}

TEST_F(VelUtilsDeleteDirectory, TwoAtOnceLeaveNothingOrSayWhy)
{
    for (int i = 0; i < 5; i++) {
        make_ten("tree");
        make_ten("tree/a");
        make_ten("tree/b");
        GError *other_error = nullptr;
        bool other_removed = false;
        std::thread other([&] {
            other_removed = vel_utils_delete_directory(path("tree").c_str(), &other_error);
        });
        const bool removed = delete_it("tree");
        other.join();
        EXPECT_EQ(removed, error == nullptr);
        EXPECT_EQ(other_removed, other_error == nullptr);
        EXPECT_TRUE(removed || other_removed || exists("tree"));
        g_clear_error(&error);
        g_clear_error(&other_error);
        if (exists("tree"))
            expect_removed("tree");
    }
}

#ifdef _WIN32

TEST_F(VelUtilsDeleteDirectory, APathInUtf16IsTaken)
{
    make_ten("tree");
    const std::wstring tree = wide(path("tree"));
    const gunichar2 *const units = reinterpret_cast<const gunichar2 *>(tree.c_str());
    EXPECT_TRUE(vel_utils_win32_delete_directory(units, &error));
    EXPECT_FALSE(exists("tree"));
    EXPECT_FALSE(vel_utils_win32_delete_directory(units, &error));
    expect_error(G_FILE_ERROR, G_FILE_ERROR_FAILED, system_error(ERROR_PATH_NOT_FOUND));
    const gunichar2 empty = 0;
    EXPECT_FALSE(vel_utils_win32_delete_directory(&empty, &error));
    expect_error(G_FILE_ERROR, G_FILE_ERROR_FAILED, system_error(ERROR_INVALID_NAME));
}

TEST_F(VelUtilsDeleteDirectory, APathThatIsNoUtf8IsAnError)
{
    EXPECT_FALSE(vel_utils_delete_directory("\xff", &error));
    expect_error(G_FILE_ERROR, G_FILE_ERROR_FAILED, system_error(ERROR_INVALID_NAME));
}

TEST_F(VelUtilsDeleteDirectory, AFileInUseIsAnErrorAndWhatWasNotReachedStays)
{
    make_ten("tree");
    const HANDLE other = open_handle("tree/5", GENERIC_READ, FILE_SHARE_READ);
    ASSERT_NE(other, INVALID_HANDLE_VALUE);
    const std::vector<std::string> all = names("tree");
    expect_failure("tree", ERROR_SHARING_VIOLATION);
    bool is_reached = true;
    for (const std::string &name : all) {
        is_reached = is_reached && name != "5";
        EXPECT_EQ(content("tree/" + name), is_reached ? "missing" : name);
    }
    CloseHandle(other);
    expect_removed("tree");
}

TEST_F(VelUtilsDeleteDirectory, AReadOnlyFileIsAnErrorAndStays)
{
    make_ten("tree");
    const std::wstring file = wide(path("tree/5"));
    ASSERT_TRUE(SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY));
    expect_failure("tree", ERROR_ACCESS_DENIED);
    EXPECT_EQ(content("tree/5"), "5");
    ASSERT_TRUE(SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_NORMAL));
    expect_removed("tree");
}

#else

TEST_F(VelUtilsDeleteDirectory, AFolderThatKeepsItsFilesIsAnErrorAndWhatWasNotReachedStays)
{
    make_folder("tree");
    for (int i = 0; i < 10; i++) {
        make_folder("tree/" + std::to_string(i));
        make_file("tree/" + std::to_string(i) + "/file");
    }
    ASSERT_EQ(g_chmod(path("tree/5").c_str(), 0500), 0);
    const std::vector<std::string> all = names("tree");
    vel_test_bow_to_permissions();
    expect_failure("tree", EACCES);
    vel_test_rise_above_permissions();
    bool is_reached = true;
    for (const std::string &name : all) {
        is_reached = is_reached && name != "5";
        EXPECT_EQ(exists("tree/" + name + "/file"), !is_reached);
    }
    ASSERT_EQ(g_chmod(path("tree/5").c_str(), 0700), 0);
}

TEST_F(VelUtilsDeleteDirectory, AFolderThatMayNotBeListedIsAnError)
{
    make_ten("tree");
    ASSERT_EQ(g_chmod(path("tree").c_str(), 0), 0);
    vel_test_bow_to_permissions();
    expect_failure("tree", EACCES);
    vel_test_rise_above_permissions();
    ASSERT_EQ(g_chmod(path("tree").c_str(), 0700), 0);
    EXPECT_EQ(content("tree/5"), "5");
}

TEST_F(VelUtilsDeleteDirectory, LinksToFilesPipesAndReadOnlyFilesGoThemselves)
{
    make_file("outside", "precious");
    make_folder("tree");
    make_file("tree/read-only");
    ASSERT_EQ(g_chmod(path("tree/read-only").c_str(), 0), 0);
    ASSERT_EQ(symlink(path("outside").c_str(), path("tree/link").c_str()), 0);
    ASSERT_EQ(symlink("nowhere", path("tree/dangling").c_str()), 0);
    ASSERT_EQ(mkfifo(path("tree/pipe").c_str(), 0600), 0);
    vel_test_bow_to_permissions();
    expect_removed("tree");
    vel_test_rise_above_permissions();
    EXPECT_EQ(content("outside"), "precious");
}

// Somebody replaces a folder by a link again and again; whichever the deletion meets, what the link
// leads to stays.
TEST_F(VelUtilsDeleteDirectory, AFolderThatBecomesALinkMeanwhileIsNotFollowed)
{
    make_outside();
    ASSERT_EQ(symlink(path("outside").c_str(), path("a link").c_str()), 0);
    std::atomic<bool> done = false;
    std::thread other([&] {
        while (!done)
            renameat2(AT_FDCWD, path("tree/folder").c_str(), AT_FDCWD, path("a link").c_str(),
                      RENAME_EXCHANGE);
    });
    for (int i = 0; i < 300; i++) {
        vel_utils_delete_directory(path("tree").c_str(), nullptr);
        g_mkdir(path("tree").c_str(), 0700);
        g_mkdir(path("tree/folder").c_str(), 0700);
        ASSERT_EQ(content("outside/precious"), "precious");
        ASSERT_EQ(content("outside/folder/precious too"), "precious");
    }
    done = true;
    other.join();
}

#endif
