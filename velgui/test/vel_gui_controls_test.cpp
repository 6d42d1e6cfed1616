// The controls as Windows reports them after creation, and the sizes they would like to have.
#include "vel_window_fixture.h"

#include <algorithm>

namespace
{

/// A window's class, style without what Windows itself adds or hides, id and size.
struct Control {
    std::wstring window_class;
    LONG style;
    LONG_PTR id;
    HFONT font;
    RECT bounds;
};

Control describe(HWND window)
{
    Control control = {};
    wchar_t name[256] = L"";
    GetClassNameW(window, name, G_N_ELEMENTS(name));
    control.window_class = name;
    control.style = GetWindowLongW(window, GWL_STYLE);
    control.id = GetWindowLongPtrW(window, GWLP_ID);
    control.font = reinterpret_cast<HFONT>(SendMessageW(window, WM_GETFONT, 0, 0));
    GetWindowRect(window, &control.bounds);
    MapWindowPoints(nullptr, GetParent(window), reinterpret_cast<POINT *>(&control.bounds), 2);
    return control;
}

void expectControl(HWND window, const wchar_t *window_class, LONG style, LONG_PTR id, bool font)
{
    const Control control = describe(window);
    EXPECT_EQ(_wcsicmp(control.window_class.c_str(), window_class), 0);
    EXPECT_EQ(control.style, style) << std::hex << control.style << " instead of " << style;
    EXPECT_EQ(control.id, id);
    EXPECT_EQ(control.bounds.left, 0);
    EXPECT_EQ(control.bounds.top, 0);
    EXPECT_EQ(control.font == vel_gui_instance.font, font);
    EXPECT_EQ(reinterpret_cast<HINSTANCE>(GetWindowLongPtrW(window, GWLP_HINSTANCE)),
              vel_gui_instance.instance);
}

void expectSize(SIZE size, LONG width, LONG height)
{
    EXPECT_EQ(size.cx, width);
    EXPECT_EQ(size.cy, height);
}

LONG textWidth(const wchar_t *text)
{
    return vel_gui_measure_text_utf_16(reinterpret_cast<const gunichar2 *>(text),
                                       static_cast<gint32>(wcslen(text)))
        .cx;
}

/// Tells whether an edit's outermost pixels differ from its inner ones.
bool drawsBorder(HWND edit)
{
    MoveWindow(edit, 10, 10, 100, 30, TRUE);
    vel_test_pump();
    RECT bounds;
    GetWindowRect(edit, &bounds);
    HDC screen = GetDC(nullptr);
    const COLORREF edge = GetPixel(screen, bounds.left + 50, bounds.top);
    const COLORREF inside = GetPixel(screen, bounds.left + 50, bounds.top + 5);
    ReleaseDC(nullptr, screen);
    MoveWindow(edit, 0, 0, 100, 30, TRUE);
    return edge != inside;
}

} // namespace

using VelGuiControls = VelWindowTest;

TEST_F(VelGuiControls, Button)
{
    HWND button = vel_gui_create_button(parent, "B\xC3\xA4r", 42);
    expectControl(button, L"Button", 0x50018000, 42, true);
    wchar_t text[16];
    GetWindowTextW(button, text, 16);
    EXPECT_STREQ(text, L"B\u00E4r");
}

TEST_F(VelGuiControls, RadioButton)
{
    expectControl(vel_gui_create_radio_button(parent, "Radio"), L"Button", 0x50010009, 0, true);
}

TEST_F(VelGuiControls, CheckBox)
{
    expectControl(vel_gui_create_checkbox(parent, "Check"), L"Button", 0x50010003, 0, true);
}

TEST_F(VelGuiControls, EditHasABorder)
{
    HWND edit = vel_gui_create_edit(parent, 9);
    // The control keeps WS_BORDER to itself: it draws the border and may not show the style.
    const LONG border = GetWindowLongW(edit, GWL_STYLE) & WS_BORDER;
    expectControl(edit, L"Edit", static_cast<LONG>(0x50010080) | border, 9, true);
    EXPECT_TRUE(border != 0 || drawsBorder(edit));
    EXPECT_EQ(describe(edit).bounds.right, 100);
}

