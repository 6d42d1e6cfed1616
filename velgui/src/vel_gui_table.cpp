// The table control's life and its model: the row count and the columns. The columns themselves are
// the header control's items. UI thread.
#include "vel_gui_table_internal.h"

#include <commctrl.h>
#include <cwchar>

#include "vel_gui_internal.h"
#include "vel_gui_table_arithmetic.h"

const wchar_t *const vel_gui_table_window_class_ = L"GuiTable";
gboolean vel_gui_table_class_created_ = FALSE;

static void vel_gui_table_register_class(void)
{
    if (vel_gui_table_class_created_)
        return;
    WNDCLASSEXW window_class = {};
    window_class.cbSize = sizeof window_class;
    window_class.style = CS_VREDRAW | CS_HREDRAW | CS_GLOBALCLASS;
    window_class.lpfnWndProc = vel_gui_table_window_proc;
    window_class.cbWndExtra = sizeof(vel_gui_table *);
    window_class.hInstance = vel_gui_instance.instance;
    window_class.hCursor =
        static_cast<HCURSOR>(LoadImageW(nullptr, IDC_ARROW, IMAGE_CURSOR, 0, 0, LR_SHARED));
    window_class.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
    window_class.lpszClassName = vel_gui_table_window_class_;
    if (RegisterClassExW(&window_class) == 0)
        vel_gui_abort("Error registering main window class.");
    vel_gui_table_class_created_ = TRUE;
}

void vel_gui_table_init(vel_gui_table *table, HWND parent)
{
    *table = {};
    table->row_height = 20;
    table->selected_row = -1;
    table->selected_column = -1;
    table->selection_brush = GetSysColorBrush(COLOR_HIGHLIGHT);
    table->inactive_selection_brush = CreateSolidBrush(RGB(240, 240, 240));
    vel_gui_table_register_class();

    table->window =
        CreateWindowExW(0, vel_gui_table_window_class_, L"",
                        WS_CHILD | WS_VISIBLE | WS_VSCROLL | WS_HSCROLL | WS_TABSTOP, 0, 0, 100,
                        100, parent, nullptr, vel_gui_instance.instance, nullptr);
    SetWindowLongPtrW(table->window, 0, reinterpret_cast<LONG_PTR>(table));
    vel_gui_table_set_num_rows(table, 0);

    table->header = vel_gui_create_header(table->window);
    RECT client;
    GetClientRect(table->window, &client);
    WINDOWPOS place = {};
    HDLAYOUT layout = {&client, &place};
    SendMessageW(table->header, HDM_LAYOUT, 0, reinterpret_cast<LPARAM>(&layout));
    SetWindowPos(table->header, place.hwndInsertAfter, place.x, place.y, place.cx, place.cy,
                 place.flags | SWP_SHOWWINDOW);
}

void vel_gui_table_done(vel_gui_table *table)
{
    DeleteObject(table->selection_brush);
    DeleteObject(table->inactive_selection_brush);
    DestroyWindow(table->window);
}

/// Gives the header an item for a further column; nothing else is brought up to date with it.
static void vel_gui_table_insert_column(vel_gui_table *table, const gchar *title, gint32 width)
{
    g_autofree wchar_t *text = vel_gui_to_utf_16(title);
    HDITEMW item = {};
    item.mask = HDI_WIDTH | HDI_TEXT | HDI_FORMAT;
    item.fmt = HDF_STRING;
    item.cxy = width;
    item.pszText = text;
    item.cchTextMax = static_cast<int>(wcslen(text));
    SendMessageW(table->header, HDM_INSERTITEMW, static_cast<WPARAM>(table->columns),
                 reinterpret_cast<LPARAM>(&item));
    table->columns++;
}

/// Brings everything that depends on the columns up to date.
static void vel_gui_table_columns_changed(vel_gui_table *table)
{
    vel_gui_table_update_horz_scrollbar(table);
    vel_gui_table_layout_header(table);
    InvalidateRect(table->window, nullptr, FALSE);
}

void vel_gui_table_add_column(vel_gui_table *table, const gchar *title, gint32 width)
{
    vel_gui_table_add_columns(table, 1, &title, width);
}

void vel_gui_table_add_columns(vel_gui_table *table, gint32 n, const gchar *const *titles,
                               gint32 width)
{
    if (n <= 0)
        return;
    for (gint32 i = 0; i < n; i++)
        vel_gui_table_insert_column(table, titles[i], width);
    vel_gui_table_columns_changed(table);
}

void vel_gui_table_clear_columns(vel_gui_table *table)
{
    table->columns = 0;
    // From the end, so that the header has nothing to move up.
    for (LRESULT left = SendMessageW(table->header, HDM_GETITEMCOUNT, 0, 0); left > 0; left--)
        SendMessageW(table->header, HDM_DELETEITEM, static_cast<WPARAM>(left - 1), 0);
    if (table->selected_column >= 0)
        vel_gui_table_select(table, -1, -1);
    vel_gui_table_columns_changed(table);
}

void vel_gui_table_set_num_rows(vel_gui_table *table, gint32 rows)
{
    if (rows == table->rows)
        return;
    gint32 first;
    gint32 last;
    gboolean partial;
    vel_gui_table_get_visible_rows(table, &first, &last, &partial);
    const bool shows = vel_gui_table_change_shows(table->rows, rows, first, last, partial);

    table->rows = rows;
    if (table->selected_row >= rows)
        vel_gui_table_select(table, -1, -1);
    vel_gui_table_update_vert_scrollbar(table);
    if (shows)
        InvalidateRect(table->window, nullptr, FALSE);
}
