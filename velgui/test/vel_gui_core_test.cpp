// The toolkit's core with real windows: life, fatal box, text, measuring, centring, message loop,
// file dialog.
#include "vel_window_fixture.h"

#include <objbase.h>
#include <thread>

#include "vel_death_test.h"
#include "vel_gui_table.h"
#include "vel_import_patch.h"

namespace
{

/// Waits up to ten seconds for a top-level window of this process with a class and a caption.
HWND waitForWindow(const wchar_t *window_class, const wchar_t *caption)
{
    for (int tries = 0; tries < 500; tries++) {
        HWND window = nullptr;
        while ((window = FindWindowExW(nullptr, window, window_class, caption)) != nullptr) {
            DWORD process = 0;
            GetWindowThreadProcessId(window, &process);
            if (process == GetCurrentProcessId() && IsWindowVisible(window))
                return window;
        }
        Sleep(20);
    }
    return nullptr;
}

/// Calls vel_gui_abort() while another thread looks at its box and closes it.
[[noreturn]] void abortAndReport(const char *message)
{
    std::thread([] {
        HWND box = waitForWindow(L"#32770", L"Error");
        wchar_t text[256] = L"";
        if (box != nullptr)
            GetDlgItemTextW(box, 0xFFFF, text, G_N_ELEMENTS(text));
        g_autofree gchar *utf_8 =
            g_utf16_to_utf8(reinterpret_cast<gunichar2 *>(text), -1, nullptr, nullptr, nullptr);
        g_printerr("box: %s (%s)\n", utf_8,
                   GetWindow(box, GW_OWNER) == nullptr ? "no owner" : "owned");
        PostMessageW(box, WM_COMMAND, IDOK, 0);
    }).detach();
    vel_gui_abort(message);
}

} // namespace

TEST(VelGuiAbortDeathTest, ShowsTheMessageInABoxCaptionedErrorAndEndsWithStatusOne)
{
    EXPECT_EXIT(abortAndReport("Some \xC3\xA4 failure"), testing::ExitedWithCode(1),
                "box: Some .. failure \\(no owner\\)");
}

TEST(VelGuiAbortDeathTest, BytesThatAreNotUtf8StillShowTheRest)
{
    EXPECT_EXIT(abortAndReport("File \xFF failed"), testing::ExitedWithCode(1),
                "box: File .* failed");
}

TEST(VelGuiAbortDeathTest, MayBeCalledFromAnyThread)
{
    EXPECT_EXIT(std::thread([] { abortAndReport("From afar"); }).join(), testing::ExitedWithCode(1),
                "box: From afar");
}

TEST(VelGuiLife, InitFetchesTheStockFont)
{
    vel_gui_instance.instance = GetModuleHandleW(nullptr);
    vel_gui_init();
    EXPECT_EQ(vel_gui_instance.font, GetStockObject(DEFAULT_GUI_FONT));
    vel_gui_done();
}

TEST(VelGuiLife, DoneDestroysTheAccelerators)
{
    vel_gui_instance.instance = GetModuleHandleW(nullptr);
    vel_gui_init();
    ACCEL key = {FVIRTKEY | FCONTROL, 'O', 7};
    HACCEL accelerators = CreateAcceleratorTableW(&key, 1);
    vel_gui_instance.accelerators = accelerators;
    vel_gui_done();
    EXPECT_EQ(vel_gui_instance.accelerators, nullptr);
    EXPECT_EQ(CopyAcceleratorTableW(accelerators, nullptr, 0), 0);
}

using VelGuiCore = VelWindowTest;

TEST_F(VelGuiCore, DoneUnregistersTheTableClass)
{
    vel_gui_table table;
    vel_gui_table_init(&table, parent);
    WNDCLASSW found;
    EXPECT_TRUE(GetClassInfoW(vel_gui_instance.instance, L"GuiTable", &found));
    vel_gui_table_done(&table);
    vel_gui_done();
    EXPECT_FALSE(GetClassInfoW(vel_gui_instance.instance, L"GuiTable", &found));
    EXPECT_FALSE(vel_gui_table_class_created_);
    vel_gui_init(); // for TearDown
}

