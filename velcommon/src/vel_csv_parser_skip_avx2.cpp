// Skipping records with AVX2 and the bit instructions that all its processors have.
#include "vel_csv_parser_skip.h"

#ifdef __x86_64__

#include "vel_simd_avx2.h"

#include <cstring>

#define VEL_CSV_PARSER_SKIP_KERNEL vel_csv_parser_skip_avx2

typedef guint64 vel_simd_words __attribute__((vector_size(32), aligned(8)));

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

static inline guint64 vel_simd_compress(guint64 bits, guint64 kept)
{
    return _pext_u64(bits, kept);
}

static inline gint64 vel_simd_popcount(guint64 bits)
{
    return __builtin_popcountll(bits);
}

#include "vel_csv_parser_skip_kernel.h"

#endif
