// The byte buffer against a string and the rules by which its storage grows. An input is a sequence
// of operations, each a byte that tells which, and its arguments.
#include "vel_buffer.h"
#include "vel_fuzz.h"

#include <cstring>
#include <string>

static constexpr gint32 VEL_FUZZ_LENGTH_MAX = 1500;

namespace
{

/// A buffer and what it ought to be.
struct vel_fuzz_pair {
    vel_buffer real;
    std::string content;
    guint64 reserved;
};

} // namespace

/// The smallest power of two that is no less, and no less than 16.
static guint64 vel_fuzz_rounded(guint64 size)
{
    guint64 rounded = 16;
    while (rounded < size)
        rounded *= 2;
    return rounded;
}

static void vel_fuzz_expect_appended(vel_fuzz_pair *pair, const std::string &bytes)
{
    if (pair->content.size() + bytes.size() > pair->reserved)
        pair->reserved = vel_fuzz_rounded(pair->reserved + bytes.size());
    pair->content += bytes;
}

static void vel_fuzz_expect_replaced(vel_fuzz_pair *pair, const std::string &bytes)
{
    if (bytes.size() >= pair->reserved)
        pair->reserved = vel_fuzz_rounded(bytes.size());
    pair->content = bytes;
}

static void vel_fuzz_check_pair(const vel_fuzz_pair *pair)
{
    const vel_buffer *const real = &pair->real;
    vel_fuzz_check(real->reserved == pair->reserved);
    vel_fuzz_check(static_cast<guint64>(real->limit - real->data) == pair->reserved);
    vel_fuzz_check(real->end >= real->data && real->end <= real->limit);
    vel_fuzz_check(static_cast<gsize>(real->end - real->data) == pair->content.size());
    vel_fuzz_check(pair->content.empty() ||
                   std::memcmp(real->data, pair->content.data(), pair->content.size()) == 0);
}

static void vel_fuzz_append_plain(vel_fuzz_pair *pair, vel_fuzz_input *input)
{
    const std::string bytes = vel_fuzz_take_text(input);
    vel_buffer_append(&pair->real, bytes.data(), bytes.size());
    vel_fuzz_expect_appended(pair, bytes);
}

static void vel_fuzz_append_str(vel_fuzz_pair *pair, vel_fuzz_input *input)
{
    const std::string text = vel_fuzz_up_to_zero(vel_fuzz_take_text(input));
    vel_buffer_append_str(&pair->real, text.c_str());
    vel_fuzz_expect_appended(pair, text);
}

/// As the reader of records does it: a byte at the end where there is room.
static void vel_fuzz_append_byte(vel_fuzz_pair *pair, vel_fuzz_input *input)
{
    const guint8 byte = vel_fuzz_take_byte(input);
    if (pair->real.end < pair->real.limit)
        *pair->real.end++ = byte;
    else
        *vel_buffer_append_uninitialized(&pair->real, 1) = byte;
    vel_fuzz_expect_appended(pair, std::string(1, static_cast<char>(byte)));
}

static void vel_fuzz_append_many(vel_fuzz_pair *pair, vel_fuzz_input *input)
{
    const auto n = static_cast<gsize>(vel_fuzz_take_number(input, VEL_FUZZ_LENGTH_MAX));
    guint8 *const bytes = vel_buffer_append_uninitialized(&pair->real, n);
    if (n > 0)
        std::memset(bytes, 'm', n);
    vel_fuzz_expect_appended(pair, std::string(n, 'm'));
}

static void vel_fuzz_append_utf16(vel_fuzz_pair *pair, vel_fuzz_input *input)
{
    const std::string bytes = vel_fuzz_take_text(input);
    std::u16string units(bytes.size() / 2, u'\0');
    std::memcpy(units.data(), bytes.data(), units.size() * 2);
    const std::u16string text = units.substr(0, units.find(u'\0'));
    vel_buffer_append_utf16(&pair->real, reinterpret_cast<const gunichar2 *>(text.c_str()));
    vel_fuzz_expect_appended(pair, bytes.substr(0, text.size() * 2));
}

static void vel_fuzz_append_printf(vel_fuzz_pair *pair, vel_fuzz_input *input)
{
    const auto number = static_cast<gint32>(vel_fuzz_take_int64(input));
    const std::string text = vel_fuzz_up_to_zero(vel_fuzz_take_text(input));
    vel_buffer_append_printf(&pair->real, "%d|%s|%%", number, text.c_str());
    vel_fuzz_expect_appended(pair, std::to_string(number) + "|" + text + "|%");
}

static void vel_fuzz_set_length(vel_fuzz_pair *pair, vel_fuzz_input *input)
{
    const auto length = static_cast<gsize>(vel_fuzz_take_number(input, VEL_FUZZ_LENGTH_MAX));
    const gsize old = pair->content.size();
    vel_buffer_set_length(&pair->real, length);
    // The new bytes are any, so they get a value here.
    if (length > old)
        std::memset(pair->real.data + old, 'l', length - old);
    std::string content = pair->content;
    content.resize(length, 'l');
    vel_fuzz_expect_replaced(pair, content);
}

static void vel_fuzz_set_reserved(vel_fuzz_pair *pair, vel_fuzz_input *input)
{
    const auto size = static_cast<gsize>(vel_fuzz_take_number(input, VEL_FUZZ_LENGTH_MAX));
    vel_buffer_set_reserved(&pair->real, size);
    pair->reserved = size;
    pair->content.resize(MIN(pair->content.size(), size));
}