TEST_F(VelGuiControls, ComboBoxListsWithoutEditing)
{
    HWND combobox = vel_gui_create_combobox(parent);
    EXPECT_EQ(GetWindowLongW(combobox, GWL_STYLE) & 0x5001000F, 0x50010003);
    EXPECT_EQ(describe(combobox).bounds.right, 100);
    EXPECT_EQ(describe(combobox).font, vel_gui_instance.font);
}

TEST_F(VelGuiControls, Label)
{
    HWND label = vel_gui_create_label(parent, "Text");
    expectControl(label, L"Static", 0x50000000, 0, true);
    EXPECT_EQ(describe(label).bounds.right, 100);
    EXPECT_EQ(describe(label).bounds.bottom, 50);
}

TEST_F(VelGuiControls, PanelLetsTheKeyboardIn)
{
    HWND panel = vel_gui_create_panel(parent);
    expectControl(panel, L"Static", 0x50000000, 0, false);
    EXPECT_EQ(GetWindowLongW(panel, GWL_EXSTYLE), WS_EX_CONTROLPARENT);
    EXPECT_EQ(describe(panel).bounds.right, 100);
    EXPECT_EQ(describe(panel).bounds.bottom, 100);
}

TEST_F(VelGuiControls, Header)
{
    HWND header = vel_gui_create_header(parent);
    expectControl(header, L"SysHeader32", 0x50000086, 0, true);
    EXPECT_EQ(describe(header).bounds.right, 0);
    EXPECT_EQ(describe(header).bounds.bottom, 0);
}

TEST_F(VelGuiControls, VerticalScrollBar)
{
    HWND bar = vel_gui_create_scrollbar(parent, TRUE);
    expectControl(bar, L"ScrollBar", 0x50000001, 0, false);
    EXPECT_EQ(describe(bar).bounds.right, GetSystemMetrics(SM_CXVSCROLL));
    EXPECT_EQ(describe(bar).bounds.bottom, 100);
}

TEST_F(VelGuiControls, HorizontalScrollBar)
{
    HWND bar = vel_gui_create_scrollbar(parent, FALSE);
    expectControl(bar, L"ScrollBar", 0x50000000, 0, false);
    EXPECT_EQ(describe(bar).bounds.right, 100);
    EXPECT_EQ(describe(bar).bounds.bottom, GetSystemMetrics(SM_CXHSCROLL));
}

TEST_F(VelGuiControls, ProgressBar)
{
    expectControl(vel_gui_create_progress_bar(parent, 5), L"msctls_progress32", 0x50000000, 5,
                  false);
}

namespace
{

/// Answers BCM_GETIDEALSIZE with 40 x 17.
LRESULT CALLBACK idealSize(HWND window, UINT message, WPARAM wparam, LPARAM lparam, UINT_PTR,
                           DWORD_PTR)
{
    if (message != BCM_GETIDEALSIZE)
        return DefSubclassProc(window, message, wparam, lparam);
    *reinterpret_cast<SIZE *>(lparam) = {40, 17};
    return TRUE;
}

} // namespace

using VelGuiPreferredSize = VelWindowTest;

TEST_F(VelGuiPreferredSize, AShortButtonIsEightyWide)
{
    HWND button = vel_gui_create_button(parent, "x", 1);
    SetWindowSubclass(button, idealSize, 1, 0);
    expectSize(vel_gui_get_preferred_size(button), 80, 27);
}

TEST_F(VelGuiPreferredSize, ALongButtonIsItsIdealSizeAndAMargin)
{
    HWND button = vel_gui_create_button(parent, "A button with quite a lot of text on it", 1);
    SIZE ideal = {};
    SendMessageW(button, BCM_GETIDEALSIZE, 0, reinterpret_cast<LPARAM>(&ideal));
    ASSERT_GT(ideal.cx, 80);
    expectSize(vel_gui_get_preferred_size(button), ideal.cx + 25, ideal.cy + 10);
}

