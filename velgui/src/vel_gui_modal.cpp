// See vel_gui_modal.h.
#include "vel_gui_modal.h"

#include "vel_gui.h"

namespace
{

/// Smallest size that the user can give a modal window, in pixels.
constexpr POINT MINIMUM_SIZE = {220, 110};

} // namespace

void vel_gui_modal_register_class(ATOM *atom, const wchar_t *name, WNDPROC proc)
{
    if (*atom != 0)
        return;
    WNDCLASSW window_class = {};
    window_class.lpfnWndProc = proc;
    window_class.cbWndExtra = sizeof(gpointer);
    window_class.hInstance = vel_gui_instance.instance;
    window_class.hCursor =
        static_cast<HCURSOR>(LoadImageW(nullptr, IDC_ARROW, IMAGE_CURSOR, 0, 0, LR_SHARED));
    window_class.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
    window_class.lpszClassName = name;
    *atom = RegisterClassW(&window_class);
    if (*atom == 0)
        vel_gui_abort("Error registering dialog window class.");
}

HWND vel_gui_modal_create(const wchar_t *class_name, HWND owner, const gchar *title, int width,
                          int height, gpointer structure)
{
    const HWND window =
        CreateWindowExW(WS_EX_DLGMODALFRAME | WS_EX_CONTROLPARENT, class_name, L"",
                        WS_CAPTION | WS_SYSMENU | WS_THICKFRAME, CW_USEDEFAULT, CW_USEDEFAULT,
                        width, height, owner, nullptr, vel_gui_instance.instance, nullptr);
    vel_gui_set_text(window, title);
    SetWindowLongPtrW(window, 0, reinterpret_cast<LONG_PTR>(structure));
    return window;
}

LRESULT vel_gui_modal_proc(const vel_gui_modal_actions *actions, HWND window, UINT message,
                           WPARAM wparam, LPARAM lparam)
{
    const auto structure = reinterpret_cast<gpointer>(GetWindowLongPtrW(window, 0));
    switch (message) {
    case WM_COMMAND:
        if (LOWORD(wparam) != IDCANCEL)
            break;
        actions->give_up(structure);
        return 0;
    case WM_CLOSE:
        actions->give_up(structure);
        return 0;
    case WM_GETMINMAXINFO:
        reinterpret_cast<MINMAXINFO *>(lparam)->ptMinTrackSize = MINIMUM_SIZE;
        return 0;
    case WM_SIZE:
        // The window is sized while it is being created, before it has a structure.
        if (structure != nullptr)
            actions->layout(structure);
        return 0;
    default:
        break;
    }
    return DefWindowProcW(window, message, wparam, lparam);
}

static void vel_gui_modal_center_on_owner(HWND window, HWND owner)
{
    RECT outer = {};
    RECT inner = {};
    GetWindowRect(owner, &outer);
    GetWindowRect(window, &inner);
    vel_gui_center(&outer, &inner);
    SetWindowPos(window, nullptr, inner.left, inner.top, inner.right - inner.left,
                 inner.bottom - inner.top, SWP_NOZORDER | SWP_NOACTIVATE);
}

HWND vel_gui_modal_show(HWND window)
{
    const HWND owner = GetWindow(window, GW_OWNER);
    EnableWindow(owner, FALSE);
    if (owner != nullptr)
        vel_gui_modal_center_on_owner(window, owner);
    ShowWindow(window, SW_SHOWNORMAL);
    const HWND first = GetNextDlgTabItem(window, nullptr, FALSE);
    SetFocus(first);
    return first;
}

void vel_gui_modal_run(HWND window)
{
    const HWND owner = GetWindow(window, GW_OWNER);
    const HWND command_target = owner != nullptr ? owner : window;
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) >= 1) {
        if (!IsWindowVisible(window))
            break;
        if (IsDialogMessageW(window, &message))
            continue;
        if (TranslateAcceleratorW(command_target, vel_gui_instance.accelerators, &message))
            continue;
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    EnableWindow(owner, TRUE);
}

void vel_gui_modal_hide(HWND window)
{
    // The owner first: a window hidden while its owner is disabled hands the activation to a
    // stranger.
    EnableWindow(GetWindow(window, GW_OWNER), TRUE);
    ShowWindow(window, SW_HIDE);
    // The loop notices at its next message and drops that one; let it be this.
    PostMessageW(window, WM_NULL, 0, 0);
}

RECT vel_gui_modal_place_corner_button(HWND window, HWND button)
{
    RECT client = {};
    GetClientRect(window, &client);
    const SIZE size = vel_gui_get_preferred_size(button);
    RECT place;
    place.right = client.right - VEL_GUI_MODAL_MARGIN_X;
    place.bottom = client.bottom - VEL_GUI_MODAL_MARGIN_Y;
    place.left = place.right - size.cx;
    place.top = place.bottom - size.cy;
    MoveWindow(button, place.left, place.top, size.cx, size.cy, FALSE);
    return place;
}
