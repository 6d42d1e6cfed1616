// Skipping records with AVX2 and the bit instructions that all its processors have.
#include "vel_csv_parser_skip.h"

#ifdef __x86_64__

#include <immintrin.h>

#define VEL_CSV_PARSER_SKIP_KERNEL vel_csv_parser_skip_avx2

static inline __m256i vel_simd_load(const guint8 *bytes)
{
    return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(bytes));
}

static inline guint64 vel_simd_bits(const guint8 *bytes, guint8 byte)
{
    const __m256i needle = _mm256_set1_epi8(static_cast<char>(byte));
    const __m256i low = _mm256_cmpeq_epi8(vel_simd_load(bytes), needle);
    const __m256i high = _mm256_cmpeq_epi8(vel_simd_load(bytes + 32), needle);
    return guint64{static_cast<guint32>(_mm256_movemask_epi8(high))} << 32 |
           static_cast<guint32>(_mm256_movemask_epi8(low));
}

static inline bool vel_simd_has_quote_or_return_or_zero(const guint8 *group)
{
    // Looks each byte's low half up: the one of the three bytes that has it, or one that does not.
    const __m256i table = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(0, 0, '"', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, '\r', 0, 0));
    __m256i found = _mm256_setzero_si256();
    for (gsize i = 0; i < VEL_CSV_PARSER_GROUP; i += 32) {
        const __m256i bytes = vel_simd_load(group + i);
        found = _mm256_or_si256(found, _mm256_cmpeq_epi8(_mm256_shuffle_epi8(table, bytes), bytes));
    }
    return _mm256_movemask_epi8(found) != 0;
}

static inline bool vel_simd_has_return(const guint8 *group)
{
    __m256i found = _mm256_setzero_si256();
    for (gsize i = 0; i < VEL_CSV_PARSER_GROUP; i += 32)
        found = _mm256_or_si256(
            found, _mm256_cmpeq_epi8(vel_simd_load(group + i), _mm256_set1_epi8('\r')));
    return _mm256_movemask_epi8(found) != 0;
}

static inline bool vel_simd_has_zero(const guint8 *group)
{
    __m256i least = vel_simd_load(group);
    for (gsize i = 32; i < VEL_CSV_PARSER_GROUP; i += 32)
        least = _mm256_min_epu8(least, vel_simd_load(group + i));
    return _mm256_movemask_epi8(_mm256_cmpeq_epi8(least, _mm256_setzero_si256())) != 0;
}

static inline guint64 vel_simd_prefix_xor(guint64 bits)
{
    // A product without carries, by all ones, adds up what is below each place.
    const __m128i product =
        _mm_clmulepi64_si128(_mm_cvtsi64_si128(static_cast<gint64>(bits)), _mm_set1_epi8(-1), 0);
    return static_cast<guint64>(_mm_cvtsi128_si64(product));
}

static inline gint64 vel_simd_popcount(guint64 bits)
{
    return __builtin_popcountll(bits);
}

#include "vel_csv_parser_skip_kernel.h"

#endif
