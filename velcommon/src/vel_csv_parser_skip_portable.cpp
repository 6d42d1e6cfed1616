// Skipping records with nothing but 64-bit arithmetic, eight bytes at a time.
#include "vel_csv_parser_skip.h"

#include "vel_simd_portable.h"

#include <cstring>

#define VEL_CSV_PARSER_SKIP_KERNEL vel_csv_parser_skip_portable

typedef guint64 vel_simd_words __attribute__((vector_size(8)));

#include "vel_csv_parser_skip_bits.h"

static inline guint64 vel_simd_bits(const guint8 *bytes, guint8 byte)
{
    const guint64 needle = vel_simd_splat(byte);
    guint64 bits = 0;
    for (gint i = 0; i < 8; i++) {
        const guint64 equal = vel_simd_equal_bits(vel_simd_load(bytes + 8 * i), needle);
        bits |= guint64{vel_simd_gather_bits(equal)} << 8 * i;
    }
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
                                 vel_csv_parser_masks *masks)
{
    guint64 zeros = 0;
    for (gsize i = 0; i < length / 64; i++) {
        masks->quotes[i] = vel_simd_bits(bytes + 64 * i, '"');
        masks->separators[i] = vel_simd_bits(bytes + 64 * i, separator);
        masks->feeds[i] = vel_simd_bits(bytes + 64 * i, '\n');
        masks->returns[i] = vel_simd_bits(bytes + 64 * i, '\r');
        zeros |= vel_simd_bits(bytes + 64 * i, 0);
    }
    return zeros == 0;
}

static inline vel_simd_words vel_simd_rotate(vel_simd_words words)
{
    return words;
}

static inline vel_simd_words vel_simd_replace_first(vel_simd_words, vel_simd_words first)
{
    return first;
}

static inline vel_simd_words vel_simd_broadcast_last(vel_simd_words words)
{
    return words;
}

#include "vel_csv_parser_skip_kernel.h"
