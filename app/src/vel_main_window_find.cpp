// Find and find next: the "Find" dialog, and the search behind a progress dialog.
#include "vel_main_window.h"

#include "vel_dialog.h"
#include "vel_grid_layout.h"
#include "vel_gui.h"
#include "vel_main_window_dialog.h"
#include "vel_main_window_search.h"
#include "vel_progress_dialog.h"

namespace
{

constexpr int DIALOG_WIDTH = 400;
constexpr int DIALOG_HEIGHT = 200;
constexpr SIZE PANEL_SIZE = {400, 200};

/// A search this short shows no progress dialog.
constexpr gulong GRACE_US = 50000;

/// Controls of the "Find" dialog.
struct find_controls {
    HWND edit;
    HWND case_sensitive;
};

} // namespace

static find_controls vel_main_window_create_find_controls(vel_main_window *window, HWND panel)
{
    const HWND label = vel_gui_create_label(panel, "Search for:");
    find_controls controls;
    controls.edit = vel_gui_create_edit(panel, 0);
    vel_gui_set_text(controls.edit, window->search_text);
    controls.case_sensitive = vel_gui_create_checkbox(panel, "Case sensitive");
    SendMessageW(controls.case_sensitive, BM_SETCHECK,
                 window->search_case_sensitive ? BST_CHECKED : BST_UNCHECKED, 0);

    vel_grid_layout layout;
    vel_grid_layout_init(&layout);
    vel_main_window_dialog_add_pair(&layout, label, controls.edit, 0);
    vel_grid_layout_add(&layout, controls.case_sensitive, 0, 2, 2, 1);
    vel_grid_layout_process(&layout);
    vel_grid_layout_done(&layout);
    return controls;
}

static void vel_main_window_store_search_terms(vel_main_window *window,
                                               const find_controls *controls)
{
    window->search_case_sensitive =
        SendMessageW(controls->case_sensitive, BM_GETCHECK, 0, 0) == BST_CHECKED;
    g_free(window->search_text);
    window->search_text = vel_gui_get_text(controls->edit);
    // Half a character of UTF-16 is no text, so there is nothing to find.
    if (window->search_text == nullptr)
        window->search_text = g_strdup("");
}

gboolean vel_main_window_search_terms_dialog(vel_main_window *window)
{
    vel_dialog dialog;
    vel_dialog_init(&dialog, window->hwnd, "Find");
    const HWND panel = vel_main_window_dialog_create_panel(&dialog, PANEL_SIZE);
    const find_controls controls = vel_main_window_create_find_controls(window, panel);
    vel_main_window_dialog_set_size(&dialog, DIALOG_WIDTH, DIALOG_HEIGHT);

    const gboolean confirmed = vel_dialog_show(&dialog);
    if (confirmed)
        vel_main_window_store_search_terms(window, &controls);
    vel_dialog_done(&dialog);
    return confirmed;
}

/// The record in which the search begins, and the first field that it tests there.
static void vel_main_window_set_search_start(const vel_main_window *window, search_request *request)
{
    // The header record has no row that could be selected, so a hit in it could not be shown.
    const gint32 first = window->headers ? 1 : 0;
    request->row = first + MAX(window->table.selected_row, 0);
    request->column = MAX(window->table.selected_column, 0);
}

/// Ends the program when positioning or the search failed.
static void vel_main_window_check_search(const GError *error)
{
    if (error != nullptr)
        vel_gui_abort(error->message);
}

/// Waits for the search, behind the progress dialog when it takes longer than a moment.
/// @return FALSE when the user cancelled it
static gboolean vel_main_window_wait_for_search(vel_main_window *window, search_request *request)
{
    GThread *const thread = vel_main_window_search_start(request);
    g_usleep(GRACE_US);
    gboolean finished = TRUE;
    if (!vel_job_is_complete(request->job)) {
        vel_progress_dialog dialog;
        vel_progress_dialog_init(&dialog, window->hwnd, request->job);
        // A dialog that was hidden with its owner, or ended with the program, was not cancelled;
        // the search will be.
        finished = vel_progress_dialog_show(&dialog) && vel_job_is_complete(request->job);
        vel_progress_dialog_done(&dialog);
    }
    vel_main_window_check_search(vel_main_window_search_end(request, thread));
    return finished;
}

static void vel_main_window_show_hit(vel_main_window *window, const search_request *request)
{
    // The search may be ahead of what the timer has taken over from the scanner.
    vel_main_window_update(window);
    const gint32 row = request->row - (window->headers ? 1 : 0);
    const gint32 column = request->column + 1;
    if (request->row < 0 || row >= window->table.rows || column >= window->table.columns) {
        MessageBoxW(window->hwnd, L"No more occurences found", L"Search", MB_OK);
        return;
    }
    vel_gui_table_select(&window->table, row, column);
    vel_gui_table_make_selection_visible(&window->table);
}

void vel_main_window_find_next_action(vel_main_window *window)
{
    if (*window->search_text == '\0') {
        if (!vel_main_window_search_terms_dialog(window) || *window->search_text == '\0')
            return;
    }
    // Right after a file was opened the timer has not brought the first positions yet.
    vel_main_window_update(window);
    // That may have shown a box, and the window may have been closed behind it.
    if (!IsWindow(window->hwnd))
        return;
    vel_job job;
    vel_job_init(&job, "Searching");
    search_request request = {};
    request.parser = &window->search_parser;
    request.text = window->search_text;
    request.case_sensitive = window->search_case_sensitive ? 1 : 0;
    request.job = &job;
    request.record_count = &window->record_count;
    request.max_field_count = &window->max_field_count;
    request.scanner_done = &window->scanner_done;
    vel_main_window_set_search_start(window, &request);

    GError *error = nullptr;
    vel_main_window_position_search(window, request.row, &error);
    vel_main_window_check_search(error);
    const gboolean finished = vel_main_window_wait_for_search(window, &request);
    vel_job_done(&job);
    if (finished)
        vel_main_window_show_hit(window, &request);
}
