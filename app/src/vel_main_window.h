// The viewer's one main window: the structure that everything the user does with a file works on.
// The file's own work (opening, scanning, the record cache) needs no window system:
// vel_main_window_file.cpp and vel_main_window_cache.cpp reach it only through vel_main_window_ui.h
// and the table control's model operations. Everything runs on the UI thread unless it says
// otherwise.
#pragma once

#include <atomic>
#include <glib.h>

#include "vel_buffer.h"
#include "vel_csv_parser.h"
#include "vel_gui_table.h"
#include "vel_gui_types.h"
#include "vel_table.h"

typedef struct sqlite3 sqlite3;

/// The scanner's error report: the second message parameter is a borrowed GError (WM_USER + 2).
#define VEL_MAIN_WINDOW_SCAN_ERROR_MESSAGE 1026

/// Commands of the menu and the accelerators.
enum {
    VEL_MAIN_WINDOW_COMMAND_OPEN = 1,
    VEL_MAIN_WINDOW_COMMAND_QUIT = 2,
    VEL_MAIN_WINDOW_COMMAND_OPEN_AS = 3,
    VEL_MAIN_WINDOW_COMMAND_FIND = 4,
    VEL_MAIN_WINDOW_COMMAND_FIND_NEXT = 5,
    VEL_MAIN_WINDOW_COMMAND_ABOUT = 6,
    VEL_MAIN_WINDOW_COMMAND_COPY = 7,
    VEL_MAIN_WINDOW_COMMAND_HEADERS = 8,
};

/// The timer that drives vel_main_window_update().
#define VEL_MAIN_WINDOW_UPDATE_TIMER 1

/// Records between two remembered positions; a cache miss parses one such group.
#define VEL_MAIN_WINDOW_GROUP_SIZE 100

/// Columns of `positions` and of the chunks that the scanner hands over.
enum {
    VEL_MAIN_WINDOW_POSITION_LINE = 0,
    VEL_MAIN_WINDOW_POSITION_BLOCK = 1,
    VEL_MAIN_WINDOW_POSITION_OFFSET = 2,
};

/// Fields of a record that are shown and searched at most: a header control's cost grows faster
/// than its columns, and a million of them would keep it busy for hours.
#define VEL_MAIN_WINDOW_MAX_FIELDS 16384

/// Bytes of a record that are shown at most; a cell may be as long as the file.
#define VEL_MAIN_WINDOW_MAX_RECORD_BYTES (64 << 20)

/// What the open file has more of than is shown: values of `limits_reached` and `limits_told`.
enum {
    VEL_MAIN_WINDOW_LIMIT_FIELDS = 1 << 0,
    VEL_MAIN_WINDOW_LIMIT_BYTES = 1 << 1,
};

/// Values of `scan_state`.
enum {
    VEL_MAIN_WINDOW_SCAN_IDLE = 0,
    VEL_MAIN_WINDOW_SCAN_RUNNING = 1,
    VEL_MAIN_WINDOW_SCAN_FINISHED = 2,
};

