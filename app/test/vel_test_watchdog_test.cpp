// The watchdog that every test of the viewer runs under.
#include "vel_test_watchdog.h"

#include <glib.h>
#include <gtest/gtest.h>

/// Known to the linker, so that it has a name on a stack.
gpointer vel_test_watchdog_never_ends(gpointer);
void vel_test_watchdog_waits_for_ever();

static GMutex never_free;

gpointer vel_test_watchdog_never_ends(gpointer)
{
    g_mutex_lock(&never_free);
    g_mutex_unlock(&never_free);
    return nullptr;
}

void vel_test_watchdog_waits_for_ever()
{
    g_mutex_lock(&never_free);
    GThread *const thread = g_thread_new("Stuck", vel_test_watchdog_never_ends, nullptr);
    vel_test_watchdog_start(1);
    g_thread_join(thread);
}

TEST(VelTestWatchdogDeathTest, TellsWhereEachThreadHangs)
{
    const auto ended = testing::ExitedWithCode(VEL_TEST_WATCHDOG_STATUS);
    EXPECT_EXIT(vel_test_watchdog_waits_for_ever(), ended,
                "Watchdog: the test hangs.*g_thread_join.*Thread \"Stuck\".*never_ends");
}

TEST(VelTestWatchdog, LetsATestPassThatEndsInTime)
{
    vel_test_watchdog_start(1);
    vel_test_watchdog_stop();
    g_usleep(1200000);
}
