// Skipping records with nothing but 64-bit arithmetic, eight bytes at a time.
#include "vel_csv_parser_skip.h"

#include <cstring>

#define VEL_CSV_PARSER_SKIP_KERNEL vel_csv_parser_skip_portable

typedef guint64 vel_simd_words __attribute__((vector_size(8)));

#include "vel_csv_parser_skip_bits.h"

static constexpr guint64 VEL_SIMD_EACH = 0x0101010101010101;

// One bit for each of eight bytes that is `byte`.
static inline guint64 vel_simd_bits_of_eight(const guint8 *bytes, guint8 byte)
{
    guint64 eight;
    std::memcpy(&eight, bytes, sizeof eight);
    const guint64 differing = GUINT64_FROM_LE(eight) ^ byte * VEL_SIMD_EACH;
    const guint64 low = 0x7f * VEL_SIMD_EACH;
    const guint64 equal = ~(((differing & low) + low) | differing | low) >> 7;
    // Brings bit 8 * i to bit 56 + i.
    return equal * 0x0102040810204080 >> 56;
}

static inline guint64 vel_simd_bits(const guint8 *bytes, guint8 byte)
{
    guint64 bits = 0;
    for (gint i = 0; i < 8; i++)
        bits |= vel_simd_bits_of_eight(bytes + 8 * i, byte) << 8 * i;
    return bits;
}

static inline bool vel_simd_has_quote_or_return_or_zero(const guint8 *group)
{
    guint64 bits = 0;
    for (gsize i = 0; i < VEL_CSV_PARSER_GROUP; i += 64)
        bits |= vel_simd_bits(group + i, '"') | vel_simd_bits(group + i, '\r') |
                vel_simd_bits(group + i, 0);
    return bits != 0;
}

static inline bool vel_simd_look(const guint8 *bytes, gsize length, guint8 separator,
                                 vel_csv_parser_sight *sight)
{
    guint64 zeros = 0;
    for (gsize i = 0; i < length / 64; i++) {
        sight->quotes[i] = vel_simd_bits(bytes + 64 * i, '"');
        sight->separators[i] = vel_simd_bits(bytes + 64 * i, separator);
        sight->feeds[i] = vel_simd_bits(bytes + 64 * i, '\n');
        sight->returns[i] = vel_simd_bits(bytes + 64 * i, '\r');
        zeros |= vel_simd_bits(bytes + 64 * i, 0);
    }
    return zeros == 0;
}

static inline vel_simd_words vel_simd_turn(vel_simd_words words)
{
    return words;
}

static inline vel_simd_words vel_simd_replace_first(vel_simd_words, vel_simd_words first)
{
    return first;
}

static inline vel_simd_words vel_simd_spread_last(vel_simd_words words)
{
    return words;
}

#include "vel_csv_parser_skip_kernel.h"
