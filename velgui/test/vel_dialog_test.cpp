// The simple dialog: its window, its buttons and every way to end it.
#include "vel_dialog.h"

#include "vel_modal_fixture.h"

using VelDialogClassDeathTest = VelModalTest;

class VelDialog : public VelModalTest
{
protected:
    void SetUp() override
    {
        VelModalTest::SetUp();
        vel_dialog_init(&dialog, parent, "Näme…");
    }

    void TearDown() override
    {
        vel_dialog_done(&dialog);
        VelModalTest::TearDown();
    }

    vel_dialog dialog;
};

TEST_F(VelDialog, IsCreatedHiddenWithTitleClassStylesAndSize)
{
    wchar_t text[64] = L"";
    GetWindowTextW(dialog.window, text, 64);
    EXPECT_STREQ(text, L"N\u00e4me\u2026");
    GetClassNameW(dialog.window, text, 64);
    EXPECT_STREQ(text, L"SimpleDialog");
    EXPECT_FALSE(IsWindowVisible(dialog.window));
    EXPECT_EQ(GetWindow(dialog.window, GW_OWNER), parent);
    const auto style = static_cast<DWORD>(GetWindowLongPtrW(dialog.window, GWL_STYLE));
    EXPECT_EQ(style & (WS_CAPTION | WS_SYSMENU | WS_THICKFRAME), 0x00CC0000U);
    const auto extended = static_cast<DWORD>(GetWindowLongPtrW(dialog.window, GWL_EXSTYLE));
    EXPECT_EQ(extended & 0x00010001U, 0x00010001U);
    RECT place;
    GetWindowRect(dialog.window, &place);
    EXPECT_EQ(place.right - place.left, 640);
    EXPECT_EQ(place.bottom - place.top, 480);
    EXPECT_EQ(GetWindowLongPtrW(dialog.window, 0), reinterpret_cast<LONG_PTR>(&dialog));
    EXPECT_FALSE(dialog.ok);
}

TEST_F(VelDialog, ItsButtonsAreOkAndCancel)
{
    EXPECT_EQ(text_of(dialog.ok_button), L"OK");
    EXPECT_EQ(GetDlgCtrlID(dialog.ok_button), 1);
    EXPECT_EQ(text_of(dialog.cancel_button), L"Cancel");
    EXPECT_EQ(GetDlgCtrlID(dialog.cancel_button), 2);
    EXPECT_EQ(GetParent(dialog.ok_button), dialog.window);
    EXPECT_EQ(GetParent(dialog.cancel_button), dialog.window);
}

TEST_F(VelDialog, TheClassHasAnArrowAndTheFaceColour)
{
    WNDCLASSW window_class;
    ASSERT_TRUE(GetClassInfoW(vel_gui_instance.instance, L"SimpleDialog", &window_class));
    EXPECT_EQ(window_class.style, 0U);
    EXPECT_EQ(window_class.cbWndExtra, static_cast<int>(sizeof(void *)));
    EXPECT_EQ(window_class.hCursor, LoadImageW(nullptr, IDC_ARROW, IMAGE_CURSOR, 0, 0, LR_SHARED));
    EXPECT_EQ(window_class.hbrBackground, reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1));
}

TEST_F(VelDialog, TheButtonsStandInTheBottomRightCorner)
{
    RECT client;
    GetClientRect(dialog.window, &client);
    const RECT cancel = rectangle_in(dialog.window, dialog.cancel_button);
    const RECT ok = rectangle_in(dialog.window, dialog.ok_button);
    const SIZE cancel_size = vel_gui_get_preferred_size(dialog.cancel_button);
    const SIZE ok_size = vel_gui_get_preferred_size(dialog.ok_button);
    EXPECT_EQ(cancel.right, client.right - 12);
    EXPECT_EQ(cancel.bottom, client.bottom - 11);
    EXPECT_EQ(cancel.right - cancel.left, cancel_size.cx);
    EXPECT_EQ(cancel.bottom - cancel.top, cancel_size.cy);
    EXPECT_EQ(ok.right, cancel.left - 12);
    EXPECT_EQ(ok.right - ok.left, ok_size.cx);
    EXPECT_EQ(ok.top, cancel.top);
    EXPECT_EQ(ok.bottom, cancel.bottom);
}

TEST_F(VelDialog, TheButtonsFollowTheCornerWhenTheDialogIsResized)
{
    SetWindowPos(dialog.window, nullptr, 0, 0, 500, 300, SWP_NOMOVE | SWP_NOZORDER);
    RECT client;
    GetClientRect(dialog.window, &client);
    const RECT cancel = rectangle_in(dialog.window, dialog.cancel_button);
    EXPECT_EQ(cancel.right, client.right - 12);
    EXPECT_EQ(cancel.bottom, client.bottom - 11);
}