typedef struct vel_main_window {
    sqlite3 *settings_db; ///< Owned; the settings database, null until it is open.
    HWND hwnd;            ///< The main window; null when it could not be created.
    HMENU edit_menu; ///< The "&Edit" pop-up, owned by the menu bar; holds the "Headers" check mark.
    vel_gui_table table; ///< The table control.
    HICON icon;          ///< Owned; the program icon.
    HWND status_bar;     ///< Child of hwnd.

    // Written by the scanner and by closing, read by the UI thread.
    std::atomic<gint32> record_count;    ///< Records counted so far, header included.
    std::atomic<gint32> max_field_count; ///< Largest field count of those records.
    std::atomic<gint32> scan_state;      ///< VEL_MAIN_WINDOW_SCAN_…

    vel_table *cache; ///< Owned; parsed records: "line" (indexed), then COL1, COL2 … UI thread.
    vel_table positions; ///< Row k: "line" 100·k, "block", "offset"; indexed on "line". UI thread.

    vel_csv_parser parser; ///< For the record cache; settled separator and encoding. UI thread.

    GThread *scanner_thread;           ///< "File scanner", null when none was started. UI thread.
    std::atomic<gint32> stop_scanning; ///< Nonzero asks the scanner to stop. UI thread writes.
    gchar *file_path;         ///< Owned; the open file or null. Unchanged while a scan runs.
    GAsyncQueue *chunk_queue; ///< Owned; vel_table chunks of position rows, scanner to UI thread.

    gboolean headers;     ///< The first record is a header row. UI thread.
    vel_buffer cell_text; ///< The text of the last cell asked for. UI thread.

    gchar *search_text;             ///< Owned; the last search term, "" at start.
    gboolean search_case_sensitive; ///< FALSE at start.
    vel_csv_parser search_parser;   ///< The second parser on the file, used only by find.

    /// Pool bytes of `cache` right after it was last compacted. UI thread.
    gint32 cache_strings_floor;
    /// A record could not be read; the program is ending and nothing more is read. UI thread.
    gboolean cache_failed;
    /// 1 once the scanner thread has nothing left to do but return.
    std::atomic<gint32> scanner_done;
    /// Bytes that the open file has had at least; negative when not known. Written by the UI thread
    /// before a scan, then by the scanner.
    std::atomic<gint64> seen_size;
    gint32 limits_reached; ///< VEL_MAIN_WINDOW_LIMIT_… that the open file exceeds. UI thread.
    gint32 limits_told;    ///< Those of them that the user has been told. UI thread.
} vel_main_window;

/// The one instance, set by vel_main_window_init_data(): window procedures and the cell-text
/// callback find it here.
extern vel_main_window *vel_main_window_instance;

G_BEGIN_DECLS

#ifdef _WIN32
/// Creates the window with its menu, accelerators, table control, status bar, data and settings
/// database; does not show it.
/// @param window  storage of the caller's, whatever is in it; `hwnd` stays null when the window
/// could not be created
/// Every other failure ends the program with a box captioned "Error": of the settings, see
/// vel_main_window_open_settings(); "CreateAcceleratorTable failed"; "Error registering main window
/// class.". UI thread.
void vel_main_window_init(vel_main_window *window);

/// Shows the window with the placement stored by vel_main_window_save_placement(), applied as it
/// is, by default where the system likes. A settings database that fails ends the program. UI
/// thread.
void vel_main_window_show(vel_main_window *window);

/// Places the table control and the status bar in the client area and repaints all of it. UI
/// thread.
void vel_main_window_layout(vel_main_window *window);

/// Stops the scanner and releases all that the structure owns, the window included; not the
/// structure. UI thread.
void vel_main_window_done(vel_main_window *window);

/// Opens the settings database, making its folder and table where they are missing. Waits up to 30
/// s for another instance that is writing. UI thread. Failures end the program with a box captioned
/// "Error": the folder is not known or cannot be made; "Creating an SqLite database connection
/// failed: %s"; "SQL statement failed: %s".
void vel_main_window_open_settings(vel_main_window *window);

/// Stores the window's show command and normal rectangle in the settings database. Waits and fails
/// as vel_main_window_open_settings() does. UI thread.
void vel_main_window_save_placement(vel_main_window *window);

/// Closes the settings database when it is open. UI thread.
void vel_main_window_close_settings(vel_main_window *window);

/// Shows an error's message in a box captioned "Error", owned by the window; the program goes on.
/// @param error  borrowed
void vel_main_window_show_error(vel_main_window *window, const GError *error);

/// Lets the user choose a file and opens it in place of the one that is open; cancelling changes
/// nothing.
void vel_main_window_open_action(vel_main_window *window);

/// The same, with the encoding and the field separator that the user chooses in a second dialog.
void vel_main_window_open_as_action(vel_main_window *window);

/// Shows what the program is.
void vel_main_window_about_action(vel_main_window *window);

/// Puts the selected cell's text on the clipboard; nothing without a selection or while another
/// program holds it.
void vel_main_window_copy_action(vel_main_window *window);

/// Switches the header row on or off.
void vel_main_window_headers_action(vel_main_window *window);

/// Lets the user enter what to find.
/// @return TRUE when it was confirmed; the new term and case flag are stored then. The term may be
/// empty.
gboolean vel_main_window_search_terms_dialog(vel_main_window *window);

