// See vel_test_handles.h. Wine answers 0 to GetGuiResources(), so there the objects themselves are
// counted.
#include "vel_test_handles.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "vel_test_main.h"

namespace
{

/// One entry of the process-wide table of GDI objects that every process can read.
struct VelGdiEntry {
    void *object;
    WORD process; ///< Owner; 0 where the table is this process's own.
    WORD lock;
    WORD generation;
    WORD type; ///< 0 for an unused entry.
    void *data;
};

constexpr int GDI_ENTRIES = 0x4000;
constexpr size_t GDI_TABLE_IN_PEB = 0xF8;

/// Low words of USER handles. The system takes a handle without its high word for the object that
/// has the low one now.
constexpr std::uintptr_t FIRST_USER_HANDLE = 0x20;
constexpr std::uintptr_t LAST_USER_HANDLE = 0xFFEE;

/// How often a suite is run at most.
constexpr int MOST_RUNS = 4;

/// What a suite leaves behind the first time may be the system's, which keeps much of what it loads
/// for a theme or a control, a piece of it now and then later. So a suite that has left something
/// is run again; one that leaves something every time leaks.
class VelHandleListener : public testing::EmptyTestEventListener
{
    void OnTestIterationStart(const testing::UnitTest &, int) override
    {
        run_++;
    }

    void OnTestSuiteStart(const testing::TestSuite &) override
    {
        before_ = vel_test_handles();
    }

    void OnTestSuiteEnd(const testing::TestSuite &suite) override
    {
        const std::string growth = vel_test_handles_growth(before_, vel_test_handles());
        if (run_ >= MOST_RUNS) {
            EXPECT_EQ(growth, "") << "after the tests of " << suite.name();
        } else if (!growth.empty()) {
            vel_test_again += suite.name();
            vel_test_again += ".*:";
        }
    }

    VelHandleCounts before_;
    int run_ = 0;
};

/// Before main(), so that the entry of the tests is the same on every system. Owned by GoogleTest.
[[maybe_unused]] const bool registered = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new VelHandleListener);
    return true;
}();

} // namespace

static DWORD vel_test_gdi_table_entries()
{
    using GetPeb = const BYTE *(WINAPI *) ();
    const auto get_peb = reinterpret_cast<GetPeb>(
        reinterpret_cast<void *>(GetProcAddress(GetModuleHandleW(L"ntdll"), "RtlGetCurrentPeb")));
    const auto *entry = *reinterpret_cast<const VelGdiEntry *const *>(get_peb() + GDI_TABLE_IN_PEB);
    DWORD count = 0;
    for (int index = 0; index < GDI_ENTRIES; index++, entry++)
        count += (entry->type & 0xFF) != 0 &&
                 (entry->process == 0 || entry->process == LOWORD(GetCurrentProcessId()));
    return count;
}

static BOOL CALLBACK vel_test_count_window(HWND window, LPARAM count)
{
    ++*reinterpret_cast<DWORD *>(count);
    EnumChildWindows(
        window,
        [](HWND, LPARAM children) -> BOOL {
            ++*reinterpret_cast<DWORD *>(children);
            return TRUE;
        },
        count);
    return TRUE;
}

static bool vel_test_is_icon(HANDLE handle)
{
    ICONINFO info = {};
    if (!GetIconInfo(static_cast<HICON>(handle), &info))
        return false;
    DeleteObject(info.hbmMask);
    if (info.hbmColor != nullptr)
        DeleteObject(info.hbmColor);
    return true;
}

/// Menus, icons and cursors. Not accelerator tables: the shell's file dialog leaves one behind.
static DWORD vel_test_count_resources()
{
    DWORD count = 0;
    for (std::uintptr_t low = FIRST_USER_HANDLE; low <= LAST_USER_HANDLE; low += 2) {
        const HANDLE handle = reinterpret_cast<HANDLE>(low);
        count += IsMenu(static_cast<HMENU>(handle)) || vel_test_is_icon(handle);
    }
    return count;
}

DWORD vel_test_gdi_handles()
{
    const DWORD count = GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS);
    return count != 0 ? count : vel_test_gdi_table_entries();
}

DWORD vel_test_user_handles()
{
    DWORD count = GetGuiResources(GetCurrentProcess(), GR_USEROBJECTS);
    if (count != 0)
        return count;
    EnumThreadWindows(GetCurrentThreadId(), vel_test_count_window,
                      reinterpret_cast<LPARAM>(&count));
    return count + vel_test_count_resources();
}

VelHandleCounts vel_test_handles()
{
    return {vel_test_gdi_handles(), vel_test_user_handles()};
}

std::string vel_test_handles_growth(const VelHandleCounts &before, const VelHandleCounts &after)
{
    std::string growth;
    if (after.gdi > before.gdi)
        growth += std::to_string(after.gdi - before.gdi) + " more GDI objects\n";
    if (after.user > before.user)
        growth += std::to_string(after.user - before.user) + " more USER objects\n";
    return growth;
}
