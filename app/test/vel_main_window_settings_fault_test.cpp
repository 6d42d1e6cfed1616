// The settings database when something is wrong with it: locked, unwritable, damaged, of another
// version. Each ends the program with a box that tells what it is, and none changes a database that
// is whole.
#include "vel_fatal_box.h"
#include "vel_main_window_fixture.h"
#include "vel_sqlite3_faults.h"
#include "vel_test_box.h"

#include <filesystem>

namespace
{

int busy_timeout_asked_for;
int busy_timeout_shortened_to; // 0: not at all

} // namespace

extern "C" {

int __real_sqlite3_busy_timeout(sqlite3 *db, int milliseconds);
int __wrap_sqlite3_busy_timeout(sqlite3 *db, int milliseconds);

// Nobody wants to wait half a minute for each test of a database that stays locked.
int __wrap_sqlite3_busy_timeout(sqlite3 *db, int milliseconds)
{
    busy_timeout_asked_for = milliseconds;
    return __real_sqlite3_busy_timeout(db, busy_timeout_shortened_to > 0 ? busy_timeout_shortened_to
                                                                         : milliseconds);
}

} // extern "C"

namespace
{

constexpr char TABLE[] = "create table WINDOW_PLACEMENT(NAME TEXT PRIMARY KEY, SHOW_CMD INT NOT "
                         "NULL, X0 INT NOT NULL, Y0 INT NOT NULL, X1 INT NOT NULL, Y1 INT NOT "
                         "NULL);";
constexpr char ROWS[] = "insert into WINDOW_PLACEMENT values ('MainWindow', 1, 10, 20, 510, 420);"
                        "insert into WINDOW_PLACEMENT values ('Other', 1, 2, 3, 4, 5);";

/// Another program's hold on the database; it is not let go of.
void lock_database(const std::string &path, const char *how)
{
    sqlite3 *db = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(db, how, nullptr, nullptr, nullptr), SQLITE_OK);
}

/// Tells on standard error how long the program has waited, when it ends.
void tell_wait_at_exit()
{
    static ULONGLONG start;
    start = GetTickCount64();
    atexit([] {
        const bool is_enough = GetTickCount64() - start >= ULONGLONG(busy_timeout_shortened_to);
        fprintf(stderr, "[asked for %d ms, waited %s]", busy_timeout_asked_for,
                is_enough ? "long enough" : "too short");
    });
}

class VelMainWindowSettingsFault : public VelMainWindowTest
{
protected:
    void SetUp() override
    {
        VelMainWindowTest::SetUp();
        vel_fatal_box_install();
        busy_timeout_shortened_to = 0;
    }

    /// A database with the table and two rows, and a copy of it beside it.
    void makeIntact(const std::string &sql = std::string(TABLE) + ROWS)
    {
        query(sql);
        copy(settingsPath(), settingsPath() + ".before");
    }

    static void copy(const std::string &from, const std::string &to)
    {
        write(to, contents(from));
    }

    static std::string contents(const std::string &path)
    {
        gchar *bytes = nullptr;
        gsize size = 0;
        EXPECT_TRUE(g_file_get_contents(path.c_str(), &bytes, &size, nullptr)) << path;
        const std::string result(bytes != nullptr ? bytes : "", size);
        g_free(bytes);
        return result;
    }

    static void write(const std::string &path, const std::string &bytes)
    {
        EXPECT_TRUE(g_file_set_contents(path.c_str(), bytes.data(),
                                        static_cast<gssize>(bytes.size()), nullptr));
    }

    /// The databases that the ended child processes of death tests have left.
    std::vector<std::string> leftDatabases() const
    {
        std::vector<std::string> paths;
        for (const auto &entry : std::filesystem::recursive_directory_iterator(folder.path))
            if (entry.path().filename() == "settings.db")
                paths.push_back(entry.path().string());
        return paths;
    }

    /// Not a byte of them has changed, and no journal wants to change one.
    void expectLeftAsTheyWere()
    {
        const std::vector<std::string> paths = leftDatabases();
        ASSERT_FALSE(paths.empty());
        for (const std::string &path : paths) {
            EXPECT_TRUE(contents(path) == contents(path + ".before")) << path;
            EXPECT_FALSE(g_file_test((path + "-journal").c_str(), G_FILE_TEST_EXISTS));
        }
    }

    /// As the next start of the program finds it.
    static std::vector<std::string> rowsOf(const std::string &path, const std::string &sql)
    {
        std::vector<std::string> row;
        sqlite3 *db = nullptr;
        EXPECT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
        auto take = [](void *taken, int n, char **values, char **) {
            for (int i = 0; i < n; i++)
                static_cast<std::vector<std::string> *>(taken)->push_back(values[i]);
            return 0;
        };
        EXPECT_EQ(sqlite3_exec(db, sql.c_str(), take, &row, nullptr), SQLITE_OK)
            << sqlite3_errmsg(db);
        sqlite3_close(db);
        return row;
    }

