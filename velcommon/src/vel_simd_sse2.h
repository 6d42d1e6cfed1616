// Vectors of 16 bytes, for kernels of the instruction set: vel_simd_vector and what can be done
// with it. A kernel has no other vectors, so that its source serves all instruction sets.
#pragma once

#include <emmintrin.h>
#include <glib.h>

typedef __m128i vel_simd_vector;

/// One bit per byte, the first byte the lowest.
typedef guint16 vel_simd_mask;

/// From any place in memory.
static inline vel_simd_vector vel_simd_load(const guint8 *bytes)
{
    return _mm_loadu_si128(reinterpret_cast<const vel_simd_vector *>(bytes));
}

/// The same byte in all places.
static inline vel_simd_vector vel_simd_splat(guint8 byte)
{
    return _mm_set1_epi8(static_cast<char>(byte));
}

static inline vel_simd_vector vel_simd_or(vel_simd_vector a, vel_simd_vector b)
{
    return _mm_or_si128(a, b);
}

static inline vel_simd_vector vel_simd_and(vel_simd_vector a, vel_simd_vector b)
{
    return _mm_and_si128(a, b);
}

/// All bits of a byte where two vectors are equal, none elsewhere.
static inline vel_simd_vector vel_simd_equal(vel_simd_vector a, vel_simd_vector b)
{
    return _mm_cmpeq_epi8(a, b);
}

/// The lesser of each two bytes.
static inline vel_simd_vector vel_simd_min(vel_simd_vector a, vel_simd_vector b)
{
    return _mm_min_epu8(a, b);
}

/// The highest bit of each byte.
static inline vel_simd_mask vel_simd_get_mask(vel_simd_vector bytes)
{
    return static_cast<vel_simd_mask>(_mm_movemask_epi8(bytes));
}