TEST_F(VelDialog, LayingOutRepaintsTheWholeDialog)
{
    bool repainted = false;
    then([this, &repainted] {
        repainted = is_repainted_by(dialog.window, [this] { vel_dialog_layout(&dialog); });
        press(VK_ESCAPE);
    });
    vel_dialog_show(&dialog);
    EXPECT_TRUE(repainted);
}

TEST_F(VelDialog, CannotBeMadeSmallerThan220By110)
{
    MINMAXINFO info = {};
    EXPECT_EQ(SendMessageW(dialog.window, WM_GETMINMAXINFO, 0, reinterpret_cast<LPARAM>(&info)), 0);
    EXPECT_EQ(info.ptMinTrackSize.x, 220);
    EXPECT_EQ(info.ptMinTrackSize.y, 110);
    SetWindowPos(dialog.window, nullptr, 0, 0, 50, 40, SWP_NOMOVE | SWP_NOZORDER);
    RECT place;
    GetWindowRect(dialog.window, &place);
    EXPECT_EQ(place.right - place.left, 220);
    EXPECT_EQ(place.bottom - place.top, 110);
}

TEST_F(VelDialog, OkGivesTrueAndHidesAndEnablesTheOwner)
{
    then([this] {
        EXPECT_TRUE(IsWindowVisible(dialog.window));
        EXPECT_FALSE(IsWindowEnabled(parent));
        SendMessageW(dialog.ok_button, BM_CLICK, 0, 0);
        // Already now, so that it is the owner that becomes active.
        EXPECT_TRUE(IsWindowEnabled(parent));
        EXPECT_FALSE(IsWindowVisible(dialog.window));
    });
    EXPECT_TRUE(vel_dialog_show(&dialog));
    EXPECT_FALSE(IsWindowVisible(dialog.window));
    EXPECT_TRUE(IsWindowEnabled(parent));
    EXPECT_TRUE(all_steps_ran());
}

TEST_F(VelDialog, CancelGivesFalse)
{
    then([this] { SendMessageW(dialog.cancel_button, BM_CLICK, 0, 0); });
    EXPECT_FALSE(vel_dialog_show(&dialog));
    EXPECT_TRUE(IsWindowEnabled(parent));
}

TEST_F(VelDialog, EscapeGivesFalse)
{
    then([] { press(VK_ESCAPE); });
    EXPECT_FALSE(vel_dialog_show(&dialog));
    EXPECT_TRUE(IsWindowEnabled(parent));
}

TEST_F(VelDialog, TheCloseButtonGivesFalse)
{
    then([this] { PostMessageW(dialog.window, WM_SYSCOMMAND, SC_CLOSE, 0); });
    EXPECT_FALSE(vel_dialog_show(&dialog));
    EXPECT_TRUE(IsWindowEnabled(parent));
    EXPECT_TRUE(IsWindow(dialog.window));
}

TEST_F(VelDialog, EnterGivesTrue)
{
    then([] { press(VK_RETURN); });
    EXPECT_TRUE(vel_dialog_show(&dialog));
}

TEST_F(VelDialog, EnterInATextFieldGivesTrue)
{
    const HWND edit = vel_gui_create_edit(dialog.window, 0);
    then([edit] {
        SetFocus(edit);
        press(VK_RETURN);
    });
    EXPECT_TRUE(vel_dialog_show(&dialog));
}

TEST_F(VelDialog, ASecondShowForgetsTheFirstResult)
{
    then([this] { SendMessageW(dialog.ok_button, BM_CLICK, 0, 0); });
    EXPECT_TRUE(vel_dialog_show(&dialog));
    then([this] { SendMessageW(dialog.cancel_button, BM_CLICK, 0, 0); });
    EXPECT_FALSE(vel_dialog_show(&dialog));
}

TEST_F(VelDialog, IsShownInTheMiddleOfItsOwner)
{
    SetWindowPos(dialog.window, nullptr, 0, 0, 300, 200, SWP_NOMOVE | SWP_NOZORDER);
    RECT shown = {};
    then([this, &shown] {
        GetWindowRect(dialog.window, &shown);
        press(VK_ESCAPE);
    });
    vel_dialog_show(&dialog);
    RECT owner;
    GetWindowRect(parent, &owner);
    RECT expected = {0, 0, 300, 200};
    vel_gui_center(&owner, &expected);
    EXPECT_EQ(shown.left, expected.left);
    EXPECT_EQ(shown.top, expected.top);
    EXPECT_EQ(shown.right, expected.right);
    EXPECT_EQ(shown.bottom, expected.bottom);
}

TEST_F(VelDialog, TheFirstTabStopGetsTheFocus)
{
    HWND focused = nullptr;
    then([&focused] {
        focused = GetFocus();
        press(VK_ESCAPE);
    });
    vel_dialog_show(&dialog);
    EXPECT_EQ(focused, dialog.ok_button);
}

