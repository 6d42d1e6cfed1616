// The commands of the running program: open, open as, headers, copy, the keys of the grid, about,
// quit.
#include "vel_e2e_commands.h"

using QuorlenCommand = VelE2eCommandTest;
using Titles = std::vector<std::string>;

namespace
{

/// What a text of two-byte units says when its bytes are taken in this order.
std::string as_utf_16(const std::string &bytes, bool big_endian)
{
    std::wstring text;
    for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const auto first = static_cast<unsigned char>(bytes[i]);
        const auto second = static_cast<unsigned char>(bytes[i + 1]);
        text += static_cast<wchar_t>(big_endian ? first << 8 | second : second << 8 | first);
    }
    return vel_e2e_to_utf_8(text);
}

} // namespace

TEST_F(QuorlenCommand, AFileIsOpenedByTheMenuAndATypedPathOfAnyScript)
{
    const std::string path = makeFile("Länder 見本 Ж.csv", "land,größe\nÅland,1\n");
    startEmpty();
    vel_e2e_press('F', VK_MENU);
    settle();
    program->screenshot("menu-file");
    vel_e2e_press(VK_RETURN);
    picture(waitFileDialog(), "dialog-file");
    enterPath(path);
    EXPECT_TRUE(program->waitForStatus("1 records"));
    EXPECT_EQ(program->title(), "Quorlen - " + path);
    EXPECT_EQ(program->cellAt(350, program->headerHeight() + 10), "1");
    EXPECT_EQ(program->close(), 0);
}

TEST_F(QuorlenCommand, EscapeInTheFileDialogKeepsTheFile)
{
    const std::string path = makeFile("first.csv", "a,b\nc,d\n");
    start(path);
    for (const bool open_as : {false, true}) {
        if (open_as)
            post(VEL_E2E_OPEN_AS);
        else
            vel_e2e_press('O', VK_CONTROL);
        const HWND dialog = waitFileDialog();
        vel_e2e_press(VK_ESCAPE);
        waitClosed(dialog);
        EXPECT_EQ(find(L"SimpleDialog", nullptr), nullptr);
        EXPECT_EQ(program->title(), "Quorlen - " + path);
        EXPECT_EQ(copied(), "1");
    }
    EXPECT_EQ(program->close(), 0);
}

TEST_F(QuorlenCommand, TheSameFileIsReadAsEachEncodingAndSeparator)
{
    // An even number of bytes, so that it is UTF-16 of some kind, too.
    const std::string record = "\xC3\xA4,b\tc;d|e\n";
    const std::string contents = record + record;
    const std::string path = makeFile("mixed.csv", contents);
    const std::string wide[] = {as_utf_16(contents, false), as_utf_16(contents, true)};
    const struct {
        WPARAM encoding;
        WPARAM separator;
        std::string status;
        std::string field;
    } cases[] = {
        {0, 3, "2 records", "\xC3\x83\xC2\xA4,b\tc"},
        {1, 1, "2 records", "\xC3\x83\xC2\xA4"},
        {2, 1, "2 records", "ä"},
        {2, 2, "2 records", "ä,b"},
        {2, 3, "2 records", "ä,b\tc"},
        {2, 4, "2 records", "ä,b\tc;d"},
        {3, 1, "1 records", wide[0]},
        {4, 1, "1 records", wide[1]},
    };
    start(path);
    for (const auto &one : cases) {
        SCOPED_TRACE(std::to_string(one.encoding) + " " + std::to_string(one.separator));
        activate(main());
        post(VEL_E2E_OPEN_AS);
        enterPath(path);
        if (one.encoding == 0)
            picture(waitDialog(L"SimpleDialog", L"Open as"), "dialog-open-as");
        chooseOpenAs(one.encoding, one.separator);
        // Until the next tick the status bar still tells of the file before.
        std::string field;
        vel_remote_window_wait(VEL_E2E_TIMEOUT_MS, [&] {
            field = program->cellAt(150, program->headerHeight() + 10);
            return !field.empty();
        });
        EXPECT_EQ(field, one.field);
        EXPECT_TRUE(program->waitForStatus(one.status));
    }
    EXPECT_EQ(program->close(), 0);
}

TEST_F(QuorlenCommand, AFileThatCannotBeReadIsToldAndTheNextOneOpens)
{
    const std::string broken = makeFile("broken.csv", "a,\"b\n");
    const std::string good = makeFile("good.csv", "a,b\n");
    startEmpty();
    vel_e2e_press('O', VK_CONTROL);
    enterPath(broken);
    EXPECT_EQ(program->waitForBox(), "Unclosed quoted value");
    program->screenshot("box-error");
    EXPECT_TRUE(program->dismissBox());
    EXPECT_EQ(program->title(), "Quorlen - " + broken);
    activate(main());
    vel_e2e_press('O', VK_CONTROL);
    enterPath(good);
    EXPECT_TRUE(program->waitForStatus("1 records"));
    EXPECT_EQ(program->close(), 0);
}

TEST_F(QuorlenCommand, HeadersIsToggledByTheMenu)
{
    start(makeFile("people.csv", "name,born\nAda,1815\n"));
    EXPECT_EQ(program->titles(), Titles({"Record", "name", "born"}));
    vel_e2e_press('E', VK_MENU);
    settle();
    program->screenshot("menu-edit");
    vel_e2e_press(VK_RETURN);
    EXPECT_TRUE(program->waitForStatus("2 records"));
    EXPECT_EQ(program->titles(), Titles({"Record", "Column 1", "Column 2"}));
    EXPECT_EQ(copied(), "");
    vel_e2e_press('E', VK_MENU);
    vel_e2e_press(VK_RETURN);
    EXPECT_TRUE(program->waitForStatus("1 records"));
    EXPECT_EQ(program->titles(), Titles({"Record", "name", "born"}));
    EXPECT_EQ(program->close(), 0);
}

