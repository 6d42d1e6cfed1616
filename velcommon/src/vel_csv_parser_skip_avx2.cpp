// Skipping records with AVX2 and the bit instructions that all its processors have.
#include "vel_csv_parser_skip.h"

#ifdef __x86_64__

#include "vel_simd_avx2.h"

#include <cstring>

#define VEL_CSV_PARSER_SKIP_KERNEL vel_csv_parser_skip_avx2

#include "vel_csv_parser_skip_avx.h"
#include "vel_csv_parser_skip_look.h"

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

static inline void vel_simd_prefix_xor(vel_simd_words *bits)
{
    // A product without carries, by all ones, adds up what is below each place.
    const __m128i ones = _mm_set1_epi8(-1);
    const auto words = reinterpret_cast<__m256i>(*bits);
    const __m128i low = _mm256_castsi256_si128(words);
    const __m128i high = _mm256_extracti128_si256(words, 1);
    const __m128i low_sums =
        _mm_unpacklo_epi64(_mm_clmulepi64_si128(low, ones, 0), _mm_clmulepi64_si128(low, ones, 1));
    const __m128i high_sums = _mm_unpacklo_epi64(_mm_clmulepi64_si128(high, ones, 0),
                                                 _mm_clmulepi64_si128(high, ones, 1));
    *bits = reinterpret_cast<vel_simd_words>(_mm256_set_m128i(high_sums, low_sums));
}

#include "vel_csv_parser_skip_kernel.h"

#endif