TEST_F(VelGuiPreferredSize, TheDefaultButtonIsAPushButtonToo)
{
    HWND button = vel_gui_create_button(parent, "x", 1);
    SetWindowLongW(button, GWL_STYLE, GetWindowLongW(button, GWL_STYLE) | BS_DEFPUSHBUTTON);
    SetWindowSubclass(button, idealSize, 1, 0);
    expectSize(vel_gui_get_preferred_size(button), 80, 27);
}

TEST_F(VelGuiPreferredSize, CheckBoxesAndRadioButtonsKeepTheirIdealSize)
{
    for (HWND button :
         {vel_gui_create_checkbox(parent, "x"), vel_gui_create_radio_button(parent, "x")}) {
        SetWindowSubclass(button, idealSize, 1, 0);
        expectSize(vel_gui_get_preferred_size(button), 40, 17);
    }
}

TEST_F(VelGuiPreferredSize, AnEmptyLabelIsNothing)
{
    expectSize(vel_gui_get_preferred_size(vel_gui_create_label(parent, "")), 0, 0);
}

TEST_F(VelGuiPreferredSize, ALabelIsItsText)
{
    const SIZE size = vel_gui_get_preferred_size(vel_gui_create_label(parent, "Wide label"));
    EXPECT_EQ(size.cx, textWidth(L"Wide label"));
    EXPECT_GT(size.cy, 0);
}

TEST_F(VelGuiPreferredSize, ALabelOfTwoLinesIsTwiceAsHigh)
{
    const SIZE one = vel_gui_get_preferred_size(vel_gui_create_label(parent, "Line"));
    const SIZE two = vel_gui_get_preferred_size(vel_gui_create_label(parent, "Line\nLine"));
    expectSize(two, one.cx, 2 * one.cy);
}

TEST_F(VelGuiPreferredSize, ALabelIsMeasuredInItsOwnFont)
{
    HWND label = vel_gui_create_label(parent, "Wide label");
    const SIZE before = vel_gui_get_preferred_size(label);
    HFONT font = CreateFontW(40, 0, 0, 0, FW_BOLD, FALSE, FALSE, FALSE, DEFAULT_CHARSET, 0, 0, 0, 0,
                             nullptr);
    SendMessageW(label, WM_SETFONT, reinterpret_cast<WPARAM>(font), FALSE);
    const SIZE size = vel_gui_get_preferred_size(label);
    EXPECT_EQ(size.cy, 40);
    EXPECT_GT(size.cx, 2 * before.cx);
    SendMessageW(label, WM_SETFONT, 0, FALSE);
    EXPECT_NE(vel_gui_get_preferred_size(label).cy, 40) << "a label without a font";
    DeleteObject(font);
}

TEST_F(VelGuiPreferredSize, AnAmpersandUnderlinesAndTakesNoRoomInALabel)
{
    EXPECT_EQ(vel_gui_get_preferred_size(vel_gui_create_label(parent, "&Name")).cx,
              textWidth(L"Name"));
}

TEST_F(VelGuiPreferredSize, OfALongLabelTheFirst255UnitsAreMeasured)
{
    const std::string text(255, 'i');
    const SIZE size = vel_gui_get_preferred_size(vel_gui_create_label(parent, text.c_str()));
    const std::string longer = text + "WWWWW";
    expectSize(vel_gui_get_preferred_size(vel_gui_create_label(parent, longer.c_str())), size.cx,
               size.cy);
    EXPECT_EQ(size.cx, textWidth(std::wstring(255, L'i').c_str()));
}

