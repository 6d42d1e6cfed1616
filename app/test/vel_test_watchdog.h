// Ends a test that hangs, and says where: the stacks of all threads are printed first.
#pragma once

/// The exit status of a program that the watchdog has ended.
constexpr int VEL_TEST_WATCHDOG_STATUS = 99;

/// Ends the process after a while unless it is stopped before. One at a time.
void vel_test_watchdog_start(unsigned seconds);

void vel_test_watchdog_stop();
