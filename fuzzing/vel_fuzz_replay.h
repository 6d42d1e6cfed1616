// Gives the kept inputs of a target to it.
#pragma once

#include "vel_fuzz.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <string>

inline void vel_fuzz_replay_file(vel_fuzz_target target, const std::string &path)
{
    g_autofree gchar *bytes = nullptr;
    gsize size = 0;
    ASSERT_TRUE(g_file_get_contents(path.c_str(), &bytes, &size, nullptr)) << path;
    vel_fuzz_set_name(path);
    // A block of its own size, so that reading past its end is seen.
    g_autofree guint8 *copy = static_cast<guint8 *>(g_memdup2(bytes, size));
    EXPECT_EQ(target(copy, size), 0) << path;
}

/// @param name  the folder in the corpus, which must not be empty
inline void vel_fuzz_replay(vel_fuzz_target target, const std::string &name)
{
    target(nullptr, 0);
    // From the folder that the test is run in, since a Windows program takes an absolute path
    // without a drive for a relative one.
    const std::string folder = VEL_FUZZ_CORPUS "/" + name;
    GDir *const dir = g_dir_open(folder.c_str(), 0, nullptr);
    ASSERT_NE(dir, nullptr) << folder;
    gint files = 0;
    while (const gchar *const file = g_dir_read_name(dir)) {
        vel_fuzz_replay_file(target, folder + "/" + file);
        files++;
    }
    g_dir_close(dir);
    EXPECT_GT(files, 0) << folder;
}
