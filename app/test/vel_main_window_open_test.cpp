// Open and "Open as": the shell's file dialog, the dialog that asks how to read a file, and what is
// shown when a file cannot be opened.
#include "vel_main_window_modal_fixture.h"

namespace
{

constexpr WPARAM OPEN = VEL_MAIN_WINDOW_COMMAND_OPEN;
constexpr WPARAM OPEN_AS = VEL_MAIN_WINDOW_COMMAND_OPEN_AS;

class VelMainWindowOpen : public VelMainWindowModalTest
{
protected:
    void whenOpenAs(std::function<void(HWND)> act) const
    {
        whenDialog(L"SimpleDialog", L"Open as", std::move(act));
    }

    /// Chooses in both lists and confirms.
    void whenOpenAsChosen(WPARAM encoding, WPARAM separator) const
    {
        whenOpenAs([=](HWND dialog) {
            SendMessageW(childOf(panelOf(dialog), L"ComboBox", 0), CB_SETCURSEL, encoding, 0);
            SendMessageW(childOf(panelOf(dialog), L"ComboBox", 1), CB_SETCURSEL, separator, 0);
            press(dialog, IDOK);
        });
    }

    void openAs(const std::string &path, WPARAM encoding, WPARAM separator)
    {
        whenFileDialog(path);
        whenOpenAsChosen(encoding, separator);
        EXPECT_EQ(command(OPEN_AS), 0);
        waitScanned();
    }

    static std::vector<std::string> itemsOf(HWND list)
    {
        std::vector<std::string> items;
        const LRESULT count = SendMessageW(list, CB_GETCOUNT, 0, 0);
        for (LRESULT i = 0; i < count; i++) {
            gunichar2 text[64] = {};
            SendMessageW(list, CB_GETLBTEXT, static_cast<WPARAM>(i),
                         reinterpret_cast<LPARAM>(text));
            g_autofree gchar *item = g_utf16_to_utf8(text, -1, nullptr, nullptr, nullptr);
            items.push_back(item);
        }
        return items;
    }

    /// A file that is shown before a test opens or does not open another.
    void openBefore()
    {
        openCounted("a,b\nc,d\n");
        select(1, 2);
        title_before_ = title();
    }

    void expectUnchanged() const
    {
        EXPECT_EQ(title(), title_before_);
        EXPECT_EQ(window->table.rows, 2);
        EXPECT_EQ(cell(1, 2), "d");
        expectSelected(1, 2);
    }

    void expectWithoutFile(const std::string &path) const
    {
        EXPECT_EQ(title(), "Quorlen - " + path);
        EXPECT_EQ(window->table.rows, 0);
        EXPECT_EQ(columnTitles(), std::vector<std::string>({"Record"}));
        EXPECT_EQ(window->scanner_thread, nullptr);
        EXPECT_EQ(status(), "0 records");
    }

private:
    std::string title_before_;
};

/// "ä;b", then "1;2", in some encoding.
std::string encoded(const char *encoding, const std::string &text)
{
    gsize size = 0;
    g_autofree gchar *bytes = g_convert(text.data(), static_cast<gssize>(text.size()), encoding,
                                        "UTF-8", nullptr, &size, nullptr);
    return std::string(bytes, size);
}

} // namespace

TEST_F(VelMainWindowOpen, AFileIsOpenedWithItsEncodingAndSeparatorDetected)
{
    openBefore();
    const std::string path = makeFile("other.csv", "\xEF\xBB\xBFname;h\xC3\xB6he\nAnn;31\nBo;32\n");
    whenFileDialog(path);
    EXPECT_EQ(command(OPEN), 0);
    EXPECT_EQ(title(), "Quorlen - " + path);
    EXPECT_EQ(window->parser.separator, ';');
    EXPECT_STREQ(window->parser.encoding, "UTF-8");
    waitScanned();
    EXPECT_EQ(columnTitles(), std::vector<std::string>({"Record", "name", "höhe"}));
    EXPECT_EQ(cell(1, 1), "Bo");
    EXPECT_EQ(status(), "2 records");
}

