// The settings database and the window placement that it keeps between runs.
#include "vel_fatal_box.h"
#include "vel_main_window_fixture.h"
#include "vel_test_box.h"

namespace
{

using Row = std::vector<std::string>;

class VelMainWindowSettings : public VelMainWindowTest
{
protected:
    /// The stored placement of the main window; empty without one.
    Row stored()
    {
        Row row;
        query("select name, show_cmd, x0, y0, x1, y1 from WINDOW_PLACEMENT", &row);
        return row;
    }

    void store(const std::string &values)
    {
        query("create table if not exists WINDOW_PLACEMENT(NAME TEXT PRIMARY KEY, SHOW_CMD INT NOT "
              "NULL, X0 INT NOT NULL, Y0 INT NOT NULL, X1 INT NOT NULL, Y1 INT NOT NULL);"
              "insert or replace into WINDOW_PLACEMENT values ('MainWindow', " +
              values + ")");
    }

    WINDOWPLACEMENT placement() const
    {
        WINDOWPLACEMENT now = {};
        now.length = sizeof now;
        GetWindowPlacement(window->hwnd, &now);
        return now;
    }

    RECT bounds() const
    {
        RECT rect;
        GetWindowRect(window->hwnd, &rect);
        return rect;
    }

    static void expectRect(const RECT &rect, const RECT &wanted)
    {
        EXPECT_EQ(rect.left, wanted.left);
        EXPECT_EQ(rect.top, wanted.top);
        EXPECT_EQ(rect.right, wanted.right);
        EXPECT_EQ(rect.bottom, wanted.bottom);
    }
};

using VelMainWindowSettingsDeathTest = VelMainWindowSettings;

/// Holds the settings database for a while, as another instance that is writing would.
class Writer
{
public:
    Writer(const std::string &path, guint milliseconds) : milliseconds_(milliseconds)
    {
        EXPECT_EQ(sqlite3_open(path.c_str(), &db_), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(db_, "begin exclusive", nullptr, nullptr, nullptr), SQLITE_OK);
        thread_ = g_thread_new("Writer", run, this);
    }

    ~Writer()
    {
        g_thread_join(thread_);
    }

