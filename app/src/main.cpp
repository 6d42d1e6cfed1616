// The program's entry: prepares the process, opens the file named on the command line, runs the
// message loop.
#include <clocale>
#include <memory>

#include <windows.h>

#include <commctrl.h>
#include <objbase.h>
#include <shellapi.h>

#include "vel_fatal_box.h"
#include "vel_gui.h"
#include "vel_main_window.h"

namespace
{

struct local_free {
    void operator()(wchar_t **arguments) const
    {
        LocalFree(arguments);
    }
};

} // namespace

static void quorlen_init_process(HINSTANCE instance)
{
    setlocale(LC_ALL, "");
    vel_fatal_box_install();
    vel_gui_instance.instance = instance;
    const INITCOMMONCONTROLSEX classes = {sizeof classes, ICC_WIN95_CLASSES};
    InitCommonControlsEx(&classes);
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
}

/// The first argument after the program's name.
/// @return UTF-8, the caller frees it; null without an argument, or with error set when it is no
/// valid Unicode
static gchar *quorlen_file_argument(GError **error)
{
    int count = 0;
    const std::unique_ptr<wchar_t *[], local_free> arguments(
        CommandLineToArgvW(GetCommandLineW(), &count));
    if (arguments == nullptr || count < 2)
        return nullptr;
    return g_utf16_to_utf8(reinterpret_cast<const gunichar2 *>(arguments[1]), -1, nullptr, nullptr,
                           error);
}

static void quorlen_open_file_argument(vel_main_window *window)
{
    g_autoptr(GError) error = nullptr;
    g_autofree gchar *path = quorlen_file_argument(&error);
    if (path != nullptr)
        vel_main_window_open_file(window, path, 0, nullptr, &error);
    if (error != nullptr)
        vel_main_window_show_error(window, error);
}

int WINAPI WinMain(HINSTANCE instance, HINSTANCE, LPSTR, int)
{
    quorlen_init_process(instance);
    vel_gui_init();

    static vel_main_window window;
    vel_main_window_init(&window);
    if (window.hwnd == nullptr)
        vel_gui_abort("Error creating main window.");
    vel_main_window_show(&window);
    quorlen_open_file_argument(&window);

    vel_gui_event_loop(window.hwnd);
    vel_main_window_done(&window);
    vel_gui_done();
    return 0;
}