TEST_F(VelGuiPreferredSize, EditsProgressBarsAndTheRestAreFixed)
{
    expectSize(vel_gui_get_preferred_size(vel_gui_create_edit(parent, 1)), 200, 20);
    expectSize(vel_gui_get_preferred_size(vel_gui_create_progress_bar(parent, 1)), 400,
               GetSystemMetrics(SM_CXHSCROLL));
    expectSize(vel_gui_get_preferred_size(vel_gui_create_header(parent)), 100, 100);
    expectSize(vel_gui_get_preferred_size(nullptr), 100, 100);
}

namespace
{

std::vector<WPARAM> measured_items;

LRESULT CALLBACK recordItems(HWND window, UINT message, WPARAM wparam, LPARAM lparam, UINT_PTR,
                             DWORD_PTR)
{
    if (message == CB_GETLBTEXT)
        measured_items.push_back(wparam);
    return DefSubclassProc(window, message, wparam, lparam);
}

HWND comboboxOf(HWND parent, int items)
{
    HWND combobox = vel_gui_create_combobox(parent);
    for (int item = 0; item < items; item++)
        SendMessageW(combobox, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(L"Item"));
    SetWindowSubclass(combobox, recordItems, 1, 0);
    measured_items.clear();
    return combobox;
}

} // namespace

TEST_F(VelGuiPreferredSize, OfALongListEveryFewItemsAreMeasured)
{
    vel_gui_get_preferred_size(comboboxOf(parent, 120));
    ASSERT_EQ(measured_items.size(), 60U);
    for (WPARAM place = 0; place < measured_items.size(); place++)
        EXPECT_EQ(measured_items[place], 2 * place);
}

TEST_F(VelGuiPreferredSize, OfAShortListEveryItemIsMeasured)
{
    vel_gui_get_preferred_size(comboboxOf(parent, 49));
    ASSERT_EQ(measured_items.size(), 49U);
    for (WPARAM place = 0; place < measured_items.size(); place++)
        EXPECT_EQ(measured_items[place], place);
}

TEST_F(VelGuiPreferredSize, ListsAreSampledFromAHundredItemsOn)
{
    vel_gui_get_preferred_size(comboboxOf(parent, 99));
    EXPECT_EQ(measured_items.size(), 99U);
    vel_gui_get_preferred_size(comboboxOf(parent, 100));
    EXPECT_EQ(measured_items.size(), 50U);
}

TEST_F(VelGuiPreferredSize, AnEmptyItemIsNotFetched)
{
    HWND combobox = comboboxOf(parent, 2);
    SendMessageW(combobox, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(L""));
    vel_gui_get_preferred_size(combobox);
    EXPECT_EQ(measured_items.size(), 2U);
}

TEST_F(VelGuiPreferredSize, AListIsAsWideAsItsWidestItem)
{
    HWND combobox = comboboxOf(parent, 3);
    const wchar_t *widest = L"By far the widest item of them all";
    SendMessageW(combobox, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(widest));
    const auto item_height = static_cast<LONG>(SendMessageW(combobox, CB_GETITEMHEIGHT, 0, 0));
    expectSize(vel_gui_get_preferred_size(combobox),
               textWidth(widest) + GetSystemMetrics(SM_CXHTHUMB) + 20, item_height + 11);
}

TEST_F(VelGuiPreferredSize, AnEmptyListHasItsLeastWidth)
{
    EXPECT_EQ(vel_gui_get_preferred_size(comboboxOf(parent, 0)).cx,
              40 + GetSystemMetrics(SM_CXHTHUMB) + 20);
}

TEST_F(VelGuiPreferredSize, AskingLeaksNoHandles)
{
    HWND label = vel_gui_create_label(parent, "Label");
    HWND combobox = comboboxOf(parent, 3);
    const auto ask = [&] {
        vel_gui_get_preferred_size(label);
        vel_gui_get_preferred_size(combobox);
    };
    ask();
    const DWORD gdi = vel_test_gdi_handles();
    for (int round = 0; round < 500; round++)
        ask();
    EXPECT_EQ(vel_test_gdi_handles(), gdi);
}
