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

static gboolean vel_dialog_on_command(vel_dialog *dialog, WORD id)
{
    if (id != IDOK && id != IDCANCEL)
        return FALSE;
    if (id == IDOK)
        dialog->ok = TRUE;
    vel_gui_modal_hide(dialog->window);
    return TRUE;
}

static LRESULT CALLBACK vel_dialog_proc(HWND window, UINT message, WPARAM wparam, LPARAM lparam)
{
    auto *const dialog = reinterpret_cast<vel_dialog *>(GetWindowLongPtrW(window, 0));
    switch (message) {
    case WM_COMMAND:
        if (vel_dialog_on_command(dialog, LOWORD(wparam)))
            return 0;
        break;
    case WM_CLOSE:
        vel_gui_modal_hide(window);
        return 0;
    case WM_GETMINMAXINFO:
        reinterpret_cast<MINMAXINFO *>(lparam)->ptMinTrackSize = {VEL_GUI_MODAL_MIN_WIDTH,
                                                                  VEL_GUI_MODAL_MIN_HEIGHT};
        return 0;
    case WM_SIZE:
        if (dialog != nullptr)
            vel_dialog_layout(dialog);
        return 0;
    default:
        break;
    }
    return DefWindowProcW(window, message, wparam, lparam);
}
