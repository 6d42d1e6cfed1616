// Looking at bytes, for the kernels of vel_csv_parser_skip.h that have vectors of bytes. The source
// that includes this defines
//   vel_simd_bytes    such a vector
//   vel_simd_mask     an unsigned number with a bit for each byte of it
//   vel_simd_load()   from memory
//   vel_simd_fill()   all bytes the same
//   vel_simd_equal()  which bytes are the same in two, the first byte the lowest bit
//   vel_simd_least()  the lesser of each two bytes
#pragma once

#include <cstring>

static inline guint64 vel_simd_bits(const guint8 *bytes, guint8 byte)
{
    const vel_simd_bytes needle = vel_simd_fill(byte);
    guint64 bits = 0;
    for (gsize i = 0; i < 64; i += sizeof(vel_simd_bytes))
        bits |= guint64{vel_simd_equal(vel_simd_load(bytes + i), needle)} << i;
    return bits;
}

// In pieces as they come: to put them together here takes longer than to read them as a whole
// later.
static inline void vel_simd_put_bits(vel_simd_bytes bytes, vel_simd_bytes needle, guint64 *bits,
                                     gsize i)
{
    const vel_simd_mask mask = vel_simd_equal(bytes, needle);
    std::memcpy(reinterpret_cast<gchar *>(bits) + i * sizeof mask, &mask, sizeof mask);
}

static inline bool vel_simd_look(const guint8 *bytes, gsize length, guint8 separator,
                                 vel_csv_parser_sight *sight)
{
    vel_simd_bytes least = vel_simd_load(bytes);
    for (gsize i = 0; i < length / sizeof(vel_simd_bytes); i++) {
        const vel_simd_bytes some = vel_simd_load(bytes + i * sizeof(vel_simd_bytes));
        least = vel_simd_least(least, some);
        vel_simd_put_bits(some, vel_simd_fill('"'), sight->quotes, i);
        vel_simd_put_bits(some, vel_simd_fill(separator), sight->separators, i);
        vel_simd_put_bits(some, vel_simd_fill('\n'), sight->feeds, i);
        vel_simd_put_bits(some, vel_simd_fill('\r'), sight->returns, i);
    }
    return vel_simd_equal(least, vel_simd_fill(0)) == 0;
}
