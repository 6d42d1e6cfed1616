// The line of text that stands for a program's arguments on Windows: against its rules applied one
// byte at a time, and against a reader of such lines, which must give the arguments back.
//
// Known limits: the line's rules do not let every list of arguments come back, and nothing is
// compared then but the line itself. That is so for
// - an argument with a space or a tab that ends with a backslash, for the backslash hides the
//   closing quote, and the argument runs into the next one;
// - a quote in the program's name, whose own rules know no hidden quotes;
// - a program's name that is empty: the next argument takes its place.
// An empty argument never comes back, and the others do as if it were not there.
//
// An input is: arguments, each a byte for its length and its bytes; zeros end an argument.
#include "vel_fuzz.h"
#include "vel_utils_spawn_internal.h"

#include <string>
#include <vector>

#ifdef _WIN32
#include <windows.h>

#include <shellapi.h>
#endif

static constexpr gsize VEL_FUZZ_ARGUMENTS_MAX = 16;

typedef std::vector<std::string> vel_fuzz_arguments;

static bool vel_fuzz_is_blank(char c)
{
    return c == ' ' || c == '\t';
}

static bool vel_fuzz_has_blank(const std::string &argument)
{
    return argument.find_first_of(" \t") != std::string::npos;
}

static std::string vel_fuzz_quoted(const std::string &argument)
{
    const std::string quote = vel_fuzz_has_blank(argument) ? "\"" : "";
    std::string quoted = quote;
    for (gsize i = 0; i < argument.size(); i++) {
        if (argument[i] == '"') {
            // As many backslashes again as there are directly before it, and one of its own.
            for (gsize j = i; j > 0 && argument[j - 1] == '\\'; j--)
                quoted += '\\';
            quoted += '\\';
        }
        quoted += argument[i];
    }
    return quoted + quote;
}

static std::string vel_fuzz_line(const vel_fuzz_arguments &arguments)
{
    std::string line;
    for (const std::string &argument : arguments) {
        line += vel_fuzz_quoted(argument);
        if (!line.empty())
            line += ' ';
    }
    return line;
}

/// The program's name: up to a blank outside quotes; backslashes are nothing special.
static gsize vel_fuzz_split_name(const std::string &line, vel_fuzz_arguments *arguments)
{
    std::string name;
    bool in_quotes = false;
    gsize i = 0;
    for (; i < line.size() && (in_quotes || !vel_fuzz_is_blank(line[i])); i++) {
        if (line[i] == '"')
            in_quotes = !in_quotes;
        else
            name += line[i];
    }
    arguments->push_back(name);
    return i;
}

/// One argument, from its first byte on. 2n backslashes before a quote are n of them, and the quote
/// opens or closes; with one more the quote is a character. Two quotes inside quotes are one.
static gsize vel_fuzz_split_argument(const std::string &line, gsize i, std::string *argument)
{
    bool in_quotes = false;
    while (i < line.size() && (in_quotes || !vel_fuzz_is_blank(line[i]))) {
        gsize n = 0;
        while (i + n < line.size() && line[i + n] == '\\')
            n++;
        i += n;
        if (i == line.size() || line[i] != '"') {
            argument->append(n, '\\');
            if (n == 0)
                *argument += line[i++];
            continue;
        }
        argument->append(n / 2, '\\');
        const bool is_doubled = in_quotes && i + 1 < line.size() && line[i + 1] == '"';
        if (n % 2 == 1) {
            *argument += '"';
        } else if (is_doubled) {
            *argument += '"';
            i++;
        } else {
            in_quotes = !in_quotes;
        }
        i++;
    }
    return i;
}

static vel_fuzz_arguments vel_fuzz_split(const std::string &line)
{
    vel_fuzz_arguments arguments;
    gsize i = vel_fuzz_split_name(line, &arguments);
    for (;;) {
        while (i < line.size() && vel_fuzz_is_blank(line[i]))
            i++;
        if (i == line.size())
            return arguments;
        std::string argument;
        i = vel_fuzz_split_argument(line, i, &argument);
        arguments.push_back(argument);
    }
}

/// Whether the arguments come back, all but the empty ones.
static bool vel_fuzz_comes_back(const vel_fuzz_arguments &arguments)
{
    if (arguments.empty() || arguments[0].empty())
        return false;
    if (arguments[0].find('"') != std::string::npos)
        return false;
    for (gsize i = 1; i < arguments.size(); i++) {
        const std::string &argument = arguments[i];
        if (vel_fuzz_has_blank(argument) && argument.back() == '\\')
            return false;
    }
    return true;
}

#ifdef _WIN32

/// The reader of lines must read as the system's own does, or it proves nothing.
static void vel_fuzz_check_system(const std::string &line, const vel_fuzz_arguments &expected)
{
    if (line.empty() || !g_utf8_validate(line.data(), static_cast<gssize>(line.size()), nullptr))
        return;
    g_autofree gunichar2 *wide = g_utf8_to_utf16(line.c_str(), -1, nullptr, nullptr, nullptr);
    int n = 0;
    wchar_t **const split = CommandLineToArgvW(reinterpret_cast<wchar_t *>(wide), &n);
    vel_fuzz_check(split != nullptr);
    vel_fuzz_check(static_cast<gsize>(n) == expected.size());
    for (int i = 0; i < n; i++) {
        g_autofree gchar *argument = g_utf16_to_utf8(reinterpret_cast<const gunichar2 *>(split[i]),
                                                     -1, nullptr, nullptr, nullptr);
        vel_fuzz_check(expected[static_cast<gsize>(i)] == argument);
    }
    LocalFree(split);
}

#else

static void vel_fuzz_check_system(const std::string &line, const vel_fuzz_arguments &expected)
{
    (void) line;
    (void) expected;
}

#endif

gint vel_fuzz_spawn_line(const guint8 *data, gsize size)
{
    vel_fuzz_input input = {data, size};
    vel_fuzz_arguments arguments;
    while (input.size > 0 && arguments.size() < VEL_FUZZ_ARGUMENTS_MAX)
        arguments.push_back(vel_fuzz_up_to_zero(vel_fuzz_take_text(&input)));
    std::vector<const gchar *> argv;
    for (const std::string &argument : arguments)
        argv.push_back(argument.c_str());
    argv.push_back(nullptr);
    g_autofree gchar *line = vel_utils_spawn_command_line(argv.data());
    vel_fuzz_check(vel_fuzz_line(arguments) == line);
    if (!vel_fuzz_comes_back(arguments))
        return 0;
    std::erase(arguments, "");
    vel_fuzz_check(vel_fuzz_split(line) == arguments);
    vel_fuzz_check_system(line, arguments);
    return 0;
}
