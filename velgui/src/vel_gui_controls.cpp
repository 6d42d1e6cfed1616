// Creation of the standard controls with the styles that this toolkit gives them, and the size that
// each kind would like to have. UI thread.
#include "vel_gui_internal.h"

#include <commctrl.h>

/// Child, visible: what every control is.
static const DWORD vel_gui_base_style = WS_CHILD | WS_VISIBLE;

/// Creates a control at (0, 0).
/// @param text  UTF-8, borrowed; null for a control without one
static HWND vel_gui_create_control(HWND parent, const wchar_t *window_class, const gchar *text,
                                   DWORD style, SIZE size, gint32 id)
{
    g_autofree wchar_t *utf_16 = text != nullptr ? vel_gui_to_utf_16(text) : nullptr;
    const auto menu = reinterpret_cast<HMENU>(static_cast<gintptr>(id));
    return CreateWindowExW(0, window_class, utf_16, vel_gui_base_style | style, 0, 0, size.cx,
                           size.cy, parent, menu, vel_gui_instance.instance, nullptr);
}

/// Gives a control the toolkit's font.
static HWND vel_gui_with_font(HWND control)
{
    SendMessageW(control, WM_SETFONT, reinterpret_cast<WPARAM>(vel_gui_instance.font), TRUE);
    return control;
}

HWND vel_gui_create_button(HWND parent, const gchar *text, gint32 id)
{
    return vel_gui_with_font(vel_gui_create_control(parent, L"Button", text, WS_TABSTOP | BS_FLAT,
                                                    {CW_USEDEFAULT, CW_USEDEFAULT}, id));
}

HWND vel_gui_create_radio_button(HWND parent, const gchar *text)
{
    return vel_gui_with_font(vel_gui_create_control(parent, L"Button", text,
                                                    WS_TABSTOP | BS_AUTORADIOBUTTON,
                                                    {CW_USEDEFAULT, CW_USEDEFAULT}, 0));
}

HWND vel_gui_create_checkbox(HWND parent, const gchar *text)
{
    return vel_gui_with_font(vel_gui_create_control(
        parent, L"Button", text, WS_TABSTOP | BS_AUTOCHECKBOX, {CW_USEDEFAULT, CW_USEDEFAULT}, 0));
}

HWND vel_gui_create_edit(HWND parent, gint32 id)
{
    return vel_gui_with_font(vel_gui_create_control(parent, L"Edit", nullptr,
                                                    WS_BORDER | WS_TABSTOP | ES_AUTOHSCROLL,
                                                    {100, CW_USEDEFAULT}, id));
}

HWND vel_gui_create_combobox(HWND parent)
{
    return vel_gui_with_font(vel_gui_create_control(
        parent, L"ComboBox", nullptr, WS_TABSTOP | CBS_DROPDOWNLIST, {100, CW_USEDEFAULT}, 0));
}

HWND vel_gui_create_label(HWND parent, const gchar *text)
{
    return vel_gui_with_font(
        vel_gui_create_control(parent, L"Static", text, SS_LEFT, {100, 50}, 0));
}

HWND vel_gui_create_panel(HWND parent)
{
    // WS_EX_CONTROLPARENT lets the Tab key reach the controls inside.
    return CreateWindowExW(WS_EX_CONTROLPARENT, L"Static", L"", vel_gui_base_style, 0, 0, 100, 100,
                           parent, nullptr, vel_gui_instance.instance, nullptr);
}

HWND vel_gui_create_header(HWND parent)
{
    return vel_gui_with_font(vel_gui_create_control(
        parent, WC_HEADERW, nullptr, HDS_BUTTONS | HDS_HOTTRACK | HDS_FULLDRAG, {0, 0}, 0));
}

