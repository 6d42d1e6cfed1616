// The progress dialog over a job that the test drives: its window, its timing, every way to end it.
#include "vel_progress_dialog.h"

#include "vel_modal_fixture.h"

using VelProgressDialogClassDeathTest = VelModalTest;

class VelProgressDialog : public VelModalTest
{
protected:
    void SetUp() override
    {
        VelModalTest::SetUp();
        vel_job_init(&job, "Searching");
        vel_progress_dialog_init(&dialog, parent, &job);
    }

    void TearDown() override
    {
        vel_progress_dialog_done(&dialog);
        vel_job_done(&job);
        VelModalTest::TearDown();
    }

    int shown_percent() const
    {
        return static_cast<int>(SendMessageW(dialog.progress_bar, PBM_GETPOS, 0, 0));
    }

    void tick() const
    {
        SendMessageW(dialog.window, WM_TIMER, 1, 0);
    }

    vel_job job;
    vel_progress_dialog dialog;
};

TEST_F(VelProgressDialog, IsCreatedHiddenAndNamedByItsJob)
{
    wchar_t text[64] = L"";
    GetWindowTextW(dialog.window, text, 64);
    EXPECT_STREQ(text, L"Searching");
    GetClassNameW(dialog.window, text, 64);
    EXPECT_STREQ(text, L"ProgressDialog");
    GetClassNameW(dialog.progress_bar, text, 64);
    EXPECT_STREQ(text, L"msctls_progress32");
    EXPECT_FALSE(IsWindowVisible(dialog.window));
    RECT place;
    GetWindowRect(dialog.window, &place);
    EXPECT_EQ(place.right - place.left, 400);
    EXPECT_EQ(place.bottom - place.top, 200);
    EXPECT_EQ(GetDlgCtrlID(dialog.cancel_button), IDCANCEL);
    EXPECT_EQ(dialog.job, &job);
}

TEST_F(VelProgressDialog, HasTheStylesOfADialogAndKnowsItsStructure)
{
    const auto style = static_cast<DWORD>(GetWindowLongPtrW(dialog.window, GWL_STYLE));
    EXPECT_EQ(style & (WS_CAPTION | WS_SYSMENU | WS_THICKFRAME), 0x00CC0000U);
    const auto extended = static_cast<DWORD>(GetWindowLongPtrW(dialog.window, GWL_EXSTYLE));
    EXPECT_EQ(extended & 0x00010001U, 0x00010001U);
    EXPECT_EQ(GetWindow(dialog.window, GW_OWNER), parent);
    EXPECT_EQ(GetWindowLongPtrW(dialog.window, 0), reinterpret_cast<LONG_PTR>(&dialog));
    WNDCLASSW window_class;
    ASSERT_TRUE(GetClassInfoW(vel_gui_instance.instance, L"ProgressDialog", &window_class));
    EXPECT_EQ(window_class.style, 0U);
    EXPECT_EQ(window_class.cbWndExtra, static_cast<int>(sizeof(void *)));
    EXPECT_EQ(window_class.hbrBackground, reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1));
}

TEST_F(VelProgressDialog, HoldsACancelButtonAndABarFromZeroToAHundred)
{
    EXPECT_EQ(text_of(dialog.cancel_button), L"Cancel");
    EXPECT_EQ(GetDlgCtrlID(dialog.cancel_button), 2);
    EXPECT_EQ(GetDlgCtrlID(dialog.progress_bar), 0);
    EXPECT_EQ(SendMessageW(dialog.progress_bar, PBM_GETRANGE, TRUE, 0), 0);
    EXPECT_EQ(SendMessageW(dialog.progress_bar, PBM_GETRANGE, FALSE, 0), 100);
    EXPECT_EQ(shown_percent(), 0);
    EXPECT_FALSE(dialog.running);
}

