// Tests of missing permissions run as root too, whom permissions do not hold back: these make it
// one of the people for a while. Its folders stay its own, so that a checkout which nobody else may
// enter does as well.
#pragma once

#include <glib.h>
#include <gtest/gtest.h>

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

inline void vel_test_set_above_permissions(gboolean is_above)
{
    constexpr guint32 mask = 1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH;
    __user_cap_header_struct header = {};
    header.version = _LINUX_CAPABILITY_VERSION_3;
    __user_cap_data_struct sets[_LINUX_CAPABILITY_U32S_3] = {};
    ASSERT_EQ(syscall(SYS_capget, &header, sets), 0);
    if (is_above)
        sets[0].effective |= sets[0].permitted & mask;
    else
        sets[0].effective &= ~mask;
    ASSERT_EQ(syscall(SYS_capset, &header, sets), 0);
}

/// From here on permissions hold for the calling thread, whoever runs the test.
inline void vel_test_bow_to_permissions()
{
    vel_test_set_above_permissions(FALSE);
}

/// Gives the calling thread back what it had.
inline void vel_test_rise_above_permissions()
{
    vel_test_set_above_permissions(TRUE);
}
