// See vel_e2e_commands.h.
#include "vel_e2e_commands.h"

#include <cstring>
#include <filesystem>

namespace
{

constexpr DWORD SETTLE_MS = 75;
constexpr DWORD PAINT_MS = 300;
constexpr wchar_t MARKER[] = L"(marker)";

bool open_clipboard()
{
    return vel_remote_window_wait(VEL_E2E_TIMEOUT_MS, [] { return OpenClipboard(nullptr) != 0; });
}

} // namespace

std::string vel_e2e_clipboard()
{
    if (!open_clipboard())
        return "(busy)";
    std::wstring text = L"(none)";
    if (const HGLOBAL block = GetClipboardData(CF_UNICODETEXT); block != nullptr) {
        text = static_cast<const wchar_t *>(GlobalLock(block));
        GlobalUnlock(block);
    }
    CloseClipboard();
    return vel_e2e_to_utf_8(text);
}

void vel_e2e_set_clipboard(const std::wstring &text)
{
    ASSERT_TRUE(open_clipboard());
    EmptyClipboard();
    const size_t size = (text.size() + 1) * sizeof(wchar_t);
    const HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, size);
    memcpy(GlobalLock(block), text.c_str(), size);
    GlobalUnlock(block);
    SetClipboardData(CF_UNICODETEXT, block);
    CloseClipboard();
}

void VelE2eCommandTest::TearDown()
{
    // The program first: it holds the test's files open.
    program.reset();
    VelE2eTest::TearDown();
}

void VelE2eCommandTest::start(const std::string &path)
{
    program = std::make_unique<VelE2eProgram>(path);
    program->waitCounted();
    activate(main());
}

void VelE2eCommandTest::startEmpty()
{
    program = std::make_unique<VelE2eProgram>();
    program->waitForStatus("0 records");
    activate(main());
}

HWND VelE2eCommandTest::main()
{
    return program->window();
}

void VelE2eCommandTest::activate(HWND window)
{
    EXPECT_TRUE(vel_remote_window_wait(VEL_E2E_TIMEOUT_MS, [window] {
        SetForegroundWindow(window);
        return GetForegroundWindow() == window;
    }));
    settle();
}

void VelE2eCommandTest::post(WPARAM command)
{
    PostMessageW(main(), WM_COMMAND, command, 0);
}

HWND VelE2eCommandTest::find(const wchar_t *window_class, const wchar_t *title)
{
    HWND found = nullptr;
    while ((found = FindWindowExW(nullptr, found, window_class, title)) != nullptr) {
        DWORD process = 0;
        GetWindowThreadProcessId(found, &process);
        if (process == program->id() && IsWindowVisible(found))
            return found;
    }
    return nullptr;
}

HWND VelE2eCommandTest::waitDialog(const wchar_t *window_class, const wchar_t *title)
{
    HWND dialog = nullptr;
    vel_remote_window_wait(VEL_E2E_TIMEOUT_MS, [&] {
        dialog = find(window_class, title);
        return dialog != nullptr;
    });
    EXPECT_NE(dialog, nullptr) << "no dialog " << vel_e2e_to_utf_8(title != nullptr ? title : L"");
    settle();
    return dialog;
}

void VelE2eCommandTest::waitClosed(HWND dialog)
{
    const HWND window = main();
    EXPECT_TRUE(vel_remote_window_wait(
        VEL_E2E_TIMEOUT_MS, [=] { return !IsWindow(dialog) && IsWindowEnabled(window); }));
    // The dialog's loop may swallow one more message.
    PostMessageW(window, WM_NULL, 0, 0);
    settle();
}

bool VelE2eCommandTest::answers(UINT timeout_ms)
{
    DWORD_PTR result = 0;
    return SendMessageTimeoutW(main(), WM_NULL, 0, 0, SMTO_NORMAL, timeout_ms, &result) != 0;
}

void VelE2eCommandTest::settle()
{
    Sleep(SETTLE_MS);
    EXPECT_TRUE(answers(VEL_E2E_TIMEOUT_MS));
}

HWND VelE2eCommandTest::focus()
{
    GUITHREADINFO info = {};
    info.cbSize = sizeof info;
    GetGUIThreadInfo(GetWindowThreadProcessId(main(), nullptr), &info);
    return info.hwndFocus;
}

HWND VelE2eCommandTest::child(HWND parent, const wchar_t *window_class, int n)
{
    HWND found = nullptr;
    for (int i = 0; i <= n; i++)
        found = FindWindowExW(parent, found, window_class, nullptr);
    return found;
}

HWND VelE2eCommandTest::waitFileDialog()
{
    const HWND dialog = waitDialog(L"#32770", nullptr);
    EXPECT_TRUE(vel_remote_window_wait(VEL_E2E_TIMEOUT_MS, [this, dialog] {
        const HWND edit = vel_remote_window_find_child(dialog, L"Edit");
        return edit != nullptr && focus() == edit;
    }));
    activate(dialog);
    return dialog;
}

void VelE2eCommandTest::enterPath(const std::string &path)
{
    const HWND dialog = waitFileDialog();
    vel_e2e_type(path);
    settle();
    vel_e2e_press(VK_RETURN);
    EXPECT_TRUE(vel_remote_window_wait(VEL_E2E_TIMEOUT_MS, [dialog] { return !IsWindow(dialog); }));
    settle();
}

void VelE2eCommandTest::chooseOpenAs(WPARAM encoding, WPARAM separator)
{
    const HWND dialog = waitDialog(L"SimpleDialog", L"Open as");
    const HWND panel = child(dialog, L"Static");
    DWORD_PTR result = 0;
    SendMessageTimeoutW(child(panel, L"ComboBox", 0), CB_SETCURSEL, encoding, 0, SMTO_NORMAL,
                        VEL_E2E_TIMEOUT_MS, &result);
    SendMessageTimeoutW(child(panel, L"ComboBox", 1), CB_SETCURSEL, separator, 0, SMTO_NORMAL,
                        VEL_E2E_TIMEOUT_MS, &result);
    activate(dialog);
    vel_e2e_press(VK_RETURN);
    waitClosed(dialog);
}

std::string VelE2eCommandTest::copied()
{
    vel_e2e_set_clipboard(MARKER);
    DWORD_PTR result = 0;
    SendMessageTimeoutW(main(), WM_COMMAND, VEL_E2E_COPY, 0, SMTO_NORMAL, VEL_E2E_TIMEOUT_MS,
                        &result);
    const std::string text = vel_e2e_clipboard();
    return text == vel_e2e_to_utf_8(MARKER) ? "" : text;
}

void VelE2eCommandTest::picture(HWND window, const std::string &name)
{
    Sleep(PAINT_MS);
    RECT area = {};
    GetWindowRect(window, &area);
    wchar_t program_path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program_path, MAX_PATH);
    const std::filesystem::path pictures =
        std::filesystem::path(program_path).parent_path().parent_path() / L"screenshots";
    std::filesystem::create_directories(pictures);
    EXPECT_TRUE(vel_remote_window_save_screen(area, pictures / vel_e2e_to_utf_16(name + ".png")));
}