TEST_F(VelDialog, TabReachesTheControlsOnAPanel)
{
    const HWND panel = vel_gui_create_panel(dialog.window);
    const HWND box = vel_gui_create_checkbox(panel, "Box");
    HWND focused = nullptr;
    then([] { press(VK_TAB); });
    then([] { press(VK_TAB); });
    then([&focused] {
        focused = GetFocus();
        press(VK_ESCAPE);
    });
    vel_dialog_show(&dialog);
    EXPECT_EQ(focused, box);
}

TEST_F(VelDialog, OtherCommandsDoNotEndIt)
{
    then([this] {
        SendMessageW(dialog.window, WM_COMMAND, 77, 0);
        EXPECT_TRUE(IsWindowVisible(dialog.window));
        press(VK_ESCAPE);
    });
    EXPECT_FALSE(vel_dialog_show(&dialog));
}

TEST_F(VelDialog, TheQuitMessageEndsItAndEnablesTheOwner)
{
    then([] { PostQuitMessage(0); });
    EXPECT_FALSE(vel_dialog_show(&dialog));
    EXPECT_TRUE(IsWindowEnabled(parent));
    EXPECT_FALSE(is_quitting()) << "the message is posted again";
}

TEST_F(VelDialog, OnlyTheCommandsLowWordCounts)
{
    then([this] { SendMessageW(dialog.window, WM_COMMAND, MAKEWPARAM(IDOK, 1), 0); });
    EXPECT_TRUE(vel_dialog_show(&dialog));
    then([this] { SendMessageW(dialog.window, WM_COMMAND, MAKEWPARAM(IDCANCEL, 1), 0); });
    EXPECT_FALSE(vel_dialog_show(&dialog));
}

TEST_F(VelDialog, TheOwnersKeysAreNoCommandsOfTheDialog)
{
    ACCEL key = {FVIRTKEY, VK_F5, IDOK};
    vel_gui_instance.accelerators = CreateAcceleratorTableW(&key, 1);
    then([this] { PostMessageW(parent, WM_KEYDOWN, VK_F5, 0); });
    then([this] {
        EXPECT_TRUE(IsWindowVisible(dialog.window));
        press(VK_ESCAPE);
    });
    EXPECT_FALSE(vel_dialog_show(&dialog));
}

TEST_F(VelDialog, WithoutAnOwnerTheKeysCommandsGoToTheDialogAndItStaysInItsPlace)
{
    ACCEL key = {FVIRTKEY, VK_F5, IDOK};
    vel_gui_instance.accelerators = CreateAcceleratorTableW(&key, 1);
    vel_dialog alone;
    vel_dialog_init(&alone, nullptr, "Alone");
    MoveWindow(alone.window, 100, 90, 300, 200, FALSE);
    RECT shown = {};
    then([this, &alone, &shown] {
        GetWindowRect(alone.window, &shown);
        EXPECT_TRUE(IsWindowEnabled(parent));
        PostMessageW(parent, WM_KEYDOWN, VK_F5, 0);
    });
    then([&alone] { PostMessageW(alone.window, WM_CLOSE, 0, 0); });
    EXPECT_TRUE(vel_dialog_show(&alone));
    vel_dialog_done(&alone);
    EXPECT_EQ(shown.left, 100);
    EXPECT_EQ(shown.top, 90);
}

TEST_F(VelDialog, DoneDestroysTheWindowAndItsControls)
{
    vel_dialog other;
    vel_dialog_init(&other, parent, "Other");
    const HWND panel = vel_gui_create_panel(other.window);
    vel_dialog_done(&other);
    EXPECT_FALSE(IsWindow(other.window));
    EXPECT_FALSE(IsWindow(other.ok_button));
    EXPECT_FALSE(IsWindow(panel));
    EXPECT_TRUE(IsWindow(dialog.window));
}

TEST_F(VelDialog, ATextFieldThatComesFirstIsSelectedWhole)
{
    // The dialog's own buttons come first unless they are disabled.
    EnableWindow(dialog.ok_button, FALSE);
    EnableWindow(dialog.cancel_button, FALSE);
    const HWND edit = vel_gui_create_edit(dialog.window, 0);
    vel_gui_set_text(edit, "needle");
    DWORD from = 99;
    DWORD to = 99;
    then([this, edit, &from, &to] {
        SendMessageW(edit, EM_GETSEL, reinterpret_cast<WPARAM>(&from),
                     reinterpret_cast<LPARAM>(&to));
        PostMessageW(dialog.window, WM_CLOSE, 0, 0);
    });
    vel_dialog_show(&dialog);
    EXPECT_EQ(from, 0U);
    EXPECT_EQ(to, 6U);
}

TEST_F(VelDialogClassDeathTest, ARefusedClassEndsTheProgram)
{
    EXPECT_EXIT(
        {
            vel_test_occupy_class(L"SimpleDialog");
            vel_dialog dialog;
            vel_dialog_init(&dialog, parent, "Title");
        },
        testing::ExitedWithCode(1), "box: Error registering dialog window class\\.");
}
