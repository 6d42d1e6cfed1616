// Open and open as: which file, and how it is read.
#include "vel_main_window.h"

#include "vel_dialog.h"
#include "vel_gui.h"
#include "vel_main_window_dialog.h"

namespace
{

constexpr int DIALOG_WIDTH = 400;
constexpr int DIALOG_HEIGHT = 300;
constexpr SIZE PANEL_SIZE = {400, 400};

constexpr const gchar *ENCODINGS[] = {"Detect", "Default Windows (ANSI)", "UTF-8", "UTF-16 LE",
                                      "UTF-16 BE"};
enum { ENCODING_DETECT, ENCODING_ANSI, ENCODING_UTF_8, ENCODING_UTF_16_LE, ENCODING_UTF_16_BE };

constexpr const gchar *SEPARATORS[] = {"Detect", "Comma (,)", "Tabulator (\\t)", "Semicolon (;)",
                                       "Pipe (|)"};
/// Separators of the list's items behind "Detect".
constexpr gchar SEPARATOR_BYTES[] = ",\t;|";

/// How the user wants a file read.
struct open_choice {
    gchar separator; // 0: detect
    gchar *encoding; // owned; null: detect
};

} // namespace

static HWND vel_main_window_create_list(HWND panel, const gchar *const *items, gsize count)
{
    const HWND list = vel_gui_create_combobox(panel);
    for (gsize i = 0; i < count; i++) {
        g_autofree gunichar2 *text = g_utf8_to_utf16(items[i], -1, nullptr, nullptr, nullptr);
        SendMessageW(list, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text));
    }
    SendMessageW(list, CB_SETCURSEL, 0, 0);
    return list;
}

static gchar vel_main_window_chosen_separator(HWND list)
{
    const LRESULT chosen = SendMessageW(list, CB_GETCURSEL, 0, 0);
    if (chosen < 1 || chosen >= LRESULT(G_N_ELEMENTS(SEPARATORS)))
        return 0;
    return SEPARATOR_BYTES[chosen - 1];
}

/// The chosen encoding's name, or null for detection. The caller frees it.
static gchar *vel_main_window_chosen_encoding(HWND list)
{
    const gchar *charset = nullptr;
    switch (SendMessageW(list, CB_GETCURSEL, 0, 0)) {
    case ENCODING_ANSI:
        g_get_charset(&charset);
        return g_strdup(charset);
    case ENCODING_UTF_8:
        return g_strdup("UTF-8");
    case ENCODING_UTF_16_LE:
        return g_strdup("UTF-16LE");
    case ENCODING_UTF_16_BE:
        return g_strdup("UTF-16BE");
    default:
        return nullptr;
    }
}

/// Asks how to read a file.
/// @return FALSE when the user cancelled
static gboolean vel_main_window_open_as_dialog(vel_main_window *window, open_choice *choice)
{
    vel_dialog dialog;
    vel_dialog_init(&dialog, window->hwnd, "Open as");
    const HWND panel = vel_main_window_dialog_create_panel(&dialog, PANEL_SIZE);
    const HWND encoding_label = vel_gui_create_label(panel, "File encoding:");
    const HWND encodings = vel_main_window_create_list(panel, ENCODINGS, G_N_ELEMENTS(ENCODINGS));
    const HWND separator_label = vel_gui_create_label(panel, "Field separator:");
    const HWND separators =
        vel_main_window_create_list(panel, SEPARATORS, G_N_ELEMENTS(SEPARATORS));

    vel_grid_layout layout;
    vel_grid_layout_init(&layout);
    vel_main_window_dialog_add_pair(&layout, encoding_label, encodings, 0);
    vel_main_window_dialog_add_pair(&layout, separator_label, separators, 1);
    vel_grid_layout_process(&layout);
    vel_grid_layout_done(&layout);
    vel_main_window_dialog_set_size(&dialog, DIALOG_WIDTH, DIALOG_HEIGHT);

    const gboolean confirmed = vel_dialog_show(&dialog);
    if (confirmed) {
        choice->separator = vel_main_window_chosen_separator(separators);
        choice->encoding = vel_main_window_chosen_encoding(encodings);
    }
    vel_dialog_done(&dialog);
    return confirmed;
}

/// Replaces the open file by another.
static void vel_main_window_replace_file(vel_main_window *window, const gchar *path,
                                         gchar separator, const gchar *encoding)
{
    vel_main_window_close_file(window);
    g_autoptr(GError) error = nullptr;
    vel_main_window_open_file(window, path, separator, encoding, &error);
    if (error != nullptr)
        vel_main_window_show_error(window, error);
    else if (window->table.rows > 1 && window->table.columns > 1)
        vel_gui_table_select(&window->table, 1, 1);
}

void vel_main_window_open_action(vel_main_window *window)
{
    g_autofree gchar *path = vel_gui_open_file_dialog(window->hwnd);
    if (path != nullptr)
        vel_main_window_replace_file(window, path, 0, nullptr);
}

void vel_main_window_open_as_action(vel_main_window *window)
{
    g_autofree gchar *path = vel_gui_open_file_dialog(window->hwnd);
    if (path == nullptr)
        return;
    open_choice choice = {};
    if (vel_main_window_open_as_dialog(window, &choice))
        vel_main_window_replace_file(window, path, choice.separator, choice.encoding);
    g_free(choice.encoding);
}