/// A character off the start of the text, by the table of what UTF-8 allows; its bytes, or 0.
static gsize vel_fuzz_decode(const std::string &text, gsize at, guint32 *c)
{
    const auto byte = [&text, at](gsize i) -> guint32 {
        return at + i < text.size() ? static_cast<guint8>(text[at + i]) : 0U;
    };
    static constexpr guint32 smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    const guint32 first = byte(0);
    const gsize length = first < 0x80    ? 1
                         : first < 0xC0  ? 0
                         : first < 0xE0  ? 2
                         : first < 0xF0  ? 3
                         : first < 0xF8U ? 4
                                         : 0;
    *c = length < 2 ? first : first & (0x7FU >> length);
    for (gsize i = 1; i < length; i++) {
        if ((byte(i) & 0xC0) != 0x80)
            return 0;
        *c = *c << 6 | (byte(i) & 0x3F);
    }
    const bool is_surrogate = *c >= 0xD800 && *c < 0xE000;
    return is_surrogate || *c > 0x10FFFF || *c < smallest[length] ? 0 : length;
}

static std::string vel_fuzz_unit(guint32 unit)
{
    const auto narrowed = static_cast<guint16>(unit);
    std::string bytes(2, '\0');
    std::memcpy(bytes.data(), &narrowed, 2);
    return bytes;
}

static std::string vel_fuzz_to_utf16(const std::string &text)
{
    std::string units;
    for (gsize at = 0; at < text.size();) {
        guint32 c = 0;
        const gsize length = vel_fuzz_decode(text, at, &c);
        if (length == 0)
            return "";
        at += length;
        if (c >= 0x10000)
            units += vel_fuzz_unit(0xD800 + ((c - 0x10000) >> 10)) +
                     vel_fuzz_unit(0xDC00 + ((c - 0x10000) & 0x3FF));
        else
            units += vel_fuzz_unit(c);
    }
    return units;
}

static std::string vel_fuzz_encode(guint32 c)
{
    const auto byte = [](guint32 value) {
        return std::string(1, static_cast<char>(value));
    };
    if (c < 0x80)
        return byte(c);
    if (c < 0x800)
        return byte(0xC0 | c >> 6) + byte(0x80 | (c & 0x3F));
    if (c < 0x10000)
        return byte(0xE0 | c >> 12) + byte(0x80 | (c >> 6 & 0x3F)) + byte(0x80 | (c & 0x3F));
    return byte(0xF0 | c >> 18) + byte(0x80 | (c >> 12 & 0x3F)) + byte(0x80 | (c >> 6 & 0x3F)) +
           byte(0x80 | (c & 0x3F));
}

static std::string vel_fuzz_to_utf8(const std::string &bytes)
{
    std::u16string units(bytes.size() / 2, u'\0');
    std::memcpy(units.data(), bytes.data(), units.size() * 2);
    units.resize(MIN(units.find(u'\0'), units.size()));
    std::string text;
    for (gsize i = 0; i < units.size(); i++) {
        const guint32 unit = units[i];
        if (unit < 0xD800 || unit >= 0xE000) {
            text += vel_fuzz_encode(unit);
            continue;
        }
        const guint32 low = i + 1 < units.size() ? units[i + 1] : 0U;
        if (unit >= 0xDC00 || low < 0xDC00 || low >= 0xE000)
            return "";
        text += vel_fuzz_encode(0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
        i++;
    }
    return text;
}

static void vel_fuzz_check_copy(const vel_fuzz_pair *pair)
{
    g_autofree gchar *copy = vel_buffer_to_str(&pair->real);
    vel_fuzz_check(std::string(copy, pair->content.size() + 1) ==
                   pair->content + std::string(1, '\0'));
}

static void vel_fuzz_step(vel_fuzz_pair *pair, vel_fuzz_input *input)
{
    switch (vel_fuzz_take_number(input, 11)) {
    case 0:
        return vel_fuzz_append_plain(pair, input);
    case 1:
        return vel_fuzz_append_str(pair, input);
    case 2:
        return vel_fuzz_append_byte(pair, input);
    case 3:
        return vel_fuzz_append_many(pair, input);
    case 4:
        return vel_fuzz_append_utf16(pair, input);
    case 5:
        return vel_fuzz_append_printf(pair, input);
    case 6:
        return vel_fuzz_set_length(pair, input);
    case 7:
        return vel_fuzz_set_reserved(pair, input);
    case 8:
        vel_buffer_utf8_to_utf16(&pair->real);
        return vel_fuzz_expect_replaced(pair,
                                        vel_fuzz_to_utf16(vel_fuzz_up_to_zero(pair->content)));
    case 9:
        vel_buffer_utf16_to_utf8(&pair->real);
        return vel_fuzz_expect_replaced(pair, vel_fuzz_to_utf8(pair->content));
    default:
        return vel_fuzz_check_copy(pair);
    }
}

gint vel_fuzz_buffer(const guint8 *data, gsize size)
{
    vel_fuzz_input input = {data, size};
    vel_fuzz_pair pair = {{}, "", 128};
    vel_buffer_init(&pair.real);
    while (input.size > 0 && pair.content.size() < 8 * VEL_FUZZ_LENGTH_MAX) {
        vel_fuzz_step(&pair, &input);
        vel_fuzz_check_pair(&pair);
    }
    g_free(pair.real.data);
    return 0;
}