TEST_F(VelGuiCore, TextGoesInAndComesOutAsUtf8)
{
    const gchar *text = "Gr\xC3\xBC\xC3\x9F"
                        "e \xE2\x82\xAC \xF0\x9F\x98\x80";
    HWND label = vel_gui_create_label(parent, "");
    vel_gui_set_text(label, text);
    g_autofree gchar *back = vel_gui_get_text(label);
    EXPECT_STREQ(back, text);
}

TEST_F(VelGuiCore, EmptyTextComesOutEmpty)
{
    g_autofree gchar *text = vel_gui_get_text(vel_gui_create_label(parent, ""));
    EXPECT_STREQ(text, "");
}

TEST_F(VelGuiCore, TextThatIsNotUtf8GetsReplacementCharacters)
{
    HWND label = vel_gui_create_label(parent, "a\xFFz");
    g_autofree gchar *text = vel_gui_get_text(label);
    EXPECT_STREQ(text, "a\xEF\xBF\xBDz");
}

TEST_F(VelGuiCore, MeasuringUsesTheToolkitsFont)
{
    const gunichar2 *text = reinterpret_cast<const gunichar2 *>(L"Hello, measured world");
    const SIZE size = vel_gui_measure_text_utf_16(text, 5);
    HDC dc = CreateCompatibleDC(nullptr);
    SelectObject(dc, vel_gui_instance.font);
    SIZE expected;
    GetTextExtentPoint32W(dc, L"Hello", 5, &expected);
    DeleteDC(dc);
    EXPECT_GT(size.cx, 0);
    EXPECT_EQ(size.cx, expected.cx);
    EXPECT_EQ(size.cy, expected.cy);
}

TEST(VelGuiCenter, HalvesRoundTowardZero)
{
    const RECT outer = {-1, -1, 100, 100};
    RECT inner = {500, 700, 600, 800};
    vel_gui_center(&outer, &inner);
    const RECT expected = {0, 0, 100, 100};
    EXPECT_TRUE(EqualRect(&inner, &expected));
}

TEST(VelGuiCenter, KeepsTheSizeAndMayReachBeyond)
{
    const RECT outer = {100, 200, 300, 300};
    RECT inner = {0, 0, 50, 400};
    vel_gui_center(&outer, &inner);
    const RECT expected = {175, 50, 225, 450};
    EXPECT_TRUE(EqualRect(&inner, &expected));
}

TEST_F(VelGuiCore, EventLoopEndsAtTheQuitMessage)
{
    PostMessageW(parent, WM_NULL, 0, 0);
    PostQuitMessage(0);
    vel_gui_event_loop(parent);
    MSG message;
    EXPECT_FALSE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
}

namespace
{

int last_command;

LRESULT CALLBACK recordCommands(HWND window, UINT message, WPARAM wparam, LPARAM lparam)
{
    if (message == WM_COMMAND)
        last_command = LOWORD(wparam);
    return DefWindowProcW(window, message, wparam, lparam);
}

} // namespace

TEST_F(VelGuiCore, EventLoopTranslatesAccelerators)
{
    last_command = 0;
    SetWindowLongPtrW(parent, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(recordCommands));
    ACCEL key = {FVIRTKEY, VK_F3, 77};
    vel_gui_instance.accelerators = CreateAcceleratorTableW(&key, 1);
    PostMessageW(parent, WM_KEYDOWN, VK_F3, 0);
    PostQuitMessage(0);
    vel_gui_event_loop(parent);
    EXPECT_EQ(last_command, 77);
}

TEST_F(VelGuiCore, EventLoopGivesKeysToAVisibleModelessDialog)
{
    HWND dialog = vel_gui_create_panel(parent);
    HWND first = vel_gui_create_edit(dialog, 1);
    HWND second = vel_gui_create_edit(dialog, 2);
    SetFocus(first);
    vel_gui_instance.dialog = dialog;
    PostMessageW(first, WM_KEYDOWN, VK_TAB, 0);
    PostQuitMessage(0);
    vel_gui_event_loop(parent);
    vel_gui_instance.dialog = nullptr;
    EXPECT_EQ(GetFocus(), second);
}

