// Copy: what lands on the clipboard, and what happens when nothing can. The calls that move the
// block of memory go through this file, which counts blocks and makes calls fail.
#include <set>

#include "vel_main_window_modal_fixture.h"

extern "C" {

using vel_empty_clipboard = BOOL(WINAPI *)(void);
using vel_global_alloc = HGLOBAL(WINAPI *)(UINT, SIZE_T);
using vel_global_free = HGLOBAL(WINAPI *)(HGLOBAL);
using vel_set_clipboard_data = HANDLE(WINAPI *)(UINT, HANDLE);

extern vel_empty_clipboard __real___imp_EmptyClipboard;
extern vel_global_alloc __real___imp_GlobalAlloc;
extern vel_global_free __real___imp_GlobalFree;
extern vel_set_clipboard_data __real___imp_SetClipboardData;

} // extern "C"

namespace
{

constexpr WPARAM COPY = VEL_MAIN_WINDOW_COMMAND_COPY;

/// Which calls fail, and the blocks that are neither freed nor handed over. UI thread.
struct clipboard_calls {
    bool alloc_fails;
    bool empty_fails;
    bool set_fails;
    int emptied;
    std::set<HGLOBAL> blocks;
};

clipboard_calls calls;

} // namespace

static BOOL WINAPI vel_test_empty_clipboard()
{
    calls.emptied++;
    return !calls.empty_fails && __real___imp_EmptyClipboard();
}

static HGLOBAL WINAPI vel_test_global_alloc(UINT flags, SIZE_T size)
{
    if (calls.alloc_fails)
        return nullptr;
    const HGLOBAL block = __real___imp_GlobalAlloc(flags, size);
    calls.blocks.insert(block);
    return block;
}

static HGLOBAL WINAPI vel_test_global_free(HGLOBAL block)
{
    calls.blocks.erase(block);
    return __real___imp_GlobalFree(block);
}

static HANDLE WINAPI vel_test_set_clipboard_data(UINT format, HANDLE data)
{
    if (calls.set_fails)
        return nullptr;
    calls.blocks.erase(data);
    return __real___imp_SetClipboardData(format, data);
}

extern "C" {

extern const vel_empty_clipboard __wrap___imp_EmptyClipboard;
extern const vel_global_alloc __wrap___imp_GlobalAlloc;
extern const vel_global_free __wrap___imp_GlobalFree;
extern const vel_set_clipboard_data __wrap___imp_SetClipboardData;

const vel_empty_clipboard __wrap___imp_EmptyClipboard = vel_test_empty_clipboard;
const vel_global_alloc __wrap___imp_GlobalAlloc = vel_test_global_alloc;
const vel_global_free __wrap___imp_GlobalFree = vel_test_global_free;
const vel_set_clipboard_data __wrap___imp_SetClipboardData = vel_test_set_clipboard_data;

} // extern "C"

namespace
{

class VelMainWindowCopy : public VelMainWindowModalTest
{
protected:
    void SetUp() override
    {
        VelMainWindowModalTest::SetUp();
        putMarker();
        calls = {};
    }

    void TearDown() override
    {
        EXPECT_TRUE(calls.blocks.empty()) << "memory is lost";
        calls = {};
        VelMainWindowModalTest::TearDown();
    }

    static bool openClipboard(HWND owner)
    {
        return vel_remote_window_wait(VEL_TEST_TIMEOUT_MS,
                                      [owner] { return OpenClipboard(owner) != FALSE; });
    }

    /// What must still be there when nothing was copied.
    void putMarker() const
    {
        static constexpr wchar_t marker[] = L"marker";
        ASSERT_TRUE(openClipboard(window->hwnd));
        EmptyClipboard();
        const HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, sizeof marker);
        memcpy(GlobalLock(block), marker, sizeof marker);
        GlobalUnlock(block);
        SetClipboardData(CF_UNICODETEXT, block);
        CloseClipboard();
    }

    std::wstring clipboard() const
    {
        if (!openClipboard(window->hwnd))
            return L"(the clipboard is held)";
        std::wstring text = L"(no text)";
        if (const HGLOBAL block = GetClipboardData(CF_UNICODETEXT); block != nullptr) {
            text = static_cast<const wchar_t *>(GlobalLock(block));
            GlobalUnlock(block);
        }
        CloseClipboard();
        return text;
    }

    /// Copies the cell; the clipboard must hold this afterwards.
    void expectCopied(gint32 row, gint32 column, const std::wstring &expected) const
    {
        select(row, column);
        EXPECT_EQ(command(COPY), 0);
        EXPECT_EQ(clipboard(), expected);
    }
};

} // namespace

TEST_F(VelMainWindowCopy, TheTextIsCopiedWithoutItsQuotesAndWithoutALineEnd)
{
    openCounted("a,\"b \"\"c\"\", d\"\n  e ,\n");
    expectCopied(0, 1, L"a");
    expectCopied(0, 2, L"b \"c\", d");
    expectCopied(1, 1, L"  e ");
}

TEST_F(VelMainWindowCopy, AnEmptyFieldIsCopiedAsAnEmptyText)
{
    openCounted("a,\nb\n");
    expectCopied(0, 2, L"");
    putMarker();
    expectCopied(1, 2, L"");
}

