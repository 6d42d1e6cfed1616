// The entry of every test program. Death tests re-run the program, which also works where processes
// cannot be forked; GLib must not open message boxes for its fatal logs, nobody would close them.
#include <glib.h>
#include <gtest/gtest.h>

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
    return RUN_ALL_TESTS();
}
