// The settings database: one table with the placement of each named window.
#include "vel_main_window.h"

#include <gio/gio.h>
#include <shlobj.h>
#include <sqlite3.h>

#include "vel_gui.h"
#include "vel_utils.h"
#include "vel_utils_sqlite3.h"

namespace
{

constexpr char FOLDER[] = "\\Halvorine\\Quorlen";
constexpr char FILE_NAME[] = "\\settings.db";
constexpr char WINDOW_NAME[] = "MainWindow";

/// Another instance may be writing.
constexpr int BUSY_TIMEOUT_MS = 30000;

constexpr char CREATE_STATEMENT[] =
    "create table if not exists WINDOW_PLACEMENT(NAME TEXT PRIMARY KEY, SHOW_CMD INT NOT NULL, X0 "
    "INT NOT NULL, Y0 INT NOT NULL, X1 INT NOT NULL, Y1 INT NOT NULL)";
constexpr char SELECT_STATEMENT[] =
    "select name, show_cmd, x0, y0, x1, y1 from WINDOW_PLACEMENT where name = ?";
constexpr char INSERT_STATEMENT[] = "insert or replace into WINDOW_PLACEMENT(NAME, SHOW_CMD, X0, "
                                    "Y0, X1, Y1) values (?, ?, ?, ?, ?, ?)";

} // namespace

/// The settings folder as UTF-8. The caller frees it.
static gchar *vel_main_window_settings_folder(GError **error)
{
    PWSTR roaming = nullptr;
    const HRESULT result = SHGetKnownFolderPath(FOLDERID_RoamingAppData, 0, nullptr, &roaming);
    gchar *folder = nullptr;
    if (SUCCEEDED(result)) {
        g_autofree gchar *base = g_utf16_to_utf8(reinterpret_cast<const gunichar2 *>(roaming), -1,
                                                 nullptr, nullptr, error);
        folder = base != nullptr ? g_strconcat(base, FOLDER, nullptr) : nullptr;
    } else {
        g_autofree gchar *reason = g_win32_error_message(result);
        g_set_error(error, G_IO_ERROR, G_IO_ERROR_FAILED,
                    "The folder for application data was not found: %s", reason);
    }
    CoTaskMemFree(roaming);
    return folder;
}

/// The database file's path, its folder made. The caller frees it.
static gchar *vel_main_window_settings_path(GError **error)
{
    g_autofree gchar *folder = vel_main_window_settings_folder(error);
    if (folder == nullptr)
        return nullptr;
    GError *failure = nullptr;
    vel_utils_mkdir_with_parents(folder, &failure);
    if (failure != nullptr) {
        g_propagate_prefixed_error(error, failure, "Creating the folder %s failed: ", folder);
        return nullptr;
    }
    return g_strconcat(folder, FILE_NAME, nullptr);
}

static void vel_main_window_open_database(vel_main_window *window, const gchar *path,
                                          GError **error)
{
    if (sqlite3_open(path, &window->settings_db) != SQLITE_OK)
        g_set_error(error, G_IO_ERROR, G_IO_ERROR_FAILED,
                    "Creating an SqLite database connection failed: %s",
                    sqlite3_errmsg(window->settings_db));
}

void vel_main_window_open_settings(vel_main_window *window)
{
    g_autoptr(GError) error = nullptr;
    g_autofree gchar *path = vel_main_window_settings_path(&error);
    if (path != nullptr)
        vel_main_window_open_database(window, path, &error);
    if (error != nullptr)
        vel_gui_abort(error->message);
    sqlite3_busy_timeout(window->settings_db, BUSY_TIMEOUT_MS);
    vel_utils_sqlite3_exec(window->settings_db, CREATE_STATEMENT, 0);
}

void vel_main_window_close_settings(vel_main_window *window)
{
    if (window->settings_db != nullptr)
        sqlite3_close_v2(window->settings_db);
    window->settings_db = nullptr;
}

void vel_main_window_save_placement(vel_main_window *window)
{
    WINDOWPLACEMENT placement = {};
    placement.length = sizeof placement;
    GetWindowPlacement(window->hwnd, &placement);
    const RECT &normal = placement.rcNormalPosition;
    vel_utils_sqlite3_exec(window->settings_db, INSERT_STATEMENT, 6,               //
                           VEL_TABLE_COLUMN_TYPE_STR, WINDOW_NAME,                 //
                           VEL_TABLE_COLUMN_TYPE_INT32, gint32(placement.showCmd), //
                           VEL_TABLE_COLUMN_TYPE_INT32, gint32(normal.left),       //
                           VEL_TABLE_COLUMN_TYPE_INT32, gint32(normal.top),        //
                           VEL_TABLE_COLUMN_TYPE_INT32, gint32(normal.right),      //
                           VEL_TABLE_COLUMN_TYPE_INT32, gint32(normal.bottom));
}

static void vel_main_window_apply_placement(vel_main_window *window, sqlite3_stmt *stored)
{
    WINDOWPLACEMENT placement = {};
    placement.length = sizeof placement;
    placement.showCmd = UINT(sqlite3_column_int(stored, 1));
    placement.rcNormalPosition = {sqlite3_column_int(stored, 2), sqlite3_column_int(stored, 3),
                                  sqlite3_column_int(stored, 4), sqlite3_column_int(stored, 5)};
    SetWindowPlacement(window->hwnd, &placement);
}

void vel_main_window_show(vel_main_window *window)
{
    sqlite3_stmt *const stored = vel_utils_sqlite3_select_one(
        window->settings_db, SELECT_STATEMENT, 1, VEL_TABLE_COLUMN_TYPE_STR, WINDOW_NAME);
    if (stored != nullptr) {
        vel_main_window_apply_placement(window, stored);
        sqlite3_finalize(stored);
    } else {
        ShowWindow(window->hwnd, SW_SHOWNORMAL);
    }
    UpdateWindow(window->hwnd);
}
