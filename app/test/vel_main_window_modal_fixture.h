// What the tests of the commands share. A command with a dialog runs a message loop of its own, so
// a test acts from steps inside that loop: each waits for something, then acts. A step that waits
// in vain fails the test and closes whatever is open.
#pragma once

#include <deque>

#include "vel_main_window_fixture.h"

/// A step, whatever loop handles messages meanwhile.
struct VelModalStep {
    const char *name;
    std::function<bool()> is_due;
    std::function<void()> act;
};

class VelModalSteps
{
public:
    /// Adds a step behind those that are there.
    static void add(const char *name, std::function<bool()> is_due, std::function<void()> act)
    {
        if (all().empty())
            start();
        all().push_back({name, std::move(is_due), std::move(act)});
    }

    /// Closes whatever nobody has answered for long; for as long as the object lives.
    class Guard
    {
    public:
        Guard() : timer_(SetTimer(nullptr, 0, 2 * VEL_TEST_TIMEOUT_MS, giveUpAll)) {}

        ~Guard()
        {
            KillTimer(nullptr, timer_);
        }

        Guard(const Guard &) = delete;
        Guard &operator=(const Guard &) = delete;

    private:
        static void CALLBACK giveUpAll(HWND, UINT, UINT_PTR, DWORD)
        {
            giveUp("nothing: a dialog is open that no step answers");
        }

        UINT_PTR timer_;
    };

    static bool isEmpty()
    {
        return all().empty();
    }

    static void clear()
    {
        all().clear();
    }

private:
    static constexpr UINT PERIOD_MS = 20;

    static std::deque<VelModalStep> &all()
    {
        static std::deque<VelModalStep> steps;
        return steps;
    }

    static ULONGLONG &since()
    {
        static ULONGLONG time = 0;
        return time;
    }

    static void start()
    {
        since() = GetTickCount64();
        SetTimer(nullptr, 0, PERIOD_MS, tick);
    }

    static void CALLBACK tick(HWND, UINT, UINT_PTR timer, DWORD)
    {
        KillTimer(nullptr, timer);
        if (all().empty())
            return;
        if (all().front().is_due())
            run();
        else if (GetTickCount64() - since() > VEL_TEST_TIMEOUT_MS)
            giveUp(all().front().name);
        else
            SetTimer(nullptr, 0, PERIOD_MS, tick);
    }

    static void run()
    {
        const VelModalStep step = all().front();
        // What it does may end in another loop, in which the next step is due.
        all().pop_front();
        if (!all().empty())
            start();
        step.act();
    }

    static BOOL CALLBACK close(HWND window, LPARAM)
    {
        if (GetWindow(window, GW_OWNER) != nullptr && IsWindowVisible(window))
            PostMessageW(window, WM_CLOSE, 0, 0);
        return TRUE;
    }

    static void giveUp(const char *awaited)
    {
        ADD_FAILURE() << "waited in vain for: " << awaited;
        all().clear();
        EnumThreadWindows(GetCurrentThreadId(), close, 0);
    }
};

/// The main window on the screen, a file in it, and steps that act on dialogs.
class VelMainWindowModalTest : public VelMainWindowTest
{
protected:
    void SetUp() override
    {
        VelMainWindowTest::SetUp();
        create();
        show();
    }

    void TearDown() override
    {
        EXPECT_TRUE(VelModalSteps::isEmpty()) << "steps that nothing came to";
        VelModalSteps::clear();
        VelMainWindowTest::TearDown();
    }

    // Commands.

    LRESULT command(WPARAM id) const
    {
        const VelModalSteps::Guard guard;
        const LRESULT result = SendMessageW(window->hwnd, WM_COMMAND, id, 0);
        vel_test_pump();
        return result;
    }

    /// Runs the program's own loop until the steps are done and the last one ended it.
    void runLoop()
    {
        const VelModalSteps::Guard guard;
        then("the end of the loop", [] { PostQuitMessage(0); });
        vel_gui_event_loop(window->hwnd);
    }

    // Steps.

