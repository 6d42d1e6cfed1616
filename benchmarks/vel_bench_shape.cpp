// What the records of each shape look like.
#include "vel_bench_shape.h"

#include <cstring>

// A well-known generator of three shifts; the multiplication makes its high bits good ones.
static guint32 vel_bench_random(vel_bench_writer *writer, guint32 below)
{
    guint64 x = writer->random;
    x ^= x >> 12;
    x ^= x << 25;
    x ^= x >> 27;
    writer->random = x;
    const guint64 high = (x * G_GUINT64_CONSTANT(0x2545F4914F6CDD1D)) >> 32;
    return static_cast<guint32>((high * below) >> 32);
}

static void vel_bench_put(vel_bench_writer *writer, gchar byte)
{
    *writer->pos++ = byte;
}

static void vel_bench_put_text(vel_bench_writer *writer, const gchar *text)
{
    const gsize length = std::strlen(text);
    std::memcpy(writer->pos, text, length);
    writer->pos += length;
}

static void vel_bench_put_number(vel_bench_writer *writer, guint32 n)
{
    gchar digits[10];
    gint32 length = 0;
    do
        digits[length++] = static_cast<gchar>('0' + n % 10);
    while ((n /= 10) != 0);
    while (length > 0)
        vel_bench_put(writer, digits[--length]);
}

static void vel_bench_put_decimal(vel_bench_writer *writer, guint32 below)
{
    if (vel_bench_random(writer, 4) == 0)
        vel_bench_put(writer, '-');
    vel_bench_put_number(writer, vel_bench_random(writer, below));
    vel_bench_put(writer, '.');
    for (guint32 n = 1 + vel_bench_random(writer, 4); n > 0; n--)
        vel_bench_put(writer, static_cast<gchar>('0' + vel_bench_random(writer, 10)));
}

static void vel_bench_put_word(vel_bench_writer *writer)
{
    static const gchar words[][10] = {
        "the", "harbour", "of",   "a",       "Lantern", "grain", "in",      "Nesting", "next",
        "to",  "seven",   "Bell", "neither", "window",  "on",    "quarter", "and",     "Needles"};
    vel_bench_put_text(writer, words[vel_bench_random(writer, G_N_ELEMENTS(words))]);
}

// Letters of two, three and four bytes, in both cases.
static void vel_bench_put_foreign_word(vel_bench_writer *writer)
{
    static const gchar *const words[] = {
        "Brücke", "ÄRGER", "Ägypten", "größer", "ΠΟΤΑΜΟΣ", "λιμάνι",  "Ключ",
        "ГАВАНЬ", "naïve", "Čapek",   "東京",   "港の町",  "Øresund", "🚢 fährt",
    };
    vel_bench_put_text(writer, words[vel_bench_random(writer, G_N_ELEMENTS(words))]);
}

static void vel_bench_put_words(vel_bench_writer *writer, guint32 most)
{
    vel_bench_put_word(writer);
    for (guint32 n = vel_bench_random(writer, most); n > 0; n--) {
        vel_bench_put(writer, ' ');
        vel_bench_put_word(writer);
    }
}

static gint32 vel_bench_write_numbers(vel_bench_writer *writer)
{
    for (gint32 i = 0; i < 18; i++) {
        if (i > 0)
            vel_bench_put(writer, ',');
        if (i % 3 == 0)
            vel_bench_put_decimal(writer, 10000);
        else
            vel_bench_put_number(writer, vel_bench_random(writer, i % 3 == 1 ? 100 : 1000000));
    }
    return 18;
}

// The inside of quotes, which may hold what ends fields and records elsewhere.
static void vel_bench_put_quotable(vel_bench_writer *writer)
{
    vel_bench_put_words(writer, 5);
    switch (vel_bench_random(writer, 24)) {
    case 0:
        vel_bench_put_text(writer, " \"\"");
        vel_bench_put_word(writer);
        vel_bench_put_text(writer, "\"\"");
        break;
    case 1:
    case 2:
    case 3:
    case 4:
        vel_bench_put(writer, '\n');
        vel_bench_put_words(writer, 5);
        break;
    case 5:
    case 6:
        vel_bench_put_text(writer, ", ");
        vel_bench_put_foreign_word(writer);
        break;
    default:
        break;
    }
}