TEST_F(VelMainWindowOpen, APathOfAnyUnicodeTextIsOpened)
{
    const std::string path = makeFile("пробный 見本 ä \U0001F600.csv", "a,b\n");
    whenFileDialog(path);
    command(OPEN);
    EXPECT_EQ(title(), "Quorlen - " + path);
    waitScanned();
    EXPECT_EQ(cell(0, 2), "b");
}

TEST_F(VelMainWindowOpen, NothingIsSelectedUntilTheFirstTickSelectsTheFirstCell)
{
    openBefore();
    whenFileDialog(makeFile("other.csv", "a,b\nc,d\ne,f\n"));
    SendMessageW(window->hwnd, WM_COMMAND, OPEN, 0);
    expectSelected(-1, -1);
    ASSERT_TRUE(vel_test_pump_until([this] { return window->table.rows == 3; }))
        << "the timer does not run";
    expectSelected(0, 0);
}

TEST_F(VelMainWindowOpen, CancellingTheFileDialogKeepsTheFileAndTheView)
{
    openBefore();
    whenFileDialogCancelled();
    EXPECT_EQ(command(OPEN), 0);
    expectUnchanged();
    EXPECT_TRUE(IsWindowEnabled(window->hwnd));
}

TEST_F(VelMainWindowOpen, CancellingTheFileDialogWithoutAFileChangesNothing)
{
    whenFileDialogCancelled();
    command(OPEN);
    EXPECT_EQ(title(), "Quorlen");
    EXPECT_EQ(window->file_path, nullptr);
}

TEST_F(VelMainWindowOpen, OpeningWhileAScanRunsStopsIt)
{
    std::string contents;
    for (int i = 0; i < 400000; i++)
        contents += "some field,another field\n";
    vel_main_window_close_file(window);
    ASSERT_EQ(open(makeFile("large.csv", contents)), "");
    whenFileDialog(makeFile("other.csv", "a,b\nc,d\n"));
    command(OPEN);
    waitScanned();
    EXPECT_EQ(window->table.rows, 2);
    EXPECT_EQ(cell(1, 1), "c");
}

TEST_F(VelMainWindowOpen, AnErrorIsShownAndLeavesTheWindowWithoutAFile)
{
    openBefore();
    const std::string path = makeFile("broken.csv", "a,b\n\"open,d\n");
    std::string text;
    whenFileDialog(path);
    whenBox(L"Error", &text);
    EXPECT_EQ(command(OPEN), 0);
    EXPECT_EQ(text, "Unclosed quoted value");
    vel_main_window_update(window);
    expectWithoutFile(path);
}

