// The main window as it is created: class, window, menu, accelerators, status bar, data, layout.
#include "vel_main_window_fixture.h"
#include "vel_open_as_dialog.h"
#include "vel_test_box.h"
#include "vel_test_handles.h"

namespace
{

class VelMainWindowInit : public VelMainWindowTest
{
protected:
    void SetUp() override
    {
        VelMainWindowTest::SetUp();
        create();
    }

    RECT client() const
    {
        RECT rect;
        GetClientRect(window->hwnd, &rect);
        return rect;
    }

    /// A child's rectangle in client coordinates.
    RECT childRect(HWND child) const
    {
        RECT rect;
        GetWindowRect(child, &rect);
        MapWindowPoints(nullptr, window->hwnd, reinterpret_cast<POINT *>(&rect), 2);
        return rect;
    }

    int statusHeight() const
    {
        RECT strip;
        GetClientRect(window->status_bar, &strip);
        return strip.bottom;
    }
};

/// A menu item as text: "command text", "-" for a separator.
std::string describe(HMENU menu, UINT position)
{
    wchar_t text[100] = {};
    MENUITEMINFOW item = {};
    item.cbSize = sizeof item;
    item.fMask = MIIM_FTYPE | MIIM_ID | MIIM_STRING | MIIM_STATE | MIIM_SUBMENU;
    item.dwTypeData = text;
    item.cch = G_N_ELEMENTS(text);
    GetMenuItemInfoW(menu, position, TRUE, &item);
    if (item.fType == MFT_SEPARATOR)
        return "-";
    g_autofree gchar *name =
        g_utf16_to_utf8(reinterpret_cast<gunichar2 *>(text), -1, nullptr, nullptr, nullptr);
    return item.hSubMenu != nullptr ? name : std::to_string(item.wID) + " " + name;
}

std::vector<std::string> describe(HMENU menu)
{
    std::vector<std::string> items;
    for (int i = 0; i < GetMenuItemCount(menu); i++)
        items.push_back(describe(menu, static_cast<UINT>(i)));
    return items;
}

using Texts = std::vector<std::string>;

} // namespace

TEST_F(VelMainWindowInit, PublishesTheInstance)
{
    EXPECT_EQ(vel_main_window_instance, window);
    EXPECT_EQ(GetWindowLongPtrW(window->hwnd, 0), reinterpret_cast<LONG_PTR>(window));
}

TEST_F(VelMainWindowInit, RegistersTheClassFileViewer)
{
    wchar_t name[32] = {};
    GetClassNameW(window->hwnd, name, G_N_ELEMENTS(name));
    EXPECT_STREQ(name, L"FileViewer");

    WNDCLASSEXW registered = {};
    registered.cbSize = sizeof registered;
    ASSERT_TRUE(GetClassInfoExW(vel_gui_instance.instance, L"FileViewer", &registered));
    EXPECT_EQ(registered.style, 0u);
    EXPECT_EQ(registered.lpfnWndProc, vel_main_window_proc);
    EXPECT_EQ(registered.cbWndExtra, 8);
    EXPECT_EQ(registered.hCursor, LoadCursorW(nullptr, IDC_ARROW));
    EXPECT_EQ(registered.hbrBackground, reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1));
    EXPECT_EQ(registered.hIcon, window->icon);
}

TEST_F(VelMainWindowInit, LoadsTheIconInItsDefaultSize)
{
    ASSERT_NE(window->icon, nullptr);
    ICONINFO info = {};
    ASSERT_TRUE(GetIconInfo(window->icon, &info));
    BITMAP bitmap = {};
    GetObjectW(info.hbmColor, sizeof bitmap, &bitmap);
    EXPECT_EQ(bitmap.bmWidth, GetSystemMetrics(SM_CXICON));
    EXPECT_EQ(bitmap.bmHeight, GetSystemMetrics(SM_CYICON));
    DeleteObject(info.hbmColor);
    DeleteObject(info.hbmMask);
}

