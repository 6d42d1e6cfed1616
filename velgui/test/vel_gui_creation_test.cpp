// How the controls are created, to the letter: what CreateWindowExW and WM_SETFONT are given. The
// finished windows show some of it changed.
#include "vel_window_fixture.h"

#include <optional>
#include <ostream>

#include "vel_import_patch.h"

namespace
{

/// The arguments of one creation; a missing text is "(none)".
struct Creation {
    std::wstring window_class;
    DWORD style;
    int width;
    int height;
    int id;
    bool font;
    DWORD extended_style = 0;
    std::wstring text = L"(none)";

    bool operator==(const Creation &other) const = default;
};

/// For GoogleTest's messages.
std::ostream &operator<<(std::ostream &out, const Creation &creation)
{
    const std::string name(creation.window_class.begin(), creation.window_class.end());
    return out << name << " style " << std::hex << creation.style << " extended "
               << creation.extended_style << std::dec << ", " << creation.width << " x "
               << creation.height << ", id " << creation.id << ", font " << creation.font;
}

Creation created;
HWND created_in;
HWND creating;
decltype(&CreateWindowExW) create_window;
decltype(&SendMessageW) send_message;

HWND WINAPI recordCreation(DWORD extended_style, LPCWSTR window_class, LPCWSTR text, DWORD style,
                           int x, int y, int width, int height, HWND parent, HMENU menu,
                           HINSTANCE instance, LPVOID data)
{
    created = {window_class,
               style,
               width,
               height,
               static_cast<int>(reinterpret_cast<gintptr>(menu)),
               false,
               extended_style,
               text != nullptr ? text : L"(none)"};
    created_in = parent;
    EXPECT_EQ(x, 0);
    EXPECT_EQ(y, 0);
    EXPECT_EQ(instance, vel_gui_instance.instance);
    EXPECT_EQ(data, nullptr);
    creating = create_window(extended_style, window_class, text, style, x, y, width, height, parent,
                             menu, instance, data);
    return creating;
}

LRESULT WINAPI recordFont(HWND window, UINT message, WPARAM wparam, LPARAM lparam)
{
    if (message == WM_SETFONT) {
        EXPECT_EQ(window, creating);
        EXPECT_EQ(lparam, TRUE) << "redraw";
        created.font = reinterpret_cast<HFONT>(wparam) == vel_gui_instance.font;
    }
    return send_message(window, message, wparam, lparam);
}

class VelGuiCreation : public VelWindowTest
{
protected:
    void SetUp() override
    {
        VelWindowTest::SetUp();
        creations.emplace("CreateWindowExW", &recordCreation);
        create_window = creations->original();
        messages.emplace("SendMessageW", &recordFont);
        send_message = messages->original();
    }

    void TearDown() override
    {
        creations.reset();
        messages.reset();
        VelWindowTest::TearDown();
    }

    void expectCreated(HWND window, const Creation &expected)
    {
        EXPECT_EQ(window, creating);
        EXPECT_EQ(created_in, parent);
        EXPECT_EQ(created, expected);
        EXPECT_EQ(created.text, expected.text);
    }

    std::optional<VelImportPatch<decltype(recordCreation)>> creations;
    std::optional<VelImportPatch<decltype(recordFont)>> messages;
};

const int by_default = CW_USEDEFAULT;

} // namespace

TEST_F(VelGuiCreation, Buttons)
{
    expectCreated(vel_gui_create_button(parent, "B\xC3\xA4r", 42),
                  {L"Button", 0x50018000, by_default, by_default, 42, true, 0, L"B\u00E4r"});
    expectCreated(vel_gui_create_radio_button(parent, "R\xC3\xA4"),
                  {L"Button", 0x50010009, by_default, by_default, 0, true, 0, L"R\u00E4"});
    expectCreated(vel_gui_create_checkbox(parent, "C\xC3\xA4"),
                  {L"Button", 0x50010003, by_default, by_default, 0, true, 0, L"C\u00E4"});
}

TEST_F(VelGuiCreation, InputFields)
{
    expectCreated(vel_gui_create_edit(parent, 9), {L"Edit", 0x50810080, 100, by_default, 9, true});
    expectCreated(vel_gui_create_combobox(parent),
                  {L"ComboBox", 0x50010003, 100, by_default, 0, true});
}

TEST_F(VelGuiCreation, TextsAndContainers)
{
    expectCreated(vel_gui_create_label(parent, "L\xC3\xA4"),
                  {L"Static", 0x50000000, 100, 50, 0, true, 0, L"L\u00E4"});
    expectCreated(vel_gui_create_panel(parent),
                  {L"Static", 0x50000000, 100, 100, 0, false, 0x10000, L""});
}

TEST_F(VelGuiCreation, HeadersBarsAndProgress)
{
    expectCreated(vel_gui_create_header(parent), {L"SysHeader32", 0x50000086, 0, 0, 0, true});
    expectCreated(vel_gui_create_scrollbar(parent, TRUE),
                  {L"ScrollBar", 0x50000001, GetSystemMetrics(SM_CXVSCROLL), 100, 0, false});
    expectCreated(vel_gui_create_scrollbar(parent, FALSE),
                  {L"ScrollBar", 0x50000000, 100, GetSystemMetrics(SM_CXHSCROLL), 0, false});
    expectCreated(vel_gui_create_progress_bar(parent, 5),
                  {L"msctls_progress32", 0x50000000, by_default, by_default, 5, false});
}
