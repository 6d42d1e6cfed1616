// A folder of a test's own, under a name with blanks and letters of other scripts, and ways to make
// and look at files and links in it that do not go through the code under test.
#pragma once

#ifndef _WIN32
#include "vel_test_permissions.h"
#endif

#include <glib.h>
#include <glib/gstdio.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

struct vel_utils_file_fixture : testing::Test {
    std::string folder;
    GError *error = nullptr;

    vel_utils_file_fixture()
    {
        gchar *const name = g_dir_make_tmp("vel utils \xc3\xa4\xe4\xb8\xad XXXXXX", nullptr);
        folder = name;
        g_free(name);
    }

    ~vel_utils_file_fixture() override
    {
        g_clear_error(&error);
#ifdef _WIN32
        // Where links are the work of another system's tools, only those remove them.
        run_tool("rm", "rm -rf '" + folder.substr(folder.rfind('\\') + 1) + "'", parent());
#else
        const std::string command = "rm -rf '" + folder + "'";
        EXPECT_EQ(system(command.c_str()), 0);
#endif
        EXPECT_FALSE(exists(""));
    }

    // The path of an entry, given with slashes.
    std::string path(const std::string &name) const
    {
        std::string full = folder;
        if (!name.empty())
            full += G_DIR_SEPARATOR_S + name;
        for (char &c : full) {
            if (c == '/')
                c = G_DIR_SEPARATOR;
        }
        return full;
    }

    // The names of a folder in the order in which they are listed, as long as nothing changes.
    std::vector<std::string> names(const std::string &name) const
    {
        std::vector<std::string> all;
        GDir *const dir = g_dir_open(path(name).c_str(), 0, nullptr);
        while (const gchar *const entry = g_dir_read_name(dir))
            all.push_back(entry);
        g_dir_close(dir);
        return all;
    }

    // The same in a form that the C library takes at any length.
    std::string raw(const std::string &name) const
    {
#ifdef _WIN32
        return std::string("\\\\?\\").append(path(name));
#else
        return path(name);
#endif
    }

    bool exists(const std::string &name) const
    {
        return g_file_test(raw(name).c_str(), G_FILE_TEST_EXISTS) ||
               g_file_test(raw(name).c_str(), G_FILE_TEST_IS_SYMLINK);
    }

    void make_folder(const std::string &name) const
    {
        ASSERT_EQ(g_mkdir(raw(name).c_str(), 0700), 0) << name;
    }

    void make_file(const std::string &name, const std::string &content = "content") const
    {
        FILE *const stream = g_fopen(raw(name).c_str(), "wb");
        ASSERT_NE(stream, nullptr) << name;
        ASSERT_EQ(fwrite(content.data(), 1, content.size(), stream), content.size());
        ASSERT_EQ(fclose(stream), 0);
    }

    // "missing" for what is not there.
    std::string content(const std::string &name) const
    {
        gchar *bytes = nullptr;
        gsize length = 0;
        if (!g_file_get_contents(raw(name).c_str(), &bytes, &length, nullptr))
            return "missing";
        const std::string all(bytes, length);
        g_free(bytes);
        return all;
    }

    // Folders in folders below one, until the path is longer than Windows once allowed.
    std::string make_deep_folder(std::string name) const
    {
        while (path(name).size() <= 400) {
            if (!name.empty())
                name += '/';
            name.append("\xc3\xa4").append(58, 'd');
            make_folder(name);
        }
        return name;
    }

    // Sets when a file was last written, in units of 100 nanoseconds since 1970.
    void set_time(const std::string &name, gint64 ticks) const
    {
#ifdef _WIN32
        const HANDLE file = open_handle(name, FILE_WRITE_ATTRIBUTES, 7);
        ASSERT_NE(file, INVALID_HANDLE_VALUE) << name;
        const guint64 since_1601 = static_cast<guint64>(ticks + 116444736000000000);
        const FILETIME time = {static_cast<DWORD>(since_1601),
                               static_cast<DWORD>(since_1601 >> 32)};
        EXPECT_TRUE(SetFileTime(file, nullptr, nullptr, &time));
        CloseHandle(file);
#else
        gint64 seconds = ticks / 10000000;
        gint64 rest = ticks % 10000000;
        if (rest < 0) {
            rest += 10000000;
            seconds--;
        }
        const struct timespec times[2] = {{0, UTIME_OMIT}, {seconds, rest * 100}};
        EXPECT_EQ(utimensat(AT_FDCWD, path(name).c_str(), times, 0), 0) << name;
#endif
    }

    // Makes a link that leads to a folder; both are names in the test's folder.
    void make_folder_link(const std::string &name, const std::string &target) const
    {
#ifdef _WIN32
        // The program is another system's, as are the paths that it takes.
        run_tool("ln", "ln -sr './" + target + "' '" + name + "'", folder);
        ASSERT_NE(GetFileAttributesW(wide(raw(name)).c_str()) & FILE_ATTRIBUTE_REPARSE_POINT, 0U);
        ASSERT_NE(GetFileAttributesW(wide(raw(name)).c_str()), INVALID_FILE_ATTRIBUTES);
#else
        ASSERT_EQ(symlink(path(target).c_str(), path(name).c_str()), 0) << name;
#endif
    }

    // Expects an error, and takes it away.
    void expect_error(GQuark domain, gint code, const std::string &message)
    {
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(error->domain, domain) << error->message;
        EXPECT_EQ(error->code, code) << error->message;
        EXPECT_EQ(error->message, message);
        g_clear_error(&error);
    }

    // The system's message for a number, alone and as most failures show it.
    static std::string system_message(gint number)
    {
#ifdef _WIN32
        gchar *const message = g_win32_error_message(number);
#else
        gchar *const message = g_strdup(g_strerror(number));
#endif
        const std::string copy = message;
        g_free(message);
        return copy;
    }

    static std::string system_error(gint number)
    {
        return std::string("Error ")
            .append(std::to_string(number))
            .append(": ")
            .append(system_message(number));
    }

#ifdef _WIN32
    static std::wstring wide(const std::string &str)
    {
        gunichar2 *const units = g_utf8_to_utf16(str.c_str(), -1, nullptr, nullptr, nullptr);
        const std::wstring copy = reinterpret_cast<const wchar_t *>(units);
        g_free(units);
        return copy;
    }

    HANDLE open_handle(const std::string &name, DWORD access, DWORD share) const
    {
        return CreateFileW(wide(raw(name)).c_str(), access, share, nullptr, OPEN_EXISTING, 0,
                           nullptr);
    }

    std::string parent() const
    {
        return folder.substr(0, folder.rfind('\\'));
    }

    // Runs a program of the system that runs this one. It is no process here, so what stands for
    // its handles means nothing and must not be closed; a file tells when it is done.
    static void run_tool(const std::string &tool, const std::string &arguments,
                         const std::string &in)
    {
        const std::wstring program = L"Z:\\bin\\sh";
        std::wstring line = wide("sh -c \"" + arguments + "; touch vel-utils-tool-" + tool + "\"");
        const std::string mark = in + "\\vel-utils-tool-" + tool;
        STARTUPINFOW info = {};
        info.cb = sizeof info;
        PROCESS_INFORMATION process = {};
        ASSERT_TRUE(CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, FALSE, 0,
                                   nullptr, wide(in).c_str(), &info, &process))
            << tool;
        for (int i = 0; i < 2000 && !g_file_test(mark.c_str(), G_FILE_TEST_EXISTS); i++)
            Sleep(5);
        EXPECT_EQ(g_remove(mark.c_str()), 0) << tool;
    }
#endif
};