/// Finds the next field behind the selected cell that holds the search term and selects it, or
/// tells that there is none. Asks for the term first when it is empty. Returns when the search has
/// ended or the user has cancelled it. An error ends the program: "Record index out of bounds"
/// where the scan has not come to the selected record yet or no file is open, or what reading
/// reports.
void vel_main_window_find_next_action(vel_main_window *window);

/// The window procedure of class "FileViewer".
LRESULT CALLBACK vel_main_window_proc(HWND hwnd, UINT message, WPARAM wparam, LPARAM lparam);
#endif

/// Gives `cache`, `positions`, `chunk_queue`, the parsers and the texts their start values. UI
/// thread.
/// @param window  zeroed storage
void vel_main_window_init_data(vel_main_window *window);

/// Stops and joins a running scanner. UI thread; messages sent by the scanner are handled
/// meanwhile.
void vel_main_window_stop_scanner(vel_main_window *window);

/// Releases what vel_main_window_init_data() made and the file's path; the scanner must have been
/// stopped. UI thread.
void vel_main_window_done_data(vel_main_window *window);

/// Opens a file and starts the scan of it. The caller has closed the previous file. UI thread.
/// @param path       UTF-8, copied
/// @param separator  the field separator, or 0 to have it guessed
/// @param encoding   a character-set name as the parser accepts it, or null to have it detected;
/// borrowed
/// @param error      the file cannot be opened or read, its encoding is unknown or does not fit, or
/// a quote is left open in its first records; no scan was started then
void vel_main_window_open_file(vel_main_window *window, const gchar *path, gchar separator,
                               const gchar *encoding, GError **error);

/// Stops any scan and brings the window back to the state without a file; also when none is open.
/// UI thread.
void vel_main_window_close_file(vel_main_window *window);

/// The "File scanner" thread: counts the records of `file_path` and remembers the place of every
/// hundredth.
/// @param window  a vel_main_window
/// @return null
gpointer vel_main_window_file_scanner_thread(gpointer window);

/// Takes the scanner's results over: position rows, columns, row count, status text. Tells the user
/// once when the file has more than can be shown, in a box that names the limit. UI thread, once a
/// second.
void vel_main_window_update(vel_main_window *window);

/// Adds the columns that the table control still lacks for the fields seen so far, up to
/// VEL_MAIN_WINDOW_MAX_FIELDS. UI thread.
void vel_main_window_update_columns(vel_main_window *window);

/// Sets `headers`, the menu's check mark, and rebuilds columns and rows by it. UI thread.
void vel_main_window_set_headers(vel_main_window *window, gboolean headers);

/// Removes the table control's columns but for "Record". UI thread.
void vel_main_window_reset_columns(vel_main_window *window);

/// Ends and frees a heap-allocated table: a chunk of position rows, or the cache. Takes it over.
void vel_main_window_table_free(gpointer table);

/// Moves a parser on the open file to the first record of a group.
/// @param group  row of `positions`
/// @param error  of vel_csv_parser_restore_offset(): the file may have been cut since the scan
/// UI thread. Costs one seek and one block.
void vel_main_window_go_to_group(const vel_main_window *window, vel_csv_parser *parser,
                                 gint32 group, GError **error);

/// Puts the find parser in front of a record.
/// @param record  index over all records of the file
/// @param error   G_IO_ERROR, G_IO_ERROR_INVALID_ARGUMENT, "Record index out of bounds" when the
/// scan has not remembered the record's group (or no file is open); what the parser reports
/// UI thread, while no search runs. Costs one seek and the parse of at most 99 records.
void vel_main_window_position_search(vel_main_window *window, gint32 record, GError **error);

/// Finds a record in the cache, reading its group of a hundred records from the file when it is not
/// there.
/// @param record  index over all records of the file, the header record included, from 0
/// @return the row of `cache`, or a negative number: not scanned yet, or past the end
/// A record that cannot be read ends the program with its message. UI thread.
/// Costs nothing but a look-up for a cached record; otherwise one seek, one block and the parse of
/// one group.
gint32 vel_main_window_find_record(vel_main_window *window, gint32 record);

/// The table control's cell-text callback.
/// @param row     row of the table control, from 0
/// @param column  column of the table control, 0 being "Record"
/// @return UTF-8 text, "" past the data; borrowed until the next call. UI thread.
const gchar *vel_main_window_table_get_text(gint32 row, gint32 column);

G_END_DECLS
