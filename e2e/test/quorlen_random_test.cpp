// Ten thousand messages that nobody would send in this order, to the running program: it must go on
// answering, show what is in the file, keep its heaps sound, and end as always. The order comes
// from a seed, which is printed; QUORLEN_TEST_SEED sets it.
#include "vel_e2e_commands.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <random>

#include <commctrl.h>

#include "vel_e2e_process.h"

namespace
{

constexpr int MESSAGES = 10000;
constexpr int CHECKPOINT = 1000;
constexpr int BATCH = 40;
constexpr int RECORDS = 4000;
constexpr int FIELDS = 6;
constexpr int ROWS_CHECKED = 3;
/// Ticks and paints apart; a leak at every hundredth message would show.
constexpr DWORD GDI_SLACK = 60;
constexpr UINT REPOST_MS = 200;
constexpr DWORD REST_MS = 1000;

using records = std::vector<std::vector<std::string>>;

class QuorlenRandom : public VelE2eCommandTest
{
protected:
    void SetUp() override
    {
        VelE2eCommandTest::SetUp();
        const char *const wanted = std::getenv("QUORLEN_TEST_SEED");
        const unsigned seed = wanted != nullptr
                                  ? static_cast<unsigned>(std::strtoul(wanted, nullptr, 10))
                                  : std::random_device()();
        printf("QUORLEN_TEST_SEED=%u\n", seed);
        fflush(stdout);
        RecordProperty("seed", std::to_string(seed));
        random_.seed(seed);
    }

    int below(int limit)
    {
        return static_cast<int>(random_() % static_cast<unsigned>(limit));
    }

    template <typename T, size_t N> T oneOf(const T (&choices)[N])
    {
        return choices[random_() % N];
    }

