// Runs the tests' own child program, which lies beside the test program, and keeps what came of it.
#pragma once

#include "vel_utils_spawn.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#endif

// One for each thread that runs children.
struct vel_utils_spawn_runner {
    std::string folder;  // The one that holds the child, without a separator at its end.
    std::string program; // The child.
    GSpawnFlags flags = G_SPAWN_DEFAULT;
    std::string cwd;                               // Empty: the caller's.
    const std::vector<std::string> *env = nullptr; // Null: the caller's.
    bool takes_output = true;
    bool takes_error = true;
    bool succeeded = false;
    std::string output;
    std::string errors;
    gint status = -1;
    GError *error = nullptr;

    vel_utils_spawn_runner()
    {
#ifdef _WIN32
        wchar_t path[4096];
        GetModuleFileNameW(nullptr, path, 4096);
        gchar *const self = g_utf16_to_utf8(reinterpret_cast<const gunichar2 *>(path), -1, nullptr,
                                            nullptr, nullptr);
        const std::string name = "\\vel_utils_spawn_child.exe";
#else
        gchar *const self = g_file_read_link("/proc/self/exe", nullptr);
        const std::string name = "/vel_utils_spawn_child";
#endif
        gchar *const dir = g_path_get_dirname(self);
        folder = dir;
        program = folder;
        program += name;
        g_free(dir);
        g_free(self);
    }

    ~vel_utils_spawn_runner()
    {
        g_clear_error(&error);
    }

    void set_flags(int set)
    {
        flags = static_cast<GSpawnFlags>(set);
    }

    static std::vector<gchar *> pointers(const std::vector<std::string> &strings)
    {
        std::vector<gchar *> all;
        for (const std::string &str : strings)
            all.push_back(const_cast<gchar *>(str.c_str()));
        all.push_back(nullptr);
        return all;
    }

    static std::string taken(gchar *str)
    {
        const std::string copy = str != nullptr ? str : "null";
        g_free(str);
        return copy;
    }

    // Runs any program with any arguments, the program's name first.
    void run_argv(const std::vector<std::string> &arguments)
    {
        std::vector<gchar *> argv = pointers(arguments);
        std::vector<gchar *> envp;
        if (env != nullptr)
            envp = pointers(*env);
        gchar *out = nullptr;
        gchar *err = nullptr;
        g_clear_error(&error);
        succeeded = vel_utils_spawn_sync(cwd.empty() ? nullptr : cwd.c_str(), argv.data(),
                                         env != nullptr ? envp.data() : nullptr, flags, nullptr,
                                         nullptr, takes_output ? &out : nullptr,
                                         takes_error ? &err : nullptr, &status, &error);
        output = taken(out);
        errors = taken(err);
        EXPECT_EQ(succeeded, error == nullptr);
    }

    // Where addresses cannot be kept from being random Wine loses one program in some thousand
    // while it starts. That is an error like any other, but none of the runner's.
    bool was_lost_by_wine() const
    {
        return error != nullptr && std::strstr(error->message, "Error 1359") != nullptr;
    }

    // Runs the child.
    void run(std::vector<std::string> arguments)
    {
        constexpr int tries = 3;
        arguments.insert(arguments.begin(), program);
        for (int i = 0; i < tries && (i == 0 || was_lost_by_wine()); i++)
            run_argv(arguments);
        ASSERT_EQ(error, nullptr) << error->message;
    }

    // The exit code of a program that ended by itself; -1 for one that did not.
    gint exit_code() const
    {
#ifdef _WIN32
        return status;
#else
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#endif
    }

    void expect_failure()
    {
        EXPECT_FALSE(succeeded);
        ASSERT_NE(error, nullptr);
        EXPECT_TRUE(g_error_matches(error, G_SPAWN_ERROR, G_SPAWN_ERROR_FAILED)) << error->message;
        EXPECT_EQ(G_SPAWN_ERROR_FAILED, 19);
        EXPECT_EQ(output, "null");
        EXPECT_EQ(errors, "null");
        EXPECT_EQ(status, -1);
    }

    // What the child writes when it is told to write so many letters.
    static std::string letters(size_t n)
    {
        std::string all(n, '\0');
        for (size_t i = 0; i < n; i++)
            all[i] = static_cast<char>('a' + i % 26);
        return all;
    }

    void expect_letters(size_t n_output, size_t n_errors) const
    {
        // Not compared by the framework, which would print megabytes.
        EXPECT_EQ(output.size(), n_output);
        EXPECT_EQ(errors.size(), n_errors);
        EXPECT_TRUE(output == letters(n_output));
        EXPECT_TRUE(errors == letters(n_errors));
    }
};

struct vel_utils_spawn_fixture : testing::Test, vel_utils_spawn_runner {
};