HWND vel_gui_create_scrollbar(HWND parent, gboolean vertical)
{
    const SIZE size = vertical ? SIZE{GetSystemMetrics(SM_CXVSCROLL), 100}
                               : SIZE{100, GetSystemMetrics(SM_CXHSCROLL)};
    return vel_gui_create_control(parent, L"ScrollBar", nullptr, vertical ? SBS_VERT : SBS_HORZ,
                                  size, 0);
}

HWND vel_gui_create_progress_bar(HWND parent, gint32 id)
{
    return vel_gui_create_control(parent, PROGRESS_CLASSW, nullptr, 0,
                                  {CW_USEDEFAULT, CW_USEDEFAULT}, id);
}

static SIZE vel_gui_preferred_button_size(HWND button)
{
    SIZE size = {};
    SendMessageW(button, BCM_GETIDEALSIZE, 0, reinterpret_cast<LPARAM>(&size));
    const LONG type = GetWindowLongW(button, GWL_STYLE) & BS_TYPEMASK;
    if (type != BS_PUSHBUTTON && type != BS_DEFPUSHBUTTON)
        return size;
    return {MAX(size.cx + 25, 80), size.cy + 10};
}

static SIZE vel_gui_preferred_label_size(HWND label)
{
    wchar_t text[256];
    if (GetWindowTextW(label, text, G_N_ELEMENTS(text)) == 0)
        return {0, 0};
    HDC dc = GetDC(label);
    const auto font = reinterpret_cast<HFONT>(SendMessageW(label, WM_GETFONT, 0, 0));
    HGDIOBJ previous = font != nullptr ? SelectObject(dc, font) : nullptr;
    RECT bounds = {};
    DrawTextW(dc, text, -1, &bounds, DT_CALCRECT);
    if (previous != nullptr)
        SelectObject(dc, previous);
    ReleaseDC(label, dc);
    return {bounds.right - bounds.left, bounds.bottom - bounds.top};
}

/// Measures one entry of a drop-down list.
static LONG vel_gui_combobox_item_width(HWND combobox, WPARAM item)
{
    const LRESULT length = SendMessageW(combobox, CB_GETLBTEXTLEN, item, 0);
    if (length <= 0)
        return 0;
    g_autofree gunichar2 *text = g_new0(gunichar2, static_cast<gsize>(length) + 1);
    SendMessageW(combobox, CB_GETLBTEXT, item, reinterpret_cast<LPARAM>(text));
    return vel_gui_measure_text_utf_16(text, static_cast<gint32>(length)).cx;
}

static SIZE vel_gui_preferred_combobox_size(HWND combobox)
{
    const LRESULT count = SendMessageW(combobox, CB_GETCOUNT, 0, 0);
    // A sample is enough for a long list, and measuring is slow.
    const LRESULT step = MAX(count / 50, 1);
    LONG width = 40;
    for (LRESULT item = 0; item < count; item += step)
        width = MAX(width, vel_gui_combobox_item_width(combobox, static_cast<WPARAM>(item)));
    const auto height = static_cast<LONG>(SendMessageW(combobox, CB_GETITEMHEIGHT, 0, 0)) + 11;
    return {width + GetSystemMetrics(SM_CXHTHUMB) + 20, height};
}

SIZE vel_gui_get_preferred_size(HWND window)
{
    wchar_t name[256];
    if (GetClassNameW(window, name, G_N_ELEMENTS(name)) == 0)
        return {100, 100};
    if (lstrcmpiW(name, L"Button") == 0)
        return vel_gui_preferred_button_size(window);
    if (lstrcmpiW(name, L"Static") == 0)
        return vel_gui_preferred_label_size(window);
    if (lstrcmpiW(name, L"Edit") == 0)
        return {200, 20};
    if (lstrcmpiW(name, L"ComboBox") == 0)
        return vel_gui_preferred_combobox_size(window);
    if (lstrcmpiW(name, PROGRESS_CLASSW) == 0)
        return {400, GetSystemMetrics(SM_CXHSCROLL)};
    return {100, 100};
}
