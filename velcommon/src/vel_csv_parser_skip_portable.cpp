// Skipping records with nothing but 64-bit arithmetic, eight bytes at a time.
#include "vel_csv_parser_skip.h"
#include "vel_csv_parser_skip_bits.h"

#include <cstring>

#define VEL_CSV_PARSER_SKIP_KERNEL vel_csv_parser_skip_portable

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

static inline bool vel_simd_has(const guint8 *group, guint8 byte)
{
    guint64 bits = 0;
    for (gsize word = 0; word < VEL_CSV_PARSER_GROUP_WORDS; word++)
        bits |= vel_simd_bits(group + 64 * word, byte);
    return bits != 0;
}

static inline bool vel_simd_has_return(const guint8 *group)
{
    return vel_simd_has(group, '\r');
}

static inline bool vel_simd_has_zero(const guint8 *group)
{
    return vel_simd_has(group, 0);
}

static inline bool vel_simd_has_quote_or_return_or_zero(const guint8 *group)
{
    return vel_simd_has(group, '"') || vel_simd_has_return(group) || vel_simd_has_zero(group);
}

#include "vel_csv_parser_skip_kernel.h"