TEST_F(VelMainWindowInit, TheWindowIsAnOverlappedOneOf640By480ThatIsNotShownYet)
{
    EXPECT_EQ(title(), "Quorlen");
    const LONG_PTR style = GetWindowLongPtrW(window->hwnd, GWL_STYLE);
    EXPECT_EQ(style & WS_OVERLAPPEDWINDOW, WS_OVERLAPPEDWINDOW);
    EXPECT_FALSE(IsWindowVisible(window->hwnd));
    RECT bounds;
    GetWindowRect(window->hwnd, &bounds);
    EXPECT_EQ(bounds.right - bounds.left, 640);
    EXPECT_EQ(bounds.bottom - bounds.top, 480);
}

TEST_F(VelMainWindowInit, TheMenuHoldsTheCommands)
{
    const HMENU bar = GetMenu(window->hwnd);
    EXPECT_EQ(describe(bar), Texts({"&File", "&Edit", "&Help"}));
    EXPECT_EQ(describe(GetSubMenu(bar, 0)),
              Texts({"1 &Open...\tCtrl+O", "3 &Open as...", "-", "2 &Quit"}));
    EXPECT_EQ(describe(GetSubMenu(bar, 1)), Texts({"8 Headers", "7 &Copy\tCtrl+C", "-",
                                                   "4 &Find...\tCtrl+F", "5 &Find next\tF3"}));
    EXPECT_EQ(describe(GetSubMenu(bar, 2)), Texts({"6 &About"}));
    EXPECT_EQ(window->edit_menu, GetSubMenu(bar, 1));
}

TEST_F(VelMainWindowInit, HeadersIsUncheckedAtTheStartAlthoughItIsOn)
{
    EXPECT_TRUE(window->headers);
    EXPECT_EQ(GetMenuState(window->edit_menu, VEL_MAIN_WINDOW_COMMAND_HEADERS, MF_BYCOMMAND) &
                  MF_CHECKED,
              0u);
}

TEST_F(VelMainWindowInit, FourKeysAreCommands)
{
    ACCEL keys[10] = {};
    ASSERT_EQ(CopyAcceleratorTableW(vel_gui_instance.accelerators, keys, G_N_ELEMENTS(keys)), 4);
    const ACCEL wanted[] = {{FVIRTKEY | FCONTROL, 'O', 1},
                            {FVIRTKEY | FCONTROL, 'F', 4},
                            {FVIRTKEY, VK_F3, 5},
                            {FVIRTKEY | FCONTROL, 'C', 7}};
    for (size_t i = 0; i < G_N_ELEMENTS(wanted); i++) {
        EXPECT_EQ(keys[i].fVirt & ~0x80, wanted[i].fVirt) << i; // 0x80 marks the last one
        EXPECT_EQ(keys[i].key, wanted[i].key) << i;
        EXPECT_EQ(keys[i].cmd, wanted[i].cmd) << i;
    }
}

TEST_F(VelMainWindowInit, AnEarlierAcceleratorTableIsReplaced)
{
    done();
    ACCEL key = {FVIRTKEY, VK_F5, 9};
    const HACCEL earlier = CreateAcceleratorTableW(&key, 1);
    DestroyAcceleratorTable(vel_gui_instance.accelerators);
    vel_gui_instance.accelerators = earlier;
    create();
    ACCEL keys[10] = {};
    ASSERT_EQ(CopyAcceleratorTableW(vel_gui_instance.accelerators, keys, G_N_ELEMENTS(keys)), 4);
    EXPECT_EQ(keys[0].key, 'O');
    EXPECT_EQ(CopyAcceleratorTableW(earlier, nullptr, 0), 0) << "it still exists";
}

