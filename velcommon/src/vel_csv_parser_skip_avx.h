// What the kernels of vel_csv_parser_skip.h for AVX2 and AVX-512 share: four words in a vector, and
// the bit instructions of their processors.
#pragma once

#include <glib.h>
#include <immintrin.h>

typedef guint64 vel_simd_words __attribute__((vector_size(32), aligned(8)));

static inline vel_simd_words vel_simd_rotate(vel_simd_words words)
{
    return __builtin_shufflevector(words, words, 3, 0, 1, 2);
}

static inline vel_simd_words vel_simd_replace_first(vel_simd_words words, vel_simd_words first)
{
    return __builtin_shufflevector(words, first, 4, 1, 2, 3);
}

static inline vel_simd_words vel_simd_broadcast_last(vel_simd_words words)
{
    return __builtin_shufflevector(words, words, 3, 3, 3, 3);
}

static inline guint64 vel_simd_compress(guint64 bits, guint64 kept)
{
    return _pext_u64(bits, kept);
}

static inline gint64 vel_simd_popcount(guint64 bits)
{
    return __builtin_popcountll(bits);
}