    static void when(const char *name, std::function<bool()> is_due, std::function<void()> act)
    {
        VelModalSteps::add(name, std::move(is_due), std::move(act));
    }

    static void then(const char *name, std::function<void()> act)
    {
        when(
            name, [] { return true; }, std::move(act));
    }

    /// When a dialog of this class and title is open.
    void whenDialog(const wchar_t *window_class, const wchar_t *title,
                    std::function<void(HWND)> act) const
    {
        const HWND owner = window->hwnd;
        when(
            "a dialog", [=] { return find(owner, window_class, title) != nullptr; },
            [=, act = std::move(act)] { act(find(owner, window_class, title)); });
    }

    /// When a message box is open: notes its text and presses OK.
    void whenBox(const wchar_t *caption, std::string *text) const
    {
        whenDialog(L"#32770", caption, [text](HWND box) {
            *text = vel_remote_window_get_box_text(box);
            press(box, IDOK);
        });
    }

    static void press(HWND dialog, WPARAM button)
    {
        PostMessageW(dialog, WM_COMMAND, button, 0);
    }

    /// When the shell's file dialog is open: gives it a path and presses its button.
    void whenFileDialog(const std::string &path) const
    {
        whenShellDialog([path](HWND dialog) {
            SendMessageW(fileNameEdit(dialog), WM_SETTEXT, 0,
                         reinterpret_cast<LPARAM>(vel_test_wide(path).c_str()));
            press(dialog, IDOK);
        });
    }

    void whenFileDialogCancelled() const
    {
        whenShellDialog([](HWND dialog) { press(dialog, IDCANCEL); });
    }

    static bool isDialogOpen(HWND dialog)
    {
        return IsWindow(dialog) && IsWindowVisible(dialog);
    }

    /// Posts a key to the control that has the focus, with Control held or not.
    static void postKey(WPARAM key, bool control = false)
    {
        BYTE keys[256] = {};
        keys[VK_CONTROL] = control ? 0x80 : 0;
        SetKeyboardState(keys);
        PostMessageW(GetFocus(), WM_KEYDOWN, key, 1);
    }

    // Files.

    void waitScanned()
    {
        ASSERT_TRUE(vel_test_pump_until([this] { return window->scanner_done.load() != 0; }));
        vel_main_window_update(window);
    }

    /// A file, counted and shown.
    void openCounted(const std::string &contents)
    {
        vel_main_window_close_file(window);
        // Never a name that the parsers still hold open.
        const std::string name = "file" + std::to_string(files_++) + ".csv";
        ASSERT_EQ(open(makeFile(name, contents)), "");
        waitScanned();
    }

    std::string cell(gint32 row, gint32 column) const
    {
        return window->table.get_text(row, column);
    }

    void select(gint32 row, gint32 column) const
    {
        vel_gui_table_select(&window->table, row, column);
    }

    void expectSelected(gint32 row, gint32 column) const
    {
        EXPECT_EQ(window->table.selected_row, row);
        EXPECT_EQ(window->table.selected_column, column);
    }

    // Controls of a dialog.

    static std::string classOf(HWND control)
    {
        wchar_t name[64] = L"";
        GetClassNameW(control, name, 64);
        g_autofree gchar *text =
            g_utf16_to_utf8(reinterpret_cast<gunichar2 *>(name), -1, nullptr, nullptr, nullptr);
        return text;
    }

    static DWORD styleOf(HWND control)
    {
        return static_cast<DWORD>(GetWindowLongPtrW(control, GWL_STYLE));
    }

    /// A control's place in its parent's client area.
    static RECT placeOf(HWND control)
    {
        RECT place;
        GetWindowRect(control, &place);
        MapWindowPoints(nullptr, GetParent(control), reinterpret_cast<POINT *>(&place), 2);
        return place;
    }

    static SIZE sizeOf(HWND window)
    {
        RECT bounds;
        GetWindowRect(window, &bounds);
        return {bounds.right - bounds.left, bounds.bottom - bounds.top};
    }

