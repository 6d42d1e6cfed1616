// Finding texts with nothing but 64-bit arithmetic, eight bytes at a time.
#include "vel_text_finder_internal.h"

#include <cstring>

#define VEL_TEXT_FINDER_KERNEL vel_text_finder_portable

typedef guint64 vel_simd_vector;

static constexpr guint64 VEL_SIMD_EACH = 0x0101010101010101;

static inline guint64 vel_simd_load(const guint8 *bytes)
{
    guint64 eight;
    std::memcpy(&eight, bytes, sizeof eight);
    return GUINT64_FROM_LE(eight);
}

static inline guint64 vel_simd_splat(guint8 byte)
{
    return byte * VEL_SIMD_EACH;
}

static inline guint64 vel_simd_or(guint64 a, guint64 b)
{
    return a | b;
}

static inline guint64 vel_simd_and(guint64 a, guint64 b)
{
    return a & b;
}

static inline guint64 vel_simd_equal(guint64 a, guint64 b)
{
    const guint64 differing = a ^ b;
    const guint64 low = 0x7f * VEL_SIMD_EACH;
    const guint64 equal = ~(((differing & low) + low) | differing | low) >> 7;
    return equal * 0xff;
}

static inline guint32 vel_simd_get_mask(guint64 bytes)
{
    // Brings bit 8 * i to bit 56 + i.
    return static_cast<guint32>((bytes & VEL_SIMD_EACH) * 0x0102040810204080 >> 56);
}

#include "vel_text_finder_kernel.h"