TEST_F(QuorlenCommand, EveryKeyWalksThroughTheGrid)
{
    std::string contents;
    for (int i = 0; i < 300; i++) {
        std::string record = "r";
        record.append(std::to_string(i)).append("c");
        contents.append(record).append("0");
        for (int k = 1; k < 8; k++)
            contents.append(",").append(record).append(std::to_string(k));
        contents += "\n";
    }
    start(makeFile("walk.csv", contents));
    ASSERT_EQ(copied(), "1");
    const struct {
        WORD key;
        WORD held;
        const char *cell;
    } steps[] = {
        {VK_RIGHT, 0, "r0c0"},
        {VK_DOWN, 0, "r1c0"},
        {VK_DOWN, 0, "r2c0"},
        {VK_RIGHT, 0, "r2c1"},
        {VK_LEFT, 0, "r2c0"},
        {VK_UP, 0, "r1c0"},
        {VK_END, 0, "r1c7"},
        {VK_HOME, 0, "2"},
        {VK_END, VK_CONTROL, "r299c7"},
        {VK_DOWN, 0, "r299c7"},
        {VK_RIGHT, 0, "r299c7"},
        {VK_DOWN, VK_SHIFT, "r299c7"},
        {VK_UP, VK_CONTROL, "r299c7"},
        {VK_HOME, VK_CONTROL, "1"},
        {VK_UP, 0, "1"},
        {VK_LEFT, 0, "1"},
        {VK_PRIOR, 0, "1"},
    };
    for (const auto &step : steps) {
        vel_e2e_press(step.key, step.held);
        settle();
        EXPECT_EQ(copied(), step.cell) << step.key << "+" << step.held;
    }
    vel_e2e_press(VK_NEXT);
    settle();
    const std::string one_page_down = copied();
    EXPECT_GT(std::stoi(one_page_down), 5);
    vel_e2e_press(VK_PRIOR);
    settle();
    EXPECT_EQ(copied(), "1");
    for (int i = 0; i < 40; i++)
        vel_e2e_press(VK_NEXT);
    settle();
    EXPECT_EQ(copied(), "300");
    EXPECT_EQ(program->close(), 0);
}

TEST_F(QuorlenCommand, ControlCCopiesTheExactText)
{
    start(makeFile("copy.csv", "\xEF\xBB\xBFx,\"\U0001F600 \"\"ä\"\"\nzwei\"\n"));
    vel_e2e_set_clipboard(L"before");
    vel_e2e_press(VK_END);
    vel_e2e_press('C', VK_CONTROL);
    settle();
    EXPECT_EQ(vel_e2e_clipboard(), "\U0001F600 \"ä\"\nzwei");
    EXPECT_EQ(program->close(), 0);
}

TEST_F(QuorlenCommand, WhileThisProgramHoldsTheClipboardCopyDoesNothing)
{
    start(makeFile("copy.csv", "a,b\n"));
    vel_e2e_set_clipboard(L"before");
    ASSERT_TRUE(
        vel_remote_window_wait(VEL_E2E_TIMEOUT_MS, [] { return OpenClipboard(nullptr) != 0; }));
    vel_e2e_press('C', VK_CONTROL);
    settle();
    CloseClipboard();
    EXPECT_EQ(vel_e2e_clipboard(), "before");
    EXPECT_EQ(find(L"#32770", nullptr), nullptr);
    EXPECT_EQ(copied(), "1");
    EXPECT_EQ(program->close(), 0);
}

TEST_F(QuorlenCommand, AboutIsShownByTheMenu)
{
    startEmpty();
    vel_e2e_press('H', VK_MENU);
    vel_e2e_press('A');
    const HWND dialog = waitDialog(L"SimpleDialog", L"About");
    picture(dialog, "dialog-about");
    const HWND panel = child(dialog, L"Static");
    EXPECT_EQ(vel_remote_window_get_text(child(panel, L"Static", 0)),
              "Quorlen - viewer for CSV (comma separated values) files");
    vel_e2e_press(VK_ESCAPE);
    waitClosed(dialog);
    EXPECT_EQ(program->close(), 0);
}

TEST_F(QuorlenCommand, QuitByTheMenuKeepsThePlacementForTheNextStart)
{
    startEmpty();
    MoveWindow(main(), 120, 90, 500, 400, TRUE);
    vel_e2e_press('F', VK_MENU);
    vel_e2e_press('Q');
    EXPECT_EQ(program->waitForEnd(), 0);
    startEmpty();
    RECT bounds = {};
    GetWindowRect(main(), &bounds);
    EXPECT_EQ(bounds.left, 120);
    EXPECT_EQ(bounds.top, 90);
    EXPECT_EQ(bounds.right - bounds.left, 500);
    EXPECT_EQ(bounds.bottom - bounds.top, 400);
    EXPECT_EQ(program->close(), 0);
}

TEST_F(QuorlenCommand, ClosedFromOutsideWhileADialogIsOpenTheProgramEnds)
{
    for (const WPARAM command :
         {WPARAM{VEL_E2E_ABOUT}, WPARAM{VEL_E2E_FIND}, WPARAM{VEL_E2E_OPEN}}) {
        startEmpty();
        post(command);
        if (command == VEL_E2E_OPEN)
            waitFileDialog();
        else
            waitDialog(L"SimpleDialog", nullptr);
        EXPECT_EQ(program->close(), 0) << command;
    }
}