TEST_F(VelProgressDialog, TheBarSpansTheTopAndTheButtonStandsInTheCorner)
{
    RECT client;
    GetClientRect(dialog.window, &client);
    const RECT bar = rectangle_in(dialog.window, dialog.progress_bar);
    const SIZE bar_size = vel_gui_get_preferred_size(dialog.progress_bar);
    EXPECT_EQ(bar.left, 11);
    EXPECT_EQ(bar.top, 11);
    EXPECT_EQ(bar.right - bar.left, client.right - 23);
    EXPECT_EQ(bar.bottom - bar.top, bar_size.cy);
    const RECT cancel = rectangle_in(dialog.window, dialog.cancel_button);
    EXPECT_EQ(cancel.right, client.right - 12);
    EXPECT_EQ(cancel.bottom, client.bottom - 11);
}

TEST_F(VelProgressDialog, BarAndButtonFollowTheSize)
{
    SetWindowPos(dialog.window, nullptr, 0, 0, 500, 300, SWP_NOMOVE | SWP_NOZORDER);
    RECT client;
    GetClientRect(dialog.window, &client);
    const RECT bar = rectangle_in(dialog.window, dialog.progress_bar);
    EXPECT_EQ(bar.right - bar.left, client.right - 23);
    const RECT cancel = rectangle_in(dialog.window, dialog.cancel_button);
    EXPECT_EQ(cancel.right, client.right - 12);
    EXPECT_EQ(cancel.bottom, client.bottom - 11);
}

TEST_F(VelProgressDialog, LayingOutRepaintsTheWholeDialog)
{
    bool repainted = false;
    then([this, &repainted] {
        repainted = is_repainted_by(dialog.window, [this] { vel_progress_dialog_layout(&dialog); });
        press(VK_ESCAPE);
    });
    vel_progress_dialog_show(&dialog);
    EXPECT_TRUE(repainted);
}

TEST_F(VelProgressDialog, CannotBeMadeSmallerThan220By110)
{
    SetWindowPos(dialog.window, nullptr, 0, 0, 50, 40, SWP_NOMOVE | SWP_NOZORDER);
    RECT place;
    GetWindowRect(dialog.window, &place);
    EXPECT_EQ(place.right - place.left, 220);
    EXPECT_EQ(place.bottom - place.top, 110);
}

TEST_F(VelProgressDialog, AJobCompleteBeforeDoesNotWaitForTheTimer)
{
    vel_job_complete(&job);
    const ULONGLONG start = GetTickCount64();
    EXPECT_TRUE(vel_progress_dialog_show(&dialog));
    EXPECT_LT(GetTickCount64() - start, 900U);
    EXPECT_FALSE(IsWindowVisible(dialog.window));
    EXPECT_TRUE(IsWindowEnabled(parent));
}

TEST_F(VelProgressDialog, AJobThatCompletesMeanwhileEndsItAtTheNextTick)
{
    then([this] {
        EXPECT_TRUE(IsWindowVisible(dialog.window));
        EXPECT_FALSE(IsWindowEnabled(parent));
        vel_job_complete(&job);
        EXPECT_TRUE(IsWindowVisible(dialog.window));
    });
    EXPECT_TRUE(vel_progress_dialog_show(&dialog));
    EXPECT_FALSE(IsWindowVisible(dialog.window));
    EXPECT_TRUE(IsWindowEnabled(parent));
}

TEST_F(VelProgressDialog, ThePercentageIsTruncated)
{
    then([this] {
        vel_job_set_progress(&job, 0.555F);
        tick();
        EXPECT_EQ(shown_percent(), 55);
        vel_job_set_progress(&job, 0.999F);
        tick();
        EXPECT_EQ(shown_percent(), 99);
        // In double precision this would be 28.999999.
        vel_job_set_progress(&job, 0.29F);
        tick();
        EXPECT_EQ(shown_percent(), 29);
        SendMessageW(dialog.cancel_button, BM_CLICK, 0, 0);
    });
    vel_progress_dialog_show(&dialog);
}

TEST_F(VelProgressDialog, ProgressIsShownAtOnceAndThenOnceASecond)
{
    vel_job_set_progress(&job, 0.2F);
    const ULONGLONG start = GetTickCount64();
    ULONGLONG ticked = 0;
    then([this] {
        EXPECT_EQ(shown_percent(), 20);
        vel_job_set_progress(&job, 0.4F);
    });
    for (int i = 0; i < 20; i++) {
        then([this, &ticked] {
            if (ticked == 0 && shown_percent() == 40)
                ticked = GetTickCount64();
        });
    }
    then([this] {
        EXPECT_EQ(shown_percent(), 40);
        press(VK_ESCAPE);
    });
    vel_progress_dialog_show(&dialog);
    EXPECT_TRUE(all_steps_ran());
    EXPECT_GE(ticked - start, 950U);
}