TEST_F(VelMainWindowOpen, AFileThatNobodyMayReadIsAnErrorOfTheSystem)
{
    const std::string path = makeFile("locked.csv", "a,b\n");
    const HANDLE lock = CreateFileW(vel_test_wide(path).c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                    nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(lock, INVALID_HANDLE_VALUE);
    std::string text;
    whenFileDialog(path);
    whenBox(L"Error", &text);
    command(OPEN);
    CloseHandle(lock);
    EXPECT_FALSE(text.empty());
    vel_main_window_update(window);
    expectWithoutFile(path);

    whenFileDialog(path);
    command(OPEN);
    waitScanned();
    EXPECT_EQ(cell(0, 2), "b") << "the program does not go on after an error";
}

TEST_F(VelMainWindowOpen, TheErrorBoxHasAnErrorIconAndOneButton)
{
    whenFileDialog(makeFile("broken.csv", "\"open"));
    whenDialog(L"#32770", L"Error", [this](HWND box) {
        EXPECT_FALSE(IsWindowEnabled(window->hwnd));
        LRESULT icon = 0;
        for (int i = 0; icon == 0 && childOf(box, L"Static", i) != nullptr; i++)
            icon = SendMessageW(childOf(box, L"Static", i), STM_GETICON, 0, 0);
        EXPECT_EQ(icon, reinterpret_cast<LRESULT>(LoadIconW(nullptr, IDI_ERROR)));
        EXPECT_NE(GetDlgItem(box, IDOK), nullptr);
        EXPECT_EQ(GetDlgItem(box, IDCANCEL), nullptr);
        press(box, IDOK);
    });
    command(OPEN);
}

TEST_F(VelMainWindowOpen, CancellingTheFileDialogOfOpenAsChangesNothing)
{
    openBefore();
    whenFileDialogCancelled();
    EXPECT_EQ(command(OPEN_AS), 0);
    expectUnchanged();
}

TEST_F(VelMainWindowOpen, CancellingTheOpenAsDialogChangesNothing)
{
    openBefore();
    whenFileDialog(makeFile("other.csv", "x;y\n"));
    whenOpenAs([](HWND dialog) { press(dialog, IDCANCEL); });
    EXPECT_EQ(command(OPEN_AS), 0);
    expectUnchanged();
}

TEST_F(VelMainWindowOpen, TheOpenAsDialogHasTwoListsWithTheirLabels)
{
    whenFileDialog(makeFile("other.csv", "x;y\n"));
    whenOpenAs([this](HWND dialog) {
        expectDialog(dialog, {400, 300}, {400, 400});
        const HWND panel = panelOf(dialog);
        EXPECT_EQ(textOf(childOf(panel, L"Static", 0)), "File encoding:");
        EXPECT_EQ(textOf(childOf(panel, L"Static", 1)), "Field separator:");
        const HWND encodings = childOf(panel, L"ComboBox", 0);
        const HWND separators = childOf(panel, L"ComboBox", 1);
        EXPECT_EQ(itemsOf(encodings),
                  std::vector<std::string>(
                      {"Detect", "Default Windows (ANSI)", "UTF-8", "UTF-16 LE", "UTF-16 BE"}));
        EXPECT_EQ(itemsOf(separators),
                  std::vector<std::string>(
                      {"Detect", "Comma (,)", "Tabulator (\\t)", "Semicolon (;)", "Pipe (|)"}));
        for (const HWND list : {encodings, separators}) {
            EXPECT_EQ(SendMessageW(list, CB_GETCURSEL, 0, 0), 0);
            EXPECT_EQ(styleOf(list) & 3, static_cast<DWORD>(CBS_DROPDOWNLIST));
        }
        press(dialog, IDCANCEL);
    });
    command(OPEN_AS);
}

TEST_F(VelMainWindowOpen, TheOpenAsDialogsControlsStandInAGrid)
{
    whenFileDialog(makeFile("other.csv", "x;y\n"));
    whenOpenAs([](HWND dialog) {
        expectNothingCutOff(dialog);
        const HWND panel = panelOf(dialog);
        const RECT label_1 = placeOf(childOf(panel, L"Static", 0));
        const RECT label_2 = placeOf(childOf(panel, L"Static", 1));
        const RECT list_1 = placeOf(childOf(panel, L"ComboBox", 0));
        const RECT list_2 = placeOf(childOf(panel, L"ComboBox", 1));
        EXPECT_EQ(label_1.left, 0);
        EXPECT_EQ(label_1.top, 0);
        EXPECT_EQ(label_2.left, 0);
        EXPECT_EQ(list_1.left, label_2.right + 12);
        EXPECT_EQ(list_1.top, label_1.top);
        EXPECT_EQ(list_2.left, list_1.left);
        EXPECT_EQ(list_2.right, list_1.right);
        EXPECT_EQ(list_2.top, label_2.top);
        EXPECT_GE(list_2.top, list_1.bottom + 11);
        press(dialog, IDCANCEL);
    });
    command(OPEN_AS);
}

TEST_F(VelMainWindowOpen, TabGoesFromTheOpenAsDialogsButtonsToItsListsInReadingOrder)
{
    whenFileDialog(makeFile("other.csv", "x;y\n"));
    whenOpenAs([](HWND dialog) {
        const HWND panel = panelOf(dialog);
        EXPECT_EQ(
            tabStops(dialog),
            std::vector<HWND>({GetDlgItem(dialog, IDOK), GetDlgItem(dialog, IDCANCEL),
                               childOf(panel, L"ComboBox", 0), childOf(panel, L"ComboBox", 1)}));
        EXPECT_EQ(GetFocus(), GetDlgItem(dialog, IDOK));
        press(dialog, IDCANCEL);
    });
    command(OPEN_AS);
}

TEST_F(VelMainWindowOpen, EnterConfirmsAndEscapeCancelsTheOpenAsDialog)
{
    openBefore();
    const std::string path = makeFile("other.csv", "x;y\n");
    whenFileDialog(path);
    whenOpenAs([](HWND) { postKey(VK_ESCAPE); });
    command(OPEN_AS);
    expectUnchanged();
    whenFileDialog(path);
    whenOpenAs([](HWND) { postKey(VK_RETURN); });
    command(OPEN_AS);
    EXPECT_EQ(title(), "Quorlen - " + path);
}

TEST_F(VelMainWindowOpen, OpenAsWithEverySeparator)
{
    const std::string path = makeFile("all.csv", "a,b\tc;d|e\nf,g\th;i|j\n");
    const std::vector<std::pair<char, std::string>> expected = {
        {',', "b\tc;d|e"}, {'\t', "c;d|e"}, {';', "d|e"}, {'|', "e"}};
    for (WPARAM i = 0; i < expected.size(); i++) {
        openAs(path, 0, i + 1);
        EXPECT_EQ(window->parser.separator, expected[i].first);
        EXPECT_EQ(window->search_parser.separator, expected[i].first);
        EXPECT_EQ(window->table.columns, 3);
        EXPECT_EQ(cell(0, 2), expected[i].second);
    }
    openAs(makeFile("semicolons.csv", "a;b;c\nd;e;f\n"), 0, 0);
    EXPECT_EQ(window->parser.separator, ';');
}

TEST_F(VelMainWindowOpen, ListsWithoutASelectionMeanDetection)
{
    openAs(makeFile("bare.csv", "\xEF\xBB\xBF"
                                "ä;b\nc;d\n"),
           static_cast<WPARAM>(-1), static_cast<WPARAM>(-1));
    EXPECT_EQ(window->parser.separator, ';');
    EXPECT_STREQ(window->parser.encoding, "UTF-8");
    EXPECT_EQ(cell(0, 1), "ä");
}

TEST_F(VelMainWindowOpen, OpenAsWithEveryEncoding)
{
    const gchar *ansi = nullptr;
    g_get_charset(&ansi);
    const gchar *const names[] = {ansi, "UTF-8", "UTF-16LE", "UTF-16BE"};
    for (WPARAM i = 0; i < G_N_ELEMENTS(names); i++) {
        const std::string path =
            makeFile(names[i] + std::string(".csv"), encoded(names[i], "ä;ö\nü;ß\n"));
        openAs(path, i + 1, 3);
        EXPECT_STREQ(window->parser.encoding, names[i]);
        EXPECT_STREQ(window->search_parser.encoding, names[i]);
        EXPECT_EQ(window->table.rows, 2) << names[i];
        EXPECT_EQ(cell(0, 1) + cell(1, 2), "äß") << names[i];
    }
    openAs(makeFile("marked.csv", "\xFF\xFE" + encoded("UTF-16LE", "ä;ö\n")), 0, 3);
    EXPECT_STREQ(window->parser.encoding, "UTF-16LE");
    EXPECT_EQ(cell(0, 2), "ö");
}

TEST_F(VelMainWindowOpen, AnUnsuitableEncodingIsAnErrorThatIsShown)
{
    const std::string path = makeFile("bytes.csv", "a,b,c\r\n");
    std::string text;
    whenFileDialog(path);
    whenOpenAsChosen(3, 1);
    whenBox(L"Error", &text);
    EXPECT_EQ(command(OPEN_AS), 0);
    EXPECT_EQ(text, "Error decoding text from UTF-16LE");
    vel_main_window_update(window);
    expectWithoutFile(path);
}

TEST_F(VelMainWindowOpen, ControlOShowsTheFileDialog)
{
    openBefore();
    then("Ctrl+O", [] { postKey('O', true); });
    whenFileDialogCancelled();
    when(
        "the file dialog's end", [this] { return IsWindowEnabled(window->hwnd) != FALSE; }, [] {});
    runLoop();
    expectUnchanged();
}
