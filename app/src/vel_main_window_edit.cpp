// The small commands: copy, headers, about.
#include "vel_main_window.h"

#include <cstring>

#include <sqlite3.h>

#include "vel_dialog.h"
#include "vel_gui.h"
#include "vel_main_window_dialog.h"
#include "version.h"

namespace
{

constexpr int ABOUT_WIDTH = 400;
constexpr int ABOUT_HEIGHT = 200;
constexpr SIZE ABOUT_PANEL_SIZE = {400, 400};
constexpr gint32 LINE_SPACE = 11;

} // namespace

/// A text with its terminator in memory that the clipboard can take over; null when there is none.
static HGLOBAL vel_main_window_clipboard_block(const gchar *text)
{
    glong length = 0;
    g_autofree gunichar2 *wide = g_utf8_to_utf16(text, -1, nullptr, &length, nullptr);
    if (wide == nullptr)
        return nullptr;
    const gsize size = (gsize(length) + 1) * sizeof *wide;
    const HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, size);
    if (block == nullptr)
        return nullptr;
    memcpy(GlobalLock(block), wide, size);
    GlobalUnlock(block);
    return block;
}

void vel_main_window_copy_action(vel_main_window *window)
{
    const vel_gui_table *const table = &window->table;
    if (table->selected_row < 0 || table->selected_column < 0 || !OpenClipboard(window->hwnd))
        return;
    g_autofree gchar *text =
        g_utf8_make_valid(table->get_text(table->selected_row, table->selected_column), -1);
    const HGLOBAL block = vel_main_window_clipboard_block(text);
    // What is on the clipboard now is given up only for something better.
    if (block != nullptr &&
        (!EmptyClipboard() || SetClipboardData(CF_UNICODETEXT, block) == nullptr))
        GlobalFree(block);
    CloseClipboard();
}

void vel_main_window_headers_action(vel_main_window *window)
{
    vel_main_window_set_headers(window, !window->headers);
}

static void vel_main_window_add_about_lines(HWND panel)
{
    g_autofree gchar *built_with =
        g_strdup_printf("Built with GLib %u.%u.%u (GNU LGPL) and SQLite %s", glib_major_version,
                        glib_minor_version, glib_micro_version, sqlite3_libversion());
    const gchar *const lines[] = {"Quorlen - viewer for CSV (comma separated values) files",
                                  "Version " QUORLEN_VERSION ", licences in THIRD-PARTY-NOTICES",
                                  built_with};
    vel_grid_layout layout;
    vel_grid_layout_init(&layout);
    for (gint32 i = 0; i < gint32(G_N_ELEMENTS(lines)); i++) {
        const HWND label = vel_gui_create_label(panel, lines[i]);
        vel_grid_layout_add(&layout, label, 0, i, 1, 1)->margin_bottom = LINE_SPACE;
    }
    vel_grid_layout_process(&layout);
    vel_grid_layout_done(&layout);
}

void vel_main_window_about_action(vel_main_window *window)
{
    vel_dialog dialog;
    vel_dialog_init(&dialog, window->hwnd, "About");
    vel_main_window_add_about_lines(vel_main_window_dialog_create_panel(&dialog, ABOUT_PANEL_SIZE));
    vel_main_window_dialog_set_size(&dialog, ABOUT_WIDTH, ABOUT_HEIGHT);
    vel_dialog_show(&dialog);
    vel_dialog_done(&dialog);
}