TEST_F(VelProgressDialog, TheTimerRunsOnlyWhileItIsShown)
{
    then([] { press(VK_ESCAPE); });
    vel_progress_dialog_show(&dialog);
    EXPECT_FALSE(KillTimer(dialog.window, 1));
}

TEST_F(VelProgressDialog, ASecondShowForgetsThatTheFirstWasCancelled)
{
    then([] { press(VK_ESCAPE); });
    EXPECT_FALSE(vel_progress_dialog_show(&dialog));
    vel_job_complete(&job);
    EXPECT_TRUE(vel_progress_dialog_show(&dialog));
}

TEST_F(VelProgressDialog, TheQuitMessageEndsItLikeACompleteJob)
{
    then([] { PostQuitMessage(0); });
    EXPECT_TRUE(vel_progress_dialog_show(&dialog));
    EXPECT_TRUE(IsWindowEnabled(parent));
    EXPECT_FALSE(is_quitting()) << "the message is posted again";
}

TEST_F(VelProgressDialog, OtherCommandsDoNotEndIt)
{
    then([this] {
        SendMessageW(dialog.window, WM_COMMAND, IDOK, 0);
        SendMessageW(dialog.window, WM_COMMAND, 77, 0);
        EXPECT_TRUE(IsWindowVisible(dialog.window));
        press(VK_ESCAPE);
    });
    EXPECT_FALSE(vel_progress_dialog_show(&dialog));
}

TEST_F(VelProgressDialog, TheCancelButtonHasTheFocusInTheMiddleOfTheOwner)
{
    HWND focused = nullptr;
    RECT shown = {};
    then([this, &focused, &shown] {
        focused = GetFocus();
        GetWindowRect(dialog.window, &shown);
        press(VK_ESCAPE);
    });
    vel_progress_dialog_show(&dialog);
    EXPECT_EQ(focused, dialog.cancel_button);
    RECT owner;
    GetWindowRect(parent, &owner);
    RECT expected = {0, 0, 400, 200};
    vel_gui_center(&owner, &expected);
    EXPECT_TRUE(EqualRect(&shown, &expected));
}

TEST_F(VelProgressDialog, CancelGivesFalseAndLeavesTheJobAlone)
{
    then([this] { SendMessageW(dialog.cancel_button, BM_CLICK, 0, 0); });
    EXPECT_FALSE(vel_progress_dialog_show(&dialog));
    EXPECT_TRUE(IsWindowEnabled(parent));
    EXPECT_FALSE(vel_job_is_complete(&job));
}

TEST_F(VelProgressDialog, EscapeGivesFalse)
{
    then([] { press(VK_ESCAPE); });
    EXPECT_FALSE(vel_progress_dialog_show(&dialog));
}

TEST_F(VelProgressDialog, TheCloseButtonGivesFalse)
{
    then([this] { PostMessageW(dialog.window, WM_SYSCOMMAND, SC_CLOSE, 0); });
    EXPECT_FALSE(vel_progress_dialog_show(&dialog));
    EXPECT_TRUE(IsWindow(dialog.window));
}

TEST_F(VelProgressDialog, OtherTimersAreNotTicks)
{
    vel_job_set_progress(&job, 0.7F);
    SendMessageW(dialog.window, WM_TIMER, 2, 0);
    EXPECT_EQ(shown_percent(), 0);
}

TEST_F(VelProgressDialogClassDeathTest, ARefusedClassEndsTheProgram)
{
    EXPECT_EXIT(
        {
            vel_test_occupy_class(L"ProgressDialog");
            vel_job job;
            vel_job_init(&job, "Searching");
            vel_progress_dialog dialog;
            vel_progress_dialog_init(&dialog, parent, &job);
        },
        testing::ExitedWithCode(1), "box: Error registering dialog window class\\.");
}
