// Finding texts with AVX2.
#include "vel_text_finder_internal.h"

#ifdef __x86_64__

#include <immintrin.h>

#define VEL_TEXT_FINDER_KERNEL vel_text_finder_avx2
#define VEL_SIMD_WIDTH 32

typedef __m256i vel_simd_vector;

static inline __m256i vel_simd_load(const guint8 *bytes)
{
    return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(bytes));
}

static inline __m256i vel_simd_splat(guint8 byte)
{
    return _mm256_set1_epi8(static_cast<char>(byte));
}

static inline __m256i vel_simd_or(__m256i a, __m256i b)
{
    return _mm256_or_si256(a, b);
}

static inline __m256i vel_simd_and(__m256i a, __m256i b)
{
    return _mm256_and_si256(a, b);
}

static inline __m256i vel_simd_equal(__m256i a, __m256i b)
{
    return _mm256_cmpeq_epi8(a, b);
}

static inline guint32 vel_simd_bits(__m256i bytes)
{
    return static_cast<guint32>(_mm256_movemask_epi8(bytes));
}

#include "vel_text_finder_kernel.h"

#endif
