// See vel_progress_dialog.h. Hiding the window is what ends vel_progress_dialog_show().
#include "vel_progress_dialog.h"

#include <commctrl.h>

#include "vel_gui.h"
#include "vel_gui_modal.h"

namespace
{

constexpr wchar_t WINDOW_CLASS[] = L"ProgressDialog";
constexpr int WIDTH = 400;
constexpr int HEIGHT = 200;

constexpr UINT_PTR POLL_TIMER = 1;
constexpr UINT POLL_PERIOD_MS = 1000;

/// The bar's place, and what it leaves free of the client width.
constexpr int BAR_LEFT = 11;
constexpr int BAR_TOP = 11;
constexpr int BAR_FREE_WIDTH = 23;

} // namespace

static ATOM vel_progress_dialog_class_;

static LRESULT CALLBACK vel_progress_dialog_proc(HWND window, UINT message, WPARAM wparam,
                                                 LPARAM lparam);

void vel_progress_dialog_init(vel_progress_dialog *dialog, HWND owner, vel_job *job)
{
    *dialog = {};
    dialog->job = job;
    vel_gui_modal_register_class(&vel_progress_dialog_class_, WINDOW_CLASS,
                                 vel_progress_dialog_proc);
    dialog->window = vel_gui_modal_create(WINDOW_CLASS, owner, job->name, WIDTH, HEIGHT, dialog);
    dialog->cancel_button = vel_gui_create_button(dialog->window, "Cancel", IDCANCEL);
    dialog->progress_bar = vel_gui_create_progress_bar(dialog->window, 0);
    vel_progress_dialog_layout(dialog);
}

void vel_progress_dialog_layout(vel_progress_dialog *dialog)
{
    RECT client = {};
    GetClientRect(dialog->window, &client);
    const SIZE bar = vel_gui_get_preferred_size(dialog->progress_bar);
    MoveWindow(dialog->progress_bar, BAR_LEFT, BAR_TOP, client.right - BAR_FREE_WIDTH, bar.cy,
               FALSE);
    vel_gui_modal_place_corner_button(dialog->window, dialog->cancel_button);
    InvalidateRect(dialog->window, nullptr, TRUE);
}

static void vel_progress_dialog_poll(vel_progress_dialog *dialog)
{
    if (vel_job_is_complete(dialog->job)) {
        vel_gui_modal_hide(dialog->window);
        return;
    }
    const auto percent = static_cast<int>(vel_job_get_progress(dialog->job) * 100.0F);
    SendMessageW(dialog->progress_bar, PBM_SETPOS, static_cast<WPARAM>(percent), 0);
}

gboolean vel_progress_dialog_show(vel_progress_dialog *dialog)
{
    dialog->running = TRUE;
    SetTimer(dialog->window, POLL_TIMER, POLL_PERIOD_MS, nullptr);
    vel_gui_modal_show(dialog->window);
    // A job that has finished meanwhile must not wait for the first tick.
    vel_progress_dialog_poll(dialog);
    vel_gui_modal_run(dialog->window);
    KillTimer(dialog->window, POLL_TIMER);
    return dialog->running;
}

void vel_progress_dialog_done(vel_progress_dialog *dialog)
{
    DestroyWindow(dialog->window);
}

static void vel_progress_dialog_on_layout(gpointer dialog)
{
    vel_progress_dialog_layout(static_cast<vel_progress_dialog *>(dialog));
}

static void vel_progress_dialog_on_give_up(gpointer data)
{
    auto *const dialog = static_cast<vel_progress_dialog *>(data);
    dialog->running = FALSE;
    vel_gui_modal_hide(dialog->window);
}

static LRESULT CALLBACK vel_progress_dialog_proc(HWND window, UINT message, WPARAM wparam,
                                                 LPARAM lparam)
{
    static constexpr vel_gui_modal_actions actions = {vel_progress_dialog_on_layout,
                                                      vel_progress_dialog_on_give_up};
    if (message == WM_TIMER && wparam == POLL_TIMER)
        vel_progress_dialog_poll(
            reinterpret_cast<vel_progress_dialog *>(GetWindowLongPtrW(window, 0)));
    return vel_gui_modal_proc(&actions, window, message, wparam, lparam);
}
