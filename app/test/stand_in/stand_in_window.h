// A window system for tests without one: records what opening and scanning a file shows, and
// delivers the scanner's error report as the real one does: the scanner waits until the UI thread,
// that is the test's own thread, handles it. Beside that gates that hold the scanner at
// its reads and publications, and a locale with a thousands separator where the machine has none.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "vel_main_window.h"

/// A column of the table control.
struct stand_in_column {
    std::string title;
    gint32 width;

    bool operator==(const stand_in_column &) const = default;
};

/// What the scanner published when it pushed a chunk.
struct stand_in_publication {
    gint32 records;    ///< record_count
    gint32 max_fields; ///< max_field_count
    gint32 state;      ///< scan_state
    gint32 rows;       ///< Position rows of the chunk.

    bool operator==(const stand_in_publication &) const = default;
};

/// All that the program has shown. UI thread.
struct stand_in_window {
    std::string title;                    ///< The main window's title.
    std::vector<std::string> statuses;    ///< Every text of the status bar, oldest first.
    std::vector<bool> header_marks;       ///< Every setting of the check mark, oldest first.
    std::vector<stand_in_column> columns; ///< The table control's columns.
    int columns_cleared;                  ///< How often they were cleared.
    std::vector<std::string> calls;       ///< Operations in their order, e.g. "clear columns".
    std::vector<std::string> errors;      ///< Messages of the scan errors delivered.
    std::vector<std::string> messages;    ///< Texts of the boxes shown, oldest first.
    bool is_disabled;                     ///< Whether a dialog of the main window is open.
    bool aborts_on_error; ///< Whether a scan error ends the process, as in the program.
    std::function<void()> on_header_mark; ///< Runs when the check mark is set, if not empty.
    std::function<void()> on_abort;       ///< Runs before vel_gui_abort() ends the process.
    std::function<void()> on_wait;        ///< Runs when the UI thread begins to wait for a scanner.
};

extern stand_in_window stand_in;

/// Forgets everything shown, opens the gate and takes the locale back to the machine's own.
void stand_in_reset(void);

/// Gives a window's table control its start values; there is none to create.
void stand_in_create_table(vel_gui_table *table);

/// Handles a message of the scanner, if one is waiting. UI thread.
/// @return whether there was one
bool stand_in_pump(void);

/// Whether the scanner is waiting for its report to be handled.
bool stand_in_has_message(void);

/// Lets every thread but the calling one read so many more blocks; the next read waits until
/// stand_in_gate_open().
void stand_in_gate_close_after(gint32 blocks);

/// Waits until the scanner stands at the closed gate.
void stand_in_gate_wait(void);

/// Lets all reads go on.
void stand_in_gate_open(void);

/// Blocks read by other threads than the one that called stand_in_reset(), since then.
gint32 stand_in_blocks_read(void);

/// What was published since stand_in_reset(), oldest first. While no scan runs, or while it is
/// held.
std::vector<stand_in_publication> stand_in_publications(void);

/// Holds the scanner right after its n-th publication since stand_in_reset(), counted from 1, until
/// the number is raised; 0 holds it no more.
void stand_in_hold_publication(gsize nth);

/// Waits until the scanner is held after that publication.
void stand_in_wait_publication(gsize nth);

/// Makes the n-th file that is opened from now on fail with ENOENT, counted from 1; 0 for none.
void stand_in_fail_open(gint32 nth);

/// Makes every file that is opened from now on one of a share, whose calls are counted and can
/// fail.
void stand_in_share_files(void);

/// Reads and seeks of the share's files so far.
gint32 stand_in_share_calls(void);

/// Makes the n-th read or seek of the share's files from now on fail with EIO, counted from 1; 0
/// for none, which is also how the share comes back.
/// @param lasting  whether all that follow fail too, as on a share that has disappeared
void stand_in_share_fail(gint32 nth, bool lasting);

/// Replaces the locale's thousands separator by a comma after every third digit.
void stand_in_group_thousands(void);

/// Makes every record that is read with its fields from now on come without the array's storage.
void stand_in_lose_fields(void);