    /// What the program's dialogs have in common.
    void expectDialog(HWND dialog, SIZE size, SIZE panel_size) const
    {
        EXPECT_EQ(sizeOf(dialog).cx, size.cx);
        EXPECT_EQ(sizeOf(dialog).cy, size.cy);
        EXPECT_EQ(GetWindow(dialog, GW_OWNER), window->hwnd);
        const HWND panel = panelOf(dialog);
        EXPECT_EQ(placeOf(panel).left, 11);
        EXPECT_EQ(placeOf(panel).top, 12);
        EXPECT_EQ(sizeOf(panel).cx, panel_size.cx);
        EXPECT_EQ(sizeOf(panel).cy, panel_size.cy);
    }

    /// A dialog's panel, the child that is neither of its buttons.
    static HWND panelOf(HWND dialog)
    {
        return FindWindowExW(dialog, nullptr, L"Static", nullptr);
    }

    /// The n-th child of a class, from 0, in tab order.
    static HWND childOf(HWND parent, const wchar_t *window_class, int n = 0)
    {
        HWND child = nullptr;
        for (int i = 0; i <= n; i++)
            child = FindWindowExW(parent, child, window_class, nullptr);
        return child;
    }

    static std::string textOf(HWND control)
    {
        g_autofree gchar *text = vel_gui_get_text(control);
        return text;
    }

    /// The texts of the controls that Tab reaches, in that order.
    static std::vector<HWND> tabStops(HWND dialog)
    {
        std::vector<HWND> stops;
        HWND stop = GetNextDlgTabItem(dialog, nullptr, FALSE);
        while (stop != nullptr && (stops.empty() || stop != stops.front())) {
            stops.push_back(stop);
            stop = GetNextDlgTabItem(dialog, stop, FALSE);
        }
        return stops;
    }

    /// Fails where a control is cut off by its dialog's client area or overlaps another one.
    static void expectNothingCutOff(HWND dialog)
    {
        RECT client;
        GetClientRect(dialog, &client);
        const HWND panel = panelOf(dialog);
        std::vector<HWND> controls = {childOf(dialog, L"Button", 0), childOf(dialog, L"Button", 1)};
        for (HWND child = GetWindow(panel, GW_CHILD); child != nullptr;
             child = GetWindow(child, GW_HWNDNEXT))
            controls.push_back(child);
        for (size_t i = 0; i < controls.size(); i++) {
            const RECT place = placeIn(dialog, controls[i]);
            RECT common;
            IntersectRect(&common, &place, &client);
            EXPECT_TRUE(EqualRect(&common, &place)) << textOf(controls[i]) << " is cut off";
            for (size_t k = 0; k < i; k++) {
                const RECT other = placeIn(dialog, controls[k]);
                EXPECT_FALSE(IntersectRect(&common, &place, &other))
                    << textOf(controls[i]) << " overlaps " << textOf(controls[k]);
            }
        }
    }

private:
    static RECT placeIn(HWND dialog, HWND control)
    {
        RECT place;
        GetWindowRect(control, &place);
        MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT *>(&place), 2);
        return place;
    }

    static HWND find(HWND owner, const wchar_t *window_class, const wchar_t *title)
    {
        HWND found = nullptr;
        while ((found = FindWindowExW(nullptr, found, window_class, title)) != nullptr) {
            if (GetWindow(found, GW_OWNER) == owner && IsWindowVisible(found))
                return found;
        }
        return nullptr;
    }

    static HWND fileNameEdit(HWND dialog)
    {
        return vel_remote_window_find_child(dialog, L"Edit");
    }

    void whenShellDialog(std::function<void(HWND)> act) const
    {
        const HWND owner = window->hwnd;
        when(
            "the file dialog",
            [owner] {
                const HWND dialog = find(owner, L"#32770", nullptr);
                return dialog != nullptr && fileNameEdit(dialog) != nullptr &&
                       GetFocus() == fileNameEdit(dialog);
            },
            [owner, act = std::move(act)] { act(find(owner, L"#32770", nullptr)); });
    }

    int files_ = 0;
};
