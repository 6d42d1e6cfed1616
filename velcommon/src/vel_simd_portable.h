// Vectors of 8 bytes in 64-bit arithmetic, with what vel_simd_sse2.h and vel_simd_avx2.h have but
// for vel_simd_min().
#pragma once

#include <glib.h>

#include <cstring>

typedef guint64 vel_simd_vector;

/// One bit per byte, the first byte the lowest.
typedef guint8 vel_simd_mask;

/// The lowest bit of each byte.
static constexpr guint64 VEL_SIMD_EACH = 0x0101010101010101;

/// From any place in memory.
static inline vel_simd_vector vel_simd_load(const guint8 *bytes)
{
    guint64 eight;
    std::memcpy(&eight, bytes, sizeof eight);
    return GUINT64_FROM_LE(eight);
}

/// The same byte in all places.
static inline vel_simd_vector vel_simd_splat(guint8 byte)
{
    return byte * VEL_SIMD_EACH;
}

static inline vel_simd_vector vel_simd_or(vel_simd_vector a, vel_simd_vector b)
{
    return a | b;
}

static inline vel_simd_vector vel_simd_and(vel_simd_vector a, vel_simd_vector b)
{
    return a & b;
}

/// The lowest bit of a byte where two vectors are equal, nothing elsewhere.
static inline vel_simd_vector vel_simd_equal_bits(vel_simd_vector a, vel_simd_vector b)
{
    const guint64 differing = a ^ b;
    const guint64 low = 0x7f * VEL_SIMD_EACH;
    return ~(((differing & low) + low) | differing | low) >> 7;
}

/// All bits of a byte where two vectors are equal, none elsewhere.
static inline vel_simd_vector vel_simd_equal(vel_simd_vector a, vel_simd_vector b)
{
    return vel_simd_equal_bits(a, b) * 0xff;
}

/// Puts the lowest bits of the bytes side by side; there must be no others.
static inline vel_simd_mask vel_simd_gather_bits(vel_simd_vector bits)
{
    // Brings bit 8 * i to bit 56 + i.
    return static_cast<vel_simd_mask>(bits * 0x0102040810204080 >> 56);
}

/// The lowest bit of each byte.
static inline vel_simd_mask vel_simd_get_mask(vel_simd_vector bytes)
{
    return vel_simd_gather_bits(bytes & VEL_SIMD_EACH);
}