    records makeRecords();
    std::string writeRecords(const records &all);
    void startWatched(const std::string &path);
    void setTerm(const std::string &term);
    int sendBatch(int most);
    void expectSound(const records &all);

private:
    HWND target();
    bool sendOne();
    void post(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
    void postKey();
    void postMouse();
    void postDrag();
    void postWheel();
    void postScroll();
    bool postCommand();
    void postFocus();
    void resize();
    LPARAM anyPlace();

    void drain();
    HWND openDialog();
    void answerDialogs();
    void answer(HWND dialog);
    void postToFocus(HWND dialog);

    DWORD_PTR send(HWND window, UINT message, WPARAM wparam, LPARAM lparam = 0);
    void expectRow(const records &all, bool headers);

    std::mt19937 random_;
    std::unique_ptr<VelE2eHeapWatch> heap_watch_;
};

} // namespace

/// Fields with everything that a quoted one may hold, and records of different lengths.
records QuorlenRandom::makeRecords()
{
    static const std::string endings[] = {
        "", " two\nlines", ", a comma", " \"quoted\"", " \r\nend", " gr\u00fcn \u20ac", ";|\t"};
    records all;
    for (int i = 0; i < RECORDS; i++) {
        std::vector<std::string> fields;
        // The separator is guessed from the first two.
        const int n = i < 2 ? FIELDS : 1 + below(FIELDS);
        for (int k = 0; k < n; k++)
            fields.push_back(std::to_string(i) + "f" + std::to_string(k) + oneOf(endings));
        all.push_back(fields);
    }
    return all;
}

std::string QuorlenRandom::writeRecords(const records &all)
{
    std::string text = "\xEF\xBB\xBF";
    for (const std::vector<std::string> &fields : all) {
        for (size_t k = 0; k < fields.size(); k++) {
            text += k == 0 ? "\"" : ",\"";
            for (const char c : fields[k])
                text += c == '"' ? std::string("\"\"") : std::string(1, c);
            text += '"';
        }
        text += oneOf({"\n", "\r\n"});
    }
    return makeFile("random.csv", text);
}

void QuorlenRandom::startWatched(const std::string &path)
{
    start(path);
    // What the window has to paint is painted then, and nothing more to be done.
    Sleep(REST_MS);
    heap_watch_ = std::make_unique<VelE2eHeapWatch>(program->id());
}

void QuorlenRandom::setTerm(const std::string &term)
{
    VelE2eCommandTest::post(VEL_E2E_FIND);
    const HWND dialog = waitDialog(L"SimpleDialog", L"Find");
    const HWND edit = vel_remote_window_find_child(dialog, L"Edit");
    send(edit, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(vel_e2e_to_utf_16(term).c_str()));
    PostMessageW(dialog, WM_COMMAND, IDOK, 0);
    waitClosed(dialog);
    answerDialogs();
}

DWORD_PTR QuorlenRandom::send(HWND window, UINT message, WPARAM wparam, LPARAM lparam)
{
    DWORD_PTR result = 0;
    EXPECT_NE(SendMessageTimeoutW(window, message, wparam, lparam, SMTO_NORMAL, VEL_E2E_TIMEOUT_MS,
                                  &result),
              0)
        << "no answer to message " << message;
    return result;
}

void QuorlenRandom::post(HWND window, UINT message, WPARAM wparam, LPARAM lparam)
{
    PostMessageW(window, message, wparam, lparam);
}

/// Mostly the table control.
HWND QuorlenRandom::target()
{
    switch (below(8)) {
    case 0:
        return main();
    case 1:
        return vel_remote_window_find_child(main(), STATUSCLASSNAMEW);
    default:
        return program->table();
    }
}

/// Inside the window, beside it, and where no window can be.
LPARAM QuorlenRandom::anyPlace()
{
    static constexpr int edges[] = {-32768, -1, 0, 1, 32767};
    if (below(10) == 0)
        return MAKELPARAM(oneOf(edges), oneOf(edges));
    return MAKELPARAM(below(1000) - 50, below(700) - 50);
}

void QuorlenRandom::postKey()
{
    static constexpr WPARAM keys[] = {VK_PRIOR, VK_NEXT,   VK_END,  VK_HOME,   VK_LEFT,
                                      VK_UP,    VK_RIGHT,  VK_DOWN, VK_TAB,    VK_RETURN,
                                      VK_SPACE, VK_DELETE, 'A',     VK_ESCAPE, VK_F5};
    const HWND window = target();
    if (below(4) == 0) {
        post(window, WM_CHAR, static_cast<WPARAM>(1 + below(0xFFFF)), 1);
        return;
    }
    const WPARAM key = oneOf(keys);
    post(window, WM_KEYDOWN, key, 1);
    post(window, WM_KEYUP, key, static_cast<LPARAM>(0xC0000001));
}

void QuorlenRandom::postMouse()
{
    static constexpr UINT messages[] = {WM_LBUTTONDOWN, WM_LBUTTONDBLCLK, WM_LBUTTONUP,
                                        WM_RBUTTONDOWN, WM_RBUTTONDBLCLK, WM_MBUTTONDOWN,
                                        WM_MBUTTONUP,   WM_MOUSEMOVE,     WM_MOUSELEAVE};
    static constexpr WPARAM buttons[] = {MK_LBUTTON, MK_LBUTTON, MK_LBUTTON | MK_SHIFT,
                                         MK_RBUTTON, MK_MBUTTON, 0};
    const UINT message = oneOf(messages);
    post(program->table(), message, message == WM_LBUTTONDOWN ? oneOf(buttons) : 0, anyPlace());
}

/// A column made wider or narrower, or whatever else begins there.
void QuorlenRandom::postDrag()
{
    const HWND header = vel_remote_window_find_child(main(), WC_HEADERW);
    const int x = below(4) == 0 ? below(900) : 100 * below(9);
    post(header, below(8) == 0 ? WM_LBUTTONDBLCLK : WM_LBUTTONDOWN, MK_LBUTTON,
         MAKELPARAM(x, below(24)));
    for (int moves = below(4); moves > 0; moves--)
        post(header, WM_MOUSEMOVE, MK_LBUTTON, MAKELPARAM(x + below(300) - 150, below(40) - 10));
    post(header, WM_LBUTTONUP, 0, MAKELPARAM(x + below(300) - 150, below(40) - 10));
}

void QuorlenRandom::postWheel()
{
    static constexpr int turns[] = {-32768, -1200, -120, -40, -1, 0, 1, 40, 120, 1200, 32767};
    post(program->table(), oneOf<UINT>({WM_MOUSEWHEEL, WM_MOUSEWHEEL, WM_MOUSEHWHEEL}),
         MAKEWPARAM(oneOf({0, 0, MK_CONTROL, MK_SHIFT}), oneOf(turns)), anyPlace());
}

void QuorlenRandom::postScroll()
{
    static constexpr int positions[] = {0, 1, 7, 100, RECORDS, 0x7FFF, 0x8000, 0xFFFF};
    const int code = below(12); // the last of them mean nothing
    post(program->table(), oneOf<UINT>({WM_VSCROLL, WM_VSCROLL, WM_HSCROLL}),
         MAKEWPARAM(code, oneOf(positions)), 0);
}

/// @return whether a dialog may come, after which a user could not go on as before
bool QuorlenRandom::postCommand()
{
    static constexpr WPARAM quick[] = {VEL_E2E_COPY, VEL_E2E_HEADERS, 0, 9, 0xFFFF};
    const int kind = below(100);
    if (kind < 84) {
        post(main(), WM_COMMAND, oneOf(quick), 0);
        return false;
    }
    if (kind < 92)
        post(main(), WM_COMMAND, VEL_E2E_FIND_NEXT, 0);
    else if (kind < 95)
        post(program->table(), WM_KEYDOWN, VK_F3, 1);
    else
        post(main(), WM_COMMAND, oneOf({VEL_E2E_ABOUT, VEL_E2E_FIND}), 0);
    return true;
}

void QuorlenRandom::postFocus()
{
    switch (below(4)) {
    case 0:
        post(program->table(), oneOf<UINT>({WM_SETFOCUS, WM_KILLFOCUS}), 0, 0);
        break;
    case 1:
        post(main(), WM_ACTIVATE, oneOf<WPARAM>({WA_ACTIVE, WA_INACTIVE, WA_CLICKACTIVE}), 0);
        break;
    case 2:
        SetForegroundWindow(main());
        break;
    default:
        post(target(), WM_TIMER, oneOf({WPARAM{0}, WPARAM{1}, WPARAM{1}, WPARAM{2}}), 0);
        break;
    }
}

void QuorlenRandom::resize()
{
    constexpr UINT flags = SWP_NOZORDER | SWP_NOACTIVATE | SWP_ASYNCWINDOWPOS;
    switch (below(8)) {
    case 0:
        ShowWindowAsync(main(), oneOf({SW_MAXIMIZE, SW_MINIMIZE, SW_SHOWNORMAL}));
        break;
    case 1:
        SetWindowPos(main(), nullptr, 0, 0, oneOf({0, 1, 32767}), oneOf({0, 1, 32767}), flags);
        break;
    case 2: {
        MINMAXINFO sizes = {};
        send(main(), WM_GETMINMAXINFO, 0, reinterpret_cast<LPARAM>(&sizes));
        break;
    }
    case 3:
        post(oneOf({main(), program->table()}), WM_SIZE,
             oneOf<WPARAM>({SIZE_RESTORED, SIZE_MINIMIZED, SIZE_MAXIMIZED}), anyPlace());
        break;
    default:
        SetWindowPos(main(), nullptr, below(200), below(200), below(1200), below(900), flags);
        break;
    }
}

/// @return whether a dialog may come
bool QuorlenRandom::sendOne()
{
    const int kind = below(100);
    if (kind < 30)
        postKey();
    else if (kind < 47)
        postMouse();
    else if (kind < 55)
        postDrag();
    else if (kind < 67)
        postWheel();
    else if (kind < 82)
        postScroll();
    else if (kind < 90)
        return postCommand();
    else if (kind < 95)
        postFocus();
    else
        resize();
    return false;
}

/// Sends messages, at most so many, and deals with what they have brought.
/// @return how many
int QuorlenRandom::sendBatch(int most)
{
    int sent = 0;
    bool may_ask = false;
    while (sent < most && !may_ask) {
        may_ask = sendOne();
        sent++;
    }
    drain();
    answerDialogs();
    return sent;
}

/// Waits until all that was posted is done: the last message sets a flag of the status bar that
/// changes nothing here. The one message that the end of a dialog swallows may be that one.
void QuorlenRandom::drain()
{
    const HWND bar = vel_remote_window_find_child(main(), STATUSCLASSNAMEW);
    const DWORD_PTR wanted = send(bar, SB_GETUNICODEFORMAT, 0) != 0 ? 0 : 1;
    const ULONGLONG start = GetTickCount64();
    ULONGLONG posted = 0;
    // A menu that a click has opened is closed.
    post(main(), WM_CANCELMODE, 0, 0);
    do {
        if (GetTickCount64() - posted > REPOST_MS) {
            post(bar, SB_SETUNICODEFORMAT, wanted, 0);
            posted = GetTickCount64();
        }
        Sleep(1);
        if (send(bar, SB_GETUNICODEFORMAT, 0) == wanted)
            return;
    } while (!HasFailure() && GetTickCount64() - start < VEL_E2E_TIMEOUT_MS);
    ADD_FAILURE() << "the program does not come to the end of its messages";
}

HWND QuorlenRandom::openDialog()
{
    for (const wchar_t *const window_class : {L"#32770", L"SimpleDialog", L"ProgressDialog"}) {
        if (const HWND dialog = find(window_class, nullptr); dialog != nullptr)
            return dialog;
    }
    return nullptr;
}

void QuorlenRandom::postToFocus(HWND dialog)
{
    GUITHREADINFO info = {};
    info.cbSize = sizeof info;
    GetGUIThreadInfo(GetWindowThreadProcessId(dialog, nullptr), &info);
    if (info.hwndFocus == nullptr || !IsChild(dialog, info.hwndFocus))
        return;
    if (below(2) == 0)
        post(info.hwndFocus, WM_CHAR, static_cast<WPARAM>('a' + below(26)), 1);
    else
        post(info.hwndFocus, WM_KEYDOWN, oneOf<WPARAM>({VK_TAB, VK_HOME, VK_END, VK_BACK, VK_LEFT}),
             1);
}

/// Does something in a dialog and ends it.
void QuorlenRandom::answer(HWND dialog)
{
    for (int keys = below(4); keys > 0; keys--)
        postToFocus(dialog);
    switch (below(4)) {
    case 0:
        post(dialog, WM_CLOSE, 0, 0);
        break;
    case 1:
        post(dialog, WM_COMMAND, IDCANCEL, 0);
        break;
    default:
        post(dialog, WM_COMMAND, IDOK, 0);
        break;
    }
    vel_remote_window_wait(REPOST_MS, [dialog] { return !IsWindowVisible(dialog); });
}

void QuorlenRandom::answerDialogs()
{
    const ULONGLONG start = GetTickCount64();
    while (!IsWindowEnabled(main()) || openDialog() != nullptr) {
        if (GetTickCount64() - start > VEL_E2E_TIMEOUT_MS) {
            ADD_FAILURE() << "a dialog does not end";
            return;
        }
        if (const HWND dialog = openDialog(); dialog != nullptr)
            answer(dialog);
        // A loop that ends needs one more message.
        post(main(), WM_NULL, 0, 0);
        Sleep(1);
    }
}

/// Goes to a row somewhere by the bar and the keys and compares one of its cells.
void QuorlenRandom::expectRow(const records &all, bool headers)
{
    const HWND table = program->table();
    send(table, WM_HSCROLL, SB_LEFT);
    send(table, WM_VSCROLL, oneOf<WPARAM>({SB_TOP, SB_BOTTOM}));
    const int code = oneOf({SB_PAGEDOWN, SB_PAGEUP, SB_LINEDOWN});
    for (int times = below(100); times > 0; times--)
        send(table, WM_VSCROLL, static_cast<WPARAM>(code));
    send(table, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(3, program->headerHeight() + 5));
    send(table, WM_KEYDOWN, VK_HOME);
    std::string number = copied();
    std::erase(number, ',');
    const size_t record = std::strtoul(number.c_str(), nullptr, 10) - (headers ? 0 : 1);
    ASSERT_LT(record, all.size()) << "\"" << number << "\"";
    const auto column = static_cast<size_t>(below(FIELDS));
    for (size_t i = 0; i <= column; i++)
        send(table, WM_KEYDOWN, VK_RIGHT);
    const std::vector<std::string> &fields = all[record];
    EXPECT_EQ(copied(), column < fields.size() ? fields[column] : "")
        << "record " << record << ", field " << column;
}

/// That the program answers, shows what the file holds, and has damaged nothing.
void QuorlenRandom::expectSound(const records &all)
{
    ShowWindowAsync(main(), SW_SHOWNORMAL);
    drain();
    SetWindowPos(main(), nullptr, 20, 20, 900, 600,
                 SWP_NOZORDER | SWP_NOACTIVATE | SWP_ASYNCWINDOWPOS);
    drain();
    // Twice, for columns of their first width.
    send(main(), WM_COMMAND, VEL_E2E_HEADERS);
    send(main(), WM_COMMAND, VEL_E2E_HEADERS);
    EXPECT_EQ(heap_watch_->damage(), "");
    const std::vector<std::string> titles = program->titles();
    ASSERT_EQ(titles.size(), static_cast<size_t>(FIELDS + 1));
    const bool headers = titles[1] != "Column 1";
    EXPECT_EQ(vel_remote_window_get_status(main()), headers ? "3,999 records" : "4,000 records");
    for (int i = 0; i < ROWS_CHECKED && !HasFailure(); i++)
        expectRow(all, headers);
}

TEST_F(QuorlenRandom, TenThousandMessagesChangeNothingThatMatters)
{
    const records all = makeRecords();
    startWatched(writeRecords(all));
    setTerm("f5 \"");
    expectSound(all);
    DWORD gdi = 0;
    int sent = 0;
    while (sent < MESSAGES && !HasFailure()) {
        const int until = sent + CHECKPOINT;
        while (sent < until && !HasFailure())
            sent += sendBatch(std::min(BATCH, until - sent));
        expectSound(all);
        printf("%d messages\n", sent);
        fflush(stdout);
        // By the second time the system has loaded what it keeps.
        if (sent == 2 * CHECKPOINT)
            gdi = vel_e2e_gdi_handles(program->id());
    }
    EXPECT_EQ(sent, MESSAGES);
    EXPECT_GT(gdi, 0U);
    EXPECT_LE(vel_e2e_gdi_handles(program->id()), gdi + GDI_SLACK);
    EXPECT_EQ(program->close(), 0);
}

TEST(QuorlenRandomDeathTest, DamageInAHeapOfAProgramIsSeen)
{
    constexpr int found = 42;
    static char *volatile block = nullptr;
    EXPECT_EQ(VelE2eHeapWatch(GetCurrentProcessId()).damage(), "");
    EXPECT_EXIT(
        {
            VelE2eHeapWatch watch(GetCurrentProcessId());
            block = static_cast<char *>(std::malloc(24));
            block[24] = 'x';
            std::_Exit(watch.damage() == "a heap of the program is damaged" ? found : 0);
        },
        testing::ExitedWithCode(found), "")
        << "is WINEDEBUG=warn+heap set?";
}