TEST_F(VelMainWindowCopy, LineFeedsTabsAndEmojiStayAsTheyAre)
{
    openCounted(
        "\xEF\xBB\xBFx,\"one\ntwo\r\nthree\tfour\",ä\U0001F600\U0001F468\u200D\U0001F469ñ\n");
    expectCopied(0, 2, L"one\ntwo\r\nthree\tfour");
    expectCopied(0, 3, L"ä\U0001F600\U0001F468\u200D\U0001F469ñ");
}

TEST_F(VelMainWindowCopy, ALongTextIsCopiedWhole)
{
    const std::string text(3000000, 'x');
    openCounted("a," + text + "\n");
    expectCopied(0, 2, std::wstring(text.begin(), text.end()));
}

TEST_F(VelMainWindowCopy, TheRecordColumnGivesTheNumberAsItIsShown)
{
    std::string contents;
    for (int i = 0; i < 1234; i++)
        contents += "a,b\n";
    openCounted(contents);
    const struct lconv *const conventions = localeconv();
    ASSERT_STREQ(conventions->thousands_sep, ",") << "another locale than the tests run in";
    expectCopied(0, 0, L"1");
    expectCopied(1233, 0, L"1,234");
}

TEST_F(VelMainWindowCopy, WithHeadersTheRecordBehindTheHeaderIsNumberOne)
{
    openCounted("name,age\nAnn,31\n");
    ASSERT_TRUE(window->headers);
    expectCopied(0, 0, L"1");
    expectCopied(0, 1, L"Ann");
}

TEST_F(VelMainWindowCopy, BytesThatAreNotUtf8BecomeReplacementCharacters)
{
    vel_main_window_close_file(window);
    g_autoptr(GError) error = nullptr;
    vel_main_window_open_file(window, makeFile("bytes.csv", "Caf\xE9 x,y\n").c_str(), ',', "UTF-8",
                              &error);
    ASSERT_EQ(error, nullptr);
    waitScanned();
    expectCopied(0, 1, L"Caf\uFFFD x");
}

TEST_F(VelMainWindowCopy, NothingHappensWithoutASelection)
{
    openCounted("a,b\n");
    select(-1, -1);
    EXPECT_EQ(command(COPY), 0);
    EXPECT_EQ(calls.emptied, 0);
    EXPECT_EQ(clipboard(), L"marker");
}

TEST_F(VelMainWindowCopy, NothingHappensWithoutAFile)
{
    EXPECT_EQ(command(COPY), 0);
    EXPECT_EQ(clipboard(), L"marker");
}

TEST_F(VelMainWindowCopy, NothingHappensAndNothingIsLostWhileAnotherWindowHoldsTheClipboard)
{
    openCounted("a,b\n");
    select(0, 1);
    const HWND other = CreateWindowExW(0, L"Static", L"", WS_POPUP, 0, 0, 1, 1, nullptr, nullptr,
                                       nullptr, nullptr);
    ASSERT_TRUE(openClipboard(other));
    EXPECT_EQ(command(COPY), 0);
    EXPECT_EQ(calls.emptied, 0);
    CloseClipboard();
    EXPECT_EQ(clipboard(), L"marker");
    command(COPY);
    EXPECT_EQ(clipboard(), L"a") << "the next copy does not work";
    DestroyWindow(other);
}

TEST_F(VelMainWindowCopy, WithoutMemoryTheClipboardKeepsWhatItHas)
{
    openCounted("a,b\n");
    select(0, 1);
    calls.alloc_fails = true;
    EXPECT_EQ(command(COPY), 0);
    calls.alloc_fails = false;
    EXPECT_EQ(clipboard(), L"marker");
}

TEST_F(VelMainWindowCopy, AClipboardThatCannotBeEmptiedKeepsWhatItHasAndTheMemoryIsFreed)
{
    openCounted("a,b\n");
    select(0, 1);
    calls.empty_fails = true;
    EXPECT_EQ(command(COPY), 0);
    EXPECT_EQ(calls.emptied, 1);
    EXPECT_TRUE(calls.blocks.empty());
    EXPECT_EQ(clipboard(), L"marker");
}

TEST_F(VelMainWindowCopy, MemoryThatTheClipboardDoesNotTakeIsFreed)
{
    openCounted("a,b\n");
    select(0, 1);
    calls.set_fails = true;
    EXPECT_EQ(command(COPY), 0);
    EXPECT_TRUE(calls.blocks.empty());
    calls.set_fails = false;
    command(COPY);
    EXPECT_EQ(clipboard(), L"a");
}

TEST_F(VelMainWindowCopy, TheClipboardIsFreeAfterwards)
{
    openCounted("a,b\n");
    select(0, 1);
    command(COPY);
    const HWND other = CreateWindowExW(0, L"Static", L"", WS_POPUP, 0, 0, 1, 1, nullptr, nullptr,
                                       nullptr, nullptr);
    EXPECT_TRUE(OpenClipboard(other));
    CloseClipboard();
    DestroyWindow(other);
}

TEST_F(VelMainWindowCopy, ControlCCopiesTheSelectedCell)
{
    openCounted("a,b\n");
    select(0, 2);
    then("Ctrl+C", [] { postKey('C', true); });
    runLoop();
    EXPECT_EQ(clipboard(), L"b");
}