    Writer(const Writer &) = delete;
    Writer &operator=(const Writer &) = delete;

private:
    static gpointer run(gpointer data)
    {
        auto *const writer = static_cast<Writer *>(data);
        g_usleep(writer->milliseconds_ * 1000UL);
        EXPECT_EQ(sqlite3_exec(writer->db_, "commit", nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(writer->db_);
        return nullptr;
    }

    guint milliseconds_;
    sqlite3 *db_ = nullptr;
    GThread *thread_ = nullptr;
};

} // namespace

TEST_F(VelMainWindowSettings, TheFirstRunMakesFolderAndDatabase)
{
    ASSERT_FALSE(g_file_test((folder.path + "\\Halvorine").c_str(), G_FILE_TEST_EXISTS));
    create();
    EXPECT_TRUE(g_file_test(settingsPath().c_str(), G_FILE_TEST_IS_REGULAR));
    EXPECT_EQ(stored(), Row());
}

TEST_F(VelMainWindowSettings, TheTableHasExactlyItsColumns)
{
    create();
    Row row;
    query("select name, sql from sqlite_master where type = 'table'", &row);
    EXPECT_EQ(row, Row({"WINDOW_PLACEMENT",
                        "CREATE TABLE WINDOW_PLACEMENT(NAME TEXT PRIMARY KEY, SHOW_CMD INT NOT "
                        "NULL, X0 INT NOT NULL, Y0 INT NOT NULL, X1 INT NOT NULL, Y1 INT NOT "
                        "NULL)"}));
}

TEST_F(VelMainWindowSettings, TheFirstRunShowsTheWindowNormallyWith640By480)
{
    create();
    show();
    EXPECT_TRUE(IsWindowVisible(window->hwnd));
    EXPECT_EQ(placement().showCmd, UINT{SW_SHOWNORMAL});
    EXPECT_EQ(bounds().right - bounds().left, 640);
    EXPECT_EQ(bounds().bottom - bounds().top, 480);
}

TEST_F(VelMainWindowSettings, ShowingPaintsTheWindowAtOnce)
{
    create();
    vel_main_window_show(window);
    EXPECT_FALSE(GetUpdateRect(window->hwnd, nullptr, FALSE)) << "without a stored placement";
    closeAndDone();
    create();
    vel_main_window_show(window);
    EXPECT_FALSE(GetUpdateRect(window->hwnd, nullptr, FALSE)) << "with a stored placement";
}

TEST_F(VelMainWindowSettings, ClosingStoresThePlacement)
{
    create();
    show();
    MoveWindow(window->hwnd, 120, 80, 700, 500, TRUE);
    const RECT normal = placement().rcNormalPosition;
    closeAndDone();
    EXPECT_EQ(stored(),
              Row({"MainWindow", "1", std::to_string(normal.left), std::to_string(normal.top),
                   std::to_string(normal.right), std::to_string(normal.bottom)}));
    EXPECT_EQ(normal.right - normal.left, 700);
    EXPECT_EQ(normal.bottom - normal.top, 500);
}

TEST_F(VelMainWindowSettings, TheStoredPlacementIsRestored)
{
    create();
    show();
    MoveWindow(window->hwnd, 120, 80, 700, 500, TRUE);
    const RECT before = bounds();
    closeAndDone();
    create();
    show();
    EXPECT_EQ(placement().showCmd, UINT{SW_SHOWNORMAL});
    expectRect(bounds(), before);
}

TEST_F(VelMainWindowSettings, EveryCloseReplacesTheOneRow)
{
    store("1, 10, 20, 510, 420");
    create();
    show();
    expectRect(placement().rcNormalPosition, {10, 20, 510, 420});
    MoveWindow(window->hwnd, 200, 100, 300, 200, TRUE);
    closeAndDone();
    EXPECT_EQ(stored(), Row({"MainWindow", "1", "200", "100", "500", "300"}));
}

TEST_F(VelMainWindowSettings, OtherWindowsRowsAreLeftAlone)
{
    store("1, 10, 20, 510, 420");
    query("insert into WINDOW_PLACEMENT values ('Other', 1, 2, 3, 4, 5)");
    create();
    show();
    expectRect(placement().rcNormalPosition, {10, 20, 510, 420});
    closeAndDone();
    Row row;
    query("select show_cmd, x0, y0, x1, y1 from WINDOW_PLACEMENT where name = 'Other'", &row);
    EXPECT_EQ(row, Row({"1", "2", "3", "4", "5"}));
}

TEST_F(VelMainWindowSettings, AMaximisedWindowStaysSoAndKeepsItsNormalRectangle)
{
    store("1, 100, 90, 700, 490");
    create();
    show();
    ShowWindow(window->hwnd, SW_MAXIMIZE);
    vel_test_pump();
    const RECT maximised = bounds();
    closeAndDone();
    EXPECT_EQ(stored(), Row({"MainWindow", "3", "100", "90", "700", "490"}));
    create();
    show();
    EXPECT_TRUE(IsZoomed(window->hwnd));
    expectRect(bounds(), maximised);
    expectRect(placement().rcNormalPosition, {100, 90, 700, 490});
}

TEST_F(VelMainWindowSettings, AMinimisedWindowStaysSoAndKeepsItsNormalRectangle)
{
    store("1, 100, 90, 700, 490");
    create();
    show();
    ShowWindow(window->hwnd, SW_MINIMIZE);
    vel_test_pump();
    closeAndDone();
    EXPECT_EQ(stored(), Row({"MainWindow", "2", "100", "90", "700", "490"}));
    create();
    show();
    EXPECT_TRUE(IsIconic(window->hwnd));
    expectRect(placement().rcNormalPosition, {100, 90, 700, 490});
}

TEST_F(VelMainWindowSettings, ARectangleThatSticksOutOfTheScreenIsAppliedUnchanged)
{
    const int right = GetSystemMetrics(SM_CXSCREEN);
    const RECT wanted = {right - 100, 200, right + 500, 700};
    store("1, " + std::to_string(wanted.left) + ", 200, " + std::to_string(wanted.right) + ", 700");
    create();
    show();
    expectRect(bounds(), wanted);
}

TEST_F(VelMainWindowSettings, ARectangleOnAMissingScreenIsHandedToTheSystemUnchanged)
{
    store("1, 9000, 8000, 9640, 8480");
    create();
    show();
    // The system may move such a window into view; a plain window shows what it does.
    const HWND plain = CreateWindowExW(0, L"Static", L"", WS_OVERLAPPEDWINDOW, 0, 0, 50, 50,
                                       nullptr, nullptr, nullptr, nullptr);
    WINDOWPLACEMENT same = {};
    same.length = sizeof same;
    same.showCmd = SW_SHOWNORMAL;
    same.rcNormalPosition = {9000, 8000, 9640, 8480};
    SetWindowPlacement(plain, &same);
    RECT wanted;
    GetWindowRect(plain, &wanted);
    DestroyWindow(plain);
    expectRect(bounds(), wanted);
}

TEST_F(VelMainWindowSettings, TheDatabaseIsWaitedForThirtySeconds)
{
    create();
    sqlite3_stmt *timeout = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(window->settings_db, "pragma busy_timeout", -1, &timeout, nullptr),
              SQLITE_OK);
    ASSERT_EQ(sqlite3_step(timeout), SQLITE_ROW);
    EXPECT_EQ(sqlite3_column_int(timeout, 0), 30000);
    sqlite3_finalize(timeout);
}

TEST_F(VelMainWindowSettings, SavingWaitsForAnotherInstanceThatIsWriting)
{
    create();
    show();
    const ULONGLONG start = GetTickCount64();
    {
        const Writer writer(settingsPath(), 700);
        closeAndDone();
    }
    EXPECT_GE(GetTickCount64() - start, 600u);
    EXPECT_EQ(stored().size(), 6u);
}

TEST_F(VelMainWindowSettings, StartingWaitsForAnotherInstanceThatIsWriting)
{
    create();
    done();
    const ULONGLONG start = GetTickCount64();
    {
        const Writer writer(settingsPath(), 700);
        create();
    }
    EXPECT_GE(GetTickCount64() - start, 600u);
}

TEST_F(VelMainWindowSettingsDeathTest, AFileThatIsNoDatabaseEndsTheProgram)
{
    g_mkdir_with_parents(settingsFolder().c_str(), 0700);
    makeFile("Halvorine\\Quorlen\\settings.db", std::string(5000, 'x'));
    VEL_EXPECT_ERROR_BOX(vel_fatal_box_install();
                         create(), "SQL statement failed: file is not a database");
}

TEST_F(VelMainWindowSettingsDeathTest, ADatabaseThatCannotBeOpenedEndsTheProgram)
{
    g_mkdir_with_parents(settingsPath().c_str(), 0700);
    VEL_EXPECT_ERROR_BOX(create(), "Creating an SqLite database connection failed: "
                                   "unable to open database file");
}

TEST_F(VelMainWindowSettingsDeathTest, AFolderThatCannotBeMadeEndsTheProgram)
{
    makeFile("Halvorine", "a file where a folder should be");
    EXPECT_EXIT(
        {
            vel_test_answer_boxes();
            create();
        },
        testing::ExitedWithCode(1),
        "\\[box Error\\] Creating the folder .*Halvorine.Quorlen failed: Not a directory");
}
