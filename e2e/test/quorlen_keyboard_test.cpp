// Without a mouse: every command through the menu, every control of the dialogs, and always to be
// seen where the keyboard is.
#include "vel_e2e_commands.h"

namespace
{

constexpr DWORD CARET_MS = 3000;

struct menu_path {
    WORD menu;     ///< The letter that opens it.
    int downwards; ///< How often Down is pressed until the item is reached.
};

constexpr menu_path OPEN_AS = {'F', 1};
constexpr menu_path COPY = {'E', 1};
constexpr menu_path FIND = {'E', 2};
constexpr menu_path FIND_NEXT = {'E', 3};
constexpr menu_path ABOUT = {'H', 0};

class QuorlenKeyboard : public VelE2eCommandTest
{
protected:
    void choose(const menu_path &path)
    {
        vel_e2e_press(path.menu, VK_MENU);
        for (int i = 0; i < path.downwards; i++)
            vel_e2e_press(VK_DOWN);
        vel_e2e_press(VK_RETURN);
        settle();
    }

    HWND chooseDialog(const menu_path &path, const wchar_t *title)
    {
        choose(path);
        return waitDialog(L"SimpleDialog", title);
    }

    HWND chooseOpenAsDialog()
    {
        choose(OPEN_AS);
        enterPath(path_);
        return waitDialog(L"SimpleDialog", L"Open as");
    }

    void escape(HWND dialog)
    {
        vel_e2e_press(VK_ESCAPE);
        waitClosed(dialog);
    }

    /// What has the keyboard: its text, or its class where the text is the user's.
    std::string focused()
    {
        wchar_t name[64] = {};
        GetClassNameW(focus(), name, ARRAYSIZE(name));
        return lstrcmpiW(name, L"Button") == 0 ? vel_remote_window_get_text(focus())
                                               : vel_e2e_to_utf_8(name);
    }

    static std::vector<DWORD> pixels(HWND control)
    {
        RECT area = {};
        GetWindowRect(control, &area);
        return vel_remote_window_read_screen(area);
    }

    /// Whether what has the keyboard looks otherwise than without it, now or when the caret shows.
    bool focusShows()
    {
        const HWND control = focus();
        vel_e2e_press(VK_TAB);
        settle();
        const std::vector<DWORD> without = pixels(control);
        vel_e2e_press(VK_TAB, VK_SHIFT);
        settle();
        EXPECT_EQ(focus(), control);
        return vel_remote_window_wait(CARET_MS, [&] { return pixels(control) != without; });
    }

    /// Goes once round a dialog by Tab.
    void expectRound(const std::vector<std::string> &controls)
    {
        for (const std::string &control : controls) {
            EXPECT_EQ(focused(), control);
            EXPECT_TRUE(focusShows()) << control;
            vel_e2e_press(VK_TAB);
            settle();
        }
        EXPECT_EQ(focused(), controls.front());
    }

    void startWithFile()
    {
        path_ = makeFile("file.csv", "name,born\nAda,1815\nGrace,1906\n");
        start(path_);
    }

    std::string path_;
};

} // namespace

TEST_F(QuorlenKeyboard, TheEditMenuIsUsedByArrowKeys)
{
    startWithFile();
    vel_e2e_press(VK_RIGHT);
    vel_e2e_set_clipboard(L"before");
    choose(COPY);
    EXPECT_EQ(vel_e2e_clipboard(), "Ada");
    escape(chooseDialog(FIND_NEXT, L"Find"));
    const HWND dialog = chooseDialog(FIND, L"Find");
    vel_e2e_press(VK_TAB);
    vel_e2e_press(VK_TAB);
    vel_e2e_type("g");
    vel_e2e_press(VK_RETURN);
    waitClosed(dialog);
    EXPECT_EQ(copied(), "Grace");
    vel_e2e_press(VK_HOME, VK_CONTROL);
    choose(FIND_NEXT);
    EXPECT_EQ(copied(), "Grace");
    EXPECT_EQ(program->close(), 0);
}

TEST_F(QuorlenKeyboard, OpenAsIsFilledInByKeys)
{
    path_ = makeFile("mixed.csv", "ä;b,c\nä;b,c\n");
    start(path_);
    const HWND dialog = chooseOpenAsDialog();
    vel_e2e_press(VK_TAB);
    vel_e2e_press(VK_TAB);
    vel_e2e_press(VK_DOWN);
    vel_e2e_press(VK_DOWN);
    vel_e2e_press(VK_TAB);
    for (int i = 0; i < 3; i++)
        vel_e2e_press(VK_DOWN);
    picture(dialog, "dialog-open-as-by-keys");
    vel_e2e_press(VK_RETURN);
    waitClosed(dialog);
    EXPECT_TRUE(vel_remote_window_wait(VEL_E2E_TIMEOUT_MS, [this] { return copied() == "1"; }));
    vel_e2e_press(VK_RIGHT);
    settle();
    EXPECT_EQ(copied(), "ä");
    vel_e2e_press(VK_END);
    settle();
    EXPECT_EQ(copied(), "b,c");
    EXPECT_EQ(program->close(), 0);
}

TEST_F(QuorlenKeyboard, TabGoesRoundEveryDialogAndTheFocusShows)
{
    startWithFile();
    HWND dialog = chooseDialog(FIND, L"Find");
    expectRound({"OK", "Cancel", "Edit", "Case sensitive"});
    escape(dialog);
    dialog = chooseOpenAsDialog();
    expectRound({"OK", "Cancel", "ComboBox", "ComboBox"});
    escape(dialog);
    dialog = chooseDialog(ABOUT, L"About");
    expectRound({"OK", "Cancel"});
    escape(dialog);
    EXPECT_EQ(program->close(), 0);
}

TEST_F(QuorlenKeyboard, SpaceAndEnterPressTheButtonThatHasTheFocus)
{
    startWithFile();
    for (const WORD key : {WORD{VK_SPACE}, WORD{VK_RETURN}}) {
        SCOPED_TRACE(key);
        const HWND dialog = chooseDialog(FIND, L"Find");
        vel_e2e_press(VK_TAB);
        vel_e2e_press(VK_TAB);
        vel_e2e_type("Grace");
        vel_e2e_press(VK_TAB, VK_SHIFT);
        settle();
        EXPECT_EQ(focused(), "Cancel");
        vel_e2e_press(key);
        waitClosed(dialog);
        EXPECT_EQ(copied(), "1") << "it was searched all the same";
    }
    EXPECT_EQ(program->close(), 0);
}

TEST_F(QuorlenKeyboard, AfterADialogOrTheMenuTheTableHasTheKeyboardAgain)
{
    startWithFile();
    EXPECT_EQ(focus(), program->table());
    escape(chooseDialog(ABOUT, L"About"));
    EXPECT_EQ(focus(), program->table());
    vel_e2e_press('E', VK_MENU);
    vel_e2e_press(VK_ESCAPE);
    vel_e2e_press(VK_ESCAPE);
    settle();
    vel_e2e_press(VK_DOWN);
    settle();
    EXPECT_EQ(copied(), "2");
    vel_e2e_press(VK_F4, VK_MENU);
    EXPECT_EQ(program->waitForEnd(), 0);
}
