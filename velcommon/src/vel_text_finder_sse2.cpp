// Finding texts with what every 64-bit x86 processor has.
#include "vel_text_finder_internal.h"

#ifdef __x86_64__

#include <emmintrin.h>

#define VEL_TEXT_FINDER_KERNEL vel_text_finder_sse2
#define VEL_SIMD_WIDTH 16

typedef __m128i vel_simd_vector;

static inline __m128i vel_simd_load(const guint8 *bytes)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes));
}

static inline __m128i vel_simd_splat(guint8 byte)
{
    return _mm_set1_epi8(static_cast<char>(byte));
}

static inline __m128i vel_simd_or(__m128i a, __m128i b)
{
    return _mm_or_si128(a, b);
}

static inline __m128i vel_simd_and(__m128i a, __m128i b)
{
    return _mm_and_si128(a, b);
}

static inline __m128i vel_simd_equal(__m128i a, __m128i b)
{
    return _mm_cmpeq_epi8(a, b);
}

static inline guint32 vel_simd_bits(__m128i bytes)
{
    return static_cast<guint32>(_mm_movemask_epi8(bytes));
}

#include "vel_text_finder_kernel.h"

#endif