TEST_F(VelMainWindowInit, TheStatusBarHasOnePartAndASizeGrip)
{
    wchar_t name[32] = {};
    GetClassNameW(window->status_bar, name, G_N_ELEMENTS(name));
    EXPECT_STREQ(name, L"msctls_statusbar32");
    EXPECT_EQ(GetParent(window->status_bar), window->hwnd);
    EXPECT_EQ(GetDlgCtrlID(window->status_bar), 2);
    const LONG_PTR style = WS_CHILD | WS_VISIBLE | SBARS_SIZEGRIP;
    EXPECT_EQ(GetWindowLongPtrW(window->status_bar, GWL_STYLE) & style, style);
    int right[4] = {};
    EXPECT_EQ(SendMessageW(window->status_bar, SB_GETPARTS, G_N_ELEMENTS(right),
                           reinterpret_cast<LPARAM>(right)),
              1);
    EXPECT_EQ(right[0], 250);
}

TEST_F(VelMainWindowInit, TheTableControlAsksTheMainWindowForItsTexts)
{
    EXPECT_EQ(GetParent(window->table.window), window->hwnd);
    EXPECT_EQ(window->table.get_text, vel_main_window_table_get_text);
    EXPECT_EQ(window->table.rows, 0);
    EXPECT_EQ(window->table.selected_row, -1);
}

TEST_F(VelMainWindowInit, TheDataIsEmptyAndIndexed)
{
    ASSERT_EQ(window->cache->n_columns, 1);
    EXPECT_STREQ(window->cache->columns[0].name, "line");
    EXPECT_EQ(window->cache->columns[0].type, VEL_TABLE_COLUMN_TYPE_INT32);
    EXPECT_EQ(vel_table_find_int32(window->cache, 0, 0), -1);

    ASSERT_EQ(window->positions.n_columns, 3);
    const gchar *const names[] = {"line", "block", "offset"};
    for (int i = 0; i < 3; i++) {
        EXPECT_STREQ(window->positions.columns[i].name, names[i]);
        EXPECT_EQ(window->positions.columns[i].type, VEL_TABLE_COLUMN_TYPE_INT32);
    }
    EXPECT_EQ(vel_table_find_int32(&window->positions, 0, 0), -1);

    EXPECT_STREQ(window->search_text, "");
    EXPECT_FALSE(window->search_case_sensitive);
    ASSERT_NE(window->chunk_queue, nullptr);
    EXPECT_EQ(g_async_queue_length(window->chunk_queue), 0);
    EXPECT_EQ(window->scanner_thread, nullptr);
    EXPECT_EQ(window->file_path, nullptr);
}

TEST_F(VelMainWindowInit, WhatWasInTheStorageBeforeIsForgotten)
{
    done();
    memset(static_cast<void *>(window), 0xAA, sizeof *window);
    create();
    EXPECT_EQ(window->record_count.load(), 0);
    EXPECT_EQ(window->max_field_count.load(), 0);
    EXPECT_EQ(window->scan_state.load(), 0);
    EXPECT_EQ(window->stop_scanning.load(), 0);
    EXPECT_EQ(window->scanner_thread, nullptr);
    EXPECT_EQ(window->file_path, nullptr);
    EXPECT_FALSE(window->search_case_sensitive);
    EXPECT_EQ(window->cache_strings_floor, 0);
    EXPECT_FALSE(window->cache_failed);
    EXPECT_EQ(window->headers, TRUE);
}

TEST_F(VelMainWindowInit, TheTimerUpdatesTheStatusAfterASecond)
{
    EXPECT_EQ(status(), "");
    const ULONGLONG start = GetTickCount64();
    ASSERT_TRUE(vel_test_pump_until([this] { return status() == "0 records"; }, 3000));
    EXPECT_GE(GetTickCount64() - start, 700u);
    EXPECT_TRUE(KillTimer(window->hwnd, 1));
}

