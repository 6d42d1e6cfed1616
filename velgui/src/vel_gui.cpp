// The toolkit's process-wide state, its fatal-error box, text in and out of windows, and the main
// message loop. UI thread, but for vel_gui_abort().
#include "vel_gui_internal.h"

#include <atomic>
#include <cstdlib>
#include <uxtheme.h>

#include "vel_gui_arithmetic.h"
#include "vel_gui_table.h"

vel_gui_handles vel_gui_instance;
static std::atomic<bool> vel_gui_aborting;

wchar_t *vel_gui_to_utf_16(const gchar *text)
{
    static_assert(sizeof(wchar_t) == sizeof(gunichar2), "Win32 text is UTF-16");
    gunichar2 *converted = g_utf8_to_utf16(text, -1, nullptr, nullptr, nullptr);
    if (converted == nullptr) {
        g_autofree gchar *valid = g_utf8_make_valid(text, -1);
        converted = g_utf8_to_utf16(valid, -1, nullptr, nullptr, nullptr);
    }
    return reinterpret_cast<wchar_t *>(converted);
}

void vel_gui_init(void)
{
    BufferedPaintInit();
    vel_gui_instance.font = static_cast<HFONT>(GetStockObject(DEFAULT_GUI_FONT));
    vel_gui_wheel_init();
}

void vel_gui_done(void)
{
    if (vel_gui_table_class_created_) {
        UnregisterClassW(vel_gui_table_window_class_, vel_gui_instance.instance);
        vel_gui_table_class_created_ = FALSE;
    }
    vel_gui_wheel_done();
    DeleteObject(vel_gui_instance.font);
    if (vel_gui_instance.accelerators != nullptr) {
        DestroyAcceleratorTable(vel_gui_instance.accelerators);
        vel_gui_instance.accelerators = nullptr;
    }
    BufferedPaintUnInit();
}

void vel_gui_abort(const gchar *message)
{
    vel_gui_aborting = true;
    wchar_t *text = vel_gui_to_utf_16(message);
    MessageBoxW(nullptr, text, L"Error", MB_ICONERROR);
    g_free(text);
    exit(1);
}

gboolean vel_gui_is_aborting(void)
{
    return vel_gui_aborting;
}

SIZE vel_gui_measure_text_utf_16(const gunichar2 *text, gint32 length)
{
    SIZE size = {};
    HDC dc = GetDC(nullptr);
    SelectObject(dc, vel_gui_instance.font);
    GetTextExtentPointW(dc, reinterpret_cast<const wchar_t *>(text), length, &size);
    ReleaseDC(nullptr, dc);
    return size;
}

void vel_gui_set_text(HWND window, const gchar *text)
{
    g_autofree wchar_t *utf_16 = vel_gui_to_utf_16(text);
    SendMessageW(window, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(utf_16));
}

gchar *vel_gui_get_text(HWND window)
{
    const int capacity = GetWindowTextLengthW(window) + 1;
    g_autofree gunichar2 *text = g_new0(gunichar2, static_cast<gsize>(capacity));
    const int length = GetWindowTextW(window, reinterpret_cast<wchar_t *>(text), capacity);
    return g_utf16_to_utf8(text, length, nullptr, nullptr, nullptr);
}

void vel_gui_center(const RECT *outer, RECT *inner)
{
    const LONG width = inner->right - inner->left;
    const LONG height = inner->bottom - inner->top;
    inner->left = vel_gui_center_start(outer->left, outer->right, width);
    inner->top = vel_gui_center_start(outer->top, outer->bottom, height);
    inner->right = inner->left + width;
    inner->bottom = inner->top + height;
}

/// Lets the modeless dialog, if one is set and shown, handle a message.
static bool vel_gui_dialog_takes(MSG *message)
{
    HWND dialog = vel_gui_instance.dialog;
    return dialog != nullptr && IsWindowVisible(dialog) && IsDialogMessageW(dialog, message);
}

void vel_gui_event_loop(HWND main_window)
{
    MSG message;
    // GetMessageW answers 0 for the quit message and -1 for an error.
    while (GetMessageW(&message, nullptr, 0, 0) >= 1) {
        if (vel_gui_dialog_takes(&message))
            continue;
        if (TranslateAcceleratorW(main_window, vel_gui_instance.accelerators, &message))
            continue;
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}
