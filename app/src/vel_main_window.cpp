// The main window's life: class, window, menu, accelerators, status bar, layout.
#include "vel_main_window.h"

#include <algorithm>
#include <new>

#include <commctrl.h>

#include "vel_gui.h"

namespace
{

constexpr wchar_t WINDOW_CLASS[] = L"FileViewer";
constexpr int WINDOW_WIDTH = 640;
constexpr int WINDOW_HEIGHT = 480;

constexpr UINT_PTR STATUS_BAR_ID = 2;
constexpr int STATUS_PART_RIGHT = 250;

constexpr UINT UPDATE_PERIOD_MS = 1000;

} // namespace

static void vel_main_window_create_accelerators(void)
{
    ACCEL keys[] = {
        {FVIRTKEY | FCONTROL, 'O', VEL_MAIN_WINDOW_COMMAND_OPEN},
        {FVIRTKEY | FCONTROL, 'F', VEL_MAIN_WINDOW_COMMAND_FIND},
        {FVIRTKEY, VK_F3, VEL_MAIN_WINDOW_COMMAND_FIND_NEXT},
        {FVIRTKEY | FCONTROL, 'C', VEL_MAIN_WINDOW_COMMAND_COPY},
    };
    if (vel_gui_instance.accelerators != nullptr)
        DestroyAcceleratorTable(vel_gui_instance.accelerators);
    vel_gui_instance.accelerators = CreateAcceleratorTableW(keys, G_N_ELEMENTS(keys));
    if (vel_gui_instance.accelerators == nullptr)
        vel_gui_abort("CreateAcceleratorTable failed");
}

static void vel_main_window_register_class(vel_main_window *window)
{
    window->icon = static_cast<HICON>(
        LoadImageW(vel_gui_instance.instance, L"application", IMAGE_ICON, 0, 0, LR_DEFAULTSIZE));
    WNDCLASSEXW window_class = {};
    window_class.cbSize = sizeof window_class;
    window_class.lpfnWndProc = vel_main_window_proc;
    window_class.cbWndExtra = sizeof(LONG_PTR);
    window_class.hInstance = vel_gui_instance.instance;
    window_class.hIcon = window->icon;
    window_class.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    window_class.lpszClassName = WINDOW_CLASS;
    window_class.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
    if (RegisterClassExW(&window_class) == 0)
        vel_gui_abort("Error registering main window class.");
}

static void vel_main_window_append_item(HMENU menu, UINT_PTR command, const wchar_t *text)
{
    AppendMenuW(menu, MF_STRING, command, text);
}

static HMENU vel_main_window_create_file_menu(void)
{
    const HMENU menu = CreatePopupMenu();
    vel_main_window_append_item(menu, VEL_MAIN_WINDOW_COMMAND_OPEN, L"&Open...\tCtrl+O");
    vel_main_window_append_item(menu, VEL_MAIN_WINDOW_COMMAND_OPEN_AS, L"&Open as...");
    AppendMenuW(menu, MF_SEPARATOR, 0, nullptr);
    vel_main_window_append_item(menu, VEL_MAIN_WINDOW_COMMAND_QUIT, L"&Quit");
    return menu;
}

static HMENU vel_main_window_create_edit_menu(void)
{
    const HMENU menu = CreatePopupMenu();
    vel_main_window_append_item(menu, VEL_MAIN_WINDOW_COMMAND_HEADERS, L"Headers");
    vel_main_window_append_item(menu, VEL_MAIN_WINDOW_COMMAND_COPY, L"&Copy\tCtrl+C");
    AppendMenuW(menu, MF_SEPARATOR, 0, nullptr);
    vel_main_window_append_item(menu, VEL_MAIN_WINDOW_COMMAND_FIND, L"&Find...\tCtrl+F");
    vel_main_window_append_item(menu, VEL_MAIN_WINDOW_COMMAND_FIND_NEXT, L"&Find next\tF3");
    return menu;
}

