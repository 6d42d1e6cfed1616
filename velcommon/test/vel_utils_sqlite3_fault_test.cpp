// Databases in real files when something is wrong with them: what the helpers end with, and that
// what was stored before is still there.
#include "vel_utils_sqlite3.h"

#include "vel_death_test.h"
#include "vel_sqlite3_faults.h"
#include "vel_test_permissions.h"

#include <glib/gstdio.h>

#include <filesystem>
#include <string>

namespace
{

constexpr gchar INSERT[] = "INSERT OR REPLACE INTO T (NAME, X) VALUES (?, ?)";
constexpr char FOLDER_VARIABLE[] = "VEL_TEST_SQLITE3_FOLDER";

// The children of death tests find the folder of their parent in the environment.
struct VelUtilsSqlite3FaultDeathTest : testing::Test {
    std::string folder;
    bool is_ours = false;

    void SetUp() override
    {
        const gchar *const given = g_getenv(FOLDER_VARIABLE);
        is_ours = given == nullptr;
        g_autofree gchar *made = is_ours ? g_dir_make_tmp("vel-sqlite3-XXXXXX", nullptr) : nullptr;
        folder = is_ours ? made : given;
        g_setenv(FOLDER_VARIABLE, folder.c_str(), TRUE);
    }

    void TearDown() override
    {
        if (!is_ours)
            return;
        g_unsetenv(FOLDER_VARIABLE);
        g_chmod(folder.c_str(), 0700);
        std::filesystem::remove_all(folder);
    }

    sqlite3 *open() const
    {
        sqlite3 *db = nullptr;
        EXPECT_EQ(sqlite3_open((folder + "/test.db").c_str(), &db), SQLITE_OK);
        return db;
    }

    void make() const
    {
        std::filesystem::remove(folder + "/test.db");
        std::filesystem::remove(folder + "/test.db-journal");
        sqlite3 *const db = open();
        vel_utils_sqlite3_exec(db, "CREATE TABLE T (NAME TEXT PRIMARY KEY, X INT NOT NULL)", 0);
        replace(db, "one", 1);
        replace(db, "two", 2);
        sqlite3_close(db);
    }

    static void replace(sqlite3 *db, const gchar *name, gint32 x)
    {
        vel_utils_sqlite3_exec(db, INSERT, 2, VEL_TABLE_COLUMN_TYPE_STR, name,
                               VEL_TABLE_COLUMN_TYPE_INT32, x);
    }

    gint32 value(const gchar *name) const
    {
        sqlite3 *const db = open();
        const gint32 x = vel_utils_sqlite3_select_int(db, "SELECT X FROM T WHERE NAME = ?", 1,
                                                      VEL_TABLE_COLUMN_TYPE_STR, name);
        sqlite3_close(db);
        return x;
    }

    void expect_intact() const
    {
        EXPECT_EQ(value("one"), 1);
        EXPECT_EQ(value("two"), 2);
        EXPECT_EQ(value("three"), -1);
    }
};

} // namespace

TEST_F(VelUtilsSqlite3FaultDeathTest, EveryWriteMayFailAndLosesNothing)
{
    if (is_ours)
        make();
    vel_sqlite3_install_faults();
    sqlite3 *const db = open();
    vel_sqlite3_faults.writes = 0;
    replace(db, "one", 1);
    const int writes = vel_sqlite3_faults.writes;
    ASSERT_GE(writes, 4);
    for (int n = 1; n <= writes; n++) {
        SCOPED_TRACE(n);
        VEL_EXPECT_FATAL(
            {
                vel_sqlite3_faults = {};
                vel_sqlite3_faults.failing_write = n;
                replace(db, "one", 100);
            },
            "Executing an SQL failed: disk I/O error");
        if (is_ours)
            expect_intact();
    }
    sqlite3_close(db);
}

TEST_F(VelUtilsSqlite3FaultDeathTest, ReadOnlyFolderCanBeReadAndNotWritten)
{
    if (is_ours)
        make();
    ASSERT_EQ(g_chmod(folder.c_str(), 0500), 0);
    vel_test_bow_to_permissions();
    sqlite3 *const db = open();
    EXPECT_EQ(vel_utils_sqlite3_select_int(db, "SELECT X FROM T WHERE NAME = 'two'", 0), 2);
    VEL_EXPECT_FATAL(replace(db, "one", 100),
                     "Executing an SQL failed: attempt to write a readonly database");
    sqlite3_close(db);
    vel_test_rise_above_permissions();
    expect_intact();
}

TEST_F(VelUtilsSqlite3FaultDeathTest, LockedDatabaseIsWaitedForAsLongAsAskedFor)
{
    if (is_ours)
        make();
    sqlite3 *const other = open();
    if (is_ours)
        vel_utils_sqlite3_exec(other, "BEGIN EXCLUSIVE", 0);
    VEL_EXPECT_FATAL(
        {
            sqlite3 *const db = open();
            sqlite3_busy_timeout(db, 200);
            vel_utils_sqlite3_select_int(db, "SELECT X FROM T", 0);
        },
        "SQL statement failed: database is locked");
    sqlite3_close(other);
    expect_intact();
}