static void vel_bench_put_quoted(vel_bench_writer *writer)
{
    vel_bench_put(writer, '"');
    vel_bench_put_quotable(writer);
    vel_bench_put(writer, '"');
}

static gint32 vel_bench_write_quoted(vel_bench_writer *writer)
{
    for (gint32 i = 0; i < 8; i++) {
        if (i > 0)
            vel_bench_put(writer, ',');
        vel_bench_put_quoted(writer);
    }
    return 8;
}

// Small numbers, hardly more than separators, and now and then a word.
static gint32 vel_bench_write_wide(vel_bench_writer *writer)
{
    for (gint32 i = 0; i < 300; i++) {
        if (i > 0)
            vel_bench_put(writer, ',');
        if (i % 50 == 0)
            vel_bench_put_word(writer);
        else
            vel_bench_put_number(writer, vel_bench_random(writer, 100));
    }
    return 300;
}

static gint32 vel_bench_write_short(vel_bench_writer *writer)
{
    vel_bench_put_number(writer, 100 + vel_bench_random(writer, 99900));
    vel_bench_put(writer, ',');
    vel_bench_put_number(writer, 100 + vel_bench_random(writer, 99900));
    return 2;
}

static void vel_bench_put_mixed(vel_bench_writer *writer)
{
    switch (vel_bench_random(writer, 16)) {
    case 0:
    case 1:
        vel_bench_put_quoted(writer);
        break;
    case 2:
    case 3:
        vel_bench_put_foreign_word(writer);
        break;
    case 4:
        break;
    case 5:
    case 6:
    case 7:
        vel_bench_put_number(writer, vel_bench_random(writer, 1000000));
        break;
    case 8:
    case 9:
        vel_bench_put_decimal(writer, 1000);
        break;
    default:
        vel_bench_put_words(writer, 4);
        break;
    }
}

// Four records in five have seven fields, the others any number, down to an empty line.
static gint32 vel_bench_write_mixed(vel_bench_writer *writer)
{
    const guint32 kind = vel_bench_random(writer, 100);
    const gint32 fields = kind >= 20 ? 7 : 1 + static_cast<gint32>(vel_bench_random(writer, 12));
    for (gint32 i = 0; i < fields && kind != 0; i++) {
        if (i > 0)
            vel_bench_put(writer, ',');
        vel_bench_put_mixed(writer);
    }
    return kind != 0 ? fields : 1;
}

// Terms begin like what is in the files, so that they are not passed over by their first byte. Of
// numbers only those with more digits than any of theirs are absent for certain.
const std::vector<vel_bench_shape> vel_bench_shapes = {
    {"numbers", 18, FALSE, "\n", "1234567.25ä", "1234567.25Ä", "7654321.5", "1234567E", "1234567Ä",
     vel_bench_write_numbers},
    {"quoted", 8, TRUE, "\n", "nearby Nähe-7", "NEARBY NÄHE", "nearby Nähe-8", "NEEDLED", "NÄGEL",
     vel_bench_write_quoted},
    {"wide", 300, FALSE, "\n", "nearby Nähe-7", "NEARBY NÄHE", "nearby Nähe-8", "NEEDLED", "NÄGEL",
     vel_bench_write_wide},
    {"short", 2, FALSE, "\n", "123456ä", "123456Ä", "765432", "12345E", "12345Ä",
     vel_bench_write_short},
    {"mixed", 7, FALSE, "\r\n", "nearby Nähe-7", "NEARBY NÄHE", "nearby Nähe-8", "NEEDLED",
     "ÄRGERN", vel_bench_write_mixed},
};