TEST_F(VelGuiCore, EventLoopKeepsKeysFromAHiddenModelessDialog)
{
    HWND dialog = vel_gui_create_panel(parent);
    HWND first = vel_gui_create_edit(dialog, 1);
    vel_gui_create_edit(dialog, 2);
    ShowWindow(dialog, SW_HIDE);
    SetFocus(parent);
    vel_gui_instance.dialog = dialog;
    HWND focus_before = GetFocus();
    PostMessageW(first, WM_KEYDOWN, VK_TAB, 0);
    PostQuitMessage(0);
    vel_gui_event_loop(parent);
    vel_gui_instance.dialog = nullptr;
    EXPECT_EQ(GetFocus(), focus_before);
}

namespace
{

std::vector<UINT> dispatched;

LRESULT CALLBACK recordMessages(HWND window, UINT message, WPARAM wparam, LPARAM lparam)
{
    if (message == WM_KEYDOWN || message == WM_CHAR || message >= WM_USER)
        dispatched.push_back(message);
    return DefWindowProcW(window, message, wparam, lparam);
}

int failed_reads;

/// Fails; a loop that goes on nevertheless is ended after a while.
BOOL WINAPI failToGetMessage(LPMSG message, HWND, UINT, UINT)
{
    *message = {};
    return ++failed_reads < 10 ? -1 : 0;
}

/// A main window that records what is dispatched to it.
class VelGuiLoop : public VelWindowTest
{
protected:
    void SetUp() override
    {
        VelWindowTest::SetUp();
        SetWindowLongPtrW(parent, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(recordMessages));
        dispatched.clear();
    }

    void run()
    {
        PostQuitMessage(0);
        vel_gui_event_loop(parent);
    }
};

} // namespace

TEST_F(VelGuiLoop, DispatchesKeysAndTheirCharacters)
{
    PostMessageW(parent, WM_KEYDOWN, 'A', 0x001E0001);
    run();
    EXPECT_EQ(dispatched, (std::vector<UINT>{WM_KEYDOWN, WM_CHAR}));
}

TEST_F(VelGuiLoop, AnAcceleratorsKeyGoesNowhereElse)
{
    ACCEL key = {FVIRTKEY, VK_F3, 77};
    vel_gui_instance.accelerators = CreateAcceleratorTableW(&key, 1);
    PostMessageW(parent, WM_KEYDOWN, VK_F3, 0);
    PostMessageW(parent, WM_USER, 0, 0);
    run();
    EXPECT_EQ(dispatched, std::vector<UINT>{WM_USER});
}

TEST_F(VelGuiLoop, AModelessDialogLeavesOtherWindowsTheirMessages)
{
    vel_gui_instance.dialog = vel_gui_create_panel(parent);
    PostMessageW(parent, WM_USER + 7, 0, 0);
    run();
    vel_gui_instance.dialog = nullptr;
    EXPECT_EQ(dispatched, std::vector<UINT>{WM_USER + 7});
}

TEST_F(VelGuiLoop, EndsWhenMessagesCannotBeRead)
{
    VelImportPatch failure("GetMessageW", &failToGetMessage);
    failed_reads = 0;
    vel_gui_event_loop(parent);
    EXPECT_EQ(failed_reads, 1);
}

TEST_F(VelGuiCore, CancellingTheFileDialogGivesNoPath)
{
    ASSERT_GE(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), 0);
    bool seen = false;
    std::thread canceller([&seen] {
        HWND dialog = waitForWindow(L"#32770", nullptr);
        seen = dialog != nullptr;
        Sleep(200);
        PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0);
    });
    g_autofree gchar *path = vel_gui_open_file_dialog(parent);
    canceller.join();
    CoUninitialize();
    EXPECT_TRUE(seen);
    EXPECT_EQ(path, nullptr);
}
