// Looking at bytes, for the kernels of vel_csv_parser_skip.h in the instruction sets that have
// vel_simd_vector; their sources include that first.
#pragma once

#include <cstring>

static inline guint64 vel_simd_bits(const guint8 *bytes, guint8 byte)
{
    const vel_simd_vector needle = vel_simd_splat(byte);
    guint64 bits = 0;
    for (gsize i = 0; i < 64; i += sizeof(vel_simd_vector))
        bits |= guint64{vel_simd_get_mask(vel_simd_equal(vel_simd_load(bytes + i), needle))} << i;
    return bits;
}

// In pieces as they come: to put them together here takes longer than to read them as a whole
// later.
static inline void vel_simd_put_bits(vel_simd_vector bytes, vel_simd_vector needle, guint64 *bits,
                                     gsize i)
{
    const vel_simd_mask mask = vel_simd_get_mask(vel_simd_equal(bytes, needle));
    std::memcpy(reinterpret_cast<gchar *>(bits) + i * sizeof mask, &mask, sizeof mask);
}

static inline bool vel_simd_look(const guint8 *bytes, gsize length, guint8 separator,
                                 vel_csv_parser_masks *masks)
{
    vel_simd_vector least = vel_simd_load(bytes);
    for (gsize i = 0; i < length / sizeof(vel_simd_vector); i++) {
        const vel_simd_vector some = vel_simd_load(bytes + i * sizeof(vel_simd_vector));
        least = vel_simd_min(least, some);
        vel_simd_put_bits(some, vel_simd_splat('"'), masks->quotes, i);
        vel_simd_put_bits(some, vel_simd_splat(separator), masks->separators, i);
        vel_simd_put_bits(some, vel_simd_splat('\n'), masks->feeds, i);
        vel_simd_put_bits(some, vel_simd_splat('\r'), masks->returns, i);
    }
    return vel_simd_get_mask(vel_simd_equal(least, vel_simd_splat(0))) == 0;
}
