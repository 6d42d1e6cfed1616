// Bit arithmetic for the kernels of vel_csv_parser_skip.h on processors without instructions for
// it, for sources that have vel_simd_words.
#pragma once

#include <glib.h>

/// Makes each bit of a word the sum modulo 2 of the word's bits up to its place.
static inline void vel_simd_prefix_xor(vel_simd_words *bits)
{
    for (gint step = 1; step < 64; step *= 2)
        *bits ^= *bits << step;
}

/// Never called; see vel_simd_compresses().
static inline guint64 vel_simd_compress(guint64, guint64)
{
    return 0;
}

/// The number of bits.
static inline gint64 vel_simd_popcount(guint64 bits)
{
    bits -= bits >> 1 & 0x5555555555555555;
    bits = (bits & 0x3333333333333333) + (bits >> 2 & 0x3333333333333333);
    bits = (bits + (bits >> 4)) & 0x0f0f0f0f0f0f0f0f;
    return static_cast<gint64>(bits * 0x0101010101010101 >> 56);
}
