// What the toolkit asks the window system for at its start, at its end and when it gives up, seen
// through replaced imports.
#include "vel_window_fixture.h"

#include "vel_death_test.h"
#include "vel_gui_table.h"
#include "vel_import_patch.h"

namespace
{

/// Says on standard error what the box would have shown.
int WINAPI printBox(HWND owner, LPCWSTR text, LPCWSTR caption, UINT flags)
{
    g_autofree gchar *message =
        g_utf16_to_utf8(reinterpret_cast<const gunichar2 *>(text), -1, nullptr, nullptr, nullptr);
    g_autofree gchar *title = g_utf16_to_utf8(reinterpret_cast<const gunichar2 *>(caption), -1,
                                              nullptr, nullptr, nullptr);
    g_printerr("box %s|%s|%u|%s\n", title, message, flags, owner == nullptr ? "free" : "owned");
    return IDOK;
}

#define VEL_EXPECT_BOX(statement, message)                                                         \
    EXPECT_EXIT(                                                                                   \
        {                                                                                          \
            VelImportPatch boxes("MessageBoxW", &printBox);                                        \
            statement;                                                                             \
        },                                                                                         \
        testing::ExitedWithCode(1),                                                                \
        vel_death_test_literal(std::string("box Error|") + (message) + "|16|free"))

BOOL WINAPI refuseLock(LPCRITICAL_SECTION, DWORD)
{
    return FALSE;
}

/// What was asked for, in that order.
std::vector<std::string> calls;
LPCRITICAL_SECTION lock;

BOOL WINAPI recordLock(LPCRITICAL_SECTION section, DWORD spins)
{
    calls.push_back("lock " + std::to_string(spins));
    lock = section;
    InitializeCriticalSection(section);
    return TRUE;
}

void WINAPI recordUnlock(LPCRITICAL_SECTION section)
{
    calls.push_back(section == lock ? "unlock" : "unlock another");
}

HRESULT WINAPI recordPaintStart()
{
    calls.push_back("paint start");
    return S_OK;
}

HRESULT WINAPI recordPaintEnd()
{
    calls.push_back("paint end");
    return S_OK;
}

BOOL WINAPI recordDelete(HGDIOBJ object)
{
    calls.push_back(object == vel_gui_instance.font ? "font" : "another object");
    return TRUE;
}

} // namespace

TEST(VelGuiAbortDeathTest, TheBoxBearsTheErrorSignAndHasNoOwner)
{
    VEL_EXPECT_BOX(vel_gui_abort("Some failure"), "Some failure");
}

TEST(VelGuiLifeDeathTest, WithoutALockForTheWheelTheProgramEnds)
{
    VEL_EXPECT_BOX(VelImportPatch refusal("InitializeCriticalSectionAndSpinCount", &refuseLock);
                   vel_gui_init(), "InitializeCriticalSectionAndSpinCount failed");
}

TEST(VelGuiLife, StartsAndStopsBufferedPaintingAndTheLockOnce)
{
    VelImportPatch locks("InitializeCriticalSectionAndSpinCount", &recordLock);
    VelImportPatch unlocks("DeleteCriticalSection", &recordUnlock);
    VelImportPatch starts("BufferedPaintInit", &recordPaintStart);
    VelImportPatch ends("BufferedPaintUnInit", &recordPaintEnd);
    VelImportPatch deletions("DeleteObject", &recordDelete);
    calls.clear();
    vel_gui_init();
    EXPECT_EQ(calls, (std::vector<std::string>{"paint start", "lock 1024"}));
    calls.clear();
    vel_gui_done();
    EXPECT_EQ(calls, (std::vector<std::string>{"unlock", "font", "paint end"}));
}

TEST(VelGuiLife, DoneLeavesTheDialogsClassesRegistered)
{
    vel_gui_instance.instance = GetModuleHandleW(nullptr);
    vel_gui_init();
    for (const wchar_t *name : {L"SimpleDialog", L"ProgressDialog"}) {
        WNDCLASSW window_class = {};
        window_class.lpfnWndProc = DefWindowProcW;
        window_class.hInstance = vel_gui_instance.instance;
        window_class.lpszClassName = name;
        ASSERT_NE(RegisterClassW(&window_class), 0);
    }
    vel_gui_done();
    for (const wchar_t *name : {L"SimpleDialog", L"ProgressDialog"})
        EXPECT_TRUE(UnregisterClassW(name, vel_gui_instance.instance));
}

using VelGuiTableLife = VelWindowTest;
using VelGuiTableLifeDeathTest = VelWindowTest;

TEST_F(VelGuiTableLifeDeathTest, AClassThatIsRefusedEndsTheProgram)
{
    WNDCLASSW taken = {};
    taken.style = CS_GLOBALCLASS;
    taken.lpfnWndProc = DefWindowProcW;
    taken.hInstance = vel_gui_instance.instance;
    taken.lpszClassName = L"GuiTable";
    ASSERT_NE(RegisterClassW(&taken), 0);
    vel_gui_table table;
    VEL_EXPECT_BOX(vel_gui_table_init(&table, parent), "Error registering main window class.");
    UnregisterClassW(L"GuiTable", vel_gui_instance.instance);
}

namespace
{

std::vector<int> bars_set;

int WINAPI recordBar(HWND, int bar, LPCSCROLLINFO, BOOL)
{
    bars_set.push_back(bar);
    return 0;
}

} // namespace

TEST_F(VelGuiTableLife, InitLeavesTheHorizontalBarAlone)
{
    VelImportPatch bars("SetScrollInfo", &recordBar);
    bars_set.clear();
    vel_gui_table table;
    vel_gui_table_init(&table, parent);
    for (const int bar : bars_set)
        EXPECT_NE(bar, SB_HORZ);
    bars_set.clear();
    vel_gui_table_add_column(&table, "First", 10);
    EXPECT_EQ(bars_set, std::vector<int>{SB_HORZ});
    vel_gui_table_done(&table);
}

TEST_F(VelGuiTableLife, ANewControlIsSmallAndItsHeaderSpansIt)
{
    vel_gui_table table;
    vel_gui_table_init(&table, parent);
    RECT bounds;
    GetWindowRect(table.window, &bounds);
    MapWindowPoints(nullptr, parent, reinterpret_cast<POINT *>(&bounds), 2);
    const RECT expected = {0, 0, 100, 100};
    EXPECT_TRUE(EqualRect(&bounds, &expected));
    RECT client;
    GetClientRect(table.window, &client);
    RECT header;
    GetWindowRect(table.header, &header);
    MapWindowPoints(nullptr, table.window, reinterpret_cast<POINT *>(&header), 2);
    EXPECT_EQ(header.left, 0);
    EXPECT_EQ(header.top, 0);
    EXPECT_EQ(header.right, client.right);
    EXPECT_GT(header.bottom, 0);
    vel_gui_table_done(&table);
}

TEST_F(VelGuiTableLife, BothBrushesAreReleased)
{
    vel_gui_table table;
    vel_gui_table_init(&table, parent);
    LOGBRUSH brush = {};
    GetObjectW(table.selection_brush, sizeof brush, &brush);
    EXPECT_EQ(brush.lbColor, GetSysColor(COLOR_HIGHLIGHT));
    GetObjectW(table.inactive_selection_brush, sizeof brush, &brush);
    EXPECT_EQ(brush.lbColor, RGB(240, 240, 240));
    vel_gui_table_done(&table);
    EXPECT_EQ(GetObjectW(table.inactive_selection_brush, sizeof brush, &brush), 0);
}