TEST_F(VelMainWindowInit, TheTableFillsTheClientAreaAboveTheStatusBar)
{
    const RECT table = childRect(window->table.window);
    EXPECT_GT(statusHeight(), 0);
    EXPECT_EQ(table.left, 0);
    EXPECT_EQ(table.top, 0);
    EXPECT_EQ(table.right, client().right);
    EXPECT_EQ(table.bottom, client().bottom - statusHeight());

    const RECT bar = childRect(window->status_bar);
    EXPECT_EQ(bar.left, 0);
    EXPECT_EQ(bar.right, client().right);
    EXPECT_EQ(bar.bottom, client().bottom);
}

TEST_F(VelMainWindowInit, TheLayoutFollowsTheWindow)
{
    show();
    MoveWindow(window->hwnd, 30, 40, 500, 300, TRUE);
    const RECT table = childRect(window->table.window);
    EXPECT_EQ(table.right, client().right);
    EXPECT_EQ(table.bottom, client().bottom - statusHeight());
    EXPECT_EQ(childRect(window->status_bar).bottom, client().bottom);
}

TEST_F(VelMainWindowInit, LayingOutRepaintsTheWholeWindow)
{
    show();
    RedrawWindow(window->hwnd, nullptr, nullptr, RDW_UPDATENOW | RDW_ALLCHILDREN);
    RECT update = {};
    ASSERT_FALSE(GetUpdateRect(window->hwnd, &update, FALSE));
    vel_main_window_layout(window);
    ASSERT_TRUE(GetUpdateRect(window->hwnd, &update, FALSE));
    EXPECT_TRUE(EqualRect(&update, std::make_unique<RECT>(client()).get()));
}

TEST_F(VelMainWindowInit, EndingItReleasesEverything)
{
    const HWND hwnd = window->hwnd;
    const HICON icon = window->icon;
    done();
    EXPECT_FALSE(IsWindow(hwnd));
    ICONINFO info = {};
    EXPECT_FALSE(GetIconInfo(icon, &info));
    WNDCLASSEXW registered = {};
    registered.cbSize = sizeof registered;
    EXPECT_FALSE(GetClassInfoExW(vel_gui_instance.instance, L"FileViewer", &registered));
    EXPECT_EQ(window->settings_db, nullptr);
    EXPECT_EQ(window->cache, nullptr);
    EXPECT_EQ(window->file_path, nullptr);
    // The database is not held any longer.
    EXPECT_EQ(g_unlink(settingsPath().c_str()), 0);
}

TEST_F(VelMainWindowInit, CreatingAndEndingManyTimesLeaksNoHandles)
{
    done();
    create();
    done();
    const DWORD gdi = vel_test_gdi_handles();
    const DWORD user = vel_test_user_handles();
    for (int i = 0; i < 20; i++) {
        create();
        done();
    }
    EXPECT_LE(vel_test_gdi_handles(), gdi + 2);
    EXPECT_LE(vel_test_user_handles(), user + 2);
}

using VelMainWindowInitDeathTest = VelMainWindowTest;

TEST_F(VelMainWindowInitDeathTest, ARefusedClassEndsTheProgram)
{
    WNDCLASSW taken = {};
    taken.lpfnWndProc = DefWindowProcW;
    taken.hInstance = vel_gui_instance.instance;
    taken.lpszClassName = L"FileViewer";
    RegisterClassW(&taken);
    VEL_EXPECT_ERROR_BOX(create(), "Error registering main window class.");
    UnregisterClassW(L"FileViewer", vel_gui_instance.instance);
}

TEST(VelOpenAsDialog, InitClearsOneByteAndDoneDoesNothing)
{
    gchar bytes[2] = {'x', 'y'};
    vel_open_as_dialog_init(bytes);
    EXPECT_EQ(bytes[0], '\0');
    EXPECT_EQ(bytes[1], 'y');
    bytes[0] = 'z';
    vel_open_as_dialog_done(bytes);
    EXPECT_EQ(bytes[0], 'z');
    EXPECT_EQ(bytes[1], 'y');
}
