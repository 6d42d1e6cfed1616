// That the check of the heaps finds what it is there for. The damage is done in child processes,
// which end before the system can complain of it.
#include "vel_test_heap_check.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include <glib.h>

namespace
{

constexpr int FOUND = 42;

/// Ends the child process with FOUND if the heaps are damaged.
[[noreturn]] void end_child()
{
    const std::string damage = vel_test_heap_damage();
    std::fputs(damage.c_str(), stderr);
    std::fflush(stderr);
    std::_Exit(damage.empty() ? 0 : FOUND);
}

gchar *volatile shown;

/// Keeps the compiler from leaving out writes that nobody reads, and from warning about them.
gchar *hidden(void *block)
{
    shown = static_cast<gchar *>(block);
    return shown;
}

} // namespace

TEST(VelTestHeapCheck, SoundHeapsAreNoDamage)
{
    g_autofree gchar *block = g_strnfill(24, 'x');
    EXPECT_EQ(vel_test_heap_damage(), "");
}

TEST(VelTestHeapCheckDeathTest, OneByteBehindABlockIsFound)
{
    // Sizes with and without a gap up to the next boundary. Not found behind blocks that are so
    // large (Wine: half a megabyte) that they have pages of their own.
    for (const gsize size : {1U, 24U, 29U, 32U, 5000U, 300000U})
        EXPECT_EXIT(
            {
                hidden(g_malloc(size))[size] = 'x';
                end_child();
            },
            testing::ExitedWithCode(FOUND), "is damaged")
            << size << " bytes; is WINEDEBUG=warn+heap set?";
}

TEST(VelTestHeapCheckDeathTest, WriteIntoAFreedBlockIsFound)
{
    EXPECT_EXIT(
        {
            gchar *const block = hidden(g_malloc(48));
            g_free(block);
            hidden(block)[20] = 'x';
            end_child();
        },
        testing::ExitedWithCode(FOUND), "is damaged")
        << "is WINEDEBUG=warn+heap set?";
}

TEST(VelTestHeapCheckDeathTest, SliceUsedAfterItsReleaseIsFound)
{
    // GLib's own allocator would keep the memory from the system's.
    EXPECT_EXIT(
        {
            gchar *const block = hidden(g_slice_alloc(48));
            g_slice_free1(48, block);
            hidden(block)[20] = 'x';
            end_child();
        },
        testing::ExitedWithCode(FOUND), "is damaged")
        << "are WINEDEBUG=warn+heap and G_SLICE=always-malloc set?";
}