static void vel_main_window_append_popup(HMENU bar, HMENU popup, const wchar_t *text)
{
    AppendMenuW(bar, MF_POPUP, reinterpret_cast<UINT_PTR>(popup), text);
}

static void vel_main_window_create_menu(vel_main_window *window)
{
    const HMENU help_menu = CreatePopupMenu();
    vel_main_window_append_item(help_menu, VEL_MAIN_WINDOW_COMMAND_ABOUT, L"&About");
    window->edit_menu = vel_main_window_create_edit_menu();

    const HMENU bar = CreateMenu();
    vel_main_window_append_popup(bar, vel_main_window_create_file_menu(), L"&File");
    vel_main_window_append_popup(bar, window->edit_menu, L"&Edit");
    vel_main_window_append_popup(bar, help_menu, L"&Help");
    SetMenu(window->hwnd, bar);
}

static void vel_main_window_create_status_bar(vel_main_window *window)
{
    window->status_bar = CreateWindowExW(
        0, STATUSCLASSNAMEW, nullptr, WS_CHILD | WS_VISIBLE | SBARS_SIZEGRIP, 0, 0, 0, 0,
        window->hwnd, reinterpret_cast<HMENU>(STATUS_BAR_ID), vel_gui_instance.instance, nullptr);
    const int parts[] = {STATUS_PART_RIGHT};
    SendMessageW(window->status_bar, SB_SETPARTS, G_N_ELEMENTS(parts),
                 reinterpret_cast<LPARAM>(parts));
}

static void vel_main_window_create_table(vel_main_window *window)
{
    vel_gui_table_init(&window->table, window->hwnd);
    window->table.get_text = vel_main_window_table_get_text;
}

void vel_main_window_init(vel_main_window *window)
{
    new (window) vel_main_window();
    vel_main_window_open_settings(window);
    vel_main_window_create_accelerators();
    vel_main_window_init_data(window);
    vel_main_window_register_class(window);
    window->hwnd = CreateWindowExW(0, WINDOW_CLASS, L"Quorlen", WS_OVERLAPPEDWINDOW, CW_USEDEFAULT,
                                   CW_USEDEFAULT, WINDOW_WIDTH, WINDOW_HEIGHT, nullptr, nullptr,
                                   vel_gui_instance.instance, nullptr);
    if (window->hwnd == nullptr)
        return;
    SetWindowLongPtrW(window->hwnd, 0, reinterpret_cast<LONG_PTR>(window));
    vel_main_window_create_menu(window);
    vel_main_window_create_status_bar(window);
    vel_main_window_create_table(window);
    vel_main_window_layout(window);
    InvalidateRect(window->table.window, nullptr, TRUE);
    SetTimer(window->hwnd, VEL_MAIN_WINDOW_UPDATE_TIMER, UPDATE_PERIOD_MS, nullptr);
}

void vel_main_window_layout(vel_main_window *window)
{
    RECT client;
    RECT strip;
    GetClientRect(window->hwnd, &client);
    GetClientRect(window->status_bar, &strip);
    const int height = std::max<int>(client.bottom - strip.bottom, 0);
    MoveWindow(window->table.window, 0, 0, client.right, height, TRUE);
    // The control keeps itself at the bottom edge whatever height it is given.
    MoveWindow(window->status_bar, 0, 0, client.right, height, TRUE);
    InvalidateRect(window->hwnd, nullptr, TRUE);
}

void vel_main_window_done(vel_main_window *window)
{
    KillTimer(window->hwnd, VEL_MAIN_WINDOW_UPDATE_TIMER);
    vel_gui_table_done(&window->table);
    vel_main_window_stop_scanner(window);
    g_clear_pointer(&window->chunk_queue, g_async_queue_unref);
    DestroyIcon(window->icon);
    DestroyWindow(window->hwnd);
    UnregisterClassW(WINDOW_CLASS, vel_gui_instance.instance);
    vel_main_window_done_data(window);
    vel_main_window_close_settings(window);
}