    void expectLeftWithItsRows()
    {
        for (const std::string &path : leftDatabases()) {
            EXPECT_EQ(rowsOf(path, "pragma integrity_check"), std::vector<std::string>{"ok"});
            EXPECT_EQ(rowsOf(path, "select x1 from WINDOW_PLACEMENT order by name"),
                      std::vector<std::string>({"510", "4"}));
        }
    }

    void createAndShow()
    {
        create();
        show();
    }
};

using VelMainWindowSettingsFaultDeathTest = VelMainWindowSettingsFault;

} // namespace

TEST_F(VelMainWindowSettingsFaultDeathTest, ADatabaseThatStaysLockedIsWaitedForThenEndsTheStart)
{
    VEL_EXPECT_ERROR_BOX(
        {
            makeIntact();
            lock_database(settingsPath(), "begin exclusive");
            busy_timeout_shortened_to = 400;
            tell_wait_at_exit();
            create();
        },
        "SQL statement failed: database is locked\n[asked for 30000 ms, waited long enough]");
    expectLeftAsTheyWere();
}

TEST_F(VelMainWindowSettingsFaultDeathTest, ADatabaseThatStaysLockedEndsTheClose)
{
    for (const char *const how : {"begin exclusive", "begin immediate"}) {
        VEL_EXPECT_ERROR_BOX(
            {
                makeIntact();
                busy_timeout_shortened_to = 400;
                createAndShow();
                lock_database(settingsPath(), how);
                closeAndDone();
            },
            "Executing an SQL failed: database is locked");
    }
    expectLeftAsTheyWere();
}

TEST_F(VelMainWindowSettingsFault, AStartThatOnlyReadsDoesNotWaitForAWriterThatHasNotWrittenYet)
{
    query(std::string(TABLE) + ROWS);
    sqlite3 *writer = nullptr;
    ASSERT_EQ(sqlite3_open(settingsPath().c_str(), &writer), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(writer, "begin immediate", nullptr, nullptr, nullptr), SQLITE_OK);
    const ULONGLONG start = GetTickCount64();
    createAndShow();
    EXPECT_LT(GetTickCount64() - start, 5000U);
    sqlite3_close(writer);
    closeAndDone();
}

TEST_F(VelMainWindowSettingsFaultDeathTest, AReadOnlyFolderWithoutADatabaseEndsTheStart)
{
    VEL_EXPECT_ERROR_BOX(
        {
            g_mkdir_with_parents(settingsFolder().c_str(), 0700);
            vel_sqlite3_install_faults();
            vel_sqlite3_faults.folder_is_read_only = true;
            create();
        },
        "Creating an SqLite database connection failed: unable to open database file");
    EXPECT_TRUE(leftDatabases().empty());
}

TEST_F(VelMainWindowSettingsFaultDeathTest, AReadOnlyFolderWithADatabaseEndsTheClose)
{
    VEL_EXPECT_ERROR_BOX(
        {
            makeIntact();
            vel_sqlite3_install_faults();
            vel_sqlite3_faults.folder_is_read_only = true;
            createAndShow();
            closeAndDone();
        },
        "Executing an SQL failed: unable to open database file");
    expectLeftAsTheyWere();
}

TEST_F(VelMainWindowSettingsFaultDeathTest, AReadOnlyDatabaseEndsTheClose)
{
    VEL_EXPECT_ERROR_BOX(
        {
            makeIntact();
            vel_sqlite3_install_faults();
            vel_sqlite3_faults.database_is_read_only = true;
            createAndShow();
            closeAndDone();
        },
        "Executing an SQL failed: attempt to write a readonly database");
    expectLeftAsTheyWere();
}

TEST_F(VelMainWindowSettingsFaultDeathTest, ClosingAgainBehindTheBoxOfAFailedCloseEndsTheProgram)
{
    VEL_EXPECT_ERROR_BOX(
        {
            makeIntact();
            vel_sqlite3_install_faults();
            vel_sqlite3_faults.database_is_read_only = true;
            createAndShow();
            PostMessageW(window->hwnd, WM_CLOSE, 0, 0);
            closeAndDone();
        },
        "Executing an SQL failed: attempt to write a readonly database");
    expectLeftAsTheyWere();
}

TEST_F(VelMainWindowSettingsFaultDeathTest, WritesOfACloseMayFailAndLoseNoRow)
{
    // How many there are.
    query(std::string(TABLE) + ROWS);
    vel_sqlite3_install_faults();
    createAndShow();
    vel_sqlite3_faults.writes = 0;
    closeAndDone();
    const int writes = vel_sqlite3_faults.writes;
    ASSERT_GE(writes, 4);
    g_unlink(settingsPath().c_str());
    for (const int n : {1, writes / 2, writes}) {
        VEL_EXPECT_ERROR_BOX(
            {
                query(std::string(TABLE) + ROWS);
                vel_sqlite3_install_faults();
                create();
                vel_sqlite3_faults.writes = 0;
                vel_sqlite3_faults.failing_write = n;
                vel_sqlite3_faults.failure = n == 1 ? SQLITE_FULL : SQLITE_IOERR_WRITE;
                closeAndDone();
            },
            n == 1 ? "Executing an SQL failed: database or disk is full"
                   : "Executing an SQL failed: disk I/O error");
    }
    EXPECT_EQ(leftDatabases().size(), 3U);
    expectLeftWithItsRows();
}

