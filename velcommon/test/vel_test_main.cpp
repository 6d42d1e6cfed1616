// The entry of every test program. Death tests re-run the program, which also works where processes
// cannot be forked; GLib must not open message boxes for its fatal logs, nobody would close them.
#include <glib.h>
#include <gtest/gtest.h>

#include "vel_test_main.h"

std::string vel_test_again;

/// Runs the tests that were asked for once more; the results of the first run stay in their file.
static int run_again()
{
    testing::TestEventListeners &listeners = testing::UnitTest::GetInstance()->listeners();
    delete listeners.Release(listeners.default_xml_generator());
    GTEST_FLAG_SET(filter, vel_test_again);
    vel_test_again.clear();
    return RUN_ALL_TESTS();
}

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    GTEST_FLAG_SET(death_test_style, "threadsafe");
#ifdef G_OS_WIN32
    // Where there is no console, GLib cannot ask for its code page and warns, which is fatal in
    // tests.
    g_setenv("LANG", "C.UTF-8", FALSE);
#endif
    int glib_argc = 1;
    g_test_init(&glib_argc, &argv, nullptr);
    int status = RUN_ALL_TESTS();
    while (status == 0 && !vel_test_again.empty())
        status = run_again();
    return status;
}
