// See vel_dialog.h. Hiding the window is what ends vel_dialog_show().
#include "vel_dialog.h"

#include "vel_gui.h"
#include "vel_gui_modal.h"

namespace
{

constexpr wchar_t WINDOW_CLASS[] = L"SimpleDialog";
constexpr int WIDTH = 640;
constexpr int HEIGHT = 480;
constexpr int CLASS_NAME_ROOM = 256;

} // namespace

static ATOM vel_dialog_class_;

static LRESULT CALLBACK vel_dialog_proc(HWND window, UINT message, WPARAM wparam, LPARAM lparam);

void vel_dialog_init(vel_dialog *dialog, HWND owner, const gchar *title)
{
    *dialog = {};
    vel_gui_modal_register_class(&vel_dialog_class_, WINDOW_CLASS, vel_dialog_proc);
    dialog->window = vel_gui_modal_create(WINDOW_CLASS, owner, title, WIDTH, HEIGHT, dialog);
    dialog->ok_button = vel_gui_create_button(dialog->window, "OK", IDOK);
    dialog->cancel_button = vel_gui_create_button(dialog->window, "Cancel", IDCANCEL);
    vel_dialog_layout(dialog);
}

void vel_dialog_layout(vel_dialog *dialog)
{
    const RECT cancel = vel_gui_modal_place_corner_button(dialog->window, dialog->cancel_button);
    const SIZE ok = vel_gui_get_preferred_size(dialog->ok_button);
    MoveWindow(dialog->ok_button, cancel.left - VEL_GUI_MODAL_MARGIN_X - ok.cx, cancel.top, ok.cx,
               cancel.bottom - cancel.top, FALSE);
    InvalidateRect(dialog->window, nullptr, TRUE);
}

static gboolean vel_dialog_is_edit(HWND control)
{
    wchar_t name[CLASS_NAME_ROOM] = L"";
    GetClassNameW(control, name, CLASS_NAME_ROOM);
    return _wcsicmp(name, L"Edit") == 0;
}

gboolean vel_dialog_show(vel_dialog *dialog)
{
    dialog->ok = FALSE;
    const HWND first = vel_gui_modal_show(dialog->window);
    if (vel_dialog_is_edit(first))
        SendMessageW(first, EM_SETSEL, 0, -1);
    vel_gui_modal_run(dialog->window);
    return dialog->ok;
}

void vel_dialog_done(vel_dialog *dialog)
{
    DestroyWindow(dialog->window);
}

static void vel_dialog_on_layout(gpointer dialog)
{
    vel_dialog_layout(static_cast<vel_dialog *>(dialog));
}

static void vel_dialog_on_give_up(gpointer dialog)
{
    vel_gui_modal_hide(static_cast<vel_dialog *>(dialog)->window);
}

static void vel_dialog_on_ok(vel_dialog *dialog)
{
    dialog->ok = TRUE;
    vel_gui_modal_hide(dialog->window);
}

static LRESULT CALLBACK vel_dialog_proc(HWND window, UINT message, WPARAM wparam, LPARAM lparam)
{
    static constexpr vel_gui_modal_actions actions = {vel_dialog_on_layout, vel_dialog_on_give_up};
    if (message == WM_COMMAND && LOWORD(wparam) == IDOK) {
        vel_dialog_on_ok(reinterpret_cast<vel_dialog *>(GetWindowLongPtrW(window, 0)));
        return 0;
    }
    return vel_gui_modal_proc(&actions, window, message, wparam, lparam);
}