TEST_F(VelMainWindowSettingsFault, AnEmptyFileBecomesADatabase)
{
    g_mkdir_with_parents(settingsFolder().c_str(), 0700);
    write(settingsPath(), "");
    createAndShow();
    closeAndDone();
    EXPECT_EQ(rowsOf(settingsPath(), "select name from WINDOW_PLACEMENT"),
              std::vector<std::string>{"MainWindow"});
}

TEST_F(VelMainWindowSettingsFaultDeathTest, ADatabaseThatIsCutOffEndsTheProgram)
{
    // The header, a part of it and of the first page, and whole pages.
    for (const int size : {100, 1000, 4096, 8192}) {
        VEL_EXPECT_ERROR_BOX(
            {
                makeIntact();
                write(settingsPath(), contents(settingsPath()).substr(0, gsize(size)));
                copy(settingsPath(), settingsPath() + ".before");
                createAndShow();
            },
            "SQL statement failed: database disk image is malformed");
    }
    expectLeftAsTheyWere();
}

TEST_F(VelMainWindowSettingsFaultDeathTest, ATableOfDamagedRowsEndsTheStart)
{
    VEL_EXPECT_ERROR_BOX(
        {
            makeIntact();
            std::string bytes = contents(settingsPath());
            ASSERT_GE(bytes.size(), 12288U);
            bytes.replace(4096, 8192, 8192, '\xFF');
            write(settingsPath(), bytes);
            copy(settingsPath(), settingsPath() + ".before");
            createAndShow();
        },
        "Moving to the first record in the result set failed: database disk image is malformed");
    expectLeftAsTheyWere();
}

TEST_F(VelMainWindowSettingsFaultDeathTest, ATableWithOtherColumnsEndsTheStart)
{
    VEL_EXPECT_ERROR_BOX(
        {
            makeIntact("create table WINDOW_PLACEMENT(NAME TEXT PRIMARY KEY, WIDTH INT);"
                       "insert into WINDOW_PLACEMENT values ('MainWindow', 640)");
            createAndShow();
        },
        "SQL statement failed: no such column: show_cmd");
    expectLeftAsTheyWere();
}

TEST_F(VelMainWindowSettingsFault, ANewerVersionsColumnsAndTablesAreKept)
{
    query(std::string(TABLE) + ROWS +
          "alter table WINDOW_PLACEMENT add MONITOR TEXT;"
          "alter table WINDOW_PLACEMENT add ZOOM INT NOT NULL DEFAULT 100;"
          "update WINDOW_PLACEMENT set MONITOR = 'left', ZOOM = 150;"
          "create table RECENT_FILES(PATH TEXT);"
          "insert into RECENT_FILES values ('a.csv');"
          "pragma user_version = 7");
    createAndShow();
    MoveWindow(window->hwnd, 30, 40, 500, 400, TRUE);
    closeAndDone();
    EXPECT_EQ(rowsOf(settingsPath(), "select x0, y0, x1, y1, zoom from WINDOW_PLACEMENT where name "
                                     "= 'MainWindow'"),
              std::vector<std::string>({"30", "40", "530", "440", "100"}));
    EXPECT_EQ(rowsOf(settingsPath(), "select x1, monitor, zoom from WINDOW_PLACEMENT where name = "
                                     "'Other'"),
              std::vector<std::string>({"4", "left", "150"}));
    EXPECT_EQ(rowsOf(settingsPath(), "select path from RECENT_FILES"),
              std::vector<std::string>{"a.csv"});
    EXPECT_EQ(rowsOf(settingsPath(), "pragma user_version"), std::vector<std::string>{"7"});
}

TEST_F(VelMainWindowSettingsFaultDeathTest, ANewerVersionsColumnThatMustBeFilledEndsTheClose)
{
    VEL_EXPECT_ERROR_BOX(
        {
            makeIntact("create table WINDOW_PLACEMENT(NAME TEXT PRIMARY KEY, SHOW_CMD INT NOT "
                       "NULL, X0 INT NOT NULL, Y0 INT NOT NULL, X1 INT NOT NULL, Y1 INT NOT NULL, "
                       "MONITOR TEXT NOT NULL);"
                       "insert into WINDOW_PLACEMENT values ('MainWindow', 1, 2, 3, 510, 5, 'l');"
                       "insert into WINDOW_PLACEMENT values ('Other', 1, 2, 3, 4, 5, 'r')");
            createAndShow();
            closeAndDone();
        },
        "Executing an SQL failed: NOT NULL constraint failed: WINDOW_PLACEMENT.MONITOR");
    expectLeftWithItsRows();
}
