// See the header.
#include "vel_fuzz.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

static std::string &vel_fuzz_name()
{
    static std::string name;
    return name;
}

void vel_fuzz_set_name(const std::string &name)
{
    vel_fuzz_name() = name;
}

void vel_fuzz_fail(const char *file, int line, const char *expression)
{
    std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, expression);
    if (!vel_fuzz_name().empty())
        std::fprintf(stderr, "with the input %s\n", vel_fuzz_name().c_str());
    std::fflush(stderr);
    std::abort();
}

guint8 vel_fuzz_take_byte(vel_fuzz_input *input)
{
    if (input->size == 0)
        return 0;
    input->size--;
    return *input->data++;
}

gint32 vel_fuzz_take_number(vel_fuzz_input *input, gint32 n)
{
    gint32 number = vel_fuzz_take_byte(input);
    if (n > 256)
        number = number * 256 + vel_fuzz_take_byte(input);
    return number % n;
}

gint64 vel_fuzz_take_int64(vel_fuzz_input *input)
{
    guint64 number = 0;
    for (gint i = 0; i < 8; i++)
        number = number << 8 | vel_fuzz_take_byte(input);
    return static_cast<gint64>(number);
}

static std::string vel_fuzz_take_bytes(vel_fuzz_input *input, gsize n)
{
    const gsize taken = std::min(n, input->size);
    const std::string bytes(input->data, input->data + taken);
    input->data += taken;
    input->size -= taken;
    return bytes;
}

std::string vel_fuzz_take_text(vel_fuzz_input *input)
{
    const gsize length = vel_fuzz_take_byte(input);
    return vel_fuzz_take_bytes(input, length);
}

std::string vel_fuzz_take_rest(vel_fuzz_input *input)
{
    return vel_fuzz_take_bytes(input, input->size);
}

std::string vel_fuzz_up_to_zero(const std::string &text)
{
    return text.substr(0, text.find('\0'));
}
